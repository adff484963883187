// UML shapes in the block's original coordinates (0..100 both ways): an outline that is filled
// and hit-tested, and marks drawn over it with the block's pen.
#include "UmlBlocks.h"

#include <algorithm>
#include <cmath>

#include "KvPropTable.h"

namespace {

// One figure of a shape, in original coordinates.
struct TUmlFigure {
  enum TKind { fkPolygon, fkEllipse, fkPolyline, fkDashed, fkDisc, fkWhiteRect } Kind;
  TDotArray Points;  // ellipses, discs and rectangles: top-left and bottom-right
};
using F = TUmlFigure;

std::vector<TUmlFigure> RectFigure(double l, double t, double r, double b) {
  return {{F::fkPolygon, {{l, t}, {r, t}, {r, b}, {l, b}}}};
}

// The outline figures (polygons and ellipses) come first, the marks after.
std::vector<TUmlFigure> Figures(TUMLShapeKind kind) {
  const TDotArray package = {{0, 0}, {40, 0}, {40, 15}, {100, 15}, {100, 100}, {0, 100}};
  switch (kind) {
    case usActor:
      return {{F::fkEllipse, {{35, 0}, {65, 22}}},
              {F::fkPolyline, {{50, 22}, {50, 55}}},
              {F::fkPolyline, {{20, 34}, {80, 34}}},
              {F::fkPolyline, {{25, 80}, {50, 55}, {75, 80}}}};
    case usPackage:
      return {{F::fkPolygon, package}, {F::fkPolyline, {{0, 15}, {40, 15}}}};
    case usSubsystem:
      return {{F::fkPolygon, package},
              {F::fkPolyline, {{0, 15}, {40, 15}}},
              {F::fkPolyline, {{84, 22}, {84, 30}}},
              {F::fkPolyline, {{76, 38}, {76, 30}, {92, 30}, {92, 38}}}};
    case usUseCase:
    case usInitialState:
      return {{F::fkEllipse, {{0, 0}, {100, 100}}}};
    case usFinalState:
      return {{F::fkEllipse, {{0, 0}, {100, 100}}}, {F::fkDisc, {{22, 22}, {78, 78}}}};
    case usConstraint:
      return {
          {F::fkPolyline, {{12, 0}, {4, 5}, {4, 45}, {0, 50}, {4, 55}, {4, 95}, {12, 100}}},
          {F::fkPolyline, {{88, 0}, {96, 5}, {96, 45}, {100, 50}, {96, 55}, {96, 95}, {88, 100}}}};
    case usNote:
      return {{F::fkPolygon, {{0, 0}, {85, 0}, {100, 15}, {100, 100}, {0, 100}}},
              {F::fkPolyline, {{85, 0}, {85, 15}, {100, 15}}}};
    case usSignalReceipt:
      return {{F::fkPolygon, {{0, 0}, {100, 0}, {100, 100}, {0, 100}, {20, 50}}}};
    case usSignalSend:
      return {{F::fkPolygon, {{0, 0}, {80, 0}, {100, 50}, {80, 100}, {0, 100}}}};
    case usDecision:
      return {{F::fkPolygon, {{50, 0}, {100, 50}, {50, 100}, {0, 50}}}};
    case usObjectLifeline:
      return {RectFigure(0, 0, 100, 18).front(), {F::fkDashed, {{50, 18}, {50, 100}}}};
    case usComponent:
      return {RectFigure(15, 0, 100, 100).front(),
              {F::fkWhiteRect, {{3, 20}, {27, 32}}},
              {F::fkWhiteRect, {{3, 45}, {27, 57}}}};
    case usNode:
      return {{F::fkPolygon, {{0, 15}, {15, 0}, {100, 0}, {100, 85}, {85, 100}, {0, 100}}},
              {F::fkPolyline, {{0, 15}, {85, 15}, {85, 100}}},
              {F::fkPolyline, {{85, 15}, {100, 0}}}};
    default:  // action states and states are round rectangles, see BuildOutlinePath
      return RectFigure(0, 0, 100, 100);
  }
}

bool Rounded(TUMLShapeKind k) {
  return k == usActionState || k == usState;
}

}  // namespace

