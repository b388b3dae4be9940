#include "AnsweringPresenter.h"

int AnsweringPresenter::add(Dialog dialog)
{
    dialogs.append(dialog);
    if (dialog.kind == QLatin1String("confirm"))
        return confirmAnswer;
    if (!dialog.buttons.isEmpty() && !questionAnswers.isEmpty())
        return questionAnswers.takeFirst();
    return dialog.defaultButton;
}

int AnsweringPresenter::confirm(QWidget*, const QString& caption, const QString& text, const QString& acceptText,
                                const QString& rejectText)
{
    return add({ "confirm", caption, text, { acceptText, rejectText } });
}

int AnsweringPresenter::warning(QWidget*, const QString& caption, const QString& text, const QString& button0,
                                const QString& button1, const QString& button2, int defaultButton, int escapeButton)
{
    QStringList buttons;
    for (const QString& b : { button0, button1, button2 })
        if (!b.isEmpty())
            buttons.append(b);
    return add({ "warning", caption, text, buttons, defaultButton, escapeButton });
}

int AnsweringPresenter::critical(QWidget*, const QString& caption, const QString& text, const QString& button0,
                                 const QString& button1, const QString& button2, int defaultButton, int escapeButton)
{
    QStringList buttons;
    for (const QString& b : { button0, button1, button2 })
        if (!b.isEmpty())
            buttons.append(b);
    return add({ "critical", caption, text, buttons, defaultButton, escapeButton });
}

void AnsweringPresenter::scrollable(QWidget*, const QString& caption, const QString& text)
{
    add({ "scrollable", caption, text, {} });
}

QList<AnsweringPresenter::Dialog> AnsweringPresenter::of(const QString& kind, const QString& caption) const
{
    QList<Dialog> found;
    for (const Dialog& d : dialogs)
        if (d.kind == kind && (caption.isEmpty() || d.caption == caption))
            found.append(d);
    return found;
}
