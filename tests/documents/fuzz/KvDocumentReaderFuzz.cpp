// One input is one document: it is read into the measurement table, every field of every row
// is read in every way the program reads it, and a document that loaded is saved and read
// again. Its rows read in bulk must come out as the walk of properties reads them. Exceptions of
// the engine are the expected answer to a damaged document; anything else (a sanitizer report, an
// allocation beyond the limit, a hang) is a finding.
#include <QBuffer>
#include <QDate>
#include <cmath>
#include <cstdlib>

#include "../KvRowsInBulk.h"
#include "KvMeasurementTable.h"

namespace {
void ReadEveryField(TKvMeasurementTable& t) {
  for (int i = 0; i < t.FieldCount(); ++i) {
    TKvField& f = t.Fields(i);
    (void)f.AsString();
    if (f.IsNull() || f.FieldKind == TKvFieldKind::fkCalculated) continue;
    (void)f.AsInteger();
    (void)f.AsBoolean();
    (void)f.AsFloat();
    // What the dump and the exports make of dates and times.
    const TDateTime dt = f.AsDateTime();
    if (f.DataType == TKvFieldType::ftDate)
      (void)QDate::fromJulianDay(1721425 + qRound64(dt) + KvDateDelta);
    if (f.DataType == TKvFieldType::ftTime) (void)int(std::llround(dt * 86400000.0));
  }
}

void Load(TKvMeasurementTable& t, const QByteArray& bytes) {
  QBuffer buffer;
  buffer.setData(bytes);
  buffer.open(QIODevice::ReadOnly);
  t.LoadFromStream(buffer);
}
}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const QByteArray bytes(reinterpret_cast<const char*>(data), qsizetype(size));
  if (KvLoadOutcome(bytes, true) != KvLoadOutcome(bytes, false)) std::abort();
  TKvMeasurementTable table;
  try {
    Load(table, bytes);
  } catch (const EKvMemError&) {
    return 0;
  }
  for (const QString& index :
       {TKvMeasurementTable::IndexAscName, TKvMeasurementTable::IndexDescName}) {
    table.SetIndexName(index);
    for (table.First(); !table.Eof(); table.Next()) ReadEveryField(table);
  }
  try {
    table.MergeChangeLog();
    QBuffer out;
    out.open(QIODevice::WriteOnly);
    table.SaveToStream(out);
    TKvMeasurementTable again;
    Load(again, out.data());
  } catch (const EKvMemError&) {
  }
  return 0;
}
