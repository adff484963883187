// The designer: its commands as the user finds them (captions, keys, undo names), the three
// questions of the document commands, the palette's categories, and the editor module that
// opens the designer on a copy of a diagram and writes the copy back at the close.
#include <gtest/gtest.h>

#include <QApplication>
#include <QClipboard>
#include <QColorDialog>
#include <QComboBox>
#include <QDir>
#include <QLabel>
#include <QTemporaryDir>
#include <QTest>

#include "DiagramLibrary.h"
#include "DiagramTestSupport.h"
#include "LvxTestSupport.h"
#include "UDmDgrEditorActions.h"
#include "UDmKvDiagramEditor.h"
#include "UFmDiagramEditor.h"

namespace {

TDiagramBlock* AddTo(TKvDiagram* d, const TSquare& r, const QString& name = {}) {
  auto* b = new TDiagramBlock(d->Owner());
  if (!name.isEmpty()) b->SetName(name);
  b->SetShape(bsRectangle);
  b->SetBoundsRect(r);
  b->SetDiagram(d);
  return b;
}

class DesignerTest : public VirtualTimeTest {
 protected:
  void SetUp() override {
    VirtualTimeTest::SetUp();
    Form = std::make_unique<TfmDiagramEditor>();
    Form->SetTitle("Diagram Designer");
    Form->FormShow();
  }
  void TearDown() override {
    Form.reset();
    VirtualTimeTest::TearDown();
  }
  TKvDiagram* D() const { return Form->Diagram(); }
  // A block placed as an insert does: recorded and reported as a change.
  TDiagramBlock* Insert(const TSquare& r, const QString& name = {}) {
    TDiagramBlock* b = AddTo(D(), r, name);
    D()->PushUndoStack("insert");
    D()->Modified();
    return b;
  }
  TdmDgrEditorActions* A() const { return Form->Actions(); }
  void Trigger(const QString& name) {
    QAction* a = A()->Action(name);
    ASSERT_NE(a, nullptr) << name.toStdString();
    A()->UpdateActions();
    a->trigger();
  }
  std::unique_ptr<TfmDiagramEditor> Form;
};

}  // namespace

