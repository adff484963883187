#include "KvStatusQueue.h"

bool TKvStatusQueue::KeepsLocked(const TTally* tally) const {
  return (!tally || tally->Kept < MaxRepeats) && FEntries.size() < MaxQueued;
}

bool TKvStatusQueue::Add(const QString& msg, bool bLog) {
  std::lock_guard<std::mutex> lock(FLock);
  const auto found = FTallies.find(msg);
  TTally* tally = found == FTallies.end() ? nullptr : &found.value();
  if (!KeepsLocked(tally)) {
    // A text at its bound is a repeat; any other text finds the queue full.
    if (tally && tally->Kept >= MaxRepeats) {
      if (tally->Dropped++ == 0) FRepeated.push_back(msg);
    } else {
      ++FDropped;
    }
    return false;
  }
  ++(tally ? *tally : FTallies[msg]).Kept;
  FEntries.push_back({msg, bLog});
  return FEntries.size() == 1;
}

bool TKvStatusQueue::Keeps(const QString& msg) const {
  std::lock_guard<std::mutex> lock(FLock);
  const auto found = FTallies.constFind(msg);
  return KeepsLocked(found == FTallies.cend() ? nullptr : &found.value());
}

size_t TKvStatusQueue::Count() const {
  std::lock_guard<std::mutex> lock(FLock);
  return FEntries.size();
}

std::vector<TKvStatusQueue::TEntry> TKvStatusQueue::Take() {
  std::vector<TEntry> batch;
  QHash<QString, TTally> tallies;
  std::vector<QString> repeated;
  long long dropped = 0;
  {
    std::lock_guard<std::mutex> lock(FLock);
    batch.swap(FEntries);
    tallies.swap(FTallies);
    repeated.swap(FRepeated);
    dropped = FDropped;
    FDropped = 0;
  }
  for (const QString& msg : repeated)
    batch.push_back({QString("%1 repeats of \"%2\" were dropped")
                         .arg(QString::number(tallies.value(msg).Dropped), msg),
                     true});
  if (dropped > 0)
    batch.push_back({QString("%1 further status texts were dropped").arg(dropped), true});
  return batch;
}
