// The main window on the sandbox system, with the real companion script and dnf, and the
// engine's cache cleaning on a stand-in script.  Every case runs in a process of its own
// (the program runs them so when started without arguments): an interpreter cannot be
// started twice in one process.

#define PY_SSIZE_T_CLEAN
#include "SandboxRoot.h"
#include <Python.h>

#include "EachCaseAlone.h"
#include "RecordingPresenter.h"
#include "StandInShare.h"

#include "app/HistoryWindow.h"
#include "app/ExportDialog.h"
#include "app/MainWindow.h"
#include "packagetable/PackageTableActionContextMenu.h"
#include "packagetable/PackageTableDescribeDialog.h"
#include "packagetable/PackageTableDescribeInstanceArea.h"
#include "packagetable/PackageTableModel.h"
#include "packagetable/PackageTableSortFilterProxyModel.h"
#include "packagetable/PackageTableView.h"
#include "python/Python.h"
#include "python/PyRef.h"
#include "repo/RepoEditorDialog.h"
#include "repo/RepoEditorModel.h"
#include "repo/YumConfIO.h"
#include "widgets/HFrameLabel.h"
#include "widgets/ModalAnswer.h"
#include "yumio/PackageEntry.h"
#include "yumio/YumIO.h"

#include <QAction>
#include <QApplication>
#include <QComboBox>
#include <QDir>
#include <QFileDialog>
#include <QMessageBox>
#include <QProcess>
#include <QPushButton>
#include <QTemporaryDir>
#include <QHeaderView>
#include <QLineEdit>
#include <QTimer>
#include <QTreeWidget>
#include <QtTest>

#include <csignal>
#include <memory>

using PackageTable::Model;

namespace {

const char* const kMustLoad = "(Must load extra data.)";

QPushButton* button(QWidget* parent, const QString& text)
{
    for (QPushButton* found : parent->findChildren<QPushButton*>())
        if (found->text() == text)
            return found;
    qFatal("no button %s", qPrintable(text));
}

// The names the table lists, in its order.
QStringList listed(const MainWindow& window)
{
    QStringList names;
    for (int row = 0; row < window.proxy()->rowCount(); ++row)
        names << window.proxy()->index(row, Model::NameColumn).data().toString();
    return names;
}

// Cleaning methods that record their calls in "calls" and answer with codes[name]; None
// there makes the method raise.
const char* const kCleaners = R"PY(
calls = []
codes = {}


def _cleaner(name):
    def clean():
        calls.append(name)
        code = codes.get(name, 0)
        if code is None:
            raise ValueError("cannot clean " + name)
        return (code, ["cleaned"])
    return clean
)PY";

const char* const kCleanerMethods = "for _n in ('cleanHeaders', 'cleanPackages', 'cleanMetadata', 'cleanPickles', "
                                    "'cleanSqlite'): setattr(self, _n, _cleaner(_n))";

} // namespace

class TestMainWindow final : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void startup();
    void brokenStart();
    void searchDescribeQuit();
    void actions();
    void securityUpdates();
    void sessionUseOffInEditor();
    void cleaning_data();
    void cleaning();
    void marksKept();
    void duplicatesOffered();
    void closeWhileWorking_data();
    void closeWhileWorking();
    void historyUndo();
    void actionMenuVersions();
    void packageFiles();

private:
    // Starts the window on a fresh copy of the sandbox system and waits for its first
    // collection.
    void start(const QStringList& rpmFirst = {});
    void exportMarks();
    QStringList errorDialogs() const;

    QTemporaryDir root_;
    RecordingPresenter presenter_;
    std::unique_ptr<MainWindow> window_;
};

void TestMainWindow::init()
{
    std::signal(SIGINT, SIG_DFL);
    YumIODialogsPresenter::install(&presenter_);
}

void TestMainWindow::cleanup()
{
    window_.reset();
    ModalAnswer::clear();
    YumIODialogsPresenter::install(nullptr);
}

void TestMainWindow::start(const QStringList& rpmFirst)
{
    QString why;
    QVERIFY2(useSandboxCopy(root_.path(), why), qPrintable(why));
    if (!rpmFirst.isEmpty()) {
        QProcess rpm;
        rpm.start("rpm", QStringList{ "--root", root_.path(), "--dbpath", "/var/lib/rpm" } + rpmFirst);
        QVERIFY(rpm.waitForFinished(-1) && rpm.exitCode() == 0);
    }
    window_ = std::make_unique<MainWindow>();
    window_->show();
    QTRY_VERIFY_WITH_TIMEOUT(window_->initialized(), 240000);
    QVERIFY2(errorDialogs().isEmpty(), qPrintable(errorDialogs().join("\n--\n")));
}