// ---- base classes ----

TUMLBlock::TUMLBlock(QObject* owner) : TCustomDiagramBlock(owner) {
  FShape = bsRectangle;
  TKvFont font;
  font.Name = QStringLiteral("Arial");
  SetFont(font);
  SetAlignment(taCenter);
  SetVertAlign(vaCenter);
  SetBounds(0, 0, 120, 70);
  FLinkPoints.Add(50, 0, aoUp);
  FLinkPoints.Add(100, 50, aoRight);
  FLinkPoints.Add(50, 100, aoDown);
  FLinkPoints.Add(0, 50, aoLeft);
}

TUMLLine::TUMLLine(QObject* owner) : TDiagramLine(owner) {}

std::unique_ptr<TLineArrow> TUMLLine::ArrowClass() {
  return std::make_unique<TUMLArrow>(this);
}

void TUMLArrow::Draw(TDgrCanvas& canvas, double scale) const {
  if (!Hollow) return TLineArrow::Draw(canvas, scale);
  // The plain arrow takes the line's colour for its brush; a hollow one is filled white.
  const double dx = FDrawTo.X - FDrawFrom.X, dy = FDrawTo.Y - FDrawFrom.Y;
  const double len = std::hypot(dx, dy);
  if (len == 0) return;
  const double ux = dx / len, uy = dy / len, w = Width * scale, h = Height * scale;
  auto at = [&](double back, double side) {
    return TDot{FDrawTo.X - ux * back - uy * side, FDrawTo.Y - uy * back + ux * side};
  };
  canvas.SaveDrawingState();
  canvas.Pen().Assign(Pen);
  canvas.Brush().BrushMode = bmSolid;
  canvas.Brush().Color = clWhite;
  canvas.Polygon({FDrawTo, at(w, h / 2), at(w, -h / 2)});
  canvas.RestoreDrawingState();
}

// ---- shapes ----

TUMLShapeBlock::TUMLShapeBlock(QObject* owner, TUMLShapeKind kind) : TUMLBlock(owner) {
  FKind = kind;
  FShape = bsNoShape;
  // The look a new element starts with; a stream overrides all of it.
  FTransparent = kind == usConstraint;
  FColor = (kind == usInitialState || kind == usTransitionBar) ? clBlack : clWhite;
  switch (kind) {
    case usActor:
      SetVertAlign(vaBottom);
      SetBounds(0, 0, 50, 90);
      break;
    case usInitialState:
    case usFinalState:
      SetBounds(0, 0, 30, 30);
      break;
    case usTransitionBar:
      SetBounds(0, 0, 120, 8);
      FMinHeight = 4;
      break;
    case usActivation:
      SetBounds(0, 0, 16, 100);
      FMinWidth = 8;
      break;
    case usDecision:
      SetBounds(0, 0, 60, 60);
      break;
    case usObjectLifeline:
      SetVertAlign(vaTop);
      SetBounds(0, 0, 100, 200);
      FTextCells[0]->SetBounds(0, 0, 100, 18);
      break;
    case usPackage:
    case usSubsystem:
      FTextCells[0]->SetBounds(0, 15, 100, 85);
      break;
    default:
      break;
  }
}

void TUMLShapeBlock::SetKind(TUMLShapeKind kind) {
  FKind = kind;
  Redraw();
}

void TUMLShapeBlock::BuildOutlinePath(TDgrGraphicsPath& path, const TBlockDrawer& d) const {
  const TSquare& r = d.FRect;
  if (Rounded(FKind)) {
    const double radius =
        FKind == usActionState ? r.Height() / 2 : std::min(r.Width(), r.Height()) / 5;
    path.AddRoundRect(r, radius, radius);
    return;
  }
  if (FKind == usTransitionBar) return path.AddRectangle(r);
  for (const TUmlFigure& f : Figures(FKind)) {
    TDotArray pts;
    for (const TDot& p : f.Points) pts.push_back(d.PP(p));
    if (f.Kind == F::fkPolygon)
      path.AddPolygon(pts);
    else if (f.Kind == F::fkEllipse)
      path.AddEllipse({pts[0].X, pts[0].Y, pts[1].X, pts[1].Y});
  }
}

