#include "app/Environment.h"

#include <QByteArray>
#include <QDir>
#include <QFile>
#include <QFileInfo>

void Environment::makePathsAbsolute()
{
    for (const char* name : {"ORVOROOT", "ORVOSHARE"}) {
        const QString value = QFile::decodeName(qgetenv(name));
        if (value.isEmpty() || QDir::isAbsolutePath(value))
            continue;
        qputenv(name, QFile::encodeName(QDir::cleanPath(QDir::current().absoluteFilePath(value))));
    }
}

QString Environment::rootProblem()
{
    const QString root = QFile::decodeName(qgetenv("ORVOROOT"));
    if (root.isEmpty() || QFileInfo(root).isDir())
        return QString();
    return QStringLiteral("ORVOROOT: not a directory: %1").arg(root);
}
