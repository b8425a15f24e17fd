// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Files that stay open between transfers: reading and writing have the same results as
// without.

#include "db/heldfiles.h"
#include "tests/common/limits.h"
#include "tests/store/storeshims.h"

#include <QDir>
#include <QRandomGenerator>
#include <QTemporaryDir>
#include <QtTest>
#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <memory>
#include <vector>

using namespace Agent;

namespace
{

// One of two file layers for the same calls, and its results.
class Side
{
public:
    Side(StoreFiles& files, const QString& folder) : m_files(files), m_folder(folder)
    {
        QDir().mkpath(folder);
    }

    QByteArray path(int file) const
    {
        return QFile::encodeName(m_folder + QStringLiteral("/f%1").arg(file));
    }
    bool open(int file, int flags)
    {
        const int descriptor = m_files.Open(path(file).constData(), flags, 0600);
        if (descriptor >= 0)
            m_open.push_back(descriptor);
        return descriptor >= 0;
    }
    int count() const { return int(m_open.size()); }
    bool close(int which)
    {
        const int descriptor = m_open[std::size_t(which)];
        m_open.erase(m_open.begin() + which);
        return m_files.Close(descriptor) == 0;
    }
    qint64 seek(int which, int position) { return m_files.Seek(at(which), position); }
    QByteArray read(int which, int size)
    {
        QByteArray bytes(size, '?');
        const ssize_t got = m_files.Read(at(which), bytes.data(), std::size_t(size));
        return QByteArray::number(qint64(got)) + ' ' + bytes;
    }
    qint64 write(int which, const QByteArray& bytes)
    {
        return m_files.Write(at(which), bytes.constData(), std::size_t(bytes.size()));
    }
    int resize(int which, int size) { return m_files.Resize(at(which), size); }
    qint64 size(int which)
    {
        struct stat status = {};
        return m_files.Status(at(which), &status) == 0 ? status.st_size : -1;
    }
    QByteArray contents(int file) const
    {
        QFile contents(QFile::decodeName(path(file)));
        return contents.open(QIODevice::ReadOnly) ? contents.readAll() : QByteArray("<none>");
    }

private:
    int at(int which) const { return m_open[std::size_t(which)]; }

    StoreFiles& m_files;
    const QString m_folder;
    std::vector<int> m_open;
};

constexpr int databaseFiles = 3;

// Makes one random call on both sides.
void CallBoth(Side& one, Side& other, QRandomGenerator& random)
{
    const int which = one.count() > 0 ? random.bounded(one.count()) : -1;
    // The beginnings of files are treated specially.
    const int position = random.bounded(3) == 0 ? 0 : random.bounded(200);
    switch (which < 0 ? 0 : random.bounded(12)) {
    case 0: {
        const int file = random.bounded(databaseFiles);
        const int flags = O_RDWR | (which < 0 || random.bounded(8) == 0 ? O_CREAT : 0)
            | (random.bounded(40) == 0 ? O_CREAT | O_TRUNC : 0);
        QCOMPARE(one.open(file, flags), other.open(file, flags));
        break;
    }
    case 1:
    case 2:
        QCOMPARE(one.close(which), other.close(which));
        break;
    case 3:
        QCOMPARE(one.size(which), other.size(which));
        break;
    case 4:
        if (random.bounded(5) == 0)
            QCOMPARE(one.resize(which, position), other.resize(which, position));
        break;
    default:
        QCOMPARE(one.seek(which, position), other.seek(which, position));
        for (int again = random.bounded(1, 3); again > 0; --again) {
            const int size = random.bounded(2) == 0 ? 40 : random.bounded(1, 120);
            if (random.bounded(2) == 0)
                QCOMPARE(one.read(which, size), other.read(which, size));
            else
                QCOMPARE(one.write(which, QByteArray(size, char('a' + size % 26))),
                         other.write(which, QByteArray(size, char('a' + size % 26))));
        }
    }
}

int OpenDescriptors()
{
    return QDir(QStringLiteral("/proc/self/fd"))
        .entryList(QDir::NoDotAndDotDot | QDir::AllEntries | QDir::System)
        .size();
}

// A folder, open.
class Folder
{
public:
    explicit Folder(const QString& path)
    {
        QDir().mkpath(path);
        m_descriptor = open(QFile::encodeName(path).constData(), O_RDONLY | O_DIRECTORY);
    }
    ~Folder() { close(m_descriptor); }
    Folder(const Folder&) = delete;
    Folder& operator=(const Folder&) = delete;

