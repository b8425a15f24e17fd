// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The folder of an exported store:
//
//     content/ab/SUM        each text once, by its SHA-256 sum; packed in SUM.gz and SUM.zst
//     versions/V/...        a version: links to the texts, by the paths of the answers
//     current.conf          names the current version to nginx, and has its statements
//
// A version is named by what is in it and never changes. It becomes current when current.conf is
// replaced, in one step; whatever ends an export before that leaves the version before. The time
// of a text is made of its sum, since web servers mark files by time and size: the mark then is
// the same on each machine, and another one for another text.

#pragma once

#include "storefile.h"

#include <ctime>
#include <map>
#include <mutex>
#include <string>

struct ExportResult {
    std::string version;
    bool isNew = false; // it was not there before
    std::size_t answers = 0;
    std::size_t written = 0; // texts that were not there before
    std::size_t retired = 0; // versions that were removed
};

class ExportFolder
{
public:
    // Makes the folder if it is missing, locks it, and removes what a killed export has left.
    // Throws StoreError, as the other functions do.
    explicit ExportFolder(const std::string& folder);
    ~ExportFolder();
    ExportFolder(const ExportFolder&) = delete;
    ExportFolder& operator=(const ExportFolder&) = delete;

    // Puts a text into the new version at this path, such as "/agent/CAPIGetAisles", with its
    // packed forms if that is wanted and it is long. May be called from several threads.
    void Add(const std::string& path, const std::string& text, bool isPacked = true);

    // Puts an open file there: a link to it, or a copy where that is not possible.
    void AddFile(const std::string& path, const Descriptor& file, const struct stat& info);

    // Makes the new version current, with these statements by paths. Versions that have not been
    // current for `keep` seconds are removed.
    ExportResult Publish(const std::map<std::string, std::string>& statements, std::time_t keep);

private:
    void Note(const std::string& path, const std::string& sum);
    void Keep(const std::string& sum, const char* suffix, const std::string& text);
    void Link(const std::string& from, const std::string& to);
    bool LinkToEarlier(const std::string& path, const struct stat& info);
    void Copy(const std::string& path, const Descriptor& file, const struct stat& info);
    std::string PlaceOf(const std::string& path);
    void Retire(const std::string& current, std::time_t keep);
    void RemoveUnused();

    const std::string m_folder; // absolute
    const std::string m_fresh; // the folder of the new version
    Descriptor m_lock;
    std::mutex m_mutex;
    std::map<std::string, std::string> m_sums; // of the new version, by paths
    ExportResult m_result;
};
