// The settings file: its name and folder from the macros, the Boolean words, the plain INI
// text that standard readers take, damaged and unwritable files, and the first-start seeding
// from a file beside the program. Form placement lives in KvFormStorageTest.
#include <gtest/gtest.h>

#include <QDir>
#include <QFileInfo>
#include <QProcess>
#include <QStandardPaths>
#include <QWidget>

#include "FrameTestFolders.h"
#include "KvAppIniFileStorage.h"

namespace {

class KvAppIniFileStorageTest : public FrameFolderTest {
 protected:
  void SetUp() override {
    FrameFolderTest::SetUp();
    KvSys_AppFolders_Set("Brevik", "LvxReader");
  }
  QString UserIni() const { return Path("userappdata/Brevik/LvxReader/LvxReader_1920x1080.ini"); }
};

TEST_F(KvAppIniFileStorageTest, UserFileLiesBelowCompanyAndProgramAndNamesTheLog) {
  TKvAppIniFileStorage store;
  EXPECT_EQ(store.objectName(), "KvAppIniFileStorage");
  EXPECT_EQ(store.FullFileName(), UserIni());
  EXPECT_EQ(KvSysHelper().SysLog_FileName(),
            Path("userappdata/Brevik/LvxReader/LvxReader_1920x1080.log"));
  store.Location = flExeFile;
  EXPECT_EQ(store.FullFileName(), Path("program/LvxReader_1920x1080.ini"));
  store.Location = flAllUsersFolder;
  EXPECT_EQ(store.FullFileName(), Path("commonappdata/Brevik/LvxReader/LvxReader_1920x1080.ini"));
  store.Location = flCustom;
  EXPECT_EQ(store.FullFileName(), Path("program/Brevik/LvxReader/LvxReader_1920x1080.ini"));
}

TEST_F(KvAppIniFileStorageTest, TheStoreNamesTheApplicationFolderAfterTheProgram) {
  KvSys_AppFolders_Set("", "");
  TKvAppIniFileStorage store;
  EXPECT_EQ(store.FullFileName(), Path("userappdata/Velmor/LvxReader/LvxReader_1920x1080.ini"));
}

TEST_F(KvAppIniFileStorageTest, EveryMacroExpands) {
  KvSysFolders().PinScreenSize(QSize(1280, 1024));
  QWidget form;
  form.setObjectName("FrmKvMain");
  form.setWindowTitle("Phonara Reader");
  struct Row {
    const char* text;
    QString expected;
  } rows[] = {
      {"%FILENAME%", "LvxReader"},
      {"%EXENAME%", "LvxReader"},
      {"%FULLDIREXE%", Path("program")},
      {"%SUBPATH%", "/Brevik/"},
      {"%APPPATH%", "/LvxReader/"},
      {"%SCREENSIZE%", "1280x1024"},
      {"%DESKTOPSIZE%", "1280x1024"},
      {"%FORMNAME%\\", "FrmKvMain\\"},
      {"%FORM_NAME%", "FrmKvMain"},
      {"%FORMCAPTION%", "Phonara Reader"},
      {"%APPL_NAME%", "Phonara Reader"},
      {"%COMPANY_NAME%", "Brevik"},
      {"%FILEVERSION%", LVX_TEST_VERSION},
      {"%PRODUCTVERSION%", LVX_TEST_VERSION},
      {"%DATE%", "23.11.2026"},
      {"%TIME%", "10:00:00"},
      {"%DATETIME%", "23.11.2026 10:00:00"},
      {"a%filename%b%UNKNOWN%c%", "aLvxReaderb%UNKNOWN%c%"},
  };
  for (const Row& row : rows)
    EXPECT_EQ(KvAppStorage_ExpandMacros(row.text, &form), row.expected) << row.text;
}

TEST_F(KvAppIniFileStorageTest, ValuesSurviveAFlushAsPlainText) {
  {
    TKvAppIniFileStorage store;
    store.WriteInteger("FrmLvx_Connect", "SerialCom", 7);
    store.WriteBoolean("FrmLvx_Connect", "SerialConn", true);
    store.WriteBoolean("FrmLvx_Connect", "SerialRecv", false);
    store.WriteString("FrmKvMain", "UseDT", "23.11.2026 10:00:00");
    store.WriteFloat("FrmDxChart", "DtInt", 0.1);
    store.WriteString("FrmLvx_Connect", "serialcom", "8");  // same key, any case
    ASSERT_TRUE(store.Flush());
  }
  EXPECT_EQ(ReadFile(UserIni()),
            "[FrmLvx_Connect]\nSerialCom=8\nSerialConn=TRUE\nSerialRecv=FALSE\n\n"
            "[FrmKvMain]\nUseDT=23.11.2026 10:00:00\n\n[FrmDxChart]\nDtInt=0.1\n");
  TKvAppIniFileStorage store;
  EXPECT_EQ(store.ReadInteger("frmlvx_connect", "SerialCom", 0), 8);
  EXPECT_TRUE(store.ReadBoolean("FrmLvx_Connect", "SerialConn", false));
  EXPECT_EQ(store.ReadString("FrmKvMain", "UseDT", ""), "23.11.2026 10:00:00");
  EXPECT_EQ(store.ReadFloat("FrmDxChart", "DtInt", 0), 0.1);
  EXPECT_EQ(store.ReadInteger("FrmLvx_Connect", "Missing", -3), -3);
  EXPECT_EQ(store.ReadString("NoSection", "SerialCom", "dflt"), "dflt");
}

TEST_F(KvAppIniFileStorageTest, BooleanWordsInAnyCase) {
  WriteFile(Path("words.ini"),
            "[S]\nA=Y\nB=N\nC=yes\nD=No\nE=true\nF=FALSE\nG= y \nH=maybe\nI=1\n");
  TKvAppIniFileStorage store;
  store.Location = flCustom;
  store.FileName = Path("words.ini");
  struct Row {
    const char* key;
    bool def;
    bool expected;
  } rows[] = {{"A", false, true},  {"B", true, false},  {"C", false, true}, {"D", true, false},
              {"E", false, true},  {"F", true, false},  {"G", false, true}, {"H", true, true},
              {"H", false, false}, {"I", false, false}, {"Z", true, true}};
  for (const Row& row : rows)
    EXPECT_EQ(store.ReadBoolean("S", row.key, row.def), row.expected) << row.key;
  EXPECT_EQ(KvSysHelper().SysLog_Count(), 3);  // "maybe" twice, "1" once; a missing key is no fault
}

TEST_F(KvAppIniFileStorageTest, AnotherScreenSizeGivesAFreshFile) {
  {
    TKvAppIniFileStorage store;
    store.WriteInteger("FrmLvx_Connect", "SerialCom", 7);
    store.Flush();
  }
  KvSysFolders().PinScreenSize(QSize(1280, 1024));
  TKvAppIniFileStorage store;
  EXPECT_EQ(store.FullFileName(), Path("userappdata/Brevik/LvxReader/LvxReader_1280x1024.ini"));
  EXPECT_EQ(store.ReadInteger("FrmLvx_Connect", "SerialCom", 0), 0);
}

TEST_F(KvAppIniFileStorageTest, DamagedFilesGiveDefaultsOneLogLineAndAreRepairedByTheNextFlush) {
  struct Row {
    const char* name;
    QByteArray text;
    int logLines;
  } rows[] = {
      {"binary garbage", QByteArray("[S]\nKeep=1\n\x00\xff\xfe\x01=\x02\n\x89PNG\r\n\x1a\n", 22),
       1},
      {"truncated line", "[S]\nKeep=1\n[Other", 1},
      {"truncated key", "[S]\nKeep=1\nSerialC", 1},
      {"key before any section", "Stray=5\n[S]\nKeep=1\n", 1},
      {"duplicate section", "[S]\nKeep=0\n[T]\nX=1\n[s]\nKeep=1\n", 1},
      {"non-number", "[S]\nKeep=1\nSerialCom=COM3\n", 1},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    KvSysHelper().SysLog_Clear();
    WriteFile(UserIni(), row.text);
    {
      TKvAppIniFileStorage store;
      EXPECT_EQ(store.ReadInteger("S", "Keep", -1), 1);
      EXPECT_EQ(store.ReadInteger("S", "SerialCom", 4), 4);
      EXPECT_EQ(KvSysHelper().SysLog_Count(), row.logLines);
      ASSERT_TRUE(store.Flush());
    }
    QByteArray repaired = ReadFile(UserIni());
    TKvIniFile check;
    check.Parse(repaired);
    EXPECT_EQ(check.Damage().Lines, 0) << repaired.toStdString();
    EXPECT_EQ(check.Value("S", "Keep"), "1");
  }
}

TEST_F(KvAppIniFileStorageTest, AnUnwritableFileIsLoggedAndTheProgramGoesOn) {
  QDir().rmdir(Path("userappdata/Brevik/LvxReader"));
  WriteFile(Path("userappdata/Brevik/LvxReader"), "");  // a file where the folder should be
  TKvAppIniFileStorage store;
  store.WriteInteger("S", "K", 1);
  EXPECT_FALSE(store.Flush());
  ASSERT_EQ(KvSysHelper().SysLog_Count(), 1);
  EXPECT_TRUE(KvSysHelper().SysLog_Get().first().contains("could not be created"));
  EXPECT_EQ(store.ReadInteger("S", "K", 0), 1);
}

TEST_F(KvAppIniFileStorageTest, FirstStartCopiesTheFileBesideTheProgram) {
  {
    TKvAppIniFileStorage store;
    EXPECT_FALSE(store.IsIniFileExists());  // nothing beside the program either
    EXPECT_EQ(store.Location, flUserFolder);
  }
  QDir().mkpath(Path("program"));
  WriteFile(Path("program/LvxReader_1920x1080.ini"), "[FrmLvx_Connect]\nSerialCom=5\n");
  TKvAppIniFileStorage store;
  EXPECT_EQ(store.ReadInteger("FrmLvx_Connect", "SerialCom", 0), 0);
  EXPECT_TRUE(store.IsIniFileExists());
  EXPECT_EQ(store.Location, flUserFolder);
  EXPECT_EQ(ReadFile(UserIni()), "[FrmLvx_Connect]\nSerialCom=5\n");
  EXPECT_EQ(store.ReadInteger("FrmLvx_Connect", "SerialCom", 0), 5);
  store.WriteInteger("FrmLvx_Connect", "SerialCom", 6);
  store.Flush();
  EXPECT_TRUE(store.IsIniFileExists());  // the user's own file now: no second copy
  EXPECT_EQ(store.ReadInteger("FrmLvx_Connect", "SerialCom", 0), 6);
}

// Installed, the program is in PREFIX/bin and the delivered file in PREFIX/share/lvxreader; a
// file beside the program (a build) comes first.
TEST_F(KvAppIniFileStorageTest, FirstStartCopiesTheInstalledFileWhenNoneIsBesideTheProgram) {
  QDir().mkpath(Path("share/lvxreader"));
  WriteFile(Path("share/lvxreader/LvxReader_1920x1080.ini"), "[S]\nFrom=share\n");
  {
    TKvAppIniFileStorage store;
    EXPECT_TRUE(store.IsIniFileExists());
    EXPECT_EQ(store.ReadString("S", "From", ""), "share");
  }
  QFile::remove(UserIni());
  QDir().mkpath(Path("program"));
  WriteFile(Path("program/LvxReader_1920x1080.ini"), "[S]\nFrom=program\n");
  TKvAppIniFileStorage store;
  EXPECT_TRUE(store.IsIniFileExists());
  EXPECT_EQ(store.ReadString("S", "From", ""), "program");
}

TEST_F(KvAppIniFileStorageTest, AStandardIniReaderReadsTheFile) {
  QString python = QStandardPaths::findExecutable("python3");
  if (python.isEmpty()) GTEST_SKIP() << "python3 not installed";
  {
    TKvAppIniFileStorage store;
    store.WriteString("FrmKvMain", "UseDT", "23.11.2026 10:00:00");
    store.WriteString("FrmKvMain", "Key With Spaces", "Grüße, 50 % \"quoted\"");
    store.WriteString("FrmKvMain", "Multi", "line one\nline two");
    store.WriteBoolean("FrmLvx_Connect", "SerialConn", true);
    store.WriteString("frmkvmain", "usedt", "later");
    ASSERT_TRUE(store.Flush());
  }
  const char* script =
      "import configparser, json, sys\n"
      "cp = configparser.ConfigParser(interpolation=None)\n"
      "cp.read(sys.argv[1], encoding='utf-8')\n"
      "print(json.dumps({s: dict(cp[s]) for s in cp.sections()}, sort_keys=True))\n";
  QProcess proc;
  proc.start(python, {"-c", script, UserIni()});
  ASSERT_TRUE(proc.waitForFinished(30000));
  EXPECT_EQ(proc.exitCode(), 0) << proc.readAllStandardError().toStdString();
  EXPECT_EQ(QString::fromUtf8(proc.readAllStandardOutput()).trimmed(),
            "{\"FrmKvMain\": {\"key with spaces\": \"Gr\\u00fc\\u00dfe, 50 % \\\"quoted\\\"\", "
            "\"multi\": \"line one line two\", \"usedt\": \"later\"}, "
            "\"FrmLvx_Connect\": {\"serialconn\": \"TRUE\"}}");
}

}  // namespace
