#pragma once

#include <QScrollArea>

// A scroll area that asks for room for its whole widget, up to a maximum and never
// beyond nine tenths of the screen.
class HScrollArea : public QScrollArea
{
    Q_OBJECT
    Q_DISABLE_COPY(HScrollArea)

public:
    explicit HScrollArea(QWidget* parent = nullptr);
    HScrollArea(const QSize& maximum, QWidget* parent = nullptr);
    // At most columns characters by rows lines of the area's font; -1 is unlimited.
    HScrollArea(int columns, int rows, QWidget* parent = nullptr);

    QSize maximum() const;
    QSize sizeHint() const override;
    void forceResize();

private:
    QSize maximum_;
    int columns_ = -1;
    int rows_ = -1;
};
