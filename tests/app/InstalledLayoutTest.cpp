// The reader started through its own wiring from a build folder and from an installed
// prefix: either way it must find its skin file and manual.
#include <QTimer>
#include <csignal>

#include "../frame/AppModuleFixture.h"
#include "KvPortDevices.h"
#include "LvxInstalledLayout.h"
#include "LvxProgram.h"
#include "UFrmLvx_Main.h"

namespace {
class TNoDevices : public TKvPortDeviceSource {
 public:
  std::vector<TKvPortDevice> Devices() override { return {}; }
};

// The redirected program folder stands for PREFIX/bin, so PREFIX/share is its sibling.
class InstalledLayoutTest : public AppModuleTest {
 protected:
  QString Installed(const QString& name) const { return Path("share/lvxreader/" + name); }
  void Install(const QString& folder) {
    QDir().mkpath(QFileInfo(folder + "/x").path());
    WriteFile(folder + "/LvxReader.skin", "[Brevik]\nQWidget { color: #123456; }\n");
    WriteFile(folder + "/LvxReader.html", "<html>manual</html>");
  }
  void StartAndStop() {
    TNoDevices devices;
    TLvxProgram program(&devices);
    Skin = KvGlobalInfo().strSkinFileName;
    Help = KvApplication().HelpFile;
    Style = qApp->styleSheet();
    program.Shutdown();
  }
  QString Skin, Help, Style;
};
}  // namespace

TEST_F(InstalledLayoutTest, InstalledProgramReadsSkinAndManualFromTheSharedDataFolder) {
  Install(Path("share/lvxreader"));
  StartAndStop();
  EXPECT_EQ(Skin, Installed("LvxReader.skin"));
  EXPECT_EQ(Help, Installed("LvxReader.html"));
  EXPECT_TRUE(Style.contains("#123456")) << Style.toStdString();
}

TEST_F(InstalledLayoutTest, FilesBesideTheExecutableWinOverTheInstalledOnes) {
  Install(Path("share/lvxreader"));
  Install(Path("program"));
  EXPECT_EQ(LvxReader_DataDir(), Path("program"));
  StartAndStop();
  EXPECT_EQ(Skin, SkinFile());
  EXPECT_EQ(Help, Path("program/LvxReader.html"));
}

TEST_F(InstalledLayoutTest, WithNeitherLayoutTheMissingSkinIsLoggedBesideTheExecutable) {
  EXPECT_EQ(LvxReader_DataDir(), Path("program"));
  StartAndStop();
  EXPECT_EQ(Skin, SkinFile());
  EXPECT_EQ(Help, Path("program/LvxReader.html"));
  EXPECT_TRUE(LogLines().join('\n').contains(SkinFile())) << LogLines().join('\n').toStdString();
}

TEST_F(InstalledLayoutTest, SkinFileChosenBeforeStartIsKept) {
  Install(Path("share/lvxreader"));
  KvGlobalInfo().strSkinFileName = Path("own.skin");
  LvxReader_LocateDataFiles();
  EXPECT_EQ(KvGlobalInfo().strSkinFileName, Path("own.skin"));
  EXPECT_EQ(KvGlobalInfo().strAppHelpFile, Installed("LvxReader.html"));
}

// The settings file delivered with the program seeds the user's own on the first start.
TEST_F(InstalledLayoutTest, TheDeliveredSettingsFileComesFromTheSharedDataFolder) {
  Install(Path("share/lvxreader"));
  WriteFile(Installed("LvxReader_1920x1080.ini"), "[Delivered]\nBy=package\n");
  StartAndStop();
  EXPECT_TRUE(ReadFile(IniFile()).contains("By=package")) << ReadFile(IniFile()).toStdString();
}

// A session that ends sends SIGTERM: the program closes as from its Exit, and the log it
// writes then tells where the run-time files were found.
TEST_F(InstalledLayoutTest, ATerminatedProgramClosesItsWindowAndWritesItsLog) {
  Install(Path("share/lvxreader"));
  {
    TNoDevices devices;
    TLvxProgram program(&devices);
    QTimer::singleShot(0, [] { std::raise(SIGTERM); });
    program.Run(*qApp);
    EXPECT_FALSE(program.Main().isVisible());
  }
  const QByteArray log = ReadFile(Path("userappdata/Brevik/LvxReader/LvxReader_1920x1080.log"));
  EXPECT_TRUE(log.contains("Run-time files in \"" + Path("share/lvxreader").toUtf8() + '"'))
      << log.toStdString();
  struct sigaction now = {};
  sigaction(SIGTERM, nullptr, &now);
  EXPECT_EQ(now.sa_handler, SIG_DFL);
}
