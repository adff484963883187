// A form's storage on a real window under the offscreen platform: placement, stored
// properties and values, the order of the placement handlers, binding and release. The file
// itself is covered in KvAppIniFileStorageTest.
#include <gtest/gtest.h>

#include <QCheckBox>
#include <QComboBox>
#include <QLineEdit>
#include <QWidget>
#include <memory>

#include "FrameTestFolders.h"
#include "KvAppIniFileStorage.h"
#include "KvFormStorage.h"

namespace {

// A form like the program's: named controls and its own KvFormStorage1.
struct TTestForm {
  explicit TTestForm(TKvAppIniFileStorage* store) {
    form.setObjectName("FrmLvx_Connect");
    combo->setObjectName("cxComboBoxCOM");
    combo->addItems({"COM1", "COM2", "COM3"});
    check->setObjectName("cxCheckBoxDate_Use");
    edit->setObjectName("cxEditName");
    storage->StoredProps = {"cxComboBoxCOM.ItemIndex", "cxCheckBoxDate_Use.Checked"};
    storage->StoredValues.Add("DtInt", 0.25);
    storage->SetAppStorage(store);
  }
  QWidget form;
  QComboBox* combo = new QComboBox(&form);
  QCheckBox* check = new QCheckBox(&form);
  QLineEdit* edit = new QLineEdit(&form);
  TKvFormStorage* storage = new TKvFormStorage(&form);
};

class KvFormStorageTest : public FrameFolderTest {
 protected:
  void SetUp() override {
    FrameFolderTest::SetUp();
    Store = std::make_unique<TKvAppIniFileStorage>();
  }
  std::unique_ptr<TKvAppIniFileStorage> Store;
};

TEST_F(KvFormStorageTest, PlacementPropsAndValuesSurviveCloseAndShow) {
  {
    TTestForm f(Store.get());
    f.form.show();
    f.form.setGeometry(110, 120, 430, 310);
    f.combo->setCurrentIndex(2);
    f.check->setChecked(true);
    f.edit->setFocus();
    f.storage->StoredValues.SetValue("DtInt", 0.5);
    f.storage->OnSavePlacement = [&] { f.storage->WriteInteger("SerialCom", 3); };
    f.form.close();
  }
  Store.reset();  // everything must be on disk by now
  QByteArray text = ReadFile(Path("userappdata/Velmor/LvxReader/LvxReader_1920x1080.ini"));
  EXPECT_EQ(text,
            "[FrmLvx_Connect]\nLeft=110\nTop=120\nWidth=430\nHeight=310\nState=Normal\n"
            "cxComboBoxCOM.ItemIndex=2\ncxCheckBoxDate_Use.Checked=TRUE\nDtInt=0.5\n"
            "FormVersion=0\nActiveControl=cxEditName\nSerialCom=3\n");

  Store = std::make_unique<TKvAppIniFileStorage>();
  TTestForm f(Store.get());
  std::vector<QString> seenByHandler;
  f.storage->OnRestorePlacement = [&] {
    seenByHandler = {QString::number(f.combo->currentIndex()),
                     f.storage->StoredValues.Value("DtInt").toString(),
                     QString::number(f.storage->ReadInteger("SerialCom", 0))};
  };
  f.form.show();
  EXPECT_EQ(f.form.geometry(), QRect(110, 120, 430, 310));
  EXPECT_EQ(f.combo->currentIndex(), 2);
  EXPECT_TRUE(f.check->isChecked());
  EXPECT_EQ(f.form.focusWidget(), f.edit);
  EXPECT_EQ(seenByHandler, (std::vector<QString>{"2", "0.5", "3"}));
}

TEST_F(KvFormStorageTest, AMaximisedWindowComesBackMaximisedOverItsNormalPlace) {
  {
    TTestForm f(Store.get());
    f.form.show();
    f.form.setGeometry(50, 60, 300, 200);
    f.form.showMaximized();
    f.form.close();
  }
  EXPECT_EQ(Store->ReadString("FrmLvx_Connect", "State", ""), "Maximized");
  EXPECT_EQ(Store->ReadInteger("FrmLvx_Connect", "Width", 0), 300);
  TTestForm f(Store.get());
  f.form.show();
  EXPECT_TRUE(f.form.isMaximized());
  EXPECT_EQ(f.form.normalGeometry(), QRect(50, 60, 300, 200));
}

TEST_F(KvFormStorageTest, ADockedPanelRestoresWhenShownAndSavesWhenItsWindowCloses) {
  QWidget main;
  main.setObjectName("FrmKvMain");
  TTestForm panel(Store.get());
  panel.form.setParent(&main);
  int restored = 0;
  panel.storage->OnRestorePlacement = [&] { ++restored; };
  main.show();
  EXPECT_EQ(restored, 1);
  panel.combo->setCurrentIndex(1);
  main.close();
  EXPECT_EQ(Store->ReadInteger("FrmLvx_Connect", "cxComboBoxCOM.ItemIndex", -1), 1);
  EXPECT_FALSE(Store->ValueExists("FrmLvx_Connect", "Left"));  // the layout places a panel
}

TEST_F(KvFormStorageTest, AFileFromAnotherFormVersionIsNotApplied) {
  Store->WriteInteger("FrmLvx_Connect", "FormVersion", 1);
  Store->WriteInteger("FrmLvx_Connect", "cxComboBoxCOM.ItemIndex", 2);
  TTestForm f(Store.get());
  bool handlerRan = false;
  f.storage->OnRestorePlacement = [&] { handlerRan = true; };
  f.form.show();
  EXPECT_EQ(f.combo->currentIndex(), 0);
  EXPECT_TRUE(handlerRan);
}

TEST_F(KvFormStorageTest, ReadsAndWritesStayInTheFormsSection) {
  TTestForm f(Store.get());
  EXPECT_EQ(f.storage->SectionName(), "FrmLvx_Connect");
  f.storage->WriteBoolean("SerialConn", true);
  f.storage->WriteString("Name", "x");
  EXPECT_EQ(Store->ReadString("FrmLvx_Connect", "SerialConn", ""), "TRUE");
  EXPECT_EQ(f.storage->ReadString("Name", ""), "x");
  f.storage->AppStoragePath = "Settings\\%FORM_NAME%\\";
  EXPECT_EQ(f.storage->SectionName(), "Settings\\FrmLvx_Connect");
  EXPECT_FALSE(f.storage->ReadBoolean("SerialConn", false));
}

TEST_F(KvFormStorageTest, BindingLooksUpTheStoreByNameAndReleaseLetsGo) {
  QObject module;
  module.setObjectName("DmKvBasic");
  Store->setParent(&module);
  Store->WriteInteger("FrmLvx_Connect", "SerialCom", 9);
  TTestForm f(nullptr);
  KvLib_FormStorage_FormCreate(nullptr, f.storage);
  EXPECT_EQ(f.storage->AppStorage(), nullptr);
  KvLib_FormStorage_FormCreate(&module, f.storage);
  EXPECT_EQ(f.storage->AppStorage(), Store.get());
  EXPECT_EQ(f.storage->ReadInteger("SerialCom", 0), 9);
  KvLib_FormStorage_FormDestroy(f.storage);
  EXPECT_EQ(f.storage->AppStorage(), nullptr);
  EXPECT_EQ(f.storage->ReadInteger("SerialCom", 0), 0);

  Store->setObjectName("KvAppIniFileStorage1");
  KvLib_FormStorage_FormCreate(&module, f.storage);
  EXPECT_EQ(f.storage->AppStorage(), Store.get());
  Store->setParent(nullptr);
}

TEST_F(KvFormStorageTest, AnUnknownStoredPropertyIsLoggedAndTheRestSaved) {
  TTestForm f(Store.get());
  f.storage->StoredProps << "cxNoSuchControl.Text"
                         << "cxComboBoxCOM.NoSuchProperty";
  f.combo->setCurrentIndex(1);
  f.storage->Save();
  EXPECT_EQ(KvSysHelper().SysLog_Count(), 2);
  EXPECT_EQ(Store->ReadInteger("FrmLvx_Connect", "cxComboBoxCOM.ItemIndex", -1), 1);
}

}  // namespace
