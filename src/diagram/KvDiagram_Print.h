#pragma once
// Printing a diagram: the printers it prints on, the page area its page settings give, the
// grid of pages laid over the scene, the page list a user types, and the copies-and-pages
// dialog. TKvDiagram::Print and BuildPreviewBitmap (KvDiagram_Print.cpp) drive them.
#include <QDialog>
#include <QPrinter>
#include <QRectF>
#include <QStringList>
#include <memory>

#include "KvDiagram.h"

class QLineEdit;
class QRadioButton;
class QSpinBox;

struct TDiagramPrinterPaperInfo {
  int Id = 0;
  QString Name;
  double Width = 0;  // millimetres, portrait
  double Height = 0;
};

// The papers every printer offers, with the identifiers the page settings store.
const std::vector<TDiagramPrinterPaperInfo>& KvDiagram_Papers();

// Copies width, height and name of a known paper; an unknown id keeps them.
void ChangePaperID(TDiagramPageSettings& settings, int id);
double KvMarginMM(const QString& text);  // "12.5" or "12,5"; bad text counts as 0
QString KvMarginStr(double mm);

class TDiagramPrinter {
 public:
  virtual ~TDiagramPrinter() = default;
  virtual QString Name() const = 0;
  // False for the stand-in that exists when the system has no printer.
  virtual bool HasDevice() const = 0;
  virtual void Configure(const TDiagramPageSettings& page, TDuplexType duplex, bool collation) = 0;
  virtual bool BeginDoc(const QString& title) = 0;
  virtual void NewPage() = 0;
  virtual void EndDoc() = 0;
  virtual QPainter& Canvas() = 0;
  virtual int DPIX() const = 0;
  virtual int DPIY() const = 0;
  // The system's properties dialog of the printer; true when confirmed.
  virtual bool PropertiesDlg() { return false; }
  bool GetPaper(int id, TDiagramPrinterPaperInfo& info) const;
  int GetBinID() const { return 0; }
  QString GetBinName() const { return QStringLiteral("Automatically Select"); }
  double MMToPixelsX(double mm) const { return mm * DPIX() / 25.4; }
  double MMToPixelsY(double mm) const { return mm * DPIY() / 25.4; }
};

// A device: a printer of the system by name, or a PDF file.
class TDiagramRealPrinter : public TDiagramPrinter {
 public:
  explicit TDiagramRealPrinter(const QString& printerName);
  // A printer that writes pages into a PDF file at the given resolution.
  static std::unique_ptr<TDiagramRealPrinter> PdfFile(const QString& fileName, int dpi = 600);
  QString Name() const override;
  bool HasDevice() const override { return true; }
  void Configure(const TDiagramPageSettings& page, TDuplexType duplex, bool collation) override;
  bool BeginDoc(const QString& title) override;
  void NewPage() override;
  void EndDoc() override;
  QPainter& Canvas() override { return FPainter; }
  int DPIX() const override { return FPrinter.resolution(); }
  int DPIY() const override { return FPrinter.resolution(); }
  bool PropertiesDlg() override;
  QPrinter& Device() { return FPrinter; }
  int PagesPrinted() const { return FPages; }

 private:
  QPrinter FPrinter{QPrinter::HighResolution};
  QPainter FPainter;
  int FPages = 0;
};

// What stands in when there is no printer: it measures at 300 dots per inch and prints nothing.
class TDiagramGenericPrinter : public TDiagramPrinter {
 public:
  QString Name() const override { return QString(); }
  bool HasDevice() const override { return false; }
  void Configure(const TDiagramPageSettings&, TDuplexType, bool) override {}
  bool BeginDoc(const QString&) override { return false; }
  void NewPage() override {}
  void EndDoc() override {}
  QPainter& Canvas() override { return FPainter; }
  int DPIX() const override { return 300; }
  int DPIY() const override { return 300; }

 private:
  QPainter FPainter;
};

// The system's printers; the first is the default.
class TDiagramPrinters {
 public:
  static QStringList Names();
  // The default printer, or the stand-in when there is none.
  static std::unique_ptr<TDiagramPrinter> Default();
};

// The printable area of a page in printer dots: the paper in its orientation less the margins.
QRectF KvDiagram_PrintableRect(const TDiagramPageSettings& page, double dpiX, double dpiY);
// The paper in its orientation, in printer dots.
QSizeF KvDiagram_PaperDots(const TDiagramPageSettings& page, double dpiX, double dpiY);

// Pages laid over the scene from its origin, numbered from 1 left to right, then downward.
// A scene that ends exactly on a page edge gets one empty page more.
struct TDiagramPageGrid {
  double PageWidth = 0;  // printer dots
  double PageHeight = 0;
  int Columns = 1;
  int Rows = 1;
  int Count() const { return Columns * Rows; }
  // Extent in client units, scales in printer dots per client unit.
  static TDiagramPageGrid Make(double extentWidth, double extentHeight, double scaleX,
                               double scaleY, double pageWidth, double pageHeight);
  // The shift of the scene that brings the page to the origin, in printer dots.
  TDot Origin(int page) const;
};

// "1,3-5", "-2" (from page 1), "4-" (to the last page): the page numbers as texts, in the order
// given. Ranges end at the last page; single numbers stay as typed, so a list of pages that do
// not exist prints nothing rather than everything; what is not a number is passed over.
QStringList KvDiagram_ExpandPageList(const QString& list, int pageCount);

// The copies-and-pages dialog.
class TfmDgrPrintDialog : public QDialog {
 public:
  explicit TfmDgrPrintDialog(TDiagramPrinter* printer, QWidget* parent = nullptr);
  void SetSettings(const TDiagramPrintSettings& settings);
  // Copies and the page list; all pages is an empty list.
  void GetSettings(TDiagramPrintSettings& settings) const;

  QSpinBox* udCopies;
  QRadioButton* rbAllPages;
  QRadioButton* rbPages;
  QLineEdit* edPages;
};
