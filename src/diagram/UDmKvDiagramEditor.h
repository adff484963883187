#pragma once
// The program's diagram editor module. It holds the diagram being edited, FDgrTarget (the
// instrument display's diagram, not owned), makes the display's bar graph on it (the ring of
// tick polygons and their lighting by level) and opens the designer on it: the designer edits
// a copy, and only its close writes the copy back, replacing the target's scene whole.
#include <QObject>
#include <QPointer>
#include <QString>
#include <cstdint>
#include <memory>

// Kept free of the diagram's headers, whose names would meet the table engine's in the
// program's start-up unit.
class TKvDiagram;
class TPolygonBlock;
class TDiagramEditor;
class TDgrLibraryManager;
class TDgrLibraryFolderFiler;
class TfmDiagramEditor;
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
  std::unique_ptr<TDgrLibraryFolderFiler> DgrLibraryFolderFiler1;
  std::unique_ptr<TDgrLibraryManager> DgrLibraryManager1;
  std::unique_ptr<TDiagramEditor> DiagramEditor1;

  // The libraries beside the executable, in the folder "Libraries"; installed, the user's
  // own copy of those the package brought.
  static QString DefaultLibraryFolder();
  // Shows the designer modally on a copy of ADiagram and brings the window that was active
  // back to the front afterwards.
  void EditorExecute(TKvDiagram* ADiagram);
  // The designer's diagram, written back into the target whole.
  void DiagramEditor1CloseDesigner(TfmDiagramEditor* form);
  // Loads the target into the designer and sets the designer's working configuration.
  void DiagramEditor1ShowDesigner(TfmDiagramEditor* form);

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
