// TKvDiagram as a container: the lists, names, selection, groups, z-order, layers, zoom and
// update batches.
#include <QScrollBar>
#include <algorithm>

#include "KvDiagram.h"

void KvRegisterGroupClass();

namespace {
template <typename T>
void EraseFrom(std::vector<T*>& v, const void* p) {
  v.erase(std::remove(v.begin(), v.end(), p), v.end());
}
}  // namespace

TKvDiagram::TKvDiagram(QWidget* parent, QObject* owner)
    : QAbstractScrollArea(parent), FOwner(owner ? owner : static_cast<QObject*>(parent)) {
  KvRegisterGroupClass();
  RegDControls();
  resize(200, 200);
  setFrameShape(QFrame::Box);
  QPalette pal = palette();
  pal.setColor(QPalette::WindowText, ColorToQColor(BorderColor));  // the box frame's colour
  setPalette(pal);
  viewport()->setAutoFillBackground(false);
  TopRuler.Vertical = false;
  LeftRuler.Vertical = true;
  FSelBlock = new TSelectionBlock(nullptr);
  FSelectTimer = new TKvTimer(this, 300);
  setFocusPolicy(Qt::StrongFocus);
  viewport()->setMouseTracking(true);
  Background.Gradient = TDiagramGradient(nullptr);
}

TKvDiagram::~TKvDiagram() {
  FPainting = true;  // no repaint requests while the controls go
  FDestroyingDiagram = true;
  CloseEditor(false);
  CancelInsertingBlock();
  ClearDControls();
  delete FSelBlock;
}

// ---- lists ----

void TKvDiagram::ControlRenamed(const QString& oldName, const QString& newName) {
  if (!oldName.isEmpty()) {
    const QString key = oldName.toLower();
    auto it = FNameSet.find(key);
    if (it != FNameSet.end() && --*it <= 0) FNameSet.erase(it);
    NameFreed(key);
  }
  if (!newName.isEmpty()) ++FNameSet[newName.toLower()];
}

void TKvDiagram::NameFreed(const QString& key) const {
  // A numbered name that comes free lowers the search start of its base.
  qsizetype digits = key.size();
  while (digits > 0 && key[digits - 1].isDigit()) --digits;
  if (digits == key.size() || key.size() - digits >= 9) return;
  auto hint = FNameHint.find(key.left(digits));
  const int n = key.mid(digits).toInt();
  if (hint != FNameHint.end() && n < *hint) *hint = std::max(n, 1);
}

void TKvDiagram::AddDControl(TDiagramControl* c) {
  ControlRenamed({}, c->Name());
  FDControls.push_back(c);
  if (auto* b = dynamic_cast<TCustomDiagramBlock*>(c)) FBlocks.push_back(b);
  if (auto* l = dynamic_cast<TCustomDiagramLine*>(c)) FLinks.push_back(l);
  if (c->Name().isEmpty() && !IsLoading()) c->SetName(FindCompName(c));
  if (auto* line = dynamic_cast<TCustomDiagramLine*>(c)) line->ResetLine();
  RecalcScrollRanges();
  Redraw();
}

void TKvDiagram::RemoveDControl(TDiagramControl* c) {
  ControlRenamed(c->Name(), {});
  EraseFrom(FDControls, c);
  EraseFrom(FBlocks, c);
  EraseFrom(FLinks, c);
  bool wasSelected = std::find(FSelecteds.begin(), FSelecteds.end(), c) != FSelecteds.end();
  EraseFrom(FSelecteds, c);
  FSelBlock->Members().Remove(c);
  if (FInsertDControl == c) FInsertDControl = nullptr;
  if (FPreviousDControl == c) FPreviousDControl = nullptr;
  if (FDControlClicked == c) FDControlClicked = nullptr;
  if (OnRemoveDControl) OnRemoveDControl(this, c);
  c->FDiagram = nullptr;
  if (wasSelected) RecalcSelBlock();
  Redraw();
}

void TKvDiagram::Clear() {
  ClearDControls();
  FMouseState = msBrowsing;
  FZoomRatio = 1.0;
  FPreviewZoom = 1.0;
  PageSettings = TDiagramPageSettings();
  Background.Visible = false;
  Background.Bitmap = QImage();
  Background.Picture = QImage();
  SnapGrid.Visible = false;
  SnapGrid.Active = false;
  PageLines.Visible = false;
  CancelInsertingBlock();
  DropCache();
  FSelectTimer->SetEnabled(false);
  FControlMoveInfos.clear();
  FHandle = nullptr;
  FLinkPoint = nullptr;
  FNodeClicked = nullptr;
  RecalcScrollRanges();
  Redraw();
}

