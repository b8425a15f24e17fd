// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// 63,000 products, as many as Debian has packages: the times to the first rows and to the rows of
// a search, the memory, and how long the event loop is blocked. All figures are printed; the
// limits are wide, since other programs use the machine, and builds differ.

#include "host/models/productmodel.h"
#include "tests/common/pulse.h"
#include "tests/host/models/catalogmaker.h"
#include "tests/host/models/modelwatch.h"

#include <QElapsedTimer>
#include <QFile>
#include <QItemSelectionModel>
#include <QProcess>
#include <random>
#include <unistd.h>

using Pakmart::Product;
using Pakmart::ProductModel;

class ManyProductsTest : public QObject
{
    Q_OBJECT

public:
    static void make(const QByteArray& version)
    {
        MakeCatalog([&version](CCatalogFile& file) { fill(file, version); });
    }

private:
    static constexpr int productCount = 63000;
    // Ten times what is promised. Without optimisation, and with the sanitizers, everything
    // takes longer, and these need memory of their own.
#if defined(__OPTIMIZE__) && !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
    static constexpr qint64 mostMilliseconds = 500;
#else
    static constexpr qint64 mostMilliseconds = 5000;
#endif
#if defined(__SANITIZE_ADDRESS__)
    static constexpr double mostMegabytes = 400;
#elif defined(__SANITIZE_THREAD__)
    static constexpr double mostMegabytes = 1000;
#else
    static constexpr double mostMegabytes = 40;
#endif

    static QByteArray word(std::mt19937& random)
    {
        QByteArray text;
        const int length = 2 + int(random() % 9);
        for (int letter = 0; letter < length; ++letter)
            text += char('a' + int(random() % 26));
        return text;
    }
    static QString description(std::mt19937& random)
    {
        QByteArray text;
        while (text.size() < 500)
            text += word(random) + (text.size() > 60 && !text.contains('\n') ? '\n' : ' ');
        return QString::fromLatin1(text);
    }
    static void fill(CCatalogFile& file, const QByteArray& version)
    {
        std::mt19937 random(1);
        for (int serial = 1; serial <= productCount; ++serial) {
            const QByteArray name = word(random) + '-' + word(random);
            const QByteArray number = QByteArray::number(serial);
            file.AddNew();
            file.setServerSerialNumber(serial);
            file.setName(name.constData());
            file.setCategory(("section" + QByteArray::number(serial % 55)).constData());
            file.setPackageName((name + number).constData());
            file.setVersion(((serial % 1000 ? "1." : version) + number).constData());
            file.setVendor("The Debian developers <debian-devel@lists.debian.org>");
            file.setApplicationURL(("https://packages.debian.org/" + name).constData());
            file.setDescription(description(random));
            if (!file.SaveRecord())
                qFatal("cannot save a product");
        }
    }
    // Of the process, with what the allocator keeps.
    static double megabytesInUse()
    {
        QFile file(QStringLiteral("/proc/self/statm"));
        if (!file.open(QIODevice::ReadOnly))
            qFatal("cannot read the size of this process");
        return file.readAll().split(' ')[1].toDouble() * double(sysconf(_SC_PAGESIZE)) / 1e6;
    }
    // The time from setting the text to the first rows of it.
    static qint64 search(ProductModel& model, const QString& text)
    {
        bool isChanged = false;
        QObject context;
        const auto note = [&isChanged] { isChanged = true; };
        connect(&model, &ProductModel::countChanged, &context, note);
        connect(&model, &ProductModel::stateChanged, &context, note);
        connect(&model, &ProductModel::layoutChanged, &context, note);
        QElapsedTimer timer;
        timer.start();
        model.setText(text);
        while (!isChanged && timer.elapsed() < 20000)
            QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents, 10);
        return timer.elapsed();
    }

