// The catalogue as the table sees it: entries, keys and their texts.

#include "yumio/YumIO.h"

#include "yumio/PackageEntry.h"

YumIO::EntryKey::EntryKey(bool group, const QString& name, const QString& biArch)
    : group(group)
    , name(name)
    , biArch(biArch)
{
}

bool YumIO::EntryKey::operator==(const EntryKey& other) const
{
    return group == other.group && name == other.name && biArch == other.biArch;
}

size_t qHash(const YumIO::EntryKey& key, size_t seed)
{
    Q_UNUSED(seed);
    // In unsigned 32-bit arithmetic, as the key's hash has always been computed.
    const quint32 name = quint32(qHash(key.name));
    const quint32 biArch = quint32(qHash(key.biArch));
    return size_t(quint32(2u * name + 4u * biArch + (key.group ? 1u : 0u)));
}

Package::Entry** YumIO::begin()
{
    Package::EntryList& list = clearing_ ? standby_ : entries_;
    return list.data();
}

Package::Entry** YumIO::end()
{
    Package::EntryList& list = clearing_ ? standby_ : entries_;
    return list.data() + list.size();
}

Package::Entry* YumIO::operator[](int index)
{
    if (clearing_)
        return standby_.value(0, nullptr);
    return entries_.value(index, nullptr);
}

QString YumIO::getName(const Package::Entry& entry) const
{
    return entry.name;
}

QString YumIO::getVerRel(const Package::Entry& entry) const
{
    return entry.verRel;
}

QString YumIO::getRepo(const Package::Entry& entry) const
{
    return entry.repo;
}

QString YumIO::getArch(const Package::Entry& entry) const
{
    return entry.arch;
}

QString YumIO::getSize(const Package::Entry& entry) const
{
    return entry.sizeText;
}

QString YumIO::getSummary(const Package::Entry& entry) const
{
    return entry.summary;
}

QString YumIO::getBuildTime(const Package::Entry& entry) const
{
    return entry.buildTimeText;
}

QString YumIO::getState(const Package::Entry& entry) const
{
    return Package::stateText(entry.state);
}

QString YumIO::getKind(const Package::Entry& entry) const
{
    return Package::kindText(entry.kind);
}
