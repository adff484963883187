#include "KvReportLink.h"

#include <qcustomplot.h>

#include <QFile>
#include <QHeaderView>
#include <QPainter>
#include <QPrinter>
#include <QSettings>
#include <algorithm>
#include <cmath>
#include <memory>

#include "KvGridView.h"

// ---- page ---------------------------------------------------------------------------------

QPageLayout TKvReportPage::Layout() const {
  return QPageLayout(QPageSize(Paper), Orientation, Margins, QPageLayout::Millimeter);
}

void TKvReportPage::FromLayout(const QPageLayout& layout) {
  Paper = layout.pageSize().id();
  Orientation = layout.orientation();
  Margins = layout.margins(QPageLayout::Millimeter);
}

namespace {
// A value read back from a page file must describe a printable page, or the file is damaged.
bool Sane(double mm, double limit) {
  return std::isfinite(mm) && mm >= 0 && mm < limit;
}
}  // namespace

bool TKvReportPage::LoadFromFile(const QString& fileName) {
  if (!QFile::exists(fileName)) return false;
  QSettings file(fileName, QSettings::IniFormat);
  if (file.status() != QSettings::NoError) return false;
  file.beginGroup("PrinterPage");
  bool ok[9];
  const int paper = file.value("Paper").toInt(&ok[0]);
  const int orientation = file.value("Orientation").toInt(&ok[1]);
  const double left = file.value("MarginLeft").toDouble(&ok[2]);
  const double top = file.value("MarginTop").toDouble(&ok[3]);
  const double right = file.value("MarginRight").toDouble(&ok[4]);
  const double bottom = file.value("MarginBottom").toDouble(&ok[5]);
  const double header = file.value("Header").toDouble(&ok[6]);
  const double footer = file.value("Footer").toDouble(&ok[7]);
  const int scale = file.value("ScaleFactor").toInt(&ok[8]);
  if (std::find(std::begin(ok), std::end(ok), false) != std::end(ok)) return false;
  if (paper < 0 || paper >= QPageSize::LastPageSize || paper == QPageSize::Custom) return false;
  if (orientation != QPageLayout::Portrait && orientation != QPageLayout::Landscape) return false;
  const QSizeF size = QPageSize(QPageSize::PageSizeId(paper)).size(QPageSize::Millimeter);
  const double narrow = std::min(size.width(), size.height()) / 2;
  for (double mm : {left, top, right, bottom, header, footer})
    if (!Sane(mm, narrow)) return false;
  if (scale < 10 || scale > 1000) return false;
  Paper = QPageSize::PageSizeId(paper);
  Orientation = QPageLayout::Orientation(orientation);
  Margins = QMarginsF(left, top, right, bottom);
  Header = header;
  Footer = footer;
  ScaleFactor = scale;
  return true;
}

bool TKvReportPage::SaveToFile(const QString& fileName) const {
  QSettings file(fileName, QSettings::IniFormat);
  file.beginGroup("PrinterPage");
  file.setValue("Paper", int(Paper));
  file.setValue("Orientation", int(Orientation));
  file.setValue("MarginLeft", Margins.left());
  file.setValue("MarginTop", Margins.top());
  file.setValue("MarginRight", Margins.right());
  file.setValue("MarginBottom", Margins.bottom());
  file.setValue("Header", Header);
  file.setValue("Footer", Footer);
  file.setValue("ScaleFactor", ScaleFactor);
  file.endGroup();
  file.sync();
  return file.status() == QSettings::NoError;
}

// ---- page frame ---------------------------------------------------------------------------

TKvReportPageFrame::TKvReportPageFrame(QPainter& painter, QPrinter& printer,
                                       const TKvReportPage& page)
    : FPainter(painter), FDotsPerMm(printer.resolution() / 25.4) {
  const QRectF area(QPointF(0, 0), printer.pageRect(QPrinter::DevicePixel).size());
  const double gap = Mm(2);
  FHeader = QRectF(area.left(), area.top(), area.width(), Mm(page.Header));
  FFooter = QRectF(area.left(), area.bottom() - Mm(page.Footer), area.width(), Mm(page.Footer));
  FBody = QRectF(area.left(), FHeader.bottom() + gap, area.width(),
                 FFooter.top() - gap - FHeader.bottom() - gap);
}

