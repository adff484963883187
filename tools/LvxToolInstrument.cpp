// lvxtool decode, record, simulate and ports: the instrument link without a window, for
// checking a meter, a captured stream or the port numbering offline.
#include <QCoreApplication>
#include <QDate>
#include <QFile>
#include <cmath>
#include <cstdio>

#include "KvAppServices.h"
#include "KvDateTime.h"
#include "KvGlobalInfo.h"
#include "KvMemErrors.h"
#include "KvPortAssignments.h"
#include "KvPortDevices.h"
#include "KvStreamPort.h"
#include "KvSys_Helper.h"
#include "LvxTool.h"
#include "Serial.h"
#include "UDmKv_COM_Commander.h"

int LvxTool_RecordPort(const QStringList& args, QTextStream& out, QTextStream& err);

namespace {

// Status texts go where the status bar would show them: here, the output, when asked for.
class TConsoleServices : public TKvAppServices {
 public:
  TConsoleServices(QTextStream& out, bool show) : FOut(out), FShow(show) {}
  void DoStatusBarNotify(const QString& msg, bool) override {
    if (FShow) FOut << "status: " << msg << "\n";
  }
  bool IsModified() const override { return false; }
  void SetIsModified(bool) override {}
  bool IsFileLoaded() const override { return false; }
  void SetIsFileLoaded(bool) override {}

