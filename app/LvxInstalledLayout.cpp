#include "LvxInstalledLayout.h"

#include <QFileInfo>

#include "KvGlobalInfo.h"
#include "KvSys_Helper.h"

namespace {
QString SkinFileIn(const QString& dir) {
  return dir + '/' + KvGlobalInfo().strExeName + ".skin";
}
}  // namespace

QString LvxReader_DataDir() {
  const QString program = KvSysFolders().ProgramDir();
  if (QFileInfo::exists(SkinFileIn(program))) return program;
  const QString installed = KvSysFolders().InstalledDataDir();
  return QFileInfo::exists(SkinFileIn(installed)) ? installed : program;
}

void LvxReader_LocateDataFiles() {
  TKvGlobalInfo& info = KvGlobalInfo();
  const QString dir = LvxReader_DataDir();
  KvSysHelper().SysLog_Add(nullptr, "LvxReader_LocateDataFiles",
                           "Run-time files in \"" + dir + '"');
  if (info.strSkinFileName.isEmpty()) info.strSkinFileName = SkinFileIn(dir);
  if (info.strAppHelpFile.isEmpty())
    info.strAppHelpFile = dir + '/' + info.strExeName + info.strAppHelpFileExt;
}
