// The program as shipped: started through the same wiring as its entry, with no serial
// devices on the machine. A simulated reading must reach the table and the chart.
#include <QComboBox>
#include <QPushButton>
#include <QtTest>

#include "../frame/ProgramFixture.h"
#include "KvGridView.h"
#include "KvPortDevices.h"
#include "LvxProgram.h"
#include "UDmKv_COM_Commander.h"
#include "UDxChart.h"
#include "UDxLvx_Connect.h"
#include "UDxTable.h"
#include "UFrmLvx_Main.h"

class ProgramTest : public ProgramTestBase {};

TEST_F(ProgramTest, SimulatedReadingsReachTheDockedTableAndChartWhileRecording) {
  TLvxProgram program(&Devices);
  program.Main().show();
  auto* table = dynamic_cast<TFrmDxTable*>(FrmDxTable);
  auto* chart = dynamic_cast<TFrmDxChart*>(FrmDxChart);
  ASSERT_NE(table, nullptr);
  ASSERT_NE(chart, nullptr);
  EXPECT_EQ(table->parentWidget(), program.Main().cxGroupBoxDataTable);
  EXPECT_EQ(chart->parentWidget(), program.Main().cxGroupBox_Chart);

  ConnectSimulation();
  Clock.Advance(2050);
  EXPECT_EQ(table->cxGridTableDBTableView2->model()->rowCount(), 0);  // not recording yet
  PressRecord();
  ASSERT_TRUE(program.Commander().IsRecording());
  Clock.Advance(3000);
  const int rows = table->cxGridTableDBTableView2->model()->rowCount();
  EXPECT_GE(rows, 2);
  EXPECT_EQ(program.Commander().KvMemTableData.RecordCount(), rows);
  EXPECT_EQ(chart->Series(0).Count(), rows);
  EXPECT_FALSE(table->FooterText().isEmpty());
  EXPECT_TRUE(DmKvBasic->IsModified());
  if (qEnvironmentVariableIsSet("LVX_VIEWS_SHOTS")) {
    // A recording of a minute and a half for the pictures.
    Clock.Advance(90000);
    program.Main().resize(1297, 820);
    program.Main().dxLayoutControl1GroupMain->setCurrentIndex(TFrmKvMain::TabDataTable);
    program.Main().grab().save(qEnvironmentVariable("LVX_VIEWS_SHOTS") + "/program_table.png");
    program.Main().dxLayoutControl1GroupMain->setCurrentIndex(TFrmKvMain::TabChart);
    program.Main().grab().save(qEnvironmentVariable("LVX_VIEWS_SHOTS") + "/program_chart.png");
  }
  program.Shutdown();
  EXPECT_EQ(FrmDxTable, nullptr);
  EXPECT_EQ(FrmDxChart, nullptr);
}
