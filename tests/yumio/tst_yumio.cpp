#define PY_SSIZE_T_CLEAN
#include <Python.h>

#include "RecordingPresenter.h"
#include "StandInShare.h"

#include "python/PyRef.h"
#include "yumio/PackageEntry.h"
#include "yumio/YumIO.h"
#include "yumio/YumIOC.h"

#include <QProcess>
#include <QTemporaryDir>
#include <QtTest>

#include <csignal>
#include <cstdio>
#include <ctime>
#include <unistd.h>

class TestYumIO final : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void cleanupTestCase();
    void init();

    void startup_data();
    void startup();

    void commExceptRaised_data();
    void commExceptRaised();
    void pythonExceptionWithoutBracket();
    void yumLock();

    void streamCallbacks();

    void bytesFormat_data();
    void bytesFormat();
    void timeAndDate();
    void simpleString();
    void sizeOf_data();
    void sizeOf();
    void describe_data();
    void describe();
    void pyStringTypes();
    void parseEnvra_data();
    void parseEnvra();

    void entryTexts();
    void keys();
    void chainDeletion();
    void clearingShowsEmptyCatalogue();

private:
    PyObject* eval(const char* expression);
    QStringList errorsLogged() const;

    QTemporaryDir share_;
    YumIO* engine_ = nullptr;
    RecordingPresenter presenter_;
};

void TestYumIO::initTestCase()
{
    QVERIFY(share_.isValid());
    QVERIFY(StandInShare::write(share_.path(), {}));
    qputenv("ORVOSHARE", share_.path().toLocal8Bit());
    qputenv("TZ", "UTC");
    tzset();
    // The test framework's own handler would hide the interpreter's from it.
    std::signal(SIGINT, SIG_DFL);
    YumIODialogsPresenter::install(&presenter_);
    engine_ = new YumIO;
    engine_->setup(nullptr, nullptr, nullptr);
    QVERIFY(engine_->initialize());
    QVERIFY(engine_->scriptObject());
    QVERIFY(engine_->initialize()); // a second start does nothing
}

void TestYumIO::cleanupTestCase()
{
    delete engine_;
    engine_ = nullptr;
    QVERIFY(!Python::initialized);
    // A callback from the interpreter's shutdown must not reach the engine that went.
    QCOMPARE(YumIOC::engine(), nullptr);
    YumIODialogsPresenter::install(nullptr);
}

void TestYumIO::init()
{
    presenter_.dialogs.clear();
}

PyObject* TestYumIO::eval(const char* expression)
{
    return engine_->pyr(expression);
}

QStringList TestYumIO::errorsLogged() const
{
    QStringList texts;
    Log::EntryList& list = engine_->logList();
    list.lock();
    for (const Log::Entry& entry : list)
        if (entry.kind == Log::Error)
            texts.append(entry.text);
    list.unlock();
    return texts;
}

