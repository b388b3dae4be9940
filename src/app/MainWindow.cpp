#include <Python.h>

#include "app/MainWindow.h"

#include "app/Execute.h"
#include "app/HistoryWindow.h"
#include "yumio/YumIOVersions.h"
#include "app/ExportDialog.h"
#include "app/Share.h"
#include "app/SystemOpener.h"
#include "app/SystemRoot.h"
#include "log/LogWindow.h"
#include "packagetable/PackageTableModel.h"
#include "packagetable/PackageTableSortFilterProxyModel.h"
#include "packagetable/PackageTableView.h"
#include "progress/HProgressBar.h"
#include "repo/RepoAuthChecker.h"
#include "repo/RepoEditorDialog.h"
#include "repo/YumConfIO.h"
#include "widgets/Colors.h"
#include "widgets/HFrameLabel.h"
#include "widgets/HMenu.h"
#include "widgets/ModalAnswer.h"
#include "yumio/PackageEntry.h"
#include "yumio/YumIO.h"

#include <QApplication>
#include <QCheckBox>
#include <QCloseEvent>
#include <QComboBox>
#include <QEventLoop>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QMenuBar>
#include <QMessageBox>
#include <QPushButton>
#include <QTimer>
#include <QVBoxLayout>

#include <functional>

#include <sys/utsname.h>

MainWindow::MainWindow(QWidget* parent)
    : QMainWindow(parent)
    , updateIcon_(Share::absolute(QStringLiteral("icons/update.png")))
    , checkIcon_(Share::absolute(QStringLiteral("icons/check.png")))
    , yumIO_(new YumIO)
{
    struct utsname names;
    const QString node = uname(&names) == 0 ? QString::fromLocal8Bit(names.nodename) : QString();
    setWindowTitle(System::Root::titled(tr("Orvo - %1").arg(node), System::Root::current()));

    createMenus();
    createMainArea();

    auto* central = new QWidget(this);
    auto* layout = new QVBoxLayout(central);
    layout->addWidget(mainArea_, 1);
    firstBar_ = new HProgressBar(central);
    secondBar_ = new HProgressBar(central);
    layout->addWidget(firstBar_);
    layout->addWidget(secondBar_);
    setCentralWidget(central);

    connect(yumIO_, &YumIO::collectedExtraData, this, &MainWindow::collectedExtraData);
    connect(yumIO_, &YumIO::collectedAgain, this, &MainWindow::collectedAgain);
    yumIO_->setup(this, secondBar_, firstBar_);

    warnConfigure();
    collectedExtraData();
    modeChanged(0);
    setReady(false);
    mainArea_->hide();
}

MainWindow::~MainWindow()
{
    delete logWindow_;
    delete historyWindow_;
    delete versions_;
    if (yumIO_) {
        // The window goes without quit(): the entries go before the interpreter does.
        yumIO_->clearEntriesBeforeQuit();
        model_->detachEngine();
        delete yumIO_;
    }
}

