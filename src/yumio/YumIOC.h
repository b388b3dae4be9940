#pragma once

class YumIO;

// The callback module "yumIOC" through which the companion script reports back.  Every
// callback reaches the one registered engine.
class YumIOC final
{
public:
    // Remembers the engine; creates the module (once per process) and puts it into
    // sys.modules.  Needs the interpreter lock.  False when the module cannot be made.
    static bool initialize(YumIO* engine);
    static YumIO* engine();
};
