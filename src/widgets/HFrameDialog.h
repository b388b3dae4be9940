#pragma once

#include <QDialog>
#include <QList>

class HScrollArea;
class QPushButton;

// The frame of the dialogs that show something long: the contents above a row of
// buttons, the dialog within nine tenths of the screen however long they are (they
// scroll instead), and modal runs answerable by ModalAnswer.
class HFrameDialog : public QDialog
{
    Q_OBJECT
    Q_DISABLE_COPY(HFrameDialog)

public:
    QSize sizeHint() const override;
    void setVisible(bool visible) override;

public Q_SLOTS:
    int exec() override;

protected:
    // refit: reused for other contents, the dialog is fitted to them at each showing.
    explicit HFrameDialog(QWidget* parent, bool refit = false);

    // A scroll area without a frame around widget.
    HScrollArea* scrolled(QWidget* widget, bool resizable);
    // A "Close" button that accepts the dialog.
    QPushButton* closeButton(bool isDefault);
    // Lays out body above a row of buttons: leading ones at the left, trailing ones at
    // the right.
    void frame(QLayout* body, const QList<QWidget*>& leading, const QList<QWidget*>& trailing);
    void frame(QWidget* body, const QList<QWidget*>& leading, const QList<QWidget*>& trailing);

private:
    bool refit_;
};
