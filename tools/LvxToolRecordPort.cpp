// lvxtool record --port: the headless logger. It records from a serial device with the
// program's own port engine and commander, journals every reading, saves the document every
// ten minutes, at the end of the duration and on SIGINT or SIGTERM, rides out an unplug of
// the device and, started again after a crash, recovers the journal into the document first.
#include <fcntl.h>
#include <unistd.h>

#include <QCoreApplication>
#include <QCryptographicHash>
#include <QDate>
#include <QFile>
#include <QFileInfo>
#include <QSocketNotifier>
#include <csignal>

#include "KvAppServices.h"
#include "KvClock.h"
#include "KvGlobalInfo.h"
#include "KvJournalFile.h"
#include "KvMemErrors.h"
#include "KvPortAssignments.h"
#include "KvReadingHandOver.h"
#include "KvRecordingJournal.h"
#include "KvSerialCommander.h"
#include "KvSys_Helper.h"
#include "UDmKv_COM_Commander.h"

int LvxTool_RecordPort(const QStringList& args, QTextStream& out, QTextStream& err);

namespace {
constexpr int kSaveEveryMs = 10 * 60 * 1000;
constexpr int kDeviceCheckMs = 1000;

// The one device to record from, listed while its path exists.
class TLoggedDevice : public TKvPortDeviceSource {
 public:
  explicit TLoggedDevice(QString path) : FPath(std::move(path)) {}
  std::vector<TKvPortDevice> Devices() override {
    if (!QFileInfo::exists(FPath)) return {};
    return {{FPath, FPath, QStringLiteral("recorded device")}};
  }

 private:
  QString FPath;
};

// The headless program keeps no document flags and shows no status bar.
class TQuietServices : public TKvAppServices {
 public:
  void DoStatusBarNotify(const QString&, bool) override {}
  bool IsModified() const override { return false; }
  void SetIsModified(bool) override {}
  bool IsFileLoaded() const override { return false; }
  void SetIsFileLoaded(bool) override {}
};

int gSignalPipe[2] = {-1, -1};
void OnStopSignal(int) {
  const char c = 1;
  [[maybe_unused]] const ssize_t n = ::write(gSignalPipe[1], &c, 1);
}

QString Stamp() {
  return FormatDateTime("yyyy-mm-dd hh:nn:ss", Now());
}

class TPortLogger {
 public:
  TPortLogger(QString device, QString outFile, TDateTime dateOverride, QTextStream& err)
      : FDevice(std::move(device)),
        FOutFile(std::move(outFile)),
        FErr(err),
        FSource(FDevice),
        FManager(&FSource, &FAssignments),
        FSerial(&FManager),
        FCommander(&FSerial, &FManager),
        FJournal(JournalFor(FOutFile)) {
    KvSerial_SetupForCommander(FSerial, FCommander);
    // The program would ask the user; the logger says it and waits for the device.
    FSerial.OnCOMRemoved = [this] { Unplugged(); };
    FCommander.Journal = &FJournal;
    FCommander.SetDateMeter(dateOverride);
    FCommander.SetIsRecording(true);
    FCommander.OnDataReceived = [this](QObject*, const QString&, const TKvUniqueData& d) {
      if (FHandOver.Push(d))
        QMetaObject::invokeMethod(
            &FWake, [this] { Drain(); }, Qt::QueuedConnection);
    };
    FJournal.WaitWhenFull = true;
    FJournal.OnProblem = [this](const QString& msg) { Say(msg); };
    FDeviceCheck.OnTimer = [this] { CheckDevice(); };
    FSaveTimer.OnTimer = [this] { Save(); };
  }

  // The document so far and what the journal holds beyond it.
  bool Recover() {
    TKvMeasurementTable& table = FCommander.KvMemTableData;
    try {
      if (QFile::exists(FOutFile)) table.LoadFromFile(FOutFile, 2);
      if (!table.Active()) table.Open();
    } catch (const EKvMemError& e) {
      Say("cannot read " + FOutFile + ": " + e.Message());
      return false;
    }
    if (FJournal.InUseElsewhere()) {
      Say("another recording into " + FOutFile + " is running");
      return false;
    }
    const TKvJournalContent journal = KvJournal_Read(FJournal.FileName());
    // A save that the crash hit before the journal was retired already holds its first rows.
    const uint64_t saved = uint64_t(table.RecordCount());
    const size_t skip = saved > journal.Base ? size_t(saved - journal.Base) : 0;
    size_t recovered = 0;
    for (size_t i = skip; i < journal.Readings.size(); ++i, ++recovered)
      table.PostReading(journal.Readings[i]);
    if (recovered > 0) Say(QString("recovered %1 readings from the journal").arg(recovered));
    if (journal.Exists) return Save();
    FJournal.Base = saved;
    return true;
  }

  int Run(double durationSeconds) {
    FSaveTimer.SetEnabled(true);
    FDeviceCheck.SetEnabled(true);
    CheckDevice();
    TKvTimer stop(nullptr, int(durationSeconds * 1000), true);
    stop.OnTimer = [] { QCoreApplication::quit(); };
    if (durationSeconds > 0) stop.SetEnabled(true);
    QSocketNotifier stopSignals(gSignalPipe[0], QSocketNotifier::Read);
    QObject::connect(&stopSignals, &QSocketNotifier::activated, [] { QCoreApplication::quit(); });
    QCoreApplication::exec();
    FDeviceCheck.SetEnabled(false);
    ClosePort();
    return Save() ? 0 : 1;
  }

