#pragma once
// Row handles in table or view order. The array keeps free room at both ends, so that an
// insertion moves only the shorter side: new readings land at the end of the ascending view
// and near the front of the descending one, and both stay O(1) at any size.
#include <cstddef>
#include <cstdint>

#include "KvPageBuffer.h"

class TKvDatSRowList {
 public:
  int Count() const { return FCount; }
  uint32_t operator[](int i) const { return begin()[i]; }
  uint32_t* begin() { return Data() + FHead; }
  uint32_t* end() { return begin() + FCount; }
  const uint32_t* begin() const { return Data() + FHead; }
  const uint32_t* end() const { return begin() + FCount; }

  void SetMinimumCapacity(int capacity);
  int Capacity() const { return int(FBuf.Capacity() / sizeof(uint32_t)); }
  void Add(uint32_t handle) { Insert(FCount, handle); }
  void Insert(int pos, uint32_t handle);
  void Delete(int pos);
  void Clear();
  // Drops every handle the predicate names, keeping the order of the rest, in one pass.
  template <typename Pred>
  void RemoveIf(Pred pred) {
    uint32_t* out = begin();
    for (uint32_t* p = begin(); p != end(); ++p)
      if (!pred(*p)) *out++ = *p;
    FCount = int(out - begin());
    if (FCount == 0) FHead = 0;
  }
  // Searches from both ends at once: rows near either end are found at once.
  int IndexOf(uint32_t handle) const;
  size_t MemoryBytes() const { return FBuf.Capacity(); }

 private:
  void Grow(bool needFront);
  // Keeps the handles where they are.
  void SetCapacity(int capacity) { FBuf.Reserve(size_t(capacity) * sizeof(uint32_t)); }
  uint32_t* Data() { return reinterpret_cast<uint32_t*>(FBuf.Data()); }
  const uint32_t* Data() const { return reinterpret_cast<const uint32_t*>(FBuf.Data()); }

  // A large list takes pages mapped at once: a view of a long recording is megabytes.
  TKvPageBuffer FBuf;
  int FHead = 0;
  int FCount = 0;
};
