#pragma once
// One form with three faces: the splash, the about box and the live message log. The tabs are
// hidden and switched by code; event 0 of the timer list drives the splash's progress bar,
// event 1 refreshes the log view.
#include <QDialog>

#include "KvDialogs.h"
#include "KvSysInfo.h"

class QLabel;
class QPlainTextEdit;
class QProgressBar;
class QPushButton;
class QStackedWidget;
class TKvTimerList;

// Starts a program with a command line in a folder, not waiting for it.
struct TKvCreateProcess {
  QString ApplicationName;
  QStringList Arguments;
  QString CurrentDirectory;
  bool Run() const;
};

// The desktop's opener of a file with its default application.
inline constexpr const char* KvAbout_Opener = "xdg-open";

class TFrmKvAbout : public QDialog {
  Q_OBJECT
 public:
  enum { TabAbout = 0, TabSplash = 1, TabLog = 2 };

  explicit TFrmKvAbout(QWidget* owner = nullptr);
  ~TFrmKvAbout() override;

  void AsSplash();
  void AsAbout();
  void AsLog();
  int ActivePageIndex() const;

  QLabel* cxImageLogo;
  QStackedWidget* cxPageControl;
  QWidget* cxTabSheetAbout;
  QPlainTextEdit* cxMemoInfo;
  QPushButton* cxButton2;
  QPushButton* cxButton1;
  QLabel* cxHyperLinkEdit;
  QWidget* cxTabSheetSplash;
  QLabel* cxImageSplash;
  QProgressBar* cxProgressBar1;
  QWidget* cxTabSheetLog;
  QPlainTextEdit* cxMemoLog;
  QPushButton* cxButton3;
  QPushButton* cxButton4;
  TKvTimerList* JvTimerList1;

  TKvFileDialogRequest OpenTextFileDialog1;
  TKvCreateProcess JvCreateProcess1;
  qint32 FVChecked = -1;

  // Fills cxMemoInfo with the program's and this machine's facts.
  void UpdateAboutScreen();
  void DisplayItem(const QString& label, const QString& value);
  void DisplayItem(const QString& label, bool value);
  void DisplayItem(const QString& label, int value);
  void DisplayItem(const QString& label, TKvBootMode value);

  void JvTimerList1Events0Timer();
  void JvTimerList1Events1Timer();
  // Copies the system log's lines into the log view.
  void CopySysLog();
  // Handlers; keys are the modifiers held during the double click.
  void cxImageSplashDblClick(Qt::KeyboardModifiers keys);
  void cxMemoInfoDblClick(Qt::KeyboardModifiers keys);
  void cxButton2Click();

 protected:
  void showEvent(QShowEvent* event) override;
  bool eventFilter(QObject* watched, QEvent* event) override;

 private:
  // The steps all faces share; caption bar only when captioned.
  void ApplyFace(int tab, bool progress, bool log, bool captioned, const QString& caption);
  void ShowLogView();
  // Lets the user pick a file in the folder of a path macro and opens it.
  void OpenInPath(const QString& macro);

  QStringList FInfo;
};

// The program-wide about form; nullptr until it is created.
extern TFrmKvAbout* FrmKvAbout;

// "Phonara Reader: (Version 1.0.0)" from the executable's version data, or strFullAppName
// alone while the application module does not exist.
QString KvAbout_NameAndVersion();
