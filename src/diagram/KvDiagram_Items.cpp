// Collection items of the scene: link points with the anchor invariant, handles, text
// cells, layers, handle appearance and the class registry.
#include <algorithm>
#include <map>

#include "KvDiagram.h"
#include "LiveBlocks.h"
#include "UmlBlocks.h"

void TDiagramPersistent::Changed() {
  if (FDControl) FDControl->Redraw();
}

// ---- TLinkPoint ----

TLinkPoint::TLinkPoint(TLinkPoints* collection) : FCollection(collection) {
  bool onLine = collection && collection->DControl() && collection->DControl()->IsLine();
  FCanAnchor = onLine;
  FCanAnchorInMove = onLine;
}

TLinkPoint::~TLinkPoint() {
  Unlink();
  // Points anchored here come loose; copy since each removes itself from the list.
  std::vector<TLinkPoint*> anchoreds = FAnchoreds;
  for (TLinkPoint* p : anchoreds) p->AnchorChanged(acRemoval);
}

TDiagramControl* TLinkPoint::DControl() const {
  return FCollection ? FCollection->DControl() : nullptr;
}

int TLinkPoint::Index() const {
  return FCollection ? FCollection->IndexOf(this) : -1;
}

void TLinkPoint::SetOr(double x, double y) {
  if (FOrX == x && FOrY == y) return;
  FOrX = x;
  FOrY = y;
  if (TDiagramControl* c = DControl()) c->NotifyAnchoreds(acPosition);
}

TLinkPoint* TLinkPoint::AnchorLink() const {
  if (!FAnchor || FAnchorIndex < 0 || FAnchorIndex >= FAnchor->LinkPoints().Count()) return nullptr;
  return FAnchor->LinkPoints()[FAnchorIndex];
}

void TLinkPoint::Unlink() {
  if (TLinkPoint* target = AnchorLink()) {
    auto& list = target->FAnchoreds;
    list.erase(std::remove(list.begin(), list.end(), this), list.end());
  }
}

void TLinkPoint::Relink() {
  if (TLinkPoint* target = AnchorLink()) {
    if (std::find(target->FAnchoreds.begin(), target->FAnchoreds.end(), this) ==
        target->FAnchoreds.end())
      target->FAnchoreds.push_back(this);
  } else if (FAnchor && FAnchorIndex >= 0) {
    // Out of range is no error: the index is dropped, unless a stream is still filling in.
    TDiagramControl* owner = DControl();
    if (!(owner && owner->IsLoading())) FAnchorIndex = -1;
  }
  TDiagramControl* owner = DControl();
  if (owner && !owner->IsLoading()) owner->AnchorLinkChanged(this);
}

void TLinkPoint::ChangeAnchor(TDiagramControl* anchor, int index) {
  TCustomDiagramLine* line = dynamic_cast<TCustomDiagramLine*>(DControl());
  TLinkPoint* old = AnchorLink();
  Unlink();
  FAnchor = anchor;
  FAnchorIndex = index;
  Relink();
  if (old && line && old->DControl()) old->DControl()->LinkRemoved(line, old);
  if (line && AnchorLink()) FAnchor->LinkAdded(line, AnchorLink());
}

void TLinkPoint::SetAnchor(TDiagramControl* anchor) {
  if (anchor != FAnchor) ChangeAnchor(anchor, FAnchorIndex);
}

void TLinkPoint::SetAnchorIndex(int index) {
  if (index != FAnchorIndex) ChangeAnchor(FAnchor, index);
}

void TLinkPoint::AnchorTo(TLinkPoint* target) {
  if (!target) {
    SetAnchor(nullptr);
    SetAnchorIndex(-1);
    return;
  }
  SetAnchorIndex(-1);
  SetAnchor(target->DControl());
  SetAnchorIndex(target->Index());
}

TDot TLinkPoint::DiagramPoint() const {
  TDiagramControl* c = DControl();
  return c ? c->LinkPointPoint(this) : TDot{FOrX, FOrY};
}

bool TLinkPoint::IsNode() const {
  if (FCollapsable && !FAnchoreds.empty()) return true;
  TDiagramControl* c = DControl();
  return c && c->Diagram() && c->Diagram()->AutomaticNodes;
}

void TLinkPoint::AnchorChanged(TAnchorChange change) {
  TDiagramControl* owner = DControl();
  if (change == acRemoval) {
    Unlink();
    FAnchor = nullptr;
    FAnchorIndex = -1;
  }
  if (owner) owner->LinkedAnchorChanged(this, change);
}

