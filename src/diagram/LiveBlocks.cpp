// Live blocks: linking (wires, state lists, successors, the join check), execution of one step
// per block, run colours and the fork's step over its branch threads.
#include "LiveBlocks.h"

#include <algorithm>
#include <exception>

#include "KvPropTable.h"
#include "LiveDiagram.h"

const char* const KvLivePathsDivergedText =
    "Parallel execution paths ended at different points. They should end in the same join "
    "block.";

namespace {

TCustomLiveBlock* LiveAt(const TLinkPoint* end) {
  return dynamic_cast<TCustomLiveBlock*>(end->Anchor());
}

TCustomDiagramLine* LineOf(const TLinkPoint* anchored) {
  return dynamic_cast<TCustomDiagramLine*>(anchored->DControl());
}

QString ExceptionText(std::exception_ptr e) {
  try {
    std::rethrow_exception(e);
  } catch (const std::exception& x) {
    return QString::fromUtf8(x.what());
  } catch (...) {
    return QStringLiteral("Unknown exception");
  }
}

}  // namespace

// ---- wires ----

template <class TBase>
bool TLiveWireOf<TBase>::ConnectsLiveBlocks() const {
  return LiveAt(this->SourceLinkPoint()) && LiveAt(this->TargetLinkPoint());
}

template <class TBase>
void TLiveWireOf<TBase>::DrawLine(const TDiagramDrawInfo& info) {
  if (ConnectsLiveBlocks()) return TBase::DrawLine(info);
  const TPenStyle pen = this->FPen.Style, selPen = this->FSelPen.Style;
  this->FPen.Style = this->FSelPen.Style = psDot;
  TBase::DrawLine(info);
  this->FPen.Style = pen;
  this->FSelPen.Style = selPen;
}

template class TLiveWireOf<TDiagramLine>;
template class TLiveWireOf<TDiagramSideLine>;
template class TLiveWireOf<TDiagramArc>;
template class TLiveWireOf<TDiagramBezier>;

// ---- TCustomLiveBlock ----

TCustomLiveBlock::TCustomLiveBlock(QObject* owner) : TCustomDiagramBlock(owner) {
  FDrawer.FOrRect = {0, 0, 100, 100};
  SetBounds(0, 0, 100, 50);
  FShape = bsNoShape;
  SetAlignment(taCenter);
  SetVertAlign(vaCenter);
  TKvFont font;
  font.Name = QStringLiteral("Arial");
  SetFont(font);
  BuildLinkPoints();
}

void TCustomLiveBlock::BuildLinkPoints() {
  FLinkPoints.Clear();
  FLinkPoints.Add(50, 0, aoUp);
  FLinkPoints.Add(100, 50, aoRight);
  FLinkPoints.Add(50, 100, aoDown);
  FLinkPoints.Add(0, 50, aoLeft);
}

void TCustomLiveBlock::SetControlState(uint8_t state) {
  if (state == FControlState) return;
  if (FControlState == 0) {
    FStoreColor = FColor;
    FStoreGradient = FGradient.Visible;
    FGradient.Visible = false;
  } else if (state == 0) {
    FColor = FStoreColor;
    FGradient.Visible = FStoreGradient;
  }
  FControlState = state;
  Redraw();
}

void TCustomLiveBlock::ApplyRunColor() {
  switch (FControlState) {
    case 1:
      FColor = FRunColors.RunONColor;
      break;
    case 2:
      FColor = FRunColors.RunOFFColor;
      break;
    case 3:
      FColor = FRunColors.RunERRColor;
      break;
    default:
      break;
  }
}

void TCustomLiveBlock::Paint(const TDiagramDrawInfo& info) {
  if (FControlState != 0) ApplyRunColor();
  TCustomDiagramBlock::Paint(info);
}

bool TCustomLiveBlock::ValidateWire(TCustomDiagramLine* aLine, TCustomLiveBlock*& aBlock,
                                    int Direction) const {
  if (!dynamic_cast<ILiveWire*>(aLine)) return false;
  TCustomLiveBlock* source = LiveAt(aLine->SourceLinkPoint());
  TCustomLiveBlock* target = LiveAt(aLine->TargetLinkPoint());
  if (!source || !target) return false;
  if (Direction == 0) {
    if (target != this) return false;
    aBlock = source;
  } else {
    if (source != this) return false;
    aBlock = target;
  }
  return true;
}