TEST_F(DesignerTest, EveryCommandHasItsCaptionKeyAndUndoName) {
  struct Row {
    const char* name;
    const char* caption;
    QKeySequence key;
    const char* undo;
  };
  const Row rows[] = {
      {"DiagramCut1", "Cu&t", QKeySequence("Ctrl+X"), ""},
      {"DiagramCopy1", "&Copy", QKeySequence("Ctrl+C"), ""},
      {"DiagramPaste1", "&Paste", QKeySequence("Ctrl+V"), "paste"},
      {"DiagramSelectAll1", "Se&lect all", QKeySequence("Ctrl+A"), ""},
      {"DiagramDelete1", "&Delete", QKeySequence("Del"), "delete"},
      {"DiagramEditText1", "Edit &text", QKeySequence("F2"), ""},
      {"DiagramUndoAction1", "Undo", QKeySequence("Ctrl+Z"), ""},
      {"DiagramRedoAction1", "Redo", QKeySequence("Ctrl+Shift+Z"), ""},
      {"DiagramViewLeftRuler1", "&Left ruler", {}, ""},
      {"DiagramViewTopRuler1", "&Top ruler", {}, ""},
      {"DiagramGrid1", "Grid", {}, ""},
      {"DiagramShapeColor1", "Shape color...", {}, "color"},
      {"DiagramLineColor1", "Line color...", {}, "line color"},
      {"DiagramBlockPicture1", "Picture...", {}, "picture"},
      {"DiagramBringToFront1", "Bring to front", {}, "bring to front"},
      {"DiagramSendToBack1", "Send to back", {}, "send to back"},
      {"DiagramControlFont1", "Font...", QKeySequence("Ctrl+F"), "text font"},
      {"DiagramGradientSetting1", "Gradient setting ...", {}, "gradient"},
      {"DiagramShadow1", "Shadow settings ...", {}, "shadow"},
      {"acHasTargetArrow", "Target arrow", {}, "arrow shape"},
      {"acHasSourceArrow", "Source arrow", {}, "arrow shape"},
      {"acNewDiagram", "&New diagram...", QKeySequence("Ctrl+N"), ""},
      {"acOpenDiagram", "&Open diagram...", QKeySequence("Ctrl+F11"), ""},
      {"acSaveDiagram", "&Save diagram", QKeySequence("Ctrl+S"), ""},
      {"acSaveDiagramAs", "&Save as...", {}, ""},
      {"acPrintDiagram", "&Print...", {}, ""},
      {"acPreviewDiagram", "Print Pre&view...", {}, ""},
      {"acPageSetup", "Page Setup...", {}, ""},
      {"acAutomaticNodes", "&Automatic nodes", {}, ""},
      {"acCopyAsImage", "Copy as image", {}, ""},
      {"acGroup", "Group", {}, "group"},
      {"acUngroup", "Ungroup", {}, "ungroup"},
      {"acAddLibrary", "Add to Library...", {}, ""},
      {"acBackgroundLoad", "Load picture...", {}, ""},
      {"acBackgroundClear", "Clear", {}, ""},
      {"acEditProperties", "Properties ...", {}, ""},
      {"acDiagramGridActive", "Grid active", {}, ""},
      {"acDiagramGridProperties", "Grid properties ...", {}, ""},
      {"acBold", "Bold", {}, "text font"},
      {"acItalic", "Italic", {}, "text font"},
      {"acUnderline", "Underline", {}, "text font"},
      {"acAlignLeft", "Align Left", {}, "text alignment"},
      {"acAlignCenter", "Align Center", {}, "text alignment"},
      {"acAlignRight", "Align Right", {}, "text alignment"},
      {"acVertAlignTop", "Align Top", {}, "text alignment"},
      {"acVertAlignMiddle", "Align Middle", {}, "text alignment"},
      {"acVertAlignBottom", "Align Bottom", {}, "text alignment"},
  };
  for (const Row& r : rows) {
    auto* a = dynamic_cast<TDiagramAction*>(A()->Action(r.name));
    ASSERT_NE(a, nullptr) << r.name;
    EXPECT_EQ(a->text(), r.caption) << r.name;
    EXPECT_EQ(a->shortcut(), r.key) << r.name;
    EXPECT_EQ(a->UndoName(), r.undo) << r.name;
  }
  const char* zooms[] = {"300%", "150%", "100%", "75%", "50%", "25%", "10%"};
  for (int i = 0; i < 7; ++i)
    EXPECT_EQ(A()->Action(QStringLiteral("DiagramSetZoom%1").arg(i + 1))->text(), zooms[i]);
  const char* arrows[] = {"None", "Solid arrow", "Line arrow", "Ellipse", "Rectangle", "Diamond"};
  for (int i = 0; i < 12; ++i)
    EXPECT_EQ(A()->Action(QStringLiteral("DiagramArrowShape%1").arg(i + 1))->text(), arrows[i % 6]);
  const char* aligns[] = {"Align left edges",         "Align right edges",
                          "Align top edges",          "Align bottom edges",
                          "Align horizontal centers", "Align vertical centers",
                          "Make same width",          "Make same height",
                          "Make same size",           "Space equally horizontally",
                          "Space equally vertically", "Increment horizontal space",
                          "Increment vertical space", "Decrement horizontal space",
                          "Decrement vertical space"};
  for (int i = 0; i < 15; ++i) {
    auto* a =
        dynamic_cast<TDiagramAlign*>(A()->Action(QStringLiteral("DiagramAlign%1").arg(i + 1)));
    ASSERT_NE(a, nullptr) << i;
    EXPECT_EQ(a->text(), aligns[i]);
    EXPECT_EQ(a->UndoName(), "Align");
  }
  // No command answers Ctrl+O, and no two commands share a key.
  QList<QKeySequence> keys;
  for (QAction* a : A()->AllActions())
    if (!a->shortcut().isEmpty()) {
      EXPECT_FALSE(keys.contains(a->shortcut())) << a->objectName().toStdString();
      keys << a->shortcut();
    }
  EXPECT_FALSE(keys.contains(QKeySequence("Ctrl+O")));
}

