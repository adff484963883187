// The document's life: New, Open, Save As, Next and Previous with their questions and status
// texts, the close query, failures of the engine and of the folder, the busy cursor and the
// actions' enabling. The engine's own format is the documents suite's.
#include <dirent.h>
#include <sys/stat.h>

#include <QFile>

#include "DocumentLifecycleFixture.h"
#include "KvFileWalk.h"
#include "KvSys_Helper.h"

namespace {
const QString kSaveBeforeLoading =
    "The actual \"%1\" document was modified.\r\n\r\nDo you want to save the content before "
    "loading ?";
const QString kLoadFirst = "All files were processed.\r\n\r\nDo you want to load the first file ?";

// The folder's entries matching the mask in the order the file system delivers them.
QStringList DeliveredOrder(const QString& folder, const QString& suffix) {
  QStringList names;
  DIR* dir = opendir(QFile::encodeName(folder).constData());
  while (const dirent* e = dir ? readdir(dir) : nullptr) {
    const QString name = QFile::decodeName(e->d_name);
    if (name.endsWith(suffix)) names << folder + name;
  }
  if (dir) closedir(dir);
  return names;
}
}  // namespace

// ---- New ----------------------------------------------------------------------------------

TEST_F(DocumentLifecycleTest, NewTakesTheFirstFreeNumberAndCreatesNothingOnDisk) {
  DmKvBasic->SetFile_ActInitialDir(Docs);
  WriteDocument(Doc("NewFile1.dat"), {1});
  WriteDocument(Doc("NewFile2.dat"), {2});
  OpenThroughDialog(Doc("NewFile1.dat"));
  ASSERT_EQ(Levels(), QList<double>{1});

  DmKvBasic->ActionFileNew->trigger();
  EXPECT_EQ(DmKvBasic->File_ActName(), Doc("NewFile3.dat"));
  EXPECT_EQ(LastStatus(), "File \"NewFile3.dat\" created");
  EXPECT_TRUE(Commander->KvMemTableData.Active());
  EXPECT_TRUE(Levels().isEmpty());
  EXPECT_TRUE(DmKvBasic->IsFileLoaded());
  EXPECT_FALSE(DmKvBasic->IsModified());
  EXPECT_FALSE(QFile::exists(Doc("NewFile3.dat")));
  EXPECT_TRUE(Dialogs.Messages.empty());
}

TEST_F(DocumentLifecycleTest, NewWithChangesAsksAndCancelChangesNothing) {
  DmKvBasic->SetFile_ActInitialDir(Docs);
  WriteDocument(Doc("NewFile1.dat"), {1});
  WriteDocument(Doc("NewFile2.dat"), {2});
  OpenThroughDialog(Doc("NewFile1.dat"));
  Record(70);
  const int changes = NameChanges;

  Dialogs.Answers = {mrCancel};
  DmKvBasic->ActionFileNewExecute();
  ASSERT_EQ(Dialogs.Messages.size(), 1u);
  EXPECT_EQ(Dialogs.Messages[0].Text,
            "The actual document \"NewFile1.dat\" was modified.\r\n\r\nDo you want to save the "
            "content before creating new file ?");
  EXPECT_EQ(Dialogs.Messages[0].Type, TMsgDlgType::mtConfirmation);
  EXPECT_EQ(Dialogs.Messages[0].Buttons, mbYesNoCancel);
  EXPECT_EQ(LastStatus(), "File \"NewFile3.dat\" not created, aborted by user");
  EXPECT_EQ(DmKvBasic->File_ActName(), Doc("NewFile1.dat"));
  EXPECT_EQ(Levels(), (QList<double>{1, 70}));
  EXPECT_TRUE(DmKvBasic->IsModified());
  EXPECT_EQ(NameChanges, changes);
}