void TLinkPoint::SetCollapsed(bool v) {
  if (v == FCollapsed) return;
  FCollapsed = v;
  TDiagramControl* start = DControl();
  if (!start) return;
  // Walk what hangs on this point; a path back to the start means a loop, which stays open.
  std::vector<TDiagramControl*> visited{start};
  std::vector<TDiagramControl*> reached;
  std::vector<TDiagramControl*> work;
  auto visit = [&](TDiagramControl* c) {
    if (!c || std::find(visited.begin(), visited.end(), c) != visited.end()) return;
    visited.push_back(c);
    reached.push_back(c);
    work.push_back(c);
  };
  bool loop = false;
  for (TLinkPoint* p : FAnchoreds) visit(p->DControl());
  while (!work.empty() && !loop) {
    TDiagramControl* c = work.back();
    work.pop_back();
    for (int i = 0; i < c->LinkPoints().Count(); ++i) {
      TLinkPoint* lp = c->LinkPoints()[i];
      if (lp->FAnchor == start && !(lp->AnchorLink() == this)) loop = true;
      for (TLinkPoint* a : lp->FAnchoreds)
        if (a->DControl() == start && a != this) loop = true;
      visit(lp->FAnchor);
      for (TLinkPoint* a : lp->FAnchoreds) visit(a->DControl());
    }
  }
  if (loop) return;
  for (TDiagramControl* c : reached) c->SetCollapsedFlag(v);
  if (start->Diagram()) start->Diagram()->Redraw();
}

// ---- TLinkPoints ----

TLinkPoints::~TLinkPoints() {
  Clear();
}

TLinkPoint* TLinkPoints::Add() {
  TLinkPoint* p = FDControl ? FDControl->LinkPointClass(this) : new TLinkPoint(this);
  FItems.emplace_back(p);
  return p;
}

TLinkPoint* TLinkPoints::Add(double orX, double orY, TAnchorOrientation o) {
  TLinkPoint* p = Add();
  p->FOrX = orX;
  p->FOrY = orY;
  p->FOrientation = o;
  return p;
}

void TLinkPoints::Delete(int index) {
  if (index < 0 || index >= Count()) return;
  // Points anchored to later items follow the shift of indexes.
  for (int i = index + 1; i < Count(); ++i)
    for (TLinkPoint* a : FItems[i]->FAnchoreds) a->FAnchorIndex = i - 1;
  std::unique_ptr<TLinkPoint> gone = std::move(FItems[index]);
  FItems.erase(FItems.begin() + index);
  // Its anchoreds still name the old index; release them against the object itself.
  std::vector<TLinkPoint*> anchoreds = gone->FAnchoreds;
  gone->FAnchoreds.clear();
  for (TLinkPoint* a : anchoreds) {
    a->FAnchor = nullptr;
    a->FAnchorIndex = -1;
    if (a->DControl()) a->DControl()->LinkedAnchorChanged(a, acRemoval);
  }
  gone->Unlink();
  gone->FAnchor = nullptr;
}

void TLinkPoints::Clear() {
  while (!FItems.empty()) Delete(Count() - 1);
}

int TLinkPoints::IndexOf(const TLinkPoint* p) const {
  for (int i = 0; i < Count(); ++i)
    if (FItems[i].get() == p) return i;
  return -1;
}

// ---- TStretchHandles ----

TDiagramControl* TStretchHandle::DControl() const {
  return FCollection ? FCollection->DControl() : nullptr;
}

int TStretchHandle::Index() const {
  return FCollection ? FCollection->IndexOf(this) : -1;
}

TStretchHandle* TStretchHandles::Add() {
  FItems.push_back(std::make_unique<TStretchHandle>(this));
  return FItems.back().get();
}

TStretchHandle* TStretchHandles::Add(double orX, double orY, Qt::CursorShape cursor, int data,
                                     THandleStyle style) {
  TStretchHandle* h = Add();
  h->OrX = orX;
  h->OrY = orY;
  h->FCursor = cursor;
  h->FData = data;
  h->Style = style;
  return h;
}

TStretchHandle* TStretchHandles::Insert(int index, double orX, double orY, Qt::CursorShape cursor,
                                        int data) {
  index = std::clamp(index, 0, Count());
  auto it = FItems.insert(FItems.begin() + index, std::make_unique<TStretchHandle>(this));
  (*it)->OrX = orX;
  (*it)->OrY = orY;
  (*it)->FCursor = cursor;
  (*it)->FData = data;
  return it->get();
}

void TStretchHandles::Delete(int index) {
  if (index >= 0 && index < Count()) FItems.erase(FItems.begin() + index);
}

int TStretchHandles::IndexOf(const TStretchHandle* h) const {
  for (int i = 0; i < Count(); ++i)
    if (FItems[i].get() == h) return i;
  return -1;
}

