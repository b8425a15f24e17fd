// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "host/models/recentlist.h"

#include "db/dblayouts.h"
#include "util/showntext.h"

#include <QSet>
#include <algorithm>
#include <cerrno>
#include <iterator>
#include <sys/stat.h>

using namespace Agent;

namespace Pakmart
{

namespace
{

Used UsedOf(const std::uint8_t* record)
{
    const auto text
        = [record](TextField field) { return QString::fromUtf8(GetText(record, field)); };
    return { GetInt32(record + Recent::serverSerialNumber),
             GetInt32(record + Recent::lastAccessed),
             ShownLine(text(Recent::description)),
             text(Recent::executablePath),
             text(Recent::iconPath),
             text(Recent::smallIconPath) };
}

} // namespace

UsedList ReadUsed(const std::string& folder)
{
    UsedList list;
    struct stat info = {};
    if (stat((folder + Recent::layout.fileName).c_str(), &info) != 0 && errno == ENOENT)
        return list;
    RecordReader records(folder, Recent::layout,
                         { std::begin(Recent::texts), std::end(Recent::texts) });
    list.isReadable = records && records.Count() > 0;
    for (std::int32_t number = 1; list.isReadable && number < records.Count(); ++number)
        if (const std::uint8_t* const record = records.Live(number))
            list.items.push_back(UsedOf(record));
    std::sort(list.items.begin(), list.items.end(), [](const Used& a, const Used& b) {
        return a.time != b.time ? a.time > b.time : a.name < b.name;
    });
    // An interrupted change may leave two records of a product: the later one counts.
    QSet<int> seen;
    const auto isSeen = [&seen](const Used& item) {
        const bool known = seen.contains(item.serial);
        seen.insert(item.serial);
        return known;
    };
    list.items.erase(std::remove_if(list.items.begin(), list.items.end(), isSeen),
                     list.items.end());
    return list;
}

} // namespace Pakmart
