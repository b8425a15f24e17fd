// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The system calls of our store: they are counted during a run, and then made again on their
// own. That is the minimum cost of the same transfers.

#include "store/measure.h"

#include "store/storefiles.h"

#include <algorithm>
#include <fcntl.h>
#include <unistd.h>

using namespace Agent;

namespace
{

class CountingFiles : public StoreFiles
{
public:
    int Open(const char* path, int flags, mode_t mode) override
    {
        ++m_counts[opens];
        return StoreFiles::Open(path, flags, mode);
    }
    int Close(int descriptor) override
    {
        ++m_counts[closes];
        return StoreFiles::Close(descriptor);
    }
    off_t Seek(int descriptor, off_t position) override
    {
        ++m_counts[seeks];
        return StoreFiles::Seek(descriptor, position);
    }
    ssize_t Read(int descriptor, void* bytes, size_t size) override
    {
        ++m_counts[reads];
        return StoreFiles::Read(descriptor, bytes, size);
    }
    ssize_t Write(int descriptor, const void* bytes, size_t size) override
    {
        ++m_counts[writes];
        return StoreFiles::Write(descriptor, bytes, size);
    }
    int Resize(int descriptor, off_t size) override
    {
        ++m_counts[otherCalls];
        return StoreFiles::Resize(descriptor, size);
    }
    int Status(int descriptor, struct stat* status) override
    {
        ++m_counts[otherCalls];
        return StoreFiles::Status(descriptor, status);
    }

    // Returns the counts since the last call.
    std::array<double, callKinds> Take()
    {
        std::array<double, callKinds> counts;
        std::copy(m_counts.begin(), m_counts.end(), counts.begin());
        m_counts.fill(0);
        return counts;
    }

private:
    std::array<std::uint64_t, callKinds> m_counts{};
};

// One transfer of the store: open, seek, read or write, close.
struct Cycle {
    std::int64_t position;
    std::uint16_t size; // 0: no transfer
    std::uint8_t file;
    bool writing, seeking, making;
};

// The store has only one file open at a time, so the calls between an open and a close
// belong together.
class RecordingFiles : public StoreFiles
{
public:
    int Open(const char* path, int flags, mode_t mode) override
    {
        auto file = std::find(m_paths.begin(), m_paths.end(), path);
        if (file == m_paths.end())
            file = m_paths.insert(file, path);
        m_current = Cycle{};
        m_current.file = std::uint8_t(file - m_paths.begin());
        m_current.making = (flags & O_CREAT) != 0;
        Require(!m_isOpen, "two files open at once");
        m_isOpen = true;
        return StoreFiles::Open(path, flags, mode);
    }
    int Close(int descriptor) override
    {
        m_isOpen = false;
        m_cycles.push_back(m_current);
        return StoreFiles::Close(descriptor);
    }
    off_t Seek(int descriptor, off_t position) override
    {
        m_current.position = position;
        m_current.seeking = true;
        return StoreFiles::Seek(descriptor, position);
    }
    ssize_t Read(int descriptor, void* bytes, size_t size) override
    {
        Transfer(size, false);
        return StoreFiles::Read(descriptor, bytes, size);
    }
    ssize_t Write(int descriptor, const void* bytes, size_t size) override
    {
        Transfer(size, true);
        return StoreFiles::Write(descriptor, bytes, size);
    }

    std::vector<Cycle> Take() { return std::move(m_cycles); }
    const std::vector<std::string>& Paths() const { return m_paths; }

private:
    void Transfer(std::size_t size, bool writing)
    {
        Require(m_current.size == 0 && size <= UINT16_MAX, "one transfer an open file");
        m_current.size = std::uint16_t(size);
        m_current.writing = writing;
    }

    std::vector<std::string> m_paths;
    std::vector<Cycle> m_cycles;
    Cycle m_current{};
    bool m_isOpen = false;
};

void Repeat(const std::vector<Cycle>& cycles, const std::vector<std::string>& paths)
{
    static std::uint8_t bytes[UINT16_MAX];
    for (const Cycle& cycle : cycles) {
        const int flags = O_RDWR | O_CLOEXEC | (cycle.making ? O_CREAT | O_TRUNC : 0);
        const int descriptor = open(paths[cycle.file].c_str(), flags, 0777);
        Require(descriptor >= 0, "open");
        if (cycle.seeking)
            Require(lseek(descriptor, cycle.position, SEEK_SET) == cycle.position, "seek");
        if (cycle.size != 0) {
            const ssize_t moved = cycle.writing ? write(descriptor, bytes, cycle.size)
                                                : read(descriptor, bytes, cycle.size);
            Require(moved == cycle.size, "transfer");
        }
        close(descriptor);
    }
}

Maker OursOn(StoreFiles& files)
{
    return [&files](const std::string& folder) { return MakeOursOn(folder, files); };
}

} // namespace

Result MeasureOurs(const std::string& folder, const Workload& workload)
{
    CountingFiles files;
    Result result;
    result.fileBytes
        = RunPhases(OursOn(files), folder, workload, [&](Phase phase, const auto& work) {
              files.Take();
              result.seconds[phase] = TimedPhase(work);
              result.calls[phase] = files.Take();
          });
    return result;
}

Result MeasureCalls(const std::string& folder, const Workload& workload)
{
    struct Step {
        int phase; // `phases` means between two phases
        std::vector<Cycle> cycles;
    };
    std::vector<Step> steps;
    std::vector<std::string> paths;
    {
        RecordingFiles files;
        RunPhases(OursOn(files), folder, workload, [&](Phase phase, const auto& work) {
            steps.push_back({ phases, files.Take() });
            work();
            steps.push_back({ phase, files.Take() });
        });
        paths = files.Paths();
    }
    Result result;
    for (const Step& step : steps) {
        const double seconds = TimedPhase([&] { Repeat(step.cycles, paths); });
        if (step.phase != phases)
            result.seconds[std::size_t(step.phase)] = seconds;
    }
    for (const std::string& path : paths)
        unlink(path.c_str());
    return result;
}
