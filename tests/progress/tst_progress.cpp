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

int timerWithInterval(QObject* object, int interval)
{
    const auto timers = QAbstractEventDispatcher::instance()->registeredTimers(object);
    for (const auto& timer : timers)
        if (timer.interval == interval)
            return timer.timerId;
    return -1;
}

QString labelText(QLayout* layout, int row, int column)
{
    auto* grid = qobject_cast<QGridLayout*>(layout);
    return grid ? qobject_cast<QLabel*>(grid->itemAtPosition(row, column)->widget())->text()
                : QString();
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

void fillTip(GeneralTip* tip, void* data)
{
    (new QVBoxLayout(tip))->addWidget(new QLabel(*static_cast<QString*>(data), tip));
}

// The last minion made, so that a test can see when it is gone.
QPointer<QObject> lastMinion;

QObject* recordingMaker(Progress::Object* object, HProgressBar* total, HProgressBar* item)
{
    return lastMinion = Progress::Minion::make(object, total, item);
}

} // namespace

class TestProgress : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void cleanup()
    {
        delete GeneralTip::current();
        QToolTip::hideText();
    }

    void itemValue_data()
    {
        QTest::addColumn<Steps>("before"); // span of an earlier item, where this one starts
        QTest::addColumn<Steps>("span");
        QTest::addColumn<Steps>("itemTail");
        QTest::addColumn<Steps>("value");
        QTest::addColumn<Steps>("total");
        QTest::addColumn<Steps>("item");
        auto row = [](const char* tag, Steps before, Steps span, Steps itemTail, Steps value,
                      Steps total, Steps item) {
            QTest::newRow(tag) << before << span << itemTail << value << total << item;
        };
        row("after an item", 30, 100, 50, 25, 80, 25);
        row("truncated", 0, 10, 3, 1, 3, 1);
        row("beyond the tail", 0, 100, 50, 80, 100, 50);
        row("tail 0", 10, 40, 0, 7, 50, 0);
        row("64-bit tail", 0, 14000, Steps(1) << 40, Steps(1) << 39, 7000, Steps(1) << 39);
    }

    void itemValue()
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
        QCOMPARE(object->itemValue(), item);
        QCOMPARE(spy.count(), 1);
        QCOMPARE(spy.at(0).at(0).value<Steps>(), total);
        QCOMPARE(spy.at(0).at(1).value<Steps>(), item);
    }

    void acts_data()
    {
        QTest::addColumn<Steps>("count");
        QTest::addColumn<QList<Steps>>("acts");
        QTest::addColumn<QList<Steps>>("ends"); // total position at the end of each act's item
        // 600 steps over the acts, which begin at 100.
        auto row = [](const char* tag, Steps count, QList<Steps> acts, QList<Steps> ends) {
            QTest::newRow(tag) << count << acts << ends;
        };
        row("consecutive", 6, {1, 2, 5}, {200, 300, 600});
        row("truncated", 7, {1, 3, 7}, {185, 357, 700});
        row("beyond the count", 6, {2, 9, 6}, {300, 700, 700});
        row("count 0", 0, {0, 3}, {100, 100});
    }

    void acts()
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
            object->setItemValue(10);
            QCOMPARE(object->totalValue(), ends.at(i));
        }
        object->endItemActs();
        QCOMPARE(object->totalValue(), Steps(700));
    }

    void throttle()
    {
        auto object = makeObject();
        QSignalSpy items(object.get(), &Progress::Object::setItemValueSig);
        QSignalSpy totals(object.get(), &Progress::Object::setTotalValueSig);
        object->startTotal(QStringLiteral("total"), 100);
        object->setTotalValue(3); // nothing sent yet: through at once
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

    void parallelConnections()
    {
        auto object = makeObject();
        QSignalSpy states(object.get(), &Progress::Object::updateThreadsStateSig);
        QSignalSpy activities(object.get(), &Progress::Object::changeItemActivitySig);
        object->startTotal(QStringLiteral("total"), 1200);
        object->setupItemActs(1200, 12);
        object->setupItemActsThreads(QStringLiteral("Downloading"), 0, 6, 3, 300);
        object->startItemActThread(QStringLiteral("a"), 0, 100);
        object->startItemActThread(QStringLiteral("b"), 1, 200);
        QCOMPARE(activities.count(), 0); // several connections: the item keeps its own text
        object->setItemActsThreadValue(0, 60);
        object->setItemActsThreadValue(1, 30);
        object->setItemActsThreadValue(0, 90);
        QCOMPARE(object->itemValue(), Steps(120));
        QCOMPARE(object->totalValue(), Steps(200)); // 120 of 300 over acts 0 to 5 (500 steps)

        // One past the table has no row.
        states.clear();
        object->startItemActThread(QStringLiteral("x"), 3, 10);
        object->setItemActsThreadValue(3, 10);
        QCOMPARE(states.count(), 0);
        QCOMPARE(object->itemValue(), Steps(120));
        // A lone connection names the item.
        object->setupItemActsThreads(QStringLiteral("Downloading"), 0, 7, 1, 10);
        object->startItemActThread(QStringLiteral("only"), 0, 10);
        QCOMPARE(activities.count(), 1);
        QCOMPARE(activities.first().at(0).toString(), QStringLiteral("only"));
    }

    void noEventLoopOnWorker()
    {
        bool sameThread = true;
        bool delivered = false;
        std::unique_ptr<QThread> worker(QThread::create([&] {
            Progress::Object onWorker(nullptr, nullptr);
            sameThread = onWorker.sameThread();
            QMetaObject::invokeMethod(&onWorker, [&] { delivered = true; }, Qt::QueuedConnection);
            onWorker.startTotal(QStringLiteral("total"), 10);
            onWorker.setTotalValue(10);
        }));
        worker->start();
        QVERIFY(worker->wait(10000));
        QVERIFY(!sameThread);
        QVERIFY(!delivered);
    }

    void barText()
    {
        HProgressBar bar;
        bar.setRange(0, 100);
        bar.setValue(50);
        QCOMPARE(bar.text(), QStringLiteral("50%"));
        bar.reset();
        bar.setActivity(QStringLiteral("Reading"));
        QCOMPARE(bar.text(), QStringLiteral("Reading"));
    }

    void barToolTipEvent_data()
    {
        QTest::addColumn<bool>("alwaysShow");
        QTest::addColumn<bool>("active");
        QTest::addColumn<bool>("taken");
        QTest::newRow("inactive window") << false << false << false;
        QTest::newRow("always show tips") << true << false << true;
        QTest::newRow("active window") << false << true << true;
    }

    void barToolTipEvent()
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
            QVERIFY(handled && event.isAccepted());
            QCOMPARE(spy.first().at(0).toPoint(), pos);
        }
        // Handled by the plain widget otherwise, which shows the static tip.
        QCOMPARE(QToolTip::isVisible(), !taken);
    }

    void barsFromWorkerThread()
    {
        QWidget window;
        window.setAttribute(Qt::WA_AlwaysShowToolTips);
        auto* total = new HProgressBar(&window);
        auto* item = new HProgressBar(&window);

        Progress::Object::setMinionMaker(&recordingMaker);
        Progress::Object* slot = nullptr;
        QSemaphore reported;
        QSemaphore finish;
        std::unique_ptr<QThread> worker(QThread::create([&] {
            Progress::User user(slot, total, item);
            slot->setClock(&fakeClock);
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

        // The worker only queued; the graphical thread's event processing sets the bars.
        QTRY_COMPARE(item->value(), 100);
        QCOMPARE(total->value(), 250);
        QCOMPARE(total->text(), QStringLiteral("Applying (25%)"));
        QCOMPARE(item->activity(), QStringLiteral("Downloading 2 packages"));
        QCOMPARE(item->maximum(), 200);

        // The connection table came through too: hovering the item bar shows it.
        QHelpEvent help(QEvent::ToolTip, QPoint(2, 2), item->mapToGlobal(QPoint(2, 2)));
        QVERIFY(QCoreApplication::sendEvent(item, &help));
        QPointer<GeneralTip> tip = GeneralTip::current();
        QVERIFY(tip && tip->isVisible());
        QCOMPARE(labelText(tip->layout(), 0, 1), QStringLiteral("100 / 100 (1%%)"));
        QCOMPARE(labelText(tip->layout(), 1, 0), QStringLiteral("1 downloads"));

        finish.release();
        QVERIFY(worker->wait(10000));
        QTRY_VERIFY(!total->isEnabled());
        for (HProgressBar* bar : {total, item}) {
            QVERIFY(!bar->isEnabled());
            QCOMPARE(bar->maximum(), 1);
            QCOMPARE(bar->text(), QString());
        }
        QTRY_VERIFY(!lastMinion);
        Progress::Minion::install();
    }

    void tipRows_data()
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
        QTest::newRow("mixed, size unknown") << threadsWith({0, 1, 3, 0, 2, 7})
            << QStringList{"file1|Retrying|box", "file2|Complete|box", "file4|In Progress|panel",
                           "3 downloads|Not Started Yet|panel"};
    }

    void tipRows()
    {
        QFETCH(Progress::ThreadsState, threads);
        QFETCH(QStringList, rows);
        Progress::Minion minion(nullptr, nullptr);
        minion.updateThreadsState(threads);
        GeneralTip tip(nullptr, true);
        Progress::Minion::setupTip(&tip, &minion);

        auto* grid = qobject_cast<QGridLayout*>(tip.layout());
        QVERIFY(grid);
        QCOMPARE(grid->count(), 2 * rows.size());
        const QHash<QString, QColor> colours{{"Complete", QColor(144, 238, 144)},
                                             {"Retrying", QColor(255, 140, 0)},
                                             {"Not Started Yet", QColor(255, 140, 0)}};
        for (int row = 0; row < rows.size(); ++row) {
            const QStringList expected = rows.at(row).split('|');
            auto* right = qobject_cast<QLabel*>(grid->itemAtPosition(row, 1)->widget());
            QCOMPARE(labelText(grid, row, 0), expected.at(0));
            QCOMPARE(right->text(), expected.at(1));
            QCOMPARE(right->frameStyle(), expected.at(2) == "box"
                                              ? int(QFrame::Box)
                                              : int(QFrame::StyledPanel | QFrame::Plain));
            QVERIFY(right->autoFillBackground());
            QCOMPARE(right->palette().color(QPalette::Window),
                     colours.value(expected.at(1), QColor(255, 255, 0)));
            QCOMPARE(right->palette().color(QPalette::WindowText), QColor(Qt::black));
        }
    }

    void tipPlacement_data()
    {
        QTest::addColumn<QPoint>("pos");
        QTest::addColumn<QSize>("size");
        QTest::addColumn<QRect>("screen");
        QTest::addColumn<QPoint>("placed");
        auto row = [](const char* tag, QPoint pos, QSize size, QPoint placed,
                      QRect screen = QRect(0, 0, 800, 600)) {
            QTest::newRow(tag) << pos << size << screen << placed;
        };
        row("below right", {300, 200}, {100, 50}, {302, 216});
        row("above the screen", {-50, -50}, {100, 50}, {0, 0});
        row("second screen", {790, 10}, {100, 50}, {800, 26}, {800, 0, 800, 600});
        // Too big either way: the bottom edge wins over the top.
        row("larger than the screen", {10, 10}, {900, 700}, {0, -100});
    }

    void tipPlacement()
    {
        QFETCH(QPoint, pos);
        QFETCH(QSize, size);
        QFETCH(QRect, screen);
        QFETCH(QPoint, placed);
        QCOMPARE(GeneralTip::placement(pos, size, screen), placed);
    }

    void tipShownOnScreenAndExpires()
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
        // Flipped to the left of and above the pointer, after its contents were laid out.
        QVERIFY(tip->width() > 50);
        QCOMPARE(tip->pos(), QPoint(corner.x() - 2 - tip->width(), corner.y() - 8 - tip->height()));

        QTimerEvent expired(timerWithInterval(tip, 10000));
        QCoreApplication::sendEvent(tip, &expired);
        QVERIFY(tip->isHidden());
        QCOMPARE(GeneralTip::current(), tip.data());
        QTimerEvent deleted(timerWithInterval(tip, 250));
        QCoreApplication::sendEvent(tip, &deleted);
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        QVERIFY(!tip);
        QVERIFY(!GeneralTip::current());
    }

    void tipHidesOnUserAction()
    {
        const QPointF point(1, 1);
        const QMouseEvent press(QEvent::MouseButtonPress, point, point, point, Qt::LeftButton,
                                Qt::LeftButton, Qt::NoModifier);
        const QMouseEvent move(QEvent::MouseMove, point, point, point, Qt::NoButton, Qt::NoButton,
                               Qt::NoModifier);
        const QKeyEvent plainKey(QEvent::KeyPress, Qt::Key_A, Qt::NoModifier);
        const QKeyEvent shift(QEvent::KeyPress, Qt::Key_Shift, Qt::NoModifier);
        const QKeyEvent control(QEvent::KeyPress, Qt::Key_A, Qt::ControlModifier);
        const QList<std::pair<const QEvent*, bool>> cases{
            {&press, true}, {&move, false}, {&plainKey, true}, {&shift, false}, {&control, false}};
        QString text = QStringLiteral("tip");
        QWidget elsewhere;
        for (const auto& [event, hidden] : cases) {
            GeneralTip::showTip(QPoint(100, 100), &fillTip, &text, nullptr, true);
            QPointer<GeneralTip> tip = GeneralTip::current();
            QCoreApplication::sendEvent(&elsewhere, std::unique_ptr<QEvent>(event->clone()).get());
            QVERIFY2(tip->isHidden() == hidden, qPrintable(QString::number(event->type())));
            QCOMPARE(timerWithInterval(tip, 250) != -1, hidden);
        }
    }
};

QTEST_MAIN(TestProgress)
#include "tst_progress.moc"
