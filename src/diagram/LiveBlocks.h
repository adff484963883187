#pragma once
// Live blocks: an executable diagram. Blocks are nodes, live wires are transitions; a run walks
// from the start block along the Next links and colours the node it is on, and a fork runs
// each of its branches on a TForkThread whose steps are synchronised on the window thread.
#include <QThread>
#include <memory>
#include <vector>

#include "KvDiagram.h"

class TCustomLiveBlock;
class TLiveForkBlock;
class TLiveJoinBlock;
class TForkThread;
class TExecutionPath;
class TLiveDiagram;

// Step codes of TExecuteNodeInfo::Error.
constexpr int lsDone = 0;
constexpr int lsEndReached = -1;
constexpr int lsHandlerFailed = -2;
constexpr int lsJoinReached = -5;
constexpr int lsPathsDiverged = -6;
extern const char* const KvLivePathsDivergedText;

// Exit codes of a path.
constexpr int ecNotFinished = 0;
constexpr int ecEnded = 2;
constexpr int ecParked = 7;
constexpr int ecAtJoin = 8;

enum TWaitState { wsUndefined, wsNoWait, wsWaitAndSave };
enum TStateShape { ssCircle, ssSquare };

struct TExecuteNodeInfo {
  int Reserved = 0;
  int32_t Error = 0;
  QString ErrorMsg;
  TCustomLiveBlock* ErrorNode = nullptr;
  TCustomLiveBlock* NextNode = nullptr;
  TWaitState WaitState = wsUndefined;
  TExecutionPath* Path = nullptr;
  double Reserved2 = 0;
};

using TExecuteEvent =
    std::function<void(TCustomLiveBlock* sender, int32_t& error, TExecuteNodeInfo& decision)>;
using TExecuteExEvent = std::function<void(TCustomLiveBlock* sender, TExecuteNodeInfo& info)>;
using TTransitionEvent = std::function<bool(TCustomDiagramLine* wire, TCustomLiveBlock* sender)>;

// ---- Wires ----

// What the four live wires share: a transition that opens only when its handler says so.
class ILiveWire {
 public:
  virtual ~ILiveWire() = default;
  virtual bool Transition(TCustomLiveBlock* Sender) = 0;
  TTransitionEvent OnTransition;
};

template <class TBase>
class TLiveWireOf : public TBase, public ILiveWire {
 public:
  explicit TLiveWireOf(QObject* owner) : TBase(owner) {}
  bool Transition(TCustomLiveBlock* Sender) override {
    return OnTransition ? OnTransition(this, Sender) : false;
  }
  // Both ends on live blocks, or else the wire is painted dotted.
  bool ConnectsLiveBlocks() const;
  void DrawLine(const TDiagramDrawInfo& info) override;
};

class TLiveWire : public TLiveWireOf<TDiagramLine> {
 public:
  using TLiveWireOf::TLiveWireOf;
  QString ClassName() const override { return QStringLiteral("TLiveWire"); }
};
class TLiveSideWire : public TLiveWireOf<TDiagramSideLine> {
 public:
  using TLiveWireOf::TLiveWireOf;
  QString ClassName() const override { return QStringLiteral("TLiveSideWire"); }
};
class TLiveArc : public TLiveWireOf<TDiagramArc> {
 public:
  using TLiveWireOf::TLiveWireOf;
  QString ClassName() const override { return QStringLiteral("TLiveArc"); }
};
class TLiveBezier : public TLiveWireOf<TDiagramBezier> {
 public:
  using TLiveWireOf::TLiveWireOf;
  QString ClassName() const override { return QStringLiteral("TLiveBezier"); }
};

// ---- Blocks ----

struct TBlockColors {
  TColor RunONColor = 0x00FF00;
  TColor RunOFFColor = 0xF0F0F0;  // button face
  TColor RunERRColor = 255;
};

// Wires leaving (or entering) a block, each with the block at its other end.
class TStateList {
 public:
  void Add(TCustomDiagramLine* Transition, TCustomLiveBlock* aNext) {
    FBlocks.push_back(aNext);
    Transitions.push_back(Transition);
  }
  int Count() const { return int(FBlocks.size()); }
  TCustomDiagramLine* GetLink(int index) const { return Transitions[index]; }
  TCustomLiveBlock* GetBlock(int index) const { return FBlocks[index]; }
  void Clear() {
    FBlocks.clear();
    Transitions.clear();
  }
  std::vector<TCustomDiagramLine*> Transitions;

 private:
  std::vector<TCustomLiveBlock*> FBlocks;
};

