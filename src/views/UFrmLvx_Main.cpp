#include "UFrmLvx_Main.h"

#include <QCheckBox>
#include <QCloseEvent>
#include <QComboBox>
#include <QFrame>
#include <QHBoxLayout>
#include <QLabel>
#include <QMenuBar>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QSignalBlocker>
#include <QStatusBar>
#include <QTabWidget>
#include <QToolBar>
#include <QVBoxLayout>

#include "KvChartChannels.h"
#include "KvDateEdit.h"
#include "KvDockedViews.h"
#include "KvFormStorage.h"
#include "KvGlobalInfo.h"
#include "KvLib.h"
#include "KvLiveMemo.h"
#include "KvNavBar.h"
#include "KvStdActns.h"
#include "KvSys_Helper.h"
#include "KvTimerList.h"
#include "UDmKvBasic.h"
#include "UDmKv_COM_Commander.h"
#include "UDxLvx_Connect.h"

TFrmKvMain* FrmKvMain = nullptr;

namespace {

const char* const FontResources[] = {"Digital_7", "LCD_BaseB", "DS_Digital", "Dinova"};
const char* const DateHint = "Use this date to overwrite the original meter date";

QFrame* Host(const char* name, QWidget* parent) {
  auto host = new QFrame(parent);
  host->setObjectName(name);
  host->setFrameShape(QFrame::StyledPanel);
  auto layout = new QVBoxLayout(host);
  layout->setContentsMargins(0, 0, 0, 0);
  return host;
}

template <class TLayout>
TLayout* Group(const char* name, QWidget* parent = nullptr) {
  auto layout = new TLayout(parent);
  layout->setObjectName(name);
  layout->setContentsMargins(0, 0, 0, 0);
  return layout;
}

// Docks a registered view's form into host; the form must show the view's face.
template <class TView>
TView* DockView(const std::function<QWidget*()>& make, QWidget* host) {
  if (!make) return nullptr;
  QWidget* form = KvForm_CreateDocked(make(), host);
  return dynamic_cast<TView*>(form);
}

}  // namespace

TFrmKvMain::TFrmKvMain(QWidget* parent) : QMainWindow(parent) {
  setObjectName("FrmKvMain");
  FrmKvMain = this;
  Log("In Create");
  QFont tahoma("Tahoma");
  tahoma.setPixelSize(14);
  setFont(tahoma);

  KvFormStorage1 = new TKvFormStorage(this);
  KvFormStorage1->StoredProps << "cxCheckBoxDate_Use.Checked";
  KvFormStorage1->OnRestorePlacement = [this] { KvFormStorage1RestorePlacement(); };
  KvFormStorage1->OnSavePlacement = [this] { KvFormStorage1SavePlacement(); };
  KvLib_FormStorage_FormCreate(DmKvBasic, KvFormStorage1);

  JvTimerList1 = new TKvTimerList(this);
  JvTimerList1->setObjectName("JvTimerList1");
  for (int i = 0; i <= DisplayEvent; ++i) JvTimerList1->AddEvent(1000);
  (*JvTimerList1)[DisplayEvent]->SetInterval(50);
  (*JvTimerList1)[DisplayEvent]->OnTimer = [this] { JvTimerList1Events3Timer(); };

  BuildLayout();
  BuildBars();
  resize(1297, 820);
  FormCreate();
}

TFrmKvMain::~TFrmKvMain() {
  FormDestroy();
  // The docked views die with their hosts; nothing may reach them from here on.
  FrmDxTable = nullptr;
  FrmDxChart = nullptr;
  FrmDxLvxDisplay = nullptr;
  if (FrmLvx_Connect && isAncestorOf(FrmLvx_Connect)) {
    delete FrmLvx_Connect;
    FrmLvx_Connect = nullptr;
  }
  if (FrmKvMain == this) FrmKvMain = nullptr;
}

void TFrmKvMain::Log(const QString& msg) {
  KvSysHelper().SysLog_Add(this, "", msg);
}

// ---------------------------------------------------------------------------------------
// Layout

