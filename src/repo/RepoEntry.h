#pragma once

#include <QString>

namespace Repo {

// A yes/no option of a repository section; Default means the option is absent, so
// that the [main] value holds, and it is not written.
enum TriState : int { No = 0, Default = 1, Yes = 2 };

// One repository section of the yum configuration.
class Entry final
{
public:
    QString id;
    QString name;
    // One URL per line.
    QString baseurl;
    QString mirrorlist;
    TriState enabled = Default;
    TriState gpgcheck = Default;
    // Every other non-empty logical line of the section, verbatim, each ending in "\n".
    QString otherOptions;
    // The file that holds the section, as the managed system names it.
    QString file;
    // Order of the section within its file.
    double sortPosition = 0;
    // The section this entry was read from (YumConfIO's own numbering), -1 for an entry
    // made here.  Not part of the entry's value: equal entries may differ in it.
    int origin = -1;

    bool operator==(const Entry& other) const;
    bool operator!=(const Entry& other) const { return !(*this == other); }
};

} // namespace Repo
