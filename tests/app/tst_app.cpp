#include "app/CommandLine.h"
#include "app/DefaultStyle.h"
#include "app/Environment.h"
#include "app/Globals.h"
#include "app/MainWindow.h"
#include "app/Share.h"

#include <QProcess>
#include <QSettings>
#include <QStyle>
#include <QTemporaryDir>
#include <QtTest>

#include <cstdio>
#include <vector>

namespace {

QString readAll(std::FILE* file)
{
    std::rewind(file);
    QFile in;
    in.open(file, QIODevice::ReadOnly, QFileDevice::AutoCloseHandle);
    return QString::fromLocal8Bit(in.readAll());
}

// "orvo" followed by the words, as main() receives them.
struct Argv {
    explicit Argv(const QStringList& words)
    {
        storage.push_back("orvo");
        for (const QString& w : words)
            storage.push_back(w.toLocal8Bit());
        for (QByteArray& s : storage)
            pointers.push_back(s.data());
        pointers.push_back(nullptr);
    }
    int argc() const { return int(storage.size()); }
    std::vector<QByteArray> storage;
    std::vector<char*> pointers;
};

// Sets a variable (unsets it for a null value) for the lifetime of the object.
struct ScopedEnv {
    ScopedEnv(const char* name, const QByteArray& value)
        : name(name), saved(qgetenv(name)), wasSet(qEnvironmentVariableIsSet(name))
    {
        value.isNull() ? qunsetenv(name) : qputenv(name, value);
    }
    ~ScopedEnv() { wasSet ? qputenv(name, saved) : qunsetenv(name); }
    const char* name;
    QByteArray saved;
    bool wasSet;
};

// Runs the parser in-process on a fresh window, so that the window's state can be read.
struct Parsed {
    int status;
    QString out;
};

Parsed parse(MainWindow& window, const QStringList& words)
{
    Argv args(words);
    std::FILE* out = std::tmpfile();
    std::FILE* err = std::tmpfile();
    const int status = CommandLine::parse(args.argc(), args.pointers.data(), window, out, err);
    std::fclose(err);
    return { status, readAll(out) };
}

} // namespace

