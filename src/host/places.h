// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

/// @class Pakmart::Places
/// Where the library finds the store, and where it keeps what it knows, for a page that shows the
/// settings. Paths are as users know them: without the private root.
///
///     label->setText(Pakmart::Places::storeAddress());

#pragma once

#include <QString>
#include <vantrelagent/export.h>

namespace Pakmart
{

class VANTRELAGENT_EXPORT Places
{
public:
    Places() = delete;

    /// The address that the next request asks: that of the settings file, or the one with which
    /// the library was built.
    static QString storeAddress();
    /// The settings file that gives the address; empty if it does not, or cannot be read.
    static QString storeAddressFile();

    /// The folder of the catalog.
    static QString catalog();
    /// The folder of the user's recently used applications.
    static QString recentlyUsed();
    /// The folder of the package lists, which belongs to the user.
    static QString packageLists();
    /// The folder of the pictures that a PictureStore keeps for the user.
    static QString pictures();
};

} // namespace Pakmart