void TCustomLiveBlock::BuildStateList() {
  FNextStates.Clear();
  FPreviousStates.Clear();
  for (int i = 0; i < FLinkPoints.Count(); ++i) {
    for (const TLinkPoint* anchored : FLinkPoints[i]->Anchoreds()) {
      TCustomDiagramLine* line = LineOf(anchored);
      if (!line) continue;
      TCustomLiveBlock* other = nullptr;
      const bool leaving = line->SourceLinkPoint()->Anchor() == this;
      if (!leaving && line->TargetLinkPoint()->Anchor() != this) continue;
      if (!ValidateWire(line, other, leaving ? 1 : 0)) return;
      if (other->FPassThrough) other = other->FindNext();
      (leaving ? FNextStates : FPreviousStates).Add(line, other);
    }
  }
}

TCustomLiveBlock* TCustomLiveBlock::NextThrough(TLinkPoint* point) {
  if (!point || point->Anchoreds().empty()) return nullptr;
  TCustomDiagramLine* line = LineOf(point->Anchoreds().front());
  TCustomLiveBlock* target = nullptr;
  if (!line || !ValidateWire(line, target, 1)) return nullptr;
  return target->FPassThrough ? target->FindNext() : target;
}

TCustomLiveBlock* TCustomLiveBlock::FindNext() {
  if (!FNext && FLinkPoints.Count() > 2) FNext = NextThrough(FLinkPoints[2]);
  return FNext;
}

void TCustomLiveBlock::DoExecuteEvent(int32_t& Error, TExecuteNodeInfo& Decision) {
  if (!FOnExecute) return;
  try {
    FOnExecute(this, Error, Decision);
  } catch (...) {
    Error = lsHandlerFailed;
    SetControlState(3);
  }
}

void TCustomLiveBlock::DoExecuteExEvent(TExecuteNodeInfo& ExecInfo) {
  if (!FOnExecuteEx) return;
  try {
    FOnExecuteEx(this, ExecInfo);
  } catch (...) {
    ExecInfo.Error = lsHandlerFailed;
    ExecInfo.ErrorMsg = ExceptionText(std::current_exception());
    SetControlState(3);
  }
}

TCustomLiveBlock* TCustomLiveBlock::Execute(int32_t& Error, TExecuteNodeInfo& Decision) {
  DoExecuteHook();
  DoExecuteEvent(Error, Decision);
  return FNext;
}

void TCustomLiveBlock::ExecuteEx(TExecuteNodeInfo& ExecInfo) {
  ExecInfo.Error = 0;
  ExecInfo.ErrorMsg.clear();
  ExecInfo.ErrorNode = nullptr;
  ExecInfo.Reserved = 0;
  ExecInfo.WaitState = wsUndefined;
  ExecInfo.NextNode = Execute(ExecInfo.Error, ExecInfo);
  ExecInfo.Reserved2 = 0;
  DoExecuteExEvent(ExecInfo);
}

bool TCustomLiveBlock::Link() {
  FNext = nullptr;
  FNext = FindNext();
  return FNext != nullptr;
}

// ---- connectors and joints ----

TLiveLineJoin::TLiveLineJoin(QObject* owner) : TCustomLiveBlock(owner) {
  FPassThrough = true;
  FShape = bsEllipse;
  FColor = clBlack;
  FMinWidth = FMinHeight = 6;
  SetBounds(0, 0, 10, 10);
}

TCustomLiveConnector::TCustomLiveConnector(QObject* owner) : TCustomLiveBlock(owner) {
  FPassThrough = true;
  FShape = bsEllipse;
  SetBounds(0, 0, 30, 30);
}

// ---- states ----

TCustomLiveState::TCustomLiveState(QObject* owner) : TCustomLiveBlock(owner) {
  BuildLinkPoints();
  SetBounds(0, 0, 100, 100);
  SetStateShape(ssCircle);
}

void TCustomLiveState::BuildLinkPoints() {
  FLinkPoints.Clear();
  FLinkPoints.Add(50, 0, aoUp);
  FLinkPoints.Add(85, 14, aoRight);
  FLinkPoints.Add(100, 50, aoRight);
  FLinkPoints.Add(85, 85, aoRight);
  FLinkPoints.Add(50, 100, aoDown);
  FLinkPoints.Add(14, 85, aoLeft);
  FLinkPoints.Add(0, 50, aoLeft);
  FLinkPoints.Add(14, 14, aoLeft);
}

