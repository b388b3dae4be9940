#include "yumio/YumIODialogs.h"

#include "yumio/YumIODialogsMinion.h"

#include <QCoreApplication>
#include <QThread>

YumIODialogs::YumIODialogs(QWidget* parent)
    : minion_(new YumIODialogsMinion(parent))
{
    minion_->moveToThread(QCoreApplication::instance()->thread());
    connect(minion_, &YumIODialogsMinion::setResult, this, &YumIODialogs::setResult);
    connect(this, &YumIODialogs::confirmSig, minion_, &YumIODialogsMinion::confirm);
    connect(this, &YumIODialogs::warningSig, minion_, &YumIODialogsMinion::warning);
    connect(this, &YumIODialogs::criticalSig, minion_, &YumIODialogsMinion::critical);
    connect(this, &YumIODialogs::scrollableSig, minion_, &YumIODialogsMinion::scrollable);
}

YumIODialogs::~YumIODialogs()
{
    minion_->deleteLater();
}

int YumIODialogs::confirm(const QString& caption, const QString& text, const QString& acceptText,
                          const QString& rejectText)
{
    resultReady_ = false;
    Q_EMIT confirmSig(caption, text, acceptText, rejectText);
    waitForResult();
    return result_;
}

int YumIODialogs::warning(const QString& caption, const QString& text, const QString& button0Text,
                          const QString& button1Text, const QString& button2Text, int defaultButtonNumber,
                          int escapeButtonNumber)
{
    resultReady_ = false;
    Q_EMIT warningSig(caption, text, button0Text, button1Text, button2Text, defaultButtonNumber,
                      escapeButtonNumber);
    waitForResult();
    return result_;
}

int YumIODialogs::critical(const QString& caption, const QString& text, const QString& button0Text,
                           const QString& button1Text, const QString& button2Text, int defaultButtonNumber,
                           int escapeButtonNumber)
{
    resultReady_ = false;
    Q_EMIT criticalSig(caption, text, button0Text, button1Text, button2Text, defaultButtonNumber,
                       escapeButtonNumber);
    waitForResult();
    return result_;
}

void YumIODialogs::scrollable(const QString& caption, const QString& text)
{
    resultReady_ = false;
    Q_EMIT scrollableSig(caption, text);
    waitForResult();
}

void YumIODialogs::setResult(int value)
{
    resultReady_ = true;
    result_ = value;
    loop_.quit();
}

void YumIODialogs::waitForResult()
{
    if (resultReady_)
        return;
    ++waits_;
    loop_.exec(QEventLoop::ExcludeUserInputEvents);
}
