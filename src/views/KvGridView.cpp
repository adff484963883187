#include "KvGridView.h"

#include <QHeaderView>
#include <QPaintEvent>
#include <QPainter>
#include <QScrollBar>
#include <algorithm>
#include <cmath>

TKvGridView::TKvGridView(QWidget* parent)
    : QAbstractItemView(parent),
      FHeader(new QHeaderView(Qt::Horizontal, this)),
      FRowHeight(fontMetrics().height() + 6),
      FRepaint(this, KvLiveRepaintMs, [this] { Repaint(); }),
      FStockDelegate(itemDelegate()) {
  FHeader->setSectionsClickable(true);
  connect(FHeader, &QHeaderView::sectionResized, this, [this] {
    updateGeometries();
    viewport()->update();
  });
  connect(FHeader, &QHeaderView::sectionMoved, viewport(), qOverload<>(&QWidget::update));
  connect(FHeader, &QHeaderView::geometriesChanged, this, [this] { updateGeometries(); });
  setSelectionBehavior(SelectRows);
  verticalScrollBar()->setSingleStep(1);
}

TKvGridView::~TKvGridView() = default;

void TKvGridView::setModel(QAbstractItemModel* model) {
  QAbstractItemView::setModel(model);
  FHeader->setModel(model);
  updateGeometries();
}

int TKvGridView::columnWidth(int column) const {
  return FHeader->sectionSize(column);
}

void TKvGridView::setColumnWidth(int column, int width) {
  FHeader->resizeSection(column, width);
}

void TKvGridView::SetRowHeight(int height) {
  FRowHeight = std::max(1, height);
  updateGeometries();
  viewport()->update();
}

int TKvGridView::RowCount() const {
  return model() ? model()->rowCount(rootIndex()) : 0;
}

int TKvGridView::LastColumn() const {
  return model() ? model()->columnCount(rootIndex()) - 1 : -1;
}

int TKvGridView::FirstRow() const {
  return verticalScrollBar()->value();
}

int TKvGridView::PageRows() const {
  return std::max(1, viewport()->height() / FRowHeight);
}

// ---- geometry ----------------------------------------------------------------------------

void TKvGridView::updateGeometries() {
  FGeometryStale = false;
  const int headerHeight = FHeader->isHidden() ? 0 : FHeader->sizeHint().height();
  // Setting margins lays out the whole scroll area again, even when they are the same.
  if (viewportMargins().top() != headerHeight) setViewportMargins(0, headerHeight, 0, 0);
  const QRect vg = viewport()->geometry();
  FHeader->setGeometry(vg.left(), vg.top() - headerHeight, vg.width(), headerHeight);
  QScrollBar* v = verticalScrollBar();
  v->setPageStep(PageRows());
  v->setRange(0, std::max(0, RowCount() - PageRows()));
  QScrollBar* h = horizontalScrollBar();
  h->setPageStep(vg.width());
  h->setSingleStep(20);
  h->setRange(0, std::max(0, FHeader->length() - vg.width()));
  FHeader->setOffset(h->value());
  QAbstractItemView::updateGeometries();
}

void TKvGridView::scrollContentsBy(int dx, int) {
  if (dx != 0) FHeader->setOffset(horizontalScrollBar()->value());
  FWhole = true;
  viewport()->update();
}

int TKvGridView::horizontalOffset() const {
  return horizontalScrollBar()->value();
}

int TKvGridView::verticalOffset() const {
  return FirstRow() * FRowHeight;
}

bool TKvGridView::isIndexHidden(const QModelIndex& index) const {
  return FHeader->isSectionHidden(index.column());
}

QRect TKvGridView::visualRect(const QModelIndex& index) const {
  if (!index.isValid() || index.model() != model() || isIndexHidden(index)) return {};
  return QRect(FHeader->sectionViewportPosition(index.column()),
               (index.row() - FirstRow()) * FRowHeight, FHeader->sectionSize(index.column()),
               FRowHeight);
}

QRect TKvGridView::RowsRect(int top, int bottom) const {
  const int first = FirstRow();
  top = std::max(top, first);
  bottom = std::min(bottom, first + PageRows());
  if (bottom < top) return {};
  return QRect(0, (top - first) * FRowHeight, viewport()->width(), (bottom - top + 1) * FRowHeight);
}