void TCustomLiveState::SetStateShape(TStateShape s) {
  FStateShape = s;
  SetShape(s == ssCircle ? bsEllipse : bsRectangle);
}

TCustomLiveBlock* TCustomLiveState::Execute(int32_t& Error, TExecuteNodeInfo& Decision) {
  Error = 0;
  if (!(FTriggered && FOneShot)) {
    DoExecuteHook();
    DoExecuteEvent(Error, Decision);
    FTriggered = true;
  }
  TCustomLiveBlock* successor = this;
  for (int i = 0; i < FNextStates.Count(); ++i) {
    auto* wire = dynamic_cast<ILiveWire*>(FNextStates.GetLink(i));
    if (wire && wire->Transition(this)) {
      successor = FNextStates.GetBlock(i);
      break;
    }
  }
  if (!successor) Error = lsHandlerFailed;
  if (successor != this) FTriggered = false;
  return successor;
}

bool TCustomLiveState::Link() {
  BuildStateList();
  FTriggered = false;
  return FNextStates.Count() > 0 || FPreviousStates.Count() > 0;
}

namespace {
// The first link point with exactly one anchored item, and the block its wire leads to.
TCustomLiveBlock* FirstSingleExit(TCustomLiveBlock* block, TLinkPoints& points) {
  for (int i = 0; i < points.Count(); ++i) {
    if (points[i]->Anchoreds().size() != 1) continue;
    TCustomDiagramLine* line = LineOf(points[i]->Anchoreds().front());
    TCustomLiveBlock* target = nullptr;
    if (!line || !block->ValidateWire(line, target, 1)) return nullptr;
    return target->PassThrough() ? target->FindNext() : target;
  }
  return nullptr;
}
}  // namespace

TLiveStateStart::TLiveStateStart(QObject* owner) : TCustomLiveState(owner) {
  FIsStartBlock = true;
  SetBounds(0, 0, 60, 60);
  SetStrings(QStringLiteral("Start"));
}

TCustomLiveBlock* TLiveStateStart::FindNext() {
  if (!FNext) FNext = FirstSingleExit(this, FLinkPoints);
  return FNext;
}

TLiveStateError::TLiveStateError(QObject* owner) : TCustomLiveState(owner) {
  FIsErrorHandler = true;
  SetBounds(0, 0, 60, 60);
  SetStrings(QStringLiteral("Error"));
}

TCustomLiveBlock* TLiveStateError::FindNext() {
  if (!FNext) FNext = FirstSingleExit(this, FLinkPoints);
  return FNext;
}

TLiveStateEnd::TLiveStateEnd(QObject* owner) : TCustomLiveState(owner) {
  FIsEndBlock = true;
  FPen.Width = 3;
  SetBounds(0, 0, 60, 60);
  SetStrings(QStringLiteral("End"));
}

TCustomLiveBlock* TLiveStateEnd::Execute(int32_t& Error, TExecuteNodeInfo& Decision) {
  Error = 0;
  DoExecuteHook();
  DoExecuteEvent(Error, Decision);
  if (Error == 0) Error = lsEndReached;
  return this;
}

bool TLiveStateEnd::Link() {
  for (int i = 0; i < FLinkPoints.Count(); ++i)
    if (!FLinkPoints[i]->Anchoreds().empty()) return true;
  return false;
}

// ---- fork and join ----

TExecutionPath* TExecutionPaths::Add() {
  FItems.push_back(std::make_unique<TExecutionPath>());
  return FItems.back().get();
}

namespace {
// Draws polylines given in original coordinates with the canvas's current pen. Forks and joins
// are strokes with nothing to fill, so a path on them, or stopped by them, shows in the stroke;
// the pale colour of a block done would fade the stroke into the page and leaves the pen be.
void DrawOrLines(const TCustomLiveBlock& block, const TDiagramDrawInfo& info,
                 std::initializer_list<TDotArray> lines) {
  TDgrCanvas& c = *info.Canvas;
  const bool marked = block.ControlState() == 1 || block.ControlState() == 3;
  if (marked) {
    c.SaveDrawingState();
    c.Pen().Color = block.Color();
  }
  for (const TDotArray& line : lines) {
    TDotArray pts;
    for (const TDot& p : line) pts.push_back(info.Drawer->Rot(p.X, p.Y));
    c.Polyline(pts);
  }
  if (marked) c.RestoreDrawingState();
}
}  // namespace

