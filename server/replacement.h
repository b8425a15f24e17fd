// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The new text of a file, which replaces the old one in one step.

#pragma once

#include "storefile.h"

#include <string>

class Replacement
{
public:
    // Writes the text to a new file next to `path` below the folder `root`, and syncs it.
    // Writes nothing if the file already has this text. Throws StoreError when it cannot
    // be written; links are not followed.
    Replacement(const std::string& root, const std::string& path, const std::string& text);
    Replacement(Replacement&&) noexcept = default;
    // Without a commit the new text is removed.
    ~Replacement();

    // Replaces the old text by the new one; throws StoreError if that fails.
    void commit();

private:
    std::string m_path; // for messages
    Descriptor m_folder;
    std::string m_name;
    bool m_waiting = false;
};
