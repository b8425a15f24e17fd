// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// pakmart-dbtool: its command line, and data files.

#include "store/datafile.h"
#include "tests/apps/dbtooltest.h"

#include <csignal>

#include <map>
#include <sys/stat.h>

namespace
{

constexpr int recordLength = 40;

// Records 1 to 9 hold their own numbers; 2, 5 and 7 are deleted in this order.
using Records = std::map<std::uint32_t, std::string>;

} // namespace

class DbtoolDataTest : public DbtoolTest
{
    Q_OBJECT

private slots:
    void init() { newFolder(); }

    void wrongWordsEndWithStatus2_data();
    void wrongWordsEndWithStatus2();
    void helpAndVersionAreShown();
    void whatIsNoFileEndsWithStatus2_data();
    void whatIsNoFileEndsWithStatus2();
    void outputThatCannotBeWrittenEndsWithStatus2();

    void infoOfADataFile();
    void dumpOfADataFile();
    void aFreshFileIsSound();
    void eachDamageIsFoundAndRepaired_data();
    void eachDamageIsFoundAndRepaired();
    void aRecordWhoseMarkWasDamagedIsKept();
    void whatIsLessThanARecordIsLeftOut();
    void missingRecordsAreToldAndNothingIsMade();
    void partialMakesWhatThereIs();
    void nothingIsMadeInPlaceOfAnotherFile();
    void nothingIsLeftBehindWhenTheDiskIsFull();
    void nothingIsLeftBehindAtASignal_data();
    void nothingIsLeftBehindAtASignal();
    void randomDamageLosesNoOtherRecord();

private:
    Records makeSample(const char* name) const;
    Records liveRecords(const char* name) const;
    int recordsThatFollow(const char* name) const;
};

Records DbtoolDataTest::makeSample(const char* name) const
{
    Records live;
    DataFile* const file = MakeDataFile(0, native(name).c_str(), recordLength);
    for (std::uint32_t i = 1; i <= 9; ++i) {
        std::string record(recordLength, '\0');
        record.replace(4, 6, "text " + std::to_string(i));
        record[recordLength - 1] = char(i);
        std::uint32_t number;
        AddRec(file, &number, record.data());
        live[number] = record;
    }
    for (const std::uint32_t number : { 2u, 5u, 7u }) {
        DeleteRec(file, number);
        live.erase(number);
    }
    CloseDataFile(file);
    return live;
}

Records DbtoolDataTest::liveRecords(const char* name) const
{
    Records live;
    DataFile* const file = OpenDataFile(0, native(name).c_str(), recordLength);
    if (!file)
        return live;
    for (std::uint32_t number = 1; number < FileLen(file); ++number) {
        std::string record(recordLength, '\0');
        if (GetRec(file, number, record.data()) == 0 && record.substr(0, 4) == std::string(4, '\0'))
            live[number] = record;
    }
    CloseDataFile(file);
    return live;
}

// The number of records that can be stored before the file grows.
int DbtoolDataTest::recordsThatFollow(const char* name) const
{
    DataFile* const file = OpenDataFile(0, native(name).c_str(), recordLength);
    const std::uint32_t length = FileLen(file);
    const std::string record(recordLength, '\0');
    int reused = 0;
    std::uint32_t number = 0;
    while (AddRec(file, &number, record.data()) == 0 && number < length)
        ++reused;
    CloseDataFile(file);
    return reused;
}