void TKvDiagram::ClearDControls() {
  BeginUpdate();
  while (!FDControls.empty()) delete FDControls.back();
  EndUpdate();
}

TDiagramControl* TKvDiagram::FindDControl(QStringView name) const {
  for (TDiagramControl* c : FDControls) {
    const QString& n = c->Name();
    if (n.size() == name.size() && n.compare(name, Qt::CaseInsensitive) == 0) return c;
  }
  return nullptr;
}

TCustomDiagramBlock* TKvDiagram::FindBlock(QStringView name) const {
  for (TCustomDiagramBlock* b : FBlocks) {
    const QString& n = b->Name();
    if (n.size() == name.size() && n.compare(name, Qt::CaseInsensitive) == 0) return b;
  }
  return nullptr;
}

bool TKvDiagram::NameTaken(const QObject* component, const QString& name) const {
  auto it = FNameSet.constFind(name.toLower());
  if (it != FNameSet.constEnd()) {
    auto* c = dynamic_cast<const TDiagramControl*>(component);
    // The component's own name does not stand in its way.
    if (!(c && c->Diagram() == this && *it == 1 &&
          c->Name().compare(name, Qt::CaseInsensitive) == 0))
      return true;
  }
  // The form and the form's owner are watched, not walked: they hold every control.
  auto namedOn = [&](const QObject* parent) {
    if (!parent) return false;
    for (const auto& watch : FChildNames)
      if (watch->Watched() == parent) return watch->Contains(name, component);
    FChildNames.push_back(std::make_unique<TKvChildNames>(const_cast<QObject*>(parent)));
    FChildNames.back()->OnNameFreed = [this](const QString& key) { NameFreed(key); };
    return FChildNames.back()->Contains(name, component);
  };
  const QObject* owner = component ? component->parent() : nullptr;
  if (namedOn(owner ? owner->parent() : nullptr) || namedOn(FOwner)) return true;
  for (const QObject* o : children())
    if (o != component && o->objectName().compare(name, Qt::CaseInsensitive) == 0) return true;
  return false;
}

QString TKvDiagram::FindCompName(const QObject* component, QString baseName) const {
  if (baseName.isEmpty()) {
    if (auto* c = dynamic_cast<const TDiagramControl*>(component))
      baseName = c->ClassName();
    else if (component)
      baseName = component->metaObject()->className();
    if (baseName.startsWith('T')) baseName.remove(0, 1);
  }
  // Numbers below the hint are known to be taken by controls of this diagram.
  int& hint = FNameHint[baseName.toLower()];
  if (hint < 1) hint = 1;
  for (int i = hint;; ++i) {
    QString candidate = baseName + QString::number(i);
    if (!NameTaken(component, candidate)) {
      hint = i;
      return candidate;
    }
  }
}

int TKvDiagram::SelectedCount(TDiagramControlFilter filter) const {
  int n = 0;
  for (TDiagramControl* c : FSelecteds) {
    if (filter == cfIgnoreMembers && c->GroupBlock()) continue;
    if (filter == cfIgnoreGroups && c->IsGroup()) continue;
    if (filter == cfIgnoreAsMembers && c->GroupBlock() && c->GroupBlock()->Selected()) continue;
    ++n;
  }
  return n;
}

int TKvDiagram::SelectedBlockCount(TDiagramControlFilter filter) const {
  int n = 0;
  for (TDiagramControl* c : FSelecteds) {
    if (!c->IsBlock()) continue;
    if (filter == cfIgnoreMembers && c->GroupBlock()) continue;
    if (filter == cfIgnoreGroups && c->IsGroup()) continue;
    if (filter == cfIgnoreAsMembers && c->GroupBlock() && c->GroupBlock()->Selected()) continue;
    ++n;
  }
  return n;
}

int TKvDiagram::SelectedLinkCount() const {
  return int(std::count_if(FSelecteds.begin(), FSelecteds.end(),
                           [](TDiagramControl* c) { return c->IsLine(); }));
}

