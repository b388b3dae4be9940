#include "app/SystemRoot.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>

namespace System {

namespace {

// Where rpm systems keep the database, newest layout first, and its files by backend
// (sqlite, Berkeley DB, ndb).
const char* const databaseDirs[] = { "usr/lib/sysimage/rpm", "var/lib/rpm" };
const char* const databaseFiles[] = { "rpmdb.sqlite", "Packages", "Packages.db" };

QString tr(const char* text)
{
    return QCoreApplication::translate("System::Root", text);
}

} // namespace

QString Root::current()
{
    const QString root = QFile::decodeName(qgetenv("ORVOROOT"));
    if (root.isEmpty())
        return QStringLiteral("/");
    return QDir::cleanPath(QDir(root).absolutePath());
}

QString Root::missing(const QString& dir)
{
    const QString path = QDir::cleanPath(QDir(dir).absolutePath());
    if (!QFileInfo(path).isDir())
        return tr("%1 is not a directory.").arg(path);
    QStringList looked;
    for (const char* sub : databaseDirs) {
        const QDir database(path + QLatin1Char('/') + QLatin1String(sub));
        for (const char* file : databaseFiles)
            if (database.exists(QLatin1String(file)))
                return QString();
        looked.append(database.path());
    }
    return tr("%1 holds no rpm database: neither %2 nor %3 contains rpmdb.sqlite, Packages or Packages.db.")
        .arg(path, looked.value(1), looked.value(0));
}

QString Root::titled(const QString& title, const QString& root)
{
    if (root.isEmpty() || QDir::cleanPath(root) == QLatin1String("/"))
        return title;
    return tr("%1 (%2)").arg(title, QDir::cleanPath(root));
}

} // namespace System
