#include "log/LogEntryList.h"
#include "log/LogWindow.h"
#include "widgets/Colors.h"
#include "widgets/HTextEdit.h"

#include <QPushButton>
#include <QScrollBar>
#include <QSpinBox>
#include <QTextBlock>
#include <QThread>
#include <QtTest>

#include <atomic>
#include <memory>

class TestLog : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void recording_data();
    void recording();
    void concurrentRecordsStayWhole();

    void windowRendering_data();
    void windowRendering();
    void windowThousandEntries();
    void windowLevelChangeWhileArriving();
    void windowHidden();
};

static QStringList texts(Log::EntryList& log)
{
    QStringList result;
    log.lock();
    for (const Log::Entry& entry : std::as_const(log))
        result << entry.text;
    log.unlock();
    return result;
}

// A message is one record() call; a stream is recordFragment() once per piece.
void TestLog::recording_data()
{
    QTest::addColumn<bool>("stream");
    QTest::addColumn<QStringList>("pieces");
    QTest::addColumn<QStringList>("lines");
    QTest::addColumn<QString>("rest");
    QTest::addColumn<int>("signalCount");

    QTest::newRow("empty message") << false << QStringList{""} << QStringList{""} << "" << 1;
    QTest::newRow("messages") << false << QStringList{"a\n\nb\n", "c"}
                              << QStringList{"a", "", "b", "", "c"} << "" << 2;
    QTest::newRow("error numbers")
        << false << QStringList{"x: [Errno 14] a: [Errno ] b:[Errno 1] c: [errno 2] d: [Errno 3]"}
        << QStringList{"x:", "[Errno 14] a:", "[Errno ] b:[Errno 1] c: [errno 2] d: [Errno 3]"}
        << "" << 1;
    QTest::newRow("held back") << true << QStringList{"abc"} << QStringList{} << "abc" << 0;
    QTest::newRow("completed later")
        << true << QStringList{"abc", "def\ngh"} << QStringList{"abcdef"} << "gh" << 1;
    // Error numbers are split only in messages.
    QTest::newRow("several lines, empty fragments")
        << true << QStringList{"", "a\nb\n\nc", "", ": [Errno 5] y\n"}
        << QStringList{"a", "b", "", "c: [Errno 5] y"} << "" << 2;
}

// Receivers lock the list in their slot: a signal sent under the lock would deadlock them.
void TestLog::recording()
{
    QFETCH(bool, stream);
    QFETCH(QStringList, pieces);
    QFETCH(QStringList, lines);
    QFETCH(QString, rest);
    QFETCH(int, signalCount);

    Log::EntryList log;
    int signals_ = 0;
    connect(&log, &Log::EntryList::appended, &log, [&] {
        ++signals_;
        QVERIFY(log.tryLock());
        log.unlock();
    }, Qt::DirectConnection);

    QString kept;
    for (const QString& piece : pieces)
        stream ? log.recordFragment(piece, Log::Output, 0, kept) : log.record(Log::Error, 7, piece);
    QCOMPARE(texts(log), lines);
    QCOMPARE(kept, rest);
    QCOMPARE(signals_, signalCount);
    const Log::Kind kind = stream ? Log::Output : Log::Error;
    for (const Log::Entry& entry : std::as_const(log))
        QVERIFY(entry.kind == kind && entry.level == (stream ? 0u : 7u));
}

// Each line reads "<thread> <call> <line>": one call's lines must come out together and
// in order, each thread's calls in the order it made them, and every call signals once.
void TestLog::concurrentRecordsStayWhole()
{
    constexpr int threads = 6, calls = 1000, lines = 5;
    Log::EntryList log;
    std::atomic<int> signals_{0};
    connect(&log, &Log::EntryList::appended, &log, [&] { ++signals_; }, Qt::DirectConnection);

    std::unique_ptr<QThread> workers[threads];
    for (int t = 0; t < threads; ++t) {
        workers[t].reset(QThread::create([&log, t] {
            for (int c = 0; c < calls; ++c) {
                QString text;
                for (int l = 0; l < lines; ++l)
                    text += QStringLiteral("%1 %2 %3\n").arg(t).arg(c).arg(l);
                QString rest; // a stream's remainder belongs to its thread
                c % 2 ? log.record(Log::Info, 1, text.chopped(1))
                      : log.recordFragment(text, Log::Output, 0, rest);
            }
        }));
        workers[t]->start();
    }
    for (auto& worker : workers)
        QVERIFY(worker->wait(60000));

    QCOMPARE(signals_.load(), threads * calls);
    const QStringList all = texts(log);
    QCOMPARE(all.size(), threads * calls * lines);
    int nextCall[threads] = {};
    for (int i = 0; i < all.size(); i += lines) {
        const int t = all.at(i).section(QLatin1Char(' '), 0, 0).toInt();
        QVERIFY(t >= 0 && t < threads);
        const int c = nextCall[t]++;
        for (int l = 0; l < lines; ++l)
            QCOMPARE(all.at(i + l), QStringLiteral("%1 %2 %3").arg(t).arg(c).arg(l));
    }
}

// The window's lines as "text|colour|font size step"; the colour is empty when the line
// has none of its own, the step is 2 for a heading.
static QStringList rendered(const Log::Window& window)
{
    QStringList lines;
    const QTextDocument* document = window.textEdit()->document();
    if (document->isEmpty())
        return lines;
    for (QTextBlock block = document->begin(); block.isValid(); block = block.next()) {
        const QTextCharFormat format = block.begin().fragment().charFormat();
        const QString colour = format.foreground().style() == Qt::NoBrush ? QString() : format.foreground().color().name();
        lines << QStringLiteral("%1|%2|%3").arg(block.text(), colour).arg(format.property(QTextFormat::FontSizeAdjustment).toInt());
    }
    return lines;
}

