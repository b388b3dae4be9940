// Collects the catalogue of the system at $ORVOROOT through the engine, as the program
// does, and prints its rows: a way to see what the table would show without the window.
//
//   orvo-catalogue [--enablerepo=ID]... [--disablerepo=ID]...
//
// One row a line, fields separated by tabs: state, kind, name, version-release,
// repository, architecture, size, build time, duplicate flag, and the chain of further
// installed versions.

#include "app/Environment.h"
#include "app/Globals.h"
#include "yumio/PackageEntry.h"
#include "yumio/YumIO.h"

#include <QCoreApplication>
#include <QHash>
#include <QStringList>

#include <algorithm>
#include <csignal>
#include <cstdio>

namespace {

QString row(const Package::Entry& e)
{
    QStringList chain;
    for (const Package::Entry* c = e.next; c; c = c->next)
        chain.append(c->verRel + "." + c->arch);
    return QStringList { QString::number(e.state), QString::number(e.kind), e.name, e.verRel, e.repo, e.arch,
                         QString::number(e.size), QString::number(e.buildTime), e.duplicate ? "dup" : "-",
                         chain.join(' ') }
        .join('\t');
}

} // namespace

int main(int argc, char** argv)
{
    Environment::makePathsAbsolute();
    QCoreApplication app(argc, argv);
    program = "orvo-catalogue";
    QHash<QString, bool> requests;
    for (int i = 1; i < argc; ++i) {
        const QString word = QString::fromLocal8Bit(argv[i]);
        if (word.startsWith("--enablerepo=")) {
            requests.insert(word.mid(13), true);
        } else if (word.startsWith("--disablerepo=")) {
            requests.insert(word.mid(14), false);
        } else {
            std::fprintf(stderr, "usage: %s [--enablerepo=ID]... [--disablerepo=ID]...\n", argv[0]);
            return 2;
        }
    }
    std::signal(SIGINT, SIG_DFL);
    auto* engine = new YumIO;
    engine->setup(nullptr, nullptr, nullptr);
    if (!engine->initialize() || !engine->collect(requests)) {
        delete engine;
        return 1;
    }
    QStringList rows;
    for (Package::Entry* entry : engine->catalogue())
        rows.append(row(*entry));
    std::sort(rows.begin(), rows.end(), [](const QString& a, const QString& b) {
        return a.section('\t', 2) < b.section('\t', 2);
    });
    for (const QString& line : rows)
        std::printf("%s\n", qPrintable(line));
    delete engine;
    return 0;
}