TStretchHandle* TStretchHandles::FindByData(int data) const {
  for (const auto& h : FItems)
    if (h->FData == data) return h.get();
  return nullptr;
}

TStretchHandle* TStretchHandles::RotateHandle() const {
  for (const auto& h : FItems)
    if (h->Style == hsRotate) return h.get();
  return nullptr;
}

TStretchHandle* TStretchHandles::RotCenterHandle() const {
  for (const auto& h : FItems)
    if (h->Style == hsRotCenter) return h.get();
  return nullptr;
}

void TStretchHandles::Assign(const TStretchHandles& src) {
  FItems.clear();
  for (const auto& h : src.FItems) {
    TStretchHandle* n = Add(h->OrX, h->OrY, h->FCursor, h->FData, h->Style);
    n->FVisible = h->FVisible;
    n->FAlwaysMovable = h->FAlwaysMovable;
  }
}

// ---- THandlesAppearance ----

void THandlesAppearance::Reset(TDiagramHandlesStyle style, bool member) {
  const TKvPen black{clBlack, 1, psSolid};
  const TKvPen gray{clGray, 1, psSolid};
  if (style == hsClassic) {
    Size = {black, {clBlack, bsSolid}, black, {clGray, bsSolid}, 2, hhRectangle, true};
    Rotate = {black, {clBlack, bsClear}, black, {clBlack, bsClear}, 2, hhEllipse, true};
    RotCenter = {black, {clLime, bsSolid}, black, {clSilver, bsSolid}, 3, hhCrossedEllipse, false};
  } else {
    Size = {member ? gray : black,
            {clLime, bsSolid},
            member ? gray : black,
            {clSilver, bsSolid},
            3,
            member ? hhRectangleX : hhRectangle,
            true};
    Rotate = {member ? gray : black,
              {clLime, bsSolid},
              member ? gray : black,
              {clSilver, bsSolid},
              4,
              member ? hhEllipseX : hhEllipse,
              true};
    RotCenter = {member ? gray : black,
                 {clLime, bsSolid},
                 member ? gray : black,
                 {clSilver, bsSolid},
                 3,
                 hhCrossedEllipse,
                 true};
  }
  Custom = {black, {clYellow, bsSolid}, black, {clSilver, bsSolid}, 3, hhDiamond, true};
}

const THandleAppearance& THandlesAppearance::For(THandleStyle s) const {
  switch (s) {
    case hsSize:
      return Size;
    case hsRotate:
      return Rotate;
    case hsRotCenter:
      return RotCenter;
    case hsCustom:
      return Custom;
  }
  return Size;
}

// ---- TTextCell ----

TTextCell::TTextCell(TTextCells* c) : FCollection(c) {}

TDiagramControl* TTextCell::DControl() const {
  return FCollection ? FCollection->DControl() : nullptr;
}

int TTextCell::Index() const {
  return FCollection ? FCollection->IndexOf(this) : -1;
}

double TTextCell::Angle() const {
  TDiagramControl* c = DControl();
  return DControlAngle && c ? c->Angle() : FAngle;
}

void TTextCell::SetAngle(double a) {
  FAngle = a;
  DControlAngle = false;
  Changed();
}

const TKvFont& TTextCell::Font() const {
  TDiagramControl* c = DControl();
  return DControlFont && c ? c->Font() : FFont;
}

void TTextCell::SetFont(const TKvFont& f) {
  FFont = f;
  DControlFont = false;
  Changed();
}

void TTextCell::SetText(const QString& t) {
  if (t == FText) return;
  FText = t;
  Changed();
}

void TTextCell::SetBounds(double l, double t, double w, double h) {
  Left = l;
  Top = t;
  Width = w;
  Height = h;
  Changed();
}

void TTextCell::Changed() {
  if (FCollection) FCollection->Update();
}

TTextCell* TTextCells::Add() {
  FItems.push_back(std::make_unique<TTextCell>(this));
  Update();
  return FItems.back().get();
}

void TTextCells::Delete(int index) {
  if (index < 0 || index >= Count()) return;
  if (FDControl) FDControl->TextCellRemoved(FItems[index].get());
  FItems.erase(FItems.begin() + index);
  Update();
}

void TTextCells::Clear() {
  while (!FItems.empty()) Delete(Count() - 1);
}

int TTextCells::IndexOf(const TTextCell* c) const {
  for (int i = 0; i < Count(); ++i)
    if (FItems[i].get() == c) return i;
  return -1;
}

void TTextCells::Update() {
  if (FDControl) FDControl->Redraw();
}

// ---- Layers ----

