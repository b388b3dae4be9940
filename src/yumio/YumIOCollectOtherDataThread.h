#pragma once

#include <QThread>

class QEventLoop;
class YumIO;

// Loads the packages' other data (YumIO::collectOtherDataReal) on a worker thread.
// Ends the graphical thread's waiting loop when the body is done.
class CollectOtherDataThread final : public QThread
{
    Q_DISABLE_COPY(CollectOtherDataThread)

public:
    CollectOtherDataThread(YumIO* engine, QEventLoop& loop);
    bool result() const { return result_; }

protected:
    void run() override;

private:
    YumIO* engine_;
    QEventLoop& loop_;
    bool result_ = false;
};
