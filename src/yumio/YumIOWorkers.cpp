// Running long operations on a worker thread while the graphical thread waits and keeps
// the interface alive.

#include "yumio/YumIO.h"

#include "yumio/YumIOApplyThread.h"
#include "yumio/YumIOBuildSearchIndexThread.h"
#include "yumio/YumIOClearEntriesThread.h"
#include "yumio/YumIOCollectFileListsThread.h"
#include "yumio/YumIOCollectOtherDataThread.h"
#include "yumio/YumIOCollectThread.h"

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
    QEventLoop loop;
    CollectThread thread(this, loop, requests);
    execWorkThread(loop, thread);
    return thread.result();
}

void YumIO::clearEntries()
{
    // The table sees an empty catalogue from now on, while the entries are deleted.
    clearing_ = true;
    searchIndex_.reset();
    QEventLoop loop;
    ClearEntriesThread thread(this, loop);
    execWorkThread(loop, thread);
}

bool YumIO::collectFileLists()
{
    if (fileListsLoaded_)
        return true;
    QEventLoop loop;
    CollectFileListsThread thread(this, loop);
    execWorkThread(loop, thread);
    return thread.result();
}

bool YumIO::collectOtherData()
{
    if (otherDataLoaded_)
        return true;
    QEventLoop loop;
    CollectOtherDataThread thread(this, loop);
    execWorkThread(loop, thread);
    return thread.result();
}

bool YumIO::buildSearchIndex()
{
    if (searchIndex_)
        return true;
    if (!fileListsLoaded_ || !otherDataLoaded_)
        return false;
    QEventLoop loop;
    BuildSearchIndexThread thread(this, loop);
    execWorkThread(loop, thread);
    searchIndex_ = std::move(builtIndex_);
    builtIndex_.reset();
    return thread.result() && searchIndex_;
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
    QEventLoop loop;
    ApplyThread thread(this, loop);
    execWorkThread(loop, thread);
    return thread.result();
}

void YumIO::cancel()
{
    cancelled_ = true;
    requestInterrupt();
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
