// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "host/runlines.h"

#include "base/packagename.h"

#include <QRegularExpression>
#include <algorithm>
#include <iterator>

namespace Pakmart
{

namespace
{

bool BeginsWithAny(const QString& line, std::initializer_list<const char*> beginnings)
{
    return std::any_of(beginnings.begin(), beginnings.end(),
                       [&line](const char* text) { return line.startsWith(QLatin1String(text)); });
}

// The word at `index`, if it is the name of a package.
QString PackageAt(const QString& line, int index)
{
    const QString name = line.section(QLatin1Char(' '), index, index);
    return Agent::IsPackageWord(name.toStdString()) ? name : QString();
}

// "45% [2 libfoo 18%]": the percentage of the whole comes first.
int PercentOf(const QString& line)
{
    static const QRegularExpression form(QStringLiteral("^([0-9]{1,3})% \\[.*%\\]$"));
    const auto match = form.match(line);
    return match.hasMatch() ? std::min(match.captured(1).toInt(), 100) : -1;
}

} // namespace

LineNews NewsOf(const QString& line)
{
    LineNews news;
    news.percent = PercentOf(line);
    if (line.startsWith(QLatin1String("Get:"))) {
        news.downloads = true;
        news.package = PackageAt(line, 3);
    }
    news.dpkgWorks
        = BeginsWithAny(line,
                        { "Selecting previously", "(Reading database", "Preparing to unpack",
                          "Unpacking ", "Setting up ", "Removing ", "Purging ", "Preconfiguring" });
    if (BeginsWithAny(line, { "Unpacking ", "Removing " }))
        news.package = PackageAt(line, 1);
    else if (BeginsWithAny(line, { "Setting up " }))
        news.package = PackageAt(line, 2);
    news.waits = BeginsWithAny(line, { "Waiting for the package lock", "Waiting for cache lock" });
    return news;
}

} // namespace Pakmart