TLiveForkBlock::TLiveForkBlock(QObject* owner) : TCustomLiveBlock(owner) {
  BuildLinkPoints();
  FPen.Width = 3;
  SetBounds(0, 0, 100, 60);
}

TLiveForkBlock::~TLiveForkBlock() {
  // Branch threads point at the paths: they end before the paths go.
  for (TForkThread* t : std::vector<TForkThread*>(FSubThreads)) t->Terminate();
  if (auto* d = dynamic_cast<TLiveDiagram*>(FDiagram); d && !FSubThreads.empty()) d->Stop();
}

void TLiveForkBlock::BuildLinkPoints() {
  FLinkPoints.Clear();
  FLinkPoints.Add(50, 0, aoUp);
  FLinkPoints.Add(0, 100, aoDown);
  FLinkPoints.Add(100, 100, aoDown);
}

void TLiveForkBlock::DrawShape(const TDiagramDrawInfo& info) {
  DrawOrLines(*this, info, {{{50, 0}, {50, 30}}, {{0, 80}, {50, 30}, {100, 80}}});
}

TLiveJoinBlock::TLiveJoinBlock(QObject* owner) : TCustomLiveBlock(owner) {
  BuildLinkPoints();
  FPen.Width = 3;
  SetBounds(0, 0, 100, 60);
}

void TLiveJoinBlock::BuildLinkPoints() {
  FLinkPoints.Clear();
  FLinkPoints.Add(0, 0, aoUp);
  FLinkPoints.Add(100, 0, aoUp);
  FLinkPoints.Add(50, 100, aoDown);
}

void TLiveJoinBlock::DrawShape(const TDiagramDrawInfo& info) {
  DrawOrLines(*this, info, {{{0, 20}, {50, 70}, {100, 20}}, {{50, 70}, {50, 100}}});
}

void TLiveJoinBlock::ExecuteEx(TExecuteNodeInfo& ExecInfo) {
  TCustomLiveBlock::ExecuteEx(ExecInfo);
  if (ExecInfo.Error == 0) ExecInfo.Error = lsJoinReached;
}

namespace {

struct TCheckedBlock {
  TCustomLiveBlock* Block;
  TLiveJoinBlock* Join;
  bool Checked;
};

// The walk of the join check over the scratch list.
class TJoinCheck {
 public:
  // The one join all successors of block lead to; null when one leads to none or another.
  TLiveJoinBlock* Walk(TCustomLiveBlock* block) {
    FChecked.push_back({block, nullptr, false});
    const size_t self = FChecked.size() - 1;
    block->BuildStateList();
    TLiveJoinBlock* join = nullptr;
    bool failed = false;
    const TStateList& next = block->NextStates();
    for (int i = 0; i < next.Count() && !failed; ++i) {
      TCustomLiveBlock* n = next.GetBlock(i);
      TLiveJoinBlock* found = nullptr;
      if (TCheckedBlock* rec = Find(n)) {
        if (!rec->Checked) continue;  // a loop: this branch is skipped
        found = rec->Join;
      } else if (auto* j = dynamic_cast<TLiveJoinBlock*>(n)) {
        found = j;
      } else if (dynamic_cast<TLiveForkBlock*>(n)) {
        // A nested fork closes first; the branch goes on after its join.
        TLiveJoinBlock* inner = Walk(n);
        found = inner ? Walk(inner) : nullptr;
      } else {
        found = Walk(n);
      }
      if (!found || (join && found != join)) failed = true;
      if (!join) join = found;
    }
    if (failed) join = nullptr;
    FChecked[self].Join = join;
    FChecked[self].Checked = true;
    return join;
  }

 private:
  TCheckedBlock* Find(TCustomLiveBlock* b) {
    for (TCheckedBlock& r : FChecked)
      if (r.Block == b) return &r;
    return nullptr;
  }
  std::vector<TCheckedBlock> FChecked;
};

}  // namespace

