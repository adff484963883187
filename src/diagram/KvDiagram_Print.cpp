// Diagram printing: papers and margins, the printers, the page grid over the scene, the page
// list, the copies-and-pages dialog, and TKvDiagram::Print and BuildPreviewBitmap.
#include "KvDiagram_Print.h"

#include <QDialogButtonBox>
#include <QFormLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPageLayout>
#include <QPushButton>
#include <QRadioButton>
#include <QSpinBox>
#include <QVBoxLayout>
#include <cmath>

#include "KvDialogs.h"

// ---- papers and margins ----

const std::vector<TDiagramPrinterPaperInfo>& KvDiagram_Papers() {
  static const std::vector<TDiagramPrinterPaperInfo> papers{
      {1, QStringLiteral("Letter"), 215.9, 279.4}, {5, QStringLiteral("Legal"), 215.9, 355.6},
      {8, QStringLiteral("A3"), 297, 420},         {9, QStringLiteral("A4"), 210, 297},
      {11, QStringLiteral("A5"), 148, 210},        {13, QStringLiteral("B5"), 182, 257},
  };
  return papers;
}

bool TDiagramPrinter::GetPaper(int id, TDiagramPrinterPaperInfo& info) const {
  for (const TDiagramPrinterPaperInfo& p : KvDiagram_Papers())
    if (p.Id == id) {
      info = p;
      return true;
    }
  return false;
}

void ChangePaperID(TDiagramPageSettings& settings, int id) {
  settings.PaperId = id;
  for (const TDiagramPrinterPaperInfo& p : KvDiagram_Papers())
    if (p.Id == id) {
      settings.PaperName = p.Name;
      settings.PaperWidth = p.Width;
      settings.PaperHeight = p.Height;
    }
}

// Margins are stored as text so that a file reads the same in every locale.
double KvMarginMM(const QString& text) {
  bool ok = false;
  const double mm = QString(text).replace(',', '.').trimmed().toDouble(&ok);
  return ok && mm > 0 ? mm : 0;
}

QString KvMarginStr(double mm) {
  return QString::number(mm, 'g', 10);
}

// ---- printers ----

TDiagramRealPrinter::TDiagramRealPrinter(const QString& printerName) {
  if (!printerName.isEmpty()) FPrinter.setPrinterName(printerName);
  // The page is placed by the diagram's own margins, so the device offers all of the paper.
  FPrinter.setFullPage(true);
}

std::unique_ptr<TDiagramRealPrinter> TDiagramRealPrinter::PdfFile(const QString& fileName,
                                                                  int dpi) {
  auto p = std::make_unique<TDiagramRealPrinter>(QString());
  p->FPrinter.setOutputFormat(QPrinter::PdfFormat);
  p->FPrinter.setOutputFileName(fileName);
  p->FPrinter.setResolution(dpi);
  return p;
}

QString TDiagramRealPrinter::Name() const {
  return FPrinter.outputFileName().isEmpty() ? FPrinter.printerName() : FPrinter.outputFileName();
}

void TDiagramRealPrinter::Configure(const TDiagramPageSettings& page, TDuplexType duplex,
                                    bool collation) {
  const QPageSize size(QSizeF(page.PaperWidth, page.PaperHeight), QPageSize::Millimeter,
                       page.PaperName, QPageSize::ExactMatch);
  FPrinter.setPageLayout(QPageLayout(
      size, page.Orientation == poLandscape ? QPageLayout::Landscape : QPageLayout::Portrait,
      QMarginsF(), QPageLayout::Millimeter));
  FPrinter.setDuplex(duplex == dtLongEdge    ? QPrinter::DuplexLongSide
                     : duplex == dtShortEdge ? QPrinter::DuplexShortSide
                                             : QPrinter::DuplexNone);
  // Copies are printed by the diagram itself, one after the other.
  FPrinter.setCopyCount(1);
  FPrinter.setCollateCopies(collation);
}

bool TDiagramRealPrinter::BeginDoc(const QString& title) {
  FPrinter.setDocName(title);
  FPages = 0;
  return FPainter.begin(&FPrinter);
}

void TDiagramRealPrinter::NewPage() {
  if (FPages++ > 0) FPrinter.newPage();
}

void TDiagramRealPrinter::EndDoc() {
  FPainter.end();
}

bool TDiagramRealPrinter::PropertiesDlg() {
  TKvPrintRequest request;
  request.Title = QStringLiteral("Print");
  request.Printer = &FPrinter;
  request.PrinterName = FPrinter.printerName();
  return KvDialogs().PrintDialog(request);
}

