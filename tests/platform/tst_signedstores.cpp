// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Attacks on a machine with signed stores. Each says what the attacker does, and asserts what
// the front end answers and what the machine believes afterwards: nothing if it has never
// seen the store (cold), or the state that it has seen before (warm).

#include "platform/plandigest.h"
#include "tests/platform/signedshop.h"

#include <QThread>
#include <QtTest>
#include <cerrno>
#include <csignal>
#include <cstddef>
#include <cstdio>
#include <iterator>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <memory>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

using Result = SignedShop::Result;

class SignedStoresTest : public QObject
{
    Q_OBJECT

private:
    SignedShop m_shop;
    QByteArray m_known; // what the machine believed before the attack

    void coldAndWarm() const
    {
        QTest::addColumn<bool>("isWarm");
        QTest::newRow("cold") << false;
        QTest::newRow("warm") << true;
    }
    // In the warm rows the machine sees an honest state first. Then there is something new.
    void begin(bool isWarm)
    {
        m_shop.add({ "app" });
        m_known.clear();
        if (isWarm) {
            m_shop.offer({ 3600 });
            QCOMPARE(m_shop.update().status, 0);
            m_known = m_shop.trusted();
            QVERIFY(!m_known.isEmpty());
            m_shop.muchLater();
        }
        m_shop.add({ "app", "2.0" });
    }
    void begin()
    {
        QFETCH(bool, isWarm);
        begin(isWarm);
    }
    // Of the plan that the front end has printed.
    static QString digestOf(const Result& printed)
    {
        PrintedPlan plan;
        for (const QByteArray& line : printed.output.split('\n'))
            if (!plan.lines.empty() || line.startsWith("Plan: "))
                plan.lines.push_back(line.toStdString());
        plan.lines.pop_back(); // after the last line's end
        return QString::fromStdString(plan.Digest());
    }
    // An update is refused for this reason and names the store; the machine believes what it
    // did before, and can still install that.
    void isRefused(const char* reason)
    {
        const Result result = m_shop.update();
        QVERIFY2(result.status == 100, result.output);
        QVERIFY2(result.says(reason), result.output);
        QVERIFY2(result.says(
                     ("E: The store '" + m_shop.server->url("/r") + "' is refused: ").constData()),
                 result.output);
        QCOMPARE(m_shop.trusted(), m_known);
        const Result install = m_shop.install(QStringLiteral("app"));
        if (m_known.isEmpty()) {
            QVERIFY2(install.status == 100, install.output);
            QVERIFY(m_shop.isUnknown("app"));
        } else {
            QVERIFY2(install.status == 0, install.output);
            QVERIFY2(install.says("W: The store"), install.output);
            QVERIFY(m_shop.isInstalled("app", "1.0"));
        }
        QCOMPARE(m_shop.trusted(), m_known);
    }
    // An archive that is not what was signed: refused, and nothing of it is unpacked.
    void archiveIsRefused(const QByteArray& bytes)
    {
        m_shop.add({ "app" });
        m_shop.offer();
        m_shop.server->answer(m_shop.pathOf({ "app" }), ScriptedServer::http(bytes));
        const Result result = m_shop.install(QStringLiteral("app"));
        QVERIFY2(result.status == 100, result.output);
        QVERIFY(m_shop.isUnknown("app"));
        QVERIFY(!QFile::exists(m_shop.root + QStringLiteral("/usr/bin/app")));
    }
    // From now on, for this thread and what it starts.
    static void refuseExchanges()
    {
        sock_filter program[] = {
            BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
            BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_renameat2, 0, 3),
            BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, args[4])),
            BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, RENAME_EXCHANGE, 0, 1),
            BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | EXDEV),
            BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
        };
        const sock_fprog filter{ std::size(program), program };
        if (prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) != 0
            || syscall(SYS_seccomp, SECCOMP_SET_MODE_FILTER, 0, &filter) != 0)
            qFatal("no filter for system calls can be set");
    }
    QByteArray archiveOf(const SignedShop::Package& package) const
    {
        return m_shop.archive->contents(m_shop.archive->fileOf(package));
    }

