// The package table: model, filtering and sorting proxy, view and menus, on small made-up
// catalogues, on a large one, and on the catalogue collected from the sandbox system.

#include "SandboxRoot.h"
#include "RecordingPresenter.h"
#include "SyntheticCatalogue.h"

#include "packagetable/PackageTableActionContextMenu.h"
#include "packagetable/PackageTableModel.h"
#include "packagetable/PackageTableSortFilterProxyModel.h"
#include "packagetable/PackageTableView.h"
#include "widgets/Colors.h"
#include "widgets/HItemDelegate.h"
#include "widgets/HTableView.h"
#include "yumio/PackageEntry.h"
#include "yumio/YumIO.h"

#include <QAbstractItemModelTester>
#include <QAction>
#include <QHeaderView>
#include <QItemSelectionModel>
#include <QProcess>
#include <QTemporaryDir>
#include <QtTest>

#include <csignal>
#include <memory>

using PackageTable::Model;
using PackageTable::SortFilterProxyModel;

namespace {

const qint64 GiB = qint64(1) << 30;

// One made-up entry; state letters: o out of date, a available, i installed.
Package::Entry* entry(char state, const QString& name, const QString& version,
                      qint64 size = 1000, Package::Kind kind = Package::Ordinary)
{
    auto* e = new Package::Entry;
    e->action = Package::None;
    e->state = state == 'o' ? Package::AvailableForUpdate
        : state == 'a'      ? Package::AvailableForInstallation
                            : Package::Installed;
    e->kind = kind;
    e->name = name;
    e->verRel = version;
    e->repo = state == 'i' ? QStringLiteral("installed") : QStringLiteral("base");
    e->arch = QStringLiteral("x86_64");
    e->size = size;
    e->sizeText = YumIO::bytesFormat(quint64(size));
    e->buildTimeText = QStringLiteral("2025-01-01 12:00");
    return e;
}

// A catalogue of a few rows behind a model and proxy, never initialised.
class Table final
{
public:
    Table()
    {
        Package::EntryList& rows = yumIO.catalogue();
        rows << entry('o', "pear", "1.1-1");                     // 0: chain of one
        rows.last()->next = entry('i', "pear", "1.0-1");
        rows << entry('o', "kettle", "3.0-1");                   // 1: chain of two
        rows.last()->next = entry('i', "kettle", "2.0-1");
        rows.last()->next->next = entry('i', "kettle", "1.0-1");
        rows << entry('a', "lime", "2.0-1", 3 * GiB);            // 2: wraps below zero
        rows << entry('a', "lime", "2.0-1");                     // 3: the i686 copy
        rows.last()->arch = "i686";
        rows.last()->duplicate = true;
        rows << entry('i', "melon", "5.0-1");                    // 4: chain of one
        rows.last()->next = entry('i', "melon", "4.0-1");
        rows << entry('i', "plum", "1.0-1", 10);                 // 5
        rows << entry('a', "Orchard", "", 0, Package::Group);    // 6
        rows << entry('a', "breakfast", "1.0-1", 0, Package::Suite); // 7
        model.reset();
        proxy.setSourceModel(&model);
        proxy.setFilterRegExp(".*");
    }

    QStringList listed(SortFilterProxyModel& p) const
    {
        QStringList names;
        for (int row = 0; row < p.rowCount(); ++row) {
            const auto* e = p.index(row, Model::NameColumn).data(Qt::UserRole).value<Package::Entry*>();
            names << e->name + (e->arch == "i686" ? ".i686" : "");
        }
        return names;
    }
    QStringList listed() { return listed(proxy); }

