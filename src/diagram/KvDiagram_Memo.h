#pragma once
// The in-place editor of a text cell: a text box laid over the cell, on the diagram.
#include <QTextEdit>

class TKvDiagram;

class TDiagramMemo : public QTextEdit {
 public:
  explicit TDiagramMemo(TKvDiagram* diagram);
  TKvDiagram* Diagram() const { return FDiagram; }
  // The lines as a cell stores them: each ended by a carriage return and line feed.
  QString CellText() const;
  void SetCellText(const QString& text);

 protected:
  // Tab and Shift+Tab move between cells, Ctrl+Enter keeps, Esc drops the edit.
  void keyPressEvent(QKeyEvent* e) override;
  bool focusNextPrevChild(bool) override { return false; }

 private:
  TKvDiagram* FDiagram;
};
