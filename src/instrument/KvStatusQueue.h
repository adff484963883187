#pragma once
// The status texts waiting for the main thread. Any thread may add; the main thread takes
// them all at once. The queue is bounded, so that a stream of garbage faster than the main
// thread can show its failure texts costs a fixed amount of memory: texts beyond the bound
// are counted, not kept, and the count is told with the next batch.
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

  // Whether the text is the first of a new batch (the caller then arranges for a flush).
  // A full queue keeps nothing and says false.
  bool Add(const QString& msg, bool bLog);
  bool Full() const;
  // The batch in order, followed by one text that tells how many were dropped, if any.
  std::vector<TEntry> Take();
  size_t Count() const;

 private:
  mutable std::mutex FLock;
  std::vector<TEntry> FEntries;  // guarded by FLock
  long long FDropped = 0;        // guarded by FLock
};
