// lvxtool as a user runs it: real files in, text and documents out, exit codes.
#include <gtest/gtest.h>
#include <pty.h>
#include <sys/resource.h>
#include <unistd.h>

#include <QDir>
#include <QFile>
#include <QImage>
#include <QProcess>
#include <QRegularExpression>
#include <QTemporaryDir>

namespace {
struct TRun {
  int Code;
  QString Out, Err;
};

// env: extra variables; memoryLimit: the tool's address space in bytes, 0 for none.
TRun RunTool(const QStringList& args, const QStringList& env = {}, rlim_t memoryLimit = 0) {
  QProcess p;
  QProcessEnvironment e = QProcessEnvironment::systemEnvironment();
  for (const QString& kv : env) e.insert(kv.section('=', 0, 0), kv.section('=', 1));
  p.setProcessEnvironment(e);
  if (memoryLimit > 0)
    p.setChildProcessModifier([memoryLimit] {
      const rlimit limit{memoryLimit, memoryLimit};
      setrlimit(RLIMIT_AS, &limit);
    });
  p.start(LVXTOOL_PATH, args);
  p.waitForFinished(60000);
  return {p.exitCode(), QString::fromUtf8(p.readAllStandardOutput()),
          QString::fromUtf8(p.readAllStandardError())};
}

QByteArray Worked() {
  const char rec[18] = {char(0xA2), 0x0C, 0, 6, 5, 3, 1, 1, 0, 6, 1, 5, 1, 4, 3, 0, 0, 5};
  return QByteArray(rec, 18);
}

class LvxToolTest : public ::testing::Test {
 protected:
  QString Write(const QString& name, const QByteArray& bytes) {
    QFile f(Dir.filePath(name));
    EXPECT_TRUE(f.open(QIODevice::WriteOnly));
    f.write(bytes);
    return f.fileName();
  }
  QTemporaryDir Dir;
};
}  // namespace

TEST_F(LvxToolTest, DecodeMemoShowsStatusTextsInTheOrderTheyArise) {
  const QString in = Write("s.bin", QByteArray(1, char(0x55)) + Worked() + Worked().left(17) +
                                        QByteArray(1, char(0x0A)));
  const TRun r = RunTool({"decode", "--memo", "--chunk", "36", in});
  ASSERT_EQ(r.Code, 0) << r.Err.toStdString();
  const QStringList lines = r.Out.split('\n', Qt::SkipEmptyParts);
  ASSERT_EQ(lines.size(), 6);
  EXPECT_EQ(lines[0], "status: Err: DecodeRxLine: 36 Byte received (failure Magic = 5 )");
  EXPECT_EQ(lines[1], " A 2" + QString(11, ' ') + "0C" + QString(15, ' ') + "0653" +
                          QString(6, ' ') + "11 06 15 14 30 05 ");
  EXPECT_EQ(lines[3], "status: Err: DecodeRxLine: 18 Byte received (failure Time <0 >9)");
  EXPECT_TRUE(lines[5].endsWith("14:30:0A "));
}

TEST_F(LvxToolTest, DecodePrintsOneLinePerReading) {
  const QString in = Write("s.bin", Worked() + Worked());
  const TRun r = RunTool({"decode", in});
  EXPECT_EQ(r.Out,
            "2011-06-15 14:30:05 65.3 dB A SLOW 50-100\n"
            "2011-06-15 14:30:05 65.3 dB A SLOW 50-100\n");
}

TEST_F(LvxToolTest, RecordThenDumpGivesTheDocumentBack) {
  const QString in = Write("s.bin", Worked());
  const QString out = Dir.filePath("one.dat");
  ASSERT_EQ(RunTool({"record", in, out}).Code, 0);
  EXPECT_EQ(QFileInfo(out).size(), 1189);
  const TRun dump = RunTool({"dump", out});
  ASSERT_EQ(dump.Code, 0) << dump.Err.toStdString();
  EXPECT_TRUE(dump.Out.startsWith("0,rsUnchanged,2011-06-15,14:30:05.000,65.3,0,0,1,1,50,100,"));

  const TRun overridden = RunTool({"record", "--date-override", "2020-02-29", in, out});
  ASSERT_EQ(overridden.Code, 0);
  EXPECT_TRUE(RunTool({"dump", out}).Out.contains(",2020-02-29,"));
}

