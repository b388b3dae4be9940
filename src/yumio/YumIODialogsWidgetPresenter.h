#pragma once

#include "yumio/YumIODialogsPresenter.h"

// Shows the engine's dialogs with widgets: the program installs one at start-up.
class YumIODialogsWidgetPresenter final : public YumIODialogsPresenter
{
public:
    int confirm(QWidget* parent, const QString& caption, const QString& text,
                const QString& acceptText, const QString& rejectText) override;
    int warning(QWidget* parent, const QString& caption, const QString& text,
                const QString& button0, const QString& button1, const QString& button2,
                int defaultButton, int escapeButton) override;
    int critical(QWidget* parent, const QString& caption, const QString& text,
                 const QString& button0, const QString& button1, const QString& button2,
                 int defaultButton, int escapeButton) override;
    void scrollable(QWidget* parent, const QString& caption, const QString& text) override;
};
