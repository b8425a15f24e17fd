// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "host/picturelist.h"

#include "base/wholefile.h"
#include "host/picturereader.h"

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QStandardPaths>
#include <algorithm>

namespace Pakmart
{

const char pictureListName[] = "picture-list";

namespace
{

constexpr qint64 largest = 16 * 1024 * 1024; // bytes, of 100,000 pictures and more
constexpr qint64 fresh = 24 * 60 * 60; // seconds
constexpr int sumLength = 64;

QString PathOfList()
{
    return PictureListFolder() + QLatin1Char('/') + QLatin1String(pictureListName);
}

bool IsSum(const QByteArray& text)
{
    return text.size() == sumLength && std::all_of(text.begin(), text.end(), [](char c) {
               return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'f');
           });
}

// False for a line that is not one of the list.
bool AddLine(const QByteArray& line, PictureList& list)
{
    const auto blank = line.indexOf(' ');
    const int serial = line.left(blank).toInt();
    const QByteArray sum = line.mid(blank + 1);
    if (serial <= 0 || !IsSum(sum))
        return false;
    list.sums.insert(serial, sum);
    return true;
}

} // namespace

QString PictureList::addressOf(int serial) const
{
    const QString sum = QString::fromLatin1(sums.value(serial));
    return sum.isEmpty() ? QString() : folder + sum + QStringLiteral(".png#sha256=") + sum;
}

QString PictureListFolder()
{
    return QStandardPaths::writableLocation(QStandardPaths::GenericCacheLocation)
        + QStringLiteral("/pakmart");
}

PictureList ReadPictureList(const QString& store)
{
    const QList<QByteArray> lines = ReadPictureFile(PathOfList(), largest, false).split('\n');
    const auto count = lines.size(); // after the last line end there is an empty one
    if (count < 4 || lines[0] != store.toUtf8() || lines[count - 2] != "end")
        return {};
    PictureList list{ QString::fromUtf8(lines[1]), {} };
    for (int i = 2; i < count - 2; ++i)
        if (!AddLine(lines[i], list))
            return {};
    return list;
}

bool IsPictureListFresh(const QString& store)
{
    const qint64 age = QFileInfo(PathOfList()).lastModified().secsTo(QDateTime::currentDateTime());
    return age >= 0 && age < fresh && !ReadPictureList(store).folder.isEmpty();
}

bool KeepPictureList(const QString& store, const QString& folder, const QByteArray& lines)
{
    constexpr mode_t privateFile = 0600;
    QDir().mkpath(PictureListFolder());
    const QByteArray text = store.toUtf8() + '\n' + folder.toUtf8() + '\n' + lines + "end\n";
    return Agent::ReplaceFile(QFile::encodeName(PathOfList()).toStdString(),
                              { text.constData(), std::size_t(text.size()) }, privateFile);
}

} // namespace Pakmart
