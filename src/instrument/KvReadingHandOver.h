#pragma once
// Readings from the port thread to the main thread, every one, in order. The port thread
// pushes what it decodes; the main thread takes them all at once. The queue is bounded: a
// push that finds it full waits for room (the port's own buffer and the line hold what
// arrives meanwhile), until the main thread says it is closing the port, after which
// nothing waits and what finds no room is counted.
//
// Threads: Push on the port thread, the rest on the main thread; everything is guarded by
// FLock, and nothing blocking happens under it except the wait for room, which releases it.
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <vector>

#include "KvUniqueData.h"

class TKvReadingHandOver {
 public:
  explicit TKvReadingHandOver(size_t bound = 4096) : FBound(bound) {}

  // True when the queue was empty before: the caller then wakes the main thread once.
  bool Push(const TKvUniqueData& reading);
  std::vector<TKvUniqueData> Take();
  // Before the port closes: no push may wait any more. Resume when it is open again.
  void Stop();
  void Resume();
  uint64_t Dropped() const;

 private:
  const size_t FBound;
  mutable std::mutex FLock;
  std::condition_variable FRoom;
  std::vector<TKvUniqueData> FQueue;  // guarded by FLock
  bool FStopped = false;              // guarded by FLock
  uint64_t FDropped = 0;              // guarded by FLock
};
