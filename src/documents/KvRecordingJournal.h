#pragma once
// The journal of the recording in progress: every reading posted while recording is also
// queued for the journal file, which is created with the first one. Saving, replacing or
// deliberately dropping the document retires the journal; a journal found at the next start
// means the last recording ended without that, and can be recovered.
#include <QString>
#include <functional>

#include "KvJournalWriter.h"

class TKvRecordingJournal {
 public:
  explicit TKvRecordingJournal(QString fileName) : FFileName(std::move(fileName)) {}

  const QString& FileName() const { return FFileName; }
  // Rows of the document already saved elsewhere, which the journal continues; goes into the
  // header of the next journal started.
  uint64_t Base = 0;
  // Wait for room rather than count a reading as not journaled (the headless logger, where
  // nothing else waits on the thread).
  bool WaitWhenFull = false;
  // Told once per kind of trouble: the journal can't be written, or readings were not queued.
  std::function<void(const QString& msg)> OnProblem;

  void Append(const TKvReadingValues& r);
  // Everything appended so far is on disk.
  void Flush() { FWriter.Flush(); }
  // The document is safe (saved) or deliberately dropped: the journal goes.
  void Retire();
  // Renames the journal to "<name>_<yyyy-mm-dd_hhnnss>.<ext>" beside it; returns the new
  // name, or empty when that failed.
  QString KeepAside(double now);
  // Whether another process holds the journal open (a second instance recording).
  bool InUseElsewhere() const;

 private:
  void Report(const QString& msg);

  QString FFileName;
  TKvJournalWriter FWriter;
  bool FOpenFailed = false;
  bool FReportedError = false;
  uint64_t FReportedDropped = 0;
};
