// The main window's history, undo and package files: the engine's answers put into the
// table, the rest of the window as after any change of marks.

#include <Python.h>

#include "app/MainWindow.h"

#include "app/HistoryWindow.h"
#include "packagetable/PackageTableModel.h"
#include "packagetable/PackageTableView.h"
#include "widgets/ModalAnswer.h"
#include "yumio/PackageEntry.h"
#include "yumio/YumIO.h"
#include "yumio/YumIOVersions.h"

#include <QFileDialog>
#include <QMessageBox>

#include <algorithm>

void MainWindow::displayHistory()
{
    if (!versions_)
        versions_ = new YumIOVersions(yumIO_);
    if (!historyWindow_) {
        historyWindow_ = new HistoryWindow(versions_, this);
        connect(historyWindow_, &HistoryWindow::undoRequested, this, &MainWindow::undoTransaction);
    }
    historyWindow_->reload();
    historyWindow_->show();
    historyWindow_->raise();
}

void MainWindow::undoTransaction(int id)
{
    if (!versions_)
        versions_ = new YumIOVersions(yumIO_);
    QStringList missing;
    const int marked = versions_->undo(id, missing);
    model_->reset();
    view_->fitActionColumn();
    warnUnlistedActions();
    stateChanged(-1);
    QString text;
    if (marked == 0 && missing.isEmpty()) {
        const QVector<YumIOVersions::Item> items = versions_->items(id);
        const bool reinstalls = !items.isEmpty() && std::all_of(items.cbegin(), items.cend(), [](const auto& item) {
            return item.what.startsWith(QLatin1String("Reinstall"));
        });
        text = reinstalls ? tr("Nothing to undo for transaction %1: it only reinstalled packages.").arg(id)
                          : tr("Nothing to undo for transaction %1: what it changed is no longer as it left it.").arg(id);
    }
    else if (!missing.isEmpty())
        text = tr("These versions are no longer available in any repository and are left out:\n%1")
                   .arg(missing.join(QLatin1Char('\n')));
    if (marked > 0)
        text = tr("Marked %n action(s) that undo transaction %1; apply them to undo it.", nullptr, marked).arg(id)
            + (text.isEmpty() ? QString() : QStringLiteral("\n\n") + text);
    QMessageBox box(missing.isEmpty() ? QMessageBox::Information : QMessageBox::Warning, tr("Undo"), text,
                    QMessageBox::Ok, historyWindow_ ? static_cast<QWidget*>(historyWindow_) : this);
    ModalAnswer::exec(box);
}

void MainWindow::installPackageFiles()
{
    QFileDialog dialog(this, tr("Install Package Files"), QString(), tr("RPM package files (*.rpm)"));
    dialog.setFileMode(QFileDialog::ExistingFiles);
    if (ModalAnswer::exec(dialog) != QDialog::Accepted)
        return;
    addPackageFiles(dialog.selectedFiles());
}

void MainWindow::addPackageFiles(const QStringList& paths)
{
    if (paths.isEmpty() || !yumIO_)
        return;
    if (!versions_)
        versions_ = new YumIOVersions(yumIO_);
    const QStringList problems = versions_->addPackageFiles(paths);
    if (!problems.isEmpty()) {
        QMessageBox box(QMessageBox::Warning, tr("Install Package Files"),
                        tr("Left out:\n%1").arg(problems.join(QLatin1Char('\n'))), QMessageBox::Ok, this);
        ModalAnswer::exec(box);
    }
    if (problems.size() >= paths.size())
        return;
    setReady(false);
    collectAgain(true);
    if (!yumIO_)
        return;
    // The files' packages are the command line's repository in the catalogue.
    for (int row = 0; row < yumIO_->count(); ++row) {
        Package::Entry* e = model_->entry(row);
        if (e && e->repo == QLatin1String("@commandline") && e->state == Package::AvailableForInstallation
            && e->action == Package::None)
            model_->setAction(model_->index(row, 0), Package::Install);
    }
    warnUnlistedActions();
    stateChanged(-1);
    setReady(true);
}
