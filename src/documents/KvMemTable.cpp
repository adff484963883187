#include "KvMemTable.h"

#include <QBuffer>
#include <QDir>
#include <QFile>
#include <cmath>
#include <cstring>
#include <limits>
#include <type_traits>

#include "KvLocale.h"
#include "KvStorage.h"

namespace {
constexpr double MSecsPerDayInt = 86400000.0;
const QString ViewPrefix = QStringLiteral("_KV_IND_");

TKvDataType EngineType(TKvFieldType t) {
  switch (t) {
    case TKvFieldType::ftSmallint:
      return dtInt16;
    case TKvFieldType::ftInteger:
      return dtInt32;
    case TKvFieldType::ftBoolean:
      return dtBoolean;
    case TKvFieldType::ftFloat:
      return dtDouble;
    case TKvFieldType::ftDate:
      return dtDate;
    case TKvFieldType::ftTime:
      return dtTime;
    case TKvFieldType::ftString:
      return dtWideString;
    default:
      return dtUnknown;
  }
}

template <typename T>
double Load(const uint8_t* p) {
  T v;
  std::memcpy(&v, p, sizeof(T));
  return double(v);
}

// A number that does not fit the cell's type is refused: the conversion would be undefined.
template <typename T>
bool Fits(double value) {
  if constexpr (std::is_integral_v<T>)
    return value >= double(std::numeric_limits<T>::lowest()) &&
           value < double(std::numeric_limits<T>::max()) + 1.0;
  else
    return !std::isfinite(value) || std::fabs(value) <= double(std::numeric_limits<T>::max());
}

template <typename T>
void Store(uint8_t* p, double value) {
  if (!Fits<T>(value)) throw EKvMemError(QStringLiteral("Value %1 out of range").arg(value));
  const T v = T(value);
  std::memcpy(p, &v, sizeof(T));
}

bool IsTemporal(TKvFieldType t) {
  return t == TKvFieldType::ftDate || t == TKvFieldType::ftTime;
}
}  // namespace

// ---- fields -----------------------------------------------------------------------------

bool TKvField::IsNull() const {
  if (FCalcSlot >= 0) return FDataSet->FCalcNull[FCalcSlot];
  const uint8_t* buf = FDataSet->RecordBuffer();
  if (!buf || FColumn < 0 || FDataSet->FTable->IsNull(buf, FColumn)) return true;
  // A document may store any type under a column's name; what the field cannot hold reads as
  // NULL rather than as a wrapped or undefined number.
  bool isNull;
  return !InRange(KvCell_AsDouble(*FDataSet->FTable, buf, FColumn, isNull));
}

bool TKvField::InRange(double v) const {
  switch (DataType) {
    case TKvFieldType::ftSmallint:
      return v >= -32768.0 && v <= 32767.0;
    case TKvFieldType::ftInteger:
      return v >= -2147483648.0 && v <= 2147483647.0;
    case TKvFieldType::ftDate:  // 1 January 1 to 31 December 9999
      return v >= 1.0 && v <= 3652059.0;
    case TKvFieldType::ftTime:
      return v >= 0.0 && v <= MSecsPerDayInt;
    default:
      return true;
  }
}

double KvCell_AsDouble(const TKvDatSTable& t, const uint8_t* buf, int column, bool& isNull) {
  isNull = !buf || column < 0 || t.IsNull(buf, column);
  if (isNull) return 0;
  const uint8_t* cell = t.Cell(buf, column);
  switch (t.Columns[column].DataType()) {
    case dtBoolean:
      return Load<uint16_t>(cell) != 0 ? 1 : 0;
    case dtSByte:
      return Load<int8_t>(cell);
    case dtByte:
      return Load<uint8_t>(cell);
    case dtInt16:
      return Load<int16_t>(cell);
    case dtUInt16:
      return Load<uint16_t>(cell);
    case dtInt32:
    case dtDate:
    case dtTime:
      return Load<int32_t>(cell);
    case dtUInt32:
      return Load<uint32_t>(cell);
    case dtInt64:
    case dtCurrency:
      return Load<int64_t>(cell);
    case dtUInt64:
      return Load<uint64_t>(cell);
    case dtSingle:
      return Load<float>(cell);
    case dtDouble:
    case dtDateTime:
      return Load<double>(cell);
    default:
      return 0;
  }
}

