// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "db/productsearch.h"

#include <QStringList>
#include <algorithm>
#include <cstring>

namespace Agent
{

namespace
{

// Where a word occurs, from the best to the worst place.
enum Place { Whole, Beginning, BeginningOfAWord, Within, InSummary, InDescription, Nowhere };

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

// Faster in long texts than find().
bool Has(const std::string& text, const std::string& word)
{
    return memmem(text.data(), text.size(), word.data(), word.size()) != nullptr;
}

} // namespace

ProductSearch::ProductSearch(const QString& text)
{
    const QString phrase = text.simplified();
    Fold(phrase.toStdString(), m_phrase);
    for (const QString& word : phrase.split(QLatin1Char(' '), Qt::SkipEmptyParts)) {
        m_words.emplace_back();
        Fold(word.toStdString(), m_words.back());
    }
}

// Pure ASCII, which is common, is folded without Qt, and without branches.
void ProductSearch::Fold(std::string_view text, std::string& folded)
{
    folded.assign(text);
    unsigned all = 0;
    for (char& c : folded) {
        const auto byte = static_cast<unsigned char>(c);
        c = char(byte + ((byte >= 'A') & (byte <= 'Z')) * ('a' - 'A'));
        all |= byte;
    }
    if (all >= 0x80)
        folded = QString::fromStdString(folded).toCaseFolded().toStdString();
}

int ProductSearch::PlaceOf(const std::string& word, const Description& description)
{
    const Place title = std::min(PlaceIn(m_name, word), PlaceIn(m_package, word));
    if (title != Nowhere)
        return title;
    if (Has(m_summary, word))
        return InSummary;
    if (!m_hasDescription)
        Fold(description ? description() : std::string_view(), m_description);
    m_hasDescription = true;
    return Has(m_description, word) ? InDescription : Nowhere;
}

int ProductSearch::RankOf(std::string_view name, std::string_view package, std::string_view summary,
                          const Description& description)
{
    Fold(name, m_name);
    Fold(package, m_package);
    Fold(summary, m_summary);
    m_hasDescription = false;
    int sum = 0;
    for (const std::string& word : m_words) {
        const int place = PlaceOf(word, description);
        if (place == Nowhere)
            return -1;
        sum += place;
    }
    constexpr int step = 1000; // more than the places of many words add up to
    const int phrase = m_words.size() > 1 ? PlaceOf(m_phrase, description) : sum;
    return phrase * step + std::min(sum, step - 1);
}

} // namespace Agent
