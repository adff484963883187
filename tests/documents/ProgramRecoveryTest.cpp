// Recovery of a recording through the program as shipped: a run that ends without its close
// leaves the journal of what it recorded; the next start asks once the window is up, Yes
// brings the readings back as an unsaved document that a save then keeps (and the journal
// goes), No keeps the journal aside and says where in the log. The journal file itself is
// tested in KvJournalTest, a real crash with lvxtool.
#include <QComboBox>
#include <QDir>
#include <QPushButton>
#include <QToolButton>
#include <QtTest>

#include "../frame/ProgramFixture.h"
#include "KvJournalWriter.h"
#include "KvLocale.h"
#include "KvPortDevices.h"
#include "KvStdActns.h"
#include "LvxJournalRecovery.h"
#include "LvxProgram.h"
#include "UDmKv_COM_Commander.h"
#include "UDxLvx_Connect.h"
#include "UFrmLvx_Main.h"

namespace {
class ProgramRecoveryTest : public ProgramTestBase {
 protected:
  // Shows the window and lets the splash go, after which the question comes.
  void Start(TLvxProgram& program) {
    program.Main().show();
    Clock.Advance(3000);
  }
};

TKvReadingValues At(int h, int n, int s, double level) {
  return {.dtDate = EncodeDate(2011, 6, 15), .dtTime = EncodeTime(h, n, s, 0), .dVal = level};
}
}  // namespace

TEST_F(ProgramRecoveryTest, AnUnsavedRecordingComesBackOnYesAndASaveKeepsItAndEndsTheJournal) {
  QList<double> recorded;
  {
    TLvxProgram program(&Devices);
    Start(program);
    ConnectSimulation();
    PressRecord();
    Clock.Advance(4000);
    recorded = Levels(program);
    ASSERT_GE(recorded.size(), 3);
    // Ends with its window up, as a killed program does: nothing was saved or dropped.
    program.Shutdown();
  }
  EXPECT_TRUE(Dialogs.Messages.empty());
  const QString journal = TLvxJournalRecovery::JournalFileName();
  ASSERT_TRUE(QFile::exists(journal));

  TLvxProgram program(&Devices);
  Dialogs.Answers = {mrYes};
  Start(program);
  ASSERT_EQ(Dialogs.Messages.size(), 1u);
  EXPECT_TRUE(Dialogs.Messages[0].Text.startsWith(
      QString("The last recording was not saved (%1 readings from ").arg(recorded.size())))
      << Dialogs.Messages[0].Text.toStdString();
  EXPECT_EQ(Levels(program), recorded);
  EXPECT_TRUE(DmKvBasic->IsModified());
  EXPECT_TRUE(program.Main().windowTitle().startsWith('*'));
  EXPECT_TRUE(QFile::exists(journal));  // still the only copy

  const QString saved = Path("recovered.dat");
  Dialogs.FileAnswers = {saved};
  DmKvBasic->FileSaveAs1->trigger();
  EXPECT_TRUE(QFile::exists(saved));
  EXPECT_FALSE(DmKvBasic->IsModified());
  EXPECT_FALSE(QFile::exists(journal));
}

TEST_F(ProgramRecoveryTest, NoKeepsTheJournalAsideUnderADatedNameAndTheLogSaysWhere) {
  const QString journal = TLvxJournalRecovery::JournalFileName();
  {
    TKvJournalWriter w;
    ASSERT_TRUE(w.Open(journal, 0, 0));
    w.Append(At(14, 30, 5, 65.3));
    w.Append(At(14, 30, 6, 66.0));
    w.Append(At(14, 31, 10, 70.1));
  }
  {  // the crash hit the fourth record mid-write
    QFile f(journal);
    ASSERT_TRUE(f.open(QIODevice::Append));
    f.write(QByteArray(23, '\x11'));
  }
  TLvxProgram program(&Devices);
  Dialogs.Answers = {mrNo};
  Start(program);
  ASSERT_EQ(Dialogs.Messages.size(), 1u);
  EXPECT_EQ(Dialogs.Messages[0].Text,
            "The last recording was not saved (3 readings from 15.06.2011 14:30:05 to "
            "15.06.2011 14:31:10). Do you want to recover it?");
  EXPECT_TRUE(Levels(program).isEmpty());
  EXPECT_FALSE(DmKvBasic->IsModified());
  EXPECT_FALSE(QFile::exists(journal));
  const QStringList aside =
      QDir(QFileInfo(journal).path()).entryList({"LvxReader_Recording_*.jnl"}, QDir::Files);
  ASSERT_EQ(aside.size(), 1);
  const QString kept = QFileInfo(journal).path() + "/" + aside[0];
  EXPECT_TRUE(LogLines().contains("Recording journal The unsaved recording was kept as " + kept))
      << LogLines().join('\n').toStdString();
  EXPECT_EQ(KvJournal_Read(kept).Readings.size(), 3u);
  Clock.Advance(5000);
  EXPECT_EQ(Dialogs.Messages.size(), 1u);  // asked once
}

TEST_F(ProgramRecoveryTest, TheQuestionWritesTimesTheWayTheLocaleDoes) {
  const TKvLocale saved = KvLocale();
  const struct {
    const char* Name;
    const char* From;
    const char* To;
  } rows[] = {
      {"C", "15 Jun 2011 14:30:05", "16 Jun 2011 09:01:02"},
      {"en_US", "6/15/2011 14:30:05", "6/16/2011 9:01:02"},
      {"de_DE", "15.06.2011 14:30:05", "16.06.2011 09:01:02"},
      {"fr_FR", "15/06/2011 14:30:05", "16/06/2011 09:01:02"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.Name);
    KvLocale_Pin(TKvLocale::FromQLocale(QLocale(row.Name)));
    const double from = EncodeDate(2011, 6, 15) + EncodeTime(14, 30, 5, 0);
    const double to = EncodeDate(2011, 6, 16) + EncodeTime(9, 1, 2, 0);
    EXPECT_EQ(TLvxJournalRecovery::Question(1234, from, to).toStdString(),
              QString("The last recording was not saved (1234 readings from %1 to %2). Do you "
                      "want to recover it?")
                  .arg(row.From, row.To)
                  .toStdString());
  }
  KvLocale_Pin(saved);
}
