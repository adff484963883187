// The object walk of the engine: every object writes its properties in a fixed order and
// only where they differ from their defaults; reading expects them in the same order.
#include <QHash>
#include <QSet>
#include <algorithm>
#include <cstring>

#include "KvDatS.h"
#include "KvStorage.h"

namespace {
const QStringList& DataTypeNames() {
  static const QStringList names = [] {
    QStringList l;
    for (int i = 0; i < KvDataTypeCount; ++i) l << KvDataTypeName(TKvDataType(i));
    return l;
  }();
  return names;
}

const QStringList& RowStateNames() {
  static const QStringList names = [] {
    QStringList l;
    for (int i = 0; i < KvRowStateCount; ++i) l << KvRowStateName(TKvDatSRowState(i));
    return l;
  }();
  return names;
}

bool IsRegisteredObject(const QString& name) {
  static const QSet<QString> names = [] {
    QSet<QString> s;
    for (const char* n : {"Manager", "TableList", "Table", "ColumnList", "Column", "ConstraintList",
                          "ViewList", "TableRowList", "RelationList", "UpdatesJournal", "Change",
                          "Row", "DatSRow", "Original", "Current", "Proposed"})
      s.insert(QString::fromLatin1(n).toCaseFolded());
    return s;
  }();
  return names.contains(name.toCaseFolded());
}

// Row objects are called "DatSRow" in versions 3 and 4.
QString RowObjectName(int version) {
  return version == 3 || version == 4 ? QStringLiteral("DatSRow") : QStringLiteral("Row");
}

// Constraints, relations and views made by hand are not produced by this program.
void SkipUnsupportedChildren(TKvStorage& s) {
  if (!s.IsObjectEnd()) {
    const QString name = s.PeekObjectName();
    if (name.isEmpty()) throw EKvStorageError(ekvCannotReadObject, QStringLiteral("<unknown>"));
    throw EKvStorageError(ekvClassNotRegistered, name);
  }
}

void ReadEmptyList(TKvStorage& s, const QString& name) {
  KvDatS_ReadObjectBegin(s, name);
  SkipUnsupportedChildren(s);
  s.ReadObjectEnd(name);
}
}  // namespace

QString KvDatS_ReadObjectBegin(TKvStorage& s, const QString& expected) {
  // The expected object is a registered one; only something else needs its name looked at.
  if (!expected.isEmpty() && s.TestObject(expected)) return s.ReadObjectBegin(expected);
  const QString found = s.PeekObjectName();
  if (!found.isEmpty() && !IsRegisteredObject(found))
    throw EKvStorageError(ekvClassNotRegistered, found);
  return s.ReadObjectBegin(expected);
}

// ---- manager ----------------------------------------------------------------------------

void TKvDatSManager::Save(TKvStorage& s) const {
  const int v = s.Version();
  s.WriteObjectBegin(QStringLiteral("Manager"));
  s.WriteBoolean(QStringLiteral("CaseSensitive"), CaseSensitive, true);
  s.WriteBoolean(QStringLiteral("EnforceConstraints"), EnforceConstraints, true);
  s.WriteLongWord(QStringLiteral("Locale"), Locale, 1024);
  s.WriteBoolean(QStringLiteral("UpdatesRegistry"), UpdatesRegistry, false);
  s.WriteBoolean(QStringLiteral("Round2Scale"), Round2Scale, false);
  if (v >= 7) s.WriteBoolean(QStringLiteral("StrsTrim2Len"), StrsTrim2Len, false);
  s.WriteBoolean(QStringLiteral("CheckNotNull"), CheckNotNull, true);
  if (v >= 6) s.WriteBoolean(QStringLiteral("CheckReadOnly"), CheckReadOnly, true);
  s.WriteObjectBegin(QStringLiteral("TableList"));
  for (const auto& t : FTables) t->Save(s);
  s.WriteObjectEnd(QStringLiteral("TableList"));
  s.WriteObjectBegin(QStringLiteral("RelationList"));
  s.WriteObjectEnd(QStringLiteral("RelationList"));
  if (UpdatesRegistry) FUpdates.Save(s, *this);
  s.WriteObjectEnd(QStringLiteral("Manager"));
}

