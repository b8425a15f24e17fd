// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "platform/signature.h"

#include "base/program.h"
#include "base/text.h"
#include "platform/sourcesfile.h"

#include <algorithm>
#include <sstream>
#include <unistd.h>
#include <vector>

using Agent::ProgramResult;

namespace
{

const char sqv[] = "/usr/bin/sqv", gpgv[] = "/usr/bin/gpgv";
constexpr int longestCheck = 20; // seconds

// What apt of the release thinks of algorithms and key lengths.
std::vector<std::string> Environment()
{
    std::vector<std::string> variables{ "LC_ALL=C.UTF-8", "PATH=/usr/bin:/bin",
                                        "HOME=/nonexistent" };
    for (const char* policy : { "/etc/crypto-policies/back-ends/apt-sequoia.config",
                                "/usr/share/apt/default-sequoia.config" }) {
        if (access(policy, R_OK) == 0) {
            variables.push_back(std::string("SEQUOIA_CRYPTO_POLICY=") + policy);
            break;
        }
    }
    return variables;
}

std::vector<std::string> Words(const std::string& line)
{
    std::vector<std::string> words;
    std::istringstream input(line);
    for (std::string word; input >> word;)
        words.push_back(word);
    words.resize(std::max<std::size_t>(words.size(), 12));
    return words;
}

// gpgv's status lines. Its exit status says nothing about keys that have expired. Sums are
// SHA-256 at least, by their numbers in OpenPGP.
SignatureState StateOf(const std::string& statusLines)
{
    bool isGood = false, isValid = false;
    std::istringstream lines(statusLines);
    for (std::string line; std::getline(lines, line);) {
        const std::vector<std::string> words = Words(line);
        const std::string& what = words[1];
        if (what == "EXPKEYSIG" || what == "REVKEYSIG" || what == "EXPSIG")
            return SignatureState::KeyExpired;
        if (what == "BADSIG" || what == "ERRSIG")
            return SignatureState::Wrong;
        isGood = isGood || what == "GOODSIG";
        isValid = isValid
            || (what == "VALIDSIG" && (words[9] == "8" || words[9] == "9" || words[9] == "10"));
    }
    return isGood && isValid ? SignatureState::Good : SignatureState::Wrong;
}

// The last line that a tool printed.
std::string LastLine(std::string text)
{
    while (!text.empty() && text.back() == '\n')
        text.pop_back();
    return text.substr(text.rfind('\n') + 1);
}

bool Says(const std::string& text, const char* words)
{
    return text.find(words) != std::string::npos;
}

} // namespace

SignatureState CheckSignature(const std::string& bytes, const std::string& signature,
                              const std::string& keyFile, std::string& why)
{
    const SourcesFile signatureFile(signature), bytesFile(bytes);
    const bool isSqv = access(sqv, X_OK) == 0;
    std::vector<std::string> words{ isSqv ? sqv : gpgv };
    if (!isSqv)
        words.insert(words.end(), { "--homedir", "/nonexistent", "--status-fd", "1" });
    words.insert(words.end(), { "--keyring", keyFile, signatureFile.Path(), bytesFile.Path() });
    const ProgramResult result = Agent::RunProgram(words, {}, { longestCheck, Environment() });
    why = LastLine(result.errors);
    if (result.status < 0)
        return SignatureState::Unknown;
    if (!isSqv)
        return StateOf(result.output);
    if (result.status == 0)
        return SignatureState::Good;
    const bool isOver = Says(result.errors, "xpired") || Says(result.errors, "revoked")
        || Says(result.errors, "is not bound");
    return isOver ? SignatureState::KeyExpired : SignatureState::Wrong;
}
