#include "app/Share.h"

#include <QString>

#include <cstdlib>

QString Share::directory()
{
    // Set but empty still counts as set: the caller asked for that directory.
    const char* value = std::getenv("ORVOSHARE");
    return value ? QString::fromLocal8Bit(value) : QStringLiteral("/usr/share/orvo");
}

QString Share::absolute(const QString& relative)
{
    return QStringLiteral("%1/%2").arg(directory(), relative);
}

QString Share::documentation()
{
    const char* value = std::getenv("ORVODOC");
    return value && *value ? QString::fromLocal8Bit(value)
                           : QStringLiteral("/usr/share/doc/orvo-1.11.11");
}
