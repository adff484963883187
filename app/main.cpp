// LvxReader: the start and stop order of the program around its message loop.
#include <QApplication>
#include <exception>

#include "KvLib.h"
#include "LvxProgram.h"

namespace {

// Exceptions meant for "the application's default handler" end here: shown, logged, and
// never allowed into the toolkit's event loop.
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

}  // namespace

int main(int argc, char* argv[]) {
  TKvApplication app(argc, argv);
  TLvxProgram program;
  const int result = program.Run(app);
  // The log was written by the close query; what comes after it is not kept.
  program.Shutdown();
  return result;
}
