// The scene model: mapping and rotation, block handles, anchors kept consistent through
// moves and frees, names, layers, selection rules, zoom range, groups, polygons, collapsed
// nodes and the registry. Pixels and routes are in the paint and line suites.
#include <gtest/gtest.h>

#include "DiagramTestSupport.h"

namespace {

void ExpectDot(const TDot& got, const TDot& want, double tol = 1e-9) {
  EXPECT_NEAR(got.X, want.X, tol);
  EXPECT_NEAR(got.Y, want.Y, tol);
}

bool Anchored(TLinkPoint* p, TLinkPoint* target) {
  const auto& list = target->Anchoreds();
  return p->AnchorLink() == target && std::count(list.begin(), list.end(), p) == 1;
}

}  // namespace

TEST(BlockDrawer, MapsOriginalOntoDestinationAndBack) {
  TBlockDrawer d;
  d.FRect = {10, 20, 210, 70};
  ExpectDot(d.PPX(50, 50), {110, 45});
  ExpectDot(d.UnPP({110, 45}), {50, 50});
  EXPECT_EQ(d.PX(25.1), 60);
  // A 0 by 0 source answers the destination's left and top.
  d.FOrRect = {5, 5, 5, 5};
  EXPECT_EQ(d.PXS(77), 10);
  EXPECT_EQ(d.PYS(77), 20);
}

TEST(BlockDrawer, RotatesClockwiseAboutTheCentreAndBack) {
  TBlockDrawer d;
  d.FRect = {0, 0, 100, 100};
  d.SetAngle(90);
  ExpectDot(d.RotX(100, 50), {50, 100});  // right middle goes to bottom middle
  ExpectDot(d.UnrotX({50, 100}), {100, 50});
  d.FRotationType = rtRotationCenter;
  d.FRotationCenter = {0, 0};
  ExpectDot(d.RotX(10, 0), {0, 10});
  d.PushState();
  d.SetAngle(0);
  d.FRect = {};
  d.PopState();
  EXPECT_EQ(d.Angle(), 90);
  EXPECT_EQ(d.FRect, (TSquare{0, 0, 100, 100}));
}

TEST(Geometry, CombinedTransparencies) {
  struct Row {
    int a, b, c;
  };
  for (Row r : {Row{50, 50, 75}, Row{0, 30, 30}, Row{100, 10, 100}, Row{20, 30, 44}})
    EXPECT_EQ(CombineTransparency(r.a, r.b), r.c) << r.a << "+" << r.b;
}

TEST_F(DiagramTest, BlockAngleIsKeptWithinAFullTurn) {
  auto* b = AddBlock(0, 0, 50, 50);
  struct Row {
    double set, want;
  };
  for (Row r : {Row{-90, 270}, Row{360, 0}, Row{725, 5}, Row{359.5, 359.5}}) {
    b->SetAngle(r.set);
    EXPECT_EQ(b->Angle(), r.want) << r.set;
  }
}

TEST_F(DiagramTest, HandleCursorsTurnWithTheBlock) {
  auto* b = AddBlock(0, 0, 100, 100);
  const Qt::CursorShape nwse = Qt::SizeFDiagCursor, ns = Qt::SizeVerCursor,
                        nesw = Qt::SizeBDiagCursor, we = Qt::SizeHorCursor;
  struct Row {
    double angle;
    Qt::CursorShape h1, h2, h4;
  };
  for (Row r : {Row{0, nwse, ns, we}, Row{45, ns, nesw, nwse}, Row{22.4, nwse, ns, we},
                Row{90, nesw, we, ns}, Row{180, nwse, ns, we}}) {
    b->SetAngle(r.angle);
    EXPECT_EQ(b->Handles().FindByData(1)->FCursor, r.h1) << r.angle;
    EXPECT_EQ(b->Handles().FindByData(2)->FCursor, r.h2) << r.angle;
    EXPECT_EQ(b->Handles().FindByData(4)->FCursor, r.h4) << r.angle;
  }
}

