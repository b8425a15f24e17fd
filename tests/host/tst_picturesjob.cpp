// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The pictures of products, from the store's list to the rows of a model: fetched at most once a
// day, kept in the cache, and shown without a network.

#include "host/models/productmodel.h"
#include "host/picturelist.h"
#include "host/picturesjob.h"
#include "tests/host/models/catalogmaker.h"
#include "tests/host/storemachine.h"

#include <QSignalSpy>
#include <QtTest>
#include <utime.h>

using namespace Pakmart;

namespace
{

const QByteArray one(64, '1'), two(64, '2');

QString FileOfList()
{
    return PictureListFolder() + QLatin1Char('/') + QLatin1String(pictureListName);
}

QByteArray Pictures(const QByteArray& sum)
{
    return StoreMachine::reply("<pictures folder=\"../pictures\"><picture serialnumber=\"7\">" + sum
                               + ".png</picture></pictures>");
}

} // namespace

class PicturesJobTest : public QObject
{
    Q_OBJECT

private:
    std::unique_ptr<StoreMachine> m_store;

    QByteArray kept() const { return m_store->contents(FileOfList()); }
    QString store() const { return QString::fromLatin1(m_store->scripted.url("/getagentapi.php")); }
    QString address(const QByteArray& sum) const
    {
        return QString::fromLatin1(m_store->scripted.url("/pictures/") + sum
                                   + ".png#sha256=" + sum);
    }
    bool useScripted() { return m_store->useScripted({ "agent/CAPIGetPictures" }); }
    void answer(const QByteArray& body)
    {
        m_store->scripted.answer("/agent/CAPIGetPictures", ScriptedServer::http(body));
    }
    // Lists the function under its own name, at an address in a folder.
    void list()
    {
        const QByteArray url = m_store->scripted.url("/agent/CAPIGetPictures");
        m_store->scripted.answer("/getagentapi.php",
                                 ScriptedServer::http(StoreMachine::reply(
                                     "<getagentapi><api><name>CAPIGetPictures</name><url>" + url
                                     + "</url></api></getagentapi>")));
    }
    // Runs a job to its end. Returns the name of its error.
    static QString run()
    {
        auto* job = new PicturesJob;
        job->setAutoDelete(false);
        const QSignalSpy ready(job, &StoreJob::resultReady);
        QSignalSpy end(job, &KJob::result);
        job->start();
        if (end.isEmpty() && !end.wait(60000))
            return QStringLiteral("no end");
        const QString name = Error::name(Error::Code(job->error()));
        job->deleteLater();
        return ready.size() == (job->error() == 0 ? 1 : 0) ? name : QStringLiteral("not ready");
    }
    static void age(int seconds)
    {
        const time_t then = time(nullptr) - seconds;
        const utimbuf times{ then, then };
        QCOMPARE(utime(QFile::encodeName(FileOfList()).constData(), &times), 0);
    }

private slots:
    void init()
    {
        m_store = std::make_unique<StoreMachine>();
        QVERIFY(m_store->setUp());
        QFile::remove(FileOfList());
        QVERIFY(useScripted());
        list();
    }

