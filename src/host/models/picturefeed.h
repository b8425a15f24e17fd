// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The kept list of the store's pictures, shared by all models of the process: read beside the
// event loop, and again when it changes.

#pragma once

#include "host/models/pathwatch.h"
#include "host/picturelist.h"

#include <QObject>
#include <memory>

namespace Pakmart
{

class PictureFeed : public QObject
{
    Q_OBJECT

public:
    // Exists as long as anybody holds it.
    static std::shared_ptr<PictureFeed> shared();

    // The address of the product's picture; empty if there is none, or nothing is known yet.
    QString addressOf(int serial) const { return m_list->addressOf(serial); }

Q_SIGNALS:
    void changed();

private:
    PictureFeed();
    void read();

    std::shared_ptr<const PictureList> m_list = std::make_shared<const PictureList>();
    bool m_isReading = false;
    bool m_isAskedAgain = false;
    PathWatch m_watch;
};

} // namespace Pakmart
