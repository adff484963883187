#pragma once
// Helpers shared by the document tests: the worked example's reading and its file, spelled
// out byte by byte from the format rather than produced by the writer under test.
#include <QBuffer>
#include <QByteArray>
#include <QString>
#include <QStringList>

#include "KvDateTime.h"
#include "KvMeasurementTable.h"

inline TKvReadingValues WorkedExampleReading() {
  TKvReadingValues r;
  r.dtDate = EncodeDate(2015, 6, 11);
  r.dtTime = EncodeTime(14, 30, 5, 0);
  r.dVal = 65.3;
  r.dLo = 50;
  r.dHi = 100;
  r.bA = true;
  r.bFast = true;
  return r;
}

inline TKvReadingValues Reading(int second, double level, int msec = 0) {
  TKvReadingValues r = WorkedExampleReading();
  r.dtTime = EncodeTime(14, 30, second, msec);
  r.dVal = level;
  return r;
}

inline QByteArray U16(const QString& s) {
  return QByteArray(reinterpret_cast<const char*>(s.utf16()), s.size() * 2);
}

inline QByteArray Le(qint64 v, int bytes) {
  QByteArray b;
  for (int i = 0; i < bytes; ++i) b.append(char((v >> (8 * i)) & 0xFF));
  return b;
}

inline QByteArray WorkedExampleFile() {
  QByteArray body;
  auto prop = [&body](int number, const QByteArray& value) { body += Le(number, 2) + value; };
  body +=
      QByteArray::fromHex("FF00") + QByteArray::fromHex("010001") + QByteArray::fromHex("FF02FF03");
  prop(4, Le(28, 4) + U16("KvMemTableData"));
  prop(5, Le(0, 4));
  prop(6, Le(50, 4));
  prop(7, QByteArray(1, '\0'));
  body += QByteArray::fromHex("FF08");
  const QStringList names = {"RecId",    "Date", "Time", "Y",        "Underflow",
                             "Overflow", "AC",   "TI",   "RangeMin", "RangeMax"};
  const int types[] = {0x0A, 0x11, 0x12, 0x13, 0x14, 0x14, 0x0A, 0x0A, 0x15, 0x15};
  for (int i = 0; i < names.size(); ++i) {
    body += QByteArray::fromHex("FF09");
    prop(4, Le(names[i].size() * 2, 4) + U16(names[i]));
    prop(0x0B, Le(types[i], 2));
    body += QByteArray::fromHex("0C00010D00010E00010F0001100001FE");
  }
  body += QByteArray::fromHex(
      "FE"
      "FF16FE"
      "FF17FE"
      "FF18"
      "FF19");
  prop(0x1A, Le(0, 4));
  prop(0x1C, Le(0x1B, 2));
  body += QByteArray::fromHex("FF1D");
  body += QByteArray::fromHex(
      "0100103A0B00"
      "0200C8951C03"
      "03003333333333535040"
      "04000000"
      "05000000"
      "060001000000"
      "070002000000"
      "08003200"
      "09006400");
  body += QByteArray::fromHex(
      "FEFE"
      "FEFEFE"
      "FF1EFE"
      "FF1F");
  prop(0x20, Le(1, 4));
  body += QByteArray::fromHex("FEFE");

  QByteArray file = QByteArray("ADBS") + Le(7, 2) + Le(0, 2) + Le(12 + body.size(), 4) + body;
  for (const char* n :
       {"Manager",      "UpdatesRegistry", "TableList",      "Table",      "Name",
        "TabID",        "MinimumCapacity", "CheckNotNull",   "ColumnList", "Column",
        "dtInt32",      "DataType",        "Searchable",     "AllowNull",  "OAllowNull",
        "OInUpdate",    "OInWhere",        "dtDate",         "dtTime",     "dtDouble",
        "dtBoolean",    "dtInt16",         "ConstraintList", "ViewList",   "TableRowList",
        "Row",          "RowID",           "rsUnchanged",    "RowState",   "Original",
        "RelationList", "UpdatesJournal",  "SavePoint"})
    file += Le(qstrlen(n) * 2, 2) + U16(QString::fromLatin1(n));
  return file;
}

inline QByteArray SaveToBytes(TKvMemTable& table) {
  QBuffer buffer;
  buffer.open(QIODevice::WriteOnly);
  table.SaveToStream(buffer);
  return buffer.data();
}

inline void LoadFromBytes(TKvMemTable& table, const QByteArray& bytes) {
  QBuffer buffer;
  buffer.setData(bytes);
  buffer.open(QIODevice::ReadOnly);
  table.LoadFromStream(buffer);
}
