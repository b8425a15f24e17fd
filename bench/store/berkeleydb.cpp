// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Berkeley DB: five B-trees, one from numbers to records and four from keys to numbers;
// those of keys that need not be unique have sorted duplicates. Its environment is private
// to the process and only has a cache, as large as ours: no log, no locks, no transactions,
// and fsync does nothing.

#include "store/contender.h"

#include <array>
#include <cstring>
#include <db.h>

namespace
{

void Check(int result)
{
    Require(result == 0, db_strerror(result));
}

// A key or value to pass in, or a buffer for one that is returned.
DBT Value(const void* bytes, std::size_t size)
{
    DBT value{};
    value.data = const_cast<void*>(bytes);
    value.size = std::uint32_t(size);
    return value;
}

DBT Room(void* bytes, std::size_t size)
{
    DBT value = Value(bytes, 0);
    value.ulen = std::uint32_t(size);
    value.flags = DB_DBT_USERMEM;
    return value;
}

using Number = std::array<std::uint8_t, 4>;

// Most significant byte first, so that the byte order is the numeric order.
Number BytesOf(std::uint32_t number)
{
    return { std::uint8_t(number >> 24), std::uint8_t(number >> 16), std::uint8_t(number >> 8),
             std::uint8_t(number) };
}

std::uint32_t NumberOf(const std::uint8_t* bytes)
{
    return std::uint32_t(bytes[0]) << 24 | std::uint32_t(bytes[1]) << 16
        | std::uint32_t(bytes[2]) << 8 | bytes[3];
}

class BerkeleyDb : public Contender
{
public:
    explicit BerkeleyDb(const std::string& folder)
        : m_environment(OpenEnvironment(folder)), m_records(Open(folder + "/records", 0))
    {
        for (int kind = 0; kind < keyKinds; ++kind)
            Map(kind) = Open(folder + "/" + std::to_string(kind), kind == byName ? 0 : DB_DUPSORT);
    }

    ~BerkeleyDb() override
    {
        m_records->close(m_records, DB_NOSYNC);
        for (DB* const map : m_maps)
            map->close(map, DB_NOSYNC);
        m_environment->close(m_environment, 0);
    }

    void Insert(const Product& product) override
    {
        MakeRecord(product, m_record);
        const Number bytes = BytesOf(++m_last);
        DBT number = Value(bytes.data(), bytes.size());
        DBT record = Value(m_record, recordLength);
        Check(m_records->put(m_records, nullptr, &number, &record, DB_NOOVERWRITE));
        for (int kind = 0; kind < keyKinds; ++kind) {
            DBT key = KeyOf(product, kind);
            Check(Map(kind)->put(Map(kind), nullptr, &key, &number,
                                 kind == byName ? DB_NOOVERWRITE : DB_NODUPDATA));
        }
    }

    void Delete(const Product& product) override
    {
        const Number bytes = BytesOf(Find(product.name));
        DBT number = Value(bytes.data(), bytes.size());
        for (int kind = 0; kind < keyKinds; ++kind) {
            DBT key = KeyOf(product, kind);
            if (kind == byName)
                Check(Map(kind)->del(Map(kind), nullptr, &key, 0));
            else
                DeleteDuplicate(Map(kind), key, number);
        }
        Check(m_records->del(m_records, nullptr, &number, 0));
    }

    void Commit() override
    {
        Check(m_records->sync(m_records, 0));
        for (DB* const map : m_maps)
            Check(map->sync(map, 0));
    }

    std::uint32_t Find(const char* name) override
    {
        DBT key = Value(name, std::strlen(name));
        Number bytes;
        DBT number = Room(bytes.data(), bytes.size());
        return Map(byName)->get(Map(byName), nullptr, &key, &number, 0) == 0
            ? NumberOf(bytes.data())
            : 0;
    }

    const std::uint8_t* Fetch(const char* name) override
    {
        const Number bytes = BytesOf(Find(name));
        DBT number = Value(bytes.data(), bytes.size());
        DBT record = Room(m_record, recordLength);
        const int result = m_records->get(m_records, nullptr, &number, &record, 0);
        return result == 0 && record.size == recordLength ? m_record : nullptr;
    }

    void Walk(const Visit& visit) override
    {
        DBC* cursor;
        Check(Map(byName)->cursor(Map(byName), nullptr, &cursor, 0));
        DBT key{}, number{};
        while (cursor->get(cursor, &key, &number, DB_NEXT) == 0)
            visit(static_cast<const char*>(key.data), key.size,
                  NumberOf(static_cast<const std::uint8_t*>(number.data)));
        Check(cursor->close(cursor));
    }

private:
    static DB_ENV* OpenEnvironment(const std::string& folder)
    {
        Check(db_env_set_func_fsync([](int) { return 0; }));
        DB_ENV* environment;
        Check(db_env_create(&environment, 0));
        // Berkeley DB adds a quarter by itself.
        Check(environment->set_cachesize(environment, 0, 12 << 20, 1));
        Check(environment->open(environment, folder.c_str(), DB_CREATE | DB_PRIVATE | DB_INIT_MPOOL,
                                0644));
        return environment;
    }

    DB* Open(const std::string& path, std::uint32_t flags)
    {
        DB* file;
        Check(db_create(&file, m_environment, 0));
        Check(file->set_flags(file, flags));
        Check(
            file->open(file, nullptr, path.c_str(), nullptr, DB_BTREE, DB_CREATE | DB_EXCL, 0644));
        return file;
    }

    static void DeleteDuplicate(DB* map, DBT key, DBT number)
    {
        DBC* cursor;
        Check(map->cursor(map, nullptr, &cursor, 0));
        Check(cursor->get(cursor, &key, &number, DB_GET_BOTH));
        Check(cursor->del(cursor, 0));
        Check(cursor->close(cursor));
    }

    static DBT KeyOf(const Product& product, int kind)
    {
        const std::string_view text = Key(product, kind);
        return Value(text.data(), text.size());
    }

    DB*& Map(int kind) { return m_maps[std::size_t(kind)]; }

    DB_ENV* const m_environment;
    DB* const m_records;
    std::array<DB*, keyKinds> m_maps{};
    std::uint32_t m_last = 0;
    Record m_record;
};

} // namespace

ContenderPtr MakeBerkeleyDb(const std::string& folder)
{
    return std::make_unique<BerkeleyDb>(folder);
}