    YumIO yumIO;
    Model model{&yumIO, nullptr};
    SortFilterProxyModel proxy{PackageTable::All, true, true, &yumIO, nullptr};
};

// Shows the package model as any other table, so that the proxy reads it through variants.
class Forwarding final : public HAbstractTableModel
{
public:
    explicit Forwarding(Model* model) : model_(model) {}
    int rowCount(const QModelIndex& parent = {}) const override { return model_->rowCount(parent); }
    int columnCount(const QModelIndex& parent = {}) const override { return model_->columnCount(parent); }
    QVariant data(const QModelIndex& index, int role) const override
    {
        return model_->index(index.row(), index.column()).data(role);
    }

private:
    Model* model_;
};

// Measures a column cell by cell, as the size hint of a column is defined.
class MeasuringView final : public HTableView
{
public:
    MeasuringView() : HTableView(QStyleOptionViewItem::Left, 10, 10, nullptr) {}
    int everyCell(int column) const
    {
        QStyleOptionViewItem option;
        initViewItemOption(&option);
        option.features &= ~QStyleOptionViewItem::WrapText;
        int widest = 0;
        for (int row = 0; row < model()->rowCount(); ++row) {
            const QModelIndex index = model()->index(row, column);
            widest = qMax(widest, itemDelegateForIndex(index)->sizeHint(option, index).width());
        }
        return showGrid() ? widest + 1 : widest;
    }
};

// Answers search-mode fields from a table, counting the fields asked for.
class CountingProxy final : public SortFilterProxyModel
{
public:
    CountingProxy(YumIO* yumIO, const QHash<int, QString>& fields)
        : SortFilterProxyModel(PackageTable::All, true, true, yumIO, nullptr), fields_(fields)
    {
    }
    mutable int asked = 0;

protected:
    QStringList searchField(const Package::Entry&, int field) const override
    {
        ++asked;
        return {fields_.value(field)};
    }

private:
    QHash<int, QString> fields_;
};

} // namespace

