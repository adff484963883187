// The start-up routine's steps and log, the skin choice from the settings, the private fonts
// and the splash's faces and wait on the virtual clock. What the module does once started is
// the DmKvBasic suite's.
#include <QFontDatabase>
#include <QFontInfo>
#include <QPlainTextEdit>
#include <QProgressBar>
#include <stdexcept>

#include "AppModuleFixture.h"
#include "UKvAbout.h"

namespace {
const QByteArray ThreeSkins =
    "; skins\n[Brevik]\nQWidget { color: #111111; }\n"
    "[Graphite]\nQWidget { color: #222222; }\n[Fjord]\nQWidget { color: #333333; }\n";
}

class KvLibTest : public AppModuleTest {};

TEST_F(KvLibTest, StartUpLogsItsStepsInOrderAndShowsTheSplash) {
  WriteFile(SkinFile(), ThreeSkins);
  KvGlobal_Initialize();
  EXPECT_EQ(
      LogLines(),
      (QStringList{"KvGlobal_Initialize AppFolders", "KvGlobal_Initialize Read skin",
                   "KvGlobal_Initialize Read skin proceeded \"Brevik\"",
                   "KvGlobal_Initialize Populate skins", "KvGlobal_Initialize Load skin from file",
                   "KvGlobal_Initialize AppIni", "KvGlobal_Initialize KvBasic ini",
                   "DmKvBasic In Create", "DmKvBasic Before Initial SkinName setup UserSkin",
                   "DmKvBasic After  Initial SkinName setup UserSkin", "FrmKvAbout In Create",
                   "KvBase_Splash Show Splash"}));
  ASSERT_NE(DmKvBasic, nullptr);
  EXPECT_EQ(KvAppServices(), DmKvBasic);
  ASSERT_NE(KvBase_SplashForm(), nullptr);
  EXPECT_TRUE(KvBase_SplashForm()->isVisible());
  EXPECT_EQ(KvBase_SplashForm()->ActivePageIndex(), TFrmKvAbout::TabSplash);
  EXPECT_TRUE(FrmKvAbout->cxMemoLog->toPlainText().contains("Show Splash"));
  EXPECT_EQ(qApp->styleSheet(), "QWidget { color: #111111; }\n");
  EXPECT_EQ(KvApplication().Title, "Phonara Reader");
  EXPECT_EQ(KvApplication().HelpFile, Path("program/LvxReader.html"));
}

TEST_F(KvLibTest, ASettingsFileBesideTheProgramSeedsANewUsersFileBeforeTheSkinIsRead) {
  WriteFile(SkinFile(), ThreeSkins);
  WriteFile(Path("program/LvxReader_1920x1080.ini"), "[FrmKvMain]\nSkin=Fjord\n");
  KvGlobal_Initialize();
  EXPECT_EQ(KvGlobalInfo().strSkinName, "Fjord");
  EXPECT_TRUE(ReadFile(IniFile()).contains("Skin=Fjord"));

  // From then on the user's own file counts, not the delivered one.
  KvBase_CreateSplash(false);
  delete DmKvBasic;
  WriteFile(IniFile(), "[FrmKvMain]\nSkin=Graphite\n");
  KvGlobal_Initialize();
  EXPECT_EQ(KvGlobalInfo().strSkinName, "Graphite");
}

TEST_F(KvLibTest, SkinChoiceFromTheSettings) {
  struct Row {
    const char* what;
    QByteArray skinFile;  // empty: no file
    QByteArray setting;
    QString skin;
    QString logLine;
    QString sheet;
  };
  const Row rows[] = {
      {"known name", ThreeSkins, "Skin=Fjord\n", "Fjord", "Load skin from file",
       "QWidget { color: #333333; }\n"},
      {"unknown name takes the first", ThreeSkins, "Skin=Sepia\n", "Brevik", "Load skin from file",
       "QWidget { color: #111111; }\n"},
      {"empty list", "; nothing here\n", "Skin=Fjord\n", "", "No skin", ""},
      {"missing file", "", "", "Brevik", "Error: Skin file \"%1\" is missing", ""},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.what);
    QFile::remove(SkinFile());
    if (!row.skinFile.isEmpty()) WriteFile(SkinFile(), row.skinFile);
    WriteMainFormSettings(row.setting);
    KvSysHelper().SysLog_Clear();
    KvGlobal_Initialize();
    EXPECT_EQ(KvGlobalInfo().strSkinName, row.skin);
    EXPECT_TRUE(LogLines().contains("KvGlobal_Initialize " + QString(row.logLine).arg(SkinFile())));
    EXPECT_EQ(qApp->styleSheet(), row.sheet);
    EXPECT_EQ(ReadFile(IniFile()), "[FrmKvMain]\n" + row.setting);  // not rewritten
    TearDown();
    SetUp();
  }
}