TEST_F(DesignerTest, DiagramAndPictureDialogsCarryTheirFiltersAndTitles) {
  for (const TKvFileDialogRequest* r : {&A()->OpenDialog, &A()->SaveDialog}) {
    EXPECT_EQ(r->Filter, "Diagram files (*.dgr)|*.dgr|All files (*.*)|*.*");
    EXPECT_EQ(r->DefaultExt, ".dgr");
    EXPECT_EQ(r->Title, "Select diagram file");
  }
  EXPECT_EQ(A()->PictureDialog.Title, "Select picture file");
}

TEST_F(DesignerTest, ShortcutsReachTheirCommandsThroughTheWindow) {
  Insert({10, 10, 60, 60}, "a");
  Form->show();
  Form->activateWindow();
  ASSERT_TRUE(QTest::qWaitForWindowActive(Form.get()));
  D()->setFocus();
  QTest::keyClick(D(), Qt::Key_A, Qt::ControlModifier);
  EXPECT_EQ(D()->SelectedCount(), 1);
  QTest::keyClick(D(), Qt::Key_Delete);
  EXPECT_EQ(D()->BlockCount(), 0);
  EXPECT_EQ(D()->NextUndoAction(), "delete");
  QTest::keyClick(D(), Qt::Key_Z, Qt::ControlModifier);
  EXPECT_EQ(D()->BlockCount(), 1);
  QTest::keyClick(D(), Qt::Key_Z, Qt::ControlModifier | Qt::ShiftModifier);
  EXPECT_EQ(D()->BlockCount(), 0);
  // Ctrl+O opens nothing; Ctrl+F11 asks for a file.
  QTest::keyClick(D(), Qt::Key_O, Qt::ControlModifier);
  EXPECT_TRUE(Dialogs.FileRequests.empty());
  QTest::keyClick(D(), Qt::Key_F11, Qt::ControlModifier);
  ASSERT_EQ(Dialogs.FileRequests.size(), 1u);
  EXPECT_EQ(Dialogs.FileRequests[0].Title, "Select diagram file");
}

TEST_F(DesignerTest, AligningLeavesOneUndoEntryAndMovesTheBlocksOnTheFirst) {
  TDiagramBlock* a = AddTo(D(), {100, 10, 140, 40});
  TDiagramBlock* b = AddTo(D(), {20, 80, 100, 100});
  TDiagramBlock* c = AddTo(D(), {300, 150, 330, 170});
  for (auto* x : {a, b, c}) x->SetSelected(true);
  Trigger("DiagramAlign1");
  EXPECT_EQ(b->Left(), 100);
  EXPECT_EQ(c->Left(), 100);
  EXPECT_EQ(b->Width(), 80);
  EXPECT_EQ(D()->NextUndoAction(), "Align");
  // Equal gaps between the leftmost and the rightmost, which stay.
  a->SetBoundsRect({0, 0, 20, 20});
  b->SetBoundsRect({30, 0, 50, 20});
  c->SetBoundsRect({180, 0, 200, 20});
  Trigger("DiagramAlign10");
  EXPECT_EQ(a->Left(), 0);
  EXPECT_EQ(b->Left(), 90);
  EXPECT_EQ(c->Left(), 180);
  Trigger("DiagramAlign9");
  EXPECT_EQ(c->BoundsRect().Width(), a->Width());
  // One selected block: nothing to align against.
  D()->UnselectAll();
  a->SetSelected(true);
  A()->UpdateActions();
  EXPECT_FALSE(A()->Action("DiagramAlign1")->isEnabled());
}

