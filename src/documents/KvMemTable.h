#pragma once
// The dataset over the table engine: a cursor on the table order or on one sorted view, the
// field list with calculated fields held in the record buffer, posting through the journal,
// and loading and saving the whole manager through the storage layer.
#include <QIODevice>
#include <QString>
#include <functional>
#include <memory>
#include <vector>

#include "KvDatS.h"
#include "KvDateTime.h"
#include "KvMemErrors.h"

class TKvMemTable;

enum class TKvFieldType {
  ftUnknown,
  ftString,
  ftSmallint,
  ftInteger,
  ftBoolean,
  ftFloat,
  ftDate,
  ftTime
};
enum class TKvFieldKind { fkData, fkCalculated };
enum class TAlignment { taLeftJustify, taRightJustify, taCenter };
enum class TKvDataSetState { dsInactive, dsBrowse, dsInsert, dsCalcFields };
// What data-aware controls are told; the position is in the active order.
enum class TKvDataEvent { deDataSetChange, deRecordInserted, deRecordDeleted };

// Day number of 1 January of year 1 counted from the date-time epoch, minus one.
inline constexpr int KvDateDelta = 693594;

class TKvField {
 public:
  QString FieldName;
  TKvFieldType DataType = TKvFieldType::ftUnknown;
  TKvFieldKind FieldKind = TKvFieldKind::fkData;
  int Size = 0;
  bool Required = false;
  bool ReadOnly = false;
  TAlignment Alignment = TAlignment::taLeftJustify;

  int Index() const { return FIndex; }
  // The table column of a data field, -1 for a calculated one or while unbound.
  int Column() const { return FColumn; }
  QString DisplayLabel() const { return FieldName; }
  bool IsNull() const;
  double AsFloat() const;
  int AsInteger() const;
  bool AsBoolean() const;
  TDateTime AsDateTime() const;
  QString AsString() const;

  void SetAsFloat(double value);
  void SetAsInteger(int value);
  void SetAsBoolean(bool value);
  void SetAsDateTime(TDateTime value);
  void SetAsString(const QString& value);
  void Clear();

 private:
  friend class TKvMemTable;
  // The stored value as a number: day number for dates, milliseconds for times.
  double Native() const;
  bool InRange(double value) const;
  void SetNative(double value);
  TKvMemTable* FDataSet = nullptr;
  int FIndex = 0;
  int FColumn = -1;    // bound column of a data field
  int FCalcSlot = -1;  // slot of a calculated field in the record buffer
};

// A stored cell as a number, whatever its engine type: day numbers for dates, milliseconds
// for times, 1 or 0 for Booleans. isNull tells a NULL cell (then 0 is returned).
double KvCell_AsDouble(const TKvDatSTable& table, const uint8_t* buf, int column, bool& isNull);

// Decides whether a row of the table passes the dataset's filter, from its stored values.
using TKvRowFilter = std::function<bool(const TKvDatSTable& table, uint32_t row)>;

struct TKvIndexDef {
  QString Name;
  QString Fields;  // "Date;Time"
  bool Descending = false;
};

class TKvMemTable {
 public:
  explicit TKvMemTable(const QString& name);
  virtual ~TKvMemTable();
  TKvMemTable(const TKvMemTable&) = delete;
  TKvMemTable& operator=(const TKvMemTable&) = delete;

  const QString& Name() const { return FName; }

  // Component options that the engine reads.
  struct {
    int RowsetSize = 50;
  } FetchOptions;
  struct {
    bool SilentMode = false;
    QString PersistentFileName;
    bool Persistent = false;
  } ResourceOptions;
  struct {
    bool CheckRequired = true;
    bool CheckReadOnly = true;
  } UpdateOptions;
  struct {
    int InlineDataSize = 1000;
    bool StrsTrim2Len = false;
    bool Round2Scale = false;
  } FormatOptions;
  bool CachedUpdates = false;
  int StoreVersion = -1;  // format version to write; -1 is the current one
  bool StoreDefs = false;
  std::vector<TKvIndexDef> IndexDefs;

