#pragma once

namespace PackageTable {

enum Mode { Filter = 0, Search = 1 };
enum StateFilter { Updatable = 0, Installable = 1, Removable = 2, All = 3 };

} // namespace PackageTable