private slots:
    void init() { m_shop.setUp(); }

    void anHonestStoreIsInstalledFrom()
    {
        m_shop.add({ "app", "1.0", "lib" });
        m_shop.add({ "lib" });
        m_shop.offer();
        const Result listed = m_shop.list(QStringLiteral("app"));
        QVERIFY2(listed.status == 0 && listed.says("app_1.0_all.deb"), listed.output);
        const Result result = m_shop.install(QStringLiteral("app"));
        QVERIFY2(result.status == 0, result.output);
        QVERIFY(m_shop.isInstalled("app") && m_shop.isInstalled("lib"));
        QVERIFY2(!result.says("authenticated"), result.output);
    }
    void newOffersAreAccepted()
    {
        begin(true);
        m_shop.offer();
        const Result result = m_shop.update();
        QVERIFY2(result.status == 0, result.output);
        QVERIFY(m_shop.trusted() != m_known);
        QCOMPARE(m_shop.install(QStringLiteral("app")).status, 0);
        QVERIFY(m_shop.isInstalled("app", "2.0"));
    }
    void anUnchangedStoreIsUpToDate()
    {
        begin(true);
        m_shop.server->asked.clear();
        const Result result = m_shop.update();
        QVERIFY2(result.status == 0, result.output);
        QCOMPARE(m_shop.trusted(), m_known);
        QVERIFY(!m_shop.server->asked.contains("/r/./Packages"));
    }
    void anInstallLooksForNewOffers()
    {
        begin(true);
        m_shop.offer();
        QCOMPARE(m_shop.install(QStringLiteral("app")).status, 0);
        QVERIFY(m_shop.isInstalled("app", "2.0"));
    }
    void aRecentRefreshIsEnough()
    {
        m_shop.add({ "app" });
        m_shop.offer();
        QCOMPARE(m_shop.update().status, 0);
        m_shop.server->asked.clear();
        QCOMPARE(m_shop.list(QStringLiteral("app")).status, 0);
        QCOMPARE(m_shop.server->asked, QList<QByteArray>());
    }

    // apt escapes some characters of an address in the names of its lists.
    void anyAddressIsFoundInAptsLists()
    {
        m_shop.add({ "app" });
        m_shop.offer();
        m_shop.server->answer("/a_b~c+d=e/./InRelease",
                              ScriptedServer::http(m_shop.key.clearSigned(m_shop.release({}))));
        m_shop.server->answer("/a_b~c+d=e/./Packages",
                              ScriptedServer::http(m_shop.archive->index()));
        QByteArray store = SignedShop::contents(m_shop.storeFile());
        SignedShop::write(m_shop.storeFile(), store.replace("/r\nSuites", "/a_b~c+d=e/\nSuites"));
        m_shop.select("deb " + m_shop.server->url("/a_b~c+d=e") + " ./\n");
        const Result result = m_shop.update();
        QVERIFY2(result.status == 0, result.output);
        QVERIFY(m_shop.list(QStringLiteral("app")).says("app_1.0_all.deb"));
    }
    void aSignalEndsARefresh()
    {
        begin(true);
        bool asked = false;
        m_shop.server->answer("/r/./InRelease",
                              [&asked](QTcpSocket*, const QByteArray&) { asked = true; });
        QProcess process;
        process.start(QStringLiteral(VOS_APT_GET),
                      QStringList{ QStringLiteral("update") } + SignedShop::options());
        QVERIFY(QTest::qWaitFor([&asked] { return asked; }, 60000));
        process.terminate();
        QVERIFY(QTest::qWaitFor([&] { return process.state() == QProcess::NotRunning; }, 25000));
        QCOMPARE(process.exitStatus(), QProcess::NormalExit);
        QCOMPARE(process.exitCode(), 128 + SIGTERM);
        QCOMPARE(m_shop.trusted(), m_known);
        m_shop.offer();
        QCOMPARE(m_shop.update().status, 0);
    }
    // As in a container, where folders of the image cannot be renamed.
    void listsThatCannotBeExchangedAreReplaced()
    {
        begin(true);
        m_shop.offer();
        Result result;
        const std::unique_ptr<QThread> thread(QThread::create([&] {
            refuseExchanges();
            result = m_shop.update();
        }));
        thread->start();
        QVERIFY(QTest::qWaitFor([&] { return thread->isFinished(); }, 120000));
        QVERIFY2(result.status == 0, result.output);
        QVERIFY(m_shop.trusted() != m_known);
        QCOMPARE(m_shop.install(QStringLiteral("app")).status, 0);
        QVERIFY(m_shop.isInstalled("app", "2.0"));
    }
    // Whatever the umask, apt's own account can read what it fetches.
    void foldersCanBeEnteredUnderAnyUmask()
    {
        m_shop.add({ "app" });
        m_shop.offer();
        const mode_t usual = umask(077);
        const Result result = m_shop.update();
        umask(usual);
        QVERIFY2(result.status == 0, result.output);
        for (const QString& folder :
             { m_shop.stores(), m_shop.stores() + QStringLiteral("/lists") })
            QVERIFY(QFile::permissions(folder) & QFile::ExeOther);
    }

    void unsignedStoreIsRefused_data() { coldAndWarm(); }
    void unsignedStoreIsRefused()
    {
        begin();
        m_shop.offer();
        m_shop.serveSigned(m_shop.release({}));
        m_shop.server->answer("/r/./Release", ScriptedServer::http(m_shop.release({})));
        isRefused("refused: ");
    }
    void storeWithoutAnySignedFileIsRefused_data() { coldAndWarm(); }
    void storeWithoutAnySignedFileIsRefused()
    {
        begin();
        m_shop.offer();
        m_shop.remove("/r/./InRelease");
        m_shop.server->answer("/r/./Release", ScriptedServer::http(m_shop.release({})));
        isRefused("it is not signed");
    }
    void storeWhoseSignedFilesAreGoneIsRefused_data() { coldAndWarm(); }
    void storeWhoseSignedFilesAreGoneIsRefused()
    {
        begin();
        m_shop.offer();
        m_shop.remove("/r/./InRelease");
        m_shop.remove("/r/./Release");
        isRefused("refused: ");
    }
    void anotherKeyIsRefused_data() { coldAndWarm(); }
    void anotherKeyIsRefused()
    {
        begin();
        const SigningKey other(m_shop.dir + QStringLiteral("/other"));
        m_shop.offer();
        m_shop.serveSigned(other.clearSigned(m_shop.release({})));
        isRefused("not signed with the key that this machine has for it");
    }
    void anExpiredStateIsRefused_data() { coldAndWarm(); }
    void anExpiredStateIsRefused()
    {
        begin();
        m_shop.offer({ 1800, 600 });
        isRefused("have expired, and may be stale");
    }
    void aStateWithoutAnEndIsRefused_data() { coldAndWarm(); }
    void aStateWithoutAnEndIsRefused()
    {
        begin();
        SignedShop::Release release;
        release.hasValidUntil = false;
        m_shop.offer(release);
        isRefused("does not say until when it is valid");
    }
    void aStateOfTwoYearsAgoIsRefusedWhateverItsEnd_data() { coldAndWarm(); }
    void aStateOfTwoYearsAgoIsRefusedWhateverItsEnd()
    {
        begin();
        m_shop.offer({ 2LL * 365 * 24 * 3600, 10LL * 365 * 24 * 3600 });
        isRefused("refused: its offers");
    }
    void aStateWithoutADateIsRefused_data() { coldAndWarm(); }
    void aStateWithoutADateIsRefused()
    {
        begin();
        SignedShop::Release release;
        release.hasDate = false;
        m_shop.offer(release);
        isRefused("refused: ");
    }
    void anOlderStateIsRefusedAndNotCalledUpToDate()
    {
        begin(true);
        m_shop.offer({ 7200 });
        isRefused("which this machine has already seen");
    }
    void aStateOfTheFutureIsRefused_data() { coldAndWarm(); }
    void aStateOfTheFutureIsRefused()
    {
        begin();
        m_shop.offer({ -12 * 3600 });
        isRefused("Is this machine's clock right?");
    }
    void anotherSourceOfTheSameKeyIsRefused_data() { coldAndWarm(); }
    void anotherSourceOfTheSameKeyIsRefused()
    {
        begin();
        SignedShop::Release release;
        release.suite = "other";
        m_shop.offer(release);
        isRefused("it is signed for another store: 'Shop', 'other' instead of 'Shop', 'r'");
    }
    void anAlteredIndexIsRefused_data() { coldAndWarm(); }
    void anAlteredIndexIsRefused()
    {
        begin();
        m_shop.offer();
        QByteArray index = m_shop.archive->index();
        m_shop.serveIndex(index.replace("Version: 2.0", "Version: 3.0"));
        isRefused("its package list is not the signed one");
    }
    void anOldIndexBelowANewSignatureIsRefused_data() { coldAndWarm(); }
    void anOldIndexBelowANewSignatureIsRefused()
    {
        begin();
        const QByteArray old = m_shop.archive->index();
        m_shop.add({ "app", "3.0" });
        m_shop.offer();
        m_shop.serveIndex(old);
        isRefused("its package list is not the signed one");
    }
    void textAroundTheSignedPartIsRefused_data() { coldAndWarm(); }
    void textAroundTheSignedPartIsRefused()
    {
        begin();
        m_shop.offer();
        const QByteArray honest = m_shop.key.clearSigned(m_shop.release({}));
        m_shop.serveSigned("Suite: evil\n" + honest);
        isRefused("refused: ");
        m_shop.muchLater();
        m_shop.serveSigned(honest + "\nSuite: evil\n");
        const Result after = m_shop.update();
        QVERIFY2(after.status == 100, after.output);
        QCOMPARE(m_shop.trusted(), m_known);
    }
    void aWeakSignatureIsRefused_data() { coldAndWarm(); }
    void aWeakSignatureIsRefused()
    {
        begin();
        const SigningKey rsa(m_shop.dir + QStringLiteral("/rsa"), QStringLiteral("rsa3072"));
        m_shop.offer();
        QFile::remove(m_shop.keyFile());
        SignedShop::write(m_shop.keyFile(),
                          SignedShop::contents(m_shop.key.publicFile())
                              + SignedShop::contents(rsa.publicFile()));
        m_shop.serveSigned(rsa.clearSigned(
            m_shop.release({}), { QStringLiteral("--digest-algo"), QStringLiteral("SHA1") }));
        isRefused("refused: ");
    }
    void weakSumsAreRefused_data() { coldAndWarm(); }
    void weakSumsAreRefused()
    {
        begin();
        SignedShop::Release release;
        release.sums = "MD5Sum";
        m_shop.offer(release);
        isRefused("refused: ");
    }
    void endlessAnswersAreCutOff_data()
    {
        QTest::addColumn<QByteArray>("path");
        QTest::newRow("signed file") << QByteArray("/r/./InRelease");
        QTest::newRow("index") << QByteArray("/r/./Packages");
    }
    void endlessAnswersAreCutOff()
    {
        QFETCH(QByteArray, path);
        begin(true);
        m_shop.offer();
        m_shop.serveEndless(path);
        isRefused("refused: ");
        QVERIFY2(m_shop.sent < 48 * 1024 * 1024, QByteArray::number(m_shop.sent));
        QVERIFY2(m_shop.used() < 100 * 1024, QByteArray::number(m_shop.used()));
    }
    void anEndlessArchiveIsCutOff()
    {
        m_shop.add({ "app" });
        m_shop.offer();
        m_shop.serveEndless(m_shop.pathOf({ "app" }));
        const Result result = m_shop.install(QStringLiteral("app"));
        QVERIFY2(result.status == 100, result.output);
        QVERIFY(m_shop.isUnknown("app"));
        QVERIFY2(m_shop.sent < 16 * 1024 * 1024, QByteArray::number(m_shop.sent));
    }
    void aByteNowAndThenIsNotWaitedFor_data() { endlessAnswersAreCutOff_data(); }
    void aByteNowAndThenIsNotWaitedFor()
    {
        QFETCH(QByteArray, path);
        begin(true);
        m_shop.settings("StallSeconds=2\n");
        m_shop.offer();
        m_shop.serveDripping(path, int(m_shop.archive->index().size()));
        isRefused("it sends almost nothing");
    }
    void anArchiveByteByByteIsNotWaitedFor()
    {
        m_shop.add({ "app" });
        m_shop.settings("StallSeconds=2\n");
        m_shop.offer();
        m_shop.serveDripping(m_shop.pathOf({ "app" }), int(archiveOf({ "app" }).size()));
        const Result result = m_shop.install(QStringLiteral("app"));
        QVERIFY2(result.status != 0 && result.says("E: The download has stalled"), result.output);
        QVERIFY(m_shop.isUnknown("app"));
    }

    void aChangedArchiveIsRefused()
    {
        m_shop.add({ "app" });
        QByteArray bytes = archiveOf({ "app" });
        bytes[bytes.size() - 1] = char(bytes[bytes.size() - 1] ^ 1);
        archiveIsRefused(bytes);
    }
    void aLongerArchiveIsRefused()
    {
        m_shop.add({ "app" });
        archiveIsRefused(archiveOf({ "app" }) + "more");
    }
    void aShorterArchiveIsRefused()
    {
        m_shop.add({ "app" });
        archiveIsRefused(archiveOf({ "app" }).chopped(1));
    }
    void anotherProductsArchiveIsRefused()
    {
        m_shop.add({ "other" });
        archiveIsRefused(archiveOf({ "other" }));
        QVERIFY(m_shop.isUnknown("other"));
    }
    void aRedirectionToALocalFileIsRefused_data() { coldAndWarm(); }
    void aRedirectionToALocalFileIsRefused()
    {
        begin();
        m_shop.offer();
        const QString file = m_shop.dir + QStringLiteral("/InRelease");
        SignedShop::write(file, m_shop.key.clearSigned(m_shop.release({})));
        m_shop.server->answer(
            "/r/./InRelease",
            ScriptedServer::http("", "302 Found",
                                 "Location: file://" + file.toLocal8Bit() + "\r\n"));
        isRefused("refused: ");
    }

    // What the machine, or a caller, sets for apt does not switch the checks off.
    void settingsOfTheMachineDoNotSwitchChecksOff_data() { coldAndWarm(); }
    void settingsOfTheMachineDoNotSwitchChecksOff()
    {
        begin();
        SignedShop::write(m_shop.root + QStringLiteral("/etc/apt/apt.conf.d/zz"),
                          "Acquire::Check-Valid-Until \"false\";\nAcquire::Check-Date \"false\";\n"
                          "APT::Get::AllowUnauthenticated \"true\";\n"
                          "Acquire::AllowInsecureRepositories \"true\";\n");
        m_shop.offer({ 1800, 600 });
        isRefused("have expired, and may be stale");
        m_shop.offer({ -12 * 3600 });
        QCOMPARE(m_shop.update().status, 100);
        m_shop.remove("/r/./InRelease");
        m_shop.server->answer("/r/./Release", ScriptedServer::http(m_shop.release({})));
        QCOMPARE(m_shop.update().status, 100);
        QCOMPARE(m_shop.trusted(), m_known);
    }
    void theCallersOptionsDoNotSwitchChecksOff()
    {
        m_shop.add({ "app" });
        m_shop.offer();
        m_shop.remove("/r/./InRelease");
        m_shop.server->answer("/r/./Release", ScriptedServer::http(m_shop.release({})));
        const QStringList options{ QStringLiteral("--allow-unauthenticated"),
                                   QStringLiteral("--allow-insecure-repositories"),
                                   QStringLiteral("-o"),
                                   QStringLiteral("Acquire::AllowInsecureRepositories=true") };
        QCOMPARE(m_shop.update(options).status, 100);
        QCOMPARE(m_shop.install(QStringLiteral("app"), options).status, 100);
        QVERIFY(m_shop.isUnknown("app"));
    }

    // The store stops renewing what it says, or somebody keeps the machine from seeing it.
    void aFrozenStateIsUsedUntilItsEndOnly()
    {
        m_shop.add({ "app" });
        m_shop.offer({ 0, 5 });
        QCOMPARE(m_shop.update().status, 0);
        m_shop.muchLater();
        QTest::qWait(6500);
        const Result result = m_shop.install(QStringLiteral("app"));
        QVERIFY2(result.status == 100 && result.says("have expired, and may be stale"),
                 result.output);
        QVERIFY(m_shop.isUnknown("app"));
    }
    // An old client follows to the new key while both are known.
    void eitherOfTwoKeysIsAccepted()
    {
        begin(true);
        const SigningKey next(m_shop.dir + QStringLiteral("/next"));
        m_shop.offer();
        m_shop.serveSigned(next.clearSigned(m_shop.release({})));
        SignedShop::write(m_shop.keyFile(),
                          SignedShop::contents(m_shop.key.publicFile())
                              + SignedShop::contents(next.publicFile()));
        QCOMPARE(m_shop.update().status, 0);
        QVERIFY(m_shop.trusted() != m_known);
    }
    void aRevokedKeyIsRefused_data() { coldAndWarm(); }
    void aRevokedKeyIsRefused()
    {
        begin();
        const SigningKey gone(m_shop.dir + QStringLiteral("/gone"));
        m_shop.offer();
        m_shop.serveSigned(gone.clearSigned(m_shop.release({})));
        gone.revoke();
        SignedShop::write(m_shop.keyFile(), SignedShop::contents(gone.publicFile()));
        isRefused("refused: ");
    }

    // The reply of the server that names packages is not signed, but nothing is installed
    // from it.
    void aForgedPackageInformationIsNotUsed()
    {
        m_shop.add({ "app" });
        m_shop.offer();
        TestArchive forged;
        forged.add({ "app", "9.0" });
        m_shop.select("deb " + m_shop.server->url("/r") + " . .\n");
        SignedShop::write(
            m_shop.tree()
                + QStringLiteral("/lists/127.0.0.1:%1_r_dists_._._binary-i386_Packages")
                      .arg(m_shop.server->serverPort()),
            forged.index() + QByteArray("\0\n", 2));
        const Result result = m_shop.install(QStringLiteral("app"));
        QVERIFY2(result.status == 0, result.output);
        QVERIFY(m_shop.isInstalled("app", "1.0"));
    }

    void aStoreThatNobodyWroteDownIsRefusedByName()
    {
        QFile::remove(m_shop.storeFile());
        m_shop.add({ "app" });
        m_shop.offer();
        for (const Result& result : { m_shop.update(), m_shop.list(QStringLiteral("app")),
                                      m_shop.install(QStringLiteral("app")) }) {
            QCOMPARE(result.status, 100);
            QVERIFY2(result.says(("E: The store '" + m_shop.server->url("/r")).constData())
                         && result.says("AllowUnsigned in /etc/pakmart/settings"),
                     result.output);
        }
        QCOMPARE(m_shop.server->asked, QList<QByteArray>());
        QVERIFY(m_shop.isUnknown("app"));
    }
    void anAdministratorCanAllowAnUnsignedStore_data()
    {
        QTest::addColumn<QByteArray>("value");
        QTest::addColumn<bool>("isAllowed");
        QTest::newRow("all") << QByteArray("yes") << true;
        QTest::newRow("by its address") << QByteArray("http://h/x URL/") << true;
        QTest::newRow("another address") << QByteArray("URL/more") << false;
        QTest::newRow("none") << QByteArray("no") << false;
        QTest::newRow("empty") << QByteArray("") << false;
    }
    void anAdministratorCanAllowAnUnsignedStore()
    {
        QFETCH(QByteArray, value);
        QFETCH(bool, isAllowed);
        QFile::remove(m_shop.storeFile());
        m_shop.settings("AllowUnsigned=" + value.replace("URL", m_shop.server->url("/r")) + '\n');
        m_shop.add({ "app" });
        m_shop.serveIndex(m_shop.archive->index());
        QCOMPARE(m_shop.update().status == 0, isAllowed);
        QCOMPARE(m_shop.install(QStringLiteral("app")).status == 0, isAllowed);
        QCOMPARE(m_shop.isInstalled("app"), isAllowed);
    }
    // A store with a key stays signed even where unsigned ones are allowed.
    void aStoreWithAKeyIsCheckedWhateverIsAllowed()
    {
        m_shop.settings("AllowUnsigned=yes\n");
        begin(false);
        m_shop.offer();
        m_shop.remove("/r/./InRelease");
        m_shop.server->answer("/r/./Release", ScriptedServer::http(m_shop.release({})));
        isRefused("it is not signed");
    }
    void signedAndUnsignedStoresAreNotMixed()
    {
        m_shop.settings("AllowUnsigned=yes\n");
        m_shop.select("deb " + m_shop.server->url("/r") + " ./\ndeb http://127.0.0.1:9/u ./\n");
        const Result result = m_shop.update();
        QVERIFY2(result.status == 100 && result.says("'http://127.0.0.1:9/u' is refused"),
                 result.output);
    }
    // A name with http does not select a store with https.
    void httpDoesNotStandInForHttps()
    {
        QByteArray store = SignedShop::contents(m_shop.storeFile());
        SignedShop::write(m_shop.storeFile(), store.replace("http://", "https://"));
        const Result result = m_shop.update();
        QVERIFY2(result.status == 100 && result.says("no key for it is known"), result.output);
        QCOMPARE(m_shop.server->asked, QList<QByteArray>());
    }

    void filesThatOthersCanChangeDoNotCount_data()
    {
        QTest::addColumn<QString>("path");
        QTest::newRow("store") << QStringLiteral("/etc/pakmart/stores.d/shop.sources");
        QTest::newRow("folder") << QStringLiteral("/etc/pakmart/stores.d");
        QTest::newRow("key") << QStringLiteral("/etc/pakmart/keys/shop.gpg");
    }
    void filesThatOthersCanChangeDoNotCount()
    {
        QFETCH(QString, path);
        m_shop.add({ "app" });
        m_shop.offer();
        const QByteArray file = (m_shop.root + path).toLocal8Bit();
        QCOMPARE(chmod(file.constData(), 0777), 0);
        const Result open = m_shop.update();
        QVERIFY2(open.status == 100
                     && open.says((path + QStringLiteral(": others than the administrator"))
                                      .toLatin1()
                                      .constData()),
                 open.output);
        QCOMPARE(chmod(file.constData(), 0755), 0);
        QCOMPARE(m_shop.update().status, 0);
        if (geteuid() != 0)
            return;
        QCOMPARE(chown(file.constData(), 65534, 65534), 0);
        QCOMPARE(m_shop.update().status, 100);
    }
    void openSettingsAllowNothing()
    {
        QFile::remove(m_shop.storeFile());
        m_shop.settings("AllowUnsigned=yes\n");
        const QByteArray file
            = (m_shop.root + QStringLiteral("/etc/pakmart/settings")).toLocal8Bit();
        QCOMPARE(chmod(file.constData(), 0666), 0);
        const Result result = m_shop.update();
        QVERIFY2(result.status == 100 && result.says("/etc/pakmart/settings: others"),
                 result.output);
    }
    void brokenStanzasAreNamed_data()
    {
        QTest::addColumn<QByteArray>("from");
        QTest::addColumn<QByteArray>("to");
        QTest::addColumn<QByteArray>("fault");
        const auto row = [](const char* name, const char* from, const char* to, const char* fault) {
            QTest::newRow(name) << QByteArray(from) << QByteArray(to) << QByteArray(fault);
        };
        row("type", "Types: deb", "Types: deb-src", "Types must be deb");
        row("address", "URIs: http", "URIs: ftp", "URIs must be one address");
        row("two addresses", "URIs: ", "URIs: http://h/x ", "URIs must be one address");
        row("suite", "Suites: ./", "Suites: [a=b]", "Suites must be one word");
        row("no key", "Signed-By: ", "X-Key: ", "Signed-By must be the path of a key file");
        row("option in the key", "shop.gpg", "shop.gpg trusted=yes", "Signed-By must be");
        row("missing key", "shop.gpg", "none.gpg", "/etc/pakmart/keys/none.gpg: No such file");
        row("origin", "Release-Origin", "Origin", "Release-Origin and Release-Suite are missing");
        row("suite of the release", "Release-Suite", "Suite", "Release-Suite are missing");
    }
    void brokenStanzasAreNamed()
    {
        QFETCH(QByteArray, from);
        QFETCH(QByteArray, to);
        QFETCH(QByteArray, fault);
        const QByteArray honest = SignedShop::contents(m_shop.storeFile());
        QVERIFY(honest.contains(from));
        SignedShop::write(m_shop.storeFile(), QByteArray(honest).replace(from, to));
        const Result result = m_shop.update();
        QVERIFY2(result.status == 100 && result.says(fault.constData()), result.output);
        QCOMPARE(m_shop.server->asked, QList<QByteArray>());
    }
    // As the helper for users who are not root runs it, without any file of the caller's.
    void withoutASelectionAllTrustedStoresAreUsed()
    {
        begin(false);
        const QStringList words{ QStringLiteral("-yp"), QStringLiteral("--trusted-stores"),
                                 QStringLiteral("install"), QStringLiteral("app") };
        m_shop.remove("/r/./InRelease");
        const Result unsignedStore = SignedShop::run(words);
        QVERIFY2(unsignedStore.says("' is refused: ") && m_shop.isUnknown("app"),
                 unsignedStore.output);
        m_shop.offer();
        const QString shown = digestOf(SignedShop::run(QStringList{ "--plan" } + words));
        m_shop.add({ "app", "3.0" });
        m_shop.offer();
        m_shop.muchLater();
        const Result other = SignedShop::run(QStringList{ "--expect=" + shown } + words);
        QVERIFY2(other.status == 100 && other.says("is not what was shown before"), other.output);
        QVERIFY(m_shop.isUnknown("app"));
        const QString now = digestOf(SignedShop::run(QStringList{ "--plan" } + words));
        const Result done = SignedShop::run(QStringList{ "--expect=" + now } + words);
        QVERIFY2(done.status == 0 && m_shop.isInstalled("app", "3.0"), done.output);
    }

    // Making it takes longer than all else with a large store.
    void aptsCacheIsMadeOnceForTheSameLists()
    {
        begin(false);
        m_shop.offer();
        const QStringList words{ QStringLiteral("-yp"), QStringLiteral("--trusted-stores"),
                                 QStringLiteral("--plan"), QStringLiteral("install"),
                                 QStringLiteral("app") };
        const auto version = [&words] {
            const QByteArray plan = SignedShop::run(words).output;
            const auto at = plan.indexOf("New-Version: ");
            return at < 0 ? QByteArray() : plan.mid(at, plan.indexOf('\n', at) - at);
        };
        const QString cache = QString::fromLocal8Bit(qgetenv("PAKMART_SYSROOT"))
            + QStringLiteral("/var/cache/apt/pkgcache.bin");
        const auto made = [&cache] { return QFileInfo(cache).lastModified(); };
        const QByteArray first = version();
        QVERIFY(!first.isEmpty());
        const QDateTime before = made().addSecs(-10);
        QFile file(cache); // apt compares whole seconds
        QVERIFY(file.open(QIODevice::ReadWrite)
                && file.setFileTime(before, QFileDevice::FileModificationTime));
        file.close();
        QCOMPARE(version(), first);
        QCOMPARE(made(), before);
        m_shop.add({ "app", "3.0" });
        m_shop.offer();
        m_shop.muchLater();
        QCOMPARE(version(), QByteArray("New-Version: 3.0"));
        QVERIFY(made() != before);
    }

    void aDisabledStoreIsNotTrusted()
    {
        m_shop.trust("Release-Suite: r\nEnabled: no\n");
        QVERIFY(m_shop.update().says("no key for it is known"));
    }
};

QTEST_GUILESS_MAIN(SignedStoresTest)
#include "tst_signedstores.moc"