  // Field list, fixed before the first CreateDataSet; data fields become the columns.
  TKvField& AddField(const QString& name, TKvFieldType type,
                     TKvFieldKind kind = TKvFieldKind::fkData, int size = 0);
  int FieldCount() const { return int(FFields.size()); }
  TKvField& Fields(int i) { return *FFields[i]; }
  TKvField* FindField(const QString& name);
  TKvField& FieldByName(const QString& name);  // "<name>: Field '<x>' not found"

  void CreateDataSet();
  void Open();
  void Close();
  bool Active() const { return FState != TKvDataSetState::dsInactive; }
  void SetActive(bool active) { active ? Open() : Close(); }
  TKvDataSetState State() const { return FState; }
  void Refresh();

  void Append();
  void Post();
  void Cancel();
  void Delete();
  void First();
  void Next();
  void Prior();
  void Last();
  bool Eof() const { return FEof; }
  bool Bof() const { return FBof; }
  int RecordCount() const;
  int RecNo() const { return FRecNo; }  // 0-based place in the active order, -1 if none
  void SetRecNo(int recNo);

  QString IndexName() const { return FIndexName; }
  void SetIndexName(const QString& name);

  void MergeChangeLog();
  int ChangeCount() const;

  // An empty file name means the persistent file name. Format 0 picks by extension.
  void LoadFromFile(const QString& fileName = QString(), int format = 0);
  void SaveToFile(const QString& fileName = QString(), int format = 0);
  void LoadFromStream(QIODevice& stream, int format = 0);
  void SaveToStream(QIODevice& stream, int format = 0);

  // A filter over the active order: rows it refuses are not browsed, counted or deleted
  // through the dataset, and new rows are tested as they are posted. Empty: no filter.
  void SetFilter(TKvRowFilter filter);
  bool Filtered() const { return bool(FFilter); }
  // Runs f with the fields reading record recNo of the active order; the cursor and the
  // current record's calculated fields are as before afterwards. Grids paint through it.
  void PeekRecord(int recNo, const std::function<void()>& f);

  void DisableControls();
  void EnableControls();
  bool ControlsDisabled() const { return FDisableCount > 0; }

  std::function<void(TKvMemTable&)> AfterOpen, AfterRefresh, AfterPost, BeforeClose, AfterDelete,
      OnCalcFields;
  // The one data-aware listener (the grid's model).
  std::function<void(TKvDataEvent event, int position)> OnDataEvent;

  TKvDatSManager& DatSManager() { return FManager; }
  TKvDatSTable* Table() { return FTable; }
  uint32_t CurrentRowHandle() const;
  // The row at recNo of the active order; KvNoBuffer outside it.
  uint32_t RowHandle(int recNo) const;  // KvNoBuffer when there is no current record
  uint32_t SavePointAtLastLoadOrSave() const { return FSavePoint; }
  size_t MemoryBytes() const;

 private:
  friend class TKvField;
  const TKvDatSRowList* ActiveRows() const;
  const uint8_t* RecordBuffer() const;
  uint8_t* EditBuffer();
  void BuildViews();
  void BindFields();
  void OpenCursor();
  void ResetCalcFields();
  void CalcRecord();
  void DataEvent(TKvDataEvent event, int position);
  void CheckBrowseMode();
  void BuildFilteredRows();
  int FilteredInsert(uint32_t row);
  void LoadFromStorage(const QString& fileName, QIODevice& device, int format);
  void SaveToStorage(const QString& fileName, QIODevice& device, int format,
                     const std::function<void()>& beforeWriting = {});

  QString FName;
  std::vector<std::unique_ptr<TKvField>> FFields;
  std::vector<QString> FCalcValues;
  std::vector<bool> FCalcNull;
  TKvDatSManager FManager;
  TKvDatSTable* FTable = nullptr;
  TKvDatSView* FView = nullptr;
  QString FIndexName;
  TKvDataSetState FState = TKvDataSetState::dsInactive;
  uint32_t FEditRow = KvNoBuffer;
  int FRecNo = -1;
  bool FEof = true, FBof = true;
  int FDisableCount = 0;
  bool FChangedWhileDisabled = false;
  uint32_t FSavePoint = 0;
  TKvRowFilter FFilter;
  TKvDatSRowList FFilteredRows;  // the active order's rows that pass FFilter
};
