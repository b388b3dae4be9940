#define PY_SSIZE_T_CLEAN
#include <Python.h>

#include "log/LogEntryList.h"
#include "progress/HProgressBar.h"
#include "progress/ProgressMinion.h"
#include "progress/ProgressObject.h"
#include "progress/ProgressUser.h"
#include "python/PyRef.h"
#include "widgets/ModalAnswer.h"
#include "yumio/YumIO.h"
#include "yumio/YumIOCapturers.h"
#include "yumio/YumIOCapturersUser.h"
#include "yumio/YumIODialogs.h"
#include "yumio/YumIODialogsPresenter.h"
#include "yumio/YumIODialogsUser.h"
#include "yumio/YumIODialogsWidgetPresenter.h"

#include <QAbstractButton>
#include <QDir>
#include <QEventLoop>
#include <QFile>
#include <QMessageBox>
#include <QPushButton>
#include <QSemaphore>
#include <QTemporaryDir>
#include <QTest>
#include <QThread>

#include <csignal>
#include <cstdlib>
#include <dirent.h>
#include <fcntl.h>
#include <functional>
#include <memory>
#include <set>
#include <sys/resource.h>
#include <unistd.h>

namespace {

// A stand-in for the companion script and the yum package: just what initialisation
// looks up, plus one function for the worker to call.
const char* const kScript = R"(import os, sys
sys.path.insert(0, os.path.join(os.environ['ORVOSHARE'], 'python'))
import yum

class _Repo:
    def __init__(self, enabled):
        self.enabled = enabled

class _Repos:
    def __init__(self):
        self.repos = {'base': _Repo(1)}

class _Conf:
    yumvar = {'basearch': 'x86_64'}

class _Package:
    def __init__(self, name):
        self.name = name
        self.arch = 'noarch'
        self.size = 1024
    def printVer(self):
        return '1.0-1'
    def returnSimple(self, tag):
        return {'repoid': 'base', 'summary': 'A ' + self.name, 'buildtime': 0}[tag]

class _All:
    installed = [_Package('installed')]
    available = [_Package('available')]

class YumIO:
    def __init__(self):
        self.repos = _Repos()
        self.conf = _Conf()
    def lock(self):
        pass
    def enableRepo(self, rid):
        pass
    def setupRepos(self):
        pass
    def setupTs(self):
        pass
    def collectUpdates(self):
        return []
    def collectAll(self):
        return _All()
    def setupTsGroup(self):
        pass
    def collectGroupInfo(self):
        return []
    def collectDone(self):
        pass
    def getBiArch(self, arch):
        return arch
    def isBetterThan(self, a, b):
        return False
    def collectFileLists(self):
        pass
    def collectOtherData(self):
        pass

def usesSqlite():
    return True

def workerProbe(value):
    return value + 1
)";

const char* const kYumInit = "__version__ = \"3.4.3\"\nfrom . import Errors\n";

const char* const kYumErrors = R"(class YumBaseError(Exception):
    pass
class RepoError(YumBaseError):
    pass
class LockError(YumBaseError):
    pass
class GroupsError(YumBaseError):
    pass
class NoMoreMirrorsRepoError(RepoError):
    pass
)";

bool writeFile(const QString& path, const char* text)
{
    QFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(text) == qint64(qstrlen(text));
}

// Answers the engine's dialogs without a person and remembers what it was asked, and
// whether the asking reached the graphical thread.
class TestPresenter final : public YumIODialogsPresenter
{
public:
    int confirm(QWidget*, const QString& caption, const QString& text, const QString&,
                const QString&) override
    {
        return record(QStringLiteral("confirm"), caption, text, 1);
    }
    int warning(QWidget*, const QString& caption, const QString& text, const QString&,
                const QString&, const QString&, int, int) override
    {
        return record(QStringLiteral("warning"), caption, text, 2);
    }
    int critical(QWidget*, const QString& caption, const QString& text, const QString&,
                 const QString&, const QString&, int, int) override
    {
        return record(QStringLiteral("critical"), caption, text, 1);
    }
    void scrollable(QWidget*, const QString& caption, const QString& text) override
    {
        record(QStringLiteral("scrollable"), caption, text, 0);
    }

