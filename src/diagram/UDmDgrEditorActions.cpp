#include "UDmDgrEditorActions.h"

#include <QApplication>
#include <QClipboard>
#include <QColorDialog>
#include <QFontDialog>
#include <algorithm>

#include "DiagramLibrary.h"
#include "KvDiagram_Print.h"
#include "KvObjectStream.h"
#include "LiveDiagram.h"
#include "UDgrLiveRun.h"
#include "UDgrPageSettings.h"
#include "UDgrPreview.h"

// ---- actions ----

TDiagramAction::TDiagramAction(QObject* owner, const QString& name, const QString& caption,
                               const QKeySequence& shortcut, QString undoName)
    : QAction(caption, owner), FUndoName(std::move(undoName)) {
  setObjectName(name);
  setShortcut(shortcut);
  connect(this, &QAction::triggered, this, [this] { Execute(); });
}

void TDiagramAction::Update() {
  // Path threads stand on the blocks of a running diagram: the scene must keep still.
  auto* live = dynamic_cast<TLiveDiagram*>(FDiagram.data());
  const bool locked = !WhileRunning && live && live->Running();
  setEnabled(FDiagram && !locked && (!OnTest || OnTest(*FDiagram)));
  if (isCheckable() && FDiagram && OnChecked) setChecked(OnChecked(*FDiagram));
}

void TDiagramAction::Execute() {
  if (!FDiagram) return;
  Update();
  if (!isEnabled()) return;
  TKvDiagram& diagram = *FDiagram;
  const auto& stack = diagram.UndoStack();
  const auto entriesBefore = stack.FItems.size();
  const QString topBefore = diagram.NextUndoAction();
  Perform(diagram);
  // The engine's own operations (delete, paste, group) leave their entry themselves.
  const bool engineRecorded =
      stack.FItems.size() != entriesBefore || diagram.NextUndoAction() != topBefore;
  if (!FUndoName.isEmpty() && !engineRecorded) {
    diagram.PushUndoStack(FUndoName);
    diagram.Modified();
  }
  diagram.Redraw();
}

TDiagramSetZoom::TDiagramSetZoom(QObject* owner, const QString& name, int zoom)
    : TDiagramAction(owner, name, QStringLiteral("%1%").arg(zoom)), Zoom(zoom) {
  WhileRunning = true;
  setCheckable(true);
  OnChecked = [this](TKvDiagram& d) { return d.Zoom() == Zoom; };
}

namespace {

std::vector<TDiagramControl*> Selection(const TKvDiagram& d) {
  std::vector<TDiagramControl*> out;
  for (int i = 0; i < d.SelectedCount(); ++i) out.push_back(d.GetSelecteds(i));
  return out;
}

template <class T>
std::vector<T*> SelectedOf(const TKvDiagram& d) {
  std::vector<T*> out;
  for (TDiagramControl* c : Selection(d))
    if (auto* t = dynamic_cast<T*>(c)) out.push_back(t);
  return out;
}

bool HasSelection(TKvDiagram& d) {
  return d.SelectedCount() > 0;
}
bool HasBlocks(TKvDiagram& d) {
  return !SelectedOf<TCustomDiagramBlock>(d).empty();
}
bool HasLines(TKvDiagram& d) {
  return !SelectedOf<TCustomDiagramLine>(d).empty();
}

// The colour the user picks in the colour form; false when cancelled.
bool PickColor(TColor& color) {
  QColorDialog dialog(ColorToQColor(color));
  dialog.setObjectName(QStringLiteral("ColorDialog"));
  if (KvDialogs().ShowModal(dialog) != mrOk) return false;
  color = QColorToColor(dialog.currentColor());
  return true;
}

}  // namespace

// ---- alignment ----

QString BlocksAlignmentCaption(TBlocksAlignment a) {
  static const char* const captions[BlocksAlignmentCount] = {
      "Align left edges",         "Align right edges",
      "Align top edges",          "Align bottom edges",
      "Align horizontal centers", "Align vertical centers",
      "Make same width",          "Make same height",
      "Make same size",           "Space equally horizontally",
      "Space equally vertically", "Increment horizontal space",
      "Increment vertical space", "Decrement horizontal space",
      "Decrement vertical space"};
  return QString::fromLatin1(captions[a]);
}

