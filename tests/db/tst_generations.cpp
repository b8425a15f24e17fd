// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// How one set of catalog files replaces another: what is on the disk at each moment,
// which folders are used and removed, and where the described names lead.

#include "db/generations.h"
#include "tests/common/plainuser.h"
#include "tests/store/storeshims.h"
#include "tests/store/switchedfiles.h"

#include <QDir>
#include <QTemporaryDir>
#include <QtTest>
#include <climits>
#include <functional>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <utility>

using namespace Agent;

namespace
{

// An action of another process just before the next lock is requested.
std::function<void()> beforeLock;

} // namespace

extern "C" Q_DECL_EXPORT int flock(int fd, int operation) noexcept
{
    if (const auto before = std::exchange(beforeLock, nullptr))
        before();
    return int(syscall(SYS_flock, fd, operation));
}

namespace
{

const QString pointerFile = QStringLiteral(".VACatalog.current");

// Records the syncs and the new names, in their order, with paths relative to a folder.
class NotedFiles : public UnsyncedFiles
{
public:
    explicit NotedFiles(const QString& folder) : m_folder(folder) { }

    int Sync(int descriptor) override
    {
        char path[PATH_MAX] = {};
        const std::string link = "/proc/self/fd/" + std::to_string(descriptor);
        if (readlink(link.c_str(), path, sizeof path - 1) < 0)
            qFatal("what is synced has no path");
        note("sync", path);
        return UnsyncedFiles::Sync(descriptor);
    }
    int Rename(const char* from, const char* to) override
    {
        note("name", to);
        return UnsyncedFiles::Rename(from, to);
    }
    int Symlink(const char* target, const char* path) override
    {
        if (!QByteArray(path).endsWith("/.link"))
            note("name", path);
        return UnsyncedFiles::Symlink(target, path);
    }

    QStringList noted;

private:
    void note(const char* what, const char* path)
    {
        noted << QLatin1String(what) + QLatin1Char(' ')
                + QDir(m_folder).relativeFilePath(QFile::decodeName(path));
    }

    const QString m_folder;
};

// Runs an action, as another process may, as soon as a folder is made.
class WatchedFolders : public UnsyncedFiles
{
public:
    explicit WatchedFolders(std::function<void(const char*)> made) : m_made(std::move(made)) { }
    int MakeFolder(const char* path, mode_t mode) override
    {
        const int result = UnsyncedFiles::MakeFolder(path, mode);
        if (result == 0 && m_made)
            std::exchange(m_made, nullptr)(path);
        return result;
    }

private:
    std::function<void(const char*)> m_made;
};

} // namespace

class GenerationsTest : public QObject
{
    Q_OBJECT

private:
    std::unique_ptr<QTemporaryDir> m_dir;
    mutable UnsyncedFiles m_files;

    std::string folder() const { return m_dir->path().toStdString() + '/'; }
    QString path(const QString& name) const { return m_dir->filePath(name); }
    QString path(const std::string& name) const { return path(QString::fromStdString(name)); }
    QByteArray native(const QString& name) const { return QFile::encodeName(path(name)); }

    static void write(const QString& path, const QByteArray& text)
    {
        QFile file(path);
        QVERIFY(file.open(QIODevice::WriteOnly) && file.write(text) == text.size());
    }
    static void fill(const NewGeneration& generation, const QByteArray& text)
    {
        for (const std::string& name : CatalogFileNames())
            write(QString::fromStdString(generation.Folder() + name), text);
    }
    // Makes a generation's folder as another process does.
    void makeFolder(const QString& folder, const QByteArray& text) const
    {
        QVERIFY(QDir().mkdir(path(folder)));
        for (const std::string& name : CatalogFileNames())
            write(path(folder) + QLatin1Char('/') + QString::fromStdString(name), text);
    }
    // Makes plain files, as older versions did.
    void fillPlain() const
    {
        for (const std::string& name : CatalogFileNames())
            write(path(name), "plain");
    }
    void publish(const QByteArray& text) const
    {
        NewGeneration generation(folder(), m_files);
        QVERIFY(generation);
        fill(generation, text);
        QVERIFY2(generation.Publish(), generation.Reason().c_str());
    }
    // The common content of all described names.
    QByteArray content() const
    {
        QByteArray all;
        for (const std::string& name : CatalogFileNames()) {
            QFile file(path(name));
            const QByteArray text = file.open(QIODevice::ReadOnly) ? file.readAll() : "none";
            if (!all.isEmpty() && text != all)
                return "mixed";
            all = text;
        }
        return all;
    }
    QStringList folders() const
    {
        return QDir(m_dir->path())
            .entryList(QDir::Dirs | QDir::Hidden | QDir::NoDotAndDotDot | QDir::NoSymLinks);
    }
    int modeOf(const std::string& file) const
    {
        struct stat status = {};
        return stat(file.c_str(), &status) == 0 ? int(status.st_mode & 07777) : -1;
    }

