#define PY_SSIZE_T_CLEAN
#include <Python.h>

#include "RecordingPresenter.h"
#include "StandInShare.h"

#include "progress/ProgressObject.h"
#include "yumio/YumIO.h"

#include <QTemporaryDir>
#include <QtTest>

#include <csignal>

// The stand-in yum is 3.4.3 with parallel downloads and sqlite, so the engine lays
// repository acts out for parallel downloads; the other layouts are checked on the arithmetic.
class TestGrab final : public QObject
{
    Q_OBJECT

    QTemporaryDir share_;
    YumIO* engine_ = nullptr;
    RecordingPresenter presenter_;
    Progress::Object* progress_ = nullptr;
    QStringList started_; // activities of started items
    QList<Steps> startedAt_;
    QList<Steps> startedTail_;

    void run(const QString& code) { engine_->py(("from yumIOC import *\n" + code + "\n").toUtf8().constData()); }

    QStringList rows() const
    {
        QStringList texts;
        const Progress::ThreadsState& threads = progress_->threads();
        for (unsigned int i = 0; i < threads.count(); ++i)
            texts.append(QString("%1|%2|%3|%4").arg(threads[i].activity).arg(threads[i].value).arg(threads[i].tail)
                             .arg(threads[i].status));
        return texts;
    }

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY(share_.isValid());
        QVERIFY(StandInShare::write(share_.path(), {}));
        qputenv("ORVOSHARE", share_.path().toLocal8Bit());
        // The test framework's own handler would hide the interpreter's from it.
        std::signal(SIGINT, SIG_DFL);
        YumIODialogsPresenter::install(&presenter_);
        engine_ = new YumIO;
        engine_->setup(nullptr, nullptr, nullptr);
        QVERIFY(engine_->initialize());
        QVERIFY(engine_->hasMultiProgress());
        run("class Meter:\n    pass\n\nm1, m2, m3, m4 = Meter(), Meter(), Meter(), Meter()\n");
    }

    void cleanupTestCase()
    {
        delete engine_;
        YumIODialogsPresenter::install(nullptr);
    }

    void init()
    {
        presenter_.dialogs.clear();
        started_.clear();
        startedAt_.clear();
        startedTail_.clear();
        progress_ = new Progress::Object(nullptr, nullptr);
        // Every reading is 100 ms after the last, so no progress signal is held back.
        progress_->setClock([] { static qint64 now = 0; return now += 100; });
        connect(progress_, &Progress::Object::startItemSig, this, [this](const QString& activity, Steps at, Steps tail) {
            started_.append(activity);
            startedAt_.append(at);
            startedTail_.append(tail);
        });
        engine_->progressSlot() = progress_;
        engine_->resetRepoProgress({ "fedora", "updates" }, "contents");
        engine_->resetApplyProgress();
    }

    void cleanup()
    {
        engine_->progressSlot() = nullptr;
        delete progress_;
    }

    void collectActs_data()
    {
        QTest::addColumn<int>("old");
        QTest::addColumn<int>("act");
        QTest::addColumn<int>("repositories");
        QTest::addColumn<bool>("parallel");
        QTest::addColumn<int>("version");
        QTest::addColumn<int>("expected");

        // Parallel: mirror lists and repomds, then groups and contents, then converting and reading.
        QTest::newRow("parallel first mirror list") << 0 << 0 << 3 << true << 30403 << 1;
        QTest::newRow("parallel repomd after its mirror list") << 1 << 1 << 3 << true << 30403 << 2;
        QTest::newRow("parallel next repository's mirror list") << 2 << 0 << 3 << true << 30403 << 3;
        QTest::newRow("parallel repomd without mirror list") << 2 << 1 << 3 << true << 30403 << 4;
        QTest::newRow("parallel groups raised to 2n") << 4 << 2 << 3 << true << 30403 << 7;
        QTest::newRow("parallel contents after groups") << 7 << 3 << 3 << true << 30403 << 8;
        QTest::newRow("parallel next groups") << 8 << 2 << 3 << true << 30403 << 9;
        QTest::newRow("parallel contents from odd") << 9 << 3 << 3 << true << 30403 << 10;
        QTest::newRow("parallel converting raised to 4n") << 3 << 4 << 3 << true << 30403 << 13;
        QTest::newRow("parallel reading after converting") << 13 << 5 << 3 << true << 30403 << 14;
        QTest::newRow("parallel next converting") << 14 << 4 << 3 << true << 30403 << 15;
        QTest::newRow("parallel layout whatever the version") << 0 << 2 << 1 << true << 20000 << 3;
        // Serial, new yum: each repository's six acts in a row.
        QTest::newRow("serial new contents") << 0 << 3 << 2 << false << 30107 << 4;
        QTest::newRow("serial new reading same repository") << 4 << 5 << 2 << false << 30107 << 6;
        QTest::newRow("serial new next mirror list") << 6 << 0 << 2 << false << 30107 << 7;
        QTest::newRow("serial new repomd from 11") << 11 << 1 << 2 << false << 30107 << 8;
        // Serial, older yum (30106 is still old): pairs, then triples after 2n.
        QTest::newRow("serial old repomd") << 3 << 1 << 2 << false << 30106 << 4;
        QTest::newRow("serial old groups raised to 2n") << 1 << 2 << 2 << false << 30106 << 5;
        QTest::newRow("serial old contents") << 5 << 3 << 2 << false << 30106 << 6;
        QTest::newRow("serial old reading") << 6 << 5 << 2 << false << 30106 << 8;
        QTest::newRow("serial old next converting") << 7 << 4 << 2 << false << 30106 << 10;
    }

    void collectActs()
    {
        QFETCH(int, old);
        QFETCH(int, act);
        QFETCH(int, repositories);
        QFETCH(bool, parallel);
        QFETCH(int, version);
        QFETCH(int, expected);
        QCOMPARE(YumIO::advanceCollectActs(old, act, repositories, parallel, (unsigned long)version), expected);
    }

    // What starts an item while collecting, two repositories being enabled: its activity, size and act.

    void collectStart_data()
    {
        QTest::addColumn<QString>("calls");
        QTest::addColumn<QStringList>("activities");
        QTest::addColumn<qulonglong>("tail");
        QTest::addColumn<int>("acts");
        QTest::addColumn<qulonglong>("itemValue");

        const QString grab = "collectGrabMeterStart(m1, %1)";
        const QString converting = "Converting repository fedora";
        QTest::newRow("repomd under its directory")
            << grab.arg("'cache/myrepo/repodata/repomd.xml', 'http://h/repodata/repomd.xml', 'repomd.xml', 4096, 'myrepo'")
            << QStringList { "Downloading repository repomd for repodata" } << 4096ULL << 2 << 0ULL;
        QTest::newRow("metalink") << grab.arg("'cache/fedora/metalink.xml', '', '', 10, None")
                                  << QStringList { "Downloading repository mirror list for fedora" } << 10ULL << 1 << 0ULL;
        QTest::newRow("credentials in the directory")
            << grab.arg("'http://h/larder?user=me&pw=secret&path=fedora/repomd.xml', '', '', 10, None")
            << QStringList { "Downloading repository repomd for fedora" } << 10ULL << 2 << 0ULL;
        // Kept whole but for the credentials; the kind is read from the name as given, before they go.
        QTest::newRow("credentials without two slashes")
            << grab.arg("'larder?user=me&pw=secret&path=repomd.xml', '', '', 10, None")
            << QStringList { "Downloading repository contents for repomd.xml" } << 10ULL << 6 << 0ULL;
        QTest::newRow("reading at full") << "collectProgress(-1, -1, 'fedora')"
                                         << QStringList { "Reading repository contents for fedora" } << 1ULL << 10 << 1ULL;
        QTest::newRow("converting, then its progress")
            << "collectProgress(0, 100, 'fedora')\ncollectProgress(40, 100, 'fedora')" << QStringList { converting }
            << 100ULL << 9 << 40ULL;
        QTest::newRow("MD Read after a named step")
            << "collectProgress(0, 10, 'fedora')\ncollectProgress(3, 10, 'MD Read')"
            << QStringList { converting, "Converting repository" } << 10ULL << 9 << 3ULL;
    }

    void collectStart()
    {
        QFETCH(QString, calls);
        QFETCH(QStringList, activities);
        QFETCH(qulonglong, tail);
        QFETCH(int, acts);
        QFETCH(qulonglong, itemValue);

        run(calls);
        QCOMPARE(started_, activities);
        QCOMPARE(startedTail_.value(0), Steps(tail));
        QCOMPARE(engine_->collectActsReached(), acts);
        QCOMPARE(progress_->itemValue(), Steps(itemValue));
        QVERIFY(presenter_.dialogs.isEmpty());
    }

    void collectParallel()
    {
        const QString contents = "Downloading repository contents for %1";
        progress_->setupItemActs(14000, 12);
        run("collectGrabMultiMeterStart(3, 3000)\ncollectGrabMultiMeterNew(m1)\n"
            "collectGrabMeterStart(m1, 'cache/a/primary.xml.gz', '', '', 1000, None)\n"
            "collectGrabMeterStart(m2, 'cache/b/primary.xml.gz', '', '', 1000, None)\n"
            "collectGrabMeterUpdate(m1, 400)");
        QCOMPARE(started_, QStringList { "Downloading repository contents for 3 repositories" });
        QCOMPARE(startedTail_.value(0), Steps(3000));
        QCOMPARE(rows(), (QStringList { contents.arg("a") + "|400|1000|2", contents.arg("b") + "|0|1000|2", "|0|1|0" }));
        QCOMPARE(progress_->itemValue(), Steps(400));

        // The failed file's row shows Retrying until the file starts again, then serves it.
        run("collectGrabMeterFailure(m1, 'timeout')\ncollectGrabMeterUpdate(m2, 300)");
        QCOMPARE(rows().value(0), contents.arg("a") + "|0|1000|1");
        QCOMPARE(progress_->itemValue(), Steps(300));
        run("collectGrabMeterStart(m3, 'cache/a/primary.xml.gz', '', '', 1000, None)\n"
            "collectGrabMeterStart(m4, 'cache/c/primary.xml.gz', '', '', 500, None)\ncollectGrabMeterEnd(m3, 1000)");
        QCOMPARE(rows(), (QStringList { contents.arg("a") + "|1000|1000|3", contents.arg("b") + "|300|1000|2",
                                        contents.arg("c") + "|0|500|2" }));
        QCOMPARE(progress_->itemValue(), Steps(1300));

        run("collectGrabMultiMeterRemove(m3)\ncollectGrabMultiMeterEnd()");
        QCOMPARE(progress_->threads().count(), 0U);
        QVERIFY(presenter_.dialogs.isEmpty());
        // Back to single downloads.
        run("collectGrabMeterStart(m1, 'cache/a/repodata/repomd.xml', '', '', 10, None)");
        QCOMPARE(started_.value(1), QString("Downloading repository repomd for repodata"));
        QCOMPARE(progress_->threads().count(), 0U);
    }

    void applyGrabStart_data()
    {
        QTest::addColumn<bool>("packages");
        QTest::addColumn<QString>("args");
        QTest::addColumn<QString>("activity");
        QTest::addColumn<qulonglong>("acts");

        const QString foo = "'/var/cache/f/packages/foo-1.0-1.x86_64.rpm', 'http://h/foo-1.0-1.x86_64.rpm', "
                            "'foo-1.0-1.x86_64.rpm', 2048, 'foo-1.0-1.x86_64'";
        QTest::newRow("package") << true << foo << "Downloading foo-1.0-1.x86_64" << 2048ULL;
        QTest::newRow("header of a package file") << false << foo << "Downloading foo-1.0-1.x86_64 header" << 10ULL;
        QTest::newRow("header file") << false << "'h/foo-1.0-1.x86_64.hdr', '', '', 300, None"
                                     << "Downloading foo-1.0-1.x86_64 header" << 10ULL;
        QTest::newRow("label from the text") << true << "None, '', '', 100, 'x/bar-2.0-1.noarch.rpm'"
                                             << "Downloading bar-2.0-1.noarch" << 100ULL;
        QTest::newRow("credentials removed") << true << "'larder?user=me&pw=secret&path=baz-1-1.noarch.rpm', '', '', 5, None"
                                             << "Downloading baz-1-1.noarch" << 5ULL;
        QTest::newRow("other suffix kept") << true << "'p/qux-1-1.src.drpm', '', '', 5, None"
                                           << "Downloading qux-1-1.src.drpm" << 5ULL;
    }

    void applyGrabStart()
    {
        QFETCH(bool, packages);
        QFETCH(QString, args);
        QFETCH(QString, activity);
        QFETCH(qulonglong, acts);

        // One step per act, so the item ends where the acts reached.
        progress_->setupItemActs(1000000, 1000000);
        engine_->setDownloadingPackages(packages);
        run("applyGrabMeterStart(m1, " + args + ")\napplyGrabMeterUpdate(m1, 1 << 40)");
        QCOMPARE(started_, QStringList { activity });
        QCOMPARE(progress_->totalValue(), Steps(acts));
        QVERIFY(presenter_.dialogs.isEmpty());
    }

    void applyParallel()
    {
        progress_->setupItemActs(1000000, 1000000);
        run("applyGrabMultiMeterStart(2, 3000)\napplyGrabMultiMeterNew(m1)\napplyGrabMultiMeterNew(m2)\n"
            "applyGrabMeterStart(m2, 'p/b-1-1.x86_64.rpm', '', '', 1000, None)\n"
            "applyGrabMeterStart(m1, 'p/a-1-1.x86_64.rpm', '', '', 2000, None)\n"
            "applyGrabMeterUpdate(m2, 500)\napplyGrabMeterUpdate(m1, 700)\n"
            "applyGrabMeterFailure(m2, 'mirror failed')\napplyGrabMeterEnd(m1, 2000)\napplyGrabMultiMeterRemove(m1)");
        QCOMPARE(started_, QStringList { "Downloading 2 packages" });
        QCOMPARE(rows(), (QStringList { "Downloading a-1-1.x86_64|2000|2000|3", "Downloading b-1-1.x86_64|0|1000|1" }));
        QCOMPARE(progress_->itemValue(), Steps(2000));
        run("applyGrabMeterStart(m2, 'p/b-1-1.x86_64.rpm', '', '', 1000, None)");
        QCOMPARE(rows().value(1), QString("Downloading b-1-1.x86_64|0|1000|2"));
        run("applyGrabMultiMeterEnd()");
        QCOMPARE(progress_->threads().count(), 0U);
        QVERIFY(presenter_.dialogs.isEmpty());
        // The batch's bytes were its acts; the next single download continues from there.
        run("applyGrabMeterStart(m1, 'p/c-1-1.x86_64.rpm', '', '', 100, None)\napplyGrabMeterUpdate(m1, 100)");
        QCOMPARE(progress_->totalValue(), Steps(3100));
        // Rebuilding from deltas starts where the download acts end.
        run("applyGrabMeterStart(m2, None, '', '', 300, '<delta rebuild>')\napplyGrabMeterUpdate(m2, 150)");
        QCOMPARE(started_.value(2), QString("Finishing RPM rebuild from deltas"));
        QCOMPARE(startedAt_.value(2), Steps(1000000));
        QCOMPARE(startedTail_.value(2), Steps(300));
        QCOMPARE(progress_->totalValue(), Steps(1001000));
    }

    void badArguments_data()
    {
        QTest::addColumn<QString>("call");
        for (const char* call :
             { "collectProgress('a', 1, None)", "collectGrabMeterStart(1, 2, 3)", "collectGrabMeterUpdate(None, 'x')",
               "collectGrabMeterEnd(None)", "collectGrabMeterFailure(None)", "collectGrabMultiMeterStart(1, 'x')",
               "collectGrabMultiMeterNew()", "collectGrabMultiMeterRemove(1, 2)", "applyGrabMeterStart(1, 2, 3, 4, 5)",
               "applyGrabMeterUpdate(None, None)", "applyGrabMeterEnd(None, 'x')", "applyGrabMeterFailure()",
               "applyGrabMultiMeterStart(None, 1)", "applyGrabMultiMeterNew(1, 2)", "applyGrabMultiMeterRemove()" })
            QTest::newRow(call) << QString(call);
    }

    void badArguments()
    {
        QFETCH(QString, call);
        run("try:\n    " + call + "\n    rejected = False\nexcept TypeError:\n    rejected = True\n");
        PyObject* rejected = engine_->pyr("rejected");
        QCOMPARE(rejected, Py_True);
        Py_XDECREF(rejected);
        QVERIFY(started_.isEmpty());
        QVERIFY(presenter_.dialogs.isEmpty());
    }
};

QTEST_GUILESS_MAIN(TestGrab)
#include "tst_grab.moc"
