#pragma once

class QString;
class QWidget;

// Shows the engine's modal dialogs on the graphical thread.  The program installs one
// made of widgets; tests install one that answers without a person.
class YumIODialogsPresenter
{
public:
    virtual ~YumIODialogsPresenter();

    // Accepted 1, rejected 0.
    virtual int confirm(QWidget* parent, const QString& caption, const QString& text,
                        const QString& acceptText, const QString& rejectText) = 0;
    // The number (0..2) of the pressed button; with no button texts one OK button, 0.
    virtual int warning(QWidget* parent, const QString& caption, const QString& text,
                        const QString& button0, const QString& button1, const QString& button2,
                        int defaultButton, int escapeButton) = 0;
    virtual int critical(QWidget* parent, const QString& caption, const QString& text,
                         const QString& button0, const QString& button1, const QString& button2,
                         int defaultButton, int escapeButton) = 0;
    virtual void scrollable(QWidget* parent, const QString& caption, const QString& text) = 0;

    // Process-wide; not owned.  Without one, dialogs are printed to standard error and
    // answered with the default button (confirmations are refused).
    static void install(YumIODialogsPresenter* presenter);
    static YumIODialogsPresenter* current();
};
