#include "KvStatisticsStrip.h"

#include <QPainter>
#include <algorithm>

#include "KvMemTable.h"
#include "KvMemTableModel.h"

TKvStatisticsStrip::TKvStatisticsStrip(TKvMemTable& dataSet, TKvMemTableModel& model,
                                       QWidget* parent)
    : QWidget(parent), FDataSet(dataSet), FRepaint(this, KvLiveRepaintMs, [this] { update(); }) {
  setToolTip(
      "Acoustic statistics of the rows shown: Leq is the energy mean, LN the level exceeded by "
      "N % of the readings");
  setSizePolicy(QSizePolicy::Preferred, QSizePolicy::Fixed);
  // It paints all of itself with every reading; the panels behind need not.
  setAttribute(Qt::WA_OpaquePaintEvent);
  connect(&model, &TKvMemTableModel::RowsChanged, this, [this](int event, int position) {
    if (TKvDataEvent(event) == TKvDataEvent::deRecordInserted)
      ReadingShown(position);
    else
      Recount();
  });
  Recount();
}

const QStringList& TKvStatisticsStrip::Captions() {
  static const QStringList captions = {"Count", "Duration", "Leq", "Lmax",
                                       "Lmin",  "L10",      "L50", "L90"};
  return captions;
}

QString TKvStatisticsStrip::Text(const QString& caption) const {
  const int i = int(Captions().indexOf(caption));
  return i < 0 ? QString() : FTexts[i];
}

void TKvStatisticsStrip::Recount() {
  FTally.Clear();
  FReader.emplace(FDataSet);
  FReader->Walk(
      [this](const TKvLevelReading& r) { FTally.Add(r.Level, KvLevel_DateTime(r.Msecs)); });
  Show();
}

void TKvStatisticsStrip::ReadingShown(int position) {
  TKvLevelReading r;
  if (!FReader || !FReader->At(position, r)) return;
  FTally.Add(r.Level, KvLevel_DateTime(r.Msecs));
  Show();
}

void TKvStatisticsStrip::Show() {
  FStats = FTally.Result();
  const TKvLevelStatistics& s = FStats;
  auto level = [&s](double v) { return s.Empty() ? QString() : KvLevel_Text(v) + " dB"; };
  FTexts = {QString::number(s.Count),
            s.Empty() ? QString() : KvLevel_DurationText(s.DurationSeconds()),
            level(s.Leq),
            level(s.Lmax),
            level(s.Lmin),
            level(s.Percentile(10)),
            level(s.Percentile(50)),
            level(s.Percentile(90))};
  FRepaint.Request();
}

std::vector<int> TKvStatisticsStrip::SlotWidths(int available) const {
  if (FLeastWidths.empty() || FLeastWidthsFont != font()) {
    QFont bold = font();
    bold.setBold(true);
    const QFontMetrics plain(font()), strong(bold);
    const QString longest[] = {"88888888", "888d 88:88:88", "188.8 dB"};
    FLeastWidths.clear();
    for (int i = 0; i < Captions().size(); ++i)
      FLeastWidths.push_back(plain.horizontalAdvance(Captions()[i] + " ") +
                             strong.horizontalAdvance(longest[std::min(i, 2)]) + 12);
    FLeastWidthsFont = font();
  }
  std::vector<int> widths = FLeastWidths;
  int used = 0;
  for (int w : widths) used += w;
  const int spare = std::max(0, available - used) / int(widths.size());
  for (int& w : widths) w += spare;
  return widths;
}

QSize TKvStatisticsStrip::sizeHint() const {
  int width = 0;
  for (int w : SlotWidths(0)) width += w;
  return QSize(width, fontMetrics().height() + 8);
}

void TKvStatisticsStrip::paintEvent(QPaintEvent*) {
  QPainter p(this);
  p.fillRect(rect(), palette().alternateBase());
  p.setPen(palette().mid().color());
  p.drawLine(rect().topLeft(), rect().topRight());
  QFont bold = font();
  bold.setBold(true);
  const QFontMetrics plain(font());
  const std::vector<int> room = SlotWidths(width() - 6);
  int x = 6;
  for (int i = 0; i < Captions().size(); ++i) {
    const int slot = room[i];
    const QString caption = Captions()[i] + " ";
    p.setFont(font());
    p.setPen(palette().placeholderText().color());
    const QRect r(x, 0, slot - 6, height());
    p.drawText(r, Qt::AlignLeft | Qt::AlignVCenter, caption);
    p.setFont(bold);
    p.setPen(palette().text().color());
    p.drawText(r.adjusted(plain.horizontalAdvance(caption), 0, 0, 0),
               Qt::AlignLeft | Qt::AlignVCenter, FTexts[i]);
    x += slot;
  }
}