TEST_F(DiagramTest, HandlesAndLinkPointsStayInOriginalCoordinates) {
  auto* b = AddBlock(100, 100, 100, 50);
  TLinkPoint* lp = b->LinkPoints().Add(100, 50);
  ExpectDot(lp->DiagramPoint(), {200, 125});
  ExpectDot(b->HandlePoint(b->Handles().FindByData(5)), {200, 150});
  ExpectDot(b->HandlePoint(b->Handles().FindByData(9)), {190, 125});  // classic rotate handle
  b->SetAngle(90);
  ExpectDot(lp->DiagramPoint(), {150, 175});
  b->SetBounds(0, 0, 200, 200);
  ExpectDot(lp->DiagramPoint(), {100, 200});
  // The Visio rotate handle stands 24 screen pixels above the top middle before rotation.
  b->SetAngle(0);
  Diagram->HandlesStyle = hsVisio;
  b->UpdateBlockHandles();
  Diagram->SetZoom(200);
  ExpectDot(b->HandlePoint(b->Handles().RotateHandle()), {100, -12});
  ASSERT_NE(b->Handles().RotCenterHandle(), nullptr);
  ExpectDot(b->HandlePoint(b->Handles().RotCenterHandle()), {100, 100});
}

TEST_F(DiagramTest, ZeroSizedBlockKeepsItsPointsOnItsCorner) {
  auto* b = AddBlock(30, 40, 0, 0);
  TLinkPoint* lp = b->LinkPoints().Add(75, 25);
  ExpectDot(lp->DiagramPoint(), {30, 40});
  EXPECT_EQ(b->SurroundRect(), (TSquare{30, 40, 30, 40}));
  EXPECT_FALSE(Render().isNull());
}

TEST_F(DiagramTest, AnchorsFollowMovesAndComeLooseWhenTheTargetGoes) {
  auto* b1 = AddBlock(0, 0, 100, 100);
  auto* b2 = AddBlock(300, 0, 100, 100);
  TLinkPoint* p1 = b1->LinkPoints().Add(100, 50, aoRight);
  TLinkPoint* p2 = b2->LinkPoints().Add(0, 50, aoLeft);
  auto* line = AddLine({0, 0}, {10, 10});
  line->SourceLinkPoint()->AnchorTo(p1);
  line->TargetLinkPoint()->AnchorTo(p2);
  ASSERT_TRUE(Anchored(line->SourceLinkPoint(), p1));
  ASSERT_TRUE(Anchored(line->TargetLinkPoint(), p2));
  ExpectDot(line->Points().front(), {100, 50});
  ExpectDot(line->Points().back(), {300, 50});

  b1->SetTop(20);
  ExpectDot(line->Points().front(), {100, 70});
  b2->SetAngle(180);  // the point turns to the far side of the block
  ExpectDot(line->Points().back(), {400, 50});

  delete b1;
  EXPECT_EQ(line->SourceLinkPoint()->Anchor(), nullptr);
  EXPECT_EQ(line->SourceLinkPoint()->AnchorIndex(), -1);
  ExpectDot(line->Points().front(), {100, 70});  // keeps its last position
  EXPECT_TRUE(Anchored(line->TargetLinkPoint(), p2));

  delete line;
  EXPECT_TRUE(p2->Anchoreds().empty());
}

TEST_F(DiagramTest, RemovalHandlersStillMeetTheBlockOrLine) {
  QStringList seen;
  Diagram->OnRemoveDControl = [&](TKvDiagram*, TDiagramControl* c) {
    seen << QString("%1 %2").arg(c->IsBlock()).arg(c->SurroundRect().Right);
  };
  delete AddBlock(0, 0, 30, 10);
  delete AddLine({0, 0}, {40, 10});
  EXPECT_EQ(seen, (QStringList{"1 30", "0 40"}));
  EXPECT_EQ(Diagram->DControlCount(), 0);
}

