#pragma once
// The program's diagram editor module. It holds the diagram being edited, FDgrTarget (the
// instrument display's diagram, not owned), and makes the display's bar graph on it: the ring
// of tick polygons and their lighting by level. The designer window comes later; a host
// sets FDgrTarget before any of these operations, which do nothing without it.
#include <QObject>
#include <QPointer>
#include <QString>
#include <cstdint>

// Kept free of the diagram's headers, whose names would meet the table engine's in the
// program's start-up unit.
class TKvDiagram;
class TPolygonBlock;
struct TSquare;
using TColor = int32_t;

// Which blocks form a bar graph and the range they cover: tick i is the block named
// nameBase followed by iBase + i.
struct TKvDgrBargraph {
  QString nameBase;
  int iBase = 0;
  double dFrom = 0;
  double dTo = 0;
  int iCount = 0;
};

class TDmKvDiagramEditor : public QObject {
 public:
  // A second module shows the module message and stays out of the program-wide variable.
  explicit TDmKvDiagramEditor(QObject* parent = nullptr);
  ~TDmKvDiagramEditor() override;

  QPointer<TKvDiagram> FDgrTarget;

  // Count blocks named Prefix + N from StartIndex on. Radius 0: a row, each block moved by
  // StepX, StepY from the one before and turned by the position angle. Otherwise a ring of
  // radius Radius whose blocks drift N * StepX, StepY, every fifth standing 5 higher, in
  // colour 0 whatever Color says.
  void ShapeCreate_RectN(const QString& Prefix, int StartIndex, const TSquare& Rect,
                         double AngleStart, double AngleStep, double Radius, double StepX,
                         double StepY, int Count, TColor Color);
  // One filled rectangle polygon on the target; null without a target.
  TPolygonBlock* ShapeCreate_Rect(const QString& Name, const TSquare& Rect, TColor Color,
                                  double Angle);
  // Lights tick i when Value reaches dFrom + i * (dTo - dFrom) / iCount; a missing tick ends
  // the update.
  void SetBargraph(const TKvDgrBargraph& Descriptor, double Value);
};

// The program-wide module; nullptr while none exists.
extern TDmKvDiagramEditor* DmKvDiagramEditor;
