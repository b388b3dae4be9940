#pragma once

class YumIO;
class YumIOCapturers;

// Captures the process's standard output and error into the log while it lives (around
// the stretch where rpm runs), and puts the slot's previous value back on every way out.
class YumIOCapturersUser final
{
public:
    YumIOCapturersUser(YumIOCapturers*& slot, YumIO* engine);
    ~YumIOCapturersUser();
    YumIOCapturersUser(const YumIOCapturersUser&) = delete;
    YumIOCapturersUser& operator=(const YumIOCapturersUser&) = delete;

private:
    YumIOCapturers*& slot_;
    YumIOCapturers* previous_;
};