QStringList TestMainWindow::errorDialogs() const
{
    QStringList texts;
    for (const auto& dialog : presenter_.dialogs)
        if (dialog.kind != "confirm")
            texts << dialog.caption + "|" + dialog.text;
    return texts;
}

// The first showing collects and lists the updatable packages; the window is ready.
void TestMainWindow::startup()
{
    start();
    QStringList names = listed(*window_);
    names.sort();
    QCOMPARE(names, QStringList({ "apricot", "date", "kettle", "pear", "quince" }));
    // Focus starts in the expression line.
    auto* focused = qobject_cast<QLineEdit*>(window_->focusWidget());
    QVERIFY(focused && focused->text() == ".*");
    // The columns fit again after every collection, and the last one takes the room left.
    QHeaderView* header = window_->view()->horizontalHeader();
    const int last = header->logicalIndex(header->count() - 1);
    QVERIFY(header->sectionViewportPosition(last) + header->sectionSize(last) >= window_->view()->viewport()->width());
    QVERIFY(header->isSortIndicatorShown());
    window_->view()->setColumnWidth(Model::NameColumn, 3);
    button(window_->mainArea(), "Re&fresh")->click();
    QVERIFY(window_->view()->columnWidth(Model::NameColumn) > 3);
    // Room for every control on a 1024 pixels wide screen.
    QVERIFY(window_->minimumSizeHint().width() <= 800);
    // Another root than the running system's shows in the title.
    QVERIFY2(window_->windowTitle().endsWith(" (" + QDir::cleanPath(root_.path()) + ")"), qPrintable(window_->windowTitle()));
    // dnf keeps an sqlite cache and no pickled one.
    QVERIFY(!window_->cleanPickledAction()->isEnabled());
    QVERIFY(window_->cleanSqliteAction()->isEnabled());
}

// An engine that cannot start: the window quits without showing the table.
void TestMainWindow::brokenStart()
{
    QTemporaryDir share;
    StandInShare::Options options;
    options.constructorBody = "raise SystemExit(2)";
    QVERIFY(StandInShare::write(share.path(), options));
    qputenv("ORVOSHARE", share.path().toLocal8Bit());
    qputenv("ORVOROOT", root_.path().toLocal8Bit());

    MainWindow window;
    window.show();
    QTRY_VERIFY_WITH_TIMEOUT(!window.yumIO(), 60000);
    QVERIFY(!window.isVisible());
    QCOMPARE(errorDialogs(), QStringList({ "Orvo Yum Error|Unable to initialize" }));
    QVERIFY(!Python::initialized);
}

