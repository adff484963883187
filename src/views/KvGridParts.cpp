#include "KvGridParts.h"

#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QPainter>
#include <QStyle>
#include <QToolButton>
#include <algorithm>

TKvGridNavigator::TKvGridNavigator(QWidget* parent)
    : QWidget(parent), FInfoRepaint(this, KvLiveRepaintMs, [this] { ShowInfo(); }) {
  auto layout = new QHBoxLayout(this);
  layout->setContentsMargins(0, 2, 0, 2);
  layout->setSpacing(1);
  const struct {
    const char* Text;
    const char* Hint;
  } buttons[] = {{"|\u25C0", "First record"},   {"\u25C0\u25C0", "Prior page"},
                 {"\u25C0", "Prior record"},    {"\u25B6", "Next record"},
                 {"\u25B6\u25B6", "Next page"}, {"\u25B6|", "Last record"}};
  for (int i = nbFirst; i <= nbLast; ++i) {
    auto b = new QToolButton(this);
    b->setText(buttons[i].Text);
    b->setToolTip(buttons[i].Hint);
    b->setAutoRaise(true);
    connect(b, &QToolButton::clicked, this, [this, i] { emit Moved(TMove(i)); });
    FButtons[i] = b;
    layout->addWidget(b);
  }
  FInfo = new QLabel(this);
  FInfo->setObjectName("NavigatorInfoPanel");
  FInfo->setFrameShape(QFrame::StyledPanel);
  // The text changes with every reading. A label of fixed size and opaque asks no layout
  // of the window to be redone and repaints only itself; otherwise each reading would
  // repaint the whole tab around the grid.
  FInfo->setAutoFillBackground(true);
  FInfo->setFixedSize(
      std::max(160, FInfo->fontMetrics().horizontalAdvance("Record 88888888 of 88888888") + 12),
      FInfo->sizeHint().height());
  layout->addSpacing(6);
  layout->addWidget(FInfo);
  layout->addStretch(1);
  SetInfo(-1, 0);
}

void TKvGridNavigator::SetInfo(int recNo, int count) {
  FInfoText =
      count > 0 && recNo >= 0 ? QString("Record %1 of %2").arg(recNo + 1).arg(count) : QString();
  FInfoRepaint.Request();
  FButtons[nbFirst]->setEnabled(recNo > 0);
  FButtons[nbPriorPage]->setEnabled(recNo > 0);
  FButtons[nbPrior]->setEnabled(recNo > 0);
  FButtons[nbNext]->setEnabled(recNo + 1 < count);
  FButtons[nbNextPage]->setEnabled(recNo + 1 < count);
  FButtons[nbLast]->setEnabled(recNo + 1 < count);
}

QString TKvGridNavigator::InfoText() const {
  return FInfoText;
}

void TKvGridNavigator::ShowInfo() {
  FInfo->setText(FInfoText);
}

TKvGridFooter::TKvGridFooter(QHeaderView* header, QWidget* parent)
    : QWidget(parent), FHeader(header), FRepaint(this, KvLiveRepaintMs, [this] { update(); }) {
  setAttribute(Qt::WA_OpaquePaintEvent);
  connect(header, &QHeaderView::sectionResized, this, [this] { update(); });
  connect(header, &QHeaderView::geometriesChanged, this, [this] { update(); });
  connect(header, &QHeaderView::sectionMoved, this, [this] { update(); });
}

void TKvGridFooter::SetText(int column, const QString& text) {
  if (FTexts[column] == text) return;
  FTexts[column] = text;
  FRepaint.Request();
}

QString TKvGridFooter::Text(int column) const {
  auto it = FTexts.find(column);
  return it == FTexts.end() ? QString() : it->second;
}

QSize TKvGridFooter::sizeHint() const {
  return {100, fontMetrics().height() + 8};
}

void TKvGridFooter::paintEvent(QPaintEvent*) {
  QPainter p(this);
  p.fillRect(rect(), palette().window());
  p.setPen(palette().mid().color());
  p.drawLine(rect().topLeft(), rect().topRight());
  // The header may be offset by the view's row indicator: map its origin into the footer.
  const int origin = FHeader->mapTo(window(), QPoint(0, 0)).x() - mapTo(window(), QPoint(0, 0)).x();
  p.setPen(palette().text().color());
  for (const auto& [column, text] : FTexts) {
    if (text.isEmpty() || FHeader->isSectionHidden(column)) continue;
    const QRect cell(origin + FHeader->sectionViewportPosition(column), 0,
                     FHeader->sectionSize(column), height());
    p.drawRect(cell.adjusted(1, 2, -2, -2));
    p.drawText(cell.adjusted(4, 0, -5, 0), Qt::AlignRight | Qt::AlignVCenter, text);
  }
}
