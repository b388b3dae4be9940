#pragma once

class HProgressBar;

namespace Progress {

class Object;

// Installs a progress reporter on the engine's slot for the length of one worker body and
// removes it on every way out: the slot is left null.
class User final
{
public:
    User(Object*& slot, HProgressBar* total, HProgressBar* item);
    ~User();
    User(const User&) = delete;
    User& operator=(const User&) = delete;

private:
    Object*& slot_;
};

} // namespace Progress
