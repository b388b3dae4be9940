#pragma once

namespace Repo {

// The message boxes of the configuration code: installs into Repo::Messages the
// critical box with one OK button and the critical Yes/No question, both run through
// ModalAnswer so that an unattended run can answer them.  Called once at start-up.
class MessageBoxes final
{
public:
    static void install();
};

} // namespace Repo
