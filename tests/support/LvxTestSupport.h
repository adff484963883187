#pragma once
// Shared test seams: a scripted dialog service, the virtual clock and pinned regional
// settings. Every suite's main() creates a QApplication on the offscreen platform.
#include <gtest/gtest.h>

#include <QString>
#include <QStringList>
#include <deque>
#include <functional>

#include "KvClock.h"
#include "KvDialogs.h"
#include "KvLocale.h"

// Records every message box and answers from a queue (default: the box's first button).
class TScriptedDialogs : public TKvDialogs {
 public:
  struct Shown {
    QString Text;
    TMsgDlgType Type;
    int Buttons;
  };
  std::vector<Shown> Messages;
  std::deque<int> Answers;
  std::deque<QString> FileAnswers;  // empty string = cancelled
  std::vector<TKvFileDialogRequest> FileRequests;

  // Printing: the system's printers, the kind of each print dialog shown ("setup", "print",
  // "preview") with the request it got, the answers (default: confirm) and what the user
  // does in a confirmed dialog.
  QStringList Printers;
  std::vector<std::pair<QString, TKvPrintRequest>> PrintRequests;
  std::deque<bool> PrintAnswers;
  std::function<void(const QString& kind, TKvPrintRequest&)> OnPrintDialog;
  // The program's own modal forms: the object name of each one shown, and what the user does
  // in it (the answer; without a script the form is cancelled).
  QStringList Forms;
  std::function<int(QDialog&)> OnShowModal;

  int MessageDlg(const QString& msg, TMsgDlgType type, int buttons) override;
  QStringList PrinterNames() override { return Printers; }
  bool PageSetupDialog(TKvPrintRequest& request) override { return Print("setup", request); }
  bool PrintDialog(TKvPrintRequest& request) override { return Print("print", request); }
  bool PrintPreviewDialog(TKvPrintRequest& request) override { return Print("preview", request); }
  int ShowModal(QDialog& form) override;
  bool OpenFileDialog(TKvFileDialogRequest& request) override { return File(request); }
  bool SaveFileDialog(TKvFileDialogRequest& request) override { return File(request); }

 private:
  bool File(TKvFileDialogRequest& request);
  bool Print(const QString& kind, TKvPrintRequest& request);
};

// Pins a locale with '.' decimal, "dd.mm.yyyy" and "hh:nn:ss".
TKvLocale PinnedTestLocale();

// A fixture with the virtual clock installed at 23 Nov 2026 10:00:00, scripted dialogs and
// the pinned locale.
class VirtualTimeTest : public ::testing::Test {
 protected:
  void SetUp() override;
  void TearDown() override;

  TKvVirtualClock Clock{0};
  TScriptedDialogs Dialogs;
};
