#pragma once

#include <QDialog>

// A dialog that Return and Enter neither close nor answer: its forms take several
// fields, and a Return typed into one of them must not apply a half-edited form.
class HDialog : public QDialog
{
    Q_OBJECT
    Q_DISABLE_COPY(HDialog)

public:
    explicit HDialog(QWidget* parent = nullptr);

protected:
    void keyPressEvent(QKeyEvent* event) override;
};
