#include "KvStreamPort.h"

#include <algorithm>
#include <cstring>

void TKvStreamPort::Push(const QByteArray& bytes) {
  std::lock_guard<std::mutex> lock(FLock);
  FPending += bytes;
}

bool TKvStreamPort::Active() const {
  std::lock_guard<std::mutex> lock(FLock);
  return FActive;
}

void TKvStreamPort::SetActive(bool on) {
  std::lock_guard<std::mutex> lock(FLock);
  FActive = on;
}

int TKvStreamPort::BufRec() {
  std::lock_guard<std::mutex> lock(FLock);
  return int(FPending.size());
}

int TKvStreamPort::ReceiveData(uint8_t* buffer, int len) {
  std::lock_guard<std::mutex> lock(FLock);
  const int n = std::min<int>(len, int(FPending.size()));
  std::memcpy(buffer, FPending.constData(), size_t(n));
  FPending.remove(0, n);
  return n;
}
