// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "savedmark.h"

#include <QFile>
#include <sys/stat.h>
#include <vantrelagent/request/capi.h>
#include <vantrelagent/util/paths.h>

using namespace Agent;

SavedMark::SavedMark(const char* name)
    : m_path(GetRootPath() + QLatin1String(name)), m_before(Mark())
{
}

QByteArray SavedMark::Mark() const
{
    struct stat info = {};
    if (stat(QFile::encodeName(SystemPath(m_path)).constData(), &info) != 0)
        return QByteArray();
    return QByteArray::number(qulonglong(info.st_ino)) + ' '
        + QByteArray::number(qlonglong(info.st_mtim.tv_sec)) + '.'
        + QByteArray::number(qlonglong(info.st_mtim.tv_nsec));
}
