// LvxReader: the start and stop order of the program around its message loop.
#include <QApplication>
#include <exception>

#include "KvDialogs.h"
#include "KvInstrumentPorts.h"
#include "KvLib.h"
#include "KvPortAssignments.h"
#include "KvPortDevices.h"
#include "KvSerialCommander.h"
#include "KvSys_Helper.h"
#include "Serial.h"
#include "UDmKvBasic.h"
#include "UDmKvProjectInfo.h"
#include "UDmKv_COM_Commander.h"
#include "UFrmLvx_Main.h"

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
      ShowException(QString::fromUtf8(e.what()));
    } catch (...) {
      ShowException("Unknown exception");
    }
    return false;
  }

 private:
  static void ShowException(const QString& text) {
    KvSysHelper().SysLog_Add(nullptr, "Exception", text);
    MessageDlg(text, TMsgDlgType::mtError, mbOK);
  }
};

// The port engine: the system's serial devices under stable COM numbers and one port on them.
class TKvPortEngine {
 public:
  TKvPortEngine()
      : FDevices(FAssignments.VirtualDevices()),
        FManager(&FDevices, &FAssignments),
        FSerial(&FManager) {}
  TKvSerialPort* Serial() { return &FSerial; }
  TKvPortList* Ports() { return &FManager; }
  void Attach(TDmKv_COM_Commander& commander) { KvSerial_SetupForCommander(FSerial, commander); }

 private:
  TKvPortAssignments FAssignments;
  TKvUdevPortDevices FDevices;
  TCOMManager FManager;
  TSerial FSerial;
};

}  // namespace

int main(int argc, char* argv[]) {
  TKvApplication app(argc, argv);
  KvSysHelper();
  KvGlobal_Initialize();

  int result = 0;
  {
    // The diagram editor and the printing module would come first; the program has neither.
    TKvPortEngine ports;
    TDmKv_COM_Commander commander(ports.Serial(), ports.Ports());
    ports.Attach(commander);
    {
      TFrmKvMain main;
      main.show();
      result = app.exec();
      // No reading may arrive while the main form takes its listener away.
      ports.Serial()->SetActive(false);
    }
  }
  KvBase_CreateSplash(false);
  delete DmKvBasic;
  delete DmKvProjectInfo;
  // The log was written by the close query; what came after it is not kept.
  return result;
}
