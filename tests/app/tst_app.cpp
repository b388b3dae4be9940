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
    std::fflush(file);
    std::rewind(file);
    QByteArray data;
    char buffer[4096];
    size_t n;
    while ((n = std::fread(buffer, 1, sizeof buffer, file)) > 0)
        data.append(buffer, int(n));
    std::fclose(file);
    return QString::fromLocal8Bit(data);
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
    QString err;
};

Parsed parse(MainWindow& window, const QStringList& words)
{
    Argv args(words);
    std::FILE* out = std::tmpfile();
    std::FILE* err = std::tmpfile();
    const int status = CommandLine::parse(args.argc(), args.pointers.data(), window, out, err);
    return { status, readAll(out), readAll(err) };
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
        QFile::setPermissions(runtimeDir_.path(),
                              QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ExeOwner);
        // Keep the toolkit's user settings of the person running the tests out of reach.
        qputenv("XDG_CONFIG_HOME", configHome_.path().toLocal8Bit());
        qunsetenv("QT_STYLE_OVERRIDE");
        program = "orvo";
    }

    // The real program: what a user sees on the terminal, and the exit status.
    void binary_data()
    {
        QTest::addColumn<QStringList>("args");
        QTest::addColumn<QString>("err");

        auto row = [](const char* args, const char* err) {
            QTest::newRow(args) << QString(args).split(' ') << QString(err);
        };
        row("--help", "");
        row("-h", "");
        row("-H", "");
        row("-d", "orvo: unrecognized option letter: d\n");
        row("--state=allx", "orvo: unrecogized argument to -s/--state option: allx\n");
        row("-m x", "orvo: unrecogized argument to -m/--mode option: x\n");
        row("-e", "orvo: unrecognized option letter: e\n"); // its argument missing
        row("--bogus", "orvo: unrecogized option: --bogus\n");
        row("-g extra -l", "orvo: unrecognized argument: extra\n");
        row("word --help", "orvo: unrecognized argument: word\n");
    }

    void binary()
    {
        QFETCH(QStringList, args);
        QFETCH(QString, err);

        QProcess process;
        // Only the program's own messages: keep the toolkit from warning about its runtime dir.
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        env.insert("XDG_RUNTIME_DIR", runtimeDir_.path());
        process.setProcessEnvironment(env);
        process.start(QString::fromLocal8Bit(qgetenv("ORVO_BINARY_DIR")) + "/orvo", args);
        QVERIFY(process.waitForStarted());
        process.closeWriteChannel();
        QVERIFY(process.waitForFinished(30000));
        QCOMPARE(process.exitStatus(), QProcess::NormalExit);
        QCOMPARE(process.exitCode(), 1);
        QCOMPARE(QString::fromLocal8Bit(process.readAllStandardError()), err);
        // The usage, whole, on the standard output.
        const QString out = QString::fromLocal8Bit(process.readAllStandardOutput());
        QVERIFY2(out.startsWith("usage: orvo [options...]\n\nOrvo, Orvonet, is a graphical")
                     && out.endsWith("--enablerepo=r   enable the specified repository, r\n\n"),
                 qPrintable(out));
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
        row("--state=", 0, 0, true);
        row("--mode=", 0, 0, true);
        row("--mode=f", 0, 0, true);
        row("--mode=sea", 1, 0, true);
        row("--mode=search", 1, 0, true);
        row("--mode=searchx", 0, 0, false);
        row("--state=i", 0, 1, true);
        row("-sinst", 0, 1, true);
        row("--state=r", 0, 2, true);
        row("--state=al", 0, 3, true);
        row("--state=all", 0, 3, true);
        row("--state=allx", 0, 0, false);
        row("--state=All", 0, 0, false); // case matters
    }

    void keywords()
    {
        QFETCH(QString, option);
        QFETCH(int, mode);
        QFETCH(int, state);
        QFETCH(bool, ok);

        MainWindow window;
        const Parsed parsed = parse(window, { option });
        QCOMPARE(parsed.status, ok ? int(CommandLine::Continue) : 1);
        QCOMPARE(parsed.out.isEmpty(), ok);
        QCOMPARE(int(window.mode()), mode);
        QCOMPARE(int(window.stateFilter()), state);
    }

    void options()
    {
        MainWindow window;
        QVERIFY(window.dups());
        QVERIFY(!window.groups());
        QCOMPARE(window.regexp(), QString(".*"));

        // A later option of a kind overrides an earlier one.
        const Parsed parsed = parse(window, { "--duplicates", "-g", "-r", "-l", "-e", "x", "-s", "all", "-e",
                                              "^kern", "-ms", "--state=removable" });
        QCOMPARE(parsed.status, int(CommandLine::Continue));
        QVERIFY(parsed.err.isEmpty());
        QVERIFY(!window.dups());
        QVERIFY(window.groups());
        QVERIFY(window.openRepoEditorAtStart);
        QVERIFY(window.openLogAtStart);
        QCOMPARE(window.regexp(), QString("^kern"));
        QCOMPARE(window.mode(), PackageTable::Search);
        QCOMPARE(window.stateFilter(), PackageTable::Removable);
    }

    void stopsAtFirstWord()
    {
        MainWindow window;
        QCOMPARE(parse(window, { "-g", "extra", "-l" }).status, 1);
        QVERIFY(window.groups());
        QVERIFY(!window.openLogAtStart);
    }

    void repoRequestsInOrder()
    {
        MainWindow window;
        const Parsed parsed =
            parse(window, { "--enablerepo=upd*", "--disablerepo", "upd-test", "--enablerepo=x" });
        QCOMPARE(parsed.status, int(CommandLine::Continue));
        const auto& requests = window.yumRepoEnabled;
        QCOMPARE(requests.size(), 3);
        QVERIFY(requests[0].enable && requests[0].matches("updates"));
        QVERIFY(!requests[1].enable && requests[1].matches("upd-test"));
        QVERIFY(!requests[1].matches("upd-testing"));
        QVERIFY(requests[2].enable && requests[2].matches("x"));
    }

    void wildcard_data()
    {
        QTest::addColumn<QString>("pattern");
        QTest::addColumn<QString>("id");
        QTest::addColumn<bool>("matches");

        QTest::newRow("star whole") << "upd*" << "updates" << true;
        QTest::newRow("star needs prefix") << "upd*" << "xupdates" << false;
        QTest::newRow("plain is whole id") << "base" << "base-debug" << false;
        QTest::newRow("case-sensitive") << "Base" << "base" << false;
        QTest::newRow("question") << "fc?" << "fc9" << true;
        QTest::newRow("question one only") << "fc?" << "fc10" << false;
        QTest::newRow("set") << "repo[12]" << "repo2" << true;
        QTest::newRow("set miss") << "repo[12]" << "repo3" << false;
        QTest::newRow("negated set") << "repo[!12]" << "repo3" << true;
        QTest::newRow("range") << "r[a-c]" << "rb" << true;
        QTest::newRow("dot literal") << "a.b" << "axb" << false;
        QTest::newRow("star crosses slash") << "a*" << "a/b" << true;
        QTest::newRow("unclosed bracket") << "a[b" << "a[b" << true;
        QTest::newRow("star alone") << "*" << "" << true;
    }

    void wildcard()
    {
        QFETCH(QString, pattern);
        QFETCH(QString, id);
        QFETCH(bool, matches);
        QCOMPARE(YumRepoEnabled(true, pattern).matches(id), matches);
    }

    void shareAbsolute_data()
    {
        QTest::addColumn<QByteArray>("value"); // null: unset
        QTest::addColumn<QString>("expected");

        QTest::newRow("set") << QByteArray("/opt/x") << "/opt/x/pixmaps/orvo.icon.png";
        QTest::newRow("trailing slash") << QByteArray("/opt/x/") << "/opt/x//pixmaps/orvo.icon.png";
        QTest::newRow("empty") << QByteArray("") << "/pixmaps/orvo.icon.png";
        QTest::newRow("unset") << QByteArray() << "/usr/share/orvo/pixmaps/orvo.icon.png";
    }

    void shareAbsolute()
    {
        QFETCH(QByteArray, value);
        QFETCH(QString, expected);
        const ScopedEnv share("ORVOSHARE", value);
        QCOMPARE(Share::absolute("pixmaps/orvo.icon.png"), expected);
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

    void defaultStyle_data()
    {
        QTest::addColumn<QStringList>("args");
        QTest::addColumn<bool>("chosen");

        QTest::newRow("none") << QStringList {} << false;
        QTest::newRow("-style=windows") << QStringList { "-style=windows" } << true;
        QTest::newRow("-style windows") << QStringList { "-g", "-style", "windows" } << true;
        QTest::newRow("-stylex") << QStringList { "-stylex" } << false;
    }

    void defaultStyle()
    {
        QFETCH(QStringList, args);
        QFETCH(bool, chosen);
        Argv argv(args);
        QCOMPARE(DefaultStyle(argv.argc(), argv.pointers.data()).userChosen(), chosen);
    }

    void styleFromSettings()
    {
        Argv argv({});
        auto setStyle = [](const QVariant& style) {
            QSettings settings(QSettings::UserScope, "Trolltech");
            style.isValid() ? settings.setValue("Qt/style", style) : settings.remove("Qt/style");
        };
        setStyle("Windows");
        QVERIFY(DefaultStyle(1, argv.pointers.data()).userChosen());
        setStyle(QVariant());
        const DefaultStyle unchosen(1, argv.pointers.data());
        QVERIFY(!unchosen.userChosen());

        // Not chosen: our style with its own standard palette.
        unchosen.set(*qApp, "Fusion");
        QCOMPARE(QApplication::style()->name().toLower(), QString("fusion"));
        QCOMPARE(QApplication::palette().color(QPalette::Window),
                 QApplication::style()->standardPalette().color(QPalette::Window));
    }

    void sizeHintAtLeast768()
    {
        MainWindow window;
        QVERIFY(window.sizeHint().width() >= 768);
        QVERIFY(window.windowTitle().startsWith("Orvo - "));
    }

private:
    QTemporaryDir configHome_;
    QTemporaryDir runtimeDir_;
};

QTEST_MAIN(TestApp)
#include "tst_app.moc"
