// Live diagrams drawn from the palette in the designer program and run there with its Run,
// Step and Stop commands on real path threads: the run colours between single steps, a fork
// whose branches meet in a join, the lock on editing, and every way a run can be cut short.
// A UML class diagram drawn from the palette goes through a file and back. The blocks' own
// rules are the live suite's; here it is the designer around them.
#include <QLabel>
#include <stdexcept>

#include "DesignerTestSupport.h"
#include "LiveDiagram.h"
#include "UDgrLiveRun.h"
#include "UmlBlocks.h"

namespace {

const QString Live = QStringLiteral("Live Diagram");

// Start, two states and an end, or, as a loop, two states that hand over to each other forever.
struct TMachine {
  TLiveStateStart* Start;
  TLiveStateBlock *Idle, *Busy;
  TLiveStateEnd* End = nullptr;
};

class DesignerRunTest : public DesignerProgramTest {
 protected:
  // A state drawn from the palette with its name typed in as its text.
  template <typename T>
  static T* DrawState(TfmDiagramEditor& form, const char* caption, const QRect& rect,
                      const QString& name) {
    T* b = DrawBlock<T>(form, Live, caption, rect, name);
    if (b) b->SetStrings(name);
    return b;
  }
  static TMachine DrawMachine(TfmDiagramEditor& form, bool loop = false) {
    TMachine m;
    m.Start = DrawState<TLiveStateStart>(form, "Start State", {40, 20, 100, 100}, "Start");
    m.Idle = DrawState<TLiveStateBlock>(form, "State", {40, 190, 100, 100}, "Idle");
    m.Busy = DrawState<TLiveStateBlock>(form, "State", {260, 190, 100, 100}, "Busy");
    // State link points: 0 top, 2 right, 3 bottom right, 4 bottom, 5 bottom left, 6 left.
    DrawLine(form, Live, "Live Wire", m.Start, 4, m.Idle, 0);
    DrawLine(form, Live, "Live Wire", m.Idle, 2, m.Busy, 6);
    if (loop) {
      DrawLine(form, Live, "Live Wire", m.Busy, 5, m.Idle, 3);
    } else {
      m.End = DrawState<TLiveStateEnd>(form, "End State", {260, 360, 100, 100}, "End");
      DrawLine(form, Live, "Live Wire", m.Busy, 4, m.End, 0);
    }
    return m;
  }
  // Runs without the pause that lets a person follow each step.
  static TDgrLiveRun& Runner(TfmDiagramEditor& form) {
    form.Actions()->LiveRun()->StepPause = 0;
    return *form.Actions()->LiveRun();
  }
  static QAction* Command(TfmDiagramEditor& form, const char* name) {
    return form.Actions()->Action(QString::fromLatin1(name));
  }
  // The colour the block shows on its middle line, a little below its text (or as high as
  // down says, in parts of its height).
  static QColor Shown(TfmDiagramEditor& form, TCustomDiagramBlock* b, double down = 0.8) {
    const QImage img = form.Diagram()->ExportAsBMP(esStandard);
    const TSquare r = b->BoundsRect();
    return img.pixelColor(int((r.Left + r.Right) / 2), int(r.Top + down * r.Height()));
  }
  static bool AllIdle(TfmDiagramEditor& form) {
    auto* d = dynamic_cast<TLiveDiagram*>(form.Diagram());
    for (TCustomLiveBlock* b : d->LiveBlocks())
      if (b->ControlState() != 0) return false;
    return true;
  }
};

const QColor RunOn = ColorToQColor(TBlockColors().RunONColor);
const QColor RunOff = ColorToQColor(TBlockColors().RunOFFColor);

}  // namespace

