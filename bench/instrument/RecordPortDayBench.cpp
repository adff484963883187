// A day at the meter's rate through `lvxtool record --port`, fed through a pseudo-terminal as
// fast as the logger takes it: the rows it saves against the valid readings sent, how long it
// takes, and the logger's memory as the day goes on (resident set at each quarter, to see
// that it grows with the table alone).
#include <benchmark/benchmark.h>
#include <pty.h>
#include <signal.h>
#include <sys/ioctl.h>
#include <termios.h>
#include <unistd.h>

#include <QFile>
#include <QProcess>
#include <QTemporaryDir>
#include <chrono>
#include <thread>

#include "../../tests/tools/MeterRecord.h"

namespace {
constexpr int kPerSecond = 13;
constexpr int kDay = 86400 * kPerSecond;

long ResidentKb(qint64 pid) {
  QFile status(QString("/proc/%1/status").arg(pid));
  if (!status.open(QIODevice::ReadOnly)) return 0;
  for (const QByteArray& line : status.readAll().split('\n'))
    if (line.startsWith("VmRSS:")) return line.mid(6).trimmed().split(' ').first().toLong();
  return 0;
}

void BM_RecordPortADay(benchmark::State& state) {
  for (auto _ : state) {
    QTemporaryDir dir;
    int master = -1, slave = -1;
    openpty(&master, &slave, nullptr, nullptr, nullptr);
    termios t{};
    tcgetattr(slave, &t);
    cfmakeraw(&t);
    tcsetattr(slave, TCSANOW, &t);
    QProcess tool;
    QProcessEnvironment e = QProcessEnvironment::systemEnvironment();
    e.insert("XDG_CONFIG_HOME", dir.filePath("config"));
    tool.setProcessEnvironment(e);
    tool.start(LVXTOOL_PATH, {"record", "--port", ttyname(slave), dir.filePath("day.dat")});
    QByteArray said;
    while (!said.contains("recording from") && tool.waitForReadyRead(10000))
      said += tool.readAllStandardError();

    const auto start = std::chrono::steady_clock::now();
    QByteArray chunk;
    for (int i = 0; i < kDay; ++i) {
      chunk += MeterRecord(300 + i % 600, i / kPerSecond);
      if (chunk.size() >= 18 * 200 || i == kDay - 1) {
        for (qsizetype at = 0; at < chunk.size();) {
          const ssize_t n = write(master, chunk.constData() + at, size_t(chunk.size() - at));
          if (n > 0) at += n;
        }
        chunk.clear();
      }
      if ((i + 1) % (kDay / 4) == 0)
        state.counters[QString("rss_kb_q%1").arg((i + 1) / (kDay / 4)).toStdString()] =
            double(ResidentKb(tool.processId()));
    }
    // Everything sent has been read once the line's input queue is empty.
    for (int waiting = 1; waiting > 0;) {
      ioctl(slave, FIONREAD, &waiting);
      std::this_thread::sleep_for(std::chrono::milliseconds(100));
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(500));
    const double fed =
        std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    kill(pid_t(tool.processId()), SIGTERM);
    tool.waitForFinished(600000);
    const double total =
        std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();

    QProcess dump;
    dump.start(LVXTOOL_PATH, {"dump", dir.filePath("day.dat")});
    dump.waitForFinished(600000);
    state.counters["readings_in"] = kDay;
    state.counters["rows_out"] = double(dump.readAllStandardOutput().count('\n'));
    state.counters["feed_s"] = fed;
    state.counters["feed_and_save_s"] = total;
    state.counters["exit_code"] = tool.exitCode();
    close(master);
    close(slave);
  }
}
BENCHMARK(BM_RecordPortADay)->Unit(benchmark::kSecond)->Iterations(1);
}  // namespace

BENCHMARK_MAIN();
