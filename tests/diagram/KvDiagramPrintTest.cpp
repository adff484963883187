// Printing a diagram: the page grid and page list arithmetic, copies around pages, the
// copies-and-pages dialog scripted through the dialog service, the missing printer, the size
// of a page on paper at different printer resolutions, and the preview form. Real PDFs are
// written and read back with the poppler tools; lvxtool's print command is tested with lvxtool.
#include <gtest/gtest.h>

#include <QApplication>
#include <QComboBox>
#include <QDoubleSpinBox>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QProcess>
#include <QRadioButton>
#include <QSpinBox>
#include <QTemporaryDir>
#include <QToolButton>

#include "DiagramTestSupport.h"
#include "KvDiagram_Print.h"
#include "LvxTestSupport.h"
#include "UDgrPageSettings.h"
#include "UDgrPreview.h"

namespace {

QString RunProgram(const QString& program, const QStringList& args) {
  QProcess p;
  p.start(program, args);
  p.waitForFinished(60000);
  return QString::fromUtf8(p.readAllStandardOutput());
}

// The text of each page of a PDF.
QStringList PdfPages(const QString& file) {
  QStringList pages = RunProgram("pdftotext", {file, "-"}).split('\f');
  if (!pages.isEmpty() && pages.last().trimmed().isEmpty()) pages.removeLast();
  for (QString& p : pages) p = p.simplified();
  return pages;
}

QImage Rasterise(const QString& pdf, int dpi) {
  if (qEnvironmentVariableIsSet("LVX_DIAGRAM_SHOTS"))
    QFile::copy(pdf, qEnvironmentVariable("LVX_DIAGRAM_SHOTS") + '/' + QFileInfo(pdf).fileName());
  RunProgram("pdftoppm", {"-r", QString::number(dpi), "-f", "1", "-l", "1", "-png", "-singlefile",
                          pdf, pdf + "-raster"});
  return QImage(pdf + "-raster.png");
}

int DarkRun(const QImage& img, int y, int x0, int x1) {
  int n = 0;
  for (int x = x0; x <= x1; ++x) n += qGray(img.pixel(x, y)) < 128;
  return n;
}

// Rows with dark pixels in a rectangle: the height of what is drawn there.
int InkHeight(const QImage& img, const QRect& r) {
  int top = -1, bottom = -1;
  for (int y = r.top(); y <= r.bottom(); ++y)
    for (int x = r.left(); x <= r.right(); ++x)
      if (qGray(img.pixel(x, y)) < 128) {
        if (top < 0) top = y;
        bottom = y;
        break;
      }
  return top < 0 ? 0 : bottom - top + 1;
}

// A picture of a form for a person to look at, when LVX_DIAGRAM_SHOTS names a folder.
void Shot(QWidget& form, const QString& name) {
  if (!qEnvironmentVariableIsSet("LVX_DIAGRAM_SHOTS")) return;
  if (!form.isVisible()) form.adjustSize();
  form.grab().save(qEnvironmentVariable("LVX_DIAGRAM_SHOTS") + '/' + name);
}

}  // namespace

TEST(PageGrid, ColumnsAndRowsCountAnEmptyPageMoreAtAnExactEdge) {
  struct Row {
    double Extent, Scale, Page;
    int Count;
  } rows[] = {
      {0, 1, 1000, 1},     {999, 1, 1000, 1},  {1000, 1, 1000, 2},   {1001, 1, 1000, 2},
      {999.6, 1, 1000, 2}, {2500, 1, 1000, 3}, {160, 6.25, 1000, 2}, {159.9, 6.25, 1000, 1},
      {-50, 1, 1000, 1},   {500, 1, 0, 1},
  };
  for (const Row& r : rows) {
    SCOPED_TRACE(r.Extent);
    const auto g = TDiagramPageGrid::Make(r.Extent, r.Extent, r.Scale, r.Scale, r.Page, r.Page);
    EXPECT_EQ(g.Columns, r.Count);
    EXPECT_EQ(g.Rows, r.Count);
  }
  // Left to right, then downward; the scene shifts so that the page lands at the origin.
  const auto g = TDiagramPageGrid::Make(2500, 1500, 1, 1, 1000, 800);
  ASSERT_EQ(g.Count(), 3 * 2);
  EXPECT_EQ(g.Origin(1), (TDot{0, 0}));
  EXPECT_EQ(g.Origin(3), (TDot{-2000, 0}));
  EXPECT_EQ(g.Origin(5), (TDot{-1000, -800}));
}

