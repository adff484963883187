// The recording journal on disk: what a writer leaves is read back whole; a journal cut short
// anywhere or with any byte flipped gives back every record it did not touch and never
// fails; a journal is continued after its last whole record; one writer at a time; retiring
// and keeping aside. The recovery question and the headless logger are tested with the
// program and with lvxtool.
#include <gtest/gtest.h>

#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include "KvDateTime.h"
#include "KvJournalWriter.h"
#include "KvRecordingJournal.h"

namespace {
TKvReadingValues Reading(int i) {
  return {.dtDate = 40709.0 + i / 86400,
          .dtTime = (i % 86400) / 86400.0,
          .dVal = 30.0 + (i % 900) / 10.0,
          .dLo = 30.0 + 10 * (i % 7),
          .dHi = 80.0 + 10 * (i % 7),
          .bUnder = i % 5 == 1,
          .bOver = i % 5 == 2,
          .bA = i % 2 == 0,
          .bC = i % 2 == 1,
          .bSlow = i % 3 == 0,
          .bFast = i % 3 != 0};
}

bool Same(const TKvReadingValues& a, const TKvReadingValues& b) {
  return a.dtDate == b.dtDate && a.dtTime == b.dtTime && a.dVal == b.dVal && a.dLo == b.dLo &&
         a.dHi == b.dHi && a.bUnder == b.bUnder && a.bOver == b.bOver && a.bA == b.bA &&
         a.bC == b.bC && a.bSlow == b.bSlow && a.bFast == b.bFast;
}

// The indexes of the readings, given that the file holds Reading(0), Reading(1), ...
std::vector<int> Indexes(const TKvJournalContent& c, int written) {
  std::vector<int> found;
  int next = 0;
  for (const TKvReadingValues& r : c.Readings) {
    while (next < written && !Same(r, Reading(next))) ++next;
    found.push_back(next++);
  }
  return found;
}

class KvJournalTest : public ::testing::Test {
 protected:
  QString Write(int count, uint64_t base = 0) {
    TKvJournalWriter w;
    EXPECT_TRUE(w.Open(File, base, 45000.5)) << w.ErrorText().toStdString();
    for (int i = 0; i < count; ++i) EXPECT_TRUE(w.Append(Reading(i)));
    w.Close();
    return File;
  }
  QByteArray Bytes() {
    QFile f(File);
    EXPECT_TRUE(f.open(QIODevice::ReadOnly));
    return f.readAll();
  }
  void SetBytes(const QByteArray& b) {
    QFile f(File);
    ASSERT_TRUE(f.open(QIODevice::WriteOnly | QIODevice::Truncate));
    f.write(b);
  }
  QTemporaryDir Dir;
  QString File = Dir.filePath("rec.jnl");
};
}  // namespace

TEST_F(KvJournalTest, WhatTheWriterQueuedIsReadBackWithItsBaseAndFortyBytesAReading) {
  Write(1000, 77);
  EXPECT_EQ(QFileInfo(File).size(), KvJournal_HeaderSize + 1000 * KvJournal_RecordSize);
  const TKvJournalContent c = KvJournal_Read(File);
  EXPECT_TRUE(c.HeaderValid);
  EXPECT_EQ(c.Base, 77u);
  EXPECT_EQ(c.Damaged, 0);
  EXPECT_FALSE(c.TornTail);
  ASSERT_EQ(c.Readings.size(), 1000u);
  for (int i = 0; i < 1000; ++i) EXPECT_TRUE(Same(c.Readings[i], Reading(i))) << i;
}

TEST_F(KvJournalTest, FlushPutsEveryQueuedReadingIntoTheFileWhileTheWriterStaysOpen) {
  TKvJournalWriter w;
  ASSERT_TRUE(w.Open(File, 0, 0));
  for (int i = 0; i < 50; ++i) w.Append(Reading(i));
  w.Flush();
  EXPECT_EQ(KvJournal_Read(File).Readings.size(), 50u);
  w.Append(Reading(50));
  w.Flush();
  EXPECT_EQ(KvJournal_Read(File).Readings.size(), 51u);
}

