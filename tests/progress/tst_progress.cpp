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
        row("64-bit tail", 0, 14000, Steps(1) << 40, Steps(1) << 39, 7000, Steps(1) << 39);
    }

    void itemValue()
    {
        QFETCH(Steps, before);
        QFETCH(Steps, span);
        QFETCH(Steps, itemTail);
        QFETCH(Steps, value);
        auto object = makeObject();
        object->startTotal(QStringLiteral("total"), 100000);
        object->startItem(QStringLiteral("before"), before, 1);
        object->startItem(QStringLiteral("item"), span, itemTail);
        object->setItemValue(value);
        QTEST(object->totalValue(), "total");
        QTEST(object->itemValue(), "item");
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

        // 9 ms are not enough, even for the item's last value; the position moves regardless.
        object->startItem(QStringLiteral("item"), 50, 10);
        fakeNow += 9;
        object->setItemValue(10);
        QCOMPARE(items.count(), 0);
        QCOMPARE(object->totalValue(), Steps(50));
        fakeNow += 1;
        object->setItemValue(10);
        QCOMPARE(items.count(), 1);

        // A dropped total changes nothing, not even the position.
        object->setTotalValue(60);
        QCOMPARE(object->totalValue(), Steps(50));
        // The final total always gets through, once; beyond the tail counts as the tail.
        object->setTotalValue(200);
        object->setTotalValue(100);
        QCOMPARE(totals.count(), 2);
        QCOMPARE(totals.last().at(0).value<Steps>(), Steps(100));
        // The shared timer restarted with the final total: items wait as well.
        fakeNow += 9;
        object->setItemValue(9);
        QCOMPARE(items.count(), 1);
    }

    void parallelConnections()
    {
        auto object = makeObject();
        QSignalSpy states(object.get(), &Progress::Object::updateThreadsStateSig);
        object->startTotal(QStringLiteral("total"), 1200);
        object->setupItemActs(1200, 12);
        object->setupItemActsThreads(QStringLiteral("Downloading"), 0, 6, 3, 300);
        object->startItemActThread(QStringLiteral("a"), 0, 100);
        object->startItemActThread(QStringLiteral("b"), 1, 200);
        object->setItemActsThreadValue(0, 60);
        object->setItemActsThreadValue(1, 30);
        object->setItemActsThreadValue(0, 90);
        QCOMPARE(object->totalValue(), Steps(200)); // 120 of 300 over acts 0 to 5 (500 steps)

        // One past the table has no row.
        states.clear();
        object->setItemActsThreadValue(3, 10);
        QCOMPARE(states.count(), 0);
        QCOMPARE(object->itemValue(), Steps(120));
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
        QCOMPARE(total->text(), QStringLiteral("Applying (25%)"));
        QCOMPARE(item->activity(), QStringLiteral("Downloading 2 packages"));

        // The connection table came through too: hovering the item bar, in an inactive window
        // that always shows tips, shows it.
        QHelpEvent help(QEvent::ToolTip, QPoint(2, 2), item->mapToGlobal(QPoint(2, 2)));
        QVERIFY(QCoreApplication::sendEvent(item, &help));
        QVERIFY(GeneralTip::current());
        QCOMPARE(labelText(GeneralTip::current()->layout(), 0, 1),
                 QStringLiteral("100 / 100 (1%%)"));

        finish.release();
        QVERIFY(worker->wait(10000));
        QTRY_VERIFY(!total->isEnabled());
        QTRY_VERIFY(!lastMinion);
        Progress::Minion::install();
    }

    void tipRows_data()
    {
        QTest::addColumn<Progress::ThreadsState>("threads");
        QTest::addColumn<QStringList>("rows"); // "left|right"
        QStringList twenty;
        for (int i = 0; i < 20; ++i)
            twenty << QStringLiteral("file%1|Complete").arg(i);
        QTest::newRow("20 complete") << threadsWith(QList<int>(20, 3)) << twenty;
        QTest::newRow("21 complete") << threadsWith(QList<int>(21, 3))
                                     << QStringList{"21 downloads|Complete"};
        QTest::newRow("mixed, size unknown") << threadsWith({0, 1, 3, 0, 2, 7})
            << QStringList{"file1|Retrying", "file2|Complete", "file4|In Progress",
                           "3 downloads|Not Started Yet"};
    }

    void tipRows()
    {
        QFETCH(Progress::ThreadsState, threads);
        QFETCH(QStringList, rows);
        Progress::Minion minion(nullptr, nullptr);
        minion.updateThreadsState(threads);
        GeneralTip tip(nullptr, true);
        Progress::Minion::setupTip(&tip, &minion);

        QCOMPARE(tip.layout()->count(), 2 * rows.size());
        for (int row = 0; row < rows.size(); ++row) {
            const QStringList expected = rows.at(row).split('|');
            QCOMPARE(labelText(tip.layout(), row, 0), expected.at(0));
            QCOMPARE(labelText(tip.layout(), row, 1), expected.at(1));
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
        row("second screen", {790, 10}, {100, 50}, {800, 26}, {800, 0, 800, 600});
        // Too big either way: the bottom edge wins over the top.
        row("larger than the screen", {10, 10}, {900, 700}, {0, -100});
    }

    void tipPlacement()
    {
        QFETCH(QPoint, pos);
        QFETCH(QSize, size);
        QFETCH(QRect, screen);
        QTEST(GeneralTip::placement(pos, size, screen), "placed");
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
        QCOMPARE(tip->pos(), QPoint(corner.x() - 2 - tip->width(), corner.y() - 8 - tip->height()));

        QTimerEvent expired(timerWithInterval(tip, 10000));
        QCoreApplication::sendEvent(tip, &expired);
        QVERIFY(tip->isHidden());
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
        const QKeyEvent plainKey(QEvent::KeyPress, Qt::Key_A, Qt::NoModifier);
        const QKeyEvent shift(QEvent::KeyPress, Qt::Key_Shift, Qt::NoModifier);
        const QList<std::pair<const QEvent*, bool>> cases{
            {&press, true}, {&plainKey, true}, {&shift, false}};
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
