// The undo stack: every entry is a whole binary stream of the scene, so undoing rebuilds
// every control and no pointer to a control survives it. Whole-scene copies are why the
// stack stays short.
#include "KvDiagram.h"
#include "KvDiagram_Memo.h"

void TKvDiagram::ClearUndoStack() {
  FUndoStack.Clear();
  PushUndoStack(QString());
}

void TKvDiagram::PushUndoStack(const QString& name) {
  auto& items = FUndoStack.FItems;
  items.erase(items.begin() + (FUndoStack.FCurrent + 1), items.end());
  items.push_back({name, SaveToBytes(false)});
  ++FUndoStack.FCurrent;
  if (int(items.size()) > TDiagramUndoStack::MaxItems) {
    items.erase(items.begin());
    --FUndoStack.FCurrent;
  }
}

void TKvDiagram::Undo() {
  const int count = int(FUndoStack.FItems.size());
  if (!(FUndoStack.FCurrent > 0 && count >= FUndoStack.FCurrent)) return;
  CloseEditor(false);
  LoadFromBytes(FUndoStack.FItems[FUndoStack.FCurrent - 1].FState, false);
  --FUndoStack.FCurrent;
  Redraw();
}

void TKvDiagram::Redo() {
  const int count = int(FUndoStack.FItems.size());
  if (!(FUndoStack.FCurrent >= -1 && count - 1 > FUndoStack.FCurrent)) return;
  CloseEditor(false);
  LoadFromBytes(FUndoStack.FItems[FUndoStack.FCurrent + 1].FState, false);
  ++FUndoStack.FCurrent;
  Redraw();
}

QString TKvDiagram::NextUndoAction() const {
  const int current = FUndoStack.FCurrent;
  if (current > -1 && int(FUndoStack.FItems.size()) > current)
    return FUndoStack.FItems[current].FName;
  return {};
}

QString TKvDiagram::NextRedoAction() const {
  const int current = FUndoStack.FCurrent, count = int(FUndoStack.FItems.size());
  if (current >= -1 && count - 1 > current) return FUndoStack.FItems[current + 1].FName;
  return {};
}