QStringList TDiagramPrinters::Names() {
  return KvDialogs().PrinterNames();
}

std::unique_ptr<TDiagramPrinter> TDiagramPrinters::Default() {
  const QStringList names = Names();
  if (names.isEmpty()) return std::make_unique<TDiagramGenericPrinter>();
  return std::make_unique<TDiagramRealPrinter>(names.first());
}

// ---- page geometry ----

QSizeF KvDiagram_PaperDots(const TDiagramPageSettings& page, double dpiX, double dpiY) {
  const bool landscape = page.Orientation == poLandscape;
  const double w = landscape ? page.PaperHeight : page.PaperWidth;
  const double h = landscape ? page.PaperWidth : page.PaperHeight;
  return {w * dpiX / 25.4, h * dpiY / 25.4};
}

QRectF KvDiagram_PrintableRect(const TDiagramPageSettings& page, double dpiX, double dpiY) {
  const QSizeF paper = KvDiagram_PaperDots(page, dpiX, dpiY);
  const double left = KvMarginMM(page.LeftMarginStr) * dpiX / 25.4;
  const double top = KvMarginMM(page.TopMarginStr) * dpiY / 25.4;
  const double right = KvMarginMM(page.RightMarginStr) * dpiX / 25.4;
  const double bottom = KvMarginMM(page.BottomMarginStr) * dpiY / 25.4;
  return {left, top, std::max(0.0, paper.width() - left - right),
          std::max(0.0, paper.height() - top - bottom)};
}

TDiagramPageGrid TDiagramPageGrid::Make(double extentWidth, double extentHeight, double scaleX,
                                        double scaleY, double pageWidth, double pageHeight) {
  TDiagramPageGrid g;
  g.PageWidth = pageWidth;
  g.PageHeight = pageHeight;
  // A scene that ends exactly on an edge gets one page more: kept as the engine always did.
  auto count = [](double extent, double scale, double page) {
    if (page <= 0) return 1;
    return int(std::trunc(std::round(std::max(0.0, extent) * scale) / page)) + 1;
  };
  g.Columns = count(extentWidth, scaleX, pageWidth);
  g.Rows = count(extentHeight, scaleY, pageHeight);
  return g;
}

TDot TDiagramPageGrid::Origin(int page) const {
  const int row = (page - 1) / Columns;
  const int column = (page - 1) - row * Columns;
  return {-column * PageWidth, -row * PageHeight};
}

QStringList KvDiagram_ExpandPageList(const QString& list, int pageCount) {
  QStringList pages;
  auto add = [&](int page) { pages << QString::number(page); };
  for (const QString& raw : list.split(',', Qt::SkipEmptyParts)) {
    const QString token = raw.trimmed();
    const qsizetype dash = token.indexOf('-');
    bool ok = true;
    if (dash < 0) {
      const int page = token.toInt(&ok);
      if (ok) add(page);
      continue;
    }
    const QString left = token.left(dash).trimmed(), right = token.mid(dash + 1).trimmed();
    bool okRight = true;
    const int from = left.isEmpty() ? 1 : left.toInt(&ok);
    const int to = right.isEmpty() ? pageCount : right.toInt(&okRight);
    if (!ok || !okRight) continue;
    for (int page = std::max(1, from); page <= std::min(to, pageCount); ++page) add(page);
  }
  return pages;
}

// ---- the copies-and-pages dialog ----

TfmDgrPrintDialog::TfmDgrPrintDialog(TDiagramPrinter* printer, QWidget* parent) : QDialog(parent) {
  setObjectName(QStringLiteral("fmDgrPrintDialog"));
  setWindowTitle(QStringLiteral("Print"));
  udCopies = new QSpinBox(this);
  udCopies->setObjectName(QStringLiteral("udCopies"));
  udCopies->setRange(1, 999);
  rbAllPages = new QRadioButton(QStringLiteral("&All pages"), this);
  rbAllPages->setObjectName(QStringLiteral("rbAllPages"));
  rbPages = new QRadioButton(QStringLiteral("Pa&ges:"), this);
  rbPages->setObjectName(QStringLiteral("rbPages"));
  edPages = new QLineEdit(this);
  edPages->setObjectName(QStringLiteral("edPages"));
  edPages->setPlaceholderText(QStringLiteral("1,3-5"));
  connect(edPages, &QLineEdit::textEdited, this, [this] { rbPages->setChecked(true); });
  auto* form = new QFormLayout;
  form->addRow(QStringLiteral("Printer:"),
               new QLabel(printer && !printer->Name().isEmpty() ? printer->Name()
                                                                : QStringLiteral("(none)")));
  form->addRow(QStringLiteral("&Copies:"), udCopies);
  form->addRow(rbAllPages);
  form->addRow(rbPages, edPages);
  auto* buttons = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel, this);
  if (printer && printer->HasDevice()) {
    QPushButton* properties =
        buttons->addButton(QStringLiteral("&Properties..."), QDialogButtonBox::ActionRole);
    connect(properties, &QPushButton::clicked, this, [printer] { printer->PropertiesDlg(); });
  }
  connect(buttons, &QDialogButtonBox::accepted, this, &QDialog::accept);
  connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
  auto* layout = new QVBoxLayout(this);
  layout->addLayout(form);
  layout->addWidget(buttons);
}

