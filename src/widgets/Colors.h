#pragma once

class QPalette;
class QString;

// The program's colour names and the palettes built from them.
namespace Colors {

QString action();
QString error();
QString errorDisabled();
QString warning();
QString minor();
QString minorDisabled();
QString ok();
QString requiredBg();
QString errorBg();
QString warningBg();
QString okBg();

// Base of the Active and Inactive groups becomes requiredBg().
QPalette makeRequired(const QPalette& palette);
// Window becomes errorBg(), warningBg() or okBg(), with readable window text.
QPalette makeError(const QPalette& palette);
QPalette makeWarning(const QPalette& palette);
QPalette makeOK(const QPalette& palette);
// Window becomes the named colour; WindowText white on dark, black on light colours.
QPalette makeWindow(const QPalette& palette, const QString& colorName);

} // namespace Colors
