// What garbage on the line costs in memory: a whole day of it at the instrument's 2400 baud
// with the status queue flushed every 100 ms into the log, and a flood at full speed while
// the main thread flushes nothing. Reported as counters: the growth of the resident set in
// megabytes, the log's lines and the texts left queued.
#include <benchmark/benchmark.h>
#include <unistd.h>

#include <QFile>
#include <thread>

#include "KvAppServices.h"
#include "KvStreamPort.h"
#include "KvSys_Helper.h"
#include "UDmKv_COM_Commander.h"

namespace {
class TNoPorts : public TKvPortList {
 public:
  QStringList Ports() const override { return {}; }
  bool PortExists(int) const override { return false; }
  void CheckPorts(int) override {}
};

// Status texts go to the log, as the program's status bar does with bLog set.
class TLoggingServices : public TKvAppServices {
 public:
  void DoStatusBarNotify(const QString& msg, bool bLog) override {
    if (bLog) KvSysHelper().SysLog_Add(nullptr, "DoStatusBarNotify", msg);
  }
  bool IsModified() const override { return false; }
  void SetIsModified(bool) override {}
  bool IsFileLoaded() const override { return false; }
  void SetIsFileLoaded(bool) override {}
};

double ResidentMB() {
  QFile statm("/proc/self/statm");
  if (!statm.open(QIODevice::ReadOnly)) return 0;
  const QList<QByteArray> fields = statm.readAll().split(' ');
  return fields.size() > 1 ? fields[1].toDouble() * double(sysconf(_SC_PAGESIZE)) / 1048576.0 : 0;
}

void BM_GarbageDayAt2400Baud(benchmark::State& state) {
  TLoggingServices services;
  KvAppServices_Install(&services);
  KvSysHelper().SysLog_Clear();
  TKvStreamPort port;
  TNoPorts ports;
  TDmKv_COM_Commander commander(&port, &ports);
  const QByteArray tenth(24, char(0x55));  // what 2400 baud brings in 100 ms
  const double before = ResidentMB();
  const long long tenths = 864000;         // one day
  for (auto _ : state)
    for (long long i = 0; i < tenths; ++i) {
      port.Push(tenth);
      commander.SerialRxChar();
      commander.FTimerStatusBarTimer();
    }
  state.counters["rss_growth_MB"] = ResidentMB() - before;
  state.counters["log_lines"] = KvSysHelper().SysLog_Count();
  state.counters["log_dropped"] = double(KvSysHelper().SysLog_Dropped());
  KvAppServices_Install(nullptr);
}
BENCHMARK(BM_GarbageDayAt2400Baud)->Iterations(1)->Unit(benchmark::kSecond);

void BM_GarbageFloodUnflushed(benchmark::State& state) {
  TLoggingServices services;
  KvAppServices_Install(&services);
  TKvStreamPort port;
  TNoPorts ports;
  TDmKv_COM_Commander commander(&port, &ports);
  const double before = ResidentMB();
  const int megabytes = int(state.range(0));
  for (auto _ : state) {
    std::thread portThread([&] {
      const QByteArray noise(65536, char(0x55));
      for (int i = 0; i < megabytes * 16; ++i) {
        port.Push(noise);
        commander.SerialRxChar();
      }
    });
    portThread.join();
  }
  state.counters["rss_growth_MB"] = ResidentMB() - before;
  state.counters["queued"] = double(commander.StatusQueued());
  state.SetBytesProcessed(int64_t(megabytes) << 20);
  KvAppServices_Install(nullptr);
}
BENCHMARK(BM_GarbageFloodUnflushed)->Arg(8)->Iterations(1)->Unit(benchmark::kSecond);
}  // namespace
