#include "UDmKvDiagramEditor.h"

#include <cmath>

#include "KvDiagram.h"
#include "KvDialogs.h"

TDmKvDiagramEditor* DmKvDiagramEditor = nullptr;

TDmKvDiagramEditor::TDmKvDiagramEditor(QObject* parent) : QObject(parent) {
  setObjectName("DmKvDiagramEditor");
  if (DmKvDiagramEditor) {
    MessageDlg("DmKvBasic: Module already loaded", TMsgDlgType::mtError, mbOK);
    return;
  }
  DmKvDiagramEditor = this;
}

TDmKvDiagramEditor::~TDmKvDiagramEditor() {
  if (DmKvDiagramEditor == this) DmKvDiagramEditor = nullptr;
}

void TDmKvDiagramEditor::ShapeCreate_RectN(const QString& Prefix, int StartIndex,
                                           const TSquare& Rect, double AngleStart, double AngleStep,
                                           double Radius, double StepX, double StepY, int Count,
                                           TColor Color) {
  if (!FDgrTarget) return;
  constexpr double DegToRad = 0.017453292519943295;
  double a = AngleStart;
  double b = AngleStart - 10.0;
  int n = StartIndex;
  TSquare row = Rect;
  for (int i = 0; i < Count; ++i) {
    const QString name = Prefix + QString::number(n);
    if (Radius == 0.0) {
      ShapeCreate_Rect(name, row, Color, a);
      row = {row.Left + StepX, row.Top + StepY, row.Right + StepX, row.Bottom + StepY};
    } else {
      const double lift = n % 5 == 0 ? 5.0 : 0.0;
      const double dx = Radius * std::cos(a * DegToRad) + n * StepX;
      const double dy = -Radius * std::sin(a * DegToRad) + n * StepY;
      ShapeCreate_Rect(
          name, {Rect.Left + dx, Rect.Top + dy - lift, Rect.Right + dx, Rect.Bottom + dy}, 0, b);
      b -= AngleStep;
    }
    a += AngleStep;
    ++n;
  }
}

TPolygonBlock* TDmKvDiagramEditor::ShapeCreate_Rect(const QString& Name, const TSquare& Rect,
                                                    TColor Color, double Angle) {
  if (!FDgrTarget) return nullptr;
  auto* block = new TPolygonBlock(FDgrTarget->Owner());
  block->SetDiagram(FDgrTarget);
  block->SetName(Name);
  block->FPen.Color = Color;
  block->FBrush.Color = Color;
  block->FSelBrush.Color = Color;
  block->SetColor(Color);
  block->SetSelColor(Color);
  block->FMinWidth = 2;
  block->FMinHeight = 2;
  block->SetRotationCenter({0.0, 50.0});
  block->SetAngle(Angle);
  for (TDot p : {Rect.TopLeft(), TDot{Rect.Right, Rect.Top}, Rect.BottomRight(),
                 TDot{Rect.Left, Rect.Bottom}, Rect.TopLeft()})
    block->AddPoint(p.X, p.Y);
  block->SetBoundsRect(Rect);
  block->SetVisible(true);
  return block;
}

void TDmKvDiagramEditor::SetBargraph(const TKvDgrBargraph& Descriptor, double Value) {
  if (Descriptor.iCount < 1 || !FDgrTarget) return;
  const double step = (Descriptor.dTo - Descriptor.dFrom) / Descriptor.iCount;
  double level = Descriptor.dFrom;
  // One repaint for the whole ring.
  FDgrTarget->BeginUpdate();
  for (int i = 0; i < Descriptor.iCount; ++i) {
    TCustomDiagramBlock* tick =
        FDgrTarget->FindBlock(Descriptor.nameBase + QString::number(Descriptor.iBase + i));
    if (!tick) break;
    tick->SetVisible(Value >= level);
    level += step;
  }
  FDgrTarget->EndUpdate();
}
