// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// What is wrong with a store or with a request, in a sentence for people.

#pragma once

#include <stdexcept>

// A store that cannot be served: a missing file, a line that means nothing.
// The text names the file and, where there is one, the line.
class StoreError : public std::runtime_error
{
    using runtime_error::runtime_error;
};

// A request that cannot be answered; the text goes to the client.
class RequestError : public std::runtime_error
{
    using runtime_error::runtime_error;
};
