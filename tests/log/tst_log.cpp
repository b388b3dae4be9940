#include "log/LogEntryList.h"

#include <QThread>
#include <QtTest>

#include <atomic>
#include <memory>
#include <vector>

Q_DECLARE_METATYPE(Log::Kind)

namespace {

QStringList texts(Log::EntryList& log)
{
    QStringList result;
    log.lock();
    for (const Log::Entry& entry : std::as_const(log))
        result << entry.text;
    log.unlock();
    return result;
}

} // namespace

class TestLog : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void recordSplitsLines_data();
    void recordSplitsLines();
    void recordKeepsKindAndLevel();
    void recordSignalsOnceAfterUnlocking();
    void recordFragments_data();
    void recordFragments();
    void concurrentRecordsStayWhole();
};

void TestLog::recordSplitsLines_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QStringList>("lines");

    QTest::newRow("empty") << QString() << QStringList{QString()};
    QTest::newRow("one line") << QStringLiteral("Loaded plugins") << QStringList{"Loaded plugins"};
    QTest::newRow("two lines and a final line feed")
        << QStringLiteral("first\nsecond\n") << QStringList{"first", "second", ""};
    QTest::newRow("empty line inside")
        << QStringLiteral("a\n\nb") << QStringList{"a", "", "b"};
    QTest::newRow("error number")
        << QStringLiteral("http://example.com/repodata/repomd.xml: [Errno 14] HTTP Error 404")
        << QStringList{"http://example.com/repodata/repomd.xml:", "[Errno 14] HTTP Error 404"};
    QTest::newRow("two error numbers")
        << QStringLiteral("a: [Errno 14] b: [Errno 256] c")
        << QStringList{"a:", "[Errno 14] b:", "[Errno 256] c"};
    QTest::newRow("error number without the blank after the colon stays")
        << QStringLiteral("a:[Errno 14] b") << QStringList{"a:[Errno 14] b"};
    QTest::newRow("error number without a trailing blank stays")
        << QStringLiteral("a: [Errno 14]") << QStringList{"a: [Errno 14]"};
    QTest::newRow("lower-case errno stays")
        << QStringLiteral("a: [errno 14] b") << QStringList{"a: [errno 14] b"};
    QTest::newRow("empty error number")
        << QStringLiteral("a: [Errno ] b") << QStringList{"a:", "[Errno ] b"};
}

void TestLog::recordSplitsLines()
{
    QFETCH(QString, text);
    QFETCH(QStringList, lines);

    Log::EntryList log;
    log.record(Log::Info, 0, text);
    QCOMPARE(texts(log), lines);
}

void TestLog::recordKeepsKindAndLevel()
{
    Log::EntryList log;
    log.record(Log::Heading, 0, QStringLiteral("Applying: OK"));
    log.record(Log::Error, 7, QStringLiteral("x\ny"));

    log.lock();
    QCOMPARE(log.size(), 3);
    QCOMPARE(log.at(0).kind, Log::Heading);
    QCOMPARE(log.at(0).level, 0u);
    for (int i = 1; i < 3; ++i) {
        QCOMPARE(log.at(i).kind, Log::Error);
        QCOMPARE(log.at(i).level, 7u);
    }
    log.unlock();
}

// Receivers lock the list in their slot: a signal sent while the lock is held would
// deadlock a directly connected reader.
void TestLog::recordSignalsOnceAfterUnlocking()
{
    Log::EntryList log;
    int signals_ = 0;
    bool lockFree = true;
    connect(&log, &Log::EntryList::appended, &log, [&] {
        ++signals_;
        if (log.tryLock())
            log.unlock();
        else
            lockFree = false;
    }, Qt::DirectConnection);

    log.record(Log::Info, 0, QStringLiteral("a\nb\nc"));
    QCOMPARE(signals_, 1);
    log.record(Log::Info, 0, QString());
    QCOMPARE(signals_, 2);

    QString rest;
    log.recordFragment(QStringLiteral("abc"), Log::Output, 0, rest);
    QCOMPARE(signals_, 2);
    log.recordFragment(QStringLiteral("\n1\n2\n"), Log::Output, 0, rest);
    QCOMPARE(signals_, 3);
    QVERIFY(lockFree);

    log.emitAppended();
    QCOMPARE(signals_, 4);
}

