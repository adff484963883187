#pragma once
// The navigation bar: a column of groups, each a header that folds its items in and out.
// Items show actions, so captions, hints and enabled states follow the actions themselves.
#include <QScrollArea>

class QAction;
class QToolButton;
class QVBoxLayout;

class TKvNavBarGroup : public QWidget {
  Q_OBJECT
 public:
  TKvNavBarGroup(const QString& name, const QString& caption, const QString& hint, QWidget* parent);
  void AddItem(QAction* action);
  void AddSeparator();
  bool Expanded() const;
  void SetExpanded(bool on);
  QString Caption() const;
  // The actions shown, in order; separators are not listed.
  QList<QAction*> ItemActions() const;

 private:
  QToolButton* FHeader;
  QWidget* FItems;
  QVBoxLayout* FItemLayout;
};

class TKvNavBar : public QScrollArea {
  Q_OBJECT
 public:
  explicit TKvNavBar(QWidget* parent = nullptr);
  TKvNavBarGroup* AddGroup(const QString& name, const QString& caption, const QString& hint);
  QList<TKvNavBarGroup*> Groups() const { return FGroups; }

 private:
  QVBoxLayout* FLayout;
  QList<TKvNavBarGroup*> FGroups;
};