TEST_F(DiagramTest, AnchorAndIndexMayBeSetInEitherOrder) {
  auto* b = AddBlock(0, 0, 100, 100);
  b->LinkPoints().Add(0, 0);
  TLinkPoint* second = b->LinkPoints().Add(100, 100);
  auto* line = AddLine({0, 0}, {10, 10});
  TLinkPoint* end = line->TargetLinkPoint();
  end->SetAnchorIndex(1);  // as a stream may do, before the anchor
  EXPECT_EQ(end->AnchorLink(), nullptr);
  end->SetAnchor(b);
  EXPECT_TRUE(Anchored(end, second));
  // An index out of range is no error: it falls back to -1.
  end->SetAnchorIndex(7);
  EXPECT_EQ(end->AnchorIndex(), -1);
  EXPECT_TRUE(second->Anchoreds().empty());
}

TEST_F(DiagramTest, AnchorsReadBeforeTheirTargetsResolveWhenLoaded) {
  Diagram->SetLoading(true);
  auto* line = AddLine({0, 0}, {10, 10});
  auto* b = AddBlock(100, 0, 100, 100);
  line->TargetLinkPoint()->SetAnchor(b);
  line->TargetLinkPoint()->SetAnchorIndex(1);  // the block has no points yet
  EXPECT_EQ(line->TargetLinkPoint()->AnchorIndex(), 1);
  b->LinkPoints().Add(0, 0);
  b->LinkPoints().Add(0, 50);
  Diagram->Loaded();
  EXPECT_TRUE(Anchored(line->TargetLinkPoint(), b->LinkPoints()[1]));
  ExpectDot(line->Points().back(), {100, 50});
  EXPECT_FALSE(line->Name().isEmpty());  // nameless controls are named after loading
}

TEST_F(DiagramTest, BothEndsOnOneBlockAndDeletedPointsShiftIndexes) {
  auto* b = AddBlock(0, 0, 100, 100);
  TLinkPoint* a = b->LinkPoints().Add(0, 50);
  b->LinkPoints().Add(50, 0);
  TLinkPoint* c = b->LinkPoints().Add(100, 50);
  auto* line = AddLine({0, 0}, {1, 1});
  line->SourceLinkPoint()->AnchorTo(a);
  line->TargetLinkPoint()->AnchorTo(c);
  EXPECT_TRUE(Anchored(line->SourceLinkPoint(), a));
  EXPECT_TRUE(Anchored(line->TargetLinkPoint(), c));
  b->LinkPoints().Delete(1);
  EXPECT_EQ(line->TargetLinkPoint()->AnchorIndex(), 1);
  EXPECT_TRUE(Anchored(line->TargetLinkPoint(), c));
  b->LinkPoints().Delete(0);
  EXPECT_EQ(line->SourceLinkPoint()->Anchor(), nullptr);
  EXPECT_TRUE(Anchored(line->TargetLinkPoint(), c));
}

TEST_F(DiagramTest, LineJoinFollowsThePointItSitsOn) {
  auto* b = AddBlock(0, 0, 100, 100);
  TLinkPoint* p = b->LinkPoints().Add(100, 100);
  auto* join = new TDiagramLineJoin(Owner.get());
  join->SetDiagram(Diagram);
  join->SetAnchor(b);
  join->SetAnchorIndex(0);
  EXPECT_EQ(join->BoundsRect(), (TSquare{90, 90, 110, 110}));
  b->MoveBy(5, 10);
  EXPECT_EQ(join->BoundsRect(), (TSquare{100, 95, 120, 115}));
  EXPECT_EQ(p->Anchoreds().size(), 1u);
}

