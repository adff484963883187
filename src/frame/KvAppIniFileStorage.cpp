#include "KvAppIniFileStorage.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QRegularExpression>
#include <QSaveFile>
#include <QWidget>

#include "KvDateTime.h"
#include "KvGlobalInfo.h"
#include "KvLocale.h"
#include "KvSys_Helper.h"

namespace {

QString SizeText(QSize size) {
  return QString("%1x%2").arg(size.width()).arg(size.height());
}

QString MacroValue(const QString& macro, const QObject* form, bool& known) {
  known = true;
  const TKvSysFolders& folders = KvSysFolders();
  QFileInfo program(folders.ProgramFile());
  if (macro == "FILENAME") return program.completeBaseName();
  if (macro == "EXENAME") return program.fileName();
  if (macro == "FULLDIREXE") return folders.ProgramDir();
  if (macro == "SUBPATH") return '/' + KvSys_CompanyName() + '/';
  if (macro == "APPPATH") return '/' + KvSys_AppFolderName() + '/';
  if (macro == "SCREENSIZE") return SizeText(folders.ScreenSize());
  if (macro == "DESKTOPSIZE") return SizeText(folders.DesktopSize());
  if (macro == "FORMNAME" || macro == "FORM_NAME") return form ? form->objectName() : QString();
  if (macro == "FORMCAPTION") {
    auto widget = qobject_cast<const QWidget*>(form);
    return widget ? widget->windowTitle() : QString();
  }
  if (macro == "APPL_NAME") return KvVersionInfo().strProductName;
  if (macro == "COMPANY_NAME") return KvVersionInfo().strCompanyName;
  if (macro == "FILEVERSION") return KvVersionInfo().strFileVersion;
  if (macro == "PRODUCTVERSION") return KvVersionInfo().strProductVersion;
  if (macro == "DATE") return FormatDateTime(KvLocale().ShortDateFormat, Now());
  if (macro == "TIME") return FormatDateTime(KvLocale().LongTimeFormat, Now());
  if (macro == "DATETIME")
    return FormatDateTime(KvLocale().ShortDateFormat + ' ' + KvLocale().LongTimeFormat, Now());
  known = false;
  return QString();
}

QStringList Words(const QString& list) {
  QStringList words;
  for (const QString& w : list.split(',')) words << w.trimmed();
  return words;
}

}  // namespace

QString KvAppStorage_ExpandMacros(const QString& text, const QObject* form) {
  static const QRegularExpression macro("%([A-Za-z_]+)%");
  QString out;
  qsizetype last = 0;
  for (auto it = macro.globalMatch(text); it.hasNext();) {
    auto m = it.next();
    bool known = false;
    QString value = MacroValue(m.captured(1).toUpper(), form, known);
    out += text.mid(last, m.capturedStart() - last) + (known ? value : m.captured(0));
    last = m.capturedEnd();
  }
  return out + text.mid(last);
}

TKvAppIniFileStorage::TKvAppIniFileStorage(QObject* owner) : QObject(owner) {
  setObjectName("KvAppIniFileStorage");
  // The settings live below a folder named after the program, whatever folder name was set.
  KvSys_AppFolderName_Set(QFileInfo(KvSysFolders().ProgramFile()).completeBaseName());
  QString full = FullFileName();
  if (Location == flUserFolder) KvSysHelper().SysFile_AppStorage_Set(full);
  if (Location == flAllUsersFolder) KvSysHelper().SysFile_AppStorageAll_Set(full);
}

TKvAppIniFileStorage::~TKvAppIniFileStorage() {
  if (FModified) Flush();
}

QString TKvAppIniFileStorage::FullFileName() const {
  QString expanded = KvAppStorage_ExpandMacros(FileName);
  QString name = QFileInfo(expanded).fileName();
  QString root;
  switch (Location) {
    case flCustom:
      return QDir::cleanPath(expanded);
    case flExeFile:
      root = KvSysFolders().ProgramDir();
      break;
    case flUserFolder:
      root = KvSysFolders().UserAppDataRoot();
      break;
    case flAllUsersFolder:
      root = KvSysFolders().CommonAppDataRoot();
      break;
  }
  if (root.isEmpty()) return name;
  QString sub =
      Location == flExeFile ? QString() : KvSys_CompanyName() + '/' + KvSys_AppFolderName() + '/';
  return QDir::cleanPath(root + '/' + sub + name);
}

void TKvAppIniFileStorage::Log(const QString& msg) const {
  KvSysHelper().SysLog_Add(this, "", msg);
}

TKvIniFile& TKvAppIniFileStorage::Image() const {
  QString name = FullFileName();
  if (FLoaded && (name == FImageFile || FModified)) {
    FImageFile = name;  // unsaved changes follow the name
    return FImage;
  }
  FImage.Clear();
  FLoaded = true;
  FImageFile = name;
  QFile file(name);
  if (!file.exists()) return FImage;
  if (!file.open(QIODevice::ReadOnly)) {
    Log("Error: settings file \"" + name + "\" could not be read: " + file.errorString());
    return FImage;
  }
  FImage.Parse(file.readAll());
  if (const TKvIniFile::TDamage& damage = FImage.Damage(); damage.Lines > 0) {
    Log(QString("Error: settings file \"%1\" is damaged, %2 unreadable line(s) from line %3 "
                "on, defaults used")
            .arg(name)
            .arg(damage.Lines)
            .arg(damage.FirstLine));
    FModified = true;
  }
  return FImage;
}