private slots:
    void initTestCase()
    {
        // By another process, so that this one's memory is that of the model.
        QCOMPARE(QProcess::execute(QCoreApplication::applicationFilePath(),
                                   { QStringLiteral("--make"), QStringLiteral("1.") }),
                 0);
        WriteStatusFile(Stanza("other", "1"));
    }

    void firstRowsAreThereAtOnce()
    {
        const double before = megabytesInUse();
        Pulse pulse;
        QElapsedTimer timer;
        timer.start();
        ProductModel model;
        const qint64 made = timer.elapsed();
        qint64 first = -1, last = -1;
        connect(&model, &ProductModel::countChanged, this, [&] {
            last = timer.elapsed();
            first = first < 0 ? last : first;
        });
        QTRY_COMPARE_WITH_TIMEOUT(model.count(), productCount, 20000);
        QTRY_VERIFY(model.product(0).state != Product::Unknown);
        const double used = megabytesInUse() - before;
        qInfo("constructor %d ms, first rows %d ms, all rows %d ms, longest gap %d ms, %.1f MB",
              int(made), int(first), int(last), int(pulse.longestGap()), used);
        QVERIFY(first >= 0 && first < mostMilliseconds);
        QVERIFY(pulse.longestGap() < mostMilliseconds);
        QVERIFY(used > 0 && used < mostMegabytes);
    }

    void searchesAsOneTypes()
    {
        ProductModel model;
        QTRY_VERIFY_WITH_TIMEOUT(!model.isBusy(), 20000);
        ProductModel other; // shares the catalog
        QTRY_VERIFY_WITH_TIMEOUT(!other.isBusy(), 20000);
        qint64 longest = 0;
        Pulse pulse;
        for (const char* text : { "q", "qu", "que", "quee", "queen", "quee", "", "zx", "xyzzyx" }) {
            const qint64 took = search(model, QString::fromLatin1(text));
            const int first = model.count();
            QElapsedTimer timer;
            timer.start();
            QTest::qWait(1);
            QTRY_VERIFY(!model.isBusy());
            qInfo("\"%s\": %d rows in %d ms, all %d in %d ms", text, first, int(took),
                  model.count(), int(took + timer.elapsed()));
            longest = std::max(longest, took);
        }
        qInfo("longest search %d ms, longest gap %d ms", int(longest), int(pulse.longestGap()));
        QVERIFY(longest < mostMilliseconds);
        QVERIFY(pulse.longestGap() < mostMilliseconds);
    }

    // The first products are searched, descriptions included, while the others are being read.
    void searchesWhileTheCatalogIsBeingRead()
    {
        int found = -1;
        for (int round = 0; round < 5; ++round) {
            ProductModel model; // reads anew, since no other one has the catalog
            model.setText(QStringLiteral("zx"));
            QTRY_VERIFY_WITH_TIMEOUT(model.count() > 1000 && !model.isBusy(), 20000);
            found = found < 0 ? model.count() : found;
            QCOMPARE(model.count(), found);
        }
    }

    void goesOverToAnUpdate()
    {
        const double before = megabytesInUse();
        ProductModel model;
        QTRY_COMPARE_WITH_TIMEOUT(model.count(), productCount, 20000);
        QItemSelectionModel selection(&model);
        selection.select(model.index(31000, 0), QItemSelectionModel::Select);
        const int serial = model.product(31000).serial;
        int resets = 0, changed = 0;
        connect(&model, &QAbstractItemModel::modelReset, this, [&resets] { ++resets; });
        connect(&model, &QAbstractItemModel::dataChanged, this, [&changed] { ++changed; });
        // Made by another process, as updates of a service are: this one only follows.
        QProcess maker;
        maker.start(QCoreApplication::applicationFilePath(),
                    { QStringLiteral("--make"), QStringLiteral("2.") });
        QVERIFY(maker.waitForStarted());
        Pulse pulse;
        QVERIFY(QTest::qWaitFor([&changed] { return changed > 0; }, 240000));
        const qint64 gap = pulse.longestGap();
        QVERIFY(maker.state() == QProcess::NotRunning || maker.waitForFinished(60000));
        qInfo("longest gap %d ms, %.1f MB", int(gap), megabytesInUse() - before);
        QVERIFY(gap < mostMilliseconds);
        QCOMPARE(resets, 0);
        QCOMPARE(selection.selectedIndexes().size(), 1);
        QCOMPARE(model.product(selection.selectedIndexes().first().row()).serial, serial);
        QVERIFY(model.product(model.rowOf(1000)).version.startsWith(QLatin1String("2.")));
    }
};

// With "--make VERSION", the other process.
int main(int argc, char** argv)
{
    const QCoreApplication application(argc, argv);
    if (argc == 3 && qstrcmp(argv[1], "--make") == 0) {
        ManyProductsTest::make(argv[2]);
        return 0;
    }
    ManyProductsTest test;
    return QTest::qExec(&test, argc, argv);
}
#include "tst_manyproducts.moc"
