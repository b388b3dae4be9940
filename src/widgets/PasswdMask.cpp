#include "widgets/PasswdMask.h"

#include <QClipboard>
#include <QEvent>
#include <QGuiApplication>
#include <QRegularExpressionMatch>
#include <QStyle>
#include <QWidget>

namespace PasswdMask {

void maskGroups(QString& shown, const QRegularExpressionMatch& match, const QWidget* field)
{
    const QChar passwordChar(field->style()->styleHint(QStyle::SH_LineEdit_PasswordCharacter, nullptr, field));
    for (int group = 1; group <= match.lastCapturedIndex(); ++group) {
        const qsizetype length = match.capturedLength(group);
        if (length > 0)
            shown.replace(match.capturedStart(group), length, QString(length, passwordChar));
    }
}

void forward(QObject* real, QEvent* event)
{
    const bool accepted = event->isAccepted();
    real->event(event);
    event->setAccepted(accepted);
}

void offerSelection(const QString& shownSelection)
{
    QClipboard* clipboard = QGuiApplication::clipboard();
    if (clipboard->supportsSelection() && !shownSelection.isEmpty())
        clipboard->setText(shownSelection, QClipboard::Selection);
}

} // namespace PasswdMask
