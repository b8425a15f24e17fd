// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Why there is no connection to a server: not every KIO says so.

#pragma once

#include <QString>

class QUrl;

// Connects to the server of a web address, and returns what is in the way, for the user:
// "store.example:443: The certificate is self-signed, and untrusted". Empty if nothing is, or if
// the user has interrupted it.
QString ObstacleTo(const QUrl& url);