    int descriptor() const { return m_descriptor; }

private:
    int m_descriptor;
};

} // namespace

class HeldFilesTest : public QObject
{
    Q_OBJECT

private:
    QTemporaryDir m_dir;

    QString folder(const char* name) const { return m_dir.filePath(QLatin1String(name)); }

    // Writes records of 100 bytes after a header, which is rewritten with each.
    void writeRecords(HeldFiles& held, const char* name, int count = 50)
    {
        const QByteArray path = QFile::encodeName(folder(name));
        const QByteArray record(100, 'r');
        for (int i = 0; i < count; ++i) {
            OpenStoreFile file(path.constData(), O_RDWR | (i == 0 ? O_CREAT : 0), 0600, &held);
            QVERIFY(file.WriteAt(0, record.constData(), 100));
            QVERIFY(file.WriteAt(100 * (i + 1), record.constData(), 100));
        }
    }
    // Writes "old" into a file that another one then replaces.
    void replace(const char* name, HeldFiles& held)
    {
        const QString path = folder(name), fresh = path + QStringLiteral(".fresh");
        {
            OpenStoreFile file(QFile::encodeName(path).constData(), O_RDWR | O_CREAT, 0600, &held);
            QVERIFY(file.WriteAt(0, "old", 3));
        }
        QFile other(fresh);
        QVERIFY(other.open(QIODevice::WriteOnly) && other.write("new") == 3);
        other.close();
        QCOMPARE(
            std::rename(QFile::encodeName(fresh).constData(), QFile::encodeName(path).constData()),
            0);
    }

private slots:
    void anyCallsGiveTheSameAnswersAndFiles_data()
    {
        QTest::addColumn<bool>("isPrivate");
        QTest::newRow("shared files") << false;
        QTest::newRow("private files") << true;
    }
    void anyCallsGiveTheSameAnswersAndFiles()
    {
        QFETCH(bool, isPrivate);
        for (quint32 seed = 1; seed <= 300; ++seed) {
            QRandomGenerator random(seed);
            StoreFiles plain;
            QDir(folder("plain")).removeRecursively();
            QDir(folder("held")).removeRecursively();
            Side one(plain, folder("plain"));
            const int before = OpenDescriptors();
            {
                const Folder own(folder("held"));
                HeldFiles held = isPrivate ? HeldFiles(plain, own.descriptor()) : HeldFiles(plain);
                Side other(held, folder("held"));
                for (int i = 0; i < 150; ++i) {
                    CallBoth(one, other, random);
                    if (QTest::currentTestFailed())
                        qFatal("seed %u, call %d", seed, i);
                    // What other processes would see.
                    for (int file = 0; !isPrivate && file < databaseFiles; ++file)
                        QCOMPARE(other.contents(file), one.contents(file));
                }
                while (one.count() > 0)
                    QCOMPARE(one.close(0), other.close(0));
            }
            QCOMPARE(OpenDescriptors(), before);
            Side other(plain, folder("held"));
            for (int file = 0; file < databaseFiles; ++file)
                QCOMPARE(other.contents(file), one.contents(file));
        }
    }

    void privateFileIsOpenedOnceAndWrittenInLargePieces()
    {
        CountingFiles counting;
        const Folder own(m_dir.path());
        {
            HeldFiles held(counting, own.descriptor());
            writeRecords(held, "counted", 6000);
            QVERIFY(held.NothingFailed());
            struct stat status = {};
            const OpenStoreFile file(QFile::encodeName(folder("counted")).constData(), &held);
            QCOMPARE(file.Status(&status), 0);
            QCOMPARE(qint64(status.st_size), qint64(600100));
        }
        QCOMPARE(counting.opens, 1);
        QCOMPARE(counting.closes, 1);
        QCOMPARE(counting.writes, 3 + 2); // the header first and last
        QCOMPARE(counting.seeks, 1); // to write the header at the end
        QFile file(folder("counted"));
        QVERIFY(file.open(QIODevice::ReadOnly));
        QCOMPARE(file.readAll(), QByteArray(600100, 'r'));
    }