 private:
  QTextStream& FOut;
  bool FShow;
};

// An empty port list: the tools never open a device.
class TNoPorts : public TKvPortList {
 public:
  QStringList Ports() const override { return {}; }
  bool PortExists(int) const override { return false; }
  void CheckPorts(int) override {}
};

QString ReadingLine(const TKvUniqueData& d) {
  QString line = FormatDateTime("yyyy-mm-dd", d.dtDate) + " " +
                 FormatDateTime("hh:nn:ss", d.dtTime - std::trunc(d.dtTime)) + " " +
                 QString::number(d.dVal, 'f', 1) + " dB " + (d.bA ? "A" : "C") + " " +
                 (d.bSlow ? "SLOW" : "FAST") + " " +
                 QString("%1-%2").arg(qRound(d.dLo)).arg(qRound(d.dHi));
  if (d.bMax) line += " MAX";
  if (d.bOver) line += " OVER";
  if (d.bUnder) line += " UNDER";
  if (!d.bValid) line += " INVALID";
  if (!d.bLive) line += " NOT-LIVE";
  return line;
}

bool OpenInput(QFile& in, const QString& file, const char* command, QTextStream& err) {
  const bool opened = file == "-" ? in.open(stdin, QIODevice::ReadOnly)
                                  : (in.setFileName(file), in.open(QIODevice::ReadOnly));
  if (!opened)
    err << "lvxtool " << command << ": cannot read " << file << ": " << in.errorString() << "\n";
  return opened;
}

// Hands the stream to the commander as receive events of chunk bytes each. The status timer
// never runs here, so the queue is flushed after each event, as the timer would between them.
bool Replay(QFile& in, int chunk, TKvStreamPort& port, TDmKv_COM_Commander& commander) {
  for (;;) {
    const QByteArray bytes = in.read(chunk);
    if (bytes.isEmpty()) break;
    port.Push(bytes);
    commander.SerialRxChar();
    commander.FTimerStatusBarTimer();
  }
  return in.error() == QFileDevice::NoError || in.atEnd();
}

int Decode(const QStringList& args, QTextStream& out, QTextStream& err) {
  bool memo = false;
  int chunk = 1;
  QString file;
  for (int i = 0; i < args.size(); ++i) {
    if (args[i] == "--memo") {
      memo = true;
    } else if (args[i] == "--chunk" && i + 1 < args.size()) {
      bool ok = false;
      chunk = args[++i].toInt(&ok);
      if (!ok || chunk < 1) {
        err << "lvxtool decode: --chunk needs a whole number of at least 1\n";
        return 2;
      }
    } else if (file.isEmpty()) {
      file = args[i];
    } else {
      err << "usage: lvxtool decode [--memo] [--chunk N] FILE|-\n";
      return 2;
    }
  }
  if (file.isEmpty()) {
    err << "usage: lvxtool decode [--memo] [--chunk N] FILE|-\n";
    return 2;
  }
  QFile in;
  const bool opened = file == "-" ? in.open(stdin, QIODevice::ReadOnly)
                                  : (in.setFileName(file), in.open(QIODevice::ReadOnly));
  if (!opened) {
    err << "lvxtool decode: cannot read " << file << ": " << in.errorString() << "\n";
    return 2;
  }

  TConsoleServices services(out, memo);
  KvAppServices_Install(&services);
  TKvStreamPort port;
  TNoPorts noPorts;
  TDmKv_COM_Commander commander(&port, &noPorts);
  commander.OnDataReceived = [&](QObject*, const QString& strData, const TKvUniqueData& data) {
    if (memo) {
      // Texts queued while this record was decoded come first, as they were produced first.
      commander.FTimerStatusBarTimer();
      out << strData.section("\r\n", 0, 0) << "\n" << strData.section("\r\n", 1) << "\n";
    } else {
      out << ReadingLine(data) << "\n";
    }
  };
  const bool complete = Replay(in, chunk, port, commander);
  KvAppServices_Install(nullptr);
  if (!complete) {
    err << "lvxtool decode: cannot read " << file << ": " << in.errorString() << "\n";
    return 2;
  }
  return 0;
}

int Record(const QStringList& args, QTextStream& out, QTextStream& err) {
  if (args.contains("--port")) return LvxTool_RecordPort(args, out, err);
  const char* usage = "usage: lvxtool record [--date-override YYYY-MM-DD] IN.bin OUT.dat\n";
  TDateTime dateOverride = NoDate;
  QStringList files;
  for (int i = 0; i < args.size(); ++i) {
    if (args[i] == "--date-override" && i + 1 < args.size()) {
      const QDate d = QDate::fromString(args[++i], Qt::ISODate);
      if (!d.isValid() || !TryEncodeDate(d.year(), d.month(), d.day(), dateOverride)) {
        err << "lvxtool record: not a date: " << args[i] << "\n";
        return 2;
      }
    } else {
      files << args[i];
    }
  }
  if (files.size() != 2) {
    err << usage;
    return 2;
  }
  QFile in;
  if (!OpenInput(in, files[0], "record", err)) return 2;

  TKvStreamPort port;
  TNoPorts noPorts;
  TDmKv_COM_Commander commander(&port, &noPorts);
  commander.SetDateMeter(dateOverride);
  commander.SetIsRecording(true);
  // As the main window does: every delivered reading is offered to the table while recording.
  commander.OnDataReceived = [&](QObject*, const QString&, const TKvUniqueData& data) {
    if (commander.IsRecording()) commander.AddData(data);
  };
  if (!Replay(in, 1, port, commander)) {
    err << "lvxtool record: cannot read " << files[0] << ": " << in.errorString() << "\n";
    return 2;
  }
  try {
    commander.KvMemTableData.SaveToFile(files[1], 2);
  } catch (const EKvMemError& e) {
    err << "lvxtool record: " << e.Message() << "\n";
    return 2;
  }
  return 0;
}

int Simulate(const QStringList& args, QTextStream& out, QTextStream& err) {
  int count = -1;
  for (int i = 0; i < args.size(); ++i) {
    bool ok = false;
    if (args[i] == "--count" && i + 1 < args.size() && (count = args[++i].toInt(&ok), ok) &&
        count > 0)
      continue;
    err << "usage: lvxtool simulate [--count N]\n";
    return 2;
  }
  TKvStreamPort port;
  TNoPorts noPorts;
  TDmKv_COM_Commander commander(&port, &noPorts);
  int shown = 0;
  commander.OnDataReceived = [&](QObject*, const QString&, const TKvUniqueData& data) {
    if (!data.bConnected) return;
    out << ReadingLine(data) << "\n";
    out.flush();
    if (count > 0 && ++shown >= count) QCoreApplication::quit();
  };
  TKvTimer tick(nullptr, 1000);
  tick.OnTimer = [&] {
    tick.SetEnabled(false);
    commander.DoSimulateTick();
    tick.SetEnabled(true);
  };
  tick.SetEnabled(true);
  return QCoreApplication::exec();
}

// The ports as LvxReader numbers them; numbering a device for the first time keeps its number
// for the program too.
int Ports(const QStringList& args, QTextStream& out, QTextStream& err) {
  if (!args.isEmpty()) {
    err << "usage: lvxtool ports\n";
    return 2;
  }
  // The program's folders, where its numbering file lives.
  KvSys_AppFolders_Set(KvGlobalInfo().strAppFolder_Group, KvGlobalInfo().strAppFolder_SubPath);
  TKvPortAssignments assignments;
  TKvUdevPortDevices devices(assignments.VirtualDevices());
  TCOMManager manager(&devices, &assignments);
  manager.CheckPorts(TCOMManager::MaxPort);
  for (const QString& name : manager.Ports()) {
    const int port = name.mid(3).toInt();
    out << qSetFieldWidth(6) << Qt::left << name << qSetFieldWidth(0) << manager.DevicePath(port)
        << "  " << manager.DeviceName(port) << "\n";
  }
  if (manager.Ports().isEmpty()) out << "no serial ports\n";
  return 0;
}

TLvxToolRegistration decodeCommand(
    {"decode", "decode [--memo] [--chunk N] FILE|-", Decode, false,
     "Feeds a captured byte stream (FILE, or standard input for -) to the decoder as the\n"
     "serial line would and prints one line per reading.\n\n"
     "  --memo     print the raw and decoded memo lines and the status texts instead\n"
     "  --chunk N  bytes per receive event (default 1)\n"});
TLvxToolRegistration recordCommand(
    {"record",
     "record [--date-override YYYY-MM-DD] [--port DEVICE [--duration SECONDS]] [IN.bin] OUT.dat",
     Record, false,
     "Records every reading of the captured stream IN.bin that the reader would record and\n"
     "saves the document as OUT.dat (lvxtool record IN.bin OUT.dat).\n\n"
     "With --port it records from a serial device instead (lvxtool record --port DEVICE\n"
     "OUT.dat) until SIGINT or SIGTERM: every reading is journaled at once, the document is\n"
     "saved every ten minutes and at the end; an unplugged device is waited for at the same\n"
     "path. An existing OUT.dat is continued, after the journal a crash left is recovered.\n\n"
     "  --date-override YYYY-MM-DD  record the readings under this date\n"
     "  --port DEVICE               the serial device to record from, e.g. /dev/ttyUSB0\n"
     "  --duration SECONDS          with --port: stop after this many seconds\n"});
TLvxToolRegistration simulateCommand(
    {"simulate", "simulate [--count N]", Simulate, false,
     "Runs the simulated instrument and prints one reading a second.\n\n"
     "  --count N  stop after N readings (default: run until interrupted)\n"});
TLvxToolRegistration portsCommand(
    {"ports", "ports", Ports, false,
     "Lists the serial ports as the reader numbers them: COM number, device path and the\n"
     "device's name.\n"});
}  // namespace
