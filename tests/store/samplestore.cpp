// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Writes files of every kind into a directory and prints their content as JSON, for
// comparison with an independent reader. The small files are those that
// docs/file-formats.md shows byte by byte.

#include "store/cnote.h"
#include "store/datafile.h"
#include "store/indexfile.h"
#include "store/pagecache.h"
#include "tests/store/storetest.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>

using namespace Agent;

namespace
{

// Ends the program if something cannot be written.
void Demand(bool done, const char* what)
{
    if (done)
        return;
    std::fprintf(stderr, "samplestore: %s failed, error %d\n", what, GetAccessError());
    std::exit(1);
}

QString Hex(const std::string& bytes)
{
    return QString::fromLatin1(QByteArray::fromStdString(bytes).toHex());
}

class Samples
{
public:
    Samples(const QString& folder, Random random) : m_folder(folder), m_random(random) { }

    QJsonObject writeAll()
    {
        writeExamples();
        writeData("long.dat", 2012, 400, 150);
        writeData("short.dat", 12, 300, 299);
        for (const int keyLength : { 9, 40, 150 })
            for (const bool duplicates : { false, true })
                writeDeepIndex(keyLength, duplicates);
        writeFullWidePage();
        writeNotes("many", 1000);
        return { { "data", m_data }, { "indexes", m_indexes }, { "notes", m_notes } };
    }

private:
    std::string path(const QString& name) const { return (m_folder + '/' + name).toStdString(); }

    void writeExamples()
    {
        writeExampleData();
        writeIndex("leaf.idx", 7, { { "pear", 1 }, { "Apple", 2 }, { "fig", 3 } }, 0);
        std::vector<IndexEntry> entries;
        for (std::uint32_t i = 1; i <= 51; ++i)
            entries.push_back({ QString::asprintf("k%02u", i).toStdString(), 100 + i });
        writeIndex("branch.idx", 7, entries, 0);
        writeIndex("shrunk.idx", 7, entries, 1);
        writeExampleNotes();
        writeSevens();
    }

    // ---- data files ----

    void writeExampleData()
    {
        DataFile* const file = MakeDataFile(0, path("example.dat").c_str(), 32);
        Demand(file, "making a data file");
        QJsonObject live;
        for (const char* text : { "apple", "pear", "plum", "fig" })
            add(file, std::string(4, '\0') + text, &live);
        erase(file, 2, &live);
        erase(file, 4, &live);
        finish(file, "example.dat", 32, live);
    }

    void writeData(const char* name, int recordLength, int adds, int deletes)
    {
        DataFile* const file = MakeDataFile(0, path(name).c_str(), std::int16_t(recordLength));
        Demand(file, "making a data file");
        QJsonObject live;
        for (int i = 0; i < adds; ++i)
            add(file, std::string(4, '\0') + randomText(recordLength - 4), &live);
        for (int i = 0; i < deletes; ++i)
            erase(file, pick(live), &live);
        for (int i = 0; i < deletes / 3; ++i)
            add(file, std::string(4, '\0') + randomText(recordLength - 4), &live);
        finish(file, name, recordLength, live);
    }

    void add(DataFile* file, std::string record, QJsonObject* live)
    {
        record.resize(std::size_t(file->recordLength));
        std::uint32_t number;
        Demand(AddRec(file, &number, record.data()) == 0, "adding a record");
        live->insert(QString::number(number), Hex(record));
    }

    void erase(DataFile* file, std::uint32_t number, QJsonObject* live)
    {
        Demand(DeleteRec(file, number) == 0, "deleting a record");
        live->remove(QString::number(number));
    }

    // The deleted records are printed in the order in which they would be reused.
    void finish(DataFile* file, const QString& name, int recordLength, const QJsonObject& live)
    {
        const std::uint32_t count = FileLen(file);
        QJsonObject sample{ { "recordLength", recordLength }, { "live", live } };
        sample["count"] = int(count);
        m_data[name] = sample;
        Demand(CloseDataFile(file) == 0, "closing a data file");
    }

    std::uint32_t pick(const QJsonObject& live)
    {
        return live.keys()[int(m_random.below(live.size()))].toUInt();
    }

    std::string randomText(int longest)
    {
        std::string text(m_random.below(longest + 1), ' ');
        for (char& c : text)
            c = char(m_random.below(256));
        return text;
    }

    // ---- indexes ----

    // Adds all entries, and deletes the first ones again.
    void writeIndex(const QString& name, int keyLength, const std::vector<IndexEntry>& entries,
                    std::size_t deletes, bool duplicates = false)
    {
        IndexFile* index = MakeIndex(0, path(name).c_str(), std::int16_t(keyLength), duplicates);
        Demand(index, "making an index");
        for (const IndexEntry& entry : entries)
            AddKey(index, &entry.record, buffer(entry.key)); // equal keys are refused
        for (std::size_t i = 0; i < deletes; ++i) {
            std::uint32_t record = entries[i].record;
            DeleteKey(index, &record, buffer(entries[i].key));
        }
        Demand(CloseIndex(index) == 0, "closing an index");
        tellIndex(name, keyLength, duplicates);
    }

