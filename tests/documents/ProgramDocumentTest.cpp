// Documents through the program as LvxReader starts it: the start-up routine, the load and save
// filter, the commander and the main window in that order; the readings of a run kept by
// Exit and "Yes", and found again by Open in a second run.
#include <QFile>
#include <QLabel>

#include "DocumentLifecycleFixture.h"
#include "KvLib.h"
#include "UFrmLvx_Main.h"

namespace {
class ProgramDocumentTest : public AppModuleTest {
 protected:
  void SetUp() override {
    AppModuleTest::SetUp();
    WriteFile(SkinFile(), "[Brevik]\nQWidget {}\n");
  }
  void TearDown() override {
    Stop();
    AppModuleTest::TearDown();
  }
  // The start of app/main.cpp, the port engine replaced by a replayed stream.
  void Start() {
    KvSysHelper();
    KvGlobal_Initialize();
    DmKvBasic->SetLoadSave_Filter(TDmKvBasic::DataFilter, "dat");
    Commander = std::make_unique<TDmKv_COM_Commander>(&Port, &Ports);
    Main = std::make_unique<TFrmKvMain>();
    Main->show();
  }
  void Stop() {
    Main.reset();
    Commander.reset();
    KvBase_CreateSplash(false);
    delete DmKvBasic;
    delete DmKvProjectInfo;
  }
  void Record(double level) {
    TKvUniqueData d;
    d.bValid = d.bConnected = true;
    d.dtDate = EncodeDate(2026, 11, 23);
    d.dtTime = EncodeTime(12, 0, 0, 0);
    d.dVal = level;
    Commander->AddData(d);
  }
  QList<double> Levels() {
    TKvMemTable& t = Commander->KvMemTableData;
    QList<double> levels;
    t.SetIndexName(TKvMeasurementTable::IndexAscName);
    for (t.First(); !t.Eof(); t.Next()) levels << t.FieldByName("Y").AsFloat();
    return levels;
  }
  QString OwnFile() const {
    return QFileInfo(IniFile()).path() + "/" + QFileInfo(IniFile()).completeBaseName() + ".dat";
  }

  TKvStreamPort Port{1};
  TScriptedPortList Ports;
  std::unique_ptr<TDmKv_COM_Commander> Commander;
  std::unique_ptr<TFrmKvMain> Main;
};
}  // namespace

TEST_F(ProgramDocumentTest, ExitWithYesKeepsTheRunAndASecondRunOpensIt) {
  Start();
  EXPECT_EQ(DmKvBasic->FileOpen1->Dialog.DefaultExt, "dat");
  for (double level : {61.5, 62.5, 63.5}) Record(level);
  EXPECT_TRUE(Main->windowTitle().startsWith('*'));

  Dialogs.Answers = {mrYes};
  DmKvBasic->ActionFileExit->trigger();
  EXPECT_FALSE(Main->isVisible());
  ASSERT_TRUE(QFile::exists(OwnFile()));
  Stop();

  Start();
  EXPECT_TRUE(Levels().isEmpty());
  Dialogs.FileAnswers = {OwnFile()};
  DmKvBasic->FileOpen1->trigger();
  EXPECT_EQ(Levels(), (QList<double>{61.5, 62.5, 63.5}));
  EXPECT_EQ(Main->findChild<QLabel*>("cxLabelFilename")->text(), OwnFile());
  EXPECT_FALSE(Main->windowTitle().startsWith('*'));
}

TEST_F(ProgramDocumentTest, ASaveThatThrowsKeepsTheWindowOpen) {
  Start();
  Record(70);
  DmKvBasic->FileSaveAs1->Dialog.FileName = Path("gone/x.dat");
  Dialogs.Answers = {mrYes};
  EXPECT_THROW(Main->close(), EKvMemError);
  EXPECT_TRUE(Main->isVisible());
  EXPECT_TRUE(DmKvBasic->IsModified());
  EXPECT_EQ(Levels(), QList<double>{70});
}
