#pragma once
// The designer's run of a live diagram: Run, Step and Stop, the lock on editing while paths are
// on their blocks, and the line of text that says where the run is or how it ended. The
// designer has no host logic behind the wires, so a wire nobody handles opens at once and a
// state leaves by its first wire.
#include <QObject>
#include <QPointer>
#include <functional>

#include "KvDiagramTypes.h"

class TKvDiagram;
class TLiveDiagram;
class TCustomLiveBlock;
class TExecutionPath;

class TDgrLiveRun : public QObject {
 public:
  explicit TDgrLiveRun(QObject* owner = nullptr);
  // Stops a run still going, so that no path thread outlives the designer.
  ~TDgrLiveRun() override;

  // Only a live diagram runs; any other leaves the commands disabled.
  void SetDiagram(TKvDiagram* diagram);
  TLiveDiagram* Diagram() const;

  bool HasLiveBlocks() const;
  bool Running() const;
  bool SingleStepping() const;
  // Run starts a free run, or lets a single-stepped run go on freely.
  bool CanRun() const;
  // Step starts a single-stepped run, or gives the running one its next step.
  bool CanStep() const { return CanRun(); }
  void Run();
  void Step();
  // Ends the run and waits until its threads are gone; the colours come back.
  void Stop();

  // What the status line shows: where the run is, or how it ended.
  QString StatusText() const { return FStatus; }
  int StepCount() const { return FSteps; }
  // The least time a step stays visible, in milliseconds.
  int StepPause = 400;
  // The run started, ended, or moved on; the window refreshes its commands and status.
  std::function<void()> OnChange;

 private:
  void Start(bool singleStep);
  void Attach();
  void Detach();
  void OpenUnhandledWires();
  void Lock(bool on);
  void NodeChanged(TCustomLiveBlock* next);
  void RunEnded(const TExecutionPath& path);
  void SetStatus(const QString& text);
  QPointer<TLiveDiagram> FDiagram;
  TDiagramDesignMode FDesignMode = ddmEditable;
  bool FShowLinkPoints = true;
  bool FStopAsked = false;
  int FSteps = 0;
  QString FStatus;
};
