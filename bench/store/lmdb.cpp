// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// LMDB: one map from numbers to records and four from keys to numbers; those of keys that
// need not be unique have sorted duplicates. No fsync, no lock file, a writable map; a phase
// is one transaction.

#include "store/contender.h"

#include <array>
#include <cstring>
#include <lmdb.h>

namespace
{

// The size that LMDB requires for integer keys.
using Number = unsigned int;

template <typename Type> MDB_val Value(Type& value)
{
    return { sizeof value, &value };
}

MDB_val Value(std::string_view text)
{
    return { text.size(), const_cast<char*>(text.data()) };
}

void Check(int result)
{
    Require(result == MDB_SUCCESS, mdb_strerror(result));
}

class Lmdb : public Contender
{
public:
    explicit Lmdb(const std::string& folder)
    {
        Check(mdb_env_create(&m_environment));
        Check(mdb_env_set_maxdbs(m_environment, 1 + keyKinds));
        Check(mdb_env_set_mapsize(m_environment, std::size_t(16) << 30));
        const unsigned flags = MDB_NOSYNC | MDB_NOMETASYNC | MDB_WRITEMAP | MDB_NOLOCK
            | MDB_NORDAHEAD | MDB_NOSUBDIR;
        Check(mdb_env_open(m_environment, (folder + "/products.mdb").c_str(), flags, 0644));
        Write();
        Check(mdb_dbi_open(m_transaction, "records", MDB_CREATE | MDB_INTEGERKEY, &m_records));
        for (int kind = 0; kind < keyKinds; ++kind) {
            const unsigned duplicates = MDB_DUPSORT | MDB_DUPFIXED | MDB_INTEGERDUP;
            Check(mdb_dbi_open(m_transaction, std::to_string(kind).c_str(),
                               MDB_CREATE | (kind == byName ? 0 : duplicates), &Map(kind)));
        }
        Commit();
    }

    ~Lmdb() override
    {
        Commit();
        mdb_env_close(m_environment);
    }

    void Insert(const Product& product) override
    {
        Write();
        MDB_val number = Value(++m_last);
        MDB_val record{ recordLength, nullptr };
        Check(mdb_put(m_transaction, m_records, &number, &record, MDB_RESERVE | MDB_APPEND));
        MakeRecord(product, static_cast<std::uint8_t*>(record.mv_data));
        for (int kind = 0; kind < keyKinds; ++kind) {
            MDB_val key = Value(Key(product, kind));
            Check(mdb_put(m_transaction, Map(kind), &key, &number,
                          kind == byName ? MDB_NOOVERWRITE : MDB_NODUPDATA));
        }
    }

    void Delete(const Product& product) override
    {
        Write();
        Number found = Get(product.name);
        Require(found != 0, "mdb_get");
        MDB_val number = Value(found);
        for (int kind = 0; kind < keyKinds; ++kind) {
            MDB_val key = Value(Key(product, kind));
            Check(mdb_del(m_transaction, Map(kind), &key, kind == byName ? nullptr : &number));
        }
        Check(mdb_del(m_transaction, m_records, &number, nullptr));
    }

    void Commit() override
    {
        if (m_transaction)
            Check(mdb_txn_commit(m_transaction));
        m_transaction = nullptr;
    }

    std::uint32_t Find(const char* name) override
    {
        Read();
        return Get(name);
    }

    const std::uint8_t* Fetch(const char* name) override
    {
        Read();
        Number found = Get(name);
        MDB_val number = Value(found);
        MDB_val record;
        if (found == 0 || mdb_get(m_transaction, m_records, &number, &record) != MDB_SUCCESS)
            return nullptr;
        Require(record.mv_size == recordLength, "record size");
        return static_cast<const std::uint8_t*>(record.mv_data);
    }

    void Walk(const Visit& visit) override
    {
        Read();
        MDB_cursor* cursor;
        Check(mdb_cursor_open(m_transaction, Map(byName), &cursor));
        MDB_val key, number;
        while (mdb_cursor_get(cursor, &key, &number, MDB_NEXT) == MDB_SUCCESS)
            visit(static_cast<const char*>(key.mv_data), key.mv_size, NumberOf(number));
        mdb_cursor_close(cursor);
    }

private:
    MDB_dbi& Map(int kind) { return m_maps[std::size_t(kind)]; }

    // Begin the transaction that a phase needs, unless it is already open.
    void Write() { Begin(0); }
    void Read() { Begin(MDB_RDONLY); }
    void Begin(unsigned flags)
    {
        if (!m_transaction)
            Check(mdb_txn_begin(m_environment, nullptr, flags, &m_transaction));
    }

    static Number NumberOf(const MDB_val& value)
    {
        Number number;
        Require(value.mv_size == sizeof number, "number size");
        std::memcpy(&number, value.mv_data, sizeof number);
        return number;
    }

    Number Get(const char* name)
    {
        MDB_val key = Value(std::string_view(name));
        MDB_val number;
        return mdb_get(m_transaction, Map(byName), &key, &number) == MDB_SUCCESS ? NumberOf(number)
                                                                                 : 0;
    }

    MDB_env* m_environment = nullptr;
    MDB_txn* m_transaction = nullptr;
    MDB_dbi m_records = 0;
    std::array<MDB_dbi, keyKinds> m_maps{};
    Number m_last = 0;
};

} // namespace

ContenderPtr MakeLmdb(const std::string& folder)
{
    return std::make_unique<Lmdb>(folder);
}
