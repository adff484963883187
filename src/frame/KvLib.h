#pragma once
// The frame's free routines: the start-up routine, settings read before any form exists, the
// skin file and its controller, the private display fonts, the splash and docked panels.
#include <QAction>
#include <QComboBox>
#include <QList>
#include <QPointer>
#include <QString>
#include <QStringList>
class QWidget;
class TFrmKvAbout;

// Sets folders, reads and loads the skin, initialises the application object, creates the
// modules the frame owns and shows the splash. Runs first of all, from the program's entry.
void KvGlobal_Initialize();

// One value of the main form's section, through a short-lived settings store.
void ReadSetting_String(const QString& key, const QString& def, QString& result);
int ReadSetting_Integer(const QString& key, int def);

// What the application object was told at start-up.
struct TKvApplicationInfo {
  QString Title;
  QString HelpFile;  // empty when the manual is missing
  bool MainFormOnTaskBar = false;
};
TKvApplicationInfo& KvApplication();
// The application's default handler for an exception: logged and shown as an error box.
void KvApplication_HandleException(const QString& text);

// The skin file: "[Name]" sections, each a style sheet; ';' starts a comment line.
QString KvSkins_FileName();
QStringList KvSkins_Names(const QString& fileName);
QString KvSkins_StyleSheet(const QString& fileName, const QString& name);

inline constexpr const char* KvSkin_UserSkin = "UserSkin";

// The look-and-feel controller: the skin registered as "UserSkin" applies to the whole program
// while skins are in use and the controller is not native.
class TKvSkinController {
 public:
  QString SkinName;
  bool NativeStyle = true;
  bool UseSkin = false;

  // Registers a skin of the file under name (normally "UserSkin"); false when the file lacks it.
  bool LoadFromFile(const QString& fileName, const QString& skinName, const QString& name);
  QString Registered(const QString& name) const;
  // Applies the current choice to the application.
  void Refresh();

 private:
  QString FUserSheet;
};
TKvSkinController& KvSkinController();

// Fills a skin combo with the skin names of the skin file.
void KvSkins_FillCombo(QWidget* form, QComboBox*& combo);
// Makes the combo's selected skin the program's skin and tells every docked form.
void KvSkins_ComboBox_ToSkin(QWidget* form, QComboBox* combo);

// The action behind the skin combo. It forgets its combo when the combo is destroyed.
class TKvSkinBarComboAction : public QAction {
  Q_OBJECT
 public:
  explicit TKvSkinBarComboAction(QObject* owner = nullptr);
  QComboBox* Combo() const { return FCombo; }
  void SetCombo(QComboBox* combo);
  // True for the bound combo, or any edit control when none is bound, if it has the focus.
  bool HandlesTarget(QObject* target) const;
  void UpdateTarget(QObject*) { setEnabled(true); }
  std::function<void(QObject* Sender)> OnExecute;
  std::function<void(QObject* Sender)> OnChange;
  // Raised by the combo's change; runs OnChange.
  void Change();

 private:
  QPointer<QComboBox> FCombo;
};

// The seven-segment faces embedded as ":/fonts/<name>", usable by this process only while
// loaded. The family "LCD" resolves to a seven-segment face.
void LoadFontResource(const QString& name);
void FreeFontResource(const QString& name);
bool KvFont_IsLoaded(const QString& name);
int KvFont_LoadedCount();

// The splash is the about form's splash face.
void KvBase_CreateSplash(bool create);
void KvBase_Flash(bool show);
TFrmKvAbout* KvBase_SplashForm();

int GetScreenDPI();

// Makes form a borderless panel filling host and adds it to the program-wide list of docked
// forms, which the skin change walks.
QWidget* KvForm_CreateDocked(QWidget* form, QWidget* host);
QList<QPointer<QWidget>>& KvForm_DockedForms();