TEST_F(DiagramTest, LinkEventsFireOnTheAnchorAndTheDiagram) {
  auto* b = AddBlock(0, 0, 100, 100);
  TLinkPoint* p = b->LinkPoints().Add(0, 0);
  auto* line = AddLine({0, 0}, {1, 1});
  int added = 0, removed = 0, diagramAdded = 0;
  b->FOnLinkAdded = [&](TDiagramControl*, TCustomDiagramLine* l, TLinkPoint* lp) {
    added += l == line && lp == p;
  };
  b->FOnLinkRemoved = [&](TDiagramControl*, TCustomDiagramLine*, TLinkPoint*) { ++removed; };
  Diagram->OnLinkAdded = [&](TKvDiagram*, TDiagramControl*, TCustomDiagramLine*, TLinkPoint*) {
    ++diagramAdded;
  };
  line->SourceLinkPoint()->AnchorTo(p);
  line->SourceLinkPoint()->AnchorTo(nullptr);
  EXPECT_EQ(std::make_tuple(added, removed, diagramAdded), std::make_tuple(1, 1, 1));
}

TEST_F(DiagramTest, NamelessControlsGetTheFirstFreeName) {
  auto* b1 = AddBlock(0, 0, 10, 10);
  auto* b2 = AddBlock(0, 0, 10, 10);
  (new QObject(Owner.get()))->setObjectName("DiagramBlock3");
  auto* b4 = AddBlock(0, 0, 10, 10);
  auto* t = AddBlock<TTextBlock>(0, 0, 10, 10);
  auto* line = AddLine({0, 0}, {1, 1});
  EXPECT_EQ(b1->Name(), "DiagramBlock1");
  EXPECT_EQ(b2->Name(), "DiagramBlock2");
  EXPECT_EQ(b4->Name(), "DiagramBlock4");
  EXPECT_EQ(t->Name(), "TextBlock1");
  EXPECT_EQ(line->Name(), "DiagramLine1");
  EXPECT_EQ(Diagram->FindCompName(b1, "poly"), "poly1");
  // While loading no names are made.
  Diagram->SetLoading(true);
  EXPECT_TRUE(AddBlock(0, 0, 1, 1)->Name().isEmpty());
}

TEST_F(DiagramTest, FindBlockComparesNamesWithoutCase) {
  auto* b = AddBlock(0, 0, 10, 10, "poly12");
  auto* line = AddLine({0, 0}, {1, 1});
  line->SetName("link");
  EXPECT_EQ(Diagram->FindBlock(u"POLY12"), b);
  EXPECT_EQ(Diagram->FindBlock(u"poly1"), nullptr);
  EXPECT_EQ(Diagram->FindBlock(u"link"), nullptr);  // lines are no blocks
  EXPECT_EQ(Diagram->FindDControl(u"LINK"), line);
  b->setObjectName("renamed");  // the name cache follows the object name
  EXPECT_EQ(Diagram->FindBlock(u"renamed"), b);
}

TEST_F(DiagramTest, ZoomIsClampedToItsRange) {
  struct Row {
    int set, want;
  };
  for (Row r : {Row{2000, 1000}, Row{0, 1}, Row{157, 157}, Row{-5, 1}, Row{100, 100}}) {
    Diagram->SetZoom(r.set);
    EXPECT_EQ(Diagram->Zoom(), r.want) << r.set;
  }
  EXPECT_EQ(Diagram->TopRuler.Zoom, 100);
}

