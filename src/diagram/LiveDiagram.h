#pragma once
// The diagram that runs live blocks: the list of running path threads, the single-step event,
// node-change and step hooks, and Run / Step / Stop. Every step of every path runs on the
// window thread; the threads only pace the steps.
#include <QThread>
#include <atomic>
#include <condition_variable>
#include <mutex>

#include "LiveBlocks.h"

// Walks one path: each step synchronised on the window thread, then a wait. Owns no block and
// is deleted by the diagram after its completion handler ran.
class TForkThread : public QThread {
 public:
  TForkThread(TLiveDiagram* diagram, TExecutionPath* path,
              std::function<void(TForkThread*)> onDone);
  TExecutionPath* Path() const { return FPath; }
  void Terminate();
  bool Terminated() const { return FTerminated.load(); }

 protected:
  void run() override;

 private:
  // One step on the window thread; answers what the step took in milliseconds.
  void SynchronisedStep();
  void Step();
  void Finish(int32_t exitCode);
  TLiveDiagram* FDiagram;
  TExecutionPath* FPath;
  std::function<void(TForkThread*)> FOnDone;
  std::atomic<bool> FTerminated{false};
  // The hand-over of one step to the window thread.
  std::mutex FStepMutex;
  std::condition_variable FStepDone;
  bool FStepPending = false;
};

class TLiveDiagram : public TKvDiagram {
 public:
  explicit TLiveDiagram(QWidget* parent = nullptr, QObject* owner = nullptr);
  ~TLiveDiagram() override;
  QString ClassName() const override { return QStringLiteral("TLiveDiagram"); }

  // Links and prepares every live block and starts the main path at the start block; false
  // when a block does not link or there is no start block.
  bool Run();
  // Lets every path waiting in single-step mode take its next step.
  void Step();
  // Stops all paths and waits (serving their steps) until they are gone.
  void Stop();
  // Starts a parked run again where it stopped.
  bool Continue();
  bool Running() const { return !FRunThreads.empty(); }

  bool SingleStep() const { return FSingleStep.load(); }
  void SetSingleStep(bool on) { FSingleStep = on; }
  bool Waiting() const { return FWaiting.load(); }
  void SetWaiting(bool on) { FWaiting = on; }
  bool StreamForkPaths = false;
  // The least pause between two steps of a path in milliseconds, so that a person can follow
  // the run colours; a stop or a step cuts it short.
  std::atomic<int> StepPause{0};
  // The block whose Link refused the last Run; null when linking was not the reason.
  TCustomLiveBlock* UnlinkedBlock() const { return FUnlinked; }
  const std::vector<TForkThread*>& RunThreads() const { return FRunThreads; }
  // The main path of the last run: its exit code, error and node.
  const TExecutionPath& MainPath() const { return FMainPath; }

  // ---- hooks (window thread) ----
  virtual void DoNodeChange(TCustomLiveBlock* last, TCustomLiveBlock* next);
  virtual void DoBeforeStep(TCustomLiveBlock* block);
  virtual void DoAfterStep(TCustomLiveBlock* block);
  std::function<void(TLiveDiagram*, TCustomLiveBlock*, TCustomLiveBlock*)> OnNodeChange;
  std::function<void(TLiveDiagram*, TCustomLiveBlock*)> OnBeforeStep, OnAfterStep;
  std::function<void(TLiveDiagram*, const TExecutionPath&)> OnRunEnd;

  // ---- for the threads ----
  TForkThread* StartPath(TExecutionPath* path, std::function<void(TForkThread*)> onDone);
  // Called on the path threads: waits for the step event (single-step mode) or a stop. A
  // step given after seen (the count of steps given before the path's step began) is not lost.
  void WaitForStep(uint64_t seen, const std::atomic<bool>& terminated);
  uint64_t StepGeneration();
  // Waits until a path thread ends or a stop, when the last step was a fork waiting for its
  // branches; generation is the count of ended threads before that step.
  void WaitForBranch(uint64_t generation, const std::atomic<bool>& terminated);
  uint64_t BranchGeneration();
  // Called on the path threads: waits ms milliseconds, less when stopped or stepped.
  void PauseBetweenSteps(int ms, const std::atomic<bool>& terminated);
  void WakeThreads();
  std::vector<TCustomLiveBlock*> LiveBlocks() const;

 private:
  void ThreadEnded(TForkThread* thread);
  void MainPathDone(TForkThread* thread);
  void ResetStates();
  std::vector<TForkThread*> FRunThreads;
  std::atomic<bool> FWaiting{false};
  std::atomic<bool> FSingleStep{false};
  TExecutionPath FMainPath;
  TCustomLiveBlock* FUnlinked = nullptr;
  // The step event and the count of ended threads, with what guards them.
  std::mutex FEventMutex;
  std::condition_variable FEventChanged;
  uint64_t FStepGeneration = 0;
  uint64_t FBranchGeneration = 0;
};
