// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The sums that a package index, or the signed file of a repository, has of files.

#pragma once

#include "base/descriptor.h"

#include <string>

struct FileSum {
    unsigned long long size = 0;
    std::string sha256; // in hexadecimal; empty if the file cannot be read
};

// The sum of the file, from its beginning.
FileSum SumOf(const Agent::Descriptor& file);

// The sum of what a gzip file unpacks to.
FileSum UnpackedSumOf(const Agent::Descriptor& file);
