// The demo render: one scene with every block shape, a polygon, rotated text, every line
// style and arrow, crossing side lines with bumps, a group and both handle styles, at 100%
// and 157%. The PNGs go to $LVX_DIAGRAM_DEMO_DIR (default: a temporary folder) for review.
#include <gtest/gtest.h>

#include <QDir>
#include <QTemporaryDir>

#include "DiagramTestSupport.h"

namespace {

void BuildScene(TKvDiagram* d, QObject* owner) {
  d->ShowCrossIndicators = true;
  d->Font = TKvFont{"DejaVu Sans", 8};
  const TBlockShape shapes[] = {bsRectangle, bsEllipse,     bsRoundRect,
                                bsDiamond,   bsSquareRound, bsNoShape};
  const char* names[] = {"Rectangle", "Ellipse", "RoundRect", "Diamond", "SquareRound", "NoShape"};
  const TColor fills[] = {0xE0C0A0, 0xA0E0C0, 0xC0A0E0, 0xA0C0E0, 0xE0E0A0, clWhite};
  for (int i = 0; i < 6; ++i) {
    auto* b = new TDiagramBlock(owner);
    b->SetBounds(20 + i * 95, 20, 80, 50);
    b->SetShape(shapes[i]);
    b->SetColor(fills[i]);
    b->SetStrings(names[i]);
    b->SetVertAlign(vaCenter);
    b->SetDiagram(d);
    b->LinkPoints().Add(100, 50, aoRight);
    b->LinkPoints().Add(0, 50, aoLeft);
    b->LinkPoints().Add(50, 100, aoDown);
  }
  auto* shadowed = new TDiagramBlock(owner);
  shadowed->SetBounds(20, 100, 90, 60);
  shadowed->SetShape(bsRoundRect);
  shadowed->FShadow.Visible = true;
  shadowed->FShadow.HOffset = shadowed->FShadow.VOffset = 6;
  shadowed->FGradient.Visible = true;
  shadowed->FGradient.StartColor = 0xFFE0C0;
  shadowed->FGradient.EndColor = 0x804000;
  shadowed->SetStrings("Gradient, shadow");
  shadowed->SetDiagram(d);

  auto* rotated = new TTextBlock(owner);
  rotated->SetBounds(140, 100, 120, 40);
  rotated->SetStrings("Rotated text 30");
  rotated->SetShape(bsRectangle);
  rotated->SetAngle(30);
  rotated->SetDiagram(d);

  auto* poly = new TPolygonBlock(owner);
  poly->SetDiagram(d);
  for (TDot p : {TDot{300, 100}, TDot{360, 110}, TDot{340, 160}, TDot{310, 150}, TDot{290, 130}})
    poly->AddPoint(p.X, p.Y);
  poly->SetColor(0x40C0FF);
  poly->SetStrings("Polygon");

  // A tick ring like the instrument display's.
  for (int n = 0; n < 26; ++n) {
    double a = (140 - 4 * n) * 0.017453292519943295;
    double lift = n % 5 == 0 ? 5 : 0;
    auto* t = new TPolygonBlock(owner);
    t->SetName(QString("poly%1").arg(n));
    t->SetDiagram(d);
    t->FBrush = {clBlack, bsSolid};
    t->SetColor(clBlack);
    t->SetAngle(130 + 4 * n);
    TSquare r{480 + 80 * std::cos(a) + n, 230 - 80 * std::sin(a) - lift, 482 + 80 * std::cos(a) + n,
              250 - 80 * std::sin(a)};
    for (TDot p :
         {r.TopLeft(), TDot{r.Right, r.Top}, r.BottomRight(), TDot{r.Left, r.Bottom}, r.TopLeft()})
      t->AddPoint(p.X, p.Y);
  }

  // Every line style, with a different arrow pair each.
  const TArrowShape arrows[] = {asSolidArrow, asLineArrow, asDiamond,      asRectangle,
                                asEllipse,    asHalfLine,  asAngledDiamond};
  auto addLine = [&](TCustomDiagramLine* l, TDot a, TDot b, int k, const QString& text) {
    l->SetDiagram(d);
    l->SetEnds(a, b);
    l->SourceArrow().Shape = arrows[k % 7];
    l->TargetArrow().Shape = arrows[(k + 3) % 7];
    l->FPen.Color = 0x602000;
    if (!text.isEmpty()) l->TextCells()[0]->SetText(text);
  };
  addLine(new TDiagramLine(owner), {20, 200}, {140, 240}, 0, "line");
  auto* poly_line = new TDiagramPolyLine(owner);
  addLine(poly_line, {20, 260}, {140, 300}, 1, "");
  poly_line->AddRouteHandle({80, 320});
  auto* arc = new TDiagramArc(owner);
  addLine(arc, {160, 200}, {260, 260}, 2, "arc");
  auto* circ = new TDiagramArc(owner);
  addLine(circ, {160, 280}, {260, 330}, 4, "");
  circ->SetArcType(atCircular);
  addLine(new TDiagramBezier(owner), {280, 200}, {380, 300}, 5, "bezier");

  // Side lines between the shape blocks, crossing each other.
  auto link = [&](TDiagramControl* a, int pa, TDiagramControl* b, int pb, int k) {
    auto* s = new TDiagramSideLine(owner);
    s->SetDiagram(d);
    s->SourceLinkPoint()->AnchorTo(a->LinkPoints()[pa]);
    s->TargetLinkPoint()->AnchorTo(b->LinkPoints()[pb]);
    s->TargetArrow().Shape = arrows[k % 7];
  };
  link(d->GetBlocks(0), 2, d->GetBlocks(3), 2, 0);
  link(d->GetBlocks(1), 2, d->GetBlocks(2), 2, 1);
  auto* cross = new TDiagramSideLine(owner);
  cross->SetDiagram(d);
  cross->SetOrientation1(aoDown);
  cross->SetOrientation2(aoUp);
  cross->SetEnds({150, 75}, {330, 175});
  cross->TargetArrow().Shape = asSolidArrow;

  // A group of two, selected, and a selected single block for the handles.
  auto* g1 = new TDiagramBlock(owner);
  g1->SetBounds(420, 300, 50, 30);
  g1->SetShape(bsEllipse);
  g1->SetColor(0x80FF80);
  g1->SetDiagram(d);
  auto* g2 = new TDiagramBlock(owner);
  g2->SetBounds(490, 320, 60, 30);
  g2->SetShape(bsRectangle);
  g2->SetColor(0xFF8080);
  g2->SetDiagram(d);
  g1->SetSelected(true);
  g2->SetSelected(true);
  d->GroupSelectedBlocks();
  d->GetBlocks(3)->SetSelected(true);
  rotated->SetSelected(true);
}

QString DemoDir(QTemporaryDir& tmp) {
  QString dir = qEnvironmentVariable("LVX_DIAGRAM_DEMO_DIR");
  if (dir.isEmpty()) return tmp.path();
  QDir().mkpath(dir);
  return dir;
}

}  // namespace