TEST_F(KvJournalTest, AJournalCutShortAnywhereGivesBackEveryWholeRecordBeforeTheCut) {
  Write(6);
  const QByteArray full = Bytes();
  for (int len = 0; len <= full.size(); ++len) {
    SCOPED_TRACE(len);
    SetBytes(full.left(len));
    const TKvJournalContent c = KvJournal_Read(File);
    const int whole = std::max(0, (len - KvJournal_HeaderSize) / KvJournal_RecordSize);
    ASSERT_EQ(c.Readings.size(), size_t(whole));
    for (int i = 0; i < whole; ++i) EXPECT_TRUE(Same(c.Readings[i], Reading(i)));
    EXPECT_EQ(c.TornTail, len > KvJournal_HeaderSize &&
                              (len - KvJournal_HeaderSize) % KvJournal_RecordSize != 0);
    EXPECT_EQ(c.HeaderValid, len >= KvJournal_HeaderSize);
    EXPECT_EQ(c.Damaged, 0);
  }
}

TEST_F(KvJournalTest, AFlippedByteCostsTheOneRecordItIsInAndNothingElse) {
  Write(3);
  const QByteArray full = Bytes();
  for (int at = 0; at < full.size(); ++at) {
    for (const char mask : {char(0x01), char(0xFF)}) {
      SCOPED_TRACE(at);
      QByteArray damaged = full;
      damaged[at] = char(damaged[at] ^ mask);
      SetBytes(damaged);
      const TKvJournalContent c = KvJournal_Read(File);
      const int hit = at < KvJournal_HeaderSize ? -1 : (at - KvJournal_HeaderSize) / 40;
      EXPECT_EQ(c.HeaderValid, hit >= 0);
      EXPECT_EQ(c.Damaged, hit >= 0 ? 1 : 0);
      std::vector<int> expected;
      for (int i = 0; i < 3; ++i)
        if (i != hit) expected.push_back(i);
      EXPECT_EQ(Indexes(c, 3), expected);
    }
  }
}

TEST_F(KvJournalTest, GarbageAndMissingFilesReadAsNothingRecoverable) {
  EXPECT_FALSE(KvJournal_Read(Dir.filePath("none.jnl")).Exists);
  for (const QByteArray& junk :
       {QByteArray(), QByteArray(31, 'x'), QByteArray(4000, '\0'), QByteArray(4000, char(0xFF))}) {
    SetBytes(junk);
    const TKvJournalContent c = KvJournal_Read(File);
    EXPECT_TRUE(c.Exists);
    EXPECT_FALSE(c.HeaderValid);
    EXPECT_TRUE(c.Readings.empty());
  }
}

TEST_F(KvJournalTest, AReopenedJournalDropsItsTornRecordAndContinuesAfterTheLastWholeOne) {
  Write(4, 9);
  SetBytes(Bytes() + Bytes().mid(KvJournal_HeaderSize, 17));  // a record the crash tore
  TKvJournalWriter w;
  ASSERT_TRUE(w.Open(File, 0, 0));
  for (int i = 4; i < 7; ++i) w.Append(Reading(i));
  w.Close();
  const TKvJournalContent c = KvJournal_Read(File);
  EXPECT_EQ(c.Base, 9u);  // the journal's own header is kept
  EXPECT_FALSE(c.TornTail);
  EXPECT_EQ(Indexes(c, 7), (std::vector<int>{0, 1, 2, 3, 4, 5, 6}));
}

TEST_F(KvJournalTest, OneWriterAtATimeAndRetiringOrKeepingAsideLeavesNoJournal) {
  TKvRecordingJournal journal(File);
  QStringList problems;
  journal.OnProblem = [&](const QString& m) { problems << m; };
  journal.Append(Reading(0));
  journal.Flush();
  TKvJournalWriter second;
  EXPECT_FALSE(second.Open(File, 0, 0));
  EXPECT_TRUE(second.ErrorText().contains("in use")) << second.ErrorText().toStdString();
  TKvRecordingJournal other(File);
  EXPECT_TRUE(other.InUseElsewhere());
  other.Retire();  // must not take the file from the one writing it
  EXPECT_TRUE(QFile::exists(File));

  journal.Retire();
  EXPECT_FALSE(QFile::exists(File));
  journal.Append(Reading(1));  // a new recording starts a new journal
  const QString aside = journal.KeepAside(EncodeDate(2026, 11, 23) + EncodeTime(9, 5, 7, 0));
  EXPECT_EQ(aside, Dir.filePath("rec_2026-11-23_090507.jnl"));
  EXPECT_FALSE(QFile::exists(File));
  EXPECT_EQ(KvJournal_Read(aside).Readings.size(), 1u);
  EXPECT_TRUE(problems.isEmpty());

  journal.Append(Reading(2));
  journal.Flush();
  journal.Retire();
  QDir().mkdir(File);  // a folder where the journal should be: said once, recording goes on
  journal.Append(Reading(3));
  journal.Append(Reading(4));
  EXPECT_EQ(problems.size(), 1);
}
