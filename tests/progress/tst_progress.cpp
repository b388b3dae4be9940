#include "progress/GeneralTip.h"
#include "progress/HProgressBar.h"
#include "progress/ProgressMinion.h"
#include "progress/ProgressObject.h"
#include "progress/ProgressUser.h"

#include <QAbstractEventDispatcher>
#include <QApplication>
#include <QGridLayout>
#include <QKeyEvent>
#include <QLabel>
#include <QPointer>
#include <QScreen>
#include <QSemaphore>
#include <QSignalSpy>
#include <QTest>
#include <QThread>
#include <QToolTip>
#include <QVBoxLayout>

#include <atomic>
#include <memory>

namespace {

std::atomic<qint64> fakeNow{0};

qint64 fakeClock()
{
    return fakeNow.load();
}

// An object on no bars whose throttles run on the fake clock.
std::unique_ptr<Progress::Object> makeObject()
{
    auto object = std::make_unique<Progress::Object>(nullptr, nullptr);
    object->setClock(&fakeClock);
    fakeNow = 1000;
    return object;
}

// The total position reached at the end of the current item.
Steps itemEnd(Progress::Object& object, Steps itemTail)
{
    object.setItemValue(itemTail);
    return object.totalValue();
}

int timerWithInterval(QObject* object, int interval)
{
    const auto timers = QAbstractEventDispatcher::instance()->registeredTimers(object);
    for (const auto& timer : timers)
        if (timer.interval == interval)
            return timer.timerId;
    return -1;
}

Progress::ThreadsState threadsWith(const QList<int>& statuses)
{
    Progress::ThreadsState threads(statuses.size());
    for (unsigned int i = 0; i < threads.count(); ++i) {
        threads[i].activity = QStringLiteral("file%1").arg(i);
        threads[i].status = statuses.at(i);
    }
    return threads;
}

// Every minion made, so that tests can see when it is gone.
QPointer<QObject> lastMinion;

QObject* recordingMaker(Progress::Object* object, HProgressBar* total, HProgressBar* item)
{
    QObject* minion = Progress::Minion::make(object, total, item);
    lastMinion = minion;
    return minion;
}

} // namespace

class TestProgress : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void cleanup();

    void threadsStateAndMetaTypes();
    void itemValue_data();
    void itemValue();
    void acts_data();
    void acts();
    void changeAndEndActs();
    void throttle();
    void parallelConnections();
    void updateGuiOnlyOnItsOwnThread();

    void barText_data();
    void barText();
    void barToolTipEvent_data();
    void barToolTipEvent();
    void barsThroughMinion();
    void barsFromWorkerThread();

    void tipRows_data();
    void tipRows();
    void tipPlacement_data();
    void tipPlacement();
    void tipShownOnScreenAndExpires();
    void tipHidesOnUserAction_data();
    void tipHidesOnUserAction();
};

void TestProgress::cleanup()
{
    delete GeneralTip::current();
    QToolTip::hideText();
}

void TestProgress::threadsStateAndMetaTypes()
{
    Progress::Object::registerMetaTypes();
    QCOMPARE(QMetaType::fromName("Steps"), QMetaType::fromType<quint64>());
    QCOMPARE(QMetaType::fromName("ThreadsState"), QMetaType::fromType<Progress::ThreadsState>());

    Progress::ThreadsState original(2);
    QCOMPARE(original[1].tail, Steps(1));
    original[1].activity = QStringLiteral("repomd");
    Progress::ThreadsState copy(original);
    copy[1].activity = QStringLiteral("changed");
    QCOMPARE(original[1].activity, QStringLiteral("repomd"));
    copy = Progress::ThreadsState();
    QCOMPARE(copy.count(), 0u);
    Progress::ThreadsState empty(copy);
    QCOMPARE(empty.count(), 0u);

    // A deep copy survives the queue even after the sender changed its own table.
    QVariant carried = QVariant::fromValue(original);
    original[1].activity.clear();
    QCOMPARE(carried.value<Progress::ThreadsState>()[1].activity, QStringLiteral("repomd"));
}

