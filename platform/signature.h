// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Detached signatures, verified with the tool with which apt of the release verifies its own.

#pragma once

#include <string>

// How a signature and the keys of a file fit together.
enum class SignatureState {
    Good,
    KeyExpired, // or revoked
    Wrong, // by no key of the file, of other bytes, weak, or none at all
    Unknown // the tool cannot be run
};

// `keyFile` has public keys, as `gpg --export` writes them. `why` gets the tool's words.
SignatureState CheckSignature(const std::string& bytes, const std::string& signature,
                              const std::string& keyFile, std::string& why);
