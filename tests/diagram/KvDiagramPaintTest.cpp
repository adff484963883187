// Rendering and geometry on the canvas: mapping for the paint styles, hit tests at zoom,
// pixels of rotated ticks, text alignment, transparency, cross indicators, handles and
// the exports. Whole scenes are looked at in the demo render, not compared here.
#include <gtest/gtest.h>

#include <QBuffer>
#include <QScrollBar>
#include <QTemporaryDir>

#include "DiagramTestSupport.h"

namespace {

// Horizontal extent of dark pixels within rows y0..y1.
std::pair<int, int> DarkColumns(const QImage& img, int y0, int y1) {
  int lo = img.width(), hi = -1;
  for (int y = y0; y <= y1; ++y)
    for (int x = 0; x < img.width(); ++x)
      if (qGray(img.pixel(x, y)) < 128) {
        lo = std::min(lo, x);
        hi = std::max(hi, x);
      }
  return {lo, hi};
}

}  // namespace

TEST_F(DiagramTest, ClientAndCanvasMapForEachPaintStyle) {
  Diagram->SetZoom(200);
  Diagram->TopRuler.Visible = Diagram->LeftRuler.Visible = true;
  TDot c = Diagram->ClientToCanvas(TDot{10, 20});
  EXPECT_EQ(c, (TDot{36, 56}));  // zoomed, then the ruler sizes added
  EXPECT_EQ(Diagram->CanvasToClient(c), (TDot{10, 20}));
  EXPECT_EQ(Diagram->ClientToCanvas(QPoint(3, 4)), QPoint(22, 24));
  EXPECT_EQ(Diagram->ClientToCanvas(TSquare{0, 0, 10, 10}), (TSquare{16, 16, 36, 36}));
  EXPECT_EQ(Diagram->CanvasScale(), 2.0);

  // Preview and print: printer conversion, offset, adjust ratios, preview zoom.
  Diagram->FPrintConvX = 2;
  Diagram->FPrintConvY = 3;
  Diagram->FPreviewOffset = {5, 7};
  Diagram->FAdjustRatioX = 0.5;
  Diagram->FPreviewZoom = 2;
  struct Row {
    TPaintStyle style;
    TDot want;
  };
  for (Row r : {Row{psPreview, {25, 134}}, Row{psPrint, {25, 134}}, Row{psBitmap, {30, 54}}}) {
    Diagram->SetPaintStyle(r.style);
    EXPECT_EQ(Diagram->ClientToCanvas(TDot{10, 20}), r.want) << r.style;
    EXPECT_EQ(Diagram->CanvasToClient(r.want), (TDot{10, 20})) << r.style;
  }
  Diagram->SetPaintStyle(psScreen);
}

TEST_F(DiagramTest, HitTestsUseFiveCanvasPixelsAtAnyZoom) {
  AddLine({0, 100}, {300, 100});
  auto* b = AddBlock(150, 150, 50, 50);
  struct Row {
    int zoom;
    TDot pos;
    bool line, block;
  };
  const Row rows[] = {
      {100, {50, 104}, true, false},  {100, {50, 106}, false, false},
      {200, {50, 102}, true, false},  {200, {50, 103}, false, false},
      {200, {175, 175}, false, true}, {200, {201, 175}, false, false},
      {50, {50, 109}, true, false},   {50, {50, 111}, false, false},
  };
  for (const Row& r : rows) {
    Diagram->SetZoom(r.zoom);
    TDiagramControl* hit = Diagram->DControlAtPos(r.pos);
    EXPECT_EQ(hit != nullptr && hit->IsLine(), r.line) << r.zoom << " " << r.pos.Y;
    EXPECT_EQ(hit == b, r.block) << r.zoom << " " << r.pos.X;
  }
  Diagram->SetZoom(100);
  EXPECT_EQ(Diagram->DControlAtPos({175, 175}, csmIgnoreLines), b);
  b->SetAngle(45);  // the corner area of the box is no longer inside
  EXPECT_EQ(Diagram->DControlAtPos({152, 152}), nullptr);
  EXPECT_EQ(Diagram->DControlAtPos({175, 152}), b);
  Diagram->TopRuler.Visible = true;  // the ruler area hits nothing
  EXPECT_EQ(Diagram->DControlAtPos({50, -10}), nullptr);
}

