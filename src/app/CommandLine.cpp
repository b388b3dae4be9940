#include "app/CommandLine.h"

#include "app/Globals.h"
#include "app/MainWindow.h"

#include <getopt.h>
#include <libgen.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <string>
#include <vector>

namespace {

enum LongOnly { OptDuplicates = 'd', OptDisableRepo = 'D', OptEnableRepo = 'E' };

const char* const modes[] = { "filter", "search" };
const char* const states[] = { "updatable", "installable", "removable", "all" };

// The toolkit's own options, which the application object takes out of the arguments
// (also written with two dashes).  Those in the first list take the next word.
const char* const toolkitWithArgument[] = { "-platform", "-platformpluginpath", "-platformtheme", "-plugin",
                                            "-qwindowgeometry", "-geometry", "-qwindowicon", "-icon",
                                            "-qwindowtitle", "-title", "-display", "-session", "-style",
                                            "-stylesheet", "-name", "-visual", "-ncols", "-cmap",
                                            "-qmljsdebugger" };
const char* const toolkitFlags[] = { "-reverse", "-widgetcount", "-nograb", "-dograb", "-sync" };

template <size_t N>
bool among(const std::string& word, const char* const (&list)[N])
{
    return std::find(std::begin(list), std::end(list), word) != std::end(list);
}

} // namespace

const char* CommandLine::baseName(const char* path)
{
    // POSIX basename may modify its argument and returns static storage: keep a copy.
    static std::string name;
    std::string copy(path ? path : "");
    name = ::basename(copy.data());
    return name.c_str();
}

int CommandLine::matchKeyword(const char* argument, const char* const* keywords, int count)
{
    // Over the argument's own length: any leading part selects, the first keyword wins,
    // a longer argument never matches, and an empty one matches the first keyword.
    const size_t length = std::strlen(argument);
    for (int i = 0; i < count; ++i)
        if (std::strncmp(argument, keywords[i], length) == 0)
            return i;
    return -1;
}

void CommandLine::usage(std::FILE* out)
{
    std::fprintf(out, "usage: %s [options...]\n", program);
    std::fputs("\n"
               "Orvo, Orvonet, is a graphical user interface which allows a user\n"
               "to make modifications to the installed rpm packages on a system.\n"
               "\n"
               "options:\n"
               "\n"
               "   -h, -H, --help           display this help information\n"
               "   -m m,   --mode=m         start with the package table mode, m:\n"
               "                               filter, search\n"
               "   -e r,   --regexp=r       start with the package table regexp, r\n"
               "   -s s,   --state=s        start with the package table state, s:\n"
               "                               updatable, installable, removable, all\n"
               "   -d,     --duplicates     start with the package table omitting duplicates\n"
               "   -g,     --groups         start with the package table showing groups\n"
               "   -r,     --repo-editor    start by bringing up the repository configuration\n"
               "                            editor\n"
               "   -l,     --log            start with the log window displayed\n"
               "           --disablerepo=r  disable the specified repository, r\n"
               "           --enablerepo=r   enable the specified repository, r\n"
               "\n",
               out);
    std::fflush(out);
}

int CommandLine::parse(int argc, char** argv, MainWindow& window, std::FILE* out, std::FILE* err)
{
    return parseInto(argc, argv, &window, out, err);
}

int CommandLine::check(int argc, char** argv, std::FILE* out, std::FILE* err)
{
    std::vector<char*> words;
    for (int i = 0; i < argc; ++i) {
        std::string word(argv[i]);
        if (i > 0 && word.rfind("--", 0) == 0)
            word.erase(0, 1);
        if (i > 0 && (word.rfind("-style=", 0) == 0 || word.rfind("-stylesheet=", 0) == 0 || among(word, toolkitFlags)))
            continue;
        if (i > 0 && among(word, toolkitWithArgument)) {
            ++i;
            continue;
        }
        words.push_back(argv[i]);
    }
    words.push_back(nullptr);
    return parseInto(int(words.size()) - 1, words.data(), nullptr, out, err);
}

int CommandLine::parseInto(int argc, char** argv, MainWindow* window, std::FILE* out, std::FILE* err)
{
    static const struct option longOptions[] = {
        { "help", no_argument, nullptr, 'h' },
        { "mode", required_argument, nullptr, 'm' },
        { "regexp", required_argument, nullptr, 'e' },
        { "state", required_argument, nullptr, 's' },
        { "duplicates", no_argument, nullptr, OptDuplicates },
        { "groups", no_argument, nullptr, 'g' },
        { "repo-editor", no_argument, nullptr, 'r' },
        { "log", no_argument, nullptr, 'l' },
        { "disablerepo", required_argument, nullptr, OptDisableRepo },
        { "enablerepo", required_argument, nullptr, OptEnableRepo },
        { nullptr, 0, nullptr, 0 },
    };

    opterr = 0;
    optind = 0; // a full re-initialisation, so that parsing may run more than once
    for (;;) {
        const int c = getopt_long(argc, argv, "+hHm:e:s:grl", longOptions, nullptr);
        if (c == -1)
            break;
        switch (c) {
        case 'h':
        case 'H':
            usage(out);
            return 1;
        case 'm': {
            const int mode = matchKeyword(optarg, modes, 2);
            if (mode < 0) {
                std::fprintf(err, "%s: unrecogized argument to -m/--mode option: %s\n", program, optarg);
                usage(out);
                return 1;
            }
            if (window)
                window->setMode(PackageTable::Mode(mode));
            break;
        }
        case 'e':
            if (window)
                window->setRegexp(optarg);
            break;
        case 's': {
            const int state = matchKeyword(optarg, states, 4);
            if (state < 0) {
                std::fprintf(err, "%s: unrecogized argument to -s/--state option: %s\n", program, optarg);
                usage(out);
                return 1;
            }
            if (window)
                window->setStateFilter(PackageTable::StateFilter(state));
            break;
        }
        case OptDuplicates:
            if (window)
                window->setDups(false);
            break;
        case 'g':
            if (window)
                window->setGroups(true);
            break;
        case 'r':
            if (window)
                window->openRepoEditorAtStart = true;
            break;
        case 'l':
            if (window)
                window->openLogAtStart = true;
            break;
        case OptDisableRepo:
            if (window)
                window->yumRepoEnabled.append(YumRepoEnabled(false, QString::fromLocal8Bit(optarg)));
            break;
        case OptEnableRepo:
            if (window)
                window->yumRepoEnabled.append(YumRepoEnabled(true, QString::fromLocal8Bit(optarg)));
            break;
        default:
            if (optopt)
                std::fprintf(err, "%s: unrecognized option letter: %c\n", program, optopt);
            else
                std::fprintf(err, "%s: unrecogized option: %s\n", program, argv[optind - 1]);
            usage(out);
            return 1;
        }
    }
    if (optind < argc) {
        std::fprintf(err, "%s: unrecognized argument: %s\n", program, argv[optind]);
        usage(out);
        return 1;
    }
    return Continue;
}