void DbtoolDataTest::wrongWordsEndWithStatus2_data()
{
    QTest::addColumn<QString>("words");
    QTest::addColumn<QString>("complaint");
    QTest::newRow("no command") << ""
                                << "no command";
    QTest::newRow("unknown command") << "mend data @a"
                                     << "unknown command: mend";
    QTest::newRow("no kind") << "check"
                             << "no kind of file";
    QTest::newRow("unknown kind") << "check tables @a"
                                  << "unknown kind of file: tables";
    QTest::newRow("no file") << "check notes"
                             << "give one NAME";
    QTest::newRow("two files") << "check index @a @b"
                               << "give one FILE";
    QTest::newRow("unknown option") << "check data @a --fast"
                                    << "unknown option: --fast";
    QTest::newRow("no argument") << "check data @a -r"
                                 << "no argument after -r";
    QTest::newRow("no number") << "check data @a -r long"
                               << "not long";
    QTest::newRow("more than a number") << "check data @a -r 40x"
                                        << "not 40x";
    QTest::newRow("record length 0") << "check data @a -r 0"
                                     << "from 1 to 10712, not 0";
    QTest::newRow("long record") << "check data @a -r 10713"
                                 << "from 1 to 10712, not 10713";
    QTest::newRow("key length 0") << "check index @a -k 0"
                                  << "from 1 to 150, not 0";
    QTest::newRow("long key") << "check index @a -k 151"
                              << "from 1 to 150, not 151";
    QTest::newRow("no record length") << "check data @a"
                                      << "give --record-length";
    QTest::newRow("key length of data") << "check data @a -r 40 -k 9"
                                        << "does not go with data";
    QTest::newRow("duplicates of notes") << "check notes @a -d"
                                         << "does not go with notes";
    QTest::newRow("output of check") << "check data @a -r 40 -o @b"
                                     << "--output goes with repair";
    QTest::newRow("partial dump") << "dump data @a -r 40 --partial"
                                  << "goes with repair";
    QTest::newRow("repair into nothing") << "repair data @a -r 40"
                                         << "give --output";
    QTest::newRow("key field") << "repair index @a --data @b -r 40 --key-field 4 -o @c"
                               << "OFFSET:LENGTH, not 4";
    QTest::newRow("key field alone") << "check index @a -k 9 --key-field 4:9"
                                     << "needs --data";
    QTest::newRow("record length alone") << "check index @a -k 9 -r 40"
                                         << "goes with --data";
}

void DbtoolDataTest::wrongWordsEndWithStatus2()
{
    QFETCH(QString, words);
    QFETCH(QString, complaint);
    const Result result = run(words);
    QCOMPARE(result.status, 2);
    QVERIFY2(result.err.contains(complaint), qPrintable(result.err));
    QVERIFY(result.err.contains("Try 'pakmart-dbtool --help'."));
    QCOMPARE(result.out, QString());
    QCOMPARE(files(), QStringList());
}

void DbtoolDataTest::helpAndVersionAreShown()
{
    const Result help = run("--help");
    QCOMPARE(help.status, 0);
    for (const char* word :
         { "info", "dump", "check", "repair", "--record-length", "--key-length", "--duplicates",
           "--data", "--key-field", "--output", "--partial", "Exit status" })
        QVERIFY2(help.out.contains(word), word);
    QCOMPARE(run("check --version").out, QString("pakmart-dbtool " PAKMART_VERSION "\n"));
}

void DbtoolDataTest::whatIsNoFileEndsWithStatus2_data()
{
    QTest::addColumn<QString>("words");
    for (const char* command : { "info", "dump", "check", "repair -o @new" })
        for (const char* kind : { "data @%1 -r 40", "index @%1 -k 9", "index @%1", "notes @%1" })
            for (const char* name : { "missing", "pipe", "folder" })
                QTest::addRow("%s %s %s", command, kind, name)
                    << QString("%1 %2").arg(command, QString(kind).arg(name));
}

void DbtoolDataTest::whatIsNoFileEndsWithStatus2()
{
    QFETCH(QString, words);
    QDir(path("")).mkdir("folder");
    QCOMPARE(::mkfifo(native("pipe").c_str(), 0600), 0);
    const Result result = run(words);
    QCOMPARE(result.status, 2);
    QVERIFY2(result.err.startsWith("pakmart-dbtool: cannot read "), qPrintable(result.err));
    QCOMPARE(files(), QStringList());
}

void DbtoolDataTest::outputThatCannotBeWrittenEndsWithStatus2()
{
    makeSample("a.dat");
    const Result result
        = start(QStringLiteral(DBTOOL), { "dump", "data", path("a.dat"), "-r", "40" }, "/dev/full");
    QCOMPARE(result.status, 2);
    QVERIFY(result.err.contains("cannot write to the standard output"));
}