TDotArray TUMLShapeBlock::SurroundPoints(const TBlockDrawer& d) const {
  return d.RotByCenter(d.FRect);
}

void TUMLShapeBlock::DrawBody(const TDiagramDrawInfo& info) {
  TCustomDiagramBlock::DrawBody(info);
  if (!info.DgrDrawer) return;
  TDgrCanvas& c = *info.Canvas;
  c.SaveDrawingState();
  c.Pen().Assign(FPen);
  c.Pen().Transparency = FTransparency;
  for (const TUmlFigure& f : Figures(FKind)) {
    if (f.Kind == F::fkPolygon || f.Kind == F::fkEllipse) continue;
    auto path = info.DgrDrawer->CreatePath();
    TDotArray pts;
    for (const TDot& p : f.Points) pts.push_back(info.Drawer->PP(p));
    c.Pen().DashStyle = f.Kind == F::fkDashed ? psDash : FPen.Style;
    c.Brush().BrushMode = bmSolid;
    c.Brush().Color = f.Kind == F::fkDisc ? FPen.Color : clWhite;
    if (f.Kind == F::fkDisc)
      path->AddEllipse({pts[0].X, pts[0].Y, pts[1].X, pts[1].Y});
    else if (f.Kind == F::fkWhiteRect)
      path->AddRectangle({pts[0].X, pts[0].Y, pts[1].X, pts[1].Y});
    else
      path->AddLines(pts);
    info.DgrDrawer->RotatePath(*path);
    if (f.Kind == F::fkDisc || f.Kind == F::fkWhiteRect)
      c.Path(*path);
    else
      c.DrawPath(*path);
  }
  c.RestoreDrawingState();
}

// ---- classes ----

namespace {
QChar VisibilityMark(TUMLVisibility v) {
  return v == uvPrivate ? u'-' : v == uvProtected ? u'#' : u'+';
}
}  // namespace

QString TUMLAttribute::Text() const {
  QString s = QString(VisibilityMark(Visibility)) + Name;
  if (!DataType.isEmpty()) s += ": " + DataType;
  if (!InitialValue.isEmpty()) s += " = " + InitialValue;
  return s;
}

QString TUMLOperation::Text() const {
  static const char* const kinds[] = {"", "in ", "out ", "inout "};
  QStringList params;
  for (const TUMLParameter& p : Parameters) {
    QString s = kinds[p.Kind] + p.Name;
    if (!p.DataType.isEmpty()) s += ": " + p.DataType;
    if (!p.DefaultValue.isEmpty()) s += " = " + p.DefaultValue;
    params << s;
  }
  QString s = QString(VisibilityMark(Visibility)) + Name + "(" + params.join(", ") + ")";
  if (!ReturnType.isEmpty()) s += ": " + ReturnType;
  return s;
}

TUMLBaseClassBlock::TUMLBaseClassBlock(QObject* owner, QString stereotype)
    : TUMLBlock(owner), FTitle(QStringLiteral("Class")), FStereotype(std::move(stereotype)) {
  SetBounds(0, 0, 160, 110);
  FTextCells[0]->SetBounds(0, 0, 100, 26);
  FTextCells.Add()->SetBounds(2, 28, 96, 32);
  FTextCells.Add()->SetBounds(2, 64, 96, 36);
  for (int i = 1; i <= 2; ++i) {
    FTextCells[i]->Alignment = taLeftJustify;
    FTextCells[i]->VertAlign = vaTop;
    FTextCells[i]->WordWrap = false;
  }
  UpdateCompartments();
}

void TUMLBaseClassBlock::SetClassTitle(const QString& title) {
  FTitle = title;
  UpdateCompartments();
}

void TUMLBaseClassBlock::SetStereotype(const QString& s) {
  FStereotype = s;
  UpdateCompartments();
}

