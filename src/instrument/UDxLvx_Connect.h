#pragma once
// The connection panel: choose a port, connect, search all ports for a sending instrument,
// switch recording. What "connected" means to the user lives here; the commander under it
// only opens ports and reports.
#include <QComboBox>
#include <QWidget>

#include "KvTimerList.h"

class QLabel;
class QPushButton;
class QToolButton;
class TDmKv_COM_Commander;
class TKvFormStorage;
class TKvPortList;

// A drop-down list whose closed face shows an edit text of its own (the port's short name)
// rather than the selected entry's full text. Choosing an entry shows its text first; the panel's
// change handler may then shorten it.
class TKvComboBox : public QComboBox {
  Q_OBJECT
 public:
  explicit TKvComboBox(QWidget* parent = nullptr) : QComboBox(parent) {
    connect(this, &QComboBox::currentIndexChanged, this,
            [this](int i) { SetEditText(i >= 0 ? itemText(i) : QString("<none>")); });
  }
  QString EditText() const { return FEditText; }
  void SetEditText(const QString& text) {
    FEditText = text;
    update();
  }

 protected:
  void paintEvent(QPaintEvent* event) override;

 private:
  QString FEditText = "<none>";
};

class TFrmLvx_Connect : public QWidget {
  Q_OBJECT
 public:
  TFrmLvx_Connect(TDmKv_COM_Commander* commander, TKvPortList* ports, QWidget* parent = nullptr);
  ~TFrmLvx_Connect() override;

  int IndexFromPort(int iPort) const;
  void EnumComPorts();

  // Handlers, named after their component and event.
  void cxButtonConnectClick();
  void cxButtonSeekClick();
  void cxButtonRecordDataClick();
  void cxComboBoxCOMPropertiesChange(QObject* Sender);
  void JvTimerList1Events0Timer();
  void JvTimerList1Events1Timer();
  void JvTimerList1Events2Timer();
  void JvTimerList1Events3Timer();
  void JvTimerList1Events4Timer();
  void KvFormStorage1SavePlacement();
  void KvFormStorage1RestorePlacement();
  void EvConnectionChange(QObject* Sender, bool Connected, bool bNewPortList);
  void FormCreate();
  void FormDestroy();

  // Whether a button shows the warning colour.
  static bool IsRed(const QPushButton* button);
  // The record button's image index: 3 not recording, 5 recording.
  int RecordImageIndex() const { return FRecordImage; }

  QPushButton* cxButtonSeek;
  TKvComboBox* cxComboBoxCOM;
  QPushButton* cxButtonConnect;
  QToolButton* cxButtonRecordData;
  QLabel* dxLayoutItemRecordCaption;
  TKvTimerList* JvTimerList1;
  TKvFormStorage* KvFormStorage1;

  int FComFound = -1;
  bool FDevFound = false;
  bool FInside = false;
  int iLastCom = 0;

 private:
  bool IsSimulationSelected() const;
  int PortNumber() const;
  QString ComN() const;
  void Status(const QString& text);
  void Log(const QString& text);
  void SetRecordImage(int index);
  void SetRed(QPushButton* button, bool red);
  void SelectPort(int iPort);
  void PortByIndex(int index);

  TDmKv_COM_Commander* FCommander;
  TKvPortList* FPorts;
  int FRecordImage = 3;
};

extern TFrmLvx_Connect* FrmLvx_Connect;