class TestPackageTable final : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { std::signal(SIGINT, SIG_DFL); }

    void modelTexts_data()
    {
        QTest::addColumn<int>("row");
        QTest::addColumn<QString>("version");
        QTest::addColumn<QString>("versionTip");
        QTest::newRow("update of one installed version") << 0 << "1.1-1" << "Available: 1.1-1\nInstalled: 1.0-1";
        QTest::newRow("update of two installed versions") << 1 << "3.0-1 *"
                                                          << "Available: 3.0-1\nInstalled: 2.0-1\nInstalled: 1.0-1";
        QTest::newRow("available alone") << 2 << "2.0-1" << "Available: 2.0-1";
        QTest::newRow("installed with a second version") << 4 << "5.0-1 *" << "Installed: 5.0-1\nInstalled: 4.0-1";
    }
    void modelTexts()
    {
        QFETCH(int, row);
        QFETCH(QString, version);
        QFETCH(QString, versionTip);
        Table t;
        QCOMPARE(t.model.index(row, Model::VersionColumn).data().toString(), version);
        QCOMPARE(t.model.index(row, Model::VersionColumn).data(Qt::ToolTipRole).toString(), versionTip);
    }

    void modelRolesAndBounds()
    {
        Table t;
        QAbstractItemModelTester tester(&t.model, QAbstractItemModelTester::FailureReportingMode::QtTest);
        // A row at or beyond the count (here: while the catalogue is being cleared) gives
        // nothing and takes no action.
        const QModelIndex beyond = t.model.index(2, 0);
        t.yumIO.setClearing(true);
        for (int role : {Qt::DisplayRole, Qt::DecorationRole, Qt::ToolTipRole, Qt::UserRole})
            QVERIFY(!t.model.data(beyond, role).isValid());
        t.model.setAction(beyond, Package::Install);
        t.model.toggleAction(beyond);
        t.yumIO.setClearing(false);
        QCOMPARE(t.yumIO.catalogue().at(2)->action, Package::None);
        QVERIFY(!t.model.data(t.model.index(0, 0), Qt::UserRole + 1).isValid());
        // An available package has no state icon, but a state tip.
        QVERIFY(t.model.index(2, Model::StateColumn).data(Qt::DecorationRole).value<QIcon>().isNull());
        QCOMPARE(t.model.index(2, Model::StateColumn).data(Qt::ToolTipRole).toString(),
                 QString("Package is available for installation"));
        QCOMPARE(t.model.index(2, Model::SizeColumn).data(Qt::UserRole).toULongLong(), quint64(3 * GiB));
        QCOMPARE(t.model.index(2, Model::NameColumn).data(Qt::UserRole).value<Package::Entry*>(),
                 t.yumIO.catalogue().at(2));
        // State colours, normal and disabled; installed rows keep the view's own.
        const auto colour = [&](int row) { return t.model.index(row, Model::NameColumn).data(Qt::ForegroundRole); };
        QCOMPARE(colour(0).value<QColor>(), QColor(Colors::error()));
        QCOMPARE(colour(2).value<QColor>(), QColor(Colors::minor()));
        QVERIFY(!colour(5).isValid());
        QVERIFY(!t.model.index(0, Model::StateColumn).data(Qt::ForegroundRole).isValid());
        t.model.setEnabled(false);
        QCOMPARE(colour(0).value<QColor>(), QColor(Colors::errorDisabled()));
        QCOMPARE(colour(2).value<QColor>(), QColor(Colors::minorDisabled()));
    }

    void toggleAction_data()
    {
        QTest::addColumn<int>("row");
        QTest::addColumn<int>("start");
        QTest::addColumn<QList<int>>("cycle");
        QTest::newRow("out of date") << 0 << int(Package::None)
                                     << QList<int>{Package::Update, Package::Remove, Package::None};
        QTest::newRow("available") << 2 << int(Package::None) << QList<int>{Package::Install, Package::None};
        QTest::newRow("installed") << 5 << int(Package::None) << QList<int>{Package::Remove, Package::None};
        QTest::newRow("install set on installed") << 5 << int(Package::Install) << QList<int>{Package::None};
    }
    void toggleAction()
    {
        QFETCH(int, row);
        QFETCH(int, start);
        QFETCH(QList<int>, cycle);
        Table t;
        const QModelIndex index = t.model.index(row, Model::NameColumn);
        t.model.setAction(index, Package::Action(start));
        QSignalSpy changed(&t.model, &QAbstractItemModel::dataChanged);
        for (int expected : cycle) {
            t.model.toggleAction(index);
            QCOMPARE(int(t.yumIO.catalogue().at(row)->action), expected);
        }
        // Only the action cell is reported changed.
        QCOMPARE(changed.count(), cycle.size());
        QCOMPARE(changed.first().at(0).value<QModelIndex>(), t.model.index(row, 0));
        QCOMPARE(changed.first().at(1).value<QModelIndex>(), t.model.index(row, 0));
    }

    void filterSettings_data()
    {
        QTest::addColumn<int>("state");
        QTest::addColumn<bool>("dups");
        QTest::addColumn<bool>("groups");
        QTest::addColumn<QString>("expression");
        QTest::addColumn<QStringList>("listed");
        const QStringList all{"Orchard", "breakfast", "kettle", "lime", "lime.i686", "melon", "pear", "plum"};
        QTest::newRow("all") << int(PackageTable::All) << true << true << ".*" << all;
        QTest::newRow("updatable") << int(PackageTable::Updatable) << true << true << "" << QStringList{"kettle", "pear"};
        QTest::newRow("installable, groups out: suites stay")
            << int(PackageTable::Installable) << true << false << ".*"
            << QStringList{"breakfast", "lime", "lime.i686"};
        QTest::newRow("removable") << int(PackageTable::Removable) << true << true << ""
                                   << QStringList{"kettle", "melon", "pear", "plum"};
        QTest::newRow("duplicates out") << int(PackageTable::Installable) << false << true << ""
                                        << QStringList{"Orchard", "breakfast", "lime"};
        QTest::newRow(".* stripped twice at the start, once at the end")
            << int(PackageTable::All) << true << true << ".*.*ime.*" << QStringList{"lime", "lime.i686"};
        QTest::newRow("expression that does not compile lists everything")
            << int(PackageTable::All) << true << true << "(pea" << all;
        QTest::newRow("case-sensitive") << int(PackageTable::All) << true << true << "Pear" << QStringList{};
        QTest::newRow("spans name and version") << int(PackageTable::All) << true << true << "pear 1\\.1"
                                                << QStringList{"pear"};
        QTest::newRow("version marker is part of the text")
            << int(PackageTable::All) << true << true << "-1 \\* " << QStringList{"kettle", "melon"};
        QTest::newRow("size text") << int(PackageTable::All) << true << true << "^lime [^ ]+ base x86_64 3(\\.0)? ?Gb "
                                   << QStringList{"lime"};
    }
    void filterSettings()
    {
        QFETCH(int, state);
        QFETCH(bool, dups);
        QFETCH(bool, groups);
        QFETCH(QString, expression);
        QFETCH(QStringList, listed);
        Table t;
        t.proxy.setStateFilter(PackageTable::StateFilter(state));
        t.proxy.setDupsFilter(dups);
        t.proxy.setGroupsFilter(groups);
        t.proxy.setFilterRegExp(expression);
        QStringList shown = t.listed();
        shown.sort();
        QCOMPARE(shown, listed);
        // The cache holds an answer for every row once the expression is set.
        QCOMPARE(t.proxy.cachedRows(), t.model.rowCount());
    }

    void searchShortCircuits_data()
    {
        QTest::addColumn<QString>("expression");
        QTest::addColumn<bool>("accepted");
        QTest::addColumn<int>("asked");
        // Fields in search order: 0 name ... 21 files, 22 change log.
        QTest::newRow("name") << "^pe" << true << 1;
        QTest::newRow("files, after every earlier field") << "/usr/bin/pear" << true << 22;
        QTest::newRow("nowhere") << "nothing-like-it" << false << 23;
    }
    void searchShortCircuits()
    {
        QFETCH(QString, expression);
        QFETCH(bool, accepted);
        QFETCH(int, asked);
        Table t;
        CountingProxy proxy(&t.yumIO, {{0, "pear"}, {21, "/usr/bin/pear"}, {22, "- first release"}});
        proxy.setSourceModel(&t.model);
        proxy.setMode(PackageTable::Search);
        proxy.setFilterRegExp(expression);
        proxy.asked = 0;
        proxy.clearCache();
        QCOMPARE(proxy.acceptRow(t.yumIO.catalogue().at(0), 0, QModelIndex()), accepted);
        QCOMPARE(proxy.asked, asked);
        // Filtering asks each row once per setting: the cache answers the rest.
        proxy.asked = 0;
        proxy.setFilterRegExp(expression + "|x");
        const int once = proxy.asked;
        proxy.rowCount();
        proxy.sort(Model::SizeColumn);
        QCOMPARE(proxy.asked, once);
    }

    void sorting_data()
    {
        QTest::addColumn<int>("column");
        QTest::addColumn<QStringList>("order");
        // 3 GiB wraps to a negative 32-bit value and sorts before small packages.
        QTest::newRow("size") << int(Model::SizeColumn)
                              << QStringList{"lime", "Orchard", "breakfast", "plum", "kettle", "lime.i686",
                                             "melon", "pear"};
        QTest::newRow("equal actions by name") << int(Model::ActionColumn)
                                               << QStringList{"plum", "Orchard", "breakfast", "kettle", "lime",
                                                              "lime.i686", "melon", "pear"};
        QTest::newRow("version text") << int(Model::VersionColumn)
                                      << QStringList{"Orchard", "breakfast", "plum", "pear", "lime",
                                                     "lime.i686", "kettle", "melon"};
        QTest::newRow("kind, then name") << int(Model::KindColumn)
                                         << QStringList{"breakfast", "Orchard", "kettle", "lime", "lime.i686",
                                                        "melon", "pear", "plum"};
    }
    void sorting()
    {
        QFETCH(int, column);
        QFETCH(QStringList, order);
        Table t;
        t.model.setAction(t.model.index(5, 0), Package::Remove);
        t.proxy.sort(column);
        QCOMPARE(t.listed(), order);
        // The same order through the variants, as the proxy reads any other source.
        Forwarding forwarding(&t.model);
        SortFilterProxyModel plain(PackageTable::All, true, true, &t.yumIO, nullptr);
        plain.setSourceModel(&forwarding);
        plain.setFilterRegExp(".*");
        plain.sort(column);
        QCOMPARE(t.listed(plain), order);
    }

    void cachesFollowChanges()
    {
        // A long-lived proxy must list what a fresh one lists after every change.
        YumIO yumIO;
        SyntheticCatalogue::fill(yumIO, 3000);
        Model model(&yumIO, nullptr);
        SortFilterProxyModel proxy(PackageTable::Updatable, true, false, &yumIO, nullptr);
        proxy.setSourceModel(&model);
        QAbstractItemModelTester tester(&proxy, QAbstractItemModelTester::FailureReportingMode::QtTest);
        proxy.sort(Model::NameColumn);
        proxy.setFilterRegExp(".*");
        const auto same = [&](const char* step) {
            SortFilterProxyModel fresh(proxy.stateFilter(), proxy.dupsFilter(), proxy.groupsFilter(), &yumIO, nullptr);
            fresh.setSourceModel(&model);
            fresh.sort(proxy.sortColumn(), proxy.sortOrder());
            fresh.setMode(proxy.mode());
            fresh.setFilterRegExp(proxy.filterRegularExpression().pattern());
            QVERIFY2(proxy.rowCount() == fresh.rowCount(), step);
            for (int row = 0; row < proxy.rowCount(); ++row)
                QVERIFY2(proxy.mapToSource(proxy.index(row, 0)).row() == fresh.mapToSource(fresh.index(row, 0)).row(),
                         step);
        };
        proxy.setFilterRegExp("lib");
        same("expression");
        proxy.setStateFilter(PackageTable::All);
        same("state");
        proxy.setDupsFilter(false);
        same("duplicates");
        proxy.setGroupsFilter(true);
        same("groups");
        proxy.sort(Model::ActionColumn);
        const QModelIndex last = proxy.mapToSource(proxy.index(proxy.rowCount() - 1, 0));
        model.toggleAction(last);
        QCOMPARE(proxy.mapToSource(proxy.index(0, 0)), last); // the marked row moved first
        same("action");
        // A new catalogue: names, texts and keys change under the same generation of
        // widgets.
        proxy.sort(Model::NameColumn);
        for (Package::Entry* e : yumIO.catalogue())
            e->name = QStringLiteral("lib") + e->name.right(3) + e->verRel;
        yumIO.catalogue().swapItemsAt(0, 1);
        model.reset();
        same("reset");
        proxy.setFilterRegExp("lib[a-f]");
        same("expression after reset");
    }

    void actionMenu_data()
    {
        QTest::addColumn<int>("action");
        QTest::addColumn<QList<int>>("after");
        // Rows 2 available, 5 installed, 0 out of date, all selected.
        QTest::newRow("update") << int(Package::Update) << QList<int>{Package::None, Package::None, Package::Update};
        QTest::newRow("install") << int(Package::Install) << QList<int>{Package::Install, Package::None, Package::None};
        QTest::newRow("remove") << int(Package::Remove) << QList<int>{Package::None, Package::Remove, Package::Remove};
    }
    void actionMenu()
    {
        QFETCH(int, action);
        QFETCH(QList<int>, after);
        Table t;
        PackageTable::View view(&t.model, &t.proxy, nullptr);
        const QList<int> rows{2, 5, 0};
        for (int row : rows)
            view.selectionModel()->select(t.proxy.mapFromSource(t.model.index(row, 0)),
                                          QItemSelectionModel::Select | QItemSelectionModel::Rows);
        PackageTable::ActionContextMenu menu(&t.model, &view);
        menu.prepare(t.model.index(2, 0));
        QVERIFY(menu.updateAction()->isEnabled() && menu.installAction()->isEnabled()
                && menu.removeAction()->isEnabled() && menu.noneAction()->isEnabled());
        if (action == Package::Update)
            menu.handleUpdateAction();
        else if (action == Package::Install)
            menu.handleInstallAction();
        else
            menu.handleRemoveAction();
        for (int i = 0; i < rows.size(); ++i)
            QCOMPARE(int(t.yumIO.catalogue().at(rows.at(i))->action), after.at(i));
        // One available row alone offers neither Update nor Remove.
        view.clearSelection();
        menu.prepare(t.model.index(2, 0));
        QVERIFY(!menu.updateAction()->isEnabled() && menu.installAction()->isEnabled()
                && !menu.removeAction()->isEnabled());
    }

    void viewClicksAndResize()
    {
        Table t;
        PackageTable::View view(&t.model, &t.proxy, nullptr);
        view.resize(900, 400);
        view.show();
        QVERIFY(QTest::qWaitForWindowExposed(&view));
        QSignalSpy state(&view, &PackageTable::View::stateChanged);
        const auto click = [&](int sourceRow, int column) {
            const QModelIndex index = t.proxy.mapFromSource(t.model.index(sourceRow, column));
            QTest::mouseClick(view.viewport(), Qt::LeftButton, {}, view.visualRect(index).center());
        };
        click(2, Model::StateColumn);
        QCOMPARE(t.yumIO.catalogue().at(2)->action, Package::None);
        QCOMPARE(state.count(), 0);
        click(2, Model::ActionColumn);
        QCOMPARE(t.yumIO.catalogue().at(2)->action, Package::Install);
        QTest::qWait(QApplication::doubleClickInterval() + 50);
        click(2, Model::ActionColumn);
        QCOMPARE(t.yumIO.catalogue().at(2)->action, Package::None);
        QCOMPARE(state.count(), 2);
        QCOMPARE(state.last().at(0).toInt(), 2);

        // Column widths fit rows that the filter hides.
        t.yumIO.catalogue().at(5)->name = QString(120, QLatin1Char('w'));
        t.model.reset();
        t.proxy.setStateFilter(PackageTable::Updatable);
        view.resizeColumnsToContents();
        QVERIFY(t.proxy.getFilter());
        QVERIFY(view.columnWidth(Model::NameColumn) > view.fontMetrics().horizontalAdvance(QString(100, 'w')));
    }

    void columnWidthsMeasureEveryCell()
    {
        // Widths are measured once per distinct cell and widest text first: the result
        // must be the widest cell all the same.
        YumIO yumIO;
        SyntheticCatalogue::fill(yumIO, 2000);
        yumIO.catalogue().at(7)->name = QStringLiteral("l\u00e9gume-\u00fc\u00f1\u00ee\u00e7\u00f8d\u00e9-WWWW");
        yumIO.catalogue().at(9)->verRel = QStringLiteral("1.0-1.fc40.\u4e2d\u6587");
        Model model(&yumIO, nullptr);
        MeasuringView view;
        view.setItemDelegate(new HItemDelegate(&view));
        view.setModel(&model);
        for (int column = 0; column < model.columnCount(); ++column)
            QCOMPARE(view.sizeHintForColumn(column), view.everyCell(column));
    }

    // Last: it starts the interpreter of this process.
    void sandboxCatalogue()
    {
        QTemporaryDir root;
        QString why;
        QVERIFY2(useSandboxCopy(root.path(), why), qPrintable(why));
        RecordingPresenter presenter;
        YumIODialogsPresenter::install(&presenter);
        auto engine = std::make_unique<YumIO>();
        engine->setup(nullptr, nullptr, nullptr);
        QVERIFY(engine->initialize());
        Model model(engine.get(), nullptr);
        SortFilterProxyModel proxy(PackageTable::Updatable, true, false, engine.get(), nullptr);
        proxy.setSourceModel(&model);
        QAbstractItemModelTester modelTester(&model, QAbstractItemModelTester::FailureReportingMode::QtTest);
        QAbstractItemModelTester proxyTester(&proxy, QAbstractItemModelTester::FailureReportingMode::QtTest);
        QVERIFY(engine->collect({}));
        model.reset();
        proxy.setFilterRegExp(".*");
        QVERIFY(proxy.rowCount() > 0);
        for (int row = 0; row < proxy.rowCount(); ++row)
            QCOMPARE(proxy.index(row, Model::StateColumn).data(Qt::UserRole).toInt(), int(Package::AvailableForUpdate));
        proxy.setStateFilter(PackageTable::All);
        proxy.setFilterRegExp("pear");
        proxy.sort(Model::SizeColumn, Qt::DescendingOrder);
        QVERIFY(proxy.rowCount() >= 2);
        proxy.setGroupsFilter(true);
        proxy.setFilterRegExp(".*");
        QCOMPARE(proxy.rowCount(), model.rowCount());
        QVERIFY(engine->clear());
        model.reset();
        QVERIFY(engine->collect({}));
        model.reset();
        QCOMPARE(proxy.rowCount(), model.rowCount());
        QVERIFY2(presenter.dialogs.isEmpty(), qPrintable(presenter.dialogs.value(0).text));
        engine->clearEntriesBeforeQuit();
        model.detachEngine();
        YumIODialogsPresenter::install(nullptr);
    }
};

QTEST_MAIN(TestPackageTable)
#include "tst_packagetable.moc"