void TUMLBaseClassBlock::UpdateCompartments() {
  QString head = FTitle;
  if (!FStereotype.isEmpty())
    head = QString::fromUtf8("\u00AB") + FStereotype + QString::fromUtf8("\u00BB\n") + FTitle;
  FTextCells[0]->SetText(head);
  QStringList attrs, ops;
  for (const TUMLAttribute& a : FAttributes) attrs << a.Text();
  for (const TUMLOperation& o : FOperations) ops << o.Text();
  FTextCells[1]->SetText(attrs.join('\n'));
  FTextCells[2]->SetText(ops.join('\n'));
}

void TUMLBaseClassBlock::DrawBody(const TDiagramDrawInfo& info) {
  TCustomDiagramBlock::DrawBody(info);
  TDgrCanvas& c = *info.Canvas;
  c.SaveDrawingState();
  c.Pen().Assign(FPen);
  for (double y : {27.0, 62.0}) c.Polyline({info.Drawer->Rot(0, y), info.Drawer->Rot(100, y)});
  c.RestoreDrawingState();
}

// ---- lines ----

TUMLGenericLine::TUMLGenericLine(QObject* owner, TUMLLineType type) : TUMLLine(owner) {
  SetLineType(type);
}

void TUMLGenericLine::SetLineType(TUMLLineType t) {
  FLineType = t;
  static const TUMLLineType dashed[] = {ultExtends, ultObjectFlow, ultMessageReturn, ultDependency,
                                        ultBinding, ultTrace,      ultRefinement,    ultUsage};
  FPen.Style =
      std::find(std::begin(dashed), std::end(dashed), t) != std::end(dashed) ? psDash : psSolid;
  auto& head = static_cast<TUMLArrow&>(TargetArrow());
  head.Hollow = t == ultUses || t == ultGeneralize || t == ultRefinement;
  switch (t) {
    case ultCommunicates:
      head.Shape = asNone;
      break;
    case ultMessageCall:
      head.Shape = asSolidArrow;
      break;
    case ultMessageAsync:
      head.Shape = asHalfLine;
      break;
    default:
      head.Shape = head.Hollow ? asSolidArrow : asLineArrow;
  }
  static const char* const labels[] = {"extend", "uses", "", "",     "",      "",       "",   "",
                                       "",       "",     "", "bind", "trace", "refine", "use"};
  if (FTextCells.Count() > 0)
    FTextCells[0]->SetText(*labels[t] ? QString::fromUtf8("\u00AB") + labels[t] +
                                            QString::fromUtf8("\u00BB")
                                      : QString());
  Redraw();
}

TUMLAssociation::TUMLAssociation(QObject* owner, bool composition) : TUMLLine(owner) {
  if (composition) {
    SourceArrow().Shape = asDiamond;
    SourceArrow().Width = 16;
  }
}

// ---- stored properties ----

namespace {

const TKvEnumNames& LineTypeNames() {
  static const TKvEnumNames n = {
      "ultExtends",    "ultUses",        "ultCommunicates",  "ultControlFlow",  "ultObjectFlow",
      "ultMessage",    "ultMessageCall", "ultMessageReturn", "ultMessageAsync", "ultGeneralize",
      "ultDependency", "ultBinding",     "ultTrace",         "ultRefinement",   "ultUsage"};
  return n;
}

const TKvEnumNames& ShapeKindNames() {
  static const TKvEnumNames n = {
      "usActor",         "usPackage",    "usUseCase",       "usConstraint", "usNote",
      "usActionState",   "usState",      "usInitialState",  "usFinalState", "usTransitionBar",
      "usSignalReceipt", "usSignalSend", "usObjectInState", "usDecision",   "usObjectLifeline",
      "usActivation",    "usObject",     "usComponent",     "usNode",       "usSubsystem"};
  return n;
}

}  // namespace

void TUMLShapeBlock::WriteOwnProps(TKvBinaryWriter& w) const {
  w.WritePropName("Kind");
  w.WriteIdent(ShapeKindNames()[FKind]);
}
bool TUMLShapeBlock::ReadOwnProp(const QByteArray& name, const TKvValue& v, TKvReadContext&) {
  if (name != "Kind") return false;
  SetKind(TUMLShapeKind(std::clamp(KvEnumIndex(ShapeKindNames(), v), 0, int(usSubsystem))));
  return true;
}

