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

const char* const kUsage =
    "usage: orvo [options...]\n"
    "\n"
    "Orvo, Orvonet, is a graphical user interface which allows a user\n"
    "to make modifications to the installed rpm packages on a system.\n"
    "\n"
    "options:\n"
    "\n"
    "   -h, -H, --help           display this help information\n"
    "   -m m,   --mode=m         start with the package table mode, m:\n"
    "                               filter, search\n"
    "   -e r,   --regexp=r       start with the package table regexp, r\n"
    "   -s s,   --state=s        start with the package table state, s:\n"
    "                               updatable, installable, removable, all\n"
    "   -d,     --duplicates     start with the package table omitting duplicates\n"
    "   -g,     --groups         start with the package table showing groups\n"
    "   -r,     --repo-editor    start by bringing up the repository configuration\n"
    "                            editor\n"
    "   -l,     --log            start with the log window displayed\n"
    "           --disablerepo=r  disable the specified repository, r\n"
    "           --enablerepo=r   enable the specified repository, r\n"
    "\n";

QString readAll(std::FILE* file)
{
    std::fflush(file);
    std::rewind(file);
    QByteArray data;
    char buffer[4096];
    size_t n;
    while ((n = std::fread(buffer, 1, sizeof buffer, file)) > 0)
        data.append(buffer, int(n));
    return QString::fromLocal8Bit(data);
}

// Runs the parser in-process on a fresh window, so that the window's state can be read.
struct Parsed {
    int status;
    QString out;
    QString err;
};

Parsed parse(MainWindow& window, const QStringList& words)
{
    std::vector<QByteArray> storage;
    storage.push_back("orvo");
    for (const QString& w : words)
        storage.push_back(w.toLocal8Bit());
    std::vector<char*> argv;
    for (QByteArray& s : storage)
        argv.push_back(s.data());
    argv.push_back(nullptr);
    std::FILE* out = std::tmpfile();
    std::FILE* err = std::tmpfile();
    const int status = CommandLine::parse(int(storage.size()), argv.data(), window, out, err);
    Parsed result { status, readAll(out), readAll(err) };
    std::fclose(out);
    std::fclose(err);
    return result;
}

} // namespace

class TestApp final : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();

    void binary_data();
    void binary();

    void keywords_data();
    void keywords();

    void options();
    void stopsAtFirstWord();
    void repoRequestsInOrder();

    void wildcard_data();
    void wildcard();

    void shareAbsolute_data();
    void shareAbsolute();
    void relativePaths_data();
    void relativePaths();

    void defaultStyle_data();
    void defaultStyle();
    void styleFromSettings();

    void sizeHintAtLeast768();

private:
    QTemporaryDir configHome_;
    QTemporaryDir runtimeDir_;
};

void TestApp::initTestCase()
{
    QVERIFY(configHome_.isValid());
    QVERIFY(runtimeDir_.isValid());
    QFile::setPermissions(runtimeDir_.path(), QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ExeOwner);
    // Keep the toolkit's user settings of the person running the tests out of reach.
    qputenv("XDG_CONFIG_HOME", configHome_.path().toLocal8Bit());
    qunsetenv("QT_STYLE_OVERRIDE");
    program = "orvo";
}

// The real program: what a user sees on the terminal, and the exit status.
void TestApp::binary_data()
{
    QTest::addColumn<QStringList>("args");
    QTest::addColumn<QString>("err");
    QTest::addColumn<bool>("usage");

    QTest::newRow("--help") << QStringList { "--help" } << QString() << true;
    QTest::newRow("-h") << QStringList { "-h" } << QString() << true;
    QTest::newRow("-H") << QStringList { "-H" } << QString() << true;
    QTest::newRow("-d rejected") << QStringList { "-d" }
                                 << "orvo: unrecognized option letter: d\n" << true;
    QTest::newRow("state allx") << QStringList { "--state=allx" }
                                << "orvo: unrecogized argument to -s/--state option: allx\n" << true;
    QTest::newRow("mode x") << QStringList { "-m", "x" }
                            << "orvo: unrecogized argument to -m/--mode option: x\n" << true;
    QTest::newRow("missing argument") << QStringList { "-e" }
                                      << "orvo: unrecognized option letter: e\n" << true;
    QTest::newRow("unknown long") << QStringList { "--bogus" }
                                  << "orvo: unrecogized option: --bogus\n" << true;
    QTest::newRow("stops at extra") << QStringList { "-g", "extra", "-l" }
                                    << "orvo: unrecognized argument: extra\n" << true;
    QTest::newRow("help after bad word") << QStringList { "word", "--help" }
                                         << "orvo: unrecognized argument: word\n" << true;
}