TEST(PageGrid, PageListExpandsNumbersAndRangesAgainstThePageCount) {
  struct Row {
    const char* List;
    QStringList Pages;
  } rows[] = {
      {"", {}},
      {"-2", {"1", "2"}},
      {"2-4", {"2", "3", "4"}},
      {"4-", {"4", "5"}},
      {"4-9", {"4", "5"}},
      {" 1 , 3 ", {"1", "3"}},
      {"x,2,y-3", {"2"}},
      {"7,0", {"7", "0"}},
      {"0-2", {"1", "2"}},
      {"5,1", {"5", "1"}},
  };
  for (const Row& r : rows) EXPECT_EQ(KvDiagram_ExpandPageList(r.List, 5), r.Pages) << r.List;
}

TEST(PageGrid, PrintableAreaIsThePaperInItsOrientationLessTheMarginsInAnyLocale) {
  TDiagramPageSettings page;  // A4, margins 25 mm
  page.LeftMarginStr = "12,5";
  const QRectF r = KvDiagram_PrintableRect(page, 254, 254);  // 10 dots a millimetre
  EXPECT_DOUBLE_EQ(r.left(), 125);
  EXPECT_DOUBLE_EQ(r.top(), 250);
  EXPECT_DOUBLE_EQ(r.width(), 2100 - 125 - 250);
  EXPECT_DOUBLE_EQ(r.height(), 2970 - 500);
  page.Orientation = poLandscape;
  EXPECT_DOUBLE_EQ(KvDiagram_PrintableRect(page, 254, 254).width(), 2970 - 125 - 250);
  ChangePaperID(page, 8);
  EXPECT_EQ(page.PaperName, "A3");
  ChangePaperID(page, 4711);  // unknown: the paper stays
  EXPECT_EQ(page.PaperWidth, 297);
  for (const char* name : {"C", "en_US", "de_DE", "fr_FR"}) {
    QLocale::setDefault(QLocale(name));
    EXPECT_EQ(KvMarginMM(KvMarginStr(12.5)), 12.5) << name;
  }
  QLocale::setDefault(QLocale::c());
}

class DiagramPrintTest : public DiagramTest {
 protected:
  void SetUp() override {
    DiagramTest::SetUp();
    KvDialogs_Install(&Dialogs);
  }
  void TearDown() override {
    KvDialogs_Install(nullptr);
    DiagramTest::TearDown();
  }
  // Two pages side by side on A4 with 25 mm margins (160 mm, about 605 pixels, wide).
  void TwoPages() {
    AddBlock<TTextBlock>(10, 10, 200, 40)->SetStrings("Alpha");
    AddBlock<TTextBlock>(700, 10, 200, 40)->SetStrings("Bravo");
  }
  QString PrintToPdf(bool showDialog, int dpi = 96) {
    const QString file = Dir.filePath(QString("out%1.pdf").arg(++FFiles));
    auto pdf = TDiagramRealPrinter::PdfFile(file, dpi);
    Diagram->Printer = pdf.get();
    Printed = Diagram->Print(showDialog);
    Diagram->Printer = nullptr;
    return file;
  }
  TScriptedDialogs Dialogs;
  QTemporaryDir Dir;
  bool Printed = false;

 private:
  int FFiles = 0;
};

TEST_F(DiagramPrintTest, CopiesRepeatTheWholePageListAndTheTitleDefaultsToDiagram) {
  TwoPages();
  EXPECT_EQ(Diagram->PageCount(), 2);
  Diagram->PrintSettings.FCopies = 2;
  const QString file = PrintToPdf(false);
  EXPECT_TRUE(Printed);
  EXPECT_EQ(PdfPages(file), (QStringList{"Alpha", "Bravo", "Alpha", "Bravo"}));
  EXPECT_TRUE(RunProgram("pdfinfo", {file}).contains(QRegularExpression("Title: +Diagram\n")));
  Diagram->PrintSettings = {};
  Diagram->PrintSettings.FTitle = "Plant room";
  Diagram->PrintSettings.FPageNumbers = "2-";
  const QString second = PrintToPdf(false);
  EXPECT_EQ(PdfPages(second), QStringList{"Bravo"});
  EXPECT_TRUE(RunProgram("pdfinfo", {second}).contains(QRegularExpression("Title: +Plant room\n")));
  Diagram->PrintSettings.FPageNumbers = "5";  // no such page: no job at all
  EXPECT_FALSE(QFile::exists(PrintToPdf(false)));
  EXPECT_FALSE(Printed);
  EXPECT_EQ(Diagram->Zoom(), 100);
}