namespace {

// Spreads the blocks along one axis: equal gaps between first and last, or each gap changed
// by step. pos/size read an axis of a block, place moves a block to a position on it.
void Space(std::vector<TCustomDiagramBlock*> blocks,
           const std::function<double(TCustomDiagramBlock*)>& pos,
           const std::function<double(TCustomDiagramBlock*)>& size,
           const std::function<void(TCustomDiagramBlock*, double)>& place, bool equal,
           double step) {
  if (blocks.size() < 2) return;
  std::sort(blocks.begin(), blocks.end(),
            [&](TCustomDiagramBlock* a, TCustomDiagramBlock* b) { return pos(a) < pos(b); });
  double gap = step;
  if (equal) {
    double sizes = 0;
    for (auto* b : blocks) sizes += size(b);
    const double span = pos(blocks.back()) + size(blocks.back()) - pos(blocks.front());
    gap = (span - sizes) / double(blocks.size() - 1);
  }
  double at = pos(blocks.front());
  for (size_t i = 0; i < blocks.size(); ++i) {
    const double next = equal ? at : pos(blocks[i]) + step * double(i);
    place(blocks[i], next);
    at = next + size(blocks[i]) + gap;
  }
}

}  // namespace

void KvAlignSelectedBlocks(TKvDiagram& diagram, TBlocksAlignment a) {
  std::vector<TCustomDiagramBlock*> blocks = SelectedOf<TCustomDiagramBlock>(diagram);
  if (blocks.size() < 2) return;
  const TSquare ref = blocks.front()->BoundsRect();
  auto left = [](TCustomDiagramBlock* b) { return b->Left(); };
  auto top = [](TCustomDiagramBlock* b) { return b->Top(); };
  auto width = [](TCustomDiagramBlock* b) { return b->Width(); };
  auto height = [](TCustomDiagramBlock* b) { return b->Height(); };
  auto setLeft = [](TCustomDiagramBlock* b, double v) { b->SetLeft(v); };
  auto setTop = [](TCustomDiagramBlock* b, double v) { b->SetTop(v); };
  const double dx = diagram.SnapGrid.SizeX, dy = diagram.SnapGrid.SizeY;
  diagram.BeginUpdate();
  switch (a) {
    case baSpaceEquallyHorz:
      Space(blocks, left, width, setLeft, true, 0);
      break;
    case baSpaceEquallyVert:
      Space(blocks, top, height, setTop, true, 0);
      break;
    case baIncHorzSpace:
      Space(blocks, left, width, setLeft, false, dx);
      break;
    case baIncVertSpace:
      Space(blocks, top, height, setTop, false, dy);
      break;
    case baDecHorzSpace:
      Space(blocks, left, width, setLeft, false, -dx);
      break;
    case baDecVertSpace:
      Space(blocks, top, height, setTop, false, -dy);
      break;
    default:
      for (TCustomDiagramBlock* b : blocks) {
        TSquare r = b->BoundsRect();
        const double w = r.Width(), h = r.Height();
        switch (a) {
          case baLeft:
            r = {ref.Left, r.Top, ref.Left + w, r.Bottom};
            break;
          case baRight:
            r = {ref.Right - w, r.Top, ref.Right, r.Bottom};
            break;
          case baTop:
            r = {r.Left, ref.Top, r.Right, ref.Top + h};
            break;
          case baBottom:
            r = {r.Left, ref.Bottom - h, r.Right, ref.Bottom};
            break;
          case baHorzCenter: {
            const double cy = (ref.Top + ref.Bottom) / 2;
            r = {r.Left, cy - h / 2, r.Right, cy + h / 2};
            break;
          }
          case baVertCenter: {
            const double cx = (ref.Left + ref.Right) / 2;
            r = {cx - w / 2, r.Top, cx + w / 2, r.Bottom};
            break;
          }
          case baSameWidth:
            r.Right = r.Left + ref.Width();
            break;
          case baSameHeight:
            r.Bottom = r.Top + ref.Height();
            break;
          case baSameSize:
            r.Right = r.Left + ref.Width();
            r.Bottom = r.Top + ref.Height();
            break;
          default:
            break;
        }
        b->SetBoundsRect(r);
      }
  }
  diagram.EndUpdate();
}

