// In-place text editing: which cell a control offers, the editor over it, moving between
// cells by Tab, and the edit taken into the cell.
#include "KvDiagram_Memo.h"

#include <QKeyEvent>
#include <QTextBlock>
#include <cmath>

#include "KvDiagram.h"

TDiagramMemo::TDiagramMemo(TKvDiagram* diagram)
    : QTextEdit(diagram->viewport()), FDiagram(diagram) {
  setAcceptRichText(false);
  setFrameShape(QFrame::Box);
  setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
  setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
  hide();
}

QString TDiagramMemo::CellText() const {
  const QString text = toPlainText();
  return text.isEmpty() ? text : text.split('\n').join(QStringLiteral("\r\n")) + "\r\n";
}

void TDiagramMemo::SetCellText(const QString& text) {
  QString plain = text;
  plain.replace(QStringLiteral("\r\n"), QStringLiteral("\n"));
  if (plain.endsWith('\n')) plain.chop(1);
  setPlainText(plain);
}

void TDiagramMemo::keyPressEvent(QKeyEvent* e) {
  const bool ctrl = e->modifiers() & Qt::ControlModifier;
  if (e->key() == Qt::Key_Tab || e->key() == Qt::Key_Backtab) {
    const bool forward = e->key() == Qt::Key_Tab && !(e->modifiers() & Qt::ShiftModifier);
    TTextCell* cell = FDiagram->FInplaceMemo;
    TTextCell* next = cell ? FDiagram->SelectNextCell(cell, forward) : nullptr;
    if (next && next != cell) {
      FDiagram->CloseEditor(true);
      FDiagram->EditTextCell(next);
    }
    return;
  }
  if ((e->key() == Qt::Key_Return || e->key() == Qt::Key_Enter) && ctrl) {
    FDiagram->CloseEditor(true);
    return;
  }
  if (e->key() == Qt::Key_Escape) {
    FDiagram->CloseEditor(false);
    return;
  }
  QTextEdit::keyPressEvent(e);
}

// ---- the diagram's side ----

TTextCell* TKvDiagram::SelectNextCell(TTextCell* cell, bool forward) const {
  TDiagramControl* c = cell ? cell->DControl() : nullptr;
  if (!c) return nullptr;
  const int n = c->TextCells().Count();
  const int start = c->TextCells().IndexOf(cell);
  for (int step = 1; step <= n; ++step) {
    TTextCell* next = c->TextCells()[((start + (forward ? step : -step)) % n + n) % n];
    if (next->Visible) return next;
  }
  return cell;
}

void TKvDiagram::EditBlockText() {
  if (!FSelecteds.empty()) EditControlText(FSelecteds.front());
}

bool TKvDiagram::EditControlText(TDiagramControl* c) {
  if (!c || !c->CanEdit()) return false;
  // A group offers the first member, at any depth, that has a text cell.
  while (auto* g = dynamic_cast<TBaseGroupBlock*>(c)) {
    TDiagramControl* found = nullptr;
    for (TDiagramControl* m : g->Members().FItems)
      if (m->TextCells().Count() > 0 || m->IsGroup()) {
        found = m;
        break;
      }
    if (!found) return false;
    c = found;
  }
  if (c->TextCells().Count() == 0) return false;
  TTextCell* cell = c->TextCells()[0];
  if (!cell->Visible) cell = SelectNextCell(cell, true);
  return cell && cell->Visible && EditTextCell(cell);
}

bool TKvDiagram::EditTextCell(TTextCell* cell) {
  TDiagramControl* c = cell ? cell->DControl() : nullptr;
  if (!c || !c->CanEdit() || !cell->Visible || c->IsGroup()) return false;
  if (FInplaceMemo) CloseEditor(true);
  if (!FEditor)
    FEditor = FCustomDiagramMemoClass ? FCustomDiagramMemoClass(this) : new TDiagramMemo(this);
  FEditor->setWordWrapMode(cell->WordWrap ? QTextOption::WrapAtWordBoundaryOrAnywhere
                                          : QTextOption::NoWrap);
  QTextOption option = FEditor->document()->defaultTextOption();
  option.setAlignment(cell->Alignment == taLeftJustify    ? Qt::AlignLeft
                      : cell->Alignment == taRightJustify ? Qt::AlignRight
                                                          : Qt::AlignHCenter);
  FEditor->document()->setDefaultTextOption(option);
  QFont font = cell->Font().ToQFont(FZoomRatio);
  FEditor->setFont(font);
  QPalette pal = FEditor->palette();
  pal.setColor(QPalette::Text, ColorToQColor(cell->Font().Color));
  FEditor->setPalette(pal);
  FEditor->SetCellText(cell->Text());
  const TSquare r = ClientToCanvas(c->CellRectToClient(cell, cell->Bounds()));
  FEditor->setGeometry(QRect(QPoint(int(std::floor(r.Left)), int(std::floor(r.Top))),
                             QPoint(int(std::ceil(r.Right)), int(std::ceil(r.Bottom))))
                           .normalized());
  FInplaceMemo = cell;
  FEditor->show();
  FEditor->setFocus();
  FEditor->selectAll();
  Redraw();
  return true;
}

void TKvDiagram::CloseEditor(bool update) {
  TTextCell* cell = FInplaceMemo;
  if (!FEditor) return;
  FInplaceMemo = nullptr;
  const QString text = FEditor->CellText();
  // The editor goes also when its cell went with its control.
  if (!FDestroyingDiagram) FEditor->hide();
  if (!cell) return;
  if (update) {
    cell->SetText(text);
    Modified();
    PushUndoStack(QStringLiteral("text edit"));  // a snapshot leaves the cell in place
  }
  Redraw();
  setFocus();
  if (OnCloseEditor) OnCloseEditor(this, cell, update);
}
