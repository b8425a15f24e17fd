// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// When changes in memory are written to a file, and when the file is read again. Flushing,
// the multi-user mode and held files each lead to one of three policies.

#pragma once

#include "store/datafile.h"

namespace Agent
{

enum class WritePolicy {
    EachCall, // each call starts from the file, and each change ends with all written
    EachChange, // each change ends with the header written
    AtClose, // header and pages wait in memory until the file is closed
};

inline WritePolicy PolicyOf(const DataFile* file)
{
    if (file->flushing || (MULTIUSER && !file->held))
        return WritePolicy::EachCall;
    return file->held || file->isIndexFile ? WritePolicy::AtClose : WritePolicy::EachChange;
}

} // namespace Agent