void TestProgress::itemValue_data()
{
    QTest::addColumn<Steps>("before");   // span of an earlier item, where this one starts
    QTest::addColumn<Steps>("span");
    QTest::addColumn<Steps>("itemTail");
    QTest::addColumn<Steps>("value");
    QTest::addColumn<Steps>("total");
    QTest::addColumn<Steps>("item");

    QTest::newRow("halfway") << Steps(0) << Steps(100) << Steps(50) << Steps(25) << Steps(50) << Steps(25);
    QTest::newRow("after an item") << Steps(30) << Steps(100) << Steps(50) << Steps(25) << Steps(80) << Steps(25);
    QTest::newRow("truncated") << Steps(0) << Steps(10) << Steps(3) << Steps(1) << Steps(3) << Steps(1);
    QTest::newRow("beyond the tail") << Steps(0) << Steps(100) << Steps(50) << Steps(80) << Steps(100) << Steps(50);
    QTest::newRow("tail 0") << Steps(10) << Steps(40) << Steps(0) << Steps(7) << Steps(50) << Steps(0);
    QTest::newRow("64-bit tail") << Steps(0) << Steps(14000) << (Steps(1) << 40) << (Steps(1) << 39)
                                 << Steps(7000) << (Steps(1) << 39);
}

void TestProgress::itemValue()
{
    QFETCH(Steps, before);
    QFETCH(Steps, span);
    QFETCH(Steps, itemTail);
    QFETCH(Steps, value);
    QFETCH(Steps, total);
    QFETCH(Steps, item);

    auto object = makeObject();
    QSignalSpy spy(object.get(), &Progress::Object::setItemValueSig);
    object->startTotal(QStringLiteral("total"), 100000);
    object->startItem(QStringLiteral("before"), before, 1);
    object->startItem(QStringLiteral("item"), span, itemTail);
    fakeNow += 10;
    object->setItemValue(value);
    QCOMPARE(object->totalValue(), total);
    QCOMPARE(object->itemValue(), item);
    QCOMPARE(spy.count(), 1);
    QCOMPARE(spy.at(0).at(0).value<Steps>(), total);
    QCOMPARE(spy.at(0).at(1).value<Steps>(), item);
}

void TestProgress::acts_data()
{
    QTest::addColumn<Steps>("count");
    QTest::addColumn<QList<Steps>>("acts");
    QTest::addColumn<QList<Steps>>("ends"); // total position at the end of each act's item

    // 600 steps over the acts, which begin at 100.
    QTest::newRow("consecutive") << Steps(6) << QList<Steps>{1, 2, 5} << QList<Steps>{200, 300, 600};
    QTest::newRow("truncated") << Steps(7) << QList<Steps>{1, 3, 7} << QList<Steps>{185, 357, 700};
    QTest::newRow("beyond the count") << Steps(6) << QList<Steps>{2, 9, 6} << QList<Steps>{300, 700, 700};
    QTest::newRow("count 0") << Steps(0) << QList<Steps>{0, 3} << QList<Steps>{100, 100};
}

void TestProgress::acts()
{
    QFETCH(Steps, count);
    QFETCH(QList<Steps>, acts);
    QFETCH(QList<Steps>, ends);

    auto object = makeObject();
    object->startTotal(QStringLiteral("total"), 1000);
    object->startItem(QStringLiteral("first"), 100, 1);
    object->setupItemActs(600, count);
    for (int i = 0; i < acts.size(); ++i) {
        object->startItemAct(QStringLiteral("act"), 10, acts.at(i));
        QCOMPARE(itemEnd(*object, 10), ends.at(i));
    }
    object->endItemActs();
    QCOMPARE(object->totalValue(), Steps(700));
}

