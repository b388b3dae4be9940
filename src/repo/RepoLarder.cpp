#include "repo/RepoLarder.h"

#include <QRegularExpression>

namespace Repo {

QRegularExpression Larder::oneUrlRegExp()
{
    return QRegularExpression(QStringLiteral(
        "^.*(?:/larder\\?[^&\\s]*=[^&\\s]*&[^&\\s]*=([^&\\s]*)&path=|"
        "/rhel/[^/\\s]*=[^/\\s]*/[^/\\s]*=([^/\\s]*)/).*$"));
}

QRegularExpression Larder::urlsRegExp()
{
    return QRegularExpression(QStringLiteral(
        "(?:/larder\\?[^&\\s]*=[^&\\s]*&[^&\\s]*=([^&\\s]*)&path=|"
        "/rhel/[^/\\s]*=[^/\\s]*/[^/\\s]*=([^/\\s]*)/)[\\s]*\\b"));
}

} // namespace Repo
