#include "SandboxRoot.h"

#include "yumio/YumIO.h"
#include "yumio/YumIODialogsPresenter.h"

#include <QFile>
#include <QProcess>
#include <QString>

#include <csignal>

bool useSandboxCopy(const QString& dir, QString& why)
{
    const QString sandbox = qEnvironmentVariable("ORVO_SANDBOX");
    if (!QFile::exists(sandbox + "/root/etc/yum.conf")) {
        why = QStringLiteral("no sandbox system in '%1'").arg(sandbox);
        return false;
    }
    if (QProcess::execute(QStringLiteral("cp"), {QStringLiteral("-a"), sandbox + "/root/.", dir}) != 0) {
        why = QStringLiteral("cannot copy the sandbox system into '%1'").arg(dir);
        return false;
    }
    qputenv("ORVOROOT", dir.toLocal8Bit());
    return true;
}

YumIO* startSandboxEngine(const QString& dir, YumIODialogsPresenter* presenter, QString& why)
{
    if (!useSandboxCopy(dir, why))
        return nullptr;
    // The interpreter's handler would turn a test runner's interrupt into a hang.
    std::signal(SIGINT, SIG_DFL);
    YumIODialogsPresenter::install(presenter);
    auto* engine = new YumIO;
    engine->setup(nullptr, nullptr, nullptr);
    if (!engine->initialize() || !engine->collect({})) {
        why = QStringLiteral("the engine did not start on the sandbox system");
        stopSandboxEngine(engine);
        return nullptr;
    }
    return engine;
}

void stopSandboxEngine(YumIO* engine)
{
    if (engine)
        engine->clearEntriesBeforeQuit();
    delete engine;
    YumIODialogsPresenter::install(nullptr);
}
