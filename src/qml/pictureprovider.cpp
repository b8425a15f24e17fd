// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "pictureprovider.h"

#include <QCoreApplication>

namespace Pakmart
{

PictureResponse::PictureResponse(const QString& source, const QSize& size)
{
    moveToThread(QCoreApplication::instance()->thread());
    QMetaObject::invokeMethod(
        this, [this, source, size] { begin(source, size); }, Qt::QueuedConnection);
}

void PictureResponse::begin(const QString& source, const QSize& size)
{
    if (m_hasEnded)
        return;
    m_store = std::make_unique<PictureStore>();
    connect(m_store.get(), &PictureStore::ready, this, [this](int, const QImage& image) {
        m_image = image;
        end();
    });
    connect(m_store.get(), &PictureStore::failed, this,
            [this](int, Error::Code, const QString& sentence) {
                m_error = sentence;
                end();
            });
    m_store->request(source, size);
}

// QML deletes the object after finished(), which must come also when it was cancelled.
void PictureResponse::end()
{
    if (m_hasEnded)
        return;
    m_hasEnded = true;
    if (m_store)
        m_store.release()->deleteLater(); // this may be its signal
    emit finished();
}

void PictureResponse::cancel()
{
    QMetaObject::invokeMethod(this, &PictureResponse::end, Qt::QueuedConnection);
}

QQuickTextureFactory* PictureResponse::textureFactory() const
{
    return m_image.isNull() ? nullptr : QQuickTextureFactory::textureFactoryForImage(m_image);
}

} // namespace Pakmart
