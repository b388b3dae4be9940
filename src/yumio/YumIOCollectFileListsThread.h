#pragma once

#include <QThread>

class QEventLoop;
class YumIO;

// Loads the packages' file lists (YumIO::collectFileListsReal) on a worker thread.
// Ends the graphical thread's waiting loop when the body is done.
class CollectFileListsThread final : public QThread
{
    Q_DISABLE_COPY(CollectFileListsThread)

public:
    CollectFileListsThread(YumIO* engine, QEventLoop& loop);
    bool result() const { return result_; }

protected:
    void run() override;

private:
    YumIO* engine_;
    QEventLoop& loop_;
    bool result_ = false;
};
