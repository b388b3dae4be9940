#include "RecordingPresenter.h"

void RecordingPresenter::add(const QString& kind, const QString& caption, const QString& text)
{
    dialogs.append({ kind, caption, text });
    if (echo)
        echo(dialogs.last());
}

int RecordingPresenter::confirm(QWidget*, const QString& caption, const QString& text, const QString&,
                                const QString&)
{
    add("confirm", caption, text);
    return confirmAnswer;
}

int RecordingPresenter::warning(QWidget*, const QString& caption, const QString& text, const QString&,
                                const QString&, const QString&, int defaultButton, int)
{
    add("warning", caption, text);
    return defaultButton;
}

int RecordingPresenter::critical(QWidget*, const QString& caption, const QString& text, const QString&,
                                 const QString&, const QString&, int defaultButton, int)
{
    add("critical", caption, text);
    return defaultButton;
}

void RecordingPresenter::scrollable(QWidget*, const QString& caption, const QString& text)
{
    add("scrollable", caption, text);
}