 private:
  static QString JournalFor(const QString& outFile) {
    const QByteArray id = QCryptographicHash::hash(QFileInfo(outFile).absoluteFilePath().toUtf8(),
                                                   QCryptographicHash::Sha1);
    return KvSys_GetPath("USERAPPDATA", true) + "/lvxtool_record_" + id.toHex().left(16) + ".jnl";
  }

  void Say(const QString& msg) {
    FErr << "lvxtool record: " << msg << "\n";
    FErr.flush();
  }

  void Drain() {
    for (const TKvUniqueData& d : FHandOver.Take()) FCommander.AddData(d);
  }

  // Written beside the document and renamed over it, so a crash mid-save leaves the last
  // good one; then the journal, whose readings the document now holds, starts afresh.
  bool Save() {
    Drain();
    const QString temp = FOutFile + ".part";
    try {
      FCommander.KvMemTableData.SaveToFile(temp, 2);
    } catch (const EKvMemError& e) {
      Say("cannot write " + temp + ": " + e.Message());
      return false;
    }
    if (::rename(QFile::encodeName(temp).constData(), QFile::encodeName(FOutFile).constData())) {
      Say("cannot write " + FOutFile);
      return false;
    }
    FJournal.Retire();
    FJournal.Base = uint64_t(FCommander.KvMemTableData.RecordCount());
    return true;
  }

  void OpenPort() {
    FManager.RecheckPorts();
    const QStringList ports = FManager.Ports();
    if (ports.isEmpty()) return;
    FSerial.SetCOMPort(ports.first().mid(3).toInt());
    FHandOver.Resume();
    FSerial.SetActive(true);
    if (!FSerial.Active()) return;
    FOpenedTarget = QFileInfo(FDevice).canonicalFilePath();
    Say((FEverOpened ? "recording again from " : "recording from ") + FDevice + " (" +
        FOpenedTarget + ") at " + Stamp());
    FEverOpened = true;
  }

  void ClosePort() {
    FHandOver.Stop();
    FSerial.SetActive(false);
    Drain();
  }

  // Each second: open the device when it is there, and notice a link that now points at
  // another device, which is an unplug and a re-plug the port itself may not see.
  void CheckDevice() {
    if (FSerial.Active()) {
      if (QFileInfo(FDevice).canonicalFilePath() == FOpenedTarget) return;
      ClosePort();
      Say(FDevice + " now leads to another device; reconnecting");
    }
    OpenPort();
  }

  void Unplugged() {
    ClosePort();
    Say(FDevice + " was unplugged at " + Stamp() + "; waiting for it to come back");
  }

  QString FDevice, FOutFile, FOpenedTarget;
  QTextStream& FErr;
  bool FEverOpened = false;
  TKvPortAssignments FAssignments;
  TLoggedDevice FSource;
  TCOMManager FManager;
  TSerial FSerial;
  TDmKv_COM_Commander FCommander;
  TKvRecordingJournal FJournal;
  TKvReadingHandOver FHandOver;
  QObject FWake;
  TKvTimer FDeviceCheck{nullptr, kDeviceCheckMs};
  TKvTimer FSaveTimer{nullptr, kSaveEveryMs};
};
}  // namespace

int LvxTool_RecordPort(const QStringList& args, QTextStream&, QTextStream& err) {
  const char* usage =
      "usage: lvxtool record [--date-override YYYY-MM-DD] --port DEVICE [--duration SECONDS] "
      "OUT.dat\n";
  QString device, outFile;
  double duration = 0;
  TDateTime dateOverride = NoDate;
  for (int i = 0; i < args.size(); ++i) {
    const bool hasValue = i + 1 < args.size();
    if (args[i] == "--port" && hasValue) {
      device = args[++i];
    } else if (args[i] == "--duration" && hasValue) {
      bool ok = false;
      duration = args[++i].toDouble(&ok);
      if (!ok || duration <= 0) {
        err << "lvxtool record: --duration needs a number of seconds above 0\n";
        return 2;
      }
    } else if (args[i] == "--date-override" && hasValue) {
      const QDate d = QDate::fromString(args[++i], Qt::ISODate);
      if (!d.isValid() || !TryEncodeDate(d.year(), d.month(), d.day(), dateOverride)) {
        err << "lvxtool record: not a date: " << args[i] << "\n";
        return 2;
      }
    } else if (outFile.isEmpty()) {
      outFile = args[i];
    } else {
      err << usage;
      return 2;
    }
  }
  if (device.isEmpty() || outFile.isEmpty()) {
    err << usage;
    return 2;
  }
  // The program's folders, where the journal and the port numbering live.
  KvSys_AppFolders_Set(KvGlobalInfo().strAppFolder_Group, KvGlobalInfo().strAppFolder_SubPath);
  TQuietServices services;
  KvAppServices_Install(&services);
  if (::pipe2(gSignalPipe, O_CLOEXEC) == 0) {
    std::signal(SIGINT, OnStopSignal);
    std::signal(SIGTERM, OnStopSignal);
  }
  int rc = 2;
  {
    TPortLogger logger(device, outFile, dateOverride, err);
    if (logger.Recover()) rc = logger.Run(duration);
  }
  KvAppServices_Install(nullptr);
  return rc;
}
