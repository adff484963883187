#pragma once
// An ending desktop session (logout, shutdown) or a service manager asks the program to stop
// with SIGTERM, a terminal with SIGINT. Ended by the signal's default action the program
// would lose what it writes when its main window closes: the settings and the log. Instead the
// main window is closed from the message loop, as the user closes it.
#include <memory>

class QSocketNotifier;
class QWidget;

class TLvxTermination {
 public:
  explicit TLvxTermination(QWidget& main);
  // The signals' default actions again.
  ~TLvxTermination();
  TLvxTermination(const TLvxTermination&) = delete;
  TLvxTermination& operator=(const TLvxTermination&) = delete;

 private:
  std::unique_ptr<QSocketNotifier> FNotifier;
};
