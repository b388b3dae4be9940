#pragma once

#include <QBasicTimer>
#include <QFrame>

class QEnterEvent;
class QPoint;
class QRect;
class QSize;

// A tool-tip window whose contents a caller builds. At most one exists: a new tip replaces
// the one shown. It goes away on its own after a while (unless asked to stay) and as soon
// as the user does anything with mouse, wheel, focus or keys.
class GeneralTip final : public QFrame
{
    Q_OBJECT
    Q_DISABLE_COPY(GeneralTip)

public:
    using Setup = void (*)(GeneralTip* tip, void* data);

    GeneralTip(QWidget* parent, bool stay);
    ~GeneralTip() override;

    // Shows a new tip near pos (global), filled by setup(tip, data), kept on the screen
    // that holds pos, or else widget's.
    static void showTip(const QPoint& pos, Setup setup, void* data, QWidget* widget, bool stay);
    // The tip currently shown, or null.
    static GeneralTip* current();
    // Where a tip of the given size goes for pos: below right of the pointer, flipped to
    // the other side at the screen's right and bottom edges, and kept inside the screen.
    static QPoint placement(const QPoint& pos, const QSize& size, const QRect& screen);

    // Hides the tip and deletes it a moment later.
    void hideTip();

protected:
    void enterEvent(QEnterEvent* event) override;
    void timerEvent(QTimerEvent* event) override;
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    QBasicTimer expireTimer_;
    QBasicTimer deleteTimer_;
};