void TKvDatSManager::Load(TKvStorage& s) {
  const int v = s.Version();
  KvDatS_ReadObjectBegin(s, QStringLiteral("Manager"));
  Name = s.ReadString(QStringLiteral("Name"), QStringLiteral("Manager"));
  CaseSensitive = s.ReadBoolean(QStringLiteral("CaseSensitive"), true);
  EnforceConstraints = s.ReadBoolean(QStringLiteral("EnforceConstraints"), true);
  Locale = s.ReadLongWord(QStringLiteral("Locale"), 1024);
  UpdatesRegistry = s.ReadBoolean(QStringLiteral("UpdatesRegistry"), false);
  Round2Scale = s.ReadBoolean(QStringLiteral("Round2Scale"), false);
  if (v >= 7) StrsTrim2Len = s.ReadBoolean(QStringLiteral("StrsTrim2Len"), false);
  CheckNotNull = s.ReadBoolean(QStringLiteral("CheckNotNull"), true);
  if (v >= 6) CheckReadOnly = s.ReadBoolean(QStringLiteral("CheckReadOnly"), true);

  KvDatS_ReadObjectBegin(s, QStringLiteral("TableList"));
  // The name decides which table loads: an existing one of that name is filled in place.
  QHash<QString, TKvDatSTable*> byName;
  for (auto it = FTables.rbegin(); it != FTables.rend(); ++it)
    byName.insert((*it)->Name.toCaseFolded(), it->get());
  while (!s.IsObjectEnd()) {
    const int64_t mark = s.GetBookmark();
    KvDatS_ReadObjectBegin(s, QStringLiteral("Table"));
    const QString name = s.ReadString(QStringLiteral("Name"), QStringLiteral("Table"));
    s.SetBookmark(mark);
    TKvDatSTable*& table = byName[name.toCaseFolded()];
    if (!table) table = &AddTable(name);
    table->Load(s);
  }
  s.ReadObjectEnd(QStringLiteral("TableList"));
  ReadEmptyList(s, QStringLiteral("RelationList"));
  if (UpdatesRegistry) FUpdates.Load(s, *this);
  s.ReadObjectEnd(QStringLiteral("Manager"));
}

// ---- journal ----------------------------------------------------------------------------

void TKvDatSUpdatesJournal::Save(TKvStorage& s, const TKvDatSManager& manager) const {
  s.WriteObjectBegin(QStringLiteral("UpdatesJournal"));
  s.WriteLongWord(QStringLiteral("SavePoint"), FChangeNumber, 0);
  for (const TChange& c : FChanges) {
    const TKvDatSRow& row = c.Table->Row(c.Row);
    s.WriteObjectBegin(QStringLiteral("Change"));
    s.WriteInteger(QStringLiteral("TabID"), manager.IndexOfTable(c.Table), -1);
    s.WriteLongWord(QStringLiteral("RowID"), row.RowID, KvNoRowID);
    s.WriteLongWord(QStringLiteral("ChangeNumber"), row.ChangeNumber, KvNoRowID);
    s.WriteObjectEnd(QStringLiteral("Change"));
  }
  s.WriteObjectEnd(QStringLiteral("UpdatesJournal"));
}

void TKvDatSUpdatesJournal::Load(TKvStorage& s, TKvDatSManager& manager) {
  KvDatS_ReadObjectBegin(s, QStringLiteral("UpdatesJournal"));
  FChangeNumber = s.ReadLongWord(QStringLiteral("SavePoint"), 0);
  QHash<TKvDatSTable*, QHash<uint32_t, uint32_t>> byRowID;  // built on first use per table
  while (!s.IsObjectEnd()) {
    KvDatS_ReadObjectBegin(s, QStringLiteral("Change"));
    const int tabID = s.ReadInteger(QStringLiteral("TabID"), -1);
    const uint32_t rowID = s.ReadLongWord(QStringLiteral("RowID"), KvNoRowID);
    const uint32_t change = s.ReadLongWord(QStringLiteral("ChangeNumber"), KvNoRowID);
    s.ReadObjectEnd(QStringLiteral("Change"));
    if (tabID < 0 || tabID >= manager.TableCount()) continue;
    TKvDatSTable& table = manager.Table(tabID);
    if (!byRowID.contains(&table)) {
      QHash<uint32_t, uint32_t>& index = byRowID[&table];
      for (uint32_t h : table.Rows()) index.insert(table.Row(h).RowID, h);
    }
    auto it = byRowID[&table].constFind(rowID);
    if (it != byRowID[&table].constEnd()) RegisterRowAs(table, *it, change);
  }
  s.ReadObjectEnd(QStringLiteral("UpdatesJournal"));
}

