#pragma once
// The in-memory table engine: a manager of tables, columns with a packed row layout, rows
// with three versions, sorted views and the change journal.
//
// Rows are compact records in a pool addressed by handle (a uint32); their version buffers
// are fixed-size records of the table's layout in a second pool, with a NULL bit per
// column. Table order and view orders are arrays of handles, so a million rows cost well
// under a hundred bytes each.
#include <QByteArray>
#include <QString>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <vector>

#include "KvDatSRowList.h"
#include "KvDatSTypes.h"
#include "KvRowLayout.h"

class TKvStorage;
class TKvDatSTable;
class TKvDatSManager;

inline constexpr uint32_t KvNoRowID = 0xFFFFFFFF;
inline constexpr uint32_t KvNoBuffer = 0xFFFFFFFF;

// Fixed-size records in chunks that never move, with a free list. A chunk holds up to 16,384
// records but never much more than 256 KB, so that a wide record (a document may declare
// thousands of columns) costs memory as rows arrive, not in one block up front.
class TKvDatSRecordPool {
 public:
  explicit TKvDatSRecordPool(int recordSize = 0) { SetRecordSize(recordSize); }
  void SetRecordSize(int size);  // only while empty
  int RecordSize() const { return FSize; }
  uint32_t Alloc();  // zero-filled
  void Free(uint32_t index);
  uint8_t* At(uint32_t index) {
    return FChunks[index >> FChunkBits] + size_t(index & FChunkMask) * FSize;
  }
  const uint8_t* At(uint32_t index) const {
    return FChunks[index >> FChunkBits] + size_t(index & FChunkMask) * FSize;
  }
  void Clear();
  size_t MemoryBytes() const;
  size_t ChunkBytes() const { return size_t(FSize) << FChunkBits; }

 private:
  int FSize = 0;
  int FChunkBits = 14;
  uint32_t FChunkMask = (1u << 14) - 1;
  uint32_t FNext = 0;
  // Chunks come zeroed. The first comes from the heap, which keeps small tables cheap; the
  // others are carved from blocks of fresh pages from the system, mapped in one go and on huge
  // pages where there are any, so that neither a clearing pass nor a fault per page is paid
  // while a large document loads. A block holds as many chunks as the pool has, up to 16:
  // the pool at most doubles what it holds at a time.
  struct TFreeBlock {
    size_t Bytes = 0;  // 0: from the heap
    void operator()(uint8_t* p) const;
  };
  void AddChunk();
  std::vector<uint8_t*> FChunks;
  std::vector<std::unique_ptr<uint8_t, TFreeBlock>> FBlocks;
  size_t FBlockBytes = 0;
  int FSpareChunks = 0;  // left in the last block
  std::vector<uint32_t> FFree;
};

struct TKvDatSRow {
  uint32_t RowID = KvNoRowID;
  uint32_t ChangeNumber = KvNoRowID;
  uint32_t Original = KvNoBuffer;
  uint32_t Current = KvNoBuffer;
  uint32_t Proposed = KvNoBuffer;
  TKvDatSRowState RowState = rsDetached;
  TKvDatSRowState RowPriorState = rsDetached;
};

class TKvDatSColumn {
 public:
  QString Name = QStringLiteral("Column");
  QString SourceName;
  int SourceID = -1;
  uint32_t Attributes = KvBit(caAllowNull);
  uint32_t Options = KvBit(coAllowNull) | KvBit(coInUpdate) | KvBit(coInWhere);
  int Precision = 0, Scale = 0, Size = 0;
  int AutoIncrementSeed = 1, AutoIncrementStep = 1;
  QString Caption, Expression, OriginTabName, OriginColName;
  TKvDataType SourceDataType = dtUnknown;
  int SourcePrecision = 0, SourceScale = 0, SourceSize = 0;
  QString SourceDataTypeName, SourceDirectory, SourceGenerator;

  TKvDataType DataType() const { return FDataType; }
  void SetDataType(TKvDataType type);
  bool HasAttribute(TKvDataAttribute a) const { return Attributes & KvBit(a); }
  void SetAttribute(TKvDataAttribute a, bool on);
  int Offset() const { return FOffset; }  // of the value in a row buffer

  void Save(TKvStorage& s) const;
  void Load(TKvStorage& s);

 private:
  friend class TKvDatSColumnList;
  TKvDataType FDataType = dtUnknown;
  int FOffset = 0;
};

class TKvDatSColumnList {
 public:
  int InlineDataSize = 1000;

  int Count() const { return int(FItems.size()); }
  TKvDatSColumn& operator[](int i) { return *FItems[i]; }
  const TKvDatSColumn& operator[](int i) const { return *FItems[i]; }
  TKvDatSColumn& Add(const QString& name, TKvDataType type);
  int IndexOf(const QString& name) const;  // case-insensitive, -1 if absent
  void Clear() { FItems.clear(); }
  // Lays the columns out in a row buffer: NULL bits first, then the values packed.
  int UpdateLayout();
  int NullBytes() const { return FNullBytes; }

