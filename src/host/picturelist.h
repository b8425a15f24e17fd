// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The store's list of pictures, kept for the user in $XDG_CACHE_HOME/pakmart/picture-list:
//
//     http://store.example/getagentapi.php       the store that it is of
//     http://store.example/pictures/             the folder of the pictures
//     7 0f2f...                                  a product and the sum of its picture, ...
//     end
//
// It is replaced in one step. A file that is not exactly so is no list. For any thread.

#pragma once

#include <QByteArray>
#include <QHash>
#include <QString>

namespace Pakmart
{

struct PictureList {
    QString folder;
    QHash<int, QByteArray> sums; // by serial number

    // What a PictureStore takes; empty if the product has no picture.
    QString addressOf(int serial) const;
};

// $XDG_CACHE_HOME/pakmart, and the name of the file in it.
QString PictureListFolder();
extern const char pictureListName[];

// The kept list of this store; without pictures if there is none.
PictureList ReadPictureList(const QString& store);

// Whether the list of this store is kept, and less than a day old.
bool IsPictureListFresh(const QString& store);

// Keeps a list: `lines` are those of the products. False if it cannot be written.
bool KeepPictureList(const QString& store, const QString& folder, const QByteArray& lines);

} // namespace Pakmart
