#include "LvxProgram.h"

#include <QApplication>

#include "KvDockedViews.h"
#include "KvInstrumentPorts.h"
#include "KvLib.h"
#include "KvPortAssignments.h"
#include "KvPortDevices.h"
#include "KvSerialCommander.h"
#include "KvSys_Helper.h"
#include "LvxInstalledLayout.h"
#include "LvxJournalRecovery.h"
#include "LvxTermination.h"
#include "Serial.h"
#include "UDmDxPrinting.h"
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
  LvxReader_LocateDataFiles();
  KvGlobal_Initialize();
  DmKvBasic->SetLoadSave_Filter(TDmKvBasic::DataFilter, "dat");
  LvxReader_RegisterViews();
  FDiagramEditor = std::make_unique<TDmKvDiagramEditor>();
  FPrinting = std::make_unique<TDmDxPrinting>();
  FPorts = std::make_unique<TKvPortEngine>(devices);
  FCommander =
      std::make_unique<TDmKv_COM_Commander>(FPorts->Serial(), FPorts->Ports(), FPorts->Dialogs());
  FPorts->Attach(*FCommander);
  FMain = std::make_unique<TFrmKvMain>();
  // The print actions print what the user looks at: the chart from its tab, else the table.
  FMain->OnReportLinkSelect = [this](int link) { FPrinting->SelectLink(link); };
  FRecovery = std::make_unique<TLvxJournalRecovery>(*FCommander, *FMain);
}

TLvxProgram::~TLvxProgram() {
  Shutdown();
}

int TLvxProgram::Run(QApplication& app) {
  const TLvxTermination termination(*FMain);
  FMain->show();
  return app.exec();
}

void TLvxProgram::Shutdown() {
  if (!FPorts) return;
  FPorts->Serial()->SetActive(false);
  FMain->OnReportLinkSelect = nullptr;
  FRecovery->ProgramEnds();
  FRecovery.reset();
  FMain.reset();
  FCommander.reset();
  FPorts.reset();
  FPrinting.reset();
  FDiagramEditor.reset();
  KvViewMakers() = TKvViewMakers();
  KvBase_CreateSplash(false);
  delete DmKvBasic;
  delete DmKvProjectInfo;
}
