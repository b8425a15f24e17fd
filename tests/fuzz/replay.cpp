// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The main function of a fuzzer that only replays stored inputs.
//
// Usage: fuzz_NAME FOLDER...
//
// The name of each input is printed before it is read, so the last name is that of the
// failed input. A folder without inputs is a failure as well.

#include "fuzzer.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <vector>

namespace
{

void Replay(const std::filesystem::path& path)
{
    std::cout << path.filename().string() << std::endl;
    std::ifstream file(path, std::ios::binary);
    Demand(file.is_open(), "the input can be read");
    const std::string text{ std::istreambuf_iterator<char>(file), {} };
    // In a buffer of exactly its length, so that a sanitizer notices a read after the
    // end.
    const std::vector<std::uint8_t> input(text.begin(), text.end());
    LLVMFuzzerTestOneInput(input.data(), input.size());
}

} // namespace

int main(int argc, char** argv)
{
    for (int i = 1; i < argc; ++i) {
        std::vector<std::filesystem::path> inputs;
        for (const auto& entry : std::filesystem::directory_iterator(argv[i]))
            inputs.push_back(entry.path());
        Demand(!inputs.empty(), "there are inputs");
        std::sort(inputs.begin(), inputs.end());
        for (const auto& input : inputs)
            Replay(input);
        std::cout << inputs.size() << " inputs read" << std::endl;
    }
    return argc > 1 ? 0 : 2;
}
