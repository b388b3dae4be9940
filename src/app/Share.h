#pragma once

class QString;

// Files installed with the program: the companion script, icons, pixmaps, manuals.
class Share final
{
public:
    // "%1/%2" of the share directory ($ORVOSHARE when set, even empty; else
    // /usr/share/orvo) and the relative name.
    static QString absolute(const QString& relative);
    static QString directory();
    // The manuals: $ORVODOC when set, else /usr/share/doc/orvo-1.11.11.
    static QString documentation();
};
