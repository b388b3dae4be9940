#include "yumio/YumIODialogsWidgetPresenter.h"

#include "widgets/BreakableText.h"
#include "widgets/ModalAnswer.h"
#include "widgets/ScrollableConfirmDialog.h"
#include "widgets/ScrollableErrorDialog.h"

#include <QMessageBox>
#include <QPushButton>

namespace {

// A box with one button per non-empty text, each known by its number (0..2), or a lone
// OK button numbered 0; the answer is the pressed button's number, -1 if none was.
int messageBox(QMessageBox::Icon icon, QWidget* parent, const QString& caption, const QString& text,
               const QString& button0, const QString& button1, const QString& button2,
               int defaultButton, int escapeButton)
{
    QMessageBox box(icon, caption, BreakableText::of(text), QMessageBox::NoButton, parent);
    QPushButton* buttons[3] = {};
    const QString* texts[3] = { &button0, &button1, &button2 };
    for (int i = 0; i < 3; ++i) {
        if (!texts[i]->isEmpty())
            buttons[i] = box.addButton(*texts[i], QMessageBox::ActionRole);
    }
    if (!buttons[0] && !buttons[1] && !buttons[2])
        buttons[0] = box.addButton(QMessageBox::Ok);
    if (defaultButton >= 0 && defaultButton < 3 && buttons[defaultButton])
        box.setDefaultButton(buttons[defaultButton]);
    if (escapeButton >= 0 && escapeButton < 3 && buttons[escapeButton])
        box.setEscapeButton(buttons[escapeButton]);
    ModalAnswer::exec(box);
    for (int i = 0; i < 3; ++i) {
        if (buttons[i] && box.clickedButton() == buttons[i])
            return i;
    }
    return -1;
}

} // namespace

int YumIODialogsWidgetPresenter::confirm(QWidget* parent, const QString& caption, const QString& text,
                                         const QString& acceptText, const QString& rejectText)
{
    ScrollableConfirmDialog dialog(text, acceptText, rejectText, parent);
    dialog.setWindowTitle(caption);
    return dialog.exec();
}

int YumIODialogsWidgetPresenter::warning(QWidget* parent, const QString& caption, const QString& text,
                                         const QString& button0, const QString& button1,
                                         const QString& button2, int defaultButton, int escapeButton)
{
    return messageBox(QMessageBox::Warning, parent, caption, text, button0, button1, button2,
                      defaultButton, escapeButton);
}

int YumIODialogsWidgetPresenter::critical(QWidget* parent, const QString& caption, const QString& text,
                                          const QString& button0, const QString& button1,
                                          const QString& button2, int defaultButton, int escapeButton)
{
    return messageBox(QMessageBox::Critical, parent, caption, text, button0, button1, button2,
                      defaultButton, escapeButton);
}

void YumIODialogsWidgetPresenter::scrollable(QWidget* parent, const QString& caption, const QString& text)
{
    ScrollableErrorDialog dialog(text, parent);
    dialog.setWindowTitle(caption);
    dialog.exec();
}
