#pragma once
// The help window: the HTML manual in a browser window of its own, one for the program.
#include <QString>

class QWidget;

// Shows the manual; false (nothing shown) when the file does not exist.
bool KvHelp_Show(const QString& fileName);
// The window, or nullptr while the manual was never shown.
QWidget* KvHelp_Window();
