#include "KvDatS.h"

#include <algorithm>
#include <cassert>
#include <cmath>
#include <cstring>

#include "KvMemErrors.h"
#include "KvPageBuffer.h"

// ---- record pool ------------------------------------------------------------------------

void TKvDatSRecordPool::SetRecordSize(int size) {
  constexpr int MaxChunkBits = 14;
  constexpr size_t MaxChunkBytes = size_t(256) << 10;
  Clear();
  FSize = size;
  FChunkBits = MaxChunkBits;
  while (FChunkBits > 0 && (size_t(std::max(size, 1)) << FChunkBits) > MaxChunkBytes) --FChunkBits;
  FChunkMask = (1u << FChunkBits) - 1;
}

uint32_t TKvDatSRecordPool::Alloc() {
  if (!FFree.empty()) {
    const uint32_t index = FFree.back();
    FFree.pop_back();
    std::memset(At(index), 0, FSize);
    return index;
  }
  if (FNext == KvNoBuffer) throw EKvMemError(QStringLiteral("Out of memory"));
  const uint32_t index = FNext++;
  if ((index >> FChunkBits) >= FChunks.size()) AddChunk();
  return index;
}

void TKvDatSRecordPool::AddChunk() {
  constexpr int MaxChunksPerBlock = 16;
  const size_t bytes = ChunkBytes();
  if (FChunks.empty()) {
    void* chunk = std::calloc(bytes, 1);
    if (!chunk) throw std::bad_alloc();
    FBlocks.emplace_back(static_cast<uint8_t*>(chunk), TFreeBlock{0});
    FBlockBytes += bytes;
    FChunks.push_back(FBlocks.back().get());
    return;
  }
  if (FSpareChunks == 0) {
    const int chunks = std::min<int>(int(FChunks.size()), MaxChunksPerBlock);
    const size_t blockBytes = bytes * size_t(chunks);
    FBlocks.emplace_back(reinterpret_cast<uint8_t*>(TKvPageBuffer::MapPages(blockBytes)),
                         TFreeBlock{blockBytes});
    FBlockBytes += blockBytes;
    FSpareChunks = chunks;
  }
  const size_t blockBytes = FBlocks.back().get_deleter().Bytes;
  FChunks.push_back(FBlocks.back().get() + blockBytes - bytes * size_t(FSpareChunks--));
}

void TKvDatSRecordPool::TFreeBlock::operator()(uint8_t* p) const {
  if (Bytes == 0)
    std::free(p);
  else
    TKvPageBuffer::UnmapPages(reinterpret_cast<char*>(p), Bytes);
}

void TKvDatSRecordPool::Free(uint32_t index) {
  FFree.push_back(index);
}

void TKvDatSRecordPool::Clear() {
  FChunks.clear();
  FBlocks.clear();
  FBlockBytes = 0;
  FSpareChunks = 0;
  FFree.clear();
  FFree.shrink_to_fit();
  FNext = 0;
}

size_t TKvDatSRecordPool::MemoryBytes() const {
  return FBlockBytes + FFree.capacity() * sizeof(uint32_t);
}

// ---- columns ----------------------------------------------------------------------------

void TKvDatSColumn::SetDataType(TKvDataType type) {
  switch (type) {
    case dtSingle:
      Precision = 8;
      break;
    case dtDouble:
      Precision = 16;
      break;
    case dtExtended:
    case dtCurrency:
      Precision = 20;
      break;
    case dtBCD:
    case dtFmtBCD:
      Precision = 64;
      break;
    default:
      Precision = 0;
  }
  if (SourceDataType == FDataType) SourceDataType = type;
  FDataType = type;
}

void TKvDatSColumn::SetAttribute(TKvDataAttribute a, bool on) {
  Attributes = on ? Attributes | KvBit(a) : Attributes & ~KvBit(a);
  if (a == caAllowNull) Options = on ? Options | KvBit(coAllowNull) : Options & ~KvBit(coAllowNull);
  if (a == caReadOnly && on) Options |= KvBit(coReadOnly);
}