    void addBefore()
    {
        QTest::addColumn<int>("before");
        QTest::newRow("nothing") << 0;
        QTest::newRow("nothing, unless it comes meanwhile") << 1;
        QTest::newRow("plain files") << 2;
        QTest::newRow("a generation") << 3;
    }

private slots:
    void init()
    {
        m_dir = std::make_unique<QTemporaryDir>();
        beforeLock = nullptr;
    }

    // -- the disk

    // A power failure leaves either all of the old files or all of the new ones: the
    // files are on the disk before a name leads to them, and the name is on the disk when
    // publishing has succeeded.
    void whatANameLeadsToIsOnTheDiskBeforeTheName_data() { addBefore(); }
    void whatANameLeadsToIsOnTheDiskBeforeTheName()
    {
        QFETCH(int, before);
        if (before == 2)
            fillPlain();
        if (before == 3)
            publish("old");
        NotedFiles files(m_dir->path());
        SwitchedFiles switched(m_files);
        NewGeneration generation(folder(), switched);
        fill(generation, "new");
        {
            const SwitchedTo noted(switched, files);
            QVERIFY(before == 1 ? generation.PublishFirst() : generation.Publish());
        }
        QCOMPARE(content(), QByteArray("new"));
        const QString own
            = QDir(m_dir->path()).relativeFilePath(QString::fromStdString(generation.Folder()));
        const int named = files.noted.lastIndexOf(QStringLiteral("name ") + pointerFile);
        QVERIFY(named > 0);
        const QStringList first = files.noted.mid(0, named);
        for (const std::string& name : CatalogFileNames())
            QVERIFY(first.contains(QStringLiteral("sync ") + own + QLatin1Char('/')
                                   + QString::fromStdString(name)));
        QVERIFY(first.contains(QStringLiteral("sync ") + own));
        // The folder with the generation and the links is synced last, and again after
        // the pointer.
        QCOMPARE(first.last(), QStringLiteral("sync ."));
        QCOMPARE(files.noted.mid(named + 1), QStringList(QStringLiteral("sync .")));
        if (before == 2)
            comparePlain(first);
    }
    // The plain files get names in a generation before the described names lead through
    // it.
    void comparePlain(const QStringList& noted) const
    {
        const int pointer = noted.indexOf(QStringLiteral("name ") + pointerFile);
        QVERIFY(pointer > 1);
        QCOMPARE(noted[pointer - 1], QStringLiteral("sync ."));
        QVERIFY(noted[pointer - 2].startsWith(QLatin1String("sync .VACatalog.gen-")));
        for (const std::string& name : CatalogFileNames())
            QVERIFY(noted.indexOf(QStringLiteral("name ") + QString::fromStdString(name))
                    > pointer);
    }