// Each start-up case in an interpreter of its own.
void TestYumIO::startup_data()
{
    QTest::addColumn<bool>("script");
    QTest::addColumn<bool>("optionalErrors");
    QTest::addColumn<QString>("yumVersion");
    QTest::addColumn<QString>("constructorBody");
    QTest::addColumn<QString>("topLevel");
    QTest::addColumn<bool>("scriptClass");
    QTest::addColumn<QStringList>("expected");
    QTest::addColumn<int>("dialogs");

    const QString v = "3.4.3";
    QTest::newRow("missing script")
        << false << true << v << "pass" << "" << true
        << QStringList { "initialize 0", "dialog critical|Orvo Yum Error|Internal error: unable to open YumIO.py" } << 1;
    QTest::newRow("SystemExit in constructor")
        << true << true << v << "raise SystemExit(2)" << "" << true
        << QStringList { "initialize 0", "dialog scrollable|Orvo Yum Error|Unable to initialize" } << 1;
    QTest::newRow("no class")
        << true << true << v << "pass" << "" << false
        << QStringList { "initialize 0", "dialog critical|Orvo Yum Error|Internal error: cannot find python YumIO" } << 1;
    QTest::newRow("script raises")
        << true << true << v << "pass" << "raise ValueError('broken script')" << true
        << QStringList { "initialize 0",
                         "dialog critical|Orvo Yum Error|Internal error: python exception occurred from C code.\\n"
                         "When reporting this issue, please include the contents of the\\n"
                         "Log window, which should contain a walkback.",
                         "dialog critical|Orvo Yum Error|Internal error: unable to execute YumIO.py",
                         "log 3 0 ValueError: broken script" }
        << 2;
    QTest::newRow("without optional exception types")
        << true << false << v << "pass" << "" << true << QStringList { "initialize 1" } << 0;
    QTest::newRow("3.4.3 and probes")
        << true << true << v << "pass" << "" << true
        << QStringList { "initialize 1", "version 3.4.3 30403",
                         "features distribGroups=1 transTest=0 pickledCache=0 sqliteCache=1",
                         "probes sqlite=1 presto=0 multi=1", "basearch x86_64" }
        << 0;
    QTest::newRow("3.2.23")
        << true << true << "3.2.23" << "pass" << "" << true
        << QStringList { "version 3.2.23 30223", "features distribGroups=1 transTest=0 pickledCache=0 sqliteCache=1" }
        << 0;
    QTest::newRow("2.4.3")
        << true << true << "2.4.3" << "pass" << "" << true
        << QStringList { "version 2.4.3 20403", "features distribGroups=0 transTest=1 pickledCache=1 sqliteCache=1" }
        << 0;
    QTest::newRow("3.x.1") << true << true << "3.x.1" << "pass" << "" << true
                           << QStringList { "version 3.x.1 30001" } << 0;
    QTest::newRow("3.2") << true << true << "3.2" << "pass" << "" << true
                         << QStringList { "version 3.2 30200" } << 0;
    QTest::newRow("part out of range")
        << true << true << "3.99999999999999999999999.1" << "pass" << "" << true
        << QStringList { "version 3.99999999999999999999999.1 30000",
                         "dialog warning|Orvo Yum Warning|Internal error: yum version not understood: "
                         "3.99999999999999999999999.1 errno=34 (Numerical result out of range)" }
        << 1;
}

void TestYumIO::startup()
{
    QFETCH(bool, script);
    QFETCH(bool, optionalErrors);
    QFETCH(QString, yumVersion);
    QFETCH(QString, constructorBody);
    QFETCH(QString, topLevel);
    QFETCH(bool, scriptClass);
    QFETCH(QStringList, expected);
    QFETCH(int, dialogs);

    QTemporaryDir dir;
    StandInShare::Options options;
    options.script = script;
    options.optionalErrors = optionalErrors;
    options.yumVersion = yumVersion;
    options.constructorBody = constructorBody;
    options.topLevel = topLevel;
    options.scriptClass = scriptClass;
    QVERIFY(StandInShare::write(dir.path(), options));

    QProcess probe;
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    env.insert("ORVOSHARE", dir.path());
    probe.setProcessEnvironment(env);
    probe.start(qEnvironmentVariable("YUMIO_PROBE"), {});
    QVERIFY(probe.waitForFinished(60000));
    QCOMPARE(probe.exitCode(), 0);
    const QStringList lines = QString::fromLocal8Bit(probe.readAllStandardOutput()).split('\n');
    for (const QString& line : expected)
        QVERIFY2(lines.contains(line), qPrintable(line + "\n---\n" + lines.join('\n')));
    QCOMPARE(lines.filter(QRegularExpression("^dialog ")).size(), dialogs);
}

