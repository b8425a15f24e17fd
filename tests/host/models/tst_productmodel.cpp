// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The products as rows: filled beside the event loop, searched, filtered and sorted, and changed
// in place when an update replaces the catalog or dpkg changes its status.

#include "host/models/productmodel.h"
#include "host/picturelist.h"
#include "request/capi.h"
#include "tests/host/models/catalogmaker.h"
#include "tests/host/models/modelwatch.h"

#include <QItemSelectionModel>
#include <random>

using Pakmart::InstalledModel;
using Pakmart::Product;
using Pakmart::ProductModel;

Q_DECLARE_METATYPE(Pakmart::ProductModel::Show)

class ProductModelTest : public QObject
{
    Q_OBJECT

private:
    static QList<TestProduct> some()
    {
        return { { 1, "Zebra", "Games" },
                 { 2, "apple", "Office" },
                 { 3, "Mango", "Games/Arcade", "mango", "2.0", QStringLiteral("a chess game"),
                   false, 7 },
                 { 4, "Hidden", "Games", "hidden", "1", QString(), true },
                 { 5, "Chess", "games", "chess", "1.2", QStringLiteral("Board\nwith queens") } };
    }
    static QStringList names(std::initializer_list<const char*> all)
    {
        QStringList list;
        for (const char* name : all)
            list << QString::fromLatin1(name);
        return list;
    }
    static bool isFilled(const ProductModel& model)
    {
        return QTest::qWaitFor([&model] { return model.state() == ProductModel::Filled; }, 20000);
    }

private slots:
    void init()
    {
        RemoveCatalog();
        WriteStatusFile(Stanza("mango", "1.5") + Stanza("chess", "1.2")
                        + Stanza("zebra", "1", "install reinstreq half-installed"));
    }

    // What a store sends may have been made to be read as something else.
    void textsHaveNothingThatChangesHowTheyAreRead()
    {
        const char evil[] = "a\xE2\x80\xAE"
                            "b\nc\x1B[2J";
        MakeCatalog({ { 1,
                        evil,
                        evil,
                        "app",
                        "1.0",
                        QString::fromUtf8("x\xE2\x80\xAEy\x1B\nsecond \xE2\x80\xAE line"),
                        false,
                        0,
                        { evil } } });
        ProductModel model;
        QVERIFY(isFilled(model));
        const auto text
            = [&model](const char* role) { return model.value(0, QLatin1String(role)).toString(); };
        for (const char* role : { "name", "category" })
            QCOMPARE(text(role), QStringLiteral("ab c [2J"));
        QCOMPARE(text("summary"), QStringLiteral("xy"));
        text("description"); // asks for it, and for the needs
        QTRY_COMPARE(text("description"), QStringLiteral("xy \nsecond  line"));
        QTRY_COMPARE(model.value(0, QStringLiteral("needs")).toStringList(),
                     QStringList(QStringLiteral("ab c [2J")));
        QCOMPARE(model.product(0).name, QStringLiteral("ab c [2J"));
    }

    void nothingHappensInsideTheConstructor()
    {
        MakeCatalog(some());
        ProductModel model;
        QCOMPARE(model.state(), ProductModel::Loading);
        QVERIFY(!model.stateText().isEmpty());
        QCOMPARE(model.count(), 0);
        QVERIFY(isFilled(model));
        QCOMPARE(model.stateText(), QString());
    }

    void mayBeDeletedAtAnyTime()
    {
        MakeCatalog(some());
        for (int wait = 0; wait < 20; ++wait) {
            ProductModel model;
            model.setText(QStringLiteral("e"));
            QTest::qWait(wait);
        }
    }

    void productsGoByNameInAnyLetterCase()
    {
        MakeCatalog(some());
        ProductModel model;
        ModelWatch watch(&model);
        QVERIFY(isFilled(model));
        QCOMPARE(watch.texts(), names({ "apple", "Chess", "Mango", "Zebra" }));
    }

