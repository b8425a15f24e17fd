// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

/// @class Agent::ProductSearch
/// Finds products by words, best first. All words must occur somewhere in the product's name,
/// package or description, in any letter case. The place of the whole phrase counts most,
/// then those of the single words.
///
///     Agent::ProductSearch search(QStringLiteral("chess game"));
///     const int rank = search.RankOf(name, package, summary, [&] { return description; });
///     if (rank >= 0) ... // lower ranks go first
///
/// One thread at a time.

#pragma once

#include <QString>
#include <functional>
#include <string>
#include <string_view>
#include <vantrelagent/export.h>
#include <vector>

namespace Agent
{

class VANTRELAGENT_EXPORT ProductSearch
{
public:
    /// Blanks separate the words; those at the ends do not count.
    explicit ProductSearch(const QString& text);

    /// Whether there is no word, so that every product is found.
    bool IsEmpty() const { return m_words.empty(); }

    /// The text of a product's description, until it is called again.
    using Description = std::function<std::string_view()>;

    /// A lower rank is better; -1 if the product lacks a word. All texts are UTF-8. The
    /// summary is the first line of the description, which is asked for only if a word occurs
    /// nowhere else. A product without a description has an empty function.
    int RankOf(std::string_view name, std::string_view package, std::string_view summary,
               const Description& description);
    /// Whether the description can matter for a product that was found without it.
    bool HasSeveralWords() const { return m_words.size() > 1; }

    /// Folds the letter case of a UTF-8 text.
    static void Fold(std::string_view text, std::string& folded);

private:
    int PlaceOf(const std::string& word, const Description& description);

    std::vector<std::string> m_words;
    std::string m_phrase;
    // Of the product at hand, folded.
    std::string m_name, m_package, m_summary, m_description;
    bool m_hasDescription = false;
};

} // namespace Agent
