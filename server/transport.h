// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// A connection's bytes, read and written without waiting.

#pragma once

#include "base/descriptor.h"

#include <cstddef>
#include <sys/types.h>

class Transport
{
public:
    enum class Outcome {
        Moved, // some bytes
        WantsInput, // nothing before the client has sent more
        WantsRoom, // nothing before the client has taken more
        Ended // the client has ended its side, or the connection is broken
    };
    struct Result {
        Outcome outcome;
        std::size_t bytes; // 0 unless Moved
    };

    explicit Transport(Agent::Descriptor socket); // it must not block
    virtual ~Transport() = default;
    Transport(const Transport&) = delete;
    Transport& operator=(const Transport&) = delete;

    virtual Result Read(char* data, std::size_t size);
    // `more` holds a last, small packet back until more data follows.
    virtual Result Write(const char* data, std::size_t size, bool more);
    // Moves `at` on. Ended also if the file has become shorter in the meantime.
    virtual Result SendFile(int file, off_t& at, std::size_t size);
    // No more will be written.
    virtual void Finish();

    int Socket() const { return m_socket.Get(); }
    // Bytes that the client's machine has not confirmed yet.
    std::size_t Unconfirmed() const;

private:
    const Agent::Descriptor m_socket;
};
