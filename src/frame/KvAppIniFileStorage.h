#pragma once
// The program's one settings file: a plain INI file for each user and screen size, kept in
// memory from its first use and written by Flush (and on destruction when changed).
//
// Its name comes from macros ("%FILENAME%_%SCREENSIZE%.ini") and its folder from Location; in
// the program that is "<user app data>/<company>/<program>/LvxReader_<W>x<H>.ini". A damaged
// file costs one log line: what can't be read gives the caller's defaults, and the next Flush
// writes a clean file. A file that can't be written is logged; nothing is thrown.
#include <QObject>
#include <QString>
#include <QVariant>
#include <optional>

#include "KvIniFile.h"

enum TKvFileLocation {
  flCustom = 0,          // the expanded file name as it stands
  flExeFile = 3,         // beside the program
  flUserFolder = 4,      // the user's application data, company and application folders
  flAllUsersFolder = 5,  // the same below all users' application data
};

// Replaces %MACRO% words: FILENAME, EXENAME, FULLDIREXE, SUBPATH, APPPATH, SCREENSIZE,
// DESKTOPSIZE, FORMNAME (also FORM_NAME), FORMCAPTION, APPL_NAME, COMPANY_NAME, FILEVERSION,
// PRODUCTVERSION, DATE, TIME, DATETIME. Unknown words stay as they are.
QString KvAppStorage_ExpandMacros(const QString& text, const QObject* form = nullptr);

class TKvAppIniFileStorage : public QObject {
  Q_OBJECT
 public:
  static constexpr const char* DefaultFileName =
      "%FULLDIREXE%%SUBPATH%%APPPATH%%FILENAME%_%SCREENSIZE%.ini";

  explicit TKvAppIniFileStorage(QObject* owner = nullptr);
  ~TKvAppIniFileStorage() override;

  QString FileName = DefaultFileName;
  TKvFileLocation Location = flUserFolder;
  QString BooleanStringTrueValues = "TRUE, YES, Y";
  QString BooleanStringFalseValues = "FALSE, NO, N";

  QString FullFileName() const;
  // Writes the whole file, creating its folder; false (and a log line) when that failed.
  bool Flush();
  // True when the user's file exists; otherwise a file of that name beside the program is
  // copied to the user's folder and the result tells whether that worked.
  bool IsIniFileExists();
  // Drops unsaved changes and reads the file again on next use.
  void Reload();
  bool IsModified() const { return FModified; }

  QString ReadString(const QString& section, const QString& key, const QString& def) const;
  int ReadInteger(const QString& section, const QString& key, int def) const;
  bool ReadBoolean(const QString& section, const QString& key, bool def) const;
  double ReadFloat(const QString& section, const QString& key, double def) const;
  // Reads a value of def's type; def when absent or unreadable.
  QVariant ReadVariant(const QString& section, const QString& key, const QVariant& def) const;
  void WriteString(const QString& section, const QString& key, const QString& value);
  void WriteInteger(const QString& section, const QString& key, int value);
  void WriteBoolean(const QString& section, const QString& key, bool value);
  void WriteFloat(const QString& section, const QString& key, double value);
  void WriteVariant(const QString& section, const QString& key, const QVariant& value);
  bool ValueExists(const QString& section, const QString& key) const;
  void EraseSection(const QString& section);

  // The text a value is stored as, and back (nullopt when text isn't of that type).
  QString ValueToText(const QVariant& value) const;
  std::optional<QVariant> TextToValue(const QString& text, QMetaType type) const;

 private:
  TKvIniFile& Image() const;
  void Log(const QString& msg) const;

  mutable TKvIniFile FImage;
  mutable QString FImageFile;  // the file FImage was read from
  mutable bool FLoaded = false;
  mutable bool FModified = false;  // also set when a damaged file was read: Flush repairs it
};