TEST_F(LvxToolTest, BadInputEndsWithExitCodeTwoAndOneLine) {
  for (const QStringList& args : {QStringList{"decode", Dir.filePath("missing.bin")},
                                  QStringList{"dump", Write("x.dat", "ADBS?")},
                                  QStringList{"record", "--date-override", "2020-13-01", "a", "b"},
                                  QStringList{"nonsense"}}) {
    SCOPED_TRACE(args.join(' ').toStdString());
    const TRun r = RunTool(args);
    EXPECT_EQ(r.Code, 2);
    EXPECT_FALSE(r.Err.isEmpty());
    EXPECT_TRUE(r.Out.isEmpty());
  }
}

// ---- diagram ----

namespace {
const char* const SceneText =
    "object TKvDiagram\n"
    "  NettoExportOffset = 3\n"
    "  AutomaticNodes = False\n"
    "  object Frame1: TDiagramBlock\n"
    "    Left = 10.0\n"
    "    Top = 10.0\n"
    "    Width = 200.0\n"
    "    Height = 80.0\n"
    "    Brush.Color = clNavy\n"
    "    Brush.Style = bsSolid\n"
    "    Shape = bsRectangle\n"
    "    LinkPoints = <\n"
    "      item\n"
    "        OrX = 100.0\n"
    "        OrY = 50.0\n"
    "      end>\n"
    "  end\n"
    "  object Line1: TDiagramLine\n"
    "    LinkPoints = <\n"
    "      item\n"
    "        Anchor = __DSOwner___.Frame1\n"
    "        AnchorIndex = 0\n"
    "      end\n"
    "      item\n"
    "        OrX = 300.0\n"
    "        OrY = 150.0\n"
    "      end>\n"
    "  end\n"
    "end\n";
}  // namespace

TEST_F(LvxToolTest, DiagramConvertGoesToBinaryAndBackWithoutChange) {
  const QString in = Write("scene.txt", SceneText);
  const QString bin = Dir.filePath("scene.bin"), text = Dir.filePath("scene.dgr"),
                again = Dir.filePath("again.dgr");
  ASSERT_EQ(RunTool({"diagram", "convert", in, bin}).Code, 0);
  ASSERT_EQ(RunTool({"diagram", "convert", bin, text}).Code, 0);
  ASSERT_EQ(RunTool({"diagram", "convert", text, again}).Code, 0);
  QFile b(bin), t(text), a(again);
  ASSERT_TRUE(b.open(QIODevice::ReadOnly) && t.open(QIODevice::ReadOnly) &&
              a.open(QIODevice::ReadOnly));
  const QByteArray binary = b.readAll(), first = t.readAll();
  EXPECT_TRUE(
      binary.startsWith(QByteArray("TPF0\x0aTKvDiagram\x00\x11NettoExportOffset\x02\x03", 35)));
  EXPECT_TRUE(first.contains("        Anchor = __DSOwner___.Frame1\n"));
  EXPECT_TRUE(first.contains("    Brush.Color = clNavy\n"));
  EXPECT_EQ(a.readAll(), first);
}

TEST_F(LvxToolTest, DiagramRenderDrawsTheScene) {
  const QString in = Write("scene.dgr", SceneText);
  const QString png = Dir.filePath("scene.png");
  const TRun r = RunTool({"diagram", "render", "--zoom", "200", in, png});
  ASSERT_EQ(r.Code, 0) << r.Err.toStdString();
  QImage img(png);
  ASSERT_FALSE(img.isNull());
  EXPECT_GE(img.width(), 500);
  // The navy block fills its middle.
  const QColor mid = img.pixelColor(img.width() / 5, img.height() / 5);
  EXPECT_GT(mid.blue(), 100);
  EXPECT_LT(mid.red(), 40);
}

TEST_F(LvxToolTest, DiagramRenderDrawsLiveAndUmlBlocks) {
  const QString in = Write("live.dgr",
                           "object TKvDiagram\n"
                           "  object Running: TLiveStateBlock\n"
                           "    Left = 10.0\n    Top = 10.0\n    Width = 100.0\n"
                           "    Height = 100.0\n    Color = clLime\n"
                           "    StateShape = ssSquare\n    OneShot = True\n  end\n"
                           "  object Shape: TUMLBaseClassBlock\n"
                           "    Left = 200.0\n    Top = 10.0\n    ClassTitle = 'Shape'\n"
                           "    Stereotype = 'interface'\n  end\n"
                           "  object Uses: TUMLGenericLine\n    LineType = ultUses\n  end\n"
                           "end\n");
  const QString text = Dir.filePath("again.dgr"), png = Dir.filePath("live.png");
  ASSERT_EQ(RunTool({"diagram", "convert", in, text}).Code, 0);
  QFile t(text);
  ASSERT_TRUE(t.open(QIODevice::ReadOnly));
  const QByteArray again = t.readAll();
  EXPECT_TRUE(again.contains("StateShape = ssSquare")) << again.constData();
  EXPECT_TRUE(again.contains("LineType = ultUses"));
  EXPECT_TRUE(again.contains("Stereotype = 'interface'"));
  const TRun r = RunTool({"diagram", "render", in, png});
  ASSERT_EQ(r.Code, 0) << r.Err.toStdString();
  QImage img(png);
  ASSERT_FALSE(img.isNull());
  // The square state keeps its colour: lime in its middle.
  EXPECT_EQ(img.pixelColor(50, 50), QColor(Qt::green));
}

