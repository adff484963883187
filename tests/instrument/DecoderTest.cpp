// The wire record becomes a reading and two memo lines; structural failures cost one byte
// and one message each. The watchdog and the queue's timing are CommanderTest's business.
#include "InstrumentFixture.h"

namespace {
const QString kErr = "Err: DecodeRxLine: %1 Byte received (failure %2";
}

class DecoderTest : public InstrumentTest {};

TEST_F(DecoderTest, WorkedExampleGivesTheExactMemoLinesAndReading) {
  Receive(WorkedRecord());
  ASSERT_EQ(Deliveries.size(), 1u);
  const QString raw = " A 2" + QString(11, ' ') + "0C" + QString(15, ' ') + "0653" +
                      QString(6, ' ') + "11 06 15 14 30 05 ";
  const QString dec = " A 50 - 100 dB " + QString(10, ' ') + "A SLOW  65.3 dBA 11.06.15 14:30:05 ";
  EXPECT_EQ(Deliveries[0].strData, raw + "\r\n" + dec);
  const TKvUniqueData& d = Deliveries[0].Data;
  EXPECT_EQ(d.strLo, "50");
  EXPECT_EQ(d.strHi, "100");
  EXPECT_EQ(d.strVal, " 65.3");
  EXPECT_EQ(d.strTime, "14:30:05 ");
  EXPECT_DOUBLE_EQ(d.dVal, 65.3);
  EXPECT_EQ(d.dtDate, EncodeDate(2011, 6, 15));
  EXPECT_NEAR(d.dtTime, EncodeTime(14, 30, 5, 0), 1e-12);
  EXPECT_TRUE(d.bLive && d.bA && d.bSlow && d.bValid && d.bConnected && d.bTimeValid);
  EXPECT_FALSE(d.bC || d.bFast || d.bOver || d.bUnder || d.bMax);
  EXPECT_EQ(Commander->RecTotal(), 0);
  EXPECT_TRUE(FlushedTexts().isEmpty());
}

TEST_F(DecoderTest, SeventeenBytesWaitForTheEighteenth) {
  const QByteArray r = WorkedRecord();
  Receive(r.left(17));
  EXPECT_TRUE(Deliveries.empty());
  EXPECT_EQ(Commander->RecTotal(), 17);
  Receive(r.right(1));
  EXPECT_EQ(Deliveries.size(), 1u);
}

TEST_F(DecoderTest, TwoRecordsInOneEventGiveTwoDeliveries) {
  Receive(WorkedRecord() + WorkedRecord());
  EXPECT_EQ(Deliveries.size(), 2u);
  EXPECT_EQ(Commander->RecTotalAll(), 36);
}

TEST_F(DecoderTest, AStreamStartingMidRecordCostsOneMessagePerSkippedByte) {
  // The tail of a record (time digits, not a valid head) then two whole records.
  Receive(WorkedRecord().right(5) + WorkedRecord() + WorkedRecord());
  EXPECT_EQ(Deliveries.size(), 2u);
  QStringList texts = FlushedTexts();
  ASSERT_EQ(texts.size(), 5);
  // 41 bytes held; each failure reports the count before its byte went.
  for (int i = 0; i < 5; ++i) EXPECT_EQ(texts[i], kErr.arg(41 - i).arg("Magic = 0 )"));
}

struct FailureCase {
  const char* Name;
  QByteArray Bytes;
  QString Message;
};