void TfmDgrPrintDialog::SetSettings(const TDiagramPrintSettings& settings) {
  udCopies->setValue(std::max(1, settings.FCopies));
  edPages->setText(settings.FPageNumbers);
  (settings.FPageNumbers.isEmpty() ? rbAllPages : rbPages)->setChecked(true);
}

void TfmDgrPrintDialog::GetSettings(TDiagramPrintSettings& settings) const {
  settings.FCopies = udCopies->value();
  settings.FPageNumbers = rbAllPages->isChecked() ? QString() : edPages->text().trimmed();
}

// ---- printing and preview ----

namespace {
// Runs the stored action when it leaves scope, so zoom and paint state come back on every exit.
template <typename F>
struct TKvRestore {
  F Action;
  ~TKvRestore() { Action(); }
};
template <typename F>
TKvRestore(F) -> TKvRestore<F>;

// The diagram's own printer, or the system's default one for the length of a call.
struct TPrinterInUse {
  explicit TPrinterInUse(TDiagramPrinter* given) : P(given) {
    if (!P) {
      Owned = TDiagramPrinters::Default();
      P = Owned.get();
    }
  }
  TDiagramPrinter* P;
  std::unique_ptr<TDiagramPrinter> Owned;
};

// Client units are screen pixels at 96 to the inch.
TDiagramPageGrid GridOn(const TDiagramPageSettings& settings, const TSquare& extent,
                        const TDiagramPrinter& printer) {
  const QRectF page = KvDiagram_PrintableRect(settings, printer.DPIX(), printer.DPIY());
  return TDiagramPageGrid::Make(extent.Right, extent.Bottom, printer.DPIX() / 96.0,
                                printer.DPIY() / 96.0, page.width(), page.height());
}
}  // namespace

TDiagramPageGrid TKvDiagram::PageGrid() {
  TPrinterInUse printer(Printer);
  return GridOn(PageSettings, ControlsExtent(), *printer.P);
}

int TKvDiagram::PageCount() {
  return PageGrid().Count();
}

void TKvDiagram::PaintPage(QPainter& painter, TDiagramPrinter& printer, int page,
                           TPaintStyle style) {
  const TDiagramPageGrid grid = GridOn(PageSettings, ControlsExtent(), printer);
  const QRectF printable = KvDiagram_PrintableRect(PageSettings, printer.DPIX(), printer.DPIY());
  const QSizeF paper = KvDiagram_PaperDots(PageSettings, printer.DPIX(), printer.DPIY());
  const TDot origin = grid.Origin(page);
  const TPaintStyle oldStyle = FPaintStyle;
  const TDot oldOffset = FPreviewOffset;
  const double oldConvX = FPrintConvX, oldConvY = FPrintConvY;
  TKvRestore restore{[&] {
    FPaintStyle = oldStyle;
    FPreviewOffset = oldOffset;
    FPrintConvX = oldConvX;
    FPrintConvY = oldConvY;
  }};
  FPaintStyle = style;
  FPrintConvX = printer.DPIX() / 96.0;
  FPrintConvY = printer.DPIY() / 96.0;
  FPreviewOffset = {printable.left() + origin.X, printable.top() + origin.Y};
  // Paper dots to the painter's pixels: 1 on a printer, the preview's scale on a bitmap.
  const double sx = FAdjustRatioX * FPreviewZoom, sy = FAdjustRatioY * FPreviewZoom;
  painter.save();
  painter.setClipRect(QRectF(printable.left() * sx, printable.top() * sy, printable.width() * sx,
                             printable.height() * sy));
  PaintTo(painter,
          QRect(0, 0, int(std::ceil(paper.width() * sx)), int(std::ceil(paper.height() * sy))));
  painter.restore();
}

