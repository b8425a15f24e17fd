// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The cost of a catalog of 60,000 products on its way from a reply to a file: the gate,
// reading it into the tree, and saving it, each compared with parsing the same text by
// QDomDocument. "of_parse" is the ratio to that.

#include "catalog/cxmlnode.h"
#include "request/replydocument.h"
#include "util/urlcodec.h"

#include <QDomDocument>
#include <QFile>
#include <QTemporaryDir>
#include <benchmark/benchmark.h>
#include <chrono>
#include <fstream>
#include <malloc.h>
#include <random>
#include <sstream>

using namespace Agent;

namespace
{

constexpr int products = 60000;

// Words like those of descriptions, with a few characters that are sent as escapes.
std::string Prose(std::mt19937& random, int length)
{
    static const char* const words[]
        = { "the",     "editor",   "for",      "music & sound", "library",
            "draws",   "100%",     "pictures", "caf\xC3\xA9",   "network",
            "(small)", "a server", "games.",   "with",          "documents" };
    std::string text;
    while (int(text.size()) < length)
        text.append(words[random() % std::size(words)]).append(" ");
    return text;
}

// Element text as the server sends it: half of it fully escaped, half with only those
// escapes that XML and the reader of the tree require.
std::string Wire(const std::string& text, bool escaped)
{
    if (escaped)
        return url_encode(text);
    std::string plain;
    for (const char c : text) {
        if (c == '&' || c == '<' || c == '%')
            plain += c == '&' ? "%26" : c == '<' ? "%3C" : "%25";
        else
            plain += c;
    }
    return plain;
}

std::string Catalog()
{
    std::mt19937 random(1);
    std::string xml = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<catalog resultcode=\"OK\">\n";
    for (int i = 0; i < products; ++i) {
        const std::string number = std::to_string(100000 + i);
        const bool escaped = i % 2 == 0;
        xml += "  <product serial=\"" + number + "\" aisle=\"" + std::to_string(i % 40) + "\">\n";
        xml += "    <name>" + Wire(Prose(random, 18), escaped) + "</name>\n";
        xml += "    <package>lib-product" + number + "</package>\n";
        xml += "    <category>" + Wire(Prose(random, 12), escaped) + "</category>\n";
        xml += "    <version>1." + std::to_string(i % 97) + "-2</version>\n";
        xml += "    <description>" + Wire(Prose(random, 300), escaped) + "</description>\n";
        xml += "  </product>\n";
    }
    return xml + "</catalog>\n";
}

// A file buffer that ignores flushes, to measure the cost of flushing after each element.
class NoFlush : public std::filebuf
{
protected:
    int sync() override { return 0; }
};

struct Fixture {
    QTemporaryDir folder;
    QString file = folder.filePath(QStringLiteral("catalog.xml"));
    std::string saved = folder.filePath(QStringLiteral("saved.xml")).toStdString();
    QDomDocument document;
    double parse = 0; // seconds, mean

    Fixture()
    {
        std::ofstream(file.toStdString()) << Catalog();
        QFile text(file);
        if (!text.open(QIODevice::ReadOnly) || !document.setContent(&text))
            qFatal("the catalog is not well formed");
    }
};

Fixture& Shared()
{
    static Fixture fixture;
    return fixture;
}

// Runs `work` under the benchmark and reports its mean time and the ratio to the parse.
template <typename Work> double Measure(benchmark::State& state, Work work)
{
    double seconds = 0;
    for (auto _ : state) {
        const auto begin = std::chrono::steady_clock::now();
        work();
        const std::chrono::duration<double> took = std::chrono::steady_clock::now() - begin;
        state.SetIterationTime(took.count());
        seconds += took.count();
    }
    seconds /= double(state.iterations());
    if (Shared().parse > 0)
        state.counters["of_parse"] = seconds / Shared().parse;
    return seconds;
}

void Parse(benchmark::State& state)
{
    const double seconds = Measure(state, [] {
        QFile text(Shared().file);
        QDomDocument document;
        if (!text.open(QIODevice::ReadOnly) || !document.setContent(&text))
            qFatal("not parsed");
    });
    Shared().parse = seconds;
    state.counters["MB"] = double(QFile(Shared().file).size()) / 1e6;
}

void Gate(benchmark::State& state)
{
    Measure(state, [] {
        QFile text(Shared().file);
        if (!text.open(QIODevice::ReadOnly) || !PassesGate(text, 1u << 30))
            qFatal("refused");
    });
}

void ReadTree(benchmark::State& state)
{
    Measure(state, [] {
        CXMLNode root(nullptr);
        QDomNode node = Shared().document.documentElement();
        root.ReadNode(node);
    });
}

void ReadAndSave(benchmark::State& state)
{
    Measure(state, [] {
        CXMLNode root(nullptr);
        QDomNode node = Shared().document.documentElement();
        root.ReadNode(node);
        std::ofstream out(Shared().saved);
        root.SaveNode(out, 0);
    });
}

void ReadAndSaveWithoutFlushes(benchmark::State& state)
{
    Measure(state, [] {
        CXMLNode root(nullptr);
        QDomNode node = Shared().document.documentElement();
        root.ReadNode(node);
        NoFlush buffer;
        buffer.open(Shared().saved, std::ios::out);
        std::ostream out(&buffer);
        root.SaveNode(out, 0);
    });
}

void MemoryOfTheTree(benchmark::State& state)
{
    for (auto _ : state) {
        const auto used = [] {
            const auto info = mallinfo2();
            return double(info.uordblks + info.hblkhd);
        };
        const double before = used();
        CXMLNode root(nullptr);
        QDomNode node = Shared().document.documentElement();
        root.ReadNode(node);
        state.counters["bytes_per_product"] = (used() - before) / products;
    }
}

BENCHMARK(Parse)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(3);
BENCHMARK(Gate)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(10);
BENCHMARK(ReadTree)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(3);
BENCHMARK(ReadAndSave)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(3);
BENCHMARK(ReadAndSaveWithoutFlushes)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(3);
BENCHMARK(MemoryOfTheTree)->Unit(benchmark::kMillisecond)->Iterations(1);

} // namespace

BENCHMARK_MAIN();
