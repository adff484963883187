#include "LvxTestSupport.h"

#include <QDialog>

int TScriptedDialogs::MessageDlg(const QString& msg, TMsgDlgType type, int buttons) {
  Messages.push_back({msg, type, buttons});
  if (!Answers.empty()) {
    int a = Answers.front();
    Answers.pop_front();
    return a;
  }
  if (buttons & mbOK) return mrOk;
  if (buttons & mbYes) return mrYes;
  return mrNone;
}

bool TScriptedDialogs::File(TKvFileDialogRequest& request) {
  FileRequests.push_back(request);
  if (FileAnswers.empty()) return false;
  QString answer = FileAnswers.front();
  FileAnswers.pop_front();
  if (answer.isEmpty()) return false;
  request.FileName = answer;
  return true;
}

int TScriptedDialogs::ShowModal(QDialog& form) {
  Forms << form.objectName();
  return OnShowModal ? OnShowModal(form) : mrCancel;
}

bool TScriptedDialogs::Print(const QString& kind, TKvPrintRequest& request) {
  PrintRequests.emplace_back(kind, request);
  bool confirmed = true;
  if (!PrintAnswers.empty()) {
    confirmed = PrintAnswers.front();
    PrintAnswers.pop_front();
  }
  if (confirmed && OnPrintDialog) OnPrintDialog(kind, request);
  return confirmed;
}

TKvLocale PinnedTestLocale() {
  TKvLocale l;
  l.DecimalSeparator = '.';
  l.DateSeparator = '.';
  l.TimeSeparator = ':';
  l.ShortDateFormat = "dd.mm.yyyy";
  l.LongTimeFormat = "hh:nn:ss";
  return l;
}

void VirtualTimeTest::SetUp() {
  Clock.SetNow(EncodeDate(2026, 11, 23) + EncodeTime(10, 0, 0, 0));
  KvClock_Install(&Clock);
  KvDialogs_Install(&Dialogs);
  KvLocale_Pin(PinnedTestLocale());
}

void VirtualTimeTest::TearDown() {
  KvDialogs_Install(nullptr);
  KvClock_Install(nullptr);
}
