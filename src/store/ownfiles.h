// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Data files and indexes on a file system of their own, which their handles use as long
// as they are open. Null means the machine's. Otherwise each function is
// that of the public headers without "Own".

#pragma once

#include "store/indexfile.h"

namespace Agent
{

class StoreFiles;

DataFile* MakeOwnDataFile(StoreFiles* files, const char* path, std::int16_t recordLength);
DataFile* OpenOwnDataFile(StoreFiles* files, const char* path, std::int16_t recordLength);
IndexFile* MakeOwnIndex(StoreFiles* files, const char* path, std::int16_t keyLength,
                        bool allowDuplicates);
IndexFile* OpenOwnIndex(StoreFiles* files, const char* path, std::int16_t keyLength,
                        bool allowDuplicates);

} // namespace Agent
