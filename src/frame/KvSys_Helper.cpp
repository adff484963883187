#include "KvSys_Helper.h"

#include <QCoreApplication>
#include <QCursor>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QGuiApplication>
#include <QScreen>
#include <QStandardPaths>
#include <QWidget>
#include <stdexcept>

#include "KvDateTime.h"
#include "KvGlobalInfo.h"

namespace {

QString GCompanyName = KvSys_DefaultCompany;
QString GAppFolderName = KvSys_DefaultAppFolder;

// The cursor belongs to the GUI application; a console host (lvxtool) has none to set.
bool HasGuiApplication() {
  return qobject_cast<QGuiApplication*>(QCoreApplication::instance()) != nullptr;
}

QString ChangeFileExt(const QString& fileName, const QString& ext) {
  qsizetype slash = fileName.lastIndexOf('/');
  qsizetype dot = fileName.lastIndexOf('.');
  return (dot > slash ? fileName.left(dot) : fileName) + ext;
}

}  // namespace

TKvSys_Helper::~TKvSys_Helper() {
  Cursor_SetDefault();
}

TKvSys_Helper& KvSysHelper() {
  static TKvSys_Helper instance;
  return instance;
}

namespace {

bool IsOwner(const QObject* o) {
  const auto widget = qobject_cast<const QWidget*>(o);
  return !widget || widget->isWindow() || widget->property(KvSys_FormProperty).toBool();
}

}  // namespace

QString KvSys_ComponentPath(const QObject* cmp) {
  QStringList names;
  for (const QObject* o = cmp; o; o = o->parent()) {
    if (o != cmp && !IsOwner(o)) continue;
    QString name = o->objectName();
    if (!name.isEmpty() && !name.startsWith("qt_")) names.prepend(name);
  }
  return names.join('.');
}

void TKvSys_Helper::SysLog_Add(const QObject* cmp, const QString& pre, const QString& msg) {
  const QString text = pre + KvSys_ComponentPath(cmp) + ' ' + msg;
  // A stream of failures from a device must not fill the memory: repeats beyond a bound, and
  // anything beyond the log's size, are counted instead of kept.
  int& kept = FSysLogKept[text];
  if (kept >= SysLogRepeatMax || FSysLog.size() >= SysLogMax) {
    if (kept >= SysLogRepeatMax)
      ++FSysLogDropped[text];
    else
      ++FDroppedOverflow;
    if (kept == 0) FSysLogKept.remove(text);
    ++FDroppedAll;
    return;
  }
  ++kept;
  QString line = FormatDateTime("yy.mm.dd hh.nn", Now()) + ' ' + text;
  FSysLog.append(line);
  FSysLogDisplay.prepend(line);
  if (FSysLogDisplay.size() > SysLogDisplayMax) FSysLogDisplay.removeLast();
}

QString TKvSys_Helper::SysLog_FileName() const {
  QString name = FSysFile_AppStorage.isEmpty() ? KvSysFolders().ProgramFile() : FSysFile_AppStorage;
  return ChangeFileExt(name, ".log");
}

void TKvSys_Helper::SysLog_Save() {
  QString fileName = SysLog_FileName();
  QString folder = QFileInfo(fileName).path();
  if (!fileName.contains('/')) return;
  KvSys_ForceFolder(folder);
  QFile file(fileName);
  if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate | QIODevice::Text))
    throw std::runtime_error(
        QString("Cannot create file \"%1\". %2").arg(fileName, file.errorString()).toStdString());
  QByteArray text;
  for (const QString& line : FSysLog) text += line.toUtf8() + '\n';
  const QString stamp = FormatDateTime("yy.mm.dd hh.nn", Now()) + ' ';
  for (auto it = FSysLogDropped.cbegin(); it != FSysLogDropped.cend(); ++it)
    text +=
        (stamp + it.key() + QString(" (%1 more times, not kept)").arg(it.value())).toUtf8() + '\n';
  if (FDroppedOverflow > 0)
    text += (stamp + QString("%1 further lines not kept, the log was full").arg(FDroppedOverflow))
                .toUtf8() +
            '\n';
  if (file.write(text) != text.size() || !file.flush())
    throw std::runtime_error(
        QString("Cannot write file \"%1\". %2").arg(fileName, file.errorString()).toStdString());
}

void TKvSys_Helper::SysLog_Clear() {
  FSysLog.clear();
  FSysLogKept.clear();
  FSysLogDropped.clear();
  FDroppedOverflow = FDroppedAll = 0;
}

void TKvSys_Helper::SysLog_Flush() {
  if (FSysLog.isEmpty()) return;
  SysLog_Save();
  SysLog_Clear();
}

void TKvSys_Helper::Cursor_Add(Qt::CursorShape shape) {
  if (FCursorLevel == 0 && HasGuiApplication()) {
    if (FCursorPushed)
      QGuiApplication::changeOverrideCursor(QCursor(shape));
    else
      QGuiApplication::setOverrideCursor(QCursor(shape));
    FCursorPushed = true;
  }
  ++FCursorLevel;
}