void TestYumIO::commExceptRaised_data()
{
    QTest::addColumn<QString>("kind");
    QTest::addColumn<QString>("value");
    QTest::addColumn<bool>("raised");
    QTest::addColumn<QString>("dialog");
    QTest::addColumn<QString>("text");

    const QString walkback = "Internal error: python exception occurred from C code.\n"
                             "When reporting this issue, please include the contents of the\n"
                             "Log window, which should contain a walkback.";
    QTest::newRow("IOError") << "IOError" << "disk gone" << true << "critical"
                             << "Unable to collect things: I/O Error: disk gone\n\nEmitting a walkback to the Log window.";
    QTest::newRow("KeyboardInterrupt")
        << "KeyboardInterrupt" << "" << true << "critical"
        << "Unable to collect things: KeyboardInterrupt\n\n"
           "This usually means Orvo was sent signal SIGINT, SIGTERM, or similar.\n\n"
           "But urlgrabber also can raise this error for several situations where it is just guessing.\n"
           "So, emitting a walkback to the Log window.";
    QTest::newRow("AssertionError") << "AssertionError" << "" << true << "critical"
                                    << "Internal error: python assertion failed\n"
                                       "When reporting this issue, please include the contents of the\n"
                                       "Log window, which should contain a walkback.";
    QTest::newRow("NoMoreMirrorsRepoError")
        << "NoMoreMirrorsRepoError" << "all down" << true << "critical"
        << "Unable to collect things: metadata unavailable from all repo mirrors:\nall down";
    QTest::newRow("RepoError locked")
        << "RepoError" << "sqlite: database is locked" << true << "scrollable"
        << "yum says: RepoError\nUnable to collect things: a repository's sqlite database was locked unexpectedly\n"
           "On some distributions, PackageKit has been known to cause this.";
    QTest::newRow("OperationalError locked")
        << "OperationalError" << "database is locked" << true << "scrollable"
        << "yum says: OperationalError\nUnable to collect things: a repository's sqlite database was locked "
           "unexpectedly\nOn some distributions, PackageKit has been known to cause this.";
    QTest::newRow("RepoError other") << "RepoError" << "cannot retrieve repomd.xml" << true << "critical" << walkback;
    QTest::newRow("YumBaseError") << "YumBaseError" << "broken" << true << "scrollable"
                                  << "yum says: YumBaseError\nbroken\nUnable to collect things";
    QTest::newRow("BdbQuit") << "BdbQuit" << "quit" << true << "scrollable"
                             << "yum says: BdbQuit\nquit\nUnable to collect things";
    QTest::newRow("unexpected") << "ValueError" << "odd" << false << "critical" << walkback;
}

void TestYumIO::commExceptRaised()
{
    QFETCH(QString, kind);
    QFETCH(QString, value);
    QFETCH(bool, raised);
    QFETCH(QString, dialog);
    QFETCH(QString, text);

    engine_->log(Log::Error, 0, "an older error that is not part of this call");
    engine_->pyExceptStart();
    engine_->commExceptSetup();
    PyRef result = PyRef::steal(engine_->pyMethodCall(engine_->scriptObject(), "fail", "(ss)",
                                                      kind.toUtf8().constData(), value.toUtf8().constData()));
    QVERIFY(!result);
    QCOMPARE(engine_->commExceptRaised(result.get(), "collect things"), raised);
    engine_->pyExceptClear();
    QVERIFY(!PyErr_Occurred());
    QCOMPARE(engine_->logMark(), -1);

    QCOMPARE(presenter_.dialogs.size(), 1);
    QCOMPARE(presenter_.dialogs[0].kind, dialog);
    QCOMPARE(presenter_.dialogs[0].caption, dialog == "warning" ? QString("Orvo Yum Warning") : QString("Orvo Yum Error"));
    QCOMPARE(presenter_.dialogs[0].text, text);
}

void TestYumIO::pythonExceptionWithoutBracket()
{
    engine_->log(Log::Error, 0, "old news");
    engine_->pythonException("Unable to do it");
    QCOMPARE(presenter_.dialogs.size(), 1);
    QCOMPARE(presenter_.dialogs[0].kind, QString("scrollable"));
    QCOMPARE(presenter_.dialogs[0].text, QString("Unable to do it"));

    // Detailed error lines (level 3 and up) and other kinds stay out of the dialog.
    presenter_.dialogs.clear();
    engine_->pyExceptStart();
    engine_->pyExceptExpect(PyExc_ValueError);
    engine_->log(Log::Error, 1, "first");
    engine_->log(Log::Error, 3, "too detailed");
    engine_->log(Log::Warning, 0, "a warning");
    engine_->log(Log::Error, 2, "second");
    engine_->pythonException("context");
    engine_->pyExceptClear();
    QCOMPARE(presenter_.dialogs[0].text, QString("first\nsecond\ncontext"));
}

