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
        progress_ = new Progress::Object(nullptr, nullptr);
        // Every reading is 100 ms after the last, so no progress signal is held back.
        progress_->setClock([] { static qint64 now = 0; return now += 100; });
        connect(progress_, &Progress::Object::startItemSig, this, [this](const QString& activity, Steps at) {
            started_.append(activity);
            startedAt_.append(at);
        });
        engine_->progressSlot() = progress_;
        engine_->resetRepoProgress({ "fedora", "updates" }, "contents");
        engine_->resetApplyProgress();
    }

    void cleanup()
    {
        engine_->progressSlot() = nullptr;
        delete progress_;
        // A callback's failure would show as a dialog.
        QVERIFY(presenter_.dialogs.isEmpty());
    }

    // The act collection reaches from old on an act, for each layout of the acts.
    void collectActs()
    {
        struct Case { int old, act, repositories, expected; bool parallel; unsigned long version; };
        const Case cases[] = {
            // Parallel: mirror lists and repomds, then groups and contents, then converting and reading.
            { 0, 0, 3, 1, true, 30403 },
            { 4, 2, 3, 7, true, 30403 }, // groups raised to 2n
            { 3, 4, 3, 13, true, 30403 }, // converting raised to 4n
            { 0, 2, 1, 3, true, 20000 }, // whatever the version
            // Serial, new yum: each repository's six acts in a row.
            { 4, 5, 2, 6, false, 30107 },
            // Serial, older yum (30106 is still old): pairs, then triples after 2n.
            { 3, 1, 2, 4, false, 30106 },
            { 1, 2, 2, 5, false, 30106 },
        };
        for (const Case& c : cases) {
            const int reached = YumIO::advanceCollectActs(c.old, c.act, c.repositories, c.parallel, c.version);
            QVERIFY2(reached == c.expected, qPrintable(QString("from %1 on act %2: %3").arg(c.old).arg(c.act).arg(reached)));
        }
    }

    // What starts an item while collecting, two repositories being enabled: its activity and act.
    void collectStart_data()
    {
        QTest::addColumn<QString>("calls");
        QTest::addColumn<QStringList>("activities");
        QTest::addColumn<int>("acts");

        const QString grab = "collectGrabMeterStart(m1, %1)";
        QTest::newRow("repomd under its directory")
            << grab.arg("'cache/myrepo/repodata/repomd.xml', 'http://h/repodata/repomd.xml', 'repomd.xml', 4096, 'myrepo'")
            << QStringList { "Downloading repository repomd for repodata" } << 2;
        QTest::newRow("metalink") << grab.arg("'cache/fedora/metalink.xml', '', '', 10, None")
                                  << QStringList { "Downloading repository mirror list for fedora" } << 1;
        // Kept whole but for the credentials; the kind is read from the name as given, before they go.
        QTest::newRow("credentials without two slashes")
            << grab.arg("'larder?user=me&pw=secret&path=repomd.xml', '', '', 10, None")
            << QStringList { "Downloading repository contents for repomd.xml" } << 6;
        QTest::newRow("reading at full") << "collectProgress(-1, -1, 'fedora')"
                                         << QStringList { "Reading repository contents for fedora" } << 10;
        QTest::newRow("MD Read after a named step")
            << "collectProgress(0, 10, 'fedora')\ncollectProgress(3, 10, 'MD Read')"
            << QStringList { "Converting repository fedora", "Converting repository" } << 9;
    }

    void collectStart()
    {
        QFETCH(QString, calls);

        run(calls);
        QTEST(started_, "activities");
        QTEST(engine_->collectActsReached(), "acts");
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
        QCOMPARE(rows(), (QStringList { contents.arg("a") + "|400|1000|2", contents.arg("b") + "|0|1000|2", "|0|1|0" }));
        QCOMPARE(progress_->itemValue(), Steps(400));
        run("collectGrabMeterEnd(m1, 1000)\ncollectGrabMultiMeterRemove(m1)\ncollectGrabMultiMeterEnd()");
        QCOMPARE(progress_->threads().count(), 0U);
    }

    // A collection batch's rows follow its files, not its meters.
    void collectRows_data()
    {
        QTest::addColumn<QString>("calls");
        QTest::addColumn<QStringList>("rows");
        QTest::addColumn<QString>("error");

        const QString start = "collectGrabMeterStart(%1, 'cache/%2/primary.xml.gz', '', '', 100, None)\n";
        const QString a = "Downloading repository contents for a";
        const QString b = "Downloading repository contents for b";
        QTest::newRow("a retried file keeps its row")
            << "collectGrabMultiMeterStart(2, 200)\n" + start.arg("m1", "a") + start.arg("m2", "b")
                   + "collectGrabMeterFailure(m1, 'reset')\n" + start.arg("m3", "a") + "collectGrabMeterUpdate(m3, 40)"
            << QStringList { a + "|40|100|2", b + "|0|100|2" } << QString();
        QTest::newRow("an ended file's row is not taken again")
            << "collectGrabMultiMeterStart(2, 200)\n" + start.arg("m1", "a") + "collectGrabMeterEnd(m1, 100)\n"
                   + start.arg("m2", "a")
            << QStringList { a + "|100|100|3", a + "|0|100|2" } << QString();
        // The count itself passes as a row; the one after it is refused.
        QTest::newRow("a row beyond the batch")
            << "collectGrabMultiMeterStart(1, 100)\n" + start.arg("m1", "a") + start.arg("m2", "b")
                   + start.arg("m3", "c")
            << QStringList { a + "|0|100|2" } << "Internal error: Start: unexpected thread 2 > total files 1\n";
    }

    void collectRows()
    {
        QFETCH(QString, calls);
        QFETCH(QString, error);

        progress_->setupItemActs(14000, 12);
        run(calls);
        QTEST(rows(), "rows");
        QStringList errors;
        for (const RecordingPresenter::Dialog& dialog : std::as_const(presenter_.dialogs))
            errors.append(dialog.text);
        QCOMPARE(errors, error.isEmpty() ? QStringList() : QStringList { error });
        presenter_.dialogs.clear();
        run("collectGrabMultiMeterEnd()");
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
        QTest::newRow("label from the text") << true << "None, '', '', 100, 'x/bar-2.0-1.noarch.rpm'"
                                             << "Downloading bar-2.0-1.noarch" << 100ULL;
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
        run("applyGrabMeterStart(m2, 'p/b-1-1.x86_64.rpm', '', '', 1000, None)");
        QCOMPARE(rows().value(1), QString("Downloading b-1-1.x86_64|0|1000|2"));
        run("applyGrabMultiMeterEnd()");
        QCOMPARE(progress_->threads().count(), 0U);
        // The batch's bytes were its acts; the next single download continues from there.
        run("applyGrabMeterStart(m1, 'p/c-1-1.x86_64.rpm', '', '', 100, None)\napplyGrabMeterUpdate(m1, 100)");
        QCOMPARE(progress_->totalValue(), Steps(3100));
        // Rebuilding from deltas starts where the download acts end.
        run("applyGrabMeterStart(m2, None, '', '', 300, '<delta rebuild>')\napplyGrabMeterUpdate(m2, 150)");
        QCOMPARE(started_.value(2), QString("Finishing RPM rebuild from deltas"));
        QCOMPARE(startedAt_.value(2), Steps(1000000));
        QCOMPARE(progress_->totalValue(), Steps(1001000));
    }
};

QTEST_GUILESS_MAIN(TestGrab)
#include "tst_grab.moc"
