#pragma once

class QSize;
class QWidget;

// Self-sizing widgets stay within nine tenths of their screen, so that long
// contents scroll instead of pushing a window off the screen.
namespace ScreenLimit {

// Nine tenths of the width and height of the widget's screen (the primary screen
// when the widget has none yet); unlimited when there is no screen at all.
QSize maximum(const QWidget* widget);
// size, bounded by maximum(widget).
QSize bound(const QWidget* widget, const QSize& size);

} // namespace ScreenLimit
