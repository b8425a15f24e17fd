// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// SHA-256 sums, by OpenSSL: those of the package library must not be begun by several threads.

#pragma once

#include <cstddef>
#include <string>

struct evp_md_ctx_st;

class Sha256
{
public:
    Sha256();
    ~Sha256();
    Sha256(const Sha256&) = delete;
    Sha256& operator=(const Sha256&) = delete;

    void Add(const void* data, std::size_t size);

    // The sum of all that was added, in hexadecimal digits. Nothing can be added then.
    std::string Digits();

private:
    evp_md_ctx_st* const m_context;
};
