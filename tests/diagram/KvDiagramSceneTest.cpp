// The scene at work: paint order, pictures, gradients, link point marks, arrows, text
// scaling, rotation, clipping and frames on rendered pixels; hit filters, the per-control
// operations that moving, resizing, inserting and drawing will call, deleting, subscribers
// and scroll bookkeeping.
#include <gtest/gtest.h>

#include "DiagramTestSupport.h"

namespace {

QColor At(const QImage& img, int x, int y) {
  return img.pixelColor(x, y);
}
bool IsRed(const QColor& c) {
  return c.red() > 200 && c.green() < 60 && c.blue() < 60;
}
bool IsBlue(const QColor& c) {
  return c.blue() > 200 && c.red() < 60 && c.green() < 60;
}

// Bounding box of dark pixels.
QRect DarkBox(const QImage& img) {
  QRect box;
  for (int y = 0; y < img.height(); ++y)
    for (int x = 0; x < img.width(); ++x)
      if (qGray(img.pixel(x, y)) < 128) box |= QRect(x, y, 1, 1);
  return box;
}

class SceneTest : public DiagramTest {
 protected:
  TDiagramBlock* Filled(double l, double t, double w, double h, TColor c) {
    auto* b = AddBlock(l, t, w, h);
    b->SetShape(bsRectangle);
    b->SetColor(c);
    return b;
  }
  QImage Screen() {
    QImage img(Diagram->ClientSize(), QImage::Format_RGB32);
    QPainter p(&img);
    Diagram->PaintTo(p, img.rect());
    return img;
  }
};

}  // namespace

TEST_F(SceneTest, ZOrderBackgroundControlsAndLinesFirst) {
  auto* red = Filled(50, 50, 100, 100, clRed);
  auto* blue = Filled(100, 100, 100, 100, clBlue);
  EXPECT_TRUE(IsBlue(At(Render(), 125, 125)));
  Diagram->BringToFront(red);
  EXPECT_TRUE(IsRed(At(Render(), 125, 125)));
  EXPECT_EQ(Diagram->GetBlocks(1), red);  // the views keep z-order too
  Diagram->SendToBack(red);
  EXPECT_TRUE(IsBlue(At(Render(), 125, 125)));
  blue->FIsBackgroundControl = true;
  EXPECT_TRUE(IsRed(At(Render(), 125, 125)));

  AddLine({0, 75}, {300, 75});
  EXPECT_TRUE(Dark(Render(), 75, 75));
  Diagram->PaintLinesFirst = true;
  EXPECT_TRUE(IsRed(At(Render(), 75, 75)));
}

TEST_F(SceneTest, PictureModesStretchCentreAndTile) {
  QImage pic(20, 20, QImage::Format_RGB32);
  pic.fill(Qt::blue);
  for (int y = 0; y < 20; ++y)
    for (int x = 0; x < 10; ++x) pic.setPixelColor(x, y, Qt::red);
  auto* b = AddBlock(50, 50, 100, 100);
  b->FBitmap = pic;
  struct Row {
    TBitmapMode mode;
    int x, y;
    bool red, blue;
  };
  const Row rows[] = {
      {bmStretch, 65, 60, true, false}, {bmStretch, 125, 60, false, true},
      {bmTile, 65, 60, false, true},    {bmTile, 75, 60, true, false},
      {bmCenter, 95, 100, true, false}, {bmCenter, 105, 100, false, true},
      {bmCenter, 60, 60, false, false},
  };
  for (const Row& r : rows) {
    b->FBitmapMode = r.mode;
    QColor c = At(Render(), r.x, r.y);
    EXPECT_EQ(IsRed(c), r.red) << r.mode << " " << r.x;
    EXPECT_EQ(IsBlue(c), r.blue) << r.mode << " " << r.x;
  }
}

