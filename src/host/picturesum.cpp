// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "host/picturesum.h"

#include <QCryptographicHash>

namespace Pakmart
{

namespace
{

const QLatin1String mark("#sha256=");

} // namespace

bool HasPictureSum(const QString& source)
{
    return source.contains(mark);
}

bool IsPictureOf(const QByteArray& bytes, const QString& source)
{
    const auto at = source.indexOf(mark);
    const QByteArray sum = QCryptographicHash::hash(bytes, QCryptographicHash::Sha256).toHex();
    return at < 0 || source.mid(at + mark.size()) == QLatin1String(sum);
}

QUrl PictureAddress(const QString& source)
{
    return HasPictureSum(source) ? QUrl(source.left(source.indexOf(mark))) : QUrl(source);
}

} // namespace Pakmart
