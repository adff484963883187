#pragma once
// The system log, nested busy cursors and the program's standard folders.
//
// Every part of the program reaches the log through the one instance, KvSysHelper(). The log
// keeps its lines in memory and writes them beside the settings file, as "<settings>.log".
//
// Folders: the macro names ("PGM", "COMMONDOCS", "USERAPPDATA", ...) resolve through the
// platform roots of KvSysFolders(), below the company and application folder names. Tests point
// every root at one temporary folder with KvSysFolders().RedirectTo(path).
//
// On this platform: the user's application data is the user's configuration folder
// (~/.config), common documents the user's documents (~/Documents), and common application
// data the system-wide configuration folder (/etc/xdg) where the user may write below it.
// Where not, which is the usual case for a user without administrator rights, it is the user's
// data folder (~/.local/share) instead, without an error: nothing the program keeps there
// needs to be shared between users.
#include <QHash>
#include <QObject>
#include <QSize>
#include <QString>
#include <QStringList>
#include <optional>

class TKvSys_Helper {
 public:
  TKvSys_Helper() = default;
  ~TKvSys_Helper();
  TKvSys_Helper(const TKvSys_Helper&) = delete;
  TKvSys_Helper& operator=(const TKvSys_Helper&) = delete;

  // Adds "yy.mm.dd hh.nn <pre><component path> <msg>"; cmp may be null. The log is bounded:
  // the same text is kept SysLogRepeatMax times and at most SysLogMax lines in all; what is
  // not kept is counted, and the saved file says how much of each text was dropped.
  void SysLog_Add(const QObject* cmp, const QString& pre, const QString& msg);
  int SysLog_Count() const { return FSysLog.size(); }
  const QStringList& SysLog_Get() const { return FSysLog; }
  void SysLog_Clear();
  long long SysLog_Dropped() const { return FDroppedAll; }
  static constexpr int SysLogRepeatMax = 10;
  static constexpr int SysLogMax = 10000;
  // Overwrites the ".log" file with the held lines. Throws std::runtime_error when the file
  // cannot be written: the caller decides how to report it.
  void SysLog_Save();
  // Saves and clears, only when lines are held.
  void SysLog_Flush();
  // The newest lines first, at most SysLogDisplayMax; survives SysLog_Clear for the log view.
  const QStringList& SysLog_Display() const { return FSysLogDisplay; }
  static constexpr int SysLogDisplayMax = 1000;

  void SysFile_AppStorage_Set(const QString& filename) { FSysFile_AppStorage = filename; }
  void SysFile_AppStorageAll_Set(const QString& filename) { FSysFile_AppStorageAll = filename; }
  QString SysFile_AppStorage() const { return FSysFile_AppStorage; }
  QString SysFile_AppStorageAll() const { return FSysFile_AppStorageAll; }
  // The file SysLog_Save writes.
  QString SysLog_FileName() const;

  // Only the outermost request chooses the cursor; the matching last release restores it.
  void Cursor_AddWait();
  void Cursor_AddWaitSQL();
  void Cursor_AddHand();
  void Cursor_ReleaseOne();
  void Cursor_SetDefault();
  int Cursor_Level() const { return FCursorLevel; }

 private:
  void Cursor_Add(Qt::CursorShape shape);

  int FCursorLevel = 0;
  bool FCursorPushed = false;  // our override sits on the toolkit's cursor stack
  QStringList FSysLog;
  QHash<QString, int> FSysLogKept;           // per text: how often kept
  QHash<QString, long long> FSysLogDropped;  // per text kept before: how often dropped since
  long long FDroppedOverflow = 0;            // texts dropped because the log was full
  long long FDroppedAll = 0;
  QStringList FSysLogDisplay;
  QString FSysFile_AppStorageAll;
  QString FSysFile_AppStorage;
};

// The one instance; made on first use, which is before anything can log.
TKvSys_Helper& KvSysHelper();

// "FrmKvMain.FrmLvx_Connect": the names of cmp and its owners, outermost first, unnamed and
// toolkit-internal objects left out. A widget's owner is the form it belongs to, not the
// widget it sits in: of the widgets above cmp only windows and forms docked into another form
// (marked with the property KvSys_FormProperty) count.
QString KvSys_ComponentPath(const QObject* cmp);
inline constexpr const char* KvSys_FormProperty = "KvForm";

// The platform roots behind the folder macros, without company and application levels and
// without a trailing separator, plus the screen sizes the settings file is named after.
class TKvSysFolders {
 public:
  QString ProgramDir() const;
  // Where an installed program's read-only files are: PREFIX/share/<program name in lower
  // case> beside PREFIX/bin.
  QString InstalledDataDir() const;
  // The program's file: its folder and the product's executable name.
  QString ProgramFile() const;
  QString CommonDocsRoot() const;
  QString CommonAppDataRoot() const;
  QString UserAppDataRoot() const;
  QSize ScreenSize() const;
  QSize DesktopSize() const;

  // Points every root at a folder below root ("program", "commondocs", "commonappdata",
  // "userappdata"); an empty root returns to the platform's folders.
  void RedirectTo(const QString& root) { FRoot = root; }
  QString RedirectedTo() const { return FRoot; }
  // Pins both screen sizes; nullopt reads the primary screen again.
  void PinScreenSize(std::optional<QSize> size) { FScreen = size; }

 private:
  QString Redirected(const char* sub, const QString& platform) const;

  QString FRoot;
  std::optional<QSize> FScreen;
};

TKvSysFolders& KvSysFolders();

inline constexpr const char* KvSys_DefaultCompany = "Velmor";
inline constexpr const char* KvSys_DefaultAppFolder = "Default";

// Sets the company and application folder names (defaults for empty arguments) and creates
// "<company>/<application>" below common and user application data when missing.
void KvSys_AppFolders_Set(const QString& company, const QString& appFolder);
// Changes only the application folder name; nothing is created.
void KvSys_AppFolderName_Set(const QString& appFolder);
QString KvSys_CompanyName();
QString KvSys_AppFolderName();

// The folder of a macro name, in any case, without a trailing separator: "PGM", "PGMDIR", "EXE",
// "EXEDIR" and "" give the program's folder; "COMMONDOCS", "COMMONAPPDATA", "USERAPPDATA" the
// platform folder with "/<company>/<application>"; any other name the common application data
// one. With bCreate a missing folder is created (a failure is logged). Empty when the platform
// has no such folder.
QString KvSys_GetPath(const QString& macro, bool bCreate);
// Creates folder and its parents when missing; logs and returns false on failure.
bool KvSys_ForceFolder(const QString& folder);
