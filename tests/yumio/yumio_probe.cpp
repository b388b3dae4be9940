// Starts an engine on the share directory of $ORVOSHARE and prints what happened, one
// fact a line, so that each start-up case runs in an interpreter of its own.

#include "RecordingPresenter.h"

#include "yumio/YumIO.h"

#include <QCoreApplication>

#include <csignal>
#include <cstdio>

namespace {

QString escaped(QString text)
{
    return text.replace('\\', "\\\\").replace('\n', "\\n");
}

void echo(const RecordingPresenter::Dialog& dialog)
{
    std::printf("dialog %s|%s|%s\n", qPrintable(dialog.kind), qPrintable(dialog.caption),
                qPrintable(escaped(dialog.text)));
}

} // namespace

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    std::signal(SIGINT, SIG_DFL);
    RecordingPresenter presenter;
    presenter.echo = echo;
    YumIODialogsPresenter::install(&presenter);

    auto* engine = new YumIO;
    engine->setup(nullptr, nullptr, nullptr);
    const bool ok = engine->initialize();
    std::printf("initialize %d\n", ok ? 1 : 0);
    if (ok) {
        std::printf("version %s %lu\n", qPrintable(engine->yumVersionStr()), engine->yumVersion());
        std::printf("features distribGroups=%d transTest=%d pickledCache=%d sqliteCache=%d\n",
                    engine->hasDistribGroups(), engine->hasTransTest(), engine->hasPickledCache(),
                    engine->hasSqliteCache());
        std::printf("probes sqlite=%d presto=%d multi=%d\n", engine->usesSqlite(), engine->usesPresto(),
                    engine->hasMultiProgress());
        std::printf("basearch %s\n", qPrintable(engine->getYumVar("basearch")));
    }
    Log::EntryList& list = engine->logList();
    list.lock();
    for (const Log::Entry& entry : list)
        std::printf("log %d %u %s\n", int(entry.kind), entry.level, qPrintable(entry.text));
    list.unlock();
    std::fflush(stdout);
    delete engine;
    YumIODialogsPresenter::install(nullptr);
    return 0;
}
