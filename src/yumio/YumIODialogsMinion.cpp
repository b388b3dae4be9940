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

void YumIODialogsMinion::warning(const QString& caption, const QString& text, const QString& button0Text,
                                 const QString& button1Text, const QString& button2Text,
                                 int defaultButtonNumber, int escapeButtonNumber)
{
    YumIODialogsPresenter* presenter = YumIODialogsPresenter::current();
    int result = defaultButtonNumber;
    if (presenter)
        result = presenter->warning(parent_, caption, text, button0Text, button1Text, button2Text,
                                    defaultButtonNumber, escapeButtonNumber);
    else
        print(caption, text);
    Q_EMIT setResult(result);
}

void YumIODialogsMinion::critical(const QString& caption, const QString& text, const QString& button0Text,
                                  const QString& button1Text, const QString& button2Text,
                                  int defaultButtonNumber, int escapeButtonNumber)
{
    YumIODialogsPresenter* presenter = YumIODialogsPresenter::current();
    int result = defaultButtonNumber;
    if (presenter)
        result = presenter->critical(parent_, caption, text, button0Text, button1Text, button2Text,
                                     defaultButtonNumber, escapeButtonNumber);
    else
        print(caption, text);
    Q_EMIT setResult(result);
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
