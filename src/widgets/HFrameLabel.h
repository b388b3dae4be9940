#pragma once

#include <QFrame>
#include <QPalette>

class QLabel;

// A label that shows its frame and its own palette only while it has text, so that
// a warning label can keep its warning colours and show them only when it has
// something to say.
class HFrameLabel : public QFrame
{
    Q_OBJECT
    Q_DISABLE_COPY(HFrameLabel)

public:
    explicit HFrameLabel(QWidget* parent = nullptr, Qt::WindowFlags flags = Qt::WindowFlags());
    HFrameLabel(const QString& text, QWidget* parent = nullptr,
                Qt::WindowFlags flags = Qt::WindowFlags());

    QString text() const;
    QLabel* label() const { return label_; }

    void setText(const QString& text);
    // Remembered; applied only while the label has text.  Hides QWidget::setPalette.
    void setPalette(const QPalette& palette);

private:
    QLabel* label_;
    QPalette initialPalette_;
    QPalette palette_;
};