TEST_F(DecoderTest, StructuralFailuresDropOneByteAndDeliverNothing) {
  const FailureCase cases[] = {
      {"magic 5", Record(0x52, 0x0C, "0653", "110615", "143005"), kErr.arg(18).arg("Magic = 5 )")},
      {"range 7", Record(0x87, 0x0C, "0653", "110615", "143005"),
       kErr.arg(18).arg("Level iData = 7)")},
      {"range 15", Record(0xAF, 0x0C, "0653", "110615", "143005"),
       kErr.arg(18).arg("Level iData = 15)")},
      {"level digit", Record(0xA2, 0x0C, "06:3", "110615", "143005"),
       kErr.arg(18).arg("Level <0 >9)")},
      {"last level digit", Record(0xA2, 0x0C, "065;", "110615", "143005"),
       kErr.arg(18).arg("Level <0 >9)")},
  };
  for (const FailureCase& c : cases) {
    SCOPED_TRACE(c.Name);
    Deliveries.clear();
    Services.Texts.clear();
    Receive(c.Bytes);
    EXPECT_TRUE(Deliveries.empty());
    EXPECT_EQ(Commander->RecTotal(), 17);
    EXPECT_FALSE(Commander->FTimerCheckConn->Enabled());
    ASSERT_FALSE(FlushedTexts().isEmpty());
    EXPECT_EQ(Services.Texts.last(), c.Message);
    EXPECT_EQ(Services.Logged.last(), Services.Texts.last());
    Receive(QByteArray(300, char(0xFF)));  // wash the rest out before the next case
    Clock.Advance(100);
    Commander->FTimerStatusBarTimer();
  }
}

TEST_F(DecoderTest, NotLiveHeadAndFlagBitsThatMeanNothing) {
  Receive(Record(0x86, 0xD3, "0653", "110615", "143005"));
  ASSERT_EQ(Deliveries.size(), 1u);
  const TKvUniqueData& d = Deliveries[0].Data;
  EXPECT_FALSE(d.bLive);
  EXPECT_EQ(d.dLo, 30.0);
  EXPECT_EQ(d.dHi, 130.0);
  EXPECT_EQ(d.strHi, "130");
  EXPECT_FALSE(d.bOver || d.bUnder);  // low bits 3: neither
  EXPECT_TRUE(d.bC && d.bFast);       // bits 7, 6 and 4 ignored
  EXPECT_EQ(Deliveries[0].strData.section("\r\n", 1),
            "!A 30 - 130 dB " + QString(12, ' ') + "C FAST  65.3 dB  C 11.06.15 14:30:05 ");
}

TEST_F(DecoderTest, FlagsGiveMaxOverUnderAndTheirTexts) {
  Receive(Record(0xA0, 0x21 | 0x08, "0653", "110615", "143005") +
          Record(0xA0, 0x02, "0653", "110615", "143005"));
  ASSERT_EQ(Deliveries.size(), 2u);
  EXPECT_TRUE(Deliveries[0].Data.bMax && Deliveries[0].Data.bOver);
  EXPECT_TRUE(Deliveries[1].Data.bUnder && !Deliveries[1].Data.bMax);
  EXPECT_TRUE(
      Deliveries[0].strData.section("\r\n", 1).startsWith(" A 30 -  80 dB MAX OVER  A FAST"));
  EXPECT_TRUE(
      Deliveries[1].strData.section("\r\n", 1).startsWith(" A 30 -  80 dB     UNDER   C FAST"));
}

TEST_F(DecoderTest, SanityBandIncludes180) {
  Receive(Record(0xA6, 0x0C, "1800", "110615", "143005") +
          Record(0xA6, 0x0C, "1801", "110615", "143005") +
          Record(0xA6, 0x0C, "0000", "110615", "143005"));
  ASSERT_EQ(Deliveries.size(), 3u);
  EXPECT_TRUE(Deliveries[0].Data.bValid);
  EXPECT_FALSE(Deliveries[1].Data.bValid);
  EXPECT_EQ(Deliveries[1].Data.strVal, "180.1");
  EXPECT_TRUE(Deliveries[2].Data.bValid);
  EXPECT_EQ(Deliveries[2].Data.strVal, "  0.0");
}

struct DateCase {
  const char* Digits;
  int Year, Month, Day;  // 0: today is used
  const char* Shown;
};

