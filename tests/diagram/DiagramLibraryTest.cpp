// Libraries of controls in real folders: item files as component resources (both forms),
// the "dlib_" folders, the manager's registration as "LIB_" IDs, controls made from an
// item's data, and the exception texts.
#include <gtest/gtest.h>

#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include "DiagramLibrary.h"
#include "DiagramTestSupport.h"
#include "KvObjectStream.h"

namespace {

class LibraryTest : public DiagramTest {
 protected:
  void SetUp() override {
    DiagramTest::SetUp();
    Filer.SetBaseFolder(Dir.path() + "/");
    Manager.Filer = &Filer;
  }
  std::string Error(const std::function<void()>& f) {
    try {
      f();
    } catch (const EDiagramException& e) {
      return e.what();
    }
    return "no error";
  }
  QTemporaryDir Dir;
  TDgrLibraryFolderFiler Filer;
  TDgrLibraryManager Manager;
};

}  // namespace

TEST_F(LibraryTest, ItemFilesAreShortComponentResources) {
  TDgrLibrary lib("Shapes");
  Filer.CreateLibrary(lib);
  TDgrLibraryItem* item = lib.Add();
  item->Caption = "Big box #1";
  item->Category = "Boxes";
  item->Data = "object TKvDiagram\nend\n";
  ASSERT_TRUE(Filer.SaveItem(*item));
  EXPECT_EQ(item->ItemName, "Bigbox1");  // kept while it stays an identifier
  QFile f(Dir.path() + "/dlib_Shapes/Bigbox1.dgo");
  ASSERT_TRUE(f.open(QIODevice::ReadOnly));
  const QByteArray bytes = f.readAll();
  const QByteArray head = QByteArray::fromHex("ff0a00") + "TDGRLIBRARYITEM" + QByteArray(1, 0) +
                          QByteArray::fromHex("3010");
  ASSERT_TRUE(bytes.startsWith(head));
  const QByteArray stream = bytes.mid(head.size() + 4);
  EXPECT_EQ(uint8_t(bytes[head.size()]), stream.size());
  EXPECT_TRUE(KvObjectBinaryToText(stream).contains("  Caption = 'Big box #1'\n"));

  TDgrLibraryItem back;
  back.Library = &lib;
  back.ItemName = "Bigbox1";
  ASSERT_TRUE(Filer.LoadItem(back));
  EXPECT_EQ(back.Category, "Boxes");
  EXPECT_EQ(back.Data, item->Data);
  back.ItemName = "Missing";
  EXPECT_FALSE(Filer.LoadItem(back));
}

TEST_F(LibraryTest, TheFullResourceFormIsReadToo) {
  TDgrLibraryItem item;
  item.ItemName = "X";
  item.Caption = "Cap";
  const QByteArray shortForm = item.ToResource();
  const QByteArray stream = shortForm.mid(shortForm.indexOf("TPF0"));
  QByteArray full = QByteArray::fromHex("0000000020000000ffff0000ffff0000") + QByteArray(16, 0);
  QByteArray entry = QByteArray::fromHex("ffff0a00") + QByteArray::fromHex("58000000");  // "X"
  entry += QByteArray(16, 0);
  auto le = [](uint32_t v) {
    QByteArray b(4, 0);
    for (int i = 0; i < 4; ++i) b[i] = char(v >> (8 * i));
    return b;
  };
  full += le(stream.size()) + le(8 + entry.size()) + entry + stream;
  TDgrLibraryItem read;
  read.FromResource(full);
  EXPECT_EQ(read.Caption, "Cap");
  EXPECT_THROW(read.FromResource("garbage"), EKvFilerError);
  EXPECT_THROW(read.FromResource(shortForm.left(shortForm.size() - 3)), EKvFilerError);
}

TEST_F(LibraryTest, ManagerLoadsFoldersAndRegistersItems) {
  QDir(Dir.path()).mkpath("DLIB_Upper");
  QDir(Dir.path()).mkpath("other");
  TDgrLibrary panels("Panels");
  Filer.CreateLibrary(panels);
  TDgrLibraryItem* item = panels.Add();
  item->ItemName = "Meter";
  item->Data = "object TKvDiagram\nend\n";
  Filer.SaveItem(*item);
  QStringList names{"stale"};
  Filer.GetLibraryNames(names);
  names.sort();
  EXPECT_EQ(names, (QStringList{"Panels", "Upper"}));
  Manager.LoadLibraries();
  ASSERT_TRUE(Manager.LibraryByName("panels"));
  ASSERT_EQ(Manager.LibraryByName("PANELS")->Items.size(), 1u);
  const TRegDControl* row = RegDControls().FindByID("LIB_Meter");
  ASSERT_TRUE(row);
  EXPECT_EQ(row->FCaption, "Meter");
  EXPECT_EQ(row->FData, item->Data);
  EXPECT_FALSE(row->FUseGlyph);
  EXPECT_EQ(Manager.CreateLibrary("Panels"), Manager.LibraryByName("Panels"));
  TDgrLibrary* fresh = Manager.CreateLibrary("Fresh");
  EXPECT_TRUE(QDir(Dir.path() + "/dlib_Fresh").exists());
  Filer.DeleteLibrary(*fresh);
  EXPECT_FALSE(QDir(Dir.path() + "/dlib_Fresh").exists());
}

TEST_F(LibraryTest, AnItemOfAControlMakesThatControlAgain) {
  auto* b = AddBlock<TTextBlock>(40, 50, 80, 30, "Source");
  b->SetStrings("dB");
  b->SetColor(0x00AA00);
  Manager.ItemDialog = [](TDgrLibraryItem& i) {
    i.Caption = "Level";
    return true;
  };
  TDgrLibraryItem* item = Manager.CreateItemDlg(b);
  ASSERT_TRUE(item);
  EXPECT_EQ(item->Library->LibraryName, "Default");
  EXPECT_TRUE(QFile::exists(Dir.path() + "/dlib_Default/Level.dgo"));
  EXPECT_EQ(b->Name(), "Source");
  const TRegDControl* row = RegDControls().FindByID("LIB_Level");
  ASSERT_TRUE(row);
  TDiagramControl* made = KvCreateControlFromData(Diagram, "LIB_Level", row->FData);
  ASSERT_TRUE(made);
  auto* copy = dynamic_cast<TTextBlock*>(made);
  ASSERT_TRUE(copy);
  EXPECT_EQ(copy->Diagram(), nullptr);
  EXPECT_TRUE(copy->Name().isEmpty());
  EXPECT_EQ(copy->Strings(), "dB");
  EXPECT_EQ(copy->Color(), 0x00AA00);
  EXPECT_EQ(copy->DControlID(), "LIB_Level");
  copy->SetDiagram(Diagram);
  EXPECT_EQ(copy->Name(), "TextBlock1");
  Manager.ItemDialog = [](TDgrLibraryItem&) { return false; };
  EXPECT_EQ(Manager.CreateItemDlg(b), nullptr);
  EXPECT_EQ(Manager.FLibs.front()->Items.size(), 1u);
}

TEST_F(LibraryTest, ExceptionTexts) {
  TDgrLibraryFolderFiler noBase;
  QStringList names;
  EXPECT_EQ(Error([&] { noBase.GetLibraryNames(names); }),
            "Base folder not specified in library filer component.");
  TDgrLibraryItem nameless;
  EXPECT_EQ(Error([&] { Filer.SaveItem(nameless); }), "Item caption cannot be empty.");
  TDgrLibraryManager noFiler;
  EXPECT_EQ(Error([&] { noFiler.LoadLibraries(); }),
            "Filer object not specified for diagram library manager.");
}
