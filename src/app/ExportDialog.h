#pragma once

#include "yumio/ExportMarks.h"

#include <QDialog>
#include <QList>

class QComboBox;
class QLineEdit;
class QPlainTextEdit;
class QPushButton;

namespace Export {

// Shows the marked actions as a playbook or a kickstart list before they are saved:
// the user picks the format and names the hosts, and sees the text that will be written.
class Dialog final : public QDialog
{
    Q_OBJECT
    Q_DISABLE_COPY(Dialog)

public:
    enum Format { Playbook = 0, Kickstart = 1 };

    Dialog(const QList<Marks::Item>& items, QWidget* parent);

    // Modal; answered through ModalAnswer in unattended runs.
    int exec() override;

    QString text() const;
    QComboBox* formatCombo() const { return format_; }
    QLineEdit* hostsEdit() const { return hosts_; }
    QPlainTextEdit* preview() const { return preview_; }
    QPushButton* saveButton() const { return save_; }

    // Writes the shown text to path; false, after telling the user, when it cannot.
    bool saveTo(const QString& path);

public Q_SLOTS:
    // Asks for a file and writes the text to it.
    void save();

private:
    void refresh();

    QList<Marks::Item> items_;
    QComboBox* format_;
    QLineEdit* hosts_;
    QPlainTextEdit* preview_;
    QPushButton* save_;
};

} // namespace Export
