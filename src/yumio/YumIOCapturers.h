#pragma once

#include <QObject>

class YumIO;
class YumIOCapturersMinion;

// While it lives, descriptors 1 and 2 of the whole process write into pipes that the
// graphical thread reads into the log, so that what rpm and its scriptlets print shows
// there.  Made and destroyed on the worker thread; destruction returns only after the
// pipes have been drained.  A failed set-up is reported and leaves the streams as they
// were.
class YumIOCapturers final : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY(YumIOCapturers)

public:
    explicit YumIOCapturers(YumIO* engine);
    ~YumIOCapturers() override;

    bool capturing() const { return minion_ != nullptr; }

private:
    bool restore();

    YumIO* engine_;
    YumIOCapturersMinion* minion_ = nullptr;
    int savedStdout_ = -1;
    int savedStderr_ = -1;
    int stdoutPipe_[2] = { -1, -1 }; // read end, write end
    int stderrPipe_[2] = { -1, -1 };
    bool stdoutRedirected_ = false;
    bool stderrRedirected_ = false;
};
