#include "repo/YumRepoEnabled.h"

#include <QString>

YumRepoEnabled::YumRepoEnabled(bool enable, const QString& pattern)
    : enable(enable)
    , pattern(wildcardToRegexp(pattern))
{
}

bool YumRepoEnabled::matches(const QString& repoId) const
{
    return pattern.match(repoId).hasMatch();
}

// Qt's own wildcard conversion treats '/' as a path separator that '*' does not
// cross; a repository id is no path, so the shell rules apply plainly.
QString YumRepoEnabled::wildcardToRegexp(const QString& pattern)
{
    QString rx = QStringLiteral("\\A(?:");
    const int n = pattern.size();
    for (int i = 0; i < n; ++i) {
        const QChar c = pattern.at(i);
        if (c == QLatin1Char('*')) {
            rx += QStringLiteral(".*");
        } else if (c == QLatin1Char('?')) {
            rx += QLatin1Char('.');
        } else if (c == QLatin1Char('[')) {
            int j = i + 1;
            if (j < n && (pattern.at(j) == QLatin1Char('!') || pattern.at(j) == QLatin1Char('^')))
                ++j;
            if (j < n && pattern.at(j) == QLatin1Char(']'))
                ++j;
            while (j < n && pattern.at(j) != QLatin1Char(']'))
                ++j;
            if (j >= n) {
                // An unclosed bracket is an ordinary character.
                rx += QStringLiteral("\\[");
                continue;
            }
            QString set = QStringLiteral("[");
            int k = i + 1;
            if (pattern.at(k) == QLatin1Char('!') || pattern.at(k) == QLatin1Char('^')) {
                set += QLatin1Char('^');
                ++k;
            }
            for (; k < j; ++k) {
                const QChar s = pattern.at(k);
                if (s == QLatin1Char('\\') || s == QLatin1Char('[') || s == QLatin1Char('^')
                    || s == QLatin1Char(']'))
                    set += QLatin1Char('\\');
                set += s;
            }
            set += QLatin1Char(']');
            rx += set;
            i = j;
        } else {
            rx += QRegularExpression::escape(QString(c));
        }
    }
    rx += QStringLiteral(")\\z");
    return rx;
}