    void clear()
    {
        asked.clear();
        offGuiThread = 0;
        withInterpreterLock = 0;
    }

    QStringList asked; // "kind|caption|text"
    int offGuiThread = 0;
    int withInterpreterLock = 0;

private:
    int record(const QString& kind, const QString& caption, const QString& text, int answer)
    {
        asked << kind + QLatin1Char('|') + caption + QLatin1Char('|') + text;
        if (QThread::currentThread() != qApp->thread())
            ++offGuiThread;
        if (PyGILState_Check())
            ++withInterpreterLock;
        return answer;
    }
};

// A worker whose body the test gives; like the engine's own threads it ends the
// graphical thread's waiting loop when the body returns.
class BodyThread final : public QThread
{
public:
    BodyThread(QEventLoop& loop, std::function<bool()> body)
        : loop_(loop), body_(std::move(body))
    {
    }
    bool result = false;

protected:
    void run() override
    {
        result = body_();
        loop_.exit(0);
    }

private:
    QEventLoop& loop_;
    std::function<bool()> body_;
};

std::set<int> openDescriptors()
{
    std::set<int> fds;
    DIR* dir = opendir("/proc/self/fd");
    if (!dir)
        return fds;
    while (dirent* entry = readdir(dir)) {
        if (entry->d_name[0] != '.')
            fds.insert(std::atoi(entry->d_name));
    }
    fds.erase(dirfd(dir));
    closedir(dir);
    return fds;
}

int threadCount()
{
    return int(QDir(QStringLiteral("/proc/self/task")).entryList(QDir::Dirs | QDir::NoDotAndDotDot).size());
}

bool signalBlocked(int signal)
{
    sigset_t mask;
    pthread_sigmask(SIG_BLOCK, nullptr, &mask);
    return sigismember(&mask, signal) == 1;
}

// Runs fn on the graphical thread while the calling worker waits.
void onGuiThread(const std::function<void()>& fn)
{
    QMetaObject::invokeMethod(qApp, fn, Qt::BlockingQueuedConnection);
}

QString readAll(const QString& path)
{
    QFile file(path);
    file.open(QIODevice::ReadOnly);
    return QString::fromUtf8(file.readAll());
}

} // namespace

class TestWorkers : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void cleanupTestCase();
    void init();
    void cleanup();

    void immediateBodyEndsLoop();
    void starters();
    void dialogs_data();
    void dialogs();
    void progressAndLogWhileWaiting();
    void interpreterLockAndSignals();
    void lineSplit_data();
    void lineSplit();
    void captureChildOutput();
    void captureSetupFailure();
    void noLeaks();
    void widgetPresenter_data();
    void widgetPresenter();
    void widgetPresenterDialogs();

private:
    bool runBody(const std::function<bool()>& body);
    bool runProtocolBody(const std::function<bool()>& body);
    QList<Log::Entry> entriesSince(int mark);
    int logSize();
    bool captureOnce();

    QTemporaryDir share_;
    std::unique_ptr<HProgressBar> total_;
    std::unique_ptr<HProgressBar> item_;
    YumIO* engine_ = nullptr;
    TestPresenter presenter_;
};

bool TestWorkers::runBody(const std::function<bool()>& body)
{
    QEventLoop loop;
    BodyThread thread(loop, body);
    engine_->execWorkThread(loop, thread);
    return thread.result;
}

// Runs body on a worker as the engine's bodies run: after the start handshake, with
// progress and dialogs of its own, holding the interpreter lock.
bool TestWorkers::runProtocolBody(const std::function<bool()>& body)
{
    return runBody([this, &body] {
        engine_->blocker().block();
        Progress::User progress(engine_->progressSlot(), engine_->totalBar(), engine_->itemBar());
        YumIODialogsUser dialogs(engine_->dialogsSlot(), engine_->dialogParent());
        Python::PyGILStateWrapper lock(true);
        return body();
    });
}

