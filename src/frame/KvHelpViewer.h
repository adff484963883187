#pragma once
// The help window: the HTML manual in a browser window of its own, one for the program. It
// belongs to the main form, so it never keeps the program running after the main form closed.
#include <QString>

class QWidget;

// Shows the manual in a window owned by owner; false (nothing shown) when the file does not
// exist.
bool KvHelp_Show(const QString& fileName, QWidget* owner);
// The window, or nullptr while the manual was never shown.
QWidget* KvHelp_Window();
