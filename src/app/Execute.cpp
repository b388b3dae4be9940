#include "app/Execute.h"

#include "widgets/ModalAnswer.h"

#include <QByteArray>
#include <QMessageBox>
#include <QStringList>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <sys/types.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

// The double fork: the first child starts the viewer in a grandchild and leaves at
// once, so the grandchild is adopted by the system and the program waits only for an
// instant.  Children end in _exit on every path: nothing of the program (destructors,
// buffers, the interpreter) runs twice.
void Execute::execute(QWidget* parent, char* const* argv)
{
    const pid_t child = ::fork();
    if (child < 0) {
        const int errnum = errno;
        QMessageBox box(QMessageBox::Critical, QObject::tr("Help"),
                        QObject::tr("fork() failed; errno = %1 (%2)")
                            .arg(QString::number(errnum), QString::fromLocal8Bit(std::strerror(errnum))),
                        QMessageBox::Ok, parent);
        ModalAnswer::exec(box);
        return;
    }
    if (child == 0) {
        const pid_t grandchild = ::fork();
        if (grandchild < 0) {
            const int errnum = errno;
            std::fprintf(stderr, "second fork() failed; errno = %u (%s)\n", unsigned(errnum),
                         std::strerror(errnum));
            ::_exit(1);
        }
        if (grandchild == 0) {
            ::execv(argv[0], argv);
            const int errnum = errno;
            std::fprintf(stderr, "execv(\"%s\", ...) failed; errno = %u (%s)\n", argv[0],
                         unsigned(errnum), std::strerror(errnum));
            ::_exit(1);
        }
        ::_exit(0);
    }
    int status;
    while (::waitpid(child, &status, 0) < 0 && errno == EINTR) {
    }
}

void Execute::execute(QWidget* parent, const QStringList& arguments)
{
    if (arguments.isEmpty())
        return;
    std::vector<QByteArray> texts;
    texts.reserve(size_t(arguments.size()));
    for (const QString& argument : arguments)
        texts.push_back(argument.toLocal8Bit());
    std::vector<char*> argv;
    for (QByteArray& text : texts)
        argv.push_back(text.data());
    argv.push_back(nullptr);
    execute(parent, argv.data());
}