TEST_F(DesignerRunTest, AStateMachineRunsToItsEndWhileEditingWaits) {
  TLvxDesignerProgram program({});
  WhileShown([&](TfmDiagramEditor& form) {
    ASSERT_NE(dynamic_cast<TLiveDiagram*>(form.Diagram()), nullptr);
    QAction* run = Command(form, "acRunDiagram");
    EXPECT_FALSE(run->isEnabled());  // nothing live to run
    DrawMachine(form);
    DrawState<TLiveStateBlock>(form, "State", {500, 20, 100, 100}, "Lonely");
    ASSERT_TRUE(run->isEnabled());
    run->trigger();
    EXPECT_EQ(form.lbRunState->text(), "The diagram cannot run: \"Lonely\" is not linked.");
    Command(form, "DiagramDelete1")->trigger();  // the lonely state is still selected

    TDgrLiveRun& runner = Runner(form);
    run->trigger();
    ASSERT_TRUE(runner.Running());
    for (const char* waits : {"acRunDiagram", "acStepDiagram", "DiagramSelectAll1", "acSaveDiagram",
                              "DiagramUndoAction1"})
      EXPECT_FALSE(Command(form, waits)->isEnabled()) << waits;
    for (const char* goes : {"acStopDiagram", "DiagramSetZoom3", "acOpenDiagram"})
      EXPECT_TRUE(Command(form, goes)->isEnabled()) << goes;
    EXPECT_FALSE(form.DiagramButtons->isEnabled());
    EXPECT_FALSE(form.acLayers->isEnabled());
    EXPECT_EQ(form.Diagram()->DesignMode, ddmNonEditable);
    EXPECT_FALSE(form.Diagram()->ShowLinkPoints);

    ASSERT_TRUE(ServeUntil([&] { return !runner.Running(); }));
    EXPECT_EQ(form.lbRunState->text(), "Run ended at \"End\" after 4 steps.");
    EXPECT_TRUE(AllIdle(form));
    EXPECT_EQ(form.Diagram()->DesignMode, ddmEditable);
    EXPECT_TRUE(form.Diagram()->ShowLinkPoints);
    EXPECT_TRUE(form.DiagramButtons->isEnabled());
    EXPECT_TRUE(form.acLayers->isEnabled());
    EXPECT_TRUE(Command(form, "DiagramSelectAll1")->isEnabled());
    EXPECT_FALSE(Command(form, "acStopDiagram")->isEnabled());
    Dialogs.Answers = {mrNo};
  });
  program.Run();
}

TEST_F(DesignerRunTest, StepTakesOneStepAPressAndTheColoursShowWhereTheRunIs) {
  TLvxDesignerProgram program({});
  WhileShown([&](TfmDiagramEditor& form) {
    TMachine m = DrawMachine(form);
    TDgrLiveRun& runner = Runner(form);
    QAction* step = Command(form, "acStepDiagram");
    const QColor plain = Shown(form, m.Idle);
    auto press = [&](int steps) {
      step->trigger();
      ASSERT_TRUE(ServeUntil([&] { return runner.StepCount() == steps; }));
      for (int i = 0; i < 20; ++i) QCoreApplication::processEvents(QEventLoop::AllEvents, 1);
      ASSERT_EQ(runner.StepCount(), steps);  // held until the next press
    };
    press(1);
    EXPECT_EQ(form.lbRunState->text(), "Step 1: \"Start\" (Step for the next).");
    EXPECT_EQ(Shown(form, m.Start), RunOn);
    EXPECT_EQ(Shown(form, m.Idle), plain);
    EXPECT_TRUE(step->isEnabled());
    EXPECT_TRUE(Command(form, "acRunDiagram")->isEnabled());  // would go on freely
    press(2);
    EXPECT_EQ(Shown(form, m.Start), RunOff);
    EXPECT_EQ(Shown(form, m.Idle), RunOn);
    press(3);
    EXPECT_EQ(Shown(form, m.Idle), RunOff);
    EXPECT_EQ(Shown(form, m.Busy), RunOn);
    EXPECT_EQ(m.Busy->ControlState(), 1);
    form.resize(1000, 700);
    form.show();
    SaveForReview(form, "designer_state_machine_stepping.png");
    press(4);
    EXPECT_EQ(Shown(form, m.End), RunOn);
    step->trigger();  // the end block was reached: this press ends the run
    ASSERT_TRUE(ServeUntil([&] { return !runner.Running(); }));
    EXPECT_EQ(form.lbRunState->text(), "Run ended at \"End\" after 4 steps.");
    EXPECT_EQ(Shown(form, m.Idle), plain);
    Dialogs.Answers = {mrNo};
  });
  program.Run();
}

