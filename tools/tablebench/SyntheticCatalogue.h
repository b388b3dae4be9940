#pragma once

class YumIO;

// Fills an engine that was never initialised with a made-up catalogue shaped like a
// distribution's: mostly available packages, some installed, some out of date with
// their installed versions chained behind, i686 duplicates, groups and suites.  The
// same count always gives the same rows.  No interpreter objects are made.
namespace SyntheticCatalogue {

void fill(YumIO& yumIO, int count);

} // namespace SyntheticCatalogue
