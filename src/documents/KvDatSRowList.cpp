#include "KvDatSRowList.h"

#include <algorithm>
#include <cstring>

namespace {
void MoveHandles(uint32_t* dst, const uint32_t* src, int count) {
  if (count > 0) std::memmove(dst, src, count * sizeof(uint32_t));
}

// A list grows by a quarter from 65 items on, by 16 from 9 on, by 4 below.
int GrowthDelta(int capacity) {
  if (capacity >= 65) return capacity / 4;
  if (capacity >= 9) return 16;
  return 4;
}
}  // namespace

void TKvDatSRowList::SetMinimumCapacity(int capacity) {
  if (capacity <= Capacity()) return;
  MoveHandles(Data(), begin(), FCount);
  FHead = 0;
  SetCapacity(capacity);
}

void TKvDatSRowList::Grow(bool needFront) {
  const int capacity = Capacity();
  // Room left on the other side is reused by recentring while it is at least a quarter of
  // the list, which keeps recentring amortised O(1) per insertion.
  int newCapacity = capacity;
  if (capacity - FCount < std::max(2, FCount / 4))
    newCapacity = capacity + std::max(GrowthDelta(capacity), 2);
  const int spare = newCapacity - FCount;
  int head = spare / 2;
  if (!needFront && newCapacity != capacity) head = std::min(FHead, spare - 1);
  if (newCapacity != capacity) SetCapacity(newCapacity);
  MoveHandles(Data() + head, begin(), FCount);
  FHead = head;
}

void TKvDatSRowList::Insert(int pos, uint32_t handle) {
  const bool front = pos < FCount - pos;
  if (front && FHead == 0) Grow(true);
  if (!front && FHead + FCount == Capacity()) Grow(false);
  uint32_t* b = begin();
  if (front) {
    MoveHandles(b - 1, b, pos);
    --FHead;
  } else {
    MoveHandles(b + pos + 1, b + pos, (FCount - pos));
  }
  Data()[FHead + pos] = handle;
  ++FCount;
}

void TKvDatSRowList::Delete(int pos) {
  uint32_t* b = begin();
  if (pos < FCount - pos - 1) {
    MoveHandles(b + 1, b, pos);
    ++FHead;
  } else {
    MoveHandles(b + pos, b + pos + 1, (FCount - pos - 1));
  }
  --FCount;
  if (FCount == 0) FHead = 0;
}

void TKvDatSRowList::Clear() {
  FHead = 0;
  FCount = 0;
}

int TKvDatSRowList::IndexOf(uint32_t handle) const {
  const uint32_t* b = begin();
  for (int i = 0, j = FCount - 1; i <= j; ++i, --j) {
    if (b[i] == handle) return i;
    if (b[j] == handle) return j;
  }
  return -1;
}
