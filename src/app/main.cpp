#include "app/CommandLine.h"
#include "app/DefaultStyle.h"
#include "app/DisplayFailure.h"
#include "app/Environment.h"
#include "app/Globals.h"
#include "app/MainWindow.h"
#include "app/Privileges.h"
#include "app/Share.h"
#include "repo/RepoMessageBoxes.h"
#include "yumio/YumIODialogsWidgetPresenter.h"

#include <QApplication>
#include <QIcon>

#include <cstdio>

int main(int argc, char** argv)
{
    Environment::makePathsAbsolute();
    program = CommandLine::baseName(argv[0]);
    // Usage and option errors need no window system: answered before it is opened.
    const int early = CommandLine::check(argc, argv);
    if (early != CommandLine::Continue)
        return early;
    const QString rootProblem = Environment::rootProblem();
    if (!rootProblem.isEmpty()) {
        std::fprintf(stderr, "%s: %s\n", program, qPrintable(rootProblem));
        return 1;
    }
    const DefaultStyle defaultStyle(argc, argv);
    DisplayFailure::watch();
    auto* app = new QApplication(argc, argv);
    DisplayFailure::unwatch();
    defaultStyle.set(*app, QStringLiteral("Fusion"));
    QApplication::setWindowIcon(QIcon(Share::absolute(QStringLiteral("pixmaps/orvo.icon.png"))));
    application = app;
    // The engine and the configuration code show their dialogs through these.
    static YumIODialogsWidgetPresenter presenter;
    YumIODialogsPresenter::install(&presenter);
    Repo::MessageBoxes::install();

    // Created before parsing so that the options can set its state; never deleted
    // explicitly, as the process ends right after the event loop.
    auto* window = new MainWindow;
    const int status = CommandLine::parse(argc, argv, *window);
    if (status != CommandLine::Continue)
        return status;
    if (!Privileges::check(nullptr))
        return 1;
    window->show();
    const int result = QApplication::exec();
    delete app;
    return result;
}
