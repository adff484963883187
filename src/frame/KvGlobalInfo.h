#pragma once
// The product's names, folders and switches, one program-wide record filled before any form
// exists. Fields keep their declared order; product variants add theirs at the end.
#include <QString>

struct TKvGlobalInfo {
  QString strExeName;             // the program's file name
  QString strFullAppName;         // the application's title, the product name in print headers
  QString strSkinName;            // the skin to load; the setting "Skin" may replace it
  QString strSkinFileName;        // empty: the program's file name with ".skin"
  QString strAppFolder_Group;     // first level of the user's settings path (the company)
  QString strAppFolder_SubPath;   // second level of the user's settings path
  QString strAppFolder_MainForm;  // the main form's section in the settings file
  QString strAppHelpFile;         // empty: the program's file name with strAppHelpFileExt
  QString strAppHelpFileExt;
  bool bShowSplash = true;
  bool bDebugLog = false;
  bool bAllowSkinChange = false;  // offers the skin combo
  // Switches of product variants; this product sets them and never reads them.
  bool bAllowRecord = true;
  bool bAllowDisplayView = true;
  bool bAllowTableView = true;
  bool bAllowChartView = true;
};

// What the executable's version data says about the program.
struct TKvVersionInfo {
  QString strProductName;
  QString strCompanyName;
  QString strFileDescription;
  QString strFileVersion;
  QString strProductVersion;
};

TKvGlobalInfo& KvGlobalInfo();
const TKvVersionInfo& KvVersionInfo();