void TestProgress::changeAndEndActs()
{
    auto object = makeObject();
    QSignalSpy changed(object.get(), &Progress::Object::changeItemActsSig);
    QSignalSpy ended(object.get(), &Progress::Object::endItemActsSig);
    QSignalSpy started(object.get(), &Progress::Object::startItemSig);
    object->startTotal(QStringLiteral("total"), 1000);
    object->startItem(QStringLiteral("first"), 100, 1);
    object->setupItemActs(600, 6);
    object->startItemAct(QStringLiteral("act"), 10, 3);
    QCOMPARE(itemEnd(*object, 10), Steps(400));

    // Three of four acts done: the position moves to three quarters of the acts.
    object->changeItemActs(4);
    QCOMPARE(changed.takeFirst().at(0).value<Steps>(), Steps(550));
    object->startItemAct(QStringLiteral("act"), 10, 4);
    QCOMPARE(started.last().at(1).value<Steps>(), Steps(550));
    QCOMPARE(itemEnd(*object, 10), Steps(700));

    object->changeItemActs(0);
    QCOMPARE(changed.takeFirst().at(0).value<Steps>(), Steps(700));

    // A parallel item ends one act short of its act, unclamped.
    object->changeItemActs(6);
    QCOMPARE(changed.takeFirst().at(0).value<Steps>(), Steps(500));
    object->setupItemActsThreads(QStringLiteral("parallel"), 0, 7, 2, 10);
    QCOMPARE(started.last().at(1).value<Steps>(), Steps(500));
    QCOMPARE(itemEnd(*object, 10), Steps(700));
    object->setupItemActsThreads(QStringLiteral("parallel"), 0, 9, 2, 10);
    QCOMPARE(itemEnd(*object, 10), Steps(900));

    object->endItemActs();
    QCOMPARE(ended.takeFirst().at(0).value<Steps>(), Steps(700));
    object->startItem(QStringLiteral("after"), 50, 1);
    QCOMPARE(started.last().at(1).value<Steps>(), Steps(700));
}

void TestProgress::throttle()
{
    auto object = makeObject();
    QSignalSpy items(object.get(), &Progress::Object::setItemValueSig);
    QSignalSpy totals(object.get(), &Progress::Object::setTotalValueSig);
    object->startTotal(QStringLiteral("total"), 100);

    // Before any item, nothing has been sent yet.
    object->setTotalValue(3);
    QCOMPARE(totals.count(), 1);

    object->startItem(QStringLiteral("item"), 50, 10);
    fakeNow += 5;
    object->setItemValue(5);
    QCOMPARE(items.count(), 0);
    QCOMPARE(object->totalValue(), Steps(25)); // computed even when not sent
    fakeNow += 4;
    object->setItemValue(6);
    QCOMPARE(items.count(), 0); // 9 ms are not enough
    fakeNow += 1;
    object->setItemValue(6);
    QCOMPARE(items.count(), 1);

    // The item's last value is throttled like any other.
    fakeNow += 1;
    object->setItemValue(10);
    QCOMPARE(items.count(), 1);
    QCOMPARE(object->totalValue(), Steps(50));

    // A dropped total changes nothing, not even the position.
    object->setTotalValue(60);
    QCOMPARE(totals.count(), 1);
    QCOMPARE(object->totalValue(), Steps(50));

    // The final total always gets through, once; beyond the tail counts as the tail.
    object->setTotalValue(200);
    QCOMPARE(totals.count(), 2);
    QCOMPARE(totals.last().at(0).value<Steps>(), Steps(100));
    object->setTotalValue(100);
    QCOMPARE(totals.count(), 2);

    // The shared timer restarted with the final total: items wait as well.
    fakeNow += 9;
    object->setItemValue(9);
    QCOMPARE(items.count(), 1);
    fakeNow += 1;
    object->setTotalValue(70);
    QCOMPARE(totals.count(), 3);
    QCOMPARE(object->totalValue(), Steps(70));
}