void MainWindow::createMenus()
{
    programMenu_ = new HMenu(tr("&Program"), menuBar());
    menuBar()->addMenu(programMenu_);
    QAction* history = programMenu_->addAction(tr("&History"), this, &MainWindow::displayHistory);
    history->setShortcut(QKeySequence(tr("Ctrl+H")));
    QAction* files = programMenu_->addAction(tr("Install Package &Files..."), this, &MainWindow::installPackageFiles);
    files->setShortcut(QKeySequence(tr("Ctrl+O")));
    exportMarks_ = programMenu_->addAction(tr("&Export Marked Actions..."), this, &MainWindow::exportMarks);
    exportMarks_->setEnabled(false);
    programMenu_->addAction(tr("&Open System..."), this, [this] { System::Opener::choose(this); });
    QMenu* recentSystems = programMenu_->addMenu(tr("Open &Recent System"));
    connect(recentSystems, &QMenu::aboutToShow, this,
            [this, recentSystems] { System::Opener::fillRecentMenu(recentSystems, this); });
    programMenu_->addSeparator();
    quit_ = programMenu_->addAction(tr("&Quit"), this, &MainWindow::quit);
    quit_->setShortcut(QKeySequence(tr("Ctrl+Q")));

    auto* windows = new HMenu(tr("&Windows"), menuBar());
    menuBar()->addMenu(windows);
    QAction* log = windows->addAction(tr("&Log"), this, &MainWindow::displayLog);
    log->setShortcut(QKeySequence(tr("Ctrl+L")));

    repositoriesMenu_ = new HMenu(tr("&Repositories"), menuBar());
    menuBar()->addMenu(repositoriesMenu_);
    editConfiguration_ = repositoriesMenu_->addAction(
        tr("&Edit Configuration"), this, qOverload<>(&MainWindow::editRepositories));
    editConfiguration_->setShortcut(QKeySequence(tr("Ctrl+E")));

    cacheMenu_ = new HMenu(tr("&Cache"), menuBar());
    menuBar()->addMenu(cacheMenu_);
    cleanHeaders_ = cacheMenu_->addAction(tr("Clean Headers"), this, &MainWindow::cleanHeaders);
    cleanPackages_ = cacheMenu_->addAction(tr("Clean Packages"), this, &MainWindow::cleanPackages);
    cleanXmlMetadata_ = cacheMenu_->addAction(tr("Clean XML Metadata"), this,
                                              &MainWindow::cleanXmlMetadata);
    cleanPickled_ = cacheMenu_->addAction(tr("Clean Pickled Data"), this,
                                          &MainWindow::cleanPickledCache);
    cleanSqlite_ = cacheMenu_->addAction(tr("Clean Sqlite Data"), this,
                                         &MainWindow::cleanSqliteCache);
    cacheMenu_->addSeparator();
    cleanAll_ = cacheMenu_->addAction(tr("Clean All"), this, &MainWindow::cleanAll);

    viewMenu_ = new HMenu(tr("&View"), menuBar());
    menuBar()->addMenu(viewMenu_);
    securityOnly_ = viewMenu_->addAction(tr("Security Updates Only"));
    securityOnly_->setCheckable(true);
    securityOnly_->setToolTip(tr("List only updates that fix a security advisory,\n"
                                 "together with the Mode, Filter, Search, State, Duplicates, and Groups settings"));
    connect(securityOnly_, &QAction::toggled, this, &MainWindow::securityFilterChanged);
    securityFixes_ = viewMenu_->addAction(updateIcon_, tr("Set Update of Security Fixes"), this,
                                          &MainWindow::setUpdateSecurityFixes);
    securityFixes_->setToolTip(tr("Sets the Action to Update for any listed packages which are Installed but "
                                  "Out-of-date\nand whose update fixes a security advisory.\n"
                                  "Does not Apply Actions automatically."));

    auto* help = new HMenu(tr("&Help"), menuBar());
    menuBar()->addMenu(help);
    QAction* html = help->addAction(tr("Manual (html)"), this, &MainWindow::manualHtml);
    html->setShortcut(QKeySequence(Qt::Key_F1));
    help->addAction(tr("Manual (PDF)"), this, &MainWindow::manualPdf);
    help->addSeparator();
    help->addAction(tr("&About"), this, &MainWindow::about);
}

