// Opening another RPM system: which directories qualify, what the user is told when one
// does not, the window title on another root, and the list of systems opened before.

#include "app/SystemOpener.h"
#include "app/SystemRoot.h"
#include "widgets/ModalAnswer.h"

#include <QApplication>
#include <QDir>
#include <QMessageBox>
#include <QTemporaryDir>
#include <QtTest>

class TestSystem final : public QObject
{
    Q_OBJECT

    QTemporaryDir dir_;

    QString makeRoot(const QString& name, const QString& databaseFile)
    {
        const QString root = dir_.filePath(name);
        QDir().mkpath(root);
        if (!databaseFile.isEmpty()) {
            QDir().mkpath(QFileInfo(root + "/" + databaseFile).path());
            QFile file(root + "/" + databaseFile);
            file.open(QIODevice::WriteOnly);
        }
        return root;
    }

private Q_SLOTS:
    void initTestCase() { QVERIFY(dir_.isValid()); }

    void missing_data()
    {
        QTest::addColumn<QString>("databaseFile"); // empty: none made
        QTest::addColumn<bool>("qualifies");
        QTest::newRow("sqlite database") << "var/lib/rpm/rpmdb.sqlite" << true;
        QTest::newRow("Berkeley database") << "var/lib/rpm/Packages" << true;
        QTest::newRow("ndb under sysimage") << "usr/lib/sysimage/rpm/Packages.db" << true;
        QTest::newRow("database directory without a database") << "var/lib/rpm/.rpm.lock" << false;
        QTest::newRow("empty directory") << "" << false;
    }

    void missing()
    {
        QFETCH(QString, databaseFile);
        QFETCH(bool, qualifies);
        const QString root = makeRoot(QTest::currentDataTag(), databaseFile);
        const QString expected = qualifies ? QString()
            : QString("%1 holds no rpm database: neither %1/var/lib/rpm nor %1/usr/lib/sysimage/rpm contains "
                      "rpmdb.sqlite, Packages or Packages.db.").arg(root);
        QCOMPARE(System::Root::missing(root), expected);
        // A path relative to where the program was started names the same directory.
        const QString saved = QDir::currentPath();
        QDir::setCurrent(dir_.path());
        QCOMPARE(System::Root::missing(QTest::currentDataTag()), expected);
        QDir::setCurrent(saved);
    }

    void notADirectory()
    {
        const QString file = makeRoot("plain", "") + "/file";
        QFile(file).open(QIODevice::WriteOnly);
        QCOMPARE(System::Root::missing(file), file + " is not a directory.");
    }

    void titled_data()
    {
        QTest::addColumn<QString>("root");
        QTest::addColumn<QString>("title");
        QTest::newRow("running system") << "/" << "Orvo - node";
        QTest::newRow("unset") << "" << "Orvo - node";
        QTest::newRow("doubled slash") << "//" << "Orvo - node";
        QTest::newRow("other root") << "/srv/images/f40/" << "Orvo - node (/srv/images/f40)";
    }

    void titled()
    {
        QFETCH(QString, root);
        QTEST(System::Root::titled("Orvo - node", root), "title");
    }

    // As a user meets it: a directory without a database is refused with a message and
    // opens nothing; once it has one it opens, and the recent list keeps the latest first.
    void openRefusedThenOpened()
    {
        QStringList started;
        System::Opener::setStarter([&started](const QString& root) {
            started << root;
            return true;
        });
        QStringList told;
        ModalAnswer::install([&told](QDialog& dialog) {
            if (auto* box = qobject_cast<QMessageBox*>(&dialog))
                told << box->text();
            return int(QMessageBox::Ok);
        });
        const QString image = makeRoot("image", "");
        const QString chroot = makeRoot("chroot", "var/lib/rpm/rpmdb.sqlite");

        QVERIFY(!System::Opener::open(nullptr, image));
        QCOMPARE(told, QStringList { System::Root::missing(image) });
        QCOMPARE(started, QStringList());
        QCOMPARE(System::Opener::recent(), QStringList());

        makeRoot("image", "var/lib/rpm/rpmdb.sqlite");
        QVERIFY(System::Opener::open(nullptr, image + "/"));
        QVERIFY(System::Opener::open(nullptr, chroot));
        QVERIFY(System::Opener::open(nullptr, image));
        QCOMPARE(started, (QStringList { image, chroot, image }));
        QCOMPARE(System::Opener::recent(), (QStringList { image, chroot }));
        QCOMPARE(told.size(), 1);

        // A process that does not start is reported, and the system is still remembered.
        System::Opener::setStarter([](const QString&) { return false; });
        QVERIFY(!System::Opener::open(nullptr, chroot));
        QCOMPARE(told.size(), 2);
        QVERIFY(told.last().startsWith("Unable to start "));
        QCOMPARE(System::Opener::recent(), (QStringList { chroot, image }));

        System::Opener::setStarter(nullptr);
        ModalAnswer::clear();
    }
};

int main(int argc, char** argv)
{
    // The recent list goes to settings of this run only.
    QTemporaryDir config;
    qputenv("XDG_CONFIG_HOME", config.path().toLocal8Bit());
    QApplication app(argc, argv);
    TestSystem test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_system.moc"
