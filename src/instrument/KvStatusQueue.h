#pragma once
// The status texts waiting for the main thread. Any thread may add; the main thread takes
// them all at once. The queue is bounded, so that a stream of garbage faster than the main
// thread can show its failure texts costs a fixed amount of memory, and bounded per text,
// so that one text repeated without end cannot crowd out a different one: a text is kept at
// most MaxRepeats times in a batch and the batch holds at most MaxQueued texts. What is not
// kept is counted, per text for repeats and in all for the rest, and the counts are told
// with the next batch.
#include <QHash>
#include <QString>
#include <mutex>
#include <vector>

class TKvStatusQueue {
 public:
  struct TEntry {
    QString Msg;
    bool bLog;
  };
  static constexpr size_t MaxQueued = 64;
  static constexpr int MaxRepeats = 8;

  // Whether the text is the first of a new batch (the caller then arranges for a flush).
  // A text not kept says false.
  bool Add(const QString& msg, bool bLog);
  // Whether Add would keep the text now.
  bool Keeps(const QString& msg) const;
  // The batch in order, followed by one text for each text whose repeats were dropped and
  // one that tells how many other texts were dropped, if any.
  std::vector<TEntry> Take();
  size_t Count() const;

 private:
  struct TTally {
    int Kept = 0;
    long long Dropped = 0;
  };
  bool KeepsLocked(const TTally* tally) const;

  mutable std::mutex FLock;
  std::vector<TEntry> FEntries;     // guarded by FLock
  QHash<QString, TTally> FTallies;  // guarded by FLock; one per text in FEntries
  std::vector<QString> FRepeated;   // guarded by FLock; texts with dropped repeats, in order
  long long FDropped = 0;           // guarded by FLock
};
