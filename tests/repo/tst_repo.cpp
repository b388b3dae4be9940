#include "StandInShare.h"

#include "app/Execute.h"
#include "repo/RepoAuthChecker.h"
#include "repo/RepoAuthDialog.h"
#include "repo/RepoBrowse.h"
#include "repo/RepoLarder.h"
#include "repo/RepoMessageBoxes.h"
#include "repo/RepoMessages.h"
#include "repo/YumConfIO.h"
#include "repo/YumRepoEnabled.h"
#include "widgets/ModalAnswer.h"
#include "yumio/YumIO.h"

#include <QLabel>
#include <QLineEdit>
#include <QMessageBox>
#include <QPushButton>
#include <QSignalSpy>
#include <QDialog>
#include <QtTest>

#include <cerrno>
#include <cstring>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

using UseTable = QHash<QString, bool>;

namespace {

bool writeFile(const QString& path, const QByteArray& text)
{
    QDir().mkpath(QFileInfo(path).path());
    QFile file(path);
    return file.open(QIODevice::WriteOnly | QIODevice::Truncate) && file.write(text) == text.size();
}

QByteArray readFile(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("<missing>");
}

// The files of a directory tree with their contents.
QMap<QString, QByteArray> snapshot(const QString& root)
{
    QMap<QString, QByteArray> files;
    QDirIterator it(root, QDir::Files | QDir::Hidden | QDir::System, QDirIterator::Subdirectories);
    while (it.hasNext()) {
        const QString path = it.next();
        files.insert(path.mid(root.size()), readFile(path));
    }
    return files;
}

// A path as "path|text", "path->link target" or "path!" when there is nothing.
QString describe(const QString& at, const QString& name)
{
    QByteArray target(4096, '\0');
    const ssize_t n = readlink(QFile::encodeName(at + name).constData(), target.data(), size_t(target.size()));
    if (n >= 0)
        return name + "->" + QFile::decodeName(target.left(n));
    if (!QFileInfo::exists(at + name))
        return name + "!";
    return name + "|" + QString::fromUtf8(readFile(at + name));
}

ino_t inode(const QString& path)
{
    struct stat st;
    return lstat(QFile::encodeName(path).constData(), &st) == 0 ? st.st_ino : 0;
}

// Entries as "id@file".
QString located(const QList<Repo::Entry>& entries)
{
    QStringList ids;
    for (const Repo::Entry& entry : entries)
        ids << entry.id + "@" + entry.file;
    return ids.join(' ');
}

QString errnoText(int errnum)
{
    return QStringLiteral("; errno = %1 (%2).").arg(errnum).arg(QString::fromLocal8Bit(strerror(errnum)));
}

// Runs the real message boxes and records them as "title|text"; questions are answered
// with `answer`, other dialogs by `otherDialog`.
class Boxes final
{
public:
    Boxes()
    {
        Repo::MessageBoxes::install();
        ModalAnswer::install([this](QDialog& dialog) {
            auto* box = qobject_cast<QMessageBox*>(&dialog);
            if (!box)
                return otherDialog ? otherDialog(dialog) : -1;
            const QString seen = box->windowTitle() + "|" + box->text();
            const int buttons = box->standardButtons().toInt();
            if (buttons == QMessageBox::Ok) {
                errors << seen;
                return int(QMessageBox::Ok);
            }
            // A question is Yes or No, No being the default.
            const bool yesNo = box->standardButton(box->defaultButton()) == QMessageBox::No;
            questions << (yesNo ? seen : "misshapen: " + seen);
            return int(answer ? QMessageBox::Yes : QMessageBox::No);
        });
    }
    ~Boxes() { ModalAnswer::clear(), Repo::Messages::clear(); }

    QStringList errors, questions;
    bool answer = false;
    ModalAnswer::Answerer otherDialog;
};

const char* const kMainConf = "# yum main configuration\n[main]\n"
                              "cachedir=/var/cache/yum/$basearch/$releasever\n"
                              "keepcache=0\ngpgcheck=1\n"
                              "reposdir=/etc/yum.repos.d, /etc/extra.repos.d\n"
                              "# a comment in main\n\n"
                              "[local]\nname=Local packages\nbaseurl=file:///srv/local\nenabled=1\n";

const char* const kFedoraRepo =
    "# Comments before the first section are not kept.\n[fedora]\nname=Fedora $releasever\n"
    "#baseurl=http://download.example/pub/fedora/\nmetalink=https://mirrors.example/metalink\nenabled=1\n\n"
    "gpgcheck=1\n\n\n"
    "[mirrored]\nname = Mirrored\nbaseurl=http://a.example/repo/ http://b.example/repo/\n\thttp://c.example/repo/\n"
    "gpgkey=file:///k1\n       file:///k2";

// As distributions ship them: a header comment, commented-out options, comments
// above sections, a last line without newline.
const char* const kShippedRepo =
    "# CentOS-Base.repo\n#\n# The mirror system uses the connecting IP address.\n#\n\n"
    "[base]\nname=CentOS-$releasever - Base\n"
    "mirrorlist=http://mirrorlist.example/?release=$releasever&repo=os\n"
    "#baseurl=http://mirror.example/centos/$releasever/os/$basearch/\n"
    "gpgcheck=1\ngpgkey=file:///etc/pki/rpm-gpg/RPM-GPG-KEY-CentOS-7\n\n"
    "#released updates \n[updates]\nname = CentOS-$releasever - Updates\n"
    "baseurl=http://a.example/updates/\n\thttp://b.example/updates/\n"
    "metadata_expire=7d\n# keep this one\n\n"
    "[extras]\nname=Extras\nenabled=0\nskip_if_unavailable=False";

// A root like the sandbox's: blank credentials of the "/larder?" shape.
const char* const kLarderRepo =
    "[l1]\nname=Larder one\nbaseurl=http://a.example/larder?user=&pass=&path=/one/$basearch\n\n"
    "[l2]\nname=Larder two\nbaseurl=http://a.example/larder?user=&pass=&path=/two\n\n"
    "[l3]\nname=Elsewhere\nmirrorlist=https://b.example/rhel/u=/p=/list\n\n"
    "[filled]\nbaseurl=http://a.example/larder?user=me&pass=secret&path=/filled\n\n"
    "[off]\nbaseurl=http://a.example/larder?user=&pass=&path=/off\nenabled=0\n\n"
    "[plain]\nbaseurl=http://a.example/plain\n";

} // namespace

