#pragma once
// The application object of the programs: exceptions meant for "the application's default
// handler" end here, shown and logged, and never reach the toolkit's event loop.
#include <QApplication>
#include <exception>

#include "KvLib.h"

class TKvApplication : public QApplication {
 public:
  using QApplication::QApplication;

  bool notify(QObject* receiver, QEvent* event) override {
    try {
      return QApplication::notify(receiver, event);
    } catch (const std::exception& e) {
      KvApplication_HandleException(QString::fromUtf8(e.what()));
    } catch (...) {
      KvApplication_HandleException("Unknown exception");
    }
    return false;
  }
};
