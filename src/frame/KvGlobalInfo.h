#pragma once
// The product's names, folders and switches, one program-wide record filled before any form
// exists. Fields keep their declared order; product variants add theirs at the end.
#include <QString>

struct TKvGlobalInfo {
  QString strExeName;            // the program's file name
  QString strFullAppName;        // the application's title, the product name in print headers
  QString strAppFolder_Group;    // first level of the user's settings path (the company)
  QString strAppFolder_SubPath;  // second level of the user's settings path
};

// What the executable's version data says about the program.
struct TKvVersionInfo {
  QString strProductName;
  QString strCompanyName;
  QString strFileVersion;
  QString strProductVersion;
};

TKvGlobalInfo& KvGlobalInfo();
const TKvVersionInfo& KvVersionInfo();
