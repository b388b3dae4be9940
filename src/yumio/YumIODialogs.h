#pragma once

#include <QEventLoop>
#include <QObject>

#include <functional>

class QWidget;
class YumIODialogsMinion;
class YumIODialogsPresenter;

// Modal dialogs that any thread may ask for.  The dialog is shown by a relay in the
// graphical thread; the asking thread waits for the answer.  Asked on the graphical thread
// the relay runs at once, so no waiting loop is entered.
class YumIODialogs final : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY(YumIODialogs)

public:
    explicit YumIODialogs(QWidget* parent);
    ~YumIODialogs() override;

    int confirm(const QString& caption, const QString& text, const QString& acceptText,
                const QString& rejectText);
    int warning(const QString& caption, const QString& text, const QString& button0Text = QString(),
                const QString& button1Text = QString(), const QString& button2Text = QString(),
                int defaultButtonNumber = 0, int escapeButtonNumber = -1);
    int critical(const QString& caption, const QString& text, const QString& button0Text = QString(),
                 const QString& button1Text = QString(), const QString& button2Text = QString(),
                 int defaultButtonNumber = 0, int escapeButtonNumber = -1);
    void scrollable(const QString& caption, const QString& text);

    // Tests only: how many answers had to be waited for in the private loop.
    int waits() const { return waits_; }

public Q_SLOTS:
    void setResult(int value);

private:
    // Shows the dialog through the relay and waits for its answer.
    int relay(const QString& caption, const QString& text, int fallback,
              const std::function<int(YumIODialogsPresenter&, QWidget*)>& show);

    YumIODialogsMinion* minion_;
    QEventLoop loop_;
    bool resultReady_ = false;
    int result_ = 0;
    int waits_ = 0;
};
