// The run of a live diagram: the path threads and the hand-over of each step to the window
// thread, the single-step event and the run's start, stop and end.
#include "LiveDiagram.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <algorithm>
#include <chrono>

// ---- TForkThread ----

TForkThread::TForkThread(TLiveDiagram* diagram, TExecutionPath* path,
                         std::function<void(TForkThread*)> onDone)
    : FDiagram(diagram), FPath(path), FOnDone(std::move(onDone)) {
  path->FExecuteThread = this;
}

void TForkThread::Terminate() {
  FTerminated = true;
  FDiagram->WakeThreads();
}

void TForkThread::run() {
  while (!FTerminated) {
    TExecutionPath& p = *FPath;
    const uint64_t generation = FDiagram->BranchGeneration();
    const uint64_t steps = FDiagram->StepGeneration();
    QElapsedTimer took;
    took.start();
    SynchronisedStep();
    if (FTerminated) break;
    // The path fields are written on the window thread under FStepMutex, read here after it.
    int32_t error;
    TWaitState wait;
    bool atWaitingFork;
    {
      std::lock_guard<std::mutex> lock(FStepMutex);
      error = p.FRunError;
      wait = p.FWaitState;
      atWaitingFork = error == 0 && wait != wsWaitAndSave && p.FNextNode == p.FLastNode &&
                      dynamic_cast<TLiveForkBlock*>(p.FNextNode);
    }
    if (atWaitingFork) {
      FDiagram->WaitForBranch(generation, FTerminated);
    } else if (wait == wsNoWait || wait == wsUndefined) {
      if (FDiagram->SingleStep())
        FDiagram->WaitForStep(steps, FTerminated);
      else
        FDiagram->PauseBetweenSteps(
            std::max(int(0.6 * double(took.elapsed())), FDiagram->StepPause.load()), FTerminated);
    }
    if (error == lsJoinReached) return Finish(ecAtJoin);
    if (error == lsEndReached) return Finish(ecEnded);
    if (error != 0) return Finish(error);
    if (wait == wsWaitAndSave) return Finish(ecParked);
  }
  int32_t code;
  {
    std::lock_guard<std::mutex> lock(FStepMutex);
    code = FPath->FExitCode;
  }
  Finish(code);
}

void TForkThread::Finish(int32_t exitCode) {
  {
    std::lock_guard<std::mutex> lock(FStepMutex);
    FPath->FExitCode = exitCode;
  }
  FTerminated = true;
  // The completion handler runs on the window thread, which then deletes the thread.
  QMetaObject::invokeMethod(
      FDiagram,
      [t = this] {
        { std::lock_guard<std::mutex> lock(t->FStepMutex); }  // what the thread wrote is seen
        t->FOnDone(t);
      },
      Qt::QueuedConnection);
}

void TForkThread::SynchronisedStep() {
  {
    std::lock_guard<std::mutex> lock(FStepMutex);
    FStepPending = true;
  }
  QMetaObject::invokeMethod(
      FDiagram,
      [this] {
        std::lock_guard<std::mutex> lock(FStepMutex);
        if (!FTerminated) Step();
        FStepPending = false;
        FStepDone.notify_all();
      },
      Qt::QueuedConnection);
  std::unique_lock<std::mutex> lock(FStepMutex);
  FStepDone.wait(lock, [this] { return !FStepPending; });
}

// On the window thread, under FStepMutex.
void TForkThread::Step() {
  TExecutionPath& p = *FPath;
  TCustomLiveBlock* node = p.FNextNode;
  if (p.FLastNode && p.FLastNode != node) p.FLastNode->SetControlState(2);
  if (!node) {
    p.FRunError = lsHandlerFailed;
    p.FRunErrorMsg.clear();
    p.FErrorNode = p.FLastNode;
    if (p.FErrorNode) p.FErrorNode->SetControlState(3);
    return;
  }
  node->SetControlState(1);
  FDiagram->DoNodeChange(p.FLastNode, node);
  FDiagram->DoBeforeStep(node);
  TExecuteNodeInfo info;
  info.Path = &p;
  node->ExecuteEx(info);
  FDiagram->DoAfterStep(node);
  p.FWaitState = info.WaitState;
  p.FRunError = info.Error;
  p.FRunErrorMsg = info.ErrorMsg;
  p.FLastNode = node;
  if (info.Error != 0 && info.Error != lsEndReached && info.Error != lsJoinReached) {
    p.FErrorNode = info.ErrorNode ? info.ErrorNode : p.FLastNode;
    p.FErrorNode->SetControlState(3);
  } else {
    p.FNextNode = info.NextNode;
  }
}

// ---- TLiveDiagram ----

TLiveDiagram::TLiveDiagram(QWidget* parent, QObject* owner) : TKvDiagram(parent, owner) {}

TLiveDiagram::~TLiveDiagram() {
  Stop();
}

std::vector<TCustomLiveBlock*> TLiveDiagram::LiveBlocks() const {
  std::vector<TCustomLiveBlock*> blocks;
  for (int i = 0; i < BlockCount(); ++i)
    if (auto* b = dynamic_cast<TCustomLiveBlock*>(GetBlocks(i))) blocks.push_back(b);
  return blocks;
}