void TestYumIO::yumLock()
{
    PyObject* script = engine_->scriptObject();
    QCOMPARE(PyObject_SetAttrString(script, "other_holds_lock", Py_True), 0);
    QVERIFY(!engine_->takeYumLock());
    QVERIFY(!engine_->yumLocked());
    QCOMPARE(presenter_.dialogs.size(), 1);
    QCOMPARE(presenter_.dialogs[0].text, QString("lock held by pid 4242\nUnable to obtain yum lock"));
    QVERIFY(!PyErr_Occurred());

    presenter_.dialogs.clear();
    QCOMPARE(PyObject_SetAttrString(script, "other_holds_lock", Py_False), 0);
    QVERIFY(engine_->takeYumLock());
    QVERIFY(engine_->yumLocked());
    QVERIFY(engine_->takeYumLock());
    QVERIFY(presenter_.dialogs.isEmpty());
}

void TestYumIO::streamCallbacks()
{
    Log::EntryList& list = engine_->logList();
    list.lock();
    const int before = list.size();
    list.unlock();
    engine_->py("import yumIOC\n"
                "yumIOC.stdoutWrite('a\\nb')\n"
                "yumIOC.stdoutWrite('c\\n\\nd')\n"
                "yumIOC.stderrWrite('oops\\n')\n"
                "yumIOC.log(5, 'TSINFO: Marking foo-1-1.noarch as install')\n"
                "yumIOC.errorlog(1, 'bad\\nworse')\n"
                "print('printed')\n"
                "try:\n"
                "    yumIOC.stdoutWrite(5)\n"
                "    rejected = False\n"
                "except TypeError:\n"
                "    rejected = True\n");
    QVERIFY(!PyErr_Occurred());
    PyRef rejected = PyRef::steal(eval("rejected"));
    QCOMPARE(rejected.get(), Py_True);
    QList<QPair<int, QString>> got;
    list.lock();
    for (int i = before; i < list.size(); ++i)
        got.append({ int(list.at(i).kind) * 100 + int(list.at(i).level), list.at(i).text });
    list.unlock();
    const QList<QPair<int, QString>> expected {
        { 100, "a" },
        { 100, "bc" },
        { 100, "" },
        { 300, "oops" },
        { 5, "TSINFO: Marking foo-1-1.noarch as install" },
        { 300, "Internal error: TSINFO mentions unknown package: foo-1-1.noarch" },
        { 301, "bad" },
        { 301, "worse" },
        { 100, "dprinted" },
    };
    QCOMPARE(got, expected);
}

void TestYumIO::bytesFormat_data()
{
    QTest::addColumn<qulonglong>("bytes");
    QTest::addColumn<QString>("text");
    QTest::newRow("0") << 0ULL << "0b";
    QTest::newRow("5") << 5ULL << "5.0b";
    QTest::newRow("999") << 999ULL << "999b";
    QTest::newRow("1000") << 1000ULL << "1.0Kb";
    QTest::newRow("1536") << 1536ULL << "1.5Kb";
    QTest::newRow("10188") << 10188ULL << "9.9Kb";
    QTest::newRow("10189") << 10189ULL << "10Kb";
    QTest::newRow("20480") << 20480ULL << "20Kb";
    QTest::newRow("1023999") << 1023999ULL << "1000Kb";
    QTest::newRow("1024000") << 1024000ULL << "1.0Mb";
    QTest::newRow("1048575999") << 1048575999ULL << "1000Mb";
    QTest::newRow("1048576000") << 1048576000ULL << "1.0Gb";
    QTest::newRow("Tb") << 1073741824000ULL << "1.0Tb";
    QTest::newRow("Pb") << 1099511627776000ULL << "1.0Pb";
    QTest::newRow("Eb") << 1125899906842624000ULL << "1.0Eb";
    QTest::newRow("max") << 18446744073709551615ULL << "16Eb";
}

