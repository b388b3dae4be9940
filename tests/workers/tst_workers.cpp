#define PY_SSIZE_T_CLEAN
#include <Python.h>

#include "RecordingPresenter.h"
#include "StandInShare.h"

#include "log/LogEntryList.h"
#include "progress/HProgressBar.h"
#include "progress/ProgressMinion.h"
#include "progress/ProgressObject.h"
#include "progress/ProgressUser.h"
#include "widgets/ModalAnswer.h"
#include "yumio/YumIO.h"
#include "yumio/YumIOCapturers.h"
#include "yumio/YumIOCapturersUser.h"
#include "yumio/YumIODialogs.h"
#include "yumio/YumIODialogsUser.h"
#include "yumio/YumIODialogsWidgetPresenter.h"

#include <QAbstractButton>
#include <QDir>
#include <QEventLoop>
#include <QFile>
#include <QMessageBox>
#include <QPushButton>
#include <QTemporaryDir>
#include <QTest>
#include <QThread>

#include <atomic>
#include <csignal>
#include <functional>
#include <memory>
#include <sys/resource.h>

namespace {

// A stand-in companion script: just what initialisation and collection look up, plus one
// function for the worker to call.
const char* const kScript = R"(import os, signal, sys, threading
from types import SimpleNamespace
sys.path.insert(0, os.path.join(os.environ['ORVOSHARE'], 'python'))
import yum
import yumIOC

# Set by a test: the tick of collectUpdates' loop at which the worker is sent SIGINT.
interruptAt = None
ticks = 0

class _Package:
    def __init__(self, name): self.name, self.arch, self.size = name, 'noarch', 1024
    def printVer(self): return '1.0-1'
    def returnSimple(self, tag): return {'repoid': 'base', 'summary': 'A ' + self.name, 'buildtime': 0}[tag]
class YumIO:
    def __init__(self):
        self.repos = SimpleNamespace(repos={'base': SimpleNamespace(enabled=1)})
        self.conf = SimpleNamespace(yumvar={'basearch': 'x86_64'})
    def collectUpdates(self):
        global ticks
        ticks = 0
        while interruptAt is not None and ticks < 50:
            ticks += 1
            if ticks == interruptAt:
                signal.pthread_kill(threading.get_ident(), signal.SIGINT)
            yumIOC.log(5, 'tick')
        return []
    def collectAll(self):
        return SimpleNamespace(installed=[_Package('installed')], available=[_Package('available')])
    def collectGroupInfo(self): return []
    def getBiArch(self, arch): return arch
    def isBetterThan(self, a, b): return False
    def makelists(self): return ([], [], [], [], [], [], [], [])
    def apply(self, installs, updates, removes):
        yumIOC.listTransaction(None)
        yumIOC.userconfirm()

# The steps that have nothing to do here.
for _step in ('lock', 'enableRepo', 'setupRepos', 'setupTs', 'setupTsGroup', 'collectDone',
              'collectFileLists', 'collectOtherData', 'applyFailCleanup', 'flush', 'installedChanged'):
    setattr(YumIO, _step, lambda self, *args: None)

def usesSqlite(): return True
def workerProbe(value): return value + 1
)";

QStringList shown(const RecordingPresenter& presenter)
{
    QStringList texts;
    for (const RecordingPresenter::Dialog& dialog : presenter.dialogs)
        texts << dialog.kind + "|" + dialog.caption + "|" + dialog.text;
    return texts;
}

// How many dialogs were shown off the graphical thread, or with the interpreter lock held.
int offGuiThread = 0;
int withInterpreterLock = 0;
void countDialog(const RecordingPresenter::Dialog&)
{
    offGuiThread += QThread::currentThread() != qApp->thread();
    withInterpreterLock += PyGILState_Check();
}

// The listing's own descriptor shows too, always as the lowest free one.
QStringList openDescriptors()
{
    return QDir("/proc/self/fd").entryList(QDir::AllEntries | QDir::System | QDir::NoDotAndDotDot);
}

bool signalBlocked(int signal)
{
    sigset_t mask;
    pthread_sigmask(SIG_BLOCK, nullptr, &mask);
    return sigismember(&mask, signal) == 1;
}

bool sigintDefault()
{
    struct sigaction action;
    return sigaction(SIGINT, nullptr, &action) == 0 && action.sa_handler == SIG_DFL;
}

// Runs fn on the graphical thread while the calling worker waits.
void onGuiThread(const std::function<void()>& fn)
{
    QMetaObject::invokeMethod(qApp, fn, Qt::BlockingQueuedConnection);
}

} // namespace