TEST_F(DesignerRunTest, AForkRunsItsBranchesToTheJoinAndAFailingBranchSaysWhy) {
  TLvxDesignerProgram program({});
  WhileShown([&](TfmDiagramEditor& form) {
    auto* start = DrawState<TLiveStateStart>(form, "Start State", {210, 10, 80, 80}, "Start");
    auto* fork = DrawBlock<TLiveForkBlock>(form, Live, "Live Fork", {200, 120, 100, 50}, "Fork");
    auto* a = DrawState<TLiveStateBlock>(form, "State", {60, 200, 80, 80}, "Left");
    auto* b = DrawState<TLiveStateBlock>(form, "State", {360, 200, 80, 80}, "Right");
    auto* join = DrawBlock<TLiveJoinBlock>(form, Live, "Live Join", {200, 310, 100, 50}, "Join");
    auto* end = DrawState<TLiveStateEnd>(form, "End State", {210, 400, 80, 80}, "End");
    DrawLine(form, Live, "Live Wire", start, 4, fork, 0);
    DrawLine(form, Live, "Live Wire", fork, 1, a, 0);
    DrawLine(form, Live, "Live Wire", fork, 2, b, 0);
    DrawLine(form, Live, "Live Wire", a, 4, join, 0);
    DrawLine(form, Live, "Live Wire", b, 4, join, 1);
    DrawLine(form, Live, "Live Wire", join, 2, end, 0);
    std::vector<TCustomLiveBlock*> stepped;
    auto* live = dynamic_cast<TLiveDiagram*>(form.Diagram());
    live->OnAfterStep = [&](TLiveDiagram*, TCustomLiveBlock* node) { stepped.push_back(node); };
    TDgrLiveRun& runner = Runner(form);
    form.resize(1000, 700);
    form.show();
    // The press that takes the fork's step also starts both branches on their first blocks.
    for (int steps : {1, 4}) {
      Command(form, "acStepDiagram")->trigger();
      ASSERT_TRUE(ServeUntil([&] { return runner.StepCount() == steps; }));
    }
    EXPECT_EQ(fork->ControlState(), 1);
    EXPECT_EQ(Shown(form, fork, 0.15), RunOn);  // a fork is all stroke: its stem shows it
    EXPECT_EQ(Shown(form, a), RunOn);
    EXPECT_EQ(Shown(form, b), RunOn);
    SaveForReview(form, "designer_fork_join_running.png");
    Command(form, "acRunDiagram")->trigger();  // and on freely to the end
    ASSERT_TRUE(ServeUntil([&] { return !runner.Running(); }));
    EXPECT_TRUE(form.lbRunState->text().startsWith("Run ended at \"End\" after "))
        << form.lbRunState->text().toStdString();
    for (TCustomLiveBlock* branch : {a, b})
      EXPECT_EQ(std::count(stepped.begin(), stepped.end(), branch), 1);
    EXPECT_EQ(std::count(stepped.begin(), stepped.end(), join), 2);  // once for each branch
    EXPECT_EQ(stepped.back(), end);
    EXPECT_EQ(Shown(form, fork, 0.15), Qt::black);
    SaveForReview(form, "designer_fork_join_after_run.png");
    // The scene too, to run it in the program itself.
    if (const QString dir = qEnvironmentVariable("LVX_DESIGNER_SHOTS"); !dir.isEmpty())
      form.Diagram()->SaveToFile(dir + "/fork_join.dgr");
    EXPECT_EQ(Shown(form, fork, 0.15), Qt::black);
    SaveForReview(form, "designer_fork_join_after_run.png");

    b->FOnExecuteEx = [](TCustomLiveBlock*, TExecuteNodeInfo&) {
      throw std::runtime_error("sensor gone");
    };
    Command(form, "acRunDiagram")->trigger();
    ASSERT_TRUE(ServeUntil([&] { return !runner.Running(); }));
    EXPECT_EQ(form.lbRunState->text(), "Run failed at \"Right\" (code -2): sensor gone");
    EXPECT_TRUE(AllIdle(form));
    Dialogs.Answers = {mrNo};
  });
  program.Run();
}

