#pragma once

#include <functional>

class QString;
class QWidget;

namespace Repo {

// How the configuration code, which has no widgets, shows its message boxes.  The
// graphical side installs boxes (Repo::MessageBoxes); tests install recorders.  With
// nothing installed, errors go to the warning output and questions are declined.
class Messages final
{
public:
    // A critical box with one OK button.
    using Critical = std::function<void(QWidget* parent, const QString& title, const QString& text)>;
    // A critical box with Yes and No, No the default and escape button; true on Yes.
    using Question = std::function<bool(QWidget* parent, const QString& title, const QString& text)>;

    static void install(Critical critical, Question question);
    static void clear() { install(Critical(), Question()); }

    static void critical(QWidget* parent, const QString& title, const QString& text);
    static bool question(QWidget* parent, const QString& title, const QString& text);
};

} // namespace Repo
