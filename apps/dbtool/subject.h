// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The things that the tool's commands work on: a data file, an index, a notes store, a
// database of the agent. A new kind needs a class here and a row in main.cpp.

#pragma once

#include <memory>
#include <optional>
#include <string>

namespace DbTool
{

enum ExitStatus {
    ExitSound = 0,
    ExitDamaged = 1,
    ExitTrouble = 2 // wrong usage, or a file that cannot be read or written
};

// The place of an index's key in the records of its data file.
struct KeyField {
    int offset;
    int length;
};

struct Options {
    std::string path;
    std::optional<int> recordLength;
    std::optional<int> keyLength;
    bool duplicates = false;
    std::string data; // the data file of an index
    std::optional<KeyField> keyField;
    std::string output;
    bool partial = false; // make the new file even if not everything can be repaired
};

// Each command prints its result on standard output and returns the exit status. It throws
// Trouble if it cannot do its work at all.
class Subject
{
public:
    virtual ~Subject() = default;

    virtual int Info() = 0;
    virtual int Dump() = 0;
    virtual int Check() = 0;
    // Never changes the old files.
    virtual int Repair() = 0;
};

std::unique_ptr<Subject> MakeDataSubject(const Options& options);
std::unique_ptr<Subject> MakeIndexSubject(const Options& options);
std::unique_ptr<Subject> MakeNotesSubject(const Options& options);
// For these the path is that of the folder.
std::unique_ptr<Subject> MakeCatalogSubject(const Options& options);
std::unique_ptr<Subject> MakeRecentSubject(const Options& options);

} // namespace DbTool
