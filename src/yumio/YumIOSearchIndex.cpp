#include "yumio/YumIOSearchIndex.h"

#include "yumio/PackageEntry.h"
#include "yumio/YumIO.h"

#include <QStringList>

namespace {

enum GroupField {
    GroupName, RequiredGroups, DefaultMetaPkgs, OptionalMetaPkgs, MandatoryPkgs, DefaultPkgs,
    OptionalPkgs, ConditionalPkgs
};

enum PackageField {
    Name, VerRel, Repo, Arch, Size, Summary, Description, Group, Vendor, BuildTime,
    InstallTime, BinaryRpm, SourceRpm, License, Packager, Url, Relocations, Provides,
    Requires, Conflicts, Obsoletes, Files, ChangeLog
};

void appendUtf8(std::vector<char>& bytes, const QString& text)
{
    const QChar* chars = text.constData();
    const qsizetype size = text.size();
    qsizetype i = 0;
    while (i < size && chars[i].unicode() < 0x80 && chars[i].unicode() != 0)
        ++i;
    if (i == size) {
        for (qsizetype j = 0; j < size; ++j)
            bytes.push_back(char(chars[j].unicode()));
    } else {
        const QByteArray utf8 = text.toUtf8();
        // A matcher reads a text only up to its first null, as it would the text alone.
        const qsizetype end = utf8.indexOf('\0');
        bytes.insert(bytes.end(), utf8.constData(), utf8.constData() + (end < 0 ? utf8.size() : end));
    }
    bytes.push_back('\0');
}

} // namespace

YumIOSearchIndex::YumIOSearchIndex()
{
    for (std::vector<quint32>& starts : starts_)
        starts.push_back(0);
}

YumIOSearchIndex::~YumIOSearchIndex() = default;

int YumIOSearchIndex::fieldCount(const Package::Entry& entry)
{
    switch (entry.kind) {
    case Package::Group:
        return GroupFieldCount;
    case Package::Suite:
    case Package::Ordinary:
        return PackageFieldCount;
    default:
        return 0;
    }
}

QStringList YumIOSearchIndex::fieldTexts(YumIO& y, const Package::Entry& entry, int field)
{
    if (entry.kind == Package::Group) {
        switch (field) {
        case GroupName: return {y.getName(entry)};
        case RequiredGroups: return y.getRequiredGroups(entry);
        case DefaultMetaPkgs: return y.getDefaultMetaPkgs(entry);
        case OptionalMetaPkgs: return y.getOptionalMetaPkgs(entry);
        case MandatoryPkgs: return y.getMandatoryPkgs(entry);
        case DefaultPkgs: return y.getDefaultPkgs(entry);
        case OptionalPkgs: return y.getOptionalPkgs(entry);
        case ConditionalPkgs: return y.getConditionalPkgs(entry);
        default: return {};
        }
    }
    switch (field) {
    case Name: return {y.getName(entry)};
    case VerRel: return {y.getVerRel(entry)};
    case Repo: return {y.getRepo(entry)};
    case Arch: return {y.getArch(entry)};
    case Size: return {y.getSize(entry)};
    case Summary: return {y.getSummary(entry)};
    case Description: return {y.getDescription(entry)};
    case Group: return {y.getGroup(entry)};
    case Vendor: return {y.getVendor(entry)};
    case BuildTime: return {y.getBuildTime(entry)};
    case InstallTime: return {y.getInstallTime(entry)};
    case BinaryRpm: return {y.getBinaryRpm(entry)};
    case SourceRpm: return {y.getSourceRpm(entry)};
    case License: return {y.getLicense(entry)};
    case Packager: return {y.getPackager(entry)};
    case Url: return {y.getUrl(entry)};
    case Relocations: return y.getRelocations(entry);
    case Provides: return y.getProvides(entry);
    case Requires: return y.getRequires(entry);
    case Conflicts: return y.getConflicts(entry);
    case Obsoletes: return y.getObsoletes(entry);
    case Files: return y.getFiles(entry);
    case ChangeLog: return {y.getChangeLog(entry)};
    default: return {};
    }
}

void YumIOSearchIndex::append(const Package::Entry* entry, const std::vector<QStringList>& fields)
{
    entries_.push_back(entry);
    const int count = int(qMin(fields.size(), size_t(PackageFieldCount)));
    fieldCounts_.push_back(quint8(count));
    for (int field = 0; field < PackageFieldCount; ++field) {
        std::vector<char>& bytes = bytes_[field];
        if (field < count) {
            for (const QString& text : fields[size_t(field)])
                appendUtf8(bytes, text);
        }
        starts_[field].push_back(quint32(bytes.size()));
    }
}

void YumIOSearchIndex::squeeze()
{
    for (int field = 0; field < PackageFieldCount; ++field) {
        bytes_[field].shrink_to_fit();
        starts_[field].shrink_to_fit();
    }
    entries_.shrink_to_fit();
    fieldCounts_.shrink_to_fit();
}

std::string_view YumIOSearchIndex::items(int index, int field) const
{
    const std::vector<quint32>& starts = starts_[field];
    const quint32 begin = starts[size_t(index)];
    return std::string_view(bytes_[field].data() + begin, starts[size_t(index) + 1] - begin);
}

quint64 YumIOSearchIndex::memory() const
{
    quint64 bytes = entries_.capacity() * sizeof(const Package::Entry*) + fieldCounts_.capacity();
    for (int field = 0; field < PackageFieldCount; ++field)
        bytes += bytes_[field].capacity() + starts_[field].capacity() * sizeof(quint32);
    return bytes;
}