double TKvField::Native() const {
  if (FCalcSlot >= 0 || IsNull()) return 0;
  bool isNull;
  return KvCell_AsDouble(*FDataSet->FTable, FDataSet->RecordBuffer(), FColumn, isNull);
}

void TKvField::SetNative(double value) {
  uint8_t* buf = FDataSet->EditBuffer();
  TKvDatSTable& t = *FDataSet->FTable;
  uint8_t* cell = t.Cell(buf, FColumn);
  switch (t.Columns[FColumn].DataType()) {
    case dtBoolean:
      Store<uint16_t>(cell, value != 0 ? 1 : 0);
      break;
    case dtSByte:
      Store<int8_t>(cell, value);
      break;
    case dtByte:
      Store<uint8_t>(cell, value);
      break;
    case dtInt16:
      Store<int16_t>(cell, value);
      break;
    case dtUInt16:
      Store<uint16_t>(cell, value);
      break;
    case dtInt32:
    case dtDate:
    case dtTime:
      Store<int32_t>(cell, value);
      break;
    case dtUInt32:
      Store<uint32_t>(cell, value);
      break;
    case dtInt64:
    case dtCurrency:
      Store<int64_t>(cell, value);
      break;
    case dtUInt64:
      Store<uint64_t>(cell, value);
      break;
    case dtSingle:
      Store<float>(cell, value);
      break;
    case dtDouble:
    case dtDateTime:
      Store<double>(cell, value);
      break;
    default:
      throw EKvMemError(QStringLiteral("Field '%1' cannot take a number").arg(FieldName));
  }
  t.SetNull(buf, FColumn, false);
}

double TKvField::AsFloat() const {
  return IsTemporal(DataType) ? AsDateTime() : Native();
}

int TKvField::AsInteger() const {
  const double v = DataType == TKvFieldType::ftFloat ? std::nearbyint(Native()) : Native();
  return v >= -2147483648.0 && v <= 2147483647.0 ? int(v) : 0;
}

bool TKvField::AsBoolean() const {
  return Native() != 0;
}

TDateTime TKvField::AsDateTime() const {
  if (IsNull()) return 0;
  if (DataType == TKvFieldType::ftDate) return Native() - KvDateDelta;
  if (DataType == TKvFieldType::ftTime) return Native() / MSecsPerDayInt;
  return Native();
}

QString TKvField::AsString() const {
  if (IsNull()) return QString();
  if (FCalcSlot >= 0) return FDataSet->FCalcValues[FCalcSlot];
  switch (DataType) {
    case TKvFieldType::ftBoolean:
      return AsBoolean() ? QStringLiteral("True") : QStringLiteral("False");
    case TKvFieldType::ftFloat:
      return QString::number(Native(), 'g', 15)
          .replace(QLatin1Char('.'), KvLocale().DecimalSeparator);
    case TKvFieldType::ftDate:
      return FormatDateTime(KvLocale().ShortDateFormat, AsDateTime());
    case TKvFieldType::ftTime:
      return FormatDateTime(KvLocale().LongTimeFormat, AsDateTime());
    default:
      return QString::number(qint64(Native()));
  }
}

void TKvField::SetAsDateTime(TDateTime value) {
  if (!IsTemporal(DataType)) return SetNative(value);
  if (!(std::fabs(value) < 1e7)) throw EKvMemError(QStringLiteral("Invalid date: %1").arg(value));
  // Split as the platform's time stamp does: whole milliseconds, then day and time of day.
  const long long ms = std::llround(std::fabs(value) * MSecsPerDayInt);
  const long long days = (value < 0 ? -1 : 1) * (ms / (long long)MSecsPerDayInt);
  if (DataType == TKvFieldType::ftDate)
    SetNative(double(days + KvDateDelta));
  else
    SetNative(double(ms % (long long)MSecsPerDayInt));
}

