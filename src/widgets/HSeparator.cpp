#include "widgets/HSeparator.h"

HSeparator::HSeparator(QWidget* parent)
    : QFrame(parent)
{
    setFrameShape(QFrame::HLine);
    setFrameShadow(QFrame::Sunken);
}
