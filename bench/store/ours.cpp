// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Our record store: a data file and four indexes. Index pages are written when they leave
// the cache and at Commit, as in the library itself.

#include "store/contender.h"

#include "db/heldfiles.h"
#include "store/indexpage.h"
#include "store/ownfiles.h"

#include <array>
#include <cstring>
#include <fcntl.h>
#include <unistd.h>

using namespace Agent;

namespace
{

class Ours : public Contender
{
public:
    explicit Ours(const std::string& folder, StoreFiles* files)
    {
        Require(InitIndex() == 0, "InitIndex");
        m_data = MakeOwnDataFile(files, (folder + "/products.fil").c_str(), recordLength);
        Require(m_data, "MakeDataFile");
        for (int kind = 0; kind < keyKinds; ++kind) {
            const std::string path = folder + "/products.k" + std::to_string(kind + 1);
            Index(kind) = MakeOwnIndex(files, path.c_str(), productKeyLength, kind != byName);
            Require(Index(kind), "MakeIndex");
        }
    }

    ~Ours() override
    {
        for (int kind = 0; kind < keyKinds; ++kind)
            CloseIndex(Index(kind));
        CloseDataFile(m_data);
        UnInitIndex();
    }

    void Insert(const Product& product) override
    {
        MakeRecord(product, m_record);
        std::uint32_t number;
        Require(AddRec(m_data, &number, m_record) == 0, "AddRec");
        for (int kind = 0; kind < keyKinds; ++kind)
            Require(AddKey(Index(kind), &number, SetKeyText(product, kind)) == 0, "AddKey");
    }

    void Delete(const Product& product) override
    {
        std::uint32_t number = Find(product.name);
        Require(number != 0, "FindKey");
        for (int kind = 0; kind < keyKinds; ++kind)
            Require(DeleteKey(Index(kind), &number, SetKeyText(product, kind)) == 0, "DeleteKey");
        Require(DeleteRec(m_data, number) == 0, "DeleteRec");
    }

    void Commit() override
    {
        for (int kind = 0; kind < keyKinds; ++kind)
            Require(TaCloseIndex(Index(kind)) == 0, "TaCloseIndex");
    }

    std::uint32_t Find(const char* name) override
    {
        std::uint32_t number;
        std::strcpy(m_key, name);
        return FindKey(Index(byName), &number, m_key) == 0 ? number : 0;
    }

    const std::uint8_t* Fetch(const char* name) override
    {
        const std::uint32_t number = Find(name);
        return number != 0 && GetRec(m_data, number, m_record) == 0 ? m_record : nullptr;
    }

    void Walk(const Visit& visit) override
    {
        std::uint32_t number;
        ClearKey(Index(byName));
        while (NextKey(Index(byName), &number, m_key) == 0)
            visit(m_key, std::strlen(m_key), number);
    }

private:
    IndexFile*& Index(int kind) { return m_indexes[std::size_t(kind)]; }

    char* SetKeyText(const Product& product, int kind)
    {
        return std::strcpy(m_key, Key(product, kind).data());
    }

    DataFile* m_data;
    std::array<IndexFile*, keyKinds> m_indexes{};
    char m_key[longestKey + 2];
    Record m_record;
};

// The same with files that stay open between transfers, as in the library while it fills a
// new catalog, which no other process knows yet.
struct HeldFolder {
    explicit HeldFolder(const std::string& folder)
        : descriptor(open(folder.c_str(), O_RDONLY | O_DIRECTORY)),
          files(MachineFiles(), descriptor)
    {
    }
    ~HeldFolder()
    {
        files.CloseAll();
        close(descriptor);
    }

    const int descriptor;
    HeldFiles files;
};

class OursHeld : private HeldFolder, public Ours
{
public:
    explicit OursHeld(const std::string& folder) : HeldFolder(folder), Ours(folder, &files) { }

    void Commit() override
    {
        Ours::Commit();
        files.CloseAll();
        Require(files.NothingFailed(), "the files");
    }
};

} // namespace

ContenderPtr MakeOursOn(const std::string& folder, StoreFiles& files)
{
    return std::make_unique<Ours>(folder, &files);
}

ContenderPtr MakeOurs(const std::string& folder)
{
    return MakeOursOn(folder, MachineFiles());
}

ContenderPtr MakeOursHeld(const std::string& folder)
{
    return std::make_unique<OursHeld>(folder);
}
