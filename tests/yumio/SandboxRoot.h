#pragma once

class QString;

// The sandbox system that the test fixture built, copied into dir (the system changes
// by use: caches, locks) and made the managed root.  False, with the reason in why,
// when there is no sandbox or the copy failed.
bool useSandboxCopy(const QString& dir, QString& why);

class YumIO;
class YumIODialogsPresenter;

// The engine on a fresh copy of the sandbox system in dir, its dialogs answered by
// presenter, initialized and collected; null, with the reason in why, when a step failed.
YumIO* startSandboxEngine(const QString& dir, YumIODialogsPresenter* presenter, QString& why);
// Ends what startSandboxEngine started; null is allowed.
void stopSandboxEngine(YumIO* engine);
