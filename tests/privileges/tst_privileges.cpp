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

// Runs a scope with the rights of an unprivileged user: as root, the effective ids of
// "nobody" (the real ids stay, so they can be taken back); otherwise the user's own.
class Unprivileged final
{
public:
    Unprivileged()
        : root_(::geteuid() == 0)
    {
        if (root_ && (::setegid(65534) != 0 || ::seteuid(65534) != 0))
            qFatal("cannot take the rights of nobody");
    }
    ~Unprivileged()
    {
        if (root_ && (::seteuid(0) != 0 || ::setegid(0) != 0))
            qFatal("cannot take root's rights back");
    }

private:
    bool root_;
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
    // Layouts: directories and files made writable for everyone, then the listed paths
    // made read-only; the lacks are relative to the root.
    void missing_data()
    {
        QTest::addColumn<QStringList>("dirs");
        QTest::addColumn<QStringList>("files");
        QTest::addColumn<QStringList>("readOnly");
        QTest::addColumn<QList<Privileges::Lack>>("expected");

        const QStringList system = {"var/lib/dnf", "var/lib/rpm", "etc/yum.repos.d"};
        QTest::newRow("everything writable") << system << QStringList{"etc/dnf/dnf.conf"}
                                             << QStringList{} << QList<Privileges::Lack>{};
        QTest::newRow("lock directory read-only")
            << system << QStringList{"etc/yum.conf"} << QStringList{"var/lib/dnf"}
            << QList<Privileges::Lack>{{Right::Lock, "var/lib/dnf"}};
        QTest::newRow("rpm database in sysimage read-only")
            << QStringList{"var/lib/dnf", "usr/lib/sysimage/rpm", "etc/yum.repos.d"}
            << QStringList{"etc/yum.conf"} << QStringList{"usr/lib/sysimage/rpm"}
            << QList<Privileges::Lack>{{Right::Lock, "usr/lib/sysimage/rpm"}};
        QTest::newRow("every existing main file counts")
            << system << QStringList{"etc/yum/yum.conf", "etc/yum.conf"}
            << QStringList{"etc/yum.conf"}
            << QList<Privileges::Lack>{{Right::Configuration, "etc/yum.conf"}};
        QTest::newRow("repository directory read-only")
            << QStringList{"var/lib/dnf", "var/lib/rpm", "etc/yum/repos.d", "etc/yum.repos.d"}
            << QStringList{"etc/yum.conf"} << QStringList{"etc/yum/repos.d"}
            << QList<Privileges::Lack>{{Right::Configuration, "etc/yum/repos.d"}};
        QTest::newRow("absent paths under writable parents")
            << QStringList{"var/lib", "etc"} << QStringList{} << QStringList{}
            << QList<Privileges::Lack>{};
        QTest::newRow("absent paths under a read-only parent")
            << QStringList{"var", "etc/yum.repos.d"} << QStringList{"etc/yum.conf"}
            << QStringList{"var"}
            << QList<Privileges::Lack>{{Right::Lock, "var/lib/dnf"}, {Right::Lock, "var/lib/rpm"}};
        QTest::newRow("read-only empty root")
            << QStringList{} << QStringList{} << QStringList{"."}
            << QList<Privileges::Lack>{{Right::Lock, "var/lib/dnf"},
                                       {Right::Lock, "var/lib/rpm"},
                                       {Right::Configuration, "etc/yum.conf"},
                                       {Right::Configuration, "etc/yum.repos.d"}};
    }

    void missing()
    {
        QFETCH(QStringList, dirs);
        QFETCH(QStringList, files);
        QFETCH(QStringList, readOnly);
        QFETCH(QList<Privileges::Lack>, expected);

        QTemporaryDir tmp;
        QVERIFY(tmp.isValid());
        const QString root = tmp.path() + "/root";
        QVERIFY(QDir().mkpath(root));
        for (const QString& dir : dirs)
            QVERIFY(QDir(root).mkpath(dir));
        for (const QString& file : files) {
            QVERIFY(QDir(root).mkpath(QFileInfo(file).path()));
            QFile f(root + '/' + file);
            QVERIFY(f.open(QIODevice::WriteOnly));
        }
        chmodAll(tmp.path(), 0777);
        for (const QString& file : files)
            ::chmod(QFile::encodeName(root + '/' + file).constData(), 0666);
        for (const QString& path : readOnly) {
            const QString full = QDir::cleanPath(root + '/' + path);
            ::chmod(QFile::encodeName(full).constData(), QFileInfo(full).isDir() ? 0555 : 0444);
        }

        QList<Privileges::Lack> lacks;
        {
            const Unprivileged guard;
            // A trailing slash, as a user may write it, changes nothing.
            lacks = Privileges::missing(root + '/');
        }
        chmodAll(tmp.path(), 0777); // so that the temporary directory can be removed

        for (Privileges::Lack& lack : expected)
            lack.path = root + '/' + lack.path;
        QCOMPARE(lacks, expected);
    }

    // The dialog names every lack and the way to get the rights; check() reports false.
    void checkShowsOneDialog()
    {
        QTemporaryDir tmp;
        QVERIFY(tmp.isValid());
        QVERIFY(QDir(tmp.path()).mkpath("var/lib/dnf"));
        QVERIFY(QDir(tmp.path()).mkpath("etc/yum.repos.d"));
        chmodAll(tmp.path(), 0777);
        ::chmod(QFile::encodeName(tmp.path() + "/var/lib/dnf").constData(), 0555);
        qputenv("ORVOROOT", QFile::encodeName(tmp.path()));

        int shown = 0;
        QString title, text;
        ModalAnswer::install([&](QDialog& dialog) {
            ++shown;
            auto& box = static_cast<QMessageBox&>(dialog);
            title = box.windowTitle();
            text = box.text();
            return 0;
        });
        bool passed;
        {
            const Unprivileged guard;
            passed = Privileges::check(nullptr);
        }
        ModalAnswer::clear();
        QVERIFY(!passed);
        QCOMPARE(shown, 1);
        QCOMPARE(title, QStringLiteral("Orvo Privileges"));
        QVERIFY2(text.contains("take the package manager's lock: " + tmp.path() + "/var/lib/dnf is not writable"),
                 qPrintable(text));
        QVERIFY(text.contains("pkexec " + QCoreApplication::applicationFilePath()));

        ::chmod(QFile::encodeName(tmp.path() + "/var/lib/dnf").constData(), 0777);
        ModalAnswer::install([&](QDialog&) { ++shown; return 0; });
        {
            const Unprivileged guard;
            passed = Privileges::check(nullptr);
        }
        ModalAnswer::clear();
        qunsetenv("ORVOROOT");
        QVERIFY(passed);
        QCOMPARE(shown, 1);
        chmodAll(tmp.path(), 0777);
    }
};

QTEST_MAIN(TestPrivileges)
#include "tst_privileges.moc"
