// lvxtool stats: the acoustic statistics of a document, as aligned text or as one JSON object.
#include "LvxToolStats.h"

#include <QDate>
#include <QRegularExpression>
#include <cmath>
#include <limits>

#include "KvLevelStatistics.h"
#include "KvMeasurementTable.h"
#include "LvxTool.h"

bool LvxTool_LoadDocument(TKvMeasurementTable& table, const QString& fileName, QTextStream& err) {
  try {
    table.CreateDataSet();
    table.LoadFromFile(fileName, 0);
    table.SetIndexName(TKvMeasurementTable::IndexAscName);
  } catch (const EKvMemError& e) {
    err << e.Message() << "\n";
    return false;
  }
  return true;
}

namespace {
const char* const StatsUsage = "stats [--json] [--from TIME] [--to TIME] FILE";

// "YYYY-MM-DD", optionally followed (after a blank or "T") by "HH:MM", ":SS" and ".zzz"; the
// same in every locale. A date alone stands for its whole day: from its start, or to its end.
bool ParseTime(const QString& text, bool upTo, long long& msecs) {
  static const QRegularExpression form(
      R"(^(\d{4})-(\d{2})-(\d{2})(?:[ T](\d{2}):(\d{2})(?::(\d{2})(?:\.(\d{1,3}))?)?)?$)");
  const QRegularExpressionMatch m = form.match(text.trimmed());
  if (!m.hasMatch()) return false;
  const QDate date(m.captured(1).toInt(), m.captured(2).toInt(), m.captured(3).toInt());
  TDateTime day;
  if (!date.isValid() || !TryEncodeDate(date.year(), date.month(), date.day(), day)) return false;
  long long ms = 0;
  if (m.capturedLength(4) == 0) {
    ms = upTo ? 86400000 - 1 : 0;
  } else {
    const QTime time(m.captured(4).toInt(), m.captured(5).toInt(), m.captured(6).toInt(),
                     m.captured(7).leftJustified(3, '0').toInt());
    if (!time.isValid()) return false;
    ms = time.msecsSinceStartOfDay();
  }
  msecs = KvLevel_Msecs(day) + ms;
  return true;
}

QString IsoText(TDateTime at) {
  const long long ms = KvLevel_Msecs(at);
  int y, mo, d, h, mi, s, z;
  DecodeDate(at, y, mo, d);
  DecodeTime(KvLevel_DateTime(ms), h, mi, s, z);
  QString text = QString::asprintf("%04d-%02d-%02dT%02d:%02d:%02d", y, mo, d, h, mi, s);
  if (z) text += QString::asprintf(".%03d", z);
  return text;
}

// One decimal, always with a point: the output is read by programs too.
QString Decimal(double v) {
  return QString::number(v, 'f', 1);
}

QString SecondsText(double seconds) {
  return QString::number(seconds, 'f', 3).remove(QRegularExpression(R"(\.?0+$)"));
}

struct TFigure {
  QString Key;
  double Value;
};

std::vector<TFigure> Levels(const TKvLevelStatistics& s) {
  std::vector<TFigure> figures = {
      {"leq", s.Leq}, {"lmax", s.Lmax}, {"lmin", s.Lmin}, {"lmean", s.Lmean}};
  for (int n : KvPercentileNs) figures.push_back({QString("l%1").arg(n), s.Percentile(n)});
  figures.push_back({"sel", s.Sel()});
  return figures;
}

void WriteJson(const TKvLevelStatistics& s, QTextStream& out) {
  // Written by hand: the figures keep their one decimal and their order.
  QStringList members = {QString("\"count\": %1").arg(s.Count)};
  auto add = [&](const QString& key, const QString& value) {
    members << QString("\"%1\": %2").arg(key, s.Empty() ? "null" : value);
  };
  add("first", '"' + IsoText(s.First) + '"');
  add("last", '"' + IsoText(s.Last) + '"');
  add("duration_s", SecondsText(s.DurationSeconds()));
  for (const TFigure& f : Levels(s))
    add(f.Key, std::isfinite(f.Value) ? Decimal(f.Value) : QStringLiteral("null"));
  out << "{" << members.join(", ") << "}\n";
}

void WriteText(const TKvLevelStatistics& s, QTextStream& out) {
  auto line = [&out](const QString& key, const QString& value) {
    out << key.leftJustified(10) << value << "\n";
  };
  line("count", QString::number(s.Count));
  if (s.Empty()) return;
  line("first", IsoText(s.First));
  line("last", IsoText(s.Last));
  line("duration",
       KvLevel_DurationText(s.DurationSeconds()) + " (" + SecondsText(s.DurationSeconds()) + " s)");
  for (const TFigure& f : Levels(s))
    if (std::isfinite(f.Value)) line(f.Key, Decimal(f.Value) + " dB");
}

int Stats(const QStringList& args, QTextStream& out, QTextStream& err) {
  bool json = false;
  long long from = std::numeric_limits<long long>::min();
  long long to = std::numeric_limits<long long>::max();
  QString file;
  for (int i = 0; i < args.size(); ++i) {
    const QString& a = args[i];
    if (a == "--json") {
      json = true;
    } else if ((a == "--from" || a == "--to") && i + 1 < args.size()) {
      if (!ParseTime(args[++i], a == "--to", a == "--from" ? from : to)) {
        err << "lvxtool stats: '" << args[i] << "' is no time: use YYYY-MM-DD[ HH:MM[:SS]]\n";
        return 2;
      }
    } else if (file.isEmpty() && !a.startsWith("--")) {
      file = a;
    } else {
      file.clear();
      break;
    }
  }
  if (file.isEmpty()) {
    err << "usage: lvxtool " << StatsUsage << "\n";
    return 2;
  }
  TKvMeasurementTable table;
  if (!LvxTool_LoadDocument(table, file, err)) return 2;
  if (from != std::numeric_limits<long long>::min() ||
      to != std::numeric_limits<long long>::max()) {
    // The period is the table's own filter, so the statistics walk only what lies in it.
    const int date = table.FieldByName("Date").Column(), time = table.FieldByName("Time").Column();
    table.SetFilter([=](const TKvDatSTable& t, uint32_t row) {
      bool nd, nt;
      const uint8_t* buf = t.RowData(row);
      const long long ms =
          (std::llround(KvCell_AsDouble(t, buf, date, nd)) - KvDateDelta) * 86400000LL +
          std::llround(KvCell_AsDouble(t, buf, time, nt));
      return !nd && ms >= from && ms <= to;
    });
  }
  const TKvLevelStatistics s = KvLevelStatistics_Of(table);
  json ? WriteJson(s, out) : WriteText(s, out);
  return 0;
}

TLvxToolRegistration reg(
    {"stats", StatsUsage, Stats, false,
     "Prints the acoustic statistics of the readings in the document FILE (any format the\n"
     "reader loads): count, first and last reading, duration, Leq (energy mean), Lmax, Lmin,\n"
     "Lmean (arithmetic mean), the levels L1, L5, L10, L50, L90, L95 and L99 exceeded by that\n"
     "per cent of the readings, and SEL (only for a duration above 0). Readings without a\n"
     "level do not count. Levels have one decimal.\n\n"
     "  --json       one JSON object with the keys count, first, last, duration_s, leq, lmax,\n"
     "               lmin, lmean, l1, l5, l10, l50, l90, l95, l99 and sel; null for what an\n"
     "               empty set has not\n"
     "  --from TIME  only readings at or after TIME\n"
     "  --to TIME    only readings at or before TIME\n\n"
     "TIME is YYYY-MM-DD, YYYY-MM-DD HH:MM or YYYY-MM-DD HH:MM:SS (a \"T\" may stand for the\n"
     "blank), the same in every locale; a date alone means its whole day.\n"});
}  // namespace
