// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Pictures from files that anybody may have made. Only PNG, JPEG, WebP and a harmless part of SVG
// are read, and the header is checked before the pixels, so that a small file cannot take much
// memory. For any thread.

#pragma once

#include <QByteArray>
#include <QImage>
#include <QSize>
#include <QString>

namespace Pakmart
{

// The picture, made smaller to fit into `size` if that is not empty, or, for SVG, drawn to fit it.
// Null if it is damaged, of another format, or has more than `mostPixels`.
QImage DecodePicture(const QByteArray& bytes, const QSize& size, qint64 mostPixels);

// The contents of a regular file of at most `most` bytes; a null array if there is none.
QByteArray ReadPictureFile(const QString& path, qint64 most, bool followsLinks);

} // namespace Pakmart