// Four labelled blocks, one on each page of a two by two grid of A4 pages (25 mm margins
// leave about 605 by 934 pixels a page).
QByteArray FourPageScene() {
  QByteArray text = "object TKvDiagram\n";
  const struct {
    int X, Y;
    const char* Label;
  } blocks[] = {{10, 10, "NorthWest"},
                {700, 10, "NorthEast"},
                {10, 1000, "SouthWest"},
                {700, 1000, "SouthEast"}};
  for (const auto& b : blocks)
    text += QString(
                "  object %1: TTextBlock\n    Left = %2.0\n    Top = %3.0\n"
                "    Width = 200.0\n    Height = 40.0\n    Pen.Width = 2\n"
                "    Shape = bsRectangle\n    TextCells = <\n      item\n"
                "        Width = 100.0\n        Height = 100.0\n        Visible = True\n"
                "        Text = '%1'\n      end>\n  end\n")
                .arg(b.Label)
                .arg(b.X)
                .arg(b.Y)
                .toUtf8();
  return text + "end\n";
}

TEST_F(LvxToolTest, DiagramPrintWritesTheChosenPagesAndCopiesIntoAPdf) {
  const QString in = Write("plan.dgr", FourPageScene());
  const QString pdf = Dir.filePath("plan.pdf");
  const TRun r = RunTool({"diagram", "print", in, pdf, "--pages", "-2,4", "--copies", "2"});
  ASSERT_EQ(r.Code, 0) << r.Err.toStdString();
  EXPECT_EQ(r.Out, "6 of 4 pages x 2 printed into " + pdf + "\n");
  QProcess text;
  // Only the printable area of each A4 page (595 by 842 points, 71-point margins): text
  // beyond it is clipped away on paper but still in the file.
  text.start("pdftotext", {"-x", "71", "-y", "71", "-W", "453", "-H", "700", pdf, "-"});
  ASSERT_TRUE(text.waitForFinished(60000));
  QStringList pages = QString::fromUtf8(text.readAllStandardOutput()).split('\f');
  pages.removeLast();
  for (QString& p : pages) p = p.simplified();
  EXPECT_EQ(pages, (QStringList{"NorthWest", "NorthEast", "SouthEast", "NorthWest", "NorthEast",
                                "SouthEast"}));
  EXPECT_EQ(RunTool({"diagram", "print", in, pdf, "--copies", "0"}).Code, 2);
  EXPECT_EQ(RunTool({"diagram", "print", in, pdf, "--pages"}).Code, 2);
  EXPECT_EQ(RunTool({"diagram", "print", in, pdf, "--pages", "9"}).Code, 1);
  EXPECT_EQ(RunTool({"diagram", "print", Dir.filePath("missing.dgr"), pdf}).Code, 1);
}

TEST_F(LvxToolTest, DiagramBadInputFailsWithTheReadersError) {
  struct Row {
    QByteArray Bytes;
    const char* Error;
  } rows[] = {
      {"object TKvDiagram\n  object X: TNoSuch\n  end\nend\n", "Class TNoSuch not found\n"},
      {"object TKvDiagram\n  Zoom 5\nend\n", "'=' expected on line 2\n"},
      {QByteArray("TPF0\x0aTKvDiagram\x00\x04Zoom\x0a\xff\xff\xff\x7f", 25), "Stream read error\n"},
  };
  for (const Row& row : rows) {
    const QString in = Write("bad.dgr", row.Bytes);
    const TRun r = RunTool({"diagram", "convert", in, Dir.filePath("out.dgr")});
    EXPECT_EQ(r.Code, 1);
    EXPECT_EQ(r.Err.toStdString(), row.Error);
  }
  EXPECT_EQ(
      RunTool({"diagram", "convert", Dir.filePath("missing.dgr"), Dir.filePath("o.dgr")}).Code, 1);
  EXPECT_EQ(RunTool({"diagram", "render", "--zoom", "x", "a", "b"}).Code, 2);
}

// ---- export ----