void TKvField::SetAsFloat(double value) {
  if (IsTemporal(DataType)) return SetAsDateTime(value);
  if (DataType == TKvFieldType::ftSmallint || DataType == TKvFieldType::ftInteger)
    return SetNative(std::nearbyint(value));  // rounds half to even
  SetNative(value);
}

void TKvField::SetAsInteger(int value) {
  if (IsTemporal(DataType)) return SetAsDateTime(value);
  SetNative(value);
}

void TKvField::SetAsBoolean(bool value) {
  SetNative(value ? 1 : 0);
}

void TKvField::SetAsString(const QString& value) {
  if (FCalcSlot >= 0) {
    FDataSet->FCalcValues[FCalcSlot] = value;
    FDataSet->FCalcNull[FCalcSlot] = value.isEmpty();
    return;
  }
  if (value.isEmpty()) return Clear();
  QString text = value;
  SetAsFloat(text.replace(KvLocale().DecimalSeparator, QLatin1Char('.')).toDouble());
}

void TKvField::Clear() {
  if (FCalcSlot >= 0) {
    FDataSet->FCalcValues[FCalcSlot].clear();
    FDataSet->FCalcNull[FCalcSlot] = true;
    return;
  }
  FDataSet->FTable->SetNull(FDataSet->EditBuffer(), FColumn, true);
}

// ---- dataset ----------------------------------------------------------------------------

TKvMemTable::TKvMemTable(const QString& name) : FName(name) {
  FManager.UpdatesRegistry = true;
}

TKvMemTable::~TKvMemTable() = default;

TKvField& TKvMemTable::AddField(const QString& name, TKvFieldType type, TKvFieldKind kind,
                                int size) {
  FFields.push_back(std::make_unique<TKvField>());
  TKvField& f = *FFields.back();
  f.FieldName = name;
  f.DataType = type;
  f.FieldKind = kind;
  f.Size = size;
  f.FDataSet = this;
  f.FIndex = FieldCount() - 1;
  if (kind == TKvFieldKind::fkCalculated) {
    f.FCalcSlot = int(FCalcValues.size());
    FCalcValues.emplace_back();
    FCalcNull.push_back(true);
  }
  return f;
}

TKvField* TKvMemTable::FindField(const QString& name) {
  for (auto& f : FFields)
    if (f->FieldName.compare(name, Qt::CaseInsensitive) == 0) return f.get();
  return nullptr;
}

TKvField& TKvMemTable::FieldByName(const QString& name) {
  if (TKvField* f = FindField(name)) return *f;
  throw EKvMemError(QStringLiteral("%1: Field '%2' not found").arg(FName, name));
}

void TKvMemTable::CreateDataSet() {
  Close();
  if (FTable) FManager.RemoveTable(*FTable);
  FTable = &FManager.AddTable(FManager.UniqueTableName(FName));
  FTable->MinimumCapacity = std::max(FetchOptions.RowsetSize, 1);
  FTable->Columns.InlineDataSize = FormatOptions.InlineDataSize;
  FTable->StrsTrim2Len = FormatOptions.StrsTrim2Len;
  FTable->Round2Scale = FormatOptions.Round2Scale;
  FTable->CheckNotNull = UpdateOptions.CheckRequired;
  FTable->CheckReadOnly = UpdateOptions.CheckReadOnly;
  for (const auto& f : FFields) {
    if (f->FieldKind != TKvFieldKind::fkData) continue;
    TKvDatSColumn& c = FTable->Columns.Add(f->FieldName, EngineType(f->DataType));
    c.Precision = 0;
    c.Size = f->DataType == TKvFieldType::ftString ? f->Size : 0;
    c.SetAttribute(caAllowNull, !f->Required);
    if (f->ReadOnly) c.SetAttribute(caReadOnly, true);
    c.SetAttribute(caSearchable, true);
  }
  FTable->UpdateLayout();
  Open();
}