QList<Log::Entry> TestWorkers::entriesSince(int mark)
{
    Log::EntryList& list = engine_->logList();
    list.lock();
    const QList<Log::Entry> entries = list.mid(mark);
    list.unlock();
    return entries;
}

int TestWorkers::logSize()
{
    Log::EntryList& list = engine_->logList();
    list.lock();
    const int size = list.size();
    list.unlock();
    return size;
}

void TestWorkers::initTestCase()
{
    QVERIFY(share_.isValid());
    QVERIFY(QDir(share_.path()).mkpath(QStringLiteral("python/yum")));
    QVERIFY(writeFile(share_.filePath(QStringLiteral("python/YumIO.py")), kScript));
    QVERIFY(writeFile(share_.filePath(QStringLiteral("python/yum/__init__.py")), kYumInit));
    QVERIFY(writeFile(share_.filePath(QStringLiteral("python/yum/Errors.py")), kYumErrors));
    qputenv("ORVOSHARE", QFile::encodeName(share_.path()));
    // The interpreter keeps whatever SIGINT handler it finds; QtTest's is no use to it.
    std::signal(SIGINT, SIG_DFL);

    Progress::Minion::install();
    YumIODialogsPresenter::install(&presenter_);
    total_ = std::make_unique<HProgressBar>();
    item_ = std::make_unique<HProgressBar>();
    // One engine for the whole run: the interpreter starts only once per process.
    engine_ = new YumIO;
    engine_->setup(nullptr, total_.get(), item_.get());
    QVERIFY(engine_->initialize());
    QVERIFY(PyGILState_Check());
}

void TestWorkers::cleanupTestCase()
{
    delete engine_;
    engine_ = nullptr;
    YumIODialogsPresenter::install(nullptr);
}

void TestWorkers::init()
{
    presenter_.clear();
}

void TestWorkers::cleanup()
{
    YumIODialogsPresenter::install(&presenter_);
    ModalAnswer::clear();
    // Outside a running event loop deferred deletions wait for an explicit turn.
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
}

void TestWorkers::immediateBodyEndsLoop()
{
    // Repeated, so that a worker finishing before the loop runs would show as a hang.
    for (int i = 0; i < 50; ++i) {
        const bool result = runBody([this] {
            engine_->blocker().block();
            return true;
        });
        QVERIFY(result);
    }
}

void TestWorkers::starters()
{
    YumIODialogs* permanent = engine_->dialogsSlot();
    QVERIFY(engine_->collect(QHash<QString, bool>{ { QStringLiteral("base"), true } }));
    QCOMPARE(engine_->count(), 2);
    engine_->clearEntries();
    QVERIFY(engine_->collectFileLists());
    QVERIFY(engine_->collectOtherData());
    QVERIFY(engine_->apply());
    QCOMPARE(engine_->dialogsSlot(), permanent);
    QCOMPARE(engine_->progressSlot(), nullptr);
    QCOMPARE(engine_->capturersSlot(), nullptr);
    QVERIFY(PyGILState_Check());
}

void TestWorkers::dialogs_data()
{
    QTest::addColumn<QString>("kind");
    QTest::addColumn<bool>("fromWorker");
    QTest::addColumn<int>("expected");

    for (bool worker : { false, true }) {
        const char* where = worker ? "worker" : "gui";
        QTest::addRow("confirm %s", where) << "confirm" << worker << 1;
        QTest::addRow("warning %s", where) << "warning" << worker << 2;
        QTest::addRow("critical %s", where) << "critical" << worker << 1;
        QTest::addRow("scrollable %s", where) << "scrollable" << worker << 0;
    }
}

