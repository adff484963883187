#pragma once
// The reader's modules in their start order and their stop order, around the message loop
// that the entry runs. Tests start the program through this same class, so what they see
// is what the shipped program builds: the registered views, the real port engine and the
// commander that owns the measurement table.
#include <memory>

class QApplication;
class TDmDxPrinting;
class TDmKvDiagramEditor;
class TDmKv_COM_Commander;
class TFrmKvMain;
class TKvPortDeviceSource;
class TKvPortEngine;
class TLvxJournalRecovery;

// Registers the docked views' forms with the main window; the program calls it before the
// main window is first shown.
void LvxReader_RegisterViews();

class TLvxProgram {
 public:
  // devices: where serial devices come from; nullptr for the system's own (udev).
  explicit TLvxProgram(TKvPortDeviceSource* devices = nullptr);
  ~TLvxProgram();
  TLvxProgram(const TLvxProgram&) = delete;
  TLvxProgram& operator=(const TLvxProgram&) = delete;

  TFrmKvMain& Main() { return *FMain; }
  TDmKv_COM_Commander& Commander() { return *FCommander; }
  TDmDxPrinting& Printing() { return *FPrinting; }

  // Shows the main window and runs the message loop until the program ends; SIGTERM and
  // SIGINT close the main window.
  int Run(QApplication& app);
  // What follows the message loop: no reading may arrive while the main form takes its
  // listener away, then the main form and the modules go in reverse order.
  void Shutdown();

 private:
  std::unique_ptr<TDmKvDiagramEditor> FDiagramEditor;
  std::unique_ptr<TDmDxPrinting> FPrinting;
  std::unique_ptr<TKvPortEngine> FPorts;
  std::unique_ptr<TDmKv_COM_Commander> FCommander;
  std::unique_ptr<TFrmKvMain> FMain;
  std::unique_ptr<TLvxJournalRecovery> FRecovery;
};
