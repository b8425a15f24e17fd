// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// pakmart-dbtool on notes.

#include "store/cnote.h"
#include "store/notesheap.h"
#include "tests/apps/dbtooltest.h"

#include <cstdlib>
#include <cstring>
#include <functional>
#include <map>
#include <sys/stat.h>

using namespace Agent;

namespace
{

using Texts = std::map<std::int32_t, std::string>;

// The options for a key of the list of free blocks.
struct ListKey {
    explicit ListKey(int capacity) { std::snprintf(text, sizeof text, "%9d", capacity); }
    char text[24];
};

} // namespace

class DbtoolNotesTest : public DbtoolTest
{
    Q_OBJECT

private slots:
    void initTestCase() { QCOMPARE(InitIndex(), 0); }
    void cleanupTestCase() { UnInitIndex(); }
    void init() { newFolder(); }

    void infoAndDumpOfNotes();
    void emptyNotesAreSound();
    void sevenBytesAreTold_data();
    void sevenBytesAreTold();
    void aHiddenBlockIsFreeAgain();
    void aHiddenBlockLongerThanATextIsFreeAgain();
    void aHiddenBlockStaysWhereTheListIsNotTrue();
    void eachDamageOfTheListIsFoundAndRepaired_data();
    void eachDamageOfTheListIsFoundAndRepaired();
    void aBreakIsToldAndNothingIsMade_data();
    void aBreakIsToldAndNothingIsMade();
    void aFreeBlockBeforeABreakIsNotHandedOut();
    void aListThatIsNoFileEndsWithStatus2();
    void nothingIsMadeInPlaceOfAnotherFile();
    void randomDamageLosesNoText();

private:
    Texts makeSample() const;
    void save(CNote& notes, const std::string& text, Texts* texts) const;
    Texts makeHidden() const;
    void changeList(const std::function<void(IndexFile*)>& change) const;
    void compareTexts(const char* name, const Texts& texts) const;
};

void DbtoolNotesTest::save(CNote& notes, const std::string& text, Texts* texts) const
{
    const std::int32_t offset = notes.SaveNote(text.data(), std::int32_t(text.size()));
    QVERIFY(offset >= 0);
    (*texts)[offset] = text;
}

// 40 texts of 20 to 59 bytes; every fourth was deleted, which leaves ten free
// blocks.
Texts DbtoolNotesTest::makeSample() const
{
    CNote notes;
    notes.Create(native("a").c_str());
    Texts texts;
    for (int i = 0; i < 40; ++i)
        save(notes, std::string(std::size_t(20 + i), char('A' + i)), &texts);
    int i = 0;
    for (auto at = texts.begin(); at != texts.end(); ++i) {
        const bool goes = i % 4 == 1;
        if (goes)
            notes.DeleteNote(at->first);
        at = goes ? texts.erase(at) : std::next(at);
    }
    return texts;
}

// A block of 7 bytes at 21, a hidden one of 38 at 28, and a text after them.
Texts DbtoolNotesTest::makeHidden() const
{
    CNote notes;
    notes.Create(native("a").c_str());
    Texts texts;
    save(notes, std::string(20, 'A'), &texts);
    save(notes, std::string(30, 'B'), &texts);
    save(notes, "CC", &texts);
    for (const std::int32_t offset : { 0, 28 }) {
        notes.DeleteNote(offset);
        texts.erase(offset);
    }
    save(notes, "thirteen char", &texts);
    return texts;
}

void DbtoolNotesTest::changeList(const std::function<void(IndexFile*)>& change) const
{
    IndexFile* const list = OpenIndex(0, native("a.k1").c_str(), freeKeyLength, 1);
    QVERIFY(list);
    change(list);
    CloseIndex(list);
}

void DbtoolNotesTest::compareTexts(const char* name, const Texts& texts) const
{
    CNote notes;
    QVERIFY(notes.Open(native(name).c_str()));
    for (const auto& [offset, text] : texts) {
        char* const read = notes.ReadNote(offset);
        QVERIFY2(read, qPrintable(QString("text at %1").arg(offset)));
        QCOMPARE(std::string(read, std::size_t(notes.NoteLength(offset))), text);
        std::free(read);
    }
}