    // Prints the content of the index as the store reads it.
    void tellIndex(const QString& name, int keyLength, bool duplicates)
    {
        IndexFile* index = OpenIndex(0, path(name).c_str(), std::int16_t(keyLength), duplicates);
        Demand(index, "opening an index");
        QJsonArray items;
        char key[longestKey + 1];
        std::uint32_t record;
        int deepest = 0;
        while (NextKey(index, &record, key) == 0) {
            items.append(QJsonArray{ Hex(key), int(record) });
            deepest = std::max(deepest, int(index->depth));
        }
        Demand(GetAccessError() == taNoError, "walking an index");
        m_indexes[name] = QJsonObject{ { "keyLength", keyLength },
                                       { "items", items },
                                       { "depth", deepest },
                                       { "freePages", index->dataFile->header.deletedCount },
                                       { "count", int(FileLen(index->dataFile)) } };
        Demand(CloseIndex(index) == 0, "closing an index");
    }

    // Keys from 1 to 102 characters, so that a wide page keeps all of them.
    void writeDeepIndex(int keyLength, bool duplicates)
    {
        std::vector<IndexEntry> entries;
        for (std::uint32_t i = 0; i < 4000; ++i)
            entries.push_back({ randomKey(std::min(keyLength, 102)), i + 1 });
        writeIndex(QString("deep-%1%2.idx").arg(keyLength).arg(duplicates ? "-equal" : ""),
                   keyLength, entries, 900, duplicates);
    }

    std::string randomKey(int longest)
    {
        std::string key(m_random.below(longest) + 1, ' ');
        for (char& c : key)
            c = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789 _-\xc3\xa4"
                [m_random.below(67)];
        return key;
    }

    // 50 keys of 150 characters; the last one is cut.
    void writeFullWidePage()
    {
        std::vector<IndexEntry> entries;
        for (std::uint32_t i = 10; i < 60; ++i)
            entries.push_back({ std::to_string(i) + std::string(148, 'x'), i });
        writeIndex("full-150.idx", 150, entries, 0);
    }

    char* buffer(const std::string& key)
    {
        std::strcpy(m_key, key.c_str());
        return m_key;
    }

    // ---- notes ----

    using Texts = std::map<std::int32_t, std::string>;

    void writeExampleNotes()
    {
        CNote notes;
        Demand(notes.Create(path("example").c_str()), "making notes");
        Texts texts;
        save(notes, "first", &texts);
        save(notes, "the second note", &texts);
        save(notes, "third", &texts);
        erase(notes, 13, &texts);
        save(notes, "new", &texts);
        save(notes, "abc", &texts);
        erase(notes, 36, &texts);
        tellNotes("example", texts);
    }

    // Makes remainders of 7 bytes: before a block in use, which is then freed; before a
    // free block; and at the end of the file, where a text is then added.
    void writeSevens()
    {
        const std::string twenty(20, 'A');
        const std::string thirteen = "thirteen char";
        for (const char* name : { "seven-used", "seven-freed", "seven-free", "seven-end" }) {
            CNote notes;
            Demand(notes.Create(path(name).c_str()), "making notes");
            Texts texts;
            save(notes, twenty, &texts);
            if (std::strcmp(name, "seven-end") != 0) {
                save(notes, std::string(30, 'B'), &texts);
                save(notes, "CC", &texts);
            }
            erase(notes, 0, &texts);
            if (std::strcmp(name, "seven-free") == 0)
                erase(notes, 28, &texts);
            save(notes, thirteen, &texts);
            if (std::strcmp(name, "seven-freed") == 0)
                erase(notes, 28, &texts);
            if (std::strcmp(name, "seven-end") == 0)
                save(notes, "next", &texts);
            tellNotes(name, texts);
        }
    }

    // The first text stays, so that the blocks are not joined again.
    void writeNotes(const char* name, int operations)
    {
        CNote notes;
        Demand(notes.Create(path(name).c_str()), "making notes");
        Texts texts;
        save(notes, std::string(70000, 'L'), &texts);
        for (int i = 0; i < operations; ++i) {
            const int others = int(texts.size()) - 1;
            if (others > 0 && m_random.below(100) < (i < operations / 2 ? 20u : 60u))
                erase(notes, std::next(texts.begin(), m_random.below(others) + 1)->first, &texts);
            else
                trySave(notes, randomText(60), &texts);
        }
        tellNotes(name, texts);
    }

    // A text whose best block is hidden behind one of 7 bytes is not stored.
    bool trySave(CNote& notes, const std::string& text, Texts* texts)
    {
        const std::int32_t offset = notes.SaveNote(text.data(), std::int32_t(text.size()));
        if (offset >= 0)
            (*texts)[offset] = text;
        return offset >= 0;
    }

    void save(CNote& notes, const std::string& text, Texts* texts)
    {
        Demand(trySave(notes, text, texts), "saving a note");
    }

    void erase(CNote& notes, std::int32_t offset, Texts* texts)
    {
        Demand(notes.DeleteNote(offset) == 0, "deleting a note");
        texts->erase(offset);
    }

    void tellNotes(const QString& name, const Texts& texts)
    {
        QJsonObject told;
        for (const auto& [offset, text] : texts)
            told[QString::number(offset)] = Hex(text);
        m_notes[name] = told;
    }

    const QString m_folder;
    Random m_random;
    char m_key[longestKey + 256] = {};
    QJsonObject m_data, m_indexes, m_notes;
};

} // namespace

int main(int argc, char** argv)
{
    if (argc != 2) {
        std::fprintf(stderr, "Usage: samplestore DIRECTORY\n");
        return 2;
    }
    Demand(InitIndex() == 0, "making the page cache");
    Samples samples(QString::fromLocal8Bit(argv[1]), Random::announced());
    std::puts(QJsonDocument(samples.writeAll()).toJson(QJsonDocument::Compact).constData());
    UnInitIndex();
    return 0;
}
