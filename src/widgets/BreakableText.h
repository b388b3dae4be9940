#pragma once

class QString;

// Message boxes wrap at blanks only: a long path or address would be cut at the box's
// edge.  Such words get invisible break opportunities after their separators.
namespace BreakableText {

// text with a zero-width space after every '/', '.', '-', '_', '?', '&', '=', ',' or ':'
// inside words longer than longest characters, and after every longest characters of a
// word that has no separator for so long.  Shorter words are left as they are.
QString of(const QString& text, int longest = 40);

} // namespace BreakableText
