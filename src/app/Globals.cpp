#include "app/Globals.h"

QApplication* application = nullptr;
const char* program = "orvo";