  void Save(TKvStorage& s) const;
  void Load(TKvStorage& s);

 private:
  std::vector<std::unique_ptr<TKvDatSColumn>> FItems;
  int FNullBytes = 0;
};

// A sorted view: own order of the table's rows, kept by sorted insertion.
class TKvDatSView {
 public:
  struct TSortColumn {
    int Column;
    bool Descending;
  };
  QString Name;
  int CreatorKind = 0;  // 0: made by the user and stored with the document
  std::vector<TSortColumn> SortColumns;
  uint32_t SortOptions = 0;  // TKvSortOption bits

  TKvDatSView(TKvDatSTable& table) : FTable(table) {}
  const TKvDatSRowList& Rows() const { return FRows; }
  // Place of a new row: binary search with the row-number step, after rows that compare
  // equal.
  int Insert(uint32_t handle);
  int LastInsertPos() const { return FLastInsertPos; }
  int Remove(uint32_t handle);  // returns the position it had, -1 if absent
  template <typename Pred>
  void RemoveIf(Pred pred) {
    FRows.RemoveIf(pred);
  }
  void Rebuild();  // full sort of the table's rows
  int Compare(uint32_t a, uint32_t b) const;
  size_t MemoryBytes() const { return FRows.MemoryBytes(); }

 private:
  int CompareColumns(const uint8_t* a, const uint8_t* b) const;
  void QuickSort(int lo, int hi);
  bool RebuildByKeys();

  TKvDatSTable& FTable;
  TKvDatSRowList FRows;
  int FLastInsertPos = -1;
};

// Rows changed and not yet accepted, in order of change, and the running change number.
class TKvDatSUpdatesJournal {
 public:
  struct TChange {
    TKvDatSTable* Table;
    uint32_t Row;
  };
  uint32_t ChangeNumber() const { return FChangeNumber; }
  void SetChangeNumber(uint32_t n) { FChangeNumber = n; }
  void RegisterRow(TKvDatSTable& table, uint32_t row);
  // With a change number from a document the journal's own number stays.
  void RegisterRowAs(TKvDatSTable& table, uint32_t row, uint32_t changeNumber);
  void UnregisterRow(TKvDatSTable& table, uint32_t row);
  void AcceptChanges(TKvDatSTable* table);  // nullptr: all tables
  int ChangeCount(const TKvDatSTable* table) const;
  void Forget(const TKvDatSTable& table);
  const std::vector<TChange>& Changes() const { return FChanges; }

  void Save(TKvStorage& s, const TKvDatSManager& manager) const;
  void Load(TKvStorage& s, TKvDatSManager& manager);

 private:
  uint32_t FChangeNumber = 0;
  std::vector<TChange> FChanges;
};

// Table states; the load states bracket bulk work.
enum TKvDatSTableState {
  tsNormal = 0,
  tsLoadUnchanged3 = 3,
  tsLoadUnchanged4 = 4,
  tsClearing = 5,
  tsLoadUnchanged6 = 6,
  tsLoadingFromStorage = 7
};

class TKvDatSTable {
 public:
  QString Name = QStringLiteral("Table");
  QString SourceName;
  int SourceID = 0;
  bool CaseSensitive = true, EnforceConstraints = true, Nested = false, Round2Scale = false,
       StrsTrim2Len = false, CheckNotNull = true, CheckReadOnly = true;
  uint32_t Locale = 1024;
  int MinimumCapacity = 0;
  TKvDatSColumnList Columns;

  explicit TKvDatSTable(TKvDatSManager* manager = nullptr);
  ~TKvDatSTable();
  TKvDatSManager* Manager() const { return FManager; }
  int TabID() const;
  // Must be called after the columns change, while the table has no rows.
  void UpdateLayout();

  // Rows
  uint32_t NewRow();  // detached, with an empty Proposed buffer
  void FreeRow(uint32_t row);
  void AttachRow(uint32_t row);
  void AcceptRow(uint32_t row);
  // Accepts many rows at once; deleted ones leave the table and its views in one pass.
  void AcceptRows(std::vector<uint32_t> rows);
  void DeleteRow(uint32_t row);
  void ClearRows();
  const TKvDatSRowList& Rows() const { return FRows; }
  int RowCount() const { return FRows.Count(); }
  TKvDatSRow& Row(uint32_t row) { return *reinterpret_cast<TKvDatSRow*>(FRowPool.At(row)); }
  const TKvDatSRow& Row(uint32_t row) const {
    return *reinterpret_cast<const TKvDatSRow*>(FRowPool.At(row));
  }
  uint32_t RowIDCounter() const { return FRowIDCounter; }