TCustomDiagramLine* TKvDiagram::LinkBetweenBlocks(TDiagramControl* b1, TDiagramControl* b2) const {
  for (TCustomDiagramLine* l : FLinks) {
    TDiagramControl* a = l->SourceLinkPoint()->Anchor();
    TDiagramControl* z = l->TargetLinkPoint()->Anchor();
    if ((a == b1 && z == b2) || (a == b2 && z == b1)) return l;
  }
  return nullptr;
}

bool TKvDiagram::AreBlocksLinked(TDiagramControl* b1, TDiagramControl* b2) const {
  return LinkBetweenBlocks(b1, b2) != nullptr;
}

// ---- selection ----

void TKvDiagram::BeginUpdateSel() {
  if (FUpdatingSel++ == 0) {
    if (OnSelectionChanging) OnSelectionChanging(this);
    NotifySubscribers(etSelectionChanging, nullptr);
  }
}

void TKvDiagram::EndUpdateSel() {
  if (FUpdatingSel == 0 || --FUpdatingSel > 0) return;
  RecalcSelBlock();
  if (OnSelectionChanged) OnSelectionChanged(this);
  NotifySubscribers(etSelectionChanged, nullptr);
}

void TKvDiagram::SelectionChanged(TDiagramControl* c, bool selected) {
  BeginUpdateSel();
  bool present = std::find(FSelecteds.begin(), FSelecteds.end(), c) != FSelecteds.end();
  if (selected && !present) FSelecteds.push_back(c);
  if (!selected) EraseFrom(FSelecteds, c);
  if (selected && OnSelectDControl) OnSelectDControl(this, c);
  if (!selected && OnUnselectDControl) OnUnselectDControl(this, c);
  NotifySubscribers(selected ? etControlSelected : etControlUnselected, c);
  EndUpdateSel();
}

void TKvDiagram::RecalcSelBlock() {
  FSelBlock->Members().Clear();
  for (TDiagramControl* c : FSelecteds)
    if (!c->GroupBlock()) FSelBlock->Members().Add(c);
  FSelBlock->RecalculateRect();
}

void TKvDiagram::SelectAll() {
  BeginUpdateSel();
  for (TDiagramControl* c : FDControls) c->SetSelected(true);
  EndUpdateSel();
}

void TKvDiagram::UnselectAll() {
  BeginUpdateSel();
  while (!FSelecteds.empty()) {
    TDiagramControl* c = FSelecteds.back();
    c->SetSelected(false);
    if (!FSelecteds.empty() && FSelecteds.back() == c) FSelecteds.pop_back();
  }
  EndUpdateSel();
}

void TKvDiagram::DeleteSelecteds() {
  if (DesignMode == ddmNonEditable) return;
  std::vector<TDiagramControl*> doomed;
  for (TDiagramControl* c : FSelecteds)
    if (c->CanDelete() && !(c->LayerObj() && !c->LayerObj()->Editable)) doomed.push_back(c);
  if (doomed.empty()) return;
  BeginUpdate();
  BeginUpdateSel();
  // A group goes with its members.
  for (size_t i = 0; i < doomed.size(); ++i)
    if (auto* g = dynamic_cast<TBaseGroupBlock*>(doomed[i]))
      for (TDiagramControl* m : g->Members().FItems)
        if (std::find(doomed.begin(), doomed.end(), m) == doomed.end()) doomed.push_back(m);
  for (auto it = doomed.rbegin(); it != doomed.rend(); ++it) {
    if (std::find(FDControls.begin(), FDControls.end(), *it) == FDControls.end()) continue;
    delete *it;
  }
  EndUpdateSel();
  Modified();
  EndUpdate();
  PushUndoStack(QStringLiteral("delete"));
}

// ---- groups and z-order ----

TGroupBlock* TKvDiagram::AddGroup() {
  TGroupBlock* g =
      FCustomGroupBlockClass ? FCustomGroupBlockClass(FOwner) : new TGroupBlock(FOwner);
  g->SetDiagram(this);
  return g;
}