// Search mode loads the extra data only for an expression that selects something, and
// only once; "&Describe" opens the current row. A session that did all this leaves no
// interpreter reference behind when it quits.
void TestMainWindow::searchDescribeQuit()
{
    start();
    QSignalSpy loaded(window_->yumIO(), &YumIO::collectedExtraData);
    window_->setRegexp(".*");
    window_->setMode(PackageTable::Search);
    QCOMPARE(loaded.count(), 0);
    QVERIFY(window_->modeCombo()->toolTip().endsWith(kMustLoad));
    // Only pear's file list holds a README among the updatable packages.
    window_->setRegexp("pear/README");
    button(window_->mainArea(), "Search")->click();
    QCOMPARE(loaded.count(), 2);
    QVERIFY(window_->yumIO()->searchIndex());
    // A second search while the first still fills the listing replaces it.
    button(window_->mainArea(), "Search")->click();
    QCOMPARE(loaded.count(), 2);
    QTRY_VERIFY_WITH_TIMEOUT(!window_->proxy()->searching(), 20000);
    QCOMPARE(listed(*window_), QStringList({ "pear" }));
    // A refresh drops the index with its catalogue; the next search builds it again,
    // file lists read from the new session's metadata included.
    window_->refresh();
    button(window_->mainArea(), "Search")->click();
    QTRY_VERIFY_WITH_TIMEOUT(!window_->proxy()->searching(), 20000);
    QVERIFY(window_->yumIO()->searchIndex());
    QCOMPARE(listed(*window_), QStringList({ "pear" }));

    // An expression that does not compile lists nothing and says why; the next one
    // that does takes the mark away.
    window_->setRegexp("(pear");
    button(window_->mainArea(), "Search")->click();
    QCOMPARE(window_->proxy()->rowCount(), 0);
    QVERIFY(window_->regexpEdit()->toolTip().contains(window_->proxy()->expressionError()));
    QVERIFY(!window_->proxy()->expressionError().isEmpty());

    window_->setRegexp("kettle");
    button(window_->mainArea(), "Search")->click();
    QCOMPARE(window_->regexpEdit()->toolTip(), QString("Regular expression to compare to all fields of a package"));
    QTRY_VERIFY_WITH_TIMEOUT(!window_->proxy()->searching(), 20000);
    const int kettle = listed(*window_).indexOf("kettle");
    window_->view()->setCurrentIndex(window_->proxy()->index(kettle, Model::NameColumn));
    QStringList shown;
    ModalAnswer::install([&shown](QDialog& dialog) {
        if (auto* describe = qobject_cast<PackageTable::Describe::Dialog*>(&dialog)) {
            for (const auto* area : describe->areas())
                shown << area->header() + " " + area->value("Version");
        }
        return int(QDialog::Accepted);
    });
    window_->describeButton()->click();
    QCOMPARE(shown.value(0), QString("Available for update 3.0-1"));
    QCOMPARE(shown.size(), 3);
    QVERIFY(errorDialogs().isEmpty());
    QVERIFY(Package::Entry::liveCount() > 0);
    window_->quit();
    QVERIFY(!Package::Entry::extantReported());
    QCOMPARE(Package::Entry::liveCount(), 0);
    QVERIFY(!Python::initialized);
}

// "&Apply Actions" follows the marks; a mark on a row filtered out is reported as
// unlisted until the marks are cleared.
void TestMainWindow::actions()
{
    start();
    window_->setRegexp("pear");
    window_->filtersearch();
    QCOMPARE(listed(*window_), QStringList({ "pear" }));
    window_->view()->selectRow(0);
    button(window_->mainArea(), "Set &Install/Update of Selected")->click();
    QVERIFY(window_->applyButton()->isEnabled());
    QCOMPARE(window_->unlistedLabel()->text(), QString());

    window_->setRegexp("kettle");
    window_->filtersearch();
    QVERIFY(!listed(*window_).contains("pear"));
    QCOMPARE(window_->unlistedLabel()->text(), QString("Unlisted Actions"));

    button(window_->mainArea(), "&Clear Actions")->click();
    QCOMPARE(window_->unlistedLabel()->text(), QString());
    QVERIFY(!window_->applyButton()->isEnabled());
    QVERIFY(!window_->exportMarksAction()->isEnabled());
    button(window_->mainArea(), "Set &Update of Listed")->click();
    QVERIFY(window_->applyButton()->isEnabled());
    exportMarks();
}

// The marks exported: the preview follows the format and the hosts named, and what is
// saved is what was shown.
void TestMainWindow::exportMarks()
{
    QVERIFY(window_->exportMarksAction()->isEnabled());
    QTemporaryDir saved;
    const QString path = saved.filePath("kettle.ks");
    QString playbook;
    QString kickstart;
    ModalAnswer::install([&](QDialog& dialog) {
        if (auto* files = qobject_cast<QFileDialog*>(&dialog)) {
            files->selectFile(path);
            return int(QDialog::Accepted);
        }
        auto* exporter = qobject_cast<Export::Dialog*>(&dialog);
        if (!exporter)
            return int(QDialog::Rejected);
        exporter->hostsEdit()->setText("web servers");
        playbook = exporter->text();
        exporter->formatCombo()->setCurrentIndex(Export::Dialog::Kickstart);
        kickstart = exporter->text();
        exporter->saveButton()->click();
        return exporter->result();
    });
    window_->exportMarksAction()->trigger();
    QVERIFY2(playbook.contains("  hosts: 'web servers'\n") && playbook.contains("          - kettle\n        state: latest\n"),
             qPrintable(playbook));
    QCOMPARE(kickstart, QString("# Package actions marked in Orvo.\n%packages\nkettle\n%end\n"));
    QFile file(path);
    QVERIFY(file.open(QIODevice::ReadOnly));
    QCOMPARE(QString::fromUtf8(file.readAll()), kickstart);
    // Exporting applies nothing and keeps the marks.
    QVERIFY(window_->applyButton()->isEnabled());
}