TEST_F(DesignerTest, ArrowAndColourCommandsChangeTheSelectionAndRecordThemselves) {
  auto* line = new TDiagramLine(D()->Owner());
  line->SetDiagram(D());
  line->SetEnds({10, 10}, {200, 10});
  line->SetSelected(true);
  Trigger("DiagramArrowShape2");
  EXPECT_EQ(line->TargetArrow().Shape, asSolidArrow);
  Trigger("DiagramArrowShape12");
  EXPECT_EQ(line->SourceArrow().Shape, asDiamond);
  EXPECT_EQ(D()->NextUndoAction(), "arrow shape");
  Trigger("acHasTargetArrow");
  EXPECT_EQ(line->TargetArrow().Shape, asNone);

  TDiagramBlock* block = AddTo(D(), {10, 40, 60, 90});
  D()->UnselectAll();
  block->SetSelected(true);
  Dialogs.OnShowModal = [](QDialog& dialog) {
    dynamic_cast<QColorDialog&>(dialog).setCurrentColor(Qt::red);
    return int(mrOk);
  };
  Trigger("DiagramShapeColor1");
  EXPECT_EQ(Dialogs.Forms.back(), "ColorDialog");
  EXPECT_EQ(block->Color(), clRed);
  EXPECT_EQ(D()->NextUndoAction(), "color");
  // A cancelled colour form changes nothing and records nothing.
  D()->PushUndoStack("mark");
  Dialogs.OnShowModal = nullptr;
  Trigger("DiagramShapeColor1");
  EXPECT_EQ(D()->NextUndoAction(), "color");
}

TEST_F(DesignerTest, NewAsksOnlyWhenChangedAndKeepsTheSceneOnNo) {
  Trigger("acNewDiagram");
  EXPECT_TRUE(Dialogs.Messages.empty());
  Insert({10, 10, 50, 50});
  ASSERT_TRUE(A()->Modified());
  Dialogs.Answers = {mrNo};
  Trigger("acNewDiagram");
  ASSERT_EQ(Dialogs.Messages.size(), 1u);
  EXPECT_EQ(Dialogs.Messages[0].Text, "Create new diagram and discard changes?");
  EXPECT_EQ(D()->BlockCount(), 1);
  Dialogs.Answers = {mrYes};
  Trigger("acNewDiagram");
  EXPECT_EQ(D()->BlockCount(), 0);
  EXPECT_FALSE(A()->Modified());
}

TEST_F(DesignerTest, SaveThenOpenRoundTripsThroughTheFileAndTheTitle) {
  QTemporaryDir dir;
  const QString file = dir.filePath("scene.dgr");
  Insert({10, 10, 50, 50}, "first");
  EXPECT_EQ(Form->lbModified->text(), "Modified");
  Dialogs.FileAnswers = {file};
  Trigger("acSaveDiagram");  // no name yet: asks where
  ASSERT_EQ(Dialogs.FileRequests.size(), 1u);
  EXPECT_EQ(Dialogs.FileRequests[0].DefaultExt, ".dgr");
  EXPECT_TRUE(QFile::exists(file));
  EXPECT_EQ(Form->windowTitle(), "Diagram Designer - scene.dgr");
  EXPECT_EQ(Form->lbModified->text(), "");

  Insert({100, 10, 150, 50}, "second");
  Dialogs.Answers = {mrNo};
  Trigger("acOpenDiagram");
  EXPECT_EQ(Dialogs.Messages.back().Text, "Open new diagram and discard current changes?");
  EXPECT_EQ(Dialogs.FileRequests.size(), 1u);  // refused: no file asked
  Dialogs.Answers = {mrYes};
  Dialogs.FileAnswers = {file};
  Trigger("acOpenDiagram");
  EXPECT_EQ(D()->BlockCount(), 1);
  EXPECT_NE(D()->FindBlock(u"first"), nullptr);
  EXPECT_FALSE(A()->Modified());
}

TEST_F(DesignerTest, ClosingWithChangesAsksAndCancelKeepsTheDesignerOpen) {
  int closes = 0;
  Form->OnCloseDesigner = [&](TfmDiagramEditor*) { ++closes; };
  Form->show();
  Insert({10, 10, 50, 50});
  Dialogs.Answers = {mrCancel};
  Form->reject();
  EXPECT_EQ(Dialogs.Messages.back().Text, "Save changes to the current diagram?");
  EXPECT_EQ(Dialogs.Messages.back().Buttons, mbYesNoCancel);
  EXPECT_EQ(closes, 0);
  EXPECT_TRUE(Form->isVisible());
  // Yes with a host's save: the host saves, then the designer closes.
  int saves = 0;
  A()->OnSaveDiagram = [&](TKvDiagram*) { ++saves; };
  Dialogs.Answers = {mrYes};
  Form->reject();
  EXPECT_EQ(saves, 1);
  EXPECT_EQ(closes, 1);
  EXPECT_FALSE(Form->isVisible());
}

