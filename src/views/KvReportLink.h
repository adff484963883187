#pragma once
// A report link: what one kind of report prints, on which page, under which titles. The page
// settings travel in a small file of their own; the links draw on any printer, PDF included,
// through one page frame (header title, report note, page numbers).
#include <QMarginsF>
#include <QPageLayout>
#include <QRectF>
#include <QString>
#include <functional>

#include "KvReportRows.h"

class QCustomPlot;
class QCPPainter;
class QPainter;
class QPrinter;
class TKvGridView;
class QWidget;

// The page of a link, in millimetres.
struct TKvReportPage {
  QPageSize::PageSizeId Paper = QPageSize::A4;
  QPageLayout::Orientation Orientation = QPageLayout::Portrait;
  QMarginsF Margins{12.7, 12.7, 12.7, 12.7};
  double Header = 6.35;
  double Footer = 6.35;
  int ScaleFactor = 100;  // percent, for links that print a form as laid out

  QPageLayout Layout() const;
  // Takes paper, orientation and margins from a dialog's layout.
  void FromLayout(const QPageLayout& layout);
  // False (and the page unchanged) when the file is missing or damaged.
  bool LoadFromFile(const QString& fileName);
  bool SaveToFile(const QString& fileName) const;
};

// Called after each page with the pages done and the total; false cancels.
using TKvReportProgress = std::function<bool(int done, int total)>;

// Draws the frame of each page and hands out the body rectangle, in device pixels.
class TKvReportPageFrame {
 public:
  TKvReportPageFrame(QPainter& painter, QPrinter& printer, const TKvReportPage& page);
  QRectF Body() const { return FBody; }
  double Mm(double mm) const { return mm * FDotsPerMm; }
  // Header: the note on the left, the title centred, the date on the right; footer: the
  // page number.
  void Draw(const QString& title, const QString& note, int pageNo, int pages);

 private:
  QPainter& FPainter;
  double FDotsPerMm;
  QRectF FHeader, FBody, FFooter;
};

class TKvReportLink {
 public:
  TKvReportLink(const QString& name, int index) : Name(name), Index(index) {}
  virtual ~TKvReportLink() = default;

  QString Name;
  int Index;
  bool Active = false;
  TKvReportPage Page;
  QString ReportCaption;
  QString CenterTitle;
  QString ReportNote;
  QString PdfFileName;
  int LastPageCount = 0;  // pages of the last report, cancelled ones included

  // False when the link has nothing to print (its panel does not exist).
  virtual bool HasComponent() const = 0;
  // Prints every page; the number of pages printed, or -1 when cancelled.
  int Paint(QCPPainter& painter, QPrinter& printer, const TKvReportProgress& progress);

 protected:
  // The report starts: fixes what it prints and counts its pages. EndReport follows, however
  // the report ends.
  virtual int PageCount(const TKvReportPageFrame& frame) = 0;
  virtual void EndReport() {}
  virtual void PaintPage(QCPPainter& painter, const TKvReportPageFrame& frame, int pageNo) = 0;
};

// The chart engine's own drawing, scaled to the page width inside the chart's print margins
// (percent of the body: left, top, right, bottom).
class TKvChartReportLink : public TKvReportLink {
 public:
  using TKvReportLink::TKvReportLink;
  QCustomPlot* Chart = nullptr;  // given and taken back by the chart panel
  QMarginsF PrintMargins{5, 15, 5, 5};
  bool HasComponent() const override { return Chart != nullptr; }

 protected:
  int PageCount(const TKvReportPageFrame&) override { return 1; }
  void PaintPage(QCPPainter& painter, const TKvReportPageFrame& frame, int pageNo) override;
};

// The grid as a report: its visible columns in their order and width ratio, their captions
// repeated on each page, and every row the grid's model holds when the report starts, in its
// order.
class TKvGridReportLink : public TKvReportLink {
 public:
  using TKvReportLink::TKvReportLink;
  std::function<TKvGridView*()> Grid;
  bool HasComponent() const override { return Grid && Grid(); }
  int RowsPerPage(const TKvReportPageFrame& frame) const;

 protected:
  int PageCount(const TKvReportPageFrame& frame) override;
  void EndReport() override { FRows.Stop(); }
  void PaintPage(QCPPainter& painter, const TKvReportPageFrame& frame, int pageNo) override;

 private:
  double RowHeight(const TKvReportPageFrame& frame) const;
  TKvReportRows FRows;
};

// Draws the chart engine's own picture of the chart into target (device pixels), laid out at
// a screen-like width and scaled to fit the target's width.
void KvChart_PaintInto(QCPPainter& painter, QCustomPlot& chart, const QRectF& target);
// Lays the chart out and samples its series for its current viewport, drawing at once.
void KvChart_Refresh(QCustomPlot& chart);

// A form as it is laid out, enlarged by the page's scale factor and shrunk to the page width
// when it would not fit.
class TKvContainerReportLink : public TKvReportLink {
 public:
  using TKvReportLink::TKvReportLink;
  std::function<QWidget*()> Container;
  bool HasComponent() const override { return Container && Container(); }

 protected:
  int PageCount(const TKvReportPageFrame&) override { return 1; }
  void PaintPage(QCPPainter& painter, const TKvReportPageFrame& frame, int pageNo) override;
};