TEST_F(DiagramTest, LayersDecideWhatShowsAndHiddenControlsLoseTheSelection) {
  auto* base = AddBlock(0, 0, 10, 10);
  auto* numbered = AddBlock(0, 0, 10, 10);
  auto* named = AddBlock(0, 0, 10, 10);
  numbered->SetLayer(3);
  TDiagramLayer* l1 = Diagram->Layers().Add();
  TDiagramLayer* l2 = Diagram->Layers().Add();
  EXPECT_EQ(l1->LayerName(), "Layer1");
  EXPECT_EQ(l2->LayerName(), "Layer2");
  EXPECT_EQ(Diagram->Layers().FindByName("LAYER2"), l2);
  EXPECT_EQ(Diagram->Layers().FindByName(""), nullptr);
  named->SetLayerName("layer1");
  EXPECT_EQ(named->LayerObj(), l1);

  Diagram->SelectAll();
  Diagram->SetActiveLayers(0);
  EXPECT_TRUE(base->IsVisibleNow());  // layer 0 is always active
  EXPECT_FALSE(numbered->IsVisibleNow());
  EXPECT_FALSE(numbered->Selected());
  numbered->SetSelected(true);
  EXPECT_FALSE(numbered->Selected());
  Diagram->ActivateLayer(3);
  EXPECT_TRUE(numbered->IsVisibleNow());

  l1->SetVisible(false);
  EXPECT_FALSE(named->IsVisibleNow());
  EXPECT_FALSE(named->Selected());
  Diagram->Layers().Delete(0);
  EXPECT_EQ(named->LayerObj(), nullptr);
  EXPECT_TRUE(named->IsVisibleNow());
}

TEST_F(DiagramTest, RestrictionsAnswerTheirQueries) {
  auto* b = AddBlock(0, 0, 10, 10);
  b->FRestrictions = {crNoMove, crNoSelect};
  Diagram->SelectAll();
  EXPECT_FALSE(b->Selected());
  EXPECT_FALSE(b->CanMove());
  EXPECT_TRUE(b->CanResize());
  TDiagramLayer* l = Diagram->Layers().Add();
  l->Editable = false;
  b->SetLayerObj(l);
  EXPECT_FALSE(b->CanResize());
  EXPECT_TRUE(b->CanClipboard());  // not bound to Editable
  Diagram->DesignMode = ddmNonEditable;
  EXPECT_FALSE(b->CanClipboard());
}

TEST_F(DiagramTest, SelectionEventsAndBatches) {
  auto* b = AddBlock(0, 0, 10, 10);
  QStringList log;
  Diagram->OnSelectionChanging = [&](TKvDiagram*) { log << "changing"; };
  Diagram->OnSelectionChanged = [&](TKvDiagram*) { log << "changed"; };
  Diagram->OnSelectDControl = [&](TKvDiagram*, TDiagramControl*) { log << "select"; };
  b->SetSelected(true);
  EXPECT_EQ(log, (QStringList{"changing", "select", "changed"}));
  EXPECT_EQ(Diagram->SelectedCount(), 1);
  b->SetVisible(false);
  EXPECT_EQ(Diagram->SelectedCount(), 0);

  Diagram->BeginUpdate();
  b->SetLeft(50);
  EXPECT_GT(Diagram->FRedrawRequestCount, 0);
  Diagram->EndUpdate();
  EXPECT_EQ(Diagram->FRedrawRequestCount, 0);
}

TEST_F(DiagramTest, GroupsMoveScaleAndSelectAsOne) {
  auto* a = AddBlock(0, 0, 50, 50);
  auto* b = AddBlock(100, 100, 50, 50);
  a->SetSelected(true);
  b->SetSelected(true);
  TGroupBlock* g = Diagram->GroupSelectedBlocks();
  ASSERT_NE(g, nullptr);
  EXPECT_EQ(g->BoundsRect(), (TSquare{0, 0, 150, 150}));
  EXPECT_EQ(a->GroupBlock(), g);
  Diagram->UnselectAll();
  a->SetSelected(true);  // a member selects its group
  EXPECT_TRUE(g->Selected());
  g->MoveBy(10, 20);
  EXPECT_EQ(b->BoundsRect(), (TSquare{120, 110, 170, 160}));
  g->SetBounds(20, 10, 300, 300);
  EXPECT_EQ(b->BoundsRect(), (TSquare{220, 210, 320, 310}));
  Diagram->UngroupSelectedBlocks();
  EXPECT_EQ(a->GroupBlock(), nullptr);
  EXPECT_EQ(Diagram->DControlCount(), 2);
}