// ---- table ------------------------------------------------------------------------------

void TKvDatSTable::Save(TKvStorage& s) const {
  const int v = s.Version();
  s.WriteObjectBegin(QStringLiteral("Table"));
  s.WriteString(QStringLiteral("Name"), Name, QStringLiteral("Table"));
  s.WriteString(QStringLiteral("SourceName"), SourceName, QString());
  if (!SourceName.isEmpty()) s.WriteInteger(QStringLiteral("SourceID"), SourceID, 0);
  s.WriteInteger(QStringLiteral("TabID"), TabID(), -1);
  s.WriteBoolean(QStringLiteral("CaseSensitive"), CaseSensitive, true);
  s.WriteBoolean(QStringLiteral("EnforceConstraints"), EnforceConstraints, true);
  s.WriteLongWord(QStringLiteral("Locale"), Locale, 1024);
  s.WriteInteger(QStringLiteral("MinimumCapacity"), MinimumCapacity, 0);
  s.WriteBoolean(QStringLiteral("Nested"), Nested, false);
  s.WriteBoolean(QStringLiteral("Round2Scale"), Round2Scale, false);
  if (v >= 7) s.WriteBoolean(QStringLiteral("StrsTrim2Len"), StrsTrim2Len, false);
  s.WriteBoolean(QStringLiteral("CheckNotNull"), CheckNotNull, true);
  if (v >= 6) s.WriteBoolean(QStringLiteral("CheckReadOnly"), CheckReadOnly, true);
  Columns.Save(s);
  s.WriteObjectBegin(QStringLiteral("ConstraintList"));
  s.WriteBoolean(QStringLiteral("Enforce"), true, true);
  s.WriteObjectEnd(QStringLiteral("ConstraintList"));
  // Views of the dataset are built again at each open and are not part of a document.
  s.WriteObjectBegin(QStringLiteral("ViewList"));
  s.WriteObjectEnd(QStringLiteral("ViewList"));
  s.WriteObjectBegin(QStringLiteral("TableRowList"));
  TKvRowLayout layout;
  const bool inBulk = PlainRowLayout(v, layout) &&
                      s.WriteRows(layout, FRows.Count(), [this](int i) { return Image(FRows[i]); });
  if (!inBulk)
    for (uint32_t h : FRows) SaveRow(s, h);
  s.WriteObjectEnd(QStringLiteral("TableRowList"));
  s.WriteObjectEnd(QStringLiteral("Table"));
}

void TKvDatSTable::SaveRow(TKvStorage& s, uint32_t row) const {
  static const QString rowID = QStringLiteral("RowID"), rowState = QStringLiteral("RowState"),
                       priorState = QStringLiteral("RowPriorState"),
                       original = QStringLiteral("Original"), current = QStringLiteral("Current"),
                       proposed = QStringLiteral("Proposed");
  const QString objectName = RowObjectName(s.Version());
  const TKvDatSRow& r = Row(row);
  s.WriteObjectBegin(objectName);
  s.WriteLongWord(rowID, r.RowID, KvNoRowID);
  s.WriteEnum(rowState, RowStateNames(), r.RowState, rsDetached);
  s.WriteEnum(priorState, RowStateNames(), r.RowPriorState, rsDetached);
  if (r.Original != KvNoBuffer) SaveVersion(s, original, r.Original);
  if (r.Current != KvNoBuffer) SaveVersion(s, current, r.Current);
  if (r.Proposed != KvNoBuffer) SaveVersion(s, proposed, r.Proposed);
  s.WriteObjectEnd(objectName);
}

void TKvDatSTable::SaveVersion(TKvStorage& s, const QString& name, uint32_t buffer) const {
  const uint8_t* buf = Buffer(buffer);
  s.WriteObjectBegin(name);
  // Plain types first, then the large ones.
  for (bool large : {false, true})
    for (int i = 0; i < Columns.Count(); ++i) {
      const TKvDataType t = Columns[i].DataType();
      if (t == dtUnknown || KvDataTypeIsLarge(t) != large || IsNull(buf, i)) continue;
      if (KvDataTypeIsVariable(t)) {
        const QByteArray data = VarData(buf, i);
        s.WriteValue(Columns[i].Name, i, t, nullptr, &data);
      } else {
        s.WriteValue(Columns[i].Name, i, t, Cell(buf, i), nullptr);
      }
    }
  s.WriteObjectEnd(name);
}