void TFrmKvMain::BuildLayout() {
  auto central = new QWidget(this);
  central->setObjectName("dxLayoutControl1");
  auto root = Group<QVBoxLayout>("dxLayoutControl1Group_Root", central);
  root->setSpacing(0);
  root->addSpacing(2);

  auto lower = Group<QHBoxLayout>("dxLayoutControl1GroupLowerPart");
  lower->setContentsMargins(4, 0, 4, 4);
  lower->setSpacing(6);
  auto navGeneral = Group<QVBoxLayout>("dxLayoutControl1GroupNavGeneral");
  dxNavBarLeft = new TKvNavBar(central);
  dxNavBarLeft->setObjectName("dxNavBarLeft");
  dxNavBarLeft->setFixedWidth(200);
  navGeneral->addWidget(dxNavBarLeft);
  lower->addLayout(navGeneral);
  BuildNavBar();

  auto group5 = Group<QVBoxLayout>("dxLayoutControl1Group5");
  group5->setSpacing(4);
  group5->addWidget(BuildHeader());
  group5->addWidget(BuildTabs(), 1);
  lower->addLayout(group5, 1);
  root->addLayout(lower, 1);

  ShapeBrevik = new QFrame(central);
  ShapeBrevik->setObjectName("ShapeBrevik");
  ShapeBrevik->setFixedHeight(4);
  ShapeBrevik->setStyleSheet("QFrame#ShapeBrevik { background-color: #ff8000; border: none; }");
  root->addWidget(ShapeBrevik);
  setCentralWidget(central);

  dxStatusBar = new QStatusBar(this);
  dxStatusBar->setObjectName("dxStatusBar");
  dxStatusBar->setSizeGripEnabled(false);
  auto panel0 = new QLabel("Startup", dxStatusBar);
  QFont statusFont = panel0->font();
  statusFont.setPixelSize(15);
  panel0->setFont(statusFont);
  panel0->setContentsMargins(4, 1, 4, 1);
  dxStatusBar->addWidget(panel0, 1);
  setStatusBar(dxStatusBar);
}

QWidget* TFrmKvMain::BuildHeader() {
  auto header = new QWidget(this);
  header->setObjectName("dxLayoutControl1GroupMainHeader");
  auto headerLayout = Group<QVBoxLayout>("dxLayoutControl1GroupMainHeaderLayout", header);
  headerLayout->setSpacing(2);

  auto top = Group<QHBoxLayout>("dxLayoutControl1GroupMainTop");
  top->setSpacing(12);
  cxGroupBoxConnect = Host("cxGroupBoxConnect", header);
  cxGroupBoxConnect->setMinimumWidth(525);
  cxGroupBoxConnect->setFixedHeight(62);
  top->addWidget(cxGroupBoxConnect, 0, Qt::AlignLeft | Qt::AlignVCenter);

  auto group2 = Group<QVBoxLayout>("dxLayoutControl1Group2");
  auto group3 = Group<QHBoxLayout>("dxLayoutControl1Group3");
  group3->setSpacing(6);
  auto dateCaption = new QLabel("Overwrite date:", header);
  dateCaption->setToolTip(DateHint);
  cxCheckBoxDate_Use = new QCheckBox(header);
  cxCheckBoxDate_Use->setObjectName("cxCheckBoxDate_Use");
  cxCheckBoxDate_Use->setToolTip(DateHint);
  dateCaption->setBuddy(cxCheckBoxDate_Use);
  cxDateEditMeter = new TKvDateEdit(header);
  cxDateEditMeter->setObjectName("cxDateEditMeter");
  cxDateEditMeter->setToolTip(DateHint);
  cxDateEditMeter->setMinimumWidth(130);
  group3->addWidget(dateCaption);
  group3->addWidget(cxCheckBoxDate_Use);
  group3->addWidget(cxDateEditMeter);
  group2->addLayout(group3);
  top->addLayout(group2);
  auto parameter = Group<QHBoxLayout>("dxLayoutControl1Group_Parameter");
  parameter->addStretch(1);
  top->addLayout(parameter, 1);
  headerLayout->addLayout(top);

  auto group1 = Group<QHBoxLayout>("dxLayoutControl1Group1");
  group1->setSpacing(6);
  group1->addWidget(new QLabel("Filename:", header));
  cxLabelFilename = new QLabel(header);
  cxLabelFilename->setObjectName("cxLabelFilename");
  cxLabelFilename->setTextInteractionFlags(Qt::TextSelectableByMouse);
  group1->addWidget(cxLabelFilename, 1);
  headerLayout->addLayout(group1);

  connect(cxCheckBoxDate_Use, &QCheckBox::toggled, this,
          &TFrmKvMain::cxDateEditMeterPropertiesChange);
  connect(cxDateEditMeter, &QDateEdit::dateChanged, this,
          &TFrmKvMain::cxDateEditMeterPropertiesChange);
  return header;
}

