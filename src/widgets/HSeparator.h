#pragma once

#include <QFrame>

// A sunken horizontal line between parts of a form.
class HSeparator : public QFrame
{
    Q_OBJECT
    Q_DISABLE_COPY(HSeparator)

public:
    explicit HSeparator(QWidget* parent = nullptr);
};