void TestProgress::parallelConnections()
{
    auto object = makeObject();
    QSignalSpy states(object.get(), &Progress::Object::updateThreadsStateSig);
    QSignalSpy activities(object.get(), &Progress::Object::changeItemActivitySig);
    object->startTotal(QStringLiteral("total"), 1200);
    object->setupItemActs(1200, 12);
    object->setupItemActsThreads(QStringLiteral("Downloading"), 0, 6, 3, 300);
    QCOMPARE(states.count(), 1);
    QCOMPARE(states.takeFirst().at(0).value<Progress::ThreadsState>().count(), 3u);

    object->startItemActThread(QStringLiteral("a"), 0, 100);
    object->startItemActThread(QStringLiteral("b"), 1, 200);
    QCOMPARE(activities.count(), 0); // several connections: the item keeps its own text
    QCOMPARE(object->threads()[1].status, int(Progress::ThreadState::InProgress));
    QCOMPARE(object->threads()[1].tail, Steps(200));

    object->setItemActsThreadValue(0, 60);
    object->setItemActsThreadValue(1, 30);
    object->setItemActsThreadValue(0, 90);
    QCOMPARE(object->itemValue(), Steps(120));
    QCOMPARE(object->totalValue(), Steps(200)); // 120 of 300 over acts 0 to 5 (500 steps)

    object->retryItemActThread(0);
    QCOMPARE(object->threads()[0].status, int(Progress::ThreadState::Retrying));
    QCOMPARE(object->threads()[0].value, Steps(0));
    QCOMPARE(object->itemValue(), Steps(30));
    object->endItemActThread(1);
    QCOMPARE(object->threads()[1].status, int(Progress::ThreadState::Complete));
    QCOMPARE(states.last().at(0).value<Progress::ThreadsState>()[1].status,
             int(Progress::ThreadState::Complete));

    // One past the table has no row.
    states.clear();
    object->startItemActThread(QStringLiteral("x"), 3, 10);
    object->setItemActsThreadValue(3, 10);
    QCOMPARE(states.count(), 0);
    QCOMPARE(object->itemValue(), Steps(30));

    object->endItemActsThreads();
    QCOMPARE(object->threads().count(), 0u);
    QCOMPARE(states.last().at(0).value<Progress::ThreadsState>().count(), 0u);

    // A lone connection names the item.
    object->setupItemActsThreads(QStringLiteral("Downloading"), 0, 7, 1, 10);
    object->startItemActThread(QStringLiteral("only"), 0, 10);
    QCOMPARE(activities.count(), 1);
    QCOMPARE(activities.first().at(0).toString(), QStringLiteral("only"));
}

void TestProgress::updateGuiOnlyOnItsOwnThread()
{
    auto object = makeObject();
    QVERIFY(object->sameThread());
    object->startTotal(QStringLiteral("total"), 100);

    bool delivered = false;
    QMetaObject::invokeMethod(qApp, [&delivered] { delivered = true; }, Qt::QueuedConnection);
    fakeNow += 9;
    object->changeItemActivity(QStringLiteral("soon"));
    QVERIFY(!delivered);
    fakeNow += 1;
    object->changeItemActivity(QStringLiteral("now"));
    QVERIFY(delivered);

    // On a worker, the reports never run an event loop of their own.
    bool sameThread = true;
    bool workerDelivered = false;
    std::unique_ptr<QThread> worker(QThread::create([&] {
        Progress::Object onWorker(nullptr, nullptr);
        sameThread = onWorker.sameThread();
        QMetaObject::invokeMethod(&onWorker, [&] { workerDelivered = true; }, Qt::QueuedConnection);
        onWorker.startTotal(QStringLiteral("total"), 10);
        onWorker.setTotalValue(10);
    }));
    worker->start();
    QVERIFY(worker->wait(10000));
    QVERIFY(!sameThread);
    QVERIFY(!workerDelivered);
}

void TestProgress::barText_data()
{
    QTest::addColumn<QString>("activity");
    QTest::addColumn<int>("value"); // -1: reset
    QTest::addColumn<QString>("text");

    QTest::newRow("nothing") << QString() << -1 << QString();
    QTest::newRow("percentage only") << QString() << 50 << QStringLiteral("50%");
    QTest::newRow("activity only") << QStringLiteral("Reading") << -1 << QStringLiteral("Reading");
    QTest::newRow("both") << QStringLiteral("Reading") << 25 << QStringLiteral("Reading (25%)");
}

void TestProgress::barText()
{
    QFETCH(QString, activity);
    QFETCH(int, value);
    QFETCH(QString, text);

    HProgressBar bar;
    bar.setRange(0, 100);
    bar.setActivity(activity);
    if (value >= 0)
        bar.setValue(value);
    QCOMPARE(bar.text(), text);

    bar.reset();
    QCOMPARE(bar.activity(), QString());
    QCOMPARE(bar.text(), QString());
}

void TestProgress::barToolTipEvent_data()
{
    QTest::addColumn<bool>("alwaysShow");
    QTest::addColumn<bool>("active");
    QTest::addColumn<bool>("taken");

    QTest::newRow("inactive window") << false << false << false;
    QTest::newRow("always show tips") << true << false << true;
    QTest::newRow("active window") << false << true << true;
}

