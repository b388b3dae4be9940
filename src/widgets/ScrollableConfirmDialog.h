#pragma once

#include "widgets/HFrameDialog.h"

// A question with a long text (a transaction listing): the text scrolls, the two
// answers stay in view.
class ScrollableConfirmDialog : public HFrameDialog
{
    Q_OBJECT
    Q_DISABLE_COPY(ScrollableConfirmDialog)

public:
    ScrollableConfirmDialog(const QString& text, const QString& acceptLabel,
                            const QString& rejectLabel, QWidget* parent = nullptr);
};
