#pragma once

#include <QByteArray>
#include <QSet>

#include <string_view>
#include <vector>

class QString;

// The file lists of one repository as its metadata gives them (filelists.xml, plain or
// compressed with gzip or zstd), for the packages asked for, by checksum.  Reading the
// metadata whole takes a second where reading each package's files through the solver
// takes tens.
class YumIOFileLists final
{
public:
    // Reads the files of the packages whose checksums (hex) are wanted; false when the
    // file cannot be read, unpacked or parsed, and nothing is kept then.
    bool read(const QString& path, const QSet<QByteArray>& wanted);
    // Whether the package's files were read; files gets them, each followed by a null.
    bool files(const QByteArray& checksum, std::string_view& files) const;
    int count() const { return int(packages_.size()); }

private:
    // All in a few large buffers: tens of thousands of small ones would stay behind as
    // holes in the heap once released.
    struct Package {
        size_t checksum;
        size_t checksumSize;
        size_t files;
        size_t filesSize;
    };
    std::string_view checksumOf(const Package& package) const;

    std::vector<char> text_;
    std::vector<Package> packages_;
};
