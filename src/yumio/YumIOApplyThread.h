#pragma once

#include <QThread>

class QEventLoop;
class YumIO;

// Runs the marked actions as a transaction (YumIO::applyReal) on a worker thread.
// Ends the graphical thread's waiting loop when the body is done.
class ApplyThread final : public QThread
{
    Q_DISABLE_COPY(ApplyThread)

public:
    ApplyThread(YumIO* engine, QEventLoop& loop);
    bool result() const { return result_; }

protected:
    void run() override;

private:
    YumIO* engine_;
    QEventLoop& loop_;
    bool result_ = false;
};
