// Live blocks: linking (state lists, pass-through blocks, the join check), one step of states,
// handlers that throw, and whole runs on real path threads: forks with two and three branches,
// a parked branch, a failing branch that stops its siblings, paths that meet different blocks.
#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <stdexcept>

#include "LiveDiagram.h"

namespace {

class LiveTest : public ::testing::Test {
 protected:
  void SetUp() override {
    Owner = std::make_unique<QWidget>();
    Diagram = new TLiveDiagram(Owner.get());
    Diagram->resize(700, 500);
  }
  void TearDown() override { Owner.reset(); }

  template <typename T>
  T* Add(const QString& name, double x, double y) {
    auto* b = new T(Owner.get());
    b->SetName(name);
    b->SetLeft(x);
    b->SetTop(y);
    b->SetStrings(name);
    b->SetDiagram(Diagram);
    return b;
  }
  // A wire from link point a of one block to link point b of another, open when open says so.
  template <typename W = TLiveWire>
  W* Wire(
      TCustomLiveBlock* from, int a, TCustomLiveBlock* to, int b,
      std::function<bool()> open = [] { return true; }) {
    auto* w = new W(Owner.get());
    w->SetDiagram(Diagram);
    w->SourceLinkPoint()->AnchorTo(from->LinkPoints()[a]);
    w->TargetLinkPoint()->AnchorTo(to->LinkPoints()[b]);
    if (open) w->OnTransition = [open](TCustomDiagramLine*, TCustomLiveBlock*) { return open(); };
    return w;
  }
  // Serves the path threads' steps until the run has ended (bounded, so a hang fails).
  bool RunToEnd() {
    QDeadlineTimer limit(20000);
    while (Diagram->Running() && !limit.hasExpired())
      QCoreApplication::processEvents(QEventLoop::AllEvents, 5);
    return !Diagram->Running();
  }
  // A counter of a block's OnExecute calls.
  static void Count(TCustomLiveBlock* b, int& n) {
    b->FOnExecute = [&n](TCustomLiveBlock*, int32_t&, TExecuteNodeInfo&) { ++n; };
  }

  std::unique_ptr<QWidget> Owner;
  TLiveDiagram* Diagram = nullptr;
};

// Start, fork into branches of one state each, join, end; the states are returned.
struct TForkScene {
  TLiveStateStart* Start;
  TLiveForkBlock* Fork;
  std::vector<TLiveStateBlock*> States;
  TLiveJoinBlock* Join;
  TLiveStateEnd* End;
};

}  // namespace

namespace {
// Where review pictures go: $LVX_DIAGRAM_DEMO_DIR, or nowhere.
void SaveForReview(const QImage& img, const char* name) {
  const QString dir = qEnvironmentVariable("LVX_DIAGRAM_DEMO_DIR");
  if (!dir.isEmpty()) img.save(dir + "/" + name);
}
int CountColour(const QImage& img, TColor c) {
  const QRgb want = qRgb(c & 0xFF, (c >> 8) & 0xFF, (c >> 16) & 0xFF);
  int n = 0;
  for (int y = 0; y < img.height(); ++y)
    for (int x = 0; x < img.width(); ++x) n += (img.pixel(x, y) & 0xFFFFFF) == (want & 0xFFFFFF);
  return n;
}
}  // namespace

class LiveForkTest : public LiveTest {
 protected:
  TForkScene Build(int branches) {
    TForkScene s;
    s.Start = Add<TLiveStateStart>("Start", 200, 0);
    s.Fork = Add<TLiveForkBlock>("Fork", 180, 90);
    s.Join = Add<TLiveJoinBlock>("Join", 180, 330);
    s.End = Add<TLiveStateEnd>("Finish", 200, 420);
    Wire(s.Start, 4, s.Fork, 0);
    for (int i = 0; i < branches; ++i) {
      auto* st = Add<TLiveStateBlock>(QString("Branch%1").arg(i), 40 + i * 150, 190);
      s.States.push_back(st);
      Wire(s.Fork, i == 0 ? 1 : 2, st, 0);
      Wire(st, 4, s.Join, i == 0 ? 0 : 1);
    }
    Wire(s.Join, 2, s.End, 0);
    return s;
  }
};