    // Whichever call fails, once or permanently: the names lead where they did, the
    // reason is reported, and nothing is left of the new files.
    void aFailedPublishingLeavesNothing_data() { addBefore(); }
    void aFailedPublishingLeavesNothing()
    {
        QFETCH(int, before);
        for (const Fault fault : { Fault::Sync, Fault::Rename, Fault::Open }) {
            bool failed = true;
            int k = 0;
            for (; failed; ++k) {
                init();
                if (before == 2)
                    fillPlain();
                if (before == 3)
                    publish("old");
                const QByteArray there = content();
                {
                    SwitchedFiles switched(m_files);
                    NewGeneration generation(folder(), switched);
                    fill(generation, "new");
                    FailingFiles files(fault, k, k % 2 == 0);
                    const SwitchedTo failing(switched, files);
                    const bool done
                        = before == 1 ? generation.PublishFirst() : generation.Publish();
                    failed = files.hasFailed();
                    QCOMPARE(done, !failed);
                    QCOMPARE(generation.Reason().empty(), done);
                    QVERIFY(!generation.Exists());
                }
                QCOMPARE(content(), failed ? there : QByteArray("new"));
                const std::string current = CurrentCatalogFolder(folder());
                if (!failed)
                    RemoveOldGenerations(folder());
                QCOMPARE(folders().size(), current == folder() ? 0 : 1);
            }
            QVERIFY(k > 1);
        }
    }

    // -- folders

    void aNewFolderIsItsMakersAloneUntilItIsPublished()
    {
        const mode_t mask = umask(0);
        QCOMPARE(chmod(folder().c_str(), 02775), 0);
        NewGeneration generation(folder(), m_files);
        umask(mask);
        QCOMPARE(modeOf(generation.Folder()) & 0777, 0700);
        fill(generation, "new");
        QVERIFY(generation.Publish());
        QCOMPARE(modeOf(generation.Folder()), 02775);
    }

    void aFolderThatIsNotPublishedGoesWithItsObject()
    {
        {
            NewGeneration generation(folder(), m_files);
            fill(generation, "new");
            QCOMPARE(folders().size(), 1);
            RemoveOldGenerations(folder()); // which is still being made
            QCOMPARE(folders().size(), 1);
        }
        QCOMPARE(folders(), QStringList());
    }

    // As soon as it is made, another folder is put in its place.
    void aFolderThatWasExchangedIsNotUsed()
    {
        QString made;
        WatchedFolders files([&](const char* name) {
            made = QFile::decodeName(name);
            QVERIFY(QDir().rename(made, made + QStringLiteral(".mine")));
            QVERIFY(QFile::link(path(QStringLiteral("elsewhere")), made));
        });
        QVERIFY(QDir().mkdir(path(QStringLiteral("elsewhere"))));
        const NewGeneration generation(folder(), files);
        QVERIFY(generation);
        QVERIFY(generation.Folder() != made.toStdString() + '/');
        fill(generation, "new");
        QVERIFY(QDir(path(QStringLiteral("elsewhere"))).isEmpty());
    }

    // Another process took it for a leftover.
    void aFolderThatIsRemovedBeforeItIsLockedIsNotUsed()
    {
        WatchedFolders files([&](const char* made) {
            beforeLock = [made = std::string(made)] { QCOMPARE(rmdir(made.c_str()), 0); };
        });
        const NewGeneration generation(folder(), files);
        QVERIFY(generation && !beforeLock);
        QCOMPARE(folders(), QStringList(QStringLiteral(".VACatalog.gen-1")));
        fill(generation, "new");
    }

    void aFolderOfAnotherUserIsNotUsed()
    {
        if (geteuid() != 0) {
            QTest::qSkip("only root can give a folder to another user", __FILE__, __LINE__);
            return;
        }
        std::string given;
        WatchedFolders files([&given](const char* name) {
            given = name;
            QCOMPARE(chown(name, PlainUser::nobody, PlainUser::nobody), 0);
        });
        const NewGeneration generation(folder(), files);
        QVERIFY(generation && !given.empty());
        QVERIFY(generation.Folder() != given + '/');
    }

    void numbersGoOnFromAllThatAreThere()
    {
        publish("old");
        QVERIFY(QDir().mkdir(path(QStringLiteral(".VACatalog.gen-41"))));
        QVERIFY(QDir().mkdir(path(QStringLiteral(".VACatalog.old-76"))));
        for (const char* other : { ".VACatalog.gen-", ".VACatalog.gen-99x", ".VACatalog.gen-x99",
                                   ".VACatalog.gen-1000000000", ".VACatalog.gen" })
            QVERIFY(QDir().mkdir(path(QLatin1String(other))));
        const NewGeneration generation(folder(), m_files);
        QCOMPARE(generation.Folder(), folder() + ".VACatalog.gen-77/");
    }