TEST_F(SceneTest, GradientRunsFromStartToEndColour) {
  auto* b = Filled(50, 50, 100, 100, clWhite);
  b->FGradient.Visible = true;
  b->FGradient.StartColor = clWhite;
  b->FGradient.EndColor = clBlack;
  QImage img = Render();
  EXPECT_GT(qGray(img.pixel(100, 53)), 230);
  EXPECT_LT(qGray(img.pixel(100, 147)), 25);
  b->FGradient.Direction = grRightLeft;
  img = Render();
  EXPECT_LT(qGray(img.pixel(53, 100)), 25);
}

TEST_F(SceneTest, LinkPointMarksAndNodes) {
  auto* b = AddBlock(50, 50, 100, 100);
  b->FLinkPointStyle = ptRectangle;
  TLinkPoint* p = b->LinkPoints().Add(100, 50);
  EXPECT_TRUE(Dark(Screen(), 150, 100));  // black brush inside the little square
  Diagram->ShowLinkPoints = false;
  EXPECT_FALSE(Dark(Screen(), 150, 100));
  Diagram->ShowLinkPoints = true;
  p->FCollapsable = true;
  AddLine({150, 250}, {1, 1})->TargetLinkPoint()->AnchorTo(p);
  QImage img = Screen();
  EXPECT_EQ(At(img, 150, 98), QColor(Qt::white));  // a node: white box
  EXPECT_TRUE(Dark(img, 149, 100));                // with a minus stroke
  p->Collapse();
  EXPECT_TRUE(Dark(Screen(), 150, 98));  // and a plus when collapsed
}

TEST_F(SceneTest, ArrowsSitAtTheEndsThatHaveThem) {
  Diagram->SetGraphicLib(dglGDI);
  auto* line = AddLine({50, 100}, {250, 100});
  line->TargetArrow().Shape = asSolidArrow;
  QImage img = Render();
  EXPECT_TRUE(Dark(img, 245, 102));
  EXPECT_FALSE(Dark(img, 235, 104));
  EXPECT_FALSE(Dark(img, 55, 103));
  line->SetEnds({50, 100}, {50, 100});  // coinciding ends: no arrow
  EXPECT_FALSE(Dark(Render(), 46, 102));
}

TEST_F(SceneTest, TextScalesWithZoomTurnsWithTheCellAndClips) {
  auto* t = AddBlock<TTextBlock>(20, 20, 200, 60);
  t->SetFont({"DejaVu Sans", 12});
  t->SetStrings("MMMMMM");
  t->SetWordWrap(false);
  QRect at100 = DarkBox(Render());
  Diagram->SetZoom(200);
  QRect at200 = DarkBox(Render());
  EXPECT_NEAR(double(at200.width()) / at100.width(), 2.0, 0.15);
  Diagram->SetZoom(100);

  t->SetAngle(90);  // the cell follows the block's angle
  QRect turned = DarkBox(Render());
  EXPECT_GT(turned.height(), 2 * turned.width());

  t->SetAngle(0);
  t->SetStrings("MMMMMMMMMMMMMMMMMMMMMMMMMMMMMM");
  t->SetAlignment(taLeftJustify);
  EXPECT_GT(DarkBox(Render()).right(), 240);  // spills over the cell
  t->TextCells()[0]->Clip = true;
  EXPECT_LE(DarkBox(Render()).right(), 222);
}

TEST_F(SceneTest, CellFrameAroundCellOrText) {
  auto* t = AddBlock<TTextBlock>(20, 20, 200, 100);
  t->SetStrings("x");
  TTextCellFrame& f = t->TextCells()[0]->CellFrame;
  f.Visible = true;
  f.Transparent = false;
  f.Color = clRed;
  EXPECT_TRUE(IsRed(At(Render(), 30, 100)));
  f.AutoFrame = true;
  EXPECT_FALSE(IsRed(At(Render(), 30, 100)));
  EXPECT_TRUE(IsRed(At(Render(), 120, 20)));  // in the margin above the text
}

