#include "UDgrLiveRun.h"

#include "LiveDiagram.h"

namespace {

QString Quoted(const TCustomLiveBlock* b) {
  return b ? QStringLiteral("\"%1\"").arg(b->Name()) : QStringLiteral("no block");
}

}  // namespace

TDgrLiveRun::TDgrLiveRun(QObject* owner) : QObject(owner) {
  setObjectName(QStringLiteral("DgrLiveRun"));
}

TDgrLiveRun::~TDgrLiveRun() {
  // The window may be going too: it hears nothing more from here.
  OnChange = nullptr;
  Detach();
}

void TDgrLiveRun::SetDiagram(TKvDiagram* diagram) {
  auto* live = dynamic_cast<TLiveDiagram*>(diagram);
  if (live == FDiagram) return;
  Detach();
  FDiagram = live;
  Attach();
}

void TDgrLiveRun::Attach() {
  if (!FDiagram) return;
  FDiagram->OnNodeChange = [this](TLiveDiagram*, TCustomLiveBlock*, TCustomLiveBlock* next) {
    NodeChanged(next);
  };
  FDiagram->OnRunEnd = [this](TLiveDiagram*, const TExecutionPath& path) { RunEnded(path); };
}

void TDgrLiveRun::Detach() {
  if (!FDiagram) return;
  Stop();
  FDiagram->OnNodeChange = nullptr;
  FDiagram->OnRunEnd = nullptr;
  FDiagram = nullptr;
}

TLiveDiagram* TDgrLiveRun::Diagram() const {
  return FDiagram;
}

bool TDgrLiveRun::HasLiveBlocks() const {
  return FDiagram && !FDiagram->LiveBlocks().empty();
}

bool TDgrLiveRun::Running() const {
  return FDiagram && FDiagram->Running();
}

bool TDgrLiveRun::SingleStepping() const {
  return Running() && FDiagram->SingleStep();
}

bool TDgrLiveRun::CanRun() const {
  return HasLiveBlocks() && (!Running() || SingleStepping());
}

void TDgrLiveRun::Run() {
  if (!CanRun()) return;
  if (!Running()) return Start(false);
  FDiagram->SetSingleStep(false);
  FDiagram->Step();
  SetStatus(QStringLiteral("Running freely from step %1.").arg(FSteps));
}

void TDgrLiveRun::Step() {
  if (!CanStep()) return;
  if (Running())
    FDiagram->Step();
  else
    Start(true);
}

void TDgrLiveRun::Stop() {
  if (!Running()) return;
  FStopAsked = true;
  FDiagram->Stop();
}

void TDgrLiveRun::Start(bool singleStep) {
  FSteps = 0;
  FStopAsked = false;
  OpenUnhandledWires();
  FDiagram->StepPause = StepPause;
  FDiagram->SetSingleStep(singleStep);
  // A refused run leaves the scene as it was, selection included.
  if (!FDiagram->Run()) {
    const TCustomLiveBlock* unlinked = FDiagram->UnlinkedBlock();
    SetStatus(
        unlinked ? QStringLiteral("The diagram cannot run: %1 is not linked.").arg(Quoted(unlinked))
                 : QStringLiteral("The diagram cannot run: it has no start state."));
    return;
  }
  // The first step is only queued to this thread: the lock is in place before it is taken.
  Lock(true);
  SetStatus(QStringLiteral("Running."));
}

void TDgrLiveRun::OpenUnhandledWires() {
  for (int i = 0; i < FDiagram->LinkCount(); ++i)
    if (auto* wire = dynamic_cast<ILiveWire*>(FDiagram->GetLinks(i)); wire && !wire->OnTransition)
      wire->OnTransition = [](TCustomDiagramLine*, TCustomLiveBlock*) { return true; };
}

// While the paths are on their blocks, the scene keeps still: nothing is selected, inserted,
// moved or deleted, and the palette and the editing commands wait.
void TDgrLiveRun::Lock(bool on) {
  if (on) {
    FDesignMode = FDiagram->DesignMode;
    FShowLinkPoints = FDiagram->ShowLinkPoints;
    FDiagram->CancelInsertingBlock();
    FDiagram->UnselectAll();
    FDiagram->DesignMode = ddmNonEditable;
    FDiagram->ShowLinkPoints = false;  // nothing to connect to: the run colours stand alone
  } else {
    FDiagram->DesignMode = FDesignMode;
    FDiagram->ShowLinkPoints = FShowLinkPoints;
  }
  FDiagram->Redraw();
}

void TDgrLiveRun::NodeChanged(TCustomLiveBlock* next) {
  ++FSteps;
  SetStatus(FDiagram->SingleStep()
                ? QStringLiteral("Step %1: %2 (Step for the next).").arg(FSteps).arg(Quoted(next))
                : QStringLiteral("Step %1: %2.").arg(FSteps).arg(Quoted(next)));
}

void TDgrLiveRun::RunEnded(const TExecutionPath& path) {
  Lock(false);
  const int code = path.FExitCode;
  if (FStopAsked || code == ecNotFinished) {
    SetStatus(QStringLiteral("Run stopped after %1 steps.").arg(FSteps));
  } else if (code == ecEnded || code == ecAtJoin) {
    SetStatus(
        QStringLiteral("Run ended at %1 after %2 steps.").arg(Quoted(path.FLastNode)).arg(FSteps));
  } else if (code == ecParked) {
    SetStatus(QStringLiteral("Run parked at %1.").arg(Quoted(path.FLastNode)));
  } else {
    QString why = path.FRunErrorMsg;
    if (why.isEmpty())
      why = code == lsHandlerFailed ? QStringLiteral("a handler failed.")
                                    : QStringLiteral("error %1.").arg(code);
    SetStatus(QStringLiteral("Run failed at %1 (code %2): %3")
                  .arg(Quoted(path.FErrorNode ? path.FErrorNode : path.FLastNode))
                  .arg(code)
                  .arg(why));
  }
}

void TDgrLiveRun::SetStatus(const QString& text) {
  FStatus = text;
  if (OnChange) OnChange();
}
