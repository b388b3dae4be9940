#pragma once

#include "widgets/HFrameDialog.h"

// A message too long for a message box: the text scrolls, the dialog stays on screen.
class ScrollableErrorDialog : public HFrameDialog
{
    Q_OBJECT
    Q_DISABLE_COPY(ScrollableErrorDialog)

public:
    explicit ScrollableErrorDialog(const QString& text, QWidget* parent = nullptr);
};
