// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// GDBM: five hashed files, one from numbers to records and four of keys. It has no
// duplicates, so a key that need not be unique is followed by its number. It has no order
// either, so it is not walked. No fsync, no locking, the default cache.

#include "store/contender.h"

#include <array>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <gdbm.h>

namespace
{

datum Value(const void* bytes, std::size_t size)
{
    return { const_cast<char*>(static_cast<const char*>(bytes)), int(size) };
}

class Gdbm : public Contender
{
public:
    explicit Gdbm(const std::string& folder) : m_records(Open(folder + "/records"))
    {
        for (int kind = 0; kind < keyKinds; ++kind)
            Map(kind) = Open(folder + "/" + std::to_string(kind));
    }

    ~Gdbm() override
    {
        gdbm_close(m_records);
        for (int kind = 0; kind < keyKinds; ++kind)
            gdbm_close(Map(kind));
    }

    void Insert(const Product& product) override
    {
        MakeRecord(product, m_record);
        const std::uint32_t number = ++m_last;
        Store(m_records, Value(&number, sizeof number), Value(m_record, recordLength));
        for (int kind = 0; kind < keyKinds; ++kind)
            Store(Map(kind), KeyOf(product, kind, number),
                  Value(&number, kind == byName ? sizeof number : 0));
    }

    void Delete(const Product& product) override
    {
        const std::uint32_t number = Find(product.name);
        for (int kind = 0; kind < keyKinds; ++kind)
            Require(gdbm_delete(Map(kind), KeyOf(product, kind, number)) == 0, "gdbm_delete");
        Require(gdbm_delete(m_records, Value(&number, sizeof number)) == 0, "gdbm_delete");
    }

    std::uint32_t Find(const char* name) override
    {
        std::uint32_t number = 0;
        Fetch(Map(byName), Value(name, std::strlen(name)), &number, sizeof number);
        return number;
    }

    const std::uint8_t* Fetch(const char* name) override
    {
        const std::uint32_t number = Find(name);
        const datum key = Value(&number, sizeof number);
        return number != 0 && Fetch(m_records, key, m_record, recordLength) ? m_record : nullptr;
    }

    void Walk(const Visit&) override { Fail("no order"); }
    bool KeepsOrder() const override { return false; }

private:
    static GDBM_FILE Open(const std::string& path)
    {
        const GDBM_FILE file = gdbm_open(path.c_str(), 0, GDBM_NEWDB | GDBM_NOLOCK, 0644, nullptr);
        Require(file, "gdbm_open");
        return file;
    }

    static void Store(GDBM_FILE file, datum key, datum value)
    {
        Require(gdbm_store(file, key, value, GDBM_INSERT) == 0, "gdbm_store");
    }

    static bool Fetch(GDBM_FILE file, datum key, void* bytes, std::size_t size)
    {
        const datum value = gdbm_fetch(file, key);
        if (!value.dptr)
            return false;
        Require(std::size_t(value.dsize) == size, "value size");
        std::memcpy(bytes, value.dptr, size);
        std::free(value.dptr);
        return true;
    }

    GDBM_FILE& Map(int kind) { return m_maps[std::size_t(kind)]; }

    // Valid until the next call.
    datum KeyOf(const Product& product, int kind, std::uint32_t number)
    {
        const std::string_view text = Key(product, kind);
        std::memcpy(m_key, text.data(), text.size() + 1);
        if (kind == byName)
            return Value(m_key, text.size());
        std::memcpy(m_key + text.size() + 1, &number, sizeof number);
        return Value(m_key, text.size() + 1 + sizeof number);
    }

    const GDBM_FILE m_records;
    std::array<GDBM_FILE, keyKinds> m_maps{};
    std::uint32_t m_last = 0;
    char m_key[productKeyLength + 1 + sizeof(std::uint32_t)];
    Record m_record;
};

} // namespace

ContenderPtr MakeGdbm(const std::string& folder)
{
    return std::make_unique<Gdbm>(folder);
}