TKvDatSColumn& TKvDatSColumnList::Add(const QString& name, TKvDataType type) {
  FItems.push_back(std::make_unique<TKvDatSColumn>());
  TKvDatSColumn& c = *FItems.back();
  c.Name = name;
  c.SetDataType(type);
  return c;
}

int TKvDatSColumnList::IndexOf(const QString& name) const {
  for (int i = 0; i < Count(); ++i)
    if (FItems[i]->Name.compare(name, Qt::CaseInsensitive) == 0) return i;
  return -1;
}

int TKvDatSColumnList::UpdateLayout() {
  FNullBytes = (Count() + 7) / 8;
  int offset = FNullBytes;
  for (auto& c : FItems) {
    c->FOffset = offset;
    offset += KvDataTypeInlineSize(c->DataType());
  }
  return std::max(offset, 1);
}

// ---- views ------------------------------------------------------------------------------

namespace {
template <typename T>
int CompareRaw(const uint8_t* a, const uint8_t* b) {
  T x, y;
  std::memcpy(&x, a, sizeof(T));
  std::memcpy(&y, b, sizeof(T));
  return x < y ? -1 : (x > y ? 1 : 0);
}

int CompareFloat(double x, double y) {
  const double d = x - y;
  return d > 1e-13 ? 1 : (d < -1e-13 ? -1 : 0);
}

int CompareValues(TKvDataType type, const uint8_t* a, const uint8_t* b) {
  switch (type) {
    case dtBoolean: {
      uint16_t x, y;
      std::memcpy(&x, a, 2);
      std::memcpy(&y, b, 2);
      return int(x != 0) - int(y != 0);
    }
    case dtSByte:
      return CompareRaw<int8_t>(a, b);
    case dtByte:
      return CompareRaw<uint8_t>(a, b);
    case dtInt16:
      return CompareRaw<int16_t>(a, b);
    case dtUInt16:
      return CompareRaw<uint16_t>(a, b);
    case dtInt32:
    case dtDate:
    case dtTime:
      return CompareRaw<int32_t>(a, b);
    case dtUInt32:
      return CompareRaw<uint32_t>(a, b);
    case dtInt64:
    case dtCurrency:
      return CompareRaw<int64_t>(a, b);
    case dtUInt64:
      return CompareRaw<uint64_t>(a, b);
    case dtSingle: {
      float x, y;
      std::memcpy(&x, a, 4);
      std::memcpy(&y, b, 4);
      return CompareFloat(x, y);
    }
    case dtDouble:
    case dtDateTime: {
      double x, y;
      std::memcpy(&x, a, 8);
      std::memcpy(&y, b, 8);
      return CompareFloat(x, y);
    }
    default: {
      const int n = KvDataTypeInlineSize(type);
      const int c = n > 0 ? std::memcmp(a, b, n) : 0;
      return c < 0 ? -1 : (c > 0 ? 1 : 0);
    }
  }
}
}  // namespace

int TKvDatSView::CompareColumns(const uint8_t* a, const uint8_t* b) const {
  for (const TSortColumn& sc : SortColumns) {
    const bool nullA = FTable.IsNull(a, sc.Column), nullB = FTable.IsNull(b, sc.Column);
    int c;
    bool isNullOrder = nullA || nullB;
    if (isNullOrder)
      c = nullA == nullB ? 0 : (nullA ? -1 : 1);
    else if (KvDataTypeIsVariable(FTable.Columns[sc.Column].DataType()))
      c = FTable.VarData(a, sc.Column) < FTable.VarData(b, sc.Column)
              ? -1
              : (FTable.VarData(b, sc.Column) < FTable.VarData(a, sc.Column) ? 1 : 0);
    else
      c = CompareValues(FTable.Columns[sc.Column].DataType(), FTable.Cell(a, sc.Column),
                        FTable.Cell(b, sc.Column));
    const bool keepNullSign = isNullOrder && (SortOptions & KvBit(soDescNullLast));
    if (sc.Descending && !keepNullSign) c = -c;
    if (c != 0) return c;
  }
  return 0;
}