    void everyFieldHasItsRole()
    {
        MakeCatalog([](CCatalogFile& file) {
            file.setServerSerialNumber(77);
            file.setName("A  name");
            file.setPackageName("p");
            file.setVersion("3");
            file.setCategory("Sound");
            file.setVendor("ve");
            file.setCopyright("co");
            file.setPrice("pr");
            file.setReleaseDate("rd");
            file.setReviewScore("rs");
            file.setCategoryRanking("cr");
            file.setSubCategoryRanking("sr");
            file.setVantrelRanking("vr");
            file.setCategoryURL("http://c");
            file.setApplicationURL("http://a");
            file.setAuthorURL("http://u");
            file.setDownloads(8);
            file.setFileSize(9);
            file.setDescription(QStringLiteral("first\nsecond"));
            file.setDependencies({ "lib" });
            QVERIFY(file.SaveRecord());
        });
        ReplaceStatus(Stanza("p", "2"));
        const QByteArray sum(64, 'a');
        QVERIFY(Pakmart::KeepPictureList(CAPI::GetAgentAPIURL(), QStringLiteral("http://p/"),
                                         "77 " + sum + '\n'));
        ProductModel model;
        QVERIFY(isFilled(model));
        QTRY_COMPARE(model.product(0).state, Product::Upgradable);
        QTRY_VERIFY(!model.product(0).picture.isEmpty());
        const QList<QPair<QString, QVariant>> fields{
            { QStringLiteral("name"), QStringLiteral("A name") },
            { QStringLiteral("serial"), 77 },
            { QStringLiteral("package"), QStringLiteral("p") },
            { QStringLiteral("version"), QStringLiteral("3") },
            { QStringLiteral("category"), QStringLiteral("Sound") },
            { QStringLiteral("summary"), QStringLiteral("first") },
            { QStringLiteral("vendor"), QStringLiteral("ve") },
            { QStringLiteral("copyright"), QStringLiteral("co") },
            { QStringLiteral("price"), QStringLiteral("pr") },
            { QStringLiteral("released"), QStringLiteral("rd") },
            { QStringLiteral("reviewScore"), QStringLiteral("rs") },
            { QStringLiteral("categoryRanking"), QStringLiteral("cr") },
            { QStringLiteral("subcategoryRanking"), QStringLiteral("sr") },
            { QStringLiteral("ranking"), QStringLiteral("vr") },
            { QStringLiteral("categoryPage"), QStringLiteral("http://c") },
            { QStringLiteral("page"), QStringLiteral("http://a") },
            { QStringLiteral("authorPage"), QStringLiteral("http://u") },
            { QStringLiteral("downloads"), 8 },
            { QStringLiteral("size"), 9 },
            { QStringLiteral("installedVersion"), QStringLiteral("2") },
            { QStringLiteral("iconName"), QStringLiteral("applications-multimedia") },
            { QStringLiteral("picture"),
              QString::fromLatin1("http://p/" + sum + ".png#sha256=" + sum) },
            { QStringLiteral("description"), QStringLiteral("first\nsecond") },
            { QStringLiteral("needs"), names({ "lib" }) },
        };
        QTRY_VERIFY(model.value(0, QStringLiteral("description")).isValid());
        const Product product = model.product(0);
        for (const auto& field : fields) {
            QCOMPARE(model.value(0, field.first), field.second);
            const int at = Product::staticMetaObject.indexOfProperty(qPrintable(field.first));
            QVERIFY2(at >= 0, qPrintable(field.first));
            QCOMPARE(Product::staticMetaObject.property(at).readOnGadget(&product), field.second);
        }
        QCOMPARE(model.value(0, QStringLiteral("product")).value<Product>().serial, 77);
        QCOMPARE(model.roleNames().size(), fields.size() + 2); // state and product
        QCOMPARE(model.product(1).serial, 0);
        QCOMPARE(model.product(-1).serial, 0);
    }

    void statesAreThoseOfDpkg()
    {
        MakeCatalog(some());
        ProductModel model;
        QVERIFY(isFilled(model));
        const auto state
            = [&model](int serial) { return model.product(model.rowOf(serial)).state; };
        QTRY_COMPARE(state(3), Product::Upgradable);
        QCOMPARE(state(5), Product::Installed);
        QCOMPARE(state(2), Product::NotInstalled);
        QCOMPARE(state(1), Product::Broken);
        QCOMPARE(model.rowOf(4), -1);
    }

    void statesAreUnknownWithoutDpkgsStatus()
    {
        QVERIFY(QFile::remove(StatusFile()));
        MakeCatalog(some());
        ProductModel model;
        InstalledModel installed;
        QVERIFY(isFilled(model));
        QTRY_COMPARE(installed.state(), ProductModel::Failed);
        QCOMPARE(installed.stateText(),
                 QStringLiteral("The list of installed packages cannot be read."));
        QCOMPARE(model.product(0).state, Product::Unknown);
    }