TEST_F(DocumentLifecycleTest, NewWithChangesYesSavesUnderTheNameNoDiscards) {
  WriteDocument(Doc("a.dat"), {1});
  OpenThroughDialog(Doc("a.dat"));
  Record(70);
  Dialogs.Answers = {mrYes, mrYes};  // save, and overwrite the file it came from
  DmKvBasic->ActionFileNewExecute();
  EXPECT_EQ(DmKvBasic->File_ActName(), Doc("NewFile1.dat"));
  EXPECT_TRUE(Levels().isEmpty());
  TKvMeasurementTable saved;
  saved.LoadFromFile(Doc("a.dat"));
  EXPECT_EQ(saved.RecordCount(), 2);

  Record(80);
  Dialogs.Answers = {mrNo};
  DmKvBasic->ActionFileNewExecute();
  EXPECT_EQ(DmKvBasic->File_ActName(), Doc("NewFile1.dat"));
  EXPECT_TRUE(Levels().isEmpty());
  EXPECT_FALSE(QFile::exists(Doc("NewFile1.dat")));
  EXPECT_FALSE(DmKvBasic->IsModified());
}

TEST_F(DocumentLifecycleTest, NewWithChangesAndNoNameStopsWhenTheDialogIsCancelled) {
  DmKvBasic->SetFile_ActInitialDir(Docs);
  Record(70);
  Dialogs.Answers = {mrYes};
  Dialogs.FileAnswers = {""};  // the save dialog is cancelled
  DmKvBasic->ActionFileNewExecute();
  EXPECT_EQ(LastStatus(), "File \"NewFile1.dat\" not created, aborted by user");
  EXPECT_EQ(DmKvBasic->FileSaveAs1->Tag, 1);
  EXPECT_EQ(Levels(), QList<double>{70});
  EXPECT_TRUE(DmKvBasic->IsModified());
}

TEST_F(DocumentLifecycleTest, NewWithChangesAndNoNameSavesThroughTheDialog) {
  DmKvBasic->SetFile_ActInitialDir(Docs);
  Record(70);
  Dialogs.Answers = {mrYes};
  Dialogs.FileAnswers = {Doc("kept.dat")};
  DmKvBasic->ActionFileNewExecute();
  ASSERT_EQ(Dialogs.FileRequests.size(), 1u);
  EXPECT_EQ(Dialogs.FileRequests[0].FileName, Doc("NewFile1.dat"));
  // The dialog's name becomes the document's, so what was saved comes back.
  EXPECT_EQ(DmKvBasic->File_ActName(), Doc("kept.dat"));
  EXPECT_EQ(Levels(), QList<double>{70});
  EXPECT_EQ(LastStatus(), "File \"kept.dat\" created");
  EXPECT_FALSE(DmKvBasic->IsModified());
}

// ---- Open ---------------------------------------------------------------------------------

TEST_F(DocumentLifecycleTest, OpenLoadsTheChosenDocumentAndNamesIt) {
  WriteDocument(Doc("a.dat"), {50, 51, 52});
  DmKvBasic->SetFile_ActInitialDir(Docs);
  int updates = 0;
  Commander->OnUpdateDataSet = [&](QObject*) { ++updates; };
  OpenThroughDialog(Doc("a.dat"));
  ASSERT_EQ(Dialogs.FileRequests.size(), 1u);
  EXPECT_EQ(Dialogs.FileRequests[0].InitialDir, Docs);
  EXPECT_EQ(Dialogs.FileRequests[0].Filter, TDmKvBasic::DataFilter);
  EXPECT_EQ(Levels(), (QList<double>{50, 51, 52}));
  EXPECT_EQ(DmKvBasic->File_ActName(), Doc("a.dat"));
  EXPECT_EQ(DmKvBasic->FSaveFile_Last, Doc("a.dat"));
  EXPECT_EQ(LastStatus(), "File \"a.dat\" loaded");
  EXPECT_TRUE(DmKvBasic->IsFileLoaded());
  EXPECT_FALSE(DmKvBasic->IsModified());
  EXPECT_TRUE(Commander->AllowUpdateDS());
  EXPECT_GE(updates, 1);
  EXPECT_EQ(NameChanges, 1);
  EXPECT_TRUE(DmKvBasic->FFile_NewName.isEmpty());
}

