#include "app/DisplayFailure.h"

#include "app/Globals.h"

#include <QString>
#include <QtGlobal>

#include <cstdio>
#include <unistd.h>

namespace {

QtMessageHandler previous = nullptr;

void handler(QtMsgType type, const QMessageLogContext& context, const QString& message)
{
    if (type == QtFatalMsg) {
        QByteArray platform = qgetenv("QT_QPA_PLATFORM");
        platform = platform.left(platform.indexOf(':') < 0 ? platform.size() : platform.indexOf(':'));
        const QByteArray line = QByteArray(program) + ": " + DisplayFailure::reason(platform, qgetenv("DISPLAY"));
        std::fprintf(stderr, "%s\n", line.constData());
        std::fflush(stderr);
        _exit(1);
    }
    // The plugin's own complaints come before the fatal message and say the same less clearly.
    if (context.category && qstrncmp(context.category, "qt.qpa.", 7) == 0)
        return;
    if (previous)
        previous(type, context, message);
}

} // namespace

void DisplayFailure::watch()
{
    previous = qInstallMessageHandler(handler);
}

void DisplayFailure::unwatch()
{
    qInstallMessageHandler(previous);
    previous = nullptr;
}

QByteArray DisplayFailure::reason(const QByteArray& platform, const QByteArray& display)
{
    if (!platform.isEmpty() && platform != "xcb")
        return "cannot start the window system \"" + platform + "\"";
    if (display.isEmpty())
        return "cannot open a window: no display (DISPLAY is not set)";
    return "cannot open a window: cannot connect to display \"" + display + "\"";
}