void TestYumIO::bytesFormat()
{
    QFETCH(qulonglong, bytes);
    QFETCH(QString, text);
    QCOMPARE(YumIO::bytesFormat(bytes), text);
}

void TestYumIO::timeAndDate()
{
    QCOMPARE(QString(engine_->timeFormat(0)), QString("Thu Jan  1 00:00:00 1970"));
    QCOMPARE(QString(engine_->dateFormat(0)), QString("Thu Jan  1 1970"));
    QCOMPARE(QString(engine_->timeFormat(1700000000)), QString("Tue Nov 14 22:13:20 2023"));
    QCOMPARE(QString(engine_->dateFormat(1700000000)), QString("Tue Nov 14 2023"));
}

void TestYumIO::simpleString()
{
    PyRef package = PyRef::steal(eval("Package({'summary': 'A summary\\n\\n', 'group': 'Suite', 'n': 7})"));
    QVERIFY(package);
    QCOMPARE(engine_->simpleString(package.get(), "summary"), QString("A summary"));
    QCOMPARE(engine_->simpleString(package.get(), "group"), QString("Suite"));
    QCOMPARE(engine_->simpleString(package.get(), "n"), QString("7"));
    // A missing tag is no error.
    QCOMPARE(engine_->simpleString(package.get(), "vendor"), QString());
    QVERIFY(presenter_.dialogs.isEmpty());
    QVERIFY(!PyErr_Occurred());
    PyRef timed = PyRef::steal(eval("Package({'buildtime': '1700000000'})"));
    QCOMPARE(engine_->buildTimeOf(timed.get()), 1700000000LL);
    QCOMPARE(engine_->buildTimeOf(package.get()), 0LL);
    QCOMPARE(engine_->getBiArch("i686"), QString("32"));
    QCOMPARE(engine_->getBiArch("noarch"), QString("noarch"));
}

void TestYumIO::sizeOf_data()
{
    QTest::addColumn<QString>("expression");
    QTest::addColumn<qlonglong>("size");
    QTest::addColumn<QString>("error");
    QTest::newRow("integer") << "Package({}, 1234)" << 1234LL << "";
    QTest::newRow("big") << "Package({}, 5000000000)" << 5000000000LL << "";
    QTest::newRow("text") << "Package({}, '2048')" << 2048LL << "";
    // Only a conversion that sets an error number is a fault: a text without digits is 0.
    QTest::newRow("word") << "Package({}, 'lots')" << 0LL << "";
    QTest::newRow("empty text") << "Package({}, '')" << 0LL << "";
    QTest::newRow("out of range") << "Package({}, '99999999999999999999')" << 0LL
                                  << "Internal error: package size not understood: 99999999999999999999";
    QTest::newRow("method") << "SizeMethod(4096)" << 4096LL << "";
    QTest::newRow("method text") << "SizeMethod('77')" << 77LL << "";
    QTest::newRow("method other") << "SizeMethod(None)" << 0LL
                                  << "Internal error: package size result not understood";
    QTest::newRow("float") << "Package({}, 1.5)" << 0LL << "Internal error: package size not understood";
}

void TestYumIO::sizeOf()
{
    QFETCH(QString, expression);
    QFETCH(qlonglong, size);
    QFETCH(QString, error);
    PyRef package = PyRef::steal(eval(expression.toUtf8().constData()));
    QVERIFY(package);
    QCOMPARE(engine_->sizeOf(package.get()), size);
    QCOMPARE(presenter_.dialogs.size(), error.isEmpty() ? 0 : 1);
    if (!error.isEmpty())
        QCOMPARE(presenter_.dialogs[0].text, error);
}

