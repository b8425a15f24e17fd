// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Finding products by words: applications first, then libraries, each in the order that
// ProductSearch gives them.

#include "commands.h"
#include "console.h"
#include "products.h"

#include <KLocalizedString>
#include <QSet>
#include <algorithm>
#include <future>
#include <iterator>
#include <memory>
#include <string_view>
#include <vantrelagent/db/catalogscan.h>
#include <vantrelagent/db/productsearch.h>

using namespace Agent;

namespace
{

std::string_view FirstLine(const std::string& text)
{
    return std::string_view(text).substr(0, text.find('\n'));
}

// Whether a category holds parts of programs only. A store that was made of a Debian archive
// has the archive's sections as categories, such as "libs" and "contrib/libs".
bool HoldsLibraries(std::string_view category)
{
    static constexpr std::string_view sections[]
        = { "libs", "libdevel", "oldlibs", "debug", "introspection" };
    std::string folded;
    ProductSearch::Fold(category, folded);
    const std::string_view section
        = std::string_view(folded).substr(folded.rfind('/') + 1); // npos + 1 is 0
    return std::find(std::begin(sections), std::end(sections), section) != std::end(sections);
}

struct Hit {
    bool isLibrary;
    int rank;
    Product product;
};

std::vector<Hit> HitsAmong(CatalogScan& scan, const QString& phrase)
{
    ProductSearch search(phrase);
    std::vector<Hit> hits;
    while (scan.Next()) {
        if (scan.Hidden())
            continue;
        const std::string description = scan.Description();
        const int rank = search.RankOf(scan.Name(), scan.PackageName(), FirstLine(description),
                                       [&description] { return std::string_view(description); });
        if (rank >= 0)
            hits.push_back({ HoldsLibraries(scan.Category()), rank, ProductOf(scan) });
    }
    return hits;
}

// In two threads, if the machine gives out a second one.
std::vector<Hit> AllHits(CatalogScan& scan, const QString& phrase)
{
    const std::unique_ptr<CatalogScan> rest = scan.SecondHalf();
    std::future<std::vector<Hit>> later;
    if (rest)
        later = std::async([&rest, &phrase] { return HitsAmong(*rest, phrase); });
    std::vector<Hit> hits = HitsAmong(scan, phrase);
    if (rest) {
        std::vector<Hit> more = later.get();
        std::move(more.begin(), more.end(), std::back_inserter(hits));
    }
    return hits;
}

QList<Product> InOrder(std::vector<Hit>& hits)
{
    std::sort(hits.begin(), hits.end(), [](const Hit& a, const Hit& b) {
        if (a.isLibrary != b.isLibrary)
            return b.isLibrary;
        if (a.rank != b.rank)
            return a.rank < b.rank;
        const int order = QString::compare(a.product.name, b.product.name, Qt::CaseInsensitive);
        return order != 0 ? order < 0 : a.product.serial < b.product.serial;
    });
    QList<Product> products;
    QSet<int> seen; // a product in two categories is listed once
    for (const Hit& hit : hits) {
        if (seen.contains(hit.product.serial))
            continue;
        seen.insert(hit.product.serial);
        products << hit.product;
    }
    return products;
}

} // namespace

int SearchCommand(Console& display, const QStringList& words)
{
    CatalogScan scan;
    if (!HasCatalog(display, scan))
        return ExitFailed;
    const QString phrase = words.join(QLatin1Char(' ')).simplified();
    std::vector<Hit> hits = AllHits(scan, phrase);
    const QList<Product> products = InOrder(hits);
    SayProducts(display, products);
    if (products.isEmpty())
        display.SayText(i18n("No product has '%1' in its name, package or description.", phrase));
    return ExitDone;
}
