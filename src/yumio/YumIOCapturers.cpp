#include "yumio/YumIOCapturers.h"

#include "yumio/YumIO.h"
#include "yumio/YumIOCapturersMinion.h"

#include <QCoreApplication>
#include <QThread>

#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <unistd.h>

namespace {

bool redirect(int from, int to)
{
    int done;
    do
        done = ::dup2(from, to);
    while (done < 0 && errno == EINTR);
    return done >= 0;
}

void closeFd(int& fd)
{
    if (fd >= 0)
        ::close(fd);
    fd = -1;
}

} // namespace

YumIOCapturers::YumIOCapturers(YumIO* engine)
    : engine_(engine)
{
    savedStdout_ = ::dup(1);
    savedStderr_ = ::dup(2);
    if (::pipe(stdoutPipe_) != 0 || ::pipe(stderrPipe_) != 0) {
        engine_->error(tr("Unable to open pipe to capture rpm transaction output"));
        return;
    }
    // What stdio holds from before belongs to the real streams.
    std::fflush(stdout);
    std::fflush(stderr);
    // Without a saved copy the stream could never be put back.
    bool redirected = savedStdout_ >= 0 && savedStderr_ >= 0;
    if (redirected) {
        stdoutRedirected_ = redirect(stdoutPipe_[1], 1);
        stderrRedirected_ = stdoutRedirected_ && redirect(stderrPipe_[1], 2);
        redirected = stderrRedirected_;
    }
    if (!redirected) {
        // Nobody would read the pipe: put standard output back before reporting.
        restore();
        engine_->error(tr("Unable to dup2 pipe to capture rpm transaction output"));
        return;
    }
    ::fcntl(stdoutPipe_[0], F_SETFL, O_NONBLOCK);
    ::fcntl(stderrPipe_[0], F_SETFL, O_NONBLOCK);
    minion_ = new YumIOCapturersMinion(engine_, stdoutPipe_[0], stderrPipe_[0]);
    minion_->moveToThread(QCoreApplication::instance()->thread());
    minion_->activate();
}

YumIOCapturers::~YumIOCapturers()
{
    std::fflush(stdout);
    std::fflush(stderr);
    if (!restore()) {
        // The same words for both streams.  Everything stays as it is: closing the pipes
        // now would turn the next write to the stream into a broken pipe.
        engine_->error(tr("Unable to dup2 to restore stderr"));
        return;
    }
    closeFd(stdoutPipe_[1]);
    closeFd(stderrPipe_[1]);
    closeFd(savedStdout_);
    closeFd(savedStderr_);
    if (minion_) {
        // Waits until the graphical thread has read the pipes for the last time; the
        // read ends are the relay's from here on.
        minion_->deactivate();
        minion_->deleteLater();
    } else {
        closeFd(stdoutPipe_[0]);
        closeFd(stderrPipe_[0]);
    }
}

bool YumIOCapturers::restore()
{
    if (stdoutRedirected_) {
        if (!redirect(savedStdout_, 1))
            return false;
        stdoutRedirected_ = false;
    }
    if (stderrRedirected_) {
        if (!redirect(savedStderr_, 2))
            return false;
        stderrRedirected_ = false;
    }
    return true;
}