TEST_F(LiveTest, LinkingFollowsWiresThroughPassThroughBlocks) {
  auto* a = Add<TLiveStateBlock>("A", 0, 0);
  auto* joint = Add<TLiveLineJoin>("J", 150, 45);
  auto* b = Add<TLiveStateBlock>("B", 300, 0);
  Wire(a, 2, joint, 3);
  Wire(joint, 2, b, 6);
  ASSERT_TRUE(a->Link());
  ASSERT_EQ(a->NextStates().Count(), 1);
  EXPECT_EQ(a->NextStates().GetBlock(0), b);
  ASSERT_TRUE(b->Link());
  // The wire into B comes from the joint, whose own FindNext is B.
  EXPECT_EQ(b->PreviousStates().Count(), 1);

  // A plain line is no transition: it ends the state list.
  auto* plain = new TDiagramLine(Owner.get());
  plain->SetDiagram(Diagram);
  plain->SourceLinkPoint()->AnchorTo(b->LinkPoints()[0]);
  plain->TargetLinkPoint()->AnchorTo(a->LinkPoints()[0]);
  TCustomLiveBlock* other = nullptr;
  EXPECT_FALSE(b->ValidateWire(plain, other, 1));
  auto* w = Wire(b, 2, a, 6);
  EXPECT_TRUE(b->ValidateWire(w, other, 1));
  EXPECT_EQ(other, a);
  EXPECT_FALSE(b->ValidateWire(w, other, 0));
}

TEST_F(LiveTest, StartStateLeavesByTheLinkPointWithOneWire) {
  auto* start = Add<TLiveStateStart>("S", 0, 0);
  auto* x = Add<TLiveStateBlock>("X", 200, 0);
  auto* y = Add<TLiveStateBlock>("Y", 200, 200);
  Wire(start, 0, x, 6);
  Wire(start, 0, y, 6);  // two wires on the top point: not an exit
  EXPECT_FALSE(start->Link());
  Wire(start, 4, y, 0);
  ASSERT_TRUE(start->Link());
  EXPECT_EQ(start->Next(), y);
  auto* end = Add<TLiveStateEnd>("E", 0, 300);
  EXPECT_FALSE(end->Link());
  Wire(y, 4, end, 0);
  EXPECT_TRUE(end->Link());
}

TEST_F(LiveTest, StatesStayUntilAWireOpensAndOneShotFiresOncePerVisit) {
  auto* s = Add<TLiveStateBlock>("S", 0, 0);
  auto* t = Add<TLiveStateBlock>("T", 200, 0);
  bool open = false;
  Wire(s, 2, t, 6, {});  // no OnTransition: never opens
  Wire(s, 2, t, 6, [&] { return open; });
  Wire(t, 6, s, 2);
  ASSERT_TRUE(s->Link());
  ASSERT_TRUE(t->Link());
  s->SetOneShot(true);
  int fired = 0;
  Count(s, fired);
  TExecuteNodeInfo info;
  for (int i = 0; i < 3; ++i) {
    s->ExecuteEx(info);
    EXPECT_EQ(info.NextNode, s);
    EXPECT_EQ(info.Error, 0);
  }
  EXPECT_EQ(fired, 1);
  open = true;
  s->ExecuteEx(info);
  EXPECT_EQ(info.NextNode, t);
  open = false;
  s->ExecuteEx(info);  // entered again
  EXPECT_EQ(fired, 2);
}

TEST_F(LiveTest, ThrowingHandlersGiveStepCodeMinusTwoAndTheErrorColour) {
  auto* s = Add<TLiveStateBlock>("S", 0, 0);
  s->SetColor(0x123456);
  s->FGradient.Visible = true;
  s->SetControlState(1);
  EXPECT_FALSE(s->FGradient.Visible);
  s->FOnExecute = [](TCustomLiveBlock*, int32_t&, TExecuteNodeInfo&) {
    throw std::runtime_error("first");
  };
  TExecuteNodeInfo info;
  s->ExecuteEx(info);
  EXPECT_EQ(info.Error, lsHandlerFailed);
  EXPECT_EQ(s->ControlState(), 3);
  s->FOnExecute = {};
  s->FOnExecuteEx = [](TCustomLiveBlock*, TExecuteNodeInfo&) {
    throw std::runtime_error("handler broke");
  };
  s->ExecuteEx(info);
  EXPECT_EQ(info.Error, lsHandlerFailed);
  EXPECT_EQ(info.ErrorMsg, "handler broke");
  s->SetControlState(0);
  EXPECT_EQ(s->Color(), 0x123456);
  EXPECT_TRUE(s->FGradient.Visible);
}