TLiveJoinBlock* KvLiveJoinOf(TLiveForkBlock* fork) {
  return TJoinCheck().Walk(fork);
}

bool TLiveForkBlock::Link() {
  BuildStateList();
  if (FPreviousStates.Count() < 1 || FNextStates.Count() < 1) return false;
  FJoin = KvLiveJoinOf(this);
  BuildStateList();  // the walk rebuilt the lists of the blocks it passed, this one's too
  if (!FJoin) return false;
  MatchPaths();
  return true;
}

void TLiveForkBlock::MatchPaths() {
  for (int i = 0; i < FPaths.Count(); ++i) FPaths[i]->FDeleteFlag = true;
  for (int n = 0; n < FNextStates.Count(); ++n) {
    TCustomLiveBlock* start = FNextStates.GetBlock(n);
    TExecutionPath* path = nullptr;
    for (int i = 0; i < FPaths.Count() && !path; ++i)
      if (FPaths[i]->FStartNode == start) path = FPaths[i];
    if (!path) {
      path = FPaths.Add();
      path->FStartNode = start;
      path->FFork = this;
    }
    path->FDeleteFlag = false;
  }
  for (int i = FPaths.Count() - 1; i >= 0; --i)
    if (FPaths[i]->FDeleteFlag) FPaths.Delete(i);
}

void TLiveForkBlock::DoBeforeRun() {
  FThreadsCreated = false;
  FErrorPath = nullptr;
  for (int i = 0; i < FPaths.Count(); ++i) {
    TExecutionPath* p = FPaths[i];
    p->FExitCode = 0;
    p->FRunError = 0;
    p->FErrorNode = nullptr;
    p->FRunErrorMsg.clear();
    p->FLastNode = p->FNextNode = p->FStartNode;
  }
}

void TLiveForkBlock::Loaded() {
  TCustomLiveBlock::Loaded();
  if (!FDiagram) return;
  auto byName = [this](const QString& name) -> TCustomLiveBlock* {
    if (name.isEmpty()) return nullptr;
    for (int i = 0; i < FDiagram->BlockCount(); ++i)
      if (auto* b = dynamic_cast<TCustomLiveBlock*>(FDiagram->GetBlocks(i)))
        if (b->Name().compare(name, Qt::CaseInsensitive) == 0) return b;
    return nullptr;
  };
  for (int i = 0; i < FPaths.Count(); ++i) {
    TExecutionPath* p = FPaths[i];
    p->FFork = this;
    p->FLastNode = byName(p->FLastNodeStr);
    p->FNextNode = byName(p->FNextNodeStr);
    p->FStartNode = byName(p->FStartNodeStr);
  }
}

void TLiveForkBlock::ExecuteEx(TExecuteNodeInfo& ExecInfo) {
  auto* diagram = dynamic_cast<TLiveDiagram*>(FDiagram);
  ExecInfo.Error = 0;
  ExecInfo.ErrorMsg.clear();
  ExecInfo.ErrorNode = nullptr;
  ExecInfo.WaitState = wsUndefined;
  if (!diagram) {
    ExecInfo.Error = lsHandlerFailed;
    ExecInfo.ErrorNode = this;
    return;
  }
  if (!FThreadsCreated) {
    for (int i = 0; i < FPaths.Count(); ++i) {
      TExecutionPath* p = FPaths[i];
      if (p->FExitCode != ecNotFinished && p->FExitCode != ecParked) continue;
      p->FFinished = false;
      p->FParentPath = ExecInfo.Path;
      DoThreadStart(p);
      TForkThread* t = diagram->StartPath(p, [this](TForkThread* done) { PathThreadDone(done); });
      FSubThreads.push_back(t);
    }
    FThreadsCreated = true;
    diagram->SetWaiting(true);
  }
  ExecInfo.NextNode = this;
  bool allDone = true;
  bool parked = false;
  for (int i = 0; i < FPaths.Count(); ++i) {
    const TExecutionPath* p = FPaths[i];
    // The exit code is the thread's until it has finished.
    if (!p->FFinished) {
      allDone = false;
      continue;
    }
    allDone = allDone && (p->FExitCode == ecParked || p->FExitCode == ecAtJoin);
    parked = parked || p->FExitCode == ecParked;
  }
  if (!allDone) {
    if (FErrorPath) {
      diagram->SetWaiting(false);
      ExecInfo.Error = FErrorPath->FExitCode;
      ExecInfo.ErrorMsg = FErrorPath->FRunErrorMsg;
      ExecInfo.ErrorNode = FErrorPath->FErrorNode;
      FErrorPath = nullptr;
    }
    return;
  }
  TCustomLiveBlock* common = nullptr;
  bool first = true;
  for (int i = 0; i < FPaths.Count(); ++i) {
    const TExecutionPath* p = FPaths[i];
    if (p->FExitCode == ecParked) continue;
    if (!first && p->FNextNode != common) {
      diagram->SetWaiting(false);
      ExecInfo.Error = lsPathsDiverged;
      ExecInfo.ErrorMsg = QString::fromUtf8(KvLivePathsDivergedText);
      return;
    }
    common = p->FNextNode;
    first = false;
  }
  diagram->SetWaiting(false);
  FThreadsCreated = false;
  if (parked)
    ExecInfo.WaitState = wsWaitAndSave;
  else
    ExecInfo.NextNode = common;
}