void DbtoolDataTest::infoOfADataFile()
{
    makeSample("a.dat");
    const Result result = run("info data @a.dat --record-length 40");
    QCOMPARE(result.status, 0);
    QCOMPARE(result.out,
             QString("file:           %1\n"
                     "kind:           data file\n"
                     "size:           400 bytes\n"
                     "record length:  40 bytes\n"
                     "records:        10, the header included\n"
                     "live:           6\n"
                     "deleted:        3\n"
                     "header counts:  10 records, 3 deleted\n"
                     "first free:     7\n"
                     "version:        4.2a\n"
                     "condition:      sound\n")
                 .arg(path("a.dat")));
    patch("a.dat", 0, word(3));
    QCOMPARE(run("info data @a.dat --record-length 40").status, 1);
}

void DbtoolDataTest::dumpOfADataFile()
{
    makeSample("a.dat");
    patch("a.dat", 8 * 40 + 4, "\\\t\xff\n\x1b[2J");
    const Result result = run("dump data @a.dat -r 40");
    QCOMPARE(result.status, 0);
    const QString zeros = QString("\\x00").repeated(29);
    QStringList lines;
    for (int i = 1; i <= 9; ++i)
        lines << QString("%1\tlive\ttext %1%2\\x0%1").arg(i).arg(zeros);
    lines[1] = "2\tdeleted\tnext -1";
    lines[4] = "5\tdeleted\tnext 2";
    lines[6] = "7\tdeleted\tnext 5";
    lines[7] = "8\tlive\t\\x5c\\x09\\xff\\x0a\\x1b[2J" + QString("\\x00").repeated(27) + "\\x08";
    QCOMPARE(result.out.split('\n', Qt::SkipEmptyParts), lines);

    patch("a.dat", 0, word(3));
    const Result damaged = run("dump data @a.dat -r 40");
    QCOMPARE(damaged.status, 1);
    QCOMPARE(damaged.out, result.out);
    QVERIFY(damaged.err.contains("record 3, which is not deleted"));
}

void DbtoolDataTest::aFreshFileIsSound()
{
    CloseDataFile(MakeDataFile(0, native("a.dat").c_str(), 5));
    QCOMPARE(run("check data @a.dat -r 5").out, path("a.dat") + ": sound\n");
    QCOMPARE(run("check data @a.dat -r 5").status, 0);
    QCOMPARE(run("repair data @a.dat -r 5 -o @new.dat").status, 0);
    QCOMPARE(run("check data @new.dat -r 5").status, 0);
}

void DbtoolDataTest::eachDamageIsFoundAndRepaired_data()
{
    QTest::addColumn<int>("offset");
    QTest::addColumn<QByteArray>("written");
    QTest::addColumn<QString>("finding");
    QTest::newRow("version") << 20 << QByteArray("5") << "the header's version is not 4.2a";
    QTest::newRow("chain begins outside") << 0 << word(10) << "record 10, which is not in the file";
    QTest::newRow("chain begins at the header") << 0 << word(0) << "record 0, which is not in";
    QTest::newRow("negative") << 0 << word(-2) << "record -2, which is not in the file";
    QTest::newRow("chain begins at a live record") << 0 << word(3) << "record 3, which is not del";
    QTest::newRow("chain forgotten") << 0 << word(-1) << "record 2 is deleted, but in no chain";
    QTest::newRow("count") << 4 << word(4) << "counts 4 deleted records, their chain has 3";
    QTest::newRow("link outside") << 7 * 40 << word(99) << "deleted record 7 to record 99, which";
    QTest::newRow("link to a live record") << 7 * 40 << word(8) << "record 8, which is not deleted";
    QTest::newRow("circle") << 2 * 40 << word(7) << "from deleted record 2 back to record 7";
    QTest::newRow("link to itself")
        << 5 * 40 << word(5) << "from deleted record 5 back to record 5";
    QTest::newRow("link cut short") << 7 * 40 << word(-1) << "record 2 is deleted, but in no chain";
    QTest::newRow("header overwritten") << 0 << QByteArray(31, '\xa5') << "version is not 4.2a";
    QTest::newRow("header zeroed") << 0 << QByteArray(40, '\0') << "version is not 4.2a";
}

