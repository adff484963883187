// The designer's forms: the layer manager's questions and order, the grid properties over a
// diagram's grid, the block properties over the selection, and the library manager and item
// editor with their refusals.
#include <gtest/gtest.h>

#include <QCheckBox>
#include <QDir>
#include <QDoubleSpinBox>
#include <QInputDialog>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QPushButton>
#include <QTemporaryDir>
#include <QTreeWidget>

#include "DiagramLibrary.h"
#include "DiagramTestSupport.h"
#include "LvxTestSupport.h"
#include "UDgrGridProperties.h"
#include "UDgrLayerManager.h"
#include "UDgrLibraryManagerEditor.h"
#include "UDmDgrEditorActions.h"
#include "UFmDiagramEditor.h"
#include "UFmLibItemEditor.h"
#include "UFormDgrBlockProperties.h"

namespace {

class LayerManagerTest : public DiagramTest {
 protected:
  void SetUp() override {
    DiagramTest::SetUp();
    KvDialogs_Install(&Dialogs);
    Back = Diagram->Layers().Add("Back");
    Front = Diagram->Layers().Add("Front");
    OnBack = AddBlock(10, 10, 40, 40, "onBack");
    OnBack->SetLayerObj(Back);
    Manager.SetDiagram(Diagram);
  }
  void TearDown() override {
    KvDialogs_Install(nullptr);
    DiagramTest::TearDown();
  }
  QStringList Names() const {
    QStringList names;
    for (int i = 0; i < Diagram->Layers().Count(); ++i) names << Diagram->Layers()[i]->LayerName();
    return names;
  }
  TScriptedDialogs Dialogs;
  TDgrLayerManager Manager;
  TDiagramLayer* Back = nullptr;
  TDiagramLayer* Front = nullptr;
  TDiagramBlock* OnBack = nullptr;
};

}  // namespace

TEST_F(LayerManagerTest, WithoutADiagramItSaysSoAndOffersNothing) {
  TDgrLayerManager empty;
  EXPECT_FALSE(empty.lbNoDiagram->isHidden());
  EXPECT_EQ(empty.lbNoDiagram->text(), "Diagram not specified.");
  EXPECT_FALSE(empty.btAdd->isEnabled());
  EXPECT_TRUE(Manager.lbNoDiagram->isHidden());
  EXPECT_EQ(Manager.lbLayers->count(), 2);
}

TEST_F(LayerManagerTest, RemovingAsksForTheLayerThenForItsControls) {
  Manager.lbLayers->setCurrentRow(0);
  Dialogs.Answers = {mrYes, mrNo};
  Manager.RemoveLayer();
  ASSERT_EQ(Dialogs.Messages.size(), 2u);
  EXPECT_EQ(Dialogs.Messages[0].Text, "Remove layer \"Back\"?");
  EXPECT_EQ(Dialogs.Messages[1].Text, "Delete layer \"Back\" and all its controls from diagram?");
  EXPECT_EQ(Names(), (QStringList{"Back", "Front"}));
  EXPECT_NE(Diagram->FindBlock(u"onBack"), nullptr);

  Dialogs.Answers = {mrYes, mrYes};
  Manager.RemoveLayer();
  EXPECT_EQ(Names(), QStringList{"Front"});
  EXPECT_EQ(Diagram->FindBlock(u"onBack"), nullptr);
  // A layer without controls goes after the first question.
  Dialogs.Messages.clear();
  Manager.lbLayers->setCurrentRow(0);
  Manager.RemoveLayer();
  EXPECT_EQ(Dialogs.Messages.size(), 1u);
  EXPECT_TRUE(Names().isEmpty());
}

TEST_F(LayerManagerTest, AddAndReorderKeepTheControlsOnTheirLayer) {
  Manager.AddLayer();
  EXPECT_EQ(Names().size(), 3);
  Manager.lbLayers->setCurrentRow(0);
  Manager.MoveLayer(1);
  EXPECT_EQ(Names().mid(0, 2), (QStringList{"Front", "Back"}));
  EXPECT_EQ(Manager.lbLayers->currentRow(), 1);
  EXPECT_EQ(OnBack->LayerObj(), Back);
  Manager.MoveLayer(-5);  // out of range: stays
  EXPECT_EQ(Names().mid(0, 2), (QStringList{"Front", "Back"}));
}

TEST_F(LayerManagerTest, GridPropertiesWriteTheGridOnOkOnly) {
  TfmDiagramEditor form;
  TKvDiagram* d = form.Diagram();
  Dialogs.OnShowModal = [](QDialog& dialog) {
    auto& f = dynamic_cast<TfmDgrGridProperties&>(dialog);
    f.cbActive->setChecked(true);
    f.edSizeX->setValue(20);
    return int(mrOk);
  };
  form.Actions()->Action("acDiagramGridProperties")->trigger();
  EXPECT_EQ(Dialogs.Forms.back(), "fmDgrGridProperties");
  EXPECT_TRUE(d->SnapGrid.Active);
  EXPECT_EQ(d->SnapGrid.SizeX, 20);
  Dialogs.OnShowModal = [](QDialog& dialog) {
    dynamic_cast<TfmDgrGridProperties&>(dialog).edSizeX->setValue(50);
    return int(mrCancel);
  };
  form.Actions()->Action("acDiagramGridProperties")->trigger();
  EXPECT_EQ(d->SnapGrid.SizeX, 20);
}

