// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// A sources list for apt-get without a name on the disk, and the options that go with it.

#pragma once

#include "base/descriptor.h"

#include <string>
#include <vector>

class SourcesFile
{
public:
    explicit SourcesFile(const std::string& lines);

    // A path under which this process's children find it.
    std::string Path() const;

private:
    Agent::Descriptor m_file;
};

// The options for signed stores. On the command line they are final: the machine's folder of
// settings overrides a file of settings, and some machines switch the checks of dates off.
std::vector<std::string> FinalSettings(const std::string& sourcesFile, const std::string& lists);

// The same as words for apt-get.
std::vector<std::string> FinalWords(const std::string& sourcesFile, const std::string& lists);
