#include "StandInShare.h"

#include <QDir>
#include <QFile>

namespace {

bool writeFile(const QString& path, const QString& text)
{
    QDir().mkpath(QFileInfo(path).path());
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate))
        return false;
    return file.write(text.toUtf8()) >= 0;
}

const char* const kScript = R"PY(
import os
import sys
sys.path.insert(0, os.path.join(os.environ["ORVOSHARE"], "python"))

import yumIOC


class _Stream:
    def __init__(self, write):
        self._write = write

    def write(self, text):
        self._write(text)

    def flush(self):
        pass


sys.stdout = _Stream(yumIOC.stdoutWrite)
sys.stderr = _Stream(yumIOC.stderrWrite)

import yum
import yum.Errors

%TOPLEVEL%


def usesSqlite():
    return True


class _Conf:
    def __init__(self):
        self.yumvar = {"basearch": "x86_64", "releasever": "12"}


class Package:
    def __init__(self, tags, size=0):
        self._tags = tags
        self.size = size

    def returnSimple(self, name):
        return self._tags[name]


class SizeMethod:
    def __init__(self, result):
        self._result = result

    def size(self):
        return self._result


class Describable:
    def __str__(self):
        return "described"


class NoStr:
    def __str__(self):
        return 42


class YumIO:
    def __init__(self):
        self.conf = _Conf()
        %CONSTRUCTOR%

    other_holds_lock = False

    def lock(self):
        if self.other_holds_lock:
            yumIOC.errorlog(0, "lock held by pid 4242")
            raise yum.Errors.LockError("Existing lock /var/run/yum.pid: another copy is running as pid 4242.")
        self.locked = True

    def unlock(self):
        self.locked = False

    def usesPresto(self):
        return False

    def hasMultiProgress(self):
        return True

    def getBiArch(self, arch):
        return {"i686": "32", "x86_64": "64"}.get(arch, arch)

    def fail(self, kind, text):
        kinds = {"IOError": IOError, "KeyboardInterrupt": KeyboardInterrupt, "RepoError": yum.Errors.RepoError,
                 "YumBaseError": yum.Errors.YumBaseError, "ValueError": ValueError}
        sys.stderr.write("")
        yumIOC.errorlog(0, "yum says: " + kind)
        raise kinds[kind](text)
)PY";

const char* const kErrors = R"PY(
class YumBaseError(Exception):
    def __init__(self, value=None):
        Exception.__init__(self, value)
        self.value = value


class RepoError(YumBaseError):
    pass


class LockError(YumBaseError):
    pass


class GroupsError(YumBaseError):
    pass


class NoMoreMirrorsRepoError(RepoError):
    pass
)PY";

} // namespace

bool StandInShare::write(const QString& directory, const Options& options)
{
    QDir(directory).removeRecursively();
    if (!QDir().mkpath(directory + "/python"))
        return false;
    if (!writeFile(directory + "/python/yum/__init__.py",
                   QString("__version__ = \"%1\"\nfrom . import Errors\n").arg(options.yumVersion))
        || !writeFile(directory + "/python/yum/Errors.py", QString::fromLatin1(kErrors)))
        return false;
    if (!options.script)
        return true;
    QString script = QString::fromLatin1(kScript);
    script.replace("%TOPLEVEL%", options.topLevel);
    script.replace("%CONSTRUCTOR%", options.constructorBody);
    return writeFile(directory + "/python/YumIO.py", script);
}
