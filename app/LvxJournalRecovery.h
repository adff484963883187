#pragma once
// Keeps the program's recording safe: owns the recording journal the commander writes to,
// and at the start after an unclean end offers, once the main window is up and the splash
// is gone, to bring the journaled readings back as an unsaved document.
#include <QString>
#include <memory>

#include "KvRecordingJournal.h"

class QWidget;
class TDmKv_COM_Commander;
class TKvTimer;

class TLvxJournalRecovery {
 public:
  TLvxJournalRecovery(TDmKv_COM_Commander& commander, QWidget& mainForm);
  ~TLvxJournalRecovery();

  // The program's journal in the user's application data folder.
  static QString JournalFileName();
  // The question asked for a journal of n readings from first to last.
  static QString Question(size_t n, double first, double last);

  // Asks about a journal left behind, if any; the start-up runs it once the window is up.
  void OfferRecovery();
  // The program ends: a window closed through its save question leaves nothing unsaved
  // behind, so the journal goes; otherwise it stays for the next start.
  void ProgramEnds();

 private:
  void WaitForWindow();

  TDmKv_COM_Commander& FCommander;
  QWidget& FMainForm;
  TKvRecordingJournal FJournal;
  TKvTimer* FWait = nullptr;
};
