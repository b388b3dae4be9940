#pragma once

#include <QStringList>

#include <string_view>
#include <vector>

class YumIO;

namespace Package {
class Entry;
}

// The texts that search mode compares, for every entry of one catalogue, read once
// through the engine's detail getters and kept compactly: one UTF-8 buffer per field
// number, each item of a field followed by a null, and the start of every entry's items
// in each buffer.  Immutable once built, so that matching may read it from any thread.
class YumIOSearchIndex final
{
    Q_DISABLE_COPY(YumIOSearchIndex)

public:
    // Fields in search order: packages and suites use all of them, groups the first
    // GroupFieldCount (name, required groups, default and optional meta-packages,
    // mandatory, default, optional and conditional packages).
    static constexpr int PackageFieldCount = 23;
    static constexpr int GroupFieldCount = 8;

    YumIOSearchIndex();
    ~YumIOSearchIndex();

    // How many fields search mode compares for an entry of this kind (0: none).
    static int fieldCount(const Package::Entry& entry);
    // The texts of one field of an entry, as the getters give them; list fields give
    // one text per item.
    static QStringList fieldTexts(YumIO& engine, const Package::Entry& entry, int field);

    // Adds the next entry with its fields' texts (fieldCount(entry) lists).
    void append(const Package::Entry* entry, const std::vector<QStringList>& fields);
    void squeeze();

    int count() const { return int(entries_.size()); }
    const Package::Entry* entry(int index) const { return entries_[size_t(index)]; }
    int fieldCountAt(int index) const { return fieldCounts_[size_t(index)]; }
    // The items of one field of an entry, each followed by a null; empty when there are
    // no items.  field below fieldCountAt(index).
    std::string_view items(int index, int field) const;
    // Bytes held, buffers and offsets together.
    quint64 memory() const;

private:
    std::vector<const Package::Entry*> entries_;
    std::vector<quint8> fieldCounts_;
    std::vector<char> bytes_[PackageFieldCount];
    // Per field, count() + 1 starts; entries without the field add none of its bytes.
    std::vector<quint32> starts_[PackageFieldCount];
};