TEST_F(KvLibTest, SkinComboOffersTheFileAndSpreadsTheChoice) {
  WriteFile(SkinFile(), ThreeSkins);
  KvGlobal_Initialize();
  QComboBox box;
  QComboBox* combo = &box;
  KvSkins_FillCombo(nullptr, combo);
  ASSERT_EQ(box.count(), 3);
  int styles = -2;
  DmKvBasic->FOnStyleChangedEvent = [&](QObject*, int style) { styles = style; };
  QString changed;
  DmKvBasic->FSkinChangedEvent = [&](QObject*, const QString& name) { changed = name; };
  DmKvBasic->KvSkinBarComboAction1->SetCombo(&box);
  box.setCurrentIndex(1);
  DmKvBasic->KvSkinBarComboAction1->Change();
  EXPECT_EQ(changed, "Graphite");
  EXPECT_EQ(styles, 1);
  EXPECT_EQ(qApp->styleSheet(), "QWidget { color: #222222; }\n");
}

TEST_F(KvLibTest, FontsLoadUnderTheirNamesAndFreeingTwiceDoesNothing) {
  LoadFontResource("LCD_BaseB");
  LoadFontResource("Digital_7");
  EXPECT_EQ(KvFont_LoadedCount(), 2);
  EXPECT_TRUE(QFontInfo(QFont("LCD")).family().startsWith("DSEG7"));
  FreeFontResource("LCD_BaseB");
  FreeFontResource("LCD_BaseB");
  EXPECT_FALSE(KvFont_IsLoaded("LCD_BaseB"));
  EXPECT_EQ(KvFont_LoadedCount(), 1);
  EXPECT_FALSE(QFontInfo(QFont("LCD")).family().startsWith("DSEG"));
  FreeFontResource("Digital_7");
  FreeFontResource("Digital_7");
  EXPECT_EQ(KvFont_LoadedCount(), 0);
  EXPECT_THROW(LoadFontResource("Segoe_LCD"), std::runtime_error);
}

TEST_F(KvLibTest, SplashModeChoosesTheFaceAndTheHideWaitsOnTheClock) {
  struct Row {
    int mode;
    int page;
    bool visibleAfterHide;
  };
  // Mode 3 leaves the form on the page it was made with.
  const Row rows[] = {{0, TFrmKvAbout::TabSplash, false},
                      {1, TFrmKvAbout::TabSplash, false},
                      {2, TFrmKvAbout::TabLog, true},
                      {3, TFrmKvAbout::TabAbout, true}};
  for (const Row& row : rows) {
    SCOPED_TRACE(row.mode);
    WriteMainFormSettings("SplashMode=" + QByteArray::number(row.mode) + "\n");
    KvBase_CreateSplash(true);
    KvBase_Flash(true);
    TFrmKvAbout* splash = KvBase_SplashForm();
    ASSERT_NE(splash, nullptr);
    EXPECT_TRUE(splash->isVisible());
    EXPECT_EQ(splash->ActivePageIndex(), row.page);
    int64_t start = Clock.ElapsedMs();
    KvBase_Flash(false);
    EXPECT_EQ(Clock.ElapsedMs() - start, 2100);
    EXPECT_EQ(splash->isVisible(), row.visibleAfterHide);
    if (row.mode < 2) {  // five steps of the 400 ms progress timer within the wait
      EXPECT_EQ(splash->cxProgressBar1->value(), 5 + 5 * 11);
    }
    QStringList log = LogLines();
    EXPECT_EQ(log.mid(log.size() - 2),
              (QStringList{"KvBase_Splash Hide Splash", "KvBase_Splash After Hide Splash"}));
    KvBase_CreateSplash(false);
    EXPECT_EQ(FrmKvAbout, nullptr);
  }
}
