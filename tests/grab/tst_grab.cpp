#define PY_SSIZE_T_CLEAN
#include <Python.h>

#include "RecordingPresenter.h"
#include "StandInShare.h"

#include "progress/ProgressObject.h"
#include "yumio/YumIO.h"

#include <QTemporaryDir>
#include <QtTest>

#include <csignal>

namespace {

// Every reading is 100 ms after the last, so no progress signal is held back.
qint64 fakeNow = 0;
qint64 steppingClock()
{
    return fakeNow += 100;
}

} // namespace

// The stand-in yum is 3.4.3 and offers parallel downloads and sqlite, so the engine lays
// repository acts out for parallel downloads; the other layouts are checked on the pure
// act arithmetic.
class TestGrab final : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void cleanupTestCase();
    void init();
    void cleanup();

    void collectActs_data();
    void collectActs();
    void repoActivity_data();
    void repoActivity();

    void collectGrabStart_data();
    void collectGrabStart();
    void collectGrabSerialValues();
    void collectProgress_data();
    void collectProgress();
    void collectParallel();
    void collectParallelComplaints_data();
    void collectParallelComplaints();

    void applyGrabStart_data();
    void applyGrabStart();
    void applyDeltaRebuild();
    void applyParallel();

    void badArguments_data();
    void badArguments();

private:
    void run(const QString& code);
    QStringList dialogs() const;
    QStringList rows() const;

    QTemporaryDir share_;
    YumIO* engine_ = nullptr;
    RecordingPresenter presenter_;
    Progress::Object* progress_ = nullptr;
    QStringList started_; // activities of started items
    QList<Steps> startedAt_;
    QList<Steps> startedTail_;
};

void TestGrab::initTestCase()
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
    QVERIFY(engine_->usesSqlite());
    QCOMPARE(engine_->yumVersion(), 30403UL);
    run("class Meter:\n    pass\n\nm1, m2, m3, m4 = Meter(), Meter(), Meter(), Meter()\n");
}

void TestGrab::cleanupTestCase()
{
    delete engine_;
    engine_ = nullptr;
    YumIODialogsPresenter::install(nullptr);
}

void TestGrab::init()
{
    presenter_.dialogs.clear();
    started_.clear();
    startedAt_.clear();
    startedTail_.clear();
    progress_ = new Progress::Object(nullptr, nullptr);
    progress_->setClock(steppingClock);
    connect(progress_, &Progress::Object::startItemSig, this,
            [this](const QString& activity, Steps totalValue, Steps itemTail) {
                started_.append(activity);
                startedAt_.append(totalValue);
                startedTail_.append(itemTail);
            });
    engine_->progressSlot() = progress_;
    engine_->resetRepoProgress({ "fedora", "updates" }, "contents");
    engine_->resetApplyProgress();
}

void TestGrab::cleanup()
{
    engine_->progressSlot() = nullptr;
    delete progress_;
    progress_ = nullptr;
}

void TestGrab::run(const QString& code)
{
    engine_->py(("from yumIOC import *\n" + code + "\n").toUtf8().constData());
}

QStringList TestGrab::dialogs() const
{
    QStringList texts;
    for (const RecordingPresenter::Dialog& dialog : presenter_.dialogs)
        texts.append(dialog.kind + "|" + dialog.text);
    return texts;
}

QStringList TestGrab::rows() const
{
    QStringList texts;
    const Progress::ThreadsState& threads = progress_->threads();
    for (unsigned int i = 0; i < threads.count(); ++i)
        texts.append(QString("%1|%2|%3|%4")
                         .arg(threads[i].activity)
                         .arg(threads[i].value)
                         .arg(threads[i].tail)
                         .arg(threads[i].status));
    return texts;
}

void TestGrab::collectActs_data()
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

void TestGrab::collectActs()
{
    QFETCH(int, old);
    QFETCH(int, act);
    QFETCH(int, repositories);
    QFETCH(bool, parallel);
    QFETCH(int, version);
    QFETCH(int, expected);
    QCOMPARE(YumIO::advanceCollectActs(old, act, repositories, parallel, (unsigned long)version), expected);
}