TEST_F(DocumentLifecycleTest, OpenWithChangesCancelYesAndNo) {
  WriteDocument(Doc("a.dat"), {1});
  WriteDocument(Doc("b.dat"), {2});
  OpenThroughDialog(Doc("a.dat"));
  Record(70);

  Dialogs.Answers = {mrCancel};
  OpenThroughDialog(Doc("b.dat"));
  EXPECT_EQ(LastMessage(), kSaveBeforeLoading.arg("a.dat"));
  EXPECT_EQ(LastStatus(), "File \"b.dat\" not loaded, aborted by user");
  EXPECT_EQ(Levels(), (QList<double>{1, 70}));
  EXPECT_EQ(DmKvBasic->File_ActName(), Doc("a.dat"));

  Dialogs.Answers = {mrNo};
  OpenThroughDialog(Doc("b.dat"));
  EXPECT_EQ(Levels(), QList<double>{2});
  TKvMeasurementTable a;
  a.LoadFromFile(Doc("a.dat"));
  EXPECT_EQ(a.RecordCount(), 1);

  Record(80);
  Dialogs.Answers = {mrYes};  // saved to the name it was loaded from: no overwrite question
  OpenThroughDialog(Doc("a.dat"));
  EXPECT_EQ(Dialogs.Messages.size(), 3u);
  EXPECT_EQ(Levels(), QList<double>{1});
  TKvMeasurementTable b;
  b.LoadFromFile(Doc("b.dat"));
  EXPECT_EQ(b.RecordCount(), 2);
}

TEST_F(DocumentLifecycleTest, DamagedDocumentThrowsLeavesTheTableClosedUntilAGoodLoad) {
  WriteDocument(Doc("good.dat"), {1, 2});
  QFile bad(Doc("bad.dat"));
  ASSERT_TRUE(bad.open(QIODevice::WriteOnly));
  bad.write("ADBS\x07\x00\x00\x00\x0c\x00\x00\x00garbage", 19);
  bad.close();
  OpenThroughDialog(Doc("good.dat"));

  Dialogs.FileAnswers = {Doc("bad.dat")};
  EXPECT_THROW(DmKvBasic->FileOpen1->trigger(), EKvMemError);
  EXPECT_EQ(DmKvBasic->File_ActName(), Doc("bad.dat"));
  EXPECT_FALSE(Commander->KvMemTableData.Active());
  EXPECT_FALSE(Commander->AllowUpdateDS());
  EXPECT_EQ(KvSysHelper().Cursor_Level(), 0);

  // The program goes on: a reading reopens the table, a good load lets the chart follow.
  Record(60);
  EXPECT_EQ(Levels(), QList<double>{60});
  Dialogs.Answers = {mrNo};
  OpenThroughDialog(Doc("good.dat"));
  EXPECT_EQ(Levels(), (QList<double>{1, 2}));
  EXPECT_TRUE(Commander->AllowUpdateDS());
}

TEST_F(DocumentLifecycleTest, LoadAndSaveShowTheBusyCursorThroughTheNesting) {
  WriteDocument(Doc("a.dat"), {1});
  int levelDuringLoad = -1;
  Commander->OnUpdateDataSet = [&](QObject*) { levelDuringLoad = KvSysHelper().Cursor_Level(); };
  KvSysHelper().Cursor_AddWait();
  OpenThroughDialog(Doc("a.dat"));
  EXPECT_EQ(levelDuringLoad, 2);
  EXPECT_EQ(KvSysHelper().Cursor_Level(), 1);
  KvSysHelper().Cursor_ReleaseOne();
  EXPECT_EQ(KvSysHelper().Cursor_Level(), 0);
}

// ---- Save As ------------------------------------------------------------------------------

