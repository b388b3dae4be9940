#pragma once

#include <vector>

class YumIO;

// The callback module "yumIOC" through which the companion script reports back.  Every
// callback reaches the one registered engine.
class YumIOC final
{
public:
    // Remembers the engine; creates the module (once per process) and puts it into
    // sys.modules.  Needs the interpreter lock.  False when the module cannot be made.
    static bool initialize(YumIO* engine);
    // Forgets the engine as it goes, so that a callback made while the interpreter
    // shuts down fails instead of reaching it.
    static void release(YumIO* engine);
    static YumIO* engine();

    // One callback of the module, as the contract declares it.
    struct Callback {
        const char* name;
        bool takesArguments;
        // "*": not parsed.
        const char* format;
    };
    static const std::vector<Callback>& callbacks();
};
