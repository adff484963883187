#pragma once
// A grid of rows of one height over a table model. A stock table view keeps an item per
// row in its row header and walks all of them after every insertion; over a recording of a
// million rows that is most of what a reading costs. Here a row's place is its number times
// the row height, so inserting, scrolling and painting cost what the visible rows cost. The
// vertical scroll bar counts rows; columns come from a horizontal header as usual. Repaints
// caused by the model (a reading, the cursor following it) are throttled; those the user
// causes are not. Rows arriving at the top of a view scrolled to the top move the rows
// shown down by their pixels, so only the new rows are drawn. Plain text cells are drawn from
// prepared text, as the stock delegate would draw them.
#include <QAbstractItemView>

#include "KvRepaintThrottle.h"
#include "KvTextCache.h"

class QHeaderView;

class TKvGridView : public QAbstractItemView {
  Q_OBJECT
 public:
  explicit TKvGridView(QWidget* parent = nullptr);
  ~TKvGridView() override;

  void setModel(QAbstractItemModel* model) override;
  QHeaderView* horizontalHeader() const { return FHeader; }
  int columnWidth(int column) const;
  void setColumnWidth(int column, int width);
  int RowHeight() const { return FRowHeight; }
  void SetRowHeight(int height);
  int FirstRow() const;
  // Rows that fit the viewport whole (at least one).
  int PageRows() const;
  // Model-driven repaints happen at most once per interval; 0 repaints on every change.
  void SetRepaintInterval(int ms) { FRepaint.SetInterval(ms); }
  bool RepaintPending() const { return FRepaint.Pending(); }

  QRect visualRect(const QModelIndex& index) const override;
  void scrollTo(const QModelIndex& index, ScrollHint hint = EnsureVisible) override;
  QModelIndex indexAt(const QPoint& point) const override;
  void doItemsLayout() override;

 protected:
  QModelIndex moveCursor(CursorAction action, Qt::KeyboardModifiers modifiers) override;
  int horizontalOffset() const override;
  int verticalOffset() const override;
  bool isIndexHidden(const QModelIndex& index) const override;
  void setSelection(const QRect& rect, QItemSelectionModel::SelectionFlags flags) override;
  QRegion visualRegionForSelection(const QItemSelection& selection) const override;
  void updateGeometries() override;
  void scrollContentsBy(int dx, int dy) override;
  void paintEvent(QPaintEvent* event) override;
  void rowsInserted(const QModelIndex& parent, int first, int last) override;
  void rowsAboutToBeRemoved(const QModelIndex& parent, int first, int last) override;
  void currentChanged(const QModelIndex& current, const QModelIndex& previous) override;
  void selectionChanged(const QItemSelection& selected, const QItemSelection& deselected) override;
  void dataChanged(const QModelIndex& topLeft, const QModelIndex& bottomRight,
                   const QList<int>& roles) override;

 private:
  int RowCount() const;
  int LastColumn() const;
  QRect RowsRect(int top, int bottom) const;
  void PaintRow(QPainter& painter, const QStyleOptionViewItem& base, int row, int y);
  // False when the cell needs the delegate: text too wide for the cell, or a delegate of the
  // view's owner.
  bool PaintTextCell(QPainter& painter, const QStyleOptionViewItem& option,
                     const QModelIndex& index);
  void Repaint();
  void ModelChanged(bool whole);
  // Rows 0 to bottom (as numbered now) need drawing.
  void RowsChangedAtTop(int bottom);

  // What the next repaint does: draw everything, or move what is shown down by the rows
  // inserted at the top and draw the rows above FDirtyBottom.
  bool FWhole = false;
  int FShifted = 0;
  int FDirtyBottom = -1;
  bool FGeometryStale = false;
  QHeaderView* FHeader;
  int FRowHeight;
  TKvRepaintThrottle FRepaint;
  QAbstractItemDelegate* FStockDelegate;
  TKvTextCache FTexts;
};