static QString colour(const QString& name)
{
    return QColor(name).name();
}

void TestLog::windowRendering_data()
{
    QTest::addColumn<int>("kind");
    QTest::addColumn<int>("level");
    QTest::addColumn<QString>("text");
    QTest::addColumn<int>("threshold");
    // Empty: the entry is omitted.
    QTest::addColumn<QString>("shown");

    QTest::newRow("info at the threshold") << int(Log::Info) << 2 << "plain" << 2 << "plain||0";
    QTest::newRow("info beyond the default") << int(Log::Info) << 3 << "more" << 2 << "";
    QTest::newRow("info 10 at the default") << int(Log::Info) << 10 << "debug" << 2 << "";
    QTest::newRow("info 10 at 10") << int(Log::Info) << 10 << "debug" << 10 << "debug|" + colour(Colors::minor()) + "|0";
    QTest::newRow("info 9 at 10") << int(Log::Info) << 9 << "detail" << 10 << "detail||0";
    QTest::newRow("output") << int(Log::Output) << 0 << "out" << 0 << "out|" + colour(Colors::ok()) + "|0";
    QTest::newRow("warning") << int(Log::Warning) << 0 << "warn" << 2 << "warn|" + colour(Colors::warning()) + "|0";
    QTest::newRow("error") << int(Log::Error) << 0 << "bad" << 2 << "bad|" + colour(Colors::error()) + "|0";
    QTest::newRow("unknown kind") << 9 << 0 << "odd" << 2 << "odd|" + colour(Colors::error()) + "|0";
    QTest::newRow("heading") << int(Log::Heading) << 0 << "Cleaning All" << 2
                             << "Cleaning All|" + colour(Colors::action()) + "|2";
    // Blanks, a tab and a less-than sign as typed; an entity shows as its character.
    QTest::newRow("escaping") << int(Log::Output) << 0 << "a <b>  c\td &lt; AT&T  &amp;" << 2
                              << "a <b>  c\td < AT&T  &|" + colour(Colors::ok()) + "|0";
}

void TestLog::windowRendering()
{
    QFETCH(int, kind);
    QFETCH(int, level);
    QFETCH(QString, text);
    QFETCH(int, threshold);
    QFETCH(QString, shown);

    Log::EntryList log;
    log.record(Log::Info, 0, "first");
    log.record(Log::Kind(kind), unsigned(level), text);
    Log::Window window(log, nullptr);
    window.levelBox()->setValue(threshold);
    window.show();
    QStringList expected{"first||0"};
    if (!shown.isEmpty())
        expected << shown;
    QCOMPARE(rendered(window), expected);
}

// Shown after the fact, a long log is rendered once and scrolled to its end; a later
// entry adds one line.
void TestLog::windowThousandEntries()
{
    Log::EntryList log;
    QStringList expected;
    for (int i = 0; i < 1000; ++i) {
        log.record(Log::Info, unsigned(i % 4), QString::number(i));
        if (i % 4 <= 2)
            expected << QString::number(i) + "||0";
    }
    Log::Window window(log, nullptr);
    window.show();
    QCOMPARE(rendered(window), expected);
    const QScrollBar* bar = window.textEdit()->verticalScrollBar();
    QVERIFY(bar->maximum() > 0);
    QCOMPARE(bar->value(), bar->maximum());

    log.record(Log::Warning, 0, "late");
    expected << "late|" + colour(Colors::warning()) + "|0";
    QCOMPARE(rendered(window), expected);
}

// The signals of entries recorded by another thread arrive after a level change has
// rendered those entries already: each entry shows once.
void TestLog::windowLevelChangeWhileArriving()
{
    Log::EntryList log;
    Log::Window window(log, nullptr);
    window.show();
    std::unique_ptr<QThread> worker(QThread::create([&log] {
        for (int i = 0; i < 50; ++i)
            log.record(Log::Info, 3, QString::number(i));
    }));
    worker->start();
    QVERIFY(worker->wait(60000));
    QCOMPARE(rendered(window), QStringList());

    window.levelBox()->setValue(3);
    QCoreApplication::processEvents();
    QStringList expected;
    for (int i = 0; i < 50; ++i)
        expected << QString::number(i) + "||0";
    QCOMPARE(rendered(window), expected);
}

// Escape and "&Close" hide the window; hidden, it holds no text and ignores new entries;
// shown again, it renders the whole store.
void TestLog::windowHidden()
{
    Log::EntryList log;
    log.record(Log::Output, 0, "one");
    Log::Window window(log, nullptr);
    window.show();
    QCOMPARE(rendered(window).size(), 1);
    QTest::keyClick(&window, Qt::Key_Escape);
    QVERIFY(window.isHidden());
    QCOMPARE(rendered(window), QStringList());

    log.record(Log::Output, 0, "two");
    QCOMPARE(rendered(window), QStringList());
    window.show();
    QCOMPARE(rendered(window).size(), 2);
    window.findChild<QPushButton*>()->click();
    QVERIFY(window.isHidden());
    QCOMPARE(rendered(window), QStringList());
}

QTEST_MAIN(TestLog)
#include "tst_log.moc"
