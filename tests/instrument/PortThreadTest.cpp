// Bytes decoded on a port thread while the main thread runs the timers: every hand-over
// (status queue, watchdog flags and timer switches, the reading) must be race-free. This
// suite is also run under ThreadSanitizer.
#include <QRegularExpression>
#include <QThread>
#include <atomic>
#include <mutex>
#include <thread>

#include "InstrumentFixture.h"

class PortThreadTest : public InstrumentTest {};

TEST_F(PortThreadTest, PortThreadDecodesWhileMainThreadRunsTimers) {
  std::mutex copyLock;
  TKvUniqueData lastCopy;  // guarded by copyLock
  std::atomic<int> delivered{0}, lost{0};
  Commander->OnDataReceived = [&](QObject*, const QString&, const TKvUniqueData& d) {
    std::lock_guard<std::mutex> lock(copyLock);
    lastCopy = d;
    (d.bConnected ? delivered : lost)++;
  };

  const int kRecords = 400;
  std::atomic<bool> done{false};
  std::thread port([&] {
    for (int i = 0; i < kRecords; ++i) {
      QByteArray r = WorkedRecord();
      if (i % 10 == 0) r.prepend(char(0x55));  // a garbage byte now and then
      Port.Push(r);
      Commander->SerialRxChar();
    }
    done = true;
  });
  while (!done) {
    Clock.Advance(1);
    QThread::yieldCurrentThread();
    (void)Commander->IsConnected();
    (void)Commander->CurrentData();
  }
  port.join();
  Clock.Advance(200);
  EXPECT_EQ(delivered.load(), kRecords);
  // Repeats the main thread had no time to show are counted instead, and said how often.
  const QRegularExpression dropped("^(\\d+) repeats of \".*failure Magic = 5 \\)\" were dropped$");
  int told = 0;
  for (const QString& text : Services.Texts) {
    const QRegularExpressionMatch m = dropped.match(text);
    told += m.hasMatch() ? m.captured(1).toInt() : int(text.endsWith("failure Magic = 5 )"));
  }
  EXPECT_EQ(told, kRecords / 10);
  Clock.Advance(5000);
  // Virtual time runs freely against the port thread, so a pause may count as a loss too.
  EXPECT_GE(lost.load(), 1);
  std::lock_guard<std::mutex> lock(copyLock);
  EXPECT_FALSE(lastCopy.bConnected);
}
