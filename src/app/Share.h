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
};
