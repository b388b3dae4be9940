#include "EachCaseAlone.h"

#include <QProcess>
#include <QStringList>

#include <cstdio>

int runEachCaseAlone(const QString& program)
{
    QProcess list;
    list.start(program, { "-datatags" });
    list.waitForFinished(-1);
    QStringList cases;
    for (const QString& line : QString::fromUtf8(list.readAllStandardOutput()).split('\n', Qt::SkipEmptyParts)) {
        const QString function = line.section(' ', 1, 1);
        const QString tag = line.section(' ', 2);
        if (function.isEmpty() || function == "initTestCase" || function == "cleanupTestCase")
            continue;
        cases << (tag.isEmpty() ? function : function + ':' + tag);
    }
    if (cases.isEmpty()) {
        std::fprintf(stderr, "no test cases listed\n");
        return 1;
    }
    int failed = 0;
    for (const QString& name : qAsConst(cases)) {
        QProcess child;
        child.setProcessChannelMode(QProcess::ForwardedChannels);
        child.start(program, { name });
        child.waitForFinished(-1);
        if (child.exitStatus() != QProcess::NormalExit || child.exitCode() != 0) {
            std::fprintf(stderr, "FAILED: %s\n", qPrintable(name));
            ++failed;
        }
    }
    std::printf("%d of %d cases failed\n", failed, int(cases.size()));
    return failed ? 1 : 0;
}