void TestWorkers::dialogs()
{
    QFETCH(QString, kind);
    QFETCH(bool, fromWorker);
    QFETCH(int, expected);

    auto ask = [&kind](YumIODialogs& dialogs) {
        const QString caption = QStringLiteral("Caption");
        const QString text = QStringLiteral("Text");
        if (kind == QLatin1String("confirm"))
            return dialogs.confirm(caption, text, QStringLiteral("OK"), QStringLiteral("Cancel"));
        if (kind == QLatin1String("warning"))
            return dialogs.warning(caption, text, QStringLiteral("A"), QStringLiteral("B"), QStringLiteral("C"));
        if (kind == QLatin1String("critical"))
            return dialogs.critical(caption, text);
        dialogs.scrollable(caption, text);
        return 0;
    };

    int answer = -1;
    int waits = -1;
    if (fromWorker) {
        YumIODialogs* permanent = engine_->dialogsSlot();
        bool ownThread = false;
        QVERIFY(runProtocolBody([&] {
            YumIODialogs* proxy = engine_->dialogsSlot();
            ownThread = proxy != permanent && proxy->thread() == QThread::currentThread();
            answer = ask(*proxy);
            waits = proxy->waits();
            return true;
        }));
        QVERIFY(ownThread);
        QCOMPARE(engine_->dialogsSlot(), permanent);
        QCOMPARE(waits, 1);
    } else {
        YumIODialogs dialogs(nullptr);
        answer = ask(dialogs);
        QCOMPARE(dialogs.waits(), 0);
    }
    QCOMPARE(answer, expected);
    QCOMPARE(presenter_.asked, QStringList{ kind + QStringLiteral("|Caption|Text") });
    QCOMPARE(presenter_.offGuiThread, 0);
    if (fromWorker)
        QCOMPARE(presenter_.withInterpreterLock, 0);
}

void TestWorkers::progressAndLogWhileWaiting()
{
    QObject receiver;
    QSemaphore logged;
    QString lastText;
    connect(&engine_->logList(), &Log::EntryList::appended, &receiver, [&] {
        const QList<Log::Entry> entries = entriesSince(logSize() - 1);
        lastText = entries.isEmpty() ? QString() : entries.last().text;
        if (QThread::currentThread() == qApp->thread())
            logged.release();
    });

    bool barSeen = false;
    bool logSeen = false;
    QString barActivity;
    QVERIFY(runProtocolBody([&] {

        engine_->progressSlot()->startTotal(QStringLiteral("Reading"), 10);
        for (int i = 0; i < 500 && !barSeen; ++i) {
            onGuiThread([&] { barSeen = total_->isEnabled() && total_->maximum() == 10; });
            if (!barSeen)
                QThread::msleep(10);
        }
        onGuiThread([&] { barActivity = total_->activity(); });

        engine_->log(Log::Info, 0, QStringLiteral("from the worker"));
        logSeen = logged.tryAcquire(1, 5000);
        return true;
    }));
    QVERIFY(barSeen);
    QCOMPARE(barActivity, QStringLiteral("Reading"));
    QVERIFY(logSeen);
    QCOMPARE(lastText, QStringLiteral("from the worker"));
    // The reporter is gone and the bars are idle again.
    QCOMPARE(engine_->progressSlot(), nullptr);
    QVERIFY(!total_->isEnabled());
}

void TestWorkers::interpreterLockAndSignals()
{
    bool workerHeldBefore = true;
    long probe = 0;
    bool workerHeld = false;
    bool guiHeld = true;
    bool guiChildBlocked = false;
    bool workerChildBlocked = true;
    QVERIFY(!signalBlocked(SIGCHLD));

    QVERIFY(runBody([&] {
        engine_->blocker().block();
        Progress::User progress(engine_->progressSlot(), engine_->totalBar(), engine_->itemBar());
        YumIODialogsUser dialogs(engine_->dialogsSlot(), engine_->dialogParent());
        workerHeldBefore = PyGILState_Check();
        Python::PyGILStateWrapper lock(true);
        workerHeld = PyGILState_Check();
        PyRef result = PyRef::steal(engine_->pyCall("workerProbe", "(i)", 41));
        probe = result ? PyLong_AsLong(result.get()) : -1;
        // Script code runs with Python's interrupt handler; the end of the wait removes it.
        engine_->setEnablePythonSIGINTHandler(true);
        workerChildBlocked = signalBlocked(SIGCHLD);
        onGuiThread([&] {
            guiHeld = PyGILState_Check();
            guiChildBlocked = signalBlocked(SIGCHLD);
        });
        return true;
    }));

    QVERIFY(!workerHeldBefore);
    QVERIFY(workerHeld);
    QCOMPARE(probe, 42L);
    QVERIFY(!guiHeld);
    QVERIFY(guiChildBlocked);
    QVERIFY(!workerChildBlocked);
    // Afterwards: the graphical thread holds the lock again, its mask is back, and
    // interrupts get the default action.
    QVERIFY(PyGILState_Check());
    QVERIFY(!signalBlocked(SIGCHLD));
    struct sigaction action;
    QCOMPARE(sigaction(SIGINT, nullptr, &action), 0);
    QVERIFY(action.sa_handler == SIG_DFL);
}

