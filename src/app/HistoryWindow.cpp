#include "app/HistoryWindow.h"

#include "yumio/YumIOVersions.h"

#include <QDateTime>
#include <QDialogButtonBox>
#include <QHeaderView>
#include <QPushButton>
#include <QSplitter>
#include <QTreeWidget>
#include <QVBoxLayout>

namespace {

QTreeWidget* makeList(const QStringList& headers, QWidget* parent)
{
    auto* view = new QTreeWidget(parent);
    view->setRootIsDecorated(false);
    view->setAlternatingRowColors(true);
    view->setUniformRowHeights(true);
    view->setHeaderLabels(headers);
    view->header()->setStretchLastSection(true);
    return view;
}

} // namespace

HistoryWindow::HistoryWindow(YumIOVersions* versions, QWidget* parent)
    : QDialog(parent)
    , versions_(versions)
{
    setWindowTitle(tr("Orvo Transaction History"));
    auto* layout = new QVBoxLayout(this);
    auto* splitter = new QSplitter(Qt::Vertical, this);
    transactions_ = makeList({ tr("Id"), tr("Date and Time"), tr("Installed"), tr("Updated"), tr("Removed"),
                               tr("Started By") },
                             splitter);
    transactions_->setToolTip(tr("Transactions recorded by the package manager, newest first"));
    // A long command line keeps its end, where the command and the packages are.
    transactions_->setTextElideMode(Qt::ElideLeft);
    packages_ = makeList({ tr("Action"), tr("Name"), tr("Version"), tr("Architecture"), tr("Repository") }, splitter);
    packages_->setSelectionMode(QAbstractItemView::NoSelection);
    splitter->addWidget(transactions_);
    splitter->addWidget(packages_);
    layout->addWidget(splitter);

    auto* buttons = new QDialogButtonBox(this);
    undo_ = buttons->addButton(tr("&Undo"), QDialogButtonBox::ActionRole);
    undo_->setToolTip(tr("Marks in the package table what reverses the selected transaction.\n"
                         "Nothing changes until the actions are applied."));
    undo_->setEnabled(false);
    QPushButton* close = buttons->addButton(QDialogButtonBox::Close);
    layout->addWidget(buttons);

    connect(transactions_, &QTreeWidget::currentItemChanged, this, &HistoryWindow::showPackages);
    connect(undo_, &QPushButton::clicked, this, [this] {
        if (selectedId() > 0)
            Q_EMIT undoRequested(selectedId());
    });
    connect(close, &QPushButton::clicked, this, &QDialog::accept);
    resize(760, 520);
}

void HistoryWindow::reload()
{
    const int keep = selectedId();
    transactions_->clear();
    for (const YumIOVersions::Transaction& t : versions_->transactions()) {
        auto* item = new QTreeWidgetItem(transactions_);
        item->setData(0, Qt::DisplayRole, t.id);
        item->setText(1, QDateTime::fromSecsSinceEpoch(t.time).toString(QStringLiteral("yyyy-MM-dd hh:mm:ss")));
        item->setData(2, Qt::DisplayRole, t.installed);
        item->setData(3, Qt::DisplayRole, t.updated);
        item->setData(4, Qt::DisplayRole, t.removed);
        // dnf records the arguments it was given; Orvo records its own name.
        item->setText(5, t.commandLine.isEmpty() ? tr("(not recorded)") : t.commandLine);
        item->setToolTip(5, t.commandLine);
        if (t.returnCode != 0)
            item->setToolTip(0, tr("The transaction failed (code %1)").arg(t.returnCode));
    }
    for (int c = 0; c < 5; ++c)
        transactions_->resizeColumnToContents(c);
    select(keep > 0 ? keep : (transactions_->topLevelItemCount() ? transactions_->topLevelItem(0)->data(0, Qt::DisplayRole).toInt() : 0));
    showPackages();
}

int HistoryWindow::selectedId() const
{
    const QTreeWidgetItem* item = transactions_->currentItem();
    return item ? item->data(0, Qt::DisplayRole).toInt() : 0;
}

void HistoryWindow::select(int id)
{
    for (int i = 0; i < transactions_->topLevelItemCount(); ++i) {
        QTreeWidgetItem* item = transactions_->topLevelItem(i);
        if (item->data(0, Qt::DisplayRole).toInt() == id) {
            transactions_->setCurrentItem(item);
            return;
        }
    }
}

void HistoryWindow::showPackages()
{
    packages_->clear();
    const int id = selectedId();
    undo_->setEnabled(id > 0);
    if (id <= 0)
        return;
    for (const YumIOVersions::Item& i : versions_->items(id))
        new QTreeWidgetItem(packages_, { i.what, i.name, i.verRel, i.arch, i.repo });
    for (int c = 0; c < 4; ++c)
        packages_->resizeColumnToContents(c);
}