    void whatAKilledProcessLeftIsRemoved()
    {
        publish("current");
        const QStringList before = folders();
        for (const char* left : { ".VACatalog.gen-500", ".VACatalog.old-501" }) {
            makeFolder(QLatin1String(left), "left");
            QVERIFY(QFile::link(QStringLiteral("nowhere"),
                                path(QLatin1String(left)) + QStringLiteral("/.link")));
        }
        RemoveOldGenerations(folder());
        QCOMPARE(folders(), before);
        QCOMPARE(content(), QByteArray("current"));
    }

    void whatIsPublishedBeforeItIsLockedIsNotRemoved()
    {
        publish("old");
        makeFolder(QStringLiteral(".VACatalog.gen-500"), "new");
        beforeLock = [this] {
            QVERIFY(QFile::remove(path(pointerFile)));
            QVERIFY(QFile::link(QStringLiteral(".VACatalog.gen-500"), path(pointerFile)));
        };
        RemoveOldGenerations(folder());
        QVERIFY(!beforeLock);
        QCOMPARE(content(), QByteArray("new"));
    }

    void whatTakesThePlaceBeforeItIsLockedIsNotRemoved()
    {
        publish("current");
        const QString name = QStringLiteral(".VACatalog.gen-500");
        makeFolder(name, "left");
        beforeLock = [this, name] {
            QVERIFY(QDir().rename(path(name), path(QStringLiteral("away"))));
            makeFolder(name, "of another process");
        };
        RemoveOldGenerations(folder());
        QVERIFY(!beforeLock);
        QVERIFY(QFile::exists(path(name) + QStringLiteral("/.VACatalog.fil")));
    }

    void aReaderHoldsTheGenerationThatIsThereWhenItIsLocked()
    {
        publish("old");
        beforeLock = [this] {
            publish("new");
            RemoveOldGenerations(folder());
        };
        const PinnedGeneration pinned(folder());
        QVERIFY(!beforeLock);
        QCOMPARE(pinned.Folder(), CurrentCatalogFolder(folder()));
        QVERIFY(QFile::exists(QString::fromStdString(pinned.Folder() + ".VACatalog.fil")));
        publish("newer");
        RemoveOldGenerations(folder());
        QVERIFY(QFile::exists(QString::fromStdString(pinned.Folder() + ".VACatalog.fil")));
    }

    // Only a generation's own files are removed; links are not followed.
    void whatElseIsThereStays()
    {
        publish("current");
        const QString own = path(QStringLiteral(".VACatalog.gen-500"));
        QVERIFY(QDir().mkdir(own));
        write(own + QStringLiteral("/a file of somebody"), "precious");
        const QStringList others{ QStringLiteral("elsewhere"), QStringLiteral(".VACatalog.gen-"),
                                  QStringLiteral(".VACatalog.gen-5x"),
                                  QStringLiteral(".VACatalog.older-5") };
        for (const QString& name : others) {
            QVERIFY(QDir().mkdir(path(name)));
            write(path(name) + QStringLiteral("/.VACatalog.fil"), "precious");
        }
        QVERIFY(QFile::link(path(QStringLiteral("elsewhere")),
                            path(QStringLiteral(".VACatalog.gen-600"))));
        QVERIFY(QFile::link(path(QStringLiteral("elsewhere")),
                            path(QStringLiteral(".VACatalog.old-601"))));
        RemoveOldGenerations(folder());
        for (const QString& name : others)
            QVERIFY(QFile::exists(path(name) + QStringLiteral("/.VACatalog.fil")));
        QVERIFY(QFile::exists(own + QStringLiteral("/a file of somebody"))
                || QFile::exists(path(QStringLiteral(".VACatalog.old-500/a file of somebody"))));
    }

    // -- the described names

