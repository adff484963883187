#include "KvLib.h"

#include <QApplication>
#include <QComboBox>
#include <QFile>
#include <QFileInfo>
#include <QFontDatabase>
#include <QLineEdit>
#include <QMap>
#include <QScreen>
#include <QVBoxLayout>
#include <memory>
#include <stdexcept>

#include "KvAppIniFileStorage.h"
#include "KvClock.h"
#include "KvDialogs.h"
#include "KvFormStorage.h"
#include "KvGlobalInfo.h"
#include "KvSys_Helper.h"
#include "UDmKvBasic.h"
#include "UDmKvProjectInfo.h"
#include "UKvAbout.h"

namespace {

void Log(const char* name, const QString& msg) {
  KvSysHelper().SysLog_Add(nullptr, name, msg);
}

void LogSkinFileMissing(const char* name, const QString& fileName) {
  Log(name, "Error: Skin file \"" + fileName + "\" is missing");
}

// The short-lived store behind the settings read before any form exists.
template <class Read>
auto ReadMainFormSetting(Read read) {
  TKvAppIniFileStorage store;
  TKvFormStorage storage(&store);
  storage.SetAppStorage(&store);
  storage.AppStoragePath = KvGlobalInfo().strAppFolder_MainForm + "\\";
  return read(storage);
}

}  // namespace

TKvApplicationInfo& KvApplication() {
  static TKvApplicationInfo info;
  return info;
}

void KvApplication_HandleException(const QString& text) {
  KvSysHelper().SysLog_Add(nullptr, "Exception", text);
  MessageDlg(text, TMsgDlgType::mtError, mbOK);
}

void ReadSetting_String(const QString& key, const QString& def, QString& result) {
  result = ReadMainFormSetting([&](TKvFormStorage& s) { return s.ReadString(key, def); });
}

int ReadSetting_Integer(const QString& key, int def) {
  return ReadMainFormSetting([&](TKvFormStorage& s) { return s.ReadInteger(key, def); });
}

void KvGlobal_Initialize() {
  const char* name = "KvGlobal_Initialize";
  TKvGlobalInfo& info = KvGlobalInfo();
  Log(name, "AppFolders");
  KvSys_AppFolders_Set(info.strAppFolder_Group, info.strAppFolder_SubPath);
  // A settings file delivered beside the program seeds a new user's file.
  TKvAppIniFileStorage().IsIniFileExists();

  Log(name, "Read skin");
  QString skin;
  ReadSetting_String("Skin", info.strSkinName, skin);
  Log(name, "Read skin proceeded \"" + skin + "\"");
  info.strSkinName = skin;

  if (info.strSkinFileName.isEmpty()) info.strSkinFileName = KvSysFolders().ProgramFile() + ".skin";
  if (info.strAppHelpFile.isEmpty())
    info.strAppHelpFile = KvSysFolders().ProgramFile() + info.strAppHelpFileExt;

  if (QFileInfo::exists(info.strSkinFileName)) {
    Log(name, "Populate skins");
    QStringList names = KvSkins_Names(info.strSkinFileName);
    if (!names.contains(info.strSkinName))
      info.strSkinName = names.isEmpty() ? QString() : names.first();
    if (!info.strSkinName.isEmpty()) {
      Log(name, "Load skin from file");
      KvSkinController().LoadFromFile(info.strSkinFileName, info.strSkinName, KvSkin_UserSkin);
    } else {
      Log(name, "No skin");
    }
  } else {
    LogSkinFileMissing(name, info.strSkinFileName);
  }

  Log(name, "AppIni");
  TKvApplicationInfo& app = KvApplication();
  app.MainFormOnTaskBar = true;
  app.Title = info.strFullAppName;
  app.HelpFile = QFileInfo::exists(info.strAppHelpFile) ? info.strAppHelpFile : QString();
  // The title is not made the toolkit's display name: that would be appended to every caption.

  Log(name, "KvBasic ini");
  new TDmKvProjectInfo;
  new TDmKvBasic;
  TKvSkinController& skins = KvSkinController();
  skins.NativeStyle = false;
  skins.SkinName = KvSkin_UserSkin;
  skins.UseSkin = true;
  skins.Refresh();

  KvBase_CreateSplash(true);
  if (info.bShowSplash) {
    KvBase_Flash(true);
    if (FrmKvAbout) FrmKvAbout->CopySysLog();
  }
}

// ---- Skins ----

