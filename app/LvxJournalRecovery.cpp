#include "LvxJournalRecovery.h"

#include <QFile>
#include <QWidget>
#include <cmath>

#include "KvClock.h"
#include "KvDialogs.h"
#include "KvGlobalInfo.h"
#include "KvJournalFile.h"
#include "KvLib.h"
#include "KvLocale.h"
#include "KvSys_Helper.h"
#include "UDmKvBasic.h"
#include "UDmKv_COM_Commander.h"
#include "UKvAbout.h"

namespace {
// How often the start-up looks whether the window is up and the splash gone.
constexpr int kWaitMs = 500;

double Stamp(const TKvReadingValues& r) {
  return std::trunc(r.dtDate) + (r.dtTime - std::trunc(r.dtTime));
}
}  // namespace

TLvxJournalRecovery::TLvxJournalRecovery(TDmKv_COM_Commander& commander, QWidget& mainForm)
    : FCommander(commander), FMainForm(mainForm), FJournal(JournalFileName()) {
  FJournal.OnProblem = [](const QString& msg) {
    if (DmKvBasic) DmKvBasic->DoStatusBarNotify(msg, true);
  };
  FCommander.Journal = &FJournal;
  if (QFile::exists(FJournal.FileName()) && !FJournal.InUseElsewhere()) {
    FWait = new TKvTimer(nullptr, kWaitMs);
    FWait->OnTimer = [this] { WaitForWindow(); };
    FWait->SetEnabled(true);
  }
}

TLvxJournalRecovery::~TLvxJournalRecovery() {
  delete FWait;
  if (FCommander.Journal == &FJournal) FCommander.Journal = nullptr;
}

QString TLvxJournalRecovery::JournalFileName() {
  return KvSys_GetPath("USERAPPDATA", true) + "/" + KvGlobalInfo().strExeName + "_Recording.jnl";
}

QString TLvxJournalRecovery::Question(size_t n, double first, double last) {
  const QString format = KvLocale().ShortDateFormat + " " + KvLocale().LongTimeFormat;
  return QString(
             "The last recording was not saved (%1 readings from %2 to %3). Do you want "
             "to recover it?")
      .arg(n)
      .arg(FormatDateTime(format, first), FormatDateTime(format, last));
}

void TLvxJournalRecovery::WaitForWindow() {
  const TFrmKvAbout* splash = KvBase_SplashForm();
  if (!FMainForm.isVisible() || (splash && splash->isVisible())) return;
  FWait->SetEnabled(false);
  OfferRecovery();
}

void TLvxJournalRecovery::OfferRecovery() {
  if (!QFile::exists(FJournal.FileName()) || FJournal.InUseElsewhere()) return;
  const TKvJournalContent content = KvJournal_Read(FJournal.FileName());
  const std::vector<TKvReadingValues>& rows = content.Readings;
  if (rows.empty()) {
    if (content.Damaged == 0) {
      FJournal.Retire();
      return;
    }
  } else {
    double first = Stamp(rows.front()), last = first;
    for (const TKvReadingValues& r : rows) {
      first = std::min(first, Stamp(r));
      last = std::max(last, Stamp(r));
    }
    if (MessageDlg(Question(rows.size(), first, last), TMsgDlgType::mtConfirmation, mbYesNo) ==
        mrYes) {
      // Posted as if just recorded, the chart drawn once at the end rather than per row. The
      // journal keeps them until the document is saved.
      TKvMeasurementTable& table = FCommander.KvMemTableData;
      auto afterPost = std::exchange(table.OnChartAfterPost, nullptr);
      table.DisableControls();
      for (const TKvReadingValues& r : rows) table.PostReading(r);
      table.EnableControls();
      table.OnChartAfterPost = afterPost;
      table.Refresh();
      if (DmKvBasic) {
        DmKvBasic->SetIsModified(true);
        DmKvBasic->SetIsFileLoaded(true);
      }
      return;
    }
  }
  const QString aside = FJournal.KeepAside(Now());
  const QString msg = aside.isEmpty()
                          ? "The unsaved recording could not be kept aside: " + FJournal.FileName()
                          : "The unsaved recording was kept as " + aside;
  KvSysHelper().SysLog_Add(nullptr, "Recording journal", msg);
}

void TLvxJournalRecovery::ProgramEnds() {
  if (FWait) FWait->SetEnabled(false);
  if (FMainForm.isHidden()) FJournal.Retire();
}
