#include "SandboxRoot.h"

#include <QFile>
#include <QProcess>
#include <QString>

bool useSandboxCopy(const QString& dir, QString& why)
{
    const QString sandbox = qEnvironmentVariable("ORVO_SANDBOX");
    if (!QFile::exists(sandbox + "/root/etc/yum.conf")) {
        why = QStringLiteral("no sandbox system in '%1'").arg(sandbox);
        return false;
    }
    if (QProcess::execute(QStringLiteral("cp"), {QStringLiteral("-a"), sandbox + "/root/.", dir}) != 0) {
        why = QStringLiteral("cannot copy the sandbox system into '%1'").arg(dir);
        return false;
    }
    qputenv("ORVOROOT", dir.toLocal8Bit());
    return true;
}