QModelIndex TKvGridView::indexAt(const QPoint& point) const {
  if (!model() || point.y() < 0) return {};
  const int row = FirstRow() + point.y() / FRowHeight;
  const int column = FHeader->logicalIndexAt(point.x());
  if (row >= RowCount() || column < 0) return {};
  return model()->index(row, column, rootIndex());
}

void TKvGridView::scrollTo(const QModelIndex& index, ScrollHint hint) {
  if (!index.isValid() || index.model() != model()) return;
  const int row = index.row(), first = FirstRow(), page = PageRows();
  // Rows within the scroll range it has are reached without it; the newest row, followed
  // with every reading, always is.
  if (FGeometryStale && row > verticalScrollBar()->maximum()) updateGeometries();
  QScrollBar* v = verticalScrollBar();
  switch (hint) {
    case PositionAtTop:
      v->setValue(row);
      break;
    case PositionAtBottom:
      v->setValue(row - page + 1);
      break;
    case PositionAtCenter:
      v->setValue(row - page / 2);
      break;
    case EnsureVisible:
      if (row < first)
        v->setValue(row);
      else if (row >= first + page)
        v->setValue(row - page + 1);
  }
  if (isIndexHidden(index)) return;
  const int left = FHeader->sectionPosition(index.column());
  const int right = left + FHeader->sectionSize(index.column());
  QScrollBar* h = horizontalScrollBar();
  if (left < h->value())
    h->setValue(left);
  else if (right > h->value() + viewport()->width())
    h->setValue(right - viewport()->width());
}

QModelIndex TKvGridView::moveCursor(CursorAction action, Qt::KeyboardModifiers) {
  const int rows = RowCount();
  if (!model() || rows == 0) return {};
  const QModelIndex current = currentIndex();
  const int row = current.isValid() ? current.row() : 0;
  int column = current.isValid() ? current.column() : 0;
  int target = row;
  switch (action) {
    case MoveUp:
    case MovePrevious:
      target = row - 1;
      break;
    case MoveDown:
    case MoveNext:
      target = row + 1;
      break;
    case MovePageUp:
      target = row - PageRows();
      break;
    case MovePageDown:
      target = row + PageRows();
      break;
    case MoveHome:
      target = 0;
      break;
    case MoveEnd:
      target = rows - 1;
      break;
    case MoveLeft:
      column = std::max(0, column - 1);
      break;
    case MoveRight:
      column = std::min(LastColumn(), column + 1);
      break;
  }
  return model()->index(std::clamp(target, 0, rows - 1), column, rootIndex());
}

void TKvGridView::setSelection(const QRect& rect, QItemSelectionModel::SelectionFlags flags) {
  if (!model() || RowCount() == 0 || LastColumn() < 0) return;
  const QRect r = rect.normalized();
  const int first = FirstRow();
  const int top = std::clamp(first + std::max(0, r.top()) / FRowHeight, 0, RowCount() - 1);
  const int bottom = std::clamp(first + std::max(0, r.bottom()) / FRowHeight, 0, RowCount() - 1);
  const QItemSelection rows(model()->index(top, 0, rootIndex()),
                            model()->index(bottom, LastColumn(), rootIndex()));
  selectionModel()->select(rows, flags | QItemSelectionModel::Rows);
}

QRegion TKvGridView::visualRegionForSelection(const QItemSelection& selection) const {
  QRegion region;
  for (const QItemSelectionRange& range : selection)
    if (range.isValid()) region += RowsRect(range.top(), range.bottom());
  return region;
}

// ---- changes from the model --------------------------------------------------------------

void TKvGridView::ModelChanged(bool whole) {
  FWhole = FWhole || whole;
  FRepaint.Request();
}

void TKvGridView::RowsChangedAtTop(int bottom) {
  // Anything reaching past the page is cheaper drawn whole.
  if (bottom >= PageRows()) FWhole = true;
  FDirtyBottom = std::max(FDirtyBottom, bottom);
  FRepaint.Request();
}

