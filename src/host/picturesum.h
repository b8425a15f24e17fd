// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The sum of a picture in its address: "https://store.example/dice.png#sha256=0f2f...". Such a
// picture is always the same, whoever sends it, and is kept as long as there is room. For any
// thread.

#pragma once

#include <QByteArray>
#include <QString>
#include <QUrl>

namespace Pakmart
{

// Whether the address has a sum. One that is not 64 hexadecimal digits is a sum, too, which no
// picture has.
bool HasPictureSum(const QString& source);

// Whether the bytes may be those of the address: they have its sum, or it has none.
bool IsPictureOf(const QByteArray& bytes, const QString& source);

// The address without the sum, for the server.
QUrl PictureAddress(const QString& source);

} // namespace Pakmart