void TKvDatSTable::Load(TKvStorage& s) {
  const int v = s.Version();
  KvDatS_ReadObjectBegin(s, QStringLiteral("Table"));
  Name = s.ReadString(QStringLiteral("Name"), QStringLiteral("Table"));
  SourceName = s.ReadString(QStringLiteral("SourceName"), QString());
  SourceID = s.ReadInteger(QStringLiteral("SourceID"), 0);
  s.ReadInteger(QStringLiteral("TabID"), -1);  // the place in the manager decides
  CaseSensitive = s.ReadBoolean(QStringLiteral("CaseSensitive"), true);
  EnforceConstraints = s.ReadBoolean(QStringLiteral("EnforceConstraints"), true);
  Locale = s.ReadLongWord(QStringLiteral("Locale"), 1024);
  MinimumCapacity = s.ReadInteger(QStringLiteral("MinimumCapacity"), 0);
  Nested = s.ReadBoolean(QStringLiteral("Nested"), false);
  Round2Scale = s.ReadBoolean(QStringLiteral("Round2Scale"), false);
  if (v >= 7) StrsTrim2Len = s.ReadBoolean(QStringLiteral("StrsTrim2Len"), false);
  CheckNotNull = s.ReadBoolean(QStringLiteral("CheckNotNull"), true);
  if (v >= 6) CheckReadOnly = s.ReadBoolean(QStringLiteral("CheckReadOnly"), true);
  ClearRows();
  Columns.Load(s);
  UpdateLayout();
  KvDatS_ReadObjectBegin(s, QStringLiteral("ConstraintList"));
  s.ReadBoolean(QStringLiteral("Enforce"), true);
  SkipUnsupportedChildren(s);
  s.ReadObjectEnd(QStringLiteral("ConstraintList"));
  ReadEmptyList(s, QStringLiteral("ViewList"));
  LoadRows(s);
  if (s.TestObject(QStringLiteral("UpdatesJournal"))) {
    // A table's own journal belongs to tables outside a manager; its entries are dropped.
    TKvDatSUpdatesJournal own;
    own.Load(s, *FManager);
    own.Forget(*this);
  }
  s.ReadObjectEnd(QStringLiteral("Table"));
}

void TKvDatSTable::LoadRows(TKvStorage& s) {
  static const QString rowID = QStringLiteral("RowID"), rowState = QStringLiteral("RowState"),
                       priorState = QStringLiteral("RowPriorState"),
                       original = QStringLiteral("Original"), current = QStringLiteral("Current"),
                       proposed = QStringLiteral("Proposed"),
                       exception = QStringLiteral("Exception");
  const QString rowName = RowObjectName(s.Version());
  const QString otherRowName =
      rowName == QLatin1String("Row") ? QStringLiteral("DatSRow") : QStringLiteral("Row");
  KvDatS_ReadObjectBegin(s, QStringLiteral("TableRowList"));
  FStoredOrder = StoredOrder();
  // A row costs the engine a few dozen bytes and a version one record, while the document
  // spends as little as three bytes on either; beyond a generous multiple of the file's size
  // the document claims more than it holds.
  constexpr size_t BaseBudget = size_t(256) << 20;
  FLoadBudget = BaseBudget + size_t(std::max<int64_t>(s.DataSize(), 0)) * 64;
  const size_t rowCost = sizeof(TKvDatSRow) + sizeof(uint32_t) * (1 + FViews.size());
  // Room for the rows a recording of this size holds, so that the list seldom grows while
  // loading; a row of readings takes some sixty bytes in the file.
  FRows.SetMinimumCapacity(int(std::min<int64_t>(s.DataSize() / 64, 1 << 24)));
  // Plain rows come in bulk, at the cost the walk would charge for them.
  TKvRowLayout layout;
  const bool inBulk = PlainRowLayout(s.Version(), layout);
  const size_t versionCost = size_t(FBufferPool.RecordSize());
  auto take = [&](const TKvRowImage& image) {
    size_t cost = rowCost;
    for (const uint8_t* version : image.Versions) cost += version ? versionCost : 0;
    if (cost > FLoadBudget) return false;  // the walk names the object that overdraws
    FLoadBudget -= cost;
    const uint32_t h = FRowPool.Alloc();
    new (FRowPool.At(h)) TKvDatSRow();
    AttachRow(h);
    TKvDatSRow& r = Row(h);
    r.RowID = image.RowID;
    r.RowState = TKvDatSRowState(image.RowState);
    r.RowPriorState = TKvDatSRowState(image.RowPriorState);
    uint32_t* versions[3] = {&r.Original, &r.Current, &r.Proposed};
    for (int v = 0; v < 3; ++v)
      if (image.Versions[v]) {
        *versions[v] = NewBuffer();
        std::memcpy(Buffer(*versions[v]), image.Versions[v], versionCost);
      }
    return true;
  };
  BeginLoadData(tsLoadingFromStorage);
  try {
    while (!s.IsObjectEnd()) {
      if (inBulk && s.ReadRows(layout, take) > 0) continue;
      const QString name = s.TestObject(otherRowName) ? otherRowName : rowName;
      KvDatS_ReadObjectBegin(s, name);
      SpendLoadBudget(rowCost, name);
      const uint32_t h = FRowPool.Alloc();
      new (FRowPool.At(h)) TKvDatSRow();
      AttachRow(h);
      TKvDatSRow& r = Row(h);
      r.RowID = s.ReadLongWord(rowID, KvNoRowID);
      r.RowState = TKvDatSRowState(s.ReadEnum(rowState, RowStateNames(), rsDetached));
      r.RowPriorState = TKvDatSRowState(s.ReadEnum(priorState, RowStateNames(), rsDetached));
      if (s.TestObject(exception)) throw EKvStorageError(ekvClassNotRegistered, exception);
      if (s.TestObject(original)) Row(h).Original = LoadVersion(s, original);
      if (s.TestObject(current)) Row(h).Current = LoadVersion(s, current);
      if (s.TestObject(proposed)) Row(h).Proposed = LoadVersion(s, proposed);
      s.ReadObjectEnd(name);
    }
    s.ReadObjectEnd(QStringLiteral("TableRowList"));
  } catch (...) {
    EndLoadData();
    throw;
  }
  EndLoadData();
}

