#include "app/Execute.h"

#include "widgets/ModalAnswer.h"

#include <QByteArray>
#include <QCoreApplication>
#include <QMessageBox>
#include <QPointer>
#include <QSocketNotifier>
#include <QStringList>
#include <QWidget>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <sys/types.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace {

// Shown when the viewer could not show target.
void reportFailure(QWidget* parent, const QString& target)
{
    // Not titled "Help" as the fork failure is: manuals, repository pages and advisory
    // links all come here.
    QMessageBox box(QMessageBox::Warning, QObject::tr("Cannot Open"),
                    QObject::tr("No program could show this; open it by hand:\n\n%1").arg(target),
                    QMessageBox::Ok, parent);
    box.setTextInteractionFlags(Qt::TextSelectableByMouse);
    ModalAnswer::exec(box);
}

} // namespace

// The double fork: the first child starts a watcher in a grandchild and leaves at once,
// so the watcher is adopted by the system and the program waits only for an instant.
// The watcher runs the viewer and tells the program through a pipe whether it failed;
// the pipe closes on exec, so the viewer itself holds nothing of the program.
// Children end in _exit on every path: nothing of the program (destructors, buffers,
// the interpreter) runs twice.
QObject* Execute::execute(QWidget* parent, char* const* argv)
{
    int fds[2];
    if (::pipe2(fds, O_CLOEXEC) < 0)
        fds[0] = fds[1] = -1;
    const pid_t child = ::fork();
    if (child < 0) {
        const int errnum = errno;
        for (int fd : fds)
            if (fd >= 0)
                ::close(fd);
        QMessageBox box(QMessageBox::Critical, QObject::tr("Help"),
                        QObject::tr("fork() failed; errno = %1 (%2)")
                            .arg(QString::number(errnum), QString::fromLocal8Bit(std::strerror(errnum))),
                        QMessageBox::Ok, parent);
        ModalAnswer::exec(box);
        return nullptr;
    }
    if (child == 0) {
        const pid_t watcher = ::fork();
        if (watcher < 0) {
            const int errnum = errno;
            std::fprintf(stderr, "second fork() failed; errno = %u (%s)\n", unsigned(errnum),
                         std::strerror(errnum));
            ::_exit(1);
        }
        if (watcher == 0) {
            const pid_t viewer = ::fork();
            if (viewer == 0) {
                ::execv(argv[0], argv);
                const int errnum = errno;
                std::fprintf(stderr, "execv(\"%s\", ...) failed; errno = %u (%s)\n", argv[0],
                             unsigned(errnum), std::strerror(errnum));
                ::_exit(127);
            }
            int status = 0;
            while (viewer > 0 && ::waitpid(viewer, &status, 0) < 0 && errno == EINTR) {
            }
            if ((viewer < 0 || !WIFEXITED(status) || WEXITSTATUS(status) != 0) && fds[1] >= 0) {
                const char failed = 'F';
                while (::write(fds[1], &failed, 1) < 0 && errno == EINTR) {
                }
            }
            ::_exit(0);
        }
        ::_exit(0);
    }
    int status;
    while (::waitpid(child, &status, 0) < 0 && errno == EINTR) {
    }
    if (fds[0] < 0)
        return nullptr;
    ::close(fds[1]);
    // The target is the last argument: the file or address the viewer was to show.
    const char* const* last = argv;
    while (last[1])
        ++last;
    const QString target = QString::fromLocal8Bit(*last);
    auto* notifier = new QSocketNotifier(fds[0], QSocketNotifier::Read, QCoreApplication::instance());
    const QPointer<QWidget> owner(parent);
    QObject::connect(notifier, &QSocketNotifier::activated, notifier, [notifier, owner, target] {
        notifier->setEnabled(false);
        char answer = 0;
        ssize_t got;
        while ((got = ::read(int(notifier->socket()), &answer, 1)) < 0 && errno == EINTR) {
        }
        ::close(int(notifier->socket()));
        if (got == 1 && answer == 'F')
            reportFailure(owner, target);
        notifier->deleteLater();
    });
    return notifier;
}

QObject* Execute::execute(QWidget* parent, const QStringList& arguments)
{
    if (arguments.isEmpty())
        return nullptr;
    std::vector<QByteArray> texts;
    texts.reserve(size_t(arguments.size()));
    for (const QString& argument : arguments)
        texts.push_back(argument.toLocal8Bit());
    std::vector<char*> argv;
    for (QByteArray& text : texts)
        argv.push_back(text.data());
    argv.push_back(nullptr);
    return execute(parent, argv.data());
}
