#pragma once

#include "repo/RepoEntry.h"

#include <QByteArray>
#include <QList>

namespace Repo {

// The text of one configuration file as it was read, laid out in its repository
// sections, so that a write can change only the lines of what the user changed and
// keep everything else (comments, commented-out options, blank lines, order) as it was.
class FileText final
{
public:
    FileText() = default;
    // mainFile: the text before the first section other than "[main]" belongs to no
    // repository.
    FileText(const QByteArray& text, bool mainFile);

    // Repository sections, "[main]" ones left out, in file order.
    int sectionCount() const { return int(sections_.size()); }

    // The text with every section i changed from read[i] to *now[i] (nullptr: removed,
    // with the comment lines directly above it) and `added` appended, each in the form
    // `writeRepo` gives.  Kept sections are ordered by their sort positions.
    QByteArray edited(const QList<Entry>& read, const QList<const Entry*>& now,
                      const QList<QByteArray>& added) const;

private:
    enum Key { Name, Baseurl, Mirrorlist, Enabled, Gpgcheck, KeyCount };
    struct Range {
        int begin = -1;
        int end = -1;
    };
    struct Section {
        int begin = 0;       // the first comment line directly above the header
        int header = 0;
        int end = 0;         // where the next section's lines begin
        bool repository = true;
        Range keys[KeyCount];
        QList<int> other;    // physical lines of the other options, in order
        int lastOption = 0;  // where a new option goes after
    };
    struct Edits;

    void patch(const Section& section, const Entry& read, const Entry& now, Edits& edits) const;

    QList<QByteArray> lines_;
    bool lastHasNewline_ = true;
    int preambleEnd_ = 0;
    QList<Section> blocks_;
    QList<int> sections_; // indices into blocks_ of the repository sections
};

} // namespace Repo
