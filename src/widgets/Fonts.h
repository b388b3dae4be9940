#pragma once

class QFont;

// Variants of a font, each a modified copy.
namespace Fonts {

// Bold proportional sans-serif, one and a half times the size.
QFont makeHeader(const QFont& font);
// Fixed pitch, from the first installed of a short list of monospaced families.
QFont makeFixed(const QFont& font);
QFont makeBold(const QFont& font);

} // namespace Fonts
