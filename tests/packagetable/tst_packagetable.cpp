// The package table: model, filtering and sorting proxy, view and menus, on small made-up
// catalogues, on a large one, and on the catalogue collected from the sandbox system.

#define PY_SSIZE_T_CLEAN
#include <Python.h>

#include "SandboxRoot.h"
#include "RecordingPresenter.h"
#include "SyntheticCatalogue.h"

#include "packagetable/PackageTableActionContextMenu.h"
#include "packagetable/PackageTableModel.h"
#include "packagetable/PackageTableSearchMatcher.h"
#include "packagetable/PackageTableSearchRun.h"
#include "packagetable/PackageTableSortFilterProxyModel.h"
#include "packagetable/PackageTableView.h"
#include "widgets/Colors.h"
#include "widgets/HItemDelegate.h"
#include "widgets/HTableView.h"
#include "widgets/ModalAnswer.h"
#include "yumio/PackageEntry.h"
#include "yumio/YumIO.h"
#include "yumio/YumIOSearchIndex.h"

#include <QAbstractItemModelTester>
#include <QAction>
#include <QApplication>
#include <QDialog>
#include <QDropEvent>
#include <QItemSelectionModel>
#include <QMimeData>
#include <QTemporaryDir>
#include <QtTest>

#include <csignal>
#include <memory>
#include <numeric>

using PackageTable::Model;
using PackageTable::SortFilterProxyModel;

namespace {

// One made-up entry; state letters: o out of date, a available, i installed.
Package::Entry* entry(char state, const QString& name, const QString& version,
                      qint64 size = 1000, Package::Kind kind = Package::Ordinary)
{
    auto* e = new Package::Entry;
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
        rows << entry('a', "lime", "2.0-1", qint64(3) << 30);          // 2: wraps below zero
        rows << entry('a', "lime", "2.0-1");                     // 3: the i686 copy
        rows.last()->arch = "i686";
        rows.last()->duplicate = true;
        rows << entry('i', "plum", "1.0-1", 10);                 // 4
        rows << entry('a', "Orchard", "", 0, Package::Group);    // 5
        rows << entry('a', "breakfast", "1.0-1", 0, Package::Suite); // 6
        model.reset();
        proxy.setSourceModel(&model);
        proxy.setFilterRegExp(".*");
    }

    QStringList listed(SortFilterProxyModel& p)
    {
        QStringList names;
        for (int row = 0; row < p.rowCount(); ++row) {
            const auto* e = p.index(row, Model::NameColumn).data(Qt::UserRole).value<Package::Entry*>();
            names << e->name + (e->arch == "i686" ? ".i686" : "");
        }
        return names;
    }

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

// Answers search-mode fields, counting the fields asked for. Fields in search order:
// 0 name ... 21 files, 22 change log.
class CountingProxy final : public SortFilterProxyModel
{
public:
    explicit CountingProxy(YumIO* yumIO) : SortFilterProxyModel(PackageTable::All, true, true, yumIO, nullptr) {}
    mutable int asked = 0;

protected:
    QStringList searchField(const Package::Entry&, int field) const override
    {
        ++asked;
        return {field == 0 ? "pear" : field == 21 ? "/usr/bin/pear" : ""};
    }
};

// An index of made-up entries, enough for many blocks in every field; some fields
// without items, every 97th entry a group with fewer fields.  expected gets each entry's
// fields as the index should give them back.
std::shared_ptr<YumIOSearchIndex> madeUpIndex(int entries, std::vector<std::vector<QByteArray>>& expected)
{
    expected.assign(size_t(entries), {});
    auto index = std::make_shared<YumIOSearchIndex>();
    for (int e = 0; e < entries; ++e) {
        const int fields = e % 97 == 0 ? YumIOSearchIndex::GroupFieldCount : YumIOSearchIndex::PackageFieldCount;
        std::vector<QStringList> texts(static_cast<size_t>(fields));
        for (int f = 0; f < fields; ++f) {
            if ((e + f) % 5 == 0)
                continue; // no items
            for (int i = 0; i < 1 + (e * 7 + f) % (f == 21 ? 40 : 3); ++i)
                texts[size_t(f)] << QStringLiteral("item %1 of %2.%3").arg(i).arg(e).arg(f);
        }
        if (e == 2718)
            texts[21] << QStringLiteral("/opt/only-2718/file");
        if (e == 2999)
            texts[6] << QString::fromUtf8("d\u00e9t\u00e9-2999");
        for (int f = 0; f < fields; ++f) {
            QByteArray bytes;
            for (const QString& text : texts[size_t(f)])
                bytes += text.toUtf8() + '\0';
            expected[size_t(e)].push_back(bytes);
        }
        if (!index->append(reinterpret_cast<const Package::Entry*>(quintptr(e + 1) * 8), texts))
            return nullptr;
    }
    return index->finish() ? index : nullptr;
}

} // namespace

