#include "UDxLvx_Connect.h"

#include <QComboBox>
#include <QGridLayout>
#include <QLabel>
#include <QPainter>
#include <QPushButton>
#include <QStylePainter>
#include <QToolButton>

#include "KvFormStorage.h"
#include "KvLib.h"
#include "KvSys_Helper.h"
#include "UDmKvBasic.h"
#include "UDmKv_COM_Commander.h"
#include "UKvAbout.h"

TFrmLvx_Connect* FrmLvx_Connect = nullptr;

void TKvComboBox::paintEvent(QPaintEvent*) {
  QStylePainter painter(this);
  QStyleOptionComboBox option;
  initStyleOption(&option);
  option.currentText = FEditText;
  option.currentIcon = QIcon();
  painter.drawComplexControl(QStyle::CC_ComboBox, option);
  painter.drawControl(QStyle::CE_ComboBoxLabel, option);
}

namespace {
const char* const kConnect = "&Connect";
const char* const kDisconnect = "Dis&connect";
const char* const kSearch = "&Search";
const char* const kRedStyle = "background-color: #ff0000;";
enum { evSearch = 0, evColour = 1, evSplashA = 2, evSplashB = 3, evSimulate = 4 };

// Image 3: not recording, a hollow grey dot; image 5: recording, a filled red dot.
QIcon RecordIcon(int index) {
  QPixmap pm(20, 20);
  pm.fill(Qt::transparent);
  QPainter p(&pm);
  p.setRenderHint(QPainter::Antialiasing);
  p.setPen(QPen(index == 5 ? QColor(150, 0, 0) : QColor(110, 110, 110), 2));
  p.setBrush(index == 5 ? QColor(230, 20, 20) : QColor(225, 225, 225));
  p.drawEllipse(QRectF(3, 3, 14, 14));
  return QIcon(pm);
}
}  // namespace

TFrmLvx_Connect::TFrmLvx_Connect(TDmKv_COM_Commander* commander, TKvPortList* ports,
                                 QWidget* parent)
    : QWidget(parent), FCommander(commander), FPorts(ports) {
  setObjectName("FrmLvx_Connect");
  setWindowTitle("Phonara: Connection");
  FrmLvx_Connect = this;
  Log("In Create");

  cxButtonSeek = new QPushButton(kSearch, this);
  cxButtonSeek->setObjectName("cxButtonSeek");
  cxButtonSeek->setToolTip(
      "Automatic search the instrument on all available COM ports. !! The instrument must be in "
      "SENDING mode for this feature.");
  cxComboBoxCOM = new TKvComboBox(this);
  cxComboBoxCOM->setObjectName("cxComboBoxCOM");
  cxComboBoxCOM->setToolTip(
      "Selection of the actual COM port where the instrument should be plugged");
  cxComboBoxCOM->setMinimumContentsLength(22);
  cxButtonConnect = new QPushButton(kConnect, this);
  cxButtonConnect->setObjectName("cxButtonConnect");
  cxButtonConnect->setToolTip(
      "Connect or disconnect to the plugged instrument at the selected COM port");
  dxLayoutItemRecordCaption = new QLabel("Record:", this);
  cxButtonRecordData = new QToolButton(this);
  cxButtonRecordData->setObjectName("cxButtonRecordData");
  cxButtonRecordData->setToolTip("Enables or disables data recording to table and chart");
  cxButtonRecordData->setAutoRaise(true);
  cxButtonRecordData->setEnabled(false);
  SetRecordImage(3);

  auto* grid = new QGridLayout(this);
  grid->setContentsMargins(4, 4, 4, 4);
  grid->addWidget(cxButtonSeek, 0, 0);
  grid->addWidget(cxComboBoxCOM, 0, 1);
  grid->addWidget(cxButtonConnect, 0, 2);
  grid->addWidget(dxLayoutItemRecordCaption, 0, 3, Qt::AlignRight);
  grid->addWidget(cxButtonRecordData, 0, 4);
  grid->setColumnStretch(1, 1);

  JvTimerList1 = new TKvTimerList(this);
  JvTimerList1->setObjectName("JvTimerList1");
  const struct {
    int Interval;
    void (TFrmLvx_Connect::*Handler)();
  } events[] = {{200, &TFrmLvx_Connect::JvTimerList1Events0Timer},
                {3500, &TFrmLvx_Connect::JvTimerList1Events1Timer},
                {2000, &TFrmLvx_Connect::JvTimerList1Events2Timer},
                {2000, &TFrmLvx_Connect::JvTimerList1Events3Timer},
                {1000, &TFrmLvx_Connect::JvTimerList1Events4Timer}};
  for (const auto& e : events)
    JvTimerList1->AddEvent(e.Interval)->OnTimer = [this, h = e.Handler] { (this->*h)(); };

  KvFormStorage1 = new TKvFormStorage(this);
  KvFormStorage1->StoredProps << "cxComboBoxCOM.ItemIndex";
  KvFormStorage1->OnSavePlacement = [this] { KvFormStorage1SavePlacement(); };
  KvFormStorage1->OnRestorePlacement = [this] { KvFormStorage1RestorePlacement(); };

  connect(cxButtonConnect, &QPushButton::clicked, this, [this] { cxButtonConnectClick(); });
  connect(cxButtonSeek, &QPushButton::clicked, this, [this] { cxButtonSeekClick(); });
  connect(cxButtonRecordData, &QToolButton::clicked, this, [this] { cxButtonRecordDataClick(); });
  connect(cxComboBoxCOM, &QComboBox::currentIndexChanged, this,
          [this] { cxComboBoxCOMPropertiesChange(cxComboBoxCOM); });

  FCommander->OnConnectionChange = [this](QObject* s, bool c, bool n) {
    EvConnectionChange(s, c, n);
  };
  FormCreate();
}

