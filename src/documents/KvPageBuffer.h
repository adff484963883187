#pragma once
// A byte buffer for a whole document. Small ones live on the heap; from a megabyte on the
// bytes are pages straight from the system, mapped in one go (on huge pages where the system
// offers them) and moved rather than copied when the buffer grows: a fault per page costs more
// than the copy of a document into it.
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
  // Room for at least `capacity` bytes; the content stays.
  void Reserve(size_t capacity);
  // Bytes past the old size are undefined.
  void Resize(size_t size) {
    if (size > FCapacity) Reserve(size);
    FSize = size;
  }
  // Gives back what a heap buffer holds beyond its size, so that a read past the data is one.
  void ShrinkToFit();
  void Clear();

  // Zeroed pages, all backed at once, starting on a huge-page boundary where they span one;
  // bad_alloc when the system has none left.
  static char* MapPages(size_t bytes);
  static void UnmapPages(char* pages, size_t bytes);

 private:
  static constexpr size_t MappedFrom = size_t(1) << 20;
  char* FData = nullptr;
  size_t FSize = 0, FCapacity = 0;
  bool FMapped = false;
};
