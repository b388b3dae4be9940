// Running long operations on a worker thread while the graphical thread waits and keeps
// the interface alive.

#include "yumio/YumIO.h"

#include "progress/ProgressUser.h"
#include "yumio/YumIODialogsUser.h"
#include "yumio/YumIOWorker.h"

#include <QEventLoop>
#include <QTimer>

#include <csignal>

bool YumIO::collect(const QHash<QString, bool>& requests)
{
    lastRequests_ = requests;
    // Cancelled before it started: the window is on its way out.
    if (cancelled_)
        return false;
    // The index points at the entries about to go.
    searchIndex_.reset();
    // The worker appends to the catalogue while the table may repaint from a nested event
    // loop: the table sees it empty until the worker is done.  Only this thread sets the flag.
    clearing_ = true;
    const bool collected = runWorker([&] { return collectReal(requests); }, true);
    clearing_ = false;
    return collected;
}

void YumIO::clearEntries()
{
    // The table sees an empty catalogue from now on, while the entries are deleted.
    clearing_ = true;
    searchIndex_.reset();
    runWorker(
        [this] {
            clearEntriesReal();
            return true;
        },
        false);
    clearing_ = false;
}

bool YumIO::collectFileLists()
{
    if (fileListsLoaded_)
        return true;
    return runWorker([this] { return collectFileListsReal(); }, true);
}

bool YumIO::collectOtherData()
{
    if (otherDataLoaded_)
        return true;
    return runWorker([this] { return collectOtherDataReal(); }, true);
}

bool YumIO::buildSearchIndex()
{
    if (searchIndex_)
        return true;
    if (!fileListsLoaded_ || !otherDataLoaded_)
        return false;
    const bool built = runWorker([this] { return buildSearchIndexReal(); }, true);
    searchIndex_ = std::move(builtIndex_);
    builtIndex_.reset();
    return built && searchIndex_;
}

bool YumIO::apply()
{
    // Another program may have changed the system while the window stood idle: the
    // transaction is resolved against the catalogue as the system is now.
    if (!entries_.isEmpty() && installedChanged()) {
        log(Log::Warning, 0,
            tr("The installed packages were changed by another program since the catalogue was collected: "
               "collecting it again."));
        QStringList dropped;
        const bool collected = collectKeepingMarks(lastRequests_, dropped);
        QString text = collected
            ? tr("The installed packages were changed by another program: the catalogue was collected again.")
            : tr("The installed packages were changed by another program, and collecting the catalogue again "
                 "failed.");
        if (!dropped.isEmpty())
            text += QLatin1Char(' ') + tr("Marks dropped, their packages changed: %1.").arg(dropped.join(QStringLiteral(", ")));
        log(Log::Warning, 0, text);
        Q_EMIT collectedAgain(text);
        if (!collected)
            return false;
    }
    return runWorker([this] { return applyReal(); }, true);
}

void YumIO::cancel()
{
    cancelled_ = true;
    requestInterrupt();
}

bool YumIO::runWorker(const std::function<bool()>& body, bool interruptible)
{
    // What every worker body needs: the start handshake, the progress and dialog
    // services, and the interpreter lock for its whole length.
    const std::function<bool()> prologue = [&] {
        blocker_.block();
        Progress::User progress(progress_, totalBar_, itemBar_);
        YumIODialogsUser dialogs(dialogs_, parent_);
        PyGILStateWrapper lock(true);
        if (interruptible)
            setEnablePythonSIGINTHandler(true);
        return body();
    };
    QEventLoop loop;
    YumIOWorker worker(prologue, loop);
    execWorkThread(loop, worker);
    return worker.result();
}

void YumIO::execWorkThread(QEventLoop& loop, QThread& thread)
{
    // The worker's body starts with blocker_.block(), so it cannot end (and exit the
    // loop) before the loop below runs: the timer that releases it fires inside it.
    blocker_.prepare();
    sigset_t previousMask;
    {
        // The worker holds the interpreter lock for its whole body.
        PyThreadStateWrapper unlocked;
        thread.start(QThread::HighPriority);
        // Blocked only here, after the start, so that the worker's mask keeps SIGCHLD and
        // the exits of rpm's scriptlets are taken by the worker.
        sigset_t childExit;
        sigemptyset(&childExit);
        sigaddset(&childExit, SIGCHLD);
        sigprocmask(SIG_BLOCK, &childExit, &previousMask);
        QTimer::singleShot(0, this, &YumIO::blockerRelease);
        loop.exec(QEventLoop::AllEvents);
        thread.wait();
        // What the worker sent last: progress, log lines, the relays' deletions.
        loop.processEvents(QEventLoop::ExcludeUserInputEvents);
        {
            PyGILStateWrapper lock(true);
            setEnablePythonSIGINTHandler(false);
        }
        sigprocmask(SIG_SETMASK, &previousMask, nullptr);
    }
}

void YumIO::blockerRelease()
{
    blocker_.release();
}

void YumIO::writeStdout(const QString& text)
{
    write(text, Log::Output, 0, stdoutRest_);
}

void YumIO::writeStderr(const QString& text)
{
    write(text, Log::Error, 0, stderrRest_);
}
