// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "host/models/packagefeed.h"

#include "host/statusbeside.h"
#include "util/paths.h"

#include <apt-pkg/debversion.h>
#include <cstring>

namespace Pakmart
{

namespace
{

// A package of the machine's architecture counts before those of others, which have their
// architecture in the key.
std::shared_ptr<const InstalledPackages> PackagesOf(const Agent::DpkgStatus& status)
{
    auto packages = std::make_shared<InstalledPackages>();
    packages->reserve(int(status.All().size()));
    for (const auto& [key, state] : status.All()) {
        if (state.IsGone())
            continue;
        const std::string name = Agent::BareName(key);
        const auto bytes = QByteArray::fromStdString(name);
        if (name == key || !packages->contains(bytes))
            packages->insert(bytes,
                             { QByteArray::fromStdString(state.version), !state.IsHalfWay() });
    }
    return packages;
}

} // namespace

std::shared_ptr<PackageFeed> PackageFeed::shared()
{
    static std::weak_ptr<PackageFeed> shared;
    std::shared_ptr<PackageFeed> feed = shared.lock();
    if (!feed)
        shared = feed = std::shared_ptr<PackageFeed>(new PackageFeed);
    return feed;
}

PackageFeed::PackageFeed() : m_watch(Agent::SystemPath(QStringLiteral("/var/lib/dpkg")))
{
    connect(&m_watch, &PathWatch::changed, this, &PackageFeed::read);
    read();
}

void PackageFeed::read()
{
    if (m_isReading) {
        m_isAskedAgain = true;
        return;
    }
    m_isReading = true;
    m_isAskedAgain = false;
    ReadStatusBeside(this, [this](const SharedStatus& status) {
        m_isReading = false;
        m_isReadable = status->IsReadable();
        m_packages = m_isReadable ? PackagesOf(*status) : nullptr;
        emit changed();
        if (m_isAskedAgain)
            read();
    });
}

Product::State StateOf(const InstalledPackages* packages, const char* package, const char* version)
{
    if (!packages)
        return Product::Unknown;
    const auto found
        = packages->constFind(QByteArray::fromRawData(package, int(std::strlen(package))));
    if (found == packages->constEnd())
        return Product::NotInstalled;
    if (!found->isSound)
        return Product::Broken;
    const bool isOlder
        = *version != '\0' && debVS.CmpVersion(found->version.constData(), version) < 0;
    return isOlder ? Product::Upgradable : Product::Installed;
}

} // namespace Pakmart