TDiagramAlign::TDiagramAlign(QObject* owner, const QString& name, TBlocksAlignment alignment)
    : TDiagramAction(owner, name, BlocksAlignmentCaption(alignment), {}, QStringLiteral("Align")),
      Alignment(alignment) {
  OnTest = [](TKvDiagram& d) { return SelectedOf<TCustomDiagramBlock>(d).size() > 1; };
}

TDiagramArrowShape::TDiagramArrowShape(QObject* owner, const QString& name, const QString& caption,
                                       TArrowShape shape, bool target)
    : TDiagramAction(owner, name, caption, {}, QStringLiteral("arrow shape")),
      Shape(shape),
      Target(target) {
  OnTest = HasLines;
}

void TDiagramArrowShape::Perform(TKvDiagram& diagram) {
  for (TCustomDiagramLine* line : SelectedOf<TCustomDiagramLine>(diagram))
    (Target ? line->TargetArrow() : line->SourceArrow()).Shape = Shape;
}

TDiagramConnectionId::TDiagramConnectionId(QObject* owner, const QString& name,
                                           const QString& caption, QString connectionId)
    : TDiagramAction(owner, name, caption), ConnectionId(std::move(connectionId)) {
  setCheckable(true);
  OnChecked = [this](TKvDiagram& d) { return d.ConnectionLineId == ConnectionId; };
}

TDiagramInsertBlock::TDiagramInsertBlock(QObject* owner, const QString& name,
                                         const QString& caption, QString id)
    : TDiagramAction(owner, name, caption), DControlID(std::move(id)) {}

// ---- the module ----

TdmDgrEditorActions::TdmDgrEditorActions(QObject* owner) : QObject(owner) {
  setObjectName(QStringLiteral("dmDgrEditorActions"));
  const QString filter = QStringLiteral("Diagram files (*.dgr)|*.dgr|All files (*.*)|*.*");
  for (TKvFileDialogRequest* r : {&OpenDialog, &SaveDialog}) {
    r->Filter = filter;
    r->DefaultExt = QStringLiteral(".dgr");
    r->Title = QStringLiteral("Select diagram file");
  }
  PictureDialog.Title = QStringLiteral("Select picture file");
  PictureDialog.Filter = QStringLiteral(
      "Pictures (*.png *.jpg *.jpeg *.bmp *.gif)|*.png;*.jpg;*.jpeg;*.bmp;*.gif|"
      "All files (*.*)|*.*");
  CreateEditActions();
  CreateViewActions();
  CreateFormatActions();
  CreateDocumentActions();
  CreateRunActions();
}

TDiagramAction* TdmDgrEditorActions::Add(std::vector<QAction*>& list, TDiagramAction* action) {
  action->setParent(this);
  action->SetDiagram(FDiagram);
  list.push_back(action);
  return action;
}

TDiagramAction* TdmDgrEditorActions::Make(std::vector<QAction*>& list, const QString& name,
                                          const QString& caption, TDiagramAction::TPerform perform,
                                          const QKeySequence& key, const QString& undo) {
  auto* a = new TDiagramAction(this, name, caption, key, undo);
  a->OnPerform = std::move(perform);
  return Add(list, a);
}