TEST_F(LvxToolTest, ExportWritesTheRegionsCsvAndTheXmlDocument) {
  const QString doc = Dir.filePath("r.dat"), csv = Dir.filePath("r.csv");
  ASSERT_EQ(RunTool({"record", Write("s.bin", Worked() + Worked()), doc}).Code, 0);
  const QByteArray header =
      "\"Date\";\"Time\";\"Y\";\"Underflow\";\"Overflow\";\"AC\";\"TI\";\"Freq\";\"sTime\";"
      "\"RangeMin\";\"RangeMax\"\r\n";
  struct Row {
    const char* Env;
    QByteArray Line;
  } rows[] = {
      {"LC_ALL=de_DE.UTF-8",
       "\"15.06.2011\";\"14:30:05\";65,3;False;False;1;1;\"A\";\"SLOW\";50;100\r\n"},
      {"LANG=en_US.UTF-8",
       "\"6/15/2011\";\"14:30:05\";65.3;False;False;1;1;\"A\";\"SLOW\";50;100\r\n"},
  };
  for (const Row& r : rows) {
    SCOPED_TRACE(r.Env);
    const TRun run = RunTool({"export", doc, csv}, {"LC_ALL=", "LANG=", r.Env});
    ASSERT_EQ(run.Code, 0) << run.Err.toStdString();
    QFile f(csv);
    ASSERT_TRUE(f.open(QIODevice::ReadOnly));
    EXPECT_EQ(f.readAll(), header + r.Line + r.Line);
  }
  ASSERT_EQ(RunTool({"export", "--no-header", "--delimiter", ", ", "--quote", "", "--columns",
                     "Y,Date", doc, csv},
                    {"LC_ALL=de_DE.UTF-8"})
                .Code,
            0);
  QFile f(csv);
  ASSERT_TRUE(f.open(QIODevice::ReadOnly));
  EXPECT_EQ(f.readAll(), "65,3, 15.06.2011\r\n65,3, 15.06.2011\r\n");

  const QString xml = Dir.filePath("r.xml");
  ASSERT_EQ(RunTool({"export", doc, xml}).Code, 0);
  EXPECT_EQ(RunTool({"dump", xml}).Out, RunTool({"dump", doc}).Out);
  const TRun unknown = RunTool({"export", "--columns", "Loudness", doc, csv});
  EXPECT_EQ(unknown.Code, 2);
  EXPECT_EQ(unknown.Err, "lvxtool export: no column 'Loudness'\n");
  const TRun missing = RunTool({"export", doc, Dir.filePath("gone/r.csv")});
  EXPECT_EQ(missing.Code, 2);
  EXPECT_TRUE(missing.Err.endsWith("No such file or directory\n")) << missing.Err.toStdString();
}

// ---- help and options ----

namespace {
// The commands as the tool's own help lists them: "  lvxtool NAME ..." lines.
QStringList CommandNames(const QString& help) {
  QStringList names;
  for (const QString& line : help.split('\n'))
    if (line.startsWith("  lvxtool ")) names << line.mid(10).section(' ', 0, 0);
  names.removeDuplicates();
  return names;
}

QStringList OptionsIn(const QString& text) {
  QStringList options;
  static const QRegularExpression option("--[a-z][a-z-]*");
  for (auto it = option.globalMatch(text); it.hasNext();) options << it.next().captured();
  options.removeDuplicates();
  return options;
}
}  // namespace

TEST_F(LvxToolTest, HelpListsEveryCommandAndExplainsEachOptionItsUsageNames) {
  const TRun help = RunTool({"--help"});
  ASSERT_EQ(help.Code, 0);
  EXPECT_TRUE(help.Err.isEmpty());
  EXPECT_EQ(RunTool({"-h"}).Out, help.Out);
  EXPECT_EQ(RunTool({"help"}).Out, help.Out);
  const QStringList names = CommandNames(help.Out);
  for (const char* name : {"decode", "record", "dump", "export", "simulate", "diagram"})
    EXPECT_TRUE(names.contains(name)) << name;

  for (const QString& name : names) {
    SCOPED_TRACE(name.toStdString());
    const TRun one = RunTool({"help", name});
    ASSERT_EQ(one.Code, 0);
    EXPECT_TRUE(one.Out.startsWith("usage: lvxtool " + name));
    EXPECT_EQ(RunTool({name, "--help"}).Out, one.Out);
    // Each option appears in the usage line and once more where it is explained.
    const QString usage = one.Out.section('\n', 0, 0), rest = one.Out.section('\n', 1);
    for (const QString& option : OptionsIn(usage))
      EXPECT_TRUE(rest.contains(option)) << option.toStdString();
  }
}

