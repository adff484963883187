// lvxtool as a user runs it: real files in, text and documents out, exit codes.
#include <gtest/gtest.h>

#include <QDir>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>

namespace {
struct TRun {
  int Code;
  QString Out, Err;
};

TRun RunTool(const QStringList& args) {
  QProcess p;
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
