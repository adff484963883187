// Printing as the shipped program wires it: the module in the start order, the tab rule that
// picks the link, the frame of the three operations with its files and the stored printer,
// and the reports themselves, read back from the PDFs they make. The dialogs are scripted;
// everything else (printer, PDF writer, files) is real.
#include <QHeaderView>
#include <QImage>
#include <QLabel>
#include <QPrinter>
#include <QProcess>
#include <QProgressDialog>
#include <QPushButton>
#include <QRegularExpression>
#include <QSettings>
#include <QStatusBar>
#include <QTimer>

#include "../frame/ProgramFixture.h"
#include "KvGridView.h"
#include "KvPortDevices.h"
#include "KvStdActns.h"
#include "LvxProgram.h"
#include "UDmDxPrinting.h"
#include "UDmKv_COM_Commander.h"
#include "UDxChart.h"
#include "UDxTable.h"
#include "UFrmLvx_Main.h"

namespace {
// The text of a PDF, one entry per page; a copy goes to LVX_VIEWS_SHOTS for a person to see.
QStringList PdfPages(const QString& file) {
  if (qEnvironmentVariableIsSet("LVX_VIEWS_SHOTS"))
    QFile::copy(file, qEnvironmentVariable("LVX_VIEWS_SHOTS") + '/' + QFileInfo(file).fileName());
  QProcess p;
  p.start("pdftotext", {"-layout", file, "-"});
  p.waitForFinished(60000);
  QStringList pages = QString::fromUtf8(p.readAllStandardOutput()).split('\f');
  if (!pages.isEmpty() && pages.last().trimmed().isEmpty()) pages.removeLast();
  return pages;
}

// The first page of a PDF as a picture, as a viewer shows it.
QImage PdfPageImage(const QString& file) {
  QProcess p;
  p.start("pdftoppm", {"-r", "72", "-png", "-singlefile", file, file});
  p.waitForFinished(60000);
  return QImage(file + ".png");
}

// The height (0 at the bottom of the picture) of a curve drawn in one colour, averaged over
// each quarter of the width it covers, left to right. Where the colour has more than one
// pixel in a column (the legend above the curve), the lowest one counts.
std::vector<double> CurveHeightByQuarter(const QImage& image, QColor color) {
  std::vector<int> lowest(size_t(image.width()), -1);
  for (int x = 0; x < image.width(); ++x)
    for (int y = 0; y < image.height(); ++y) {
      const QColor c = image.pixelColor(x, y);
      if (std::abs(c.red() - color.red()) + std::abs(c.green() - color.green()) +
              std::abs(c.blue() - color.blue()) <
          60)
        lowest[size_t(x)] = image.height() - 1 - y;
    }
  std::vector<int> columns;
  for (int x = 0; x < image.width(); ++x)
    if (lowest[size_t(x)] >= 0) columns.push_back(x);
  std::vector<double> quarters(4, 0);
  if (columns.size() < 8) return {};
  const size_t n = columns.size();
  for (size_t q = 0; q < 4; ++q) {
    double sum = 0;
    for (size_t i = q * n / 4; i < (q + 1) * n / 4; ++i) sum += lowest[size_t(columns[i])];
    quarters[q] = sum / double((q + 1) * n / 4 - q * n / 4);
  }
  return quarters;
}
}  // namespace