// "Security Updates Only" narrows the listing and stays on through a refresh; "Set Update
// of Security Fixes" marks the security fixes.  How they combine with the other settings
// is the advisory test's.
void TestMainWindow::securityUpdates()
{
    start();
    window_->securityOnlyAction()->trigger();
    QCOMPARE(listed(*window_), QStringList({ "apricot", "pear" }));
    window_->securityFixesAction()->trigger();
    QVERIFY(window_->applyButton()->isEnabled());
    QStringList marked;
    for (const Package::Entry* entry : window_->yumIO()->catalogue())
        if (entry->action != Package::None)
            marked << entry->name;
    marked.sort();
    QCOMPARE(marked, QStringList({ "apricot", "pear" }));

    button(window_->mainArea(), "&Clear Actions")->click();
    button(window_->mainArea(), "Re&fresh")->click();
    QVERIFY(window_->securityOnlyAction()->isChecked());
    QCOMPARE(listed(*window_), QStringList({ "apricot", "pear" }));
    QVERIFY(errorDialogs().isEmpty());
}

// Turning a repository's session use off in the editor collects the catalogue again
// without that repository.
void TestMainWindow::sessionUseOffInEditor()
{
    start();
    const auto packagesOf = [this](const QString& repo) {
        QStringList names;
        for (const Package::Entry* entry : window_->yumIO()->catalogue())
            if (entry->repo == repo)
                names << entry->name;
        return names;
    };
    QVERIFY(packagesOf("orvo-updates").contains("pear-data"));

    ModalAnswer::install([](QDialog& dialog) {
        auto* editor = qobject_cast<RepoEditor::Dialog*>(&dialog);
        if (!editor)
            return int(QDialog::Rejected);
        RepoEditor::Model* model = editor->model();
        for (int row = 0; row < model->rowCount(); ++row)
            if (model->index(row, RepoEditor::Model::IdColumn).data().toString() == "orvo-updates") {
                model->toggleUse(model->index(row, RepoEditor::Model::UseColumn));
        }
        return int(QDialog::Accepted);
    });
    window_->editRepositories();
    QCOMPARE(window_->yumConfIO()->sessionUse().value("orvo-updates", true), false);
    QCOMPARE(packagesOf("orvo-updates"), QStringList());
    QCOMPARE(listed(*window_), QStringList());
    QVERIFY(errorDialogs().isEmpty());
}

void TestMainWindow::cleaning_data()
{
    QTest::addColumn<QString>("yumVersion");
    QTest::addColumn<QString>("operation");
    // Python: the codes the parts answer with (None raises); any code set makes it fail.
    QTest::addColumn<QString>("codes");
    QTest::addColumn<QString>("calls");

    const QString three = "cleanHeaders cleanPackages cleanMetadata";
    QTest::newRow("both caches") << "2.5.0" << "all" << "{}" << three + " cleanPickles cleanSqlite";
    QTest::newRow("first part fails") << "3.4.3" << "all" << "{'cleanHeaders': 1}" << three + " cleanSqlite";
    QTest::newRow("a part raises") << "3.4.3" << "all" << "{'cleanPackages': None}" << three + " cleanSqlite";
    QTest::newRow("xml metadata") << "3.4.3" << "xml" << "{}" << "cleanMetadata";
    QTest::newRow("pickled cache fails") << "2.3.1" << "pickled" << "{'cleanPickles': 3}" << "cleanPickles";
}

