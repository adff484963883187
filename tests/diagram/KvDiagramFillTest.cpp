// What fills a block's outline: gradients and pictures on polygons and on rotated blocks, on
// both back-end paths, and the link point marks that must stay on top of every control.
#include <gtest/gtest.h>

#include "DiagramTestSupport.h"

namespace {

bool IsRed(const QColor& c) {
  return c.red() > 200 && c.green() < 60 && c.blue() < 60;
}

class FillTest : public DiagramTest {
 protected:
  TPolygonBlock* Polygon(const TDotArray& pts) {
    auto* p = new TPolygonBlock(Owner.get());
    p->SetDiagram(Diagram);
    p->SetColor(clWhite);
    for (const TDot& d : pts) p->AddPoint(d.X, d.Y);
    return p;
  }
  static void BlackGradient(TCustomDiagramBlock* b) {
    b->SetTransparent(true);  // only the gradient fills
    b->FGradient.Visible = true;
    b->FGradient.StartColor = clBlack;
    b->FGradient.EndColor = clBlack;
  }
  static bool Black(const QImage& img, int x, int y) { return qGray(img.pixel(x, y)) < 40; }
  QImage Screen() {
    QImage img(Diagram->ClientSize(), QImage::Format_RGB32);
    QPainter p(&img);
    Diagram->PaintTo(p, img.rect());
    return img;
  }
};

}  // namespace

TEST_F(FillTest, PolygonTakesItsGradientInsideTheOutlineOnly) {
  auto* tri = Polygon({{50, 50}, {150, 50}, {50, 150}, {50, 50}});
  tri->FGradient.Visible = true;
  tri->FGradient.StartColor = clWhite;
  tri->FGradient.EndColor = clBlack;
  QImage img = Render();
  EXPECT_LT(qGray(img.pixel(55, 140)), 60);    // near the bottom of the outline
  EXPECT_GT(qGray(img.pixel(140, 140)), 230);  // inside the bounds, outside the outline
}

TEST_F(FillTest, PolygonPictureIsClippedToTheOutline) {
  QImage pic(10, 10, QImage::Format_RGB32);
  pic.fill(Qt::red);
  auto* tri = Polygon({{50, 50}, {150, 50}, {50, 150}, {50, 50}});
  tri->FBitmap = pic;
  for (TDgrGraphicLib lib : {dglGDIPlus, dglGDI}) {
    Diagram->SetGraphicLib(lib);
    QImage img = Render();
    EXPECT_TRUE(IsRed(img.pixelColor(60, 60))) << lib;
    EXPECT_FALSE(IsRed(img.pixelColor(140, 140))) << lib;
  }
}

TEST_F(FillTest, RotatedGradientCoversTheTurnedOutlineOnBothPaths) {
  auto* b = AddBlock(100, 100, 100, 100);
  b->SetShape(bsRectangle);
  BlackGradient(b);
  b->SetAngle(45);
  // The turned square's top corner reaches 150, 79; above the unturned top edge at 100.
  for (TDgrGraphicLib lib : {dglGDIPlus, dglGDI}) {
    Diagram->SetGraphicLib(lib);
    QImage img = Render();
    EXPECT_TRUE(Dark(img, 150, 90)) << lib;
    EXPECT_TRUE(Dark(img, 150, 150)) << lib;
    EXPECT_FALSE(Dark(img, 105, 105)) << lib;  // an unturned corner stays empty
  }
}

TEST_F(FillTest, LinkPointMarksStayAboveLaterControls) {
  auto* a = AddBlock(50, 50, 100, 100);
  a->FLinkPointStyle = ptRectangle;
  a->LinkPoints().Add(100, 50);  // the right edge, at 150, 100
  auto* cover = AddBlock(140, 80, 60, 40);
  cover->SetShape(bsRectangle);
  cover->SetColor(clYellow);
  QImage img = Screen();
  EXPECT_TRUE(Black(img, 150, 100));
  EXPECT_EQ(img.pixelColor(170, 100), QColor(Qt::yellow));

  // Marks of group members as well.
  Diagram->SelectAll();
  Diagram->GroupSelectedBlocks();
  Diagram->UnselectAll();
  EXPECT_TRUE(Black(Screen(), 150, 100));
}