void TUMLGenericLine::WriteOwnProps(TKvBinaryWriter& w) const {
  w.WritePropName("LineType");
  w.WriteIdent(LineTypeNames()[FLineType]);
}
bool TUMLGenericLine::ReadOwnProp(const QByteArray& name, const TKvValue& v, TKvReadContext&) {
  if (name != "LineType") return false;
  FLineType = TUMLLineType(std::clamp(KvEnumIndex(LineTypeNames(), v), 0, int(ultUsage)));
  return true;
}

void TUMLBaseClassBlock::WriteOwnProps(TKvBinaryWriter& w) const {
  auto str = [&w](const char* name, const QString& s) {
    w.WritePropName(name);
    w.WriteString(s);
  };
  str("ClassTitle", FTitle);
  if (!FStereotype.isEmpty()) str("Stereotype", FStereotype);
  // One line each: visibility, name, type and value, separated by tabs.
  QStringList attrs, ops;
  for (const TUMLAttribute& a : FAttributes)
    attrs << QStringList{QString::number(a.Visibility), a.Name, a.DataType, a.InitialValue}.join(
        '\t');
  for (const TUMLOperation& o : FOperations) {
    QStringList row{QString::number(o.Visibility), o.Name, o.ReturnType};
    for (const TUMLParameter& p : o.Parameters)
      row << QString::number(p.Kind) << p.Name << p.DataType << p.DefaultValue;
    ops << row.join('\t');
  }
  if (!attrs.isEmpty()) str("Attributes", attrs.join('\n'));
  if (!ops.isEmpty()) str("Operations", ops.join('\n'));
}

bool TUMLBaseClassBlock::ReadOwnProp(const QByteArray& name, const TKvValue& v, TKvReadContext&) {
  auto vis = [](const QString& s) { return TUMLVisibility(std::clamp(s.toInt(), 0, 2)); };
  if (name == "ClassTitle") {
    FTitle = v.AsString();
  } else if (name == "Stereotype") {
    FStereotype = v.AsString();
  } else if (name == "Attributes") {
    FAttributes.clear();
    for (const QString& line : v.AsString().split('\n')) {
      const QStringList f = line.split('\t');
      if (f.size() < 4) continue;
      FAttributes.push_back({f[1], f[2], f[3], vis(f[0])});
    }
  } else if (name == "Operations") {
    FOperations.clear();
    for (const QString& line : v.AsString().split('\n')) {
      const QStringList f = line.split('\t');
      if (f.size() < 3) continue;
      TUMLOperation o{f[1], f[2], vis(f[0]), {}};
      for (int i = 3; i + 3 < f.size(); i += 4)
        o.Parameters.push_back({f[i + 1], f[i + 2], f[i + 3],
                                TUMLParamKind(std::clamp(f[i].toInt(), 0, int(pkInOut)))});
      FOperations.push_back(o);
    }
  } else {
    return false;
  }
  return true;
}

// ---- registry ----

namespace {

struct TUmlRegistrar {
  TRegDControls& R;
  QString Category;
  QString Tag;
  // Elements that several categories offer get the category's tag after their first row.
  QString Id(const QString& base) const { return R.FindByID(base) ? base + "_" + Tag : base; }
  void Shape(const char* caption, const char* suffix, TUMLShapeKind kind) {
    R.Register(
        "TUMLShapeBlock",
        [kind](QObject* o) -> TDiagramControl* { return new TUMLShapeBlock(o, kind); },
        Id(QString("TUMLShapeBlock_") + suffix), caption, Category);
  }
  void Class(const char* caption, const char* suffix, const char* stereotype) {
    R.Register(
        "TUMLBaseClassBlock",
        [stereotype](QObject* o) -> TDiagramControl* {
          return new TUMLBaseClassBlock(o, QString::fromUtf8(stereotype));
        },
        Id(QString("TUMLBaseClassBlock_") + suffix), caption, Category);
  }
  void Line(const char* caption, const char* suffix, TUMLLineType type) {
    R.Register(
        "TUMLGenericLine",
        [type](QObject* o) -> TDiagramControl* { return new TUMLGenericLine(o, type); },
        Id(QString("TUMLGenericLine_") + suffix), caption, Category);
  }
  void Association(const char* caption, const char* suffix, bool composition) {
    R.Register(
        "TUMLAssociation",
        [composition](QObject* o) -> TDiagramControl* {
          return new TUMLAssociation(o, composition);
        },
        Id(QString("TUMLAssociation_") + suffix), caption, Category);
  }
  void Notes() {
    Shape("Constraint", "constraint", usConstraint);
    Shape("Note", "note", usNote);
  }
};

}  // namespace

