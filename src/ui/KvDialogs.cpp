#include "KvDialogs.h"

#include <QApplication>
#include <QFileDialog>
#include <QMessageBox>
#include <QPageSetupDialog>
#include <QPrintDialog>
#include <QPrintPreviewDialog>
#include <QPrinter>
#include <QPrinterInfo>

namespace {
class TKvRealDialogs : public TKvDialogs {
 public:
  int MessageDlg(const QString& msg, TMsgDlgType type, int buttons) override {
    QMessageBox box(QApplication::activeWindow());
    static const QMessageBox::Icon icons[] = {QMessageBox::Warning, QMessageBox::Critical,
                                              QMessageBox::Information, QMessageBox::Question,
                                              QMessageBox::NoIcon};
    static const char* titles[] = {"Warning", "Error", "Information", "Confirm", ""};
    box.setIcon(icons[int(type)]);
    box.setWindowTitle(QApplication::applicationName().isEmpty() ? titles[int(type)]
                                                                 : QApplication::applicationName());
    box.setText(msg);
    struct Map {
      int flag;
      QMessageBox::StandardButton button;
      int result;
    };
    static const Map map[] = {{mbYes, QMessageBox::Yes, mrYes},
                              {mbNo, QMessageBox::No, mrNo},
                              {mbOK, QMessageBox::Ok, mrOk},
                              {mbCancel, QMessageBox::Cancel, mrCancel},
                              {mbAbort, QMessageBox::Abort, mrAbort},
                              {mbRetry, QMessageBox::Retry, mrRetry},
                              {mbIgnore, QMessageBox::Ignore, mrIgnore}};
    for (const Map& m : map)
      if (buttons & m.flag) box.addButton(m.button);
    box.exec();
    QAbstractButton* clicked = box.clickedButton();
    for (const Map& m : map)
      if (clicked && box.standardButton(clicked) == m.button) return m.result;
    return (buttons & mbCancel) ? mrCancel : mrNone;
  }

  bool OpenFileDialog(TKvFileDialogRequest& r) override { return Run(r, QFileDialog::AcceptOpen); }
  bool SaveFileDialog(TKvFileDialogRequest& r) override { return Run(r, QFileDialog::AcceptSave); }

  QStringList PrinterNames() override { return QPrinterInfo::availablePrinterNames(); }
  bool PageSetupDialog(TKvPrintRequest& r) override {
    QPageSetupDialog dlg(r.Printer, QApplication::activeWindow());
    return dlg.exec() == QDialog::Accepted;
  }
  bool PrintDialog(TKvPrintRequest& r) override {
    QPrintDialog dlg(r.Printer, QApplication::activeWindow());
    dlg.setWindowTitle(r.Title);
    if (dlg.exec() != QDialog::Accepted) return false;
    r.PrinterName = ChosenPrinter(*r.Printer);
    return true;
  }
  int ShowModal(QDialog& form) override {
    return form.exec() == QDialog::Accepted ? mrOk : mrCancel;
  }
  bool PrintPreviewDialog(TKvPrintRequest& r) override {
    QPrintPreviewDialog dlg(r.Printer, QApplication::activeWindow());
    dlg.setWindowTitle(r.Title);
    if (!r.Geometry.isEmpty()) dlg.restoreGeometry(r.Geometry);
    QObject::connect(&dlg, &QPrintPreviewDialog::paintRequested, &dlg,
                     [&r](QPrinter* printer) { r.Paint(*printer); });
    // The preview's own print button accepts it after its print dialog chose the target.
    const bool accepted = dlg.exec() == QDialog::Accepted;
    r.Geometry = dlg.saveGeometry();
    if (accepted) r.PrinterName = ChosenPrinter(*r.Printer);
    return accepted;
  }

 private:
  // A printer by its name; empty when the report went to a file.
  static QString ChosenPrinter(const QPrinter& printer) {
    return printer.outputFormat() == QPrinter::NativeFormat ? printer.printerName() : QString();
  }
  static bool Run(TKvFileDialogRequest& r, QFileDialog::AcceptMode mode) {
    QFileDialog dlg(QApplication::activeWindow(), r.Title, r.InitialDir);
    dlg.setAcceptMode(mode);
    dlg.setFileMode(mode == QFileDialog::AcceptOpen ? QFileDialog::ExistingFile
                                                    : QFileDialog::AnyFile);
    QStringList filters = KvDialogs_FilterToQt(r.Filter);
    if (!filters.isEmpty()) {
      dlg.setNameFilters(filters);
      if (r.FilterIndex >= 1 && r.FilterIndex <= filters.size())
        dlg.selectNameFilter(filters[r.FilterIndex - 1]);
    }
    if (!r.DefaultExt.isEmpty()) dlg.setDefaultSuffix(r.DefaultExt);
    if (!r.FileName.isEmpty()) dlg.selectFile(r.FileName);
    if (dlg.exec() != QDialog::Accepted || dlg.selectedFiles().isEmpty()) return false;
    r.FileName = dlg.selectedFiles().first();
    r.FilterIndex = int(filters.indexOf(dlg.selectedNameFilter())) + 1;
    return true;
  }
};

TKvRealDialogs gRealDialogs;
TKvDialogs* gDialogs = &gRealDialogs;
}  // namespace

QStringList TKvDialogs::PrinterNames() {
  return {};
}
bool TKvDialogs::PageSetupDialog(TKvPrintRequest&) {
  return false;
}
bool TKvDialogs::PrintDialog(TKvPrintRequest&) {
  return false;
}
bool TKvDialogs::PrintPreviewDialog(TKvPrintRequest&) {
  return false;
}
int TKvDialogs::ShowModal(QDialog&) {
  return mrCancel;
}

TKvDialogs& KvDialogs() {
  return *gDialogs;
}
void KvDialogs_Install(TKvDialogs* dialogs) {
  gDialogs = dialogs ? dialogs : &gRealDialogs;
}

QStringList KvDialogs_FilterToQt(const QString& filter) {
  QStringList parts = filter.split('|');
  QStringList out;
  for (int i = 0; i + 1 < parts.size(); i += 2) {
    QString patterns = parts[i + 1];
    patterns.replace(';', ' ');
    QString name = parts[i];
    out << (name.contains('(') ? name : QString("%1 (%2)").arg(name, patterns));
  }
  return out;
}