void MainWindow::createMainArea()
{
    mainArea_ = new QWidget(this);
    auto* layout = new QVBoxLayout(mainArea_);
    layout->setContentsMargins(0, 0, 0, 0);

    auto* filterRow = new QHBoxLayout;
    layout->addLayout(filterRow);
    modeCombo_ = new QComboBox(mainArea_);
    modeCombo_->addItem(tr("Filter"));
    modeCombo_->addItem(tr("Search"));
    filterRow->addWidget(modeCombo_);
    regexpEdit_ = new QLineEdit(QStringLiteral(".*"), mainArea_);
    filterRow->addWidget(regexpEdit_, 1);
    filterButton_ = new QPushButton(tr("Filter"), mainArea_);
    filterButton_->setDefault(true);
    filterRow->addWidget(filterButton_);
    stateCombo_ = new QComboBox(mainArea_);
    stateCombo_->addItem(tr("View Updatable"));
    stateCombo_->addItem(tr("View Installable"));
    stateCombo_->addItem(tr("View Removable"));
    stateCombo_->addItem(tr("View All"));
    stateCombo_->setToolTip(tr("Filter for those packages which are eligible for updating,\n"
                               "for installing, or for removing; or show all packages"));
    filterRow->addWidget(stateCombo_);
    dupsCheck_ = new QCheckBox(tr("Include Duplicates"), mainArea_);
    dupsCheck_->setChecked(true);
    dupsCheck_->setToolTip(tr("Whether or not filter should include packages with duplicate names.\n"
                              "If unchecked, the package with the architecture closest to the base "
                              "architecture is shown."));
    filterRow->addWidget(dupsCheck_);
    groupsCheck_ = new QCheckBox(tr("Include Groups"), mainArea_);
    groupsCheck_->setChecked(false);
    groupsCheck_->setToolTip(tr("Whether or not filter should include package groups"));
    filterRow->addWidget(groupsCheck_);

    model_ = new PackageTable::Model(yumIO_, this);
    proxy_ = new PackageTable::SortFilterProxyModel(PackageTable::Updatable, true, false, yumIO_, this);
    proxy_->setSourceModel(model_);
    view_ = new PackageTable::View(model_, proxy_, mainArea_);
    layout->addWidget(view_, 1);

    auto* buttonRow = new QHBoxLayout;
    layout->addLayout(buttonRow);
    describeButton_ = new QPushButton(tr("&Describe"), mainArea_);
    describeButton_->setToolTip(tr("Pop up a window with a detailed description of the currently "
                                   "selected package"));
    buttonRow->addWidget(describeButton_);
    buttonRow->addStretch(1);
    auto* resizeButton = new QPushButton(tr("Re&size"), mainArea_);
    resizeButton->setToolTip(tr("Resize the columns and window to optimal values"));
    buttonRow->addWidget(resizeButton);
    auto* refreshButton = new QPushButton(tr("Re&fresh"), mainArea_);
    refreshButton->setToolTip(tr("Refresh the list of installed packages and packages available "
                                 "for update.\nUse this to check for new updates in repositories, "
                                 "or if any packages were installed manually."));
    buttonRow->addWidget(refreshButton);
    // The marking commands on a row of their own: in one row the buttons alone would
    // keep the window wider than a 1024 pixels wide screen leaves room for.
    auto* markRow = new QHBoxLayout;
    layout->addLayout(markRow);
    markRow->addStretch(1);
    auto* selectedButton = new QPushButton(tr("Set &Install/Update of Selected"), mainArea_);
    selectedButton->setToolTip(tr("Sets the Action for all selected packages which are Not "
                                  "Installed to Install, and\nsets the Action for all selected "
                                  "packages which are Installed but Out-of-date to Update.\nDoes "
                                  "not Apply Actions automatically."));
    markRow->addWidget(selectedButton);
    auto* listedButton = new QPushButton(updateIcon_, tr("Set &Update of Listed"), mainArea_);
    listedButton->setToolTip(tr("Sets the Action to Update for any packages which are Installed "
                                "but Out-of-date,\nand which are currently listed based on the "
                                "the Mode, Filter, Search, State, Duplicates, and Groups "
                                "settings.\nDoes not Apply Actions automatically."));
    markRow->addWidget(listedButton);
    auto* clearButton = new QPushButton(emptyIcon_, tr("&Clear Actions"), mainArea_);
    clearButton->setToolTip(tr("Clears all specified Actions (Updates, Installs, and Removals)"));
    markRow->addWidget(clearButton);
    unlistedLabel_ = new HFrameLabel(mainArea_);
    unlistedLabel_->setPalette(Colors::makeWarning(unlistedLabel_->palette()));
    markRow->addWidget(unlistedLabel_);
    applyButton_ = new QPushButton(checkIcon_, tr("&Apply Actions"), mainArea_);
    applyButton_->setToolTip(tr("Applies the specified Actions (Updates, Installs, and Removals)"));
    markRow->addWidget(applyButton_);
    describeButton_->setEnabled(false);
    applyButton_->setEnabled(false);

    connect(modeCombo_, &QComboBox::currentIndexChanged, this, &MainWindow::modeChanged);
    connect(regexpEdit_, &QLineEdit::returnPressed, this, &MainWindow::filtersearch);
    connect(filterButton_, &QPushButton::clicked, this, &MainWindow::filtersearch);
    connect(stateCombo_, &QComboBox::currentIndexChanged, this, &MainWindow::stateFilterChanged);
    connect(dupsCheck_, &QCheckBox::stateChanged, this, &MainWindow::dupsFilterChanged);
    connect(groupsCheck_, &QCheckBox::stateChanged, this, &MainWindow::groupsFilterChanged);
    connect(view_, qOverload<int, int>(&PackageTable::View::currentChanged), this,
            &MainWindow::currentChanged);
    connect(view_, &PackageTable::View::packageFilesDropped, this, &MainWindow::addPackageFiles);
    connect(view_, &PackageTable::View::stateChanged, this,
            qOverload<int>(&MainWindow::stateChanged));
    // Every rebuild of the listing forgets the current row, without saying so.
    // A search through the index lists its rows after it returned.
    connect(proxy_, &PackageTable::SortFilterProxyModel::searchFinished, this, [this] {
        warnUnlistedActions();
        showExpressionError();
    });
    connect(proxy_, &QAbstractItemModel::modelReset, this, [this] {
        currentChanged(proxy_->mapToSource(view_->currentIndex()).row(), -1);
    });
    connect(resizeButton, &QPushButton::clicked, this, &MainWindow::resize);
    connect(refreshButton, &QPushButton::clicked, this, &MainWindow::refresh);
    connect(describeButton_, &QPushButton::clicked, view_, &PackageTable::View::describe);
    connect(selectedButton, &QPushButton::clicked, this, &MainWindow::setSelected);
    connect(listedButton, &QPushButton::clicked, this, &MainWindow::setUpdateListed);
    connect(clearButton, &QPushButton::clicked, this, &MainWindow::clearActions);
    connect(applyButton_, &QPushButton::clicked, this, &MainWindow::apply);
}