int TKvDatSView::Compare(uint32_t a, uint32_t b) const {
  int c = CompareColumns(FTable.RowData(a), FTable.RowData(b));
  if (c != 0 || (SortOptions & (KvBit(soUnique) | KvBit(soPrimary)))) return c;
  const uint32_t ida = FTable.Row(a).RowID, idb = FTable.Row(b).RowID;
  return ida < idb ? -1 : (ida > idb ? 1 : 0);
}

int TKvDatSView::Insert(uint32_t handle) {
  // The place is after every row that compares at or below the new one. New readings land
  // at one of the two ends, so the search gallops inwards from both ends before it halves.
  auto atOrBelow = [&](int i) { return Compare(FRows[i], handle) <= 0; };
  int lo = 0, hi = FRows.Count();
  for (int step = 1; lo < hi; step *= 2) {
    const int front = lo + step - 1;
    if (front >= hi) break;
    if (!atOrBelow(front)) {
      hi = front;
      break;
    }
    lo = front + 1;
    const int back = hi - step;
    if (back < lo) break;
    if (atOrBelow(back)) {
      lo = back + 1;
      break;
    }
    hi = back;
  }
  while (lo < hi) {
    const int mid = (lo + hi) / 2;
    if (atOrBelow(mid))
      lo = mid + 1;
    else
      hi = mid;
  }
  FRows.Insert(lo, handle);
  FLastInsertPos = lo;
  return lo;
}

int TKvDatSView::Remove(uint32_t handle) {
  int lo = 0, hi = FRows.Count() - 1;
  while (lo <= hi) {
    const int mid = (lo + hi) / 2;
    if (Compare(FRows[mid], handle) < 0)
      lo = mid + 1;
    else
      hi = mid - 1;
  }
  int pos = lo;
  while (pos < FRows.Count() && FRows[pos] != handle && Compare(FRows[pos], handle) == 0) ++pos;
  if (pos >= FRows.Count() || FRows[pos] != handle) pos = FRows.IndexOf(handle);
  if (pos >= 0) FRows.Delete(pos);
  return pos;
}

void TKvDatSView::QuickSort(int lo, int hi) {
  uint32_t* a = FRows.begin();
  // Runs below five rows are left to the closing insertion sort.
  while (hi - lo + 1 >= 5) {
    const int mid = (lo + hi) / 2;
    if (Compare(a[mid], a[lo]) < 0) std::swap(a[mid], a[lo]);
    if (Compare(a[hi], a[lo]) < 0) std::swap(a[hi], a[lo]);
    if (Compare(a[hi], a[mid]) < 0) std::swap(a[hi], a[mid]);
    const uint32_t pivot = a[mid];
    int i = lo, j = hi;
    do {
      // Bounded: a document's values need not compare consistently (NaN, near-equal doubles).
      while (i < hi && Compare(a[i], pivot) < 0) ++i;
      while (j > lo && Compare(a[j], pivot) > 0) --j;
      if (i <= j) std::swap(a[i++], a[j--]);
    } while (i <= j);
    if (j - lo < hi - i) {
      QuickSort(lo, j);
      lo = i;
    } else {
      QuickSort(i, hi);
      hi = j;
    }
  }
}

namespace {
// A sort key for an integer-like cell: NULL is 0, a value is 2^32 plus its biased bits.
bool IntegerLike(TKvDataType t) {
  switch (t) {
    case dtBoolean:
    case dtSByte:
    case dtByte:
    case dtInt16:
    case dtUInt16:
    case dtInt32:
    case dtUInt32:
    case dtDate:
    case dtTime:
      return true;
    default:
      return false;
  }
}

uint64_t IntegerKey(TKvDataType t, const uint8_t* cell) {
  switch (t) {
    case dtBoolean: {
      uint16_t w;
      std::memcpy(&w, cell, 2);
      return w != 0;
    }
    case dtSByte:
      return uint32_t(int32_t(int8_t(cell[0]))) ^ 0x80000000u;
    case dtByte:
      return cell[0];
    case dtInt16: {
      int16_t v;
      std::memcpy(&v, cell, 2);
      return uint32_t(int32_t(v)) ^ 0x80000000u;
    }
    case dtUInt16: {
      uint16_t v;
      std::memcpy(&v, cell, 2);
      return v;
    }
    case dtUInt32: {
      uint32_t v;
      std::memcpy(&v, cell, 4);
      return v;
    }
    default: {
      int32_t v;
      std::memcpy(&v, cell, 4);
      return uint32_t(v) ^ 0x80000000u;
    }
  }
}
}  // namespace