TFrmLvx_Connect::~TFrmLvx_Connect() {
  FormDestroy();
  if (FCommander) FCommander->OnConnectionChange = nullptr;
  if (FrmLvx_Connect == this) FrmLvx_Connect = nullptr;
}

void TFrmLvx_Connect::FormCreate() {
  Log("In FormCreate");
  Log("Before KvLib_FormStorage_FormCreate");
  KvLib_FormStorage_FormCreate(DmKvBasic, KvFormStorage1);
  Log("Before Enum Ports");
  EnumComPorts();
}

void TFrmLvx_Connect::FormDestroy() {
  Log("in FormDestroy");
  KvLib_FormStorage_FormDestroy(KvFormStorage1);
}

// ---------------------------------------------------------------------------------------
// Helpers

void TFrmLvx_Connect::Log(const QString& text) {
  KvSysHelper().SysLog_Add(this, "", text);
}

void TFrmLvx_Connect::Status(const QString& text) {
  FCommander->DoStatusBarNotify(text, false);
}

int TFrmLvx_Connect::PortNumber() const {
  return FCommander->Serial->COMPort();
}

QString TFrmLvx_Connect::ComN() const {
  return QString("COM%1").arg(PortNumber());
}

bool TFrmLvx_Connect::IsSimulationSelected() const {
  const int i = cxComboBoxCOM->currentIndex();
  return i >= 0 && i < cxComboBoxCOM->count() && cxComboBoxCOM->itemData(i).toInt() == 1;
}

bool TFrmLvx_Connect::IsRed(const QPushButton* button) {
  return button->styleSheet().contains("#ff0000");
}

void TFrmLvx_Connect::SetRed(QPushButton* button, bool red) {
  button->setStyleSheet(red ? QString("QPushButton { %1 }").arg(kRedStyle) : QString());
}

void TFrmLvx_Connect::SetRecordImage(int index) {
  FRecordImage = index;
  cxButtonRecordData->setIcon(RecordIcon(index));
  cxButtonRecordData->setProperty("Tag", index);
}

void TFrmLvx_Connect::PortByIndex(int index) {
  const QStringList ports = FPorts->Ports();
  bool ok = false;
  const int port = index >= 0 && index < ports.size() ? ports[index].mid(3).toInt(&ok) : 0;
  FCommander->Serial->SetCOMPort(ok ? port : 0);
}

void TFrmLvx_Connect::SelectPort(int iPort) {
  if (iPort < 1 || iPort > 99 || !FPorts->PortExists(iPort)) return;
  cxComboBoxCOM->setCurrentIndex(FPorts->Port2Index(iPort));
  FCommander->Serial->SetCOMPort(iPort);
}

