#include "LvxProgram.h"

#include <QApplication>

#include "KvDockedViews.h"
#include "KvInstrumentPorts.h"
#include "KvLib.h"
#include "KvPortAssignments.h"
#include "KvPortDevices.h"
#include "KvSerialCommander.h"
#include "KvSys_Helper.h"
#include "Serial.h"
#include "UDmKvBasic.h"
#include "UDmKvDiagramEditor.h"
#include "UDmKvProjectInfo.h"
#include "UDmKv_COM_Commander.h"
#include "UDxChart.h"
#include "UDxLvxDisplay.h"
#include "UDxTable.h"
#include "UFrmLvx_Main.h"

void LvxReader_RegisterViews() {
  TKvViewMakers& makers = KvViewMakers();
  makers.Table = [] { return new TFrmDxTable; };
  makers.Chart = [] { return new TFrmDxChart; };
  makers.Display = [] { return new TFrmDxLvxDisplay; };
}

TLvxProgram::TLvxProgram(TKvPortDeviceSource* devices) {
  KvSysHelper();
  KvGlobal_Initialize();
  LvxReader_RegisterViews();
  // The printing module would follow the diagram editor; the program has none yet.
  FDiagramEditor = std::make_unique<TDmKvDiagramEditor>();
  FPorts = std::make_unique<TKvPortEngine>(devices);
  FCommander =
      std::make_unique<TDmKv_COM_Commander>(FPorts->Serial(), FPorts->Ports(), FPorts->Dialogs());
  FPorts->Attach(*FCommander);
  FMain = std::make_unique<TFrmKvMain>();
}

TLvxProgram::~TLvxProgram() {
  Shutdown();
}

int TLvxProgram::Run(QApplication& app) {
  FMain->show();
  return app.exec();
}

void TLvxProgram::Shutdown() {
  if (!FPorts) return;
  FPorts->Serial()->SetActive(false);
  FMain.reset();
  FCommander.reset();
  FPorts.reset();
  FDiagramEditor.reset();
  KvViewMakers() = TKvViewMakers();
  KvBase_CreateSplash(false);
  delete DmKvBasic;
  delete DmKvProjectInfo;
}
