#include "KvPageBuffer.h"

#include <sys/mman.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <new>

namespace {
#ifndef MADV_POPULATE_WRITE
constexpr int MADV_POPULATE_WRITE = 23;
#endif

// The range is backed at once; a system without the advice faults the pages in as they are
// touched instead.
void Populate(char* p, size_t bytes) {
  madvise(p, bytes, MADV_HUGEPAGE);
  madvise(p, bytes, MADV_POPULATE_WRITE);
}
}  // namespace

void TKvPageBuffer::Reserve(size_t capacity) {
  if (capacity <= FCapacity) return;
  capacity = std::max({capacity, FCapacity + FCapacity / 2, size_t(4096)});
  if (capacity < MappedFrom) {
    char* p = static_cast<char*>(std::realloc(FData, capacity));
    if (!p) throw std::bad_alloc();
    FData = p;
  } else if (!FMapped) {
    void* p = mmap(nullptr, capacity, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (p == MAP_FAILED) throw std::bad_alloc();
    Populate(static_cast<char*>(p), capacity);
    if (FSize > 0) std::memcpy(p, FData, FSize);
    std::free(FData);
    FData = static_cast<char*>(p);
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
    munmap(FData, FCapacity);
  else
    std::free(FData);
  FData = nullptr;
  FSize = FCapacity = 0;
  FMapped = false;
}
