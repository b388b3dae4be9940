#pragma once

#include <functional>

class QDialog;

// Lets an unattended run (the tests) answer the program's modal dialogs.  While an
// answerer is installed, a dialog run through exec() is shown as usual and, once
// its event loop runs, closed with the answerer's result; the answerer may look at
// the dialog first.  Graphical thread only.
class ModalAnswer final
{
public:
    using Answerer = std::function<int(QDialog& dialog)>;

    // An empty answerer leaves the dialogs to the user again.
    static void install(Answerer answerer);
    static void clear() { install(Answerer()); }
    static bool installed();

    // Runs dialog modally, as QDialog::exec() does, answered if an answerer is installed.
    static int exec(QDialog& dialog);
};
