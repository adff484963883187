// lvxtool report: a measurement report in PDF, drawn by the reader's own line chart and report
// page frame: the document's name and period, its statistics, the chart of the level with the
// range lines and the running Leq, and the statistics of each clock hour.
#include <qcustomplot.h>

#include <QFileInfo>
#include <QPrinter>

#include "KvChartChannels.h"
#include "KvLevelStatistics.h"
#include "KvMeasurementTable.h"
#include "KvReportLink.h"
#include "LvxTool.h"
#include "LvxToolStats.h"
#include "UDxChart.h"

namespace {
const char* const ReportUsage = "report FILE OUT.pdf";
const char* const DateTimePattern = "yyyy-mm-dd hh:nn:ss";

QFont ReportFont(double points, bool bold = false) {
  QFont font("Sans");
  font.setPointSizeF(points);
  font.setBold(bold);
  return font;
}

QString Level(const TKvLevelStatistics& s, double v) {
  return s.Empty() || !std::isfinite(v) ? QString() : KvLevel_Text(v) + " dB";
}

// A ruled table of text: a shaded caption row, then the rows; the widths are parts of the
// width given. Returns the bottom edge.
double DrawTable(QPainter& p, const TKvReportPageFrame& frame, QPointF at, double width,
                 const std::vector<double>& parts, const QStringList& captions,
                 const std::vector<QStringList>& rows) {
  const double rowHeight = frame.Mm(5.2), pad = frame.Mm(1.5);
  double total = 0;
  for (double part : parts) total += part;
  std::vector<double> lefts;
  for (double x = at.x(); double part : parts) {
    lefts.push_back(x);
    x += width * part / total;
  }
  auto line = [&](const QStringList& cells, double y) {
    for (size_t c = 0; c < parts.size() && c < size_t(cells.size()); ++c)
      p.drawText(QRectF(lefts[c] + pad, y, width * parts[c] / total - 2 * pad, rowHeight),
                 (c == 0 ? Qt::AlignLeft : Qt::AlignRight) | Qt::AlignVCenter, cells[int(c)]);
  };
  p.fillRect(QRectF(at.x(), at.y(), width, rowHeight), QColor(225, 225, 225));
  p.setPen(QPen(Qt::black, 0));
  p.setFont(ReportFont(9, true));
  line(captions, at.y());
  p.setFont(ReportFont(9));
  double y = at.y() + rowHeight;
  for (size_t r = 0; r < rows.size(); ++r, y += rowHeight) {
    if (r % 2) p.fillRect(QRectF(at.x(), y, width, rowHeight), QColor(245, 245, 245));
    line(rows[r], y);
  }
  p.setPen(QPen(Qt::gray, 0));
  p.drawRect(QRectF(at.x(), at.y(), width, y - at.y()));
  p.drawLine(QPointF(at.x(), at.y() + rowHeight), QPointF(at.x() + width, at.y() + rowHeight));
  return y;
}

class TKvMeasurementReportLink : public TKvReportLink {
 public:
  TKvMeasurementReportLink(TKvMeasurementTable& table, const QString& name)
      : TKvReportLink("MeasurementReport", 0), FName(name) {
    CenterTitle = "Measurement report";
    ReportNote = name;
    FStats = KvLevelStatistics_Of(table);
    FHours = KvLevelStatistics_ByHour(table);
    BuildChart(table);
  }
  bool HasComponent() const override { return true; }

 protected:
  int PageCount(const TKvReportPageFrame& frame) override {
    return 1 + (int(FHours.size()) + HoursPerPage(frame) - 1) / HoursPerPage(frame);
  }

  void PaintPage(QCPPainter& p, const TKvReportPageFrame& frame, int pageNo) override {
    const QRectF body = frame.Body();
    if (pageNo > 0) return PaintHours(p, frame, pageNo - 1);
    p.setPen(QPen(Qt::black, 0));
    p.setFont(ReportFont(16, true));
    const double titleHeight = frame.Mm(10);
    p.drawText(QRectF(body.left(), body.top(), body.width(), titleHeight),
               Qt::AlignLeft | Qt::AlignVCenter, "Measurement report: " + FName);
    p.setFont(ReportFont(10));
    const QString period = FStats.Empty()
                               ? QString("Period: no readings with a level")
                               : QString("Period: %1 to %2 (%3)")
                                     .arg(FormatDateTime(DateTimePattern, FStats.First),
                                          FormatDateTime(DateTimePattern, FStats.Last),
                                          KvLevel_DurationText(FStats.DurationSeconds()));
    p.drawText(QRectF(body.left(), body.top() + titleHeight, body.width(), frame.Mm(7)),
               Qt::AlignLeft | Qt::AlignVCenter, period);
    const double tableTop = body.top() + titleHeight + frame.Mm(10);
    const double bottom =
        DrawTable(p, frame, QPointF(body.left(), tableTop), body.width(), {3, 2, 1, 3, 2},
                  {"Figure", "Value", "", "Figure", "Value"}, StatisticsRows());
    const QRectF chart(body.left(), bottom + frame.Mm(8), body.width(),
                       body.bottom() - bottom - frame.Mm(8));
    if (chart.height() > frame.Mm(40)) KvChart_PaintInto(p, *FChart.DBChart, chart);
  }

 private:
  int HoursPerPage(const TKvReportPageFrame& frame) const {
    return std::max(1, int(frame.Body().height() / frame.Mm(5.2)) - 4);
  }

