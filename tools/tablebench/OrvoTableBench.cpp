// Times the package table on a made-up catalogue of 70,000 rows (or the count given as
// the first argument), or with --collect on the catalogue collected from $ORVOROOT: the
// real model, proxy and view, with the filter, state, duplicate and sort changes a user
// makes.  Prints the median of several runs of each.
//
//   orvo-table-bench [rows | --collect] [runs]
//
// With --collect it also loads the extra data, builds the search index (time, its size
// and the resident memory after it) and times searches through it: until the listing is
// complete, and the longest the graphical thread went without serving a 5 ms timer.

#include "SyntheticCatalogue.h"

#include "packagetable/PackageTableModel.h"
#include "packagetable/PackageTableSortFilterProxyModel.h"
#include "packagetable/PackageTableView.h"
#include "yumio/YumIO.h"
#include "yumio/YumIOSearchIndex.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QFile>
#include <QTimer>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <functional>
#include <vector>

namespace {

int runs = 7;

// Milliseconds of one step: the change, the proxy's new mapping and a paint of the view.
double timed(QWidget& view, PackageTable::SortFilterProxyModel& proxy,
             const std::function<void()>& step)
{
    QElapsedTimer timer;
    timer.start();
    step();
    proxy.rowCount();
    view.repaint();
    QCoreApplication::processEvents();
    return double(timer.nsecsElapsed()) / 1e6;
}

void report(const char* what, std::vector<double> times, int listed)
{
    std::sort(times.begin(), times.end());
    std::printf("%-44s median %8.1f ms  (min %7.1f, max %7.1f; %d rows listed)\n", what,
                times[times.size() / 2], times.front(), times.back(), listed);
    std::fflush(stdout);
}

void measure(const char* what, QWidget& view, PackageTable::SortFilterProxyModel& proxy,
             const std::function<void()>& prepare, const std::function<void()>& step)
{
    std::vector<double> times;
    for (int run = 0; run < runs; ++run) {
        prepare();
        proxy.rowCount();
        QCoreApplication::processEvents();
        times.push_back(timed(view, proxy, step));
    }
    report(what, times, proxy.rowCount());
}

// A line of /proc/self/status in kilobytes ("VmRSS").
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

// One search: milliseconds until the listing is complete, and the longest gap between
// two ticks of a 5 ms timer meanwhile.
std::pair<double, double> searchOnce(QWidget& view, PackageTable::SortFilterProxyModel& proxy, const char* text)
{
    QElapsedTimer clock;
    QTimer ticker;
    ticker.setInterval(5);
    qint64 lastTick = 0;
    qint64 longest = 0;
    QObject::connect(&ticker, &QTimer::timeout, [&] {
        const qint64 now = clock.nsecsElapsed();
        longest = qMax(longest, now - lastTick);
        lastTick = now;
    });
    QEventLoop loop;
    QObject::connect(&proxy, &PackageTable::SortFilterProxyModel::searchFinished, &loop, &QEventLoop::quit);
    clock.start();
    ticker.start();
    proxy.setFilterRegExp(QString::fromLatin1(text));
    if (proxy.searching())
        loop.exec();
    proxy.rowCount();
    view.repaint();
    const qint64 done = clock.nsecsElapsed();
    longest = qMax(longest, done - lastTick);
    return {double(done) / 1e6, double(longest) / 1e6};
}

} // namespace