void TKvMemTable::BuildViews() {
  for (int i = FTable->ViewCount() - 1; i >= 0; --i)
    if (FTable->View(i).CreatorKind != 0) FTable->RemoveView(FTable->View(i));
  FView = nullptr;
  for (const TKvIndexDef& def : IndexDefs) {
    TKvDatSView& view = FTable->AddView(ViewPrefix + def.Name);
    view.CreatorKind = 1;
    view.SortOptions = def.Descending ? KvBit(soDescending) : 0;
    for (const QString& name : def.Fields.split(QLatin1Char(';'), Qt::SkipEmptyParts)) {
      const int col = FTable->Columns.IndexOf(name.trimmed());
      if (col < 0)
        throw EKvMemError(QStringLiteral("%1: Field '%2' not found").arg(FName, name.trimmed()));
      view.SortColumns.push_back({col, def.Descending});
    }
    view.Rebuild();
    if (def.Name.compare(FIndexName, Qt::CaseInsensitive) == 0) FView = &view;
  }
}

void TKvMemTable::BindFields() {
  for (auto& f : FFields) {
    if (f->FieldKind != TKvFieldKind::fkData) continue;
    f->FColumn = FTable->Columns.IndexOf(f->FieldName);
    if (f->FColumn < 0)
      throw EKvMemError(QStringLiteral("%1: Field '%2' not found").arg(FName, f->FieldName));
  }
}

void TKvMemTable::Open() {
  if (Active()) return;
  if (!FTable) return CreateDataSet();
  BindFields();
  BuildViews();
  FState = TKvDataSetState::dsBrowse;
  BuildFilteredRows();
  First();
  DataEvent(TKvDataEvent::deDataSetChange, -1);
  if (AfterOpen) AfterOpen(*this);
}

void TKvMemTable::Close() {
  if (!Active()) return;
  if (BeforeClose) BeforeClose(*this);
  if (FState == TKvDataSetState::dsInsert) Cancel();
  // Closing keeps no rows: what CreateDataSet builds is all that comes back.
  FTable->ClearRows();
  for (int i = FTable->ViewCount() - 1; i >= 0; --i)
    if (FTable->View(i).CreatorKind != 0) FTable->RemoveView(FTable->View(i));
  FView = nullptr;
  FFilteredRows.Clear();
  FState = TKvDataSetState::dsInactive;
  FRecNo = -1;
  FEof = FBof = true;
  ResetCalcFields();
  DataEvent(TKvDataEvent::deDataSetChange, -1);
}

void TKvMemTable::Refresh() {
  CheckBrowseMode();
  const uint32_t current = CurrentRowHandle();
  if (FFilter) {
    BuildFilteredRows();
    const int at = current == KvNoBuffer ? -1 : FFilteredRows.IndexOf(current);
    FRecNo = at < 0 ? 0 : at;
  }
  SetRecNo(FRecNo);
  DataEvent(TKvDataEvent::deDataSetChange, -1);
  if (AfterRefresh) AfterRefresh(*this);
}

const TKvDatSRowList* TKvMemTable::ActiveRows() const {
  if (!FTable) return nullptr;
  if (FFilter) return &FFilteredRows;
  return FView ? &FView->Rows() : &FTable->Rows();
}

void TKvMemTable::BuildFilteredRows() {
  FFilteredRows.Clear();
  if (!FFilter || !FTable || !Active()) return;
  const TKvDatSRowList& all = FView ? FView->Rows() : FTable->Rows();
  for (const uint32_t row : all)
    if (FFilter(*FTable, row)) FFilteredRows.Add(row);
}

