#pragma once
// The program as shipped, started through the same wiring as its entry, on a machine with no
// serial devices: the simulated instrument stands in for the meter.
#include <QComboBox>
#include <QPushButton>
#include <QToolButton>
#include <QtTest>

#include "AppModuleFixture.h"
#include "KvPortDevices.h"
#include "LvxProgram.h"
#include "UDmKv_COM_Commander.h"
#include "UDxLvx_Connect.h"

class TNoDevices : public TKvPortDeviceSource {
 public:
  std::vector<TKvPortDevice> Devices() override { return {}; }
};

class ProgramTestBase : public AppModuleTest {
 protected:
  void SetUp() override {
    AppModuleTest::SetUp();
    WriteFile(SkinFile(), "[Brevik]\nQWidget {}\n");
  }
  // "Simulation" picked and connected as a user does it.
  static void ConnectSimulation() {
    QComboBox* ports = FrmLvx_Connect->cxComboBoxCOM;
    ports->setCurrentIndex(ports->findText("Simulation"));
    QTest::mouseClick(FrmLvx_Connect->cxButtonConnect, Qt::LeftButton);
  }
  static void PressRecord() {
    QTest::mouseClick(FrmLvx_Connect->cxButtonRecordData, Qt::LeftButton);
  }
  // Every level of the table, oldest first.
  static QList<double> Levels(TLvxProgram& program) {
    TKvMemTable& t = program.Commander().KvMemTableData;
    QList<double> levels;
    t.SetIndexName(TKvMeasurementTable::IndexAscName);
    for (t.First(); !t.Eof(); t.Next()) levels << t.FieldByName("Y").AsFloat();
    return levels;
  }
  TNoDevices Devices;
};
