#include "app/CommandLine.h"
#include "app/DefaultStyle.h"
#include "app/Environment.h"
#include "app/Globals.h"
#include "app/MainWindow.h"
#include "app/Privileges.h"
#include "app/Share.h"
#include "repo/RepoMessageBoxes.h"
#include "yumio/YumIODialogsWidgetPresenter.h"

#include <QApplication>
#include <QIcon>

int main(int argc, char** argv)
{
    Environment::makePathsAbsolute();
    const DefaultStyle defaultStyle(argc, argv);
    auto* app = new QApplication(argc, argv);
    defaultStyle.set(*app, QStringLiteral("Fusion"));
    QApplication::setWindowIcon(QIcon(Share::absolute(QStringLiteral("pixmaps/orvo.icon.png"))));
    application = app;
    // The engine and the configuration code show their dialogs through these.
    static YumIODialogsWidgetPresenter presenter;
    YumIODialogsPresenter::install(&presenter);
    Repo::MessageBoxes::install();
    program = CommandLine::baseName(argv[0]);

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
