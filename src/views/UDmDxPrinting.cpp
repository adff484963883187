#include "UDmDxPrinting.h"

#include <qcustomplot.h>

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QPrinter>
#include <QProgressDialog>
#include <QSettings>

#include "KvDialogs.h"
#include "KvDockedViews.h"
#include "KvFormStorage.h"
#include "KvGlobalInfo.h"
#include "KvGridView.h"
#include "KvSys_Helper.h"
#include "UDmKvBasic.h"
#include "UDxTable.h"

TDmDxPrinting::TDmDxPrinting(QObject* owner) : QObject(owner) {
  setObjectName("DmDxPrinting");
  if (DmDxPrinting) {
    MessageDlg("DmKvBasic: Module already loaded", TMsgDlgType::mtError, mbOK);
    return;
  }
  DmDxPrinting = this;
  FOwnsInstance = true;
  DataModuleCreate();
}

TDmDxPrinting::~TDmDxPrinting() {
  if (FOwnsInstance) DmDxPrinting = nullptr;
}

void TDmDxPrinting::DataModuleCreate() {
  const QString product = KvGlobalInfo().strFullAppName;
  TKvReportLink& chart = dxComponentPrinter1Link_DBChart;
  chart.Page.Orientation = QPageLayout::Landscape;
  chart.ReportCaption = "Chart report";
  chart.CenterTitle = product + " chart:";
  chart.PdfFileName = "NewFile";
  dxComponentPrinter1Link_DB_Table.CenterTitle = product + " table:";
  TKvReportLink& form = dxComponentPrinter1Link_FrmChart;
  form.Page.Orientation = QPageLayout::Landscape;
  form.Page.ScaleFactor = 130;
  form.CenterTitle = "Line chart panel";

  // The panels come later than this module; the links find them when they print.
  dxComponentPrinter1Link_DB_Table.Grid = []() -> TKvGridView* {
    auto* table = dynamic_cast<TFrmDxTable*>(FrmDxTable);
    return table ? table->cxGridTableDBTableView2 : nullptr;
  };
  dxComponentPrinter1Link_FrmChart.Container = [] { return dynamic_cast<QWidget*>(FrmDxChart); };
}

TKvReportLink& TDmDxPrinting::Link(int index) {
  switch (index) {
    case 0:
      return dxComponentPrinter1Link_DBChart;
    case 1:
      return dxComponentPrinter1Link_DB_Table;
    default:
      return dxComponentPrinter1Link_FrmChart;
  }
}

QString TDmDxPrinting::LinkFileName(const TKvReportLink& link, const QString& ext) const {
  const QString exe = QFileInfo(KvGlobalInfo().strExeName).completeBaseName();
  return KvSys_GetPath("USERAPPDATA", true) + '/' + exe + "_Link" + QString::number(link.Index) +
         ext;
}

void TDmDxPrinting::SelectLink(int index) {
  const int other = index == 0 ? 1 : 0;
  Link(other).Active = false;
  Link(index).Active = true;
  SetCurrentLink(index);
}

void TDmDxPrinting::SetCurrentLink(int index) {
  if (index >= 0 && index < LinkCount) FCurrentLink = index;
}

void TDmDxPrinting::SetDBChart(QCustomPlot* chart) {
  if (dxComponentPrinter1Link_DBChart.Chart == chart) return;
  dxComponentPrinter1Link_DBChart.Chart = chart;
}

void TDmDxPrinting::SetPdfFileName(const QString& fileName) {
  Link(FCurrentLink).PdfFileName = fileName;
}

void TDmDxPrinting::SetPrintTitle(const QString& title) {
  FPrintTitle = title;
}

// ---- the three operations -----------------------------------------------------------------

void TDmDxPrinting::PrinterSetup(int link) {
  RunFrame(link, [this](TKvReportLink& l, QPrinter& p) { return PageSetup(l, p); });
}