class TCustomLiveBlock : public TCustomDiagramBlock {
 public:
  explicit TCustomLiveBlock(QObject* owner);
  QString ClassName() const override { return QStringLiteral("TCustomLiveBlock"); }

  uint8_t ControlState() const { return FControlState; }
  void SetControlState(uint8_t state);
  bool PassThrough() const { return FPassThrough; }
  bool IsStartBlock() const { return FIsStartBlock; }
  bool IsEndBlock() const { return FIsEndBlock; }
  bool IsErrorHandler() const { return FIsErrorHandler; }
  TCustomLiveBlock* Next() const { return FNext; }
  const TStateList& NextStates() const { return FNextStates; }
  const TStateList& PreviousStates() const { return FPreviousStates; }

  // True when aLine is a live wire on live blocks with this block at the end Direction names
  // (0: target, backward; 1: source, forward); aBlock becomes the block at the other end.
  bool ValidateWire(TCustomDiagramLine* aLine, TCustomLiveBlock*& aBlock, int Direction) const;
  void BuildStateList();

  void Paint(const TDiagramDrawInfo& info) override;
  void WriteOwnProps(TKvBinaryWriter& w) const override;
  bool ReadOwnProp(const QByteArray& name, const TKvValue& v, TKvReadContext& ctx) override;

  // ---- virtual operations of live blocks, in order ----
  virtual void BuildLinkPoints();
  virtual void BuildBlockPolygon() {}
  virtual TCustomLiveBlock* FindNext();
  virtual void DoExecuteHook() {}
  virtual void DoExecuteEvent(int32_t& Error, TExecuteNodeInfo& Decision);
  virtual void DoExecuteExEvent(TExecuteNodeInfo& ExecInfo);
  virtual void ApplyRunColor();
  virtual void DoBeforeRun() {}
  virtual TCustomLiveBlock* Execute(int32_t& Error, TExecuteNodeInfo& Decision);
  virtual void ExecuteEx(TExecuteNodeInfo& ExecInfo);
  virtual bool Link();

  TBlockColors FRunColors;
  TExecuteExEvent FOnExecuteEx;
  TExecuteEvent FOnExecute;

 protected:
  // The successor through link point 2, resolved through pass-through blocks.
  TCustomLiveBlock* NextThrough(TLinkPoint* point);
  bool FPassThrough = false;
  uint8_t FControlState = 0;
  TColor FStoreColor = clWhite;
  bool FStoreGradient = false;
  bool FIsErrorHandler = false, FIsEndBlock = false, FIsStartBlock = false;
  TStateList FNextStates, FPreviousStates;
  TCustomLiveBlock* FNext = nullptr;
};

class TLiveLineJoin : public TCustomLiveBlock {
 public:
  explicit TLiveLineJoin(QObject* owner);
  QString ClassName() const override { return QStringLiteral("TLiveLineJoin"); }
};

class TCustomLiveConnector : public TCustomLiveBlock {
 public:
  explicit TCustomLiveConnector(QObject* owner);
};
class TLiveConnectorSource : public TCustomLiveConnector {
 public:
  using TCustomLiveConnector::TCustomLiveConnector;
  QString ClassName() const override { return QStringLiteral("TLiveConnectorSource"); }
};
class TLiveConnectorTarget : public TCustomLiveConnector {
 public:
  using TCustomLiveConnector::TCustomLiveConnector;
  QString ClassName() const override { return QStringLiteral("TLiveConnectorTarget"); }
};

// ---- States ----

class TCustomLiveState : public TCustomLiveBlock {
 public:
  explicit TCustomLiveState(QObject* owner);
  TStateShape StateShape() const { return FStateShape; }
  void SetStateShape(TStateShape s);
  bool OneShot() const { return FOneShot; }
  void SetOneShot(bool v) { FOneShot = v; }
  void BuildLinkPoints() override;
  TCustomLiveBlock* Execute(int32_t& Error, TExecuteNodeInfo& Decision) override;
  bool Link() override;
  void WriteOwnProps(TKvBinaryWriter& w) const override;
  bool ReadOwnProp(const QByteArray& name, const TKvValue& v, TKvReadContext& ctx) override;

 protected:
  TStateShape FStateShape = ssCircle;
  bool FOneShot = false;
  bool FTriggered = false;
};

class TLiveStateBlock : public TCustomLiveState {
 public:
  using TCustomLiveState::TCustomLiveState;
  QString ClassName() const override { return QStringLiteral("TLiveStateBlock"); }
};

