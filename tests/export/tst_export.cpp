// The texts handed to Ansible and kickstart, the marks they are made from (group marks
// expanded as applying expands them), and one exported playbook run for real: Ansible's dnf
// module on one copy of the sandbox system, Orvo's own Apply on another, the same result.

#define PY_SSIZE_T_CLEAN
#include <Python.h>

#include "AnsweringPresenter.h"
#include "SandboxRoot.h"

#include "yumio/ExportMarks.h"
#include "yumio/PackageEntry.h"
#include "yumio/YumIO.h"

#include <QCoreApplication>
#include <QDir>
#include <QProcess>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QtTest>

#include <csignal>

using Item = Export::Marks::Item;
Q_DECLARE_METATYPE(Item)

namespace {

Item item(Package::Action action, const QString& name, bool group = false, const QString& version = QString(),
          const QString& arch = QString())
{
    Item i;
    i.action = action;
    i.group = group;
    i.name = name;
    i.version = version;
    i.arch = arch;
    return i;
}

QString actionWord(Package::Action action)
{
    return action == Package::Update ? "Update" : action == Package::Install ? "Install" : "Remove";
}

bool writeFile(const QString& path, const QByteArray& data)
{
    QFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(data) == data.size();
}

} // namespace

class TestExport final : public QObject
{
    Q_OBJECT

    QTemporaryDir root_;
    YumIO* engine_ = nullptr;
    AnsweringPresenter presenter_;

    Package::Entry* entry(const QString& name, const QString& arch, bool group)
    {
        for (Package::Entry* e : engine_->catalogue())
            if (e->name == name && (e->kind == Package::Group) == group && (arch.isEmpty() || e->arch == arch))
                return e;
        return nullptr;
    }

    // Marks as "name:Action", "name.arch:Action", "@Group:Action".
    void mark(const QStringList& marks)
    {
        for (const QString& m : marks) {
            const bool group = m.startsWith('@');
            const QString what = m.section(':', 0, 0).mid(group ? 1 : 0);
            const QString name = group ? what : what.section('.', 0, 0);
            Package::Entry* e = entry(name, group ? QString() : what.section('.', 1), group);
            QVERIFY2(e, qPrintable(m));
            const QString action = m.section(':', 1);
            e->action = action == "Update" ? Package::Update : action == "Install" ? Package::Install : Package::Remove;
        }
    }

    QStringList collected(bool& ok)
    {
        QList<Item> items;
        ok = Export::Marks::collect(*engine_, items);
        QStringList texts;
        for (const Item& i : items)
            texts << actionWord(i.action) + ":" + i.target();
        texts.sort();
        return texts;
    }

    static QStringList rpmInstalled(const QString& root)
    {
        QProcess rpm;
        rpm.start("rpm", { "--root", root, "--dbpath", "/var/lib/rpm", "-qa" });
        rpm.waitForFinished(-1);
        QStringList names = QString::fromUtf8(rpm.readAllStandardOutput()).split('\n', Qt::SkipEmptyParts);
        names.sort();
        return names;
    }

private Q_SLOTS:
    void playbook_data()
    {
        QTest::addColumn<QList<Item>>("items");
        QTest::addColumn<QString>("hosts");
        QTest::addColumn<QString>("expected");

        const QString head = "---\n# Package actions marked in Orvo.\n- name: Package actions marked in Orvo\n";
        QTest::newRow("every kind, removals first")
            << QList<Item> { item(Package::Install, "kitchen", true), item(Package::Install, "melon"),
                             item(Package::Update, "pear"), item(Package::Remove, "plum", false, "", "i686"),
                             item(Package::Install, "libstdc++") }
            << "web"
            << QString(head + "  hosts: web\n  become: true\n  tasks:\n"
                      "    - name: Remove packages\n      ansible.builtin.dnf:\n        name:\n"
                      "          - plum.i686\n        state: absent\n"
                      "    - name: Update packages\n      ansible.builtin.dnf:\n        name:\n"
                      "          - pear\n        state: latest\n"
                      "    - name: Install packages\n      ansible.builtin.dnf:\n        name:\n"
                      "          - '@kitchen'\n          - melon\n          - libstdc++\n        state: present\n");
        QTest::newRow("chosen versions, downgrade allowed only there, hosts quoted")
            << QList<Item> { item(Package::Reinstall, "pear", false, "1.1-1"), item(Package::Downgrade, "olive", false, "1.0-1"),
                             item(Package::Install, "kettle", false, "2.0-1"),
                             item(Package::Install, "date", false, "1:2.0-1", "noarch") }
            << " web:&prod "
            << QString(head + "  hosts: 'web:&prod'\n  become: true\n  tasks:\n"
                      "    - name: Downgrade packages\n      ansible.builtin.dnf:\n        name:\n"
                      "          - olive-1.0-1\n        state: present\n        allow_downgrade: true\n"
                      "    - name: Reinstall packages\n      ansible.builtin.dnf:\n        name:\n"
                      "          - pear-1.1-1\n        state: present\n"
                      "    - name: Install packages\n      ansible.builtin.dnf:\n        name:\n"
                      "          - kettle-2.0-1\n          - 'date-1:2.0-1.noarch'\n        state: present\n");
        QTest::newRow("no hosts named, nothing to do")
            << QList<Item>() << "" << QString(head + "  hosts: all\n  become: true\n  tasks: []\n");
    }

