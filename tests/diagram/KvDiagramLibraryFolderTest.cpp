// The libraries folder in a build and in an installed prefix, in real folders: what is read,
// where "Add to Library" writes, and that the package's own files stay untouched.
#include <gtest/gtest.h>

#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include "DiagramLibrary.h"
#include "KvDiagramLibraryFolder.h"

namespace {
class LibraryFolderTest : public ::testing::Test {
 protected:
  QString Path(const QString& relative) const { return Dir.path() + '/' + relative; }
  void Touch(const QString& relative) {
    QDir().mkpath(QFileInfo(Path(relative)).path());
    QFile f(Path(relative));
    ASSERT_TRUE(f.open(QIODevice::WriteOnly));
  }
  // PREFIX/bin and PREFIX/share/lvxreader as a package installs them.
  void InstallPrefix() {
    Touch("prefix/bin/LvxReader");
    Touch("prefix/share/lvxreader/LvxReader.skin");
  }
  QString Folder() const { return KvDiagram_LibraryFolder(Path("prefix/bin"), Path("home/lvx")); }
  QTemporaryDir Dir;
};
}  // namespace

TEST_F(LibraryFolderTest, ABuildKeepsItsLibrariesBesideTheExecutable) {
  Touch("prefix/bin/LvxReader");
  EXPECT_EQ(Folder(), Path("prefix/bin/Libraries"));
  InstallPrefix();
  Touch("prefix/bin/Libraries/dlib_Own/a.dgo");  // a copy beside the executable wins
  EXPECT_EQ(Folder(), Path("prefix/bin/Libraries"));
  EXPECT_FALSE(QFile::exists(Path("home/lvx/Libraries")));
}

TEST_F(LibraryFolderTest, InstalledTheUserWorksOnACopyOfTheLibrariesThePackageBrought) {
  InstallPrefix();
  {
    TDgrLibraryFolderFiler package;
    package.SetBaseFolder(Path("prefix/share/lvxreader/Libraries"));
    TDgrLibrary std("Std");
    package.CreateLibrary(std);
    TDgrLibraryItem* item = std.Add();
    item->Caption = "Box";
    item->Data = "object TKvDiagram\nend\n";
    ASSERT_TRUE(package.SaveItem(*item));
  }
  const QString folder = Folder();
  ASSERT_EQ(folder, Path("home/lvx/Libraries"));
  EXPECT_TRUE(QFile::exists(folder + "/dlib_Std/Box.dgo"));

  TDgrLibraryFolderFiler filer;
  filer.SetBaseFolder(folder);
  TDgrLibraryManager manager;
  manager.Filer = &filer;
  manager.LoadLibraries();
  ASSERT_NE(manager.LibraryByName("Std"), nullptr);
  manager.CreateLibrary("Mine");  // what "Add to Library" does first
  EXPECT_TRUE(QDir(folder + "/dlib_Mine").exists());
  EXPECT_FALSE(QDir(Path("prefix/share/lvxreader/Libraries/dlib_Mine")).exists());
  EXPECT_FALSE(QDir(Path("prefix/bin/Libraries")).exists());

  // The user's copy is theirs: removing an item there does not bring it back.
  QFile::remove(folder + "/dlib_Std/Box.dgo");
  EXPECT_EQ(Folder(), folder);
  EXPECT_FALSE(QFile::exists(folder + "/dlib_Std/Box.dgo"));
}

TEST_F(LibraryFolderTest, InstalledWithoutLibrariesNewOnesGoToTheUsersFolder) {
  InstallPrefix();
  EXPECT_EQ(Folder(), Path("home/lvx/Libraries"));
  EXPECT_FALSE(QFile::exists(Path("home/lvx/Libraries")));  // made on the first addition
}