void TestMainWindow::cleaning()
{
    QFETCH(QString, yumVersion);
    QFETCH(QString, operation);
    QFETCH(QString, codes);
    QFETCH(QString, calls);
    const QHash<QString, QString> headings{
        { "all", "Cleaning All" }, { "xml", "Cleaning Xml Metadata" }, { "pickled", "Cleaning Pickled Cache" }
    };

    QTemporaryDir share;
    StandInShare::Options options;
    options.yumVersion = yumVersion;
    options.topLevel = kCleaners + QString("codes.update(%1)\n").arg(codes);
    options.constructorBody = kCleanerMethods;
    QVERIFY(StandInShare::write(share.path(), options));
    qputenv("ORVOSHARE", share.path().toLocal8Bit());

    YumIO engine;
    engine.setup(nullptr, nullptr, nullptr);
    QVERIFY(engine.initialize());
    const bool cleaned = operation == "all" ? engine.cleanAll()
                         : operation == "xml" ? engine.cleanXmlMetadata()
                                              : engine.cleanPickledCache();
    QCOMPARE(cleaned, codes == "{}");
    {
        YumIO::PyGILStateWrapper lock(true);
        PyRef called = engine.pyr("' '.join(calls)");
        QCOMPARE(engine.pyStringX(called.get()), calls);
        // A part that raised left no error pending.
        QVERIFY(!PyErr_Occurred());
    }
    QStringList logged;
    Log::EntryList& log = engine.logList();
    log.lock();
    for (const Log::Entry& entry : log)
        if (entry.kind == Log::Heading)
            logged << entry.text;
    log.unlock();
    QCOMPARE(logged, QStringList({ headings.value(operation) }));
    // A part that raised is reported once, by the call itself.
    QCOMPARE(presenter_.dialogs.size(), codes.contains("None") ? 1 : 0);
}

// Marks are never dropped silently: Refresh and Quit ask first and keep them by default;
// cleaning a cache keeps them without asking.
void TestMainWindow::marksKept()
{
    start();
    Package::Entry* pear = nullptr;
    const auto find = [&] {
        pear = nullptr;
        for (Package::Entry* e : window_->yumIO()->catalogue())
            if (e->name == "pear" && e->kind != Package::Group)
                pear = e;
        return pear != nullptr;
    };
    QVERIFY(find());
    pear->action = Package::Update;
    QStringList asked;
    int answer = QMessageBox::No;
    ModalAnswer::install([&](QDialog& dialog) {
        if (auto* box = qobject_cast<QMessageBox*>(&dialog))
            asked << box->text();
        return answer;
    });
    window_->refresh();
    QCOMPARE(asked, QStringList({ "1 action is marked. Discard it?" }));
    QVERIFY(find() && pear->action == Package::Update);
    QVERIFY(window_->applyButton()->isEnabled());

    window_->cleanHeaders();
    QCOMPARE(asked.size(), 1);
    QVERIFY(find() && pear->action == Package::Update);

    window_->quit();
    QCOMPARE(asked.size(), 2);
    QVERIFY(window_->yumIO());
    // Closed by the window manager: asked once, and kept.
    window_->close();
    QCOMPARE(asked.size(), 3);
    QVERIFY(window_->yumIO() && window_->isVisible());

    answer = QMessageBox::Discard;
    window_->refresh();
    QVERIFY(find() && pear->action == Package::None);
    QVERIFY(errorDialogs().isEmpty());
    // Discarded at closing: asked once, and gone.
    pear->action = Package::Update;
    window_->close();
    QCOMPARE(asked.size(), 5);
    QVERIFY(!window_->yumIO());
}

// Two versions of pear in the rpm database, as an interrupted transaction leaves them: the
// start offers to remove the older one, and does so once the listing is confirmed.
void TestMainWindow::duplicatesOffered()
{
    QStringList offered;
    ModalAnswer::install([&](QDialog& dialog) {
        if (auto* box = qobject_cast<QMessageBox*>(&dialog))
            offered << box->text();
        return int(QMessageBox::Yes);
    });
    start({ "-i", "--justdb", "--nodeps", "--replacefiles",
            qEnvironmentVariable("ORVO_SANDBOX") + "/repos/updates/Packages/pear-1.1-1.x86_64.rpm" });
    QCOMPARE(offered.size(), 1);
    QVERIFY2(offered[0].contains("\npear-1.0-1.x86_64\n"), qPrintable(offered[0]));
    QCOMPARE(presenter_.dialogs.size(), 1);
    QVERIFY(presenter_.dialogs[0].text.contains("\tRemove: pear 1.0-1 (x86_64)\n"));
    QProcess rpm;
    rpm.start("rpm", { "--root", root_.path(), "--dbpath", "/var/lib/rpm", "-q", "pear" });
    QVERIFY(rpm.waitForFinished(-1));
    QCOMPARE(QString::fromUtf8(rpm.readAllStandardOutput()).trimmed(), QString("pear-1.1-1.x86_64"));
}

namespace {
MainWindow* closing = nullptr;
}

