// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "host/models/productquery.h"

#include "db/productsearch.h"

#include <algorithm>
#include <unordered_map>
#include <unordered_set>

using Agent::ProductSearch;

namespace Pakmart
{

namespace
{

struct Match {
    std::uint64_t order; // the rank, and by name within it
    std::uint32_t place;
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
    Finder(const ProductQuery& query, const ProductSource& source)
        : m_query(query), m_source(source), m_table(source.table), m_search(query.text),
          m_wanted(Wanted(source.table, query.category))
    {
    }

    bool isSearch() const { return !m_search.IsEmpty(); }

    // Looks at a product without its description.
    void look(std::uint32_t place)
    {
        const CatalogEntry& entry = m_table.entry(place);
        if (entry.hidden || !m_wanted[entry.category])
            return;
        if (m_query.serial != 0 && entry.serial != m_query.serial)
            return;
        const int rank = isSearch() ? rankOf(place, nullptr) : 0;
        if (rank >= 0)
            take(place, rank);
        // Another word, or the phrase, may be in the description.
        if (isSearch() && (rank < 0 || m_search.HasSeveralWords()))
            m_open.push_back(place);
    }

    // What has to be looked at with the description.
    std::vector<std::uint32_t> beginDescriptions()
    {
        if (m_search.HasSeveralWords()) {
            m_matches.clear();
            m_matching.clear();
        }
        return std::move(m_open);
    }
    void lookCloser(std::uint32_t place)
    {
        const int rank = rankOf(
            place, [this, place] { return m_table.notes->reader.View(m_table.entry(place).note); });
        if (rank >= 0)
            take(place, rank);
    }
    std::size_t openCount() const { return m_open.size(); }

    ProductAnswer result(bool isWhole)
    {
        sort();
        ProductAnswer answer;
        answer.products.reserve(m_matches.size());
        std::unordered_set<std::int32_t> seen; // a product in two categories is one row
        for (const Match& match : m_matches)
            if (!m_table.hasTwins || seen.insert(m_table.entry(match.place).serial).second)
                answer.products.push_back({ match.place, match.state });
        answer.matching = m_matching;
        answer.isWhole = isWhole;
        markChanged(answer);
        return answer;
    }

private:
    void take(std::uint32_t place, int rank)
    {
        m_matching.push_back(place);
        const Product::State state = StateOf(m_source.packages, m_table.text(place, PackageText),
                                             m_table.text(place, VersionText));
        if (IsShown(m_query.show, state))
            m_matches.push_back({ order(place, rank), place, state });
    }

    void markChanged(ProductAnswer& answer) const
    {
        const CatalogTable* const before = m_source.before;
        // A catalog that was only begun has the same products at the same places.
        if (!before || before == &m_table || !before->isWhole)
            return;
        std::unordered_map<std::int32_t, std::uint32_t> places;
        places.reserve(before->byName.size());
        for (std::uint32_t place : before->byName)
            places.emplace(before->entry(place).serial, place);
        for (FoundProduct& found : answer.products) {
            const auto old = places.find(m_table.entry(found.place).serial);
            found.isChanged
                = old != places.end() && !m_table.isSame(found.place, *before, old->second);
        }
    }

    int rankOf(std::uint32_t place, const ProductSearch::Description& description)
    {
        return m_search.RankOf(m_table.text(place, NameText), m_table.text(place, PackageText),
                               m_table.text(place, SummaryText), description);
    }

    // Larger numbers and later dates go first.
    int compare(std::uint32_t a, std::uint32_t b) const
    {
        const CatalogEntry &first = m_table.entry(a), &second = m_table.entry(b);
        switch (m_query.sort) {
        case ProductModel::ByDownloads:
            return (second.downloads > first.downloads) - (second.downloads < first.downloads);
        case ProductModel::BySize:
            return (second.size > first.size) - (second.size < first.size);
        case ProductModel::ByReleaseDate:
            return std::string_view(m_table.text(b, ReleasedText))
                .compare(m_table.text(a, ReleasedText));
        default:
            return 0;
        }
    }

    std::uint64_t order(std::uint32_t place, int rank) const
    {
        const bool byRank = m_query.sort == ProductModel::ByRelevance;
        return std::uint64_t(byRank ? rank : 0) << 32 | m_table.nameRank[place];
    }

    void sort()
    {
        std::sort(m_matches.begin(), m_matches.end(), [this](const Match& a, const Match& b) {
            const int order = compare(a.place, b.place);
            return order != 0 ? order < 0 : a.order < b.order;
        });
    }

    const ProductQuery& m_query;
    const ProductSource m_source;
    const CatalogTable& m_table;
    ProductSearch m_search;
    const std::vector<bool> m_wanted;
    std::vector<Match> m_matches;
    std::vector<std::uint32_t> m_matching;
    std::vector<std::uint32_t> m_open;
};

constexpr std::size_t manyDescriptions = 1000;

} // namespace

ProductAnswer Answer(const ProductQuery& query, const ProductSource& source,
                     const std::function<bool()>& isCancelled,
                     const std::function<void(ProductAnswer)>& report)
{
    Finder finder(query, source);
    const auto& among = source.among;
    const std::uint32_t count = among ? std::uint32_t(among->size()) : source.table.count();
    for (std::uint32_t at = 0; at < count; ++at) {
        if (at % 256 == 0 && isCancelled())
            return {};
        finder.look(among ? (*among)[at] : at);
    }
    if (finder.openCount() == 0 || !source.table.notes)
        return finder.result(true);
    if (finder.openCount() >= manyDescriptions)
        report(finder.result(false));
    const std::lock_guard<std::mutex> lock(source.table.notes->mutex);
    int looked = 0;
    for (std::uint32_t place : finder.beginDescriptions()) {
        if (++looked % 256 == 0 && isCancelled())
            return {};
        finder.lookCloser(place);
    }
    return finder.result(true);
}

bool IsNarrower(const ProductQuery& query, const ProductQuery& wider)
{
    return query.category == wider.category && query.serial == wider.serial
        && !wider.text.simplified().isEmpty()
        && query.text.simplified().startsWith(wider.text.simplified(), Qt::CaseInsensitive);
}

} // namespace Pakmart