void TDmDxPrinting::PrintPreview(int link) {
  RunFrame(link, [this](TKvReportLink& l, QPrinter& p) { return Preview(l, p); });
}

void TDmDxPrinting::PrintPrint(int link) {
  RunFrame(link, [this](TKvReportLink& l, QPrinter& p) { return Print(l, p); });
}

// A changed page stays stored even when the user cancels. The printer choice follows the last
// report any link printed: a cancelled one keeps the stored printer, even one that has gone,
// for the day it is back.
void TDmDxPrinting::RunFrame(int bound, const TKvPrintStep& middle) {
  if (LinkCount <= bound) {
    Notify("Print preview link not available", false);
    return;
  }
  TKvReportLink& link = Link(FCurrentLink);
  if (FCurrentLink == 1)
    link.ReportNote = DmKvBasic ? QFileInfo(DmKvBasic->File_ActName()).fileName() : QString();
  QPrinter printer(QPrinter::ScreenResolution);
  if (FSelectedPrinter.isEmpty()) FSelectedPrinter = printer.printerName();
  const QString prn = LinkFileName(link, ".prn");
  if (QFile::exists(prn)) {
    if (!link.Page.LoadFromFile(prn))
      KvSysHelper().SysLog_Add(this, "", "Page settings unreadable, defaults used: " + prn);
    const QString name =
        DmKvBasic ? DmKvBasic->KvFormStorage1->ReadString("PrnName", "") : QString();
    if (!name.isEmpty() && KvDialogs().PrinterNames().contains(name)) {
      printer.setPrinterName(name);
      FSelectedPrinter = name;
    }
  }
  printer.setPageLayout(link.Page.Layout());
  const bool printed = middle(link, printer);
  if (!link.Page.SaveToFile(prn))
    KvSysHelper().SysLog_Add(this, "", "Page settings not saved: " + prn);
  if (printed && !FSelectedPrinter.isEmpty() && DmKvBasic)
    DmKvBasic->KvFormStorage1->WriteString("PrnName", FSelectedPrinter);
}

bool TDmDxPrinting::PageSetup(TKvReportLink& link, QPrinter& printer) {
  TKvPrintRequest request;
  request.Title = "Page setup";
  request.Printer = &printer;
  if (KvDialogs().PageSetupDialog(request)) link.Page.FromLayout(printer.pageLayout());
  return false;
}

// The preview prints too: a printer chosen there is the printer of the next report.
bool TDmDxPrinting::Preview(TKvReportLink& link, QPrinter& printer) {
  TKvPrintRequest request;
  request.Title = "Print preview";
  request.Printer = &printer;
  request.PrinterName = FSelectedPrinter;
  request.Paint = [this, &link](QPrinter& target) {
    PaintReport(link, target, OnProgress ? OnProgress : DefaultProgress());
  };
  dxComponentPrinter1BeforePreview(link, request);
  const bool printed = KvDialogs().PrintPreviewDialog(request);
  dxComponentPrinter1AfterPreview(link, request);
  if (printed && !request.PrinterName.isEmpty()) FSelectedPrinter = request.PrinterName;
  return printed;
}

bool TDmDxPrinting::Print(TKvReportLink& link, QPrinter& printer) {
  if (!ChooseTarget(link, printer)) return false;
  return PaintReport(link, printer, OnProgress ? OnProgress : DefaultProgress());
}

