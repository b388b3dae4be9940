#include "log/LogEntryList.h"

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

QTEST_GUILESS_MAIN(TestLog)
#include "tst_log.moc"