class PrintingTest : public ProgramTestBase {
 protected:
  void SetUp() override {
    ProgramTestBase::SetUp();
    Program = std::make_unique<TLvxProgram>(&Devices);
    Program->Main().show();
    Table = dynamic_cast<TFrmDxTable*>(FrmDxTable);
    ASSERT_NE(Table, nullptr);
  }
  void TearDown() override {
    Program.reset();
    AppModuleTest::TearDown();
  }
  // Rows at 23 Nov 2026 hour:00:00 plus one second each, the level rising by 0.1 dB.
  void AddRows(int count, int hour = 10) {
    for (int i = 0; i < count; ++i) {
      TKvUniqueData d;
      d.bValid = d.bConnected = true;
      d.dVal = 50 + i * 0.1;
      d.dLo = 50;
      d.dHi = 100;
      d.dtDate = EncodeDate(2026, 11, 23);
      d.dtTime = EncodeTime(hour, (i / 60) % 60, i % 60, 0) + (i / 3600) / 24.0;
      Program->Commander().AddData(d);
    }
  }
  void ShowTab(int tab) { Program->Main().dxLayoutControl1GroupMain->setCurrentIndex(tab); }
  TDmDxPrinting& Printing() { return Program->Printing(); }
  QString StatusText() const {
    auto panels = Program->Main().dxStatusBar->findChildren<QLabel*>(Qt::FindDirectChildrenOnly);
    return panels.isEmpty() ? QString() : panels.first()->text();
  }
  QString UserFile(const QString& name) const {
    return Path("userappdata/Brevik/LvxReader/" + name);
  }
  QString StoredPrinter() const { return DmKvBasic->KvFormStorage1->ReadString("PrnName", ""); }
  int DataColumn(const QString& caption) const {
    auto* model = Table->cxGridTableDBTableView2->model();
    for (int c = 0; c < model->columnCount(); ++c)
      if (model->headerData(c, Qt::Horizontal, Qt::DisplayRole).toString() == caption) return c;
    return -1;
  }
  QString GridCell(int row, int column) const {
    auto* model = Table->cxGridTableDBTableView2->model();
    return model->data(model->index(row, column), Qt::DisplayRole).toString();
  }
  // Answers the no-printer save dialog with a PDF in the test folder and prints.
  QString PrintToPdf(const QString& name) {
    const QString pdf = Path(name);
    Dialogs.FileAnswers.push_back(pdf);
    Printing().PrintPrint(0);
    return pdf;
  }
  // What a user does in a print or preview dialog: send the report to a PDF file.
  void DialogsPrintTo(const QString& pdf) {
    Dialogs.OnPrintDialog = [pdf](const QString& kind, TKvPrintRequest& r) {
      r.Printer->setOutputFormat(QPrinter::PdfFormat);
      r.Printer->setOutputFileName(pdf);
      if (kind == "preview") r.Paint(*r.Printer);
    };
  }

  std::unique_ptr<TLvxProgram> Program;
  TFrmDxTable* Table = nullptr;
};

TEST_F(PrintingTest, TheModuleStartsWithTheProgramAndTheTabsPickTheLink) {
  EXPECT_EQ(DmDxPrinting, &Printing());
  EXPECT_EQ(Printing().dxComponentPrinter1Link_DBChart.CenterTitle, "Phonara Reader chart:");
  EXPECT_EQ(Printing().dxComponentPrinter1Link_DB_Table.CenterTitle, "Phonara Reader table:");
  EXPECT_EQ(Printing().dxComponentPrinter1Link_DBChart.Chart,
            dynamic_cast<TFrmDxChart*>(FrmDxChart)->DBChart);

  ShowTab(TFrmKvMain::TabChart);
  EXPECT_EQ(Printing().CurrentLinkIndex(), 0);
  EXPECT_TRUE(Printing().dxComponentPrinter1Link_DBChart.Active);
  EXPECT_FALSE(Printing().dxComponentPrinter1Link_DB_Table.Active);
  ShowTab(TFrmKvMain::TabDisplay);  // the table is printed from the display's tab too
  EXPECT_EQ(Printing().CurrentLinkIndex(), 1);
  EXPECT_FALSE(Printing().dxComponentPrinter1Link_DBChart.Active);
  EXPECT_TRUE(Printing().dxComponentPrinter1Link_DB_Table.Active);

  TDmDxPrinting second;
  EXPECT_EQ(DmDxPrinting, &Printing());
  ASSERT_FALSE(Dialogs.Messages.empty());
  EXPECT_EQ(Dialogs.Messages.back().Text, "DmKvBasic: Module already loaded");
}

TEST_F(PrintingTest, ALinkNumberBeyondTheLinksOnlyTellsTheStatusBar) {
  for (auto op :
       {&TDmDxPrinting::PrinterSetup, &TDmDxPrinting::PrintPreview, &TDmDxPrinting::PrintPrint}) {
    (Printing().*op)(3);
    EXPECT_EQ(StatusText(), "Print preview link not available");
  }
  EXPECT_TRUE(Dialogs.PrintRequests.empty());
  EXPECT_TRUE(Dialogs.FileRequests.empty());
  EXPECT_FALSE(QFile::exists(UserFile("LvxReader_Link2.prn")));
}