class TestApp final : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY(configHome_.isValid());
        QVERIFY(runtimeDir_.isValid());
        QFile::setPermissions(runtimeDir_.path(), QFileDevice::ReadOwner | QFileDevice::WriteOwner
                                                      | QFileDevice::ExeOwner);
        // Keep the toolkit's user settings of the person running the tests out of reach.
        qputenv("XDG_CONFIG_HOME", configHome_.path().toLocal8Bit());
        qunsetenv("QT_STYLE_OVERRIDE");
        program = "orvo";
    }

    // The real program on a terminal with no display: what a user sees, and the exit status.
    void binary_data()
    {
        QTest::addColumn<QStringList>("args");
        QTest::addColumn<QStringList>("env"); // NAME=value, added to a display-less environment
        QTest::addColumn<QString>("err");
        QTest::addColumn<bool>("usage");

        auto row = [](const char* args, const char* env, const char* err, bool usage) {
            QTest::newRow(args) << QString(args).split(' ') << QString(env).split(' ', Qt::SkipEmptyParts)
                                << QString(err) << usage;
        };
        row("--help", "", "", true);
        row("-H", "", "", true);
        row("-d", "", "orvo: unrecognized option letter: d\n", true);
        row("--state=allx", "", "orvo: unrecogized argument to -s/--state option: allx\n", true);
        row("--bogus", "", "orvo: unrecogized option: --bogus\n", true);
        row("-g extra -l", "", "orvo: unrecognized argument: extra\n", true);
        // The toolkit's own options are left to it, as it takes them out before parsing.
        row("-style fusion -platform offscreen -h", "", "", true);
        row("--platform offscreen -style=fusion -reverse -g extra", "", "orvo: unrecognized argument: extra\n", true);
        row("-g", "", "orvo: cannot open a window: no display (DISPLAY is not set)\n", false);
        row("-l", "DISPLAY=:197", "orvo: cannot open a window: cannot connect to display \":197\"\n", false);
        row("-r", "QT_QPA_PLATFORM=nosuchplatform", "orvo: cannot start the window system \"nosuchplatform\"\n",
            false);
        row("-m search", "ORVOROOT=/nonexistent/root", "orvo: ORVOROOT: not a directory: /nonexistent/root\n", false);
    }

    void binary()
    {
        QFETCH(QStringList, args);
        QFETCH(QStringList, env);
        QFETCH(bool, usage);
        QProcess process;
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        for (const char* name : { "DISPLAY", "WAYLAND_DISPLAY", "QT_QPA_PLATFORM", "ORVOROOT" })
            environment.remove(name);
        // Only the program's own messages: keep the toolkit from warning about its runtime dir.
        environment.insert("XDG_RUNTIME_DIR", runtimeDir_.path());
        for (const QString& setting : env)
            environment.insert(setting.section('=', 0, 0), setting.section('=', 1));
        process.setProcessEnvironment(environment);
        process.start(QString::fromLocal8Bit(qgetenv("ORVO_BINARY_DIR")) + "/orvo", args);
        QVERIFY(process.waitForStarted());
        process.closeWriteChannel();
        QVERIFY(process.waitForFinished(30000));
        QCOMPARE(process.exitStatus(), QProcess::NormalExit);
        QCOMPARE(process.exitCode(), 1);
        QTEST(QString::fromLocal8Bit(process.readAllStandardError()), "err");
        const QString out = QString::fromLocal8Bit(process.readAllStandardOutput());
        if (!usage) {
            QCOMPARE(out, QString());
            return;
        }
        QVERIFY(out.startsWith("usage: orvo [options...]\n"));
        QVERIFY2(out.endsWith("enable the specified repository, r\n\n"), qPrintable(out));
    }

    void keywords_data()
    {
        QTest::addColumn<QString>("option");
        QTest::addColumn<int>("mode");
        QTest::addColumn<int>("state");
        QTest::addColumn<bool>("ok");

        auto row = [](const char* option, int mode, int state, bool ok) {
            QTest::newRow(option) << QString(option) << mode << state << ok;
        };
        row("--mode=", 0, 0, true);
        row("--mode=sea", 1, 0, true);
        row("--mode=searchx", 0, 0, false);
        row("-sinst", 0, 1, true);
        row("--state=All", 0, 0, false); // case matters
    }

    void keywords()
    {
        QFETCH(QString, option);
        QFETCH(int, mode);
        QFETCH(bool, ok);
        MainWindow window;
        const Parsed parsed = parse(window, { option });
        QCOMPARE(parsed.status, ok ? int(CommandLine::Continue) : 1);
        QCOMPARE(parsed.out.isEmpty(), ok);
        QCOMPARE(int(window.mode()), mode);
        QTEST(int(window.stateFilter()), "state");
    }

    void options()
    {
        MainWindow window;
        // A later option of a kind overrides an earlier one; repository requests keep their order.
        const Parsed parsed = parse(window, {"--duplicates", "-g", "-r", "-l", "-e", "x", "-s",
                                             "all", "-e", "^kern", "-ms", "--state=removable",
                                             "--enablerepo=upd*", "--disablerepo", "upd-test"});
        QCOMPARE(parsed.status, int(CommandLine::Continue));
        QVERIFY(!window.dups());
        QVERIFY(window.groups());
        QVERIFY(window.openRepoEditorAtStart);
        QVERIFY(window.openLogAtStart);
        QCOMPARE(window.regexp(), QString("^kern"));
        QCOMPARE(window.mode(), PackageTable::Search);
        QCOMPARE(window.stateFilter(), PackageTable::Removable);
        const auto& requests = window.yumRepoEnabled;
        QCOMPARE(requests.size(), 2);
        QVERIFY(requests[0].enable && requests[0].matches("updates"));
        QVERIFY(!requests[1].enable && requests[1].matches("upd-test"));
    }

    void wildcard_data()
    {
        QTest::addColumn<QString>("pattern");
        QTest::addColumn<QString>("id");
        QTest::addColumn<bool>("matches");

        QTest::newRow("star needs prefix") << "upd*" << "xupdates" << false;
        QTest::newRow("plain is whole id") << "base" << "base-debug" << false;
        QTest::newRow("question one only") << "fc?" << "fc10" << false;
        QTest::newRow("negated set") << "repo[!12]" << "repo3" << true;
        QTest::newRow("dot literal") << "a.b" << "axb" << false;
        QTest::newRow("unclosed bracket") << "a[b" << "a[b" << true;
    }

    void wildcard()
    {
        QFETCH(QString, pattern);
        QFETCH(QString, id);
        QTEST(YumRepoEnabled(true, pattern).matches(id), "matches");
    }

    // Without ORVOSHARE, the installed share directory; every engine test on a stand-in
    // share finds its script through the variable.
    void shareDefault()
    {
        const ScopedEnv share("ORVOSHARE", QByteArray());
        QCOMPARE(Share::absolute("pixmaps/orvo.icon.png"), QString("/usr/share/orvo/pixmaps/orvo.icon.png"));
    }

    void relativePaths_data()
    {
        QTest::addColumn<QByteArray>("value");
        QTest::addColumn<QString>("expected"); // @CWD@ the folder started in

        QTest::newRow("relative") << QByteArray("build/demo-root") << "@CWD@/build/demo-root";
        QTest::newRow("dots and a trailing slash") << QByteArray("./a/../b/") << "@CWD@/b";
        QTest::newRow("absolute, as given") << QByteArray("/opt/x/") << "/opt/x/";
        QTest::newRow("empty keeps its meaning") << QByteArray("") << "";
    }

    void relativePaths()
    {
        QFETCH(QByteArray, value);
        QFETCH(QString, expected);
        expected.replace("@CWD@", QDir::currentPath());

        const ScopedEnv root("ORVOROOT", value);
        const ScopedEnv share("ORVOSHARE", value);
        Environment::makePathsAbsolute();
        QCOMPARE(qEnvironmentVariable("ORVOROOT"), expected);
        QCOMPARE(qEnvironmentVariable("ORVOSHARE"), expected);
        QVERIFY(qEnvironmentVariableIsSet("ORVOSHARE"));
    }

    void style()
    {
        Argv given({"-g", "-style", "windows"});
        QVERIFY(DefaultStyle(given.argc(), given.pointers.data()).userChosen());
        Argv argv({"-stylex"});
        auto setStyle = [](const QVariant& style) {
            QSettings settings(QSettings::UserScope, "Trolltech");
            style.isValid() ? settings.setValue("Qt/style", style) : settings.remove("Qt/style");
        };
        setStyle("Windows");
        QVERIFY(DefaultStyle(argv.argc(), argv.pointers.data()).userChosen());
        setStyle(QVariant());
        const DefaultStyle unchosen(argv.argc(), argv.pointers.data());
        QVERIFY(!unchosen.userChosen());

        // Not chosen: our style with its own standard palette.
        unchosen.set(*qApp, "Fusion");
        QCOMPARE(QApplication::style()->name().toLower(), QString("fusion"));
        QCOMPARE(QApplication::palette().color(QPalette::Window),
                 QApplication::style()->standardPalette().color(QPalette::Window));
    }

private:
    QTemporaryDir configHome_;
    QTemporaryDir runtimeDir_;
};

QTEST_MAIN(TestApp)
#include "tst_app.moc"