void TdmDgrEditorActions::CreateEditActions() {
  auto& L = EditActions;
  Make(
      L, "DiagramCut1", "Cu&t", [](TKvDiagram& d) { d.CutToClipboard(); },
      QKeySequence(Qt::CTRL | Qt::Key_X))
      ->OnTest = [](TKvDiagram& d) { return d.CanCopy(); };
  Make(
      L, "DiagramCopy1", "&Copy", [](TKvDiagram& d) { d.CopyToClipboard(); },
      QKeySequence(Qt::CTRL | Qt::Key_C))
      ->OnTest = [](TKvDiagram& d) { return d.CanCopy(); };
  Make(
      L, "DiagramPaste1", "&Paste", [](TKvDiagram& d) { d.PasteFromClipboard(); },
      QKeySequence(Qt::CTRL | Qt::Key_V), "paste")
      ->OnTest = [](TKvDiagram& d) { return d.CanPaste(); };
  Make(
      L, "DiagramSelectAll1", "Se&lect all", [](TKvDiagram& d) { d.SelectAll(); },
      QKeySequence(Qt::CTRL | Qt::Key_A));
  Make(
      L, "DiagramDelete1", "&Delete", [](TKvDiagram& d) { d.DeleteSelecteds(); },
      QKeySequence(Qt::Key_Delete), "delete")
      ->OnTest = HasSelection;
  Make(
      L, "DiagramEditText1", "Edit &text", [](TKvDiagram& d) { d.EditBlockText(); },
      QKeySequence(Qt::Key_F2))
      ->OnTest = HasSelection;
  Make(
      L, "DiagramUndoAction1", "Undo", [](TKvDiagram& d) { d.Undo(); },
      QKeySequence(Qt::CTRL | Qt::Key_Z))
      ->OnTest = [](TKvDiagram& d) { return d.UndoStack().FCurrent > 0; };
  Make(
      L, "DiagramRedoAction1", "Redo", [](TKvDiagram& d) { d.Redo(); },
      QKeySequence(Qt::CTRL | Qt::SHIFT | Qt::Key_Z))
      ->OnTest = [](TKvDiagram& d) {
    return int(d.UndoStack().FItems.size()) - 1 > d.UndoStack().FCurrent;
  };
  Make(
      L, "DiagramBringToFront1", "Bring to front", [](TKvDiagram& d) { d.BringToFront(); }, {},
      "bring to front")
      ->OnTest = HasSelection;
  Make(
      L, "DiagramSendToBack1", "Send to back", [](TKvDiagram& d) { d.SendToBack(); }, {},
      "send to back")
      ->OnTest = HasSelection;
  Make(
      L, "acGroup", "Group", [](TKvDiagram& d) { d.GroupSelectedBlocks(); }, {}, "group")
      ->OnTest = [](TKvDiagram& d) { return d.SelectedBlockCount(cfIgnoreAsMembers) > 1; };
  Make(
      L, "acUngroup", "Ungroup", [](TKvDiagram& d) { d.UngroupSelectedBlocks(); }, {}, "ungroup")
      ->OnTest = [](TKvDiagram& d) {
    return std::ranges::any_of(Selection(d), [](TDiagramControl* c) { return c->IsGroup(); });
  };
  Make(L, "acAddLibrary", "Add to Library...", [this](TKvDiagram& d) {
    if (LibManager) LibManager->CreateItemDlg(d.GetSelecteds(0));
  })->OnTest = [this](TKvDiagram& d) { return LibManager && d.SelectedCount() == 1; };
  Make(L, "acEditProperties", "Properties ...", [this](TKvDiagram&) {
    if (OnEditProperties) OnEditProperties();
  })->OnTest = HasSelection;
  Make(L, "acCopyAsImage", "Copy as image", [this](TKvDiagram&) { CopyAsImage(); })->OnTest =
      HasSelection;
  for (int i = 0; i < BlocksAlignmentCount; ++i)
    Add(L,
        new TDiagramAlign(this, QStringLiteral("DiagramAlign%1").arg(i + 1), TBlocksAlignment(i)));
}

