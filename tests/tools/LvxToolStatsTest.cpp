// lvxtool stats and report on documents with known content: the figures against the plain
// computation, the period options in every locale, and the report's pages.
#include <gtest/gtest.h>

#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QTemporaryDir>
#include <random>

#include "LevelReference.h"

namespace {
struct TRun {
  int Code;
  QString Out, Err;
};

TRun Tool(const QStringList& args, const QString& locale = "C.UTF-8") {
  QProcess p;
  QProcessEnvironment e = QProcessEnvironment::systemEnvironment();
  e.insert("LC_ALL", locale);
  e.insert("LANG", locale);
  p.setProcessEnvironment(e);
  p.start(LVXTOOL_PATH, args);
  p.waitForFinished(120000);
  return {p.exitCode(), QString::fromUtf8(p.readAllStandardOutput()),
          QString::fromUtf8(p.readAllStandardError())};
}

const TDateTime Day = EncodeDate(2026, 11, 23);

// One reading every `step` seconds from 00:00 for `seconds`, every 17th without a level.
std::vector<TLevelRow> Rows(int seconds, int step, unsigned seed) {
  std::mt19937 random(seed);
  std::normal_distribution<double> noise(0, 6);
  std::vector<TLevelRow> rows;
  for (int s = 0; s < seconds; s += step) {
    // Quiet nights, a busy day: the level follows the hour.
    const double hour = s / 3600.0;
    const double base = 45 + 20 * std::sin((hour - 6) / 24 * 2 * M_PI);
    const double level = std::round(std::clamp(base + noise(random), 30.0, 130.0) * 10) / 10;
    rows.push_back(
        {Day + s / 86400.0, (s / step) % 17 == 3 ? std::nullopt : std::optional<double>(level)});
  }
  return rows;
}

class LvxToolStatsTest : public ::testing::Test {
 protected:
  QString Save(const QString& name, const std::vector<TLevelRow>& rows) {
    TKvMeasurementTable table;
    table.CreateDataSet();
    for (const TLevelRow& r : rows) PostLevelRow(table, r);
    const QString file = Dir.filePath(name);
    table.SaveToFile(file);
    return file;
  }
  static void ExpectJsonAgrees(const QJsonObject& o, const TLevelReference& r) {
    EXPECT_EQ(o["count"].toInteger(), r.Count);
    EXPECT_NEAR(o["duration_s"].toDouble(), r.DurationS, 1e-6);
    const std::pair<const char*, double> figures[] = {
        {"leq", r.Leq}, {"lmax", r.Lmax}, {"lmin", r.Lmin}, {"lmean", r.Lmean}};
    for (const auto& [key, value] : figures) EXPECT_NEAR(o[key].toDouble(), value, 0.05) << key;
    for (const auto& [n, value] : r.L)
      EXPECT_NEAR(o[QString("l%1").arg(n)].toDouble(), value, 0.05) << n;
    ASSERT_TRUE(r.Sel);
    EXPECT_NEAR(o["sel"].toDouble(), *r.Sel, 0.05);
  }
  QTemporaryDir Dir;
};

QJsonObject Json(const TRun& run) {
  EXPECT_EQ(run.Code, 0) << run.Err.toStdString();
  QJsonParseError error;
  const QJsonDocument doc = QJsonDocument::fromJson(run.Out.toUtf8(), &error);
  EXPECT_EQ(error.error, QJsonParseError::NoError) << run.Out.toStdString();
  return doc.object();
}
}  // namespace

TEST_F(LvxToolStatsTest, JsonAgreesWithTheDefinitions) {
  const std::vector<TLevelRow> rows = Rows(3 * 3600, 7, 18);
  const QJsonObject o = Json(Tool({"stats", "--json", Save("three hours.dat", rows)}));
  const QStringList keys = {"count", "first", "last", "duration_s", "leq", "lmax", "lmin", "lmean",
                            "l1",    "l5",    "l10",  "l50",        "l90", "l95",  "l99",  "sel"};
  EXPECT_EQ(QStringList(o.keys()).size(), keys.size());
  for (const QString& k : keys) EXPECT_TRUE(o.contains(k)) << k.toStdString();
  EXPECT_EQ(o["first"].toString().toStdString(), "2026-11-23T00:00:00");
  EXPECT_EQ(o["last"].toString().toStdString(), "2026-11-23T02:59:54");
  ExpectJsonAgrees(o, ReferenceOf(rows));
}