// Closing the window while the engine works never leaves a process without a window: a
// collection stops and the program quits; an apply is not left halfway.
void TestMainWindow::closeWhileWorking_data()
{
    QTest::addColumn<bool>("applying");
    QTest::newRow("collection") << false;
    QTest::newRow("apply") << true;
}

void TestMainWindow::closeWhileWorking()
{
    QFETCH(bool, applying);
    start();
    QStringList told;
    ModalAnswer::install([&](QDialog& dialog) {
        if (auto* box = qobject_cast<QMessageBox*>(&dialog))
            told << box->text();
        return int(QMessageBox::Ok);
    });
    closing = window_.get();
    if (applying) {
        for (Package::Entry* e : window_->yumIO()->catalogue())
            if (e->name == "pear")
                e->action = Package::Update;
        presenter_.confirmAnswer = 0;
        presenter_.echo = [](const RecordingPresenter::Dialog& d) {
            // The confirmation may be asked from the worker: the window is closed on its own thread.
            if (d.kind == "confirm")
                QMetaObject::invokeMethod(closing, &QWidget::close,
                                          QThread::currentThread() == qApp->thread() ? Qt::DirectConnection
                                                                                   : Qt::BlockingQueuedConnection);
        };
        window_->apply();
        presenter_.echo = nullptr;
        QCOMPARE(told, QStringList({ "Changes are being applied to the system.\nOrvo can close once they are done." }));
        QVERIFY(window_->yumIO() && window_->isVisible());
    } else {
        // Closed as the window manager closes it, while the collection is under way.
        QTimer::singleShot(0, window_.get(), [] { closing->close(); });
        window_->refresh();
        QVERIFY(!window_->yumIO());
        QVERIFY(!window_->isVisible());
        QVERIFY(told.isEmpty());
    }
    QVERIFY2(errorDialogs().isEmpty(), qPrintable(errorDialogs().join("\n")));
}

// The history lists the command line's transactions and, once applied, Orvo's own;
// Undo marks the inverse in the table and changes nothing before it is applied.
void TestMainWindow::historyUndo()
{
    start();
    window_->displayHistory();
    HistoryWindow* history = window_->historyWindow();
    QVERIFY(history && history->isVisible());
    QTreeWidget* transactions = history->transactionsView();
    QCOMPARE(transactions->topLevelItemCount(), 4);
    QCOMPARE(history->selectedId(), 4);
    QVERIFY(transactions->topLevelItem(0)->text(5).endsWith("upgrade olive"));
    QCOMPARE(history->packagesView()->topLevelItemCount(), 2);

    QStringList told;
    ModalAnswer::install([&told](QDialog& dialog) {
        told << static_cast<QMessageBox&>(dialog).text();
        return int(QMessageBox::Ok);
    });
    history->select(2);
    history->undoButton()->click();
    QCOMPARE(told.size(), 1);
    QVERIFY2(told[0].contains("olive-0.9-1.noarch"), qPrintable(told[0]));
    QVERIFY(!window_->applyButton()->isEnabled());

    history->select(4);
    history->undoButton()->click();
    QVERIFY(window_->applyButton()->isEnabled());
    window_->setStateFilter(PackageTable::StateFilter(3));
    window_->setRegexp("olive");
    window_->filtersearch();
    QCOMPARE(listed(*window_), QStringList({ "olive" }));
    QCOMPARE(window_->proxy()->index(0, Model::ActionColumn).data().toString(), QString("Downgrade to 1.0-1"));

    window_->apply();
    QVERIFY2(errorDialogs().isEmpty(), qPrintable(errorDialogs().join("\n--\n")));
    QCOMPARE(transactions->topLevelItemCount(), 5);
    QCOMPARE(transactions->topLevelItem(0)->text(5), QString("Orvo"));
    // Back at 1.0, olive is out of date again.
    const auto* olive = window_->proxy()->index(0, Model::NameColumn).data(Qt::UserRole).value<Package::Entry*>();
    QVERIFY(olive && olive->state == Package::AvailableForUpdate && olive->next && olive->next->verRel == "1.0-1");

    // Undoing that downgrade marks the update back to the newest version.
    told.clear();
    history->select(5);
    history->undoButton()->click();
    QCOMPARE(olive->action, Package::Update);
    window_->clearActions();

    // A transaction that only reinstalled has nothing to undo, and says so.
    window_->setRegexp("lime");
    window_->filtersearch();
    auto* lime = window_->proxy()->index(0, Model::NameColumn).data(Qt::UserRole).value<Package::Entry*>();
    QVERIFY(lime && lime->name == "lime");
    lime->action = Package::Reinstall;
    window_->apply();
    QVERIFY2(errorDialogs().isEmpty(), qPrintable(errorDialogs().join("\n--\n")));
    told.clear();
    history->select(6);
    history->undoButton()->click();
    QCOMPARE(told, QStringList { "Nothing to undo for transaction 6: it only reinstalled packages." });
}

