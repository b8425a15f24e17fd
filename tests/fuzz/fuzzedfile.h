// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Makes files from a fuzzer's input, in the folder of the test.

#pragma once

#include "tests/fuzz/fuzzer.h"

#include <algorithm>
#include <fstream>
#include <string>

// Consumes an input from its beginning: numbers first, the rest for a file.
class FuzzedInput
{
public:
    FuzzedInput(const std::uint8_t* data, std::size_t size) : m_data(data), m_size(size) { }

    // 0 at the end of the input.
    unsigned byte()
    {
        if (m_size == 0)
            return 0;
        --m_size;
        return *m_data++;
    }

    // Makes a file from the rest of the input, or from `most` bytes of it. Returns its
    // path.
    std::string file(const char* name, std::size_t most = SIZE_MAX)
    {
        const char* const dir = std::getenv("TEST_DIR");
        const std::string path = std::string(dir ? dir : "/tmp") + '/' + name;
        const std::size_t count = std::min(most, m_size);
        std::ofstream file(path, std::ios::binary | std::ios::trunc);
        file.write(reinterpret_cast<const char*>(m_data), std::streamsize(count));
        Demand(bool(file.flush()), "the file can be written");
        m_data += count;
        m_size -= count;
        return path;
    }

private:
    const std::uint8_t* m_data;
    std::size_t m_size;
};
