#pragma once
// A diagram on an owner widget, and small helpers to build scenes and read pixels.
#include <QImage>
#include <QWidget>
#include <memory>

#include "KvDiagram.h"

class DiagramTest : public ::testing::Test {
 protected:
  void SetUp() override {
    Owner = std::make_unique<QWidget>();
    Diagram = new TKvDiagram(Owner.get());
    Diagram->resize(400, 300);
    Owner->show();
  }
  void TearDown() override { Owner.reset(); }

  template <typename T = TDiagramBlock>
  T* AddBlock(double l, double t, double w, double h, const QString& name = {}) {
    auto* b = new T(Owner.get());
    if (!name.isEmpty()) b->SetName(name);
    b->SetBounds(l, t, w, h);
    b->SetDiagram(Diagram);
    return b;
  }
  template <typename T = TDiagramLine>
  T* AddLine(TDot a, TDot b) {
    auto* l = new T(Owner.get());
    l->SetDiagram(Diagram);
    l->SetEnds(a, b);
    return l;
  }
  // A filled polygon tick like the instrument display's, rect given as left, top, right, bottom.
  TPolygonBlock* AddTick(const TSquare& r, double angle, const QString& name = {}) {
    auto* p = new TPolygonBlock(Owner.get());
    if (!name.isEmpty()) p->SetName(name);
    p->SetDiagram(Diagram);
    p->FPen.Color = clBlack;
    p->FBrush = {clBlack, bsSolid};
    p->SetColor(clBlack);
    p->FMinWidth = p->FMinHeight = 2;
    p->SetRotationCenter({0, 50});
    p->SetAngle(angle);
    for (TDot d :
         {r.TopLeft(), TDot{r.Right, r.Top}, r.BottomRight(), TDot{r.Left, r.Bottom}, r.TopLeft()})
      p->AddPoint(d.X, d.Y);
    p->SetBoundsRect(r);
    return p;
  }
  QImage Render() { return Diagram->ExportAsBMP(esStandard); }
  static bool Dark(const QImage& img, int x, int y) { return qGray(img.pixel(x, y)) < 100; }

  std::unique_ptr<QWidget> Owner;
  TKvDiagram* Diagram = nullptr;
};
