// The CSV text of an export and the XML document form, byte for byte under pinned regional
// settings, and their failures. The dialog around them is tested with the program.
#include <gtest/gtest.h>

#include <QFile>
#include <QLocale>
#include <QTemporaryDir>

#include "DocumentsTestUtil.h"
#include "KvExportWriter.h"
#include "KvXMLStorage.h"
#include "LvxTestSupport.h"

namespace {
const QByteArray Header =
    "\"Date\";\"Time\";\"Y\";\"Underflow\";\"Overflow\";\"AC\";\"TI\";\"Freq\";\"sTime\";"
    "\"RangeMin\";\"RangeMax\"\r\n";

class KvExportTest : public ::testing::Test {
 protected:
  void SetUp() override {
    Saved = KvLocale();
    Table.CreateDataSet();
    Table.SetIndexName(TKvMeasurementTable::IndexAscName);
  }
  void TearDown() override { KvLocale_Pin(Saved); }
  static void Pin(const char* name) { KvLocale_Pin(TKvLocale::FromQLocale(QLocale(name))); }
  QByteArray Csv(const TKvCsvOptions& options = {}) {
    return KvExport_CsvText(Table, Columns.empty() ? KvExport_Columns(Table) : Columns, options);
  }
  QString Path(const QString& name) const { return Dir.filePath(name); }
  static QByteArray Read(const QString& file) {
    QFile f(file);
    return f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray();
  }

  TKvLocale Saved;
  TKvMeasurementTable Table;
  TKvExportColumns Columns;
  QTemporaryDir Dir;
};
}  // namespace

TEST_F(KvExportTest, TheWorkedExampleInEachRegion) {
  Table.PostReading(WorkedExampleReading());
  struct Row {
    const char* Locale;
    QByteArray Line;
  } rows[] = {
      {"de_DE", "\"11.06.2015\";\"14:30:05\";65,3;False;False;1;2;\"A\";\"FAST\";50;100\r\n"},
      {"en_US", "\"6/11/2015\";\"14:30:05\";65.3;False;False;1;2;\"A\";\"FAST\";50;100\r\n"},
      {"fr_FR", "\"11/06/2015\";\"14:30:05\";65,3;False;False;1;2;\"A\";\"FAST\";50;100\r\n"},
      {"C", "\"11 Jun 2015\";\"14:30:05\";65.3;False;False;1;2;\"A\";\"FAST\";50;100\r\n"},
  };
  for (const Row& r : rows) {
    SCOPED_TRACE(r.Locale);
    Pin(r.Locale);
    EXPECT_EQ(Csv(), Header + r.Line);
  }
  // The region of the Part's example: day, month, year and a decimal point.
  KvLocale_Pin(PinnedTestLocale());
  EXPECT_EQ(Csv(),
            Header + "\"11.06.2015\";\"14:30:05\";65.3;False;False;1;2;\"A\";\"FAST\";50;100\r\n");
}

TEST_F(KvExportTest, CellsReadAsTheDatasetShowsThemInEveryRegion) {
  // Rows sort by date and time; the text is the field's own, whatever the region.
  const double levels[] = {65.3, 1e20, 0.000012345, -3, 123456789012.5};
  for (int i = 0; i < 5; ++i) Table.PostReading(Reading(50 - i, levels[i]));
  Table.Append();
  Table.FieldByName("Y").SetAsFloat(40);
  Table.Post();  // no date, time, flags or weighting: empty cells, sorted first
  Columns = KvExport_Columns(Table);
  for (auto& c : Columns) c.UseQuote = false;
  for (const char* name : {"C", "en_US", "de_DE", "fr_FR"}) {
    SCOPED_TRACE(name);
    Pin(name);
    TKvCsvOptions bare;
    bare.Quote.clear();
    bare.WithHeader = false;
    const QList<QByteArray> lines = Csv(bare).split('\n');
    ASSERT_EQ(lines.size(), 7);
    for (int row = 0; row < 6; ++row) {
      Table.SetRecNo(row);
      QStringList cells;
      for (const TKvExportColumn& c : Columns)
        if (c.Export) cells << Table.Fields(c.FieldNo).AsString();
      EXPECT_EQ(QString::fromUtf8(lines[row]), cells.join(';') + '\r');
    }
    EXPECT_TRUE(lines[0].startsWith(";;40;;;;;;;;")) << lines[0].toStdString();
  }
}