TEST_F(DiagramTest, DemoSceneRendersAtBothZoomsAndHandleStyles) {
  BuildScene(Diagram, Owner.get());
  QTemporaryDir tmp;
  QString dir = DemoDir(tmp);
  struct Row {
    int zoom;
    TDiagramHandlesStyle style;
    const char* file;
  };
  const Row rows[] = {{100, hsClassic, "diagram_demo_100_classic.png"},
                      {100, hsVisio, "diagram_demo_100_visio.png"},
                      {157, hsClassic, "diagram_demo_157_classic.png"},
                      {157, hsVisio, "diagram_demo_157_visio.png"}};
  for (const Row& r : rows) {
    Diagram->SetZoom(r.zoom);
    Diagram->HandlesStyle = r.style;
    Diagram->resize(int(640 * r.zoom / 100.0) + 4, int(380 * r.zoom / 100.0) + 4);
    QImage img = Diagram->viewport()->grab().toImage();
    ASSERT_TRUE(img.save(dir + "/" + r.file)) << r.file;
    // The tick at the ring's top (poly12, about 92 degrees) lies where its block says.
    TCustomDiagramBlock* top = Diagram->FindBlock(u"poly12");
    ASSERT_NE(top, nullptr);
    TDot c = Diagram->ClientToCanvas(top->BoundsRect().Center());
    EXPECT_LT(qGray(img.pixel(int(c.X), int(c.Y))), 100) << r.file;
  }
  // Rulers, snap grid and page lines around the same scene.
  Diagram->SetZoom(100);
  Diagram->TopRuler.Visible = Diagram->LeftRuler.Visible = true;
  Diagram->SnapGrid.Visible = true;
  Diagram->SnapGrid.SizeX = Diagram->SnapGrid.SizeY = 16;
  Diagram->PageLines.Visible = true;
  Diagram->PageSettings.PaperWidth = 100;  // a small page, so its lines show
  Diagram->PageSettings.PaperHeight = 60;
  Diagram->resize(680, 420);
  QImage img = Diagram->viewport()->grab().toImage();
  ASSERT_TRUE(img.save(dir + "/diagram_demo_rulers.png"));
  int ticks = 0;
  for (int x = 16; x < img.width(); ++x) ticks += qGray(img.pixel(x, 15)) < 100;
  EXPECT_GT(ticks, 20);  // major and minor ticks along the top ruler
}
