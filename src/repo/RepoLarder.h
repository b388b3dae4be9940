#pragma once

class QRegularExpression;

namespace Repo {

// Credentials carried inside repository URLs (the larder authentication method).
class Larder final
{
public:
    // Matches a whole line holding a URL with credentials; the capture groups are
    // the password values of the two URL shapes.
    static QRegularExpression oneUrlRegExp();
    // Finds every URL with credentials in a text of several URLs; the capture groups
    // are the password values.
    static QRegularExpression urlsRegExp();
};

} // namespace Repo