void TdmDgrEditorActions::CreateViewActions() {
  auto& L = ViewActions;
  int n = 0;
  for (int zoom : {300, 150, 100, 75, 50, 25, 10})
    Add(L, new TDiagramSetZoom(this, QStringLiteral("DiagramSetZoom%1").arg(++n), zoom));
  auto toggle = [&](const QString& name, const QString& caption,
                    std::function<bool&(TKvDiagram&)> flag) {
    TDiagramAction* a = Make(L, name, caption, [flag](TKvDiagram& d) {
      flag(d) = !flag(d);
      d.Redraw();
    });
    a->setCheckable(true);
    a->OnChecked = [flag](TKvDiagram& d) { return flag(d); };
    return a;
  };
  // What only changes the view may change while a live diagram runs.
  auto view = [&](const QString& name, const QString& caption,
                  std::function<bool&(TKvDiagram&)> flag) {
    toggle(name, caption, std::move(flag))->WhileRunning = true;
  };
  view("DiagramViewLeftRuler1", "&Left ruler",
       [](TKvDiagram& d) -> bool& { return d.LeftRuler.Visible; });
  view("DiagramViewTopRuler1", "&Top ruler",
       [](TKvDiagram& d) -> bool& { return d.TopRuler.Visible; });
  view("DiagramGrid1", "Grid", [](TKvDiagram& d) -> bool& { return d.SnapGrid.Visible; });
  toggle("acDiagramGridActive", "Grid active",
         [](TKvDiagram& d) -> bool& { return d.SnapGrid.Active; });
  toggle("acAutomaticNodes", "&Automatic nodes",
         [](TKvDiagram& d) -> bool& { return d.AutomaticNodes; });
  Make(L, "acDiagramGridProperties", "Grid properties ...", [this](TKvDiagram&) {
    if (OnGridProperties) OnGridProperties();
  });
  Make(L, "acBackgroundLoad", "Load picture...", [this](TKvDiagram& d) {
    TKvFileDialogRequest r = PictureDialog;
    if (!KvDialogs().OpenFileDialog(r)) return;
    d.Background.Bitmap = QImage(r.FileName);
    d.Background.Visible = !d.Background.Bitmap.isNull();
    SetModified(true);
  });
  Make(L, "acBackgroundClear", "Clear", [this](TKvDiagram& d) {
    d.Background.Bitmap = QImage();
    d.Background.Visible = false;
    SetModified(true);
  })->OnTest = [](TKvDiagram& d) { return d.Background.Visible; };
  Add(L, new TDiagramConnectionId(this, "DiagramConnectionId1", "Line"));
}

