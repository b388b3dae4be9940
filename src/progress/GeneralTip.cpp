#include "progress/GeneralTip.h"

#include <QApplication>
#include <QKeyEvent>
#include <QScreen>
#include <QStyle>

namespace {

constexpr int expireMs = 10000;
constexpr int deleteMs = 250;

GeneralTip* currentTip = nullptr;

const QPalette& tipPalette()
{
    static const QPalette palette(Qt::black, QColor(255, 255, 220), QColor(96, 96, 96), Qt::black,
                                  Qt::black, Qt::black, QColor(255, 255, 220));
    return palette;
}

bool isModifierKey(int key)
{
    return key == Qt::Key_Shift || key == Qt::Key_Control || key == Qt::Key_Alt
        || key == Qt::Key_Meta;
}

} // namespace

GeneralTip::GeneralTip(QWidget* parent, bool stay)
    : QFrame(parent, Qt::ToolTip)
{
    delete currentTip;
    currentTip = this;
    ensurePolished();
    setFrameStyle(QFrame::Box);
    resize(sizeHint() + QSize(1, 0));
    qApp->installEventFilter(this);
    if (!stay)
        expireTimer_.start(expireMs, this);
    setWindowOpacity(style()->styleHint(QStyle::SH_ToolTipLabel_Opacity, nullptr, this) / 255.0);
    setPalette(tipPalette());
}

GeneralTip::~GeneralTip()
{
    if (currentTip == this)
        currentTip = nullptr;
}

GeneralTip* GeneralTip::current()
{
    return currentTip;
}

void GeneralTip::showTip(const QPoint& pos, Setup setup, void* data, QWidget* widget, bool stay)
{
    QScreen* screen = QGuiApplication::screenAt(pos);
    if (!screen && widget)
        screen = widget->screen();
    if (!screen)
        screen = QGuiApplication::primaryScreen();

    auto* tip = new GeneralTip(nullptr, stay);
    if (screen)
        tip->setScreen(screen);
    setup(tip, data);
    // The contents arrived after construction; the placement needs their size.
    tip->resize(tip->sizeHint() + QSize(1, 0));
    const QRect area = screen ? screen->geometry() : QRect(pos, tip->size());
    tip->move(placement(pos, tip->size(), area));
    tip->show();
}

QPoint GeneralTip::placement(const QPoint& pos, const QSize& size, const QRect& screen)
{
    QPoint p = pos + QPoint(2, 16);
    const int right = screen.x() + screen.width();
    const int bottom = screen.y() + screen.height();
    if (p.x() + size.width() > right)
        p.rx() -= size.width() + 4;
    if (p.y() + size.height() > bottom)
        p.ry() -= size.height() + 24;
    if (p.y() < screen.y())
        p.setY(screen.y());
    if (p.x() + size.width() > right)
        p.setX(right - size.width());
    if (p.x() < screen.x())
        p.setX(screen.x());
    if (p.y() + size.height() > bottom)
        p.setY(bottom - size.height());
    return p;
}

void GeneralTip::hideTip()
{
    hide();
    if (!deleteTimer_.isActive())
        deleteTimer_.start(deleteMs, this);
}

void GeneralTip::enterEvent(QEnterEvent* event)
{
    Q_UNUSED(event);
    hideTip();
}

void GeneralTip::timerEvent(QTimerEvent* event)
{
    if (event->timerId() == expireTimer_.timerId()) {
        expireTimer_.stop();
        hideTip();
    } else if (event->timerId() == deleteTimer_.timerId()) {
        deleteTimer_.stop();
        deleteLater();
    } else {
        QFrame::timerEvent(event);
    }
}

bool GeneralTip::eventFilter(QObject* watched, QEvent* event)
{
    switch (event->type()) {
    case QEvent::KeyPress:
    case QEvent::KeyRelease: {
        const auto* key = static_cast<QKeyEvent*>(event);
        if (key->modifiers() == Qt::NoModifier && !isModifierKey(key->key()))
            hideTip();
        break;
    }
    case QEvent::Leave:
    case QEvent::WindowActivate:
    case QEvent::WindowDeactivate:
    case QEvent::MouseButtonPress:
    case QEvent::MouseButtonRelease:
    case QEvent::MouseButtonDblClick:
    case QEvent::FocusIn:
    case QEvent::FocusOut:
    case QEvent::Wheel:
        hideTip();
        break;
    default:
        break;
    }
    return QFrame::eventFilter(watched, event);
}