bool TKvDatSView::RebuildByKeys() {
  constexpr size_t MaxKeys = 3;
  if (SortColumns.size() > MaxKeys || (SortOptions & KvBit(soDescNullLast))) return false;
  for (const TSortColumn& sc : SortColumns)
    if (!IntegerLike(FTable.Columns[sc.Column].DataType())) return false;
  // Keys are taken once per row, so the sort compares plain integers; the place in the
  // table breaks ties between equal row numbers.
  struct TKey {
    uint64_t K[MaxKeys];
    uint32_t RowID, Pos;
  };
  const bool byRowID = !(SortOptions & (KvBit(soUnique) | KvBit(soPrimary)));
  const int count = FTable.RowCount();
  auto keyOf = [&](int i) {
    const uint32_t h = FTable.Rows()[i];
    const uint8_t* buf = FTable.RowData(h);
    TKey key{};
    for (size_t c = 0; c < SortColumns.size(); ++c) {
      const TSortColumn& sc = SortColumns[c];
      const uint64_t k =
          FTable.IsNull(buf, sc.Column)
              ? 0
              : (uint64_t(1) << 32) |
                    IntegerKey(FTable.Columns[sc.Column].DataType(), FTable.Cell(buf, sc.Column));
      key.K[c] = sc.Descending ? ~k : k;
    }
    key.RowID = byRowID ? FTable.Row(h).RowID : 0;
    key.Pos = uint32_t(i);
    return key;
  };
  auto before = [](const TKey& a, const TKey& b) {
    for (size_t c = 0; c < MaxKeys; ++c)
      if (a.K[c] != b.K[c]) return a.K[c] < b.K[c];
    return a.RowID != b.RowID ? a.RowID < b.RowID : a.Pos < b.Pos;
  };
  auto sameKeys = [](const TKey& a, const TKey& b) {
    return std::equal(std::begin(a.K), std::end(a.K), std::begin(b.K));
  };
  // A recording is stored in the order it was taken: the ascending view is the table order,
  // and the descending one the same runs of equal keys from the last to the first. Both are
  // recognised in one pass without a key array.
  bool ascending = true, runsReversed = true;
  TKey previous = count > 0 ? keyOf(0) : TKey{};
  for (int i = 1; i < count && (ascending || runsReversed); ++i) {
    const TKey key = keyOf(i);
    ascending = ascending && before(previous, key);
    runsReversed =
        runsReversed && (sameKeys(previous, key) ? before(previous, key) : before(key, previous));
    previous = key;
  }
  if (ascending) {
    for (uint32_t h : FTable.Rows()) FRows.Add(h);
    return true;
  }
  if (runsReversed) {
    for (int end = count; end > 0;) {
      int start = end - 1;
      const TKey last = keyOf(end - 1);
      while (start > 0 && sameKeys(keyOf(start - 1), last)) --start;
      for (int i = start; i < end; ++i) FRows.Add(FTable.Rows()[i]);
      end = start;
    }
    return true;
  }
  std::vector<TKey> keys(count);
  for (int i = 0; i < count; ++i) keys[i] = keyOf(i);
  std::sort(keys.begin(), keys.end(), before);
  for (const TKey& key : keys) FRows.Add(FTable.Rows()[key.Pos]);
  return true;
}

void TKvDatSView::Rebuild() {
  FRows.Clear();
  FRows.SetMinimumCapacity(FTable.RowCount());
  if (RebuildByKeys()) return;
  for (uint32_t h : FTable.Rows()) FRows.Add(h);
  QuickSort(0, FRows.Count() - 1);
  uint32_t* a = FRows.begin();
  for (int i = 1; i < FRows.Count(); ++i) {
    const uint32_t h = a[i];
    int j = i - 1;
    while (j >= 0 && Compare(a[j], h) > 0) {
      a[j + 1] = a[j];
      --j;
    }
    a[j + 1] = h;
  }
}