QWidget* TFrmKvMain::BuildTabs() {
  dxLayoutControl1GroupMain = new QTabWidget(this);
  dxLayoutControl1GroupMain->setObjectName("dxLayoutControl1GroupMain");
  cxGroupBoxDisplay = Host("cxGroupBoxDisplay", dxLayoutControl1GroupMain);
  cxGroupBoxDataTable = Host("cxGroupBoxDataTable", dxLayoutControl1GroupMain);
  cxGroupBox_Chart = Host("cxGroupBox_Chart", dxLayoutControl1GroupMain);
  dxLayoutControl1GroupMain->addTab(cxGroupBoxDisplay, "Device display");
  dxLayoutControl1GroupMain->addTab(cxGroupBoxDataTable, "Data table");
  dxLayoutControl1GroupMain->addTab(cxGroupBox_Chart, "Line chart");

  dxLayoutControl1Group_ComData1 = new QWidget(dxLayoutControl1GroupMain);
  dxLayoutControl1Group_ComData1->setObjectName("dxLayoutControl1Group_ComData1");
  auto comData = new QVBoxLayout(dxLayoutControl1Group_ComData1);
  cxButtonClear = new QPushButton("Clear", dxLayoutControl1Group_ComData1);
  cxButtonClear->setObjectName("cxButtonClear");
  // Days of recording would grow the memo by a gigabyte a day: the oldest lines go beyond the
  // bound.
  cxMemo_ComData = new TKvLiveMemo(MemoMaxLines, dxLayoutControl1Group_ComData1);
  cxMemo_ComData->setObjectName("cxMemo_ComData");
  cxMemo_ComData->setLineWrapMode(QPlainTextEdit::NoWrap);
  QFont courier("Courier New");
  courier.setStyleHint(QFont::Monospace);
  courier.setPixelSize(15);
  cxMemo_ComData->setFont(courier);
  comData->addWidget(cxButtonClear, 0, Qt::AlignLeft);
  comData->addWidget(cxMemo_ComData, 1);
  dxLayoutControl1GroupMain->addTab(dxLayoutControl1Group_ComData1, "COM Data");
  // The raw data is filled all the same; its tab is never shown.
  dxLayoutControl1GroupMain->setTabVisible(TabComData, false);

  connect(cxButtonClear, &QPushButton::clicked, this, &TFrmKvMain::cxButtonClearClick);
  connect(dxLayoutControl1GroupMain, &QTabWidget::currentChanged, this,
          &TFrmKvMain::dxLayoutControl1GroupMainTabChanged);
  return dxLayoutControl1GroupMain;
}

void TFrmKvMain::BuildNavBar() {
  if (!DmKvBasic) return;
  TDmKvBasic* m = DmKvBasic;
  dxNavBarLeft->setStyleSheet("TKvNavBar, #dxNavBarLeftInner { background-color: #f2f3f4; }");
  TKvNavBarGroup* files = dxNavBarLeft->AddGroup(
      "dxNavBarLeftGroupFiles", "File", "Group of document file and instrument related actions");
  files->AddItem(m->ActionFileConnected);
  files->AddSeparator();
  for (QAction* a : {m->ActionFileNew, static_cast<QAction*>(m->FileOpen1),
                     static_cast<QAction*>(m->FileSaveAs1), m->ActionFileNext, m->ActionFilePrev})
    files->AddItem(a);
  files->AddSeparator();
  files->AddItem(m->FileExport1);
  files->AddSeparator();
  files->AddItem(m->ActionFileExit);

  TKvNavBarGroup* print =
      dxNavBarLeft->AddGroup("dxNavBarLeftGroupPrint", "Print", "Group of print related actions");
  for (QAction* a : {m->ActionPrintSetup, m->ActionPrintPreview, m->ActionPrintPrint})
    print->AddItem(a);

  TKvNavBarGroup* options = dxNavBarLeft->AddGroup("dxNavBarLeftGroupOptions", "Options",
                                                   "Group of misceallaneous actions");
  options->AddItem(m->ActionOptionHelp);
  options->AddItem(m->ActionOptionAbout);
  options->SetExpanded(false);
}

