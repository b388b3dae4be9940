#pragma once

#include <QThread>

class QEventLoop;
class YumIO;

// Builds the search index (YumIO::buildSearchIndexReal) on a worker thread.
// Ends the graphical thread's waiting loop when the body is done.
class BuildSearchIndexThread final : public QThread
{
    Q_DISABLE_COPY(BuildSearchIndexThread)

public:
    BuildSearchIndexThread(YumIO* engine, QEventLoop& loop);
    bool result() const { return result_; }

protected:
    void run() override;

private:
    YumIO* engine_;
    QEventLoop& loop_;
    bool result_ = false;
};
