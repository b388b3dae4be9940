#pragma once

#include <cstdio>

class MainWindow;

// The start-up options, applied to the main window in the order given.
class CommandLine final
{
public:
    enum { Continue = -1 };

    // Returns Continue, or the exit status when the program must end.
    static int parse(int argc, char** argv, MainWindow& window, std::FILE* out = stdout,
                     std::FILE* err = stderr);
    // The same checks and messages before the application object exists (no window,
    // no display needed), the toolkit's own options skipped as it would take them.
    static int check(int argc, char** argv, std::FILE* out = stdout, std::FILE* err = stderr);
    static void usage(std::FILE* out);
    static const char* baseName(const char* path);
    // Index of the first keyword that the argument begins, or -1.
    static int matchKeyword(const char* argument, const char* const* keywords, int count);

private:
    static int parseInto(int argc, char** argv, MainWindow* window, std::FILE* out, std::FILE* err);
};