    void sharedFileIsOpenedOnceAndWrittenAtOnce()
    {
        CountingFiles counting;
        HeldFiles held(counting);
        writeRecords(held, "shared");
        QVERIFY(held.NothingFailed());
        QCOMPARE(counting.opens, 1);
        QCOMPARE(counting.closes, 0);
        QCOMPARE(counting.writes, 100);
        QCOMPARE(QFile(folder("shared")).size(), qint64(5100));
        {
            const int seeks = counting.seeks;
            OpenStoreFile file(QFile::encodeName(folder("shared")).constData(), &held);
            char bytes[50];
            for (const off_t position : { 2500, 100, 5050 })
                QVERIFY(file.ReadAt(position, bytes, sizeof bytes));
            QCOMPARE(counting.reads, 3);
            QVERIFY(file.WriteAt(5100, "more", 4)); // the file is still at its end
            QCOMPARE(counting.seeks, seeks);
        }
        QCOMPARE(QFile(folder("shared")).size(), qint64(5104));
        held.CloseAll();
        QCOMPARE(counting.closes, 1);
    }

    void replacedFileIsReadOn()
    {
        HeldFiles held(MachineFiles());
        replace("replaced", held);
        const QByteArray path = QFile::encodeName(folder("replaced"));
        QVERIFY(!held.LeadsTo(path.toStdString(), path.toStdString()));
        OpenStoreFile file(path.constData(), &held);
        char text[3] = {};
        QVERIFY(file.ReadAt(0, text, 3));
        QCOMPARE(QByteArray(text, 3), QByteArray("old"));
    }

    // The upper half of 20 descriptors is left to the rest of the process: files there
    // are opened for each transfer, and never mistaken for another file with the same
    // name.
    void filesBeyondHalfTheDescriptorsAreNotKeptNorMistaken()
    {
        const rlim_t limit = rlim_t(2 * OpenDescriptors());
        const LowLimit few(RLIMIT_NOFILE, limit);
        std::vector<std::unique_ptr<QFile>> others;
        while (others.empty() || others.back()->handle() < int(limit / 2)) {
            others.push_back(std::make_unique<QFile>(folder("other")));
            QVERIFY(others.back()->open(QIODevice::ReadWrite));
        }
        HeldFiles held(MachineFiles());
        const int before = OpenDescriptors();
        writeRecords(held, "many");
        QVERIFY(held.NothingFailed());
        QCOMPARE(OpenDescriptors(), before);
        QCOMPARE(QFile(folder("many")).size(), qint64(5100));
        replace("beyond", held);
        const OpenStoreFile file(QFile::encodeName(folder("beyond")).constData(), &held);
        QVERIFY(!file);
        QCOMPARE(errno, ESTALE);
        QVERIFY(!held.NothingFailed());
    }

    void linkInAPrivateFolderIsNotFollowed()
    {
        const QString target = folder("target");
        QVERIFY(QFile::link(target, folder("planted")));
        const Folder own(m_dir.path());
        HeldFiles held(MachineFiles(), own.descriptor());
        const OpenStoreFile file(QFile::encodeName(folder("planted")).constData(),
                                 O_RDWR | O_CREAT | O_TRUNC, 0600, &held);
        QVERIFY(!file);
        QVERIFY(!QFile::exists(target));
    }

    void whatFailsIsNoted_data()
    {
        QTest::addColumn<int>("fault");
        QTest::newRow("open") << int(Fault::Open);
        QTest::newRow("seek") << int(Fault::Seek);
        QTest::newRow("read") << int(Fault::Read);
        QTest::newRow("short read") << int(Fault::ShortRead);
        QTest::newRow("write") << int(Fault::Write);
        QTest::newRow("short write") << int(Fault::ShortWrite);
        QTest::newRow("full disk") << int(Fault::FullDisk);
    }
    // Failures of each call that reaches the system, including the delayed write of a
    // header.
    void whatFailsIsNoted()
    {
        QFETCH(int, fault);
        const QByteArray path = QFile::encodeName(folder("failing"));
        int k = 0;
        for (bool failed = true; failed; ++k) {
            FailingFiles failing(Fault(fault), k, k % 2 == 0);
            const Folder own(m_dir.path());
            HeldFiles held(failing, own.descriptor());
            char bytes[300] = {};
            for (int i = 0; i < 3; ++i) {
                OpenStoreFile file(path.constData(), O_RDWR | (i == 0 ? O_CREAT | O_TRUNC : 0),
                                   0600, &held);
                if (!file)
                    continue;
                file.WriteAt(0, bytes, 100);
                file.WriteAt(100 + 100 * i, bytes, 100);
                file.ReadAt(50, bytes, 100);
            }
            held.CloseAll();
            failed = failing.hasFailed();
            QCOMPARE(held.NothingFailed(), !failed);
        }
        QVERIFY2(k > 1, qPrintable(QString::number(k)));
    }
};

QTEST_GUILESS_MAIN(HeldFilesTest)
#include "tst_heldfiles.moc"