void TKvReportPageFrame::Draw(const QString& title, const QString& note, int pageNo, int pages) {
  FPainter.save();
  QFont font("Sans");
  font.setPointSizeF(9);
  FPainter.setFont(font);
  FPainter.setPen(QPen(Qt::black, 0));
  FPainter.drawText(FHeader, Qt::AlignLeft | Qt::AlignVCenter, note);
  font.setBold(true);
  FPainter.setFont(font);
  FPainter.drawText(FHeader, Qt::AlignHCenter | Qt::AlignVCenter, title);
  font.setBold(false);
  FPainter.setFont(font);
  FPainter.drawLine(FHeader.bottomLeft(), FHeader.bottomRight());
  FPainter.drawLine(FFooter.topLeft(), FFooter.topRight());
  FPainter.drawText(FFooter, Qt::AlignHCenter | Qt::AlignVCenter,
                    QString("Page %1 of %2").arg(pageNo).arg(pages));
  FPainter.restore();
}

// ---- link ---------------------------------------------------------------------------------

int TKvReportLink::Paint(QCPPainter& painter, QPrinter& printer,
                         const TKvReportProgress& progress) {
  TKvReportPageFrame frame(painter, printer, Page);
  const int pages = std::max(1, PageCount(frame));
  const std::unique_ptr<TKvReportLink, void (*)(TKvReportLink*)> ending(
      this, [](TKvReportLink* link) { link->EndReport(); });
  LastPageCount = 0;
  for (int p = 0; p < pages; ++p) {
    if (p > 0) printer.newPage();
    frame.Draw(CenterTitle, ReportNote, p + 1, pages);
    painter.save();
    PaintPage(painter, frame, p);
    painter.restore();
    LastPageCount = p + 1;
    if (progress && !progress(p + 1, pages)) return -1;
  }
  return pages;
}

// ---- chart --------------------------------------------------------------------------------

void TKvChartReportLink::PaintPage(QCPPainter& painter, const TKvReportPageFrame& frame, int) {
  if (!Chart) return;
  const QRectF body = frame.Body();
  const QRectF target = body.adjusted(
      body.width() * PrintMargins.left() / 100, body.height() * PrintMargins.top() / 100,
      -body.width() * PrintMargins.right() / 100, -body.height() * PrintMargins.bottom() / 100);
  KvChart_PaintInto(painter, *Chart, target);
}

void KvChart_PaintInto(QCPPainter& painter, QCustomPlot& chart, const QRectF& target) {
  // The chart lays itself out at a screen-like width and is scaled onto the page; its layout
  // and sample are made for that width before drawing.
  const int width = std::max(chart.width(), 900);
  const int height = std::max(1, int(width * target.height() / target.width()));
  const QRect screen = chart.viewport();
  chart.setViewport(QRect(0, 0, width, height));
  KvChart_Refresh(chart);
  painter.save();
  painter.setMode(QCPPainter::pmVectorized);
  painter.setMode(QCPPainter::pmNoCaching);
  painter.translate(target.topLeft());
  painter.scale(target.width() / width, target.width() / width);
  chart.toPainter(&painter, width, height);
  painter.restore();
  chart.setViewport(screen);
  KvChart_Refresh(chart);
}

void KvChart_Refresh(QCustomPlot& chart) {
  // The series sample their points per pixel column of the layout the first replot makes;
  // the second draws that sample.
  chart.replot(QCustomPlot::rpImmediateRefresh);
  chart.replot(QCustomPlot::rpImmediateRefresh);
}

// ---- grid ---------------------------------------------------------------------------------

namespace {
struct TKvPrintColumn {
  int Logical;
  double Left, Width;
};

// The grid's visible columns in their shown order, their widths shared out over the page
// width in the ratio the grid shows them.
std::vector<TKvPrintColumn> PrintColumns(const TKvGridView& view, double left, double width) {
  const QHeaderView* header = view.horizontalHeader();
  std::vector<TKvPrintColumn> columns;
  double total = 0;
  for (int v = 0; v < header->count(); ++v) {
    const int logical = header->logicalIndex(v);
    if (header->isSectionHidden(logical)) continue;
    const int size = header->sectionSize(logical);
    const double w = size > 0 ? size : header->defaultSectionSize();
    columns.push_back({logical, 0, w});
    total += w;
  }
  double x = left;
  for (TKvPrintColumn& c : columns) {
    c.Width = c.Width * width / total;
    c.Left = x;
    x += c.Width;
  }
  return columns;
}

QFont GridFont(bool bold) {
  QFont font("Sans");
  font.setPointSizeF(8);
  font.setBold(bold);
  return font;
}
}  // namespace