TGroupBlock* TKvDiagram::GroupSelectedBlocks() {
  std::vector<TDiagramControl*> members;
  for (TDiagramControl* c : FSelecteds)
    if (!c->GroupBlock()) members.push_back(c);
  if (members.size() < 2) return nullptr;
  BeginUpdateSel();
  TGroupBlock* g = AddGroup();
  for (TDiagramControl* m : members) g->AddMember(m);
  UnselectAll();
  g->SetSelected(true);
  EndUpdateSel();
  Modified();
  PushUndoStack(QStringLiteral("group"));
  return g;
}

void TKvDiagram::UngroupSelectedBlocks() {
  std::vector<TGroupBlock*> groups;
  for (TDiagramControl* c : FSelecteds)
    if (auto* g = dynamic_cast<TGroupBlock*>(c); g && !g->GroupBlock()) groups.push_back(g);
  BeginUpdateSel();
  for (TGroupBlock* g : groups) delete g;
  EndUpdateSel();
  if (groups.empty()) return;
  Modified();
  PushUndoStack(QStringLiteral("ungroup"));
}

void TKvDiagram::MoveBlocks(double dx, double dy, bool onlySelected, bool onlyMovable) {
  ++FUpdatingPos;
  std::vector<TDiagramControl*> list = onlySelected ? FSelecteds : FDControls;
  for (TDiagramControl* c : list) {
    if (c->GroupBlock()) continue;  // members move with their group
    if (onlyMovable && !c->CanMove()) continue;
    c->MoveBy(dy, dx);
  }
  --FUpdatingPos;
  RecalcScrollRanges();
  Redraw();
}

void TKvDiagram::MoveControlIndex(TDiagramControl* c, int newIndex) {
  auto it = std::find(FDControls.begin(), FDControls.end(), c);
  if (it == FDControls.end()) return;
  FDControls.erase(it);
  newIndex = std::clamp(newIndex, 0, int(FDControls.size()));
  FDControls.insert(FDControls.begin() + newIndex, c);
  // The views keep z-order too.
  FBlocks.clear();
  FLinks.clear();
  for (TDiagramControl* x : FDControls) {
    if (auto* b = dynamic_cast<TCustomDiagramBlock*>(x)) FBlocks.push_back(b);
    if (auto* l = dynamic_cast<TCustomDiagramLine*>(x)) FLinks.push_back(l);
  }
  Modified();
  Redraw();
}

void TKvDiagram::BringToFront(TDiagramControl* c) {
  if (c) {
    MoveControlIndex(c, int(FDControls.size()));
    return;
  }
  std::vector<TDiagramControl*> sel = FSelecteds;
  for (TDiagramControl* s : sel) MoveControlIndex(s, int(FDControls.size()));
}

void TKvDiagram::SendToBack(TDiagramControl* c) {
  if (c) {
    MoveControlIndex(c, 0);
    return;
  }
  std::vector<TDiagramControl*> sel = FSelecteds;
  for (auto it = sel.rbegin(); it != sel.rend(); ++it) MoveControlIndex(*it, 0);
}

void TKvDiagram::MakeControlVisible(TDiagramControl* c) {
  if (!c) return;
  TSquare r = ClientToCanvas(c->SurroundRect());
  TSquare v{double(LeftRuler.VisibleSize()), double(TopRuler.VisibleSize()),
            double(ClientSize().width()), double(ClientSize().height())};
  int x = HorzPosition(), y = VertPosition();
  if (r.Left < v.Left)
    x += int(r.Left - v.Left);
  else if (r.Right > v.Right)
    x += int(r.Right - v.Right);
  if (r.Top < v.Top)
    y += int(r.Top - v.Top);
  else if (r.Bottom > v.Bottom)
    y += int(r.Bottom - v.Bottom);
  SetScrollPositions(x, y);
}

// ---- layers ----

void TKvDiagram::SetActiveLayers(uint64_t mask) {
  FActiveLayers = mask;
  for (TDiagramControl* c : FDControls)
    if (!c->IsVisibleNow()) c->SetSelected(false);
  Redraw();
}

void TKvDiagram::ActivateLayer(int layer) {
  if (layer > 0 && layer < 64) SetActiveLayers(FActiveLayers | (uint64_t(1) << layer));
}

void TKvDiagram::DeactivateLayer(int layer) {
  if (layer > 0 && layer < 64) SetActiveLayers(FActiveLayers & ~(uint64_t(1) << layer));
}

bool TKvDiagram::LayerActive(int layer) const {
  if (layer <= 0) return true;
  if (layer >= 64) return false;
  return (FActiveLayers >> layer) & 1;
}