TEST_F(SceneTest, HitFiltersForGroupsAndMembers) {
  auto* a = Filled(0, 0, 50, 50, clRed);
  auto* b = Filled(100, 0, 50, 50, clBlue);
  a->SetSelected(true);
  b->SetSelected(true);
  TGroupBlock* g = Diagram->GroupSelectedBlocks();
  struct Row {
    TDiagramControlFilter filter;
    TDiagramControl* want;
  };
  for (Row r :
       {Row{cfAll, g}, Row{cfIgnoreGroups, a}, Row{cfIgnoreMembers, g}, Row{cfIgnoreAsMembers, g}})
    EXPECT_EQ(Diagram->DControlAtPos({25, 25}, csmAll, r.filter), r.want) << r.filter;
  EXPECT_EQ(Diagram->DControlAtPos({75, 25}), nullptr);  // between the members
  auto* ellipse = Filled(200, 200, 100, 100, clRed);
  ellipse->SetShape(bsEllipse);
  EXPECT_EQ(Diagram->DControlAtPos({205, 205}), nullptr);
  EXPECT_EQ(Diagram->DControlAtPos({250, 205}), ellipse);
}

TEST_F(SceneTest, HandleMovesResizeWithinMinimaAndRotateInSteps) {
  auto* b = AddBlock(0, 0, 100, 100);
  THandleMoveInfo info;
  info.AHandle = b->Handles().FindByData(5);
  info.Delta = {30, 10};
  b->UpdateMovingHandle(info);
  EXPECT_EQ(b->BoundsRect(), (TSquare{0, 0, 130, 110}));
  info.Delta = {-200, -200};
  b->UpdateMovingHandle(info);
  EXPECT_EQ(b->BoundsRect(), (TSquare{0, 0, 40, 40}));  // MinWidth, MinHeight

  b->SetBounds(0, 0, 100, 100);
  info.AHandle = b->Handles().RotateHandle();
  TDot from = b->HandlePoint(info.AHandle);
  struct Row {
    TDot to;
    double angle;
  };
  for (Row r : {Row{{50, 150}, 90}, Row{{50 + 100, 50 + 107.2}, 45}, Row{{0, 50}, 180}}) {
    b->SetAngle(0);
    info.Delta = r.to - from;
    b->UpdateMovingHandle(info);
    EXPECT_EQ(b->Angle(), r.angle);
  }
}

TEST_F(SceneTest, InsertingAndDrawingPlaceTheNewControl) {
  auto* b = new TDiagramBlock(Owner.get());
  TControlInsertInfo ins;
  ins.Action = iaInserted;
  ins.P1 = {10, 20};
  ins.P2 = {110, 70};
  b->UpdateInserting(ins);
  EXPECT_EQ(b->BoundsRect(), (TSquare{10, 20, 110, 70}));
  ins.Clicked = true;  // a click drops a default-sized block
  ins.P1 = {200, 200};
  b->UpdateInserting(ins);
  EXPECT_EQ(b->BoundsRect(), (TSquare{200, 200, 300, 250}));
  delete b;

  auto* p = new TPolygonBlock(Owner.get());
  TControlDrawInfo draw;
  draw.Action = daStart;
  draw.P1 = {0, 0};
  p->UpdateDrawing(draw);
  draw.Action = daStep;
  for (TDot d : {TDot{40, 0}, TDot{20, 30}}) {
    draw.P2 = d;
    p->UpdateDrawing(draw);
  }
  draw.Action = daInserted;
  p->UpdateDrawing(draw);
  EXPECT_EQ(p->Polygon().Count(), 3);
  EXPECT_EQ(p->BoundsRect(), (TSquare{0, 0, 40, 30}));
  delete p;
}

TEST_F(SceneTest, LineEndHandleAnchorsAndComesLoose) {
  auto* b = AddBlock(100, 100, 100, 100);
  TLinkPoint* target = b->LinkPoints().Add(0, 0);
  auto* line = AddLine({0, 0}, {50, 50});
  THandleMoveInfo info;
  info.AHandle = line->Handles()[1];
  info.AnchorPoint = target;
  line->UpdateMovingHandle(info);
  EXPECT_EQ(line->TargetLinkPoint()->AnchorLink(), target);
  EXPECT_EQ(line->Points().back(), (TDot{100, 100}));
  info.AnchorPoint = nullptr;
  info.AHandle = line->Handles()[line->Handles().Count() - 1];
  info.Delta = {-30, 0};
  line->UpdateMovingHandle(info);
  EXPECT_EQ(line->TargetLinkPoint()->Anchor(), nullptr);
  EXPECT_EQ(line->Points().back(), (TDot{70, 100}));
  EXPECT_TRUE(target->Anchoreds().empty());
}

