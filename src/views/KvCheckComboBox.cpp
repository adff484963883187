#include "KvCheckComboBox.h"

#include <QAbstractItemView>
#include <QMouseEvent>
#include <QStandardItemModel>
#include <QStylePainter>

namespace {
constexpr int ShortRole = Qt::UserRole + 1;
constexpr int TagRole = Qt::UserRole + 2;
}  // namespace

TKvCheckComboBox::TKvCheckComboBox(QWidget* parent) : QComboBox(parent) {
  FModel = new QStandardItemModel(this);
  setModel(FModel);
  view()->viewport()->installEventFilter(this);
}

int TKvCheckComboBox::AddItem(const QString& description, const QString& shortDescription,
                              int tag) {
  auto item = new QStandardItem(description);
  item->setData(shortDescription, ShortRole);
  item->setData(tag, TagRole);
  item->setFlags(Qt::ItemIsEnabled | Qt::ItemIsUserCheckable);
  item->setCheckState(Qt::Unchecked);
  FModel->appendRow(item);
  return FModel->rowCount() - 1;
}

int TKvCheckComboBox::IndexOfTag(int tag) const {
  for (int i = 0; i < count(); ++i)
    if (Tag(i) == tag) return i;
  return -1;
}

QString TKvCheckComboBox::Description(int index) const {
  return FModel->item(index)->text();
}

QString TKvCheckComboBox::ShortDescription(int index) const {
  return FModel->item(index)->data(ShortRole).toString();
}

int TKvCheckComboBox::Tag(int index) const {
  return FModel->item(index)->data(TagRole).toInt();
}

void TKvCheckComboBox::SetDescription(int index, const QString& description,
                                      const QString& shortDescription) {
  FModel->item(index)->setText(description);
  FModel->item(index)->setData(shortDescription, ShortRole);
  update();
}

bool TKvCheckComboBox::Checked(int index) const {
  return FModel->item(index)->checkState() == Qt::Checked;
}

void TKvCheckComboBox::SetChecked(int index, bool checked) {
  FModel->item(index)->setCheckState(checked ? Qt::Checked : Qt::Unchecked);
  update();
}

void TKvCheckComboBox::ClickItem(int index) {
  if (index < 0 || index >= count()) return;
  if (OnClickCheck && !OnClickCheck(index)) return;
  SetChecked(index, !Checked(index));
}

QString TKvCheckComboBox::DisplayText() const {
  QStringList parts;
  for (int i = 0; i < count(); ++i)
    if (Checked(i)) parts << ShortDescription(i);
  return parts.isEmpty() ? QStringLiteral("None selected") : parts.join(QLatin1Char(';'));
}

void TKvCheckComboBox::hidePopup() {
  QComboBox::hidePopup();
  emit CloseUp();
}

bool TKvCheckComboBox::eventFilter(QObject* watched, QEvent* event) {
  if (watched == view()->viewport() && event->type() == QEvent::MouseButtonRelease) {
    const auto* mouse = static_cast<QMouseEvent*>(event);
    ClickItem(view()->indexAt(mouse->position().toPoint()).row());
    return true;  // the list stays open
  }
  return QComboBox::eventFilter(watched, event);
}

void TKvCheckComboBox::paintEvent(QPaintEvent*) {
  QStylePainter painter(this);
  QStyleOptionComboBox option;
  initStyleOption(&option);
  option.currentText = DisplayText();
  painter.drawComplexControl(QStyle::CC_ComboBox, option);
  painter.drawControl(QStyle::CE_ComboBoxLabel, option);
}