QSize MainWindow::sizeHint() const
{
    QSize size = QMainWindow::sizeHint();
    size.setWidth(qMax(size.width(), 768));
    return size;
}

void MainWindow::setVisible(bool visible)
{
    QMainWindow::setVisible(visible);
    // The first showing starts the engine; start-up shows the window once only.
    if (visible)
        QTimer::singleShot(0, this, &MainWindow::initialize);
}

void MainWindow::setReady(bool ready)
{
    // Ready: the window may call into the interpreter again (cache states below).
    Python::PyGILStateWrapper lock(ready && Py_IsInitialized());
    programMenu_->setEnabled(ready);
    quit_->setEnabled(ready);
    repositoriesMenu_->setEnabled(ready);
    editConfiguration_->setEnabled(ready);
    cacheMenu_->setEnabled(ready);
    viewMenu_->setEnabled(ready);
    cleanHeaders_->setEnabled(ready);
    cleanPackages_->setEnabled(ready);
    cleanXmlMetadata_->setEnabled(ready);
    cleanPickled_->setEnabled(ready && yumIO_->hasPickledCache());
    cleanSqlite_->setEnabled(ready && yumIO_->hasSqliteCache());
    cleanAll_->setEnabled(ready);
    mainArea_->setEnabled(ready);
    // The history is read through the interpreter, which a worker holds while busy.
    if (historyWindow_)
        historyWindow_->setEnabled(ready);
    // One busy cursor however often the window is made not ready before it is ready
    // again (options choose the search mode before the first collection).
    if (ready && busy_)
        QApplication::restoreOverrideCursor();
    else if (!ready && !busy_)
        QApplication::setOverrideCursor(QCursor(Qt::BusyCursor));
    busy_ = !ready;
    QEventLoop loop;
    loop.processEvents(QEventLoop::ExcludeUserInputEvents);
}

void MainWindow::initialize()
{
    if (!yumIO_)
        return;
    if (!yumConfIO_) {
        yumConfIO_ = new YumConfIO(yumRepoEnabled, repoUse, this);
        connect(yumConfIO_, &YumConfIO::changed, this, &MainWindow::yumConfIOChanged);
        model_->setYumConfIO(yumConfIO_);
        yumConfIO_->setTextCheck([this](const QString& shown, const QByteArray& text, bool mainFile,
                                         QString& message) {
            return yumIO_->checkRepoText(shown, text, mainFile, message);
        });
    }
    if (openLogAtStart)
        displayLog();
    if (!yumIO_->initialize()) {
        quit();
        return;
    }
    yumConfIO_->setVariables(yumIO_->yumVars());
    if (openRepoEditorAtStart) {
        // The main area shows once the editor reports the repositories to use.
        model_->reset();
        setReady(true);
        editRepositories(true);
        initialized_ = true;
        return;
    }
    bool clearEngine = false;
    if (!checkCredentials(clearEngine)) {
        quit();
        return;
    }
    if (clearEngine)
        yumIO_->clear();
    yumIO_->collect(repoUse);
    if (quitWhenDone_) {
        quit();
        return;
    }
    model_->reset();
    mainArea_->show();
    view_->resizeColumnsToContents();
    filtersearch();
    setReady(true);
    // Typing an expression is the usual first step.
    regexpEdit_->setFocus();
    offerDuplicateRemoval();
    initialized_ = true;
}

