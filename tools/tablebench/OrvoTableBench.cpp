// Times the package table on a made-up catalogue of 70,000 rows (or the count given as
// the first argument), or with --collect on the catalogue collected from $ORVOROOT: the
// real model, proxy and view, with the filter, state, duplicate and sort changes a user
// makes.  Prints the median of several runs of each.
//
//   orvo-table-bench [rows | --collect] [runs]

#include "SyntheticCatalogue.h"

#include "packagetable/PackageTableModel.h"
#include "packagetable/PackageTableSortFilterProxyModel.h"
#include "packagetable/PackageTableView.h"
#include "yumio/YumIO.h"

#include <QApplication>
#include <QElapsedTimer>

#include <algorithm>
#include <cstdio>
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
    if (collect)
        yumIO.clearEntriesBeforeQuit();
    return 0;
}