    void withoutAGenerationTheNamesAreTheFolders()
    {
        QCOMPARE(CurrentCatalogFolder(folder()), folder());
        fillPlain();
        QCOMPARE(CurrentCatalogFolder(folder()), folder());
        for (const char* target : { "nowhere", ".VACatalog.gen-7", "../elsewhere", "" }) {
            QFile::remove(path(pointerFile));
            QVERIFY(*target == 0 || symlink(target, native(pointerFile).constData()) == 0);
            QCOMPARE(CurrentCatalogFolder(folder()), folder());
        }
        write(path(QStringLiteral(".VACatalog.gen-7")), "a file");
        QFile::remove(path(pointerFile));
        QVERIFY(QFile::link(QStringLiteral(".VACatalog.gen-7"), path(pointerFile)));
        QCOMPARE(CurrentCatalogFolder(folder()), folder());
        QCOMPARE(content(), QByteArray("plain"));
    }

    void whatHasTheNameOfAGenerationAndIsNoFolderIsNotFollowed()
    {
        publish("current");
        const QString current = QString::fromStdString(CurrentCatalogFolder(folder())).chopped(1);
        QVERIFY(QDir().rename(current, current + QStringLiteral(".away")));
        QCOMPARE(CurrentCatalogFolder(folder()), folder());
        write(current, "a file");
        QCOMPARE(CurrentCatalogFolder(folder()), folder());
        QVERIFY(QFile::remove(current));
        QVERIFY(QFile::link(current + QStringLiteral(".away"), current));
        QCOMPARE(CurrentCatalogFolder(folder()), folder());
    }

    void oneNameThatLeadsElsewhereMakesAllOfThemTheFolders()
    {
        publish("current");
        const std::string current = CurrentCatalogFolder(folder());
        QVERIFY(current != folder());
        for (const std::string& name : CatalogFileNames()) {
            const QString here = path(name);
            const QString link
                = QStringLiteral(".VACatalog.current/") + QString::fromStdString(name);
            QVERIFY(QFile::remove(here));
            QCOMPARE(CurrentCatalogFolder(folder()), folder()); // it was removed
            write(here, "current");
            QCOMPARE(CurrentCatalogFolder(folder()), folder()); // another file
            QVERIFY(QFile::remove(here));
            const std::string file = current + name;
            QCOMPARE(::link(file.c_str(), (folder() + name).c_str()), 0);
            QCOMPARE(CurrentCatalogFolder(folder()), current); // the same file
            QVERIFY(QFile::remove(here));
            QCOMPARE(symlink(link.toLocal8Bit().constData(), (folder() + name).c_str()), 0);
            QCOMPARE(CurrentCatalogFolder(folder()), current);
        }
    }

    // Neither the name nor the file exists: a generation of plain files with one missing.
    void aFileThatIsMissingInBothPlacesDoesNotCount()
    {
        publish("current");
        const std::string current = CurrentCatalogFolder(folder());
        const std::string name = CatalogFileNames().back();
        QVERIFY(QFile::remove(path(name)));
        QVERIFY(QFile::remove(QString::fromStdString(current + name)));
        QCOMPARE(CurrentCatalogFolder(folder()), current);
    }

    void aDatabaseThatIsThereIsNoFirstOne()
    {
        for (const bool plain : { true, false }) {
            m_dir = std::make_unique<QTemporaryDir>();
            if (plain)
                fillPlain();
            else
                publish("there");
            NewGeneration generation(folder(), m_files);
            fill(generation, "new");
            QVERIFY(!generation.PublishFirst());
            QVERIFY(generation.Exists());
            QCOMPARE(content(), QByteArray(plain ? "plain" : "there"));
        }
        // Another process puts its pointer in place when all names are there.
        m_dir = std::make_unique<QTemporaryDir>();
        NewGeneration other(folder(), m_files), generation(folder(), m_files);
        fill(other, "other");
        fill(generation, "new");
        QVERIFY(other.PublishFirst() && !generation.PublishFirst());
        QVERIFY(!other.Exists() && generation.Exists());
        QCOMPARE(content(), QByteArray("other"));
    }
};

QTEST_GUILESS_MAIN(GenerationsTest)
#include "tst_generations.moc"