void TestProgress::barToolTipEvent()
{
    QFETCH(bool, alwaysShow);
    QFETCH(bool, active);
    QFETCH(bool, taken);

    QWidget window;
    window.setAttribute(Qt::WA_AlwaysShowToolTips, alwaysShow);
    auto* bar = new HProgressBar(&window);
    bar->setToolTip(QStringLiteral("static tip"));
    (new QVBoxLayout(&window))->addWidget(bar);
    // A shown window becomes active at once here; one never shown stays inactive.
    if (active) {
        window.show();
        window.activateWindow();
        QVERIFY(QTest::qWaitForWindowActive(&window));
    }
    QCOMPARE(window.isActiveWindow(), active);

    QSignalSpy spy(bar, &HProgressBar::toolTip);
    const QPoint pos(5, 3);
    QHelpEvent event(QEvent::ToolTip, pos, bar->mapToGlobal(pos));
    const bool handled = QCoreApplication::sendEvent(bar, &event);
    QCOMPARE(spy.count(), taken ? 1 : 0);
    if (taken) {
        QVERIFY(handled);
        QVERIFY(event.isAccepted());
        QCOMPARE(spy.first().at(0).toPoint(), pos);
    }
    // Handled by the plain widget otherwise, which shows the static tip.
    QCOMPARE(QToolTip::isVisible(), !taken);
}

void TestProgress::barsThroughMinion()
{
    HProgressBar total;
    HProgressBar item;
    QVERIFY(Progress::Object::minionMaker() == &Progress::Minion::make);
    Progress::Object::setMinionMaker(&recordingMaker);
    auto object = std::make_unique<Progress::Object>(&total, &item);
    object->setClock(&fakeClock);
    QVERIFY(object->sameThread());
    QVERIFY(!total.isEnabled());
    QCOMPARE(total.maximum(), 1);

    object->startTotal(QStringLiteral("Collecting"), 14000);
    QVERIFY(total.isEnabled());
    QCOMPARE(total.maximum(), 14000);
    QCOMPARE(total.value(), 0);
    QCOMPARE(total.text(), QStringLiteral("Collecting (0%)"));
    QVERIFY(!item.isEnabled());
    QCOMPARE(item.text(), QString());

    object->startItem(QStringLiteral("Reading"), 7000, 100);
    QVERIFY(item.isEnabled());
    QCOMPARE(item.maximum(), 100);
    QCOMPARE(item.value(), 0);
    QCOMPARE(item.activity(), QStringLiteral("Reading"));
    fakeNow += 10;
    object->setItemValue(50);
    QCOMPARE(total.value(), 3500);
    QCOMPARE(item.value(), 50);
    QCOMPARE(total.text(), QStringLiteral("Collecting (25%)"));
    object->changeItemActivity(QStringLiteral("Converting"));
    QCOMPARE(item.text(), QStringLiteral("Converting (50%)"));
    fakeNow += 10;
    object->setTotalValue(9000);
    QCOMPARE(total.value(), 9000);

    object.reset();
    for (HProgressBar* bar : {&total, &item}) {
        QVERIFY(!bar->isEnabled());
        QCOMPARE(bar->minimum(), 0);
        QCOMPARE(bar->maximum(), 1);
        QCOMPARE(bar->text(), QString());
    }
    QVERIFY(lastMinion);
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    QVERIFY(!lastMinion);
    Progress::Minion::install();
}