TEST_F(DecoderTest, DatesAreReducedAndFallBackToToday) {
  const DateCase cases[] = {
      {"000615", 2011, 6, 15, "00.06.15 "}, {"990615", 2099, 6, 15, "99.06.15 "},
      {":00615", 2011, 6, 15, "A0.06.15 "}, {"111315", 2011, 1, 15, "11.13.15 "},
      {"112415", 0, 0, 0, "11.??.15 "},     {"110632", 2011, 6, 1, "11.06.32 "},
      {"110631", 0, 0, 0, "11.06.31 "},     {"110662", 0, 0, 0, "11.06.?? "},
  };
  for (const DateCase& c : cases) {
    SCOPED_TRACE(c.Digits);
    Deliveries.clear();
    Receive(Record(0xA2, 0x0C, "0653", c.Digits, "143005"));
    ASSERT_EQ(Deliveries.size(), 1u);
    const TKvUniqueData& d = Deliveries[0].Data;
    EXPECT_TRUE(d.bDateValid);
    EXPECT_EQ(d.dtDate, c.Year ? EncodeDate(c.Year, c.Month, c.Day) : EncodeDate(2026, 11, 23));
    EXPECT_TRUE(Deliveries[0].strData.section("\r\n", 1).endsWith(QString(c.Shown) + "14:30:05 "));
  }
}

TEST_F(DecoderTest, ImpossibleTimeOnALiveRecordTakesTheClock) {
  Clock.Advance(1234);  // 10:00:01.234 on the virtual clock
  Receive(Record(0xA2, 0x0C, "0653", "110615", "250000"));
  ASSERT_EQ(Deliveries.size(), 1u);
  const TKvUniqueData& d = Deliveries[0].Data;
  EXPECT_FALSE(d.bTimeValid);
  EXPECT_TRUE(d.bDateValid);
  EXPECT_NEAR(d.dtDate, EncodeDate(2026, 11, 23) + EncodeTime(10, 0, 1, 234), 1e-9);
  EXPECT_NEAR(d.dtTime, EncodeTime(10, 0, 1, 0), 1e-12);
  EXPECT_TRUE(Deliveries[0].strData.section("\r\n", 1).endsWith("11.06.15 25:00:00 "));
}

TEST_F(DecoderTest, BadTimeDigitIsReportedPerByteButTheRecordIsDelivered) {
  Receive(Record(0xA2, 0x0C, "0653", "110615", "14300:") +
          Record(0xA2, 0x0C, "0653", "110615", ":::::0"));
  ASSERT_EQ(Deliveries.size(), 2u);
  EXPECT_FALSE(Deliveries[0].Data.bTimeValid);
  // The time was evaluated at offset 12 before offset 17 failed; the clock takes over.
  EXPECT_TRUE(Deliveries[0].strData.section("\r\n", 1).endsWith("14:30:0A "));
  EXPECT_NEAR(Deliveries[0].Data.dtTime, EncodeTime(10, 0, 0, 0), 1e-12);
  // A bad hour byte: no time text at all.
  EXPECT_TRUE(Deliveries[1].strData.section("\r\n", 1).endsWith("11.06.15 "));
  const QStringList texts = FlushedTexts();
  ASSERT_EQ(texts.size(), 6);
  EXPECT_EQ(texts[0], kErr.arg(36).arg("Time <0 >9)"));
  EXPECT_EQ(texts[1], kErr.arg(18).arg("Time <0 >9)"));
  EXPECT_EQ(texts[5], kErr.arg(18).arg("Time <0 >9)"));
}

TEST_F(DecoderTest, DateOverrideReplacesTheDateAndOnLiveRecordsTheTime) {
  Commander->SetDateMeter(EncodeDate(2020, 2, 29));
  Clock.Advance(5000);
  Receive(WorkedRecord() + Record(0x82, 0x0C, "0653", "110615", "143005"));
  ASSERT_EQ(Deliveries.size(), 2u);
  EXPECT_EQ(Deliveries[0].Data.dtDate, EncodeDate(2020, 2, 29));
  EXPECT_NEAR(Deliveries[0].Data.dtTime, EncodeTime(10, 0, 5, 0), 1e-12);
  EXPECT_EQ(Deliveries[1].Data.dtDate, EncodeDate(2020, 2, 29));
  EXPECT_NEAR(Deliveries[1].Data.dtTime, EncodeTime(14, 30, 5, 0), 1e-12);
}

TEST_F(DecoderTest, WithoutAListenerNoFlagIsTouched) {
  Commander->OnDataReceived = nullptr;
  Receive(WorkedRecord());
  EXPECT_FALSE(Commander->IsConnected());
  EXPECT_FALSE(Commander->FTimerCheckConn->Enabled());
  EXPECT_EQ(Commander->RecTotal(), 0);
}