void DbtoolNotesTest::infoAndDumpOfNotes()
{
    CNote notes;
    QVERIFY(notes.Create(native("a").c_str()));
    Texts texts;
    for (const char* text : { "first", "the second note", "third\n" })
        save(notes, text, &texts);
    notes.DeleteNote(13);
    save(notes, "twelve chars", &texts);
    notes.DeleteNote(0);
    notes.Close();

    const Result info = run("info notes @a");
    QCOMPARE(info.status, 0);
    QCOMPARE(info.out,
             QString("files:          %1.fil, %1.k1\n"
                     "kind:           notes\n"
                     "size:           50 bytes\n"
                     "texts:          2, 18 bytes\n"
                     "slack:          3 bytes\n"
                     "free blocks:    1, 13 bytes\n"
                     "of 7 bytes:     0\n"
                     "stray bytes:    0\n"
                     "listed:         1\n"
                     "condition:      sound\n")
                 .arg(path("a")));
    const Result dump = run("dump notes @a");
    QCOMPARE(dump.status, 0);
    QCOMPARE(dump.out,
             QString("0\tfree\t13\t\n13\tused\t23\ttwelve chars\n36\tused\t14\tthird\\x0a\n"));
}

void DbtoolNotesTest::emptyNotesAreSound()
{
    {
        CNote notes;
        QVERIFY(notes.Create(native("a").c_str()));
    }
    for (const char* command : { "info", "dump", "check", "repair -o @new" })
        QCOMPARE(run(QString(command) + " notes @a").status, 0);
    QCOMPARE(run("check notes @new").out, path("new") + ": sound\n");
}

void DbtoolNotesTest::sevenBytesAreTold_data()
{
    QTest::addColumn<QString>("dump");
    QTest::newRow("before a block in use") << "0\tused\t21\tthirteen char\n21\tfree\t7\t\n"
                                              "28\tused\t38\t"
            + QString(30, 'B') + "\n66\tused\t10\tCC\n";
    QTest::newRow("before one freed later") << "0\tused\t21\tthirteen char\n21\tfree\t7\t\n"
                                               "28\tfree\t38\t\n66\tused\t10\tCC\n";
    QTest::newRow("at the end")
        << "0\tused\t21\tthirteen char\n21\tfree\t7\t\n29\tused\t12\tnext\n";
}

void DbtoolNotesTest::sevenBytesAreTold()
{
    QFETCH(QString, dump);
    const QString where = QTest::currentDataTag();
    Texts texts;
    {
        CNote notes;
        QVERIFY(notes.Create(native("a").c_str()));
        save(notes, std::string(20, 'A'), &texts);
        if (where != "at the end") {
            save(notes, std::string(30, 'B'), &texts);
            save(notes, "CC", &texts);
        }
        notes.DeleteNote(0);
        save(notes, "thirteen char", &texts);
        if (where == "before one freed later") {
            notes.DeleteNote(28);
            texts.erase(28);
        }
        if (where == "at the end")
            save(notes, "next", &texts);
    }
    QCOMPARE(run("check notes @a").status, 0);
    QCOMPARE(run("dump notes @a").out, dump);
    QVERIFY(run("info notes @a").out.contains("of 7 bytes:     1\n"));
    QCOMPARE(run("repair notes @a -o @new").status, 0);
    QCOMPARE(bytes("new.fil"), bytes("a.fil"));
    QCOMPARE(run("check notes @new").status, 0);
    compareTexts("new", texts);
}

void DbtoolNotesTest::aHiddenBlockIsFreeAgain()
{
    const Texts texts = makeHidden();
    const Result check = run("check notes @a");
    QCOMPARE(check.status, 1);
    QCOMPARE(check.out,
             path("a")
                 + ": the block of capacity 30 at offset 28 is free, but the header of the 7-byte "
                   "block before it has made it look in use\n");
    QVERIFY(run("dump notes @a").out.contains("28\thidden\t38\t\n"));

    const QByteArray before = bytes("a.fil");
    const Result repair = run("repair notes @a -o @new");
    QCOMPARE(repair.status, 0);
    QVERIFY(repair.out.contains("the hidden block at offset 28 is free again"));
    QCOMPARE(bytes("a.fil"), before);
    QCOMPARE(run("check notes @new").status, 0);
    compareTexts("new", texts);
    CNote notes;
    QVERIFY(notes.Open(native("new").c_str()));
    QCOMPARE(notes.SaveNote(std::string(30, 'D').data(), 30), 28);
}

