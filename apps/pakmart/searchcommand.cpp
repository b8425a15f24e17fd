// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Finding products by words. All words must occur somewhere in the product's name, package
// or description, in any letter case; products with the words in better places come first.

#include "commands.h"
#include "console.h"
#include "products.h"

#include <QByteArrayList>
#include <QSet>
#include <algorithm>
#include <cstring>
#include <vantrelagent/db/catalogscan.h>

namespace
{

// Where a word occurs, from the best to the worst place.
enum Place { Whole, Beginning, BeginningOfAWord, Within, InSummary, InDescription, Nowhere };

// Folds the letter case of a text. Pure ASCII, which is common, is folded without Qt.
void Fold(const char* text, std::size_t length, std::string& folded)
{
    folded.assign(text, length);
    bool ascii = true;
    for (char& c : folded) {
        if (c >= 'A' && c <= 'Z')
            c = char(c + ('a' - 'A'));
        ascii = ascii && (c & 0x80) == 0;
    }
    if (!ascii)
        folded = QString::fromStdString(folded).toCaseFolded().toStdString();
}

bool IsPartOfWord(char c)
{
    return (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || (c & 0x80) != 0;
}

Place PlaceIn(const std::string& title, const std::string& word)
{
    std::size_t at = title.find(word);
    if (at == std::string::npos)
        return Nowhere;
    if (at == 0)
        return title.size() == word.size() ? Whole : Beginning;
    for (; at != std::string::npos; at = title.find(word, at + 1)) {
        if (!IsPartOfWord(title[at - 1]))
            return BeginningOfAWord;
    }
    return Within;
}

// One product's texts, folded.
class Texts
{
public:
    void Load(CatalogScan& scan)
    {
        FoldText(scan.Name(), m_name);
        FoldText(scan.PackageName(), m_package);
        const std::string description = scan.Description();
        Fold(description.data(), description.size(), m_description);
        m_summaryEnd = std::min(m_description.find('\n'), m_description.size());
    }

    Place PlaceOf(const std::string& word) const
    {
        const Place title = std::min(PlaceIn(m_name, word), PlaceIn(m_package, word));
        if (title != Nowhere)
            return title;
        const std::size_t at = m_description.find(word);
        if (at == std::string::npos)
            return Nowhere;
        return at < m_summaryEnd ? InSummary : InDescription;
    }

private:
    static void FoldText(const char* text, std::string& folded)
    {
        Fold(text, std::strlen(text), folded);
    }

    std::string m_name, m_package, m_description;
    std::size_t m_summaryEnd = 0;
};

// A lower rank is better; -1 for a product that lacks a word. The place of the whole phrase
// counts more than the places of the single words.
int RankOf(const Texts& texts, const std::vector<std::string>& words, const std::string& phrase)
{
    int sum = 0;
    for (const std::string& word : words) {
        const Place place = texts.PlaceOf(word);
        if (place == Nowhere)
            return -1;
        sum += place;
    }
    constexpr int step = 1000; // more than the places of many words add up to
    return int(texts.PlaceOf(phrase)) * step + std::min(sum, step - 1);
}

struct Hit {
    int rank;
    Product product;
};

QList<Product> InOrder(std::vector<Hit>& hits)
{
    std::sort(hits.begin(), hits.end(), [](const Hit& a, const Hit& b) {
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

std::string Folded(const QString& text)
{
    const QByteArray bytes = text.toUtf8();
    std::string folded;
    Fold(bytes.constData(), std::size_t(bytes.size()), folded);
    return folded;
}

} // namespace

int SearchCommand(Console& display, const QStringList& words, bool json)
{
    CatalogScan scan;
    if (!HasCatalog(display, scan))
        return ExitFailed;
    const QString phrase = words.join(QLatin1Char(' ')).simplified();
    const std::string foldedPhrase = Folded(phrase);
    std::vector<std::string> wanted;
    for (const QString& word : phrase.split(QLatin1Char(' '), Qt::SkipEmptyParts))
        wanted.push_back(Folded(word));
    std::vector<Hit> hits;
    Texts texts;
    while (scan.Next()) {
        if (scan.Hidden())
            continue;
        texts.Load(scan);
        const int rank = RankOf(texts, wanted, foldedPhrase);
        if (rank >= 0)
            hits.push_back({ rank, ProductOf(scan) });
    }
    const QList<Product> products = InOrder(hits);
    SayProducts(display, products, json);
    if (products.isEmpty() && !json)
        display.sayText(
            QStringLiteral("No product has '%1' in its name, package or description.").arg(phrase));
    return ExitDone;
}