// ---- journal ----------------------------------------------------------------------------

void TKvDatSUpdatesJournal::RegisterRow(TKvDatSTable& table, uint32_t row) {
  RegisterRowAs(table, row, FChangeNumber++);
}

void TKvDatSUpdatesJournal::RegisterRowAs(TKvDatSTable& table, uint32_t row, uint32_t n) {
  table.Row(row).ChangeNumber = n;
  FChanges.push_back({&table, row});
}

void TKvDatSUpdatesJournal::UnregisterRow(TKvDatSTable& table, uint32_t row) {
  // Acceptance follows registration at once, so the entry is nearly always the last.
  for (size_t i = FChanges.size(); i-- > 0;)
    if (FChanges[i].Table == &table && FChanges[i].Row == row) {
      FChanges.erase(FChanges.begin() + i);
      break;
    }
  table.Row(row).ChangeNumber = KvNoRowID;
}

void TKvDatSUpdatesJournal::AcceptChanges(TKvDatSTable* table) {
  // Taken out of the journal first and per table at once: a document's journal may name
  // thousands of rows, and once each would cost a search of the journal and of the table.
  std::vector<std::pair<TKvDatSTable*, uint32_t>> taken;
  std::erase_if(FChanges, [&](const TChange& c) {
    if (table && c.Table != table) return false;
    taken.emplace_back(c.Table, c.Row);
    return true;
  });
  std::stable_sort(taken.begin(), taken.end(),
                   [](const auto& a, const auto& b) { return a.first < b.first; });
  for (size_t i = 0; i < taken.size();) {
    TKvDatSTable* t = taken[i].first;
    std::vector<uint32_t> rows;
    for (; i < taken.size() && taken[i].first == t; ++i) {
      t->Row(taken[i].second).ChangeNumber = KvNoRowID;
      rows.push_back(taken[i].second);
    }
    t->AcceptRows(std::move(rows));
  }
}

int TKvDatSUpdatesJournal::ChangeCount(const TKvDatSTable* table) const {
  return int(std::count_if(FChanges.begin(), FChanges.end(),
                           [table](const TChange& c) { return !table || c.Table == table; }));
}

void TKvDatSUpdatesJournal::Forget(const TKvDatSTable& table) {
  std::erase_if(FChanges, [&table](const TChange& c) { return c.Table == &table; });
}

// ---- table ------------------------------------------------------------------------------

TKvDatSTable::TKvDatSTable(TKvDatSManager* manager) : FManager(manager) {
  UpdateLayout();
}

TKvDatSTable::~TKvDatSTable() {
  if (TKvDatSUpdatesJournal* j = Journal()) j->Forget(*this);
}

int TKvDatSTable::TabID() const {
  return FManager ? FManager->IndexOfTable(this) : -1;
}

TKvDatSUpdatesJournal* TKvDatSTable::Journal() const {
  return FManager && FManager->UpdatesRegistry ? &FManager->Updates() : nullptr;
}

void TKvDatSTable::UpdateLayout() {
  ClearRows();
  FBufferPool.SetRecordSize(Columns.UpdateLayout());
  FAllNull.assign(FBufferPool.RecordSize(), 0);
  FHasVarColumns = false;
  for (int i = 0; i < Columns.Count(); ++i)
    FHasVarColumns |= KvDataTypeIsVariable(Columns[i].DataType());
}

uint32_t TKvDatSTable::NewRow() {
  const uint32_t h = FRowPool.Alloc();
  new (FRowPool.At(h)) TKvDatSRow();
  Row(h).Proposed = NewBuffer();
  return h;
}

void TKvDatSTable::FreeBuffer(uint32_t buffer) {
  if (buffer == KvNoBuffer) return;
  if (FHasVarColumns) {
    const uint8_t* buf = Buffer(buffer);
    for (int i = 0; i < Columns.Count(); ++i)
      if (KvDataTypeIsVariable(Columns[i].DataType()) && !IsNull(buf, i)) {
        uint32_t slot;
        std::memcpy(&slot, Cell(buf, i), 4);
        FBlobs[slot].clear();
        FFreeBlobs.push_back(slot);
      }
  }
  FBufferPool.Free(buffer);
}