std::vector<int> TKvDatSTable::StoredOrder() const {
  // Plain types first, then the large ones, each run by index.
  std::vector<int> order(Columns.Count(), -1);
  int place = 0;
  for (bool large : {false, true})
    for (int i = 0; i < Columns.Count(); ++i) {
      const TKvDataType t = Columns[i].DataType();
      if (t != dtUnknown && KvDataTypeIsLarge(t) == large) order[i] = place++;
    }
  return order;
}

bool TKvDatSTable::PlainRowLayout(int version, TKvRowLayout& l) const {
  l.RowName = RowObjectName(version);
  l.OtherRowName =
      l.RowName == QLatin1String("Row") ? QStringLiteral("DatSRow") : QStringLiteral("Row");
  l.RowID = QStringLiteral("RowID");
  l.RowState = QStringLiteral("RowState");
  l.RowPriorState = QStringLiteral("RowPriorState");
  l.Exception = QStringLiteral("Exception");
  l.States = &RowStateNames();
  l.Versions = {QStringLiteral("Original"), QStringLiteral("Current"), QStringLiteral("Proposed")};
  l.RecordSize = FBufferPool.RecordSize();
  const std::vector<int> order = StoredOrder();
  l.Columns.assign(Columns.Count(), {});
  l.Stored.assign(std::count_if(order.begin(), order.end(), [](int o) { return o >= 0; }), -1);
  for (int i = 0; i < Columns.Count(); ++i) {
    const TKvDataType t = Columns[i].DataType();
    // Their values live elsewhere or take another length in the document.
    if (order[i] >= 0 && (KvDataTypeIsVariable(t) || t == dtBCD || t == dtFmtBCD)) return false;
    l.Columns[i] = {order[i], Columns[i].Offset(), KvDataTypeInlineSize(t)};
    if (order[i] >= 0) l.Stored[order[i]] = i;
  }
  return true;
}

TKvRowImage TKvDatSTable::Image(uint32_t row) const {
  const TKvDatSRow& r = Row(row);
  TKvRowImage image;
  image.RowID = r.RowID;
  image.RowState = r.RowState;
  image.RowPriorState = r.RowPriorState;
  const uint32_t versions[3] = {r.Original, r.Current, r.Proposed};
  for (int v = 0; v < 3; ++v)
    image.Versions[v] = versions[v] == KvNoBuffer ? nullptr : Buffer(versions[v]);
  return image;
}

