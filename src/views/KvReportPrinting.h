#pragma once
// What the panels ask of the printing module: its report links (0 the chart's, 1 the
// table's, 2 the chart panel as laid out) and the three operations on them. The module
// sets DmDxPrinting while it exists; panels test it before they print.
#include <QString>

class QCustomPlot;

class TKvReportPrinting {
 public:
  virtual ~TKvReportPrinting() = default;
  virtual int CurrentLinkIndex() const = 0;
  // The chart panel hands its chart over when it is made and takes it back when it goes.
  virtual void SetDBChart(QCustomPlot* chart) = 0;
  virtual void SetPdfFileName(const QString& fileName) = 0;  // of the current link
  virtual void SetPrintTitle(const QString& title) = 0;
  virtual void PrinterSetup(int link) = 0;
  virtual void PrintPreview(int link) = 0;
  virtual void PrintPrint(int link) = 0;
};

extern TKvReportPrinting* DmDxPrinting;
