// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Browsing the catalog: its categories, the products of a category, one product.

#include "commands.h"
#include "console.h"
#include "layout.h"
#include "names.h"
#include "outcome.h"
#include "products.h"

#include <KLazyLocalizedString>
#include <KLocalizedString>
#include <QJsonArray>
#include <QLocale>
#include <QMap>
#include <algorithm>
#include <string_view>
#include <vantrelagent/db/catalogscan.h>

using namespace Agent;

namespace
{

QString Text(const char* text)
{
    return QString::fromUtf8(text);
}

// By name, ignoring letter case.
void Sort(QList<Product>& products)
{
    std::sort(products.begin(), products.end(), [](const Product& a, const Product& b) {
        const int order = QString::compare(a.name, b.name, Qt::CaseInsensitive);
        return order != 0 ? order < 0 : a.serial < b.serial;
    });
}

// The number of visible products in a category; letter case does not distinguish
// categories.
struct CategoryCount {
    QString name;
    int products = 0;
};

QMap<QString, CategoryCount> CountCategories(CatalogScan& scan)
{
    QMap<QByteArray, int> counts;
    while (scan.Next()) {
        if (!scan.Hidden())
            ++counts[scan.Category()];
    }
    QMap<QString, CategoryCount> categories;
    for (auto at = counts.begin(); at != counts.end(); ++at) {
        const QString name = QString::fromUtf8(at.key()).simplified();
        CategoryCount& category = categories[name.toCaseFolded()];
        category.name = name;
        category.products += at.value();
    }
    return categories;
}

QJsonValue ValueAsJson(const CatalogScan::Value& value)
{
    switch (value.kind) {
    case CatalogScan::Kind::Text:
        return Text(value.text);
    case CatalogScan::Kind::Flag:
        return value.number != 0;
    default:
        return value.number;
    }
}

QJsonObject DetailsAsJson(CatalogScan& scan, const QString& installed)
{
    QJsonArray needs;
    for (const std::string& name : scan.Dependencies())
        needs << Text(name.c_str());
    QJsonObject all = ProductAsJson(ProductOf(scan));
    for (const CatalogScan::Value& value : scan.Values())
        if (!all.contains(QLatin1String(value.key)))
            all[QLatin1String(value.key)] = ValueAsJson(value);
    all[QStringLiteral("description")] = Text(scan.Description().c_str());
    all[QStringLiteral("needs")] = needs;
    all[QStringLiteral("installed")] = installed.isNull() ? QJsonValue() : QJsonValue(installed);
    return all;
}

QString Joined(const std::vector<std::string>& names)
{
    QStringList list;
    for (const std::string& name : names)
        list << Text(name.c_str()).simplified();
    return list.join(QStringLiteral(", "));
}

QString ValueAsText(const CatalogScan::Value& value)
{
    if (value.kind == CatalogScan::Kind::Text)
        return Text(value.text);
    if (value.number <= 0)
        return QString();
    return value.kind == CatalogScan::Kind::Bytes ? QLocale().formattedDataSize(value.number)
                                                  : QString::number(value.number);
}

// The titles of the fields of a product, which the library has in English.
const KLazyLocalizedString titles[] = {
    kli18nc("of a product", "Name"),         kli18nc("of a product", "Serial"),
    kli18nc("of a product", "Package"),      kli18nc("of a product", "Version"),
    kli18nc("of a product", "Category"),     kli18nc("of a product", "Vendor"),
    kli18nc("of a product", "Copyright"),    kli18nc("of a product", "Price"),
    kli18nc("of a product", "Size"),         kli18nc("of a product", "Released"),
    kli18nc("of a product", "Review score"), kli18nc("of a product", "Ranking"),
    kli18nc("of a product", "Downloads"),    kli18nc("of a product", "Page"),
    kli18nc("of a product", "Author"),
};

QString TitleOf(const char* title)
{
    const auto found = std::find_if(std::begin(titles), std::end(titles),
                                    [title](const KLazyLocalizedString& one) {
                                        return std::string_view(one.untranslatedText()) == title;
                                    });
    return found == std::end(titles) ? QLatin1String(title) : found->toString();
}

using Details = QList<std::pair<QString, QString>>; // titles and texts

Details DetailsOf(CatalogScan& scan, const QString& installed)
{
    Details all;
    for (const CatalogScan::Value& value : scan.Values()) {
        if (value.title)
            all.append({ TitleOf(value.title), ValueAsText(value) });
        if (value.key == std::string_view("version"))
            all.append({ i18nc("which version is installed, or none", "Installed"),
                         installed.isNull() ? i18nc("nothing is installed", "no") : installed });
    }
    all.append(
        { i18nc("the packages that a product needs", "Needs"), Joined(scan.Dependencies()) });
    all.append({ i18nc("whether a product is hidden", "Hidden"),
                 scan.Hidden() ? i18nc("a product is hidden", "yes") : QString() });
    return all;
}

void SayDetails(Console& display, CatalogScan& scan, const QString& installed)
{
    const Details details = DetailsOf(scan, installed);
    int width = 0; // of the titles
    for (const auto& [title, text] : details)
        width = std::max(width, CellsOf(title) + 2);
    for (const auto& [title, text] : details)
        if (!text.simplified().isEmpty())
            display.Say(Padded(title + QLatin1Char(':'), width)
                        + Wrapped(text.simplified(), display.Width(), width).mid(width));
    const QString description = Text(scan.Description().c_str());
    if (!description.isEmpty())
        display.Say(QLatin1Char('\n') + Wrapped(description, display.Width(), 2));
}

// Its record is another one if an update has replaced the catalog meanwhile.
bool GoTo(CatalogScan& scan, const Product& product)
{
    if (!scan.MoveTo(product.record) || scan.ServerSerialNumber() != product.serial)
        scan.MoveTo(1);
    while (scan.ServerSerialNumber() != product.serial && scan.Next()) { }
    return scan.ServerSerialNumber() == product.serial;
}

} // namespace

