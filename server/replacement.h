// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The new text of a file, which takes the place of the old one in one step.

#pragma once

#include "storefile.h"

#include <string>

class Replacement
{
public:
    // Writes the text, on the disk, beside the file `path` below the folder
    // `root`. Nothing is written where the file has this text already. Throws
    // StoreError when it cannot be written; links are not followed.
    Replacement(const std::string& root, const std::string& path, const std::string& text);
    Replacement(Replacement&&) noexcept = default;
    // Without a commit the new text goes.
    ~Replacement();

    // Puts the new text in the old one's place; throws StoreError if it fails.
    void commit();

private:
    std::string m_path; // for messages
    Descriptor m_folder;
    std::string m_name;
    bool m_waiting = false;
};
