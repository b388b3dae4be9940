#pragma once

#include "yumio/YumIODialogsPresenter.h"

#include <QList>
#include <QString>

// Answers the engine's dialogs without a person and remembers what they said.
class RecordingPresenter final : public YumIODialogsPresenter
{
public:
    struct Dialog {
        QString kind;
        QString caption;
        QString text;
    };

    int confirm(QWidget* parent, const QString& caption, const QString& text, const QString& acceptText,
                const QString& rejectText) override;
    int warning(QWidget* parent, const QString& caption, const QString& text, const QString& button0,
                const QString& button1, const QString& button2, int defaultButton, int escapeButton) override;
    int critical(QWidget* parent, const QString& caption, const QString& text, const QString& button0,
                 const QString& button1, const QString& button2, int defaultButton, int escapeButton) override;
    void scrollable(QWidget* parent, const QString& caption, const QString& text) override;

    QList<Dialog> dialogs;
    int confirmAnswer = 1;
    // Called with each dialog as it is shown, when set.
    void (*echo)(const Dialog&) = nullptr;

private:
    void add(const QString& kind, const QString& caption, const QString& text);
};