void TestYumIO::describe_data()
{
    QTest::addColumn<QString>("expression");
    QTest::addColumn<QString>("description");
    QTest::newRow("long") << "12345678901" << "12345678901";
    QTest::newRow("negative") << "-3" << "-3";
    QTest::newRow("None") << "None" << "*None*";
    QTest::newRow("text") << "'hello'" << "hello";
    QTest::newRow("bytes") << "b'raw'" << "raw";
    QTest::newRow("object") << "Describable()" << "described(*Obj*)";
    QTest::newRow("bad __str__") << "NoStr()" << "*Obj-no-str*";
}

void TestYumIO::describe()
{
    QFETCH(QString, expression);
    QFETCH(QString, description);
    PyRef object = PyRef::steal(eval(expression.toUtf8().constData()));
    QVERIFY(object);
    QCOMPARE(QString(engine_->pyDescribe(object.get())), description);
    QVERIFY(!PyErr_Occurred());
}

void TestYumIO::pyStringTypes()
{
    QCOMPARE(engine_->pyString(Py_None), QString());
    PyRef unicode = PyRef::steal(eval("'gr\\u00fc\\u00dfe'"));
    QCOMPARE(engine_->pyString(unicode.get()), QString::fromUtf8("grüße"));
    QVERIFY(presenter_.dialogs.isEmpty());
    PyRef number = PyRef::steal(eval("3"));
    QCOMPARE(engine_->pyString(number.get()), QString());
    QCOMPARE(engine_->pyStringX(number.get()), QString("3"));
    QCOMPARE(engine_->pyString(nullptr), QString());
    QCOMPARE(presenter_.dialogs.size(), 2);
    QCOMPARE(presenter_.dialogs[0].text, QString("Internal error: YumIO::pyString did not understand type"));
    QCOMPARE(presenter_.dialogs[1].text, QString("Internal error: YumIO::pyString called with NULL"));
}

void TestYumIO::parseEnvra_data()
{
    QTest::addColumn<QString>("envra");
    QTest::addColumn<bool>("ok");
    QTest::addColumn<QString>("fields");
    QTest::newRow("yum with epoch") << "2:foo-1.0-3.fc9.x86_64" << true << "2|foo|1.0|3.fc9|x86_64";
    QTest::newRow("yum epoch 0") << "0:bar-baz-2.1-1.noarch" << true << "0|bar-baz|2.1|1|noarch";
    QTest::newRow("no epoch") << "bar-baz-2.1-1.noarch" << true << "0|bar-baz|2.1|1|noarch";
    QTest::newRow("dnf epoch") << "foo-2:1.0-3.i686" << true << "2|foo|1.0|3|i686";
    QTest::newRow("dotted name") << "python3.11-libs-3.11.2-6.x86_64" << true
                                 << "0|python3.11-libs|3.11.2|6|x86_64";
    QTest::newRow("no arch") << "foo-1.0-3" << false << "";
    QTest::newRow("no release") << "foo.x86_64" << false << "";
    QTest::newRow("empty") << "" << false << "";
    QTest::newRow("two epochs") << "1:foo-2:1.0-3.i686" << false << "";
}

void TestYumIO::parseEnvra()
{
    QFETCH(QString, envra);
    QFETCH(bool, ok);
    QFETCH(QString, fields);
    QString e, n, v, r, a;
    QCOMPARE(YumIO::parseEnvra(envra, e, n, v, r, a), ok);
    if (ok)
        QCOMPARE(QStringList({ e, n, v, r, a }).join('|'), fields);
}

