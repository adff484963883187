#include "KvGlobalInfo.h"

#ifndef LVX_VERSION
#error "LVX_VERSION must be defined by the build"
#endif

TKvGlobalInfo& KvGlobalInfo() {
  static TKvGlobalInfo info{
      .strExeName = "LvxReader",
      .strFullAppName = "Phonara Reader",
      .strSkinName = "Brevik",
      .strSkinFileName = "",
      .strAppFolder_Group = "Brevik",
      .strAppFolder_SubPath = "LvxReader",
      .strAppFolder_MainForm = "FrmKvMain",
      .strAppHelpFile = "",
      // The manual ships as HTML beside the program.
      .strAppHelpFileExt = ".html",
      .bShowSplash = true,
      .bDebugLog = false,
      .bAllowSkinChange = false,
      .bAllowRecord = true,
      .bAllowDisplayView = true,
      .bAllowTableView = true,
      .bAllowChartView = true,
  };
  return info;
}

const TKvVersionInfo& KvVersionInfo() {
  static const TKvVersionInfo info{
      .strProductName = "Phonara Reader",
      .strCompanyName = "Brevik",
      .strFileDescription = "Reader for the Phonara sound level meter",
      .strFileVersion = LVX_VERSION,
      .strProductVersion = LVX_VERSION,
  };
  return info;
}
