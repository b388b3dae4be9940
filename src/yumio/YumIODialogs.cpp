#include "yumio/YumIODialogs.h"

#include "yumio/YumIODialogsMinion.h"
#include "yumio/YumIODialogsPresenter.h"

#include <QCoreApplication>
#include <QThread>

YumIODialogs::YumIODialogs(QWidget* parent)
    : minion_(new YumIODialogsMinion(parent))
{
    minion_->moveToThread(QCoreApplication::instance()->thread());
    connect(minion_, &YumIODialogsMinion::setResult, this, &YumIODialogs::setResult);
}

YumIODialogs::~YumIODialogs()
{
    minion_->deleteLater();
}

int YumIODialogs::confirm(const QString& caption, const QString& text, const QString& acceptText,
                          const QString& rejectText)
{
    return relay(caption, text, 0, [=](YumIODialogsPresenter& presenter, QWidget* parent) {
        return presenter.confirm(parent, caption, text, acceptText, rejectText);
    });
}

// Without a presenter the default button counts as pressed.
int YumIODialogs::warning(const QString& caption, const QString& text, const QString& button0Text,
                          const QString& button1Text, const QString& button2Text, int defaultButtonNumber,
                          int escapeButtonNumber)
{
    return relay(caption, text, defaultButtonNumber, [=](YumIODialogsPresenter& presenter, QWidget* parent) {
        return presenter.warning(parent, caption, text, button0Text, button1Text, button2Text, defaultButtonNumber,
                                 escapeButtonNumber);
    });
}

int YumIODialogs::critical(const QString& caption, const QString& text, const QString& button0Text,
                           const QString& button1Text, const QString& button2Text, int defaultButtonNumber,
                           int escapeButtonNumber)
{
    return relay(caption, text, defaultButtonNumber, [=](YumIODialogsPresenter& presenter, QWidget* parent) {
        return presenter.critical(parent, caption, text, button0Text, button1Text, button2Text, defaultButtonNumber,
                                  escapeButtonNumber);
    });
}

void YumIODialogs::scrollable(const QString& caption, const QString& text)
{
    relay(caption, text, 0, [=](YumIODialogsPresenter& presenter, QWidget* parent) {
        presenter.scrollable(parent, caption, text);
        return 0;
    });
}

int YumIODialogs::relay(const QString& caption, const QString& text, int fallback,
                        const std::function<int(YumIODialogsPresenter&, QWidget*)>& show)
{
    resultReady_ = false;
    // Queued when asked from a worker, run at once when asked on the graphical thread.
    YumIODialogsMinion* minion = minion_;
    QMetaObject::invokeMethod(minion, [=] { minion->present(caption, text, fallback, show); });
    if (!resultReady_) {
        ++waits_;
        loop_.exec(QEventLoop::ExcludeUserInputEvents);
    }
    return result_;
}

void YumIODialogs::setResult(int value)
{
    resultReady_ = true;
    result_ = value;
    loop_.quit();
}
