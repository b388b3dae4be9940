#define PY_SSIZE_T_CLEAN
#include <Python.h>

#include "RecordingPresenter.h"
#include "StandInShare.h"

#include "python/PyRef.h"
#include "yumio/PackageEntry.h"
#include "yumio/YumIO.h"
#include "yumio/YumIOC.h"
#include "yumio/YumIOFileLists.h"

#include <QProcess>
#include <QTemporaryDir>
#include <QtTest>

#include <csignal>
#include <cstdio>
#include <ctime>
#include <unistd.h>
#include <zlib.h>
#include <zstd.h>

Q_DECLARE_METATYPE(StandInShare::Options)

namespace {

StandInShare::Options shareWith(void (*change)(StandInShare::Options&))
{
    StandInShare::Options options;
    change(options);
    return options;
}

StandInShare::Options yumVersion(const QString& version)
{
    StandInShare::Options options;
    options.yumVersion = version;
    return options;
}

} // namespace

class TestYumIO final : public QObject
{
    Q_OBJECT

    QTemporaryDir share_;
    YumIO* engine_ = nullptr;
    RecordingPresenter presenter_;

    PyRef eval(const char* expression) { return engine_->pyr(expression); }

private Q_SLOTS:
    void initTestCase()
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
        QVERIFY(engine_->initialize()); // a second start does nothing
    }

    void cleanupTestCase()
    {
        delete engine_;
        engine_ = nullptr;
        QVERIFY(!Python::initialized);
        // A callback from the interpreter's shutdown must not reach the engine that went.
        QCOMPARE(YumIOC::engine(), nullptr);
        YumIODialogsPresenter::install(nullptr);
    }

    void init() { presenter_.dialogs.clear(); }

    // Each start-up case in an interpreter of its own: the probe prints what happened.
    void startup_data()
    {
        QTest::addColumn<StandInShare::Options>("share");
        QTest::addColumn<QStringList>("expected");
        QTest::addColumn<int>("dialogs");

        const QString error = "dialog critical|Orvo Yum Error|Internal error: ";
        QTest::newRow("missing script") << shareWith([](StandInShare::Options& o) { o.script = false; })
                                        << QStringList { "initialize 0", error + "unable to open YumIO.py" } << 1;
        QTest::newRow("script raises")
            << shareWith([](StandInShare::Options& o) { o.topLevel = "raise ValueError('broken script')"; })
            << QStringList { "initialize 0", error + "unable to execute YumIO.py", "log 3 0 ValueError: broken script" }
            << 2;
        QTest::newRow("3.4.3 and probes")
            << yumVersion("3.4.3")
            << QStringList { "initialize 1", "version 3.4.3 30403",
                             "features distribGroups=1 transTest=0 pickledCache=0 sqliteCache=1",
                             "probes sqlite=1 presto=0 multi=1", "basearch x86_64" }
            << 0;
        QTest::newRow("2.4.3") << yumVersion("2.4.3")
                               << QStringList { "features distribGroups=0 transTest=1 pickledCache=1 sqliteCache=1" } << 0;
        QTest::newRow("part out of range")
            << yumVersion("3.99999999999999999999999.1")
            << QStringList { "version 3.99999999999999999999999.1 30000",
                             "dialog warning|Orvo Yum Warning|Internal error: yum version not understood: "
                             "3.99999999999999999999999.1 errno=34 (Numerical result out of range)" }
            << 1;
    }

    void startup()
    {
        QFETCH(StandInShare::Options, share);
        QFETCH(QStringList, expected);
        QFETCH(int, dialogs);

        QTemporaryDir dir;
        QVERIFY(StandInShare::write(dir.path(), share));
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

    void commExceptRaised_data()
    {
        QTest::addColumn<QString>("kind");
        QTest::addColumn<QString>("value");
        QTest::addColumn<bool>("raised");
        QTest::addColumn<QString>("dialog");
        QTest::addColumn<QString>("text"); // how the dialog's text starts

        const QString walkback = "Internal error: python exception occurred from C code.\n";
        QTest::newRow("IOError") << "IOError" << "disk gone" << true << "critical"
                                 << "Unable to collect things: I/O Error: disk gone\n\nEmitting a walkback";
        QTest::newRow("KeyboardInterrupt") << "KeyboardInterrupt" << "" << true << "critical"
                                           << "Unable to collect things: KeyboardInterrupt\n\nThis usually means";
        QTest::newRow("RepoError locked")
            << "RepoError" << "sqlite: database is locked" << true << "scrollable"
            << "yum says: RepoError\nUnable to collect things: a repository's sqlite database was locked unexpectedly\n";
        QTest::newRow("RepoError other") << "RepoError" << "cannot retrieve repomd.xml" << true << "critical" << walkback;
        QTest::newRow("YumBaseError") << "YumBaseError" << "broken" << true << "scrollable"
                                      << "yum says: YumBaseError\nbroken\nUnable to collect things";
        QTest::newRow("unexpected") << "ValueError" << "odd" << false << "critical" << walkback;
    }

    void commExceptRaised()
    {
        QFETCH(QString, kind);
        QFETCH(QString, value);
        QFETCH(QString, text);

        engine_->log(Log::Error, 0, "an older error that is not part of this call");
        engine_->pyExceptStart();
        engine_->commExceptSetup();
        PyRef result = engine_->pyMethodCall(engine_->scriptObject(), "fail", "(ss)",
                                             kind.toUtf8().constData(), value.toUtf8().constData());
        QVERIFY(!result);
        QTEST(engine_->commExceptRaised(result.get(), "collect things"), "raised");
        engine_->pyExceptClear();
        QVERIFY(!PyErr_Occurred());
        QCOMPARE(presenter_.dialogs.size(), 1);
        QTEST(presenter_.dialogs[0].kind, "dialog");
        QVERIFY2(presenter_.dialogs[0].text.startsWith(text), qPrintable(presenter_.dialogs[0].text));
    }

    // Detailed error lines (level 3 and up), other kinds and errors before the bracket stay
    // out of the dialog.
    void pythonExceptionDialog()
    {
        engine_->log(Log::Error, 0, "old news");
        engine_->pyExceptStart();
        engine_->pyExceptExpect(PyExc_ValueError);
        engine_->log(Log::Error, 1, "first");
        engine_->log(Log::Error, 3, "too detailed");
        engine_->log(Log::Warning, 0, "a warning");
        engine_->log(Log::Error, 2, "second");
        engine_->pythonException("context");
        engine_->pyExceptClear();
        QCOMPARE(presenter_.dialogs.value(0).text, QString("first\nsecond\ncontext"));
    }

    void yumLock()
    {
        PyObject* script = engine_->scriptObject();
        QCOMPARE(PyObject_SetAttrString(script, "other_holds_lock", Py_True), 0);
        QVERIFY(!engine_->takeYumLock() && !engine_->yumLocked());
        QCOMPARE(presenter_.dialogs.value(0).text, QString("lock held by pid 4242\nUnable to obtain yum lock"));

        presenter_.dialogs.clear();
        QCOMPARE(PyObject_SetAttrString(script, "other_holds_lock", Py_False), 0);
        QVERIFY(engine_->takeYumLock());
        QVERIFY(engine_->yumLocked());
        QVERIFY(presenter_.dialogs.isEmpty());
    }

    // Output and error streams are split into lines each on its own: a line's start waits
    // for its end, whatever the other stream wrote meanwhile.
    void streamCallbacks()
    {
        Log::EntryList& list = engine_->logList();
        list.lock();
        const int before = list.size();
        list.unlock();
        engine_->py("import yumIOC\n"
                    "yumIOC.stdoutWrite('a\\nb')\n"
                    "yumIOC.stdoutWrite('c\\n\\nd')\n"
                    "yumIOC.stderrWrite('oo')\n"
                    "yumIOC.stderrWrite('ps\\n')\n"
                    "yumIOC.log(5, 'TSINFO: Marking foo-1-1.noarch as install')\n"
                    "yumIOC.errorlog(1, 'bad\\nworse')\n"
                    "print('printed')\n");
        QVERIFY(!PyErr_Occurred());
        QStringList got;
        list.lock();
        for (int i = before; i < list.size(); ++i)
            got << QString("%1 %2 %3").arg(int(list.at(i).kind)).arg(list.at(i).level).arg(list.at(i).text);
        list.unlock();
        QCOMPARE(got, (QStringList { "1 0 a", "1 0 bc", "1 0 ", "3 0 oops", "0 5 TSINFO: Marking foo-1-1.noarch as install",
                                     "3 0 Internal error: TSINFO mentions unknown package: foo-1-1.noarch", "3 1 bad",
                                     "3 1 worse", "1 0 dprinted" }));
    }

    void bytesFormat()
    {
        const QList<QPair<qulonglong, const char*>> rows {
            { 0, "0b" }, { 5, "5.0b" }, { 1536, "1.5Kb" }, { 10188, "9.9Kb" }, { 10189, "10Kb" }, { 1023999, "1000Kb" },
            { 1024000, "1.0Mb" }, { 1125899906842624000, "1.0Eb" }, { 18446744073709551615ULL, "16Eb" },
        };
        for (const auto& row : rows)
            QCOMPARE(YumIO::bytesFormat(row.first), QString(row.second));
    }

    void conversions()
    {
        QCOMPARE(QString(engine_->timeFormat(1700000000)), QString("Tue Nov 14 22:13:20 2023"));
        PyRef package = eval("Package({'summary': 'A summary\\n\\n', 'buildtime': '1700000000'})");
        QVERIFY(package);
        QCOMPARE(engine_->simpleString(package.get(), "summary"), QString("A summary"));
        // A missing tag is no error.
        QCOMPARE(engine_->simpleString(package.get(), "vendor"), QString());
        QCOMPARE(engine_->buildTimeOf(package.get()), 1700000000LL);

        PyRef unicode = eval("'gr\\u00fc\\u00dfe'");
        QCOMPARE(engine_->pyString(unicode.get()), QString::fromUtf8("grüße"));
        QVERIFY(presenter_.dialogs.isEmpty());
        PyRef number = eval("3");
        QCOMPARE(engine_->pyString(number.get()), QString());
        QCOMPARE(engine_->pyStringX(number.get()), QString("3"));
        QCOMPARE(presenter_.dialogs.value(0).text, QString("Internal error: YumIO::pyString did not understand type"));
    }

    void sizeOf_data()
    {
        QTest::addColumn<QString>("expression");
        QTest::addColumn<qlonglong>("size");
        QTest::addColumn<QString>("error");
        QTest::newRow("integer") << "Package({}, 1234)" << 1234LL << "";
        // Only a conversion that sets an error number is a fault: a text without digits is 0.
        QTest::newRow("word") << "Package({}, 'lots')" << 0LL << "";
        QTest::newRow("out of range") << "Package({}, '99999999999999999999')" << 0LL
                                      << "Internal error: package size not understood: 99999999999999999999";
        QTest::newRow("method") << "SizeMethod(4096)" << 4096LL << "";
        QTest::newRow("method other") << "SizeMethod(None)" << 0LL
                                      << "Internal error: package size result not understood";
    }

    void sizeOf()
    {
        QFETCH(QString, expression);
        PyRef package = eval(expression.toUtf8().constData());
        QVERIFY(package);
        QTEST(engine_->sizeOf(package.get()), "size");
        QTEST(presenter_.dialogs.value(0).text, "error");
    }

    void describe()
    {
        const QList<QPair<const char*, const char*>> rows {
            { "-3", "-3" }, { "None", "*None*" }, { "b'raw'", "raw" }, { "Describable()", "described(*Obj*)" },
            { "NoStr()", "*Obj-no-str*" },
        };
        for (const auto& row : rows) {
            PyRef object = eval(row.first);
            QVERIFY2(object, row.first);
            QCOMPARE(QString(engine_->pyDescribe(object.get())), QString(row.second));
        }
        QVERIFY(!PyErr_Occurred());
    }

    void parseEnvra_data()
    {
        QTest::addColumn<QString>("envra");
        QTest::addColumn<QString>("fields"); // empty: not an envra
        QTest::newRow("yum with epoch") << "2:foo-1.0-3.fc9.x86_64" << "2|foo|1.0|3.fc9|x86_64";
        QTest::newRow("no epoch") << "bar-baz-2.1-1.noarch" << "0|bar-baz|2.1|1|noarch";
        QTest::newRow("dnf epoch") << "foo-2:1.0-3.i686" << "2|foo|1.0|3|i686";
        QTest::newRow("dotted name") << "python3.11-libs-3.11.2-6.x86_64" << "0|python3.11-libs|3.11.2|6|x86_64";
        for (const char* bad : { "foo-1.0-3", "1:foo-2:1.0-3.i686" })
            QTest::addRow("bad '%s'", bad) << bad << "";
    }

    void parseEnvra()
    {
        QFETCH(QString, envra);
        QFETCH(QString, fields);
        QString e, n, v, r, a;
        QCOMPARE(YumIO::parseEnvra(envra, e, n, v, r, a), !fields.isEmpty());
        if (!fields.isEmpty())
            QCOMPARE(QStringList({ e, n, v, r, a }).join('|'), fields);
    }

    // An entry that still holds its object says so, once per process, and keeps the
    // reference rather than release it without the interpreter lock.  That chains go with
    // their head is the window's quit test's, which counts the entries left.
    void entryDeletedWithItsObject()
    {
        QVERIFY(!Package::Entry::extantReported());
        PyRef object = eval("object()");
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
        QCOMPARE(Py_REFCNT(object.get()), references + 2);
    }

    void clearingShowsEmptyCatalogue()
    {
        Package::EntryList& list = engine_->catalogue();
        list.append(new Package::Entry);
        list.append(new Package::Entry);
        QCOMPARE(engine_->count(), 2);
        engine_->setClearing(true);
        QCOMPARE(engine_->count(), 0);
        QCOMPARE(engine_->begin(), engine_->end());
        QCOMPARE((*engine_)[1], static_cast<Package::Entry*>(nullptr));
        engine_->setClearing(false);
        QCOMPARE(engine_->count(), 2);
        // The engine deletes its entries when it ends.
    }

    // The callback module and the tests' stand-in for it follow the one contract: same
    // names and formats, and each refuses the same malformed calls (wrong count, wrong
    // type, out of range) in the same way.  Only refused calls are made, so no callback
    // body runs.
    void callbackContract()
    {
        QString table;
        for (const YumIOC::Callback& callback : YumIOC::callbacks())
            table += QString("'%1': %2, ").arg(callback.name,
                                               callback.takesArguments ? QString("'%1'").arg(callback.format) : "None");
        const QByteArray fakeDir = qgetenv("ORVO_FAKE_YUMIOC");
        QVERIFY(!fakeDir.isEmpty());
        const QByteArray quoted = QByteArray("'") + fakeDir + "'";
        engine_->pyf("import sys\nif %s not in sys.path: sys.path.insert(0, %s)\n", quoted.constData(),
                     quoted.constData());
        engine_->pyf("contract = {%s}\n", table.toUtf8().constData());
        engine_->py("import yumIOC, fakeyumioc\n"
                    "fake = fakeyumioc.make_module(fakeyumioc.Recorder())\n"
                    "def outcome(fn, args):\n"
                    "    try:\n"
                    "        fn(*args)\n"
                    "        return 'accepted'\n"
                    "    except (TypeError, OverflowError) as e:\n"
                    "        return type(e).__name__\n"
                    "def probes(fmt):\n"
                    "    good = [{'s': 'x', 'l': 1, 'L': 1}.get(c) for c in fmt or '']\n"
                    "    yield good + [None]\n"
                    "    if good:\n"
                    "        yield good[:-1]\n"
                    "    for i, c in enumerate(fmt or ''):\n"
                    "        if c != 'O':\n"
                    "            yield good[:i] + [[]] + good[i + 1:]\n"
                    "        if c in 'lL':\n"
                    "            yield good[:i] + [2 ** 70] + good[i + 1:]\n"
                    "differences = sorted(set(contract) ^ set(fakeyumioc.FORMATS))\n"
                    "differences += [n for n in contract if n not in dir(yumIOC)]\n"
                    "differences += [n for n, f in contract.items() if fakeyumioc.FORMATS.get(n, f) != f]\n"
                    "for n, f in contract.items():\n"
                    "    if f != '*':\n"
                    "        for args in probes(f):\n"
                    "            real, standIn = outcome(getattr(yumIOC, n), args), outcome(getattr(fake, n), args)\n"
                    "            if real != standIn or real == 'accepted':\n"
                    "                differences.append('%s%r: %s / %s' % (n, tuple(args), real, standIn))\n");
        PyRef differences = engine_->pyr("'\\n'.join(differences)");
        QVERIFY(differences);
        QCOMPARE(engine_->pyString(differences.get()), QString());
        QCOMPARE(int(YumIOC::callbacks().size()), 32);
    }

    void fileLists_data()
    {
        QTest::addColumn<QString>("packing");
        QTest::addColumn<bool>("read");
        QTest::newRow("plain") << "plain" << true;
        QTest::newRow("gzip") << "gzip" << true;
        QTest::newRow("zstd") << "zstd" << true;
        QTest::newRow("gzip cut short") << "gzip cut" << false;
        QTest::newRow("xz, not read here") << "xz" << false;
    }
    void fileLists()
    {
        QFETCH(QString, packing);
        QFETCH(bool, read);
        // Entities, a directory and a ghost, a package not asked for, a checksum named
        // twice (the first list counts), a package without files.
        QByteArray xml = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
                         "<filelists xmlns=\"http://linux.duke.edu/metadata/filelists\" packages=\"4\">\n";
        xml += "<package pkgid=\"aa\" name=\"a\" arch=\"noarch\"><version epoch=\"0\" ver=\"1\" rel=\"1\"/>"
               "<file>/usr/share/a&amp;b</file><file type=\"dir\">/usr/share/a</file>"
               "<file type=\"ghost\">/var/log/\xc3\xa9t\xc3\xa9</file></package>\n";
        for (int i = 0; i < 15000; ++i) // more than one chunk is read and unpacked
            xml += "<package pkgid=\"n" + QByteArray::number(i) + "\" name=\"n\" arch=\"x\"><file>/not/asked</file></package>\n";
        xml += "<package pkgid=\"aa\" name=\"a\" arch=\"noarch\"><file>/second/list</file></package>\n"
               "<package pkgid=\"bb\" name=\"b\" arch=\"noarch\"><version epoch=\"0\" ver=\"1\" rel=\"1\"/></package>\n"
               "</filelists>\n";
        QByteArray bytes = xml;
        if (packing.startsWith("gzip")) {
            z_stream stream{};
            QVERIFY(deflateInit2(&stream, 6, Z_DEFLATED, 16 + MAX_WBITS, 8, Z_DEFAULT_STRATEGY) == Z_OK);
            bytes.resize(qsizetype(deflateBound(&stream, uLong(xml.size()))));
            stream.next_in = reinterpret_cast<Bytef*>(xml.data());
            stream.avail_in = uInt(xml.size());
            stream.next_out = reinterpret_cast<Bytef*>(bytes.data());
            stream.avail_out = uInt(bytes.size());
            QCOMPARE(deflate(&stream, Z_FINISH), Z_STREAM_END);
            bytes.resize(qsizetype(stream.total_out));
            deflateEnd(&stream);
            if (packing.endsWith("cut"))
                bytes.chop(bytes.size() / 3);
        } else if (packing == "zstd") {
            bytes.resize(qsizetype(ZSTD_compressBound(size_t(xml.size()))));
            const size_t size = ZSTD_compress(bytes.data(), size_t(bytes.size()), xml.constData(), size_t(xml.size()), 3);
            QVERIFY(!ZSTD_isError(size));
            bytes.resize(qsizetype(size));
        } else if (packing == "xz") {
            bytes = QByteArray("\xfd" "7zXZ", 5) + xml;
        }
        QTemporaryDir dir;
        QFile file(dir.filePath("filelists.xml"));
        QVERIFY(file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size());
        file.close();
        YumIOFileLists lists;
        QCOMPARE(lists.read(file.fileName(), {"aa", "bb", "cc"}), read);
        std::string_view files;
        QCOMPARE(lists.files("aa", files), read);
        if (!read)
            return;
        QCOMPARE(QByteArray(files.data(), qsizetype(files.size())),
                 QByteArray("/usr/share/a&b\0/usr/share/a\0/var/log/\xc3\xa9t\xc3\xa9\0", 43));
        QVERIFY(lists.files("bb", files) && files.empty());
        QVERIFY(!lists.files("cc", files) && !lists.files("n1", files));
        QCOMPARE(lists.count(), 2);
    }
};

QTEST_GUILESS_MAIN(TestYumIO)
#include "tst_yumio.moc"