int TFrmLvx_Connect::IndexFromPort(int iPort) const {
  const QStringList ports = FPorts->Ports();
  for (int i = 0; i < ports.size(); ++i)
    if (ports[i].mid(3).toInt() == iPort) return i;
  return -1;
}

void TFrmLvx_Connect::EnumComPorts() {
  const bool inside = FInside;
  FInside = true;  // rebuilding the list must not select ports on the way
  cxComboBoxCOM->clear();
  for (const QString& name : FPorts->Ports()) {
    const int port = name.mid(3).toInt();
    const QString friendly = FPorts->FriendlyName(port);
    cxComboBoxCOM->addItem(QString::asprintf("COM%2d - ", port) + friendly, 0);
  }
  if (cxComboBoxCOM->count() == 0) cxComboBoxCOM->addItem("<none>", 0);
  cxComboBoxCOM->addItem("Simulation", 1);
  FInside = inside;
}

// ---------------------------------------------------------------------------------------
// Buttons

void TFrmLvx_Connect::cxButtonConnectClick() {
  const bool simulated = IsSimulationSelected();
  SetRed(cxButtonSeek, false);
  TKvTimerList& timers = *JvTimerList1;

  if (cxButtonConnect->text() != kConnect) {
    QString cap;
    if (!simulated) FCommander->DoConnect(false, cap);
    cxButtonConnect->setText(kConnect);
    SetRed(cxButtonConnect, false);
    SetRecordImage(3);
    FCommander->SetIsRecording(false);
    cxComboBoxCOM->setEnabled(true);
    cxButtonRecordData->setEnabled(false);
    cxButtonSeek->setEnabled(true);
    timers[evColour]->SetEnabled(false);
    timers[evSimulate]->SetEnabled(false);
    return;
  }

  if (!simulated) {
    QString cap;
    FCommander->DoConnect(true, cap);
    if (cap.isEmpty()) return;  // the port vanished; the commander has said so
  }
  SetRed(cxButtonConnect, false);
  cxButtonConnect->setText(kDisconnect);
  cxButtonRecordData->setEnabled(true);
  cxComboBoxCOM->setEnabled(false);
  cxButtonSeek->setEnabled(false);
  Status(simulated ? QString("COM simulation checking ...") : ComN() + " checking ...");
  FDevFound = false;
  if (!simulated) {
    if (FCommander->CheckDeviceAvailable() < 0) {
      SetRed(cxButtonConnect, true);
      cxComboBoxCOM->setEnabled(false);
      cxButtonRecordData->setEnabled(true);
      Status(ComN() +
             " opened, instrument not available (not connected to this port or not in SENDING "
             "mode)");
      timers[evColour]->SetEnabled(true);
      timers[evSimulate]->SetEnabled(false);
      return;
    }
    QString cap;
    FCommander->DoConnect(true, cap);
  }
  cxButtonConnect->setText(kDisconnect);
  Status(simulated ? QString("COM simulation  found, instrument available and connected")
                   : ComN() + " found, instrument available and connected");
  cxButtonSeek->setProperty("Tag", 0);
  cxButtonSeek->setText(kSearch);
  cxButtonSeek->setEnabled(false);
  cxButtonConnect->setEnabled(true);
  SetRed(cxButtonConnect, false);
  cxComboBoxCOM->setEnabled(false);
  cxButtonRecordData->setEnabled(true);
  timers[evColour]->SetEnabled(true);
  if (simulated) timers[evSimulate]->SetEnabled(true);
}

void TFrmLvx_Connect::cxButtonRecordDataClick() {
  if (FRecordImage != 3) {
    SetRecordImage(3);
    FCommander->SetIsRecording(false);
    Status(ComN() + " stop recording");
  } else {
    SetRecordImage(5);
    FCommander->SetIsRecording(true);
    Status(ComN() + " started recording to data table ...");
  }
}