TEST_F(DiagramTest, PolygonRectangleIsTheBoxOfItsPoints) {
  auto* p = new TPolygonBlock(Owner.get());
  p->SetDiagram(Diagram);
  EXPECT_EQ(p->BoundsRect(), (TSquare{0, 0, 0, 0}));
  for (TDot d : {TDot{10, 10}, TDot{30, 10}, TDot{20, 40}}) p->AddPoint(d.X, d.Y);
  EXPECT_EQ(p->BoundsRect(), (TSquare{10, 10, 30, 40}));
  p->SetBounds(0, 0, 40, 60);  // points scale with the rectangle
  ExpectDot(p->Polygon()[2].P, {20, 60});
  EXPECT_EQ(p->FInsertStyle, isDraw);
  EXPECT_EQ(p->Alignment(), taCenter);
  EXPECT_EQ(p->VertAlign(), vaCenter);
}

TEST_F(DiagramTest, CollapsingANodeHidesWhatHangsOnItButNotALoop) {
  auto* root = AddBlock(0, 0, 50, 50);
  auto* child = AddBlock(200, 0, 50, 50);
  TLinkPoint* node = root->LinkPoints().Add(100, 50);
  node->FCollapsable = true;
  TLinkPoint* in = child->LinkPoints().Add(0, 50);
  auto* line = AddLine({0, 0}, {1, 1});
  line->SourceLinkPoint()->AnchorTo(node);
  line->TargetLinkPoint()->AnchorTo(in);
  EXPECT_TRUE(node->IsNode());
  node->Collapse();
  EXPECT_FALSE(line->IsVisibleNow());
  EXPECT_FALSE(child->IsVisibleNow());
  EXPECT_TRUE(root->IsVisibleNow());
  node->Expand();
  EXPECT_TRUE(child->IsVisibleNow());

  // A second line back to another point of the root closes a loop: nothing collapses.
  TLinkPoint* back = root->LinkPoints().Add(0, 50);
  auto* loop = AddLine({0, 0}, {1, 1});
  loop->SourceLinkPoint()->AnchorTo(child->LinkPoints().Add(100, 50));
  loop->TargetLinkPoint()->AnchorTo(back);
  node->Collapse();
  EXPECT_TRUE(child->IsVisibleNow());
}

TEST(Registry, StartUpRegistrationsAndReplacement) {
  TRegDControls& reg = RegDControls();
  struct Row {
    const char* id;
    const char* caption;
    const char* category;
  };
  for (Row r : {Row{"TDiagramBlock", "TDiagramBlock", ""}, Row{"TTextBlock", "Text", ""},
                Row{"TDiagramSideLine", "Side line", "Lines"}, Row{"TPolygonBlock", "Polygon", ""},
                Row{"TDiagramBezier", "Bezier", "Lines"}}) {
    const TRegDControl* row = reg.FindByID(r.id);
    ASSERT_NE(row, nullptr) << r.id;
    EXPECT_EQ(row->FCaption, r.caption);
    EXPECT_EQ(row->FCategory, r.category);
  }
  int before = reg.Count();
  reg.Register("TTextBlock", KvFindClass("TTextBlock"), "Label", "");
  reg.Register("TTextBlock", KvFindClass("TTextBlock"), "label", "Caption");
  EXPECT_EQ(reg.Count(), before + 1);
  EXPECT_EQ(reg.FindByID("LABEL")->FCaption, "Caption");
  QWidget owner;
  TKvDiagram d(&owner);
  ASSERT_TRUE(KvFindClass("TGroupBlock"));  // known once a diagram exists
  std::unique_ptr<TDiagramControl> made(KvFindClass("TDiagramArc")(nullptr));
  EXPECT_EQ(made->ClassName(), "TDiagramArc");
}
