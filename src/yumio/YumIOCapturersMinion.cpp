#include "yumio/YumIOCapturersMinion.h"

#include "yumio/YumIO.h"

#include <QSocketNotifier>
#include <QThread>

#include <cerrno>
#include <unistd.h>

YumIOCapturersMinion::YumIOCapturersMinion(YumIO* engine, int stdoutFd, int stderrFd)
    : engine_(engine), stdoutFd_(stdoutFd), stderrFd_(stderrFd)
{
}

YumIOCapturersMinion::~YumIOCapturersMinion()
{
    readStdout();
    readStderr();
    delete stdoutNotifier_;
    delete stderrNotifier_;
    ::close(stdoutFd_);
    ::close(stderrFd_);
}

void YumIOCapturersMinion::activate()
{
    QMetaObject::invokeMethod(this, &YumIOCapturersMinion::initialize, Qt::QueuedConnection);
}

void YumIOCapturersMinion::deactivate()
{
    semaphore_.acquire();
    if (QThread::currentThread() == thread())
        finalize(); // a queued call would never run while this thread waits
    else
        QMetaObject::invokeMethod(this, &YumIOCapturersMinion::finalize, Qt::QueuedConnection);
    semaphore_.acquire();
    semaphore_.release();
}

void YumIOCapturersMinion::initialize()
{
    if (active_)
        return;
    stdoutNotifier_ = new QSocketNotifier(stdoutFd_, QSocketNotifier::Read);
    stderrNotifier_ = new QSocketNotifier(stderrFd_, QSocketNotifier::Read);
    connect(stdoutNotifier_, &QSocketNotifier::activated, this, &YumIOCapturersMinion::readStdout);
    connect(stderrNotifier_, &QSocketNotifier::activated, this, &YumIOCapturersMinion::readStderr);
    active_ = true;
}

void YumIOCapturersMinion::finalize()
{
    if (active_) {
        for (QSocketNotifier* notifier : { stdoutNotifier_, stderrNotifier_ }) {
            disconnect(notifier, nullptr, this, nullptr);
            // Once the write ends are closed a pipe stays readable at its end.
            notifier->setEnabled(false);
        }
        readStdout();
        readStderr();
        active_ = false;
    }
    semaphore_.release();
}

void YumIOCapturersMinion::readStdout()
{
    engine_->writeStdout(stdoutDecoder_(drain(stdoutFd_, stdoutNotifier_)));
}

void YumIOCapturersMinion::readStderr()
{
    engine_->writeStderr(stderrDecoder_(drain(stderrFd_, stderrNotifier_)));
}

QByteArray YumIOCapturersMinion::drain(int fd, QSocketNotifier* notifier)
{
    QByteArray bytes;
    char buffer[4096];
    for (;;) {
        const ssize_t got = ::read(fd, buffer, sizeof buffer);
        if (got > 0) {
            bytes.append(buffer, got);
            continue;
        }
        if (got < 0 && errno == EINTR)
            continue;
        // At the end of the pipe the notifier would fire on every turn of the loop.
        if (got == 0 && notifier)
            notifier->setEnabled(false);
        break;
    }
    return bytes;
}