void TKvDiagram::DeleteLayerControls(int layer) {
  BeginUpdate();
  std::vector<TDiagramControl*> doomed;
  for (TDiagramControl* c : FDControls)
    if (c->Layer() == layer) doomed.push_back(c);
  for (TDiagramControl* c : doomed) delete c;
  EndUpdate();
}

void TKvDiagram::DeleteLayerControls(const QString& layerName) {
  TDiagramLayer* layer = FLayers.FindByName(layerName);
  if (!layer) return;
  BeginUpdate();
  std::vector<TDiagramControl*> doomed;
  for (TDiagramControl* c : FDControls)
    if (c->LayerObj() == layer) doomed.push_back(c);
  for (auto it = doomed.rbegin(); it != doomed.rend(); ++it)
    if (std::find(FDControls.begin(), FDControls.end(), *it) != FDControls.end()) delete *it;
  EndUpdate();
}

// ---- batches and units ----

void TKvDiagram::EndUpdate(bool) {
  if (FUpdateCount > 0) --FUpdateCount;
  if (FUpdateCount == 0 && FRedrawRequestCount > 0) {
    FRedrawRequestCount = 0;
    Redraw();
  }
}

void TKvDiagram::Modified() {
  if (OnModified) OnModified(this);
}

void TKvDiagram::Redraw() {
  if (FPainting) return;
  if (FUpdateCount > 0) {
    ++FRedrawRequestCount;
    return;
  }
  viewport()->update();
}

double TKvDiagram::MMToMeasUnit(double mm) const {
  switch (MeasUnit) {
    case duMili:
      return mm;
    case duCenti:
      return mm / 10;
    case duInch:
      return mm / 25.4;
  }
  return mm;
}

double TKvDiagram::MeasUnitToMM(double v) const {
  switch (MeasUnit) {
    case duMili:
      return v;
    case duCenti:
      return v * 10;
    case duInch:
      return v * 25.4;
  }
  return v;
}

void TKvDiagram::SetZoom(int percent) {
  FZoomRatio = std::clamp(percent / 100.0, 0.01, 10.0);
  LeftRuler.Zoom = TopRuler.Zoom = Zoom();
  RecalcScrollRanges();
  Redraw();
}

void TKvDiagram::SetGraphicLib(TDgrGraphicLib lib) {
  FGraphicLib = lib;
  for (TDiagramControl* c : FDControls) {
    c->FreeGraphics();
    c->CreateGraphics();
  }
  Redraw();
}

void TKvDiagram::Loaded() {
  FLoading = false;
  if (PageSettings.PaperWidth == 0 || PageSettings.PaperHeight == 0)
    PageSettings = TDiagramPageSettings();
  if (FInternalUpdating == 0) FUndoStack.Clear();
  // Anchors were stored raw while the targets were still coming in.
  for (TDiagramControl* c : FDControls) {
    c->FLoading = false;
    for (int i = 0; i < c->LinkPoints().Count(); ++i) c->LinkPoints()[i]->Relink();
  }
  for (TDiagramControl* c : FDControls) {
    if (c->Name().isEmpty()) c->SetName(FindCompName(c));
    // A layer name read before the layers were known, or kept while they were replaced.
    if (!c->FLayerNameFix.isEmpty()) {
      if (TDiagramLayer* l = FLayers.FindByName(c->FLayerNameFix)) {
        c->FLayerObj = l;
        c->FLayerNameFix.clear();
      }
    }
    c->Loaded();
  }
  RecalcScrollRanges();
  Redraw();
}

// ---- subscribers ----

void TKvDiagram::AddSubscriber(IDiagramSubscriber* s) {
  if (std::find(FSubscribers.begin(), FSubscribers.end(), s) == FSubscribers.end())
    FSubscribers.push_back(s);
}

void TKvDiagram::RemoveSubscriber(IDiagramSubscriber* s) {
  EraseFrom(FSubscribers, s);
}

void TKvDiagram::NotifySubscribers(TDiagramEventType e, TDiagramControl* c) {
  for (IDiagramSubscriber* s : FSubscribers) s->DiagramNotification(this, e, c);
}

void TKvDiagram::RefreshToolbars() {
  for (IDiagramSubscriber* s : FSubscribers) s->RefreshToolbar(this);
}
