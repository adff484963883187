#pragma once
// The program's one window: navigation bar, menus and tool bars, the connection panel, the
// date override, the tabbed views and the status bar. It is where readings meet the views:
// the commander hands each reading over on whatever thread decoded it, and a 50 ms
// one-shot timer event passes the latest one on to the memo, table, chart and display on
// the main thread.
#include <QMainWindow>
#include <functional>
#include <mutex>

#include "KvUniqueData.h"

class QCheckBox;
class QComboBox;
class QFrame;
class QLabel;
class TKvLiveMemo;
class QPushButton;
class QStatusBar;
class QTabWidget;
class QToolBar;
class TKvDateEdit;
class TKvFormStorage;
class TKvNavBar;
class TKvTimerList;

class TFrmKvMain : public QMainWindow {
  Q_OBJECT
 public:
  explicit TFrmKvMain(QWidget* parent = nullptr);
  ~TFrmKvMain() override;

  enum { TabDisplay = 0, TabDataTable = 1, TabChart = 2, TabComData = 3 };
  static constexpr int DisplayEvent = 3;
  // The raw-data memo keeps the newest lines only.
  static constexpr int MemoMaxLines = 20000;

  // Components.
  TKvNavBar* dxNavBarLeft;
  QToolBar* dxBarManager1BarFile;
  QToolBar* dxBarManager1BarOptions;
  QToolBar* dxBarManager1BarPrint;
  QComboBox* dxBarComboSkins;
  QFrame* cxGroupBoxConnect;
  QCheckBox* cxCheckBoxDate_Use;
  TKvDateEdit* cxDateEditMeter;
  QLabel* cxLabelFilename;
  QTabWidget* dxLayoutControl1GroupMain;
  QFrame* cxGroupBoxDisplay;
  QFrame* cxGroupBoxDataTable;
  QFrame* cxGroupBox_Chart;
  QWidget* dxLayoutControl1Group_ComData1;
  QPushButton* cxButtonClear;
  TKvLiveMemo* cxMemo_ComData;
  QFrame* ShapeBrevik;
  QStatusBar* dxStatusBar;
  TKvTimerList* JvTimerList1;
  TKvFormStorage* KvFormStorage1;

  double XLast = 0;

  // The printing module's hook: make report link iLink (0 the chart's, 1 the table's) the
  // active and current one, the other not active.
  std::function<void(int iLink)> OnReportLinkSelect;

  // The latest reading handed over, taken under the lock.
  TKvUniqueData DataCopy() const;

  // Handlers, named after their component and event.
  void FormCreate();
  void FormShow();
  void FormDestroy();
  void EvDataReceived(QObject* Sender, const QString& strData, const TKvUniqueData& Data);
  void JvTimerList1Events3Timer();
  void dxLayoutControl1GroupMainTabChanged();
  void cxDateEditMeterPropertiesChange();
  bool EvCheckConnection(QObject* Sender, bool bAsk);
  void EvFileNameChanged(QObject* Sender);
  void cxButtonClearClick();
  void dxBarComboSkinsChange();
  void KvFormStorage1RestorePlacement();
  void KvFormStorage1SavePlacement();

 protected:
  void showEvent(QShowEvent* event) override;
  void closeEvent(QCloseEvent* event) override;

 private:
  void BuildLayout();
  QWidget* BuildHeader();
  QWidget* BuildTabs();
  void BuildNavBar();
  void BuildBars();
  void CreatePanels();
  void SetupChannels();
  void Log(const QString& msg);

  mutable std::mutex FCopyLock;
  TKvUniqueData dDataCpy;  // guarded by FCopyLock
  QString strDataCpy;      // guarded by FCopyLock
};

// The program-wide main window; nullptr while none exists.
extern TFrmKvMain* FrmKvMain;
