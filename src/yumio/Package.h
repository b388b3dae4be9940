#pragma once

class QString;

namespace Package {

// Stored and compared as numbers: keep the values.
enum State { AvailableForUpdate = 0, AvailableForInstallation = 1, Installed = 2 };
enum Kind { Suite = 0, Group = 1, Ordinary = 2 };
// Downgrade and Reinstall are set only from the action menu and by undo; they go to
// another version of an installed package (Entry::targetVerRel for a downgrade).
enum Action { Update = 0, Install = 1, Remove = 2, None = 3, Downgrade = 4, Reinstall = 5 };

// Display texts, translated; a value out of range gives an empty text ("ERROR" for
// an action).
QString stateText(int state);
QString kindText(int kind);
QString actionText(int action);

} // namespace Package