TEST_F(LiveForkTest, TheJoinCheckRefusesBranchesWithoutOneCommonJoin) {
  // A branch that runs to an end block.
  TForkScene s = Build(2);
  auto* stray = Add<TLiveStateEnd>("Stray", 500, 250);
  Wire(s.States[1], 2, stray, 0);
  EXPECT_FALSE(s.Fork->Link());

  // Branches that end in different joins.
  TForkScene t = Build(2);
  auto* other = Add<TLiveJoinBlock>("Other", 500, 330);
  delete t.States[1]->LinkPoints()[4]->Anchoreds().front()->DControl();
  Wire(t.States[1], 4, other, 0);
  EXPECT_FALSE(t.Fork->Link());
}

TEST_F(LiveForkTest, ACycleInABranchIsSkippedAndNestedForksCloseFirst) {
  TForkScene s = Build(2);
  Wire(s.States[0], 6, s.States[0], 7);  // a loop on itself
  auto* back = Add<TLiveStateBlock>("Back", 40, 260);
  Wire(s.States[1], 2, back, 0);
  Wire(back, 2, s.States[1], 3);  // a cycle of two
  Wire(back, 4, s.Join, 1);
  ASSERT_TRUE(s.Fork->Link());
  EXPECT_EQ(s.Fork->Join(), s.Join);
  EXPECT_EQ(s.Fork->Paths().Count(), 2);

  // A fork inside the first branch, closed by its own join before the outer one.
  auto* inner = Add<TLiveForkBlock>("Inner", 40, 600);
  auto* innerJoin = Add<TLiveJoinBlock>("InnerJoin", 40, 800);
  auto* p = Add<TLiveStateBlock>("P", 0, 700);
  auto* q = Add<TLiveStateBlock>("Q", 150, 700);
  Wire(s.States[0], 1, inner, 0);
  Wire(inner, 1, p, 0);
  Wire(inner, 2, q, 0);
  Wire(p, 4, innerJoin, 0);
  Wire(q, 4, innerJoin, 1);
  Wire(innerJoin, 2, s.Join, 0);
  ASSERT_TRUE(s.Fork->Link());
  EXPECT_EQ(s.Fork->Join(), s.Join);
  ASSERT_TRUE(inner->Link());
  EXPECT_EQ(inner->Join(), innerJoin);
}

TEST_F(LiveForkTest, BranchesRunOnTheirOwnThreadsAndMeetAtTheJoin) {
  for (int branches : {2, 3}) {
    SCOPED_TRACE(branches);
    Diagram->ClearDControls();
    TForkScene s = Build(branches);
    std::vector<int> runs(branches, 0);
    for (int i = 0; i < branches; ++i) Count(s.States[i], runs[i]);
    int ended = 0;
    Count(s.End, ended);
    std::vector<TCustomLiveBlock*> visited;
    Diagram->OnNodeChange = [&](TLiveDiagram*, TCustomLiveBlock*, TCustomLiveBlock* next) {
      visited.push_back(next);
    };
    size_t mostThreads = 0;
    Diagram->OnAfterStep = [&](TLiveDiagram* d, TCustomLiveBlock*) {
      mostThreads = std::max(mostThreads, d->RunThreads().size());
    };
    int endCode = -100;
    Diagram->OnRunEnd = [&](TLiveDiagram*, const TExecutionPath& main) {
      endCode = main.FExitCode;
    };
    ASSERT_TRUE(Diagram->Run());
    ASSERT_TRUE(RunToEnd());
    EXPECT_EQ(endCode, ecEnded);
    EXPECT_EQ(runs, std::vector<int>(branches, 1));
    EXPECT_EQ(ended, 1);
    EXPECT_EQ(mostThreads, size_t(branches + 1));
    EXPECT_EQ(visited.front(), s.Start);
    EXPECT_EQ(visited.back(), s.End);
    for (int i = 0; i < s.Fork->Paths().Count(); ++i)
      EXPECT_EQ(s.Fork->Paths()[i]->FExitCode, ecAtJoin);
    for (TCustomLiveBlock* b : Diagram->LiveBlocks()) EXPECT_EQ(b->ControlState(), 0);
  }
}

