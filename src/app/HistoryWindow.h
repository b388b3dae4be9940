#pragma once

#include <QDialog>

class QPushButton;
class QTreeWidget;
class YumIOVersions;

// The managed root's past transactions as the package manager recorded them, newest
// first, with the packages of the selected one; "Undo" asks the main window to mark
// its inverse.
class HistoryWindow final : public QDialog
{
    Q_OBJECT
    Q_DISABLE_COPY(HistoryWindow)

public:
    HistoryWindow(YumIOVersions* versions, QWidget* parent);

    // Reads the history again, keeping the selected transaction when it is still there.
    void reload();
    int selectedId() const;
    void select(int id);
    QTreeWidget* transactionsView() const { return transactions_; }
    QTreeWidget* packagesView() const { return packages_; }
    QPushButton* undoButton() const { return undo_; }

Q_SIGNALS:
    void undoRequested(int id);

private:
    void showPackages();

    YumIOVersions* versions_;
    QTreeWidget* transactions_;
    QTreeWidget* packages_;
    QPushButton* undo_;
};