void MainWindow::offerDuplicateRemoval()
{
    const QStringList older = yumIO_->olderDuplicates();
    if (older.isEmpty())
        return;
    QMessageBox box(QMessageBox::Warning, tr("Duplicate Packages"),
                    tr("The rpm database holds two versions of the same packages; the older ones are:\n%1\n\n"
                       "A transaction that was interrupted (the process killed, the power lost) leaves "
                       "them behind.\nOrvo can remove the older versions as one transaction, listed for "
                       "confirmation first.\nRemove them now?")
                        .arg(older.join(QLatin1Char('\n'))),
                    QMessageBox::Yes | QMessageBox::No, this);
    box.setDefaultButton(QMessageBox::Yes);
    if (ModalAnswer::exec(box) != QMessageBox::Yes)
        return;
    setReady(false);
    applying_ = true;
    const bool removed = yumIO_->removeDuplicates();
    applying_ = false;
    if (removed)
        collectAgain(true);
    if (yumIO_)
        setReady(true);
}

bool MainWindow::checkCredentials(bool& clearEngine)
{
    const RepoAuth::Checker checker(this, *yumConfIO_);
    clearEngine = checker.wrote();
    return !checker.quit();
}

void MainWindow::collectAgain(bool keepMarks)
{
    if (keepMarks) {
        QStringList dropped;
        yumIO_->collectKeepingMarks(repoUse, dropped);
    } else {
        yumIO_->clear();
        yumIO_->collect(repoUse);
    }
    if (quitWhenDone_) {
        quit();
        return;
    }
    model_->reset();
    // New packages may be wider than the old.
    view_->resizeColumnsToContents();
    // The buttons and the warning follow the marks the new catalogue carries.
    warnUnlistedActions();
    stateChanged(-1);
}

void MainWindow::refresh()
{
    const bool discard = marksMayGo();
    setReady(false);
    systemNote_.clear();
    yumIO_->expireMetadata();
    collectAgain(!discard);
    if (yumIO_)
        setReady(true);
}

bool MainWindow::marksMayGo()
{
    const int marked = yumIO_ ? yumIO_->markedCount() : 0;
    if (!marked)
        return true;
    QMessageBox box(QMessageBox::Question, tr("Marked Actions"),
                    marked == 1 ? tr("1 action is marked. Discard it?")
                                : tr("%1 actions are marked. Discard them?").arg(marked),
                    QMessageBox::Discard | QMessageBox::No, this);
    box.button(QMessageBox::No)->setText(tr("&Keep"));
    box.setDefaultButton(QMessageBox::No);
    box.setEscapeButton(QMessageBox::No);
    return ModalAnswer::exec(box) == QMessageBox::Discard;
}

void MainWindow::collectedAgain(const QString& text)
{
    systemNote_ = text;
    model_->reset();
    warnUnlistedActions();
    stateChanged(-1);
}

void MainWindow::closeEvent(QCloseEvent* event)
{
    if (quitting_ || !yumIO_) {
        event->accept();
        return;
    }
    if (busy_) {
        // A transaction cannot be left halfway; a collection can stop at once.
        event->ignore();
        if (applying_) {
            QMessageBox box(QMessageBox::Information, tr("Orvo"),
                            tr("Changes are being applied to the system.\nOrvo can close once they are done."),
                            QMessageBox::Ok, this);
            ModalAnswer::exec(box);
            return;
        }
        quitWhenDone_ = true;
        yumIO_->cancel();
        return;
    }
    if (!marksMayGo()) {
        event->ignore();
        return;
    }
    event->accept();
    // Asked already: quit() goes on without asking again.
    quitting_ = true;
    quit();
}

void MainWindow::reposChanged()
{
    const bool discard = marksMayGo();
    setReady(false);
    systemNote_.clear();
    bool clearEngine = false;
    if (!checkCredentials(clearEngine)) {
        quit();
        return;
    }
    collectAgain(!discard);
    if (!yumIO_)
        return;
    if (mainArea_->isHidden()) {
        mainArea_->show();
        view_->resizeColumnsToContents();
    }
    setReady(true);
}