class TestWorkers : public QObject
{
    Q_OBJECT

    QTemporaryDir share_;
    HProgressBar total_;
    HProgressBar item_;
    YumIO* engine_ = nullptr;
    RecordingPresenter presenter_;

    bool runProtocolBody(const std::function<bool()>& body) { return engine_->runWorker(body, false); }

    // The entries from mark on, each as its kind's number and its text.
    QStringList entryTexts(int mark)
    {
        Log::EntryList& list = engine_->logList();
        QStringList texts;
        list.lock();
        for (const Log::Entry& entry : list.mid(mark))
            texts << QString::number(entry.kind) + " " + entry.text;
        list.unlock();
        return texts;
    }

    // On a worker: a child writes to both streams while they are captured.
    bool captureChild()
    {
        YumIOCapturersUser capture(engine_->capturersSlot(), engine_);
        return engine_->capturersSlot()->capturing() && std::system("echo out; echo err >&2") == 0;
    }

    bool captureOnce()
    {
        return runProtocolBody([this] { return captureChild(); });
    }

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY(share_.isValid());
        StandInShare::Options yumOnly;
        yumOnly.script = false;
        QVERIFY(StandInShare::write(share_.path(), yumOnly));
        QFile script(share_.filePath("python/YumIO.py"));
        QVERIFY(script.open(QIODevice::WriteOnly) && script.write(kScript) == qint64(qstrlen(kScript)));
        script.close();
        qputenv("ORVOSHARE", QFile::encodeName(share_.path()));
        // The interpreter keeps whatever SIGINT handler it finds; QtTest's is no use to it.
        std::signal(SIGINT, SIG_DFL);
        Progress::Minion::install();
        presenter_.echo = countDialog;
        YumIODialogsPresenter::install(&presenter_);
        // One engine for the whole run: the interpreter starts only once per process.
        engine_ = new YumIO;
        engine_->setup(nullptr, &total_, &item_);
        QVERIFY(engine_->initialize());
    }

    void cleanupTestCase()
    {
        delete engine_;
        YumIODialogsPresenter::install(nullptr);
    }

    void init()
    {
        presenter_.dialogs.clear();
        offGuiThread = withInterpreterLock = 0;
    }

    void cleanup()
    {
        ModalAnswer::clear();
        // Outside a running event loop deferred deletions wait for an explicit turn.
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    }

    void immediateBodyEndsLoop()
    {
        // Repeated, so that a worker finishing before the loop runs would show as a hang.
        for (int i = 0; i < 50; ++i)
            QVERIFY(runProtocolBody([] { return true; }));
    }

    void dialogs_data()
    {
        QTest::addColumn<QString>("kind");
        QTest::addColumn<bool>("fromWorker");
        QTest::newRow("confirm gui") << "confirm" << false;
        for (const char* kind : { "confirm", "warning", "scrollable" })
            QTest::addRow("%s worker", kind) << kind << true;
    }

    void dialogs()
    {
        QFETCH(QString, kind);
        QFETCH(bool, fromWorker);

        // The presenter answers a confirmation with 1, the others with their default button.
        auto ask = [&kind](YumIODialogs& dialogs) {
            if (kind == "confirm")
                return dialogs.confirm("Caption", "Text", "OK", "Cancel");
            if (kind == "warning")
                return dialogs.warning("Caption", "Text", "A", "B", "C", 2);
            dialogs.scrollable("Caption", "Text");
            return 0;
        };
        int answer = -1;
        int waits = -1;
        if (fromWorker) {
            YumIODialogs* permanent = engine_->dialogsSlot();
            QVERIFY(runProtocolBody([&] {
                YumIODialogs* proxy = engine_->dialogsSlot();
                answer = ask(*proxy);
                waits = proxy->waits();
                return proxy != permanent && proxy->thread() == QThread::currentThread();
            }));
            QCOMPARE(engine_->dialogsSlot(), permanent);
            QCOMPARE(withInterpreterLock, 0);
        } else {
            YumIODialogs dialogs(nullptr);
            answer = ask(dialogs);
            waits = dialogs.waits();
        }
        // Only a worker's question needs the private loop.
        QCOMPARE(waits, fromWorker ? 1 : 0);
        QCOMPARE(answer, kind == "warning" ? 2 : kind == "scrollable" ? 0 : 1);
        QCOMPARE(shown(presenter_), QStringList { kind + "|Caption|Text" });
        QCOMPARE(offGuiThread, 0);
    }

    // While the graphical thread waits: the worker holds the interpreter lock and takes child
    // exits, and its progress reaches the graphical thread.
    void whileWaiting()
    {
        QStringList seen;
        // Set on the graphical thread, read on the worker.
        std::atomic<bool> barSeen { false };
        QVERIFY(!signalBlocked(SIGCHLD));
        QVERIFY(runProtocolBody([&] {
            const int held = PyGILState_Check();
            PyRef probe = engine_->pyCall("workerProbe", "(i)", 41);
            // Script code runs with Python's interrupt handler; the end of the wait removes it.
            engine_->setEnablePythonSIGINTHandler(true);
            seen << QString("worker lock %1 probe %2 SIGCHLD blocked %3")
                        .arg(held).arg(probe ? PyLong_AsLong(probe.get()) : -1).arg(int(signalBlocked(SIGCHLD)));
            engine_->progressSlot()->startTotal("Reading", 10);
            for (int i = 0; i < 500 && !barSeen; ++i, QThread::msleep(10))
                onGuiThread([&] { barSeen = total_.isEnabled() && total_.maximum() == 10; });
            onGuiThread([&] {
                seen << QString("gui lock %1 SIGCHLD blocked %2 bar %3 %4")
                            .arg(PyGILState_Check()).arg(int(signalBlocked(SIGCHLD))).arg(int(barSeen.load())).arg(total_.activity());
            });
            return true;
        }));
        QCOMPARE(seen, (QStringList { "worker lock 1 probe 42 SIGCHLD blocked 0",
                                      "gui lock 0 SIGCHLD blocked 1 bar 1 Reading" }));
        // Afterwards the reporter is gone, the bars are idle, the graphical thread holds the lock
        // with its mask back, and interrupts get the default action.
        QCOMPARE(engine_->progressSlot(), nullptr);
        QVERIFY(!total_.isEnabled());
        QVERIFY(PyGILState_Check());
        QVERIFY(!signalBlocked(SIGCHLD));
        QVERIFY(sigintDefault());
    }

    void captureChildOutput()
    {
        const auto streams = [] {
            return QStringList { QFile::symLinkTarget("/proc/self/fd/1"), QFile::symLinkTarget("/proc/self/fd/2") };
        };
        const QStringList realStreams = streams();
        const int mark = engine_->logList().size();
        QStringList seenByWorker;
        bool slotCleared = false;
        QVERIFY(runProtocolBody([&] {
            const bool ok = captureChild();
            slotCleared = engine_->capturersSlot() == nullptr;
            seenByWorker = entryTexts(mark); // drained before the worker goes on
            return ok;
        }));
        QVERIFY(slotCleared);
        QCOMPARE(seenByWorker, (QStringList { "1 out", "3 err" }));
        QCOMPARE(entryTexts(mark), seenByWorker);
        QCOMPARE(streams(), realStreams);
        QVERIFY(presenter_.dialogs.isEmpty());
    }

    void captureSetupFailure()
    {
        const QStringList before = openDescriptors();
        const int mark = engine_->logList().size();
        bool capturing = true;
        bool limited = false;
        QVERIFY(runProtocolBody([&] {
            // Room for the two saved duplicates and nothing more, so that the pipes fail.
            const QStringList open = openDescriptors();
            rlim_t limit = 0;
            for (int free = 0; free < 2; ++limit)
                free += !open.contains(QString::number(limit));
            rlimit saved, lowered;
            getrlimit(RLIMIT_NOFILE, &saved);
            lowered = { limit, saved.rlim_max };
            limited = setrlimit(RLIMIT_NOFILE, &lowered) == 0;
            YumIOCapturersUser capture(engine_->capturersSlot(), engine_);
            setrlimit(RLIMIT_NOFILE, &saved);
            capturing = engine_->capturersSlot()->capturing();
            return true;
        }));
        QVERIFY(limited);
        QVERIFY(!capturing);
        const QString message = "Unable to open pipe to capture rpm transaction output";
        QCOMPARE(shown(presenter_), QStringList { "critical|Orvo Yum Error|" + message });
        QCOMPARE(entryTexts(mark), QStringList { QString::number(Log::Error) + " " + message });
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        QCOMPARE(openDescriptors(), before);
    }

    void noLeaks()
    {
        const auto threadIds = [] { return QDir("/proc/self/task").entryList(QDir::Dirs | QDir::NoDotAndDotDot); };
        // Threads started since the baseline and still there; one that was ending when the
        // baseline was taken may be gone, which is no leak.
        const auto newThreads = [&threadIds](const QStringList& baseline) {
            QStringList added = threadIds();
            for (const QString& id : baseline)
                added.removeAll(id);
            return added;
        };
        // One round first, for whatever is made once and kept.
        QVERIFY(captureOnce());
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        const QStringList fds = openDescriptors();
        QVERIFY(fds.contains("0") && fds.contains("2"));
        const QStringList threads = threadIds();
        for (int i = 0; i < 5; ++i) {
            QVERIFY(engine_->collect({}) && engine_->apply() && captureOnce());
            engine_->clearEntries();
        }
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        QCOMPARE(openDescriptors(), fds);
        QTRY_COMPARE(newThreads(threads), QStringList());
    }

    // Ctrl+C while a script loop runs on the worker stops the loop there and is reported as
    // the interrupted operation, not afterwards on the graphical thread.
    void interruptStopsScript()
    {
        engine_->py("interruptAt = 3");
        const bool collected = engine_->collect({});
        engine_->py("interruptAt = None");
        QVERIFY(!collected);
        PyRef ticks = engine_->pyr("ticks");
        QCOMPARE(ticks ? PyLong_AsLong(ticks.get()) : -1L, 3L);
        QCOMPARE(presenter_.dialogs.size(), 1);
        QVERIFY2(presenter_.dialogs[0].text.startsWith("Unable to collect updatable packages: KeyboardInterrupt\n\n"),
                 qPrintable(presenter_.dialogs[0].text));
        QVERIFY(sigintDefault());
        // The next operation is not troubled by it.
        presenter_.dialogs.clear();
        QVERIFY(engine_->collect({}));
        QVERIFY(presenter_.dialogs.isEmpty());
    }

    void widgetPresenter_data()
    {
        QTest::addColumn<int>("icon");
        QTest::addColumn<QStringList>("texts");
        QTest::addColumn<int>("defaultButton");
        QTest::addColumn<int>("escapeButton");
        QTest::addColumn<QString>("press"); // a button's text, or "Escape"
        QTest::addColumn<QString>("shown"); // the buttons, then the default and the escape button
        QTest::addColumn<int>("result");

        const int warning = QMessageBox::Warning;
        const int critical = QMessageBox::Critical;
        QTest::newRow("no texts: one OK") << warning << QStringList { "", "", "" } << 0 << -1 << "OK" << "OK|OK|" << 0;
        QTest::newRow("escape picks the escape button")
            << critical << QStringList { "Retry", "Abort", "" } << 0 << 1 << "Escape" << "Abort,Retry|Retry|Abort" << 1;
        QTest::newRow("numbers kept when a text is missing")
            << warning << QStringList { "", "Ignore", "Stop" } << 2 << -1 << "Ignore" << "Ignore,Stop|Stop|" << 1;
        QTest::newRow("default and escape on missing buttons")
            << critical << QStringList { "Only", "", "" } << 2 << 1 << "Only" << "Only||" << 0;
    }

    void widgetPresenter()
    {
        QFETCH(int, icon);
        QFETCH(QStringList, texts);
        QFETCH(int, defaultButton);
        QFETCH(int, escapeButton);
        QFETCH(QString, press);
        QFETCH(QString, shown);

        auto plain = [](const QAbstractButton* button) { return button ? button->text().remove('&') : QString(); };
        QString seen;
        ModalAnswer::install([&](QDialog& dialog) {
            auto* box = qobject_cast<QMessageBox*>(&dialog);
            QStringList buttons;
            for (QAbstractButton* button : box->buttons())
                buttons << plain(button);
            buttons.sort();
            // Set explicitly, not the ones the box would guess.
            seen = QString("%1 %2 %3|%4|%5").arg(box->windowTitle()).arg(box->icon()).arg(buttons.join(','),
                                                 plain(box->defaultButton()), plain(box->escapeButton()));
            if (press == "Escape")
                QTest::keyClick(box, Qt::Key_Escape);
            for (QAbstractButton* button : box->buttons()) {
                if (plain(button) == press)
                    button->click();
            }
            return -2;
        });
        YumIODialogsWidgetPresenter presenter;
        const int answer = icon == QMessageBox::Critical
            ? presenter.critical(nullptr, "Title", "Text", texts[0], texts[1], texts[2], defaultButton, escapeButton)
            : presenter.warning(nullptr, "Title", "Text", texts[0], texts[1], texts[2], defaultButton, escapeButton);
        QTEST(answer, "result");
        QCOMPARE(seen, QString("Title %1 %2").arg(icon).arg(shown));
    }
};

QTEST_MAIN(TestWorkers)
#include "tst_workers.moc"
