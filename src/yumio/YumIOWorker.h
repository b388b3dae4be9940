#pragma once

#include <QThread>

#include <functional>

class QEventLoop;

// Runs one engine operation on a worker thread and ends the graphical thread's waiting
// loop when the body is done.
class YumIOWorker final : public QThread
{
    Q_DISABLE_COPY(YumIOWorker)

public:
    // body and loop must outlive the thread.
    YumIOWorker(const std::function<bool()>& body, QEventLoop& loop);
    bool result() const { return result_; }

protected:
    void run() override;

private:
    const std::function<bool()>& body_;
    QEventLoop& loop_;
    bool result_ = false;
};