void TestApp::binary()
{
    QFETCH(QStringList, args);
    QFETCH(QString, err);
    QFETCH(bool, usage);

    QProcess process;
    // Only the program's own messages: keep the toolkit from warning about its runtime dir.
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    env.insert("XDG_RUNTIME_DIR", runtimeDir_.path());
    process.setProcessEnvironment(env);
    process.setProgram(QString::fromLocal8Bit(qgetenv("ORVO_BINARY_DIR")) + "/orvo");
    process.setArguments(args);
    process.start();
    QVERIFY(process.waitForStarted());
    process.closeWriteChannel();
    QVERIFY(process.waitForFinished(30000));
    QCOMPARE(process.exitStatus(), QProcess::NormalExit);
    QCOMPARE(process.exitCode(), 1);
    QCOMPARE(QString::fromLocal8Bit(process.readAllStandardError()), err);
    QCOMPARE(QString::fromLocal8Bit(process.readAllStandardOutput()), usage ? QString(kUsage) : QString());
}

void TestApp::keywords_data()
{
    QTest::addColumn<QString>("option");
    QTest::addColumn<int>("mode");
    QTest::addColumn<int>("state");
    QTest::addColumn<bool>("ok");

    QTest::newRow("empty state") << "--state=" << 0 << 0 << true;
    QTest::newRow("empty mode") << "--mode=" << 0 << 0 << true;
    QTest::newRow("f") << "--mode=f" << 0 << 0 << true;
    QTest::newRow("sea") << "--mode=sea" << 1 << 0 << true;
    QTest::newRow("search") << "--mode=search" << 1 << 0 << true;
    QTest::newRow("searchx") << "--mode=searchx" << 0 << 0 << false;
    QTest::newRow("i") << "--state=i" << 0 << 1 << true;
    QTest::newRow("inst") << "-sinst" << 0 << 1 << true;
    QTest::newRow("r") << "--state=r" << 0 << 2 << true;
    QTest::newRow("al") << "--state=al" << 0 << 3 << true;
    QTest::newRow("all") << "--state=all" << 0 << 3 << true;
    QTest::newRow("allx") << "--state=allx" << 0 << 0 << false;
    QTest::newRow("case matters") << "--state=All" << 0 << 0 << false;
}

void TestApp::keywords()
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