void TKvSys_Helper::Cursor_AddWait() {
  Cursor_Add(Qt::WaitCursor);
}
void TKvSys_Helper::Cursor_AddWaitSQL() {
  Cursor_Add(Qt::BusyCursor);
}
void TKvSys_Helper::Cursor_AddHand() {
  Cursor_Add(Qt::PointingHandCursor);
}

void TKvSys_Helper::Cursor_ReleaseOne() {
  if (FCursorLevel <= 0) return;
  if (--FCursorLevel == 0) Cursor_SetDefault();
}

void TKvSys_Helper::Cursor_SetDefault() {
  if (FCursorPushed && HasGuiApplication()) QGuiApplication::restoreOverrideCursor();
  FCursorPushed = false;
  FCursorLevel = 0;
}

TKvSysFolders& KvSysFolders() {
  static TKvSysFolders folders;
  return folders;
}

QString TKvSysFolders::Redirected(const char* sub, const QString& platform) const {
  return FRoot.isEmpty() ? platform : QDir::cleanPath(FRoot + '/' + sub);
}

QString TKvSysFolders::ProgramDir() const {
  return Redirected(
      "program", QCoreApplication::instance() ? QCoreApplication::applicationDirPath() : QString());
}

QString TKvSysFolders::InstalledDataDir() const {
  return QDir::cleanPath(ProgramDir() + "/../share/" + KvGlobalInfo().strExeName.toLower());
}

QString TKvSysFolders::ProgramFile() const {
  QString dir = ProgramDir();
  return dir.isEmpty() ? KvGlobalInfo().strExeName : dir + '/' + KvGlobalInfo().strExeName;
}

QString TKvSysFolders::CommonDocsRoot() const {
  return Redirected("commondocs",
                    QStandardPaths::writableLocation(QStandardPaths::DocumentsLocation));
}

namespace {

// True when folder is a folder the user can write, or could be created by the user: its
// nearest existing ancestor is a writable folder.
bool IsWritableFolder(const QString& folder) {
  QFileInfo info(folder);
  while (!info.exists()) {
    const QString parent = info.absolutePath();
    if (parent == info.absoluteFilePath()) return false;
    info = QFileInfo(parent);
  }
  return info.isDir() && info.isWritable();
}

}  // namespace

QString TKvSysFolders::CommonAppDataRoot() const {
  // The system-wide configuration folders follow the user's own in the list.
  QStringList all = QStandardPaths::standardLocations(QStandardPaths::GenericConfigLocation);
  QString system = Redirected("commonappdata", all.size() > 1 ? all.at(1) : QString("/etc/xdg"));
  if (IsWritableFolder(system + '/' + GCompanyName + '/' + GAppFolderName)) return system;
  return Redirected("userdata",
                    QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation));
}

QString TKvSysFolders::UserAppDataRoot() const {
  return Redirected("userappdata",
                    QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation));
}

QSize TKvSysFolders::ScreenSize() const {
  if (FScreen) return *FScreen;
  QScreen* screen = HasGuiApplication() ? QGuiApplication::primaryScreen() : nullptr;
  return screen ? screen->size() * screen->devicePixelRatio() : QSize(0, 0);
}

QSize TKvSysFolders::DesktopSize() const {
  if (FScreen) return *FScreen;
  QScreen* screen = HasGuiApplication() ? QGuiApplication::primaryScreen() : nullptr;
  return screen ? screen->virtualSize() * screen->devicePixelRatio() : QSize(0, 0);
}

void KvSys_AppFolders_Set(const QString& company, const QString& appFolder) {
  GCompanyName = company.isEmpty() ? QString(KvSys_DefaultCompany) : company;
  KvSys_AppFolderName_Set(appFolder);
  KvSys_GetPath("COMMONAPPDATA", true);
  KvSys_GetPath("USERAPPDATA", true);
}

void KvSys_AppFolderName_Set(const QString& appFolder) {
  GAppFolderName = appFolder.isEmpty() ? QString(KvSys_DefaultAppFolder) : appFolder;
}

QString KvSys_CompanyName() {
  return GCompanyName;
}
QString KvSys_AppFolderName() {
  return GAppFolderName;
}

QString KvSys_GetPath(const QString& macro, bool bCreate) {
  const TKvSysFolders& folders = KvSysFolders();
  QString name = macro.toUpper();
  QString folder;
  if (name.isEmpty() || name == "PGM" || name == "PGMDIR" || name == "EXE" || name == "EXEDIR") {
    folder = folders.ProgramDir();
  } else {
    QString root = name == "COMMONDOCS"    ? folders.CommonDocsRoot()
                   : name == "USERAPPDATA" ? folders.UserAppDataRoot()
                                           : folders.CommonAppDataRoot();
    if (!root.isEmpty()) folder = root + '/' + GCompanyName + '/' + GAppFolderName;
  }
  if (bCreate && !folder.isEmpty()) KvSys_ForceFolder(folder);
  return folder;
}

bool KvSys_ForceFolder(const QString& folder) {
  if (folder.isEmpty() || QDir(folder).exists()) return true;
  if (QDir().mkpath(folder)) return true;
  KvSysHelper().SysLog_Add(nullptr, "KvSys_ForceFolder",
                           "Error: folder \"" + folder + "\" could not be created");
  return false;
}
