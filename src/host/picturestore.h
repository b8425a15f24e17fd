// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

/// @class Pakmart::PictureStore
/// Finds icons and pictures without blocking: from the web, from files, and from the icon theme.
///
///     auto* pictures = new Pakmart::PictureStore(window);
///     connect(pictures, &Pakmart::PictureStore::ready, window,
///             [](int request, const QImage& image) { ... });
///     pictures->request("https://store.example/dice.png", QSize(64, 64));
///
/// Pictures of the web are kept in $XDG_CACHE_HOME/pakmart/pictures, which only the user may
/// read: up to 64 MiB, for a week, and longer as long as their server is not there. A picture
/// that several ask for at once is fetched once.
///
/// What comes may have been made by anybody: PNG, JPEG, SVG and WebP (the last two with Qt's
/// plugins for them) of up to 4 MiB and 16 million pixels are read, in a thread. An SVG file that
/// opens other files, or repeats parts of itself, is refused.
///
/// Use it from the thread of the application object, and delete it in a slot of its own signals
/// with deleteLater only.

#pragma once

#include "error.h"

#include <QImage>
#include <QObject>
#include <QSize>
#include <memory>
#include <vantrelagent/export.h>

namespace Pakmart
{

class VANTRELAGENT_EXPORT PictureStore : public QObject
{
    Q_OBJECT

public:
    /// All stores of a process share the cache and the transfers.
    explicit PictureStore(QObject* parent = nullptr);
    /// Ends what was requested, without an answer.
    ~PictureStore() override;

    /// Asks for a picture that fits into `size`; in its own size if that is empty. The source is
    /// - an address: "http:", "https:" (which never leads to "http:"), "file:". If an address of
    ///   the web ends in "#sha256=" and a sum in hexadecimal digits, only a file with this sum is
    ///   taken, and it is not asked for again while it is kept.
    /// - the path of a file
    /// - the name of an icon of the icon theme, such as Product::iconName; this needs a
    ///   QGuiApplication.
    ///
    /// Returns the number of the request: ready() or failed() follows, once, from the event loop.
    int request(const QString& source, const QSize& size = QSize());

    /// Forgets a request: there is no answer any more.
    void cancel(int request);

Q_SIGNALS:
    /// The picture of a request.
    void ready(int request, const QImage& image);
    /// There is none: ServerUnreachable, TimedOut or ServerFailed for what the server says,
    /// ReplyNotUnderstood for what is not a picture, Other if there is no such file or icon. The
    /// sentence is for the user.
    void failed(int request, Pakmart::Error::Code code, const QString& sentence);

private:
    class Private;
    const std::unique_ptr<Private> d;
};

} // namespace Pakmart
