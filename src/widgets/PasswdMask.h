#pragma once

class QEvent;
class QObject;
class QRegularExpressionMatch;
class QString;
class QWidget;

// What the password fields share: how a text is masked and how an event reaches the
// hidden editor that holds the real text.
namespace PasswdMask {

// Masks, in shown, the non-empty capture groups of match with the password character
// of field's style.
void maskGroups(QString& shown, const QRegularExpressionMatch& match, const QWidget* field);
// Delivers event straight to the hidden editor: through the application an event that
// it ignores would travel on to its parent, the field, and come back.
void forward(QObject* real, QEvent* event);
// The selection that other programs can paste is the masked one.
void offerSelection(const QString& shownSelection);

} // namespace PasswdMask