void TdmDgrEditorActions::CreateFormatActions() {
  auto& L = FormatActions;
  Make(
      L, "DiagramShapeColor1", "Shape color...",
      [](TKvDiagram& d) {
        auto blocks = SelectedOf<TCustomDiagramBlock>(d);
        TColor c = blocks.front()->Color();
        if (PickColor(c))
          for (auto* b : blocks) b->SetColor(c);
      },
      {}, "color")
      ->OnTest = HasBlocks;
  Make(
      L, "DiagramLineColor1", "Line color...",
      [](TKvDiagram& d) {
        auto lines = SelectedOf<TCustomDiagramLine>(d);
        TColor c = lines.front()->FPen.Color;
        if (!PickColor(c)) return;
        for (auto* l : lines) {
          l->FPen.Color = c;
          l->FSelPen.Color = c;
        }
      },
      {}, "line color")
      ->OnTest = HasLines;
  Make(
      L, "DiagramBlockPicture1", "Picture...",
      [this](TKvDiagram& d) {
        TKvFileDialogRequest r = PictureDialog;
        if (!KvDialogs().OpenFileDialog(r)) return;
        const QImage img(r.FileName);
        for (auto* b : SelectedOf<TCustomDiagramBlock>(d)) {
          b->FBitmap = img;
          b->CreateGraphics();
        }
      },
      {}, "picture")
      ->OnTest = HasBlocks;
  const char* const arrows[] = {"None",    "Solid arrow", "Line arrow",
                                "Ellipse", "Rectangle",   "Diamond"};
  const TArrowShape shapes[] = {asNone,    asSolidArrow, asLineArrow,
                                asEllipse, asRectangle,  asDiamond};
  for (int end = 0; end < 2; ++end)
    for (int i = 0; i < 6; ++i)
      Add(L,
          new TDiagramArrowShape(this, QStringLiteral("DiagramArrowShape%1").arg(end * 6 + i + 1),
                                 QString::fromLatin1(arrows[i]), shapes[i], end == 0));
  for (bool target : {true, false}) {
    TDiagramAction* a = Make(
        L, target ? "acHasTargetArrow" : "acHasSourceArrow",
        target ? "Target arrow" : "Source arrow",
        [target](TKvDiagram& d) {
          for (auto* l : SelectedOf<TCustomDiagramLine>(d)) {
            TLineArrow& arrow = target ? l->TargetArrow() : l->SourceArrow();
            arrow.Shape = arrow.Shape == asNone ? asSolidArrow : asNone;
          }
        },
        {}, "arrow shape");
    a->setCheckable(true);
    a->OnTest = HasLines;
    a->OnChecked = [target](TKvDiagram& d) {
      auto lines = SelectedOf<TCustomDiagramLine>(d);
      return !lines.empty() &&
             (target ? lines.front()->TargetArrow() : lines.front()->SourceArrow()).Shape != asNone;
    };
  }
  Make(
      L, "DiagramControlFont1", "Font...",
      [](TKvDiagram& d) {
        const auto sel = Selection(d);
        const TKvFont f = sel.front()->Font();
        QFont initial(f.Name, f.Size);
        initial.setBold(f.Bold);
        initial.setItalic(f.Italic);
        initial.setUnderline(f.Underline);
        QFontDialog dialog(initial);
        dialog.setObjectName(QStringLiteral("FontDialog"));
        if (KvDialogs().ShowModal(dialog) != mrOk) return;
        const QFont q = dialog.currentFont();
        TKvFont chosen = f;
        chosen.Name = q.family();
        chosen.Size = q.pointSize() > 0 ? q.pointSize() : f.Size;
        chosen.FHeight = 0;
        chosen.Bold = q.bold();
        chosen.Italic = q.italic();
        chosen.Underline = q.underline();
        for (TDiagramControl* c : sel) c->SetFont(chosen);
      },
      QKeySequence(Qt::CTRL | Qt::Key_F), "text font")
      ->OnTest = HasSelection;
  Make(
      L, "DiagramGradientSetting1", "Gradient setting ...",
      [](TKvDiagram& d) {
        auto blocks = SelectedOf<TCustomDiagramBlock>(d);
        TDiagramGradient& g = blocks.front()->FGradient;
        TColor end = g.EndColor;
        if (!PickColor(end)) return;
        for (auto* b : blocks) {
          b->FGradient.Visible = true;
          b->FGradient.StartColor = b->Color();
          b->FGradient.EndColor = end;
        }
      },
      {}, "gradient")
      ->OnTest = HasBlocks;
  Make(
      L, "DiagramShadow1", "Shadow settings ...",
      [](TKvDiagram& d) {
        auto blocks = SelectedOf<TCustomDiagramBlock>(d);
        TColor c = blocks.front()->FShadow.Color;
        if (!PickColor(c)) return;
        for (auto* b : blocks) {
          b->FShadow.Visible = true;
          b->FShadow.Color = c;
        }
      },
      {}, "shadow")
      ->OnTest = HasBlocks;

  auto fontStyle = [&](const char* name, const char* caption, bool TKvFont::*flag) {
    TDiagramAction* a = Make(
        L, name, caption,
        [flag](TKvDiagram& d) {
          const auto sel = Selection(d);
          const bool on = !(sel.front()->Font().*flag);
          for (TDiagramControl* c : sel) {
            TKvFont f = c->Font();
            f.*flag = on;
            c->SetFont(f);
          }
        },
        {}, "text font");
    a->setCheckable(true);
    a->OnTest = HasSelection;
    a->OnChecked = [flag](TKvDiagram& d) {
      return d.SelectedCount() > 0 && d.GetSelecteds(0)->Font().*flag;
    };
  };
  fontStyle("acBold", "Bold", &TKvFont::Bold);
  fontStyle("acItalic", "Italic", &TKvFont::Italic);
  fontStyle("acUnderline", "Underline", &TKvFont::Underline);

  auto textAlign = [&](const char* name, const char* caption, auto set, auto get) {
    TDiagramAction* a = Make(
        L, name, caption,
        [set](TKvDiagram& d) {
          for (auto* b : SelectedOf<TCustomDiagramBlock>(d)) set(b);
        },
        {}, "text alignment");
    a->setCheckable(true);
    a->OnTest = HasBlocks;
    a->OnChecked = [get](TKvDiagram& d) {
      auto blocks = SelectedOf<TCustomDiagramBlock>(d);
      return !blocks.empty() && get(blocks.front());
    };
  };
  for (auto [name, caption, value] : {std::tuple{"acAlignLeft", "Align Left", taLeftJustify},
                                      std::tuple{"acAlignCenter", "Align Center", taCenter},
                                      std::tuple{"acAlignRight", "Align Right", taRightJustify}})
    textAlign(
        name, caption, [value](TCustomDiagramBlock* b) { b->SetAlignment(value); },
        [value](TCustomDiagramBlock* b) { return b->Alignment() == value; });
  for (auto [name, caption, value] : {std::tuple{"acVertAlignTop", "Align Top", vaTop},
                                      std::tuple{"acVertAlignMiddle", "Align Middle", vaCenter},
                                      std::tuple{"acVertAlignBottom", "Align Bottom", vaBottom}})
    textAlign(
        name, caption, [value](TCustomDiagramBlock* b) { b->SetVertAlign(value); },
        [value](TCustomDiagramBlock* b) { return b->VertAlign() == value; });
}

