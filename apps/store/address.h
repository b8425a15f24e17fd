// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Where in the window a command line or a link leads to.

#pragma once

#include <QString>

struct Address {
    QString page; // "front", "product" and so on; empty for an address that leads nowhere
    QString value; // a product's serial number, a category, or a text to search for

    bool isValid() const { return !page.isEmpty(); }
};

// "updates", "pakmart:updates", "pakmart:product/1001", "pakmart:category/Games",
// "pakmart:search/chess". Links come from anywhere: what is not one of these is not valid.
Address ReadAddress(const QString& text);
