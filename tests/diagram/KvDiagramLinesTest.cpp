// Line routes: the orthogonal side-line router with its cases, orientation of anchored
// ends, handles that follow moved ends, arcs and Bezier defaults, and line text cells.
#include <gtest/gtest.h>

#include "DiagramTestSupport.h"

namespace {

TDotArray Route(TDiagramSideLine* line) {
  return line->Points();
}

QString Str(const TDotArray& pts) {
  QString s;
  for (const TDot& p : pts) s += QString("(%1,%2)").arg(p.X).arg(p.Y);
  return s;
}

}  // namespace

class SideLineTest : public DiagramTest {
 protected:
  TDiagramSideLine* Side(TDot a, TAnchorOrientation oa, TDot b, TAnchorOrientation ob) {
    auto* l = new TDiagramSideLine(Owner.get());
    l->SetDiagram(Diagram);
    l->SetOrientation1(oa);
    l->SetOrientation2(ob);
    l->SetEnds(a, b);
    l->RebuildRoute();
    return l;
  }
};

TEST_F(SideLineTest, RoutesForTheBasicCases) {
  struct Row {
    const char* name;
    TDot a;
    TAnchorOrientation oa;
    TDot b;
    TAnchorOrientation ob;
    const char* want;
  };
  const Row rows[] = {
      // Equal Y, right to left: not facing, one straight segment.
      {"straight", {0, 0}, aoRight, {100, 0}, aoLeft, "(0,0)(100,0)"},
      // Facing with different Y: half of the free distance, then across.
      {"z-shape", {0, 0}, aoRight, {100, 50}, aoLeft, "(0,0)(45,0)(45,50)(100,50)"},
      // Pointing away from each other: first steps of 10 from both ends.
      {"away", {0, 0}, aoLeft, {100, 0}, aoRight, "(0,0)(-10,0)(-10,10)(110,10)(110,0)(100,0)"},
      // One corner when the ends cross at right angles.
      {"l-shape", {0, 0}, aoRight, {100, 80}, aoUp, "(0,0)(100,0)(100,80)"},
      // Free ends without orientation face each other along the larger distance.
      {"none", {0, 0}, aoNone, {30, 100}, aoNone, "(0,0)(0,45)(30,45)(30,100)"},
      // Target behind the source: around both ends, facing on the vertical axis.
      {"behind",
       {100, 0},
       aoRight,
       {0, 50},
       aoLeft,
       "(100,0)(110,0)(110,20)(-10,20)(-10,50)(0,50)"},
  };
  for (const Row& r : rows)
    EXPECT_EQ(Str(Route(Side(r.a, r.oa, r.b, r.ob))).toStdString(), r.want) << r.name;
}

TEST_F(SideLineTest, HandlesAreTheEndsAndTheMiddlesOfInnerSegments) {
  auto* l = Side({0, 0}, aoLeft, {100, 0}, aoRight);
  // Six points, five segments: inner segments 1 to 3 carry a handle each.
  ASSERT_EQ(l->Handles().Count(), 5);
  EXPECT_EQ(l->Handles()[0]->FData, 1);  // the first segment runs horizontally
  EXPECT_EQ(l->Handles()[2]->OrX, 50);
  EXPECT_EQ(l->Handles()[2]->OrY, 10);
  // The staircase through the handles gives the same route back.
  TDotArray before = l->Points();
  l->HandlesToPoints(l->Handles());
  EXPECT_EQ(Str(l->Points()), Str(before));
}

TEST_F(SideLineTest, ARouteKeepsItsShapeWhenRecomputedAndShortStepsGrowToTen) {
  auto* l = Side({0, 0}, aoRight, {100, 50}, aoLeft);
  l->Handles()[1]->OrX = 70;  // the user moved the middle run
  l->ResetLine();
  EXPECT_EQ(Str(l->Points()), "(0,0)(70,0)(70,50)(100,50)");
  l->Handles()[1]->OrX = 3;  // too short a first step
  l->ResetLine();
  EXPECT_EQ(Str(l->Points()), "(0,0)(10,0)(10,50)(100,50)");
}

TEST_F(SideLineTest, AnchoredEndsTakeThePointsOrientationTurnedWithTheBlock) {
  auto* b = AddBlock(0, 0, 100, 100);
  b->LinkPoints().Add(100, 50, aoRight);
  b->LinkPoints().Add(50, 50, aoHorz);
  auto* l = Side({0, 0}, aoNone, {300, 300}, aoUp);
  l->SourceLinkPoint()->AnchorTo(b->LinkPoints()[0]);
  struct Row {
    double angle;
    TAnchorOrientation want;
  };
  for (Row r : {Row{0, aoRight}, Row{90, aoDown}, Row{44, aoRight}, Row{45, aoDown},
                Row{180, aoLeft}, Row{270, aoUp}}) {
    b->SetAngle(r.angle);
    EXPECT_EQ(l->EndOrientation(0), r.want) << r.angle;
  }
  l->SourceLinkPoint()->AnchorTo(b->LinkPoints()[1]);
  EXPECT_EQ(l->EndOrientation(0), aoVert);  // still at 270
  b->SetAngle(0);
  EXPECT_EQ(l->EndOrientation(0), aoHorz);
}

