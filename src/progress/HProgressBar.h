#pragma once

#include <QProgressBar>
#include <QString>

class QPoint;

// A progress bar that shows what is being done beside its percentage, and that reports
// tool-tip requests as a signal so that the owner can show a tip of its own.
class HProgressBar final : public QProgressBar
{
    Q_OBJECT
    Q_DISABLE_COPY(HProgressBar)

public:
    explicit HProgressBar(QWidget* parent = nullptr);

    // "activity (percentage)", or whichever of the two is there.
    QString text() const override;
    QString activity() const { return activity_; }
    void setActivity(const QString& activity);
    // Clears the activity as well.
    void reset();

Q_SIGNALS:
    void toolTip(const QPoint& pos);

protected:
    bool event(QEvent* event) override;

private:
    QString activity_;
};
