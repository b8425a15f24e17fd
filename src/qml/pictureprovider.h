// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Pictures for QML's images: "image://pakmart/SOURCE", where SOURCE is anything that a
// PictureStore takes.

#pragma once

#include <Pakmart/PictureStore>
#include <QQuickAsyncImageProvider>
#include <QQuickImageResponse>

namespace Pakmart
{

// One image. QML calls it from its own thread; the picture store is used in the application's.
class PictureResponse : public QQuickImageResponse
{
    Q_OBJECT

public:
    PictureResponse(const QString& source, const QSize& size);

    QQuickTextureFactory* textureFactory() const override;
    QString errorString() const override { return m_error; }
    void cancel() override;

private:
    void begin(const QString& source, const QSize& size);
    void end();

    std::unique_ptr<PictureStore> m_store; // as long as the picture is looked for
    QImage m_image;
    QString m_error;
    bool m_hasEnded = false;
};

class PictureProvider : public QQuickAsyncImageProvider
{
public:
    QQuickImageResponse* requestImageResponse(const QString& id, const QSize& size) override
    {
        return new PictureResponse(id, size);
    }

private:
    PictureStore m_store; // keeps what all stores share
};

} // namespace Pakmart
