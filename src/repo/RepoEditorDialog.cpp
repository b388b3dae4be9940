#include "repo/RepoEditorDialog.h"

#include "repo/RepoEditorConfigDialog.h"
#include "repo/RepoEditorModel.h"
#include "repo/RepoEditorSortFilterProxyModel.h"
#include "repo/RepoEditorView.h"
#include "repo/RepoEntry.h"
#include "repo/YumConfIO.h"
#include "widgets/Colors.h"
#include "widgets/HFrameLabel.h"
#include "widgets/ModalAnswer.h"

#include <QHBoxLayout>
#include <QHeaderView>
#include <QHideEvent>
#include <QPushButton>
#include <QShowEvent>
#include <QVBoxLayout>

#include <algorithm>

namespace RepoEditor {

Dialog::Dialog(YumIO* engine, YumConfIO* yumConfIO, QWidget* parent)
    : HDialog(parent)
    , yumConfIO_(yumConfIO)
    , model_(new Model(engine, yumConfIO, this))
    , proxy_(new SortFilterProxyModel(this))
    , view_(new View(model_, proxy_, this))
    , status_(new HFrameLabel(this))
{
    setWindowTitle(tr("Orvo Repository Configuration Editor"));
    view_->setObjectName(QStringLiteral("view"));
    status_->setObjectName(QStringLiteral("status"));

    browseButton_ = addButton(tr("Browse Repository"),
                              tr("Browse the first URL specified for the selected repository using an "
                                 "external web browser"),
                              "browse");
    editButton_ = addButton(tr("Edit"), tr("Edit the selected repository configuration"), "edit");
    addButton_ = addButton(tr("Add"), tr("Create a new repository configuration from scratch"), "add");
    copyButton_ = addButton(tr("Copy"), tr("Create a new repository configuration based on the selected repository"),
                            "copy");
    removeButton_ = addButton(tr("Remove"), tr("Remove the selected repository configuration"), "remove");
    resetAllButton_ = addButton(tr("Reset All"),
                                tr("Undo changes to all repository configurations since the last Apply or "
                                   "opening of the dialog"),
                                "resetAll");
    QPushButton* cancelButton = addButton(tr("Cancel"),
                                          tr("Undo changes to all repository configurations since the last "
                                             "Apply or opening of the dialog, and close the window"),
                                          "cancel");
    applyButton_ = addButton(tr("Apply"),
                             tr("Apply changes to all repository configurations, but do not close the window"),
                             "apply");
    QPushButton* okButton = addButton(tr("OK"),
                                      tr("Apply changes to all repository configurations, and close the window"),
                                      "ok");

    auto* layout = new QVBoxLayout(this);
    auto* top = new QHBoxLayout;
    auto* left = new QVBoxLayout;
    for (QPushButton* button : {browseButton_, editButton_, addButton_, copyButton_, removeButton_})
        left->addWidget(button);
    left->addStretch();
    top->addLayout(left);
    top->addWidget(view_, 1);
    layout->addLayout(top, 1);
    layout->addWidget(status_);
    auto* bottom = new QHBoxLayout;
    bottom->addWidget(resetAllButton_);
    bottom->addStretch();
    bottom->addWidget(cancelButton);
    bottom->addWidget(applyButton_);
    bottom->addWidget(okButton);
    layout->addLayout(bottom);

    connect(browseButton_, &QPushButton::clicked, this, &Dialog::browse);
    connect(editButton_, &QPushButton::clicked, this, &Dialog::edit);
    connect(addButton_, &QPushButton::clicked, this, &Dialog::add);
    connect(copyButton_, &QPushButton::clicked, this, &Dialog::copy);
    connect(removeButton_, &QPushButton::clicked, this, &Dialog::remove);
    connect(resetAllButton_, &QPushButton::clicked, this, &Dialog::resetAll);
    connect(cancelButton, &QPushButton::clicked, this, &Dialog::reject);
    connect(applyButton_, &QPushButton::clicked, this, &Dialog::apply);
    connect(okButton, &QPushButton::clicked, this, &Dialog::ok);

    connect(model_, &Model::useChanged, this, [this] {
        useChanged_ = true;
        refresh();
    });
    connect(model_, &Model::configChanged, this, [this] {
        configChanged_ = true;
        refresh();
    });
    connect(view_, &View::currentRowChanged, this, &Dialog::refresh);
    connect(view_, &View::editRequested, this, &Dialog::edit);
    refresh();
}

QPushButton* Dialog::addButton(const QString& text, const QString& toolTip, const char* objectName)
{
    auto* button = new QPushButton(text, this);
    button->setToolTip(toolTip);
    button->setObjectName(QLatin1String(objectName));
    button->setAutoDefault(false);
    return button;
}

int Dialog::exec()
{
    return ModalAnswer::exec(*this);
}

void Dialog::showEvent(QShowEvent* event)
{
    HDialog::showEvent(event);
    if (event->spontaneous())
        return;
    savedUse_ = yumConfIO_->sessionUse();
    readOk_ = yumConfIO_->read(this);
    model_->reset();
    view_->horizontalHeader()->setSortIndicator(Model::IdColumn, Qt::AscendingOrder);
    view_->sortByColumn(Model::IdColumn);
    view_->resizeColumnsToContents();
    entryChanged_ = configChanged_ = applied_ = useChanged_ = false;
    view_->setCurrentRow(-1);
    refresh();
}

void Dialog::hideEvent(QHideEvent* event)
{
    HDialog::hideEvent(event);
    if (event->spontaneous())
        return;
    const bool emitChanged = applied_ || useChanged_ || forceReposChanged_;
    forceReposChanged_ = false;
    if (emitChanged)
        Q_EMIT reposChanged();
}

ConfigDialog* Dialog::configDialog()
{
    if (!configDialog_) {
        configDialog_ = new ConfigDialog(yumConfIO_, this);
        connect(configDialog_, &ConfigDialog::changed, this, [this] { entryChanged_ = true; });
    }
    return configDialog_;
}

bool Dialog::runForm(Repo::Entry* entry)
{
    ConfigDialog* form = configDialog();
    form->setEntry(entry);
    return form->exec() == QDialog::Accepted;
}

QString Dialog::currentId() const
{
    const int row = view_->currentRow();
    return row < 0 ? QString() : yumConfIO_->repos().at(row).id;
}

void Dialog::selectId(const QString& id)
{
    const QList<Repo::Entry>& repos = yumConfIO_->repos();
    const auto found = std::find_if(repos.cbegin(), repos.cend(),
                                    [&id](const Repo::Entry& entry) { return entry.id == id; });
    view_->setCurrentRow(id.isEmpty() || found == repos.cend() ? -1 : int(found - repos.cbegin()));
}

void Dialog::refresh()
{
    const bool current = readOk_ && view_->currentRow() >= 0;
    for (QPushButton* button : {browseButton_, editButton_, copyButton_, removeButton_})
        button->setEnabled(current);
    addButton_->setEnabled(readOk_);
    view_->setEnabled(readOk_);
    const bool changed = entryChanged_ || configChanged_;
    resetAllButton_->setEnabled(changed);
    applyButton_->setEnabled(changed);

    QString duplicates;
    if (yumConfIO_->hasEmptyId()) {
        status_->setPalette(Colors::makeError(status_->palette()));
        status_->setText(tr("A repository has no Identifier"));
    } else if (!(duplicates = yumConfIO_->getDuplicateId()).isEmpty()) {
        status_->setPalette(Colors::makeError(status_->palette()));
        status_->setText(tr("Two or more repositories have the Identifier, %1").arg(duplicates));
    } else if (changed) {
        status_->setPalette(Colors::makeOK(status_->palette()));
        status_->setText(tr("Unapplied Configuration Changes"));
    } else {
        status_->setText(QString());
    }
}

void Dialog::browse()
{
    const int row = view_->currentRow();
    if (row >= 0)
        model_->browse(model_->index(row, 0), this);
}

void Dialog::edit()
{
    const int row = view_->currentRow();
    if (row < 0 || !readOk_)
        return;
    if (runForm(&yumConfIO_->repos()[row])) {
        model_->dataChanged(row);
        configChanged_ = true;
    }
    refresh();
}

void Dialog::add()
{
    if (!readOk_)
        return;
    Repo::Entry entry;
    if (runForm(&entry)) {
        view_->setCurrentRow(model_->addRow(entry));
        configChanged_ = true;
    }
    refresh();
}

void Dialog::copy()
{
    const int row = view_->currentRow();
    if (row < 0 || !readOk_)
        return;
    Repo::Entry entry = yumConfIO_->repos().at(row);
    // A new section, wherever its position puts it.
    entry.origin = -1;
    if (runForm(&entry)) {
        view_->setCurrentRow(model_->addRow(entry));
        configChanged_ = true;
    }
    refresh();
}

void Dialog::remove()
{
    QList<int> rows = view_->selectedRows();
    if (rows.isEmpty() && view_->currentRow() >= 0)
        rows.append(view_->currentRow());
    if (rows.isEmpty())
        return;
    std::sort(rows.begin(), rows.end(), std::greater<int>());
    for (int row : qAsConst(rows))
        model_->removeRow(row);
    configChanged_ = true;
    refresh();
}

void Dialog::resetAll()
{
    const QString id = currentId();
    yumConfIO_->sessionUse() = savedUse_;
    readOk_ = yumConfIO_->read(this);
    model_->reset();
    selectId(id);
    entryChanged_ = configChanged_ = useChanged_ = false;
    refresh();
}

bool Dialog::apply()
{
    const QString id = currentId();
    const bool written = yumConfIO_->write(this);
    // Even a declined or failed write may have dropped entries without an identifier
    // or with a repeated one.
    model_->reset();
    selectId(id);
    if (written) {
        entryChanged_ = configChanged_ = false;
        applied_ = true;
    }
    refresh();
    return written;
}

void Dialog::ok()
{
    if ((!entryChanged_ && !configChanged_) || apply())
        accept();
}

void Dialog::reject()
{
    // With nothing changed there is nothing to undo, and no need to read again.
    if (entryChanged_ || configChanged_ || useChanged_)
        resetAll();
    HDialog::reject();
}

} // namespace RepoEditor