int main(int argc, char** argv)
{
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
    const bool collect = argc > 1 && QByteArray(argv[1]) == "--collect";
    const int rows = argc > 1 && !collect ? QByteArray(argv[1]).toInt() : 70000;
    if (argc > 2)
        runs = qMax(1, QByteArray(argv[2]).toInt());

    YumIO yumIO;
    if (collect) {
        yumIO.setup(nullptr, nullptr, nullptr);
        if (!yumIO.initialize() || !yumIO.collect({})) {
            std::fprintf(stderr, "orvo-table-bench: cannot collect the catalogue of $ORVOROOT\n");
            return 1;
        }
    } else {
        SyntheticCatalogue::fill(yumIO, rows);
    }
    PackageTable::Model model(&yumIO, nullptr);
    PackageTable::SortFilterProxyModel proxy(PackageTable::All, true, false, &yumIO, nullptr);
    proxy.setSourceModel(&model);
    PackageTable::View view(&model, &proxy, nullptr);
    view.resize(1200, 800);
    view.show();
    proxy.setFilterRegExp(QStringLiteral(".*"));
    QCoreApplication::processEvents();
    std::printf("catalogue: %d rows%s, state filter View All, groups excluded; %d runs each\n",
                yumIO.count(), collect ? " collected from $ORVOROOT" : " made up", runs);

    auto expression = [&](const char* text) {
        return [&proxy, text] { proxy.setFilterRegExp(QString::fromLatin1(text)); };
    };
    measure("first filter after a model reset (\"lib\")", view, proxy,
            [&] { proxy.setFilterRegExp(QStringLiteral(".*")); model.reset(); },
            expression("lib"));
    measure("expression \".*\" to \"lib\"", view, proxy, expression(".*"), expression("lib"));
    measure("expression \"lib\" to \"^py.*-devel\"", view, proxy, expression("lib"),
            expression("^py.*-devel"));
    measure("expression \"^py.*-devel\" to \".*\"", view, proxy, expression("^py.*-devel"),
            expression(".*"));
    proxy.setFilterRegExp(QStringLiteral(".*"));
    measure("state View All to View Updatable", view, proxy,
            [&] { proxy.setStateFilter(PackageTable::All); },
            [&] { proxy.setStateFilter(PackageTable::Updatable); });
    measure("state View Updatable to View All", view, proxy,
            [&] { proxy.setStateFilter(PackageTable::Updatable); },
            [&] { proxy.setStateFilter(PackageTable::All); });
    measure("duplicates excluded", view, proxy, [&] { proxy.setDupsFilter(true); },
            [&] { proxy.setDupsFilter(false); });
    measure("duplicates included", view, proxy, [&] { proxy.setDupsFilter(false); },
            [&] { proxy.setDupsFilter(true); });
    const struct {
        const char* what;
        int column;
    } sorts[] = {{"sort by Name", PackageTable::Model::NameColumn},
                 {"sort by Size", PackageTable::Model::SizeColumn},
                 {"sort by Kind", PackageTable::Model::KindColumn},
                 {"sort by Version", PackageTable::Model::VersionColumn}};
    for (const auto& sort : sorts) {
        measure(sort.what, view, proxy,
                [&] { view.sortByColumn(sort.column == PackageTable::Model::ActionColumn
                                            ? PackageTable::Model::StateColumn
                                            : PackageTable::Model::ActionColumn); },
                [&] { view.sortByColumn(sort.column); });
    }
    measure("paint of the listed rows", view, proxy, [] {}, [] {});
    runs = qMin(runs, 3);
    measure("resize columns to every row", view, proxy, [] {},
            [&] { view.resizeColumnsToContents(); });
    if (collect) {
        QElapsedTimer step;
        step.start();
        if (!yumIO.collectFileLists() || !yumIO.collectOtherData()) {
            std::fprintf(stderr, "orvo-table-bench: cannot load the extra data\n");
            return 1;
        }
        const double extra = double(step.restart());
        yumIO.buildSearchIndex();
        const double built = double(step.elapsed());
        const auto index = yumIO.searchIndex();
        std::printf("%-44s %8.0f ms (extra data %.0f ms before); index %.1f MB; resident %.0f MB\n",
                    "search index built", built, extra, index ? double(index->memory()) / 1048576 : 0.0,
                    double(statusKb("VmRSS")) / 1024);
        proxy.setFilterRegExp(QStringLiteral(".*"));
        proxy.setMode(PackageTable::Search);
        for (const char* text : {"e", "/usr/share/no/such/file", "system network", "^py.*-devel", "lib", ".*"}) {
            std::vector<double> complete;
            std::vector<double> stalls;
            for (int run = 0; run < runs; ++run) {
                proxy.setFilterRegExp(QStringLiteral(".*"));
                QCoreApplication::processEvents();
                const auto [ms, stall] = searchOnce(view, proxy, text);
                complete.push_back(ms);
                stalls.push_back(stall);
            }
            std::sort(complete.begin(), complete.end());
            std::sort(stalls.begin(), stalls.end());
            std::printf("search \"%s\"%*s complete median %7.1f ms, longest stall median %5.1f ms (max %5.1f); %d rows\n",
                        text, int(qMax<size_t>(1, 34 - std::strlen(text))), "", complete[complete.size() / 2],
                        stalls[stalls.size() / 2], stalls.back(), proxy.rowCount());
            std::fflush(stdout);
        }
        yumIO.clearEntriesBeforeQuit();
    }
    return 0;
}
