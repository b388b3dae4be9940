#include "yumio/YumIODialogsMinion.h"

#include "yumio/YumIODialogsPresenter.h"

#include <cstdio>

namespace {

void print(const QString& caption, const QString& text)
{
    std::fprintf(stderr, "%s: %s\n", qPrintable(caption), qPrintable(text));
}

} // namespace

YumIODialogsMinion::YumIODialogsMinion(QWidget* parent)
    : parent_(parent)
{
}

void YumIODialogsMinion::confirm(const QString& caption, const QString& text, const QString& acceptText,
                                 const QString& rejectText)
{
    YumIODialogsPresenter* presenter = YumIODialogsPresenter::current();
    int result = 0;
    if (presenter)
        result = presenter->confirm(parent_, caption, text, acceptText, rejectText);
    else
        print(caption, text);
    Q_EMIT setResult(result);
}

namespace {

using MessageBox = int (YumIODialogsPresenter::*)(QWidget*, const QString&, const QString&, const QString&,
                                                   const QString&, const QString&, int, int);

// Without a presenter the text is printed and the default button counts as pressed.
int messageBox(MessageBox show, QWidget* parent, const QString& caption, const QString& text, const QString& button0Text,
               const QString& button1Text, const QString& button2Text, int defaultButtonNumber, int escapeButtonNumber)
{
    YumIODialogsPresenter* presenter = YumIODialogsPresenter::current();
    if (!presenter) {
        print(caption, text);
        return defaultButtonNumber;
    }
    return (presenter->*show)(parent, caption, text, button0Text, button1Text, button2Text, defaultButtonNumber,
                              escapeButtonNumber);
}

} // namespace

void YumIODialogsMinion::warning(const QString& caption, const QString& text, const QString& button0Text,
                                 const QString& button1Text, const QString& button2Text,
                                 int defaultButtonNumber, int escapeButtonNumber)
{
    Q_EMIT setResult(messageBox(&YumIODialogsPresenter::warning, parent_, caption, text, button0Text, button1Text,
                                button2Text, defaultButtonNumber, escapeButtonNumber));
}

void YumIODialogsMinion::critical(const QString& caption, const QString& text, const QString& button0Text,
                                  const QString& button1Text, const QString& button2Text,
                                  int defaultButtonNumber, int escapeButtonNumber)
{
    Q_EMIT setResult(messageBox(&YumIODialogsPresenter::critical, parent_, caption, text, button0Text, button1Text,
                                button2Text, defaultButtonNumber, escapeButtonNumber));
}

void YumIODialogsMinion::scrollable(const QString& caption, const QString& text)
{
    YumIODialogsPresenter* presenter = YumIODialogsPresenter::current();
    if (presenter)
        presenter->scrollable(parent_, caption, text);
    else
        print(caption, text);
    Q_EMIT setResult(0);
}
