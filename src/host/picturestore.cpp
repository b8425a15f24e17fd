// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "host/picturestore.h"

#include "host/pictureengine.h"

#include <QSet>
#include <utility>

namespace Pakmart
{

namespace
{

// One for all stores, as long as there are any.
std::shared_ptr<PictureEngine> SharedEngine()
{
    static std::weak_ptr<PictureEngine> shared;
    std::shared_ptr<PictureEngine> engine = shared.lock();
    if (!engine) {
        engine = std::make_shared<PictureEngine>(PictureCache::usualFolder(), PictureLimits());
        shared = engine;
    }
    return engine;
}

} // namespace

class PictureStore::Private
{
public:
    const std::shared_ptr<PictureEngine> engine = SharedEngine();
    QSet<int> requests; // that have no answer yet
};

PictureStore::PictureStore(QObject* parent) : QObject(parent), d(std::make_unique<Private>())
{
    qRegisterMetaType<Error::Code>("Pakmart::Error::Code");
}

PictureStore::~PictureStore()
{
    for (const int request : std::as_const(d->requests))
        d->engine->cancel(request);
}

int PictureStore::request(const QString& source, const QSize& size)
{
    // The engine's number is known before it answers.
    const auto number = std::make_shared<int>(0);
    *number = d->engine->request(source, size,
                                 [this, number](const QImage& image, const Failure& failure) {
                                     d->requests.remove(*number);
                                     if (failure.code == Error::NoError)
                                         emit ready(*number, image);
                                     else
                                         emit failed(*number, failure.code, failure.sentence);
                                 });
    d->requests.insert(*number);
    return *number;
}

void PictureStore::cancel(int request)
{
    if (d->requests.remove(request))
        d->engine->cancel(request);
}

} // namespace Pakmart
