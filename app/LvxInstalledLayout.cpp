#include "LvxInstalledLayout.h"

#include <QDir>
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
  const QString installed = QDir::cleanPath(program + "/../share/lvxreader");
  return QFileInfo::exists(SkinFileIn(installed)) ? installed : program;
}

void LvxReader_LocateDataFiles() {
  TKvGlobalInfo& info = KvGlobalInfo();
  const QString dir = LvxReader_DataDir();
  if (info.strSkinFileName.isEmpty()) info.strSkinFileName = SkinFileIn(dir);
  if (info.strAppHelpFile.isEmpty())
    info.strAppHelpFile = dir + '/' + info.strExeName + info.strAppHelpFileExt;
}