void TestWorkers::lineSplit_data()
{
    QTest::addColumn<bool>("error");
    QTest::addColumn<QStringList>("writes");
    QTest::addColumn<QStringList>("lines");
    QTest::addColumn<QString>("pending");

    QTest::newRow("empty line kept, tail pending")
        << false << QStringList{ "a\nb\n\nc" } << QStringList{ "a", "b", "" } << "c";
    QTest::newRow("no line end, no entry") << false << QStringList{ "x", "y" } << QStringList{} << "xy";
    QTest::newRow("line completed later")
        << false << QStringList{ "par", "tial\nnext" } << QStringList{ "partial" } << "next";
    QTest::newRow("ends with a line end") << false << QStringList{ "one\n" } << QStringList{ "one" } << "";
    QTest::newRow("nothing") << false << QStringList{ "" } << QStringList{} << "";
    QTest::newRow("standard error") << true << QStringList{ "e1\ne", "2\n" } << QStringList{ "e1", "e2" } << "";
}

void TestWorkers::lineSplit()
{
    QFETCH(bool, error);
    QFETCH(QStringList, writes);
    QFETCH(QStringList, lines);
    QFETCH(QString, pending);

    auto write = [&](const QString& text) {
        if (error)
            engine_->writeStderr(text);
        else
            engine_->writeStdout(text);
    };
    const Log::Kind kind = error ? Log::Error : Log::Output;

    const int mark = logSize();
    for (const QString& text : writes)
        write(text);
    QList<Log::Entry> entries = entriesSince(mark);
    QStringList texts;
    for (const Log::Entry& entry : entries) {
        texts << entry.text;
        QCOMPARE(entry.kind, kind);
        QCOMPARE(entry.level, 0u);
    }
    QCOMPARE(texts, lines);

    // Ending the line gives the held-back tail an entry of its own.
    write(QStringLiteral("\n"));
    entries = entriesSince(mark + lines.size());
    QCOMPARE(entries.size(), 1);
    QCOMPARE(entries.at(0).text, pending);
}

bool TestWorkers::captureOnce()
{
    return runProtocolBody([this] {
        YumIOCapturersUser capture(engine_->capturersSlot(), engine_);
        return engine_->capturersSlot()->capturing() && std::system("echo out; echo err >&2") == 0;
    });
}

void TestWorkers::captureChildOutput()
{
    // The test's own stand-ins for the real streams.
    QTemporaryDir dir;
    const QString outPath = dir.filePath(QStringLiteral("out"));
    const QString errPath = dir.filePath(QStringLiteral("err"));
    QFile out(outPath);
    QFile err(errPath);
    QVERIFY(out.open(QIODevice::WriteOnly) && err.open(QIODevice::WriteOnly));
    std::fflush(stdout);
    std::fflush(stderr);
    const int realOut = dup(1);
    const int realErr = dup(2);
    dup2(out.handle(), 1);
    dup2(err.handle(), 2);

    const int mark = logSize();
    QStringList seenByWorker;
    bool capturing = false;
    bool slotCleared = false;
    const bool ran = runProtocolBody([&] {
        bool ok = true;
        {
            YumIOCapturersUser capture(engine_->capturersSlot(), engine_);
            capturing = engine_->capturersSlot()->capturing();
            ok = std::system("echo out; echo err >&2") == 0;
        }
        slotCleared = engine_->capturersSlot() == nullptr;
        // Drained before the worker goes on.
        for (const Log::Entry& entry : entriesSince(mark))
            seenByWorker << QString::number(entry.kind) + QLatin1Char(' ') + entry.text;
        return ok && std::system("echo after; echo after-err >&2") == 0;
    });

    dup2(realOut, 1);
    dup2(realErr, 2);
    close(realOut);
    close(realErr);
    out.close();
    err.close();

    QVERIFY(ran);
    QVERIFY(capturing);
    QVERIFY(slotCleared);
    QCOMPARE(seenByWorker, (QStringList{ QStringLiteral("1 out"), QStringLiteral("3 err") }));
    QCOMPARE(entriesSince(mark).size(), 2);
    QCOMPARE(readAll(outPath), QStringLiteral("after\n"));
    QCOMPARE(readAll(errPath), QStringLiteral("after-err\n"));
    QVERIFY(presenter_.asked.isEmpty());
}

