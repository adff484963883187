#include "KvNavBar.h"

#include <QAction>
#include <QFrame>
#include <QToolButton>
#include <QVBoxLayout>

TKvNavBarGroup::TKvNavBarGroup(const QString& name, const QString& caption, const QString& hint,
                               QWidget* parent)
    : QWidget(parent) {
  setObjectName(name);
  auto layout = new QVBoxLayout(this);
  layout->setContentsMargins(0, 0, 0, 4);
  layout->setSpacing(0);

  FHeader = new QToolButton(this);
  FHeader->setObjectName(name + "Header");
  FHeader->setText(caption);
  FHeader->setToolTip(hint);
  FHeader->setCheckable(true);
  FHeader->setToolButtonStyle(Qt::ToolButtonTextBesideIcon);
  FHeader->setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
  QFont bold = FHeader->font();
  bold.setBold(true);
  FHeader->setFont(bold);
  layout->addWidget(FHeader);

  FItems = new QWidget(this);
  FItemLayout = new QVBoxLayout(FItems);
  FItemLayout->setContentsMargins(8, 2, 2, 2);
  FItemLayout->setSpacing(0);
  layout->addWidget(FItems);

  connect(FHeader, &QToolButton::toggled, this, &TKvNavBarGroup::SetExpanded);
  SetExpanded(true);
}

void TKvNavBarGroup::AddItem(QAction* action) {
  auto item = new QToolButton(FItems);
  item->setObjectName(action->objectName() + "Item");
  item->setDefaultAction(action);
  item->setAutoRaise(true);
  item->setToolButtonStyle(Qt::ToolButtonTextBesideIcon);
  FItemLayout->addWidget(item, 0, Qt::AlignLeft);
}

void TKvNavBarGroup::AddSeparator() {
  auto line = new QFrame(FItems);
  line->setFrameShape(QFrame::HLine);
  line->setFrameShadow(QFrame::Sunken);
  FItemLayout->addWidget(line);
}

bool TKvNavBarGroup::Expanded() const {
  return FHeader->isChecked();
}

void TKvNavBarGroup::SetExpanded(bool on) {
  FHeader->setChecked(on);
  FHeader->setArrowType(on ? Qt::DownArrow : Qt::RightArrow);
  FItems->setVisible(on);
}

QString TKvNavBarGroup::Caption() const {
  return FHeader->text();
}

QList<QAction*> TKvNavBarGroup::ItemActions() const {
  QList<QAction*> actions;
  for (QToolButton* b : FItems->findChildren<QToolButton*>(Qt::FindDirectChildrenOnly))
    actions.append(b->defaultAction());
  return actions;
}

TKvNavBar::TKvNavBar(QWidget* parent) : QScrollArea(parent) {
  setWidgetResizable(true);
  setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
  auto inner = new QWidget(this);
  inner->setObjectName("dxNavBarLeftInner");
  FLayout = new QVBoxLayout(inner);
  FLayout->setContentsMargins(2, 2, 2, 2);
  FLayout->setSpacing(2);
  FLayout->addStretch(1);
  setWidget(inner);
}

TKvNavBarGroup* TKvNavBar::AddGroup(const QString& name, const QString& caption,
                                    const QString& hint) {
  auto group = new TKvNavBarGroup(name, caption, hint, widget());
  FLayout->insertWidget(FLayout->count() - 1, group);  // above the stretch
  FGroups.append(group);
  return group;
}