void TFrmKvMain::BuildBars() {
  dxBarComboSkins = new QComboBox(this);
  dxBarComboSkins->setObjectName("dxBarComboSkins");
  dxBarComboSkins->setFixedWidth(148);
  connect(dxBarComboSkins, &QComboBox::currentIndexChanged, this,
          &TFrmKvMain::dxBarComboSkinsChange);
  if (!DmKvBasic) return;
  TDmKvBasic* m = DmKvBasic;

  menuBar()->setObjectName("dxBarManager1Bar1");
  QMenu* file = menuBar()->addMenu("&File");
  file->setToolTipsVisible(true);
  file->menuAction()->setToolTip("File related commands");
  file->addAction(m->FileOpen1);
  file->addAction(m->ActionFilePrev);
  file->addAction(m->ActionFileNext);
  file->addSection("Application");
  file->addAction(m->ActionFileExit);

  auto bar = [this](const char* name, const QString& caption) {
    QToolBar* b = addToolBar(caption);
    b->setObjectName(name);
    b->setToolButtonStyle(Qt::ToolButtonTextOnly);
    return b;
  };
  dxBarManager1BarFile = bar("dxBarManager1BarFile", "&File");
  for (QAction* a : {m->ActionFileNew, static_cast<QAction*>(m->FileOpen1),
                     static_cast<QAction*>(m->FileSaveAs1), m->ActionFilePrev, m->ActionFileNext,
                     static_cast<QAction*>(m->FileExport1)})
    dxBarManager1BarFile->addAction(a);
  dxBarManager1BarOptions = bar("dxBarManager1BarOptions", "&Options");
  dxBarManager1BarOptions->addAction(m->ActionOptionHelp);
  dxBarManager1BarOptions->addAction(m->ActionOptionAbout);
  // The combo is offered only where the product allows skin changes.
  dxBarManager1BarOptions->addWidget(dxBarComboSkins)
      ->setVisible(m->KvSkinBarComboAction1->isVisible());
  dxBarManager1BarPrint = bar("dxBarManager1BarPrint", "&Print");
  for (QAction* a : {m->ActionPrintSetup, m->ActionPrintPreview, m->ActionPrintPrint})
    dxBarManager1BarPrint->addAction(a);
}

// ---------------------------------------------------------------------------------------
// Life

void TFrmKvMain::FormCreate() {
  Log("in FoCre");
  if (cxDateEditMeter->IsEmpty()) cxDateEditMeter->SetDate(Now());
  for (const char* font : FontResources) LoadFontResource(font);
  XLast = 0;
  if (DmKvBasic) {
    DmKvBasic->SetMainForm(this);
    DmKvBasic->FModifiedChangedEvent = [](QObject*, bool) {
      if (DmKvBasic) DmKvBasic->UpdateMainForm_Caption();
    };
    DmKvBasic->FOnStyleChangedEvent = [this](QObject*, int) {
      cxGroupBoxDataTable->setFrameShape(QFrame::NoFrame);
    };
    DmKvBasic->FOnCheckConnectionEvent = [this](QObject* s, bool bAsk) {
      return EvCheckConnection(s, bAsk);
    };
    DmKvBasic->FOnFileNameChangedEvent = [this](QObject* s) { EvFileNameChanged(s); };
    // Kept for the module's whole life, so it must not outlive the label.
    DmKvBasic->FSkinChangedEvent = [label = QPointer<QLabel>(cxLabelFilename)](QObject*,
                                                                               const QString&) {
      if (label) label->update();
    };
  }
  if (DmKv_COM_Commander)
    DmKv_COM_Commander->OnDataReceived =
        [this](QObject* s, const QString& t, const TKvUniqueData& d) { EvDataReceived(s, t, d); };
  Log("After  KvBase_FormCreate");
}

void TFrmKvMain::FormShow() {
  Log("In FormShow");
  Log("Before KvBase_Flash");
  KvBase_Flash(false);
  Log("After  KvBase_Flash");
}