// Place of a new row among the filtered ones: the order of the active view, and new rows
// land at one of its ends, so the search starts there.
int TKvMemTable::FilteredInsert(uint32_t row) {
  int lo = 0, hi = FFilteredRows.Count();
  if (FView) {
    auto atOrBelow = [&](int i) { return FView->Compare(FFilteredRows[i], row) <= 0; };
    if (hi > 0 && atOrBelow(hi - 1)) lo = hi;
    while (lo < hi) {
      const int mid = lo + (hi - lo) / 2;
      if (atOrBelow(mid))
        lo = mid + 1;
      else
        hi = mid;
    }
  } else {
    lo = hi;
  }
  FFilteredRows.Insert(lo, row);
  return lo;
}

void TKvMemTable::SetFilter(TKvRowFilter filter) {
  CheckBrowseMode();
  const uint32_t current = CurrentRowHandle();
  FFilter = std::move(filter);
  BuildFilteredRows();
  if (!Active()) return;
  const int at = current == KvNoBuffer ? -1 : ActiveRows()->IndexOf(current);
  SetRecNo(at < 0 ? 0 : at);
  DataEvent(TKvDataEvent::deDataSetChange, -1);
}

void TKvMemTable::PeekRecord(int recNo, const std::function<void()>& f) {
  if (!Active() || FState == TKvDataSetState::dsInsert || recNo < 0 || recNo >= RecordCount())
    return;
  const std::vector<QString> values = FCalcValues;
  const std::vector<bool> nulls = FCalcNull;
  const int keep = FRecNo;
  FRecNo = recNo;
  CalcRecord();
  try {
    f();
  } catch (...) {
    FRecNo = keep;
    FCalcValues = values;
    FCalcNull = nulls;
    throw;
  }
  FRecNo = keep;
  FCalcValues = values;
  FCalcNull = nulls;
}

int TKvMemTable::RecordCount() const {
  return Active() ? ActiveRows()->Count() : 0;
}

uint32_t TKvMemTable::CurrentRowHandle() const {
  if (!Active() || FRecNo < 0 || FRecNo >= ActiveRows()->Count()) return KvNoBuffer;
  return (*ActiveRows())[FRecNo];
}

uint32_t TKvMemTable::RowHandle(int recNo) const {
  if (!Active() || recNo < 0 || recNo >= ActiveRows()->Count()) return KvNoBuffer;
  return (*ActiveRows())[recNo];
}

const uint8_t* TKvMemTable::RecordBuffer() const {
  if (FState == TKvDataSetState::dsInsert) return FTable->Buffer(FTable->Row(FEditRow).Proposed);
  const uint32_t h = CurrentRowHandle();
  return h == KvNoBuffer ? nullptr : FTable->RowData(h);
}

uint8_t* TKvMemTable::EditBuffer() {
  if (FState != TKvDataSetState::dsInsert)
    throw EKvMemError(QStringLiteral("%1: Dataset not in edit or insert mode").arg(FName));
  return FTable->Buffer(FTable->Row(FEditRow).Proposed);
}

void TKvMemTable::ResetCalcFields() {
  for (size_t i = 0; i < FCalcValues.size(); ++i) {
    FCalcValues[i].clear();
    FCalcNull[i] = true;
  }
}

void TKvMemTable::CalcRecord() {
  ResetCalcFields();
  if (!OnCalcFields || !RecordBuffer()) return;
  const TKvDataSetState keep = FState;
  // In insert state the record being entered is the one calculated.
  if (keep != TKvDataSetState::dsInsert) FState = TKvDataSetState::dsCalcFields;
  OnCalcFields(*this);
  FState = keep;
}

void TKvMemTable::SetRecNo(int recNo) {
  const int count = RecordCount();
  FRecNo = count == 0 ? -1 : std::clamp(recNo, 0, count - 1);
  FBof = FRecNo <= 0;
  FEof = count == 0;
  CalcRecord();
}

void TKvMemTable::First() {
  SetRecNo(0);
}

void TKvMemTable::Last() {
  SetRecNo(RecordCount() - 1);
  FBof = RecordCount() == 0;
}

