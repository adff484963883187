// Decoded records per second through SerialRxChar: bytes handed over as the port would,
// decoded, texts built and delivered to a listener that copies the reading.
#include <benchmark/benchmark.h>

#include <QCoreApplication>

#include "KvLocale.h"
#include "KvStreamPort.h"
#include "UDmKv_COM_Commander.h"

namespace {
class TNoPorts : public TKvPortList {
 public:
  QStringList Ports() const override { return {}; }
  bool PortExists(int) const override { return false; }
  void CheckPorts(int) override {}
};

QByteArray Records(int n) {
  const uint8_t rec[18] = {0xA2, 0x0C, 0, 6, 5, 3, 1, 1, 0, 6, 1, 5, 1, 4, 3, 0, 0, 5};
  QByteArray out;
  for (int i = 0; i < n; ++i) out.append(reinterpret_cast<const char*>(rec), 18);
  return out;
}

void BM_RecordPath(benchmark::State& state) {
  const int chunk = int(state.range(0));
  TKvStreamPort port;
  TNoPorts ports;
  TDmKv_COM_Commander commander(&port, &ports);
  TKvUniqueData copy;
  commander.OnDataReceived = [&](QObject*, const QString&, const TKvUniqueData& d) { copy = d; };
  const QByteArray stream = Records(100);
  for (auto _ : state) {
    for (int at = 0; at < stream.size(); at += chunk) {
      port.Push(stream.mid(at, chunk));
      commander.SerialRxChar();
    }
    QCoreApplication::sendPostedEvents();
    benchmark::DoNotOptimize(copy.dVal);
  }
  state.SetItemsProcessed(state.iterations() * 100);
}
// 1 byte per receive event (the slowest hand-over) and a whole second's worth at once.
BENCHMARK(BM_RecordPath)->Arg(1)->Arg(18)->Arg(234);
}  // namespace

int main(int argc, char** argv) {
  QCoreApplication app(argc, argv);
  ::benchmark::Initialize(&argc, argv);
  ::benchmark::RunSpecifiedBenchmarks();
  return 0;
}