void TestProgress::barsFromWorkerThread()
{
    QWidget window;
    window.setAttribute(Qt::WA_AlwaysShowToolTips);
    auto* total = new HProgressBar(&window);
    auto* item = new HProgressBar(&window);
    auto* layout = new QVBoxLayout(&window);
    layout->addWidget(total);
    layout->addWidget(item);
    window.show();
    QVERIFY(QTest::qWaitForWindowExposed(&window));

    Progress::Object::setMinionMaker(&recordingMaker);
    Progress::Object* slot = nullptr;
    QSemaphore reported;
    QSemaphore finish;
    bool sameThread = true;
    std::unique_ptr<QThread> worker(QThread::create([&] {
        Progress::User user(slot, total, item);
        slot->setClock(&fakeClock);
        sameThread = slot->sameThread();
        slot->startTotal(QStringLiteral("Applying"), 1000);
        slot->setupItemActs(1000, 2);
        slot->setupItemActsThreads(QStringLiteral("Downloading 2 packages"), 0, 2, 2, 200);
        slot->startItemActThread(QStringLiteral("foo"), 0, 100);
        fakeNow += 10;
        slot->setItemActsThreadValue(0, 100);
        reported.release();
        finish.acquire();
    }));
    fakeNow = 5000;
    worker->start();
    QVERIFY(reported.tryAcquire(1, 10000));
    QVERIFY(!sameThread);

    // The worker only queued; the graphical thread's event processing sets the bars.
    QTRY_COMPARE(item->value(), 100);
    QCOMPARE(total->value(), 250);
    QCOMPARE(total->activity(), QStringLiteral("Applying"));
    QCOMPARE(item->activity(), QStringLiteral("Downloading 2 packages"));
    QCOMPARE(item->maximum(), 200);

    // The connection table came through too: hovering the item bar shows it.
    QHelpEvent help(QEvent::ToolTip, QPoint(2, 2), item->mapToGlobal(QPoint(2, 2)));
    QVERIFY(QCoreApplication::sendEvent(item, &help));
    QPointer<GeneralTip> tip = GeneralTip::current();
    QVERIFY(tip);
    QVERIFY(tip->isVisible());
    auto* grid = qobject_cast<QGridLayout*>(tip->layout());
    QVERIFY(grid);
    QCOMPARE(qobject_cast<QLabel*>(grid->itemAtPosition(0, 1)->widget())->text(),
             QStringLiteral("100 / 100 (1%%)"));
    QCOMPARE(qobject_cast<QLabel*>(grid->itemAtPosition(1, 0)->widget())->text(),
             QStringLiteral("1 downloads"));

    finish.release();
    QVERIFY(worker->wait(10000));
    QVERIFY(!slot);
    QTRY_VERIFY(!total->isEnabled());
    QVERIFY(!item->isEnabled());
    QCOMPARE(item->maximum(), 1);
    QTRY_VERIFY(!lastMinion);
    Progress::Minion::install();
}

void TestProgress::tipRows_data()
{
    QTest::addColumn<Progress::ThreadsState>("threads");
    QTest::addColumn<QStringList>("rows"); // "left|right|frame"

    QStringList twenty;
    for (int i = 0; i < 20; ++i)
        twenty << QStringLiteral("file%1|Complete|box").arg(i);
    QTest::newRow("20 complete") << threadsWith(QList<int>(20, 3)) << twenty;
    QTest::newRow("21 complete") << threadsWith(QList<int>(21, 3))
                                 << QStringList{"21 downloads|Complete|panel"};

    Progress::ThreadsState half = threadsWith({2});
    half[0].value = 512;
    half[0].tail = 1024;
    QTest::newRow("512 of 1024") << half << QStringList{"file0|512 / 1024 (0.5%%)|panel"};

    Progress::ThreadsState unknown = threadsWith({2});
    unknown[0].value = 512;
    QTest::newRow("unknown size") << unknown << QStringList{"file0|In Progress|panel"};

    QTest::newRow("mixed") << threadsWith({0, 1, 3, 0, 2, 7})
                           << QStringList{"file1|Retrying|box", "file2|Complete|box",
                                          "file4|In Progress|panel",
                                          "3 downloads|Not Started Yet|panel"};
    QList<int> many(21, 3);
    many << 1 << 0;
    QTest::newRow("summary with others") << threadsWith(many)
                                         << QStringList{"21 downloads|Complete|panel",
                                                        "file21|Retrying|box",
                                                        "1 downloads|Not Started Yet|panel"};
}