// The action menu offers the older versions of an installed package and its reinstall;
// a version chosen shows in the Action cell.
void TestMainWindow::actionMenuVersions()
{
    start();
    window_->setStateFilter(PackageTable::StateFilter(3));
    window_->setRegexp("olive|grape|lime");
    window_->filtersearch();
    QCOMPARE(listed(*window_).size(), 3);
    PackageTable::View* view = window_->view();
    const auto rowOf = [&](const QString& name) {
        for (int row = 0; row < window_->proxy()->rowCount(); ++row)
            if (window_->proxy()->index(row, Model::NameColumn).data().toString() == name)
                return window_->proxy()->mapToSource(window_->proxy()->index(row, Model::ActionColumn));
        return QModelIndex();
    };
    auto* menu = new PackageTable::ActionContextMenu(window_->model(), view);
    menu->prepare(rowOf("olive"));
    QCOMPARE(menu->downgradeMenu()->actions().size(), 1);
    QVERIFY(menu->downgradeMenu()->isEnabled() && menu->reinstallAction()->isEnabled());
    menu->prepare(rowOf("grape"));
    QVERIFY(!menu->downgradeMenu()->isEnabled() && !menu->reinstallAction()->isEnabled());
    menu->prepare(rowOf("lime"));
    QVERIFY(!menu->downgradeMenu()->isEnabled() && menu->reinstallAction()->isEnabled());
    menu->prepare(rowOf("olive"));
    menu->downgradeMenu()->actions().first()->trigger();
    QCOMPARE(rowOf("olive").data().toString(), QString("Downgrade to 1.0-1"));
    QVERIFY(window_->view()->columnWidth(Model::ActionColumn)
            >= window_->view()->fontMetrics().horizontalAdvance("Downgrade to 1.0-1"));
    delete menu;
}

// Package files chosen in the file dialog or dropped on the table: a bad file is named
// and left out, the good one becomes a row of the command line's repository marked for
// Install.
void TestMainWindow::packageFiles()
{
    start();
    QTemporaryDir dir;
    const QString bad = dir.filePath("broken.rpm");
    QFile file(bad);
    QVERIFY(file.open(QIODevice::WriteOnly) && file.write("no package") > 0);
    file.close();
    QStringList told;
    ModalAnswer::install([&told, &bad](QDialog& dialog) {
        if (auto* files = qobject_cast<QFileDialog*>(&dialog)) {
            files->selectFile(bad);
            return int(QDialog::Accepted);
        }
        told << static_cast<QMessageBox&>(dialog).text();
        return int(QMessageBox::Ok);
    });
    const QString files = qEnvironmentVariable("ORVO_SANDBOX") + "/files/";
    window_->installPackageFiles();
    QCOMPARE(told.size(), 1);
    QVERIFY(told[0].contains(bad));
    QVERIFY(!window_->applyButton()->isEnabled());

    Q_EMIT window_->view()->packageFilesDropped({ files + "nectar-1.0-1.aarch64.rpm", files + "nectar-1.0-1.x86_64.rpm" });
    QCOMPARE(told.size(), 2);
    QVERIFY(told[1].contains("aarch64") && !told[1].contains("x86_64.rpm"));
    const Package::Entry* nectar = nullptr;
    for (const Package::Entry* e : window_->yumIO()->catalogue())
        if (e->name == "nectar")
            nectar = e;
    QVERIFY(nectar && nectar->repo == "@commandline" && nectar->action == Package::Install);
    QVERIFY(window_->applyButton()->isEnabled());
}

int main(int argc, char** argv)
{
    QApplication app(argc, argv);
    if (argc == 1)
        return runEachCaseAlone(QCoreApplication::applicationFilePath());
    TestMainWindow test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_mainwindow.moc"
