#pragma once
// The module between the serial port and the rest of the program: it opens and closes the
// port, collects received bytes, decodes records, watches that records keep arriving,
// queues status texts from the port thread, reacts to ports vanishing and appearing, and
// runs the simulated instrument.
//
// Threads: SerialRxChar (and with it DecodeRxLine and the OnDataReceived listener) runs on
// the port's thread; everything else on the main thread. FDataLock guards the receive
// buffer and the reading and is never held across a read from the port; the status queue
// has its own lock; flags crossing threads are atomics. Timers are switched from the port
// thread only when their state changes, so a stream of garbage queues no event per byte.
#include <QObject>
#include <QStringList>
#include <atomic>
#include <functional>
#include <mutex>
#include <random>
#include <vector>

#include "KvClock.h"
#include "KvInstrumentPorts.h"
#include "KvMeasurementTable.h"
#include "KvStatusQueue.h"
#include "KvTimerList.h"
#include "KvUniqueData.h"

class TDmKv_COM_Commander;
class TKvRecordingJournal;

using TKvStatusBarEvent = std::function<void(QObject* Sender, const QString& Msg)>;
using TKvDataReceivedEvent =
    std::function<void(QObject* Sender, const QString& strData, const TKvUniqueData& Data)>;
using TKvOnConnectionChangeEvent =
    std::function<void(QObject* Sender, bool Connected, bool bNewPortList)>;
using TKvOnComPortChangeEvent = std::function<void(QObject* Sender, int iPort)>;

class TDmKv_COM_Commander : public QObject {
  Q_OBJECT
 public:
  // The port, the port list and the dialogs belong to the caller and outlive the module.
  TDmKv_COM_Commander(TKvSerialPort* serial, TKvPortList* ports,
                      TKvSerialDialogs* dialogs = nullptr, QObject* owner = nullptr);
  ~TDmKv_COM_Commander() override;

  // Events. Set them on the main thread while no port is open.
  TKvStatusBarEvent OnStatusBarNotify;  // never raised
  TKvDataReceivedEvent OnDataReceived;
  TKvOnConnectionChangeEvent OnConnectionChange;
  TKvOnComPortChangeEvent OnComPortChange;
  std::function<void(QObject* Sender)> OnUpdateDataSet;

  // Operations.
  void DoConnect(bool Act, QString& BtnCap);
  void SetComPort(int iPort);
  int CheckDeviceAvailable();
  void DoSimulateTick();
  // Posts a reading to KvMemTableData; readings that are invalid or come after the
  // instrument stopped sending are ignored. Main thread only.
  void AddData(const TKvUniqueData& dDataCpy);
  void UpdateDataSet();
  void DoStatusBarNotify(const QString& Msg, bool bLog);
  void FireStatusBarNotify(const QString& Msg, bool bLog = true);
  bool DlgComPort();
  bool DlgWinParameter();
  bool DlgExtParameter(const QString& Data);

  // The prepared send path; nothing in the program calls it.
  void SendToTarget(const QString& Data);
  static void TrmBuf_Clear(TKvBuf& buf);
  static void TrmBuf_Delete(TKvBuf& buf, int iCount);
  static void TrmBuf_Append(TKvBuf& bufDst, int posDst, const uint8_t* bufSrc, int lenSrc);
  static QString TrmBuf_ToHex(const TKvBuf& buf, int lenBuf);
  static QString TrmBuf_ToDec(const TKvBuf& buf, int lenBuf);
  static uint16_t TrmBuf_CalcChecksum(const TKvBuf& buf, int iPos);
  static void TrmBuf_Prepare(int command, int bufPos, const uint8_t* data, int dataLen);

  // Handlers of the components.
  void SerialRxChar();         // port thread: bytes are waiting
  void SerialCOMRemoved();     // main thread: the port in use has vanished
  void COMManagerPortAdded();  // main thread: a port has arrived
  void JvTimerList1Events0Timer();
  void FTimerStatusBarTimer();
  void FTimerCheckConnTimer();
  // The file events of the application module (clear the chart, load, save, export).
  void EvFile_Clear(QObject* Sender, const QString& sFileName);
  void EvFile_Load(QObject* Sender, QString& sFileName);
  void EvFile_Save(QObject* Sender, const QString& sFileName, bool& bSaved);
  void EvFile_Export(QObject* Sender, const QString& sFileName, const QString& sFileExt,
                     bool& bSaved);

  // Properties.
  bool IsConnected() const { return FIsConnected.load(); }
  bool IsRecording() const { return FIsRecording.load(); }
  void SetIsRecording(bool on) { FIsRecording.store(on); }
  TDateTime DateMeter() const { return FDateMeter.load(); }
  void SetDateMeter(TDateTime value) { FDateMeter.store(value); }
  TDateTime dtMinTime() const { return FdtMinTime; }
  TDateTime dtMaxTime() const { return FdtMaxTime; }
  bool AllowUpdateDS() const { return FAllowUpdateDS; }

  // A copy of the current reading, taken under the lock.
  TKvUniqueData CurrentData() const;
  int RecTotal() const;
  size_t StatusQueued() const { return FStatusBarNotify.Count(); }
  int64_t RecTotalAll() const { return FRecTotalAll.load(); }

  TKvMeasurementTable KvMemTableData;
  // Where recorded rows are journaled until the document is saved or dropped; set by the
  // owner, nullptr for none.
  TKvRecordingJournal* Journal = nullptr;
  TKvSerialPort* Serial;
  TKvPortList* COMManager;
  TKvSerialDialogs* SerialDialogs;
  TKvTimerList* JvTimerList1;
  TKvTimer* FTimerStatusBar;
  TKvTimer* FTimerCheckConn;

 private:
  // The table's own file beside the settings, a fresh table, and the file events.
  void AttachDocumentHooks();
  void DetachDocumentHooks();
  int DecodeRxLine(int iLen);  // FDataLock held
  int StructuralFailure(const QString& msg);
  void TellConnectionChange(bool bNewPortList);
  static int PortNumberOf(const QString& name);
  // Switches a timer from any thread, queueing nothing when it is already as wanted.
  void SwitchTimer(TKvTimer* timer, std::atomic<bool>& wanted, bool on);

  mutable std::recursive_mutex FDataLock;
  TKvBuf RecBuf{};      // guarded by FDataLock
  int FRecTotal = 0;    // guarded by FDataLock
  TKvUniqueData dData;  // guarded by FDataLock
  TKvBuf TrmBuf{};
  std::atomic<int64_t> FRecTotalAll{0};
  int nrCount = 0;  // guarded by FDataLock
  int ntCount = 0;

  std::atomic<bool> FCheckDataReceived{false};
  std::atomic<bool> FIsConnected{false};
  std::atomic<bool> FIsConnected_Last{false};
  std::atomic<bool> FRecheckConnected{false};
  std::atomic<bool> FIsRecording{false};
  std::atomic<bool> FCheckDevice{false};
  std::atomic<TDateTime> FDateMeter{NoDate};
  bool FPortActive_Last = false;
  bool FAllowUpdateDS = true;
  QStringList FPortsLast;
  TDateTime FdtMinTime = 0;
  TDateTime FdtMaxTime = 0;

  TKvStatusQueue FStatusBarNotify;
  std::atomic<bool> FCheckConnWanted{false};  // what FTimerCheckConn was last told

  std::mt19937 FRandom{std::random_device{}()};
};

// The program-wide instance; nullptr while none exists.
extern TDmKv_COM_Commander* DmKv_COM_Commander;
