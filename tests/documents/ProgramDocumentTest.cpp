// Documents through the program as shipped: started through the same wiring as its entry,
// the simulated instrument recording, Exit answered "Yes" keeping the readings in the table's
// own file beside the settings, and a second run opening that file.
#include <QLabel>
#include <QPushButton>
#include <QToolButton>
#include <QtTest>

#include "../frame/ProgramFixture.h"
#include "KvGridView.h"
#include "KvPortDevices.h"
#include "KvStdActns.h"
#include "LvxProgram.h"
#include "UDmKv_COM_Commander.h"
#include "UDxLvx_Connect.h"
#include "UDxTable.h"
#include "UFrmLvx_Main.h"

namespace {
class ProgramDocumentTest : public ProgramTestBase {
 protected:
  QString OwnFile() const {
    return QFileInfo(IniFile()).path() + "/" + QFileInfo(IniFile()).completeBaseName() + ".dat";
  }
};
}  // namespace

TEST_F(ProgramDocumentTest, ExitWithYesKeepsTheRecordingAndASecondRunOpensIt) {
  QList<double> recorded;
  {
    TLvxProgram program(&Devices);
    program.Main().show();
    EXPECT_EQ(DmKvBasic->FileOpen1->Dialog.Filter, TDmKvBasic::DataFilter);
    ConnectSimulation();
    PressRecord();
    Clock.Advance(4000);
    recorded = Levels(program);
    ASSERT_GE(recorded.size(), 2);
    EXPECT_TRUE(program.Main().windowTitle().startsWith('*'));

    Dialogs.Answers = {mrYes};
    DmKvBasic->ActionFileExit->trigger();
    EXPECT_FALSE(program.Main().isVisible());
    EXPECT_EQ(Dialogs.Messages.front().Text,
              "The actual \"\" document was modified.\r\n\r\nDo you want to save the content "
              "before loading ?");
    program.Shutdown();
  }
  ASSERT_TRUE(QFile::exists(OwnFile()));

  TLvxProgram program(&Devices);
  program.Main().show();
  EXPECT_TRUE(Levels(program).isEmpty());
  Dialogs.FileAnswers = {OwnFile()};
  DmKvBasic->FileOpen1->trigger();
  EXPECT_EQ(Levels(program), recorded);
  auto* table = dynamic_cast<TFrmDxTable*>(FrmDxTable);
  ASSERT_NE(table, nullptr);
  EXPECT_EQ(table->cxGridTableDBTableView2->model()->rowCount(), recorded.size());
  EXPECT_EQ(program.Main().findChild<QLabel*>("cxLabelFilename")->text(), OwnFile());
  EXPECT_FALSE(program.Main().windowTitle().startsWith('*'));
  if (qEnvironmentVariableIsSet("LVX_DOCUMENT_SHOTS")) {
    program.Main().resize(1297, 820);
    program.Main().dxLayoutControl1GroupMain->setCurrentIndex(TFrmKvMain::TabDataTable);
    program.Main().grab().save(qEnvironmentVariable("LVX_DOCUMENT_SHOTS") + "/opened_table.png");
  }
}

TEST_F(ProgramDocumentTest, ASaveThatThrowsKeepsTheWindowOpenAndTheReadings) {
  TLvxProgram program(&Devices);
  program.Main().show();
  TKvUniqueData d;
  d.bValid = d.bConnected = true;
  d.dtDate = EncodeDate(2026, 11, 23);
  d.dVal = 70;
  program.Commander().AddData(d);
  DmKvBasic->FileSaveAs1->Dialog.FileName = Path("gone/x.dat");
  Dialogs.Answers = {mrYes};
  EXPECT_THROW(program.Main().close(), EKvMemError);
  EXPECT_TRUE(program.Main().isVisible());
  EXPECT_TRUE(DmKvBasic->IsModified());
  EXPECT_EQ(Levels(program), QList<double>{70});
}