  // Version buffers. The fitting version is the one a row's state reads from.
  uint32_t NewBuffer() { return FBufferPool.Alloc(); }
  void FreeBuffer(uint32_t buffer);
  uint8_t* Buffer(uint32_t buffer) { return FBufferPool.At(buffer); }
  const uint8_t* Buffer(uint32_t buffer) const { return FBufferPool.At(buffer); }
  uint32_t FittingVersion(uint32_t row) const;
  const uint8_t* RowData(uint32_t row) const;

  // Cells of a buffer
  bool IsNull(const uint8_t* buf, int col) const { return !(buf[col >> 3] & (1u << (col & 7))); }
  void SetNull(uint8_t* buf, int col, bool null);
  const uint8_t* Cell(const uint8_t* buf, int col) const { return buf + Columns[col].Offset(); }
  uint8_t* Cell(uint8_t* buf, int col) { return buf + Columns[col].Offset(); }
  QByteArray VarData(const uint8_t* buf, int col) const;
  void SetVarData(uint8_t* buf, int col, const QByteArray& data);

  // Views
  TKvDatSView& AddView(const QString& name);
  void RemoveView(TKvDatSView& view);
  int ViewCount() const { return int(FViews.size()); }
  TKvDatSView& View(int i) { return *FViews[i]; }

  void BeginLoadData(TKvDatSTableState state);
  void EndLoadData();
  TKvDatSTableState State() const { return FState; }

  void Save(TKvStorage& s) const;
  void Load(TKvStorage& s);
  size_t MemoryBytes() const;

 private:
  friend class TKvDatSManager;
  void SaveRow(TKvStorage& s, uint32_t row) const;
  void SaveVersion(TKvStorage& s, const QString& name, uint32_t buffer) const;
  void LoadRows(TKvStorage& s);
  uint32_t LoadVersion(TKvStorage& s, const QString& name);
  void LoadValuesByName(TKvStorage& s, uint32_t buffer);
  void LoadValuesByIndex(TKvStorage& s, uint32_t buffer);
  // Each column's place in the order values are stored in, -1 if never stored.
  std::vector<int> StoredOrder() const;
  // The layout for rows in bulk; false when a column's values are not of a fixed size.
  bool PlainRowLayout(int version, TKvRowLayout& layout) const;
  TKvRowImage Image(uint32_t row) const;
  void SpendLoadBudget(size_t bytes, const QString& object);
  TKvDatSUpdatesJournal* Journal() const;

  TKvDatSManager* FManager;
  TKvDatSTableState FState = tsNormal;
  TKvDatSRecordPool FRowPool{int(sizeof(TKvDatSRow))};
  TKvDatSRecordPool FBufferPool;
  TKvDatSRowList FRows;
  std::vector<uint8_t> FAllNull;  // read for a row that lacks the version its state names
  uint32_t FRowIDCounter = 0;
  std::vector<std::unique_ptr<TKvDatSView>> FViews;
  // Values of variable-length columns, referred to from the row buffers by slot.
  std::vector<QByteArray> FBlobs;
  std::vector<uint32_t> FFreeBlobs;
  bool FHasVarColumns = false;
  // While loading: each column's place in the order values are stored (-1: never stored),
  // and the memory the document may still make the table take.
  std::vector<int> FStoredOrder;
  size_t FLoadBudget = 0;
};

class TKvDatSManager {
 public:
  QString Name = QStringLiteral("Manager");
  bool CaseSensitive = true, EnforceConstraints = true, UpdatesRegistry = false,
       Round2Scale = false, StrsTrim2Len = false, CheckNotNull = true, CheckReadOnly = true;
  uint32_t Locale = 1024;

  // Tables go first: they leave the journal as they are destroyed.
  ~TKvDatSManager() { FTables.clear(); }
  int TableCount() const { return int(FTables.size()); }
  TKvDatSTable& Table(int i) { return *FTables[i]; }
  const TKvDatSTable& Table(int i) const { return *FTables[i]; }
  int IndexOfTable(const TKvDatSTable* table) const;
  TKvDatSTable* FindTable(const QString& name);
  TKvDatSTable& AddTable(const QString& name);
  void RemoveTable(TKvDatSTable& table);
  // Name not yet used by a table: base, base_1, base_2, ...
  QString UniqueTableName(const QString& base) const;
  TKvDatSUpdatesJournal& Updates() { return FUpdates; }
  const TKvDatSUpdatesJournal& Updates() const { return FUpdates; }

  void Save(TKvStorage& s) const;
  void Load(TKvStorage& s);

 private:
  std::vector<std::unique_ptr<TKvDatSTable>> FTables;
  TKvDatSUpdatesJournal FUpdates;
};

// Object begin for reading: an unknown class name is error 715, a known but unexpected one
// error 712.
QString KvDatS_ReadObjectBegin(TKvStorage& s, const QString& expected);