TEST_F(LvxToolTest, UnknownOptionsAndCommandsFailWithOneLineAndExitCodeTwo) {
  struct Row {
    QStringList Args;
    const char* Named;  // what the error line must name
  } rows[] = {
      {{"--bogus"}, "'--bogus'"},
      {{"-x"}, "'-x'"},
      {{"decode", "--memo", "--bogus", "f"}, "'--bogus'"},
      {{"record", "--date", "2020-01-01", "a", "b"}, "'--date'"},
      {{"diagram", "render", "--scale", "2", "a", "b"}, "'--scale'"},
      {{"help", "nonsense"}, "'nonsense'"},
      {{"nonsense"}, "'nonsense'"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.Args.join(' ').toStdString());
    const TRun r = RunTool(row.Args);
    EXPECT_EQ(r.Code, 2);
    EXPECT_TRUE(r.Out.isEmpty());
    EXPECT_EQ(r.Err.count('\n'), 1) << r.Err.toStdString();
    EXPECT_TRUE(r.Err.contains(row.Named)) << r.Err.toStdString();
  }
}

TEST_F(LvxToolTest, StandardInputAndNegativeValuesAreNotTakenForOptions) {
  QProcess p;
  p.start(LVXTOOL_PATH, {"decode", "-"});
  ASSERT_TRUE(p.waitForStarted());
  p.write(Worked());
  p.closeWriteChannel();
  ASSERT_TRUE(p.waitForFinished(60000));
  EXPECT_EQ(p.exitCode(), 0) << p.readAllStandardError().toStdString();
  EXPECT_EQ(p.readAllStandardOutput(), "2011-06-15 14:30:05 65.3 dB A SLOW 50-100\n");
  // A negative count reaches the command, which rejects it with its usage.
  const TRun negative = RunTool({"simulate", "--count", "-3"});
  EXPECT_EQ(negative.Code, 2);
  EXPECT_TRUE(negative.Err.startsWith("usage: lvxtool simulate")) << negative.Err.toStdString();
}

TEST_F(LvxToolTest, ManualPageDescribesEveryCommandAndOption) {
  QFile page(LVXTOOL_MAN_PAGE);
  ASSERT_TRUE(page.open(QIODevice::ReadOnly));
  // The page escapes hyphens; read it as plain text.
  const QString text = QString::fromUtf8(page.readAll()).remove('\\').remove("fB").remove("fR");
  const QString help = RunTool({"--help"}).Out;
  for (const QString& name : CommandNames(help))
    EXPECT_TRUE(text.contains(".B " + name)) << name.toStdString();
  for (const QString& option : OptionsIn(help))
    EXPECT_TRUE(text.contains(option)) << option.toStdString();
}

TEST_F(LvxToolTest, DecodeFlushesStatusTextsAsItGoesSoGarbageCostsNoMemory) {
  // Two megabytes of noise make two million failure texts; held to the end they would need
  // far more than the limit.
  const QString in = Write("noise.bin", QByteArray(2000000, char(0x55)));
  const TRun r = RunTool({"decode", "--memo", "--chunk", "4096", in}, {}, 200u << 20);
  ASSERT_EQ(r.Code, 0) << r.Err.toStdString();
  EXPECT_EQ(r.Out.count('\n'), 2000000 - 17);
  EXPECT_TRUE(r.Out.endsWith("status: Err: DecodeRxLine: 18 Byte received (failure Magic = 5 )\n"));
}

TEST_F(LvxToolTest, PortsListsNumberPathAndNameAsTheProgramNumbersThem) {
  int master = -1, slave = -1;
  char name[256];
  ASSERT_EQ(openpty(&master, &slave, name, nullptr, nullptr), 0);
  const QString settings = Dir.filePath("config/Brevik/LvxReader");
  ASSERT_TRUE(QDir().mkpath(settings));
  QFile ini(settings + "/LvxReader_Ports.ini");
  ASSERT_TRUE(ini.open(QIODevice::WriteOnly));
  ini.write(QByteArray("[COMPorts]\nCOM7=") + name + "\n[VirtualPorts]\nDevices=" + name + "\n");
  ini.close();
  const TRun r = RunTool({"ports"}, {"XDG_CONFIG_HOME=" + Dir.filePath("config")});
  close(slave);
  close(master);
  ASSERT_EQ(r.Code, 0) << r.Err.toStdString();
  EXPECT_TRUE(r.Out.split('\n').contains(QString("COM7  %1  Virtual port").arg(name)))
      << r.Out.toStdString();
  EXPECT_EQ(RunTool({"ports", "extra"}).Code, 2);
}
