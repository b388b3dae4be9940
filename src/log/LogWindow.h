#pragma once

#include <QWidget>

class HTextEdit;
class QSpinBox;

namespace Log {

class EntryList;

// The log store as coloured rich text, up to a chosen detail level.  Renders only the
// entries that are new since it last looked, and only while it is visible.
class Window final : public QWidget
{
    Q_OBJECT
    Q_DISABLE_COPY(Window)

public:
    Window(EntryList& log, QWidget* mainWindow);

    static void htmlProtect(QString& text);
    HTextEdit* textEdit() const { return text_; }
    QSpinBox* levelBox() const { return level_; }

public Q_SLOTS:
    void setVisible(bool visible) override;
    void appended();
    void levelChanged(int level);

protected:
    void keyPressEvent(QKeyEvent* event) override;

private:
    EntryList& log_;
    QWidget* mainWindow_;
    HTextEdit* text_;
    QSpinBox* level_;
    int seen_ = 0;
};

} // namespace Log
