// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// What dpkg has installed, shared by all models of the process: read beside the event loop, and
// again whenever it changes.

#pragma once

#include "base/dpkgstatus.h"
#include "host/models/pathwatch.h"
#include "host/models/product.h"

#include <QHash>
#include <memory>

namespace Pakmart
{

struct InstalledPackage {
    QByteArray version;
    bool isSound = true; // not only partly installed
};

// By name, without those that are gone.
using InstalledPackages = QHash<QByteArray, InstalledPackage>;

class PackageFeed : public QObject
{
    Q_OBJECT

public:
    // Exists as long as anybody holds it.
    static std::shared_ptr<PackageFeed> shared();

    // Null as long as nothing is known.
    std::shared_ptr<const InstalledPackages> packages() const { return m_packages; }
    bool isReadable() const { return m_isReadable; }

Q_SIGNALS:
    void changed();

private:
    PackageFeed();
    void read();

    std::shared_ptr<const InstalledPackages> m_packages;
    bool m_isReadable = true;
    bool m_isReading = false;
    bool m_isAskedAgain = false;
    PathWatch m_watch;
};

// The state of a product: `version` is the store's.
Product::State StateOf(const InstalledPackages* packages, const char* package, const char* version);

} // namespace Pakmart