QString KvSkins_FileName() {
  const TKvGlobalInfo& info = KvGlobalInfo();
  return info.strSkinFileName.isEmpty() ? KvSysFolders().ProgramFile() + ".skin"
                                        : info.strSkinFileName;
}

namespace {

// Sections of the skin file in file order: name and style sheet.
QList<std::pair<QString, QString>> ReadSkinFile(const QString& fileName) {
  QList<std::pair<QString, QString>> skins;
  QFile file(fileName);
  if (!file.open(QIODevice::ReadOnly | QIODevice::Text)) return skins;
  for (const QString& raw : QString::fromUtf8(file.readAll()).split('\n')) {
    QString line = raw.trimmed();
    if (line.startsWith(';')) continue;
    if (line.startsWith('[') && line.endsWith(']'))
      skins.append({line.mid(1, line.size() - 2).trimmed(), QString()});
    else if (!skins.isEmpty() && !line.isEmpty())
      skins.last().second += raw + '\n';
  }
  return skins;
}

}  // namespace

QStringList KvSkins_Names(const QString& fileName) {
  QStringList names;
  for (const auto& skin : ReadSkinFile(fileName)) names.append(skin.first);
  return names;
}

QString KvSkins_StyleSheet(const QString& fileName, const QString& name) {
  for (const auto& skin : ReadSkinFile(fileName))
    if (skin.first == name) return skin.second;
  return {};
}

TKvSkinController& KvSkinController() {
  static TKvSkinController controller;
  return controller;
}

bool TKvSkinController::LoadFromFile(const QString& fileName, const QString& skinName,
                                     const QString& name) {
  if (name != KvSkin_UserSkin || !KvSkins_Names(fileName).contains(skinName)) return false;
  FUserSheet = KvSkins_StyleSheet(fileName, skinName);
  return true;
}

QString TKvSkinController::Registered(const QString& name) const {
  return name == KvSkin_UserSkin ? FUserSheet : KvSkins_StyleSheet(KvSkins_FileName(), name);
}

void TKvSkinController::Refresh() {
  auto app = qobject_cast<QApplication*>(QCoreApplication::instance());
  if (app) app->setStyleSheet(UseSkin && !NativeStyle ? Registered(SkinName) : QString());
}

void KvSkins_FillCombo(QWidget*, QComboBox*& combo) {
  if (!DmKvBasic || !combo) return;
  combo->clear();
  QString fileName = KvSkins_FileName();
  if (QFileInfo::exists(fileName))
    combo->addItems(KvSkins_Names(fileName));
  else
    LogSkinFileMissing("KvSkins_FillCombo", fileName);
}

void KvSkins_ComboBox_ToSkin(QWidget*, QComboBox* combo) {
  if (!combo) return;
  TKvGlobalInfo& info = KvGlobalInfo();
  TKvSkinController& skins = KvSkinController();
  QString name = combo->currentText();
  int index = combo->currentIndex();
  if (index >= 0 && name != info.strSkinName) {
    info.strSkinName = name;
    QString fileName = KvSkins_FileName();
    if (QFileInfo::exists(fileName)) {
      skins.LoadFromFile(fileName, name, KvSkin_UserSkin);
      skins.NativeStyle = false;
      skins.SkinName = KvSkin_UserSkin;
      skins.UseSkin = true;
      skins.Refresh();
    } else {
      LogSkinFileMissing("KvSkins_ComboBox_ToSkin", fileName);
    }
  }
  if (!DmKvBasic) return;
  if (!name.isEmpty()) {
    info.strSkinName = name;
    skins.SkinName = name;
    skins.Refresh();
  }
  // The skin is the application's style sheet, which reaches every docked form by itself.
  DmKvBasic->DoStyleChangedNotify(qMax(-1, index));
  DmKvBasic->DoStatusBarNotify("Application skin changed to " + name, false);
}

TKvSkinBarComboAction::TKvSkinBarComboAction(QObject* owner) : QAction(owner) {
  connect(this, &QAction::triggered, this, [this] {
    if (OnExecute) OnExecute(this);
  });
}

void TKvSkinBarComboAction::SetCombo(QComboBox* combo) {
  FCombo = combo;
}

bool TKvSkinBarComboAction::HandlesTarget(QObject* target) const {
  auto widget = qobject_cast<QWidget*>(target);
  if (!widget || !widget->hasFocus()) return false;
  return FCombo ? widget == FCombo.data() : qobject_cast<QLineEdit*>(widget) != nullptr;
}

void TKvSkinBarComboAction::Change() {
  if (OnChange) OnChange(this);
}

// ---- Fonts ----

