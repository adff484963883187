// lvxtool dump: a document's rows in ascending date and time order, as CSV.
#include <QDate>

#include "KvMeasurementTable.h"
#include "LvxTool.h"

namespace {
// Day number 1 is 1 January of year 1.
constexpr qint64 JulianDayOfDayNumberZero = 1721425;

QString Cell(TKvMemTable& t, const char* name, const std::function<QString(TKvField&)>& text) {
  TKvField& f = t.FieldByName(QLatin1String(name));
  return f.IsNull() ? QString() : text(f);
}

QString DumpLine(TKvMemTable& t) {
  const TKvDatSRow& row = t.Table()->Row(t.CurrentRowHandle());
  auto integer = [](TKvField& f) { return QString::number(f.AsInteger()); };
  auto boolean = [](TKvField& f) { return QString::number(f.AsBoolean() ? 1 : 0); };
  QStringList cells;
  cells << QString::number(row.RowID) << KvRowStateName(row.RowState);
  cells << Cell(t, "Date", [](TKvField& f) {
    return QDate::fromJulianDay(JulianDayOfDayNumberZero + qRound64(f.AsDateTime()) + KvDateDelta)
        .toString(Qt::ISODate);
  });
  cells << Cell(t, "Time", [](TKvField& f) {
    return QTime::fromMSecsSinceStartOfDay(int(std::llround(f.AsDateTime() * 86400000.0)))
        .toString(QStringLiteral("hh:mm:ss.zzz"));
  });
  cells << Cell(t, "Y", [](TKvField& f) {
    return QString::number(f.AsFloat(), 'g', QLocale::FloatingPointShortest);
  });
  cells << Cell(t, "Underflow", boolean) << Cell(t, "Overflow", boolean);
  cells << Cell(t, "AC", integer) << Cell(t, "TI", integer);
  cells << Cell(t, "RangeMin", integer) << Cell(t, "RangeMax", integer);
  cells << t.FieldByName(QStringLiteral("Freq")).AsString()
        << t.FieldByName(QStringLiteral("sTime")).AsString();
  return cells.join(QLatin1Char(','));
}

int Dump(const QStringList& args, QTextStream& out, QTextStream& err) {
  if (args.size() != 1) {
    err << "usage: lvxtool dump FILE\n";
    return 2;
  }
  TKvMeasurementTable table;
  try {
    table.CreateDataSet();
    table.LoadFromFile(args[0], 0);
    table.SetIndexName(TKvMeasurementTable::IndexAscName);
    for (table.First(); !table.Eof(); table.Next()) out << DumpLine(table) << "\n";
  } catch (const EKvMemError& e) {
    err << e.Message() << "\n";
    return 2;
  }
  return 0;
}

TLvxToolRegistration reg(
    {"dump", "dump FILE", Dump, false,
     "Prints the rows of the document FILE in ascending date and time order as CSV.\n"});
}  // namespace