TEST_F(LayerManagerTest, BlockPropertiesListTheSelectionAndApplyToTheChosenControl) {
  TDiagramBlock* other = AddBlock(100, 10, 40, 40, "other");
  OnBack->SetSelected(true);
  other->SetSelected(true);
  TFormDgrBlockProperties form;
  form.SetDiagram(Diagram);
  EXPECT_EQ(form.windowTitle(), "Diagram block properties");
  ASSERT_EQ(form.tvStructure->topLevelItemCount(), 2);
  EXPECT_EQ(form.Current(), OnBack);
  EXPECT_EQ(form.edX->value(), 10);
  EXPECT_EQ(form.lbObjectId->text(), "TDiagramBlock");
  form.tvStructure->setCurrentItem(form.tvStructure->topLevelItem(1));
  EXPECT_EQ(form.Current(), other);
  form.edName->setText("renamed");
  form.edX->setValue(200);
  form.edW->setValue(80);
  form.cbVisible->setChecked(false);
  form.btApply->click();
  EXPECT_EQ(Diagram->FindBlock(u"renamed"), other);
  EXPECT_EQ(other->BoundsRect(), (TSquare{200, 10, 280, 50}));
  EXPECT_FALSE(other->Visible());
  EXPECT_EQ(OnBack->Left(), 10);  // the other one untouched
  EXPECT_EQ(Diagram->NextUndoAction(), "properties");
}

namespace {

class LibraryEditorTest : public LayerManagerTest {
 protected:
  void SetUp() override {
    LayerManagerTest::SetUp();
    Filer.SetBaseFolder(Dir.path());
    Libraries.Filer = &Filer;
    Libraries.CreateLibrary("Meters");
    Libraries.ItemDialog = [](TDgrLibraryItem& item) { return TfmLibItemEditor::Execute(item); };
  }
  QTemporaryDir Dir;
  TDgrLibraryFolderFiler Filer;
  TDgrLibraryManager Libraries;
};

}  // namespace

TEST_F(LibraryEditorTest, NewLibraryRefusesEmptyAndTakenNamesAndMakesTheFolder) {
  TDgrLibraryManagerEditor editor;
  EXPECT_FALSE(editor.lbNoManager->isHidden());
  EXPECT_EQ(editor.lbNoManager->text(), "LibraryManager not specified.");
  editor.SetManager(&Libraries);
  QStringList answers = {"", "meters", "Lamps"};
  Dialogs.OnShowModal = [&](QDialog& dialog) {
    auto& prompt = dynamic_cast<QInputDialog&>(dialog);
    EXPECT_EQ(prompt.windowTitle(), "Create new library");
    EXPECT_EQ(prompt.labelText(), "Enter library name:");
    prompt.setTextValue(answers.takeFirst());
    return int(mrOk);
  };
  EXPECT_FALSE(editor.NewLibrary());
  EXPECT_EQ(Dialogs.Messages.back().Text, "Library name cannot be empty.");
  EXPECT_FALSE(editor.NewLibrary());
  EXPECT_EQ(Dialogs.Messages.back().Text, "Library \"meters\" already exists.");
  EXPECT_TRUE(editor.NewLibrary());
  EXPECT_TRUE(QDir(Dir.filePath("dlib_Lamps")).exists());
  EXPECT_EQ(editor.lbLibraries->count(), 2);

  Dialogs.Answers = {mrNo, mrYes};
  editor.RemoveLibrary();
  EXPECT_EQ(Dialogs.Messages.back().Text, "Remove library \"Lamps\"?");
  EXPECT_EQ(Libraries.FLibs.size(), 2u);
  editor.RemoveLibrary();
  EXPECT_EQ(Libraries.FLibs.size(), 1u);
  EXPECT_FALSE(QDir(Dir.filePath("dlib_Lamps")).exists());
}

TEST_F(LibraryEditorTest, AddToLibraryAsksForCaptionAndCategoryAndTheObjectCanBeDeleted) {
  TfmDiagramEditor form;
  form.SetLibManager(&Libraries);
  form.FormShow();
  auto* b = new TDiagramBlock(form.Diagram()->Owner());
  b->SetShape(bsEllipse);
  b->SetDiagram(form.Diagram());
  b->SetSelected(true);
  std::vector<std::pair<QString, QString>> typed = {{"", "x"}, {"Lamp", ""}, {"Lamp", "Lights"}};
  Dialogs.OnShowModal = [&](QDialog& dialog) {
    auto& editor = dynamic_cast<TfmLibItemEditor&>(dialog);
    for (const auto& [caption, category] : typed) {
      editor.edCaption->setText(caption);
      editor.edCategory->setText(category);
      editor.accept();
      if (editor.result() == QDialog::Accepted) return int(mrOk);
    }
    return int(mrCancel);
  };
  form.Actions()->UpdateActions();
  form.Actions()->Action("acAddLibrary")->trigger();
  ASSERT_EQ(Dialogs.Messages.size(), 2u);
  EXPECT_EQ(Dialogs.Messages[0].Text, "Caption field cannot not be empty.");
  EXPECT_EQ(Dialogs.Messages[1].Text, "Category field cannot be empty.");
  ASSERT_EQ(Libraries.FLibs[0]->Items.size(), 1u);
  EXPECT_EQ(form.DiagramButtons->Ids("Lights").size(), 1);

  TDgrLibraryManagerEditor editor;
  editor.SetManager(&Libraries);
  ASSERT_EQ(editor.lbObjects->count(), 1);
  Dialogs.Answers = {mrYes};
  editor.DeleteObject();
  EXPECT_EQ(Dialogs.Messages.back().Text, "Delete object \"Lamp\"?");
  EXPECT_TRUE(Libraries.FLibs[0]->Items.empty());
  EXPECT_TRUE(QDir(Dir.filePath("dlib_Meters")).entryList(QDir::Files).isEmpty());
}