void TestGrab::repoActivity_data()
{
    QTest::addColumn<int>("act");
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("activity");

    QTest::newRow("mirror list") << 0 << "" << "Downloading repository mirror list";
    QTest::newRow("mirror list named") << 0 << "f" << "Downloading repository mirror list for f";
    QTest::newRow("repomd") << 1 << "" << "Downloading repository repomd";
    QTest::newRow("repomd named") << 1 << "f" << "Downloading repository repomd for f";
    QTest::newRow("groups") << 2 << "" << "Downloading repository groups";
    QTest::newRow("groups named") << 2 << "f" << "Downloading repository groups for f";
    QTest::newRow("contents") << 3 << "" << "Downloading repository contents";
    QTest::newRow("contents named") << 3 << "f" << "Downloading repository contents for f";
    QTest::newRow("converting") << 4 << "" << "Converting repository";
    QTest::newRow("converting named") << 4 << "f" << "Converting repository f";
    QTest::newRow("reading") << 5 << "" << "Reading repository contents";
    QTest::newRow("reading named") << 5 << "f" << "Reading repository contents for f";
    QTest::newRow("name with place markers") << 3 << "%1%2" << "Downloading repository contents for %1%2";
    QTest::newRow("invalid") << 6 << "f" << "";
}

void TestGrab::repoActivity()
{
    QFETCH(int, act);
    QFETCH(QString, name);
    QFETCH(QString, activity);
    QCOMPARE(engine_->repoActivity(YumIO::RepoAct(act), name), activity);
    QCOMPARE(dialogs(), act > 5 ? QStringList { "critical|Internal error: invalid collect act\n" } : QStringList());
}

// A single download's name, act and size; two repositories, so groups start at act 4.
void TestGrab::collectGrabStart_data()
{
    QTest::addColumn<QString>("args");
    QTest::addColumn<QString>("activity");
    QTest::addColumn<qulonglong>("tail");
    QTest::addColumn<int>("acts");
    QTest::addColumn<QStringList>("complaints");

    const QStringList none;
    QTest::newRow("repomd under its directory")
        << "'cache/myrepo/repodata/repomd.xml', 'http://h/repodata/repomd.xml', 'repomd.xml', 4096, 'myrepo'"
        << "Downloading repository repomd for repodata" << 4096ULL << 2 << none;
    QTest::newRow("no slash kept whole") << "'repomd.xml', '', '', 10, None"
                                         << "Downloading repository repomd for repomd.xml" << 10ULL << 2 << none;
    QTest::newRow("one slash kept whole") << "'myrepo/repomd.xml', '', '', 10, None"
                                          << "Downloading repository repomd for myrepo/repomd.xml" << 10ULL << 2
                                          << none;
    QTest::newRow("metalink") << "'cache/fedora/metalink.xml', '', '', 10, None"
                              << "Downloading repository mirror list for fedora" << 10ULL << 1 << none;
    QTest::newRow("groups") << "'cache/f/repodata/group_gz.xml.gz', '', '', 10, None"
                            << "Downloading repository groups for repodata" << 10ULL << 5 << none;
    QTest::newRow("contents") << "'cache/f/repodata/primary.sqlite.bz2', '', '', 10, None"
                              << "Downloading repository contents for repodata" << 10ULL << 6 << none;
    QTest::newRow("credentials in the directory")
        << "'http://h/larder?user=me&pw=secret&path=fedora/repomd.xml', '', '', 10, None"
        << "Downloading repository repomd for fedora" << 10ULL << 2 << none;
    // The kind is read from the name as given, before the credentials go.
    QTest::newRow("credentials without two slashes")
        << "'larder?user=me&pw=secret&path=repomd.xml', '', '', 10, None"
        << "Downloading repository contents for repomd.xml" << 10ULL << 6 << none;
    QTest::newRow("text call keeps the part before the first slash")
        << "None, '', '', 10, 'fedora/updates/x'" << "Downloading repository contents for fedora" << 10ULL << 6
        << none;
    QTest::newRow("text call from an empty name") << "'', '', '', 10, 'fedora/repomd.xml'"
                                                  << "Downloading repository repomd for fedora" << 10ULL << 2 << none;
    QTest::newRow("text call with credentials")
        << "None, '', '', 10, 'larder?u=me&p=pw&path=x/y'" << "Downloading repository contents for x" << 10ULL << 6
        << none;
    QTest::newRow("no name at all") << "None, '', '', 10, None" << "Downloading repository contents" << 10ULL << 6
                                    << none;
    QTest::newRow("unknown size") << "'c/a/primary.xml', '', '', None, None"
                                  << "Downloading repository contents for a" << 1ULL << 6 << none;
    QTest::newRow("size not understood")
        << "'c/a/primary.xml', '', '', 'big', None" << "Downloading repository contents for a" << 0ULL << 6
        << QStringList { "warning|Internal error: collect grab size not understood" };
    QTest::newRow("name of another type")
        << "42, '', '', 10, 'fedora'" << "Downloading repository contents for fedora" << 10ULL << 6
        << QStringList { "critical|Internal error: unexpected progress filename" };
}