TEST_F(SceneTest, DeletingSelectedControlsTakesGroupMembersAndSparesTheProtected) {
  auto* a = AddBlock(0, 0, 10, 10);
  auto* b = AddBlock(20, 0, 10, 10);
  auto* keep = AddBlock(40, 0, 10, 10);
  keep->FRestrictions = {crNoDelete};
  a->SetSelected(true);
  b->SetSelected(true);
  Diagram->GroupSelectedBlocks();
  keep->SetSelected(true);
  Diagram->DeleteSelecteds();
  ASSERT_EQ(Diagram->DControlCount(), 1);
  EXPECT_EQ(Diagram->GetDControls(0), keep);
}

TEST_F(SceneTest, SubscribersHearSelectionChanges) {
  struct Recorder : IDiagramSubscriber {
    std::vector<TDiagramEventType> events;
    void DiagramNotification(TKvDiagram*, TDiagramEventType e, TDiagramControl*) override {
      events.push_back(e);
    }
  } rec;
  auto* b = AddBlock(0, 0, 10, 10);
  Diagram->AddSubscriber(&rec);
  Diagram->AddSubscriber(&rec);  // once only
  b->SetSelected(true);
  EXPECT_EQ(rec.events, (std::vector<TDiagramEventType>{etSelectionChanging, etControlSelected,
                                                        etSelectionChanged}));
  Diagram->RemoveSubscriber(&rec);
  b->SetSelected(false);
  EXPECT_EQ(rec.events.size(), 3u);
}

TEST_F(SceneTest, MovingBlocksLinksAndClearing) {
  auto* a = AddBlock(0, 0, 10, 10);
  auto* b = AddBlock(100, 0, 10, 10);
  b->FRestrictions = {crNoMove};
  a->LinkPoints().Add(100, 50);
  b->LinkPoints().Add(0, 50);
  auto* line = AddLine({0, 0}, {1, 1});
  line->SourceLinkPoint()->AnchorTo(a->LinkPoints()[0]);
  line->TargetLinkPoint()->AnchorTo(b->LinkPoints()[0]);
  EXPECT_EQ(Diagram->LinkBetweenBlocks(b, a), line);
  EXPECT_FALSE(Diagram->AreBlocksLinked(a, a));
  a->SetSelected(true);
  b->SetSelected(true);
  Diagram->MoveBlocks(10, 5, true, true);
  EXPECT_EQ(a->BoundsRect().TopLeft(), (TDot{10, 5}));
  EXPECT_EQ(b->BoundsRect().TopLeft(), (TDot{100, 0}));
  EXPECT_EQ(line->Points().front(), (TDot{20, 10}));

  Diagram->SetZoom(300);
  Diagram->SnapGrid.Visible = true;
  Diagram->Clear();
  EXPECT_EQ(Diagram->DControlCount(), 0);
  EXPECT_EQ(Diagram->Zoom(), 100);
  EXPECT_FALSE(Diagram->SnapGrid.Visible);
}

TEST_F(SceneTest, ScrollRangesPullControlsInWhenTheyMayNotLeaveTheBounds) {
  auto* b = AddBlock(-20, -10, 30, 30);
  Diagram->RecalcScrollRanges();
  EXPECT_EQ(b->Left(), -20);  // allowed by default
  Diagram->CanMoveOutOfBounds = false;
  Diagram->RecalcScrollRanges();
  EXPECT_EQ(b->BoundsRect().TopLeft(), (TDot{0, 0}));
  Diagram->AutoPage = true;
  Diagram->RecalcScrollRanges();
  EXPECT_EQ(Diagram->HorzRange(), int(std::ceil(Diagram->MilimetersToClient(210))));
}