TEST_F(DiagramPrintTest, TheDialogOffersCopiesAndPagesAndCancelPrintsNothing) {
  TwoPages();
  Diagram->SetZoom(150);
  Diagram->PrintSettings.FPageNumbers = "2";
  Dialogs.OnShowModal = [](QDialog& form) {
    auto* dlg = dynamic_cast<TfmDgrPrintDialog*>(&form);
    EXPECT_NE(dlg, nullptr);
    if (!dlg) return int(mrCancel);
    EXPECT_EQ(dlg->udCopies->value(), 1);
    EXPECT_TRUE(dlg->rbPages->isChecked());
    EXPECT_EQ(dlg->edPages->text(), "2");
    Shot(*dlg, "diagram_print_dialog.png");
    dlg->udCopies->setValue(3);
    dlg->rbAllPages->setChecked(true);
    return int(mrOk);
  };
  const QString file = PrintToPdf(true);
  EXPECT_TRUE(Printed);
  EXPECT_EQ(Dialogs.Forms, QStringList{"fmDgrPrintDialog"});
  EXPECT_EQ(PdfPages(file).size(), 3 * 2);  // all pages, three times
  EXPECT_EQ(Diagram->Zoom(), 150);          // the zoom comes back after the job

  Dialogs.OnShowModal = [](QDialog&) { return int(mrCancel); };
  const QString cancelled = PrintToPdf(true);
  EXPECT_FALSE(Printed);
  EXPECT_FALSE(QFile::exists(cancelled));
}

TEST_F(DiagramPrintTest, WithoutAPrinterTheUserIsToldAndPreviewMeasuresAt300Dpi) {
  TwoPages();
  EXPECT_FALSE(Diagram->Print(true));
  ASSERT_EQ(Dialogs.Messages.size(), 1u);
  EXPECT_EQ(Dialogs.Messages[0].Type, TMsgDlgType::mtError);
  EXPECT_TRUE(Dialogs.Forms.isEmpty());
  EXPECT_EQ(Diagram->BuildPreviewBitmap(1, 0, 0).size(), QSize(2480, 3508));  // A4 at 300 dpi
  EXPECT_EQ(Diagram->BuildPreviewBitmap(1, 210, 0).size(), QSize(210, 3508));
}

// On paper a pen, a text and a mark keep their size whatever the printer's resolution: a
// 96-dpi and a 600-dpi print and a 300-dpi preview, all seen at 300 dpi, must agree.
TEST_F(DiagramPrintTest, PensTextAndMarksScaleWithThePrintResolution) {
  Diagram->PageSettings.PaperWidth = 60;
  Diagram->PageSettings.PaperHeight = 40;
  Diagram->PageSettings.LeftMarginStr = Diagram->PageSettings.TopMarginStr = "0";
  Diagram->PageSettings.RightMarginStr = Diagram->PageSettings.BottomMarginStr = "0";
  auto* box = AddBlock(20, 20, 100, 60);
  box->SetShape(bsRectangle);
  box->FPen = {clBlack, 2, psSolid};
  box->FLinkPointStyle = ptRectangle;
  box->LinkPoints().Add(50, 50);  // a mark in the middle
  auto* text = AddBlock<TTextBlock>(20, 90, 150, 40);
  text->FPen.Style = psClear;
  text->SetFont(TKvFont{"DejaVu Sans", 14});
  text->SetStrings("HHHH");
  struct Measure {
    int Pen, Text, Mark;
  };
  // Pixels at 300 dpi are 3.125 client pixels.
  auto measure = [](const QImage& img) {
    return Measure{DarkRun(img, 156, 40, 110), InkHeight(img, QRect(70, 281, 400, 125)),
                   InkHeight(img, QRect(200, 120, 40, 70))};
  };
  const Measure low = measure(Rasterise(PrintToPdf(false, 96), 300));
  const Measure high = measure(Rasterise(PrintToPdf(false, 600), 300));
  auto preview = TDiagramRealPrinter::PdfFile(Dir.filePath("unused.pdf"), 300);
  Diagram->Printer = preview.get();
  const Measure shown = measure(Diagram->BuildPreviewBitmap(1, 0, 0));
  Diagram->Printer = nullptr;
  EXPECT_NEAR(low.Pen, 6, 2);    // 2 screen pixels are 6.25 dots at 300 dpi
  EXPECT_NEAR(low.Text, 42, 6);  // cap height of a 14-point font: 13.5 screen pixels
  EXPECT_GT(low.Mark, 8);
  for (const Measure& m : {high, shown}) {
    EXPECT_NEAR(m.Pen, low.Pen, 2);
    EXPECT_NEAR(m.Text, low.Text, 3);
    EXPECT_NEAR(m.Mark, low.Mark, 4);
  }
}