  std::vector<QStringList> StatisticsRows() const {
    const TKvLevelStatistics& s = FStats;
    const QStringList left[] = {
        {"Readings", QString::number(s.Count)},
        {"Duration", s.Empty() ? QString() : KvLevel_DurationText(s.DurationSeconds())},
        {"Leq (energy mean)", Level(s, s.Leq)},
        {"Lmax", Level(s, s.Lmax)},
        {"Lmin", Level(s, s.Lmin)},
        {"Lmean (arithmetic mean)", Level(s, s.Lmean)},
        {"SEL", s.HasSel() ? Level(s, s.Sel()) : QString()}};
    std::vector<QStringList> rows;
    for (size_t i = 0; i < std::size(left); ++i) {
      QStringList row = left[i];
      row << "";
      if (i < KvPercentileNs.size())
        row << QString("L%1").arg(KvPercentileNs[i]) << Level(s, s.L[i]);
      rows.push_back(row);
    }
    return rows;
  }

  void PaintHours(QCPPainter& p, const TKvReportPageFrame& frame, int part) {
    const QRectF body = frame.Body();
    p.setPen(QPen(Qt::black, 0));
    p.setFont(ReportFont(12, true));
    p.drawText(QRectF(body.left(), body.top(), body.width(), frame.Mm(9)),
               Qt::AlignLeft | Qt::AlignVCenter, "Statistics per clock hour");
    const int per = HoursPerPage(frame);
    std::vector<QStringList> rows;
    for (size_t i = size_t(part * per); i < FHours.size() && i < size_t((part + 1) * per); ++i) {
      const TKvLevelStatistics& s = FHours[i].Stats;
      rows.push_back({FormatDateTime("yyyy-mm-dd hh:nn", FHours[i].Hour) + " - " +
                          FormatDateTime("hh:nn", FHours[i].Hour + 1.0 / 24),
                      QString::number(s.Count), Level(s, s.Leq), Level(s, s.Lmax), Level(s, s.Lmin),
                      Level(s, s.Percentile(90))});
    }
    DrawTable(p, frame, QPointF(body.left(), body.top() + frame.Mm(11)), body.width(),
              {4, 2, 2, 2, 2, 2}, {"Hour", "Readings", "Leq", "Lmax", "Lmin", "L90"}, rows);
  }

  // The reader's line chart with the level, the range lines and the Leq line.
  void BuildChart(TKvMeasurementTable& table) {
    FChart.resize(1000, 520);
    KvChart_SetupChannels(FChart);
    FChart.Channel_Add(KvLeqChannelId, KvLeqChannelTitle, "", true, "Leq");
    FChart.Channel_UpdateFromList();
    FChart.DoChart_UpdateFromDataset(table);
    // On paper the run labels of the screen would crowd the line; the legend names it.
    if (TKvLineSeries* level = FChart.SeriesOfChannel(1))
      level->OnGetMarkText = [](TKvLineSeries&, QString& text) { text.clear(); };
    // A rebuild fills the level only; the range lines come from the same rows.
    const int lo = table.FieldByName("RangeMin").Column(),
              hi = table.FieldByName("RangeMax").Column();
    std::vector<double> keys, low, high;
    const TKvDatSTable& t = *table.Table();
    const TKvLevelReader reader(table);
    for (int i = 0; i < table.RecordCount(); ++i) {
      TKvLevelReading r;
      reader.At(i, r);
      bool isNull;
      const uint8_t* row = t.RowData(table.RowHandle(i));
      keys.push_back(KvChart_Key(KvLevel_DateTime(r.Msecs)));
      low.push_back(KvCell_AsDouble(t, row, lo, isNull));
      high.push_back(KvCell_AsDouble(t, row, hi, isNull));
    }
    if (TKvLineSeries* s = FChart.SeriesOfChannel(2)) s->SetPoints(keys, low, {});
    if (TKvLineSeries* s = FChart.SeriesOfChannel(3)) s->SetPoints(keys, high, {});
    FChart.DoChart_Autoscale();
  }

  QString FName;
  TKvLevelStatistics FStats;
  std::vector<TKvHourStatistics> FHours;
  TFrmDxChart FChart;
};

int Report(const QStringList& args, QTextStream& out, QTextStream& err) {
  if (args.size() != 2) {
    err << "usage: lvxtool " << ReportUsage << "\n";
    return 2;
  }
  TKvMeasurementTable table;
  if (!LvxTool_LoadDocument(table, args[0], err)) return 2;
  TKvMeasurementReportLink link(table, QFileInfo(args[0]).fileName());
  link.Page.Orientation = QPageLayout::Portrait;
  QPrinter printer(QPrinter::ScreenResolution);
  printer.setOutputFormat(QPrinter::PdfFormat);
  printer.setOutputFileName(args[1]);
  printer.setPageLayout(link.Page.Layout());
  printer.setDocName("Measurement report: " + QFileInfo(args[0]).fileName());
  QCPPainter painter;
  if (!painter.begin(&printer)) {
    err << "lvxtool report: cannot write '" << args[1] << "'\n";
    return 1;
  }
  const int pages = link.Paint(painter, printer, {});
  painter.end();
  out << args[1] << ": " << pages << (pages == 1 ? " page\n" : " pages\n");
  return 0;
}

TLvxToolRegistration reg(
    {"report", ReportUsage, Report, true,
     "Writes a measurement report of the document FILE as PDF to OUT.pdf: the document's name\n"
     "and period, its statistics (as lvxtool stats gives them), the line chart of the level\n"
     "with its range lines and the running Leq, and Leq, Lmax, Lmin and L90 of each clock\n"
     "hour.\n"});
}  // namespace