void TFrmLvx_Connect::cxButtonSeekClick() {
  TKvTimerList& timers = *JvTimerList1;
  SetRecordImage(3);
  FCommander->SetIsRecording(false);
  SetRed(cxButtonSeek, false);
  SetRed(cxButtonConnect, false);
  timers[evColour]->SetEnabled(false);
  QString cap;
  if (cxButtonSeek->property("Tag").toInt() != 0) {
    cxButtonSeek->setProperty("Tag", 0);
    cxButtonSeek->setText(kSearch);
    cxButtonConnect->setText(kConnect);
    FCommander->DoConnect(false, cap);
    timers[evSearch]->SetEnabled(false);
    cxButtonConnect->setEnabled(true);
    cxComboBoxCOM->setEnabled(true);
    cxButtonRecordData->setEnabled(false);
    Status("COM port search aborted");
    return;
  }
  cxButtonSeek->setProperty("Tag", 1);
  cxButtonSeek->setText("&Search stop");
  cxButtonConnect->setText(kConnect);
  FComFound = -1;
  FDevFound = false;
  FCommander->DoConnect(false, cap);
  cxButtonConnect->setEnabled(false);
  cxComboBoxCOM->setEnabled(false);
  cxButtonRecordData->setEnabled(false);
  timers[evSearch]->SetEnabled(true);
}

// ---------------------------------------------------------------------------------------
// Timers

void TFrmLvx_Connect::JvTimerList1Events0Timer() {
  TKvTimerList& timers = *JvTimerList1;
  timers[evSearch]->SetEnabled(false);
  timers[evSimulate]->SetEnabled(false);
  QString cap;

  if (!FCommander->Serial->Active()) {
    ++FComFound;
    const int count = cxComboBoxCOM->count();
    const int current = cxComboBoxCOM->currentIndex();
    // Never try the simulation entry.
    if (current >= 0 && current < count - 1 && FComFound < count &&
        cxComboBoxCOM->itemData(FComFound).toInt() >= 1)
      FComFound = count;
    if (FComFound < count) {
      cxComboBoxCOM->setCurrentIndex(FComFound);
      PortByIndex(FComFound);
      FCommander->DoConnect(true, cap);
      timers[evSearch]->SetEnabled(true);
      Status(ComN() + " searching ...");
    } else {
      cxButtonSeek->setProperty("Tag", 0);
      cxButtonSeek->setText("&Seek");
      SetRed(cxButtonSeek, true);
      timers[evSearch]->SetEnabled(false);
      cxButtonConnect->setEnabled(true);
      cxComboBoxCOM->setEnabled(true);
      cxButtonRecordData->setEnabled(false);
      Status("COM port search failed, no sending instrument found on any port");
    }
  } else if (FDevFound) {
    Status(ComN() + " checking ...");
    FDevFound = false;
    if (FCommander->CheckDeviceAvailable() < 0) {
      FCommander->DoConnect(false, cap);
      SetRecordImage(3);
      FCommander->SetIsRecording(false);
      if (cxButtonSeek->property("Tag").toInt() != 0) timers[evSearch]->SetEnabled(true);
    } else {
      FCommander->DoConnect(true, cap);
      cxButtonConnect->setText(kDisconnect);
      Status(ComN() + " found, instrument available and connected");
      cxButtonSeek->setProperty("Tag", 0);
      cxButtonSeek->setText(kSearch);
      cxButtonSeek->setEnabled(false);
      cxButtonConnect->setEnabled(true);
      cxComboBoxCOM->setEnabled(false);
      cxButtonRecordData->setEnabled(true);
      timers[evColour]->SetEnabled(true);
    }
  } else {
    cxComboBoxCOM->setCurrentIndex(FComFound);
    FCommander->DoConnect(true, cap);
    Status(ComN() + " found ...");
    FDevFound = true;
    timers[evSearch]->SetEnabled(true);
  }
}

void TFrmLvx_Connect::JvTimerList1Events1Timer() {
  TKvTimer* t = (*JvTimerList1)[evColour];
  t->SetEnabled(false);
  SetRed(cxButtonConnect, !IsSimulationSelected() && !FCommander->IsConnected());
  t->SetEnabled(true);
}

namespace {
bool SplashShowing() {
  TFrmKvAbout* splash = KvBase_SplashForm();
  return splash && splash->isVisible();
}
}  // namespace

