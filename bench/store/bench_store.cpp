// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Compares the record store with SQLite, LMDB and others, with the same products: four keys
// and a record of 2,012 bytes each.
//
//     bench_store [--runs N] [--only NAME,NAME...] [--folder FOLDER] [--cpu] SIZE...
//
// Each contender runs in a process of its own, in a folder below FOLDER (default: TMPDIR, or
// /tmp) that is removed afterwards. They take turns, N times (default: 5). The output has
// medians: ours in microseconds per operation, all others as a ratio to ours. `calls` makes
// only the system calls of ours, `held` is ours with files that stay open, `shared` is
// SQLite with its journal and locks. With --cpu processor time is measured instead of
// elapsed time.
//
//     bench_store --strace [--only NAME,NAME...] [--folder FOLDER] SIZE...
//
// counts the system calls of each contender with strace.
//
//     bench_store --once NAME [--folder FOLDER] [--cpu] SIZE
//
// runs the phases of one contender and prints its times, for use with a profiler.

#include "store/measure.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <malloc.h>
#include <sstream>
#include <stdexcept>
#include <sys/wait.h>
#include <unistd.h>

namespace
{

namespace fs = std::filesystem;

struct Entry {
    const char* name;
    Measurement measure;
};

constexpr Entry entries[] = {
    { "ours", MeasureOurs },
    { "calls", MeasureCalls },
    { "held", Measure<MakeOursHeld> },
    { "sqlite", Measure<MakeSqlite> },
    { "sqlite-each", Measure<MakeSqliteEach> },
    { "shared", Measure<MakeSqliteShared> },
    { "shared-each", Measure<MakeSqliteSharedEach> },
    { "lmdb", Measure<MakeLmdb> },
    { "leveldb", Measure<MakeLeveldb> },
    { "gdbm", Measure<MakeGdbm> },
    { "berkeleydb", Measure<MakeBerkeleyDb> }, // a row each
};

struct Options {
    int runs = 5;
    std::string folder;
    std::vector<Entry> contenders;
    std::vector<int> sizes;
    const Entry* once = nullptr;
    bool trace = false;
    bool processorTime = false;
};

// A line of /proc/self/status, in bytes.
double StatusBytes(const char* field)
{
    std::ifstream status("/proc/self/status");
    for (std::string line; std::getline(status, line);)
        if (line.rfind(field, 0) == 0)
            return 1024 * std::atof(line.c_str() + std::strlen(field) + 1);
    Fail("no such field of the process");
}

class TemporaryFolder
{
public:
    explicit TemporaryFolder(const std::string& parent) : m_path(parent + "/bench_store.XXXXXX")
    {
        Require(mkdtemp(m_path.data()), "mkdtemp");
    }
    ~TemporaryFolder()
    {
        std::error_code ignored;
        fs::remove_all(m_path, ignored);
    }
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;
    const std::string& Path() const { return m_path; }

private:
    std::string m_path;
};

Result MeasureHere(Measurement measure, const std::string& folder, const Workload& workload)
{
    malloc_trim(0); // otherwise a store could reuse free memory, which would not count
    const double before = StatusBytes("VmRSS");
    Result result = measure(folder, workload);
    if (result.fileBytes > 0) // otherwise there is no store, and its memory means nothing
        result.peakBytes = StatusBytes("VmHWM") - before;
    return result;
}

// Set by the signals that end the program; it cleans up first.
volatile std::sig_atomic_t interrupted = 0;

void HandleInterrupts(void (*handler)(int))
{
    struct sigaction action {
    };
    action.sa_handler = handler; // without SA_RESTART, so that a signal ends the wait
    for (const int number : { SIGINT, SIGTERM, SIGHUP })
        sigaction(number, &action, nullptr);
}

[[noreturn]] void RunChild(Measurement measure, const std::string& folder, const Workload& workload,
                           int descriptor)
{
    HandleInterrupts(SIG_DFL);
    try {
        const Result result = MeasureHere(measure, folder, workload);
        _exit(write(descriptor, &result, sizeof result) == sizeof result ? 0 : 1);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "bench_store: %s\n", error.what());
        _exit(1);
    }
}

