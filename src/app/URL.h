#pragma once

class QString;

// Small helpers on URL texts.
class URL final
{
public:
    // The text between "scheme://" and the next "/" (or the end), as it stands: any
    // user, password or port stays in it.  Empty when no "//" follows the first ":".
    static QString getHost(const QString& url);
};