bool TKvDiagram::Print(bool AShowDialog) {
  TPrinterInUse printer(Printer);
  if (!printer.P->HasDevice()) {
    MessageDlg(QStringLiteral("There is no printer installed on this computer."),
               TMsgDlgType::mtError, mbOK);
    return false;
  }
  TDiagramPrintSettings settings = PrintSettings;
  printer.P->Configure(PageSettings, settings.FDuplex, settings.FCollation);
  if (AShowDialog) {
    TfmDgrPrintDialog dialog(printer.P, this);
    dialog.SetSettings(settings);
    if (KvDialogs().ShowModal(dialog) != mrOk) return false;
    dialog.GetSettings(settings);
  }
  // The properties dialog may have changed the paper.
  printer.P->Configure(PageSettings, settings.FDuplex, settings.FCollation);
  const QString title = settings.FTitle.isEmpty() ? QStringLiteral("Diagram") : settings.FTitle;
  const TDgrGraphicLib oldLib = FGraphicLib;
  const double oldZoom = FZoomRatio, oldPreviewZoom = FPreviewZoom;
  const double oldAdjustX = FAdjustRatioX, oldAdjustY = FAdjustRatioY;
  TKvRestore restore{[&] {
    FZoomRatio = oldZoom;
    FPreviewZoom = oldPreviewZoom;
    FAdjustRatioX = oldAdjustX;
    FAdjustRatioY = oldAdjustY;
    FGraphicLib = oldLib;
  }};
  if (FGraphicLib == dglDirect2D) FGraphicLib = dglGDIPlus;
  const int count = GridOn(PageSettings, ControlsExtent(), *printer.P).Count();
  const QStringList pages = KvDiagram_ExpandPageList(settings.FPageNumbers, count);
  auto chosen = [&](int page) { return pages.isEmpty() || pages.contains(QString::number(page)); };
  int first = 1;
  while (first <= count && !chosen(first)) ++first;
  if (first > count) return false;  // a list of pages the diagram does not have
  FZoomRatio = 1.0;
  FPreviewZoom = FAdjustRatioX = FAdjustRatioY = 1.0;
  if (!printer.P->BeginDoc(title)) {
    MessageDlg(QStringLiteral("The diagram could not be printed on \"%1\".").arg(printer.P->Name()),
               TMsgDlgType::mtError, mbOK);
    return false;
  }
  // Copies outside pages: the job always comes out collated.
  for (int copy = 0; copy < std::max(1, settings.FCopies); ++copy)
    for (int page = 1; page <= count; ++page) {
      if (!chosen(page)) continue;
      printer.P->NewPage();
      PaintPage(printer.P->Canvas(), *printer.P, page, psPrint);
    }
  printer.P->EndDoc();
  return true;
}

QImage TKvDiagram::BuildPreviewBitmap(int APage, int AWidth, int AHeight) {
  TPrinterInUse printer(Printer);
  const QSizeF paper = KvDiagram_PaperDots(PageSettings, printer.P->DPIX(), printer.P->DPIY());
  const int w = AWidth > 0 ? AWidth : int(std::lround(paper.width()));
  const int h = AHeight > 0 ? AHeight : int(std::lround(paper.height()));
  QImage bitmap(std::max(1, w), std::max(1, h), QImage::Format_RGB32);
  bitmap.fill(Qt::white);
  if (paper.width() <= 0 || paper.height() <= 0) return bitmap;
  const double oldZoom = FZoomRatio, oldPreviewZoom = FPreviewZoom;
  const double oldAdjustX = FAdjustRatioX, oldAdjustY = FAdjustRatioY;
  TKvRestore restore{[&] {
    FZoomRatio = oldZoom;
    FPreviewZoom = oldPreviewZoom;
    FAdjustRatioX = oldAdjustX;
    FAdjustRatioY = oldAdjustY;
  }};
  FZoomRatio = 1.0;
  // One zoom for both axes keeps text proportional; the horizontal rest goes to the adjust ratio.
  const double sx = bitmap.width() / paper.width(), sy = bitmap.height() / paper.height();
  FPreviewZoom = sy;
  FAdjustRatioX = sx / sy;
  FAdjustRatioY = 1.0;
  QPainter painter(&bitmap);
  PaintPage(painter, *printer.P, APage, psPreview);
  // White around the printable area, whatever the scene put there.
  const QRectF printable =
      KvDiagram_PrintableRect(PageSettings, printer.P->DPIX(), printer.P->DPIY());
  QRegion margins(bitmap.rect());
  margins -= QRect(int(std::ceil(printable.left() * sx)), int(std::ceil(printable.top() * sy)),
                   int(printable.width() * sx), int(printable.height() * sy));
  painter.setClipRegion(margins);
  painter.fillRect(bitmap.rect(), Qt::white);
  return bitmap;
}