// The print action from the table's tab, with no printer on the machine: a PDF named after
// the document, every filtered row once in the grid's order, captions and titles per page.
TEST_F(PrintingTest, TheTablePrintsItsFilteredRowsAsAPaginatedPdf) {
  AddRows(300);
  TKvFilterCondition above{TKvFilterOp::GreaterOrEqual, 60, "60"};
  Table->SetColumnFilter("Y", above);  // rows 100..299 pass
  TKvGridView* grid = Table->cxGridTableDBTableView2;
  grid->horizontalHeader()->hideSection(DataColumn("RangeMin"));
  ShowTab(TFrmKvMain::TabDataTable);
  DmKvBasic->FileSaveAs1->Dialog.FileName = Path("Noise_07.dat");
  DmKvBasic->SetIsFileLoaded(true);
  const QString pdf = Path("report.pdf");
  Dialogs.FileAnswers.push_back(pdf);
  DmKvBasic->ActionPrintPrint->trigger();

  ASSERT_EQ(Dialogs.FileRequests.size(), 1u);
  EXPECT_EQ(Dialogs.FileRequests[0].FileName, Path("Noise_07.pdf"));
  const QStringList pages = PdfPages(pdf);
  ASSERT_GE(pages.size(), 3);
  QString all;
  for (int i = 0; i < pages.size(); ++i) {
    SCOPED_TRACE(i);
    EXPECT_TRUE(pages[i].contains("Phonara Reader table:"));
    EXPECT_TRUE(pages[i].contains("Level [dB]"));
    EXPECT_TRUE(pages[i].contains("RangeMax"));
    EXPECT_FALSE(pages[i].contains("RangeMin"));
    EXPECT_TRUE(pages[i].contains(QString("Page %1 of %2").arg(i + 1).arg(pages.size())));
    EXPECT_TRUE(pages[i].contains("Noise_07.dat"));
    all += pages[i];
  }
  const int rows = Table->cxGridTableDBTableView2->model()->rowCount();
  ASSERT_EQ(rows, 200);
  qsizetype at = 0;
  for (int r = 0; r < rows; ++r) {
    const qsizetype next = all.indexOf(GridCell(r, 1), at);  // the time column, newest first
    ASSERT_GT(next, at) << "row " << r << " " << GridCell(r, 1).toStdString();
    at = next;
  }
  EXPECT_FALSE(all.contains("10:01:39"));  // row 99 did not pass the filter
  EXPECT_TRUE(StatusText().contains("pages/s"));
  EXPECT_TRUE(QFile::exists(UserFile("LvxReader_Link1.prn")));
}

TEST_F(PrintingTest, APageSetupIsStoredEvenWhenPrintingIsCancelledAndUsedNextTime) {
  AddRows(10);
  ShowTab(TFrmKvMain::TabDataTable);
  Dialogs.OnPrintDialog = [](const QString&, TKvPrintRequest& r) {
    r.Printer->setPageOrientation(QPageLayout::Landscape);
  };
  Printing().PrinterSetup(0);
  Dialogs.OnPrintDialog = nullptr;
  Printing().PrintPrint(0);  // the PDF's save dialog is cancelled
  ASSERT_TRUE(QFile::exists(UserFile("LvxReader_Link1.prn")));

  Printing().dxComponentPrinter1Link_DB_Table.Page = TKvReportPage();  // portrait again
  const QString pdf = PrintToPdf("landscape.pdf");
  QProcess info;
  info.start("pdfinfo", {pdf});
  info.waitForFinished(60000);
  const QString text = QString::fromUtf8(info.readAllStandardOutput());
  EXPECT_TRUE(text.contains(QRegularExpression("Page size: +84[12](\\.\\d+)? x 595")))
      << text.toStdString();  // A4 across
}

