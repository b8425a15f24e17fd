// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "host/privatetreepaths.h"

#include "install/crunaptget.h"
#include "util/paths.h"

#include <QDir>
#include <QFile>

namespace Pakmart
{

namespace
{

QString Path(const std::string& path)
{
    return QFile::decodeName(path.c_str());
}

} // namespace

// The folder of the lists is inside.
QString PrivateTree()
{
    return QDir::cleanPath(Path(CRunAptGet::ListsDir(false)) + QStringLiteral("/.."));
}

QStringList TreeWords()
{
    const QString option = QStringLiteral("-o");
    return { option, QLatin1String("Dir::Etc::Sourcelist=") + Path(CRunAptGet::SourcesFile(true)),
             option, QLatin1String("Dir::State::lists=") + Path(CRunAptGet::ListsDir(true)) };
}

QString FrontEndProgram()
{
    return Agent::SystemPath(QStringLiteral("/usr/bin/vos-apt-get"));
}

} // namespace Pakmart