void TdmDgrEditorActions::CreateDocumentActions() {
  auto& L = EditActions;
  // New and Open stop a run before they replace the scene.
  Make(
      L, "acNewDiagram", "&New diagram...", [this](TKvDiagram&) { NewDiagram(); },
      QKeySequence(Qt::CTRL | Qt::Key_N))
      ->WhileRunning = true;
  Make(
      L, "acOpenDiagram", "&Open diagram...", [this](TKvDiagram&) { OpenDiagram(); },
      QKeySequence(Qt::CTRL | Qt::Key_F11))
      ->WhileRunning = true;
  Make(
      L, "acSaveDiagram", "&Save diagram", [this](TKvDiagram&) { SaveDiagram(); },
      QKeySequence(Qt::CTRL | Qt::Key_S));
  Make(L, "acSaveDiagramAs", "&Save as...", [this](TKvDiagram&) { SaveDiagramAs(); });
  Make(L, "acPrintDiagram", "&Print...", [](TKvDiagram& d) { d.Print(true); });
  Make(L, "acPreviewDiagram", "Print Pre&view...", [](TKvDiagram& d) {
    TfmDiagramPreview preview(&d, d.window());
    KvDialogs().ShowModal(preview);
  });
  Make(L, "acPageSetup", "Page Setup...", [](TKvDiagram& d) { TfmDgrPageSettings::Execute(d); });
}

void TdmDgrEditorActions::CreateRunActions() {
  FLiveRun = new TDgrLiveRun(this);
  auto& L = EditActions;
  auto command = [&](const char* name, const char* caption, const QKeySequence& key,
                     void (TDgrLiveRun::*perform)(), bool (TDgrLiveRun::*test)() const) {
    TDiagramAction* a = Make(
        L, name, caption, [this, perform](TKvDiagram&) { (FLiveRun->*perform)(); }, key);
    a->OnTest = [this, test](TKvDiagram&) { return (FLiveRun->*test)(); };
    a->WhileRunning = true;
  };
  command("acRunDiagram", "&Run", QKeySequence(Qt::Key_F9), &TDgrLiveRun::Run,
          &TDgrLiveRun::CanRun);
  command("acStepDiagram", "S&tep", QKeySequence(Qt::Key_F8), &TDgrLiveRun::Step,
          &TDgrLiveRun::CanStep);
  command("acStopDiagram", "St&op", QKeySequence(Qt::SHIFT | Qt::Key_F9), &TDgrLiveRun::Stop,
          &TDgrLiveRun::Running);
}