void MainWindow::apply()
{
    setReady(false);
    applying_ = true;
    const bool applied = yumIO_->apply();
    applying_ = false;
    if (applied) {
        bool clearEngine = false;
        if (!checkCredentials(clearEngine)) {
            quit();
            return;
        }
        collectAgain();
        if (!yumIO_)
            return;
        if (historyWindow_ && historyWindow_->isVisible())
            historyWindow_->reload();
    }
    warnUnlistedActions();
    stateChanged(-1);
    setReady(true);
}

void MainWindow::clean(bool (YumIO::*operation)(), bool collect)
{
    setReady(false);
    (yumIO_->*operation)();
    // Cleaning caches is no reason to lose the user's marks.
    if (collect)
        collectAgain(true);
    if (yumIO_)
        setReady(true);
}

void MainWindow::cleanHeaders()
{
    clean(&YumIO::cleanHeaders, true);
}

void MainWindow::cleanPackages()
{
    // Downloaded packages are no part of the catalogue.
    clean(&YumIO::cleanPackages, false);
}

void MainWindow::cleanXmlMetadata()
{
    clean(&YumIO::cleanXmlMetadata, true);
}

void MainWindow::cleanPickledCache()
{
    clean(&YumIO::cleanPickledCache, true);
}

void MainWindow::cleanSqliteCache()
{
    clean(&YumIO::cleanSqliteCache, true);
}

void MainWindow::cleanAll()
{
    clean(&YumIO::cleanAll, true);
}

void MainWindow::yumConfIOChanged()
{
    const QString dir = yumConfIO_->cachedir();
    cleanHeaders_->setToolTip(tr("Clean RPM package headers cached locally in %1").arg(dir));
    cleanPackages_->setToolTip(
        tr("Clean RPM packages cached locally in %1\n(useful for recovering disk space)").arg(dir));
    cleanXmlMetadata_->setToolTip(tr("Clean XML metadata cached locally in %1\n(useful along with "
                                     "Clean Pickled Data for\n forcing download of new available "
                                     "package lists)")
                                      .arg(dir));
    cleanPickled_->setToolTip(tr("Clean pickled data cached locally in %1\n(useful along with "
                                 "Clean XML Metadata for\n forcing download of new available "
                                 "package lists)")
                                  .arg(dir));
    cleanSqlite_->setToolTip(tr("Clean sqlite data cached locally in %1\n(useful along with Clean "
                                "XML Metadata for\n forcing download of new available package "
                                "lists)")
                                 .arg(dir));
    cleanAll_->setToolTip(tr("Clean all data cached locally in %1").arg(dir));
}

bool MainWindow::searching() const
{
    return modeCombo_->currentIndex() == PackageTable::Search;
}

void MainWindow::prepareFilterSearch()
{
    const QString text = regexpEdit_->text();
    if (!searching() || text.isEmpty() || text == QLatin1String(".*"))
        return;
    // Options choose the mode before the engine has started; the first collection
    // filters again.
    if (!yumIO_ || !yumIO_->scriptObject())
        return;
    proxy_->setFilter(false);
    yumIO_->collectFileLists();
    yumIO_->collectOtherData();
    yumIO_->buildSearchIndex();
    proxy_->setFilter(true);
}

void MainWindow::filtersearch()
{
    const bool search = searching();
    if (search)
        setReady(false);
    prepareFilterSearch();
    proxy_->setFilterRegExp(regexpEdit_->text());
    if (search)
        setReady(true);
    warnUnlistedActions();
    showExpressionError();
}

void MainWindow::modeChanged(int index)
{
    if (index == PackageTable::Search) {
        setReady(false);
        filterButton_->setText(tr("Search"));
        regexpTip_ = tr("Regular expression to compare to all fields of a package");
        filterButton_->setToolTip(tr("Perform the search for the regular expression specified "
                                     "to the left"));
    } else {
        filterButton_->setText(tr("Filter"));
        regexpTip_ = tr("Regular expression filter matching textual fields visible in the table");
        filterButton_->setToolTip(tr("Apply the filter specified to the left"));
    }
    prepareFilterSearch();
    proxy_->setMode(PackageTable::Mode(index));
    if (index == PackageTable::Search && initialized_)
        setReady(true);
    warnUnlistedActions();
    showExpressionError();
}

