#include "log/LogEntryList.h"
#include "log/LogWindow.h"
#include "widgets/Colors.h"
#include "widgets/HTextEdit.h"

#include <QScrollBar>
#include <QSpinBox>
#include <QTextBlock>
#include <QThread>
#include <QtTest>

#include <memory>

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

// The window's lines as "text|colour|font size step"; the colour is empty when the line
// has none of its own, the step is 2 for a heading.
QStringList rendered(const Log::Window& window)
{
    QStringList lines;
    const QTextDocument* document = window.textEdit()->document();
    if (document->isEmpty())
        return lines;
    for (QTextBlock block = document->begin(); block.isValid(); block = block.next()) {
        const QTextCharFormat format = block.begin().fragment().charFormat();
        const QString colour = format.foreground().style() == Qt::NoBrush
                                   ? QString()
                                   : format.foreground().color().name();
        const int step = format.property(QTextFormat::FontSizeAdjustment).toInt();
        lines << QStringLiteral("%1|%2|%3").arg(block.text(), colour).arg(step);
    }
    return lines;
}

QString line(const QString& text, const QString& colour, int step = 0)
{
    return QStringLiteral("%1|%2|%3").arg(text, QColor(colour).name()).arg(step);
}

} // namespace

class TestLog : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    // A message is one record() call; a stream is recordFragment() once per piece.
    void recording_data()
    {
        QTest::addColumn<bool>("stream");
        QTest::addColumn<QStringList>("pieces");
        QTest::addColumn<QStringList>("lines");
        QTest::addColumn<QString>("rest");
        QTest::addColumn<int>("signalCount");

        QTest::newRow("messages") << false << QStringList{"a\n\nb\n", "c"}
                                  << QStringList{"a", "", "b", "", "c"} << "" << 2;
        QTest::newRow("error numbers")
            << false << QStringList{"x: [Errno 14] a: [Errno ] b:[Errno 1] c: [errno 2]"}
            << QStringList{"x:", "[Errno 14] a:", "[Errno ] b:[Errno 1] c: [errno 2]"} << "" << 1;
        QTest::newRow("completed later")
            << true << QStringList{"abc", "def\ngh"} << QStringList{"abcdef"} << "gh" << 1;
        // Error numbers are split only in messages.
        QTest::newRow("several lines, empty fragments")
            << true << QStringList{"", "a\nb\n\nc", "", ": [Errno 5] y\n"}
            << QStringList{"a", "b", "", "c: [Errno 5] y"} << "" << 2;
    }

    // Receivers lock the list in their slot: a signal sent under the lock would deadlock them.
    void recording()
    {
        QFETCH(bool, stream);
        QFETCH(QStringList, pieces);

        Log::EntryList log;
        int signals_ = 0;
        connect(&log, &Log::EntryList::appended, &log, [&] {
            ++signals_;
            QVERIFY(log.tryLock());
            log.unlock();
        }, Qt::DirectConnection);

        QString kept;
        for (const QString& piece : pieces)
            stream ? log.recordFragment(piece, Log::Output, 0, kept)
                   : log.record(Log::Error, 7, piece);
        QTEST(texts(log), "lines");
        QTEST(kept, "rest");
        QTEST(signals_, "signalCount");
    }

    void windowRendering_data()
    {
        QTest::addColumn<int>("kind");
        QTest::addColumn<int>("level");
        QTest::addColumn<QString>("text");
        QTest::addColumn<int>("threshold");
        QTest::addColumn<QString>("shown"); // empty: the entry is omitted

        auto row = [](const char* tag, int kind, int level, const char* text, int threshold,
                      const QString& shown) {
            QTest::newRow(tag) << kind << level << QString(text) << threshold << shown;
        };
        row("info at the threshold", Log::Info, 2, "plain", 2, "plain||0");
        row("info beyond the threshold", Log::Info, 3, "more", 2, "");
        row("info 10 at 10", Log::Info, 10, "debug", 10, line("debug", Colors::minor()));
        row("unknown kind", 9, 0, "odd", 2, line("odd", Colors::error()));
        row("heading", Log::Heading, 0, "Cleaning", 2, line("Cleaning", Colors::action(), 2));
        // Blanks, a tab and a less-than sign as typed; an entity shows as its character.
        row("escaping", Log::Output, 0, "a <b>  c\td &lt; AT&T  &amp;", 2,
            line("a <b>  c\td < AT&T  &", Colors::ok()));
    }

    void windowRendering()
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
    // entry adds one line. Escape hides the window, which then holds no text and ignores new
    // entries; shown again, it renders the whole store.
    void windowThousandEntriesAndHiding()
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
        QCOMPARE(bar->value(), bar->maximum());

        log.record(Log::Warning, 0, "late");
        expected << line("late", Colors::warning());
        QCOMPARE(rendered(window), expected);

        QTest::keyClick(&window, Qt::Key_Escape);
        QVERIFY(window.isHidden());
        QCOMPARE(rendered(window), QStringList());
        log.record(Log::Output, 0, "hidden");
        window.show();
        QCOMPARE(rendered(window).last(), line("hidden", Colors::ok()));
    }

    // The signals of entries recorded by another thread arrive after a level change has
    // rendered those entries already: each entry shows once.
    void windowLevelChangeWhileArriving()
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
        QCOMPARE(rendered(window).size(), 50);
    }
};

QTEST_MAIN(TestLog)
#include "tst_log.moc"
