// Recorded readings on their way to safety: the hand-over from the port thread keeps every
// reading in order however far the main thread falls behind, and the commander journals
// exactly the rows it posts and retires the journal when the document is saved. The journal
// file itself is tested with the documents.
#include <QTemporaryDir>
#include <thread>

#include "InstrumentFixture.h"
#include "KvJournalFile.h"
#include "KvReadingHandOver.h"
#include "KvRecordingJournal.h"

namespace {
TKvUniqueData Numbered(int i) {
  TKvUniqueData d;
  d.dVal = i;
  return d;
}
}  // namespace

TEST(ReadingHandOverTest, AFullQueueHoldsThePortThreadBackAndLosesNothing) {
  TKvReadingHandOver handOver(8);
  constexpr int kCount = 20000;
  int wakes = 0;
  std::thread port([&] {
    for (int i = 0; i < kCount; ++i)
      if (handOver.Push(Numbered(i))) ++wakes;
  });
  std::vector<int> got;
  while (int(got.size()) < kCount) {
    const std::vector<TKvUniqueData> taken = handOver.Take();
    EXPECT_LE(taken.size(), 8u);
    for (const TKvUniqueData& d : taken) got.push_back(int(d.dVal));
  }
  port.join();
  for (int i = 0; i < kCount; ++i) ASSERT_EQ(got[i], i);
  EXPECT_EQ(handOver.Dropped(), 0u);
  EXPECT_GE(wakes, 1);
  EXPECT_LE(wakes, kCount);
}

TEST(ReadingHandOverTest, StoppingReleasesAWaitingPortThreadAndCountsWhatFoundNoRoom) {
  TKvReadingHandOver handOver(2);
  handOver.Push(Numbered(0));
  handOver.Push(Numbered(1));
  std::thread port([&] { handOver.Push(Numbered(2)); });  // waits for room
  handOver.Stop();
  port.join();
  EXPECT_EQ(handOver.Dropped(), 1u);
  EXPECT_EQ(handOver.Take().size(), 2u);
  handOver.Resume();
  EXPECT_TRUE(handOver.Push(Numbered(3)));
}

class RecordingJournalTest : public InstrumentTest {};

TEST_F(RecordingJournalTest, EveryPostedRowIsJournaledAndASaveRetiresTheJournal) {
  QTemporaryDir dir;
  TKvRecordingJournal journal(dir.filePath("rec.jnl"));
  Commander->Journal = &journal;
  QString cap;
  Commander->DoConnect(true, cap);
  Receive(WorkedRecord());
  TKvUniqueData kept = Deliveries.back().Data, invalid = kept;
  invalid.bValid = false;
  Commander->AddData(kept);
  Commander->AddData(invalid);
  Commander->AddData(kept);
  journal.Flush();
  const TKvJournalContent content = KvJournal_Read(journal.FileName());
  ASSERT_EQ(content.Readings.size(), 2u);
  EXPECT_EQ(content.Readings[0].dVal, kept.dVal);
  EXPECT_EQ(content.Readings[0].dtTime, kept.dtTime);
  EXPECT_TRUE(content.Readings[0].bA);

  bool saved = true;
  Commander->EvFile_Save(nullptr, dir.filePath("doc.dat"), saved);
  ASSERT_TRUE(saved);
  EXPECT_FALSE(QFile::exists(journal.FileName()));
  Commander->Journal = nullptr;
}