namespace {

struct TKvFontRecord {
  QByteArray Data;
  int Handle;
  qsizetype Size;
};
std::unique_ptr<QMap<QString, TKvFontRecord>> gFontList;

// The family each embedded face answers to, as the display asks for it.
QString AskedFamily(const QString& resourceName) {
  static const QMap<QString, QString> families{{"Digital_7", "Digital-7"},
                                               {"LCD_BaseB", "LCD"},
                                               {"DS_Digital", "DS-Digital"},
                                               {"Dinova", "Dinova"}};
  return families.value(resourceName);
}

}  // namespace

void LoadFontResource(const QString& name) {
  if (!gFontList) gFontList = std::make_unique<QMap<QString, TKvFontRecord>>();
  if (gFontList->contains(name)) return;
  QFile resource(":/fonts/" + name);
  if (!resource.open(QIODevice::ReadOnly))
    throw std::runtime_error(QString("Resource %1 not found").arg(name).toStdString());
  TKvFontRecord rec{resource.readAll(), -1, 0};
  rec.Size = rec.Data.size();
  rec.Handle = QFontDatabase::addApplicationFontFromData(rec.Data);
  QStringList families = QFontDatabase::applicationFontFamilies(rec.Handle);
  QString asked = AskedFamily(name);
  if (!families.isEmpty() && !asked.isEmpty() && asked != families.first())
    QFont::insertSubstitution(asked, families.first());
  gFontList->insert(name, rec);
}

void FreeFontResource(const QString& name) {
  if (!gFontList || !gFontList->contains(name)) return;
  TKvFontRecord rec = gFontList->take(name);
  QFontDatabase::removeApplicationFont(rec.Handle);
  QFont::removeSubstitutions(AskedFamily(name));
  if (gFontList->isEmpty()) gFontList.reset();
}

bool KvFont_IsLoaded(const QString& name) {
  return gFontList && gFontList->contains(name);
}

int KvFont_LoadedCount() {
  return gFontList ? int(gFontList->size()) : 0;
}

// ---- Splash ----

namespace {
QPointer<TFrmKvAbout> gSplashForm;
}

TFrmKvAbout* KvBase_SplashForm() {
  return gSplashForm;
}

void KvBase_CreateSplash(bool create) {
  if (create) {
    if (!FrmKvAbout) new TFrmKvAbout;
    if (!gSplashForm) gSplashForm = FrmKvAbout;
    return;
  }
  if (gSplashForm) {
    gSplashForm->hide();
    gSplashForm->close();
    delete gSplashForm.data();
  }
  gSplashForm = nullptr;
}

void KvBase_Flash(bool show) {
  const char* name = "KvBase_Splash";
  if (show) {
    Log(name, "Show Splash");
    if (!gSplashForm) gSplashForm = FrmKvAbout;
    if (!gSplashForm) return;
    int mode = ReadSetting_Integer("SplashMode", 0);
    if (mode < 2)
      gSplashForm->AsSplash();
    else if (mode == 2)
      gSplashForm->AsLog();
    gSplashForm->show();
    ProcessMessages();
    return;
  }
  Log(name, "Hide Splash");
  if (gSplashForm) {
    // The main form has just been shown over it.
    gSplashForm->raise();
    for (int i = 0; i < 21 && gSplashForm; ++i) {
      Sleep(100);
      ProcessMessages();
    }
    if (gSplashForm && gSplashForm->ActivePageIndex() == TFrmKvAbout::TabSplash)
      gSplashForm->hide();
  }
  Log(name, "After Hide Splash");
}

int GetScreenDPI() {
  QScreen* screen = qobject_cast<QGuiApplication*>(QCoreApplication::instance())
                        ? QGuiApplication::primaryScreen()
                        : nullptr;
  return screen ? qRound(screen->logicalDotsPerInch()) : 96;
}

// ---- Docked forms ----

QList<QPointer<QWidget>>& KvForm_DockedForms() {
  static QList<QPointer<QWidget>> forms;
  return forms;
}

QWidget* KvForm_CreateDocked(QWidget* form, QWidget* host) {
  if (!form || !host) return form;
  form->setParent(host, Qt::Widget);
  form->setProperty(KvSys_FormProperty, true);
  if (!host->layout()) {
    auto layout = new QVBoxLayout(host);
    layout->setContentsMargins(0, 0, 0, 0);
  }
  host->layout()->addWidget(form);
  form->show();
  KvForm_DockedForms().removeAll(nullptr);
  KvForm_DockedForms().append(form);
  return form;
}