void TKvDatSTable::FreeRow(uint32_t row) {
  TKvDatSRow& r = Row(row);
  FreeBuffer(r.Original);
  FreeBuffer(r.Current);
  FreeBuffer(r.Proposed);
  FRowPool.Free(row);
}

void TKvDatSTable::SetNull(uint8_t* buf, int col, bool null) {
  if (null)
    buf[col >> 3] &= uint8_t(~(1u << (col & 7)));
  else
    buf[col >> 3] |= uint8_t(1u << (col & 7));
}

QByteArray TKvDatSTable::VarData(const uint8_t* buf, int col) const {
  if (IsNull(buf, col)) return QByteArray();
  uint32_t slot;
  std::memcpy(&slot, Cell(buf, col), 4);
  return FBlobs[slot];
}

void TKvDatSTable::SetVarData(uint8_t* buf, int col, const QByteArray& data) {
  uint32_t slot;
  if (!IsNull(buf, col)) {
    std::memcpy(&slot, Cell(buf, col), 4);
  } else if (!FFreeBlobs.empty()) {
    slot = FFreeBlobs.back();
    FFreeBlobs.pop_back();
  } else {
    slot = uint32_t(FBlobs.size());
    FBlobs.emplace_back();
  }
  FBlobs[slot] = data;
  std::memcpy(Cell(buf, col), &slot, 4);
  SetNull(buf, col, false);
}

uint32_t TKvDatSTable::FittingVersion(uint32_t row) const {
  const TKvDatSRow& r = Row(row);
  switch (r.RowState) {
    case rsUnchanged:
    case rsDeleted:
      return r.Original;
    case rsInserted:
    case rsModified:
      return r.Current;
    default:
      if (r.Proposed != KvNoBuffer) return r.Proposed;
      return r.Current != KvNoBuffer ? r.Current : r.Original;
  }
}

const uint8_t* TKvDatSTable::RowData(uint32_t row) const {
  const uint32_t v = FittingVersion(row);
  return v == KvNoBuffer ? FAllNull.data() : Buffer(v);
}

void TKvDatSTable::AttachRow(uint32_t row) {
  TKvDatSRow& r = Row(row);
  if (r.RowID == KvNoRowID) {
    assert(FRowIDCounter != KvNoRowID);
    r.RowID = FRowIDCounter++;
  }
  // The capacity is a hint that a document may state freely; the list grows by itself.
  constexpr int MaxReservedRows = 1 << 16;
  if (FRows.Count() == 0) FRows.SetMinimumCapacity(std::clamp(MinimumCapacity, 1, MaxReservedRows));
  FRows.Add(row);
  if (FState == tsLoadingFromStorage) return;  // the loader sets versions, views follow
  if (FState == tsLoadUnchanged3 || FState == tsLoadUnchanged4 || FState == tsLoadUnchanged6) {
    r.Original = r.Proposed;
    r.Proposed = KvNoBuffer;
    r.RowState = rsUnchanged;
  } else {
    r.Current = r.Proposed;
    r.Proposed = KvNoBuffer;
    r.RowState = rsInserted;
    if (TKvDatSUpdatesJournal* j = Journal()) j->RegisterRow(*this, row);
  }
  for (auto& v : FViews) v->Insert(row);
}

void TKvDatSTable::AcceptRow(uint32_t row) {
  TKvDatSRow& r = Row(row);
  if (TKvDatSUpdatesJournal* j = Journal(); j && r.ChangeNumber != KvNoRowID)
    j->UnregisterRow(*this, row);
  r.ChangeNumber = KvNoRowID;
  switch (r.RowState) {
    case rsInserted:
    case rsModified:
      FreeBuffer(r.Original);
      r.Original = r.Current;
      r.Current = KvNoBuffer;
      r.RowState = rsUnchanged;
      break;
    case rsDeleted: {
      for (auto& v : FViews) v->Remove(row);
      FRows.Delete(FRows.IndexOf(row));
      FreeRow(row);
      break;
    }
    default:
      break;
  }
}