class TestPackageTable final : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { std::signal(SIGINT, SIG_DFL); }

    void modelRolesAndBounds()
    {
        Table t;
        QAbstractItemModelTester tester(&t.model, QAbstractItemModelTester::FailureReportingMode::QtTest);
        // A row at or beyond the count (here: while the catalogue is being cleared) gives
        // nothing and takes no action.
        const QModelIndex beyond = t.model.index(2, 0);
        t.yumIO.setClearing(true);
        QVERIFY(!t.model.data(beyond, Qt::UserRole).isValid());
        t.model.setAction(beyond, Package::Install);
        t.model.toggleAction(beyond);
        t.yumIO.setClearing(false);
        QCOMPARE(t.yumIO.catalogue().at(2)->action, Package::None);
        // A chain of installed versions marks the version and lists each in the tip.
        QCOMPARE(t.model.index(1, Model::VersionColumn).data().toString(), QString("3.0-1 *"));
        QCOMPARE(t.model.index(1, Model::VersionColumn).data(Qt::ToolTipRole).toString(),
                 QString("Available: 3.0-1\nInstalled: 2.0-1\nInstalled: 1.0-1"));
        // State colours, normal and disabled; installed rows keep the view's own.
        const auto colour = [&](int row) { return t.model.index(row, Model::NameColumn).data(Qt::ForegroundRole); };
        QCOMPARE(colour(0).value<QColor>(), QColor(Colors::error()));
        t.model.setEnabled(false);
        QCOMPARE(colour(2).value<QColor>(), QColor(Colors::minorDisabled()));
    }

    void toggleAction()
    {
        // Out of date cycles through Update, Remove, None; only the action cell changes.
        Table t;
        const QModelIndex index = t.model.index(0, Model::NameColumn);
        QSignalSpy changed(&t.model, &QAbstractItemModel::dataChanged);
        for (Package::Action expected : {Package::Update, Package::Remove, Package::None}) {
            t.model.toggleAction(index);
            QCOMPARE(t.yumIO.catalogue().at(0)->action, expected);
        }
        QCOMPARE(changed.count(), 3);
        QCOMPARE(changed.first().at(1).value<QModelIndex>(), t.model.index(0, 0));
        // An Install left on an installed row toggles to None.
        t.model.setAction(t.model.index(4, 0), Package::Install);
        t.model.toggleAction(t.model.index(4, 0));
        QCOMPARE(t.yumIO.catalogue().at(4)->action, Package::None);
    }

    // Downgrade and Reinstall name themselves in the Action cell; a click on it takes
    // them back to None like any action outside the cycle, and the version goes too.
    void versionActions()
    {
        Table t;
        const QModelIndex cell = t.model.index(4, Model::ActionColumn);
        t.model.setVersionAction(cell, Package::Downgrade, "1.0-1");
        QCOMPARE(cell.data().toString(), QString("Downgrade to 1.0-1"));
        QCOMPARE(cell.data(Qt::ToolTipRole).toString(), QString("Downgrade package to 1.0-1"));
        QVERIFY(cell.data(Qt::ForegroundRole).value<QColor>().isValid());
        t.model.toggleAction(cell);
        QCOMPARE(t.yumIO.catalogue().at(4)->action, Package::None);
        QCOMPARE(t.yumIO.catalogue().at(4)->targetVerRel, QString());
        QCOMPARE(cell.data().toString(), QString());
        t.model.setAction(cell, Package::Reinstall);
        QCOMPARE(cell.data().toString(), QString("Reinstall"));
        t.model.toggleAction(cell);
        QCOMPARE(t.yumIO.catalogue().at(4)->action, Package::None);
    }

    void filterSettings_data()
    {
        QTest::addColumn<int>("state");
        QTest::addColumn<bool>("dups");
        QTest::addColumn<bool>("groups");
        QTest::addColumn<QString>("expression");
        QTest::addColumn<QStringList>("listed");
        QTest::newRow("installable, groups out: suites stay")
            << int(PackageTable::Installable) << true << false << ".*"
            << QStringList{"breakfast", "lime", "lime.i686"};
        QTest::newRow("duplicates out") << int(PackageTable::Installable) << false << true << ""
                                        << QStringList{"Orchard", "breakfast", "lime"};
        QTest::newRow(".* stripped twice at the start, once at the end")
            << int(PackageTable::All) << true << true << ".*.*ime.*" << QStringList{"lime", "lime.i686"};
        QTest::newRow("expression that does not compile lists nothing")
            << int(PackageTable::All) << true << true << "(pea" << QStringList();
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
        QStringList shown = t.listed(t.proxy);
        shown.sort();
        QCOMPARE(shown, listed);
        QCOMPARE(t.proxy.expressionError().isEmpty(), expression != "(pea");
        // The cache holds an answer for every row once the expression is set.
        QCOMPARE(t.proxy.cachedRows(), t.model.rowCount());
    }

    void searchShortCircuits_data()
    {
        QTest::addColumn<QString>("expression");
        QTest::addColumn<bool>("accepted");
        QTest::addColumn<int>("asked");
        QTest::newRow("name") << "^pe" << true << 1;
        QTest::newRow("files, after every earlier field") << "/usr/bin/pear" << true << 22;
    }
    void searchShortCircuits()
    {
        QFETCH(QString, expression);
        QFETCH(bool, accepted);
        QFETCH(int, asked);
        Table t;
        CountingProxy proxy(&t.yumIO);
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

    void matcherSkipsOnlyTextsWithoutAMatch_data()
    {
        // The text every match needs decides which items are tried at all: a wrong one
        // would lose matches.  Items are tried one by one, never across their ends.
        QTest::addColumn<QString>("pattern");
        QTest::addColumn<QString>("required");
        QTest::addColumn<QStringList>("items");
        QTest::addColumn<bool>("matches");
        QTest::newRow("plain text") << "pear" << "pear" << QStringList{"apple", "pearl"} << true;
        QTest::newRow("optional letter") << "colou?r" << "colo" << QStringList{"x", "color"} << true;
        QTest::newRow("repeated letter") << "ab*c" << "a" << QStringList{"ac"} << true;
        QTest::newRow("interval drops its atom") << "xa{0}b" << "x" << QStringList{"xb"} << true;
        QTest::newRow("optional group") << "(lib)?z+" << "z" << QStringList{"zz"} << true;
        QTest::newRow("alternatives make nothing certain") << "pear|^fig$" << "" << QStringList{"pea", "fig"} << true;
        QTest::newRow("escaped dot") << "\\.conf$" << ".conf" << QStringList{"/etc/a.conf.d", "/etc/a.conf"} << true;
        QTest::newRow("bracket with a closing bracket first") << "[]a]bc" << "bc" << QStringList{"]bc"} << true;
        QTest::newRow("class by name") << "[[:digit:]]x" << "x" << QStringList{"7x"} << true;
        QTest::newRow("multibyte letter made optional") << QString::fromUtf8("caf\u00e9?s") << "caf"
                                                       << QStringList{"cafs"} << true;
        QTest::newRow("match spans two items: none") << "ar.da" << "ar" << QStringList{"pear", "data"} << false;
        QTest::newRow("anchored, needed text in a later item") << "^lib.*devel$" << "devel"
                                                             << QStringList{"libdevel-x", "lib-devel"} << true;
        QTest::newRow("empty item matched by an empty-capable expression") << "^$" << "" << QStringList{""} << true;
        QTest::newRow("no items") << "^$" << "" << QStringList{} << false;
    }
    void matcherSkipsOnlyTextsWithoutAMatch()
    {
        QFETCH(QString, pattern);
        QFETCH(QString, required);
        QFETCH(QStringList, items);
        QFETCH(bool, matches);
        const QByteArray bytes = pattern.toUtf8();
        QCOMPARE(QString::fromUtf8(PackageTable::SearchMatcher::requiredText(bytes)), required);
        QByteArray joined;
        for (const QString& item : items)
            joined += item.toUtf8() + '\0';
        const PackageTable::SearchMatcher matcher(bytes);
        QVERIFY(matcher.valid());
        QCOMPARE(matcher.matchesAny(std::string_view(joined.constData(), size_t(joined.size()))), matches);
    }

    void searchIndexReadsBack_data()
    {
        // The needed text: present in one entry's long field only, in many entries, in
        // none, too short to pass anything over, beyond ASCII.
        QTest::addColumn<QByteArray>("needed");
        QTest::newRow("none") << QByteArray();
        QTest::newRow("one entry's file") << QByteArray("/opt/only-2718/file");
        QTest::newRow("common") << QByteArray("item");
        QTest::newRow("nowhere") << QByteArray("zz-nowhere-zz");
        QTest::newRow("two bytes") << QByteArray("zq");
        QTest::newRow("beyond ASCII") << QString::fromUtf8("\u00e9t\u00e9-2999").toUtf8();
    }
    void searchIndexReadsBack()
    {
        // Enough entries for many blocks in every field; some fields empty, some entries
        // groups with fewer fields.  Read back in order, then backwards and sparsely.
        QFETCH(QByteArray, needed);
        constexpr int entries = 3000;
        std::vector<std::vector<QByteArray>> expected;
        const std::shared_ptr<YumIOSearchIndex> built = madeUpIndex(entries, expected);
        QVERIFY(built);
        const YumIOSearchIndex& index = *built;
        QVERIFY(index.memory() < index.textBytes());
        const std::string_view need(needed.constData(), size_t(needed.size()));
        YumIOSearchIndex::Reader reader(index, need);
        std::vector<int> order(entries);
        std::iota(order.begin(), order.end(), 0);
        std::vector<int> backwards(order.rbegin(), order.rend());
        std::vector<int> sparse;
        for (int e = 0; e < entries; e += 131)
            sparse.push_back(e);
        int passedOver = 0;
        for (const std::vector<int>* pass : {&order, &backwards, &sparse}) {
            for (const int e : *pass) {
                QCOMPARE(index.fieldCountAt(e), int(expected[size_t(e)].size()));
                for (int f = 0; f < index.fieldCountAt(e); ++f) {
                    const QByteArray& want = expected[size_t(e)][size_t(f)];
                    const std::string_view got = reader.items(e, f);
                    // Texts holding the needed text are never passed over.
                    if (got.empty() && !want.isEmpty() && !want.contains(needed)) {
                        ++passedOver;
                        continue;
                    }
                    QCOMPARE(QByteArray(got.data(), qsizetype(got.size())), want);
                }
            }
        }
        // A text of three bytes or more that few blocks hold lets most be passed over.
        QCOMPARE(passedOver > 0, needed.size() >= 3 && needed != "item");
    }

    void searchRunListsWhatEveryItemGives_data()
    {
        QTest::addColumn<QString>("pattern");
        QTest::newRow("plain text, many entries") << "item 2 of";
        QTest::newRow("plain text, one entry's file") << "/opt/only-2718/file";
        QTest::newRow("plain text, one letter") << "7";
        QTest::newRow("plain text opening entries' items") << "item 0 of 1";
        QTest::newRow("needed text and an anchor") << "^item 1 of 2[0-9]*\\.2[12]$";
        QTest::newRow("no needed text") << "(7|9)\\.6$";
        QTest::newRow("beyond ASCII") << QString::fromUtf8("\u00e9t\u00e9-[0-9]");
        QTest::newRow("nothing") << "zz-nowhere";
    }
    void searchRunListsWhatEveryItemGives()
    {
        // Every third entry is not listed; rows are numbered apart from entries.
        QFETCH(QString, pattern);
        std::vector<std::vector<QByteArray>> texts;
        const std::shared_ptr<YumIOSearchIndex> index = madeUpIndex(3000, texts);
        QVERIFY(index);
        const QByteArray bytes = pattern.toUtf8();
        const PackageTable::SearchMatcher matcher(bytes);
        std::vector<PackageTable::SearchRun::Candidate> candidates;
        QList<int> expected;
        for (int e = 0; e < index->count(); ++e) {
            if (e % 3 == 1)
                continue;
            candidates.emplace_back(10 * e, e);
            for (const QByteArray& field : texts[size_t(e)]) {
                const QList<QByteArray> items = field.split('\0');
                if (std::any_of(items.begin(), items.end() - 1,
                                [&](const QByteArray& item) { return matcher.matches(item.constData(), size_t(item.size())); })) {
                    expected << 10 * e;
                    break;
                }
            }
        }
        PackageTable::SearchRun run(nullptr);
        QList<int> found;
        connect(&run, &PackageTable::SearchRun::found, &run, [&](const QList<int>& rows) { found += rows; });
        QSignalSpy finished(&run, &PackageTable::SearchRun::finished);
        run.start(index, candidates, bytes);
        QVERIFY(finished.wait(20000));
        std::sort(found.begin(), found.end());
        QCOMPARE(found, expected);
        QCOMPARE(expected.isEmpty(), pattern.startsWith("zz"));
    }

    void sorting()
    {
        // 3 GiB wraps to a negative 32-bit value and sorts before small packages, the same
        // way through the keyed path and through the variants, as any other source is read.
        const QStringList order{"lime", "Orchard", "breakfast", "plum", "kettle", "lime.i686", "pear"};
        Table t;
        t.proxy.sort(Model::SizeColumn);
        QCOMPARE(t.listed(t.proxy), order);
        Forwarding forwarding(&t.model);
        SortFilterProxyModel plain(PackageTable::All, true, true, &t.yumIO, nullptr);
        plain.setSourceModel(&forwarding);
        plain.setFilterRegExp(".*");
        plain.sort(Model::SizeColumn);
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
    }

    // Only local ".rpm" files count in a drop on the table.
    void dropsPackageFiles_data()
    {
        QTest::addColumn<QList<QUrl>>("urls");
        QTest::addColumn<QStringList>("files");
        QTest::newRow("rpm files among others")
            << QList<QUrl> { QUrl::fromLocalFile("/tmp/a.rpm"), QUrl::fromLocalFile("/tmp/notes.txt"),
                             QUrl("http://example.invalid/b.rpm"), QUrl::fromLocalFile("/tmp/C.RPM") }
            << QStringList { "/tmp/a.rpm", "/tmp/C.RPM" };
        QTest::newRow("no package file") << QList<QUrl> { QUrl::fromLocalFile("/tmp/notes.txt") } << QStringList();
    }

    void dropsPackageFiles()
    {
        QFETCH(QList<QUrl>, urls);
        QFETCH(QStringList, files);
        Table t;
        PackageTable::View view(&t.model, &t.proxy, nullptr);
        QSignalSpy dropped(&view, &PackageTable::View::packageFilesDropped);
        QMimeData mime;
        mime.setUrls(urls);
        QDragEnterEvent enter(QPoint(5, 5), Qt::CopyAction, &mime, Qt::LeftButton, Qt::NoModifier);
        QApplication::sendEvent(view.viewport(), &enter);
        QCOMPARE(enter.isAccepted(), !files.isEmpty());
        QDropEvent drop(QPointF(5, 5), Qt::CopyAction, &mime, Qt::LeftButton, Qt::NoModifier);
        QApplication::sendEvent(view.viewport(), &drop);
        QCOMPARE(dropped.count(), files.isEmpty() ? 0 : 1);
        if (!files.isEmpty())
            QCOMPARE(dropped.first().first().toStringList(), files);
        QCOMPARE(drop.isAccepted(), !files.isEmpty());
    }

    void viewMenuClicksAndResize()
    {
        Table t;
        PackageTable::View view(&t.model, &t.proxy, nullptr);
        // Remove on a mixed selection marks only the rows that can be removed.
        for (int row : {2, 4, 0})
            view.selectionModel()->select(t.proxy.mapFromSource(t.model.index(row, 0)),
                                          QItemSelectionModel::Select | QItemSelectionModel::Rows);
        PackageTable::ActionContextMenu menu(&t.model, &view);
        menu.prepare(t.model.index(2, 0));
        menu.handleRemoveAction();
        QCOMPARE(t.yumIO.catalogue().at(2)->action, Package::None);
        QCOMPARE(t.yumIO.catalogue().at(4)->action, Package::Remove);
        QCOMPARE(t.yumIO.catalogue().at(0)->action, Package::Remove);
        // One available row alone offers neither Update nor Remove.
        view.clearSelection();
        menu.prepare(t.model.index(2, 0));
        QVERIFY(!menu.updateAction()->isEnabled() && menu.installAction()->isEnabled()
                && !menu.removeAction()->isEnabled());

        // A click on the action cell toggles the action.
        view.resize(900, 400);
        view.show();
        QVERIFY(QTest::qWaitForWindowExposed(&view));
        QSignalSpy state(&view, &PackageTable::View::stateChanged);
        const QModelIndex action = t.proxy.mapFromSource(t.model.index(2, Model::ActionColumn));
        QTest::mouseClick(view.viewport(), Qt::LeftButton, {}, view.visualRect(action).center());
        QCOMPARE(t.yumIO.catalogue().at(2)->action, Package::Install);
        QCOMPARE(state.count(), 1);

        // Column widths fit rows that the filter hides.
        t.yumIO.catalogue().at(4)->name = QString(120, QLatin1Char('w'));
        t.model.reset();
        t.proxy.setStateFilter(PackageTable::Updatable);
        view.resizeColumnsToContents();
        QVERIFY(view.columnWidth(Model::NameColumn) > view.fontMetrics().horizontalAdvance(QString(100, 'w')));
    }

    void keyboard_data()
    {
        QTest::addColumn<int>("key");
        QTest::addColumn<int>("row");    // of the package model, made current
        QTest::addColumn<int>("action"); // the row's action afterwards
        QTest::addColumn<QString>("opened"); // class of the dialog or menu opened, if any

        QTest::newRow("space steps out of date") << int(Qt::Key_Space) << 0 << int(Package::Update) << "";
        QTest::newRow("space steps available") << int(Qt::Key_Space) << 2 << int(Package::Install) << "";
        QTest::newRow("delete removes installed") << int(Qt::Key_Delete) << 4 << int(Package::Remove) << "";
        QTest::newRow("delete leaves available") << int(Qt::Key_Delete) << 2 << int(Package::None) << "";
        QTest::newRow("menu key, action menu") << int(Qt::Key_Menu) << 1 << int(Package::None)
                                               << "PackageTable::ActionContextMenu";
    }

    void keyboard()
    {
        QFETCH(int, key);
        QFETCH(int, row);
        QFETCH(int, action);
        QFETCH(QString, opened);
        Table t;
        PackageTable::View view(&t.model, &t.proxy, nullptr);
        view.resize(900, 400);
        view.show();
        QVERIFY(QTest::qWaitForWindowExposed(&view));
        view.setCurrentIndex(t.proxy.mapFromSource(t.model.index(row, Model::NameColumn)));
        QString seen;
        ModalAnswer::install([&seen](QDialog& dialog) {
            seen = dialog.metaObject()->className();
            return 0;
        });
        // A menu runs its own loop: note which opened, then close it.
        QTimer::singleShot(0, &view, [&seen] {
            if (QWidget* popup = QApplication::activePopupWidget()) {
                seen = popup->metaObject()->className();
                popup->close();
            }
        });
        QTest::keyClick(&view, Qt::Key(key));
        ModalAnswer::clear();
        QCOMPARE(seen, opened);
        QCOMPARE(int(t.yumIO.catalogue().at(row)->action), action);
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

    void columnFitFindsTheWidestCell_data()
    {
        // One cell, away from the spread sample and hidden by the filter, is the widest
        // of its column: the fit must find it all the same.
        QTest::addColumn<int>("column");
        QTest::addColumn<QString>("text");
        QTest::newRow("wide letters, few of them") << int(Model::NameColumn) << "WWWWWWWWWWWWWWWWWWWWWWWWWWWWWWWWWWWW";
        QTest::newRow("beyond ASCII") << int(Model::VersionColumn) << QString::fromUtf8("1.0-1.\u4e2d\u6587\u4e2d\u6587\u4e2d\u6587\u4e2d\u6587");
        QTest::newRow("repository") << int(Model::RepositoryColumn) << "a-very-long-repository-name-for-the-test";
    }
    void columnFitFindsTheWidestCell()
    {
        QFETCH(int, column);
        QFETCH(QString, text);
        YumIO yumIO;
        SyntheticCatalogue::fill(yumIO, 3000);
        Package::Entry* odd = yumIO.catalogue().at(1000); // not in the spread sample
        (column == Model::NameColumn ? odd->name : column == Model::VersionColumn ? odd->verRel : odd->repo) = text;
        Model model(&yumIO, nullptr);
        SortFilterProxyModel proxy(PackageTable::All, true, true, &yumIO, nullptr);
        proxy.setSourceModel(&model);
        proxy.setFilterRegExp("^zz-none");
        PackageTable::View view(&model, &proxy, nullptr);
        MeasuringView measuring;
        measuring.setItemDelegate(new HItemDelegate(&measuring));
        measuring.setModel(&model);
        measuring.setShowGrid(false);
        for (int c = 0; c < Model::ColumnCount; ++c)
            QCOMPARE(view.sizeHintForColumn(c), measuring.everyCell(c));
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
        QAbstractItemModelTester proxyTester(&proxy, QAbstractItemModelTester::FailureReportingMode::QtTest);
        QVERIFY(engine->collect({}));
        model.reset();
        proxy.setFilterRegExp(".*");
        QVERIFY(proxy.rowCount() > 0);
        for (int row = 0; row < proxy.rowCount(); ++row)
            QCOMPARE(proxy.index(row, Model::StateColumn).data(Qt::UserRole).toInt(), int(Package::AvailableForUpdate));
        QVERIFY2(presenter.dialogs.isEmpty(), qPrintable(presenter.dialogs.value(0).text));

        // Search through the index lists exactly the rows that reading every field
        // through the engine lists, each time after a search that the next one cancels.
        QVERIFY(engine->collectFileLists() && engine->collectOtherData());
        QVERIFY(engine->buildSearchIndex());
        QVERIFY(engine->searchIndex());
        {
            // Read from the repositories' own metadata, the files of each package are
            // those the engine gives for it one package at a time.
            const YumIOSearchIndex& index = *engine->searchIndex();
            YumIOSearchIndex::Reader reader(index);
            int fromMetadata = 0;
            for (int at = 0; at < index.count(); ++at) {
                if (index.fieldCountAt(at) <= YumIOSearchIndex::FilesField)
                    continue;
                const std::string_view items = reader.items(at, YumIOSearchIndex::FilesField);
                QStringList indexed = QString::fromUtf8(items.data(), qsizetype(items.size())).split(QChar(0));
                indexed.removeLast();
                QStringList files = engine->getFiles(*index.entry(at));
                indexed.sort();
                files.sort();
                QCOMPARE(indexed, files);
                fromMetadata += index.entry(at)->state != Package::Installed && !files.isEmpty();
            }
            QVERIFY(fromMetadata > 10);
            YumIO::PyGILStateWrapper lock(true);
            PyRef sources = engine->pyMethodCall(engine->scriptObject(), "fileListSources", "()");
            QVERIFY(sources && PySequence_Size(sources.get()) > 0);
        }
        SortFilterProxyModel search(PackageTable::All, true, true, engine.get(), nullptr);
        search.setSourceModel(&model);
        search.setMode(PackageTable::Search);
        QSignalSpy finished(&search, &SortFilterProxyModel::searchFinished);
        const auto listed = [&](SortFilterProxyModel& p) {
            QList<int> rows;
            for (int row = 0; row < p.rowCount(); ++row)
                rows << p.mapToSource(p.index(row, 0)).row();
            std::sort(rows.begin(), rows.end());
            return rows;
        };
        const QStringList expressions{
            "^pe",                   // names
            "/usr/share/bramble",    // a file path
            "Crisper skin",          // a change-log phrase
            "melon-libs >= 1.0",     // a requirement
            "fruit\\(pear\\)",       // a provide, escaped parentheses
            "zz-nothing-zz",         // nothing
            ".",                     // everything
            "^melon-libs$",          // anchors
            "^[a-c][^ ]*$",          // a character class
            "GPL|^x86_64$",          // alternatives
        };
        for (const QString& expression : expressions) {
            search.setFilterRegExp(QStringLiteral("e"));
            QVERIFY(search.searching());
            finished.clear();
            search.setFilterRegExp(expression);
            if (search.searching())
                QVERIFY(finished.wait(20000));
            QCOMPARE(finished.count(), 1);
            QList<int> expected;
            for (int row = 0; row < model.rowCount(); ++row) {
                if (search.acceptRow(model.entry(row), row, QModelIndex()))
                    expected << row;
            }
            QVERIFY2(listed(search) == expected, qPrintable(expression));
            // Each expression picks what it was chosen for.
            if (expression == QLatin1String("."))
                QCOMPARE(expected.size(), model.rowCount());
            else
                QVERIFY2(expected.isEmpty() == expression.startsWith("zz"), qPrintable(expression));
        }
        // A change of mode drops the running search: nothing of it arrives later.
        search.setFilterRegExp(QStringLiteral("e"));
        finished.clear();
        search.setMode(PackageTable::Filter);
        QVERIFY(!search.searching());
        const QList<int> filtered = listed(search);
        QCoreApplication::sendPostedEvents();
        QCOMPARE(finished.count(), 0);
        QCOMPARE(listed(search), filtered);
        // An expression that does not compile searches nothing and lists nothing.
        search.setMode(PackageTable::Search);
        search.setFilterRegExp(QStringLiteral("(pea"));
        QVERIFY(!search.searching());
        QCOMPARE(search.rowCount(), 0);
        QVERIFY(!search.expressionError().isEmpty());

        engine->clearEntriesBeforeQuit();
        model.detachEngine();
        YumIODialogsPresenter::install(nullptr);
    }
};

QTEST_MAIN(TestPackageTable)
#include "tst_packagetable.moc"