void TFrmLvx_Connect::JvTimerList1Events2Timer() {
  (*JvTimerList1)[evSplashA]->SetEnabled(false);
  if (SplashShowing()) (*JvTimerList1)[evSplashA]->SetEnabled(true);
}

void TFrmLvx_Connect::JvTimerList1Events3Timer() {
  (*JvTimerList1)[evSplashB]->SetEnabled(false);
  if (SplashShowing()) (*JvTimerList1)[evSplashB]->SetEnabled(true);
}

void TFrmLvx_Connect::JvTimerList1Events4Timer() {
  TKvTimer* t = (*JvTimerList1)[evSimulate];
  t->SetEnabled(false);
  FCommander->DoSimulateTick();
  t->SetEnabled(true);
}

// ---------------------------------------------------------------------------------------
// Port list and connection changes

void TFrmLvx_Connect::cxComboBoxCOMPropertiesChange(QObject* Sender) {
  if (FInside) return;
  FInside = true;
  if (!IsSimulationSelected()) {
    (*JvTimerList1)[evSimulate]->SetEnabled(false);
    const int i = cxComboBoxCOM->currentIndex();
    if (i >= 0) {
      cxComboBoxCOM->SetEditText(cxComboBoxCOM->itemText(i).left(5));
      const QStringList ports = FPorts->Ports();
      if (Sender && i < ports.size()) SelectPort(ports[i].mid(3).toInt());
    } else {
      cxComboBoxCOM->SetEditText("<none>");
    }
  }
  FInside = false;
}

void TFrmLvx_Connect::EvConnectionChange(QObject*, bool Connected, bool bNewPortList) {
  if (bNewPortList) {
    FInside = true;
    EnumComPorts();
    cxComboBoxCOM->setCurrentIndex(IndexFromPort(PortNumber()));
    FInside = false;
    cxComboBoxCOMPropertiesChange(nullptr);
  }
  cxButtonConnect->setText(Connected ? kDisconnect : kConnect);
  SetRed(cxButtonConnect, false);
  cxComboBoxCOM->setEnabled(!Connected);
  cxButtonRecordData->setEnabled(Connected);
  cxButtonSeek->setEnabled(!Connected);
  (*JvTimerList1)[evColour]->SetEnabled(Connected);
}

// ---------------------------------------------------------------------------------------
// Settings

void TFrmLvx_Connect::KvFormStorage1RestorePlacement() {
  Log("In RestorePlacement");
  iLastCom = KvFormStorage1->ReadInteger("SerialCom", 0);
  const QStringList ports = FPorts->Ports();
  if (iLastCom < 1 && !ports.isEmpty()) {
    bool ok = false;
    iLastCom = ports.first().mid(3).toInt(&ok);
    if (!ok) iLastCom = 0;
  }
  if (iLastCom < 1) {
    Log("Probably no COM ports at all available");
    (*JvTimerList1)[evSplashB]->SetEnabled(true);
    return;
  }
  if (!FPorts->PortExists(iLastCom)) {
    Log(QString("Last COM port %1 doesnt exist").arg(iLastCom));
    (*JvTimerList1)[evSplashA]->SetEnabled(true);
    return;
  }
  FCommander->Serial->SetCOMPort(KvFormStorage1->ReadInteger("SerialCom", PortNumber()));
  FInside = true;
  cxComboBoxCOM->setCurrentIndex(FPorts->Port2Index(PortNumber()));
  FInside = false;
  cxComboBoxCOMPropertiesChange(nullptr);
  if (KvFormStorage1->ReadBoolean("SerialConn", false)) cxButtonConnectClick();
  SetRecordImage(3);
  if (KvFormStorage1->ReadBoolean("SerialRecv", false)) cxButtonRecordDataClick();
  Log(QString("Last COM port %1 selected").arg(PortNumber()));
}

void TFrmLvx_Connect::KvFormStorage1SavePlacement() {
  Log("In FormPlacement");
  KvFormStorage1->WriteInteger("SerialCom", PortNumber());
  KvFormStorage1->WriteBoolean("SerialConn", FCommander->Serial->Active());
  KvFormStorage1->WriteBoolean("SerialRecv", FCommander->IsRecording());
}