void TLiveForkBlock::PathThreadDone(TForkThread* thread) {
  TExecutionPath* path = thread->Path();
  if (path->FLastNode) path->FLastNode->SetControlState(2);
  path->FFinished = true;
  path->FExecuteThread = nullptr;
  FSubThreads.erase(std::remove(FSubThreads.begin(), FSubThreads.end(), thread), FSubThreads.end());
  const int code = path->FExitCode;
  if (code != ecNotFinished && code != ecParked && code != ecAtJoin) {
    FErrorPath = path;
    for (TForkThread* sibling : std::vector<TForkThread*>(FSubThreads)) sibling->Terminate();
  }
  DoPathDone(path);
}

// ---- stored properties ----

namespace {

const TKvPropTable<TCustomLiveBlock>& LiveProps() {
  using B = TCustomLiveBlock;
  static const TKvPropTable<B> t = [] {
    TKvPropTable<B> t;
    const TBlockColors def;
    t.Color(
        "RunColors.RunONColor", [](const B& b) { return b.FRunColors.RunONColor; },
        [](B& b, TColor c) { b.FRunColors.RunONColor = c; }, def.RunONColor);
    t.Color(
        "RunColors.RunOFFColor", [](const B& b) { return b.FRunColors.RunOFFColor; },
        [](B& b, TColor c) { b.FRunColors.RunOFFColor = c; }, def.RunOFFColor);
    t.Color(
        "RunColors.RunERRColor", [](const B& b) { return b.FRunColors.RunERRColor; },
        [](B& b, TColor c) { b.FRunColors.RunERRColor = c; }, def.RunERRColor);
    return t;
  }();
  return t;
}

const TKvPropTable<TCustomLiveState>& StateProps() {
  using S = TCustomLiveState;
  static const TKvPropTable<S> t = [] {
    TKvPropTable<S> t;
    t.Enum(
        "StateShape", {"ssCircle", "ssSquare"}, [](const S& s) { return s.StateShape(); },
        [](S& s, int v) { s.SetStateShape(v == ssSquare ? ssSquare : ssCircle); }, ssCircle);
    t.Bool(
        "OneShot", [](const S& s) { return s.OneShot(); }, [](S& s, bool v) { s.SetOneShot(v); },
        false);
    return t;
  }();
  return t;
}

}  // namespace

void TCustomLiveBlock::WriteOwnProps(TKvBinaryWriter& w) const {
  LiveProps().Write(*this, w);
}
bool TCustomLiveBlock::ReadOwnProp(const QByteArray& name, const TKvValue& v, TKvReadContext& ctx) {
  return LiveProps().Read(*this, name, v, ctx);
}
void TCustomLiveState::WriteOwnProps(TKvBinaryWriter& w) const {
  TCustomLiveBlock::WriteOwnProps(w);
  StateProps().Write(*this, w);
}
bool TCustomLiveState::ReadOwnProp(const QByteArray& name, const TKvValue& v, TKvReadContext& ctx) {
  return TCustomLiveBlock::ReadOwnProp(name, v, ctx) || StateProps().Read(*this, name, v, ctx);
}