// Without any printer the report goes to a PDF file the user names; otherwise the print
// dialog chooses a printer or a file.
bool TDmDxPrinting::ChooseTarget(TKvReportLink& link, QPrinter& printer) {
  if (KvDialogs().PrinterNames().isEmpty()) {
    QFileInfo pdf(link.PdfFileName);
    TKvFileDialogRequest request;
    request.Title = "Print to PDF file";
    request.Filter = "PDF files (*.pdf)|*.pdf";
    request.DefaultExt = "pdf";
    request.InitialDir = pdf.path();
    request.FileName = pdf.path() + '/' +
                       (pdf.completeBaseName().isEmpty() ? "NewFile" : pdf.completeBaseName()) +
                       ".pdf";
    if (!KvDialogs().SaveFileDialog(request)) return false;
    printer.setOutputFormat(QPrinter::PdfFormat);
    printer.setOutputFileName(request.FileName);
    return true;
  }
  TKvPrintRequest request;
  request.Title = "Print";
  request.Printer = &printer;
  request.PrinterName = FSelectedPrinter;
  if (!KvDialogs().PrintDialog(request)) return false;
  if (!request.PrinterName.isEmpty()) FSelectedPrinter = request.PrinterName;
  return true;
}

bool TDmDxPrinting::PaintReport(TKvReportLink& link, QPrinter& printer,
                                const TKvReportProgress& progress) {
  // The page comes from the frame; a dialog may have changed it since, for this print only.
  printer.setDocName(FPrintTitle.isEmpty() ? link.ReportCaption : FPrintTitle);
  QCPPainter painter;
  if (!painter.begin(&printer)) {
    const QString target =
        printer.outputFileName().isEmpty() ? printer.printerName() : printer.outputFileName();
    MessageDlg("The report could not be printed to \"" + target + "\".", TMsgDlgType::mtError,
               mbOK);
    return false;
  }
  QElapsedTimer elapsed;
  elapsed.start();
  const int pages = link.Paint(painter, printer, progress);
  if (pages < 0) printer.abort();
  painter.end();
  if (pages < 0) {
    // The PDF writer has no way back: the pages so far are in the file, which is no report.
    if (!printer.outputFileName().isEmpty()) QFile::remove(printer.outputFileName());
    Notify("Printing cancelled", true);
    return false;
  }
  const double seconds = std::max(elapsed.nsecsElapsed() / 1e9, 1e-6);
  Notify(QString("%1 page(s) printed in %2 s, %3 pages/s")
             .arg(pages)
             .arg(seconds, 0, 'f', 2)
             .arg(pages / seconds, 0, 'f', 1),
         true);
  return true;
}

// A report of more than one page shows its progress from the first page on: the dialog keeps
// the window answering (readings go on arriving) and offers the cancel.
TKvReportProgress TDmDxPrinting::DefaultProgress() {
  auto dialog = std::make_shared<QProgressDialog>("Printing...", "Cancel", 0, 1);
  dialog->setObjectName("PrintProgress");
  dialog->setWindowModality(Qt::ApplicationModal);
  dialog->setAutoReset(false);
  dialog->setAutoClose(false);
  dialog->setMinimumDuration(0);
  return [dialog](int done, int total) {
    if (total < 2) return true;
    if (dialog->maximum() != total) dialog->setMaximum(total);
    dialog->setLabelText(QString("Page %1 of %2").arg(done).arg(total));
    if (!dialog->isVisible()) dialog->show();
    dialog->setValue(done);
    QCoreApplication::processEvents();
    return !dialog->wasCanceled();
  };
}

// ---- preview window settings --------------------------------------------------------------

void TDmDxPrinting::dxComponentPrinter1BeforePreview(const TKvReportLink& link,
                                                     TKvPrintRequest& request) {
  QSettings file(LinkFileName(link, ".pre"), QSettings::IniFormat);
  request.Geometry = file.value("Preview/Geometry").toByteArray();
}

void TDmDxPrinting::dxComponentPrinter1AfterPreview(const TKvReportLink& link,
                                                    const TKvPrintRequest& request) {
  QSettings file(LinkFileName(link, ".pre"), QSettings::IniFormat);
  file.setValue("Preview/Geometry", request.Geometry);
}

void TDmDxPrinting::Notify(const QString& msg, bool bLog) {
  if (DmKvBasic) DmKvBasic->DoStatusBarNotify(msg, bLog);
}
