#include "app/Privileges.h"

#include "repo/YumConfIO.h"
#include "widgets/ModalAnswer.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>
#include <QMessageBox>
#include <QStringList>

#include <fcntl.h>
#include <unistd.h>

namespace {

// Where the package manager's lock lives for root (dnf's persistdir) and where rpm keeps
// its database and its own transaction lock.
const char* const kLockDirs[] = {"var/lib/dnf"};
const char* const kRpmDbDirs[] = {"usr/lib/sysimage/rpm", "var/lib/rpm"};
// The main configuration file is the first of these that exists; each is checked, since
// whichever exists is the one written.
const char* const kMainFiles[] = {"etc/yum/yum.conf", "etc/yum.conf", "etc/dnf/dnf.conf"};
const char* const kRepoDirs[] = {"etc/yum/repos.d", "etc/yum.repos.d"};

QString inRoot(const QString& root, const char* relative)
{
    QString base = root;
    while (base.endsWith(QLatin1Char('/')))
        base.chop(1);
    return base + QLatin1Char('/') + QLatin1String(relative);
}

// Writable with this process's effective rights, as the writes themselves will be; a
// path that does not exist yet counts as writable when its nearest existing ancestor is,
// since the package manager creates it there.
bool writable(const QString& path)
{
    QString existing = path;
    while (!QFileInfo::exists(existing)) {
        const QString parent = QFileInfo(existing).path();
        if (parent == existing)
            break;
        existing = parent;
    }
    return ::faccessat(AT_FDCWD, QFile::encodeName(existing).constData(), W_OK, AT_EACCESS) == 0;
}

// Checks each of the candidates that exists; when none exists, the one given as fallback
// (where the program would create it).
template <std::size_t N>
void checkExisting(QList<Privileges::Lack>& lacks, Privileges::Right right, const QString& root,
                   const char* const (&candidates)[N], const char* fallback)
{
    bool any = false;
    for (const char* candidate : candidates) {
        const QString path = inRoot(root, candidate);
        if (!QFileInfo::exists(path))
            continue;
        any = true;
        if (!writable(path))
            lacks.append({right, path});
    }
    if (!any) {
        const QString path = inRoot(root, fallback);
        if (!writable(path))
            lacks.append({right, path});
    }
}

} // namespace

QList<Privileges::Lack> Privileges::missing(const QString& root)
{
    const QString base = QDir(root.isEmpty() ? QStringLiteral("/") : root).absolutePath();
    QList<Lack> lacks;
    checkExisting(lacks, Right::Lock, base, kLockDirs, "var/lib/dnf");
    checkExisting(lacks, Right::Lock, base, kRpmDbDirs, "var/lib/rpm");
    checkExisting(lacks, Right::Configuration, base, kMainFiles, "etc/yum.conf");
    checkExisting(lacks, Right::Configuration, base, kRepoDirs, "etc/yum.repos.d");
    return lacks;
}

QString Privileges::message(const QList<Lack>& lacks, const QString& program)
{
    QStringList lines;
    for (const Lack& lack : lacks) {
        const QString what = lack.right == Right::Lock
            ? QCoreApplication::translate("Privileges", "take the package manager's lock")
            : QCoreApplication::translate("Privileges", "write the package configuration");
        lines << QCoreApplication::translate("Privileges", "\u2022 %1: %2 is not writable")
                     .arg(what, QDir::toNativeSeparators(QDir::cleanPath(lack.path)));
    }
    return QCoreApplication::translate(
               "Privileges",
               "Orvo cannot change the packages of this system: it lacks the administrator "
               "rights to\n\n%1\n\nStart Orvo from the desktop's application menu, which asks "
               "for an administrator's password, or run it as root, for example with\n"
               "pkexec %2")
        .arg(lines.join(QLatin1Char('\n')), program);
}

bool Privileges::check(QWidget* parent)
{
    const QList<Lack> lacks = missing(YumConfIO::root());
    if (lacks.isEmpty())
        return true;
    QMessageBox box(QMessageBox::Critical,
                    QCoreApplication::translate("Privileges", "Orvo Privileges"),
                    message(lacks, QCoreApplication::applicationFilePath()), QMessageBox::NoButton,
                    parent);
    box.addButton(QCoreApplication::translate("Privileges", "Quit"), QMessageBox::RejectRole);
    ModalAnswer::exec(box);
    return false;
}