void KvRegisterUmlBlocks(TRegDControls& r) {
  TUmlRegistrar useCase{r, QStringLiteral("UML Use Case"), "usecase"};
  useCase.Shape("Actor", "actor", usActor);
  useCase.Shape("Package", "package", usPackage);
  useCase.Shape("Use Case", "usecase", usUseCase);
  useCase.Line("Uses", "uses", ultUses);
  useCase.Line("Communicates", "communicates", ultCommunicates);
  useCase.Notes();

  TUmlRegistrar activity{r, QStringLiteral("UML Activity"), "activity"};
  activity.Shape("Action State", "actionstate", usActionState);
  activity.Shape("State", "state", usState);
  activity.Shape("Initial State", "initialstate", usInitialState);
  activity.Shape("Final State", "finalstate", usFinalState);
  activity.Shape("Transition Fork", "fork", usTransitionBar);
  activity.Shape("Transition Join", "join", usTransitionBar);
  activity.Shape("Signal Receipt", "signalreceipt", usSignalReceipt);
  activity.Shape("Signal Send", "signalsend", usSignalSend);
  activity.Line("Object Flow", "objectflow", ultObjectFlow);
  activity.Line("Control Flow", "controlflow", ultControlFlow);
  activity.Shape("Object In State", "objectinstate", usObjectInState);
  activity.Shape("Decision", "decision", usDecision);
  activity.Notes();

  TUmlRegistrar sequence{r, QStringLiteral("UML Sequence"), "sequence"};
  sequence.Shape("Object Lifeline", "lifeline", usObjectLifeline);
  sequence.Shape("Activation", "activation", usActivation);
  sequence.Line("Message", "message", ultMessage);
  sequence.Line("Message (call)", "messagecall", ultMessageCall);
  sequence.Line("Message (return)", "messagereturn", ultMessageReturn);
  sequence.Line("Message (async.)", "messageasync", ultMessageAsync);
  sequence.Notes();

  TUmlRegistrar statics{r, QStringLiteral("UML Static"), "static"};
  statics.Shape("Package", "package", usPackage);
  statics.Class("Class", "class", "");
  statics.Class("Data Type", "datatype", "datatype");
  statics.Class("Interface", "interface", "interface");
  statics.Class("Metaclass", "metaclass", "metaclass");
  statics.Class("Signal", "signal", "signal");
  statics.Class("Exception", "exception", "exception");
  statics.Class("Utility", "utility", "utility");
  statics.Class("Parameterized Class", "parameterized", "parameterized");
  statics.Class("Association Class", "associationclass", "association");
  statics.Shape("Object", "object", usObject);
  statics.Class("Bound Element", "boundelement", "bind");
  statics.Line("Generalization", "generalization", ultGeneralize);
  statics.Association("Binary Association", "association", false);
  statics.Association("Composition", "composition", true);
  statics.Association("Link", "link", false);
  statics.Line("Dependency", "dependency", ultDependency);
  statics.Line("Binding", "binding", ultBinding);
  statics.Line("Trace", "trace", ultTrace);
  statics.Line("Refinement", "refinement", ultRefinement);
  statics.Line("Usage", "usage", ultUsage);
  statics.Shape("Subsystem", "subsystem", usSubsystem);
  statics.Notes();

  TUmlRegistrar component{r, QStringLiteral("UML Component"), "component"};
  component.Shape("Package", "package", usPackage);
  component.Shape("Component", "component", usComponent);
  component.Shape("Node", "node", usNode);
  component.Line("Dependency", "dependency", ultDependency);
  component.Notes();
}