TEST_F(DocumentLifecycleTest, SaveAsToTheSameNameAsksNothingToAnotherExistingFileAsks) {
  WriteDocument(Doc("a.dat"), {1});
  WriteDocument(Doc("other.dat"), {9, 9, 9});
  OpenThroughDialog(Doc("a.dat"));
  Record(70);

  Dialogs.FileAnswers = {Doc("a.dat")};
  DmKvBasic->FileSaveAs1->trigger();
  EXPECT_TRUE(Dialogs.Messages.empty());
  EXPECT_EQ(LastStatus(), "File \"a.dat\" saved");
  EXPECT_FALSE(DmKvBasic->IsModified());

  Record(71);
  Dialogs.Answers = {mrNo};
  Dialogs.FileAnswers = {Doc("other.dat")};
  DmKvBasic->FileSaveAs1->trigger();
  ASSERT_EQ(Dialogs.Messages.size(), 1u);
  EXPECT_EQ(LastMessage(), "The file \r\n\r\n" + Doc("other.dat") +
                               "\r\n\r\nalready exists:\r\n\r\nDo you want to overwrite this file "
                               "with the new document ?");
  EXPECT_EQ(LastStatus(), "File \"other.dat\" not saved, aborted by user");
  EXPECT_EQ(DmKvBasic->File_ActName(), Doc("a.dat"));
  EXPECT_TRUE(DmKvBasic->IsModified());
  TKvMeasurementTable other;
  other.LoadFromFile(Doc("other.dat"));
  EXPECT_EQ(other.RecordCount(), 3);

  Dialogs.Answers = {mrYes};
  Dialogs.FileAnswers = {Doc("other.dat")};
  DmKvBasic->FileSaveAs1->trigger();
  other.LoadFromFile(Doc("other.dat"));
  EXPECT_EQ(other.RecordCount(), 3);  // 1, 70, 71
  EXPECT_EQ(DmKvBasic->File_ActName(), Doc("other.dat"));
  EXPECT_EQ(LastStatus(), "File \"other.dat\" saved");
}

TEST_F(DocumentLifecycleTest, SaveAsCancelSetsTheTagAndTheDialogOffersANewName) {
  DmKvBasic->SetFile_ActInitialDir(Docs);
  Record(70);
  Dialogs.FileAnswers = {""};
  DmKvBasic->FileSaveAs1->trigger();
  ASSERT_EQ(Dialogs.FileRequests.size(), 1u);
  EXPECT_EQ(Dialogs.FileRequests[0].FileName, Doc("NewFile1.dat"));
  EXPECT_EQ(DmKvBasic->FileSaveAs1->Tag, 1);
  EXPECT_TRUE(DmKvBasic->IsModified());
}

TEST_F(DocumentLifecycleTest, SaveIntoAMissingFolderThrowsAndKeepsTheFlags) {
  WriteDocument(Doc("a.dat"), {1});
  OpenThroughDialog(Doc("a.dat"));
  Record(70);
  Dialogs.FileAnswers = {Path("no/such/folder/x.dat")};
  EXPECT_THROW(DmKvBasic->FileSaveAs1->trigger(), EKvMemError);
  EXPECT_TRUE(DmKvBasic->IsModified());
  EXPECT_EQ(DmKvBasic->FSaveFile_Last, Doc("a.dat"));
  EXPECT_EQ(KvSysHelper().Cursor_Level(), 0);
  EXPECT_TRUE(Commander->KvMemTableData.Active());
  EXPECT_EQ(Levels(), (QList<double>{1, 70}));
}

// ---- Next and Previous --------------------------------------------------------------------

TEST_F(DocumentLifecycleTest, NextAndPreviousWalkTheFolderInDeliveredOrder) {
  for (const char* n : {"c.dat", "a.dat", "d.dat", "b.dat"}) WriteDocument(Doc(n), {1});
  WriteDocument(Doc("other.txt"), {1});
  const QStringList order = DeliveredOrder(Docs, ".dat");
  ASSERT_EQ(order.size(), 4);

  OpenThroughDialog(order[0]);
  QStringList visited{DmKvBasic->File_ActName()};
  for (int i = 1; i < 4; ++i) {
    DmKvBasic->ActionFileNext->trigger();
    visited << DmKvBasic->File_ActName();
  }
  EXPECT_EQ(visited, order);
  EXPECT_TRUE(Dialogs.Messages.empty());

  DmKvBasic->ActionFilePrev->trigger();
  EXPECT_EQ(DmKvBasic->File_ActName(), order[2]);
  EXPECT_EQ(LastStatus(), "File \"" + KvFile_ExtractName(order[2]) + "\" loaded");
}