QAction* TdmDgrEditorActions::Action(const QString& name) const {
  return findChild<QAction*>(name, Qt::FindDirectChildrenOnly);
}

QList<QAction*> TdmDgrEditorActions::AllActions() const {
  return findChildren<QAction*>(QString(), Qt::FindDirectChildrenOnly);
}

void TdmDgrEditorActions::SetDiagram(TKvDiagram* diagram) {
  FDiagram = diagram;
  FLiveRun->SetDiagram(diagram);
  for (QAction* a : AllActions())
    if (auto* d = dynamic_cast<TDiagramAction*>(a)) d->SetDiagram(diagram);
  UpdateActions();
}

void TdmDgrEditorActions::UpdateActions() {
  for (QAction* a : AllActions())
    if (auto* d = dynamic_cast<TDiagramAction*>(a)) d->Update();
}

// ---- the document ----

void TdmDgrEditorActions::SetFileName(const QString& name) {
  FFileName = name;
  if (OnDocumentChange) OnDocumentChange();
}

void TdmDgrEditorActions::SetModified(bool modified) {
  if (FModified == modified) return;
  FModified = modified;
  if (OnDocumentChange) OnDocumentChange();
}

bool TdmDgrEditorActions::NewDiagram() {
  if (!FDiagram) return false;
  if (FModified && MessageDlg(QStringLiteral("Create new diagram and discard changes?"),
                              TMsgDlgType::mtConfirmation, mbYesNo) != mrYes)
    return false;
  FLiveRun->Stop();
  FDiagram->Clear();
  FDiagram->ClearUndoStack();
  FDiagram->Redraw();
  FModified = false;
  SetFileName(QString());
  return true;
}

bool TdmDgrEditorActions::OpenDiagram() {
  if (!FDiagram) return false;
  if (FModified && MessageDlg(QStringLiteral("Open new diagram and discard current changes?"),
                              TMsgDlgType::mtConfirmation, mbYesNo) != mrYes)
    return false;
  TKvFileDialogRequest r = OpenDialog;
  r.FileName = FFileName;
  if (!KvDialogs().OpenFileDialog(r)) return false;
  FLiveRun->Stop();
  FDiagram->LoadFromFile(r.FileName);
  FDiagram->Redraw();
  FModified = false;
  SetFileName(r.FileName);
  return true;
}

bool TdmDgrEditorActions::SaveDiagram() {
  if (!FDiagram) return false;
  if (OnSaveDiagram) {
    OnSaveDiagram(FDiagram);
    SetModified(false);
    return true;
  }
  if (FFileName.isEmpty()) return SaveDiagramAs();
  FDiagram->SaveToFile(FFileName);
  SetModified(false);
  return true;
}

bool TdmDgrEditorActions::SaveDiagramAs() {
  if (!FDiagram) return false;
  TKvFileDialogRequest r = SaveDialog;
  r.FileName = FFileName;
  if (!KvDialogs().SaveFileDialog(r)) return false;
  FDiagram->SaveToFile(r.FileName);
  FModified = false;
  SetFileName(r.FileName);
  return true;
}

bool TdmDgrEditorActions::CloseQuery() {
  if (!FModified) return true;
  switch (MessageDlg(QStringLiteral("Save changes to the current diagram?"),
                     TMsgDlgType::mtConfirmation, mbYesNoCancel)) {
    case mrYes:
      return SaveDiagram();
    case mrNo:
      return true;
    default:
      return false;
  }
}

void TdmDgrEditorActions::CopyAsImage() {
  if (!FDiagram || FDiagram->SelectedCount() == 0) return;
  // The selection alone, on a scratch diagram that is never shown.
  TKvDiagram scratch;
  scratch.ReadStream(KvObjectTextToBinary(FDiagram->ControlsToText(Selection(*FDiagram))));
  QGuiApplication::clipboard()->setImage(scratch.ExportAsBMP(esNetto));
}
