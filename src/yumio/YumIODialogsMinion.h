#pragma once

#include <QObject>

class QWidget;

// The graphical-thread side of YumIODialogs: reached only by queued calls from a worker
// (or direct ones from the graphical thread), it shows the dialog and sends the answer.
class YumIODialogsMinion final : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY(YumIODialogsMinion)

public:
    explicit YumIODialogsMinion(QWidget* parent);

public Q_SLOTS:
    void confirm(const QString& caption, const QString& text, const QString& acceptText,
                 const QString& rejectText);
    void warning(const QString& caption, const QString& text, const QString& button0Text = QString(),
                 const QString& button1Text = QString(), const QString& button2Text = QString(),
                 int defaultButtonNumber = 0, int escapeButtonNumber = -1);
    void critical(const QString& caption, const QString& text, const QString& button0Text = QString(),
                  const QString& button1Text = QString(), const QString& button2Text = QString(),
                  int defaultButtonNumber = 0, int escapeButtonNumber = -1);
    void scrollable(const QString& caption, const QString& text);

Q_SIGNALS:
    void setResult(int result);

private:
    QWidget* parent_;
};