TEST_F(PrintingTest, DamagedPageFilesFallBackToTheDefaults) {
  AddRows(5);
  ShowTab(TFrmKvMain::TabChart);
  WriteFile(UserFile("LvxReader_Link0.prn"), "[PrinterPage]\nPaper=9999\nOrientation=x\n");
  WriteFile(UserFile("LvxReader_Link0.pre"), QByteArray("\0\xff\x01garbage", 10));
  DialogsPrintTo(Path("chart.pdf"));
  Printing().PrintPreview(0);
  EXPECT_EQ(PdfPages(Path("chart.pdf")).size(), 1);
  TKvReportPage reread;
  EXPECT_TRUE(reread.LoadFromFile(UserFile("LvxReader_Link0.prn")));
  EXPECT_EQ(reread.Orientation, QPageLayout::Landscape);
  EXPECT_DOUBLE_EQ(reread.Margins.left(), 12.7);
}

// The chart is the chart engine's own vector drawing, not a picture of the screen.
TEST_F(PrintingTest, TheChartPreviewsAsVectorsAndKeepsThePreviewWindowsPlace) {
  AddRows(400);
  ShowTab(TFrmKvMain::TabChart);
  DialogsPrintTo(Path("chart_400.pdf"));
  Dialogs.OnPrintDialog = [inner = Dialogs.OnPrintDialog](const QString& kind, TKvPrintRequest& r) {
    inner(kind, r);
    r.Geometry = "placed";
  };
  Printing().PrintPreview(0);
  const QStringList pages = PdfPages(Path("chart_400.pdf"));
  ASSERT_EQ(pages.size(), 1);
  EXPECT_TRUE(pages[0].contains("Phonara Reader chart:"));
  EXPECT_TRUE(pages[0].contains("Level [dB]"));
  QFile raw(Path("chart_400.pdf"));
  ASSERT_TRUE(raw.open(QIODevice::ReadOnly));
  EXPECT_FALSE(raw.readAll().contains("/Subtype /Image"));

  Printing().PrintPreview(0);
  ASSERT_EQ(Dialogs.PrintRequests.size(), 2u);
  EXPECT_TRUE(Dialogs.PrintRequests[0].second.Geometry.isEmpty());
  EXPECT_EQ(Dialogs.PrintRequests[1].second.Geometry, "placed");
  EXPECT_TRUE(QFile::exists(UserFile("LvxReader_Link0.pre")));
}

// The panel as laid out, its chart up to date: the readings came faster than the panel
// replots, and the level, rising with every reading, rises across the printed chart.
TEST_F(PrintingTest, TheContainerLinkPrintsTheChartPanelOnOnePage) {
  ShowTab(TFrmKvMain::TabChart);
  AddRows(50);
  Printing().SetCurrentLink(2);
  const QString pdf = PrintToPdf("panel.pdf");
  const QStringList pages = PdfPages(pdf);
  ASSERT_EQ(pages.size(), 1);
  EXPECT_TRUE(pages[0].contains("Line chart panel"));
  const std::vector<double> level =
      CurveHeightByQuarter(PdfPageImage(pdf), QColor(0x44, 0x66, 0xA3));
  ASSERT_EQ(level.size(), 4u);
  for (size_t q = 1; q < level.size(); ++q) {
    SCOPED_TRACE(q);
    EXPECT_GT(level[q], level[q - 1]);
  }
}

