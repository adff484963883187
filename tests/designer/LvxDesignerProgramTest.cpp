// The designer program started as its entry starts it: on a file named on the command line
// or on a new diagram, with the designer's own save writing that file.
#include "DesignerTestSupport.h"

TEST_F(DesignerProgramTest, ANewFileNamedOnTheCommandLineIsWhereSaveWrites) {
  const QString file = Dir.filePath("new.dgr");
  TLvxDesignerProgram program({file});
  WhileShown([&](TfmDiagramEditor& form) {
    EXPECT_EQ(form.windowTitle(), "Diagram Designer - new.dgr");
    EXPECT_EQ(form.Diagram()->BlockCount(), 0);
    Place(form.Diagram(), "box", {10, 10, 90, 60});
    form.Actions()->Action("acSaveDiagram")->trigger();
  });
  EXPECT_EQ(program.Run(), 0);
  EXPECT_TRUE(Dialogs.FileRequests.empty());  // the name was known
  EXPECT_TRUE(Dialogs.Messages.empty());      // saved: nothing to ask at the close
  TKvDiagram reread;
  reread.LoadFromFile(file);
  ASSERT_NE(reread.FindBlock(u"box"), nullptr);
  EXPECT_EQ(reread.FindBlock(u"box")->BoundsRect(), (TSquare{10, 10, 90, 60}));
}

TEST_F(DesignerProgramTest, AnExistingFileOpensInTheDesignerAndAddsToWhatWasThere) {
  const QString file = Dir.filePath("old.dgr");
  {
    TLvxDesignerProgram first({file});
    WhileShown([&](TfmDiagramEditor& form) {
      Place(form.Diagram(), "first", {0, 0, 40, 40});
      form.Actions()->Action("acSaveDiagram")->trigger();
    });
    first.Run();
  }
  TLvxDesignerProgram second({file});
  WhileShown([&](TfmDiagramEditor& form) {
    EXPECT_NE(form.Diagram()->FindBlock(u"first"), nullptr);
    EXPECT_FALSE(form.Diagram()->LeftRuler.Visible);
    Place(form.Diagram(), "second", {100, 0, 140, 40});
    Dialogs.Answers = {mrYes};  // save at the close
  });
  second.Run();
  ASSERT_EQ(Dialogs.Messages.size(), 1u);
  EXPECT_EQ(Dialogs.Messages[0].Text, "Save changes to the current diagram?");
  TKvDiagram reread;
  reread.LoadFromFile(file);
  EXPECT_EQ(reread.BlockCount(), 2);
  // The document the designer was opened on holds the designer's scene after the close.
  EXPECT_NE(second.Document().FindBlock(u"second"), nullptr);
}

TEST_F(DesignerProgramTest, WithoutAFileTheFirstSaveAsksWhere) {
  TLvxDesignerProgram program({});
  const QString file = Dir.filePath("chosen.dgr");
  Dialogs.FileAnswers = {file};
  WhileShown([&](TfmDiagramEditor& form) {
    EXPECT_EQ(form.windowTitle(), "Diagram Designer");
    Place(form.Diagram(), "box", {0, 0, 40, 40});
    form.Actions()->Action("acSaveDiagram")->trigger();
  });
  program.Run();
  ASSERT_EQ(Dialogs.FileRequests.size(), 1u);
  EXPECT_EQ(Dialogs.FileRequests[0].Filter, "Diagram files (*.dgr)|*.dgr|All files (*.*)|*.*");
  EXPECT_TRUE(QFile::exists(file));
}
