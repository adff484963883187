#pragma once
// One form with three faces: the splash, the about box and the live message log. The tabs are
// hidden and switched by code; event 0 of the timer list drives the splash's progress bar,
// event 1 refreshes the log view.
#include <QDialog>

class QLabel;
class QPlainTextEdit;
class QProgressBar;
class QPushButton;
class QStackedWidget;
class TKvTimerList;

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

  void JvTimerList1Events0Timer();
  void JvTimerList1Events1Timer();
  // Copies the system log's lines into the log view.
  void CopySysLog();

 protected:
  void showEvent(QShowEvent* event) override;

 private:
  // The steps all faces share; caption bar only when captioned.
  void ApplyFace(int tab, bool progress, bool log, bool captioned, const QString& caption);
};

// The program-wide about form; nullptr until it is created.
extern TFrmKvAbout* FrmKvAbout;

// "Phonara Reader: (Version 1.0.0)" from the executable's version data, or strFullAppName
// alone while the application module does not exist.
QString KvAbout_NameAndVersion();
