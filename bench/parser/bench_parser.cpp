// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The speed of the parser of the front end's output: 100,000 lines are read with getline,
// read and parsed without an application (no events to process), and with one.
//
//     bench_parser FILE
//
// FILE is the recorded output of a front end; its lines are repeated up to 100,000.

#include "install/crunaptget.h"

#include <QApplication>
#include <QElapsedTimer>
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>
#include <vector>

namespace
{

constexpr int Lines = 100000;

std::string Recorded(const char* name)
{
    std::ifstream file(name);
    std::vector<std::string> lines;
    for (std::string line; std::getline(file, line);)
        lines.push_back(line);
    if (lines.empty())
        qFatal("the file holds no lines");
    std::string text;
    for (int i = 0; i < Lines; ++i)
        text += lines[std::size_t(i) % lines.size()] + '\n';
    return text;
}

template <typename Work> double Seconds(Work work)
{
    std::vector<double> times;
    for (int round = 0; round < 7; ++round) {
        QElapsedTimer timer;
        timer.start();
        work();
        times.push_back(double(timer.nsecsElapsed()) / 1e9);
    }
    std::sort(times.begin(), times.end());
    return times[times.size() / 2];
}

int CountLines(FILE* stream)
{
    std::rewind(stream);
    char* line = nullptr;
    std::size_t size = 0;
    int count = 0;
    while (getline(&line, &size, stream) >= 0)
        ++count;
    std::free(line);
    return count;
}

int ParseLines(FILE* stream)
{
    std::rewind(stream);
    CRunAptGet runner;
    bool inList = false, inError = false;
    char buffer[2048];
    int length = 0;
    while (runner.readLine(buffer, sizeof buffer, stream, length))
        runner.parseLine(buffer, length, inList, inError);
    return int(runner.Messages().size());
}

} // namespace

int main(int argc, char** argv)
{
    if (argc != 2)
        qFatal("usage: bench_parser FILE");
    const std::string text = Recorded(argv[1]);
    FILE* stream = std::tmpfile();
    std::fwrite(text.data(), 1, text.size(), stream);
    const auto check = [](int lines) {
        if (lines != Lines)
            qFatal("%d lines", lines);
    };
    const double plain = Seconds([&] { check(CountLines(stream)); });
    const double parsed = Seconds([&] { check(ParseLines(stream)); });
    const QApplication application(argc, argv);
    const double pumped = Seconds([&] { check(ParseLines(stream)); });
    std::printf("%d lines, %zu bytes\n", Lines, text.size());
    std::printf("getline          %.4f s, %.0f lines/s\n", plain, Lines / plain);
    std::printf("parser           %.4f s, %.0f lines/s, %.1f times getline\n", parsed,
                Lines / parsed, parsed / plain);
    std::printf("parser, pumping  %.4f s, %.0f lines/s, %.1f times getline\n", pumped,
                Lines / pumped, pumped / plain);
    std::printf("pumping is %.0f %% of it, %.2f us a pass\n", 100 * (pumped - parsed) / pumped,
                1e6 * (pumped - parsed) / (double(text.size()) / 10 + Lines));
    std::fclose(stream);
    return 0;
}
