#pragma once
// A byte buffer for a whole document. Small ones live on the heap; from a megabyte on the
// bytes are pages straight from the system, mapped in one go (on huge pages where the system
// offers them) and moved rather than copied when the buffer grows: a fault per page costs more
// than the copy of a document into it.
#include <algorithm>
#include <cstddef>

class TKvPageBuffer {
 public:
  TKvPageBuffer() = default;
  ~TKvPageBuffer() { Clear(); }
  TKvPageBuffer(const TKvPageBuffer&) = delete;
  TKvPageBuffer& operator=(const TKvPageBuffer&) = delete;

  char* Data() { return FData; }
  const char* Data() const { return FData; }
  size_t Size() const { return FSize; }
  size_t Capacity() const { return FCapacity; }
  // Room for `capacity` bytes; the content stays.
  void Reserve(size_t capacity);
  // Bytes past the old size are undefined. Grows by half the capacity at least, so that
  // appends cost amortised constant time.
  void Resize(size_t size) {
    if (size > FCapacity) Grow(size);
    FSize = size;
  }
  // Room for `count` bytes past the size, grown as Resize grows it.
  void Expect(size_t count) {
    if (FSize + count > FCapacity) Grow(FSize + count);
  }
  // Gives back what a heap buffer holds beyond its size, so that a read past the data is one.
  void ShrinkToFit();
  void Clear();

  // Zeroed pages, all backed at once, starting on a huge-page boundary where they span one;
  // bad_alloc when the system has none left.
  static char* MapPages(size_t bytes);
  static void UnmapPages(char* pages, size_t bytes);

 private:
  void Grow(size_t size) { Reserve(std::max({size, FCapacity + FCapacity / 2, size_t(4096)})); }

  static constexpr size_t MappedFrom = size_t(1) << 20;
  char* FData = nullptr;
  size_t FSize = 0, FCapacity = 0;
  bool FMapped = false;
};