void TestYumIO::entryTexts()
{
    Package::Entry entry;
    entry.state = Package::AvailableForUpdate;
    entry.kind = Package::Suite;
    QCOMPARE(engine_->getState(entry), QString("Available for update"));
    QCOMPARE(engine_->getKind(entry), QString("Suite of packages"));
    entry.state = Package::State(7);
    entry.kind = Package::Kind(-1);
    QCOMPARE(engine_->getState(entry), QString());
    QCOMPARE(engine_->getKind(entry), QString());
    QCOMPARE(Package::stateText(1), QString("Available for installation"));
    QCOMPARE(Package::stateText(2), QString("Installed"));
    QCOMPARE(Package::kindText(1), QString("Group of packages"));
    QCOMPARE(Package::kindText(2), QString("Ordinary package"));
    QCOMPARE(Package::actionText(0), QString("Update"));
    QCOMPARE(Package::actionText(1), QString("Install"));
    QCOMPARE(Package::actionText(2), QString("Remove"));
    QCOMPARE(Package::actionText(3), QString());
    QCOMPARE(Package::actionText(4), QString("ERROR"));
}

void TestYumIO::keys()
{
    const YumIO::EntryKey package(false, "gnome", "");
    const YumIO::EntryKey group(true, "gnome", "");
    const YumIO::EntryKey x64(false, "glibc", "x86_64");
    const YumIO::EntryKey i686(false, "glibc", "i686");
    QVERIFY(package != group);
    QVERIFY(x64 != i686);
    QVERIFY(x64 == YumIO::EntryKey(false, "glibc", "x86_64"));

    const quint32 expected = 2u * quint32(qHash(QString("glibc"))) + 4u * quint32(qHash(QString("x86_64")));
    QCOMPARE(quint32(qHash(x64)), expected);
    QCOMPARE(quint32(qHash(group)), quint32(qHash(package)) + 1u);
}

void TestYumIO::chainDeletion()
{
    const int before = Package::Entry::liveCount();
    auto* head = new Package::Entry;
    head->next = new Package::Entry;
    head->next->next = new Package::Entry;
    QCOMPARE(Package::Entry::liveCount(), before + 3);
    delete head;
    QCOMPARE(Package::Entry::liveCount(), before);

    // An entry that still holds its object says so, once per process, and keeps the
    // reference rather than release it without the interpreter lock.
    QVERIFY(!Package::Entry::extantReported());
    PyRef object = PyRef::steal(eval("object()"));
    const Py_ssize_t references = Py_REFCNT(object.get());
    std::fflush(stderr);
    const int savedStderr = dup(2);
    std::FILE* capture = std::tmpfile();
    dup2(fileno(capture), 2);
    for (int i = 0; i < 2; ++i) {
        auto* entry = new Package::Entry;
        entry->yumObject = object.copy();
        delete entry;
    }
    std::fflush(stderr);
    dup2(savedStderr, 2);
    ::close(savedStderr);
    std::rewind(capture);
    char buffer[512] = {};
    const size_t n = std::fread(buffer, 1, sizeof buffer - 1, capture);
    std::fclose(capture);
    const QString printed = QString::fromLatin1(buffer, int(n));
    QVERIFY(Package::Entry::extantReported());
    QCOMPARE(printed.count("Internal error: attempt to delete Package::Entry"), 1);
    QVERIFY(printed.contains("with extant python obj"));
    QCOMPARE(Py_REFCNT(object.get()), references + 2);
}

void TestYumIO::clearingShowsEmptyCatalogue()
{
    Package::EntryList& list = engine_->catalogue();
    auto* a = new Package::Entry;
    a->name = "a";
    auto* b = new Package::Entry;
    b->name = "b";
    list.append(a);
    list.append(b);
    QCOMPARE(engine_->count(), 2);
    QCOMPARE((*engine_)[1]->name, QString("b"));
    QCOMPARE(int(engine_->end() - engine_->begin()), 2);

    engine_->setClearing(true);
    QCOMPARE(engine_->count(), 0);
    QCOMPARE(engine_->begin(), engine_->end());
    QCOMPARE((*engine_)[1], static_cast<Package::Entry*>(nullptr));
    engine_->setClearing(false);
    QCOMPARE(engine_->count(), 2);
    // The engine deletes its entries when it ends.
}

QTEST_GUILESS_MAIN(TestYumIO)
#include "tst_yumio.moc"