TEST_F(KvExportTest, DelimiterQuoteHeaderAndColumnChoices) {
  KvLocale_Pin(PinnedTestLocale());
  Table.PostReading(WorkedExampleReading());
  Columns = KvExport_Columns(Table);
  ASSERT_EQ(Columns.size(), 12u);
  EXPECT_FALSE(Columns[0].Export);  // RecId
  QStringList quoted;
  for (const auto& c : Columns)
    if (c.UseQuote) quoted << c.Column;
  EXPECT_EQ(quoted, QStringList({"Date", "Time", "Freq", "sTime"}));
  EXPECT_EQ(Columns[3].Size, 8);
  EXPECT_EQ(Columns[8].Size, 21);

  for (auto& c : Columns) c.Export = c.Column == "Date" || c.Column == "Y";
  Columns[1].UseQuote = false;  // the date bare, its header still quoted
  TKvCsvOptions o;
  o.Delimiter = "<>";
  o.Quote = "'";
  EXPECT_EQ(Csv(o), "'Date'<>'Y'\r\n11.06.2015<>65.3\r\n");
  o.Quote.clear();
  o.WithHeader = false;
  EXPECT_EQ(Csv(o), "11.06.2015<>65.3\r\n");
  o.Delimiter.clear();
  EXPECT_EQ(Csv(o), "11.06.201565.3\r\n");  // nothing is escaped or added
  for (auto& c : Columns) c.Export = false;
  EXPECT_EQ(Csv(), "");
}

TEST_F(KvExportTest, AnEmptyTableIsTheHeaderAndProgressFollowsTheRows) {
  EXPECT_EQ(Csv(), Header);
  for (int i = 0; i < 25; ++i) Table.PostReading(Reading(i, 60));
  std::vector<int> positions;
  KvExport_CsvText(Table, KvExport_Columns(Table), {}, [&](int p) { positions.push_back(p); });
  EXPECT_EQ(positions, (std::vector<int>{1, 2, 10, 20}));
  // Rows that arrive while the walk lets messages run are written too.
  int added = 0;
  const QByteArray text = KvExport_CsvText(Table, KvExport_Columns(Table), {}, [&](int p) {
    if (p == 20 && added++ == 0) Table.PostReading(Reading(59, 70));
  });
  EXPECT_EQ(text.count('\n'), 1 + 26);
  EXPECT_TRUE(text.endsWith("\"14:30:59\";70;False;False;1;2;\"A\";\"FAST\";50;100\r\n"));
}

TEST_F(KvExportTest, WritingReportsTheSystemsReason) {
  KvExport_WriteFile(Path("a.csv"), "x\r\n");
  EXPECT_EQ(Read(Path("a.csv")), "x\r\n");
  KvExport_WriteFile(Path("a.csv"), "");  // created anew
  EXPECT_EQ(Read(Path("a.csv")), "");
  try {
    KvExport_WriteFile(Path("gone/a.csv"), "x");
    FAIL();
  } catch (const EKvMemError& e) {
    EXPECT_EQ(e.Message(),
              "Cannot create file \"" + Path("gone/a.csv") + "\". No such file or directory");
  }
  try {
    KvExport_WriteFile("/dev/full", QByteArray(100000, 'x'));
    FAIL();
  } catch (const EKvMemError& e) {
    EXPECT_TRUE(e.Message().endsWith("No space left on device")) << e.Message().toStdString();
  }
  Table.PostReading(WorkedExampleReading());
  try {
    Table.SaveToFile("/dev/full", TKvXMLStorage::FormatNumber);
    FAIL();
  } catch (const EKvMemError& e) {
    EXPECT_EQ(e.Message(), "Stream write error. No space left on device");
  }
}

// ---- the XML form -----------------------------------------------------------------------