TDiagramLayer::~TDiagramLayer() {
  TKvDiagram* d = FCollection ? FCollection->Diagram() : nullptr;
  if (!d) return;
  for (TDiagramControl* c : d->DControls()) {
    if (c->LayerObj() != this) continue;
    if (d->IsLoading()) c->FLayerNameFix = FLayerName;
    c->SetLayerObj(nullptr);
  }
}

void TDiagramLayer::SetVisible(bool v) {
  if (v == FVisible) return;
  FVisible = v;
  TKvDiagram* d = FCollection ? FCollection->Diagram() : nullptr;
  if (!d) return;
  for (TDiagramControl* c : d->DControls())
    if (c->LayerObj() == this && !c->IsVisibleNow()) c->SetSelected(false);
  d->Redraw();
}

TDiagramLayer* TDiagramLayers::Add(const QString& name) {
  QString n = name;
  for (int i = 1; n.isEmpty(); ++i) {
    QString candidate = QStringLiteral("Layer%1").arg(i);
    if (!FindByName(candidate)) n = candidate;
  }
  FItems.push_back(std::make_unique<TDiagramLayer>(this, n));
  return FItems.back().get();
}

void TDiagramLayers::Delete(int index) {
  if (index >= 0 && index < Count()) FItems.erase(FItems.begin() + index);
}

void TDiagramLayers::Move(int from, int to) {
  if (from < 0 || from >= Count() || to < 0 || to >= Count() || from == to) return;
  auto layer = std::move(FItems[from]);
  FItems.erase(FItems.begin() + from);
  FItems.insert(FItems.begin() + to, std::move(layer));
}

void TDiagramLayers::Clear() {
  while (!FItems.empty()) FItems.pop_back();
}

TDiagramLayer* TDiagramLayers::FindByName(const QString& name) const {
  if (name.isEmpty()) return nullptr;
  for (const auto& l : FItems)
    if (l->LayerName().compare(name, Qt::CaseInsensitive) == 0) return l.get();
  return nullptr;
}

// ---- Registry ----

namespace {
std::map<QString, TDControlFactory>& ClassTable() {
  static std::map<QString, TDControlFactory> table;
  return table;
}

template <typename T>
TDControlFactory FactoryOf() {
  return [](QObject* owner) -> TDiagramControl* { return new T(owner); };
}
}  // namespace

void KvRegisterClass(const QString& className, TDControlFactory factory) {
  ClassTable().try_emplace(className, std::move(factory));
}

TDControlFactory KvFindClass(const QString& className) {
  auto it = ClassTable().find(className);
  return it == ClassTable().end() ? TDControlFactory{} : it->second;
}

TRegDControl& TRegDControls::Register(const QString& className, TDControlFactory factory,
                                      QString id, QString caption, const QString& category) {
  if (id.isEmpty()) id = className;
  if (caption.isEmpty()) caption = id;
  KvRegisterClass(className, factory);
  TRegDControl row{caption, className, std::move(factory), id, category, {}, {}, false};
  for (TRegDControl& r : FItems)
    if (r.FDControlID.compare(id, Qt::CaseInsensitive) == 0) return r = std::move(row);
  FItems.push_back(std::move(row));
  return FItems.back();
}

const TRegDControl* TRegDControls::FindByID(const QString& id) const {
  for (const TRegDControl& r : FItems)
    if (r.FDControlID.compare(id, Qt::CaseInsensitive) == 0) return &r;
  return nullptr;
}

TRegDControls& RegDControls() {
  static TRegDControls reg = [] {
    TRegDControls r;
    const QString lines = QStringLiteral("Lines");
    r.Register("TDiagramBlock", FactoryOf<TDiagramBlock>());
    r.Register("TDiagramLineJoin", FactoryOf<TDiagramLineJoin>());
    r.Register("TTextBlock", FactoryOf<TTextBlock>(), {}, "Text");
    r.Register("TDiagramLine", FactoryOf<TDiagramLine>(), {}, "Line", lines);
    r.Register("TDiagramSideLine", FactoryOf<TDiagramSideLine>(), {}, "Side line", lines);
    r.Register("TDiagramPolyLine", FactoryOf<TDiagramPolyLine>(), {}, "Poly line", lines);
    r.Register("TPolygonBlock", FactoryOf<TPolygonBlock>(), {}, "Polygon");
    r.Register("TDiagramArc", FactoryOf<TDiagramArc>(), {}, "Arc", lines);
    r.Register("TDiagramBezier", FactoryOf<TDiagramBezier>(), {}, "Bezier", lines);
    KvRegisterLiveBlocks(r);
    KvRegisterUmlBlocks(r);
    return r;
  }();
  return reg;
}

// Called by the first diagram: groups are readable from a stream from then on.
void KvRegisterGroupClass() {
  KvRegisterClass("TGroupBlock", FactoryOf<TGroupBlock>());
}
