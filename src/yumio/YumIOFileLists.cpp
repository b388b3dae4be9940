#include "yumio/YumIOFileLists.h"

#include <QFile>
#include <QString>
#include <QXmlStreamReader>

#include <algorithm>
#include <functional>
#include <memory>

#include <zlib.h>
#include <zstd.h>

namespace {

constexpr qint64 chunkBytes = 1 << 20;

// Unpacks the file a chunk at a time into sink; false on a read or format error.
using Sink = std::function<bool(const char* data, size_t size)>;

bool readGzip(QFile& file, const Sink& sink)
{
    z_stream stream{};
    // 16: a gzip header and trailer around the deflate data.
    if (inflateInit2(&stream, 16 + MAX_WBITS) != Z_OK)
        return false;
    const std::unique_ptr<z_stream, int (*)(z_stream*)> guard(&stream, inflateEnd);
    QByteArray in;
    QByteArray out(chunkBytes, Qt::Uninitialized);
    int status = Z_OK;
    while (status != Z_STREAM_END) {
        if (stream.avail_in == 0) {
            in = file.read(chunkBytes);
            if (in.isEmpty())
                return false;
            stream.next_in = reinterpret_cast<Bytef*>(in.data());
            stream.avail_in = uInt(in.size());
        }
        stream.next_out = reinterpret_cast<Bytef*>(out.data());
        stream.avail_out = uInt(out.size());
        status = inflate(&stream, Z_NO_FLUSH);
        if (status != Z_OK && status != Z_STREAM_END)
            return false;
        if (!sink(out.constData(), size_t(out.size()) - stream.avail_out))
            return false;
    }
    return true;
}

bool readZstd(QFile& file, const Sink& sink)
{
    const std::unique_ptr<ZSTD_DStream, size_t (*)(ZSTD_DStream*)> stream(ZSTD_createDStream(), ZSTD_freeDStream);
    if (!stream || ZSTD_isError(ZSTD_initDStream(stream.get())))
        return false;
    QByteArray out(chunkBytes, Qt::Uninitialized);
    size_t last = 1;
    for (;;) {
        const QByteArray in = file.read(chunkBytes);
        if (in.isEmpty())
            return last == 0;
        ZSTD_inBuffer input{in.constData(), size_t(in.size()), 0};
        while (input.pos < input.size) {
            ZSTD_outBuffer output{out.data(), size_t(out.size()), 0};
            last = ZSTD_decompressStream(stream.get(), &output, &input);
            if (ZSTD_isError(last) || !sink(out.constData(), output.pos))
                return false;
        }
    }
}

bool readPlain(QFile& file, const Sink& sink)
{
    for (;;) {
        const QByteArray in = file.read(chunkBytes);
        if (in.isEmpty())
            return file.error() == QFileDevice::NoError;
        if (!sink(in.constData(), size_t(in.size())))
            return false;
    }
}

} // namespace

bool YumIOFileLists::read(const QString& path, const QSet<QByteArray>& wanted)
{
    text_.clear();
    packages_.clear();
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return false;
    const QByteArray magic = file.peek(4);

    QXmlStreamReader xml;
    bool want = false;
    bool inFile = false;
    bool ended = false;
    const auto append = [this](const QByteArray& bytes) { text_.insert(text_.end(), bytes.begin(), bytes.end()); };
    const auto parse = [&](const char* data, size_t size) {
        xml.addData(QByteArray(data, qsizetype(size)));
        for (;;) {
            switch (xml.readNext()) {
            case QXmlStreamReader::StartElement:
                if (xml.name() == QLatin1String("package")) {
                    const QByteArray checksum = xml.attributes().value(QLatin1String("pkgid")).toLatin1();
                    want = wanted.contains(checksum);
                    if (want) {
                        packages_.push_back({text_.size(), size_t(checksum.size()), 0, 0});
                        append(checksum);
                        packages_.back().files = text_.size();
                    }
                } else if (want && xml.name() == QLatin1String("file")) {
                    inFile = true;
                }
                break;
            case QXmlStreamReader::Characters:
                if (inFile)
                    append(xml.text().toUtf8());
                break;
            case QXmlStreamReader::EndElement:
                if (inFile && xml.name() == QLatin1String("file")) {
                    inFile = false;
                    text_.push_back('\0');
                } else if (want && xml.name() == QLatin1String("package")) {
                    want = false;
                    packages_.back().filesSize = text_.size() - packages_.back().files;
                }
                break;
            case QXmlStreamReader::EndDocument:
                ended = true;
                return true;
            case QXmlStreamReader::Invalid:
                // Out of data: the next chunk goes on where this one ended.
                return xml.error() == QXmlStreamReader::PrematureEndOfDocumentError;
            default:
                break;
            }
        }
    };
    bool read = false;
    if (magic.startsWith("\x1f\x8b"))
        read = readGzip(file, parse);
    else if (magic == QByteArray("\x28\xb5\x2f\xfd", 4))
        read = readZstd(file, parse);
    else if (magic.startsWith('<'))
        read = readPlain(file, parse);
    if (!read || !ended) {
        std::vector<char>().swap(text_);
        std::vector<Package>().swap(packages_);
        return false;
    }
    // A checksum named twice keeps its first list.
    std::stable_sort(packages_.begin(), packages_.end(),
                     [this](const Package& a, const Package& b) { return checksumOf(a) < checksumOf(b); });
    packages_.erase(std::unique(packages_.begin(), packages_.end(),
                                [this](const Package& a, const Package& b) { return checksumOf(a) == checksumOf(b); }),
                    packages_.end());
    return true;
}

std::string_view YumIOFileLists::checksumOf(const Package& package) const
{
    return std::string_view(text_.data() + package.checksum, package.checksumSize);
}

bool YumIOFileLists::files(const QByteArray& checksum, std::string_view& files) const
{
    const std::string_view key(checksum.constData(), size_t(checksum.size()));
    const auto found = std::lower_bound(packages_.begin(), packages_.end(), key,
                                        [this](const Package& p, std::string_view k) { return checksumOf(p) < k; });
    if (found == packages_.end() || checksumOf(*found) != key)
        return false;
    files = std::string_view(text_.data() + found->files, found->filesSize);
    return true;
}
