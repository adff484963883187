#include "KvRecordingJournal.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <QFile>
#include <QFileInfo>

#include "KvDateTime.h"

void TKvRecordingJournal::Append(const TKvReadingValues& r) {
  if (!FWriter.IsOpen() && !FOpenFailed) {
    if (!FWriter.Open(FFileName, Base, Now())) {
      FOpenFailed = true;
      Report("The recording journal cannot be written: " + FWriter.ErrorText());
      return;
    }
  }
  if (FWriter.Append(r, WaitWhenFull)) return;
  if (!FWriter.IsOpen()) return;
  const QString error = FWriter.ErrorText();
  if (!error.isEmpty() && !FReportedError) {
    FReportedError = true;
    Report("The recording journal cannot be written: " + error);
  }
  // Reported at the first and then at every thousandth reading the journal had no room for.
  const uint64_t dropped = FWriter.Dropped();
  if (dropped > 0 && (FReportedDropped == 0 || dropped - FReportedDropped >= 1000)) {
    FReportedDropped = dropped;
    Report(QString("The recording journal is behind: %1 readings are kept in memory only")
               .arg(dropped));
  }
}

void TKvRecordingJournal::Retire() {
  FWriter.Close();
  FOpenFailed = FReportedError = false;
  FReportedDropped = 0;
  if (!InUseElsewhere()) QFile::remove(FFileName);
}

QString TKvRecordingJournal::KeepAside(double now) {
  FWriter.Close();
  const QFileInfo info(FFileName);
  const QString aside = info.path() + "/" + info.completeBaseName() + "_" +
                        FormatDateTime("yyyy-mm-dd_hhnnss", now) + "." + info.suffix();
  return QFile::rename(FFileName, aside) ? aside : QString();
}

bool TKvRecordingJournal::InUseElsewhere() const {
  if (FWriter.IsOpen()) return false;
  const int fd = ::open(FFileName.toLocal8Bit().constData(), O_RDONLY | O_CLOEXEC);
  if (fd < 0) return false;
  const bool held = ::flock(fd, LOCK_SH | LOCK_NB) != 0;
  ::close(fd);
  return held;
}

void TKvRecordingJournal::Report(const QString& msg) {
  if (OnProblem) OnProblem(msg);
}
