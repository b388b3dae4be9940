#include "yumio/YumIOSearchIndex.h"

#include "yumio/PackageEntry.h"
#include "yumio/YumIO.h"

#include <QStringList>

#include <lz4.h>
#include <lz4hc.h>
#include <zstd.h>

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

static_assert(Files == YumIOSearchIndex::FilesField);

// Entries per block, as a power of two: blocks of some tens of kilobytes compress well
// and unpack in a few tens of microseconds.  The long fields take fewer entries.
int blockShift(int field)
{
    return field == Description || field == Files || field == ChangeLog ? 6 : YumIOSearchIndex::BlockShift;
}

// Fast compression: the texts are packed once per catalogue, and unpacking speed does
// not depend on the level.
constexpr int packLevel = 1;

// Descriptions and change logs, which a search that matches nothing reads whole, take a
// codec that unpacks about four times as fast for a fifth more room.
bool unpacksFast(int field)
{
    return field == Description || field == ChangeLog;
}
constexpr int fastPackLevel = 3;

// Every block keeps a bitmap of the three-byte sequences in its text, so that a search
// can tell the blocks that cannot hold its text without unpacking them.  A bitmap is
// made with gramBits bits and halved while it stays sparse.
constexpr int gramHashBits = 14;
constexpr quint32 gramBits = 1u << gramHashBits;
constexpr quint32 leastGramBits = 512;

quint32 gramHash(uchar a, uchar b, uchar c)
{
    return ((quint32(a) << 16 | quint32(b) << 8 | c) * 2654435761u) >> (32 - gramHashBits);
}

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

struct YumIOSearchIndex::Field {
    int shift = 10;
    bool fast = false;
    // count() + 1 offsets in the field's whole text; entries without the field add none
    // of its bytes.
    std::vector<quint32> starts{0};
    // The texts of the entries not yet packed.
    std::vector<char> open;
    // The bytes of the texts packed so far.
    quint32 packedText = 0;
    std::vector<char> packed;
    // Blocks + 1 offsets in packed.
    std::vector<quint32> blockStarts{0};
    // Every block's bitmap of three-byte sequences, and blocks + 1 offsets in words.
    std::vector<quint64> grams;
    std::vector<quint32> gramStarts{0};
};

struct YumIOSearchIndex::Reader::Cache {
    int block = -1;
    std::vector<char> text;
    int checked = -1;
    bool mayHold = true;
};

YumIOSearchIndex::YumIOSearchIndex()
    : fields_(size_t(PackageFieldCount))
{
    for (int field = 0; field < PackageFieldCount; ++field) {
        fields_[size_t(field)].shift = blockShift(field);
        fields_[size_t(field)].fast = unpacksFast(field);
    }
}

YumIOSearchIndex::~YumIOSearchIndex()
{
    ZSTD_freeCCtx(static_cast<ZSTD_CCtx*>(context_));
}

int YumIOSearchIndex::fieldByCost(int position)
{
    static constexpr int order[PackageFieldCount] = {
        Name, VerRel, Repo, Arch, Size, Summary, Group, Vendor, BuildTime, InstallTime, BinaryRpm,
        SourceRpm, License, Packager, Url, Relocations, Provides, Requires, Conflicts, Obsoletes,
        Description, Files, ChangeLog};
    return order[position];
}

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

bool YumIOSearchIndex::append(const Package::Entry* entry, const std::vector<QStringList>& fields)
{
    entries_.push_back(entry);
    const int count = int(qMin(fields.size(), size_t(PackageFieldCount)));
    fieldCounts_.push_back(quint8(count));
    const int entries = this->count();
    for (int at = 0; at < PackageFieldCount; ++at) {
        Field& field = fields_[size_t(at)];
        if (at < count) {
            for (const QString& text : fields[size_t(at)])
                appendUtf8(field.open, text);
        }
        field.starts.push_back(field.packedText + quint32(field.open.size()));
        if ((entries & ((1 << field.shift) - 1)) == 0 && !pack(field))
            return false;
    }
    return true;
}

bool YumIOSearchIndex::pack(Field& field)
{
    if (!context_)
        context_ = ZSTD_createCCtx();
    if (!context_)
        return false;
    if (!field.open.empty()) {
        const size_t at = field.packed.size();
        size_t size = 0;
        if (field.fast) {
            const int bound = LZ4_compressBound(int(field.open.size()));
            field.packed.resize(at + size_t(bound));
            const int packed = LZ4_compress_HC(field.open.data(), field.packed.data() + at, int(field.open.size()),
                                               bound, fastPackLevel);
            if (packed <= 0)
                return false;
            size = size_t(packed);
        } else {
            field.packed.resize(at + ZSTD_compressBound(field.open.size()));
            size = ZSTD_compressCCtx(static_cast<ZSTD_CCtx*>(context_), field.packed.data() + at,
                                     field.packed.size() - at, field.open.data(), field.open.size(), packLevel);
            if (ZSTD_isError(size))
                return false;
        }
        field.packed.resize(at + size);
        field.packedText += quint32(field.open.size());
        addGrams(field);
        field.open.clear();
    }
    field.blockStarts.push_back(quint32(field.packed.size()));
    field.gramStarts.push_back(quint32(field.grams.size()));
    return true;
}