TEST_F(DesignerTest, PaletteListsEveryClassUnderAllObjectsAndEachUnderItsCategory) {
  TDgrLibraryItem item;
  item.ItemName = "Lamp";
  item.Caption = "Lamp";
  item.Category = "Indicators";
  {
    TKvDiagram scratch;
    TDiagramBlock* b = AddTo(&scratch, {0, 0, 30, 30}, "lamp");
    item.Data = QString::fromLatin1(scratch.ControlsToText({b}));
  }
  TDgrLibraryManager::RegisterItem(item);
  Form->DiagramButtons->Fill();
  const QStringList all = Form->DiagramButtons->Ids("All objects");
  EXPECT_EQ(all.size(), RegDControls().Count());
  EXPECT_TRUE(all.contains("LIB_Lamp"));
  EXPECT_EQ(Form->DiagramButtons->Ids("Indicators"), QStringList{"LIB_Lamp"});
  EXPECT_TRUE(Form->DiagramButtons->Ids("Lines").contains("TDiagramLine"));
  EXPECT_FALSE(Form->DiagramButtons->Ids("Lines").contains("Rectangle"));
  // Choosing an entry starts inserting it.
  QTreeWidgetItem* rect = Form->DiagramButtons->findItems("Rectangle", Qt::MatchRecursive)[0];
  emit Form->DiagramButtons->itemClicked(rect, 0);
  EXPECT_EQ(D()->MouseState(), msToInsert);
}

TEST_F(DesignerTest, SelectorsShowLayerZoomAndFontSizeOfTheSelection) {
  EXPECT_EQ(Form->cbZoom->count(), 8);
  EXPECT_EQ(Form->cbZoom->itemText(0), "500%");
  EXPECT_EQ(Form->cbFontSize->itemText(0), "8");
  EXPECT_EQ(Form->cbFontSize->itemText(Form->cbFontSize->count() - 1), "72");
  TDiagramLayer* layer = D()->Layers().Add("Back");
  TDiagramBlock* b = AddTo(D(), {10, 10, 50, 50});
  b->SetSelected(true);
  Form->UpdateControls();
  EXPECT_EQ(Form->cbLayer->currentText(), "(no layer)");
  emit Form->cbLayer->activated(1);
  EXPECT_EQ(b->LayerObj(), layer);
  EXPECT_EQ(Form->cbLayer->currentText(), "Back");
  emit Form->cbZoom->textActivated("200%");
  EXPECT_EQ(D()->Zoom(), 200);
  emit Form->cbFontSize->textActivated("24");
  EXPECT_EQ(b->Font().Size, 24);
  EXPECT_EQ(D()->NextUndoAction(), "text font");
}

TEST_F(DesignerTest, CopyAsImagePicturesTheSelectionAlone) {
  TDiagramBlock* small = AddTo(D(), {10, 10, 50, 40});
  AddTo(D(), {300, 300, 400, 400});
  small->SetSelected(true);
  Trigger("acCopyAsImage");
  const QImage img = QGuiApplication::clipboard()->image();
  ASSERT_FALSE(img.isNull());
  // The far block would make the picture several hundred pixels wide.
  EXPECT_LT(img.width(), 100);
  EXPECT_GE(img.width(), 40);
}

// ---- the editor module ----

namespace {

class EditorHostTest : public DiagramTest {
 protected:
  void SetUp() override {
    DiagramTest::SetUp();
    KvDialogs_Install(&Dialogs);
  }
  void TearDown() override {
    KvDialogs_Install(nullptr);
    DiagramTest::TearDown();
  }
  TScriptedDialogs Dialogs;
};

}  // namespace

