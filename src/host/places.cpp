// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "host/places.h"

#include "db/dbshared.h"
#include "host/picturecache.h"
#include "host/privatetreepaths.h"
#include "request/capi.h"
#include "support/cconfigfile.h"
#include "util/paths.h"

#include <QDir>
#include <QFile>

using namespace Agent;

namespace Pakmart
{

QString Places::storeAddress()
{
    return CAPI::GetAgentAPIURL();
}

QString Places::storeAddressFile()
{
    const std::string file = SettingsFile();
    const char* const missing = "\n"; // no value of a file has a line end
    const CConfigFile settings(file, false);
    const bool isThere = settings.GetStringValue("agent api url", missing) != missing;
    return isThere ? PlainPath(QFile::decodeName(file.c_str())) : QString();
}

QString Places::catalog()
{
    return QDir::cleanPath(GetRootPath());
}

QString Places::recentlyUsed()
{
    return QDir::cleanPath(QFile::decodeName(RecentFolder().c_str()));
}

QString Places::packageLists()
{
    return PlainPath(PrivateTree());
}

QString Places::pictures()
{
    return PictureCache::usualFolder();
}

} // namespace Pakmart