void MainWindow::collectedExtraData()
{
    const QString tip = tr("Specify the method for using a regular expression to select packages "
                           "in the table:\n\tFilter uses the textual fields visible in the table, "
                           "as if they were separated by spaces.\n\tSearch uses all fields in "
                           "packages, including list of Files, Change Log, Requires, etc.,\n\t"
                           "independently.  It is considerably slower.");
    if (!yumIO_->fileListsLoaded() || !yumIO_->otherDataLoaded())
        modeCombo_->setToolTip(tr("%1 (Must load extra data.)").arg(tip));
    else
        modeCombo_->setToolTip(tip);
}

void MainWindow::changeFilter(const std::function<void()>& change)
{
    // Searching reads every field of every package: that takes a while.
    const bool search = searching();
    if (search)
        setReady(false);
    change();
    if (search && initialized_)
        setReady(true);
    warnUnlistedActions();
}

void MainWindow::stateFilterChanged(int stateFilter)
{
    changeFilter([&] { proxy_->setStateFilter(PackageTable::StateFilter(stateFilter)); });
}

void MainWindow::dupsFilterChanged(int checked)
{
    changeFilter([&] { proxy_->setDupsFilter(checked != Qt::Unchecked); });
}

void MainWindow::groupsFilterChanged(int checked)
{
    changeFilter([&] { proxy_->setGroupsFilter(checked != Qt::Unchecked); });
}

void MainWindow::setSelected()
{
    model_->setSelected(view_->selectedRows());
    stateChanged(-1);
}

void MainWindow::setUpdateListed()
{
    proxy_->setUpdateListed();
    stateChanged(-1);
}

void MainWindow::securityFilterChanged(bool securityOnly)
{
    changeFilter([&] { proxy_->setSecurityFilter(securityOnly); });
}

void MainWindow::setUpdateSecurityFixes()
{
    proxy_->setUpdateListed(true);
    stateChanged(-1);
}

void MainWindow::clearActions()
{
    model_->clearActions();
    warnUnlistedActions();
    stateChanged(-1);
}

void MainWindow::stateChanged(int row)
{
    if (!yumIO_)
        return;
    bool any = false;
    if (row != -1) {
        const Package::Entry* entry = model_->entry(row);
        any = entry && entry->action != Package::None;
    }
    for (int r = 0, rows = yumIO_->count(); !any && r < rows; ++r)
        any = (*yumIO_)[r]->action != Package::None;
    applyButton_->setEnabled(any);
    exportMarks_->setEnabled(any);
}

void MainWindow::exportMarks()
{
    QList<Export::Marks::Item> items;
    if (!Export::Marks::collect(*yumIO_, items))
        return;
    Export::Dialog dialog(items, this);
    dialog.exec();
}

void MainWindow::stateChanged()
{
    stateChanged(-1);
}

void MainWindow::currentChanged(int currentRow, int previousRow)
{
    Q_UNUSED(previousRow);
    describeButton_->setEnabled(currentRow != -1);
}

void MainWindow::warnConfigure()
{
    // The label keeps the room of its warning, so that the row does not move.
    unlistedLabel_->setText(tr("Unlisted Actions"));
    unlistedLabel_->setFixedSize(unlistedLabel_->sizeHint());
    unlistedLabel_->setText(QString());
}

void MainWindow::warnUnlistedActions()
{
    const int rows = yumIO_ ? yumIO_->count() : 0;
    for (int row = 0; row < rows; ++row) {
        if ((*yumIO_)[row]->action == Package::None)
            continue;
        if (!proxy_->mapFromSource(model_->index(row, 0)).isValid()) {
            unlistedLabel_->setText(tr("Unlisted Actions"));
            unlistedLabel_->setToolTip(
                tr("Some packages have actions specified, but because of the current\nMode, "
                   "Filter, Search, State, Duplicates, and Groups settings,\nthese packages are "
                   "not listed currently.\nPressing Apply will cause these actions to occur "
                   "nonetheless."));
            return;
        }
    }
    // Otherwise the label tells what happened to the catalogue, if anything did.
    unlistedLabel_->setText(systemNote_.isEmpty() ? QString() : tr("Collected Again"));
    unlistedLabel_->setToolTip(systemNote_);
}

