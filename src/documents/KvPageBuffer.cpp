#include "KvPageBuffer.h"

#include <sys/mman.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <new>

namespace {
#ifndef MADV_POPULATE_WRITE
constexpr int MADV_POPULATE_WRITE = 23;
#endif
constexpr size_t HugePage = size_t(2) << 20;

// The range is backed at once; a system without the advice faults the pages in as they are
// touched instead.
void Populate(char* p, size_t bytes) {
  madvise(p, bytes, MADV_HUGEPAGE);
  madvise(p, bytes, MADV_POPULATE_WRITE);
}
}  // namespace

char* TKvPageBuffer::MapPages(size_t bytes) {
  // A huge page needs an aligned start: the mapping is taken a huge page longer and trimmed.
  const size_t extra = bytes >= HugePage ? HugePage : 0;
  void* p =
      mmap(nullptr, bytes + extra, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  if (p == MAP_FAILED) throw std::bad_alloc();
  char* start = static_cast<char*>(p);
  if (extra > 0) {
    char* aligned = reinterpret_cast<char*>((reinterpret_cast<uintptr_t>(start) + HugePage - 1) &
                                            ~(HugePage - 1));
    if (aligned > start) munmap(start, size_t(aligned - start));
    if (aligned + bytes < start + bytes + extra)
      munmap(aligned + bytes, size_t(start + bytes + extra - (aligned + bytes)));
    start = aligned;
  }
  Populate(start, bytes);
  return start;
}

void TKvPageBuffer::UnmapPages(char* pages, size_t bytes) {
  munmap(pages, bytes);
}

void TKvPageBuffer::Reserve(size_t capacity) {
  if (capacity <= FCapacity) return;
  if (capacity < MappedFrom) {
    char* p = static_cast<char*>(std::realloc(FData, capacity));
    if (!p) throw std::bad_alloc();
    FData = p;
  } else if (!FMapped) {
    char* p = MapPages(capacity);
    if (FSize > 0) std::memcpy(p, FData, FSize);
    std::free(FData);
    FData = p;
    FMapped = true;
  } else {
    void* p = mremap(FData, FCapacity, capacity, MREMAP_MAYMOVE);
    if (p == MAP_FAILED) throw std::bad_alloc();
    FData = static_cast<char*>(p);
    Populate(FData + FCapacity, capacity - FCapacity);
  }
  FCapacity = capacity;
}

void TKvPageBuffer::ShrinkToFit() {
  if (FMapped || FSize == FCapacity || FSize == 0) return;
  if (char* p = static_cast<char*>(std::realloc(FData, FSize))) {
    FData = p;
    FCapacity = FSize;
  }
}

void TKvPageBuffer::Clear() {
  if (FMapped)
    UnmapPages(FData, FCapacity);
  else
    std::free(FData);
  FData = nullptr;
  FSize = FCapacity = 0;
  FMapped = false;
}
