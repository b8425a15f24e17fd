// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The owner of each place in the notes. A product whose description was cleared keeps
// its offset, and another product's text may be stored there, so the record alone does
// not show whose text it is.
//
// A place belongs to the only product that has its offset, or to the product whose text
// this object has seen stored there last. A place that several products have, or where
// no text begins, has no owner: its text stays, at worst unused.

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
    // Forgets everything, for other files or at the end.
    void Clear();
    // Reads all products and the beginnings of texts, if not done yet. If the products
    // cannot be read, no place has an owner.
    void Read(DataFile* products, CNote& notes);

    // Whether a product (-1: one that is not stored yet) may delete a text.
    bool MayDelete(std::int32_t offset, std::int32_t product) const;
    // Notes that a text was stored at an offset, and, once its product has a number, the
    // owner.
    void Put(std::int32_t offset, std::int32_t length);
    void Belongs(std::int32_t offset, std::int32_t product);
    // Notes that the text at an offset was deleted. Its product may keep the offset, but
    // must not delete a text that is stored there later.
    void Forget(std::int32_t offset) { Belongs(offset, 0); }

private:
    bool ReadProducts(DataFile* products);
    void KeepTexts(const std::vector<std::int32_t>& texts);

    bool m_read = false;
    bool m_known = false;
    std::map<std::int32_t, std::int32_t> m_owners; // by offset
};

} // namespace Agent