void DbtoolNotesTest::aHiddenBlockLongerThanATextIsFreeAgain()
{
    Texts texts;
    {
        CNote notes;
        QVERIFY(notes.Create(native("a").c_str()));
        save(notes, std::string(20, 'A'), &texts);
        save(notes, std::string(300000, 'B'), &texts);
        save(notes, std::string(300000, 'C'), &texts);
        save(notes, "last", &texts);
        for (const std::int32_t offset : { 0, 300036, 28 }) {
            QCOMPARE(notes.DeleteNote(offset), 0);
            texts.erase(offset);
        }
        save(notes, "thirteen char", &texts);
    }
    QCOMPARE(run("check notes @a").status, 1);
    QCOMPARE(run("repair notes @a -o @new").status, 0);
    QCOMPARE(run("check notes @new").status, 0);
    compareTexts("new", texts);
    QVERIFY(run("dump notes @new").out.contains("28\tfree\t600016\t\n"));
}

// The list might be from an older copy: the block may be in use again.
void DbtoolNotesTest::aHiddenBlockStaysWhereTheListIsNotTrue()
{
    Texts texts = makeHidden();
    texts[28] = std::string(30, 'B');
    changeList([](IndexFile* list) {
        const std::uint32_t last = 66;
        AddKey(list, &last, ListKey(2).text);
    });
    QCOMPARE(run("check notes @a").status, 1);
    const Result repair = run("repair notes @a -o @new");
    QCOMPARE(repair.status, 0);
    QVERIFY2(repair.out.contains("offset 28 stays in use: the list of free blocks is not to be "
                                 "trusted"),
             qPrintable(repair.out));
    QCOMPARE(run("check notes @new").status, 0);
    compareTexts("new", texts);
    QCOMPARE(bytes("new.fil"), bytes("a.fil"));
}

void DbtoolNotesTest::eachDamageOfTheListIsFoundAndRepaired_data()
{
    QTest::addColumn<QString>("finding");
    QTest::newRow("missing") << "the file has no header that can be read";
    QTest::newRow("empty") << "the file has no header that can be read";
    QTest::newRow("overwritten") << "the header's version is not 4.2a";
    QTest::newRow("not listed") << "the block of capacity 21 at offset 28 is free and not listed";
    QTest::newRow("listed, not free") << "the block of capacity 20 at offset 0 is listed as free "
                                         "and is not";
    QTest::newRow("wrong capacity") << "the block of capacity 99 at offset 28 is listed as free "
                                       "and is not";
}

void DbtoolNotesTest::eachDamageOfTheListIsFoundAndRepaired()
{
    QFETCH(QString, finding);
    const QString damage = QTest::currentDataTag();
    const Texts texts = makeSample();
    if (damage == "missing")
        QVERIFY(QFile::remove(path("a.k1")));
    else if (damage == "empty")
        setBytes("a.k1", "");
    else if (damage == "overwritten")
        setBytes("a.k1", QByteArray(bytes("a.k1").size(), '\x77'));
    else
        changeList([&damage](IndexFile* list) {
            std::uint32_t offset = 28;
            const std::uint32_t first = 0;
            if (damage != "listed, not free")
                DeleteKey(list, &offset, ListKey(21).text);
            if (damage == "wrong capacity")
                AddKey(list, &offset, ListKey(99).text);
            if (damage == "listed, not free")
                AddKey(list, &first, ListKey(20).text);
        });

    const Result check = run("check notes @a");
    QCOMPARE(check.status, 1);
    QVERIFY2(check.out.contains(finding), qPrintable(check.out));
    const QByteArray heap = bytes("a.fil");
    const QByteArray list = bytes("a.k1");
    const Result repair = run("repair notes @a -o @new");
    QCOMPARE(repair.status, 0);
    QVERIFY(repair.out.startsWith("10 free blocks listed\n"));
    QCOMPARE(bytes("a.fil"), heap);
    QCOMPARE(bytes("a.k1"), list);
    QCOMPARE(bytes("new.fil"), heap);
    QCOMPARE(run("check notes @new").status, 0);
    compareTexts("new", texts);
}

void DbtoolNotesTest::aBreakIsToldAndNothingIsMade_data()
{
    QTest::addColumn<int>("offset"); // in a block's header
    QTest::addColumn<QByteArray>("written");
    QTest::newRow("status") << 0 << QByteArray(1, 7);
    QTest::newRow("slack") << 1 << QByteArray(1, 7);
    QTest::newRow("length 0") << 4 << word(0);
    QTest::newRow("negative length") << 4 << word(-8);
    QTest::newRow("past the end") << 4 << word(499999);
    QTest::newRow("over 500,000") << 4 << word(500001);
}

