// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "names.h"

#include "base/packagename.h"
#include "console.h"
#include "outcome.h"

#include <KLocalizedString>
#include <QMap>
#include <QVector>
#include <algorithm>
#include <cstdlib>
#include <utility>
#include <vantrelagent/db/catalogscan.h>

using Agent::CatalogScan;

namespace
{

bool IsNumber(const QString& name)
{
    return !name.isEmpty() && std::all_of(name.begin(), name.end(), [](QChar c) {
        return c >= QLatin1Char('0') && c <= QLatin1Char('9');
    });
}

// Whether a name of the catalog cannot be `wanted`, which has no capitals: most begin with another
// letter. Other characters than those of ASCII may be written in several ways.
bool BeginsOtherwise(const char* name, const QString& wanted)
{
    const auto isPlain = [](int c) { return c > ' ' && c < 0x7F; };
    const int first = static_cast<unsigned char>(*name);
    const int small = first >= 'A' && first <= 'Z' ? first - 'A' + 'a' : first;
    const int other = wanted.isEmpty() ? 0 : wanted[0].unicode();
    return isPlain(first) && isPlain(other) && small != other;
}

// The products that a name may mean: those with that number, or else that name, or else that
// package. One in two categories counts once.
QList<Product> Candidates(const QString& name)
{
    QMap<int, Product> named, packaged;
    CatalogScan scan;
    const bool isNumber = IsNumber(name);
    const qlonglong number = name.toLongLong();
    const QByteArray package = name.toUtf8();
    const QString wanted = name.simplified().toCaseFolded();
    while (scan && scan.Next()) {
        if (isNumber && scan.ServerSerialNumber() == number)
            return { ProductOf(scan) };
        if (isNumber || scan.Hidden())
            continue;
        if (!BeginsOtherwise(scan.Name(), wanted)
            && QString::fromUtf8(scan.Name()).simplified().toCaseFolded() == wanted)
            named[scan.ServerSerialNumber()] = ProductOf(scan);
        if (package == scan.PackageName())
            packaged[scan.ServerSerialNumber()] = ProductOf(scan);
    }
    return named.isEmpty() ? packaged.values() : named.values();
}

// Several products of one package are the same to the package tools.
bool IsAmbiguous(const QList<Product>& products)
{
    return std::any_of(products.begin(), products.end(), [&products](const Product& product) {
        return product.package != products.first().package;
    });
}

void SayCandidates(Console& console, const QString& name, const QList<Product>& products)
{
    QString text = i18n("'%1' may be one of these; name it by its number or package:", name);
    for (const Product& product : products)
        text += QStringLiteral("\n%1  %2 (%3)")
                    .arg(product.serial, 6)
                    .arg(product.name, product.package);
    console.Complain(text);
}

bool IsWord(Console& console, const QString& name)
{
    if (Agent::IsPackageWord(name.toStdString()))
        return true;
    console.Fail(QStringLiteral("invalid-name"),
                 i18n("no product has the name '%1', and no package can have it", name));
    SayUnknown(console, name);
    return false;
}

// The number of letters to change, add and leave out that make one word of another.
int Distance(const QString& a, const QString& b)
{
    QVector<int> row(b.size() + 1);
    for (int j = 0; j <= b.size(); ++j)
        row[j] = j;
    for (int i = 1; i <= a.size(); ++i) {
        int diagonal = std::exchange(row[0], i);
        for (int j = 1; j <= b.size(); ++j) {
            const int change = diagonal + (a[i - 1] == b[j - 1] ? 0 : 1);
            diagonal = row[j];
            row[j] = std::min({ row[j] + 1, row[j - 1] + 1, change });
        }
    }
    return row[b.size()];
}

} // namespace

QStringList NearestNames(const QString& name)
{
    const QString wanted = name.simplified().toCaseFolded();
    const int most = std::max(1, int(wanted.size()) / 3); // letters that may differ
    QMap<QString, int> found;
    const auto look = [&](const QString& known) {
        const QString folded = known.toCaseFolded();
        if (std::abs(int(folded.size() - wanted.size())) > most)
            return;
        const int distance = Distance(wanted, folded);
        if (distance <= most)
            found[known] = distance;
    };
    CatalogScan scan;
    while (scan && scan.Next()) {
        if (scan.Hidden())
            continue;
        look(QString::fromUtf8(scan.Name()).simplified());
        look(QString::fromUtf8(scan.PackageName()).simplified());
    }
    const QMap<QString, QString> installed = InstalledVersions();
    for (auto at = installed.begin(); at != installed.end(); ++at)
        look(at.key());
    QStringList names = found.keys();
    std::stable_sort(names.begin(), names.end(),
                     [&found](const QString& a, const QString& b) { return found[a] < found[b]; });
    return names.mid(0, 5);
}

void SayUnknown(Console& console, const QString& name)
{
    const QStringList nearest = NearestNames(name);
    if (!nearest.isEmpty())
        console.Complain(i18n("similar to '%1': %2", name, nearest.join(QStringLiteral(", "))));
}

Product FindProduct(Console& console, const QString& name)
{
    const QList<Product> products = Candidates(name);
    if (products.size() == 1)
        return products.first();
    if (!products.isEmpty()) {
        SayCandidates(console, name, products);
        return Product();
    }
    console.Fail(QStringLiteral("unknown-product"),
                 IsNumber(name) ? i18n("there is no product with the serial number %1", name)
                                : i18n("there is no product with the name '%1'", name));
    SayUnknown(console, name);
    return Product();
}

bool FindProducts(Console& console, const QStringList& names, Pakmart::Request& request)
{
    for (const QString& name : names) {
        if (IsNumber(name)) {
            request.products << name.toInt();
            continue;
        }
        const QList<Product> products = Candidates(name);
        if (IsAmbiguous(products)) {
            SayCandidates(console, name, products);
            return false;
        }
        if (!products.isEmpty())
            request.products << products.first().serial;
        else if (IsWord(console, name))
            request.packages << name;
        else
            return false;
    }
    return true;
}

bool FindPackages(Console& console, const QStringList& names, QStringList& packages)
{
    const DpkgStatus status = ReadDpkgStatus();
    for (const QString& name : names) {
        if (!IsNumber(name) && !status.Of(name.toStdString()).IsGone()) {
            packages << name;
            continue;
        }
        const QList<Product> products = Candidates(name);
        if (IsAmbiguous(products)) {
            SayCandidates(console, name, products);
            return false;
        }
        if (products.isEmpty() && IsNumber(name)) {
            console.Fail(QStringLiteral("unknown-product"),
                         i18n("there is no product with the serial number %1", name));
            return false;
        }
        if (products.isEmpty() && !IsWord(console, name))
            return false;
        packages << (products.isEmpty() ? name : products.first().package);
    }
    return true;
}
