#pragma once

class QApplication;

// The one application object, set right after it is built.
extern QApplication* application;
// The program's base name: the first word of every command-line message.
extern const char* program;