void TestGrab::collectGrabStart()
{
    QFETCH(QString, args);
    QFETCH(QString, activity);
    QFETCH(qulonglong, tail);
    QFETCH(int, acts);
    QFETCH(QStringList, complaints);

    run("collectGrabMeterStart(m1, " + args + ")");
    QCOMPARE(started_, QStringList { activity });
    QCOMPARE(startedTail_.value(0), Steps(tail));
    QCOMPARE(engine_->collectActsReached(), acts);
    QCOMPARE(progress_->itemValue(), Steps(0));
    QCOMPARE(dialogs(), complaints);
}

void TestGrab::collectGrabSerialValues()
{
    progress_->startTotal("total", 14000);
    progress_->setupItemActs(14000, 12);
    run("collectGrabMeterStart(m1, 'cache/fedora/repodata/repomd.xml', '', '', 4096, None)\n"
        "collectGrabMeterUpdate(m1, 2048)");
    QCOMPARE(progress_->itemValue(), Steps(2048));
    QCOMPARE(progress_->totalValue(), Steps(2048 * (14000 * 2 / 12) / 4096));
    run("collectGrabMeterEnd(m1, 4096)\ncollectGrabMeterFailure(m1, 'gone')");
    // Without parallel downloads, ends and failures leave the bars alone.
    QCOMPARE(progress_->itemValue(), Steps(2048));
    QVERIFY(progress_->threads().count() == 0);
    QVERIFY(presenter_.dialogs.isEmpty());
}

void TestGrab::collectProgress_data()
{
    QTest::addColumn<QString>("calls");
    QTest::addColumn<QStringList>("activities");
    QTest::addColumn<qulonglong>("itemValue");
    QTest::addColumn<QStringList>("complaints");

    const QStringList none;
    QTest::newRow("reading at full") << "collectProgress(-1, -1, 'fedora')"
                                     << QStringList { "Reading repository contents for fedora" } << 1ULL << none;
    QTest::newRow("converting with sqlite, then its progress")
        << "collectProgress(0, 100, 'fedora')\ncollectProgress(40, 100, 'fedora')"
        << QStringList { "Converting repository fedora" } << 40ULL << none;
    QTest::newRow("another total starts again")
        << "collectProgress(0, 100, 'fedora')\ncollectProgress(7, 200, 'fedora')"
        << QStringList { "Converting repository fedora", "Converting repository fedora" } << 7ULL << none;
    QTest::newRow("MD Read") << "collectProgress(0, 10, 'MD Read')\ncollectProgress(5, 10, 'MD Read')"
                             << QStringList { "Converting repository" } << 5ULL << none;
    QTest::newRow("MD Read after a named step")
        << "collectProgress(0, 10, 'fedora')\ncollectProgress(3, 10, 'MD Read')"
        << QStringList { "Converting repository fedora", "Converting repository" } << 3ULL << none;
    QTest::newRow("no name") << "collectProgress(2, 10, None)" << QStringList { "Converting repository" } << 2ULL
                             << none;
    QTest::newRow("name of another type")
        << "collectProgress(2, 10, 4.5)" << QStringList { "Converting repository" } << 2ULL
        << QStringList { "critical|Internal error: unexpected progress name" };
    QTest::newRow("as the script reports a repository")
        << "collectProgress(0, 1, 'r')\ncollectProgress(1, 1, 'r')\ncollectProgress(-1, -1, 'r')"
        << QStringList { "Converting repository r", "Reading repository contents for r" } << 1ULL << none;
}

