#pragma once

#include <QStringList>

#include <functional>

class QMenu;
class QWidget;

namespace System {

// "Open System...": another RPM system opened in a new Orvo process with ORVOROOT set to
// it, and the systems opened so far offered again.
class Opener final
{
public:
    using Starter = std::function<bool(const QString& root)>;

    // Asks for a directory and opens it.
    static void choose(QWidget* parent);
    // Opens dir when it holds an rpm database; otherwise tells the user what is missing
    // and opens nothing.  True when the new window's process was started.
    static bool open(QWidget* parent, const QString& dir);

    // Most recent first.
    static QStringList recent();
    // Fills menu with the recent systems, each opening its own.
    static void fillRecentMenu(QMenu* menu, QWidget* parent);

    // Tests only: what starts the new process (null: the program itself, detached).
    static void setStarter(Starter starter);

private:
    static void remember(const QString& root);
};

} // namespace System
