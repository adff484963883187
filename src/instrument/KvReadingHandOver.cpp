#include "KvReadingHandOver.h"

bool TKvReadingHandOver::Push(const TKvUniqueData& reading) {
  std::unique_lock<std::mutex> lock(FLock);
  FRoom.wait(lock, [this] { return FQueue.size() < FBound || FStopped; });
  if (FQueue.size() >= FBound) {
    ++FDropped;
    return false;
  }
  FQueue.push_back(reading);
  return FQueue.size() == 1;
}

std::vector<TKvUniqueData> TKvReadingHandOver::Take() {
  std::vector<TKvUniqueData> taken;
  {
    std::lock_guard<std::mutex> lock(FLock);
    taken.swap(FQueue);
  }
  FRoom.notify_all();
  return taken;
}

void TKvReadingHandOver::Stop() {
  {
    std::lock_guard<std::mutex> lock(FLock);
    FStopped = true;
  }
  FRoom.notify_all();
}

void TKvReadingHandOver::Resume() {
  std::lock_guard<std::mutex> lock(FLock);
  FStopped = false;
}

uint64_t TKvReadingHandOver::Dropped() const {
  std::lock_guard<std::mutex> lock(FLock);
  return FDropped;
}
