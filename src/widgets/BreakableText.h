#pragma once

class QString;

// Message boxes wrap at blanks, slashes and hyphens only: a longer run without them (a
// checksum, a file name joined by underscores) widens the box past the screen and is cut.
// Such runs get invisible break opportunities; so rarely that a copied path stays whole.
namespace BreakableText {

// text with a zero-width space after every longest characters that have no blank, '/' or
// '-' among them.
QString of(const QString& text, int longest = 60);

} // namespace BreakableText