    void showsByState_data()
    {
        QTest::addColumn<ProductModel::Show>("show");
        QTest::addColumn<QStringList>("rows");
        QTest::newRow("installed")
            << ProductModel::Installed << names({ "Chess", "Mango", "Zebra" });
        QTest::newRow("not installed") << ProductModel::NotInstalled << names({ "apple" });
        QTest::newRow("upgradable") << ProductModel::Upgradable << names({ "Mango" });
        QTest::newRow("other") << ProductModel::OtherShow << names({});
    }
    void showsByState()
    {
        QFETCH(ProductModel::Show, show);
        MakeCatalog(some());
        ProductModel model;
        ModelWatch watch(&model);
        model.setShow(show);
        QTRY_VERIFY(model.state() != ProductModel::Loading);
        QTEST(watch.texts(), "rows");
    }

    void categoryHasThoseBelowIt()
    {
        MakeCatalog(some());
        ProductModel model;
        ModelWatch watch(&model);
        model.setCategory(QStringLiteral(" GAMES "));
        QVERIFY(isFilled(model));
        QCOMPARE(watch.texts(), names({ "Chess", "Mango", "Zebra" }));
        model.setCategory(QStringLiteral("games/arcade"));
        QTRY_COMPARE(watch.texts(), names({ "Mango" }));
        model.setCategory(QStringLiteral("Games/Ar"));
        QTRY_COMPARE(model.state(), ProductModel::Empty);
        QCOMPARE(model.stateText(), QStringLiteral("There is no product here."));
    }

    void oneProductIsTheOnlyRow()
    {
        MakeCatalog(some());
        ProductModel model;
        ModelWatch watch(&model);
        model.setSerial(3);
        QVERIFY(isFilled(model));
        QCOMPARE(watch.texts(), names({ "Mango" }));
        QTRY_COMPARE(model.product(0).state, Product::Upgradable);
        model.setSerial(4); // hidden
        QTRY_COMPARE(model.state(), ProductModel::Empty);
        model.setSerial(99);
        QCOMPARE(model.serial(), 99);
        QTRY_VERIFY(!model.isBusy());
        QCOMPARE(watch.texts(), names({}));
        // What a search has found among all is not searched for one, and the other way round.
        model.setText(QStringLiteral("c"));
        model.setSerial(2);
        QTRY_VERIFY(!model.isBusy());
        QCOMPARE(watch.texts(), names({}));
        model.setSerial(0);
        QTRY_COMPARE(watch.texts(), names({ "Chess", "Mango" }));
        QSignalSpy changes(&model, &ProductModel::serialChanged);
        model.setSerial(3);
        model.setSerial(3);
        QCOMPARE(changes.count(), 1);
        QTRY_COMPARE(watch.texts(), names({ "Mango" }));
    }

    void searchRanksAsPakmartDoes()
    {
        MakeCatalog({ { 1, "in description", "c", "a", "1", QStringLiteral("x\nthe queen here") },
                      { 2, "in summary", "c", "b", "1", QStringLiteral("the Queen here") },
                      { 3, "aQueenb", "c", "c" },
                      { 4, "a queen", "c", "d" },
                      { 5, "queens", "c", "e" },
                      { 6, "Queen", "c", "f" },
                      { 7, "none", "c", "g" },
                      { 8, "by package", "c", "queen" } });
        ProductModel model;
        ModelWatch watch(&model);
        model.setText(QStringLiteral(" QUEEN "));
        QVERIFY(isFilled(model));
        QCOMPARE(watch.texts(),
                 names({ "by package", "Queen", "queens", "a queen", "aQueenb", "in summary",
                         "in description" }));
        model.setSort(ProductModel::ByName);
        QTRY_COMPARE(watch.texts().first(), QStringLiteral("a queen"));
        model.setText(QStringLiteral("no such thing"));
        QTRY_COMPARE(model.state(), ProductModel::Empty);
        QCOMPARE(model.stateText(), QStringLiteral("Nothing was found for \"no such thing\"."));
    }

    void namesAreShownBeforeDescriptions()
    {
        QList<TestProduct> products;
        for (int serial = 1; serial <= 2000; ++serial)
            products << TestProduct{ serial, "n" + QByteArray::number(serial) };
        products[7].description = QStringLiteral("x\nneedle in it");
        products[8].name = "Needle";
        MakeCatalog(products);
        ProductModel model;
        ModelWatch watch(&model);
        QTRY_VERIFY(!model.isBusy());
        QList<int> counts;
        connect(&model, &ProductModel::countChanged, this, [&] { counts << model.count(); });
        model.setText(QStringLiteral("needle"));
        QVERIFY(model.isBusy());
        QTRY_VERIFY(!model.isBusy());
        QCOMPARE(counts, (QList<int>{ 1, 2 }));
        QCOMPARE(watch.texts(), names({ "Needle", "n8" }));
        // As long as descriptions are searched, nobody knows that nothing is found.
        QStringList states;
        connect(&model, &ProductModel::stateChanged, this, [&] { states << model.stateText(); });
        model.setText(QStringLiteral("absent"));
        QTRY_VERIFY(!model.isBusy());
        QCOMPARE(states, names({ "Searching.", "Nothing was found for \"absent\"." }));
    }

