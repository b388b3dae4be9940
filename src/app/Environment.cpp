#include "app/Environment.h"

#include <QByteArray>
#include <QDir>
#include <QFile>

void Environment::makePathsAbsolute()
{
    for (const char* name : {"ORVOROOT", "ORVOSHARE"}) {
        const QString value = QFile::decodeName(qgetenv(name));
        if (value.isEmpty() || QDir::isAbsolutePath(value))
            continue;
        qputenv(name, QFile::encodeName(QDir::cleanPath(QDir::current().absoluteFilePath(value))));
    }
}
