#include "app/URL.h"

#include <QString>

QString URL::getHost(const QString& url)
{
    const qsizetype colon = url.indexOf(QLatin1Char(':'));
    if (colon < 0 || QStringView(url).mid(colon + 1, 2) != QLatin1String("//"))
        return QString();
    const qsizetype start = colon + 3;
    const qsizetype slash = url.indexOf(QLatin1Char('/'), start);
    return slash < 0 ? url.mid(start) : url.mid(start, slash - start);
}
