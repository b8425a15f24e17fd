// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "host/planreader.h"

#include "base/packagename.h"

#include <QSet>
#include <algorithm>
#include <iterator>

namespace Pakmart
{

namespace
{

constexpr int mostRows = 200000; // more packages than any archive has
constexpr int mostMessages = 1000;

// The words of a field, with their values.
template <typename Value> struct Word {
    const char* text;
    Value value;
};

const Word<PlanRow::Action> actions[] = {
    { "install", PlanRow::Installed },    { "upgrade", PlanRow::Upgraded },
    { "downgrade", PlanRow::Downgraded }, { "reinstall", PlanRow::Reinstalled },
    { "remove", PlanRow::Removed },
};

const Word<PlanRow::Reason> reasons[] = {
    { "asked", PlanRow::AskedFor },
    { "needed", PlanRow::NeededBy },
    { "recommended", PlanRow::RecommendedBy },
    { "unused", PlanRow::NoLongerNeeded },
    { "conflict", PlanRow::ConflictsWith },
    { "dependency", PlanRow::Needs },
    { "other", PlanRow::OtherReason },
};

const Word<bool> truths[] = { { "yes", true }, { "no", false } };

template <typename Value, std::size_t Count>
bool Set(Value& value, const QString& text, const Word<Value> (&words)[Count])
{
    const auto found
        = std::find_if(std::begin(words), std::end(words), [&text](const Word<Value>& word) {
              return text == QLatin1String(word.text);
          });
    if (found == std::end(words))
        return false;
    value = found->value;
    return true;
}

// Only digits, and few enough that sums of many cannot overflow.
bool Set(qint64& value, const QString& text)
{
    bool ok = false;
    value = text.toLongLong(&ok);
    const bool digits = std::all_of(text.begin(), text.end(), [](QChar c) {
        return c >= QLatin1Char('0') && c <= QLatin1Char('9');
    });
    return ok && digits && text.size() <= 13;
}

bool SetName(QString& value, const QString& text)
{
    value = text;
    return Agent::IsPackageWord(text.toStdString()) && !text.contains(QLatin1Char('='));
}

bool SetVersion(QString& value, const QString& text)
{
    value = text;
    return Agent::IsPackageVersion(text.toStdString());
}

// Whether the fields of a row are all there and fit together.
bool IsSound(const PlanRow& row, const QStringList& fields)
{
    for (const char* field :
         { "Package", "Action", "Reason", "Essential", "Download-Size", "Old-Size", "New-Size" }) {
        if (!fields.contains(QLatin1String(field)))
            return false;
    }
    const bool wasThere = row.action != PlanRow::Installed;
    const bool isThere = row.action != PlanRow::Removed;
    return row.oldVersion.isEmpty() != wasThere && row.newVersion.isEmpty() != isThere
        && row.architecture.isEmpty() != isThere
        && (row.oldVersion == row.newVersion) == (row.action == PlanRow::Reinstalled);
}

} // namespace

void PlanReader::take(const QString& line)
{
    if (m_state == State::Messages && line == QLatin1String("Plan: 1"))
        m_state = State::Rows;
    else if (m_state == State::Messages && m_messages.size() < mostMessages)
        m_messages << line;
    else if (m_state == State::Rows)
        takePlanLine(line);
    else if (m_state == State::Ended && !line.isEmpty())
        m_state = State::Invalid;
}

void PlanReader::takePlanLine(const QString& line)
{
    if (line.isEmpty()) {
        endRow();
        return;
    }
    const int colon = int(line.indexOf(QLatin1String(": ")));
    if (colon <= 0)
        m_state = State::Invalid;
    else
        beginField(line.left(colon), line.mid(colon + 2));
}

void PlanReader::beginField(const QString& field, const QString& value)
{
    if (field == QLatin1String("End") && m_fields.isEmpty()) {
        m_state = value == QString::number(m_rows.size()) ? State::Ended : State::Invalid;
        return;
    }
    if (m_fields.contains(field) || !setField(field, value))
        m_state = State::Invalid;
    m_fields << field;
}

bool PlanReader::setField(const QString& field, const QString& value)
{
    const auto is = [&field](const char* name) { return field == QLatin1String(name); };
    if (is("Package"))
        return SetName(m_row.package, value);
    if (is("Because-Of"))
        return SetName(m_row.because, value);
    if (is("Architecture"))
        return SetName(m_row.architecture, value);
    if (is("Action"))
        return Set(m_row.action, value, actions);
    if (is("Reason"))
        return Set(m_row.reason, value, reasons);
    if (is("Essential"))
        return Set(m_row.isEssential, value, truths);
    if (is("Old-Version"))
        return SetVersion(m_row.oldVersion, value);
    if (is("New-Version"))
        return SetVersion(m_row.newVersion, value);
    if (is("Download-Size"))
        return Set(m_row.downloadSize, value);
    if (is("Old-Size"))
        return Set(m_row.oldSize, value);
    return is("New-Size") && Set(m_row.newSize, value);
}

void PlanReader::endRow()
{
    if (m_fields.isEmpty())
        return;
    if (!IsSound(m_row, m_fields) || m_rows.size() >= mostRows)
        m_state = State::Invalid;
    m_rows << m_row;
    m_row = PlanRow();
    m_fields.clear();
}

std::optional<QList<PlanRow>> PlanReader::rows() const
{
    if (m_state != State::Ended)
        return std::nullopt;
    QList<PlanRow> sorted = m_rows;
    std::sort(sorted.begin(), sorted.end(), [](const PlanRow& one, const PlanRow& other) {
        return one.action != other.action ? one.action < other.action : one.package < other.package;
    });
    QSet<QString> names;
    for (const PlanRow& row : sorted)
        names.insert(row.package);
    return names.size() == sorted.size() ? std::optional<QList<PlanRow>>(sorted) : std::nullopt;
}

} // namespace Pakmart
