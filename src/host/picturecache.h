// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The pictures that were fetched, as files in a folder of the user's: one for each address, with
// the bytes that came. An empty file says that the server has no picture there. Files are written
// in one step, so that processes share the folder without locks. For any thread.

#pragma once

#include <QByteArray>
#include <QString>

namespace Pakmart
{

// What a picture may take.
struct PictureLimits {
    qint64 bytes = 4 * 1024 * 1024; // of one file
    qint64 pixels = 4096 * 4096; // of one picture, before it is made smaller
    qint64 total = 64 * 1024 * 1024; // of all files of the cache
    int freshSeconds = 7 * 24 * 60 * 60; // before a picture is asked for again
    int refusedSeconds = 60 * 60; // before the server is asked again where it had none
    int awaySeconds = 30; // before a server that was not there is asked again
    int silentSeconds = 30; // for a transfer without data
    int transferSeconds = 120; // for a whole transfer
};

class PictureCache
{
public:
    PictureCache(const QString& folder, const PictureLimits& limits)
        : m_folder(folder), m_limits(limits)
    {
    }
    // $XDG_CACHE_HOME/pakmart/pictures
    static QString usualFolder();

    struct Found {
        QByteArray bytes; // may be old
        bool isFresh = false;
        bool isRefused = false; // there was none a moment ago
    };
    Found find(const QString& url) const;
    // Keeps a picture, or that there is none; removes the oldest files if there are too many. A
    // folder that cannot be written keeps nothing.
    void keep(const QString& url, const QByteArray& bytes) const;
    void keepRefusal(const QString& url) const { keep(url, QByteArray()); }

private:
    QString pathOf(const QString& url) const;
    bool makeFolder() const;
    void removeOldest() const;

    const QString m_folder;
    const PictureLimits m_limits;
};

} // namespace Pakmart