TEST_F(LvxToolStatsTest, PeriodOptionsReadAndWriteTheSameInEveryLocale) {
  const std::vector<TLevelRow> rows = Rows(4 * 3600, 10, 5);
  const QString file = Save("four hours.dat", rows);
  std::vector<TLevelRow> inPeriod;
  for (const TLevelRow& r : rows)
    if (r.At >= Day + 1.5 / 24 && r.At <= Day + (2 * 3600 + 59 * 60 + 59) / 86400.0)
      inPeriod.push_back(r);
  QString first;
  for (const char* locale : {"C.UTF-8", "en_US.UTF-8", "de_DE.UTF-8", "fr_FR.UTF-8"}) {
    SCOPED_TRACE(locale);
    const TRun json =
        Tool({"stats", "--json", "--from", "2026-11-23 01:30", "--to", "2026-11-23T02:59:59", file},
             locale);
    ExpectJsonAgrees(Json(json), ReferenceOf(inPeriod));
    if (first.isEmpty()) first = json.Out;
    EXPECT_EQ(json.Out, first);
    // The text form: aligned, a point as decimal separator whatever the locale.
    const TRun text = Tool({"stats", "--to", "2026-11-23 00:00:20", file}, locale);
    EXPECT_EQ(text.Code, 0);
    EXPECT_TRUE(text.Out.startsWith("count     3\nfirst     2026-11-23T00:00:00\n"))
        << text.Out.toStdString();
    EXPECT_TRUE(text.Out.contains(QRegularExpression(R"(\nleq       \d+\.\d dB\n)")));
    EXPECT_TRUE(text.Out.contains("duration  00:00:20 (20 s)\n"));
  }
  // A date alone is its whole day; a period without readings has no figures.
  EXPECT_EQ(
      Json(Tool({"stats", "--json", "--from", "2026-11-23", "--to", "2026-11-23", file}))["count"]
          .toInteger(),
      ReferenceOf(rows).Count);
  const QJsonObject none = Json(Tool({"stats", "--json", "--from", "2026-11-24", file}));
  EXPECT_EQ(none["count"].toInteger(), 0);
  EXPECT_TRUE(none["leq"].isNull() && none["first"].isNull() && none["sel"].isNull());
  EXPECT_EQ(Tool({"stats", "--from", "2026-11-24", file}).Out, "count     0\n");
  for (const char* bad : {"23.11.2026", "2026-02-30", "2026-11-23 25:00", "yesterday"}) {
    const TRun r = Tool({"stats", "--from", bad, file});
    EXPECT_EQ(r.Code, 2) << bad;
    EXPECT_TRUE(r.Err.contains(QString("'%1' is no time").arg(bad))) << r.Err.toStdString();
  }
}

TEST_F(LvxToolStatsTest, ReportOfADayHasTheFiguresTheChartAndEveryHour) {
  const std::vector<TLevelRow> rows = Rows(24 * 3600, 2, 11);
  const QString file = Save("day.dat", rows), pdf = Dir.filePath("day.pdf");
  const TRun r = Tool({"report", file, pdf});
  ASSERT_EQ(r.Code, 0) << r.Err.toStdString();
  EXPECT_EQ(r.Out, pdf + ": 2 pages\n");
  QProcess text;
  text.start("pdftotext", {"-layout", pdf, "-"});
  ASSERT_TRUE(text.waitForFinished(60000));
  const QString pages = QString::fromUtf8(text.readAllStandardOutput());
  EXPECT_TRUE(pages.contains("Measurement report: day.dat"));
  EXPECT_TRUE(pages.contains("Period: 2026-11-23 00:00:00 to 2026-11-23 23:59:58 (23:59:58)"));
  const TLevelReference ref = ReferenceOf(rows);
  EXPECT_TRUE(pages.contains(QString::number(ref.Leq, 'f', 1) + " dB")) << pages.toStdString();
  EXPECT_TRUE(pages.contains("Statistics per clock hour"));
  for (int h = 0; h < 24; ++h)
    EXPECT_TRUE(pages.contains(QString::asprintf("2026-11-23 %02d:00 - %02d:00", h, (h + 1) % 24)))
        << h;
  EXPECT_EQ(Tool({"report", file}).Code, 2);
  if (qEnvironmentVariableIsSet("LVX_KEEP_REPORT"))
    QFile::copy(pdf, qEnvironmentVariable("LVX_KEEP_REPORT"));
}