void YumIOSearchIndex::addGrams(Field& field)
{
    std::vector<quint64> bits(gramBits / 64);
    const uchar* text = reinterpret_cast<const uchar*>(field.open.data());
    for (size_t i = 2; i < field.open.size(); ++i) {
        const quint32 hash = gramHash(text[i - 2], text[i - 1], text[i]);
        bits[hash / 64] |= quint64(1) << (hash % 64);
    }
    // Halving keeps a sequence's bit at its hash modulo the new size.
    size_t words = bits.size();
    while (words * 64 > leastGramBits) {
        const size_t half = words / 2;
        int set = 0;
        for (size_t w = 0; w < half; ++w)
            set += qPopulationCount(bits[w] | bits[w + half]);
        if (set * 3 > int(half * 64))
            break;
        for (size_t w = 0; w < half; ++w)
            bits[w] |= bits[w + half];
        words = half;
    }
    field.grams.insert(field.grams.end(), bits.begin(), bits.begin() + qsizetype(words));
}

bool YumIOSearchIndex::finish()
{
    for (Field& field : fields_) {
        if (count() & ((1 << field.shift) - 1)) {
            if (!pack(field))
                return false;
        }
        std::vector<char>().swap(field.open);
        field.packed.shrink_to_fit();
        field.starts.shrink_to_fit();
        field.blockStarts.shrink_to_fit();
        field.grams.shrink_to_fit();
        field.gramStarts.shrink_to_fit();
    }
    ZSTD_freeCCtx(static_cast<ZSTD_CCtx*>(context_));
    context_ = nullptr;
    entries_.shrink_to_fit();
    fieldCounts_.shrink_to_fit();
    return true;
}

quint64 YumIOSearchIndex::memory() const
{
    quint64 bytes = entries_.capacity() * sizeof(const Package::Entry*) + fieldCounts_.capacity();
    for (const Field& field : fields_) {
        bytes += field.open.capacity() + field.packed.capacity()
            + (field.starts.capacity() + field.blockStarts.capacity() + field.gramStarts.capacity()) * sizeof(quint32)
            + field.grams.capacity() * sizeof(quint64);
    }
    return bytes;
}

quint64 YumIOSearchIndex::textBytes() const
{
    quint64 bytes = 0;
    for (const Field& field : fields_)
        bytes += field.starts.back();
    return bytes;
}

YumIOSearchIndex::Reader::Reader(const YumIOSearchIndex& index, std::string_view needed)
    : index_(index)
    , caches_(size_t(PackageFieldCount))
    , context_(ZSTD_createDCtx())
{
    const uchar* text = reinterpret_cast<const uchar*>(needed.data());
    for (size_t i = 2; i < needed.size(); ++i)
        grams_.push_back(gramHash(text[i - 2], text[i - 1], text[i]));
}

bool YumIOSearchIndex::Reader::mayHold(int at, int block) const
{
    const Field& field = index_.fields_[size_t(at)];
    const quint64* bits = field.grams.data() + field.gramStarts[size_t(block)];
    const quint32 mask = (field.gramStarts[size_t(block) + 1] - field.gramStarts[size_t(block)]) * 64 - 1;
    for (const quint32 hash : grams_) {
        const quint32 bit = hash & mask;
        if (!(bits[bit / 64] & (quint64(1) << (bit % 64))))
            return false;
    }
    return true;
}

YumIOSearchIndex::Reader::~Reader()
{
    ZSTD_freeDCtx(static_cast<ZSTD_DCtx*>(context_));
}

const std::vector<char>* YumIOSearchIndex::Reader::block(int index, int at)
{
    const Field& field = index_.fields_[size_t(at)];
    const int block = index >> field.shift;
    Cache& cache = caches_[size_t(at)];
    if (cache.checked != block) {
        cache.checked = block;
        cache.mayHold = grams_.empty() || mayHold(at, block);
    }
    if (!cache.mayHold)
        return nullptr;
    if (cache.block != block) {
        cache.block = -1;
        const quint32 blockBegin = field.starts[size_t(block) << field.shift];
        const size_t last = qMin(size_t(block + 1) << field.shift, size_t(index_.count()));
        cache.text.resize(field.starts[last] - blockBegin);
        const quint32 from = field.blockStarts[size_t(block)];
        const quint32 packed = field.blockStarts[size_t(block) + 1] - from;
        bool unpacked = false;
        if (field.fast) {
            unpacked = LZ4_decompress_safe(field.packed.data() + from, cache.text.data(), int(packed),
                                           int(cache.text.size()))
                == int(cache.text.size());
        } else if (context_) {
            const size_t size = ZSTD_decompressDCtx(static_cast<ZSTD_DCtx*>(context_), cache.text.data(),
                                                    cache.text.size(), field.packed.data() + from, packed);
            unpacked = !ZSTD_isError(size) && size == cache.text.size();
        }
        if (!unpacked)
            return nullptr;
        cache.block = block;
    }
    return &cache.text;
}

std::string_view YumIOSearchIndex::Reader::items(int index, int at)
{
    return span(index, index + 1, at);
}

std::string_view YumIOSearchIndex::Reader::span(int first, int last, int at)
{
    const Field& field = index_.fields_[size_t(at)];
    const quint32 begin = field.starts[size_t(first)];
    const quint32 end = field.starts[size_t(last)];
    if (begin == end)
        return std::string_view();
    const std::vector<char>* text = block(first, at);
    if (!text)
        return std::string_view();
    const quint32 blockBegin = field.starts[size_t(first >> field.shift) << field.shift];
    return std::string_view(text->data() + (begin - blockBegin), end - begin);
}

int YumIOSearchIndex::blockEntries(int field)
{
    return 1 << blockShift(field);
}

quint32 YumIOSearchIndex::start(int index, int field) const
{
    return fields_[size_t(field)].starts[size_t(index)];
}