void TKvDatSTable::SpendLoadBudget(size_t bytes, const QString& object) {
  if (bytes > FLoadBudget) throw EKvStorageError(ekvCannotReadObject, object);
  FLoadBudget -= bytes;
}

uint32_t TKvDatSTable::LoadVersion(TKvStorage& s, const QString& name) {
  KvDatS_ReadObjectBegin(s, name);
  SpendLoadBudget(size_t(FBufferPool.RecordSize()), name);
  const uint32_t buffer = NewBuffer();
  if (s.ValuesByIndex())
    LoadValuesByIndex(s, buffer);
  else
    LoadValuesByName(s, buffer);
  s.ReadObjectEnd(name);
  return buffer;
}

void TKvDatSTable::LoadValuesByName(TKvStorage& s, uint32_t buffer) {
  QByteArray var;
  for (bool large : {false, true})
    for (int i = 0; i < Columns.Count(); ++i) {
      const TKvDataType t = Columns[i].DataType();
      if (t == dtUnknown || KvDataTypeIsLarge(t) != large) continue;
      uint8_t* buf = Buffer(buffer);
      if (!s.ReadValue(Columns[i].Name, i, t, Cell(buf, i), &var)) continue;
      if (KvDataTypeIsVariable(t))
        SetVarData(buf, i, var);
      else
        SetNull(buf, i, false);
    }
}

void TKvDatSTable::LoadValuesByIndex(TKvStorage& s, uint32_t buffer) {
  // Takes the stored values as they come, which costs what the file holds rather than a walk
  // over every column: a value is taken while it stands later in the stored order than the
  // one before, exactly as a walk through that order would meet it; anything else ends the
  // version.
  QByteArray var;
  int last = -1, i;
  while (s.PeekValueIndex(i) && i < Columns.Count() && FStoredOrder[i] > last) {
    last = FStoredOrder[i];
    const TKvDataType t = Columns[i].DataType();
    uint8_t* buf = Buffer(buffer);
    s.ReadValue(Columns[i].Name, i, t, Cell(buf, i), &var);
    if (KvDataTypeIsVariable(t))
      SetVarData(buf, i, var);
    else
      SetNull(buf, i, false);
  }
}

// ---- columns ----------------------------------------------------------------------------

void TKvDatSColumnList::Save(TKvStorage& s) const {
  s.WriteObjectBegin(QStringLiteral("ColumnList"));
  s.WriteInteger(QStringLiteral("InlineDataSize"), InlineDataSize, 1000);
  for (const auto& c : FItems) c->Save(s);
  s.WriteObjectEnd(QStringLiteral("ColumnList"));
}

void TKvDatSColumnList::Load(TKvStorage& s) {
  KvDatS_ReadObjectBegin(s, QStringLiteral("ColumnList"));
  InlineDataSize = s.ReadInteger(QStringLiteral("InlineDataSize"), 1000);
  // A column's place in the document's list is its index in the rows, so the list is
  // taken as stored.
  Clear();
  while (!s.IsObjectEnd()) Add(QStringLiteral("Column"), dtUnknown).Load(s);
  s.ReadObjectEnd(QStringLiteral("ColumnList"));
}

