#pragma once
// Every modal question and file dialog of the program goes through one service, so that
// tests can script the answers and check the texts.
#include <QByteArray>
#include <QString>
#include <QStringList>
#include <functional>

class QDialog;
class QPrinter;

enum class TMsgDlgType { mtWarning, mtError, mtInformation, mtConfirmation, mtCustom };

// Buttons, combinable as flags.
enum TMsgDlgBtn : int {
  mbYes = 1 << 0,
  mbNo = 1 << 1,
  mbOK = 1 << 2,
  mbCancel = 1 << 3,
  mbAbort = 1 << 4,
  mbRetry = 1 << 5,
  mbIgnore = 1 << 6,
};
inline constexpr int mbYesNoCancel = mbYes | mbNo | mbCancel;
inline constexpr int mbYesNo = mbYes | mbNo;
inline constexpr int mbOKCancel = mbOK | mbCancel;

// Answers. mrNone is what a dialog that was closed without a choice returns.
enum TModalResult : int {
  mrNone = 0,
  mrOk = 1,
  mrCancel = 2,
  mrAbort = 3,
  mrRetry = 4,
  mrIgnore = 5,
  mrYes = 6,
  mrNo = 7,
};

struct TKvFileDialogRequest {
  QString Title;
  QString Filter;  // "Data files (*.dat)|*.dat|All files (*.*)|*.*"
  int FilterIndex = 1;
  QString DefaultExt;
  QString InitialDir;
  QString FileName;
};

// A page setup, print or preview dialog over one printer. The dialog changes the printer's
// page, its target (a named printer or a PDF file) and copies; Paint draws the pages for the
// preview. PrinterName carries the chosen printer in and out (empty: a file or none);
// Geometry the preview window's placement (empty: the default).
struct TKvPrintRequest {
  QString Title;
  QPrinter* Printer = nullptr;
  QString PrinterName;
  std::function<void(QPrinter&)> Paint;
  QByteArray Geometry;
};

class TKvDialogs {
 public:
  virtual ~TKvDialogs() = default;
  virtual int MessageDlg(const QString& msg, TMsgDlgType type, int buttons) = 0;
  // True and the chosen name in request.FileName when the user confirmed.
  virtual bool OpenFileDialog(TKvFileDialogRequest& request) = 0;
  virtual bool SaveFileDialog(TKvFileDialogRequest& request) = 0;
  // The system's printers; empty on a machine without any.
  virtual QStringList PrinterNames();
  // True when the user confirmed. Services without printing dialogs cancel.
  virtual bool PageSetupDialog(TKvPrintRequest& request);
  virtual bool PrintDialog(TKvPrintRequest& request);
  virtual bool PrintPreviewDialog(TKvPrintRequest& request);
  // Shows one of the program's own forms modally: mrOk when it was confirmed, else mrCancel.
  // Services that do not show forms cancel.
  virtual int ShowModal(QDialog& form);
};

// The service in use: real dialogs unless a test installed a scripted one.
TKvDialogs& KvDialogs();
void KvDialogs_Install(TKvDialogs* dialogs);  // nullptr restores the real dialogs

inline int MessageDlg(const QString& msg, TMsgDlgType type, int buttons) {
  return KvDialogs().MessageDlg(msg, type, buttons);
}

// "Data (*.dat)|*.dat|All (*.*)|*.*" as the toolkit's filter list.
QStringList KvDialogs_FilterToQt(const QString& filter);