void TestWorkers::captureSetupFailure()
{
    const std::set<int> before = openDescriptors();
    const int mark = logSize();
    bool capturing = true;
    bool limited = false;
    QVERIFY(runProtocolBody([&] {

        // Room for the two saved duplicates and nothing more, so that the pipes fail.
        const std::set<int> open = openDescriptors();
        rlim_t limit = 0;
        for (int free = 0; free < 2; ++limit) {
            if (!open.count(int(limit)))
                ++free;
        }
        rlimit saved;
        getrlimit(RLIMIT_NOFILE, &saved);
        rlimit lowered = saved;
        lowered.rlim_cur = limit;
        limited = setrlimit(RLIMIT_NOFILE, &lowered) == 0;
        {
            YumIOCapturersUser capture(engine_->capturersSlot(), engine_);
            setrlimit(RLIMIT_NOFILE, &saved);
            capturing = engine_->capturersSlot()->capturing();
        }
        return true;
    }));
    QVERIFY(limited);
    QVERIFY(!capturing);
    const QString message = QStringLiteral("Unable to open pipe to capture rpm transaction output");
    QCOMPARE(presenter_.asked, QStringList{ QStringLiteral("critical|Orvo Yum Error|") + message });
    const QList<Log::Entry> entries = entriesSince(mark);
    QCOMPARE(entries.size(), 1);
    QCOMPARE(entries.at(0).kind, Log::Error);
    QCOMPARE(entries.at(0).text, message);
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    QCOMPARE(openDescriptors(), before);
}

void TestWorkers::noLeaks()
{
    // One round first, for whatever is made once and kept.
    QVERIFY(captureOnce());
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    const std::set<int> fds = openDescriptors();
    const int threads = threadCount();

    bool allRan = true;
    for (int i = 0; i < 5; ++i) {
        allRan = allRan && engine_->collect({}) && engine_->apply() && captureOnce();
        engine_->clearEntries();
    }
    QVERIFY(allRan);

    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    QCOMPARE(openDescriptors(), fds);
    QTRY_COMPARE(threadCount(), threads);
}

void TestWorkers::widgetPresenter_data()
{
    QTest::addColumn<QStringList>("texts");
    QTest::addColumn<int>("defaultButton");
    QTest::addColumn<int>("escapeButton");
    QTest::addColumn<QString>("press"); // a button's text, or "Escape"
    QTest::addColumn<QStringList>("shown");
    QTest::addColumn<QString>("shownDefault");
    QTest::addColumn<QString>("shownEscape");
    QTest::addColumn<int>("result");

    QTest::newRow("no texts: one OK")
        << QStringList{ "", "", "" } << 0 << -1 << "OK" << QStringList{ "OK" } << "OK" << "" << 0;
    QTest::newRow("three, the second pressed")
        << QStringList{ "Yes", "No", "Cancel" } << 0 << 2 << "No"
        << QStringList{ "Yes", "No", "Cancel" } << "Yes" << "Cancel" << 1;
    QTest::newRow("escape picks the escape button")
        << QStringList{ "Retry", "Abort", "" } << 0 << 1 << "Escape"
        << QStringList{ "Retry", "Abort" } << "Retry" << "Abort" << 1;
    QTest::newRow("numbers kept when a text is missing")
        << QStringList{ "", "Ignore", "Stop" } << 2 << -1 << "Ignore"
        << QStringList{ "Ignore", "Stop" } << "Stop" << "" << 1;
    QTest::newRow("default and escape on missing buttons")
        << QStringList{ "Only", "", "" } << 2 << 1 << "Only"
        << QStringList{ "Only" } << "" << "" << 0;
}