// Measures in a process of its own, so that the peak memory is that of one contender.
Result MeasureApart(const Entry& entry, const std::string& parent, const Workload& workload)
{
    Require(!interrupted, "interrupted");
    const TemporaryFolder folder(parent);
    int ends[2];
    Require(pipe(ends) == 0, "pipe");
    const pid_t child = fork();
    Require(child >= 0, "fork");
    if (child == 0)
        RunChild(entry.measure, folder.Path(), workload, ends[1]);
    close(ends[1]);
    Result result;
    const bool told = read(ends[0], &result, sizeof result) == sizeof result;
    close(ends[0]);
    if (!told)
        kill(child, SIGKILL);
    int status = 1;
    while (waitpid(child, &status, 0) < 0 && errno == EINTR)
        continue;
    Require(told && status == 0, entry.name);
    return result;
}

double Median(std::vector<double> values)
{
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

template <typename Get> double MedianOf(const std::vector<Result>& results, Get get)
{
    std::vector<double> values;
    for (const Result& result : results)
        values.push_back(get(result));
    return Median(values);
}

// Results of one contender, by run.
using Results = std::vector<std::vector<Result>>;

// Prints ours in its unit, and the others as ratios to it.
template <typename Get>
void PrintRow(const char* name, const Results& results, double unit, Get get)
{
    const double ours = MedianOf(results[0], get);
    std::printf("%-22s%10.3f", name, ours / unit);
    for (std::size_t i = 1; i < results.size(); ++i) {
        const double other = MedianOf(results[i], get);
        if (other > 0)
            std::printf("%12.2f", other / ours);
        else
            std::printf("%12s", "-");
    }
    std::printf("\n");
}

void PrintTable(const Options& options, const Workload& workload, const Results& results)
{
    std::printf("\n%zu products, %d runs. Ours in microseconds an operation, others / ours.\n\n",
                workload.random.size(), options.runs);
    std::printf("%-22s", "");
    for (const Entry& entry : options.contenders)
        std::printf(&entry == options.contenders.data() ? "%10s" : "%12s", entry.name);
    std::printf("\n");
    for (int phase = 0; phase < phases; ++phase)
        PrintRow(PhaseName(phase), results, 1e-6 * workload.Operations(phase),
                 [&](const Result& result) { return result.seconds[std::size_t(phase)]; });
    PrintRow("file size, MB", results, 1e6, [](const Result& result) { return result.fileBytes; });
    PrintRow("peak memory, MB", results, 1e6,
             [](const Result& result) { return result.peakBytes; });
}

void PrintCalls(const Workload& workload, const Result& ours)
{
    std::printf("\nSystem calls of ours, an operation\n\n%-22s%10s%10s%10s%10s%10s%10s\n", "",
                "open", "seek", "read", "write", "close", "others");
    for (int phase = 0; phase < phases; ++phase) {
        std::printf("%-22s", PhaseName(phase));
        for (const double count : ours.calls[std::size_t(phase)])
            std::printf("%10.3f", count / workload.Operations(phase));
        std::printf("\n");
    }
}

void RequireSpace(const std::string& folder, int size)
{
    constexpr double bytesOfProduct = 12000; // more than any contender needs
    if (double(fs::space(folder).available) < bytesOfProduct * size + 1e9)
        Fail("too little space in " + folder);
}

void Compare(const Options& options, int size)
{
    RequireSpace(options.folder, size);
    const Workload workload(size);
    Results results(options.contenders.size());
    for (int run = 0; run < options.runs; ++run)
        for (std::size_t i = 0; i < results.size(); ++i)
            results[i].push_back(MeasureApart(options.contenders[i], options.folder, workload));
    PrintTable(options, workload, results);
    PrintCalls(workload, results[0][0]);
    std::fflush(stdout);
}

void RunOnce(const Entry& entry, const std::string& parent, int size)
{
    RequireSpace(parent, size);
    const Workload workload(size);
    const TemporaryFolder folder(parent);
    const Result result = MeasureHere(entry.measure, folder.Path(), workload);
    for (int phase = 0; phase < phases; ++phase)
        std::printf("%-22s%10.3f\n", PhaseName(phase),
                    1e6 * result.seconds[std::size_t(phase)] / workload.Operations(phase));
}

// The system calls of a contender by phase, counted with strace.
std::array<double, phases> TraceCalls(const Options& options, const char* contender, int size)
{
    const std::string command = "strace -f -qq '" + fs::read_symlink("/proc/self/exe").string()
        + "' --folder '" + options.folder + "' --once " + contender + " " + std::to_string(size)
        + " 2>&1 >/dev/null";
    FILE* const trace = popen(command.c_str(), "r");
    Require(trace, "popen");
    std::array<double, phases> counts{};
    int phase = phases;
    char line[4096];
    while (std::fgets(line, sizeof line, trace)) {
        if (const char* const mark = std::strstr(line, phaseMark))
            phase = std::atoi(mark + std::strlen(phaseMark));
        else if (phase < phases && !std::strstr(line, " resumed>"))
            ++counts[std::size_t(phase)];
    }
    Require(pclose(trace) == 0, "strace failed");
    return counts;
}

void CompareTraces(const Options& options, int size)
{
    RequireSpace(options.folder, size);
    const Workload workload(size);
    std::vector<std::array<double, phases>> counts;
    std::printf("\n%d products. System calls an operation.\n\n%-22s", size, "");
    for (const Entry& entry : options.contenders) {
        std::printf("%12s", entry.name);
        counts.push_back(TraceCalls(options, entry.name, size));
    }
    for (int phase = 0; phase < phases; ++phase) {
        std::printf("\n%-22s", PhaseName(phase));
        for (const auto& ofContender : counts)
            std::printf("%12.3f", ofContender[std::size_t(phase)] / workload.Operations(phase));
    }
    std::printf("\n");
}

[[noreturn]] void Usage()
{
    std::fputs(
        "usage: bench_store [--runs N] [--only NAME,NAME...] [--folder FOLDER] [--cpu] SIZE...\n"
        "       bench_store --strace [--only NAME,NAME...] [--folder FOLDER] SIZE...\n"
        "       bench_store --once NAME [--folder FOLDER] [--cpu] SIZE\n"
        "contenders:",
        stderr);
    for (const Entry& entry : entries)
        std::fprintf(stderr, " %s", entry.name);
    std::fprintf(stderr, "\n");
    std::exit(2);
}

int PositiveNumber(const char* text)
{
    char* end;
    const long number = std::strtol(text, &end, 10);
    if (*end != 0 || number < 1 || number > 10000000)
        Usage();
    return int(number);
}

const Entry& FindEntry(const std::string& name)
{
    for (const Entry& entry : entries)
        if (name == entry.name)
            return entry;
    Usage();
}

// Ours comes first, since all others are compared with it.
std::vector<Entry> Choose(const std::string& names)
{
    std::vector<Entry> chosen{ entries[0] };
    std::istringstream list(names);
    for (std::string name; std::getline(list, name, ',');)
        if (name != entries[0].name)
            chosen.push_back(FindEntry(name));
    return chosen;
}

Options ReadOptions(int argc, char** argv)
{
    Options options;
    const char* const folder = std::getenv("TMPDIR");
    options.folder = folder ? folder : "/tmp";
    options.contenders.assign(std::begin(entries), std::end(entries));
    for (int i = 1; i < argc; ++i) {
        const std::string argument = argv[i];
        if (argument.rfind("--", 0) != 0) {
            options.sizes.push_back(PositiveNumber(argv[i]));
            continue;
        }
        if (argument == "--cpu" || argument == "--strace") {
            (argument == "--cpu" ? options.processorTime : options.trace) = true;
            continue;
        }
        const char* const value = ++i < argc ? argv[i] : "";
        if (argument == "--runs")
            options.runs = PositiveNumber(value);
        else if (argument == "--only")
            options.contenders = Choose(value);
        else if (argument == "--once")
            options.once = &FindEntry(value);
        else if (argument == "--folder")
            options.folder = value;
        else
            Usage();
    }
    if (options.sizes.empty())
        Usage();
    return options;
}

} // namespace

void Fail(const std::string& why)
{
    throw std::runtime_error(why);
}

int main(int argc, char** argv)
try {
    const Options options = ReadOptions(argc, argv);
    if (options.processorTime)
        phaseClock = CLOCK_PROCESS_CPUTIME_ID;
    if (!options.once)
        HandleInterrupts([](int) { interrupted = 1; });
    for (const int size : options.sizes) {
        if (options.once)
            RunOnce(*options.once, options.folder, size);
        else if (options.trace)
            CompareTraces(options, size);
        else
            Compare(options, size);
    }
    return 0;
} catch (const std::exception& error) {
    std::fprintf(stderr, "bench_store: %s\n", error.what());
    return 1;
}