TEST_F(EditorHostTest, TheCloseReplacesTheTargetsSceneWholeAndKeepsItsOwnUndoStack) {
  Diagram->LeftRuler.Visible = Diagram->TopRuler.Visible = true;
  Diagram->PageLines.Visible = true;
  QPointer<TDiagramBlock> old = AddBlock(10, 10, 40, 40, "keep");
  Diagram->PushUndoStack("target step");
  TDmKvDiagramEditor module;
  EXPECT_EQ(module.DgrLibraryFolderFiler1->BaseFolder(),
            QCoreApplication::applicationDirPath() + "/Libraries");
  EXPECT_EQ(module.DgrLibraryFolderFiler1->DefaultExt, ".dgo");
  EXPECT_FALSE(module.DgrLibraryManager1->AutoLoad);
  EXPECT_EQ(module.DiagramEditor1->Title, "Diagram Designer");

  Dialogs.OnShowModal = [&](QDialog& dialog) {
    auto& form = dynamic_cast<TfmDiagramEditor&>(dialog);
    TKvDiagram* d = form.Diagram();
    EXPECT_EQ(form.windowTitle(), "Diagram Designer");
    EXPECT_NE(d, Diagram);
    EXPECT_NE(d->FindBlock(u"keep"), nullptr);
    EXPECT_FALSE(d->LeftRuler.Visible || d->TopRuler.Visible || d->PageLines.Visible);
    EXPECT_EQ(d->SnapGrid.Style, gsRuler);
    EXPECT_TRUE(d->WheelZoom);
    EXPECT_EQ(d->HandlesStyle, hsVisio);
    EXPECT_EQ(d->NextUndoAction(), "");
    EXPECT_FALSE(form.Actions()->Modified());
    AddTo(d, {100, 100, 150, 150}, "added");
    d->PushUndoStack("designer step");
    d->Modified();
    Dialogs.Answers = {mrNo};  // the close question: do not save to a file
    form.reject();
    return int(mrCancel);
  };
  module.EditorExecute(Diagram);
  ASSERT_EQ(Dialogs.Forms, QStringList{"fmDiagramEditor"});
  ASSERT_EQ(Dialogs.Messages.size(), 1u);
  EXPECT_EQ(Dialogs.Messages.back().Text, "Save changes to the current diagram?");
  EXPECT_EQ(module.FDgrTarget, Diagram);
  EXPECT_NE(Diagram->FindBlock(u"added"), nullptr);
  ASSERT_NE(Diagram->FindBlock(u"keep"), nullptr);
  EXPECT_TRUE(old.isNull());  // rebuilt, not kept
  EXPECT_EQ(Diagram->NextUndoAction(), "target step");
  EXPECT_EQ(module.DiagramEditor1->Form(), nullptr);
}

TEST_F(EditorHostTest, ASecondModuleSaysSoOnceAndTheFirstKeepsWorking) {
  TDmKvDiagramEditor first;
  ASSERT_TRUE(Dialogs.Messages.empty());
  {
    TDmKvDiagramEditor second;
    ASSERT_EQ(Dialogs.Messages.size(), 1u);
    EXPECT_EQ(Dialogs.Messages[0].Text, "DmKvBasic: Module already loaded");
    EXPECT_EQ(Dialogs.Messages[0].Type, TMsgDlgType::mtError);
  }
  EXPECT_EQ(DmKvDiagramEditor, &first);
  Dialogs.OnShowModal = [](QDialog& d) {
    dynamic_cast<TfmDiagramEditor&>(d).reject();
    return int(mrCancel);
  };
  AddBlock(0, 0, 20, 20, "x");
  first.EditorExecute(Diagram);
  EXPECT_NE(Diagram->FindBlock(u"x"), nullptr);
  EXPECT_EQ(Dialogs.Messages.size(), 1u);
}

TEST_F(EditorHostTest, LibrariesLoadFromTheFolderAndAMissingFolderListsNone) {
  TDmKvDiagramEditor module;
  QTemporaryDir dir;
  module.DgrLibraryFolderFiler1->SetBaseFolder(dir.filePath("Libraries"));
  module.DgrLibraryManager1->LoadLibraries();
  EXPECT_TRUE(module.DgrLibraryManager1->FLibs.empty());
  QDir(dir.path()).mkpath("Libraries/dlib_Meters");
  module.DgrLibraryManager1->LoadLibraries();
  ASSERT_EQ(module.DgrLibraryManager1->FLibs.size(), 1u);
  EXPECT_EQ(module.DgrLibraryManager1->FLibs[0]->LibraryName, "Meters");
}
