#pragma once

#include <QObject>

#include <functional>

class QWidget;
class YumIODialogsPresenter;

// The graphical-thread side of YumIODialogs: reached only by queued calls from a worker
// (or direct ones from the graphical thread), it shows the dialog and sends the answer.
class YumIODialogsMinion final : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY(YumIODialogsMinion)

public:
    using Show = std::function<int(YumIODialogsPresenter&, QWidget*)>;

    explicit YumIODialogsMinion(QWidget* parent);

    // Without a presenter the caption and text are printed and fallback is the answer.
    void present(const QString& caption, const QString& text, int fallback, const Show& show);

Q_SIGNALS:
    void setResult(int result);

private:
    QWidget* parent_;
};
