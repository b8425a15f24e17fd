// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Signing texts with the key of a store.

#pragma once

#include <string>

class Signer
{
public:
    // `keyFile` has one secret OpenPGP key without a passphrase, as `gpg
    // --export-secret-keys` writes it, and is readable by its owner only. Throws StoreError,
    // naming the file, if it is anything else, or if the key cannot sign.
    explicit Signer(const std::string& keyFile);

    // The text with its signature around it. Throws StoreError if gpg fails.
    std::string ClearSigned(const std::string& text) const;

    // The signature of a text alone, in its binary form. Throws StoreError if gpg fails.
    std::string Signature(const std::string& text) const;

private:
    std::string Sign(const std::string& text, const char* form) const;

    std::string m_keyFile; // for messages
    std::string m_key;
    std::string m_fingerprint;
};