    void typingNarrowsAndDeletingWidens()
    {
        MakeCatalog(some());
        ProductModel model;
        ModelWatch watch(&model);
        const auto rowsFor = [&](const char* text, const QStringList& rows) {
            model.setText(QString::fromLatin1(text));
            return QTest::qWaitFor([&] { return watch.texts() == rows; }, 20000);
        };
        QVERIFY(rowsFor("c", names({ "Chess", "Mango" })));
        QVERIFY(rowsFor("ch", names({ "Chess", "Mango" })));
        QVERIFY(rowsFor("chess", names({ "Chess", "Mango" })));
        QVERIFY(rowsFor("chess q", names({ "Chess" })));
        QVERIFY(rowsFor("chess", names({ "Chess", "Mango" })));
        QVERIFY(rowsFor("", names({ "apple", "Chess", "Mango", "Zebra" })));
        // Only the last of several is of interest.
        for (const char* text : { "a", "ap", "app", "z" })
            model.setText(QString::fromLatin1(text));
        QTRY_COMPARE(watch.texts(), names({ "Zebra" }));
    }

    void sortsByNumbers()
    {
        MakeCatalog(some());
        ProductModel model;
        ModelWatch watch(&model);
        model.setSort(ProductModel::ByDownloads);
        QVERIFY(isFilled(model));
        QCOMPARE(watch.texts(), names({ "Mango", "apple", "Chess", "Zebra" }));
    }

    void productInTwoCategoriesIsOneRow()
    {
        QList<TestProduct> products = some();
        products << TestProduct{ 3, "Mango", "Office", "mango" };
        MakeCatalog(products);
        ProductModel model;
        ModelWatch watch(&model);
        QVERIFY(isFilled(model));
        QCOMPARE(watch.texts().count(QStringLiteral("Mango")), 1);
        model.setText(QStringLiteral("mango"));
        QTRY_COMPARE(watch.texts(), names({ "Mango" }));
        model.setCategory(QStringLiteral("Office"));
        QTRY_COMPARE(watch.texts(), names({ "Mango" }));
        QTRY_COMPARE(model.value(0, QStringLiteral("category")).toString(),
                     QStringLiteral("Office"));
    }

    void withoutACatalogItIsEmptyUntilThereIsOne()
    {
        ProductModel model;
        ModelWatch watch(&model);
        QTRY_COMPARE(model.state(), ProductModel::Empty);
        QCOMPARE(model.stateText(), QStringLiteral("There is no catalog on this computer yet."));
        MakeCatalog(some());
        QVERIFY(isFilled(model));
        QCOMPARE(model.count(), 4);
        QCOMPARE(watch.changes(), QByteArray("i1 r0 m0 l0 d0"));
    }

    void emptyCatalogIsNoFailure()
    {
        MakeCatalog(QList<TestProduct>());
        ProductModel model;
        QTRY_COMPARE(model.state(), ProductModel::Empty);
        QCOMPARE(model.stateText(), QStringLiteral("There is no product here."));
    }

    void unreadableCatalogIsAFailureUntilItIsReplaced()
    {
        WriteDataFile(QStringLiteral(".VACatalog.fil"), "short");
        ProductModel model;
        QTRY_COMPARE(model.state(), ProductModel::Failed);
        QCOMPARE(model.stateText(), QStringLiteral("The catalog on this computer cannot be read."));
        MakeCatalog(some());
        QVERIFY(isFilled(model));
    }

    void damagedCatalogDoesNoHarm()
    {
        std::mt19937 random(815);
        MakeCatalog(some());
        for (int round = 0; round < 40; ++round) {
            for (const char* name : { ".VACatalog.fil", ".VACatalogNotes.fil" }) {
                QFile file(DataPath(QString::fromLatin1(name)));
                QVERIFY(file.open(QIODevice::ReadWrite));
                for (int byte = 0; byte < 60; ++byte) {
                    file.seek(qint64(random() % quint64(file.size())));
                    file.putChar(char(random()));
                }
                if (round % 10 == 9)
                    file.resize(qint64(random() % quint64(file.size() + 1)));
            }
            ProductModel model;
            ModelWatch watch(&model);
            QTRY_VERIFY(model.state() != ProductModel::Loading);
            model.setText(QStringLiteral("queen"));
            QTest::qWait(5);
            if (round % 10 == 9)
                MakeCatalog(some());
        }
    }

