#include "app/ExportDialog.h"

#include "widgets/Fonts.h"
#include "widgets/ModalAnswer.h"

#include <QComboBox>
#include <QDialogButtonBox>
#include <QFile>
#include <QFileDialog>
#include <QFormLayout>
#include <QLineEdit>
#include <QMessageBox>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QVBoxLayout>

namespace Export {

Dialog::Dialog(const QList<Marks::Item>& items, QWidget* parent)
    : QDialog(parent)
    , items_(items)
    , format_(new QComboBox(this))
    , hosts_(new QLineEdit(QStringLiteral("all"), this))
    , preview_(new QPlainTextEdit(this))
{
    setWindowTitle(tr("Export Marked Actions"));
    format_->addItem(tr("Ansible playbook"));
    format_->addItem(tr("Kickstart package list"));
    format_->setToolTip(tr("An Ansible playbook applies the actions to existing hosts;\n"
                           "a kickstart %packages section gives them to new installations"));
    hosts_->setToolTip(tr("The inventory group (or host pattern) the playbook is for"));
    preview_->setReadOnly(true);
    preview_->setFont(Fonts::makeFixed(preview_->font()));
    preview_->setLineWrapMode(QPlainTextEdit::NoWrap);

    auto* form = new QFormLayout;
    form->addRow(tr("&Format:"), format_);
    form->addRow(tr("&Hosts:"), hosts_);
    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Close, this);
    save_ = buttons->addButton(tr("&Save..."), QDialogButtonBox::AcceptRole);
    save_->setDefault(true);
    auto* layout = new QVBoxLayout(this);
    layout->addLayout(form);
    layout->addWidget(preview_, 1);
    layout->addWidget(buttons);

    connect(format_, &QComboBox::currentIndexChanged, this, &Dialog::refresh);
    connect(hosts_, &QLineEdit::textChanged, this, &Dialog::refresh);
    // Saving does not close the dialog by itself: a refused file keeps the preview.
    connect(save_, &QPushButton::clicked, this, &Dialog::save);
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
    refresh();
    resize(640, 480);
}

int Dialog::exec()
{
    return ModalAnswer::exec(*this);
}

QString Dialog::text() const
{
    return preview_->toPlainText();
}

void Dialog::refresh()
{
    const bool playbook = format_->currentIndex() == Playbook;
    hosts_->setEnabled(playbook);
    preview_->setPlainText(playbook ? Marks::playbook(items_, hosts_->text()) : Marks::kickstart(items_));
}

void Dialog::save()
{
    const bool playbook = format_->currentIndex() == Playbook;
    QFileDialog files(this, tr("Save Marked Actions"));
    // Not the platform's own dialog: tests answer it like any other.
    files.setOption(QFileDialog::DontUseNativeDialog);
    files.setAcceptMode(QFileDialog::AcceptSave);
    files.setNameFilter(playbook ? tr("Ansible playbooks (*.yml *.yaml)") : tr("Kickstart files (*.ks *.cfg)"));
    files.setDefaultSuffix(playbook ? QStringLiteral("yml") : QStringLiteral("ks"));
    files.selectFile(playbook ? QStringLiteral("orvo-actions.yml") : QStringLiteral("orvo-packages.ks"));
    if (ModalAnswer::exec(files) != QDialog::Accepted || files.selectedFiles().isEmpty())
        return;
    if (saveTo(files.selectedFiles().constFirst()))
        accept();
}

bool Dialog::saveTo(const QString& path)
{
    QFile file(path);
    const QByteArray data = text().toUtf8();
    if (file.open(QIODevice::WriteOnly | QIODevice::Truncate) && file.write(data) == data.size() && file.flush())
        return true;
    QMessageBox box(QMessageBox::Critical, tr("Export Marked Actions"),
                    tr("Unable to write %1:\n%2").arg(path, file.errorString()), QMessageBox::Ok, this);
    ModalAnswer::exec(box);
    return false;
}

} // namespace Export
