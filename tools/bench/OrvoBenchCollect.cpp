// Times one collection of the catalogue of the system at $ORVOROOT, as the program does
// it, and prints the figures as "key=value" lines for scripts/bench:
//
//   orvo-bench-collect [--extra]
//
// startup_ms (interpreter and script), collect_ms, total_ms (from the start of the
// process to the collected catalogue), rows, entries (rows and their chains), rss_kb and
// peak_rss_kb after collection; advisories (read with the collection), fixed_updates (update
// rows with an advisory) and advisories_ms (the collection's advisory step, run once more
// alone); with --extra also filelists_ms and otherdata_ms (loading
// the extra data), index_ms, index_kb (the search index) and index_rss_kb (resident
// memory after it).  Nothing is printed before the figures: the program's own output
// would not be timed fairly against a quiet package manager.

#define PY_SSIZE_T_CLEAN
#include <Python.h>

#include "app/Globals.h"
#include "python/PyRef.h"
#include "yumio/AdvisoryStore.h"
#include "yumio/PackageEntry.h"
#include "yumio/YumIO.h"
#include "yumio/YumIOSearchIndex.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QHash>

#include <csignal>
#include <cstdio>
#include <cstring>

namespace {

// A line of /proc/self/status in kilobytes ("VmRSS", "VmHWM").
long statusKb(const char* key)
{
    QFile status(QStringLiteral("/proc/self/status"));
    if (!status.open(QIODevice::ReadOnly))
        return -1;
    const QByteArray prefix = QByteArray(key) + ':';
    for (const QByteArray& line : status.readAll().split('\n'))
        if (line.startsWith(prefix))
            return line.mid(prefix.size()).trimmed().split(' ').value(0).toLong();
    return -1;
}

} // namespace

int main(int argc, char** argv)
{
    QElapsedTimer clock;
    clock.start();
    QCoreApplication app(argc, argv);
    program = "orvo-bench-collect";
    const bool extra = argc > 1 && std::strcmp(argv[1], "--extra") == 0;
    std::signal(SIGINT, SIG_DFL);
    auto* engine = new YumIO;
    engine->setup(nullptr, nullptr, nullptr);
    if (!engine->initialize())
        return 1;
    const qint64 started = clock.elapsed();
    if (!engine->collect({}))
        return 1;
    const qint64 collected = clock.elapsed();
    int entries = 0;
    for (const Package::Entry* entry : engine->catalogue())
        for (const Package::Entry* e = entry; e; e = e->next)
            ++entries;
    std::printf("startup_ms=%lld\ncollect_ms=%lld\ntotal_ms=%lld\nrows=%d\nentries=%d\nrss_kb=%ld\npeak_rss_kb=%ld\n",
                started, collected - started, collected, engine->count(), entries, statusKb("VmRSS"),
                statusKb("VmHWM"));
    {
        // What the advisory step of the collection costs: the same script call again.
        int fixed = 0;
        Python::PyGILStateWrapper lock(true);
        PyRef updates = PyRef::steal(PyList_New(0));
        for (const Package::Entry* entry : engine->catalogue()) {
            if (entry->state != Package::AvailableForUpdate || entry->kind == Package::Group)
                continue;
            PyList_Append(updates.get(), entry->yumObject.get());
            fixed += engine->advisories().fixes(entry).isEmpty() ? 0 : 1;
        }
        QElapsedTimer step;
        step.start();
        PyRef result = engine->pyMethodCall(engine->scriptObject(), "collectAdvisories", "(O)", updates.get());
        std::printf("advisories=%d\nfixed_updates=%d\nadvisories_ms=%lld\n", engine->advisories().count(), fixed,
                    result ? step.elapsed() : -1LL);
    }
    if (extra) {
        QElapsedTimer step;
        step.start();
        if (!engine->collectFileLists())
            return 1;
        std::printf("filelists_ms=%lld\n", step.restart());
        if (!engine->collectOtherData())
            return 1;
        std::printf("otherdata_ms=%lld\nextra_peak_rss_kb=%ld\n", step.restart(), statusKb("VmHWM"));
        if (!engine->buildSearchIndex())
            return 1;
        std::printf("index_ms=%lld\nindex_kb=%llu\nindex_rss_kb=%ld\n", step.elapsed(),
                    static_cast<unsigned long long>(engine->searchIndex()->memory() / 1024), statusKb("VmRSS"));
    }
    std::fflush(stdout);
    engine->clearEntriesBeforeQuit();
    delete engine;
    return 0;
}