void DbtoolDataTest::eachDamageIsFoundAndRepaired()
{
    QFETCH(int, offset);
    QFETCH(QByteArray, written);
    QFETCH(QString, finding);
    const Records live = makeSample("a.dat");
    patch("a.dat", offset, written);
    const QByteArray before = bytes("a.dat");

    const Result check = run("check data @a.dat -r 40");
    QCOMPARE(check.status, 1);
    QVERIFY2(check.out.contains(finding), qPrintable(check.out));

    const Result repair = run("repair data @a.dat -r 40 --output @new.dat");
    QCOMPARE(repair.status, 0);
    QCOMPARE(repair.out, "6 live records and 3 deleted ones\nmade " + path("new.dat") + '\n');
    QCOMPARE(bytes("a.dat"), before);
    QCOMPARE(files(), QStringList({ "a.dat", "new.dat" }));
    QCOMPARE(run("check data @new.dat -r 40").status, 0);
    QVERIFY(liveRecords("new.dat") == live);
    QCOMPARE(recordsThatFollow("new.dat"), 3);
}

void DbtoolDataTest::aRecordWhoseMarkWasDamagedIsKept()
{
    const Records live = makeSample("a.dat");
    patch("a.dat", 4 * 40, word(77));
    QCOMPARE(run("check data @a.dat -r 40").status, 1);
    const Result repair = run("repair data @a.dat -r 40 -o @new.dat");
    QCOMPARE(repair.status, 0);
    QVERIFY(repair.out.contains("record 4 is marked as deleted, but holds something"));
    QVERIFY(liveRecords("new.dat") == live);
    QCOMPARE(run("check data @new.dat -r 40").status, 0);
}

void DbtoolDataTest::whatIsLessThanARecordIsLeftOut()
{
    const Records live = makeSample("a.dat");
    setBytes("a.dat", bytes("a.dat") + "interrupted");
    QVERIFY(run("info data @a.dat -r 40").out.contains("11 bytes that belong to no record"));
    const Result repair = run("repair data @a.dat -r 40 -o @new.dat");
    QCOMPARE(repair.status, 0);
    QVERIFY(repair.out.contains("11 bytes at the end are less than a record"));
    QCOMPARE(bytes("new.dat").size(), 400);
    QVERIFY(liveRecords("new.dat") == live);
}

void DbtoolDataTest::missingRecordsAreToldAndNothingIsMade()
{
    makeSample("a.dat");
    setBytes("a.dat", bytes("a.dat").left(325));
    const Result check = run("check data @a.dat -r 40");
    QCOMPARE(check.status, 1);
    QCOMPARE(check.out, path("a.dat") + ": the header counts 10 records, the file has only 8\n");
    const Result repair = run("repair data @a.dat -r 40 -o @new.dat");
    QCOMPARE(repair.status, 1);
    QVERIFY(repair.out.contains("not restored: the header counts 10 records, the file has only 8"));
    QVERIFY(repair.out.contains("nothing was made"));
    QCOMPARE(files(), QStringList({ "a.dat" }));
}

void DbtoolDataTest::partialMakesWhatThereIs()
{
    Records live = makeSample("a.dat");
    setBytes("a.dat", bytes("a.dat").left(325));
    live.erase(8);
    live.erase(9);
    QCOMPARE(run("repair data @a.dat -r 40 -o @new.dat --partial").status, 1);
    QCOMPARE(run("check data @new.dat -r 40").status, 0);
    QVERIFY(liveRecords("new.dat") == live);
}

void DbtoolDataTest::nothingIsMadeInPlaceOfAnotherFile()
{
    makeSample("a.dat");
    setBytes("new.dat", "precious");
    const Result result = run("repair data @a.dat -r 40 -o @new.dat");
    QCOMPARE(result.status, 2);
    QVERIFY2(result.err.contains("new.dat: File exists"), qPrintable(result.err));
    QCOMPARE(bytes("new.dat"), QByteArray("precious"));

    QVERIFY(QFile::link(path("nowhere"), path("dangling")));
    QCOMPARE(run("repair data @a.dat -r 40 -o @dangling").status, 2);
    QCOMPARE(run("repair data @a.dat -r 40 -o @a.dat").status, 2);
    QCOMPARE(run("repair data @a.dat -r 40 -o @no/such/folder").status, 2);
    QCOMPARE(files(), QStringList({ "a.dat", "new.dat" }));
    QCOMPARE(run("check data @a.dat -r 40").status, 0);
}