    void theListIsKeptForADay()
    {
        answer(Pictures(one));
        QCOMPARE(run(), QStringLiteral("none"));
        const QByteArray text = store().toUtf8() + '\n' + m_store->scripted.url("/pictures/")
            + "\n7 " + one + "\nend\n";
        QTRY_COMPARE_WITH_TIMEOUT(kept(), text, 60000);
        QCOMPARE(ReadPictureList(store()).addressOf(7), address(one));
        QCOMPARE(ReadPictureList(store()).addressOf(8), QString());
        const auto asked = m_store->scripted.asked.size();
        answer(Pictures(two));
        QCOMPARE(run(), QStringLiteral("none"));
        QCOMPARE(m_store->scripted.asked.size(), asked);
        age(24 * 60 * 60 + 60);
        QCOMPARE(run(), QStringLiteral("none"));
        QTRY_COMPARE_WITH_TIMEOUT(ReadPictureList(store()).addressOf(7), address(two), 60000);
    }
    void anotherStoreIsAsked()
    {
        QVERIFY(
            KeepPictureList(QStringLiteral("http://other.example/"), store(), "7 " + two + '\n'));
        QCOMPARE(ReadPictureList(store()).addressOf(7), QString());
        answer(Pictures(one));
        QCOMPARE(run(), QStringLiteral("none"));
        QTRY_COMPARE_WITH_TIMEOUT(ReadPictureList(store()).addressOf(7), address(one), 60000);
    }
    void aStoreWithoutPicturesIsNoError()
    {
        m_store->scripted.answer("/getagentapi.php",
                                 ScriptedServer::http(StoreMachine::reply("<getagentapi/>")));
        QVERIFY(m_store->useScripted({ "CAPIGetAisles" }));
        QCOMPARE(run(), QStringLiteral("none"));
        QTRY_VERIFY_WITH_TIMEOUT(IsPictureListFresh(store()), 60000);
        QCOMPARE(ReadPictureList(store()).sums.size(), 0);
    }
    void withoutTheStoreTheListStays()
    {
        QVERIFY(KeepPictureList(store(), QStringLiteral("http://x.example/"), "7 " + one + '\n'));
        age(24 * 60 * 60 + 60);
        const QByteArray before = kept();
        answer("nonsense");
        QCOMPARE(run(), QStringLiteral("reply-not-understood"));
        m_store->scripted.close();
        QCOMPARE(run(), QStringLiteral("server-unreachable"));
        QCOMPARE(kept(), before);
    }
    void aDamagedListIsNone_data()
    {
        QTest::addColumn<QByteArray>("lines");
        QTest::addColumn<bool>("isWhole");
        const auto row = [](const char* name, const QByteArray& lines, bool isWhole) {
            QTest::newRow(name) << lines << isWhole;
        };
        row("whole", "7 " + one + "\nend\n", true);
        row("cut", "7 " + one + "\n", false);
        row("cut in the last line", "7 " + one + "\nen", false);
        row("short sum", "7 " + one.mid(1) + "\nend\n", false);
        row("no number", "x " + one + "\nend\n", false);
        row("no blank", "7" + one + "\nend\n", false);
        row("negative", "-7 " + one + "\nend\n", false);
        row("not a sum", "7 " + QByteArray(64, 'g') + "\nend\n", false);
    }
    void aDamagedListIsNone()
    {
        QFETCH(QByteArray, lines);
        QFETCH(bool, isWhole);
        QVERIFY(WriteTextFile(FileOfList(), store().toUtf8() + "\nhttp://x.example/\n" + lines));
        QCOMPARE(ReadPictureList(store()).sums.size(), isWhole ? 1 : 0);
        QCOMPARE(IsPictureListFresh(store()), isWhole);
    }
    void modelsShowTheNewList()
    {
        MakeCatalog({ { 7, "Dice", "Games" }, { 8, "Chess", "Games" } });
        QVERIFY(KeepPictureList(store(), QString::fromLatin1(m_store->scripted.url("/pictures/")),
                                "7 " + one + '\n'));
        ProductModel model;
        const auto picture = [&model](int serial) {
            const int row = model.rowOf(serial);
            return row < 0 ? QStringLiteral("none")
                           : model.value(row, QStringLiteral("picture")).toString();
        };
        QTRY_COMPARE_WITH_TIMEOUT(picture(7), address(one), 60000);
        QCOMPARE(picture(8), QString());
        QCOMPARE(model.product(model.rowOf(7)).picture, address(one));
        QSignalSpy changes(&model, &ProductModel::dataChanged);
        age(24 * 60 * 60 + 60);
        answer(Pictures(two));
        QCOMPARE(run(), QStringLiteral("none"));
        QTRY_COMPARE_WITH_TIMEOUT(picture(7), address(two), 60000);
        QTRY_VERIFY_WITH_TIMEOUT(!changes.isEmpty(), 60000);
        const auto roles = changes.first().at(2).value<QVector<int>>();
        QVERIFY(roles.contains(ProductModel::PictureRole));
    }
};

QTEST_MAIN(PicturesJobTest)
#include "tst_picturesjob.moc"
