#pragma once

class QString;

// The sandbox system that the test fixture built, copied into dir (the system changes
// by use: caches, locks) and made the managed root.  False, with the reason in why,
// when there is no sandbox or the copy failed.
bool useSandboxCopy(const QString& dir, QString& why);
