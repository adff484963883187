#pragma once
// Frame tests that start the application module: folders in a temporary folder, a skin file
// beside the "program", and every program-wide record and form restored afterwards.
#include <QApplication>

#include "FrameTestFolders.h"
#include "KvGlobalInfo.h"
#include "KvLib.h"
#include "UDmKvBasic.h"
#include "UDmKvProjectInfo.h"

class AppModuleTest : public FrameFolderTest {
 protected:
  void SetUp() override {
    FrameFolderTest::SetUp();
    Saved = KvGlobalInfo();
    QDir().mkpath(Path("program"));
    KvSys_AppFolders_Set("Brevik", "LvxReader");
  }
  void TearDown() override {
    KvBase_CreateSplash(false);
    delete DmKvBasic;
    delete DmKvProjectInfo;
    KvGlobalInfo() = Saved;
    KvSkinController() = TKvSkinController();
    qApp->setStyleSheet(QString());
    FrameFolderTest::TearDown();
  }
  QString SkinFile() const { return Path("program/LvxReader.skin"); }
  QString IniFile() const { return Path("userappdata/Brevik/LvxReader/LvxReader_1920x1080.ini"); }
  // The settings file with one section of the main form.
  void WriteMainFormSettings(const QByteArray& lines) {
    QDir().mkpath(QFileInfo(IniFile()).path());
    WriteFile(IniFile(), "[FrmKvMain]\n" + lines);
  }
  // The log without its time stamps.
  static QStringList LogLines() {
    QStringList lines;
    for (const QString& l : KvSysHelper().SysLog_Get()) lines.append(l.mid(15));
    return lines;
  }

  TKvGlobalInfo Saved;
};