TEST_F(DiagramTest, HandleAtPosToleranceFollowsTheZoomWhenAsked) {
  auto* b = AddBlock(50, 50, 100, 100);
  EXPECT_EQ(Diagram->HandleAtPos({50, 50}), nullptr);  // only selected controls
  b->SetSelected(true);
  Diagram->SetZoom(200);
  struct Row {
    double dx;
    bool ignoreZoom, hit;
  };
  for (Row r :
       {Row{2, true, true}, Row{3, true, false}, Row{5, false, true}, Row{6, false, false}}) {
    TStretchHandle* h = Diagram->HandleAtPos({50 + r.dx, 50}, r.ignoreZoom);
    EXPECT_EQ(h != nullptr, r.hit) << r.dx << " " << r.ignoreZoom;
    if (h) {
      EXPECT_EQ(h->FData, 1);
    }
  }
}

TEST_F(DiagramTest, LinkPointAtPosSkipsImplicitAndRefusingPoints) {
  auto* b = AddBlock(0, 0, 100, 100);
  TLinkPoint* p = b->LinkPoints().Add(100, 100);
  EXPECT_EQ(Diagram->LinkPointAtPos({103, 98}), p);
  EXPECT_EQ(Diagram->LinkPointAtPos({106, 100}), nullptr);
  EXPECT_EQ(Diagram->LinkPointAtPos({100, 100}, b), nullptr);
  p->FAcceptAnchoreds = false;
  EXPECT_EQ(Diagram->LinkPointAtPos({100, 100}, nullptr, false, false, true), nullptr);
  EXPECT_EQ(Diagram->LinkNodeAtPos({100, 100}), nullptr);
  b->FLinkPointStyle = ptImplicit;
  EXPECT_EQ(Diagram->LinkPointAtPos({100, 100}), nullptr);
}

TEST_F(DiagramTest, RotatedTickPixelsStandWhereTheGeometrySays) {
  struct Row {
    double angle;
    int zoom;
  };
  for (Row r : {Row{130, 100}, Row{90, 100}, Row{230, 157}}) {
    Diagram->ClearDControls();
    Diagram->SetZoom(r.zoom);
    TPolygonBlock* tick = AddTick({200, 100, 204, 140}, r.angle);
    QImage img = Render();
    TBlockDrawer d = tick->ClientDrawer();
    double z = r.zoom / 100.0;
    // Along the tick's axis, near both ends: dark. Where the unrotated tick would be: light.
    for (double along : {-15.0, 0.0, 15.0}) {
      TDot p = d.RotX(202, 120 + along);
      EXPECT_TRUE(Dark(img, int(p.X * z), int(p.Y * z))) << r.angle << " at " << along;
    }
    TDot off = d.RotX(202 + 12, 120);  // beside the axis
    EXPECT_FALSE(Dark(img, int(off.X * z), int(off.Y * z))) << r.angle;
    EXPECT_FALSE(Dark(img, int(202 * z), int(102 * z))) << r.angle;
  }
}