// The printer follows the last use of any link; one that has gone is ignored and stays stored
// until another is used.
TEST_F(PrintingTest, TheStoredPrinterIsOfferedWhileItExists) {
  Dialogs.Printers = {"Office", "Lab"};
  ShowTab(TFrmKvMain::TabDataTable);
  DialogsPrintTo(Path("a.pdf"));
  Dialogs.OnPrintDialog = [inner = Dialogs.OnPrintDialog](const QString& kind, TKvPrintRequest& r) {
    inner(kind, r);
    r.PrinterName = "Lab";
  };
  Printing().PrintPrint(0);
  EXPECT_EQ(StoredPrinter(), "Lab");

  DmKvBasic->KvFormStorage1->WriteString("PrnName", "Office");
  Dialogs.OnPrintDialog = nullptr;
  Dialogs.PrintAnswers = {false};
  Printing().PrintPrint(0);
  EXPECT_EQ(Dialogs.PrintRequests.back().second.PrinterName, "Office");
  EXPECT_EQ(StoredPrinter(), "Office");

  DmKvBasic->KvFormStorage1->WriteString("PrnName", "Gone");
  Dialogs.Printers = {"Office"};
  Program->Main().dxLayoutControl1GroupMain->setCurrentIndex(TFrmKvMain::TabChart);
  Dialogs.PrintAnswers = {false};
  Printing().PrintPrint(0);
  EXPECT_NE(Dialogs.PrintRequests.back().second.PrinterName, "Gone");
  EXPECT_EQ(StoredPrinter(), "Gone");
  Printing().PrinterSetup(0);  // a page setup prints nothing
  EXPECT_EQ(StoredPrinter(), "Gone");

  DialogsPrintTo(Path("b.pdf"));
  Dialogs.OnPrintDialog = [inner = Dialogs.OnPrintDialog](const QString& kind, TKvPrintRequest& r) {
    inner(kind, r);
    r.PrinterName = "Office";
  };
  Printing().PrintPrint(0);
  EXPECT_EQ(StoredPrinter(), "Office");
}

// Before the first page settings of a link exist the stored printer is not offered; the
// printer of the first report is stored.
TEST_F(PrintingTest, WithoutPageSettingsTheStoredPrinterIsNotReadButWrittenAfterwards) {
  Dialogs.Printers = {"Office", "Lab"};
  DmKvBasic->KvFormStorage1->WriteString("PrnName", "Lab");
  ShowTab(TFrmKvMain::TabDataTable);
  ASSERT_FALSE(QFile::exists(UserFile("LvxReader_Link1.prn")));
  DialogsPrintTo(Path("first.pdf"));
  Dialogs.OnPrintDialog = [inner = Dialogs.OnPrintDialog](const QString& kind, TKvPrintRequest& r) {
    inner(kind, r);
    r.PrinterName = "Office";
  };
  Printing().PrintPrint(0);
  ASSERT_EQ(Dialogs.PrintRequests.size(), 1u);
  EXPECT_NE(Dialogs.PrintRequests[0].second.PrinterName, "Lab");
  EXPECT_EQ(StoredPrinter(), "Office");
  EXPECT_TRUE(QFile::exists(UserFile("LvxReader_Link1.prn")));
}

// The preview's print button chooses a printer like the print dialog does.
TEST_F(PrintingTest, APrinterChosenInThePreviewIsStored) {
  Dialogs.Printers = {"Office", "Lab"};
  AddRows(5);
  ShowTab(TFrmKvMain::TabChart);
  Dialogs.PrintAnswers = {false};  // looked at, closed
  Printing().PrintPreview(0);
  EXPECT_EQ(StoredPrinter(), "");
  DialogsPrintTo(Path("from_preview.pdf"));
  Dialogs.OnPrintDialog = [inner = Dialogs.OnPrintDialog](const QString& kind, TKvPrintRequest& r) {
    inner(kind, r);
    r.PrinterName = "Lab";
  };
  Printing().PrintPreview(0);
  EXPECT_EQ(StoredPrinter(), "Lab");
  Dialogs.OnPrintDialog = nullptr;
  Dialogs.PrintAnswers = {false};
  Printing().PrintPrint(0);
  EXPECT_EQ(Dialogs.PrintRequests.back().first, "print");
  EXPECT_EQ(Dialogs.PrintRequests.back().second.PrinterName, "Lab");
}

TEST_F(PrintingTest, WithoutADocumentTheTableReportHasNoNote) {
  AddRows(3);
  ShowTab(TFrmKvMain::TabDataTable);
  ASSERT_TRUE(DmKvBasic->File_ActName().isEmpty());
  const QString pdf = PrintToPdf("untitled.pdf");
  EXPECT_TRUE(Printing().dxComponentPrinter1Link_DB_Table.ReportNote.isEmpty());
  const QStringList pages = PdfPages(pdf);
  ASSERT_EQ(pages.size(), 1);
  // The header line holds the title alone.
  const QString header = pages[0].section('\n', 0, 0).trimmed();
  EXPECT_EQ(header.left(header.indexOf("Phonara")).trimmed(), "");
}

