#include "KvStatusQueue.h"

bool TKvStatusQueue::Add(const QString& msg, bool bLog) {
  std::lock_guard<std::mutex> lock(FLock);
  if (FEntries.size() >= MaxQueued) {
    ++FDropped;
    return false;
  }
  FEntries.push_back({msg, bLog});
  return FEntries.size() == 1;
}

bool TKvStatusQueue::Full() const {
  std::lock_guard<std::mutex> lock(FLock);
  return FEntries.size() >= MaxQueued;
}

size_t TKvStatusQueue::Count() const {
  std::lock_guard<std::mutex> lock(FLock);
  return FEntries.size();
}

std::vector<TKvStatusQueue::TEntry> TKvStatusQueue::Take() {
  std::vector<TEntry> batch;
  long long dropped = 0;
  {
    std::lock_guard<std::mutex> lock(FLock);
    batch.swap(FEntries);
    dropped = FDropped;
    FDropped = 0;
  }
  if (dropped > 0)
    batch.push_back({QString("%1 further status texts were dropped").arg(dropped), true});
  return batch;
}