void TKvAppIniFileStorage::Reload() {
  FLoaded = false;
  FModified = false;
}

bool TKvAppIniFileStorage::Flush() {
  TKvIniFile& image = Image();
  QString name = FullFileName();
  QString folder = QFileInfo(name).path();
  if (name.contains('/') && !KvSys_ForceFolder(folder)) return false;
  QSaveFile file(name);
  QByteArray bytes = image.Serialize();
  if (!file.open(QIODevice::WriteOnly) || file.write(bytes) != bytes.size() || !file.commit()) {
    Log("Error: settings file \"" + name + "\" could not be written: " + file.errorString());
    return false;
  }
  FModified = false;
  return true;
}

bool TKvAppIniFileStorage::IsIniFileExists() {
  QString userFile = FullFileName();
  if (QFile::exists(userFile)) return true;
  Location = flExeFile;
  QString seed = FullFileName();
  // An installed program keeps the delivered file with its other read-only files; one beside
  // the program (a build) comes first.
  if (!QFile::exists(seed))
    seed = KvSysFolders().InstalledDataDir() + '/' + QFileInfo(seed).fileName();
  bool copied = false;
  if (QFile::exists(seed)) {
    KvSys_ForceFolder(QFileInfo(userFile).path());
    QFile::remove(userFile);
    copied = QFile::copy(seed, userFile);
    if (!copied) Log("Error: \"" + seed + "\" could not be copied to \"" + userFile + "\"");
  }
  Location = flUserFolder;
  if (copied && !FModified) FLoaded = false;
  return copied;
}

QString TKvAppIniFileStorage::ValueToText(const QVariant& value) const {
  switch (value.metaType().id()) {
    case QMetaType::Bool:
      return Words(value.toBool() ? BooleanStringTrueValues : BooleanStringFalseValues).value(0);
    case QMetaType::Double:
    case QMetaType::Float:
      return QString::number(value.toDouble(), 'g', QLocale::FloatingPointShortest);
    default:
      return value.toString();
  }
}

std::optional<QVariant> TKvAppIniFileStorage::TextToValue(const QString& text,
                                                          QMetaType type) const {
  QString t = text.trimmed();
  bool ok = false;
  switch (type.id()) {
    case QMetaType::QString:
      return QVariant(text);
    case QMetaType::Bool:
      if (Words(BooleanStringTrueValues).contains(t, Qt::CaseInsensitive)) return QVariant(true);
      if (Words(BooleanStringFalseValues).contains(t, Qt::CaseInsensitive)) return QVariant(false);
      return std::nullopt;
    case QMetaType::Double:
    case QMetaType::Float: {
      double d = t.toDouble(&ok);
      QVariant v(d);
      return ok && v.convert(type) ? std::optional<QVariant>(v) : std::nullopt;
    }
    case QMetaType::Int:
    case QMetaType::UInt:
    case QMetaType::Short:
    case QMetaType::UShort:
    case QMetaType::Long:
    case QMetaType::ULong:
    case QMetaType::LongLong:
    case QMetaType::ULongLong: {
      qlonglong n = t.toLongLong(&ok);
      QVariant v(n);
      return ok && v.convert(type) ? std::optional<QVariant>(v) : std::nullopt;
    }
    default: {
      QVariant v(text);
      return v.convert(type) ? std::optional<QVariant>(v) : std::nullopt;
    }
  }
}

QVariant TKvAppIniFileStorage::ReadVariant(const QString& section, const QString& key,
                                           const QVariant& def) const {
  std::optional<QString> text = Image().Value(section, key);
  if (!text) return def;
  if (std::optional<QVariant> value = TextToValue(*text, def.metaType())) return *value;
  Log(QString("Error: \"%1\" of [%2] %3 is no %4 value, default \"%5\" used")
          .arg(*text, section, key, def.metaType().name(), ValueToText(def)));
  return def;
}

QString TKvAppIniFileStorage::ReadString(const QString& section, const QString& key,
                                         const QString& def) const {
  return ReadVariant(section, key, def).toString();
}

int TKvAppIniFileStorage::ReadInteger(const QString& section, const QString& key, int def) const {
  return ReadVariant(section, key, def).toInt();
}

bool TKvAppIniFileStorage::ReadBoolean(const QString& section, const QString& key, bool def) const {
  return ReadVariant(section, key, def).toBool();
}

double TKvAppIniFileStorage::ReadFloat(const QString& section, const QString& key,
                                       double def) const {
  return ReadVariant(section, key, def).toDouble();
}

void TKvAppIniFileStorage::WriteVariant(const QString& section, const QString& key,
                                        const QVariant& value) {
  Image().SetValue(section, key, ValueToText(value));
  FModified = true;
}

void TKvAppIniFileStorage::WriteString(const QString& section, const QString& key,
                                       const QString& value) {
  WriteVariant(section, key, value);
}

void TKvAppIniFileStorage::WriteInteger(const QString& section, const QString& key, int value) {
  WriteVariant(section, key, value);
}

void TKvAppIniFileStorage::WriteBoolean(const QString& section, const QString& key, bool value) {
  WriteVariant(section, key, value);
}

void TKvAppIniFileStorage::WriteFloat(const QString& section, const QString& key, double value) {
  WriteVariant(section, key, value);
}

bool TKvAppIniFileStorage::ValueExists(const QString& section, const QString& key) const {
  return Image().Value(section, key).has_value();
}

void TKvAppIniFileStorage::EraseSection(const QString& section) {
  if (Image().EraseSection(section)) FModified = true;
}