void DbtoolNotesTest::aBreakIsToldAndNothingIsMade()
{
    QFETCH(int, offset);
    QFETCH(QByteArray, written);
    Texts texts = makeSample();
    const std::int32_t victim = std::next(texts.begin(), 15)->first;
    patch("a.fil", victim + offset, written);
    texts.erase(victim);

    const QString where = QString("at offset %1").arg(victim);
    const Result check = run("check notes @a");
    QCOMPARE(check.status, 1);
    QVERIFY2(check.out.contains("there is no sound block " + where), qPrintable(check.out));
    const Result repair = run("repair notes @a -o @new");
    QCOMPARE(repair.status, 1);
    QVERIFY2(repair.out.contains("the row of blocks breaks off " + where), qPrintable(repair.out));
    QCOMPARE(files(), QStringList({ "a.fil", "a.k1" }));

    QCOMPARE(run("repair notes @a -o @new --partial").status, 1);
    QCOMPARE(bytes("new.fil"), bytes("a.fil"));
    compareTexts("new", texts);
    // Texts stored now do not damage others.
    CNote notes;
    QVERIFY(notes.Open(native("new").c_str()));
    for (int i = 0; i < 30; ++i)
        save(notes, std::string(std::size_t(10 + i), 'n'), &texts);
    notes.Close();
    compareTexts("new", texts);
}

// Its length reaches into the text after it.
void DbtoolNotesTest::aFreeBlockBeforeABreakIsNotHandedOut()
{
    Texts texts = makeSample();
    patch("a.fil", 28 + 4, word(60));
    QCOMPARE(run("repair notes @a -o @new --partial").status, 1);
    CNote notes;
    QVERIFY(notes.Open(native("new").c_str()));
    save(notes, std::string(50, 'n'), &texts);
    notes.Close();
    compareTexts("new", texts);
}

void DbtoolNotesTest::aListThatIsNoFileEndsWithStatus2()
{
    makeSample();
    QVERIFY(QFile::remove(path("a.k1")));
    QCOMPARE(::mkfifo(native("a.k1").c_str(), 0600), 0);
    for (const char* command : { "info", "dump", "check", "repair -o @new" })
        QCOMPARE(run(QString(command) + " notes @a").status, 2);
}

void DbtoolNotesTest::nothingIsMadeInPlaceOfAnotherFile()
{
    makeSample();
    for (const char* name : { "new.fil", "new.k1" }) {
        setBytes(name, "precious");
        QCOMPARE(run("repair notes @a -o @new").status, 2);
        QCOMPARE(bytes(name), QByteArray("precious"));
        QCOMPARE(files(), QStringList({ "a.fil", "a.k1", name }));
        QVERIFY(QFile::remove(path(name)));
    }
}

void DbtoolNotesTest::randomDamageLosesNoText()
{
    Random random = Random::announced();
    for (int round = 0; round < 60; ++round) {
        newFolder();
        Texts texts = makeSample();
        const char* const name = random.below(2) == 0 ? "a.fil" : "a.k1";
        const Hit hit = patchAtRandom(name, &random, 12);
        if (std::strcmp(name, "a.fil") == 0)
            for (auto at = texts.begin(); at != texts.end();) {
                const int end = at->first + blockHeaderLength + int(at->second.size());
                at = hit.touches(at->first, end) ? texts.erase(at) : std::next(at);
            }

        const int status = run("check notes @a").status;
        QVERIFY(status == 0 || status == 1);
        QCOMPARE(run("info notes @a").status, status);
        QCOMPARE(run("dump notes @a").status, status);
        const Result repair = run("repair notes @a -o @new --partial");
        QVERIFY2(repair.status == 0 || repair.status == 1, qPrintable(repair.err));
        compareTexts("new", texts);
        CNote notes;
        QVERIFY(notes.Open(native("new").c_str()));
        for (int i = 0; i < 40; ++i)
            save(notes, std::string(std::size_t(10 + i), 'n'), &texts);
        notes.Close();
        compareTexts("new", texts);
    }
}

QTEST_GUILESS_MAIN(DbtoolNotesTest)
#include "tst_dbtool_notes.moc"
