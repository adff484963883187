#pragma once
// The designer's commands: every action works on one diagram and its selection. Actions that
// change the scene leave an undo entry under their name; the document commands (new, open,
// save) keep the file name and the changed state that the designer window shows.
#include <QAction>
#include <QKeySequence>
#include <QObject>
#include <QPointer>
#include <functional>
#include <vector>

#include "KvDiagram.h"
#include "KvDialogs.h"

class TDgrLibraryManager;
class TDgrLiveRun;

// An action over a diagram. Update enables it from the diagram and its selection; Execute
// performs it and, when it has an undo name, pushes the scene under that name.
class TDiagramAction : public QAction {
 public:
  using TTest = std::function<bool(TKvDiagram&)>;
  using TPerform = std::function<void(TKvDiagram&)>;
  TDiagramAction(QObject* owner, const QString& name, const QString& caption,
                 const QKeySequence& shortcut = {}, QString undoName = {});
  void SetDiagram(TKvDiagram* diagram) { FDiagram = diagram; }
  TKvDiagram* Diagram() const { return FDiagram; }
  QString UndoName() const { return FUndoName; }
  // Without a test the action needs only a diagram.
  TTest OnTest;
  TPerform OnPerform;
  // Checkable actions read their state here.
  TTest OnChecked;
  // Leaves the action enabled while a live diagram runs; others wait for the run's end.
  bool WhileRunning = false;
  virtual void Update();
  virtual void Execute();

 protected:
  virtual void Perform(TKvDiagram& diagram) {
    if (OnPerform) OnPerform(diagram);
  }

 private:
  QPointer<TKvDiagram> FDiagram;
  QString FUndoName;
};

class TDiagramSetZoom : public TDiagramAction {
 public:
  TDiagramSetZoom(QObject* owner, const QString& name, int zoom);
  int Zoom;

 protected:
  void Perform(TKvDiagram& diagram) override { diagram.SetZoom(Zoom); }
};

enum TBlocksAlignment {
  baLeft,
  baRight,
  baTop,
  baBottom,
  baHorzCenter,
  baVertCenter,
  baSameWidth,
  baSameHeight,
  baSameSize,
  baSpaceEquallyHorz,
  baSpaceEquallyVert,
  baIncHorzSpace,
  baIncVertSpace,
  baDecHorzSpace,
  baDecVertSpace
};
inline constexpr int BlocksAlignmentCount = 15;
QString BlocksAlignmentCaption(TBlocksAlignment a);
// Aligns the selected blocks on the first one selected; spacing steps by the snap grid.
void KvAlignSelectedBlocks(TKvDiagram& diagram, TBlocksAlignment a);

class TDiagramAlign : public TDiagramAction {
 public:
  TDiagramAlign(QObject* owner, const QString& name, TBlocksAlignment alignment);
  TBlocksAlignment Alignment;

 protected:
  void Perform(TKvDiagram& diagram) override { KvAlignSelectedBlocks(diagram, Alignment); }
};

// The arrow at one end of the selected lines.
class TDiagramArrowShape : public TDiagramAction {
 public:
  TDiagramArrowShape(QObject* owner, const QString& name, const QString& caption, TArrowShape shape,
                     bool target);
  TArrowShape Shape;
  bool Target;

 protected:
  void Perform(TKvDiagram& diagram) override;
};

// Sets the line class that a drag from a link point draws.
class TDiagramConnectionId : public TDiagramAction {
 public:
  TDiagramConnectionId(QObject* owner, const QString& name, const QString& caption,
                       QString connectionId = QStringLiteral("TDiagramLine"));
  QString ConnectionId;

 protected:
  void Perform(TKvDiagram& diagram) override { diagram.ConnectionLineId = ConnectionId; }
};

class TDiagramInsertBlock : public TDiagramAction {
 public:
  TDiagramInsertBlock(QObject* owner, const QString& name, const QString& caption, QString id);
  QString DControlID;

 protected:
  void Perform(TKvDiagram& diagram) override { diagram.StartInsertingControl(DControlID); }
};

class TdmDgrEditorActions : public QObject {
 public:
  explicit TdmDgrEditorActions(QObject* owner);
  void SetDiagram(TKvDiagram* diagram);
  TKvDiagram* Diagram() const { return FDiagram; }
  TDgrLibraryManager* LibManager = nullptr;

  // The three lists: editing, view and format. Later commands join one of them through Add.
  std::vector<QAction*> EditActions, ViewActions, FormatActions;
  QAction* Action(const QString& name) const;
  QList<QAction*> AllActions() const;
  TDiagramAction* Add(std::vector<QAction*>& list, TDiagramAction* action);
  void UpdateActions();

  // Dialog settings of the diagram files and of pictures.
  TKvFileDialogRequest OpenDialog, SaveDialog, PictureDialog;

  // ---- the document ----
  QString FileName() const { return FFileName; }
  void SetFileName(const QString& name);
  bool Modified() const { return FModified; }
  void SetModified(bool modified);
  // Takes over saving (the host keeps the diagram itself).
  std::function<void(TKvDiagram*)> OnSaveDiagram;
  // The file name or the changed state moved.
  std::function<void()> OnDocumentChange;
  // Forms the designer offers; an empty handler leaves the action without effect.
  std::function<void()> OnEditProperties, OnGridProperties;
  bool NewDiagram();
  bool OpenDiagram();
  bool SaveDiagram();
  bool SaveDiagramAs();
  // False when the user keeps the designer open.
  bool CloseQuery();
  void CopyAsImage();
  // Run, Step and Stop of a live diagram.
  TDgrLiveRun* LiveRun() const { return FLiveRun; }

 private:
  TDiagramAction* Make(std::vector<QAction*>& list, const QString& name, const QString& caption,
                       TDiagramAction::TPerform perform, const QKeySequence& key = {},
                       const QString& undo = {});
  void CreateEditActions();
  void CreateViewActions();
  void CreateFormatActions();
  void CreateDocumentActions();
  void CreateRunActions();
  QPointer<TKvDiagram> FDiagram;
  QString FFileName;
  bool FModified = false;
  TDgrLiveRun* FLiveRun = nullptr;
};