TEST_F(DesignerRunTest, StopOpeningAnotherDiagramAndClosingEachEndTheRunCleanly) {
  const QString other = Dir.filePath("other.dgr");
  {
    TKvDiagram d;
    Place(&d, "box", {0, 0, 40, 40});
    d.SaveToFile(other);
  }
  {
    TLvxDesignerProgram program({});
    WhileShown([&](TfmDiagramEditor& form) {
      DrawMachine(form, true);
      TDgrLiveRun& runner = Runner(form);
      QAction* run = Command(form, "acRunDiagram");
      run->trigger();
      ASSERT_TRUE(ServeUntil([&] { return runner.StepCount() >= 6; }));
      Command(form, "acStopDiagram")->trigger();
      EXPECT_FALSE(runner.Running());
      EXPECT_EQ(form.lbRunState->text(),
                QString("Run stopped after %1 steps.").arg(runner.StepCount()));
      EXPECT_TRUE(AllIdle(form));
      EXPECT_TRUE(Command(form, "DiagramSelectAll1")->isEnabled());

      run->trigger();
      ASSERT_TRUE(ServeUntil([&] { return runner.StepCount() >= 3; }));
      Dialogs.Answers = {mrYes};  // discard the changes
      Dialogs.FileAnswers = {other};
      Command(form, "acOpenDiagram")->trigger();
      EXPECT_FALSE(runner.Running());
      EXPECT_EQ(form.Diagram()->BlockCount(), 1);
      EXPECT_NE(form.Diagram()->FindBlock(u"box"), nullptr);
      EXPECT_EQ(form.Diagram()->DesignMode, ddmEditable);
    });
    program.Run();
  }

  // Closing while the paths run: the run stops before the scene is written back.
  TLvxDesignerProgram closing({});
  TColor before = 0;
  WhileShown([&](TfmDiagramEditor& form) {
    TMachine m = DrawMachine(form, true);
    before = m.Idle->Color();
    TDgrLiveRun& runner = Runner(form);
    Command(form, "acRunDiagram")->trigger();
    ASSERT_TRUE(ServeUntil([&] { return runner.StepCount() >= 4; }));
    Dialogs.Answers = {mrNo};
  });
  closing.Run();
  ASSERT_EQ(Dialogs.Messages.size(), 2u);
  EXPECT_EQ(Dialogs.Messages[1].Text, "Save changes to the current diagram?");
  ASSERT_NE(closing.Document().FindBlock(u"Idle"), nullptr);
  EXPECT_EQ(closing.Document().FindBlock(u"Idle")->Color(), before);
}

TEST_F(DesignerProgramTest, AUmlClassDiagramDrawnFromThePaletteIsSavedAndReopened) {
  const QString file = Dir.filePath("classes.dgr");
  const QString statics = QStringLiteral("UML Static");
  {
    TLvxDesignerProgram program({file});
    WhileShown([&](TfmDiagramEditor& form) {
      auto* shape =
          DrawBlock<TUMLBaseClassBlock>(form, statics, "Class", {40, 20, 180, 120}, "Shape");
      shape->SetClassTitle("Shape");
      shape->Attributes().push_back({"origin", "TDot", "", uvProtected});
      shape->Operations().push_back({"Area", "double", uvPublic, {}});
      shape->UpdateCompartments();
      auto* circle =
          DrawBlock<TUMLBaseClassBlock>(form, statics, "Class", {40, 260, 180, 100}, "Circle");
      circle->SetClassTitle("Circle");
      auto* drawable = DrawBlock<TUMLBaseClassBlock>(form, statics, "Interface",
                                                     {340, 20, 180, 100}, "Drawable");
      drawable->SetClassTitle("Drawable");
      // Link points of UML blocks: 0 top, 1 right, 2 bottom, 3 left.
      DrawLine(form, statics, "Generalization", circle, 0, shape, 2);
      DrawLine(form, statics, "Dependency", shape, 1, drawable, 3);
      form.Diagram()->UnselectAll();
      form.resize(1000, 620);
      form.show();
      SaveForReview(form, "designer_uml_classes.png");
      form.Actions()->Action("acSaveDiagram")->trigger();
    });
    program.Run();
  }
  TLvxDesignerProgram reopened({file});
  WhileShown([&](TfmDiagramEditor& form) {
    TKvDiagram* d = form.Diagram();
    auto* shape = dynamic_cast<TUMLBaseClassBlock*>(d->FindBlock(u"Shape"));
    auto* circle = dynamic_cast<TUMLBaseClassBlock*>(d->FindBlock(u"Circle"));
    auto* drawable = dynamic_cast<TUMLBaseClassBlock*>(d->FindBlock(u"Drawable"));
    ASSERT_TRUE(shape && circle && drawable);
    EXPECT_EQ(shape->ClassTitle(), "Shape");
    ASSERT_EQ(shape->Attributes().size(), 1u);
    EXPECT_EQ(shape->Attributes()[0].Name, "origin");
    ASSERT_EQ(shape->Operations().size(), 1u);
    EXPECT_EQ(shape->BoundsRect(), (TSquare{40, 20, 220, 140}));
    std::vector<std::tuple<TUMLLineType, TDiagramControl*, TDiagramControl*>> lines;
    for (int i = 0; i < d->LinkCount(); ++i)
      if (auto* l = dynamic_cast<TUMLGenericLine*>(d->GetLinks(i)))
        lines.emplace_back(l->LineType(), l->SourceLinkPoint()->Anchor(),
                           l->TargetLinkPoint()->Anchor());
    EXPECT_EQ(lines,
              (decltype(lines){{ultGeneralize, circle, shape}, {ultDependency, shape, drawable}}));
  });
  reopened.Run();
}