TEST_F(LiveForkTest, AParkedBranchParksTheRunAndContinuesAlone) {
  TForkScene s = Build(2);
  int first = 0, second = 0;
  Count(s.States[0], first);
  Count(s.States[1], second);
  bool park = true;
  // While parking the state keeps itself as the next node, so it runs again on resumption.
  auto* leave =
      dynamic_cast<TLiveWire*>(s.States[1]->LinkPoints()[4]->Anchoreds().front()->DControl());
  ASSERT_NE(leave, nullptr);
  leave->OnTransition = [&](TCustomDiagramLine*, TCustomLiveBlock*) { return !park; };
  s.States[1]->FOnExecuteEx = [&](TCustomLiveBlock*, TExecuteNodeInfo& info) {
    if (park) info.WaitState = wsWaitAndSave;
  };
  ASSERT_TRUE(Diagram->Run());
  ASSERT_TRUE(RunToEnd());
  EXPECT_EQ(Diagram->MainPath().FExitCode, ecParked);
  EXPECT_EQ(s.Fork->Paths()[1]->FExitCode, ecParked);
  park = false;
  ASSERT_TRUE(Diagram->Continue());
  ASSERT_TRUE(RunToEnd());
  EXPECT_EQ(Diagram->MainPath().FExitCode, ecEnded);
  EXPECT_EQ(first, 1);   // the branch at the join did not run again
  EXPECT_EQ(second, 2);  // the parked one did
}

TEST_F(LiveForkTest, AFailingBranchStopsItsSiblingsAndTheForkReportsIt) {
  TForkScene s = Build(3);
  // The first branch never leaves its state; the second fails with a code of the host's own.
  auto* stay =
      dynamic_cast<TLiveWire*>(s.States[0]->LinkPoints()[4]->Anchoreds().front()->DControl());
  ASSERT_NE(stay, nullptr);
  stay->OnTransition = {};
  s.States[1]->FOnExecute = [](TCustomLiveBlock*, int32_t& error, TExecuteNodeInfo&) {
    error = 42;
  };
  ASSERT_TRUE(Diagram->Run());
  ASSERT_TRUE(RunToEnd());
  EXPECT_EQ(Diagram->MainPath().FExitCode, 42);
  EXPECT_EQ(Diagram->MainPath().FErrorNode, s.States[1]);
  EXPECT_EQ(s.Fork->Paths()[1]->FExitCode, 42);
  EXPECT_EQ(s.Fork->Paths()[0]->FExitCode, ecNotFinished);  // stopped, not finished
  EXPECT_TRUE(s.Fork->SubThreads().empty());
}

TEST_F(LiveForkTest, PathsThatMeetDifferentBlocksGiveMinusSix) {
  TForkScene s = Build(2);
  auto* elsewhere = Add<TLiveStateEnd>("Elsewhere", 400, 420);
  Wire(s.Join, 1, elsewhere, 0, {});
  // The join sends the second branch elsewhere at run time.
  s.Join->FOnExecuteEx = [&](TCustomLiveBlock*, TExecuteNodeInfo& info) {
    if (info.Path == s.Fork->Paths()[1]) info.NextNode = elsewhere;
  };
  ASSERT_TRUE(Diagram->Run());
  ASSERT_TRUE(RunToEnd());
  EXPECT_EQ(Diagram->MainPath().FExitCode, lsPathsDiverged);
  EXPECT_EQ(Diagram->MainPath().FRunErrorMsg,
            "Parallel execution paths ended at different points. They should end in the same "
            "join block.");
}

TEST_F(LiveForkTest, SingleStepWaitsForEachStepAndStopEndsTheRun) {
  TForkScene s = Build(2);
  Diagram->SetSingleStep(true);
  std::vector<TCustomLiveBlock*> visited;
  Diagram->OnNodeChange = [&](TLiveDiagram*, TCustomLiveBlock*, TCustomLiveBlock* next) {
    visited.push_back(next);
  };
  ASSERT_TRUE(Diagram->Run());
  auto serveUntil = [&](size_t n) {
    QDeadlineTimer limit(20000);
    while (visited.size() < n && !limit.hasExpired())
      QCoreApplication::processEvents(QEventLoop::AllEvents, 5);
  };
  serveUntil(1);
  for (int i = 0; i < 20; ++i) QCoreApplication::processEvents(QEventLoop::AllEvents, 1);
  EXPECT_EQ(visited.size(), 1u);  // held at the start state
  EXPECT_EQ(s.Start->ControlState(), 1);
  Diagram->Step();
  serveUntil(2);
  ASSERT_GE(visited.size(), 2u);
  EXPECT_EQ(visited[1], s.Fork);
  EXPECT_EQ(s.Start->ControlState(), 2);
  Diagram->Stop();
  EXPECT_FALSE(Diagram->Running());
  EXPECT_EQ(s.Fork->ControlState(), 0);
}