void TFrmKvMain::FormDestroy() {
  Log("In FormDestroy");
  if (DmKvBasic) DmKvBasic->FOnStyleChangedEvent = nullptr;
  Log("Before KvLib_FormStorage_FormDestroy");
  KvLib_FormStorage_FormDestroy(KvFormStorage1);
  Log("After  KvLib_FormStorage_FormDestroy");
  if (DmKvBasic) {
    DmKvBasic->FModifiedChangedEvent = nullptr;
    DmKvBasic->FOnCheckConnectionEvent = nullptr;
    DmKvBasic->FOnFileNameChangedEvent = nullptr;
  }
  if (DmKv_COM_Commander) DmKv_COM_Commander->OnDataReceived = nullptr;
  for (const char* font : FontResources) FreeFontResource(font);
}

void TFrmKvMain::showEvent(QShowEvent* event) {
  QMainWindow::showEvent(event);
  // The splash's wait is meant to run with the main form already on the screen, which it is
  // only once this event has returned.
  if (!event->spontaneous())
    QMetaObject::invokeMethod(this, &TFrmKvMain::FormShow, Qt::QueuedConnection);
}

void TFrmKvMain::closeEvent(QCloseEvent* event) {
  bool CanClose = true;
  // A save that throws leaves the window open: the message box reports it, nothing is lost.
  event->ignore();
  if (DmKvBasic) DmKvBasic->EvFormCloseQuery(this, CanClose);
  if (CanClose)
    event->accept();
  else
    event->ignore();
}

// ---------------------------------------------------------------------------------------
// Readings

void TFrmKvMain::EvDataReceived(QObject*, const QString& strData, const TKvUniqueData& Data) {
  {
    std::lock_guard<std::mutex> lock(FCopyLock);
    dDataCpy = Data;
    strDataCpy = strData;
  }
  (*JvTimerList1)[DisplayEvent]->SetEnabled(true);
}

TKvUniqueData TFrmKvMain::DataCopy() const {
  std::lock_guard<std::mutex> lock(FCopyLock);
  return dDataCpy;
}

void TFrmKvMain::JvTimerList1Events3Timer() {
  (*JvTimerList1)[DisplayEvent]->SetEnabled(false);
  // Readings before the display is docked stay in the copy and go no further.
  if (!FrmDxLvxDisplay) return;
  TKvUniqueData data;
  QString text;
  {
    // Reading and text are taken together: a reading arriving meanwhile must not pair its
    // text with the previous reading.
    std::lock_guard<std::mutex> lock(FCopyLock);
    data = dDataCpy;
    text = strDataCpy;
  }
  text.replace("\r\n", "\n");

  cxMemo_ComData->Prepend(text);

  if (DmKv_COM_Commander && DmKv_COM_Commander->IsRecording() && FrmDxTable) {
    FrmDxTable->AddData(data);
    if (FrmDxChart) FrmDxChart->cxButtonShowAxisFullClick(this);
  }
  if (FrmDxLvxDisplay) FrmDxLvxDisplay->Data2Display(data);
}

void TFrmKvMain::cxButtonClearClick() {
  cxMemo_ComData->Clear();
}

// ---------------------------------------------------------------------------------------
// Tabs, date override, connection, file name, skins

void TFrmKvMain::dxLayoutControl1GroupMainTabChanged() {
  // The chart takes its points oldest first; the table, printed also from the display
  // tab, lists newest first.
  const bool chart = dxLayoutControl1GroupMain->currentIndex() == TabChart;
  if (OnReportLinkSelect) OnReportLinkSelect(chart ? 0 : 1);
  if (!DmKv_COM_Commander) return;
  TKvMeasurementTable& table = DmKv_COM_Commander->KvMemTableData;
  const size_t def = chart ? 0 : 1;
  if (table.IndexDefs.size() > def) table.SetIndexName(table.IndexDefs[def].Name);
}

void TFrmKvMain::cxDateEditMeterPropertiesChange() {
  if (!DmKv_COM_Commander) return;
  DmKv_COM_Commander->SetDateMeter(cxCheckBoxDate_Use->isChecked() ? cxDateEditMeter->Date()
                                                                   : NoDate);
}

