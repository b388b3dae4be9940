#pragma once

class QWidget;
class YumIODialogs;

// Gives a worker body a dialogs proxy of its own thread for its whole length, shadowing
// the engine's permanent one, and puts the permanent one back on every way out.
class YumIODialogsUser final
{
public:
    YumIODialogsUser(YumIODialogs*& slot, QWidget* parent);
    ~YumIODialogsUser();
    YumIODialogsUser(const YumIODialogsUser&) = delete;
    YumIODialogsUser& operator=(const YumIODialogsUser&) = delete;

private:
    YumIODialogs*& slot_;
    YumIODialogs* previous_;
};