TEST_F(DiagramTest, TextCellAlignmentPlacesTheText) {
  auto* t = AddBlock<TTextBlock>(20, 20, 300, 40);
  TKvFont f{"DejaVu Sans", 14};
  t->SetFont(f);
  t->SetStrings("MMMM");
  t->SetWordWrap(false);
  std::map<TAlignment, std::pair<int, int>> cols;
  for (TAlignment a : {taLeftJustify, taRightJustify, taCenter}) {
    t->SetAlignment(a);
    cols[a] = DarkColumns(Render(), 20, 60);
  }
  int width = cols[taLeftJustify].second - cols[taLeftJustify].first;
  EXPECT_GT(width, 40);
  EXPECT_NEAR(cols[taLeftJustify].first, 21, 3);
  EXPECT_NEAR(cols[taRightJustify].second, 321, 3);
  EXPECT_NEAR((cols[taCenter].first + cols[taCenter].second) / 2.0, 171, 3);
  // Vertical placement: the text sits at the top, the bottom or the middle of the cell.
  t->SetAlignment(taLeftJustify);
  t->SetBounds(20, 20, 300, 200);
  auto rows = [&](TVertAlign v) {
    t->SetVertAlign(v);
    QImage img = Render().transformed(QTransform().rotate(90));  // rows become columns
    auto c = DarkColumns(img, 21, 80);
    return std::pair<int, int>(img.width() - 1 - c.second, img.width() - 1 - c.first);
  };
  auto top = rows(vaTop), bottom = rows(vaBottom), centre = rows(vaCenter);
  EXPECT_LT(top.first, 45);
  EXPECT_GT(bottom.second, 200);
  EXPECT_NEAR((centre.first + centre.second) / 2.0, 121, 6);
}

TEST(BackEnd, PathsTurnAboutTheControlCentreAndMakeRegions) {
  TGPBlockDrawer d;
  d.FAngle = 90;
  d.FRotCentre = {50, 50};
  auto path = d.CreatePath();
  path->AddRectangle({40, 0, 60, 100});  // a tall bar
  d.RotatePath(*path);
  auto region = path->CreateRegion();
  EXPECT_TRUE(region->IsVisible(5, 50));  // now a wide bar
  EXPECT_FALSE(region->IsVisible(50, 5));
  EXPECT_FALSE(region->IsEmpty());
  EXPECT_TRUE(d.CreatePath()->CreateRegion()->IsEmpty());
}

TEST(TextWrap, BreaksAtBlanksAndKeepsLongWordsWhole) {
  auto width = [](const QString& s) { return double(s.size()); };  // one unit a character
  struct Row {
    const char* text;
    double w;
    bool wrap;
    QStringList want;
  };
  const Row rows[] = {
      {"SENDING\r\n", 100, true, {"SENDING"}},
      {"a\r\nb", 100, false, {"a", "b"}},
      {"one two three", 8, true, {"one two ", "three"}},
      {"extraordinary word", 5, true, {"extraordinary ", "word"}},
      {"one two three", 8, false, {"one two three"}},
  };
  for (const Row& r : rows) EXPECT_EQ(KvWrapCellText(r.text, width, r.w, r.wrap), r.want) << r.text;
}

TEST_F(DiagramTest, TransparencyMixesFillWithTheBackground) {
  auto* b = AddBlock(10, 10, 50, 50);
  b->SetShape(bsRectangle);
  b->SetColor(clRed);
  QColor solid = Render().pixelColor(35, 35);
  b->SetTransparency(50);
  QColor half = Render().pixelColor(35, 35);
  EXPECT_EQ(solid.red(), 255);
  EXPECT_EQ(solid.green(), 0);
  EXPECT_NEAR(half.green(), 128, 2);
  EXPECT_EQ(half.red(), 255);
  // A visible shadow of 50 under a 50 block: the shadow alone shows at 75.
  b->SetTransparency(50);
  b->FShadow.Visible = true;
  b->FShadow.Transparency = 50;
  b->FShadow.HOffset = b->FShadow.VOffset = 10;
  QColor shadow = Render().pixelColor(65, 65);
  EXPECT_NEAR(shadow.red(), 255 - 0.25 * (255 - 128), 3);
}