void MainWindow::showExpressionError()
{
    const QString why = proxy_->expressionError();
    if (why.isEmpty()) {
        regexpEdit_->setPalette(QPalette());
        regexpEdit_->setToolTip(regexpTip_);
        return;
    }
    QPalette marked = regexpEdit_->palette();
    marked.setColor(QPalette::Base, QColor(Colors::warningBg()));
    regexpEdit_->setPalette(marked);
    const QString text = tr("Invalid regular expression: %1").arg(why);
    regexpEdit_->setToolTip(text);
    unlistedLabel_->setText(unlistedLabel_->fontMetrics().elidedText(why, Qt::ElideRight,
                                                                      unlistedLabel_->contentsRect().width()));
    unlistedLabel_->setToolTip(text);
}

void MainWindow::resize()
{
    view_->resizeColumnsToContents();
}

void MainWindow::displayLog()
{
    if (!logWindow_)
        logWindow_ = new Log::Window(yumIO_->logList(), this);
    logWindow_->show();
    logWindow_->raise();
}

void MainWindow::editRepositories(bool forceReposChanged)
{
    if (!repoEditor_) {
        repoEditor_ = new RepoEditor::Dialog(yumIO_, yumConfIO_, this);
        connect(repoEditor_, &RepoEditor::Dialog::reposChanged, this, &MainWindow::reposChanged);
    }
    repoEditor_->setForceReposChanged(forceReposChanged);
    repoEditor_->exec();
}

void MainWindow::editRepositories()
{
    editRepositories(false);
}

void MainWindow::quit()
{
    if (!yumIO_)
        return;
    // Asked for from the menu while ready: marks are not dropped silently.
    if (!quitting_ && !quitWhenDone_ && !busy_ && !marksMayGo())
        return;
    quitting_ = true;
    yumIO_->clearEntriesBeforeQuit();
    model_->detachEngine();
    if (logWindow_ && logWindow_->isVisible())
        logWindow_->hide();
    close();
    delete yumIO_;
    yumIO_ = nullptr;
}

void MainWindow::manualHtml()
{
    Execute::execute(this, QStringList{Share::absolute(QStringLiteral("webbrowser")),
                                       QStringLiteral("%1/html/index.html")
                                           .arg(Share::documentation())});
}

void MainWindow::manualPdf()
{
    Execute::execute(this, QStringList{Share::absolute(QStringLiteral("mimeviewer")),
                                       QStringLiteral("application/pdf"),
                                       QStringLiteral("%1/manual.pdf").arg(Share::documentation())});
}

void MainWindow::about()
{
    QMessageBox::about(
        this, tr("About"),
        tr("<h3>Orvo %1</h3><hr><p>Orvo, Orvonet, is a graphical user interface which allows a "
           "user to make modifications to the installed rpm packages on a system.</p>"
           "<p>Capabilities:<p><ul><li>Install new packages or update existing packages by "
           "downloading them from a yum package repository</li><li>Remove existing packages."
           "</li><li>Configure sets of repositories from which to obtain new and updated "
           "packages.</li><li>Examine installed packages or packages available for installation "
           "or update</li><li>Install, update, or remove groups of packages</li><li>Install or "
           "update suites of packages</li></ul><p>For more information see "
           "<a href=\"https://orvonet.org/orvo\">https://orvonet.org/orvo</a></p>")
            .arg(QStringLiteral("1.11.11")));
}

void MainWindow::setMode(PackageTable::Mode mode)
{
    modeCombo_->setCurrentIndex(mode);
}

void MainWindow::setRegexp(const char* regexp)
{
    regexpEdit_->setText(QString::fromLocal8Bit(regexp));
}

void MainWindow::setStateFilter(PackageTable::StateFilter stateFilter)
{
    stateCombo_->setCurrentIndex(stateFilter);
}

void MainWindow::setDups(bool dups)
{
    dupsCheck_->setChecked(dups);
}

void MainWindow::setGroups(bool groups)
{
    groupsCheck_->setChecked(groups);
}

PackageTable::Mode MainWindow::mode() const
{
    return PackageTable::Mode(modeCombo_->currentIndex());
}

QString MainWindow::regexp() const
{
    return regexpEdit_->text();
}

PackageTable::StateFilter MainWindow::stateFilter() const
{
    return PackageTable::StateFilter(stateCombo_->currentIndex());
}

bool MainWindow::dups() const
{
    return dupsCheck_->isChecked();
}

bool MainWindow::groups() const
{
    return groupsCheck_->isChecked();
}
