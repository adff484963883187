#pragma once
// A drop-down list of checkable items, each with a description, a short description and a
// numeric tag. Clicking an item toggles it without closing the list; a listener may refuse
// the toggle (command items such as "All"). The box shows the checked short descriptions.
#include <QComboBox>
#include <functional>

class QStandardItemModel;

class TKvCheckComboBox : public QComboBox {
  Q_OBJECT
 public:
  explicit TKvCheckComboBox(QWidget* parent = nullptr);

  int ItemCount() const { return count(); }
  int AddItem(const QString& description, const QString& shortDescription, int tag);
  int IndexOfTag(int tag) const;
  QString Description(int index) const;
  QString ShortDescription(int index) const;
  int Tag(int index) const;
  void SetDescription(int index, const QString& description, const QString& shortDescription);
  bool Checked(int index) const;
  void SetChecked(int index, bool checked);
  // What a click on an item does, as the list does it: the listener runs first and may
  // refuse the toggle by returning false.
  void ClickItem(int index);
  QString DisplayText() const;

  std::function<bool(int index)> OnClickCheck;

  void hidePopup() override;

 signals:
  void CloseUp();

 protected:
  bool eventFilter(QObject* watched, QEvent* event) override;
  void paintEvent(QPaintEvent* event) override;

 private:
  QStandardItemModel* FModel;
};