void DbtoolDataTest::nothingIsLeftBehindWhenTheDiskIsFull()
{
    DataFile* const file = MakeDataFile(0, native("a.dat").c_str(), 400);
    std::uint32_t number;
    for (int i = 0; i < 9; ++i)
        AddRec(file, &number, std::string(400, '\0').data());
    CloseDataFile(file);
    // Files are limited to 1,024 bytes.
    const Result result
        = start("/bin/bash",
                { "-c", "trap '' XFSZ; ulimit -f 1; exec \"$@\"", "-", DBTOOL, "repair", "data",
                  path("a.dat"), "-r", "400", "-o", path("new.dat") });
    QCOMPARE(result.status, 2);
    QVERIFY2(result.err.contains("cannot write " + path("new.dat")), qPrintable(result.err));
    QCOMPARE(files(), QStringList({ "a.dat" }));
}

void DbtoolDataTest::nothingIsLeftBehindAtASignal_data()
{
    QTest::addColumn<int>("ending");
    QTest::newRow("SIGTERM") << SIGTERM;
    QTest::newRow("SIGINT") << SIGINT;
    QTest::newRow("SIGHUP") << SIGHUP;
}

// Nobody reads the report, so repair blocks after writing its new file.
void DbtoolDataTest::nothingIsLeftBehindAtASignal()
{
    QFETCH(int, ending);
    QByteArray records = QByteArray(recordLength, 0);
    for (int i = 0; i < 4000; ++i)
        records += QByteArray(recordLength, 'x');
    setBytes("a.dat", records);
    QProcess process;
    process.start(DBTOOL, { "repair", "data", path("a.dat"), "-r", "40", "-o", path("new.dat") });
    QVERIFY(process.waitForStarted());
    const auto isWritten = [this] {
        const QStringList parts = QDir(path("")).entryList({ "new.dat.part*" });
        return !parts.isEmpty() && QFileInfo(path(parts.first())).size() > 4000 * recordLength;
    };
    // No event loop: it would empty the pipe.
    for (int i = 0; i < 600 && !isWritten(); ++i)
        QTest::qSleep(50);
    QVERIFY(isWritten());
    QCOMPARE(::kill(pid_t(process.processId()), ending), 0);
    QVERIFY(process.waitForFinished());
    QCOMPARE(process.exitStatus(), QProcess::CrashExit);
    QCOMPARE(process.exitCode(), ending);
    QCOMPARE(files(), QStringList({ "a.dat" }));
}

void DbtoolDataTest::randomDamageLosesNoOtherRecord()
{
    Random random = Random::announced();
    for (int round = 0; round < 60; ++round) {
        newFolder();
        Records live = makeSample("a.dat");
        const Hit hit = patchAtRandom("a.dat", &random, 50);
        const QByteArray before = bytes("a.dat");

        const int status = run("check data @a.dat -r 40").status;
        QVERIFY(status == 0 || status == 1);
        QVERIFY(run("dump data @a.dat -r 40").status == status);
        const Result repair = run("repair data @a.dat -r 40 --partial -o @new.dat");
        QVERIFY2(repair.status == 0 || repair.status == 1, qPrintable(repair.err));
        QCOMPARE(bytes("a.dat"), before);
        QCOMPARE(run("check data @new.dat -r 40").status, 0);
        const Records kept = liveRecords("new.dat");
        for (const auto& [number, record] : live) {
            const int begin = int(number) * recordLength;
            const bool isHit = hit.touches(begin, begin + recordLength);
            QVERIFY(isHit || kept.at(number) == record);
        }
    }
}

QTEST_GUILESS_MAIN(DbtoolDataTest)
#include "tst_dbtool_data.moc"
