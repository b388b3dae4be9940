#pragma once

#include <QRegularExpression>

class QString;

// A repository enable or disable request that holds for this run only.
class YumRepoEnabled final
{
public:
    YumRepoEnabled(bool enable, const QString& pattern);
    YumRepoEnabled(const YumRepoEnabled& other) = default;
    YumRepoEnabled& operator=(const YumRepoEnabled& other) = default;

    // Shell-style wildcard (*, ?, [...]), case-sensitive, over the whole id.
    bool matches(const QString& repoId) const;
    static QString wildcardToRegexp(const QString& pattern);

    bool enable;
    QRegularExpression pattern;
};