void TestWorkers::widgetPresenter()
{
    QFETCH(QStringList, texts);
    QFETCH(int, defaultButton);
    QFETCH(int, escapeButton);
    QFETCH(QString, press);
    QFETCH(QStringList, shown);
    QFETCH(QString, shownDefault);
    QFETCH(QString, shownEscape);
    QFETCH(int, result);

    auto plain = [](const QAbstractButton* button) {
        return button ? button->text().remove(QLatin1Char('&')) : QString();
    };
    for (bool critical : { false, true }) {
        QStringList buttons;
        QString defaultText, escapeText, title;
        QMessageBox::Icon icon = QMessageBox::NoIcon;
        ModalAnswer::install([&](QDialog& dialog) {
            auto* box = qobject_cast<QMessageBox*>(&dialog);
            if (!box)
                return -2;
            title = box->windowTitle();
            icon = box->icon();
            for (QAbstractButton* button : box->buttons())
                buttons << plain(button);
            defaultText = plain(box->defaultButton());
            // Set explicitly, not the one the box would guess.
            escapeText = plain(box->escapeButton());
            if (press == QLatin1String("Escape")) {
                QTest::keyClick(box, Qt::Key_Escape);
            } else {
                for (QAbstractButton* button : box->buttons()) {
                    if (plain(button) == press)
                        button->click();
                }
            }
            return -2;
        });
        YumIODialogsWidgetPresenter presenter;
        const int answer = critical
            ? presenter.critical(nullptr, QStringLiteral("Title"), QStringLiteral("Text"), texts[0],
                                 texts[1], texts[2], defaultButton, escapeButton)
            : presenter.warning(nullptr, QStringLiteral("Title"), QStringLiteral("Text"), texts[0],
                                texts[1], texts[2], defaultButton, escapeButton);
        QCOMPARE(answer, result);
        QCOMPARE(title, QStringLiteral("Title"));
        QCOMPARE(icon, critical ? QMessageBox::Critical : QMessageBox::Warning);
        buttons.sort();
        shown.sort();
        QCOMPARE(buttons, shown);
        QCOMPARE(defaultText, shownDefault);
        QCOMPARE(escapeText, shownEscape);
    }
}

void TestWorkers::widgetPresenterDialogs()
{
    // The widget dialogs, asked from a worker and answered on the graphical thread.
    YumIODialogsWidgetPresenter presenter;
    YumIODialogsPresenter::install(&presenter);
    QStringList titles;
    int answer = 1;
    ModalAnswer::install([&](QDialog& dialog) {
        titles << dialog.windowTitle();
        return answer;
    });
    int confirmed = -1;
    int refused = -1;
    QVERIFY(runProtocolBody([&] {
        YumIODialogs* proxy = engine_->dialogsSlot();
        confirmed = proxy->confirm(QStringLiteral("Confirm"), QStringLiteral("Go on?"), QStringLiteral("OK"),
                                   QStringLiteral("Cancel"));
        answer = 0;
        refused = proxy->confirm(QStringLiteral("Confirm again"), QStringLiteral("Go on?"),
                                 QStringLiteral("OK"), QStringLiteral("Cancel"));
        proxy->scrollable(QStringLiteral("Details"), QStringLiteral("Long text"));
        return true;
    }));
    QCOMPARE(confirmed, 1);
    QCOMPARE(refused, 0);
    QCOMPARE(titles, (QStringList{ "Confirm", "Confirm again", "Details" }));
}

QTEST_MAIN(TestWorkers)
#include "tst_workers.moc"