TEST_F(LiveTest, ARunNeedsEveryBlockLinkedAndAStartBlock) {
  auto* a = Add<TLiveStateBlock>("A", 0, 0);
  EXPECT_FALSE(Diagram->Run());  // A has no wire
  auto* start = Add<TLiveStateStart>("S", 0, 200);
  Wire(start, 4, a, 0);
  auto* end = Add<TLiveStateEnd>("E", 0, 400);
  Wire(a, 4, end, 0);
  ASSERT_TRUE(Diagram->Run());
  ASSERT_TRUE(RunToEnd());
  EXPECT_EQ(Diagram->MainPath().FExitCode, ecEnded);
}

TEST_F(LiveForkTest, RunColoursShowWhereThePathsAreAndComeBackAfterTheRun) {
  TForkScene s = Build(3);
  s.States[2]->SetStateShape(ssSquare);
  s.States[1]->FOnExecute = [](TCustomLiveBlock*, int32_t& error, TExecuteNodeInfo&) { error = 9; };
  for (TCustomLiveBlock* b : Diagram->LiveBlocks()) b->SetColor(0xF8E8D0);
  Diagram->SetSingleStep(true);
  int steps = 0;
  Diagram->OnAfterStep = [&](TLiveDiagram*, TCustomLiveBlock*) { ++steps; };
  ASSERT_TRUE(Diagram->Run());
  QDeadlineTimer limit(20000);
  int stepped = 1;
  while (steps < 5 && !limit.hasExpired()) {  // start, fork, three branch states
    QCoreApplication::processEvents(QEventLoop::AllEvents, 5);
    if (steps == stepped && steps < 2) {  // one step given for each step seen
      ++stepped;
      Diagram->Step();
    }
  }
  QImage running = Diagram->ExportAsBMP(esStandard);
  SaveForReview(running, "live_fork_running.png");
  EXPECT_EQ(s.States[0]->ControlState(), 1);
  EXPECT_EQ(s.States[1]->ControlState(), 3);
  EXPECT_EQ(s.Start->ControlState(), 2);
  EXPECT_GT(CountColour(running, 0x00FF00), 500);  // running states
  EXPECT_GT(CountColour(running, 255), 500);       // the failed one
  Diagram->Stop();
  QImage after = Diagram->ExportAsBMP(esStandard);
  EXPECT_EQ(CountColour(after, 0x00FF00), 0);
  EXPECT_EQ(CountColour(after, 255), 0);
  EXPECT_EQ(s.States[1]->Color(), 0xF8E8D0);
}

TEST_F(LiveTest, WiresOffLiveBlocksPaintDotted) {
  auto* a = Add<TLiveStateBlock>("A", 20, 20);
  auto* b = Add<TLiveStateBlock>("B", 300, 20);
  auto* linked = Wire(a, 2, b, 6);
  auto* loose = new TLiveWire(Owner.get());
  loose->SetDiagram(Diagram);
  loose->SetEnds({20, 200}, {400, 200});
  loose->FPen.Width = 1;
  QImage img = Diagram->ExportAsBMP(esStandard);
  SaveForReview(img, "live_wires.png");
  auto darkRun = [&](int y, int x0, int x1) {
    int dark = 0;
    for (int x = x0; x < x1; ++x) dark += qGray(img.pixel(x, y)) < 128;
    return dark;
  };
  // The darkest row near each wire, over a stretch between its ends.
  auto darkest = [&](int y0, int y1, int x0, int x1) {
    int best = 0;
    for (int y = y0; y <= y1; ++y) best = std::max(best, darkRun(y, x0, x1));
    return best;
  };
  EXPECT_EQ(darkest(60, 80, 150, 270), 120);           // solid
  EXPECT_LT(darkest(190, 210, 50, 370), 320 * 3 / 4);  // dotted
  EXPECT_GT(darkest(190, 210, 50, 370), 320 / 4);
  EXPECT_EQ(loose->FPen.Style, psSolid);  // the pen is given back after painting
  (void)linked;
}