void TestLog::recordFragments_data()
{
    QTest::addColumn<QStringList>("fragments");
    QTest::addColumn<QStringList>("lines");
    QTest::addColumn<QString>("rest");

    QTest::newRow("held back") << QStringList{"abc"} << QStringList{} << QStringLiteral("abc");
    QTest::newRow("completed later")
        << QStringList{"abc", "def\ngh"} << QStringList{"abcdef"} << QStringLiteral("gh");
    QTest::newRow("line feed alone")
        << QStringList{"\n"} << QStringList{""} << QString();
    QTest::newRow("several lines in one fragment")
        << QStringList{"a\nb\n\nc"} << QStringList{"a", "b", ""} << QStringLiteral("c");
    QTest::newRow("line end in the next fragment")
        << QStringList{"Installing", ": foo", "\n", "Updating"}
        << QStringList{"Installing: foo"} << QStringLiteral("Updating");
    QTest::newRow("empty fragments") << QStringList{"", "", ""} << QStringList{} << QString();
    // A stream is copied as it is: yum's error numbers are split only in messages.
    QTest::newRow("no error number split")
        << QStringList{"x: [Errno 5] y\n"} << QStringList{"x: [Errno 5] y"} << QString();
}

void TestLog::recordFragments()
{
    QFETCH(QStringList, fragments);
    QFETCH(QStringList, lines);
    QFETCH(QString, rest);

    Log::EntryList log;
    QString kept;
    for (const QString& fragment : fragments)
        log.recordFragment(fragment, Log::Output, 0, kept);
    QCOMPARE(texts(log), lines);
    QCOMPARE(kept, rest);
    for (const Log::Entry& entry : std::as_const(log))
        QCOMPARE(entry.kind, Log::Output);
}

// Every call is recognisable by its lines "<thread> <call> <line>"; the lines of one
// call must come out together and in order, and every call must signal once.
void TestLog::concurrentRecordsStayWhole()
{
    constexpr int threads = 6;
    constexpr int calls = 400;
    constexpr int lines = 5;

    Log::EntryList log;
    std::atomic<int> signals_{0};
    connect(&log, &Log::EntryList::appended, &log, [&] { ++signals_; }, Qt::DirectConnection);

    std::vector<std::unique_ptr<QThread>> workers;
    for (int t = 0; t < threads; ++t) {
        workers.emplace_back(QThread::create([&log, t] {
            for (int c = 0; c < calls; ++c) {
                QStringList text;
                for (int l = 0; l < lines; ++l)
                    text << QStringLiteral("%1 %2 %3").arg(t).arg(c).arg(l);
                if (c % 2)
                    log.record(Log::Info, 1, text.join(QLatin1Char('\n')));
                else {
                    // Half the calls go through the stream recorder: its remainder
                    // belongs to the thread, as each stream's does.
                    QString rest;
                    log.recordFragment(text.join(QLatin1Char('\n')) + QLatin1Char('\n'),
                                       Log::Output, 0, rest);
                    QVERIFY(rest.isEmpty());
                }
            }
        }));
    }
    for (auto& worker : workers)
        worker->start();
    for (auto& worker : workers)
        QVERIFY(worker->wait(60000));

    QCOMPARE(signals_.load(), threads * calls);
    const QStringList all = texts(log);
    QCOMPARE(all.size(), threads * calls * lines);
    std::vector<int> nextCall(threads, 0);
    for (int i = 0; i < all.size(); i += lines) {
        const QStringList first = all.at(i).split(QLatin1Char(' '));
        QCOMPARE(first.size(), 3);
        const int t = first.at(0).toInt();
        const int c = first.at(1).toInt();
        QVERIFY(t >= 0 && t < threads);
        // Each thread's calls arrive in the order it made them.
        QCOMPARE(c, nextCall[t]++);
        for (int l = 0; l < lines; ++l)
            QCOMPARE(all.at(i + l), QStringLiteral("%1 %2 %3").arg(t).arg(c).arg(l));
    }
}

QTEST_GUILESS_MAIN(TestLog)
#include "tst_log.moc"