void TKvDatSTable::AcceptRows(std::vector<uint32_t> rows) {
  std::sort(rows.begin(), rows.end());
  rows.erase(std::unique(rows.begin(), rows.end()), rows.end());
  std::vector<uint32_t> deleted;
  for (uint32_t row : rows) {
    if (Row(row).RowState == rsDeleted)
      deleted.push_back(row);
    else
      AcceptRow(row);
  }
  if (deleted.size() <= 1) {
    for (uint32_t row : deleted) AcceptRow(row);
    return;
  }
  auto isDeleted = [&deleted](uint32_t h) {
    return std::binary_search(deleted.begin(), deleted.end(), h);
  };
  FRows.RemoveIf(isDeleted);
  for (auto& v : FViews) v->RemoveIf(isDeleted);
  for (uint32_t row : deleted) FreeRow(row);
}

void TKvDatSTable::DeleteRow(uint32_t row) {
  TKvDatSRow& r = Row(row);
  if (r.RowState == rsInserted) {
    if (TKvDatSUpdatesJournal* j = Journal(); j && r.ChangeNumber != KvNoRowID)
      j->UnregisterRow(*this, row);
    r.RowState = rsDeleted;  // the views find it by its current data before it goes
    r.Original = r.Current;
    r.Current = KvNoBuffer;
    for (auto& v : FViews) v->Remove(row);
    FRows.Delete(FRows.IndexOf(row));
    FreeRow(row);
    return;
  }
  r.RowState = rsDeleted;
  if (TKvDatSUpdatesJournal* j = Journal()) j->RegisterRow(*this, row);
}

void TKvDatSTable::ClearRows() {
  if (TKvDatSUpdatesJournal* j = Journal()) j->Forget(*this);
  FRows.Clear();
  for (auto& v : FViews) v->Rebuild();
  FRowPool.Clear();
  FBufferPool.Clear();
  FBlobs.clear();
  FFreeBlobs.clear();
}

TKvDatSView& TKvDatSTable::AddView(const QString& name) {
  FViews.push_back(std::make_unique<TKvDatSView>(*this));
  FViews.back()->Name = name;
  return *FViews.back();
}

void TKvDatSTable::RemoveView(TKvDatSView& view) {
  std::erase_if(FViews, [&view](const auto& v) { return v.get() == &view; });
}

void TKvDatSTable::BeginLoadData(TKvDatSTableState state) {
  FState = state;
}

void TKvDatSTable::EndLoadData() {
  const bool rebuild = FState == tsLoadingFromStorage;
  FState = tsNormal;
  if (rebuild)
    for (auto& v : FViews) v->Rebuild();
}

size_t TKvDatSTable::MemoryBytes() const {
  size_t bytes = FRowPool.MemoryBytes() + FBufferPool.MemoryBytes() + FRows.MemoryBytes();
  for (const auto& v : FViews) bytes += v->MemoryBytes();
  return bytes;
}

// ---- manager ----------------------------------------------------------------------------

int TKvDatSManager::IndexOfTable(const TKvDatSTable* table) const {
  for (int i = 0; i < TableCount(); ++i)
    if (FTables[i].get() == table) return i;
  return -1;
}

TKvDatSTable* TKvDatSManager::FindTable(const QString& name) {
  for (auto& t : FTables)
    if (t->Name.compare(name, Qt::CaseInsensitive) == 0) return t.get();
  return nullptr;
}

TKvDatSTable& TKvDatSManager::AddTable(const QString& name) {
  FTables.push_back(std::make_unique<TKvDatSTable>(this));
  FTables.back()->Name = name;
  FTables.back()->CheckNotNull = CheckNotNull;
  return *FTables.back();
}

void TKvDatSManager::RemoveTable(TKvDatSTable& table) {
  std::erase_if(FTables, [&table](const auto& t) { return t.get() == &table; });
}

QString TKvDatSManager::UniqueTableName(const QString& base) const {
  auto used = [this](const QString& n) {
    return std::any_of(FTables.begin(), FTables.end(), [&n](const auto& t) {
      return t->Name.compare(n, Qt::CaseInsensitive) == 0;
    });
  };
  QString name = base;
  for (int i = 1; used(name); ++i) name = base + QStringLiteral("_%1").arg(i);
  return name;
}