TEST_F(DiagramPrintTest, PreviewFormPagesWithButtonsAndKeys) {
  TwoPages();
  AddBlock<TTextBlock>(10, 1200, 200, 40)->SetStrings("Charlie");  // a second row of pages
  TfmDiagramPreview form(Diagram);
  form.resize(500, 600);
  form.show();
  EXPECT_EQ(form.lbPage->text(), "Page 1 of 4");
  EXPECT_FALSE(form.tbPrior->isEnabled());
  form.tbNext->click();
  EXPECT_EQ(form.PagePreview->Page(), 2);
  auto key = [&](int k) {
    QKeyEvent e(QEvent::KeyPress, k, Qt::NoModifier);
    QApplication::sendEvent(&form, &e);
  };
  key(Qt::Key_End);
  EXPECT_EQ(form.lbPage->text(), "Page 4 of 4");
  EXPECT_FALSE(form.tbNext->isEnabled());
  key(Qt::Key_PageDown);  // stays on the last page
  EXPECT_EQ(form.PagePreview->Page(), 4);
  key(Qt::Key_Home);
  key(Qt::Key_PageDown);
  key(Qt::Key_PageDown);
  EXPECT_EQ(form.PagePreview->Page(), 3);
  // Page 3 starts the second row with "Charlie"; page 4 is empty.
  const QImage third = form.PagePreview->grab().toImage();
  Shot(form, "diagram_preview.png");
  key(Qt::Key_End);
  const QImage fourth = form.PagePreview->grab().toImage();
  ASSERT_EQ(third.size(), fourth.size());
  int differ = 0;
  for (int y = 0; y < third.height(); ++y)
    for (int x = 0; x < third.width(); ++x) differ += third.pixel(x, y) != fourth.pixel(x, y);
  EXPECT_GT(differ, 10);
}

TEST_F(DiagramPrintTest, PageSettingsFormShowsTheUnitChosenAndStoresMillimetres) {
  TwoPages();
  Diagram->MeasUnit = duCenti;
  Dialogs.OnShowModal = [](QDialog& form) {
    auto* f = dynamic_cast<TfmDgrPageSettings*>(&form);
    EXPECT_NE(f, nullptr);
    if (!f) return int(mrCancel);
    EXPECT_EQ(f->cbPaper->currentText(), "A4");
    EXPECT_DOUBLE_EQ(f->edHeight->value(), 29.7);
    EXPECT_DOUBLE_EQ(f->edLeft->value(), 2.5);
    Shot(*f, "diagram_page_settings.png");
    f->cbUnit->setCurrentIndex(duInch);
    EXPECT_DOUBLE_EQ(f->edWidth->value(), 8.268);
    f->cbPaper->setCurrentIndex(f->cbPaper->findText("Letter"));
    EXPECT_DOUBLE_EQ(f->edWidth->value(), 8.5);
    f->rbLandscape->setChecked(true);
    f->edLeft->setValue(0.5);
    return int(mrOk);
  };
  ASSERT_TRUE(TfmDgrPageSettings::Execute(*Diagram));
  const TDiagramPageSettings& s = Diagram->PageSettings;
  EXPECT_EQ(s.PaperId, 1);
  EXPECT_EQ(s.PaperWidth, 215.9);
  EXPECT_EQ(s.Orientation, poLandscape);
  EXPECT_EQ(s.LeftMarginStr, "12.7");
  EXPECT_EQ(Diagram->MeasUnit, duInch);
  // Landscape Letter is wide enough for both blocks on one page.
  EXPECT_EQ(Diagram->PageCount(), 1);

  // A size typed by hand makes a custom paper; cancel keeps everything.
  Dialogs.OnShowModal = [](QDialog& form) {
    auto* f = static_cast<TfmDgrPageSettings*>(&form);
    f->edWidth->setValue(5);
    EXPECT_EQ(f->cbPaper->currentText(), "Custom");
    return int(mrCancel);
  };
  EXPECT_FALSE(TfmDgrPageSettings::Execute(*Diagram));
  EXPECT_EQ(Diagram->PageSettings.PaperName, "Letter");
}