double TKvGridReportLink::RowHeight(const TKvReportPageFrame& frame) const {
  return frame.Mm(4.8);
}

int TKvGridReportLink::RowsPerPage(const TKvReportPageFrame& frame) const {
  return std::max(1, int(frame.Body().height() / RowHeight(frame)) - 1);
}

int TKvGridReportLink::PageCount(const TKvReportPageFrame& frame) {
  TKvGridView* view = Grid ? Grid() : nullptr;
  if (!view || !view->model()) return 1;
  FRows.Start(*view->model());
  const int perPage = RowsPerPage(frame);
  return std::max(1, (FRows.Count() + perPage - 1) / perPage);
}

void TKvGridReportLink::PaintPage(QCPPainter& painter, const TKvReportPageFrame& frame,
                                  int pageNo) {
  TKvGridView* view = Grid ? Grid() : nullptr;
  if (!view || !view->model()) return;
  const QAbstractItemModel& model = *view->model();
  const QRectF body = frame.Body();
  const double rowHeight = RowHeight(frame);
  const double pad = frame.Mm(1);
  const std::vector<TKvPrintColumn> columns = PrintColumns(*view, body.left(), body.width());
  const int perPage = RowsPerPage(frame);
  const int first = pageNo * perPage;
  const int last = std::min(FRows.Count(), first + perPage);

  painter.setPen(QPen(Qt::gray, 0));
  const QRectF caption(body.left(), body.top(), body.width(), rowHeight);
  painter.fillRect(caption, QColor(225, 225, 225));
  painter.setFont(GridFont(true));
  painter.setPen(QPen(Qt::black, 0));
  for (const TKvPrintColumn& c : columns)
    painter.drawText(QRectF(c.Left + pad, caption.top(), c.Width - 2 * pad, rowHeight),
                     Qt::AlignLeft | Qt::AlignVCenter,
                     model.headerData(c.Logical, Qt::Horizontal, Qt::DisplayRole).toString());

  painter.setFont(GridFont(false));
  double y = caption.bottom();
  bool shaded = false;
  for (int i = first; i < last; ++i) {
    const int row = FRows.Now(i);
    if (row < 0) continue;
    if (shaded)
      painter.fillRect(QRectF(body.left(), y, body.width(), rowHeight), QColor(245, 245, 245));
    shaded = !shaded;
    for (const TKvPrintColumn& c : columns) {
      const QModelIndex index = model.index(row, c.Logical);
      const QVariant align = model.data(index, Qt::TextAlignmentRole);
      const int flags = align.isValid() ? align.toInt() : int(Qt::AlignLeft | Qt::AlignVCenter);
      painter.drawText(QRectF(c.Left + pad, y, c.Width - 2 * pad, rowHeight), flags,
                       model.data(index, Qt::DisplayRole).toString());
    }
    y += rowHeight;
  }
  painter.setPen(QPen(Qt::gray, 0));
  painter.drawLine(QPointF(body.left(), caption.bottom()), QPointF(body.right(), caption.bottom()));
  painter.drawRect(QRectF(body.left(), body.top(), body.width(), y - body.top()));
  for (size_t i = 1; i < columns.size(); ++i)
    painter.drawLine(QPointF(columns[i].Left, body.top()), QPointF(columns[i].Left, y));
}

// ---- container ----------------------------------------------------------------------------

void TKvContainerReportLink::PaintPage(QCPPainter& painter, const TKvReportPageFrame& frame, int) {
  QWidget* form = Container ? Container() : nullptr;
  if (!form) return;
  // The charts on the form show what their last replot drew; readings since then only asked
  // for a replot, which the panel folds into a few a second.
  for (QCustomPlot* chart : form->findChildren<QCustomPlot*>()) KvChart_Refresh(*chart);
  const QRectF body = frame.Body();
  const QSize size = form->size();
  double scale = Page.ScaleFactor / 100.0;
  if (size.width() * scale > body.width()) scale = body.width() / size.width();
  if (size.height() * scale > body.height()) scale = body.height() / size.height();
  painter.translate(body.topLeft());
  painter.scale(scale, scale);
  form->render(&painter, QPoint(), QRegion(), QWidget::DrawChildren);
}
