// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "host/models/productquery.h"

#include "db/productsearch.h"

#include <algorithm>
#include <unordered_set>

using Agent::ProductSearch;

namespace Pakmart
{

namespace
{

struct Match {
    std::uint32_t place;
    int rank;
    Product::State state;
};

QString Key(const QString& category)
{
    return category.simplified().toCaseFolded();
}

// Of each category of the table: whether it is the wanted one, or below that.
std::vector<bool> Wanted(const CatalogTable& table, const QString& category)
{
    const QString key = Key(category), above = key + QLatin1Char('/');
    std::vector<bool> wanted(table.categories.size(), key.isEmpty());
    for (std::size_t at = 0; !key.isEmpty() && at < wanted.size(); ++at) {
        const QString name = Key(table.categories[at].name);
        wanted[at] = name == key || name.startsWith(above);
    }
    return wanted;
}

bool IsShown(ProductModel::Show show, Product::State state)
{
    switch (show) {
    case ProductModel::All:
        return true;
    case ProductModel::Installed:
        return state == Product::Installed || state == Product::Upgradable
            || state == Product::Broken;
    case ProductModel::NotInstalled:
        return state == Product::NotInstalled;
    case ProductModel::Upgradable:
        return state == Product::Upgradable;
    case ProductModel::OtherShow:
        break;
    }
    return false;
}

class Finder
{
public:
    Finder(const ProductQuery& query, const CatalogTable& table, const InstalledPackages* packages)
        : m_query(query), m_table(table), m_packages(packages), m_search(query.text),
          m_wanted(Wanted(table, query.category))
    {
    }

    bool IsSearch() const { return !m_search.IsEmpty(); }

    void Look(std::uint32_t place)
    {
        const CatalogEntry& entry = m_table.Entry(place);
        if (entry.hidden || !m_wanted[entry.category])
            return;
        const int rank = IsSearch() ? RankOf(place) : 0;
        if (rank < 0)
            return;
        m_matching.push_back(place);
        const Product::State state = StateOf(m_packages, m_table.Text(place, PackageText),
                                             m_table.Text(place, VersionText));
        if (IsShown(m_query.show, state))
            m_matches.push_back({ place, rank, state });
    }

    ProductAnswer Result()
    {
        Sort();
        ProductAnswer answer;
        answer.products.reserve(m_matches.size());
        std::unordered_set<std::int32_t> seen; // a product in two categories is one row
        for (const Match& match : m_matches)
            if (!m_table.hasTwins || seen.insert(m_table.Entry(match.place).serial).second)
                answer.products.push_back({ match.place, match.state });
        answer.matching = std::move(m_matching);
        return answer;
    }

private:
    int RankOf(std::uint32_t place)
    {
        return m_search.RankOf(m_table.Text(place, NameText), m_table.Text(place, PackageText),
                               m_table.Text(place, SummaryText), [this, place] {
                                   return m_table.notes->reader.Read(m_table.Entry(place).note);
                               });
    }

    // Larger numbers and later dates go first.
    int Compare(std::uint32_t a, std::uint32_t b) const
    {
        const CatalogEntry &first = m_table.Entry(a), &second = m_table.Entry(b);
        switch (m_query.sort) {
        case ProductModel::ByDownloads:
            return (second.downloads > first.downloads) - (second.downloads < first.downloads);
        case ProductModel::BySize:
            return (second.size > first.size) - (second.size < first.size);
        case ProductModel::ByReleaseDate:
            return std::string_view(m_table.Text(b, ReleasedText))
                .compare(m_table.Text(a, ReleasedText));
        default:
            return 0;
        }
    }

    void Sort()
    {
        const bool byRank = m_query.sort == ProductModel::ByRelevance;
        std::sort(m_matches.begin(), m_matches.end(), [this, byRank](const Match& a, const Match& b) {
            if (byRank && a.rank != b.rank)
                return a.rank < b.rank;
            const int order = Compare(a.place, b.place);
            return order != 0 ? order < 0 : m_table.nameRank[a.place] < m_table.nameRank[b.place];
        });
    }

    const ProductQuery& m_query;
    const CatalogTable& m_table;
    const InstalledPackages* const m_packages;
    ProductSearch m_search;
    const std::vector<bool> m_wanted;
    std::vector<Match> m_matches;
    std::vector<std::uint32_t> m_matching;
};

} // namespace

ProductAnswer Answer(const ProductQuery& query, const CatalogTable& table,
                     const InstalledPackages* packages, const std::vector<std::uint32_t>* among,
                     const std::function<bool()>& isCancelled)
{
    Finder finder(query, table, packages);
    std::unique_lock<std::mutex> lock;
    if (finder.IsSearch() && table.notes)
        lock = std::unique_lock<std::mutex>(table.notes->mutex);
    const std::uint32_t count = among ? std::uint32_t(among->size()) : table.Count();
    for (std::uint32_t at = 0; at < count; ++at) {
        if (at % 256 == 0 && isCancelled())
            break;
        finder.Look(among ? (*among)[at] : at);
    }
    return finder.Result();
}

bool IsNarrower(const ProductQuery& query, const ProductQuery& wider)
{
    return query.category == wider.category && !wider.text.simplified().isEmpty()
        && query.text.simplified().startsWith(wider.text.simplified(), Qt::CaseInsensitive);
}

} // namespace Pakmart
