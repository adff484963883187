#include "UDmKvDiagramEditor.h"

#include <QApplication>
#include <QBuffer>
#include <QStandardPaths>
#include <cmath>

#include "DiagramLibrary.h"
#include "KvDiagram.h"
#include "KvDiagramLibraryFolder.h"
#include "KvDialogs.h"
#include "UFmDiagramEditor.h"

TDmKvDiagramEditor* DmKvDiagramEditor = nullptr;

TDmKvDiagramEditor::TDmKvDiagramEditor(QObject* parent) : QObject(parent) {
  setObjectName("DmKvDiagramEditor");
  DgrLibraryFolderFiler1 = std::make_unique<TDgrLibraryFolderFiler>();
  DgrLibraryFolderFiler1->DefaultExt = QStringLiteral(".dgo");
  DgrLibraryManager1 = std::make_unique<TDgrLibraryManager>();
  DgrLibraryManager1->Filer = DgrLibraryFolderFiler1.get();
  DgrLibraryManager1->AutoLoad = false;
  DiagramEditor1 = std::make_unique<TDiagramEditor>();
  DiagramEditor1->Title = QStringLiteral("Diagram Designer");
  DiagramEditor1->LibManager = DgrLibraryManager1.get();
  DiagramEditor1->OnCloseDesigner = [this](TfmDiagramEditor* f) { DiagramEditor1CloseDesigner(f); };
  DiagramEditor1->OnShowDesigner = [this](TfmDiagramEditor* f) { DiagramEditor1ShowDesigner(f); };
  // A missing folder simply lists no libraries.
  DgrLibraryFolderFiler1->SetBaseFolder(DefaultLibraryFolder());
  DgrLibraryManager1->LoadLibraries();
  // A second module says so and still works; only the first is the program-wide one.
  if (DmKvDiagramEditor) {
    MessageDlg("DmKvBasic: Module already loaded", TMsgDlgType::mtError, mbOK);
    return;
  }
  DmKvDiagramEditor = this;
}

QString TDmKvDiagramEditor::DefaultLibraryFolder() {
  return KvDiagram_LibraryFolder(
      QCoreApplication::applicationDirPath(),
      QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation) + "/lvxreader");
}

void TDmKvDiagramEditor::EditorExecute(TKvDiagram* ADiagram) {
  FDgrTarget = ADiagram;
  QPointer<QWidget> active = QApplication::activeWindow();
  DiagramEditor1->Execute(active);
  if (active) {
    active->raise();
    active->activateWindow();
  }
}

void TDmKvDiagramEditor::DiagramEditor1CloseDesigner(TfmDiagramEditor* form) {
  if (!FDgrTarget) return;
  QBuffer mem;
  mem.open(QIODevice::ReadWrite);
  form->Diagram()->SaveToStream(mem, true);
  mem.seek(0);
  FDgrTarget->LoadFromStream(mem, true);
  FDgrTarget->Redraw();
}

void TDmKvDiagramEditor::DiagramEditor1ShowDesigner(TfmDiagramEditor* form) {
  TKvDiagram* d = form->Diagram();
  if (FDgrTarget) {
    QBuffer mem;
    mem.open(QIODevice::ReadWrite);
    FDgrTarget->SaveToStream(mem, true);
    mem.seek(0);
    d->LoadFromStream(mem, true);
  }
  d->LeftRuler.Visible = false;
  d->TopRuler.Visible = false;
  d->SnapGrid.Style = gsRuler;
  d->SnapGrid.Pen.Color = 0xC0C0C0;
  d->SnapGrid.SnapToRuler = true;
  d->SnapGrid.Visible = false;
  d->MouseWheelMode = mwVertical;
  d->ShowCrossIndicators = false;
  d->Font.Name = QStringLiteral("Tahoma");
  d->FDragStyle = dsShape;
  d->HandlesStyle = hsVisio;
  d->ClearUndoStack();
  d->WheelZoom = true;
  d->AutoPage = false;
  d->PageLines.Visible = false;
  d->Redraw();
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
