// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Sound files that a fuzzer's input then damages. Purely random bytes would be refused at
// once in nearly all cases, and test nothing further in.

#pragma once

#include "tests/fuzz/fuzzedfile.h"

#include <fstream>
#include <iterator>
#include <string>
#include <vector>

class FuzzedFiles
{
public:
    // Existing, sound files, with the length of a record or page of each.
    struct File {
        std::string path;
        std::size_t length;
        std::string bytes = {};
    };
    explicit FuzzedFiles(std::vector<File> files) : m_files(std::move(files))
    {
        for (File& file : m_files)
            file.bytes = read(file.path);
    }

    // Restores all files, and then damages them as the input says. Returns whether only
    // whole records were cut off, zeroed or copied.
    bool damage(FuzzedInput* input)
    {
        for (const File& file : m_files)
            if (read(file.path) != file.bytes)
                write(file.path, file.bytes);
        bool wholes = true;
        for (unsigned steps = input->byte() % 8; steps > 0; --steps) {
            File& file = m_files[input->byte() % m_files.size()];
            std::string bytes = read(file.path);
            wholes = damageOnce(&bytes, file.length, input) && wholes;
            write(file.path, bytes);
        }
        return wholes;
    }

    static std::string read(const std::string& path)
    {
        std::ifstream file(path, std::ios::binary);
        return { std::istreambuf_iterator<char>(file), {} };
    }

private:
    static void write(const std::string& path, const std::string& bytes)
    {
        std::ofstream file(path, std::ios::binary | std::ios::trunc);
        file.write(bytes.data(), std::streamsize(bytes.size()));
        Demand(bool(file.flush()), "the file can be written");
    }

    static std::size_t place(std::size_t room, FuzzedInput* input)
    {
        const std::size_t number = input->byte() * 65536 + input->byte() * 256 + input->byte();
        return room == 0 ? 0 : number % room;
    }

    static bool damageOnce(std::string* bytes, std::size_t length, FuzzedInput* input)
    {
        const std::size_t records = bytes->size() / length;
        const std::size_t record = place(records, input) * length;
        switch (input->byte() % 6) {
        case 0: // not the header, which has a form of its own
            if (records > 1)
                bytes->replace(std::max(record, length), length, length, '\0');
            return true;
        case 1:
            if (records > 1)
                bytes->replace(std::max(record, length), length,
                               bytes->substr(length * (1 + place(records - 1, input)), length));
            return true;
        case 2:
            bytes->resize(std::max(record, length));
            return true;
        case 3: // part of a record
            if (records > 0)
                bytes->replace(record + place(length, input) % 64, 4, 4, char(input->byte()));
            return false;
        default:
            for (std::size_t at = place(bytes->size(), input), n = input->byte() % 32 + 1;
                 n > 0 && at < bytes->size(); --n, ++at)
                (*bytes)[at] = char(input->byte());
            return false;
        }
    }

    std::vector<File> m_files;
};