void TKvGridView::Repaint() {
  const bool whole = FWhole || FShifted >= PageRows();
  const int shifted = FShifted, bottom = FDirtyBottom;
  FWhole = false;
  FShifted = 0;
  FDirtyBottom = -1;
  if (FGeometryStale) updateGeometries();
  if (whole || !viewport()->isVisible()) {
    viewport()->update();
    return;
  }
  if (shifted > 0) viewport()->scroll(0, shifted * FRowHeight);
  if (bottom >= 0) viewport()->update(RowsRect(0, bottom));
}

void TKvGridView::doItemsLayout() {
  updateGeometries();
  ModelChanged(true);
}

void TKvGridView::rowsInserted(const QModelIndex& parent, int first, int last) {
  QAbstractItemView::rowsInserted(parent, first, last);
  // The scroll bar follows with the throttled repaint: its range changing with every reading
  // would repaint it and the frame around the grid each time.
  FGeometryStale = true;
  if (first > FirstRow() + PageRows()) return FRepaint.Request();
  if (first != 0 || FirstRow() != 0) return ModelChanged(true);
  // What is shown moves down; marks of rows already to be drawn move with it.
  const int count = last - first + 1;
  FShifted += count;
  if (FDirtyBottom >= 0) FDirtyBottom += count;
  RowsChangedAtTop(count - 1);
}

void TKvGridView::rowsAboutToBeRemoved(const QModelIndex& parent, int first, int last) {
  QAbstractItemView::rowsAboutToBeRemoved(parent, first, last);
  ModelChanged(true);
}

void TKvGridView::currentChanged(const QModelIndex& current, const QModelIndex& previous) {
  RowsChangedAtTop(std::max(current.row(), previous.row()));
}

void TKvGridView::selectionChanged(const QItemSelection& selected,
                                   const QItemSelection& deselected) {
  int bottom = -1;
  for (const QItemSelection* s : {&selected, &deselected})
    for (const QItemSelectionRange& range : *s) bottom = std::max(bottom, range.bottom());
  RowsChangedAtTop(bottom);
}

void TKvGridView::dataChanged(const QModelIndex&, const QModelIndex&, const QList<int>&) {
  ModelChanged(true);
}

// ---- painting ----------------------------------------------------------------------------

void TKvGridView::paintEvent(QPaintEvent* event) {
  // Painted before a pending shift: what is left on screen no longer moves as one piece.
  if (FShifted > 0) FWhole = true;
  QPainter painter(viewport());
  if (!model()) return;
  QStyleOptionViewItem base;
  initViewItemOption(&base);
  const int first = FirstRow();
  const int rows = RowCount();
  const QRect dirty = event->rect();
  const int from = first + std::max(0, dirty.top()) / FRowHeight;
  const int to = std::min(rows - 1, first + dirty.bottom() / FRowHeight);
  for (int row = from; row <= to; ++row) PaintRow(painter, base, row, (row - first) * FRowHeight);
  // Grid lines: one under each row, one right of each column.
  painter.setPen(palette().color(QPalette::Mid).lighter(130));
  const int bottom = std::min(viewport()->height(), (to - first + 1) * FRowHeight);
  for (int v = 0; v < FHeader->count(); ++v) {
    const int logical = FHeader->logicalIndex(v);
    if (FHeader->isSectionHidden(logical)) continue;
    const int x = FHeader->sectionViewportPosition(logical) + FHeader->sectionSize(logical) - 1;
    painter.drawLine(x, 0, x, bottom - 1);
  }
  for (int row = from; row <= to; ++row) {
    const int y = (row - first + 1) * FRowHeight - 1;
    painter.drawLine(0, y, viewport()->width(), y);
  }
}