namespace {

const TKvPropTable<TExecutionPath>& PathProps() {
  using P = TExecutionPath;
  static const TKvPropTable<P> t = [] {
    TKvPropTable<P> t;
    auto name = [](TCustomLiveBlock* P::*node, QString P::*str) {
      return [node, str](const P& p) { return p.*node ? (p.*node)->Name() : p.*str; };
    };
    t.Str("StartNode", name(&P::FStartNode, &P::FStartNodeStr),
          [](P& p, const QString& v) { p.FStartNodeStr = v; });
    t.Str("LastNode", name(&P::FLastNode, &P::FLastNodeStr),
          [](P& p, const QString& v) { p.FLastNodeStr = v; });
    t.Str("NextNode", name(&P::FNextNode, &P::FNextNodeStr),
          [](P& p, const QString& v) { p.FNextNodeStr = v; });
    t.Int(
        "ExitCode", [](const P& p) { return p.FExitCode; },
        [](P& p, int64_t v) { p.FExitCode = int32_t(v); }, 0);
    t.Str(
        "DataStr", [](const P& p) { return p.FDataStr; },
        [](P& p, const QString& v) { p.FDataStr = v; });
    return t;
  }();
  return t;
}

}  // namespace

void TLiveForkBlock::WriteOwnProps(TKvBinaryWriter& w) const {
  TCustomLiveBlock::WriteOwnProps(w);
  auto* diagram = dynamic_cast<TLiveDiagram*>(FDiagram);
  if (!diagram || !diagram->StreamForkPaths || FPaths.Count() == 0) return;
  w.WritePropName("Paths");
  w.BeginCollection();
  for (int i = 0; i < FPaths.Count(); ++i) {
    w.BeginItem();
    PathProps().Write(*FPaths[i], w);
    w.WriteListEnd();
  }
  w.WriteListEnd();
}

bool TLiveForkBlock::ReadOwnProp(const QByteArray& name, const TKvValue& v, TKvReadContext& ctx) {
  if (name != "Paths") return TCustomLiveBlock::ReadOwnProp(name, v, ctx);
  if (v.Type != vaCollection) return false;
  while (FPaths.Count() > 0) FPaths.Delete(0);
  for (const TKvCollectionItem& item : v.Items) {
    TExecutionPath* path = FPaths.Add();
    path->FFork = this;
    for (const TKvProperty& p : item.Props) PathProps().Read(*path, p.Name, p.V(), ctx);
  }
  return true;
}

// ---- registry ----

namespace {
template <typename T>
TDControlFactory LiveFactory() {
  return [](QObject* owner) -> TDiagramControl* { return new T(owner); };
}
}  // namespace

void KvRegisterLiveBlocks(TRegDControls& r) {
  const QString cat = QStringLiteral("Live Diagram");
  r.Register("TLiveConnectorSource", LiveFactory<TLiveConnectorSource>(), {}, "Source connector",
             cat);
  r.Register("TLiveConnectorTarget", LiveFactory<TLiveConnectorTarget>(), {}, "Target connector",
             cat);
  r.Register("TLiveLineJoin", LiveFactory<TLiveLineJoin>(), {}, "Line Jointer", cat);
  r.Register("TLiveWire", LiveFactory<TLiveWire>(), {}, "Live Wire", cat);
  r.Register("TLiveSideWire", LiveFactory<TLiveSideWire>(), {}, "Live Side Wire", cat);
  r.Register("TLiveArc", LiveFactory<TLiveArc>(), {}, "Live Arc", cat);
  r.Register("TLiveBezier", LiveFactory<TLiveBezier>(), {}, "Live Bezier", cat);
  r.Register("TLiveForkBlock", LiveFactory<TLiveForkBlock>(), {}, "Live Fork", cat);
  r.Register("TLiveJoinBlock", LiveFactory<TLiveJoinBlock>(), {}, "Live Join", cat);
  r.Register("TLiveStateBlock", LiveFactory<TLiveStateBlock>(), {}, "State", cat);
  r.Register("TLiveStateStart", LiveFactory<TLiveStateStart>(), {}, "Start State", cat);
  r.Register("TLiveStateEnd", LiveFactory<TLiveStateEnd>(), {}, "End State", cat);
  r.Register("TLiveStateError", LiveFactory<TLiveStateError>(), {}, "Error State handler", cat);
}
