// Stand-ins for the worker bodies, to be replaced by the collection and transaction code.
// Each only keeps the protocol every body follows: wait for the graphical thread, install
// progress and dialogs, then hold the interpreter lock.

#include "yumio/YumIO.h"

#include "progress/ProgressUser.h"
#include "yumio/YumIODialogsUser.h"

bool YumIO::collectReal(const QHash<QString, bool>&)
{
    blocker_.block();
    Progress::User progress(progress_, totalBar_, itemBar_);
    YumIODialogsUser dialogs(dialogs_, parent_);
    PyGILStateWrapper lock(true);
    return true;
}

void YumIO::clearEntriesReal()
{
    blocker_.block();
    Progress::User progress(progress_, totalBar_, itemBar_);
    YumIODialogsUser dialogs(dialogs_, parent_);
    PyGILStateWrapper lock(true);
}

bool YumIO::collectFileListsReal()
{
    blocker_.block();
    Progress::User progress(progress_, totalBar_, itemBar_);
    YumIODialogsUser dialogs(dialogs_, parent_);
    PyGILStateWrapper lock(true);
    return true;
}

bool YumIO::collectOtherDataReal()
{
    blocker_.block();
    Progress::User progress(progress_, totalBar_, itemBar_);
    YumIODialogsUser dialogs(dialogs_, parent_);
    PyGILStateWrapper lock(true);
    return true;
}

bool YumIO::applyReal()
{
    blocker_.block();
    Progress::User progress(progress_, totalBar_, itemBar_);
    YumIODialogsUser dialogs(dialogs_, parent_);
    PyGILStateWrapper lock(true);
    return true;
}

void YumIO::dsTsInfo(const QString&)
{
}
