// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Which product each place in the notes store belongs to. A product whose
// description was cleared keeps the offset, and another one's text may come there:
// the record alone does not say whose the text is.
//
// A place belongs to the one product that has its offset, or to the one whose text
// was put there last, as far as this object has seen that. A place that several
// products have, or where no text begins, belongs to none: what is there stays, at
// worst unused.

#pragma once

#include <cstdint>
#include <map>
#include <vector>

class CNote;
struct DataFile;

namespace Agent
{

class NoteOwners
{
public:
    // Forgets everything: other files, or the end of their use.
    void Clear();
    // Reads all products and where texts begin, unless that was done.
    // Nothing belongs to anybody when the products cannot be read.
    void Read(DataFile* products, CNote& notes);

    // Whether a text may go for the sake of a product (-1: one that is not stored
    // yet).
    bool MayDelete(std::int32_t offset, std::int32_t product) const;
    // A text was put at an offset; whose it is, once that has a number.
    void Put(std::int32_t offset, std::int32_t length);
    void Belongs(std::int32_t offset, std::int32_t product);
    // The text at an offset has gone: its product, which may keep the offset, does not
    // take away what comes there.
    void Forget(std::int32_t offset) { Belongs(offset, 0); }

private:
    bool ReadProducts(DataFile* products);
    void KeepTexts(const std::vector<std::int32_t>& texts);

    bool m_read = false;
    bool m_known = false;
    std::map<std::int32_t, std::int32_t> m_owners; // by offset
};

} // namespace Agent
