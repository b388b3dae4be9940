#pragma once

#include "packagetable/PackageTable.h"
#include "repo/YumRepoEnabled.h"

#include <QHash>
#include <QList>
#include <QMainWindow>

class QCheckBox;
class QComboBox;
class QLineEdit;
class QPushButton;

class MainWindow final : public QMainWindow
{
    Q_OBJECT
    Q_DISABLE_COPY(MainWindow)

public:
    explicit MainWindow(QWidget* parent = nullptr);
    ~MainWindow() override;

    QSize sizeHint() const override;

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

private:
    QComboBox* modeCombo_;
    QLineEdit* regexpEdit_;
    QPushButton* filterButton_;
    QComboBox* stateCombo_;
    QCheckBox* dupsCheck_;
    QCheckBox* groupsCheck_;
};