TEST_F(KvExportTest, XmlHasTheDocumentsTreeInFixedFormsAndLoadsBack) {
  Pin("de_DE");  // the region has no say
  Table.PostReading(WorkedExampleReading());
  Table.PostReading(Reading(7, 0.1));
  Table.Append();
  Table.FieldByName("AC").SetAsInteger(2);
  Table.Post();
  Table.SaveToFile(Path("w.dat"), TKvXMLStorage::FormatNumber);
  const QByteArray xml = Read(Path("w.dat"));
  EXPECT_TRUE(
      xml.startsWith("<?xml version=\"1.0\" encoding=\"utf-8\"?>\n<Manager "
                     "UpdatesRegistry=\"True\">\n  <TableList>\n    <Table "
                     "Name=\"KvMemTableData\" TabID=\"0\" MinimumCapacity=\"50\" "
                     "CheckNotNull=\"False\">\n      <ColumnList>\n"));
  EXPECT_TRUE(
      xml.contains("<Column Name=\"Date\" DataType=\"Date\" Searchable=\"True\" AllowNull=\"True\" "
                   "OAllowNull=\"True\" OInUpdate=\"True\" OInWhere=\"True\"/>"));
  EXPECT_TRUE(xml.contains(
      "      <ConstraintList/>\n      <ViewList/>\n      <TableRowList>\n"
      "        <Row RowID=\"0\" RowState=\"Unchanged\">\n"
      "          <Original Date=\"20150611\" Time=\"143005\" Y=\"65.2999999999999972\" "
      "Underflow=\"False\" Overflow=\"False\" AC=\"1\" TI=\"2\" RangeMin=\"50\" "
      "RangeMax=\"100\"/>\n        </Row>\n"));
  EXPECT_TRUE(xml.contains("<Original AC=\"2\"/>"));  // NULLs have no attribute
  EXPECT_TRUE(xml.endsWith("  <RelationList/>\n  <UpdatesJournal SavePoint=\"3\"/>\n</Manager>\n"));

  for (const char* name : {"C", "en_US", "de_DE", "fr_FR"}) {
    SCOPED_TRACE(name);
    Pin(name);
    TKvMeasurementTable back;
    back.CreateDataSet();
    back.LoadFromFile(Path("w.dat"), TKvXMLStorage::FormatNumber);
    EXPECT_EQ(SaveToBytes(back), SaveToBytes(Table));  // the same rows, states and journal
  }
  // By its extension a file opens through the XML storage.
  QFile::copy(Path("w.dat"), Path("w.XML"));
  TKvMeasurementTable byName;
  byName.LoadFromFile(Path("w.XML"));
  EXPECT_EQ(byName.RecordCount(), 3);
}

TEST_F(KvExportTest, NamesThatArentXmlNamesAreEscapedAndRead) {
  EXPECT_EQ(TKvXMLStorage::EscapeName("Level A"), "Level_0x0020_A");
  EXPECT_EQ(TKvXMLStorage::EscapeName("1st"), "_0x0031_st");
  EXPECT_EQ(TKvXMLStorage::UnescapeName("Level_0x0020_A"), "Level A");
  TKvMemTable t("T");
  t.AddField("Level A", TKvFieldType::ftFloat);
  t.CreateDataSet();
  t.Append();
  t.Fields(0).SetAsFloat(1.5);
  t.Post();
  t.SaveToFile(Path("t.xml"));
  EXPECT_TRUE(Read(Path("t.xml")).contains("<Original Level_0x0020_A=\"1.5\"/>"));
  TKvMemTable back("T");
  back.AddField("Level A", TKvFieldType::ftFloat);
  back.LoadFromFile(Path("t.xml"));
  EXPECT_EQ(back.Fields(0).AsFloat(), 1.5);
}

TEST_F(KvExportTest, AnXmlFileThatIsNoDocumentGivesTheStoragesOwnErrors) {
  Table.PostReading(WorkedExampleReading());
  Table.SaveToFile(Path("good.xml"));
  const QByteArray good = Read(Path("good.xml"));
  QByteArray badValue = good, badEnum = good;
  badValue.replace("Y=\"65.2999999999999972\"", "Y=\"loud\"");
  badEnum.replace("RowState=\"Unchanged\"", "RowState=\"Lost\"");
  struct Row {
    const char* Name;
    QByteArray Bytes;
    const char* Message;
  } rows[] = {
      {"root", "<?xml version=\"1.0\"?><Document/>",
       "[KvMem][Store]-715. Class [Document] is not registered"},
      {"value", badValue, "[KvMem][Store]-711. Cannot read [Y] property"},
      {"enum", badEnum, "[KvMem][Store]-711. Cannot read [RowState] property"},
      {"truncated", good.left(good.indexOf("<Original")),
       "[KvMem][Store]-712. Cannot read [Row] object"},
      {"binary", WorkedExampleFile(), "[KvMem][Store]-712. Cannot read [Manager] object"},
      {"empty", "", "[KvMem][Store]-712. Cannot read [Manager] object"},
  };
  for (const Row& r : rows) {
    SCOPED_TRACE(r.Name);
    QFile f(Path("bad.xml"));
    ASSERT_TRUE(f.open(QIODevice::WriteOnly | QIODevice::Truncate));
    f.write(r.Bytes);
    f.close();
    try {
      Table.LoadFromFile(Path("bad.xml"));
      FAIL();
    } catch (const EKvMemError& e) {
      EXPECT_EQ(e.Message(), r.Message);
    }
    EXPECT_FALSE(Table.Active());
  }
}