// Start and error handler behave as plain blocks, leaving by their one-wire link point.
class TLiveStateStart : public TCustomLiveState {
 public:
  explicit TLiveStateStart(QObject* owner);
  QString ClassName() const override { return QStringLiteral("TLiveStateStart"); }
  TCustomLiveBlock* FindNext() override;
  TCustomLiveBlock* Execute(int32_t& Error, TExecuteNodeInfo& Decision) override {
    return TCustomLiveBlock::Execute(Error, Decision);
  }
  bool Link() override { return TCustomLiveBlock::Link(); }
};

class TLiveStateError : public TCustomLiveState {
 public:
  explicit TLiveStateError(QObject* owner);
  QString ClassName() const override { return QStringLiteral("TLiveStateError"); }
  TCustomLiveBlock* FindNext() override;
  TCustomLiveBlock* Execute(int32_t& Error, TExecuteNodeInfo& Decision) override {
    return TCustomLiveBlock::Execute(Error, Decision);
  }
  bool Link() override { return TCustomLiveBlock::Link(); }
};

class TLiveStateEnd : public TCustomLiveState {
 public:
  explicit TLiveStateEnd(QObject* owner);
  QString ClassName() const override { return QStringLiteral("TLiveStateEnd"); }
  TCustomLiveBlock* Execute(int32_t& Error, TExecuteNodeInfo& Decision) override;
  bool Link() override;
};

// ---- Fork and join ----

// One branch of a fork.
class TExecutionPath {
 public:
  int32_t FExitCode = ecNotFinished;
  QString FRunErrorMsg;
  int32_t FRunError = 0;
  TWaitState FWaitState = wsUndefined;
  TCustomLiveBlock* FErrorNode = nullptr;
  TForkThread* FExecuteThread = nullptr;
  TCustomLiveBlock *FLastNode = nullptr, *FNextNode = nullptr, *FStartNode = nullptr;
  bool FFinished = true;
  QString FLastNodeStr, FNextNodeStr, FStartNodeStr;
  bool FDeleteFlag = false;
  QObject* FDataObj = nullptr;
  QString FDataStr;
  TExecutionPath* FParentPath = nullptr;
  // The fork the path belongs to; none for the main path of a run.
  TLiveForkBlock* FFork = nullptr;
};

class TExecutionPaths {
 public:
  int Count() const { return int(FItems.size()); }
  TExecutionPath* operator[](int i) const { return FItems[i].get(); }
  TExecutionPath* Add();
  void Delete(int i) { FItems.erase(FItems.begin() + i); }

 private:
  std::vector<std::unique_ptr<TExecutionPath>> FItems;
};

class TLiveForkBlock : public TCustomLiveBlock {
 public:
  explicit TLiveForkBlock(QObject* owner);
  ~TLiveForkBlock() override;
  QString ClassName() const override { return QStringLiteral("TLiveForkBlock"); }
  TExecutionPaths& Paths() { return FPaths; }
  const std::vector<TForkThread*>& SubThreads() const { return FSubThreads; }
  // The join all branches meet in, as the last Link found it.
  TLiveJoinBlock* Join() const { return FJoin; }

  void BuildLinkPoints() override;
  void DrawShape(const TDiagramDrawInfo& info) override;
  bool Link() override;
  void DoBeforeRun() override;
  void ExecuteEx(TExecuteNodeInfo& ExecInfo) override;
  void Loaded() override;
  // The paths, by block name, when the diagram streams them.
  void WriteOwnProps(TKvBinaryWriter& w) const override;
  bool ReadOwnProp(const QByteArray& name, const TKvValue& v, TKvReadContext& ctx) override;
  virtual void DoThreadStart(TExecutionPath*) {}
  virtual void DoPathDone(TExecutionPath*) {}

  // The completion handler of a branch's thread, on the window thread.
  void PathThreadDone(TForkThread* thread);

 protected:
  TExecutionPaths FPaths;
  bool FThreadsCreated = false;
  TExecutionPath* FErrorPath = nullptr;
  std::vector<TForkThread*> FSubThreads;
  TLiveJoinBlock* FJoin = nullptr;

 private:
  void MatchPaths();
};

class TLiveJoinBlock : public TCustomLiveBlock {
 public:
  explicit TLiveJoinBlock(QObject* owner);
  QString ClassName() const override { return QStringLiteral("TLiveJoinBlock"); }
  void BuildLinkPoints() override;
  void DrawShape(const TDiagramDrawInfo& info) override;
  void ExecuteEx(TExecuteNodeInfo& ExecInfo) override;
};

// The join all branches of fork meet in; null when a branch meets none or another one.
TLiveJoinBlock* KvLiveJoinOf(TLiveForkBlock* fork);

// Fills the class registry's "Live Diagram" category.
void KvRegisterLiveBlocks(TRegDControls& r);
