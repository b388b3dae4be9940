#pragma once

#include "packagetable/PackageTable.h"
#include "repo/YumRepoEnabled.h"

#include <QHash>
#include <QIcon>
#include <QList>
#include <QMainWindow>

#include <functional>

class HFrameLabel;
class QCloseEvent;
class HMenu;
class HProgressBar;
class QAction;
class QCheckBox;
class QComboBox;
class QLineEdit;
class QPushButton;
class HistoryWindow;
class YumConfIO;
class YumIO;
class YumIOVersions;

namespace Log {
class Window;
}
namespace PackageTable {
class Model;
class SortFilterProxyModel;
class View;
}
namespace RepoEditor {
class Dialog;
}

// The program's only main window: owns the engine, the package table, the filter
// controls, the buttons, the progress bars and the menus.  Every command that makes the
// engine work makes the window not ready, runs the operation, resets the table and makes
// the window ready again.
class MainWindow final : public QMainWindow
{
    Q_OBJECT
    Q_DISABLE_COPY(MainWindow)

public:
    explicit MainWindow(QWidget* parent = nullptr);
    ~MainWindow() override;

    QSize sizeHint() const override;
    void setVisible(bool visible) override;

    void setMode(PackageTable::Mode mode);
    void setRegexp(const char* regexp);
    void setStateFilter(PackageTable::StateFilter stateFilter);
    void setDups(bool dups);
    void setGroups(bool groups);

    PackageTable::Mode mode() const;
    QString regexp() const;
    PackageTable::StateFilter stateFilter() const;
    bool dups() const;
    bool groups() const;

    // Start-up requests, set from the command line before the first showing.
    bool openRepoEditorAtStart = false;
    bool openLogAtStart = false;
    QList<YumRepoEnabled> yumRepoEnabled;
    QHash<QString, bool> repoUse;

    // What the window is made of, for those who drive it without a pointer.
    YumIO* yumIO() const { return yumIO_; }
    YumConfIO* yumConfIO() const { return yumConfIO_; }
    PackageTable::Model* model() const { return model_; }
    PackageTable::SortFilterProxyModel* proxy() const { return proxy_; }
    PackageTable::View* view() const { return view_; }
    QWidget* mainArea() const { return mainArea_; }
    QPushButton* applyButton() const { return applyButton_; }
    QPushButton* describeButton() const { return describeButton_; }
    HFrameLabel* unlistedLabel() const { return unlistedLabel_; }
    QComboBox* modeCombo() const { return modeCombo_; }
    QLineEdit* regexpEdit() const { return regexpEdit_; }
    QAction* cleanPickledAction() const { return cleanPickled_; }
    QAction* cleanSqliteAction() const { return cleanSqlite_; }
    QAction* securityOnlyAction() const { return securityOnly_; }
    QAction* securityFixesAction() const { return securityFixes_; }
    QAction* exportMarksAction() const { return exportMarks_; }
    Log::Window* logWindow() const { return logWindow_; }
    RepoEditor::Dialog* repoEditor() const { return repoEditor_; }
    HistoryWindow* historyWindow() const { return historyWindow_; }
    bool initialized() const { return initialized_; }

public Q_SLOTS:
    void resize();
    void refresh();
    void reposChanged();
    void initialize();
    void yumConfIOChanged();
    void quit();
    void displayLog();
    void editRepositories(bool forceReposChanged);
    void editRepositories();
    void cleanHeaders();
    void cleanPackages();
    void cleanXmlMetadata();
    void cleanPickledCache();
    void cleanSqliteCache();
    void cleanAll();
    void manualHtml();
    void manualPdf();
    void about();
    void filtersearch();
    void currentChanged(int currentRow, int previousRow);
    void stateChanged(int row);
    void stateChanged();
    void modeChanged(int index);
    void collectedExtraData();
    void stateFilterChanged(int stateFilter);
    void dupsFilterChanged(int checked);
    void groupsFilterChanged(int checked);
    void setSelected();
    void setUpdateListed();
    void securityFilterChanged(bool securityOnly);
    void setUpdateSecurityFixes();
    void clearActions();
    void apply();
    // The package manager's history, undo, and package files from disk.
    void displayHistory();
    void undoTransaction(int id);
    void installPackageFiles();
    void addPackageFiles(const QStringList& paths);
    // Hands the marked actions on as a playbook or a kickstart list.
    void exportMarks();

protected:
    void closeEvent(QCloseEvent* event) override;

private:
    void createMenus();
    void createMainArea();
    void setReady(bool ready);
    bool searching() const;
    void prepareFilterSearch();
    void warnConfigure();
    void warnUnlistedActions();
    // Marks the expression field when the expression does not compile.
    void showExpressionError();
    // The credentials check; false when the user chose to quit.
    bool checkCredentials(bool& clearEngine);
    void collectAgain(bool keepMarks = false);
    // Asks, when actions are marked, whether they may go; true when they may (or none are).
    bool marksMayGo();
    // Older duplicates of installed packages found at start are offered for removal.
    void offerDuplicateRemoval();
    // The engine collected again before applying: the table and the label follow.
    void collectedAgain(const QString& text);
    void clean(bool (YumIO::*operation)(), bool collect);
    void changeFilter(const std::function<void()>& change);

    QIcon updateIcon_;
    QIcon emptyIcon_;
    QIcon checkIcon_;

    YumIO* yumIO_;
    YumConfIO* yumConfIO_ = nullptr;
    bool initialized_ = false;
    bool busy_ = false;
    bool applying_ = false;
    // Closing was asked for while a collection ran: the window quits once it ends.
    bool quitWhenDone_ = false;
    bool quitting_ = false;
    QString systemNote_;

    HMenu* programMenu_ = nullptr;
    HMenu* repositoriesMenu_ = nullptr;
    HMenu* cacheMenu_ = nullptr;
    QAction* quit_ = nullptr;
    QAction* exportMarks_ = nullptr;
    QAction* editConfiguration_ = nullptr;
    QAction* cleanHeaders_ = nullptr;
    QAction* cleanPackages_ = nullptr;
    QAction* cleanXmlMetadata_ = nullptr;
    QAction* cleanPickled_ = nullptr;
    QAction* cleanSqlite_ = nullptr;
    QAction* cleanAll_ = nullptr;
    HMenu* viewMenu_ = nullptr;
    QAction* securityOnly_ = nullptr;
    QAction* securityFixes_ = nullptr;

    QWidget* mainArea_ = nullptr;
    QComboBox* modeCombo_ = nullptr;
    QLineEdit* regexpEdit_ = nullptr;
    // The expression field's own tip, shown while the expression is valid.
    QString regexpTip_;
    QPushButton* filterButton_ = nullptr;
    QComboBox* stateCombo_ = nullptr;
    QCheckBox* dupsCheck_ = nullptr;
    QCheckBox* groupsCheck_ = nullptr;
    PackageTable::Model* model_ = nullptr;
    PackageTable::SortFilterProxyModel* proxy_ = nullptr;
    PackageTable::View* view_ = nullptr;
    QPushButton* describeButton_ = nullptr;
    QPushButton* applyButton_ = nullptr;
    HFrameLabel* unlistedLabel_ = nullptr;
    HProgressBar* firstBar_ = nullptr;
    HProgressBar* secondBar_ = nullptr;

    RepoEditor::Dialog* repoEditor_ = nullptr;
    Log::Window* logWindow_ = nullptr;
    YumIOVersions* versions_ = nullptr;
    HistoryWindow* historyWindow_ = nullptr;
};
