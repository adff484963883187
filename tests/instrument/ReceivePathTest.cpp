// The receive path under loads the instrument never makes but a real line does: bursts larger
// than the receive buffer, a second connect on an open port, garbage at full speed, bytes that
// are no digits where digits belong. The pseudo-terminal side of the same faults is
// SerialTest's.
#include <QCoreApplication>
#include <random>
#include <thread>

#include "InstrumentFixture.h"
#include "KvSys_Helper.h"

class ReceivePathTest : public InstrumentTest {
 protected:
  // Records of 30.0 to 129.9 dB and garbage between some of them, as a noisy line gives.
  static QByteArray NoisyStream(int records, int garbageEvery) {
    QByteArray s;
    for (int i = 0; i < records; ++i) {
      const int tenth = 300 + (i * 37) % 1000;
      const QByteArray level = QByteArray::number(tenth).rightJustified(4, '0');
      s += Record(0xA2, 0x0C, level.constData(), "110615", "143005");
      if (garbageEvery > 0 && i % garbageEvery == 0) s += QByteArray(1 + i % 17, char(0x55));
    }
    return s;
  }
  std::vector<double> Levels() const {
    std::vector<double> v;
    for (const TDelivery& d : Deliveries) v.push_back(d.Data.dVal);
    return v;
  }
  // Feeds the stream in receive events of the given sizes, round and round.
  std::vector<double> DecodeInEvents(const QByteArray& stream, std::vector<int> sizes) {
    Deliveries.clear();
    for (int at = 0, i = 0; at < stream.size(); at += sizes[i++ % sizes.size()])
      Receive(stream.mid(at, sizes[i % sizes.size()]));
    return Levels();
  }
};

TEST_F(ReceivePathTest, ABurstOfAnySizeDecodesExactlyLikeATrickle) {
  const QByteArray stream = NoisyStream(400, 3);
  const std::vector<double> trickle = DecodeInEvents(stream, {1});
  ASSERT_EQ(trickle.size(), 400u);
  for (int burst : {256, 257, 258, 300, 1000, int(stream.size())}) {
    EXPECT_EQ(DecodeInEvents(stream, {burst}), trickle) << "events of " << burst << " bytes";
    EXPECT_EQ(Commander->RecTotalAll() % stream.size(), 0);
  }
  std::mt19937 random(7);
  std::vector<int> uneven;
  for (int i = 0; i < 50; ++i) uneven.push_back(1 + int(random() % 700));
  EXPECT_EQ(DecodeInEvents(stream, uneven), trickle);
}

TEST_F(ReceivePathTest, ASecondConnectOnAnOpenPortKeepsTheRecordItIsIn) {
  QString cap;
  Commander->DoConnect(true, cap);
  Receive(WorkedRecord() + WorkedRecord().left(3));
  Commander->DoConnect(true, cap);  // the search's second call: nothing is opened anew
  Receive(WorkedRecord().mid(3));
  EXPECT_EQ(Deliveries.size(), 2u);
  EXPECT_TRUE(FlushedTexts().filter("failure").isEmpty());
}

TEST_F(ReceivePathTest, GarbageAtFullSpeedQueuesABoundedBatchAndSaysWhatItDropped) {
  // The port thread's view: the main thread is too busy to flush for a while.
  int switches = 0;
  struct TCounter : QObject {
    int* Count;
    bool eventFilter(QObject*, QEvent* e) override {
      if (e->type() == QEvent::MetaCall) ++*Count;
      return false;
    }
  } counter;
  counter.Count = &switches;
  Commander->FTimerStatusBar->installEventFilter(&counter);
  Commander->FTimerCheckConn->installEventFilter(&counter);

  const int kBytes = 200000;
  std::thread port([&] {
    for (int i = 0; i < kBytes / 1000; ++i) Receive(QByteArray(1000, char(0x55)));
  });
  port.join();
  EXPECT_LE(Commander->StatusQueued(), TKvStatusQueue::MaxQueued);
  QCoreApplication::sendPostedEvents();
  EXPECT_LE(switches, 2) << "timer switches queued for " << kBytes << " bytes";

  const QStringList shown = FlushedTexts();
  ASSERT_EQ(shown.size(), int(TKvStatusQueue::MaxQueued) + 1);
  EXPECT_EQ(shown.first(), "Err: DecodeRxLine: 256 Byte received (failure Magic = 5 )");
  EXPECT_EQ(shown.last(), QString("%1 further status texts were dropped")
                              .arg(kBytes - 17 - int(TKvStatusQueue::MaxQueued)));
}

TEST_F(ReceivePathTest, AFloodOfOneFailureKeepsADistinctOneAndCountsTheRepeats) {
  // Each record with no digit in its time says the same six times and is still delivered;
  // one stray byte halfway says something else once. The main thread is busy meanwhile.
  const QByteArray badTime = Record(0xA2, 0x0C, "0653", "110615", "::::::");
  const int kRecords = 100;
  std::thread port([&] {
    for (int i = 0; i < kRecords; ++i)
      Receive(i == kRecords / 2 ? QByteArray(1, '\0') + badTime : badTime);
  });
  port.join();
  EXPECT_EQ(Deliveries.size(), size_t(kRecords));

  const QString repeated = "Err: DecodeRxLine: 18 Byte received (failure Time <0 >9)";
  const QString distinct = "Err: DecodeRxLine: 19 Byte received (failure Magic = 0 )";
  const QStringList shown = FlushedTexts();
  ASSERT_EQ(shown.size(), TKvStatusQueue::MaxRepeats + 2) << shown.join("\n").toStdString();
  EXPECT_EQ(shown.count(repeated), TKvStatusQueue::MaxRepeats);
  EXPECT_EQ(shown[TKvStatusQueue::MaxRepeats], distinct);
  EXPECT_EQ(shown.last(), QString("%1 repeats of \"%2\" were dropped")
                              .arg(6 * kRecords - TKvStatusQueue::MaxRepeats)
                              .arg(repeated));
  EXPECT_EQ(Services.Logged, shown);

  // The next batch starts its counts afresh.
  Services.Texts.clear();
  std::thread again([&] { Receive(badTime); });
  again.join();
  EXPECT_EQ(FlushedTexts(), QStringList(6, repeated));
}

TEST_F(ReceivePathTest, OnTheFlushingThreadNothingIsDropped) {
  // The simulation and the tools decode on the main thread: a full queue, and a text at its
  // bound of repeats, are shown, not lost.
  const int kTexts = 3 * int(TKvStatusQueue::MaxQueued);
  for (int i = 0; i < kTexts; ++i) Commander->FireStatusBarNotify(QString::number(i % 5), false);
  for (int i = 0; i < kTexts; ++i) Commander->FireStatusBarNotify(QString::number(i), false);
  const QStringList shown = FlushedTexts();
  ASSERT_EQ(shown.size(), 2 * kTexts);
  EXPECT_EQ(shown.count("4"), kTexts / 5 + 1);
  EXPECT_EQ(shown.last(), QString::number(kTexts - 1));
}

TEST_F(ReceivePathTest, TheRawLineShowsABytePlacedAsADigitWhole) {
  // Date bytes are not checked, so a blank (0x20) in the year gets through to the memo.
  QByteArray r = WorkedRecord();
  r[6] = char(0x20);
  Receive(r);
  ASSERT_EQ(Deliveries.size(), 1u);
  const QStringList lines = Deliveries[0].strData.split("\r\n");
  EXPECT_TRUE(lines[0].contains(" 201 06 15 ")) << lines[0].toStdString();
  EXPECT_TRUE(lines[1].contains("201.06.15 ")) << lines[1].toStdString();
}