void TKvMemTable::Next() {
  CheckBrowseMode();
  if (FRecNo + 1 < RecordCount()) {
    ++FRecNo;
    FBof = false;
    CalcRecord();
  } else {
    FEof = true;
  }
}

void TKvMemTable::Prior() {
  CheckBrowseMode();
  if (FRecNo > 0) {
    --FRecNo;
    FEof = false;
    CalcRecord();
  } else {
    FBof = true;
  }
}

void TKvMemTable::CheckBrowseMode() {
  if (FState == TKvDataSetState::dsInsert) Post();
}

void TKvMemTable::Append() {
  if (!Active())
    throw EKvMemError(
        QStringLiteral("%1: Cannot perform this operation on a closed dataset").arg(FName));
  CheckBrowseMode();
  FEditRow = FTable->NewRow();
  FState = TKvDataSetState::dsInsert;
  ResetCalcFields();
}

void TKvMemTable::Cancel() {
  if (FState != TKvDataSetState::dsInsert) return;
  FTable->FreeRow(FEditRow);
  FEditRow = KvNoBuffer;
  FState = TKvDataSetState::dsBrowse;
  SetRecNo(FRecNo);
}

void TKvMemTable::Post() {
  if (FState != TKvDataSetState::dsInsert) return;
  const uint32_t row = FEditRow;
  FEditRow = KvNoBuffer;
  FState = TKvDataSetState::dsBrowse;
  FTable->AttachRow(row);
  // Without cached updates the insert is accepted at once.
  if (!CachedUpdates) FTable->AcceptRow(row);
  if (FFilter && !FFilter(*FTable, row)) {
    // A row the filter refuses is kept but not shown: the cursor stays where it was, and
    // listeners, which read the current record, are not told of a row they cannot see.
    SetRecNo(FRecNo);
    return;
  }
  const int pos =
      FFilter ? FilteredInsert(row) : (FView ? FView->LastInsertPos() : FTable->RowCount() - 1);
  SetRecNo(pos);
  DataEvent(TKvDataEvent::deRecordInserted, pos);
  if (AfterPost) AfterPost(*this);
}

void TKvMemTable::Delete() {
  CheckBrowseMode();
  const uint32_t row = CurrentRowHandle();
  if (row == KvNoBuffer) return;
  const int pos = FRecNo;
  const bool wasInserted = FTable->Row(row).RowState == rsInserted;
  if (FFilter) FFilteredRows.Delete(pos);
  FTable->DeleteRow(row);
  if (!wasInserted && !CachedUpdates) FTable->AcceptRow(row);
  SetRecNo(pos);
  DataEvent(TKvDataEvent::deRecordDeleted, pos);
  if (AfterDelete) AfterDelete(*this);
}

void TKvMemTable::SetIndexName(const QString& name) {
  if (name.compare(FIndexName, Qt::CaseInsensitive) == 0 && !name.isEmpty()) return;
  const TKvIndexDef* def = nullptr;
  for (const TKvIndexDef& d : IndexDefs)
    if (d.Name.compare(name, Qt::CaseInsensitive) == 0) def = &d;
  if (!name.isEmpty() && !def)
    throw EKvMemError(QStringLiteral("%1: Index '%2' not found").arg(FName, name));
  FIndexName = def ? def->Name : QString();
  if (!Active()) return;
  const uint32_t current = CurrentRowHandle();
  FView = nullptr;
  for (int i = 0; def && i < FTable->ViewCount(); ++i)
    if (FTable->View(i).Name == ViewPrefix + def->Name) FView = &FTable->View(i);
  BuildFilteredRows();
  SetRecNo(current == KvNoBuffer ? 0 : ActiveRows()->IndexOf(current));
  DataEvent(TKvDataEvent::deDataSetChange, -1);
}

void TKvMemTable::MergeChangeLog() {
  CheckBrowseMode();
  if (!FTable) return;
  FManager.Updates().AcceptChanges(FTable);
  if (Active()) SetRecNo(FRecNo);
}