bool TFrmKvMain::EvCheckConnection(QObject*, bool) {
  if (!DmKv_COM_Commander || !FrmLvx_Connect) return false;
  return DmKv_COM_Commander->Serial->Active() && DmKv_COM_Commander->IsConnected();
}

void TFrmKvMain::EvFileNameChanged(QObject*) {
  if (DmKvBasic) cxLabelFilename->setText(DmKvBasic->File_ActName());
}

void TFrmKvMain::dxBarComboSkinsChange() {
  if (DmKvBasic && DmKvBasic->KvSkinBarComboAction1->Combo() == dxBarComboSkins)
    DmKvBasic->KvSkinBarComboAction1->Change();
}

// ---------------------------------------------------------------------------------------
// Placement

void TFrmKvMain::KvFormStorage1RestorePlacement() {
  Log("In RestorePlacement");
  int skinIdx = KvFormStorage1->ReadInteger("SkinIdx", -1);
  const QString useDT = KvFormStorage1->ReadString("UseDT", "");
  TDateTime useDate = NoDate;
  // A value from another locale or a hand-edited file is reported as the conversion failure
  // it is, and the window is assembled all the same with an empty date editor.
  if (!useDT.isEmpty()) try {
      useDate = KvStrToDateTime(useDT);
    } catch (const std::invalid_argument& e) {
      KvApplication_HandleException(QString::fromUtf8(e.what()));
    }
  cxDateEditMeter->SetDate(useDate);

  Log("Before LoadDockLayout");
  if (DmKvBasic) DmKvBasic->LoadDockLayout(this);

  KvSkins_FillCombo(this, dxBarComboSkins);
  if (skinIdx == -1) skinIdx = dxBarComboSkins->findText(KvGlobalInfo().strSkinName);
  if (skinIdx >= 0 && dxBarComboSkins->count() > skinIdx) {
    const QSignalBlocker detached(dxBarComboSkins);
    dxBarComboSkins->setCurrentIndex(skinIdx);
  }
  if (skinIdx >= 0 && dxBarComboSkins->currentIndex() == skinIdx)
    Log("After set new SkinName: " + dxBarComboSkins->currentText());
  else
    Log("Unknown SkinName");
  if (DmKvBasic) DmKvBasic->KvSkinBarComboAction1->SetCombo(dxBarComboSkins);

  Log("Before KvForm_CreateDocked");
  CreatePanels();
  cxDateEditMeterPropertiesChange();
  Log("After  KvForm_CreateDocked");

  Log("Before Setup Channels");
  SetupChannels();
  Log("After Setup Channels");
  Log("Before KvSkins_ComboBox_ToSkin");
  Log("After  KvSkins_ComboBox_ToSkin");
}

void TFrmKvMain::CreatePanels() {
  if (DmKv_COM_Commander) {
    auto panel = new TFrmLvx_Connect(DmKv_COM_Commander, DmKv_COM_Commander->COMManager);
    KvForm_CreateDocked(panel, cxGroupBoxConnect);
    cxGroupBoxConnect->setFixedHeight(panel->sizeHint().height() + 6);
  }
  const TKvViewMakers& makers = KvViewMakers();
  FrmDxTable = DockView<TKvTableView>(makers.Table, cxGroupBoxDataTable);
  FrmDxChart = DockView<TKvChartView>(makers.Chart, cxGroupBox_Chart);
  FrmDxLvxDisplay = DockView<TKvDisplayView>(makers.Display, cxGroupBoxDisplay);
}

void TFrmKvMain::SetupChannels() {
  if (FrmDxChart) KvChart_SetupChannels(*FrmDxChart);
}

void TFrmKvMain::KvFormStorage1SavePlacement() {
  Log("In FormPlacement");
  if (DmKvBasic) DmKvBasic->SaveDockLayout(this);
  QComboBox* skins = DmKvBasic ? DmKvBasic->KvSkinBarComboAction1->Combo() : nullptr;
  if (!skins) skins = dxBarComboSkins;
  KvFormStorage1->WriteString("Skin", skins->currentText());
  KvFormStorage1->WriteInteger("SkinIdx", skins->currentIndex());
  const TDateTime used = cxDateEditMeter->Date();
  KvFormStorage1->WriteString("UseDT", used == NoDate ? QString() : KvDateTimeToStr(used));
}