TEST_F(DocumentLifecycleTest, NextOnTheLastAsksPreviousOnTheFirstDoesNothing) {
  for (const char* n : {"a.dat", "b.dat", "c.dat"}) WriteDocument(Doc(n), {1});
  const QStringList order = DeliveredOrder(Docs, ".dat");
  OpenThroughDialog(order.last());
  const QStringList before = Status;

  Dialogs.Answers = {mrNo};
  DmKvBasic->ActionFileNextExecute();
  EXPECT_EQ(LastMessage(), kLoadFirst);
  EXPECT_EQ(Dialogs.Messages.back().Buttons, mbYesNo);
  EXPECT_EQ(DmKvBasic->File_ActName(), order.last());
  EXPECT_EQ(Status, before);

  Dialogs.Answers = {mrYes};
  DmKvBasic->ActionFileNextExecute();
  EXPECT_EQ(DmKvBasic->File_ActName(), order.first());

  Dialogs.Messages.clear();
  const QStringList atFirst = Status;
  DmKvBasic->ActionFilePrevExecute();
  EXPECT_TRUE(Dialogs.Messages.empty());
  EXPECT_EQ(DmKvBasic->File_ActName(), order.first());
  EXPECT_EQ(Status, atFirst);
}

TEST_F(DocumentLifecycleTest, NextWithAChangedDocumentAsksBeforeLoading) {
  for (const char* n : {"a.dat", "b.dat"}) WriteDocument(Doc(n), {1});
  const QStringList order = DeliveredOrder(Docs, ".dat");
  OpenThroughDialog(order[0]);
  Record(70);
  Dialogs.Answers = {mrCancel};
  DmKvBasic->ActionFileNextExecute();
  EXPECT_EQ(LastMessage(), kSaveBeforeLoading.arg(KvFile_ExtractName(order[0])));
  EXPECT_EQ(LastStatus(),
            "File \"" + KvFile_ExtractName(order[1]) + "\" not loaded, aborted by user");
  EXPECT_EQ(DmKvBasic->File_ActName(), order[0]);
  EXPECT_TRUE(DmKvBasic->FFile_NewName.isEmpty());
}

TEST_F(DocumentLifecycleTest, WalkComparesCaseAndSkipsFoldersAtTheFirstPlace) {
  for (const char* n : {"a.dat", "b.dat"}) WriteDocument(Doc(n), {1});
  const QStringList order = DeliveredOrder(Docs, ".dat");
  QString upper = order[0];
  upper.replace(KvFile_ExtractName(upper), KvFile_ExtractName(upper).toUpper());
  upper.chop(4);
  upper += ".dat";
  EXPECT_TRUE(KvFile_FindNext(upper, ".dat").isEmpty());
  EXPECT_EQ(KvFile_FindNext(order[0], ".dat"), order[1]);
  EXPECT_EQ(KvFile_FindPrev(order[1], ".dat"), order[0]);
  EXPECT_EQ(KvFile_FindNext(Docs, ".dat"), order[0]);
  EXPECT_EQ(KvFile_FindNext(order[0], ".txt"), "");

  // A folder that matches the mask is no document: asked for the first, the walk gives the
  // entry after it.
  const QString sub = Path("withfolder/");
  QDir().mkpath(sub + "z.dat");
  WriteDocument(sub + "y.dat", {1});
  const QStringList subOrder = DeliveredOrder(sub, ".dat");
  ASSERT_EQ(subOrder.size(), 2);
  const QString expected = subOrder[0].endsWith("z.dat") ? subOrder[1] : subOrder[0];
  EXPECT_EQ(KvFile_FindNext(sub, ".dat"), expected);
}

// ---- enabling, folders, close query -------------------------------------------------------

