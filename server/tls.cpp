// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "tls.h"

#include "storefile.h"

#include <algorithm>
#include <array>
#include <new>
#include <openssl/err.h>
#include <openssl/ssl.h>
#include <unistd.h>

namespace
{

using SslPointer = std::unique_ptr<SSL, decltype(&SSL_free)>;

// OpenSSL keeps the errors of a thread in a queue, and mistakes an old one for the next.
std::string LastError()
{
    std::array<char, 256> text{};
    const unsigned long error = ERR_peek_error();
    const char* const reason = ERR_reason_error_string(error);
    if (!reason)
        ERR_error_string_n(error, text.data(), text.size());
    ERR_clear_error();
    return reason ? reason : text.data();
}

class TlsTransport : public Transport
{
public:
    TlsTransport(Descriptor socket, SslPointer ssl)
        : Transport(std::move(socket)), m_ssl(std::move(ssl))
    {
        SSL_set_accept_state(m_ssl.get());
    }

    Result Read(char* data, std::size_t size) override
    {
        std::size_t moved = 0;
        const int result = SSL_read_ex(m_ssl.get(), data, size, &moved);
        return Done(result, moved);
    }
    Result Write(const char* data, std::size_t size, bool /*more*/) override
    {
        std::size_t moved = 0;
        const int result = SSL_write_ex(m_ssl.get(), data, size, &moved);
        return Done(result, moved);
    }
    // The same bytes are read again after a write that had no room.
    Result SendFile(int file, off_t& at, std::size_t size) override
    {
        std::array<char, 16384> block; // a record
        const ssize_t got = pread(file, block.data(), std::min(size, block.size()), at);
        if (got <= 0)
            return { Outcome::Ended, 0 };
        const Result went = Write(block.data(), std::size_t(got), true);
        at += off_t(went.bytes);
        return went;
    }
    void Finish() override
    {
        SSL_shutdown(m_ssl.get());
        ERR_clear_error();
        Transport::Finish();
    }

private:
    Result Done(int result, std::size_t moved)
    {
        if (result == 1)
            return { Outcome::Moved, moved };
        const int error = SSL_get_error(m_ssl.get(), result);
        ERR_clear_error();
        const Outcome outcome = error == SSL_ERROR_WANT_READ ? Outcome::WantsInput
            : error == SSL_ERROR_WANT_WRITE                  ? Outcome::WantsRoom
                                                             : Outcome::Ended;
        return { outcome, 0 };
    }

    const SslPointer m_ssl;
};

} // namespace

struct TlsContext::Context {
    std::unique_ptr<SSL_CTX, decltype(&SSL_CTX_free)> ssl{ SSL_CTX_new(TLS_server_method()),
                                                           SSL_CTX_free };
};

TlsContext::TlsContext(const std::string& certificate, const std::string& key)
    : m_context(std::make_unique<Context>())
{
    SSL_CTX* const ssl = m_context->ssl.get();
    if (!ssl)
        throw StoreError("cannot use TLS: " + LastError());
    SSL_CTX_set_min_proto_version(ssl, TLS1_2_VERSION);
    SSL_CTX_set_options(ssl, SSL_OP_NO_RENEGOTIATION | SSL_OP_CIPHER_SERVER_PREFERENCE);
    SSL_CTX_set_mode(ssl,
                     SSL_MODE_ENABLE_PARTIAL_WRITE | SSL_MODE_ACCEPT_MOVING_WRITE_BUFFER
                         | SSL_MODE_RELEASE_BUFFERS);
    // A key with a passphrase must not ask for it on a terminal.
    SSL_CTX_set_default_passwd_cb(ssl, [](char*, int, int, void*) { return 0; });
    if (SSL_CTX_use_certificate_chain_file(ssl, certificate.c_str()) != 1)
        throw StoreError(certificate + ": this is not a certificate: " + LastError());
    if (SSL_CTX_use_PrivateKey_file(ssl, key.c_str(), SSL_FILETYPE_PEM) != 1
        || SSL_CTX_check_private_key(ssl) != 1)
        throw StoreError(key + ": this is not the key of the certificate: " + LastError());
}

TlsContext::~TlsContext() = default;

std::unique_ptr<Transport> TlsContext::Accept(Descriptor socket) const
{
    SslPointer ssl(SSL_new(m_context->ssl.get()), SSL_free);
    if (!ssl || SSL_set_fd(ssl.get(), socket.Get()) != 1)
        throw std::bad_alloc();
    return std::make_unique<TlsTransport>(std::move(socket), std::move(ssl));
}
