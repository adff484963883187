#include "KvGlobalInfo.h"

#ifndef LVX_VERSION
#error "LVX_VERSION must be defined by the build"
#endif

TKvGlobalInfo& KvGlobalInfo() {
  static TKvGlobalInfo info{
      .strExeName = "LvxReader",
      .strFullAppName = "Phonara Reader",
      .strAppFolder_Group = "Brevik",
      .strAppFolder_SubPath = "LvxReader",
  };
  return info;
}

const TKvVersionInfo& KvVersionInfo() {
  static const TKvVersionInfo info{
      .strProductName = "Phonara Reader",
      .strCompanyName = "Brevik",
      .strFileVersion = LVX_VERSION,
      .strProductVersion = LVX_VERSION,
  };
  return info;
}