void TKvDatSColumn::Save(TKvStorage& s) const {
  const int v = s.Version();
  s.WriteObjectBegin(QStringLiteral("Column"));
  s.WriteString(QStringLiteral("Name"), Name, QStringLiteral("Column"));
  s.WriteString(QStringLiteral("SourceName"), SourceName, QString());
  if (!SourceName.isEmpty()) s.WriteInteger(QStringLiteral("SourceID"), SourceID, 0);
  s.WriteEnum(QStringLiteral("DataType"), DataTypeNames(), FDataType, dtUnknown);
  s.WriteInteger(QStringLiteral("Precision"), Precision, 0);
  s.WriteInteger(QStringLiteral("Scale"), Scale, 0);
  s.WriteInteger(QStringLiteral("Size"), Size, 0);
  for (int a = 0; a < KvDataAttributeCount; ++a)
    s.WriteBoolean(KvDataAttributeProperty(TKvDataAttribute(a)), HasAttribute(TKvDataAttribute(a)),
                   false);
  const bool autoInc = HasAttribute(caAutoInc);
  s.WriteBoolean(QStringLiteral("AutoIncrement"), autoInc, autoInc);
  s.WriteInteger(QStringLiteral("AutoIncrementSeed"), AutoIncrementSeed, 1);
  s.WriteInteger(QStringLiteral("AutoIncrementStep"), AutoIncrementStep, 1);
  if (Caption != Name) s.WriteString(QStringLiteral("Caption"), Caption, QString());
  s.WriteString(QStringLiteral("Expression"), Expression, QString());
  for (int o = 0; o < KvDataOptionCount; ++o)
    s.WriteBoolean(KvDataOptionProperty(TKvDataOption(o)), Options & (1u << o), false);
  if (v >= 2) {
    s.WriteString(QStringLiteral("OriginTabName"), OriginTabName, QString());
    s.WriteString(QStringLiteral("OriginColName"), OriginColName, QString());
  } else {
    s.WriteString(QStringLiteral("OriginName"), OriginColName, QString());
  }
  if (SourceDataType != dtUnknown && SourceDataType != FDataType) {
    s.WriteEnum(QStringLiteral("SourceDataType"), DataTypeNames(), SourceDataType, dtUnknown);
    s.WriteInteger(QStringLiteral("SourcePrecision"), SourcePrecision, 0);
    s.WriteInteger(QStringLiteral("SourceScale"), SourceScale, 0);
    s.WriteInteger(QStringLiteral("SourceSize"), SourceSize, 0);
    s.WriteString(QStringLiteral("SourceDataTypeName"), SourceDataTypeName, QString());
    s.WriteString(QStringLiteral("SourceDirectory"), SourceDirectory, QString());
    s.WriteString(QStringLiteral("SourceGenerator"), SourceGenerator, QString());
  }
  s.WriteObjectEnd(QStringLiteral("Column"));
}

void TKvDatSColumn::Load(TKvStorage& s) {
  const int v = s.Version();
  KvDatS_ReadObjectBegin(s, QStringLiteral("Column"));
  Name = s.ReadString(QStringLiteral("Name"), QStringLiteral("Column"));
  SourceName = s.ReadString(QStringLiteral("SourceName"), QString());
  SourceID = s.ReadInteger(QStringLiteral("SourceID"), 0);
  SetDataType(TKvDataType(s.ReadEnum(QStringLiteral("DataType"), DataTypeNames(), dtUnknown)));
  Precision = s.ReadInteger(QStringLiteral("Precision"), 0);
  Scale = s.ReadInteger(QStringLiteral("Scale"), 0);
  Size = s.ReadInteger(QStringLiteral("Size"), 0);
  Attributes = 0;
  for (int a = 0; a < KvDataAttributeCount; ++a)
    if (s.ReadBoolean(KvDataAttributeProperty(TKvDataAttribute(a)), false)) Attributes |= 1u << a;
  if (s.ReadBoolean(QStringLiteral("AutoIncrement"), HasAttribute(caAutoInc)))
    Attributes |= KvBit(caAutoInc);
  AutoIncrementSeed = s.ReadInteger(QStringLiteral("AutoIncrementSeed"), 1);
  AutoIncrementStep = s.ReadInteger(QStringLiteral("AutoIncrementStep"), 1);
  Caption = s.ReadString(QStringLiteral("Caption"), QString());
  Expression = s.ReadString(QStringLiteral("Expression"), QString());
  Options = 0;
  for (int o = 0; o < KvDataOptionCount; ++o)
    if (s.ReadBoolean(KvDataOptionProperty(TKvDataOption(o)), false)) Options |= 1u << o;
  if (v >= 2) {
    OriginTabName = s.ReadString(QStringLiteral("OriginTabName"), QString());
    OriginColName = s.ReadString(QStringLiteral("OriginColName"), QString());
  } else {
    OriginColName = s.ReadString(QStringLiteral("OriginName"), QString());
  }
  SourceDataType =
      TKvDataType(s.ReadEnum(QStringLiteral("SourceDataType"), DataTypeNames(), FDataType));
  SourcePrecision = s.ReadInteger(QStringLiteral("SourcePrecision"), 0);
  SourceScale = s.ReadInteger(QStringLiteral("SourceScale"), 0);
  SourceSize = s.ReadInteger(QStringLiteral("SourceSize"), 0);
  SourceDataTypeName = s.ReadString(QStringLiteral("SourceDataTypeName"), QString());
  SourceDirectory = s.ReadString(QStringLiteral("SourceDirectory"), QString());
  SourceGenerator = s.ReadString(QStringLiteral("SourceGenerator"), QString());
  s.ReadObjectEnd(QStringLiteral("Column"));
}