class TestRepo final : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY(share_.isValid());
        StandInShare::Options options;
        options.constructorBody = QStringLiteral("self.conf.yumvar['arch'] = 'i686'");
        QVERIFY(StandInShare::write(share_.path(), options));
        // The stand-in browser records its arguments, one per line.
        QVERIFY(writeFile(share_.path() + "/webbrowser",
                          "#!/bin/sh\nprintf '%s\\n' \"$@\" > \"$0.args.tmp\" && mv \"$0.args.tmp\" \"$0.args\"\n"));
        QVERIFY(QFile::setPermissions(share_.path() + "/webbrowser",
                                      QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner));
        qputenv("ORVOSHARE", share_.path().toLocal8Bit());
        engine_ = new YumIO;
        engine_->setup(nullptr, nullptr, nullptr);
        QVERIFY(engine_->initialize());
    }

    void cleanupTestCase()
    {
        delete engine_;
        qunsetenv("ORVOROOT");
    }

    void init()
    {
        root_ = std::make_unique<QTemporaryDir>();
        QVERIFY(root_->isValid());
        qputenv("ORVOROOT", root().toLocal8Bit());
        requests_.clear();
        used_.clear();
    }

    // ------------------------------------------------------------------ reading

    // yum/yum.conf before yum.conf before dnf/dnf.conf; yum.conf when there is none.
    void mainFileChoice()
    {
        QCOMPARE(YumConfIO(requests_, used_).fileName(), QStringLiteral("/etc/yum.conf"));
        for (const QString file : {"/etc/dnf/dnf.conf", "/etc/yum.conf", "/etc/yum/yum.conf"}) {
            QVERIFY(writeFile(path(file), "[main]\n"));
            QCOMPARE(YumConfIO(requests_, used_).fileName(), file);
        }
    }

    void readingRules_data()
    {
        QTest::addColumn<QByteArray>("text");
        QTest::addColumn<QString>("expected"); // id|name|baseurl|enabled|gpgcheck|other options
        QTest::newRow("blanks around the colon, trailing blank kept")
            << QByteArray("[a]\nname : Some name \n") << "a|Some name ||1|1|";
        QTest::newRow("booleans off, any case, blanks around")
            << QByteArray("[a]\nenabled = False \ngpgcheck=OFF\t\n") << "a|||0|0|";
        QTest::newRow("other values are on") << QByteArray("[a]\nenabled=nope\ngpgcheck=2\n") << "a|||2|2|";
        QTest::newRow("white space alone ends a value")
            << QByteArray("[a]\ngpgcheck=0\n\n \nname=x\n \t\n  \n") << "a|x||1|0|";
        QTest::newRow("main in a repository file is no repository")
            << QByteArray("[main]\nname=not one\n[a]\nname=x\n[main]\nenabled=0\n") << "a|x||1|1|";
        QTest::newRow("leading blanks and tabs of a value, last line without newline")
            << QByteArray("[a]\nname=\t x\tz\t") << "a|x\tz\t||1|1|";
    }

    void readingRules()
    {
        QFETCH(QByteArray, text);
        writeRoot("[main]\n", {{"/etc/yum.repos.d/t.repo", text}});
        Boxes boxes;
        YumConfIO conf(requests_, used_);
        QSignalSpy changed(&conf, &YumConfIO::changed);
        QVERIFY(conf.read(nullptr));
        QCOMPARE(boxes.errors, QStringList());
        QCOMPARE(changed.count(), 1);
        QCOMPARE(conf.repos().size(), 1);
        const Repo::Entry& entry = conf.repos().first();
        QTEST(QStringList({entry.id, entry.name, entry.baseurl, QString::number(int(entry.enabled)),
                           QString::number(int(entry.gpgcheck)), entry.otherOptions})
                  .join('|'),
              "expected");
    }

    // A malformed section header is the repository editor test's.
    void readFailures_data()
    {
        QTest::addColumn<bool>("mainFile");
        QTest::addColumn<QString>("message");
        QTest::newRow("no main file")
            << false << QString("Unable to read yum configuration file %1/etc/yum.conf" + errnoText(ENOENT));
        QTest::newRow("dangling link")
            << true << QString("Unable to stat repository configuration file %1/etc/yum.repos.d/b.repo" + errnoText(ENOENT));
    }

    void readFailures()
    {
        QFETCH(bool, mainFile);
        QFETCH(QString, message);
        if (mainFile) {
            writeRoot("[main]\n[a]\nname=first\n");
            QVERIFY(QFile::link(path("/etc/yum.repos.d/missing"), path("/etc/yum.repos.d/b.repo")));
            // A directory with the suffix is no repository file.
            QVERIFY(QDir().mkpath(path("/etc/yum.repos.d/dir.repo")));
        }
        Boxes boxes;
        YumConfIO conf(requests_, used_);
        QVERIFY(!conf.read(nullptr));
        QCOMPARE(boxes.errors, QStringList{"Orvo Repository Editor Error|" + message.arg(root())});
    }

    // An empty root: the missing main file is named and, when the user agrees, a
    // minimal one made, and nothing else; declined, the read fails as before.
    void missingMainFileOffered_data()
    {
        QTest::addColumn<bool>("answer");
        QTest::newRow("declined") << false;
        QTest::newRow("accepted") << true;
    }

    void missingMainFileOffered()
    {
        QFETCH(bool, answer);
        Boxes boxes;
        boxes.answer = answer;
        YumConfIO conf(requests_, used_);
        QCOMPARE(conf.read(nullptr), answer);
        QCOMPARE(boxes.questions, QStringList{"Repository Editor|The main configuration file " + path("/etc/yum.conf")
                                              + " does not exist.  Create a minimal one?"});
        QCOMPARE(boxes.errors.size(), answer ? 0 : 1);
        QCOMPARE(snapshot(root()).keys(), answer ? QStringList{"/etc/yum.conf"} : QStringList());
        if (answer) {
            QCOMPARE(readFile(path("/etc/yum.conf")), QByteArray("[main]\n"));
            // The editor can then add a repository.
            Repo::Entry added;
            added.id = "first";
            added.baseurl = "file:///srv/first";
            conf.repos().append(added);
            QVERIFY(conf.write(nullptr));
            QCOMPARE(located(readAgain()), "first@/etc/yum/repos.d/first.repo");
        }
    }

    // ------------------------------------------------------------------ writing

    // Each row edits the entries read from kShippedRepo and names the lines of the
    // file after the write; every other file stays byte for byte as it was.
    void keptText_data()
    {
        QTest::addColumn<QStringList>("edits"); // "id.field=value", "-id", "+id"
        QTest::addColumn<QByteArray>("expected");
        const QByteArray shipped = kShippedRepo;
        QTest::newRow("no change") << QStringList{} << shipped;
        QTest::newRow("one option, spacing of others kept")
            << QStringList{"extras.enabled=2"} << QByteArray(shipped).replace("enabled=0", "enabled=1");
        QTest::newRow("name in place, continuation of baseurl untouched")
            << QStringList{"updates.name=Updates"}
            << QByteArray(shipped).replace("name = CentOS-$releasever - Updates", "name=Updates");
        QTest::newRow("baseurl with continuation replaced whole")
            << QStringList{"updates.baseurl=http://c.example/u/"}
            << QByteArray(shipped).replace("baseurl=http://a.example/updates/\n\thttp://b.example/updates/",
                                           "baseurl=http://c.example/u/");
        QTest::newRow("new option after the last option, before trailing comment")
            << QStringList{"updates.gpgcheck=0"}
            << QByteArray(shipped).replace("metadata_expire=7d\n", "metadata_expire=7d\ngpgcheck=0\n");
        QTest::newRow("new option in a last line without newline")
            << QStringList{"extras.baseurl=http://x/\nhttp://y/"}
            << shipped + "\nbaseurl=http://x/\n        http://y/\n";
        QTest::newRow("option removed, commented-out one kept")
            << QStringList{"base.mirrorlist="}
            << QByteArray(shipped).replace("mirrorlist=http://mirrorlist.example/?release=$releasever&repo=os\n", "");
        QTest::newRow("other option edited in place")
            << QStringList{"updates.other=metadata_expire=1d\n# keep this one\n"}
            << QByteArray(shipped).replace("metadata_expire=7d", "metadata_expire=1d");
        QTest::newRow("other option added after the last other one")
            << QStringList{"extras.other=skip_if_unavailable=False\ncost=500\n"} << shipped + "\ncost=500\n";
        QTest::newRow("removal takes the comment above and the section")
            << QStringList{"-updates"}
            << QByteArray(shipped).replace(shipped.indexOf("#released"),
                                           shipped.indexOf("[extras]") - shipped.indexOf("#released"), "");
        QTest::newRow("renamed and moved to the front")
            << QStringList{"extras.position=0", "extras.id=more"}
            << "# CentOS-Base.repo\n#\n# The mirror system uses the connecting IP address.\n#\n\n"
               "[more]\nname=Extras\nenabled=0\nskip_if_unavailable=False\n"
                   + shipped.mid(shipped.indexOf("[base]"), shipped.indexOf("[extras]") - shipped.indexOf("[base]"));
        QTest::newRow("new repository at the end")
            << QStringList{"+new"} << shipped + "\n\n[new]\nbaseurl=file:///srv/new\n";
    }

    void keptText()
    {
        QFETCH(QStringList, edits);
        writeRoot(kMainConf, {{"/etc/yum.repos.d/CentOS-Base.repo", kShippedRepo},
                              {"/etc/yum.repos.d/fedora.repo", kFedoraRepo}});
        const QString shipped = path("/etc/yum.repos.d/CentOS-Base.repo");
        const QMap<QString, QByteArray> before = snapshot(root());
        QMap<QString, ino_t> inodes;
        for (const QString& file : before.keys())
            inodes.insert(file, inode(root() + file));
        Boxes boxes;
        YumConfIO conf(requests_, used_);
        QVERIFY(conf.read(nullptr));
        for (const QString& edit : edits) {
            if (edit.startsWith('+')) {
                Repo::Entry added;
                added.id = edit.mid(1);
                added.baseurl = "file:///srv/new";
                added.file = "/etc/yum.repos.d/CentOS-Base.repo";
                added.sortPosition = 9;
                conf.repos().append(added);
                continue;
            }
            const auto entry = std::find_if(conf.repos().begin(), conf.repos().end(), [&](const Repo::Entry& e) {
                return e.id == edit.mid(edit.startsWith('-') ? 1 : 0).section('.', 0, 0);
            });
            QVERIFY(entry != conf.repos().end());
            if (edit.startsWith('-')) {
                conf.repos().erase(entry);
                continue;
            }
            const QString field = edit.section('.', 1).section('=', 0, 0);
            const QString value = edit.section('=', 1);
            if (field == "id") entry->id = value;
            else if (field == "name") entry->name = value;
            else if (field == "baseurl") entry->baseurl = value;
            else if (field == "mirrorlist") entry->mirrorlist = value;
            else if (field == "enabled") entry->enabled = Repo::TriState(value.toInt());
            else if (field == "gpgcheck") entry->gpgcheck = Repo::TriState(value.toInt());
            else if (field == "other") entry->otherOptions = value;
            else if (field == "position") entry->sortPosition = value.toDouble();
            else QFAIL(qPrintable(field));
        }
        const QList<Repo::Entry> written = conf.repos();
        QVERIFY(conf.write(nullptr));
        QCOMPARE(boxes.errors, QStringList());
        QTEST(readFile(shipped), "expected");
        // What was written reads back as the entries written.
        QList<Repo::Entry> again = readAgain();
        std::sort(again.begin(), again.end(), [](const Repo::Entry& a, const Repo::Entry& b) { return a.id < b.id; });
        QList<Repo::Entry> want = written;
        std::sort(want.begin(), want.end(), [](const Repo::Entry& a, const Repo::Entry& b) { return a.id < b.id; });
        // Comment lines above a section read as the section before's: leave them out.
        const auto meaning = [](QList<Repo::Entry> entries) {
            QStringList texts;
            for (Repo::Entry& entry : entries) {
                QStringList options = entry.otherOptions.split('\n');
                options.removeIf([](const QString& line) { return line.startsWith('#'); });
                texts << QStringList{entry.id, entry.name, entry.baseurl, entry.mirrorlist,
                                     QString::number(entry.enabled), QString::number(entry.gpgcheck),
                                     options.join('\n')}.join('|');
            }
            return texts;
        };
        QCOMPARE(meaning(again), meaning(want));
        const QMap<QString, QByteArray> now = snapshot(root());
        for (auto it = before.cbegin(); it != before.cend(); ++it) {
            if (root() + it.key() == shipped && !edits.isEmpty())
                continue;
            QCOMPARE(now.value(it.key()), it.value());
            QVERIFY2(inode(root() + it.key()) == inodes.value(it.key()), qPrintable(it.key()));
        }
    }

    // The package manager's reading is asked for every text that changes; a refusal
    // leaves every file as it was, and the write goes through once corrected.
    void textCheckRefusesThenWrites()
    {
        writeRoot(kMainConf, {{"/etc/yum.repos.d/CentOS-Base.repo", kShippedRepo},
                              {"/etc/yum.repos.d/fedora.repo", kFedoraRepo}});
        const QMap<QString, QByteArray> before = snapshot(root());
        Boxes boxes;
        YumConfIO conf(requests_, used_);
        QStringList asked;
        conf.setTextCheck([&asked](const QString& shown, const QByteArray& text, bool mainFile, QString& message) {
            asked << shown + (mainFile ? " (main)" : "");
            message = "dropped: " + QString::number(text.count("bogus"));
            return !text.contains("bogus");
        });
        QVERIFY(conf.read(nullptr));
        QVERIFY(conf.write(nullptr));
        QCOMPARE(asked, QStringList());
        conf.repos()[0].name = "Local";                 // the main file
        conf.repos()[2].otherOptions += "bogusline\n";  // [updates]
        QVERIFY(!conf.write(nullptr));
        QCOMPARE(boxes.errors, QStringList{"Orvo Repository Editor Error|The package manager would not read "
                                           + path("/etc/yum.repos.d/CentOS-Base.repo")
                                           + " as it would be written:\ndropped: 1\nNo file was changed."});
        QCOMPARE(snapshot(root()), before);
        conf.repos()[2].otherOptions.remove("bogusline\n");
        conf.repos()[2].otherOptions += "cost=5\n";
        asked.clear();
        QVERIFY(conf.write(nullptr));
        QCOMPARE(asked, QStringList({path("/etc/yum.conf") + " (main)", path("/etc/yum.repos.d/CentOS-Base.repo")}));
        QVERIFY(readFile(path("/etc/yum.repos.d/CentOS-Base.repo")).contains("# keep this one\ncost=5\n"));
        QVERIFY(readFile(path("/etc/yum.conf")).contains("name=Local\n"));
    }

    // A new entry without a file goes to the first repository directory that exists;
    // with none, the first one is made.
    void newFileLocation_data()
    {
        QTest::addColumn<QStringList>("dirs");
        QTest::addColumn<QString>("expected");
        QTest::newRow("only the second exists") << QStringList{"/etc/yum.repos.d"} << "/etc/yum.repos.d/new.repo";
        QTest::newRow("both exist") << QStringList{"/etc/yum.repos.d", "/etc/yum/repos.d"} << "/etc/yum/repos.d/new.repo";
        QTest::newRow("none exists") << QStringList{} << "/etc/yum/repos.d/new.repo";
    }

    void newFileLocation()
    {
        QFETCH(QStringList, dirs);
        QFETCH(QString, expected);
        QVERIFY(writeFile(path("/etc/yum.conf"), "[main]\n"));
        for (const QString& dir : dirs)
            QVERIFY(QDir().mkpath(path(dir)));
        Boxes boxes;
        YumConfIO conf(requests_, used_);
        QVERIFY(conf.read(nullptr));
        Repo::Entry added;
        added.id = "new";
        added.baseurl = "file:///srv/new";
        conf.repos().append(added);
        QVERIFY(conf.write(nullptr));
        QCOMPARE(boxes.errors, QStringList());
        QCOMPARE(readFile(path(expected)), QByteArray("[new]\nbaseurl=file:///srv/new\n"));
        QCOMPARE(located(readAgain()), "new@" + expected);
    }

    void substituted_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("expected");
        QTest::newRow("both spellings") << "Fedora $releasever - ${basearch}x" << "Fedora 39 - x86_64x";
        // The longest name is taken, and only known names are replaced.
        QTest::newRow("longer unknown name") << "$basearchx $unknown" << "$basearchx $unknown";
        QTest::newRow("dollar alone, at the end") << "costs $ and $" << "costs $ and $";
    }

    void substituted()
    {
        QFETCH(QString, text);
        YumConfIO conf(requests_, used_);
        conf.setVariables({{"basearch", "x86_64"}, {"releasever", "39"}});
        QTEST(conf.substituted(text), "expected");
    }

    void sessionUse_data()
    {
        QTest::addColumn<QByteArray>("mainConf");
        QTest::addColumn<QStringList>("requests");
        QTest::addColumn<QString>("expected");
        const QByteArray on = "[main]\n";
        const QByteArray off = "[main]\nenabled = No\n";
        QTest::newRow("main default off") << off << QStringList{} << "a=0 b=0 c=1 d=0";
        QTest::newRow("last matching request wins") << on << QStringList{"+?", "-[ab]", "+a"} << "a=1 b=0 c=1 d=1";
    }

    void sessionUse()
    {
        QFETCH(QByteArray, mainConf);
        QFETCH(QStringList, requests);
        writeRoot(mainConf, {{"/etc/yum.repos.d/u.repo", "[a]\n\n[b]\nenabled=0\n\n[c]\nenabled=yes\n\n[d]\nenabled=off\n"}});
        for (const QString& request : requests)
            requests_.append(YumRepoEnabled(request.startsWith('+'), request.mid(1)));
        YumConfIO conf(requests_, used_);
        QVERIFY(conf.read(nullptr));
        QStringList actual;
        for (const QString id : {"a", "b", "c", "d"})
            actual << id + "=" + QString::number(used_.value(id));
        QTEST(actual.join(' '), "expected");
    }

    // Small trees beside and inside a root, each read, written and read again.  Files are
    // "path|text", links "path->target"; after the write, missing ones are "path!".
    // Every path of the managed system, the script's included, is confined here: ".."
    // stops at the root, links are followed inside it, what is missing is taken as it is.
    void confinedPaths_data()
    {
        QTest::addColumn<QString>("path");
        QTest::addColumn<QString>("inside");
        QTest::newRow("above the root") << "/etc/../../x/" << "/x";
        QTest::newRow("absolute link") << "/etc/yum.repos.d/a.repo" << "/srv/repos/a.repo";
        QTest::newRow("relative link climbing out") << "/etc/up/cache/$basearch" << "/cache/$basearch";
        QTest::newRow("missing part") << "/var/no/../cache" << "/var/cache";
    }

    void confinedPaths()
    {
        QFETCH(QString, path);
        QFETCH(QString, inside);
        QTemporaryDir base;
        const QString root = base.path() + "/root";
        QVERIFY(QDir().mkpath(root + "/etc") && QDir().mkpath(root + "/srv/repos"));
        QCOMPARE(symlink("/srv/repos", QFile::encodeName(root + "/etc/yum.repos.d").constData()), 0);
        QCOMPARE(symlink("../../../..", QFile::encodeName(root + "/etc/up").constData()), 0);
        qputenv("ORVOROOT", QFile::encodeName(root));
        QByteArray resolved;
        QVERIFY(YumConfIO::resolve(path, resolved));
        QCOMPARE(QFile::decodeName(resolved), root + inside);
    }

    void configurationTrees_data()
    {
        QTest::addColumn<QStringList>("tree");
        QTest::addColumn<QStringList>("edits");  // before writing: "-id" removes, "id>file" moves
        QTest::addColumn<QString>("repos");      // id@file as read
        QTest::addColumn<QStringList>("after");
        const QString main = "root/etc/yum.conf|[main]\n";
        QTest::newRow("reposdir climbs above the root")
            << QStringList{"root/etc/yum.conf|[main]\nreposdir=/../outside\n", "outside/o.repo|# out\n[o]\n",
                           "outside/gone.repo|[gone]\n", "root/outside/in.repo|# in\n[in]\n",
                           "root/outside/x.repo|[x]\n"}
            << QStringList{"-x"} << "in@/../outside/in.repo x@/../outside/x.repo"
            << QStringList{"root/outside/in.repo|# in\n[in]\n", "root/outside/x.repo!"};
        QTest::newRow("section moved to a link to the main file")
            << QStringList{"root/etc/yum.conf|[main]\n[l]\nname=L\n", "root/etc/yum.repos.d/a.repo->../yum.conf",
                           "root/etc/yum.repos.d/b.repo|[b]\n"}
            << QStringList{"b>/etc/yum.repos.d/a.repo"} << "l@/etc/yum.conf b@/etc/yum.repos.d/b.repo"
            << QStringList{"root/etc/yum.conf|[main]\n[l]\nname=L\n\n[b]\n", "root/etc/yum.repos.d/a.repo->../yum.conf",
                           "root/etc/yum.repos.d/b.repo!"};
        QTest::newRow("directories listed with a comma")
            << QStringList{"root/etc/yum.conf|[main]\nreposdir=/etc/yum.repos.d, /etc/more\n", "root/etc/more/m.repo|[m]\n"}
            << QStringList{} << "m@/etc/more/m.repo" << QStringList{"root/etc/more/m.repo|[m]\n"};
        QTest::newRow("one file in two directories")
            << QStringList{"root/etc/yum.conf|[main]\nreposdir=/etc/yum.repos.d /etc/more\n",
                           "root/etc/more/b.repo|[b]\n", "root/etc/yum.repos.d/a.repo->/etc/more/b.repo"}
            << QStringList{} << "b@/etc/yum.repos.d/a.repo"
            << QStringList{"root/etc/more/b.repo|[b]\n", "root/etc/yum.repos.d/a.repo->/etc/more/b.repo"};
        // Files in name order, hidden ones left alone: the copy kept is the first one.
        QTest::newRow("same id in two files, a hidden one")
            << QStringList{main, "root/etc/yum.repos.d/c.repo|[d]\nname=C\n", "root/etc/yum.repos.d/a.repo|[d]\nname=A\n",
                           "root/etc/yum.repos.d/.repo|[d]\nname=hidden\n", "root/etc/yum.repos.d/b.repo|[d]\nname=B\n"}
            << QStringList{} << "d@/etc/yum.repos.d/a.repo d@/etc/yum.repos.d/b.repo d@/etc/yum.repos.d/c.repo"
            << QStringList{"root/etc/yum.repos.d/a.repo|[d]\nname=A\n", "root/etc/yum.repos.d/b.repo!",
                           "root/etc/yum.repos.d/c.repo!", "root/etc/yum.repos.d/.repo|[d]\nname=hidden\n"};
    }

    void configurationTrees()
    {
        QFETCH(QStringList, tree);
        QFETCH(QStringList, edits);
        QFETCH(QString, repos);
        QFETCH(QStringList, after);
        QTemporaryDir base;
        QVERIFY(base.isValid());
        const QString at = base.path() + "/";
        QVERIFY(QDir().mkpath(at + "root/etc"));
        QVERIFY(QDir().mkpath(at + "outside"));
        for (const QString& item : tree) {
            if (item.contains('|')) {
                QVERIFY(writeFile(at + item.section('|', 0, 0), item.section('|', 1).toUtf8()));
            } else {
                const QString link = at + item.section("->", 0, 0);
                QDir().mkpath(QFileInfo(link).path());
                QCOMPARE(symlink(QFile::encodeName(item.section("->", 1)).constData(),
                                 QFile::encodeName(link).constData()), 0);
            }
        }
        qputenv("ORVOROOT", (at + "root").toLocal8Bit());
        const QMap<QString, QByteArray> outside = snapshot(at + "outside");
        const QMap<QString, QByteArray> before = snapshot(at + "root");
        QMap<QString, ino_t> inodes;
        for (const QString& file : before.keys())
            inodes.insert(file, inode(at + "root" + file));
        Boxes boxes;
        boxes.answer = true;
        YumConfIO conf(requests_, used_);
        QVERIFY(conf.read(nullptr));
        QCOMPARE(located(conf.repos()), repos);
        conf.repos().removeIf([&](const Repo::Entry& entry) { return edits.contains("-" + entry.id); });
        for (Repo::Entry& entry : conf.repos()) {
            for (const QString& edit : edits) {
                if (edit.startsWith(entry.id + ">"))
                    entry.file = edit.section('>', 1);
            }
        }
        // Only a true duplicate is asked about.
        const bool duplicates = !conf.getDuplicateId().isEmpty();
        QVERIFY(conf.write(nullptr));
        QCOMPARE(boxes.errors, QStringList());
        QCOMPARE(boxes.questions.size(), duplicates ? 1 : 0);
        QCOMPARE(located(readAgain()), located(conf.repos()));
        QCOMPARE(snapshot(at + "outside"), outside);
        for (const QString& item : after)
            QCOMPARE(describe(at, item.section(QRegularExpression("[|!]|->"), 0, 0)), item);
        // A file whose text did not change was not replaced either.
        const QMap<QString, QByteArray> now = snapshot(at + "root");
        for (auto it = now.cbegin(); it != now.cend(); ++it) {
            if (before.value(it.key()) == it.value() && inodes.contains(it.key()))
                QVERIFY2(inode(at + "root" + it.key()) == inodes.value(it.key()), qPrintable(it.key()));
        }
    }

    // New entries, a main file reached through a link, a linked repository file,
    // permissions and text that is no UTF-8.
    void writtenFiles()
    {
        QVERIFY(writeFile(path("/etc/dnf/dnf.conf"), "[main]\nreposdir=/etc/yum.repos.d\n[m]\nname=caf\xe9\n"));
        QCOMPARE(symlink("dnf/dnf.conf", QFile::encodeName(path("/etc/yum.conf")).constData()), 0);
        QVERIFY(writeFile(path("/etc/yum.repos.d/private.repo"), "[p]\n"));
        QCOMPARE(chmod(QFile::encodeName(path("/etc/yum.repos.d/private.repo")).constData(), 0600), 0);
        QVERIFY(writeFile(path("/srv/shared.repo"), "[s]\n"));
        // An absolute link names a file of the managed system.
        QCOMPARE(symlink("/srv/shared.repo", QFile::encodeName(path("/etc/yum.repos.d/shared.repo")).constData()), 0);
        Boxes boxes;
        YumConfIO conf(requests_, used_);
        QVERIFY(conf.read(nullptr));
        for (Repo::Entry& entry : conf.repos())
            entry.name += "!";
        Repo::Entry added;
        added.id = "new";
        added.baseurl = "http://a/\nhttp://b/";
        added.enabled = Repo::No;
        conf.repos().append(added);
        QVERIFY(conf.write(nullptr));
        QCOMPARE(boxes.errors, QStringList());
        QCOMPARE(readFile(path("/etc/yum.repos.d/new.repo")),
                 QByteArray("[new]\nbaseurl=http://a/\n        http://b/\nenabled=0\n"));
        QVERIFY(QFileInfo(path("/etc/yum.conf")).isSymLink());
        QVERIFY(QFileInfo(path("/etc/yum.repos.d/shared.repo")).isSymLink());
        // Text read byte for byte is written as UTF-8.
        QCOMPARE(readFile(path("/etc/dnf/dnf.conf")),
                 QByteArray("[main]\nreposdir=/etc/yum.repos.d\n[m]\nname=caf\xc3\xa9!\n"));
        QCOMPARE(readFile(path("/srv/shared.repo")), QByteArray("[s]\nname=!\n"));
        struct stat st;
        QCOMPARE(stat(QFile::encodeName(path("/etc/yum.repos.d/private.repo")).constData(), &st), 0);
        QCOMPARE(int(st.st_mode & 07777), 0600);
        // No temporary file is left behind.
        QCOMPARE(QDir(path("/etc/yum.repos.d")).entryList(QDir::Files | QDir::Hidden | QDir::System).size(), 3);
    }

    // ------------------------------------------------------------------ credentials

    void larderGetAuth_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("expected"); // nameKey|name|passwordKey|password, empty when not found
        QTest::newRow("query shape") << "http://h/larder?user=me&pass=pw&path=/x" << "user|me|pass|pw";
        QTest::newRow("path shape") << "https://h/rhel/u=a%40b/p=c%3Ad/os" << "u|a@b|p|c:d";
        QTest::newRow("query shape first") << "https://h/rhel/u=r/p=r/ http://h/larder?n=l&w=l&path=" << "n|l|w|l";
        QTest::newRow("nothing") << "http://h/repo/" << "";
    }

    void larderGetAuth()
    {
        QFETCH(QString, text);
        QString nameKey, name, passwordKey, password;
        const bool found = Repo::Larder::getAuth(text, nameKey, name, passwordKey, password);
        QTEST(found ? QStringList({nameKey, name, passwordKey, password}).join('|') : QString(), "expected");
        // An entry's baseurl comes before its mirror list.
        Repo::Entry entry;
        entry.mirrorlist = text;
        entry.baseurl = "http://h/larder?k=base&q=base&path=/";
        QVERIFY(Repo::Larder::getAuth(entry, nameKey, name, passwordKey, password) && name == "base");
    }

    void larderEncoding()
    {
        const QString plain = "$&+,/:;=?@ \"<>#%{}|\\^~[]\t\n\r\x7f kept-_.*!'()";
        const QString encoded = "%24%26%2b%2c%2f%3a%3b%3d%3f%40%20%22%3c%3e%23%25%7b%7d%7c%5c%5e%7e%5b%5d"
                                "%09%0a%0d%7f%20kept-_.*!'()";
        QCOMPARE(Repo::Larder::encode(plain), encoded);
        QCOMPARE(Repo::Larder::decode(encoded), plain);
        // A percent sign without two hexadecimal digits stays as it is.
        QCOMPARE(Repo::Larder::decode("5%x %4 %"), QStringLiteral("5%x %4 %"));
    }

    void checker_data()
    {
        QTest::addColumn<QList<int>>("answers");
        QTest::addColumn<QStringList>("asked");
        QTest::addColumn<QStringList>("names"); // l1 l2 l3 after the check, "" for blank
        QTest::addColumn<bool>("quit");
        QTest::addColumn<bool>("l1Used");
        using D = RepoAuth::Dialog;
        QTest::newRow("Apply to All with this Host")
            << QList<int>{D::ApplyToHost, D::Ok} << QStringList{"l1", "l3"}
            << QStringList{"user-l1", "user-l1", "user-l3"} << false << true;
        QTest::newRow("Disable for Session")
            << QList<int>{D::DisableForSession, D::Ok, D::Ok} << QStringList{"l1", "l2", "l3"}
            << QStringList{"", "user-l2", "user-l3"} << false << false;
        QTest::newRow("Skip All") << QList<int>{D::Ok, D::SkipAll} << QStringList{"l1", "l2"}
                                  << QStringList{"user-l1", "", ""} << false << true;
        QTest::newRow("Quit") << QList<int>{D::Quit} << QStringList{"l1"} << QStringList{"", "", ""} << true << true;
    }

    void checker()
    {
        QFETCH(QList<int>, answers);
        QFETCH(QStringList, names);
        writeRoot("[main]\ngpgcheck=0\nreposdir=/etc/yum.repos.d\n", {{"/etc/yum.repos.d/larder.repo", kLarderRepo}});
        const QMap<QString, QByteArray> before = snapshot(root());
        Boxes boxes;
        QStringList seen;
        boxes.otherDialog = [&](QDialog& dialog) {
            const QString id = dialog.findChild<QLabel*>("identifier")->text();
            seen << id;
            dialog.findChild<QLineEdit*>("authName")->setText("user-" + id);
            dialog.findChild<QLineEdit*>("authPassword")->setText("pw@" + id);
            return answers.isEmpty() ? -1 : answers.takeFirst();
        };
        YumConfIO conf(requests_, used_);
        RepoAuth::Checker checker(nullptr, conf);
        QTEST(seen, "asked");
        QTEST(checker.quit(), "quit");
        QTEST(used_.value("l1"), "l1Used");
        QCOMPARE(boxes.errors, QStringList());
        if (names == QStringList{"", "", ""}) {
            QCOMPARE(snapshot(root()), before);
            return;
        }
        QStringList actual;
        for (const Repo::Entry& entry : readAgain()) {
            QString nameKey, name, passwordKey, password;
            if (entry.id.startsWith('l') && Repo::Larder::getAuth(entry, nameKey, name, passwordKey, password)) {
                actual << name;
                if (!name.isEmpty())
                    QCOMPARE(password, "pw@" + name.mid(5));
            }
        }
        QCOMPARE(actual, names);
    }

    // ------------------------------------------------------------------ browsing and viewers

    void browse_data()
    {
        QTest::addColumn<QString>("baseurl");
        QTest::addColumn<QString>("mirrorlist");
        QTest::addColumn<QString>("address"); // empty: nothing to browse
        QTest::newRow("first of several") << "  http://a.example/x/\n\thttp://b.example/\n" << "http://m/"
                                          << "http://a.example/x/";
        QTest::newRow("variables") << "http://h/$releasever/$basearch/$arch/$basearch/$infra" << ""
                                   << "http://h/12/x86_64/i686/x86_64/$infra";
        QTest::newRow("mirror list") << "" << "http://m/list?arch=$basearch" << "http://m/list?arch=x86_64";
        QTest::newRow("no URL") << " \n " << "" << "";
    }

    // The address of an entry, then the entry browsed by identifier through the configuration.
    void browse()
    {
        QFETCH(QString, baseurl);
        QFETCH(QString, mirrorlist);
        QFETCH(QString, address);
        const QString record = share_.path() + "/webbrowser.args";
        Repo::Entry entry;
        entry.id = "r";
        entry.baseurl = baseurl;
        entry.mirrorlist = mirrorlist;
        QCOMPARE(RepoBrowse::address(entry, engine_), address);
        writeRoot("[main]\n", {{"/etc/yum.repos.d/b.repo", "[other]\nbaseurl=http://other/\n\n[r]\nbaseurl="
                                                                + baseurl.toUtf8().replace('\n', "\n ")
                                                                + "\nmirrorlist=" + mirrorlist.toUtf8() + "\n"}});
        YumConfIO conf(requests_, used_);
        QVERIFY(conf.read(nullptr));
        Boxes boxes;
        QFile::remove(record);
        QCOMPARE(RepoBrowse::browse(nullptr, QStringLiteral("r"), engine_, conf), !address.isEmpty());
        if (!address.isEmpty())
            QTRY_COMPARE(QString::fromUtf8(readFile(record)), address + "\n");
        QVERIFY(!RepoBrowse::browse(nullptr, QStringLiteral("unknown"), engine_, conf));
        QCOMPARE(boxes.errors, address.isEmpty() ? QStringList{"Error|Repository configuration has no URL"}
                                                 : QStringList());
    }

    void executeLeavesNoZombie()
    {
        QTemporaryDir dir;
        const QString marker = dir.path() + "/ran";
        const QString script = dir.path() + "/viewer";
        QVERIFY(writeFile(script, "#!/bin/sh\nsleep 0.3\necho \"$1\" > \"$2\"\n"));
        QVERIFY(QFile::setPermissions(script, QFile::ReadOwner | QFile::ExeOwner));
        Execute::execute(nullptr, QStringList{script, "first", marker + "1"});
        // The viewers run on while the program goes on, and are no child of it, living or dead.
        const auto noChild = [] { return waitpid(-1, nullptr, WNOHANG) == -1 && errno == ECHILD; };
        QVERIFY(noChild());
        QTRY_COMPARE(readFile(marker + "1"), QByteArray("first\n"));
        QVERIFY(noChild());
    }

    // A viewer that cannot show its target (none installed, or missing) is reported with
    // the target, so that the user can open it by hand; one that shows it is not.
    void executeReportsFailure_data()
    {
        QTest::addColumn<QByteArray>("script"); // empty: no viewer program at all
        QTest::addColumn<bool>("reported");
        QTest::newRow("shown") << QByteArray("#!/bin/sh\nexit 0\n") << false;
        QTest::newRow("nothing to show it with") << QByteArray("#!/bin/sh\nexit 1\n") << true;
        QTest::newRow("viewer missing") << QByteArray() << true;
    }

    void executeReportsFailure()
    {
        QFETCH(QByteArray, script);
        QFETCH(bool, reported);
        QTemporaryDir dir;
        const QString viewer = dir.path() + "/viewer";
        if (!script.isEmpty()) {
            QVERIFY(writeFile(viewer, script));
            QVERIFY(QFile::setPermissions(viewer, QFile::ReadOwner | QFile::ExeOwner));
        }
        QStringList shown;
        ModalAnswer::install([&shown](QDialog& dialog) {
            shown << dialog.windowTitle() + "|" + static_cast<QMessageBox&>(dialog).text();
            return int(QMessageBox::Ok);
        });
        QObject* watch = Execute::execute(nullptr, QStringList{viewer, "text/html", "/usr/share/doc/x/index.html"});
        QVERIFY(watch);
        QSignalSpy done(watch, &QObject::destroyed);
        QVERIFY(done.wait(30000));
        ModalAnswer::clear();
        QCOMPARE(shown, reported ? QStringList{"Cannot Open|No program could show this; open it by hand:\n\n"
                                               "/usr/share/doc/x/index.html"}
                                 : QStringList());
    }

private:
    QString root() const { return root_->path(); }
    QString path(const QString& systemPath) const { return root() + systemPath; }

    void writeRoot(const QByteArray& mainConf, const QMap<QString, QByteArray>& files = {})
    {
        QVERIFY(writeFile(path("/etc/yum.conf"), mainConf));
        QDir().mkpath(path("/etc/yum.repos.d"));
        for (auto it = files.cbegin(); it != files.cend(); ++it)
            QVERIFY(writeFile(path(it.key()), it.value()));
    }

    QList<Repo::Entry> readAgain()
    {
        UseTable used;
        YumConfIO conf(requests_, used);
        return conf.read(nullptr) ? conf.repos() : QList<Repo::Entry>();
    }

    std::unique_ptr<QTemporaryDir> root_;
    QTemporaryDir share_;
    QList<YumRepoEnabled> requests_;
    UseTable used_;
    YumIO* engine_ = nullptr;
};

QTEST_MAIN(TestRepo)
#include "tst_repo.moc"
