// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// LevelDB: one ordered map. The first letter of a key distinguishes the records, which are
// stored by number, and the four kinds of keys; a key that need not be unique is followed by
// its number. A product is one batch. No fsync, no compression, a filter that avoids useless
// reads of tables, a cache as large as ours.

#include "store/contender.h"

#include <cstring>
#include <leveldb/cache.h>
#include <leveldb/db.h>
#include <leveldb/filter_policy.h>
#include <leveldb/write_batch.h>

namespace
{

constexpr char recordPrefix = 'r';

void Check(const leveldb::Status& status)
{
    Require(status.ok(), status.ToString().c_str());
}

// Most significant byte first, so that the byte order is the numeric order.
std::string BytesOf(std::uint32_t number)
{
    std::string bytes;
    for (int shift = 24; shift >= 0; shift -= 8)
        bytes += char(number >> shift);
    return bytes;
}

std::uint32_t NumberOf(const leveldb::Slice& bytes)
{
    Require(bytes.size() == 4, "number size");
    std::uint32_t number = 0;
    for (std::size_t i = 0; i < 4; ++i)
        number = number << 8 | static_cast<unsigned char>(bytes[i]);
    return number;
}

class Leveldb : public Contender
{
public:
    explicit Leveldb(const std::string& folder)
        : m_cache(leveldb::NewLRUCache(15 << 20)), m_filter(leveldb::NewBloomFilterPolicy(10))
    {
        leveldb::Options options;
        options.create_if_missing = true;
        options.compression = leveldb::kNoCompression;
        options.block_cache = m_cache.get();
        options.filter_policy = m_filter.get();
        leveldb::DB* database;
        Check(leveldb::DB::Open(options, folder + "/products", &database));
        m_database.reset(database);
    }

    void Insert(const Product& product) override
    {
        Record record;
        MakeRecord(product, record);
        const std::string number = BytesOf(++m_last);
        leveldb::WriteBatch batch;
        batch.Put(recordPrefix + number, { reinterpret_cast<char*>(record), recordLength });
        for (int kind = 0; kind < keyKinds; ++kind)
            batch.Put(KeyText(product, kind, number), kind == byName ? number : "");
        Check(m_database->Write({}, &batch));
    }

    void Delete(const Product& product) override
    {
        const std::string number = BytesOf(Find(product.name));
        leveldb::WriteBatch batch;
        batch.Delete(recordPrefix + number);
        for (int kind = 0; kind < keyKinds; ++kind)
            batch.Delete(KeyText(product, kind, number));
        Check(m_database->Write({}, &batch));
    }

    std::uint32_t Find(const char* name) override
    {
        const std::string key = std::string(1, Prefix(byName)) + name;
        return m_database->Get({}, key, &m_value).ok() ? NumberOf(m_value) : 0;
    }

    const std::uint8_t* Fetch(const char* name) override
    {
        const std::uint32_t number = Find(name);
        if (number == 0 || !m_database->Get({}, recordPrefix + BytesOf(number), &m_value).ok())
            return nullptr;
        Require(m_value.size() == recordLength, "record size");
        return reinterpret_cast<const std::uint8_t*>(m_value.data());
    }

    void Walk(const Visit& visit) override
    {
        const std::unique_ptr<leveldb::Iterator> place(m_database->NewIterator({}));
        const char prefix = Prefix(byName);
        for (place->Seek({ &prefix, 1 }); place->Valid() && place->key()[0] == prefix;
             place->Next())
            visit(place->key().data() + 1, place->key().size() - 1, NumberOf(place->value()));
        Check(place->status());
    }

private:
    static char Prefix(int kind) { return char('a' + kind); }

    static std::string KeyText(const Product& product, int kind, const std::string& number)
    {
        std::string key(1, Prefix(kind));
        key.append(Key(product, kind));
        if (kind != byName)
            key.append(1, '\0').append(number);
        return key;
    }

    const std::unique_ptr<leveldb::Cache> m_cache;
    const std::unique_ptr<const leveldb::FilterPolicy> m_filter;
    std::unique_ptr<leveldb::DB> m_database;
    std::string m_value;
    std::uint32_t m_last = 0;
};

} // namespace

ContenderPtr MakeLeveldb(const std::string& folder)
{
    return std::make_unique<Leveldb>(folder);
}