int CategoriesCommand(Console& display)
{
    CatalogScan scan;
    if (!HasCatalog(display, scan))
        return ExitFailed;
    QJsonArray all;
    const QMap<QString, CategoryCount> categories = CountCategories(scan);
    for (const CategoryCount& category : categories) {
        display.Say(Fitted(QStringLiteral("%1  ").arg(category.products, 6) + category.name,
                           display.Width()));
        all << QJsonObject{ { QStringLiteral("name"), category.name },
                            { QStringLiteral("products"), category.products } };
    }
    display.SayJson(all);
    if (categories.isEmpty())
        display.SayText(i18n("The catalog is empty."));
    return ExitDone;
}

int ListCommand(Console& display, const QString& category)
{
    CatalogScan scan;
    if (!HasCatalog(display, scan))
        return ExitFailed;
    const QString wanted = category.simplified().toCaseFolded();
    QList<Product> products;
    QByteArray last("\n"); // not the name of any category
    bool isWanted = false;
    while (scan.Next()) {
        // Products of a category usually follow each other.
        if (last != scan.Category()) {
            last = scan.Category();
            isWanted = QString::fromUtf8(last).simplified().toCaseFolded() == wanted;
        }
        if (isWanted && !scan.Hidden())
            products << ProductOf(scan);
    }
    if (products.isEmpty()) {
        display.Complain(
            i18n("there is no category '%1': 'pakmart categories' lists them", category));
        return ExitFailed;
    }
    Sort(products);
    SayProducts(display, products);
    return ExitDone;
}

int ListInstalledCommand(Console& display, bool onlyUpgradable)
{
    CatalogScan scan;
    if (!HasCatalog(display, scan))
        return ExitFailed;
    const DpkgStatus packages = ReadDpkgStatus();
    QMap<int, Product> found; // a product in two categories is listed once
    while (scan.Next()) {
        const Product product = ProductOf(scan);
        const QString state = StateOf(product, packages);
        const bool wanted
            = onlyUpgradable ? state == QLatin1String("upgradable") : !state.isEmpty();
        if (wanted && !scan.Hidden())
            found[product.serial] = product;
    }
    QList<Product> products = found.values();
    Sort(products);
    SayProducts(display, products);
    if (products.isEmpty())
        display.SayText(onlyUpgradable ? i18n("No product can be upgraded.")
                                       : i18n("No product is installed."));
    return ExitDone;
}

int ShowCommand(Console& display, const QStringList& names)
{
    CatalogScan first;
    if (!HasCatalog(display, first))
        return ExitFailed;
    const DpkgStatus packages = ReadDpkgStatus();
    QJsonArray all;
    int status = ExitDone;
    for (const QString& name : names) {
        const Product product = FindProduct(display, name);
        CatalogScan scan;
        if (product.serial <= 0 || !GoTo(scan, product)) {
            status = ExitFailed;
            continue;
        }
        const QString installed = InstalledVersion(packages, scan.PackageName());
        if (!all.isEmpty())
            display.Say(QString());
        SayDetails(display, scan, installed);
        all << DetailsAsJson(scan, installed);
    }
    if (status == ExitDone)
        display.SayJson(all);
    return status;
}