void TestProgress::tipRows()
{
    QFETCH(Progress::ThreadsState, threads);
    QFETCH(QStringList, rows);

    Progress::Minion minion(nullptr, nullptr);
    minion.updateThreadsState(threads);
    GeneralTip tip(nullptr, true);
    Progress::Minion::setupTip(&tip, &minion);

    auto* grid = qobject_cast<QGridLayout*>(tip.layout());
    QVERIFY(grid);
    QCOMPARE(grid->contentsMargins(), QMargins(4, 4, 4, 4));
    QCOMPARE(grid->count(), 2 * rows.size());
    const QHash<QString, QColor> colours{{"Complete", QColor(144, 238, 144)},
                                         {"Retrying", QColor(255, 140, 0)},
                                         {"Not Started Yet", QColor(255, 140, 0)}};
    for (int row = 0; row < rows.size(); ++row) {
        const QStringList expected = rows.at(row).split('|');
        auto* left = qobject_cast<QLabel*>(grid->itemAtPosition(row, 0)->widget());
        auto* right = qobject_cast<QLabel*>(grid->itemAtPosition(row, 1)->widget());
        QVERIFY(left && right);
        QCOMPARE(left->text(), expected.at(0));
        QCOMPARE(right->text(), expected.at(1));
        QCOMPARE(right->frameStyle(), expected.at(2) == "box"
                                          ? int(QFrame::Box)
                                          : int(QFrame::StyledPanel | QFrame::Plain));
        QVERIFY(right->autoFillBackground());
        QCOMPARE(right->backgroundRole(), QPalette::Window);
        QCOMPARE(right->palette().color(QPalette::Window),
                 colours.value(expected.at(1), QColor(255, 255, 0)));
        // All the status colours are light.
        QCOMPARE(right->palette().color(QPalette::WindowText), QColor(Qt::black));
    }
}

void TestProgress::tipPlacement_data()
{
    QTest::addColumn<QPoint>("pos");
    QTest::addColumn<QSize>("size");
    QTest::addColumn<QRect>("screen");
    QTest::addColumn<QPoint>("placed");

    const QRect screen(0, 0, 800, 600);
    QTest::newRow("below right") << QPoint(300, 200) << QSize(100, 50) << screen << QPoint(302, 216);
    QTest::newRow("right edge") << QPoint(750, 200) << QSize(100, 50) << screen << QPoint(648, 216);
    QTest::newRow("bottom edge") << QPoint(300, 560) << QSize(100, 50) << screen << QPoint(302, 502);
    QTest::newRow("corner") << QPoint(799, 599) << QSize(100, 50) << screen << QPoint(697, 541);
    QTest::newRow("above the screen") << QPoint(-50, -50) << QSize(100, 50) << screen << QPoint(0, 0);
    QTest::newRow("second screen") << QPoint(790, 10) << QSize(100, 50) << QRect(800, 0, 800, 600)
                                   << QPoint(800, 26);
    // Too big either way: the bottom edge wins over the top.
    QTest::newRow("larger than the screen") << QPoint(10, 10) << QSize(900, 700) << screen
                                            << QPoint(0, -100);
}

void TestProgress::tipPlacement()
{
    QFETCH(QPoint, pos);
    QFETCH(QSize, size);
    QFETCH(QRect, screen);
    QFETCH(QPoint, placed);

    QCOMPARE(GeneralTip::placement(pos, size, screen), placed);
}

namespace {

void fillTip(GeneralTip* tip, void* data)
{
    auto* layout = new QVBoxLayout(tip);
    layout->addWidget(new QLabel(*static_cast<QString*>(data), tip));
}

} // namespace

void TestProgress::tipShownOnScreenAndExpires()
{
    QString text = QStringLiteral("A rather long line of text for a tip");
    const QRect screen = QGuiApplication::primaryScreen()->geometry();
    const QPoint corner = screen.bottomRight();

    GeneralTip::showTip(QPoint(10, 10), &fillTip, &text, nullptr, true);
    QPointer<GeneralTip> first = GeneralTip::current();
    QVERIFY(first);
    QCOMPARE(timerWithInterval(first, 10000), -1); // asked to stay

    // A new tip replaces the old at once.
    GeneralTip::showTip(corner, &fillTip, &text, nullptr, false);
    QVERIFY(!first);
    QPointer<GeneralTip> tip = GeneralTip::current();
    QVERIFY(tip && tip->isVisible());
    // Flipped to the left of and above the pointer; pos() is where the window's frame goes.
    QVERIFY(tip->width() > 50);
    QCOMPARE(tip->pos(), QPoint(corner.x() - 2 - tip->width(), corner.y() - 8 - tip->height()));
    QVERIFY(screen.contains(QRect(tip->pos(), tip->size())));
    QCOMPARE(tip->frameShape(), QFrame::Box);
    QCOMPARE(tip->palette().color(QPalette::Window), QColor(255, 255, 220));

    const int expiry = timerWithInterval(tip, 10000);
    QVERIFY(expiry != -1);
    QTimerEvent expired(expiry);
    QCoreApplication::sendEvent(tip, &expired);
    QVERIFY(tip->isHidden());
    QCOMPARE(GeneralTip::current(), tip.data());

    const int deletion = timerWithInterval(tip, 250);
    QVERIFY(deletion != -1);
    QTimerEvent deleted(deletion);
    QCoreApplication::sendEvent(tip, &deleted);
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    QVERIFY(!tip);
    QVERIFY(!GeneralTip::current());
}

