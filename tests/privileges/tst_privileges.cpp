#include "app/Privileges.h"
#include "widgets/ModalAnswer.h"

#include <QDirIterator>
#include <QMessageBox>
#include <QTemporaryDir>
#include <QtTest>

#include <sys/stat.h>
#include <unistd.h>

namespace {

using Right = Privileges::Right;
using Lacks = QList<Privileges::Lack>;

// Runs a scope with the rights of an unprivileged user: as root, the effective ids of
// "nobody" (the real ids stay, so they can be taken back); otherwise the user's own.
struct Unprivileged final {
    Unprivileged()
    {
        if (root && (::setegid(65534) != 0 || ::seteuid(65534) != 0))
            qFatal("cannot take the rights of nobody");
    }
    ~Unprivileged()
    {
        if (root && (::seteuid(0) != 0 || ::setegid(0) != 0))
            qFatal("cannot take root's rights back");
    }
    const bool root = ::geteuid() == 0;
};

void chmodAll(const QString& top, mode_t dirMode)
{
    QDirIterator it(top, QDir::Dirs | QDir::NoDotAndDotDot | QDir::Hidden,
                    QDirIterator::Subdirectories);
    ::chmod(QFile::encodeName(top).constData(), dirMode);
    while (it.hasNext())
        ::chmod(QFile::encodeName(it.next()).constData(), dirMode);
}

} // namespace

Q_DECLARE_METATYPE(QList<Privileges::Lack>)

class TestPrivileges : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    // Directories and files writable for everyone but the read-only paths; lacks relative to root.
    void missing_data()
    {
        QTest::addColumn<QStringList>("dirs");
        QTest::addColumn<QStringList>("files");
        QTest::addColumn<QStringList>("readOnly");
        QTest::addColumn<Lacks>("expected");

        QTest::newRow("rpm database in sysimage read-only")
            << QStringList{"var/lib/dnf", "usr/lib/sysimage/rpm", "etc/yum.repos.d"}
            << QStringList{"etc/yum.conf"} << QStringList{"usr/lib/sysimage/rpm"}
            << Lacks{{Right::Lock, "usr/lib/sysimage/rpm"}};
        QTest::newRow("configuration read-only, every main file counts")
            << QStringList{"var/lib/dnf", "var/lib/rpm", "etc/yum/repos.d", "etc/yum.repos.d"}
            << QStringList{"etc/yum/yum.conf", "etc/yum.conf"}
            << QStringList{"etc/yum.conf", "etc/yum/repos.d"}
            << Lacks{{Right::Configuration, "etc/yum.conf"},
                     {Right::Configuration, "etc/yum/repos.d"}};
        QTest::newRow("read-only empty root")
            << QStringList{} << QStringList{} << QStringList{"."}
            << Lacks{{Right::Lock, "var/lib/dnf"}, {Right::Lock, "var/lib/rpm"},
                     {Right::Configuration, "etc/yum.conf"},
                     {Right::Configuration, "etc/yum.repos.d"}};
    }

    void missing()
    {
        QFETCH(QStringList, dirs);
        QFETCH(QStringList, files);
        QFETCH(QStringList, readOnly);
        QFETCH(Lacks, expected);

        QTemporaryDir tmp;
        const QString root = tmp.path();
        for (const QString& dir : dirs)
            QVERIFY(QDir(root).mkpath(dir));
        for (const QString& file : files) {
            QFile f(root + '/' + file);
            QVERIFY(QDir(root).mkpath(QFileInfo(file).path()) && f.open(QIODevice::WriteOnly));
            ::chmod(QFile::encodeName(f.fileName()).constData(), 0666);
        }
        chmodAll(root, 0777);
        for (const QString& path : readOnly) {
            const QString full = QDir::cleanPath(root + '/' + path);
            ::chmod(QFile::encodeName(full).constData(), QFileInfo(full).isDir() ? 0555 : 0444);
        }

        // A trailing slash, as a user may write it, changes nothing.
        const Lacks lacks = [&] {
            const Unprivileged guard;
            return Privileges::missing(root + '/');
        }();
        chmodAll(root, 0777); // so that the temporary directory can be removed
        for (Privileges::Lack& lack : expected)
            lack.path = root + '/' + lack.path;
        QCOMPARE(lacks, expected);
    }

    // The dialog names every lack and the way to get the rights; check() reports false.
    void checkShowsOneDialog()
    {
        QTemporaryDir tmp;
        ::chmod(QFile::encodeName(tmp.path()).constData(), 0555);
        qputenv("ORVOROOT", QFile::encodeName(tmp.path()));
        QStringList shown;
        ModalAnswer::install([&](QDialog& dialog) {
            shown << static_cast<QMessageBox&>(dialog).text();
            return 0;
        });
        const bool passed = [] {
            const Unprivileged guard;
            return Privileges::check(nullptr);
        }();
        ModalAnswer::clear();
        qunsetenv("ORVOROOT");
        chmodAll(tmp.path(), 0777);
        QVERIFY(!passed);
        QCOMPARE(shown.size(), 1);
        const QString lock = "take the package manager's lock: " + tmp.path() + "/var/lib/dnf";
        QVERIFY2(shown.first().contains(lock + " is not writable"), qPrintable(shown.first()));
        QVERIFY(shown.first().contains("pkexec " + QCoreApplication::applicationFilePath()));
    }
};

QTEST_MAIN(TestPrivileges)
#include "tst_privileges.moc"
