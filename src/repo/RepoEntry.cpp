#include "repo/RepoEntry.h"

namespace Repo {

bool Entry::operator==(const Entry& other) const
{
    return id == other.id && name == other.name && baseurl == other.baseurl
        && mirrorlist == other.mirrorlist && enabled == other.enabled
        && gpgcheck == other.gpgcheck && otherOptions == other.otherOptions
        && file == other.file && sortPosition == other.sortPosition;
}

} // namespace Repo