    void updateChangesRowsAndKeepsTheSelection()
    {
        MakeCatalog(some());
        ProductModel model;
        ModelWatch watch(&model);
        QItemSelectionModel selection(&model);
        QVERIFY(isFilled(model));
        QTRY_COMPARE(model.product(1).state, Product::Installed);
        selection.select(model.index(model.rowOf(5), 0), QItemSelectionModel::Select);
        const QPersistentModelIndex gone(model.index(model.rowOf(1), 0));
        watch.changes();

        QList<TestProduct> products = some();
        products.removeFirst();
        products[0].version = "9"; // of "apple"
        products << TestProduct{ 9, "Banana", "Office" };
        MakeCatalog(products);
        QTRY_COMPARE(watch.texts(), names({ "apple", "Banana", "Chess", "Mango" }));
        QCOMPARE(watch.changes(), QByteArray("i1 r1 m0 l0 d1"));
        QCOMPARE(selection.selectedIndexes(), QModelIndexList{ model.index(2, 0) });
        QVERIFY(!gone.isValid());
        QCOMPARE(model.value(0, QStringLiteral("version")).toString(), QStringLiteral("9"));
    }

    void sameCatalogAgainChangesNoRow()
    {
        MakeCatalog(some());
        ProductModel model;
        ModelWatch watch(&model);
        QVERIFY(isFilled(model));
        QTRY_COMPARE(model.product(1).state, Product::Installed);
        watch.changes();
        MakeCatalog(some());
        QTest::qWait(500);
        QCOMPARE(watch.changes(), QByteArray("i0 r0 m0 l0 d0"));
    }

    void searchFollowsAnUpdate()
    {
        MakeCatalog(some());
        ProductModel model;
        ModelWatch watch(&model);
        model.setText(QStringLiteral("queens"));
        QVERIFY(isFilled(model));
        QList<TestProduct> products = some();
        products[0].description = QStringLiteral("queens, too");
        MakeCatalog(products);
        QTRY_COMPARE(watch.texts(), names({ "Zebra", "Chess" }));
    }

    void rowsFollowDpkgsStatus()
    {
        MakeCatalog(some());
        InstalledModel installed;
        ModelWatch watch(&installed);
        ProductModel all;
        ModelWatch watchAll(&all);
        QVERIFY(isFilled(installed));
        QVERIFY(isFilled(all));
        QTRY_COMPARE(all.product(1).state, Product::Installed);
        watch.changes();
        watchAll.changes();
        ReplaceStatus(Stanza("apple", "1.0") + Stanza("chess", "1.2"));
        QTRY_COMPARE(watch.texts(), names({ "apple", "Chess" }));
        QCOMPARE(watch.changes(), QByteArray("i1 r1 m0 l0 d0"));
        QTRY_COMPARE(all.product(0).state, Product::Installed);
        QCOMPARE(watchAll.changes(), QByteArray("i0 r0 m0 l0 d2"));
        ReplaceStatus(Stanza("other", "1"));
        QTRY_COMPARE(installed.state(), ProductModel::Empty);
        QCOMPARE(installed.stateText(),
                 QStringLiteral("No application of the store is installed."));
    }

    void foreignPackageIsInstalledToo()
    {
        ReplaceStatus("Package: apple\nStatus: install ok installed\nVersion: 1.0\n"
                      "Architecture: hurd-i386\n\n");
        MakeCatalog(some());
        InstalledModel installed;
        QVERIFY(isFilled(installed));
        QCOMPARE(installed.product(0).name, QStringLiteral("apple"));
    }

    void updatesWhileOneTypes()
    {
        ProductModel model;
        ModelWatch watch(&model);
        std::mt19937 random(99);
        QList<TestProduct> products;
        for (int round = 0; round < 25; ++round) {
            products.clear();
            for (int serial = 1; serial <= 300; ++serial)
                if (random() % 3)
                    products << TestProduct{ serial, "n" + QByteArray::number(int(random() % 1000)),
                                             "c", "p" + QByteArray::number(serial) };
            MakeCatalog(products);
            model.setText(round % 4 == 3 ? QString() : QString::number(int(random() % 10)));
            QTest::qWait(int(random() % 150));
        }
        model.setText(QString());
        QTRY_COMPARE(model.count(), products.size());
        QVERIFY(watch.changes() != "reset");
    }
};

QTEST_GUILESS_MAIN(ProductModelTest)
#include "tst_productmodel.moc"
