#include "widgets/HScrollArea.h"

#include <QScrollBar>
#include <QStyle>

#include "widgets/ScreenLimit.h"

#include <climits>

HScrollArea::HScrollArea(QWidget* parent)
    : QScrollArea(parent)
    , maximum_(INT_MAX, INT_MAX)
{
}

HScrollArea::HScrollArea(const QSize& maximum, QWidget* parent)
    : QScrollArea(parent)
    , maximum_(maximum)
{
}

HScrollArea::HScrollArea(int columns, int rows, QWidget* parent)
    : QScrollArea(parent)
    , maximum_(INT_MAX, INT_MAX)
    , columns_(columns)
    , rows_(rows)
{
}

// Counted in characters, the maximum follows the font in use when it is asked for.
QSize HScrollArea::maximum() const
{
    QSize result = maximum_;
    if (columns_ >= 0)
        result.setWidth(columns_ * fontMetrics().horizontalAdvance(QLatin1Char('n')));
    if (rows_ >= 0)
        result.setHeight(rows_ * fontMetrics().height());
    return result;
}

QSize HScrollArea::sizeHint() const
{
    const QWidget* inner = widget();
    if (!inner)
        return QScrollArea::sizeHint();
    int frame = 2 * frameWidth();
    if (style()->styleHint(QStyle::SH_ScrollView_FrameOnlyAroundContents, nullptr, this))
        frame += 2 * style()->pixelMetric(QStyle::PM_DefaultFrameWidth, nullptr, this);
    const QSize hint = inner->sizeHint();
    const QSize size(hint.width() + frame + verticalScrollBar()->sizeHint().width(),
                     hint.height() + frame + horizontalScrollBar()->sizeHint().height());
    return ScreenLimit::bound(this, size.boundedTo(maximum()));
}

void HScrollArea::forceResize()
{
    resize(sizeHint());
}