TEST_F(DocumentLifecycleTest, FileActionsEnableByNameAndChanges) {
  DmKvBasic->UpdateActions();
  EXPECT_FALSE(DmKvBasic->FileSaveAs1->isEnabled());
  EXPECT_FALSE(DmKvBasic->ActionFileNext->isEnabled());
  EXPECT_FALSE(DmKvBasic->ActionFilePrev->isEnabled());
  Record(70);
  Clock.Advance(300);
  EXPECT_TRUE(DmKvBasic->FileSaveAs1->isEnabled());
  EXPECT_FALSE(DmKvBasic->ActionFileNext->isEnabled());
  DmKvBasic->SetFile_ActName(Doc("lonely.dat"));
  Clock.Advance(300);
  EXPECT_TRUE(DmKvBasic->ActionFileNext->isEnabled());
  EXPECT_TRUE(DmKvBasic->ActionFilePrev->isEnabled());
}

TEST_F(DocumentLifecycleTest, NameSetterMovesTheFolderAndTellsOnlyOnChange) {
  DmKvBasic->SetFile_ActName(Doc("a.dat"));
  EXPECT_EQ(DmKvBasic->File_ActInitialDir(), Docs);
  EXPECT_EQ(DmKvBasic->FileOpen1->Dialog.FileName, Doc("a.dat"));
  EXPECT_EQ(NameChanges, 1);
  DmKvBasic->SetFile_ActName(Doc("a.dat"));
  EXPECT_EQ(NameChanges, 1);
  DmKvBasic->SetFile_ActInitialDir("");
  EXPECT_EQ(DmKvBasic->File_ActInitialDir(), KvSys_GetPath("COMMONDOCS", false) + "/");
  DmKvBasic->SetFile_ActInitialDir(Path("x"));
  EXPECT_EQ(DmKvBasic->FileSaveAs1->Dialog.InitialDir, Path("x/"));
}

TEST_F(DocumentLifecycleTest, StoredDocumentFoldersAreCreatedWithTheirParents) {
  Commander.reset();
  delete DmKvBasic;
  QDir().mkpath(QFileInfo(IniFile()).path());
  WriteFile(IniFile(), "[DmKvBasic]\nFOInDir=" + Path("deep/in/docs").toUtf8() +
                           "\nFOExDir=" + Path("deep/out").toUtf8() + "\n");
  new TDmKvBasic;
  EXPECT_TRUE(QDir(Path("deep/in/docs")).exists());
  EXPECT_TRUE(QDir(Path("deep/out")).exists());
  EXPECT_EQ(DmKvBasic->File_ActInitialDir(), Path("deep/in/docs/"));
  EXPECT_EQ(DmKvBasic->FFile_ExportInitialDir, Path("deep/out/"));
}

TEST_F(DocumentLifecycleTest, CloseQueryYesWithoutANameKeepsTheReadingsBesideTheSettings) {
  Record(70);
  Record(71);
  bool canClose = true;
  Dialogs.Answers = {mrYes};
  DmKvBasic->EvFormCloseQuery(nullptr, canClose);
  EXPECT_TRUE(canClose);
  EXPECT_EQ(LastMessage(), kSaveBeforeLoading.arg(""));
  EXPECT_EQ(LastStatus(), "File \"\" NOT saved, please check drive");
  const QString own =
      QFileInfo(IniFile()).path() + "/" + QFileInfo(IniFile()).completeBaseName() + ".dat";
  EXPECT_EQ(Commander->KvMemTableData.ResourceOptions.PersistentFileName, own);
  TKvMeasurementTable saved;
  saved.LoadFromFile(own);
  EXPECT_EQ(saved.RecordCount(), 2);
}

