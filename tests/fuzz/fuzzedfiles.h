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
            file.bytes = Read(file.path);
    }

    // Restores all files, and then damages them as the input says. Returns whether only
    // whole records were cut off, zeroed or copied.
    bool Damage(FuzzedInput* input)
    {
        for (const File& file : m_files)
            if (Read(file.path) != file.bytes)
                Write(file.path, file.bytes);
        bool wholes = true;
        for (unsigned steps = input->Byte() % 8; steps > 0; --steps) {
            File& file = m_files[input->Byte() % m_files.size()];
            std::string bytes = Read(file.path);
            wholes = DamageOnce(&bytes, file.length, input) && wholes;
            Write(file.path, bytes);
        }
        return wholes;
    }

    static std::string Read(const std::string& path)
    {
        std::ifstream file(path, std::ios::binary);
        return { std::istreambuf_iterator<char>(file), {} };
    }

private:
    static void Write(const std::string& path, const std::string& bytes)
    {
        std::ofstream file(path, std::ios::binary | std::ios::trunc);
        file.write(bytes.data(), std::streamsize(bytes.size()));
        Demand(bool(file.flush()), "the file can be written");
    }

    static std::size_t Place(std::size_t room, FuzzedInput* input)
    {
        const std::size_t number = input->Byte() * 65536 + input->Byte() * 256 + input->Byte();
        return room == 0 ? 0 : number % room;
    }

    static bool DamageOnce(std::string* bytes, std::size_t length, FuzzedInput* input)
    {
        const std::size_t records = bytes->size() / length;
        const std::size_t record = Place(records, input) * length;
        switch (input->Byte() % 6) {
        case 0: // not the header, which has a form of its own
            if (records > 1)
                bytes->replace(std::max(record, length), length, length, '\0');
            return true;
        case 1:
            if (records > 1)
                bytes->replace(std::max(record, length), length,
                               bytes->substr(length * (1 + Place(records - 1, input)), length));
            return true;
        case 2:
            bytes->resize(std::max(record, length));
            return true;
        case 3: // part of a record
            if (records > 0)
                bytes->replace(record + Place(length, input) % 64, 4, 4, char(input->Byte()));
            return false;
        default:
            for (std::size_t at = Place(bytes->size(), input), n = input->Byte() % 32 + 1;
                 n > 0 && at < bytes->size(); --n, ++at)
                (*bytes)[at] = char(input->Byte());
            return false;
        }
    }

    std::vector<File> m_files;
};
