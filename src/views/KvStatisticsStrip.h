#pragma once
// The statistics strip under the table panel's grid: count, duration, Leq, Lmax, Lmin, L10,
// L50 and L90 of the rows that pass the grid's filter. A recorded reading is added to a running
// tally (no pass over the table); a filter change, a delete or a reload counts again.
#include <QFont>
#include <QStringList>
#include <QWidget>
#include <optional>
#include <vector>

#include "KvLevelTally.h"
#include "KvRepaintThrottle.h"

class TKvMemTable;
class TKvMemTableModel;

class TKvStatisticsStrip : public QWidget {
  Q_OBJECT
 public:
  // Follows the model's row changes; the dataset is read directly.
  TKvStatisticsStrip(TKvMemTable& dataSet, TKvMemTableModel& model, QWidget* parent = nullptr);

  // The figures' captions, in the order shown.
  static const QStringList& Captions();
  // The text shown for a caption ("65.3 dB"); empty while the set has no level.
  QString Text(const QString& caption) const;
  const TKvLevelStatistics& Statistics() const { return FStats; }

  // Counts the dataset's shown rows again.
  void Recount();
  // The row at position of the active order has just come in.
  void ReadingShown(int position);

  QSize sizeHint() const override;

 protected:
  void paintEvent(QPaintEvent* event) override;

 private:
  void Show();
  // Each figure gets the room its longest text needs; what is left is shared out evenly.
  std::vector<int> SlotWidths(int available) const;

  TKvMemTable& FDataSet;
  std::optional<TKvLevelReader> FReader;  // made again at each recount
  TKvLevelTally FTally;
  TKvLevelStatistics FStats;
  QStringList FTexts;
  TKvRepaintThrottle FRepaint;
  // What each figure needs in the font they were measured in.
  mutable std::vector<int> FLeastWidths;
  mutable QFont FLeastWidthsFont;
};
