// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// gpg works in a folder of its own that exists only while it signs: neither the keys nor the
// settings of the account that runs the server matter, and nothing is left running when the
// server is killed.

#include "signer.h"

#include "base/program.h"
#include "base/text.h"
#include "storefile.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <sstream>
#include <thread>
#include <unistd.h>
#include <vector>

using namespace Agent;

namespace
{

constexpr off_t largestKey = 1024 * 1024;

class GpgHome
{
public:
    GpgHome()
    {
        // gpg's agent makes a socket there, the path of which must be short.
        const char* folder = std::getenv("TMPDIR");
        const bool isShort = folder && *folder == '/' && std::strlen(folder) < 60;
        m_path = std::string(isShort ? folder : "/tmp") + "/pakmart-sign.XXXXXX";
        if (!mkdtemp(m_path.data()))
            throw StoreError(m_path + ": " + std::strerror(errno));
    }
    ~GpgHome()
    {
        RunProgram({ "gpgconf", "--homedir", m_path, "--kill", "gpg-agent" }, {});
        // The agent removes its sockets while it ends, and may be in the way.
        std::error_code error;
        for (int tries = 0; tries < 200; ++tries) {
            std::filesystem::remove_all(m_path, error);
            if (!std::filesystem::exists(m_path, error))
                break;
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
    }
    GpgHome(const GpgHome&) = delete;
    GpgHome& operator=(const GpgHome&) = delete;

    ProgramResult Gpg(const std::vector<std::string>& more, const std::string& input) const
    {
        std::vector<std::string> words{ "gpg",      "--homedir",    m_path,    "--no-options",
                                        "--batch",  "--no-tty",     "--quiet", "--pinentry-mode",
                                        "loopback", "--passphrase", "" };
        words.insert(words.end(), more.begin(), more.end());
        return RunProgram(words, input);
    }

private:
    std::string m_path;
};

// What systemd hands to a service is for that service alone, but the group seems to have it: the
// service's user is in an access control list.
bool IsCredential(const std::string& path)
{
    const char* const folder = std::getenv("CREDENTIALS_DIRECTORY");
    return folder && *folder == '/' && BeginsWith(path, folder + std::string("/"));
}

std::string ReadKey(const std::string& path)
{
    const Descriptor file(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    struct stat info = {};
    if (!file || fstat(file.Get(), &info) != 0)
        throw StoreError(path + ": " + std::strerror(errno));
    if (!S_ISREG(info.st_mode) || info.st_size > largestKey)
        throw StoreError(path + ": this is not a file with a key");
    if ((info.st_mode & (S_IRWXG | S_IRWXO)) && !IsCredential(path))
        throw StoreError(path + ": others than the owner may use this key; `chmod 600` it");
    std::string key(std::size_t(info.st_size), '\0');
    const ssize_t count = read(file.Get(), key.data(), key.size());
    if (count != ssize_t(key.size()))
        throw StoreError(path + ": it cannot be read");
    return key;
}

std::vector<std::string> Columns(const std::string& line)
{
    std::vector<std::string> columns;
    std::istringstream text(line);
    for (std::string column; std::getline(text, column, ':');)
        columns.push_back(column);
    columns.resize(std::max<std::size_t>(columns.size(), 13));
    return columns;
}

// Why a key must not be used, from its line in gpg's listing; null if it can be.
// The package tools of coming releases refuse what is called too weak here.
const char* FaultOf(const std::vector<std::string>& columns)
{
    const long bits = PositiveNumber(columns[2]);
    if (columns[1] == "e")
        return "the key has expired";
    if (columns[1] == "r")
        return "the key is revoked";
    if (columns[3] == "17" || (columns[3] == "1" && bits < 3072))
        return "the key is too weak: make an Ed25519 key, or RSA with 4096 bits";
    // Capitals are what the key can do with all its parts.
    return columns[11].find('S') == std::string::npos ? "the key cannot sign" : nullptr;
}

// The fingerprint of the only secret key of a listing.
std::string OnlyKey(const std::string& listing, const std::string& path)
{
    std::string fingerprint;
    int keys = 0;
    std::istringstream lines(listing);
    for (std::string line; std::getline(lines, line);) {
        const std::vector<std::string> columns = Columns(line);
        if (columns[0] == "sec") {
            ++keys;
            if (const char* fault = FaultOf(columns))
                throw StoreError(path + ": " + fault);
        } else if (columns[0] == "fpr" && fingerprint.empty()) {
            fingerprint = columns[9];
        }
    }
    if (keys != 1 || fingerprint.empty())
        throw StoreError(path
                         + (keys > 1 ? ": there are several secret keys, but a store has one"
                                     : ": there is no secret OpenPGP key"));
    return fingerprint;
}

// The last line that gpg printed, for a message.
std::string Reason(const ProgramResult& result)
{
    std::string text = result.errors;
    while (!text.empty() && text.back() == '\n')
        text.pop_back();
    return text.substr(text.rfind('\n') + 1);
}

} // namespace

Signer::Signer(const std::string& keyFile) : m_keyFile(keyFile), m_key(ReadKey(keyFile))
{
    const GpgHome home;
    const ProgramResult taken = home.Gpg({ "--import" }, m_key);
    if (taken.status < 0)
        throw StoreError("cannot sign: " + taken.errors);
    m_fingerprint
        = OnlyKey(home.Gpg({ "--with-colons", "--list-secret-keys" }, {}).output, keyFile);
    ClearSigned("a text\n"); // a passphrase shows only here
}

std::string Signer::ClearSigned(const std::string& text) const
{
    return Sign(text, "--clearsign");
}

std::string Signer::Signature(const std::string& text) const
{
    return Sign(text, "--detach-sign");
}

std::string Signer::Sign(const std::string& text, const char* form) const
{
    const GpgHome home;
    home.Gpg({ "--import" }, m_key);
    const ProgramResult result
        = home.Gpg({ "--local-user", m_fingerprint, "--digest-algo", "SHA512", form }, text);
    if (result.status != 0 || result.output.empty())
        throw StoreError(m_keyFile + ": gpg cannot sign with this key (is there a passphrase?): "
                         + Reason(result));
    return result.output;
}