// Readings go on arriving while a long report prints (its progress dialog keeps the window
// answering); they land above the rows printed so far and must not push rows across a page
// break, where they would print twice.
TEST_F(PrintingTest, ReadingsArrivingWhilePrintingNeitherShiftNorRepeatPrintedRows) {
  AddRows(300);
  ShowTab(TFrmKvMain::TabDataTable);
  QStringList times;
  for (int r = 0; r < 300; ++r) times << GridCell(r, 1);
  int arrived = 0;
  Printing().OnProgress = [this, &arrived](int, int) {
    TKvUniqueData d;
    d.bValid = d.bConnected = true;
    d.dVal = 70;
    d.dLo = 50;
    d.dHi = 100;
    d.dtDate = EncodeDate(2026, 11, 23);
    for (int i = 0; i < 7; ++i, ++arrived) {
      d.dtTime = EncodeTime(12, arrived / 60, arrived % 60, 0);
      Program->Commander().AddData(d);
    }
    return true;
  };
  const QStringList pages = PdfPages(PrintToPdf("growing.pdf"));
  ASSERT_GE(pages.size(), 3);
  EXPECT_EQ(Table->cxGridTableDBTableView2->model()->rowCount(), 300 + arrived);
  const QString all = pages.join('\n');
  EXPECT_FALSE(all.contains("12:00:0")) << "a reading that came during printing was printed";
  qsizetype at = 0;
  for (const QString& t : times) {
    SCOPED_TRACE(t.toStdString());
    EXPECT_EQ(all.count(t), 1);
    const qsizetype next = all.indexOf(t, at);
    ASSERT_GT(next, at);
    at = next;
  }
}

// The program's own progress dialog, offscreen: its cancel button stops the report after the
// page it is on, and the PDF begun is not left behind.
TEST_F(PrintingTest, TheProgressDialogCancelsAndLeavesNoHalfWrittenPdf) {
  AddRows(400);
  ShowTab(TFrmKvMain::TabDataTable);
  const QString pdf = Path("stopped.pdf");
  Dialogs.FileAnswers.push_back(pdf);
  QString shown;
  bool existed = false;
  QTimer::singleShot(0, [&] {
    for (QWidget* w : QApplication::topLevelWidgets())
      if (auto* progress = qobject_cast<QProgressDialog*>(w); progress && progress->isVisible()) {
        shown = progress->labelText();
        existed = QFile::exists(pdf);
        if (qEnvironmentVariableIsSet("LVX_VIEWS_SHOTS"))
          progress->grab().save(qEnvironmentVariable("LVX_VIEWS_SHOTS") + "/print_progress.png");
        progress->findChild<QPushButton*>()->click();
      }
  });
  DmKvBasic->ActionPrintPrint->trigger();
  EXPECT_TRUE(shown.startsWith("Page 1 of ")) << shown.toStdString();
  EXPECT_TRUE(existed);
  EXPECT_FALSE(QFile::exists(pdf));
  EXPECT_EQ(StatusText(), "Printing cancelled");
  EXPECT_EQ(Printing().dxComponentPrinter1Link_DB_Table.LastPageCount, 1);
}

TEST_F(PrintingTest, AnUnwritablePdfAndACancelAreReported) {
  AddRows(400);
  ShowTab(TFrmKvMain::TabDataTable);
  PrintToPdf("no/such/folder/x.pdf");
  ASSERT_FALSE(Dialogs.Messages.empty());
  EXPECT_EQ(Dialogs.Messages.back().Text,
            "The report could not be printed to \"" + Path("no/such/folder/x.pdf") + "\".");

  int seen = 0;
  Printing().OnProgress = [&seen](int done, int) { return ++seen, done < 2; };
  EXPECT_FALSE(QFile::exists(PrintToPdf("cancelled.pdf")));
  EXPECT_EQ(seen, 2);
  EXPECT_EQ(StatusText(), "Printing cancelled");
}