    void playbook()
    {
        QFETCH(QList<Item>, items);
        QFETCH(QString, hosts);
        QTEST(Export::Marks::playbook(items, hosts), "expected");
    }

    void yamlScalar_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("scalar");
        QTest::newRow("boolean word") << "yes" << "'yes'";
        QTest::newRow("boolean word, capitals") << "Off" << "'Off'";
        QTest::newRow("number") << "1.10" << "'1.10'";
        QTest::newRow("comment sign") << "#x" << "'#x'";
        QTest::newRow("wildcard") << "web*" << "'web*'";
        QTest::newRow("apostrophe") << "it's" << "'it''s'";
        QTest::newRow("empty") << "" << "''";
        QTest::newRow("line break") << "a\n\"b\\" << "\"a\\x0a\\\"b\\\\\"";
    }

    void yamlScalar()
    {
        QFETCH(QString, text);
        QTEST(Export::Marks::yamlScalar(text), "scalar");
    }

    void kickstart()
    {
        const QList<Item> items { item(Package::Install, "melon"), item(Package::Remove, "garden", true),
                                  item(Package::Update, "pear"), item(Package::Remove, "lime"),
                                  item(Package::Install, "plum", false, "", "i686") };
        QCOMPARE(Export::Marks::kickstart(items),
                 QString("# Package actions marked in Orvo.\n%packages\n-@garden\n-lime\npear\nmelon\nplum.i686\n%end\n"));
    }

    void initTestCase()
    {
        QVERIFY(root_.isValid());
        QString why;
        engine_ = startSandboxEngine(root_.path(), &presenter_, why);
        QVERIFY2(engine_, qPrintable(why));
    }

    void cleanupTestCase()
    {
        stopSandboxEngine(engine_);
    }

    void init()
    {
        if (engine_)
            for (Package::Entry* e : engine_->catalogue())
                e->action = Package::None;
        presenter_.dialogs.clear();
        presenter_.questionAnswers.clear();
    }

    // Group marks expand as applying expands them (the transaction test has removals and
    // conflicts); a name is qualified only where the catalogue has it in several architectures.
    void collected_data()
    {
        QTest::addColumn<QStringList>("marks");
        QTest::addColumn<QStringList>("expected");

        QTest::newRow("group install takes its members")
            << QStringList { "@Kitchen:Install" } << QStringList { "Install:@kitchen", "Install:lemon", "Install:melon" };
        QTest::newRow("group update leaves installed and optional members")
            << QStringList { "@Orchard:Update" } << QStringList { "Update:@orchard", "Update:pear", "Update:quince" };
        QTest::newRow("architecture named where the name has several")
            << QStringList { "plum.i686:Install", "medlar.x86_64:Remove", "lime:Remove" }
            << QStringList { "Install:plum.i686", "Remove:lime", "Remove:medlar.x86_64" };
    }

    void collected()
    {
        QFETCH(QStringList, marks);
        mark(marks);
        bool ok = false;
        QTEST(collected(ok), "expected");
        QVERIFY(ok);
        QVERIFY(presenter_.dialogs.isEmpty());
    }

    // A conflict cancelled exports nothing and leaves the marks as they were; asked again,
    // the user decides otherwise.
    void cancelThenExportAgain()
    {
        mark({ "pear:Remove", "@Orchard:Update" });
        presenter_.questionAnswers = { 2 };
        bool ok = true;
        collected(ok);
        QVERIFY(!ok);
        QCOMPARE(entry("pear", "", false)->action, Package::Remove);
        presenter_.questionAnswers = { 0 };
        QCOMPARE(collected(ok), (QStringList { "Update:@orchard", "Update:pear", "Update:quince" }));
        QVERIFY(ok);
        QCOMPARE(presenter_.of("critical", "Apply").size(), 2);
    }

    // Last: it changes the system.
    void exportedPlaybookRuns()
    {
        const QString ansible = QStandardPaths::findExecutable("ansible-playbook");
        if (ansible.isEmpty())
            QSKIP("ansible-playbook is not installed");
        mark({ "melon:Install", "@Garden:Remove", "kettle:Update", "@Kitchen:Install", "@Orchard:Update", "date:Update" });
        QList<Item> items;
        QVERIFY(Export::Marks::collect(*engine_, items));

        QTemporaryDir work;
        QVERIFY(work.isValid());
        const QString other = work.filePath("root");
        QVERIFY(QDir().mkpath(other));
        QCOMPARE(QProcess::execute("cp", { "-a", qEnvironmentVariable("ORVO_SANDBOX") + "/root/.", other }), 0);
        const QStringList pristine = rpmInstalled(other);

        // The system's own configuration, with the paths that dnf does not put inside the
        // install root by itself made absolute.
        QFile conf(other + "/etc/yum.conf");
        QVERIFY(conf.open(QIODevice::ReadOnly));
        QString confText = QString::fromUtf8(conf.readAll());
        conf.close();
        confText.replace("reposdir=/", "reposdir=" + other + "/").replace("cachedir=/", "cachedir=" + other + "/");
        QVERIFY(writeFile(work.filePath("dnf.conf"), confText.toUtf8()));
        // Debian's rpm keeps its database in the user's home; rpm systems keep it here.
        QVERIFY(writeFile(work.filePath(".rpmmacros"), "%_dbpath /var/lib/rpm\n"));
        QVERIFY(writeFile(work.filePath("hosts"),
                          "[fleet]\nsandbox ansible_connection=local ansible_python_interpreter=/usr/bin/python3 "
                          "ansible_become=false\n"));
        QVERIFY(writeFile(work.filePath("exported.yml"), Export::Marks::playbook(items, "fleet").toUtf8()));

        QString releasever = "12";
        QFile osRelease("/etc/os-release");
        if (osRelease.open(QIODevice::ReadOnly))
            for (const QByteArray& line : osRelease.readAll().split('\n'))
                if (line.startsWith("VERSION_ID="))
                    releasever = QString::fromUtf8(line.mid(11)).remove('"');
        QCOMPARE(QProcess::execute("/usr/bin/python3",
                                   { qEnvironmentVariable("ORVO_SOURCE_DIR") + "/tests/export/at-root.py",
                                     work.filePath("exported.yml"), work.filePath("run.yml"), other,
                                     work.filePath("dnf.conf"), releasever }),
                 0);

        QProcess run;
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        env.insert("HOME", work.path());
        env.insert("ANSIBLE_NOCOLOR", "1");
        env.insert("ANSIBLE_GATHERING", "explicit");
        env.insert("ANSIBLE_RETRY_FILES_ENABLED", "0");
        env.insert("ANSIBLE_LOCALHOST_WARNING", "0");
        run.setProcessEnvironment(env);
        run.setProcessChannelMode(QProcess::MergedChannels);
        run.start(ansible, { "-i", work.filePath("hosts"), work.filePath("run.yml") });
        QVERIFY(run.waitForFinished(-1));
        const QString output = QString::fromUtf8(run.readAll());
        qInfo().noquote() << "exported playbook:\n" + Export::Marks::playbook(items, "fleet") << "\nansible-playbook:\n"
                          << output;
        QVERIFY2(run.exitStatus() == QProcess::NormalExit && run.exitCode() == 0, qPrintable(output));

        presenter_.confirmAnswer = 1;
        QVERIFY(engine_->apply());
        const QStringList applied = rpmInstalled(root_.path());
        QVERIFY(applied != pristine);
        QCOMPARE(rpmInstalled(other), applied);
        qInfo().noquote() << "rpm -qa of both systems:" << applied.join(' ');
    }
};

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    TestExport test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_export.moc"