bool TLiveDiagram::Run() {
  if (Running()) return false;
  const std::vector<TCustomLiveBlock*> blocks = LiveBlocks();
  FUnlinked = nullptr;
  for (TCustomLiveBlock* b : blocks)
    if (!b->Link()) {
      FUnlinked = b;
      return false;
    }
  auto start = std::find_if(blocks.begin(), blocks.end(),
                            [](const TCustomLiveBlock* b) { return b->IsStartBlock(); });
  if (start == blocks.end()) return false;
  ResetStates();
  for (TCustomLiveBlock* b : blocks) b->DoBeforeRun();
  FMainPath = TExecutionPath();
  FMainPath.FStartNode = FMainPath.FNextNode = *start;
  FMainPath.FFinished = false;
  FWaiting = false;
  StartPath(&FMainPath, [this](TForkThread* t) { MainPathDone(t); });
  return true;
}

bool TLiveDiagram::Continue() {
  if (Running() || FMainPath.FExitCode != ecParked || !FMainPath.FNextNode) return false;
  FMainPath.FExitCode = ecNotFinished;
  FMainPath.FFinished = false;
  StartPath(&FMainPath, [this](TForkThread* t) { MainPathDone(t); });
  return true;
}

TForkThread* TLiveDiagram::StartPath(TExecutionPath* path,
                                     std::function<void(TForkThread*)> onDone) {
  auto* t = new TForkThread(this, path, [this, done = std::move(onDone)](TForkThread* thread) {
    done(thread);
    ThreadEnded(thread);
  });
  FRunThreads.push_back(t);
  t->start();
  return t;
}

void TLiveDiagram::ThreadEnded(TForkThread* thread) {
  FRunThreads.erase(std::remove(FRunThreads.begin(), FRunThreads.end(), thread), FRunThreads.end());
  thread->wait();
  delete thread;
  {
    std::lock_guard<std::mutex> lock(FEventMutex);
    ++FBranchGeneration;
  }
  FEventChanged.notify_all();
  // The run is over when its main path and every branch have ended.
  if (FRunThreads.empty() && FMainPath.FFinished) {
    FWaiting = false;
    ResetStates();
    if (OnRunEnd) OnRunEnd(this, FMainPath);
  }
}

void TLiveDiagram::MainPathDone(TForkThread*) {
  FMainPath.FFinished = true;
  // Branches still running belong to a run that is over.
  for (TForkThread* t : std::vector<TForkThread*>(FRunThreads))
    if (t->Path() != &FMainPath) t->Terminate();
}

void TLiveDiagram::ResetStates() {
  for (TCustomLiveBlock* b : LiveBlocks()) b->SetControlState(0);
}

void TLiveDiagram::Step() {
  {
    std::lock_guard<std::mutex> lock(FEventMutex);
    ++FStepGeneration;
  }
  FEventChanged.notify_all();
}

void TLiveDiagram::WakeThreads() {
  { std::lock_guard<std::mutex> lock(FEventMutex); }
  FEventChanged.notify_all();
}

void TLiveDiagram::Stop() {
  for (TForkThread* t : std::vector<TForkThread*>(FRunThreads)) t->Terminate();
  // The threads may be handing a step over: serve the window thread's queue until they end.
  while (!FRunThreads.empty())
    QCoreApplication::processEvents(QEventLoop::AllEvents | QEventLoop::WaitForMoreEvents, 20);
}

uint64_t TLiveDiagram::StepGeneration() {
  std::lock_guard<std::mutex> lock(FEventMutex);
  return FStepGeneration;
}

void TLiveDiagram::WaitForStep(uint64_t seen, const std::atomic<bool>& terminated) {
  std::unique_lock<std::mutex> lock(FEventMutex);
  FEventChanged.wait(lock, [&] { return terminated.load() || FStepGeneration != seen; });
}

void TLiveDiagram::WaitForBranch(uint64_t generation, const std::atomic<bool>& terminated) {
  std::unique_lock<std::mutex> lock(FEventMutex);
  FEventChanged.wait(lock, [&] { return terminated.load() || FBranchGeneration != generation; });
}

void TLiveDiagram::PauseBetweenSteps(int ms, const std::atomic<bool>& terminated) {
  std::unique_lock<std::mutex> lock(FEventMutex);
  const uint64_t steps = FStepGeneration;
  FEventChanged.wait_for(lock, std::chrono::milliseconds(ms),
                         [&] { return terminated.load() || FStepGeneration != steps; });
}

uint64_t TLiveDiagram::BranchGeneration() {
  std::lock_guard<std::mutex> lock(FEventMutex);
  return FBranchGeneration;
}

void TLiveDiagram::DoNodeChange(TCustomLiveBlock* last, TCustomLiveBlock* next) {
  if (OnNodeChange) OnNodeChange(this, last, next);
}
void TLiveDiagram::DoBeforeStep(TCustomLiveBlock* block) {
  if (OnBeforeStep) OnBeforeStep(this, block);
}
void TLiveDiagram::DoAfterStep(TCustomLiveBlock* block) {
  if (OnAfterStep) OnAfterStep(this, block);
}