int TKvMemTable::ChangeCount() const {
  return FTable ? FManager.Updates().ChangeCount(FTable) : 0;
}

void TKvMemTable::DisableControls() {
  ++FDisableCount;
}

void TKvMemTable::EnableControls() {
  if (FDisableCount > 0 && --FDisableCount == 0 && FChangedWhileDisabled) {
    FChangedWhileDisabled = false;
    if (OnDataEvent) OnDataEvent(TKvDataEvent::deDataSetChange, -1);
  }
}

void TKvMemTable::DataEvent(TKvDataEvent event, int position) {
  if (FDisableCount > 0)
    FChangedWhileDisabled = true;
  else if (OnDataEvent)
    OnDataEvent(event, position);
}

size_t TKvMemTable::MemoryBytes() const {
  return FTable ? FTable->MemoryBytes() : 0;
}

// ---- load and save ----------------------------------------------------------------------

void TKvMemTable::LoadFromStorage(const QString& fileName, QIODevice& device, int format) {
  std::unique_ptr<TKvStorage> storage = TKvStorageManager::Instance().GetStorage(fileName, format);
  const int tablesBefore = FManager.TableCount();
  try {
    storage->Open(TKvStorageMode::smRead, &device);
    FManager.Load(*storage);
    storage->Close();
    if (!FTable && FManager.TableCount() > 0) FTable = &FManager.Table(0);
    Open();
  } catch (...) {
    // A failed load leaves the dataset closed and empty, without tables the file brought.
    FState = TKvDataSetState::dsInactive;
    while (FManager.TableCount() > tablesBefore)
      FManager.RemoveTable(FManager.Table(FManager.TableCount() - 1));
    if (FTable && FManager.IndexOfTable(FTable) < 0) FTable = nullptr;
    if (FTable) FTable->ClearRows();
    throw;
  }
  FSavePoint = FManager.Updates().ChangeNumber();
}

void TKvMemTable::SaveToStorage(const QString& fileName, QIODevice& device, int format,
                                const std::function<void()>& beforeWriting) {
  CheckBrowseMode();
  std::unique_ptr<TKvStorage> storage = TKvStorageManager::Instance().GetStorage(fileName, format);
  // The binary storage keeps the whole document until it closes; other storages may write as
  // they go, so their device must be ready first.
  const bool atClose = dynamic_cast<TKvBinStorage*>(storage.get()) != nullptr;
  if (!atClose && beforeWriting) beforeWriting();
  storage->SetStoreVersion(StoreVersion);
  storage->Open(TKvStorageMode::smWrite, &device);
  FManager.Save(*storage);
  if (atClose && beforeWriting) beforeWriting();
  storage->Close();
  FSavePoint = FManager.Updates().ChangeNumber();
}

void TKvMemTable::LoadFromFile(const QString& fileName, int format) {
  const QString name = fileName.isEmpty() ? ResourceOptions.PersistentFileName : fileName;
  Close();
  QFile file(name);
  if (!file.open(QIODevice::ReadOnly))
    throw EKvMemError(QStringLiteral("Cannot open file \"%1\". %2")
                          .arg(QDir::toNativeSeparators(name), file.errorString()));
  LoadFromStorage(name, file, format);
}

void TKvMemTable::SaveToFile(const QString& fileName, int format) {
  const QString name = fileName.isEmpty() ? ResourceOptions.PersistentFileName : fileName;
  // The file is opened once the document stands in memory, so a failing walk leaves it alone.
  QFile file(name);
  SaveToStorage(name, file, format, [&file, &name] {
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate))
      throw EKvMemError(QStringLiteral("Cannot create file \"%1\". %2")
                            .arg(QDir::toNativeSeparators(name), file.errorString()));
  });
}

void TKvMemTable::LoadFromStream(QIODevice& stream, int format) {
  Close();
  LoadFromStorage(QString(), stream, format);
}

void TKvMemTable::SaveToStream(QIODevice& stream, int format) {
  SaveToStorage(QString(), stream, format);
}