TEST_F(DiagramTest, CrossingSideLinesShowABumpOnlyOnTheUpperOne) {
  Diagram->SetGraphicLib(dglGDI);  // crisp pixels
  Diagram->ShowCrossIndicators = true;
  auto side = [&](TDot a, TAnchorOrientation oa, TDot b, TAnchorOrientation ob) {
    auto* l = new TDiagramSideLine(Owner.get());
    l->SetDiagram(Diagram);
    l->SetOrientation1(oa);
    l->SetOrientation2(ob);
    l->SetEnds(a, b);
  };
  side({0, 50}, aoRight, {200, 50}, aoLeft);  // lower, horizontal
  side({100, 0}, aoDown, {100, 100}, aoUp);   // upper, vertical
  QImage img = Render();
  EXPECT_TRUE(Dark(img, 103, 51));   // the vertical line's bump to the right
  EXPECT_FALSE(Dark(img, 97, 49));   // no bump on the horizontal line
  EXPECT_FALSE(Dark(img, 100, 52));  // the vertical line leaves its axis there
  Diagram->ShowCrossIndicators = false;
  EXPECT_TRUE(Dark(Render(), 100, 52));
}

TEST_F(DiagramTest, HandlesAreDrawnInTheStyleOfTheDiagram) {
  auto* b = AddBlock(50, 50, 100, 100);
  b->SetSelected(true);
  auto grab = [&] {
    QImage img(Diagram->viewport()->size(), QImage::Format_RGB32);
    QPainter p(&img);
    Diagram->PaintTo(p, img.rect());
    return img;
  };
  QImage classic = grab();
  EXPECT_EQ(classic.pixelColor(50, 50), QColor(Qt::black));  // solid black size handle
  Diagram->HandlesStyle = hsVisio;
  QImage visio = grab();
  EXPECT_EQ(visio.pixelColor(50, 50), QColor(Qt::green));
  EXPECT_EQ(visio.pixelColor(100, 26), QColor(Qt::green));  // rotate handle 24 above
  b->FRestrictions = {crNoResize};
  EXPECT_EQ(grab().pixelColor(50, 50), QColor(0xC0, 0xC0, 0xC0));  // disabled
}

TEST_F(DiagramTest, ExportsPaintTheRequestedArea) {
  AddBlock(100, 80, 50, 40)->SetShape(bsRectangle);
  Diagram->resize(300, 200);
  QImage standard = Diagram->ExportAsBMP(esStandard);
  QImage netto = Diagram->ExportAsBMP(esNetto);
  QImage centred = Diagram->ExportAsBMP(esCentered);
  EXPECT_EQ(netto.size(), QSize(56, 46));  // 3 all around the extent
  EXPECT_TRUE(Dark(netto, 3, 3));
  EXPECT_EQ(centred.size(), standard.size());
  int w = standard.width(), h = standard.height();
  auto cols = DarkColumns(centred, 0, h - 1);
  EXPECT_NEAR((cols.first + cols.second) / 2.0, w / 2.0, 1.5);
  EXPECT_EQ(Diagram->PaintStyle(), psScreen);

  QTemporaryDir dir;
  Diagram->ExportToFile(dir.filePath("a.bmp"));
  Diagram->ExportToFile(dir.filePath("a.wmf"), efAuto, esNetto);
  QImage back(dir.filePath("a.bmp"), "BMP");
  EXPECT_EQ(back.size(), standard.size());
  QFile svg(dir.filePath("a.wmf"));
  ASSERT_TRUE(svg.open(QIODevice::ReadOnly));
  EXPECT_TRUE(svg.readAll().contains("<svg"));
}

TEST_F(DiagramTest, ScrollRangesCoverTheZoomedExtent) {
  AddBlock(500, 400, 100, 100);
  Diagram->SetZoom(200);
  EXPECT_EQ(Diagram->HorzRange(), 1200);
  EXPECT_EQ(Diagram->VertRange(), 1000);
  EXPECT_EQ(Diagram->horizontalScrollBar()->maximum(), 1200 - Diagram->viewport()->width());
  Diagram->SetScrollPositions(100, 50);
  EXPECT_EQ(Diagram->ClientToCanvas(TDot{100, 100}), (TDot{100, 150}));
}
