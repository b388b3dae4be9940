// Stand-in for the transaction body, to be replaced by the transaction code.
// Each only keeps the protocol every body follows: wait for the graphical thread, install
// progress and dialogs, then hold the interpreter lock.

#include "yumio/YumIO.h"

#include "progress/ProgressUser.h"
#include "yumio/YumIODialogsUser.h"

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