void TKvGridView::PaintRow(QPainter& painter, const QStyleOptionViewItem& base, int row, int y) {
  const QModelIndex rowIndex = model()->index(row, 0, rootIndex());
  const bool selected = selectionModel() && selectionModel()->isRowSelected(row, rootIndex());
  const bool current = currentIndex().row() == row;
  QStyleOptionViewItem option = base;
  option.state &= ~QStyle::State_HasFocus;
  if (selected) option.state |= QStyle::State_Selected;
  // Counted from the oldest row, so that a row keeps its shade as newer rows arrive above.
  if (alternatingRowColors() && (RowCount() - 1 - row) % 2 == 1)
    option.features |= QStyleOptionViewItem::Alternate;
  const int width = viewport()->width();
  for (int v = 0; v < FHeader->count(); ++v) {
    const int logical = FHeader->logicalIndex(v);
    if (FHeader->isSectionHidden(logical)) continue;
    const int x = FHeader->sectionViewportPosition(logical);
    const int w = FHeader->sectionSize(logical);
    if (x + w <= 0 || x >= width) continue;
    option.rect = QRect(x, y, w, FRowHeight);
    const QModelIndex index = logical == 0 ? rowIndex : rowIndex.siblingAtColumn(logical);
    style()->drawPrimitive(QStyle::PE_PanelItemViewRow, &option, &painter, this);
    if (!PaintTextCell(painter, option, index))
      itemDelegateForIndex(index)->paint(&painter, option, index);
  }
  if (current && hasFocus()) {
    painter.setPen(QPen(palette().color(QPalette::Highlight).darker(130), 1, Qt::DotLine));
    painter.drawRect(QRect(0, y, std::min(width, FHeader->length()) - 1, FRowHeight - 1));
  }
}

bool TKvGridView::PaintTextCell(QPainter& painter, const QStyleOptionViewItem& option,
                                const QModelIndex& index) {
  if (itemDelegateForIndex(index) != FStockDelegate) return false;
  // The margins the style gives item text.
  const int margin = style()->pixelMetric(QStyle::PM_FocusFrameHMargin, nullptr, this) + 1;
  const QRect room = option.rect.adjusted(margin, 0, -margin, 0);
  const QVariant check = index.data(Qt::CheckStateRole);
  if (check.isValid()) {
    style()->drawPrimitive(QStyle::PE_PanelItemViewItem, &option, &painter, this);
    QStyleOptionViewItem box = option;
    const int w = style()->pixelMetric(QStyle::PM_IndicatorWidth, &option, this);
    const int h = style()->pixelMetric(QStyle::PM_IndicatorHeight, &option, this);
    box.rect =
        QStyle::alignedRect(layoutDirection(), Qt::AlignLeft | Qt::AlignVCenter, QSize(w, h), room);
    box.state &= ~(QStyle::State_On | QStyle::State_Off | QStyle::State_NoChange);
    box.state |= check.toInt() == Qt::Checked ? QStyle::State_On : QStyle::State_Off;
    style()->drawPrimitive(QStyle::PE_IndicatorItemViewItemCheck, &box, &painter, this);
    return true;
  }
  const QString text = index.data(Qt::DisplayRole).toString();
  const QStaticText& prepared = FTexts.Get(text, font());
  const QSizeF size = prepared.size();
  if (size.width() > room.width()) return false;

  style()->drawPrimitive(QStyle::PE_PanelItemViewItem, &option, &painter, this);
  const QVariant alignment = index.data(Qt::TextAlignmentRole);
  const Qt::Alignment align = QStyle::visualAlignment(
      layoutDirection(), alignment.isValid() ? Qt::Alignment(alignment.toInt())
                                             : Qt::Alignment(Qt::AlignLeft | Qt::AlignVCenter));
  qreal x = room.left();
  if (align & Qt::AlignRight)
    x = room.right() + 1 - size.width();
  else if (align & Qt::AlignHCenter)
    x = room.left() + (room.width() - size.width()) / 2;
  qreal y = room.top() + (room.height() - size.height()) / 2;
  if (align & Qt::AlignTop)
    y = room.top();
  else if (align & Qt::AlignBottom)
    y = room.bottom() + 1 - size.height();

  const QPalette::ColorGroup group = !(option.state & QStyle::State_Enabled) ? QPalette::Disabled
                                     : (option.state & QStyle::State_Active) ? QPalette::Normal
                                                                             : QPalette::Inactive;
  painter.setPen(option.palette.color(
      group, option.state & QStyle::State_Selected ? QPalette::HighlightedText : QPalette::Text));
  painter.setFont(font());
  painter.drawStaticText(QPointF(std::floor(x), std::floor(y)), prepared);
  return true;
}