void TestProgress::tipHidesOnUserAction_data()
{
    QTest::addColumn<int>("type");
    QTest::addColumn<int>("key");
    QTest::addColumn<int>("modifiers");
    QTest::addColumn<bool>("hidden");

    QTest::newRow("mouse press") << int(QEvent::MouseButtonPress) << 0 << 0 << true;
    QTest::newRow("double click") << int(QEvent::MouseButtonDblClick) << 0 << 0 << true;
    QTest::newRow("wheel") << int(QEvent::Wheel) << 0 << 0 << true;
    QTest::newRow("focus out") << int(QEvent::FocusOut) << 0 << 0 << true;
    QTest::newRow("leave") << int(QEvent::Leave) << 0 << 0 << true;
    QTest::newRow("window deactivated") << int(QEvent::WindowDeactivate) << 0 << 0 << true;
    QTest::newRow("plain key") << int(QEvent::KeyPress) << int(Qt::Key_A) << 0 << true;
    QTest::newRow("key release") << int(QEvent::KeyRelease) << int(Qt::Key_Escape) << 0 << true;
    QTest::newRow("shift alone") << int(QEvent::KeyPress) << int(Qt::Key_Shift) << 0 << false;
    QTest::newRow("meta alone") << int(QEvent::KeyPress) << int(Qt::Key_Meta) << 0 << false;
    QTest::newRow("with control") << int(QEvent::KeyPress) << int(Qt::Key_A)
                                  << int(Qt::ControlModifier) << false;
    QTest::newRow("mouse move") << int(QEvent::MouseMove) << 0 << 0 << false;
}

void TestProgress::tipHidesOnUserAction()
{
    QFETCH(int, type);
    QFETCH(int, key);
    QFETCH(int, modifiers);
    QFETCH(bool, hidden);

    QString text = QStringLiteral("tip");
    GeneralTip::showTip(QPoint(100, 100), &fillTip, &text, nullptr, true);
    QPointer<GeneralTip> tip = GeneralTip::current();
    QVERIFY(tip && tip->isVisible());

    QWidget elsewhere;
    const auto eventType = QEvent::Type(type);
    const QPointF point(1, 1);
    std::unique_ptr<QEvent> event;
    switch (eventType) {
    case QEvent::KeyPress:
    case QEvent::KeyRelease:
        event.reset(new QKeyEvent(eventType, key, Qt::KeyboardModifiers(modifiers)));
        break;
    case QEvent::MouseButtonPress:
    case QEvent::MouseButtonDblClick:
    case QEvent::MouseMove:
        event.reset(new QMouseEvent(eventType, point, point, point,
                                    eventType == QEvent::MouseMove ? Qt::NoButton : Qt::LeftButton,
                                    Qt::NoButton, Qt::NoModifier));
        break;
    case QEvent::Wheel:
        event.reset(new QWheelEvent(point, point, QPoint(), QPoint(0, 120), Qt::NoButton,
                                    Qt::NoModifier, Qt::NoScrollPhase, false));
        break;
    case QEvent::FocusOut:
        event.reset(new QFocusEvent(eventType));
        break;
    default:
        event.reset(new QEvent(eventType));
        break;
    }
    QCoreApplication::sendEvent(&elsewhere, event.get());
    QCOMPARE(tip->isHidden(), hidden);
    QCOMPARE(timerWithInterval(tip, 250) != -1, hidden);
}

QTEST_MAIN(TestProgress)
#include "tst_progress.moc"