TEST_F(LiveForkTest, ALiveDiagramSurvivesItsTextForm) {
  TForkScene s = Build(2);
  s.States[0]->SetStateShape(ssSquare);
  s.States[1]->SetOneShot(true);
  s.States[1]->FRunColors.RunONColor = 0x00FFFF;
  const QByteArray text = Diagram->SaveToBytes(true);
  EXPECT_TRUE(text.contains("object Fork: TLiveForkBlock")) << text.left(400).constData();
  EXPECT_TRUE(text.contains("StateShape = ssSquare"));

  EXPECT_FALSE(text.contains("Paths"));  // only when the diagram asks for them
  ASSERT_TRUE(s.Fork->Link());
  s.Fork->Paths()[1]->FDataStr = "second";
  Diagram->StreamForkPaths = true;
  const QByteArray withPaths = Diagram->SaveToBytes(true);
  EXPECT_TRUE(withPaths.contains("StartNode = 'Branch1'")) << withPaths.constData();

  TLiveDiagram copy(Owner.get());
  copy.LoadFromBytes(withPaths, true);
  auto* fork = dynamic_cast<TLiveForkBlock*>(copy.FindBlock(u"Fork"));
  ASSERT_NE(fork, nullptr);
  ASSERT_EQ(fork->Paths().Count(), 2);
  EXPECT_EQ(fork->Paths()[1]->FStartNode, copy.FindBlock(u"Branch1"));
  EXPECT_EQ(fork->Paths()[1]->FDataStr, "second");
  ASSERT_EQ(copy.BlockCount(), Diagram->BlockCount());
  auto* b0 = dynamic_cast<TLiveStateBlock*>(copy.FindBlock(u"Branch0"));
  auto* b1 = dynamic_cast<TLiveStateBlock*>(copy.FindBlock(u"Branch1"));
  ASSERT_TRUE(b0 && b1);
  EXPECT_EQ(b0->StateShape(), ssSquare);
  EXPECT_EQ(b0->Shape(), bsRectangle);
  EXPECT_TRUE(b1->OneShot());
  EXPECT_EQ(b1->FRunColors.RunONColor, 0x00FFFF);
  // The wires come back as transitions between the same blocks; they open by handler.
  for (int i = 0; i < copy.LinkCount(); ++i)
    if (auto* w = dynamic_cast<ILiveWire*>(copy.GetLinks(i)))
      w->OnTransition = [](TCustomDiagramLine*, TCustomLiveBlock*) { return true; };
  ASSERT_TRUE(copy.Run());
  QDeadlineTimer limit(20000);
  while (copy.Running() && !limit.hasExpired())
    QCoreApplication::processEvents(QEventLoop::AllEvents, 5);
  EXPECT_EQ(copy.MainPath().FExitCode, ecEnded);
}

TEST_F(LiveTest, AStateMachineStepsThroughItsStatesInSingleStepMode) {
  auto* start = Add<TLiveStateStart>("Start", 40, 20);
  auto* idle = Add<TLiveStateBlock>("Idle", 20, 140);
  auto* measuring = Add<TLiveStateBlock>("Measuring", 260, 140);
  measuring->SetStateShape(ssSquare);
  auto* end = Add<TLiveStateEnd>("End", 280, 320);
  int ticks = 0;
  Count(idle, ticks);
  Wire(start, 4, idle, 0);
  Wire(idle, 2, measuring, 6, [&] { return ticks >= 2; });  // idle runs twice first
  Wire<TLiveArc>(measuring, 4, end, 0);
  for (TCustomLiveBlock* b : Diagram->LiveBlocks()) b->SetColor(0xF8E8D0);
  Diagram->SetSingleStep(true);
  std::vector<QString> visited;
  Diagram->OnNodeChange = [&](TLiveDiagram*, TCustomLiveBlock*, TCustomLiveBlock* next) {
    visited.push_back(next->Name());
  };
  ASSERT_TRUE(Diagram->Run());
  QDeadlineTimer limit(20000);
  size_t stepped = 0;
  while (visited.size() < 4 && !limit.hasExpired()) {
    QCoreApplication::processEvents(QEventLoop::AllEvents, 5);
    if (visited.size() > stepped && visited.size() < 4) {  // one step for each step seen
      stepped = visited.size();
      Diagram->Step();
    }
  }
  EXPECT_EQ(visited, (std::vector<QString>{"Start", "Idle", "Idle", "Measuring"}));
  EXPECT_EQ(measuring->ControlState(), 1);
  EXPECT_EQ(idle->ControlState(), 2);
  SaveForReview(Diagram->ExportAsBMP(esStandard), "live_state_machine.png");
  Diagram->SetSingleStep(false);
  Diagram->Step();
  ASSERT_TRUE(RunToEnd());
  EXPECT_EQ(Diagram->MainPath().FExitCode, ecEnded);
  EXPECT_EQ(visited.back(), "End");
}