void TestGrab::collectProgress()
{
    QFETCH(QString, calls);
    QFETCH(QStringList, activities);
    QFETCH(qulonglong, itemValue);
    QFETCH(QStringList, complaints);

    run(calls);
    QCOMPARE(started_, activities);
    QCOMPARE(progress_->itemValue(), Steps(itemValue));
    QCOMPARE(dialogs(), complaints);
}

void TestGrab::collectParallel()
{
    const QString contents = "Downloading repository contents for %1";
    progress_->setupItemActs(14000, 12);
    run("collectGrabMultiMeterStart(3, 3000)\n"
        "collectGrabMultiMeterNew(m1)\n"
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
        "collectGrabMeterStart(m4, 'cache/c/primary.xml.gz', '', '', 500, None)\n"
        "collectGrabMeterEnd(m3, 1000)");
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

void TestGrab::collectParallelComplaints_data()
{
    QTest::addColumn<QString>("calls");
    QTest::addColumn<QString>("batch");
    QTest::addColumn<QStringList>("complaints");

    const QString start = "collectGrabMeterStart(%1, 'c/%2/primary.xml', '', '', 10, None)\n";
    const QString twoOfOne = "collectGrabMultiMeterStart(1, 100)\n" + start.arg("m1", "a") + start.arg("m2", "b");
    QTest::newRow("repomd in a parallel batch")
        << "collectGrabMultiMeterStart(2, 100)\n"
           "collectGrabMeterStart(m1, 'cache/a/repodata/repomd.xml', '', '', 10, None)"
        << "Unknown" << QStringList { "critical|Internal error: Unexpected parallel grab type:\nrepodata" };
    QTest::newRow("index equal to the file count passes")
        << twoOfOne << "Downloading repository contents for 1 repositories" << QStringList();
    QTest::newRow("index beyond the file count")
        << twoOfOne + start.arg("m3", "c") << "Downloading repository contents for 1 repositories"
        << QStringList { "critical|Internal error: Start: unexpected thread 2 > total files 1\n" };
    QTest::newRow("absurd file count")
        << "collectGrabMultiMeterStart(1 << 40, 100)\n" + start.arg("m1", "a") + "collectGrabMeterFailure(m1, None)"
        << "Downloading repository contents for 1099511627776 repositories" << QStringList();
    QTest::newRow("update beyond") << "collectGrabMultiMeterStart(-1, 0)\ncollectGrabMeterUpdate(m1, 5)" << ""
                                   << QStringList { "critical|Internal error: Update: unexpected thread 0 > total files -1\n" };
    QTest::newRow("end beyond") << "collectGrabMultiMeterStart(-1, 0)\ncollectGrabMeterEnd(m1, 5)" << ""
                                << QStringList { "critical|Internal error: End: unexpected thread 0 > total files -1\n" };
    QTest::newRow("failure beyond")
        << "collectGrabMultiMeterStart(-1, 0)\ncollectGrabMeterFailure(m1, None)" << ""
        << QStringList { "critical|Internal error: Failure: unexpected thread 0 > total files -1\n" };
    QTest::newRow("failure message of another type")
        << "collectGrabMultiMeterStart(1, 0)\ncollectGrabMeterFailure(m1, 3)" << ""
        << QStringList { "critical|Internal error: unexpected progress failure message" };
}

void TestGrab::collectParallelComplaints()
{
    QFETCH(QString, calls);
    QFETCH(QString, batch);
    QFETCH(QStringList, complaints);

    run(calls);
    QCOMPARE(started_.value(0), batch);
    QCOMPARE(dialogs(), complaints);
    run("collectGrabMultiMeterEnd()");
}

void TestGrab::applyGrabStart_data()
{
    QTest::addColumn<bool>("packages");
    QTest::addColumn<QString>("args");
    QTest::addColumn<QString>("activity");
    QTest::addColumn<qulonglong>("acts");
    QTest::addColumn<QStringList>("complaints");

    const QStringList none;
    const QString foo = "'/var/cache/f/packages/foo-1.0-1.x86_64.rpm', 'http://h/foo-1.0-1.x86_64.rpm', "
                        "'foo-1.0-1.x86_64.rpm', 2048, 'foo-1.0-1.x86_64'";
    QTest::newRow("package") << true << foo << "Downloading foo-1.0-1.x86_64" << 2048ULL << none;
    QTest::newRow("header of a package file") << false << foo << "Downloading foo-1.0-1.x86_64 header" << 10ULL << none;
    QTest::newRow("header file") << false << "'h/foo-1.0-1.x86_64.hdr', '', '', 300, None"
                                 << "Downloading foo-1.0-1.x86_64 header" << 10ULL << none;
    QTest::newRow("label from the text") << true << "None, '', '', 100, 'x/bar-2.0-1.noarch.rpm'"
                                         << "Downloading bar-2.0-1.noarch" << 100ULL << none;
    QTest::newRow("credentials removed") << true << "'larder?user=me&pw=secret&path=baz-1-1.noarch.rpm', '', '', 5, None"
                                         << "Downloading baz-1-1.noarch" << 5ULL << none;
    QTest::newRow("other suffix kept") << true << "'p/qux-1-1.src.drpm', '', '', 5, None"
                                       << "Downloading qux-1-1.src.drpm" << 5ULL << none;
    QTest::newRow("unknown size") << true << "'p/a-1-1.x86_64.rpm', '', '', None, None"
                                  << "Downloading a-1-1.x86_64" << 1ULL << none;
    QTest::newRow("size not understood")
        << true << "'p/a-1-1.x86_64.rpm', '', '', 1.5, None" << "Downloading a-1-1.x86_64" << 0ULL
        << QStringList { "warning|Internal error: collect grab size not understood" };
    QTest::newRow("name of another type")
        << true << "7, '', '', 100, 'qux-1-1.x86_64'" << "Downloading qux-1-1.x86_64" << 100ULL
        << QStringList { "critical|Internal error: unexpected progress name type" };
    QTest::newRow("text of another type")
        << true << "'a/qux-1-1.x86_64.rpm', '', '', 100, 3" << "Downloading qux-1-1.x86_64" << 100ULL
        << QStringList { "critical|Internal error: unexpected progress text type" };
}

void TestGrab::applyGrabStart()
{
    QFETCH(bool, packages);
    QFETCH(QString, args);
    QFETCH(QString, activity);
    QFETCH(qulonglong, acts);
    QFETCH(QStringList, complaints);

    // One step per act, so the item ends where the acts reached.
    progress_->setupItemActs(1000000, 1000000);
    engine_->setDownloadingPackages(packages);
    run("applyGrabMeterStart(m1, " + args + ")\napplyGrabMeterUpdate(m1, 1 << 40)");
    QCOMPARE(started_, QStringList { activity });
    QCOMPARE(progress_->totalValue(), Steps(acts));
    QCOMPARE(dialogs(), complaints);
}

void TestGrab::applyDeltaRebuild()
{
    progress_->startTotal("total", 10000);
    progress_->startItem("Downloading", 1000, 1);
    progress_->setupItemActs(5000, 100);
    run("applyGrabMeterStart(m1, 'p/foo-1.0-1.x86_64.rpm', '', '', 300, None)\n"
        "applyGrabMeterStart(m2, None, '', '', 300, '<delta rebuild>')");
    QCOMPARE(started_.value(2), QString("Finishing RPM rebuild from deltas"));
    QCOMPARE(startedAt_.value(2), Steps(6000)); // the acts' end
    QCOMPARE(startedTail_.value(2), Steps(300));
    run("applyGrabMeterUpdate(m2, 150)");
    QCOMPARE(progress_->totalValue(), Steps(7000));
}

void TestGrab::applyParallel()
{
    progress_->setupItemActs(1000000, 1000000);
    run("applyGrabMultiMeterStart(2, 3000)\n"
        "applyGrabMultiMeterNew(m1)\n"
        "applyGrabMultiMeterNew(m2)\n"
        "applyGrabMeterStart(m2, 'p/b-1-1.x86_64.rpm', '', '', 1000, None)\n"
        "applyGrabMeterStart(m1, 'p/a-1-1.x86_64.rpm', '', '', 2000, None)\n"
        "applyGrabMeterUpdate(m2, 500)\n"
        "applyGrabMeterUpdate(m1, 700)");
    QCOMPARE(started_, QStringList { "Downloading 2 packages" });
    QCOMPARE(startedTail_.value(0), Steps(3000));
    QCOMPARE(rows(), (QStringList { "Downloading a-1-1.x86_64|700|2000|2", "Downloading b-1-1.x86_64|500|1000|2" }));
    QCOMPARE(progress_->itemValue(), Steps(1200));

    run("applyGrabMeterFailure(m2, 'mirror failed')\napplyGrabMeterEnd(m1, 2000)\napplyGrabMultiMeterRemove(m1)");
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
}

void TestGrab::badArguments_data()
{
    QTest::addColumn<QString>("call");
    QTest::newRow("collectProgress") << "collectProgress('a', 1, None)";
    QTest::newRow("collectGrabMeterStart") << "collectGrabMeterStart(1, 2, 3)";
    QTest::newRow("collectGrabMeterUpdate") << "collectGrabMeterUpdate(None, 'x')";
    QTest::newRow("collectGrabMeterEnd") << "collectGrabMeterEnd(None)";
    QTest::newRow("collectGrabMeterFailure") << "collectGrabMeterFailure(None)";
    QTest::newRow("collectGrabMultiMeterStart") << "collectGrabMultiMeterStart(1, 'x')";
    QTest::newRow("collectGrabMultiMeterNew") << "collectGrabMultiMeterNew()";
    QTest::newRow("collectGrabMultiMeterRemove") << "collectGrabMultiMeterRemove(1, 2)";
    QTest::newRow("applyGrabMeterStart") << "applyGrabMeterStart(1, 2, 3, 4, 5)";
    QTest::newRow("applyGrabMeterUpdate") << "applyGrabMeterUpdate(None, None)";
    QTest::newRow("applyGrabMeterEnd") << "applyGrabMeterEnd(None, 'x')";
    QTest::newRow("applyGrabMeterFailure") << "applyGrabMeterFailure()";
    QTest::newRow("applyGrabMultiMeterStart") << "applyGrabMultiMeterStart(None, 1)";
    QTest::newRow("applyGrabMultiMeterNew") << "applyGrabMultiMeterNew(1, 2)";
    QTest::newRow("applyGrabMultiMeterRemove") << "applyGrabMultiMeterRemove()";
}

void TestGrab::badArguments()
{
    QFETCH(QString, call);
    run("try:\n    " + call + "\n    rejected = False\nexcept TypeError:\n    rejected = True\n");
    PyObject* rejected = engine_->pyr("rejected");
    QCOMPARE(rejected, Py_True);
    Py_XDECREF(rejected);
    QVERIFY(started_.isEmpty());
    QVERIFY(presenter_.dialogs.isEmpty());
}

QTEST_GUILESS_MAIN(TestGrab)
#include "tst_grab.moc"
