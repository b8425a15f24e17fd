// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "sha256.h"

#include <array>
#include <new>
#include <openssl/evp.h>

Sha256::Sha256() : m_context(EVP_MD_CTX_new())
{
    if (!m_context || EVP_DigestInit_ex(m_context, EVP_sha256(), nullptr) != 1) {
        EVP_MD_CTX_free(m_context);
        throw std::bad_alloc();
    }
}

Sha256::~Sha256()
{
    EVP_MD_CTX_free(m_context);
}

void Sha256::Add(const void* data, std::size_t size)
{
    if (EVP_DigestUpdate(m_context, data, size) != 1)
        throw std::bad_alloc();
}

std::string Sha256::Digits()
{
    std::array<unsigned char, EVP_MAX_MD_SIZE> sum{};
    unsigned size = 0;
    if (EVP_DigestFinal_ex(m_context, sum.data(), &size) != 1)
        throw std::bad_alloc();
    static const char digits[] = "0123456789abcdef";
    std::string text;
    for (unsigned i = 0; i < size; ++i)
        text.append({ digits[sum[i] >> 4], digits[sum[i] & 15] });
    return text;
}