TEST_F(DiagramTest, RouteHandlesFollowTheChordWhenAnEndMoves) {
  auto* line = AddLine({0, 0}, {100, 0});
  line->AddRouteHandle({50, 20});
  line->SetEnds({0, 0}, {0, 200});  // turned by 90 degrees and twice as long
  ASSERT_EQ(line->Points().size(), 3u);
  EXPECT_NEAR(line->Points()[1].X, -40, 1e-9);
  EXPECT_NEAR(line->Points()[1].Y, 100, 1e-9);
}

TEST_F(DiagramTest, ArcAndBezierDefaults) {
  auto* arc = new TDiagramArc(Owner.get());
  arc->SetDiagram(Diagram);
  ASSERT_EQ(arc->Handles().Count(), 3);
  // The mid handle stands a quarter of the chord off the chord's middle.
  TDot m{arc->Handles()[1]->OrX, arc->Handles()[1]->OrY};
  double chord = std::hypot(50.0, 50.0);
  EXPECT_NEAR(std::hypot(m.X - 75, m.Y - 75), chord / 4, 1e-9);
  EXPECT_GT(arc->Points().size(), 3u);
  arc->SetArcType(atCircular);
  EXPECT_EQ(arc->LineStyle(), lsCircularArc);
  // Every sample of the circular arc lies on one circle through the three handles.
  TDot a = arc->Points().front(), z = arc->Points().back(),
       mid = arc->Points()[arc->Points().size() / 2];
  EXPECT_NEAR(std::hypot(mid.X - m.X, mid.Y - m.Y), 0, 1.0);
  EXPECT_EQ(a, (TDot{50, 50}));
  EXPECT_EQ(z, (TDot{100, 100}));
  // Three collinear handles draw straight.
  arc->Handles()[1]->OrX = arc->Handles()[1]->OrY = 76;
  arc->HandlesToPoints(arc->Handles());
  EXPECT_EQ(arc->Points().size(), 2u);

  auto* bez = new TDiagramBezier(Owner.get());
  bez->SetDiagram(Diagram);
  bez->SetEnds({0, 0}, {100, 0});
  ASSERT_EQ(bez->Handles().Count(), 4);
  EXPECT_NEAR(bez->Handles()[1]->OrX, 0, 1e-9);
  EXPECT_NEAR(std::abs(bez->Handles()[1]->OrY), 20, 1e-9);
  EXPECT_NEAR(bez->Handles()[2]->OrX, 100, 1e-9);
  EXPECT_NEAR(bez->Handles()[1]->OrY, -bez->Handles()[2]->OrY, 1e-9);
}

TEST_F(DiagramTest, LineTextCellsFollowTheMode) {
  auto* line = AddLine({0, 0}, {200, 0});
  ASSERT_EQ(line->TextCells().Count(), 1);  // tmSingle
  TTextCell* c = line->TextCells()[0];
  // A 20 by 20 box around the middle, 10 along the normal, grown to 300 by 100: centred
  // across, downwards for vaTop.
  EXPECT_EQ(c->Bounds(), (TSquare{-50, 0, 250, 100}));
  c->VertAlign = vaBottom;
  c->Alignment = taRightJustify;
  line->RecalcTextCells();
  EXPECT_EQ(c->Bounds(), (TSquare{-190, -80, 110, 20}));

  line->AddRouteHandle({200, 100});
  line->SetTextCellsMode(tmSegments);
  ASSERT_EQ(line->TextCells().Count(), 2);
  EXPECT_EQ(line->TextCells()[1]->VertAlign, vaCenter);
  EXPECT_EQ(line->TextCells()[1]->Width, 200);
  line->SetTextCellsMode(tmSpecific);
  EXPECT_EQ(line->TextCells().Count(), 5);
  EXPECT_EQ(line->TextCells()[1]->Width, 400);
}

namespace {
// An arrow that counts its drawings, made by a line through the arrow-class hook.
struct TCountingArrow : TLineArrow {
  using TLineArrow::TLineArrow;
  void Draw(TDgrCanvas& canvas, double scale) const override {
    ++Draws;
    TLineArrow::Draw(canvas, scale);
  }
  mutable int Draws = 0;
};
struct TCountingArrowLine : TDiagramLine {
  using TDiagramLine::TDiagramLine;
  std::unique_ptr<TLineArrow> ArrowClass() override {
    return std::make_unique<TCountingArrow>(this);
  }
};
}  // namespace

TEST_F(DiagramTest, LinesTakeTheirArrowsFromTheArrowClassHook) {
  auto* line = AddLine<TCountingArrowLine>({10, 10}, {200, 100});
  auto* target = dynamic_cast<TCountingArrow*>(&line->TargetArrow());
  ASSERT_NE(target, nullptr);
  ASSERT_NE(dynamic_cast<TCountingArrow*>(&line->SourceArrow()), nullptr);
  line->TargetArrow().Shape = asSolidArrow;
  Render();
  EXPECT_EQ(target->Draws, 1);
}
