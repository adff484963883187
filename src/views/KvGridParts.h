#pragma once
// The parts a data grid has around its rows: a navigator with the record info, and a footer
// whose summary cells stand under their columns. Both change with every reading and repaint
// a few times a second at most.
#include <QWidget>
#include <map>

#include "KvRepaintThrottle.h"

class QHeaderView;
class QLabel;
class QToolButton;

class TKvGridNavigator : public QWidget {
  Q_OBJECT
 public:
  enum TMove { nbFirst, nbPriorPage, nbPrior, nbNext, nbNextPage, nbLast };
  explicit TKvGridNavigator(QWidget* parent = nullptr);
  // "Record n of m"; recNo is 0-based, -1 for none.
  void SetInfo(int recNo, int count);
  QString InfoText() const;
  QToolButton* Button(TMove move) const { return FButtons[move]; }

 signals:
  void Moved(TKvGridNavigator::TMove move);

 private:
  void ShowInfo();
  QToolButton* FButtons[nbLast + 1];
  QLabel* FInfo;
  QString FInfoText;
  TKvRepaintThrottle FInfoRepaint;
};

class TKvGridFooter : public QWidget {
  Q_OBJECT
 public:
  explicit TKvGridFooter(QHeaderView* header, QWidget* parent = nullptr);
  void SetText(int column, const QString& text);
  QString Text(int column) const;
  QSize sizeHint() const override;

 protected:
  void paintEvent(QPaintEvent* event) override;

 private:
  QHeaderView* FHeader;
  std::map<int, QString> FTexts;
  TKvRepaintThrottle FRepaint;
};