void TestApp::options()
{
    MainWindow window;
    QVERIFY(window.dups());
    QVERIFY(!window.groups());
    QCOMPARE(window.regexp(), QString(".*"));

    // A later option of a kind overrides an earlier one.
    const Parsed parsed = parse(window, { "--duplicates", "-g", "-r", "-l", "-e", "x", "-s", "all", "-e", "^kern",
                                          "-ms", "--state=removable" });
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

void TestApp::stopsAtFirstWord()
{
    MainWindow window;
    const Parsed parsed = parse(window, { "-g", "extra", "-l" });
    QCOMPARE(parsed.status, 1);
    QCOMPARE(parsed.err, QString("orvo: unrecognized argument: extra\n"));
    QVERIFY(window.groups());
    QVERIFY(!window.openLogAtStart);
}

void TestApp::repoRequestsInOrder()
{
    MainWindow window;
    const Parsed parsed = parse(window, { "--enablerepo=upd*", "--disablerepo", "upd-test", "--enablerepo=x" });
    QCOMPARE(parsed.status, int(CommandLine::Continue));
    QCOMPARE(window.yumRepoEnabled.size(), 3);
    QCOMPARE(window.yumRepoEnabled[0].enable, true);
    QVERIFY(window.yumRepoEnabled[0].matches("updates"));
    QCOMPARE(window.yumRepoEnabled[1].enable, false);
    QVERIFY(window.yumRepoEnabled[1].matches("upd-test"));
    QVERIFY(!window.yumRepoEnabled[1].matches("upd-testing"));
    QCOMPARE(window.yumRepoEnabled[2].enable, true);

    // A copy matches as the original does.
    const YumRepoEnabled copy(window.yumRepoEnabled[0]);
    QVERIFY(copy.enable);
    QVERIFY(copy.matches("upd"));
}

void TestApp::wildcard_data()
{
    QTest::addColumn<QString>("pattern");
    QTest::addColumn<QString>("id");
    QTest::addColumn<bool>("matches");

    QTest::newRow("star whole") << "upd*" << "updates" << true;
    QTest::newRow("star needs prefix") << "upd*" << "xupdates" << false;
    QTest::newRow("plain is whole id") << "base" << "base-debug" << false;
    QTest::newRow("plain equal") << "base" << "base" << true;
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

void TestApp::wildcard()
{
    QFETCH(QString, pattern);
    QFETCH(QString, id);
    QFETCH(bool, matches);
    QCOMPARE(YumRepoEnabled(true, pattern).matches(id), matches);
}

void TestApp::shareAbsolute_data()
{
    QTest::addColumn<QByteArray>("value");
    QTest::addColumn<bool>("set");
    QTest::addColumn<QString>("expected");

    QTest::newRow("set") << QByteArray("/opt/x") << true << "/opt/x/pixmaps/orvo.icon.png";
    QTest::newRow("trailing slash") << QByteArray("/opt/x/") << true << "/opt/x//pixmaps/orvo.icon.png";
    QTest::newRow("empty") << QByteArray("") << true << "/pixmaps/orvo.icon.png";
    QTest::newRow("unset") << QByteArray() << false << "/usr/share/orvo/pixmaps/orvo.icon.png";
}

void TestApp::shareAbsolute()
{
    QFETCH(QByteArray, value);
    QFETCH(bool, set);
    QFETCH(QString, expected);

    const QByteArray saved = qgetenv("ORVOSHARE");
    const bool wasSet = qEnvironmentVariableIsSet("ORVOSHARE");
    if (set)
        qputenv("ORVOSHARE", value);
    else
        qunsetenv("ORVOSHARE");
    const QString path = Share::absolute("pixmaps/orvo.icon.png");
    if (wasSet)
        qputenv("ORVOSHARE", saved);
    else
        qunsetenv("ORVOSHARE");
    QCOMPARE(path, expected);
}

void TestApp::relativePaths_data()
{
    QTest::addColumn<QByteArray>("value");
    QTest::addColumn<QString>("expected"); // @CWD@ the folder started in

    QTest::newRow("relative") << QByteArray("build/demo-root") << "@CWD@/build/demo-root";
    QTest::newRow("dots and a trailing slash") << QByteArray("./a/../b/") << "@CWD@/b";
    QTest::newRow("absolute, as given") << QByteArray("/opt/x/") << "/opt/x/";
    QTest::newRow("empty keeps its meaning") << QByteArray("") << "";
}

void TestApp::relativePaths()
{
    QFETCH(QByteArray, value);
    QFETCH(QString, expected);
    expected.replace("@CWD@", QDir::currentPath());

    const char* const names[] = {"ORVOROOT", "ORVOSHARE"};
    QByteArray saved[2];
    bool wasSet[2];
    for (int i = 0; i < 2; ++i) {
        saved[i] = qgetenv(names[i]);
        wasSet[i] = qEnvironmentVariableIsSet(names[i]);
        qputenv(names[i], value);
    }
    Environment::makePathsAbsolute();
    const QString root = qEnvironmentVariable("ORVOROOT");
    const QString share = qEnvironmentVariable("ORVOSHARE");
    const bool shareSet = qEnvironmentVariableIsSet("ORVOSHARE");
    for (int i = 0; i < 2; ++i) {
        if (wasSet[i])
            qputenv(names[i], saved[i]);
        else
            qunsetenv(names[i]);
    }
    QCOMPARE(root, expected);
    QCOMPARE(share, expected);
    QVERIFY(shareSet);
}

void TestApp::defaultStyle_data()
{
    QTest::addColumn<QStringList>("args");
    QTest::addColumn<bool>("chosen");

    QTest::newRow("none") << QStringList {} << false;
    QTest::newRow("-style=windows") << QStringList { "-style=windows" } << true;
    QTest::newRow("-style windows") << QStringList { "-g", "-style", "windows" } << true;
    QTest::newRow("-stylex") << QStringList { "-stylex" } << false;
}

void TestApp::defaultStyle()
{
    QFETCH(QStringList, args);
    QFETCH(bool, chosen);

    std::vector<QByteArray> storage { QByteArray("orvo") };
    for (const QString& a : args)
        storage.push_back(a.toLocal8Bit());
    std::vector<char*> argv;
    for (QByteArray& s : storage)
        argv.push_back(s.data());
    const DefaultStyle style(int(argv.size()), argv.data());
    QCOMPARE(style.userChosen(), chosen);
}

void TestApp::styleFromSettings()
{
    char name[] = "orvo";
    char* argv[] = { name };
    {
        QSettings settings(QSettings::UserScope, "Trolltech");
        settings.setValue("Qt/style", "Windows");
        settings.sync();
    }
    QVERIFY(DefaultStyle(1, argv).userChosen());
    {
        QSettings settings(QSettings::UserScope, "Trolltech");
        settings.remove("Qt/style");
        settings.sync();
    }
    const DefaultStyle unchosen(1, argv);
    QVERIFY(!unchosen.userChosen());

    // Not chosen: our style with its own standard palette.
    unchosen.set(*qApp, "Fusion");
    QCOMPARE(QApplication::style()->name().toLower(), QString("fusion"));
    QCOMPARE(QApplication::palette().color(QPalette::Window),
             QApplication::style()->standardPalette().color(QPalette::Window));
}

void TestApp::sizeHintAtLeast768()
{
    MainWindow window;
    QVERIFY(window.sizeHint().width() >= 768);
    QVERIFY(window.windowTitle().startsWith("Orvo - "));
}

QTEST_MAIN(TestApp)
#include "tst_app.moc"
