#pragma once
// The printing module: one component printer with three report links (the chart, the table,
// the chart panel as laid out), the page and preview settings of each link in small files in
// the user's application data folder, and the chosen printer in the application module's
// store. The main window picks the current link by its tab; the chart panel's print handlers
// call the three operations.
#include <QObject>
#include <QString>
#include <array>
#include <functional>
#include <memory>

#include "KvReportLink.h"
#include "KvReportPrinting.h"

class QPrinter;
struct TKvPrintRequest;

class TDmDxPrinting : public QObject, public TKvReportPrinting {
  Q_OBJECT
 public:
  explicit TDmDxPrinting(QObject* owner = nullptr);
  ~TDmDxPrinting() override;

  static constexpr int LinkCount = 3;
  TKvChartReportLink dxComponentPrinter1Link_DBChart{"dxComponentPrinter1Link_DBChart", 0};
  TKvGridReportLink dxComponentPrinter1Link_DB_Table{"dxComponentPrinter1Link_DB_Table", 1};
  TKvContainerReportLink dxComponentPrinter1Link_FrmChart{"dxComponentPrinter1Link_FrmChart", 2};
  TKvReportLink& Link(int index);
  // The print title: the job's name in the printer queue.
  QString PrintTitle() const { return FPrintTitle; }
  // The page files of a link: ".prn" (page settings) or ".pre" (preview window).
  QString LinkFileName(const TKvReportLink& link, const QString& ext) const;

  // Long reports show their progress and can be cancelled; tests may answer in its place.
  TKvReportProgress OnProgress;

  // The tab rule: the chosen link becomes active and current, the other of the two not.
  void SelectLink(int index);
  void SetCurrentLink(int index);

  // TKvReportPrinting
  int CurrentLinkIndex() const override { return FCurrentLink; }
  void SetDBChart(QCustomPlot* chart) override;
  void SetPdfFileName(const QString& fileName) override;
  void SetPrintTitle(const QString& title) override;
  void PrinterSetup(int link) override;
  void PrintPreview(int link) override;
  void PrintPrint(int link) override;

 private:
  void DataModuleCreate();
  // The middle of an operation answers whether the report went to the chosen printer.
  using TKvPrintStep = std::function<bool(TKvReportLink&, QPrinter&)>;
  void RunFrame(int link, const TKvPrintStep& middle);
  bool PageSetup(TKvReportLink& link, QPrinter& printer);
  bool Preview(TKvReportLink& link, QPrinter& printer);
  bool Print(TKvReportLink& link, QPrinter& printer);
  bool ChooseTarget(TKvReportLink& link, QPrinter& printer);
  // Prints the link's pages; true when all of them were printed. A cancelled report leaves
  // no file behind.
  bool PaintReport(TKvReportLink& link, QPrinter& printer, const TKvReportProgress& progress);
  TKvReportProgress DefaultProgress();
  void dxComponentPrinter1BeforePreview(const TKvReportLink& link, TKvPrintRequest& request);
  void dxComponentPrinter1AfterPreview(const TKvReportLink& link, const TKvPrintRequest& request);
  void Notify(const QString& msg, bool bLog);

  int FCurrentLink = 2;
  QString FPrintTitle;
  QString FSelectedPrinter;
  bool FOwnsInstance = false;
};