TEST_F(DocumentLifecycleTest, CloseQueryCancelVetoesAndNoClosesWithoutSaving) {
  WriteDocument(Doc("a.dat"), {1});
  OpenThroughDialog(Doc("a.dat"));
  Record(70);
  bool canClose = true;
  Dialogs.Answers = {mrCancel};
  DmKvBasic->EvFormCloseQuery(nullptr, canClose);
  EXPECT_FALSE(canClose);
  EXPECT_EQ(LastStatus(), "File \"a.dat\" not saved, aborted by user");

  canClose = true;
  Dialogs.Answers = {mrNo};
  DmKvBasic->EvFormCloseQuery(nullptr, canClose);
  EXPECT_TRUE(canClose);
  TKvMeasurementTable a;
  a.LoadFromFile(Doc("a.dat"));
  EXPECT_EQ(a.RecordCount(), 1);
}

TEST_F(DocumentLifecycleTest, ClearEventEmptiesTheChartAndTableClearReachesThePanel) {
  int chartClears = 0, tableClears = 0;
  Commander->KvMemTableData.OnChartClear = [&] { ++chartClears; };
  DmKvBasic->FOnTable_ClearEvent = [&](QObject*) { ++tableClears; };
  WriteDocument(Doc("a.dat"), {1});
  OpenThroughDialog(Doc("a.dat"));
  EXPECT_EQ(chartClears, 1);
  DmKvBasic->Table_Clear();
  EXPECT_EQ(tableClears, 1);
  Commander.reset();
  EXPECT_FALSE(DmKvBasic->FOnFile_LoadEvent || DmKvBasic->FOnFile_SaveEvent ||
               DmKvBasic->FOnFile_ClearEvent);
}

// ---- regional settings --------------------------------------------------------------------

// The document holds binary numbers and day counts: under any regional settings a save gives
// the bytes it gives under C and a load the same values, while the table shows them in the
// settings' own form.
TEST_F(DocumentLifecycleTest, DocumentsReadAndWriteAlikeUnderEveryRegionalSetting) {
  struct TRegion {
    const char* Name;
    QChar Decimal, DateSeparator;
    const char* ShortDate;
    const char* Level;
    const char* Date;
  };
  const TRegion regions[] = {
      {"C", '.', '/', "mm/dd/yy", "61.5", "11/23/26"},
      {"en_US", '.', '/', "m/d/yyyy", "61.5", "11/23/2026"},
      {"de_DE", ',', '.', "dd/mm/yyyy", "61,5", "23.11.2026"},
      {"fr_FR", ',', '/', "dd/mm/yyyy", "61,5", "23/11/2026"},
  };
  auto pin = [](const TRegion& r) {
    TKvLocale locale = PinnedTestLocale();
    locale.DecimalSeparator = r.Decimal;
    locale.DateSeparator = r.DateSeparator;
    locale.ShortDateFormat = r.ShortDate;
    KvLocale_Pin(locale);
  };
  auto saveAs = [this](const QString& name) {
    Dialogs.FileAnswers = {name};
    DmKvBasic->FileSaveAs1->trigger();
    QFile saved(name);
    return saved.open(QIODevice::ReadOnly) ? saved.readAll() : QByteArray();
  };
  for (const TRegion& r : regions) {
    pin(r);
    Dialogs.Answers = {mrNo};
    DmKvBasic->ActionFileNewExecute();
    Record(61.5);
    const QString name = Doc(QString("%1.dat").arg(r.Name));
    const QByteArray bytes = saveAs(name);
    pin(regions[0]);
    EXPECT_EQ(bytes, saveAs(Doc(QString("%1-C.dat").arg(r.Name)))) << r.Name;
    EXPECT_FALSE(bytes.isEmpty());

    pin(r);
    OpenThroughDialog(name);
    TKvMemTable& t = Commander->KvMemTableData;
    t.First();
    EXPECT_EQ(t.FieldByName("Y").AsString(), r.Level) << r.Name;
    EXPECT_EQ(t.FieldByName("Date").AsString(), r.Date) << r.Name;
    EXPECT_EQ(t.FieldByName("Date").AsDateTime(), EncodeDate(2026, 11, 23)) << r.Name;
    EXPECT_EQ(t.FieldByName("Time").AsDateTime(), EncodeTime(11, 0, 0, 0)) << r.Name;
  }
  KvLocale_Pin(PinnedTestLocale());
}
