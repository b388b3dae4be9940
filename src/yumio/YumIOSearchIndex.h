#pragma once

#include <QStringList>

#include <string_view>
#include <vector>

class YumIO;

namespace Package {
class Entry;
}

// The texts that search mode compares, for every entry of one catalogue, read once
// through the engine's detail getters and kept compactly: per field number, the items
// of consecutive entries as UTF-8, each item followed by a null, compressed a block of
// entries at a time; and the start of every entry's items in its field's text.
// Immutable once built, so that any thread may read it, each through its own Reader.
class YumIOSearchIndex final
{
    Q_DISABLE_COPY(YumIOSearchIndex)

public:
    // Fields in search order: packages and suites use all of them, groups the first
    // GroupFieldCount (name, required groups, default and optional meta-packages,
    // mandatory, default, optional and conditional packages).
    static constexpr int PackageFieldCount = 23;
    static constexpr int GroupFieldCount = 8;
    // The field of a package's files.
    static constexpr int FilesField = 21;
    // Entries are packed in blocks of 1 << BlockShift for the short fields; the long
    // fields' smaller blocks divide these.  A reader that takes one such run of entries
    // at a time unpacks every block once.
    static constexpr int BlockShift = 10;

    YumIOSearchIndex();
    ~YumIOSearchIndex();

    // The fields in the order a search is cheapest to try them: the long texts last.  A
    // row is listed when any field matches, whatever the order.
    static int fieldByCost(int position);
    // How many fields search mode compares for an entry of this kind (0: none).
    static int fieldCount(const Package::Entry& entry);
    // The texts of one field of an entry, as the getters give them; list fields give
    // one text per item.
    static QStringList fieldTexts(YumIO& engine, const Package::Entry& entry, int field);

    // Adds the next entry with its fields' texts (fieldCount(entry) lists).
    bool append(const Package::Entry* entry, const std::vector<QStringList>& fields);
    // Ends the building: compresses what is left and releases the building's buffers.
    // False when compression failed; the index is then unusable.
    bool finish();

    int count() const { return int(entries_.size()); }
    const Package::Entry* entry(int index) const { return entries_[size_t(index)]; }
    int fieldCountAt(int index) const { return fieldCounts_[size_t(index)]; }
    // Entries per block of one field.
    static int blockEntries(int field);
    // Where the items of an entry begin in its field's whole text; index up to count().
    quint32 start(int index, int field) const;
    // Bytes held, compressed texts and offsets together.
    quint64 memory() const;
    // The bytes the texts take uncompressed.
    quint64 textBytes() const;

    // Reads a finished index, one block per field unpacked at a time: reading entries in
    // ascending order unpacks each block once.  Given a text that every match contains,
    // it passes over the blocks that cannot hold it without unpacking them.  One per
    // thread.
    class Reader final
    {
        Q_DISABLE_COPY(Reader)

    public:
        explicit Reader(const YumIOSearchIndex& index, std::string_view needed = {});
        ~Reader();
        // The items of one field of an entry, each followed by a null; empty when there
        // are no items, when their block does not hold the needed text, or when it
        // cannot be unpacked.  field below fieldCountAt(index); valid until the next
        // call for the same field.
        std::string_view items(int index, int field);
        // The items of the entries first to last - 1, which lie in one block of the
        // field, as one text that begins at start(first, field); empty under the same
        // conditions as items().
        std::string_view span(int first, int last, int field);

    private:
        // The unpacked text of the block holding the index's entry, or null.
        const std::vector<char>* block(int index, int field);
        bool mayHold(int field, int block) const;

        const YumIOSearchIndex& index_;
        std::vector<quint32> grams_;
        struct Cache;
        std::vector<Cache> caches_;
        void* context_;
    };

private:
    struct Field;
    bool pack(Field& field);
    static void addGrams(Field& field);

    std::vector<const Package::Entry*> entries_;
    std::vector<quint8> fieldCounts_;
    std::vector<Field> fields_;
    void* context_ = nullptr;
};
