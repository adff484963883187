#include "UKvContact.h"

#include <QApplication>
#include <QCheckBox>
#include <QClipboard>
#include <QFormLayout>
#include <QHBoxLayout>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QVBoxLayout>

#include "KvAppIniFileStorage.h"
#include "KvDialogs.h"
#include "KvGlobalInfo.h"
#include "KvMailService.h"
#include "KvStr_Helper.h"
#include "KvSysInfo.h"
#include "KvSys_Helper.h"
#include "UDmKvBasic.h"

TFormKvContact* FormKvContact = nullptr;

namespace {

QLineEdit* Edit(QWidget* parent, const char* name) {
  auto e = new QLineEdit(parent);
  e->setObjectName(name);
  return e;
}

QPlainTextEdit* Memo(QWidget* parent, const char* name) {
  auto m = new QPlainTextEdit(parent);
  m->setObjectName(name);
  return m;
}

QString StoredUserValue(const char* key) {
  return DmKvBasic ? DmKvBasic->KvAppIniFileStorage->ReadString(KvMail_Section, key, QString())
                   : QString();
}

}  // namespace

QStringList KvContact_MachineRows() {
  const TKvSysInfo s = KvSysInfo_Read();
  return {
      KvSysInfo_Line("OS Product  ", s.OsProduct + " ( " + s.OsProductId + " )"),
      KvSysInfo_Line("OS Edition  ", s.OsEdition),
      KvSysInfo_Line("OS Version  ", "V" + s.OsVersion),
      KvSysInfo_Line("OS Platform ", s.OsPlatform),
      KvSysInfo_Line(" MediaCenter", s.MediaCenter),
      KvSysInfo_Line("      Tablet", s.Tablet),
      KvSysInfo_Line("      Server", s.Server),
      KvSysInfo_Line("       Wow64", s.Wow64),
      KvSysInfo_Line("      Remote", s.Remote),
      KvSysInfo_Line("OS SvcPack  ", s.OsServicePack + " V" + s.OsKernel),
      KvSysInfo_Line("Computername", s.ComputerName),
      KvSysInfo_Line("Username    ", s.UserName),
      KvSysInfo_Line("CPU Info    ",
                     QString("%1, Processor Count: %2").arg(s.CpuName).arg(s.CpuCount)),
      KvSysInfo_Line("      64-Bit", s.Is64Bit),
      KvSysInfo_Line("Boot-Mode   ", s.BootMode),
      KvSysInfo_Line("Network     ", s.NetworkConnected ? s.LocalIp : QString("None")),
      KvSysInfo_Line("System paths", QString()),
      KvSysInfo_Line("  PGM       ", KvSys_GetPath("PGM", false)),
      KvSysInfo_Line("  COMMONDOCS", KvSys_GetPath("COMMONDOCS", false)),
      KvSysInfo_Line("  COMMONAPPDATA", KvSys_GetPath("COMMONAPPDATA", false)),
      KvSysInfo_Line("  USERAPPDATA", KvSys_GetPath("USERAPPDATA", false)),
  };
}

TFormKvContact::TFormKvContact(QWidget* owner) : QDialog(owner) {
  setObjectName("FormKvContact");
  if (!FormKvContact) FormKvContact = this;

  cxTextEditName = Edit(this, "cxTextEditName");
  cxTextEditEmail = Edit(this, "cxTextEditEmail");
  cxTextEditProduct = Edit(this, "cxTextEditProduct");
  cxTextEditSubject = Edit(this, "cxTextEditSubject");
  cxMemoMessage = Memo(this, "cxMemoMessage");
  cxCheckBox1 = new QCheckBox("Add local computer info for support purposes", this);
  cxCheckBox1->setObjectName("cxCheckBox1");
  cxMemoSupport = Memo(this, "cxMemoSupport");
  cxMemoSupport->setReadOnly(true);
  cxMemoSupport->setLineWrapMode(QPlainTextEdit::NoWrap);
  cxMemoSupport->setFont(QFont("Monospace", 8));
  cxMemoSupport->setVisible(false);
  cxButtonSend = new QPushButton("Send mail", this);
  cxButtonSend->setObjectName("cxButtonSend");
  cxButton2 = new QPushButton("Cancel", this);
  cxButton2->setObjectName("cxButton2");

  auto fields = new QFormLayout;
  fields->addRow("Your name", cxTextEditName);
  fields->addRow("Your Email", cxTextEditEmail);
  fields->addRow("Product", cxTextEditProduct);
  fields->addRow("Subject", cxTextEditSubject);
  fields->addRow("Message", cxMemoMessage);
  fields->addRow(QString(), cxCheckBox1);
  fields->addRow("Machine info", cxMemoSupport);
  auto buttons = new QHBoxLayout;
  buttons->addStretch(1);
  buttons->addWidget(cxButtonSend);
  buttons->addWidget(cxButton2);
  auto layout = new QVBoxLayout(this);
  layout->addLayout(fields, 1);
  layout->addLayout(buttons);
  resize(520, 420);

  MailService = new TKvMailService(this);
  MailService->OnResult = [this](const QString& code) { MailResult(code); };

  connect(cxCheckBox1, &QCheckBox::toggled, this, &TFormKvContact::cxCheckBox1Click);
  connect(cxButtonSend, &QPushButton::clicked, this, &TFormKvContact::cxButtonSendClick);
  connect(cxButton2, &QPushButton::clicked, this, &QDialog::reject);
}

TFormKvContact::~TFormKvContact() {
  if (MailService->IsBusy()) KvSysHelper().Cursor_ReleaseOne();
  if (FormKvContact == this) FormKvContact = nullptr;
}

void TFormKvContact::showEvent(QShowEvent* event) {
  QDialog::showEvent(event);
  if (!event->spontaneous()) FormShow();
}

void TFormKvContact::FormShow() {
  setResult(QDialog::Rejected);
  const TKvVersionInfo& v = KvVersionInfo();
  setWindowTitle("Contact " + v.strCompanyName);
  cxTextEditName->setText(
      (StoredUserValue("UserFirstName") + ' ' + StoredUserValue("UserLastName")).trimmed());
  cxTextEditEmail->setText(StoredUserValue("UserEmail"));
  cxTextEditProduct->setText(v.strProductName + " V" + v.strFileVersion);
}

void TFormKvContact::cxCheckBox1Click() {
  const bool on = cxCheckBox1->isChecked();
  cxMemoSupport->setVisible(on);
  if (on) cxMemoSupport->setPlainText(KvContact_MachineRows().join('\n'));
}

QString TFormKvContact::MailSubject() const {
  return QString(SubjectTemplate).replace("<PRODUCTNAME>", KvVersionInfo().strProductName);
}

QString TFormKvContact::MailBody() const {
  const QString cr = "<CR>";
  const QString machine = cxCheckBox1->isChecked() ? cxMemoSupport->toPlainText() : QString();
  return cr + "User Name: " + cxTextEditName->text() + cr +
         "User Email: " + cxTextEditEmail->text().trimmed() + cr +
         "User product: " + cxTextEditProduct->text() + cr +
         "User subject: " + cxTextEditSubject->text() + cr + "User message: " + cr +
         cxMemoMessage->toPlainText().split('\n').join(cr) + cr + "User machine: " + cr +
         machine.split('\n').join(cr);
}

void TFormKvContact::cxButtonSendClick() {
  const QString email = cxTextEditEmail->text().trimmed();
  if (!KvStr_HasEmailAddress(email)) {
    MessageDlg("Please enter a valid Email adress.", TMsgDlgType::mtWarning, mbOK);
    return;
  }
  // A message of one empty line still has its line.
  if (cxTextEditSubject->text().isEmpty() || cxMemoMessage->document()->lineCount() == 0) {
    MessageDlg("Please enter your subject and message.", TMsgDlgType::mtWarning, mbOK);
    return;
  }
  MailService->ReadSettings();
  if (!MailService->IsConfigured()) {
    OfferClipboard();
    return;
  }
  cxButtonSend->setEnabled(false);
  KvSysHelper().Cursor_AddWait();
  MailService->Send(email, MailSubject(), MailBody());
}

void TFormKvContact::MailResult(const QString& code) {
  KvSysHelper().Cursor_ReleaseOne();
  cxButtonSend->setEnabled(true);
  if (code == KvMail_Success)
    MessageDlg(SentText, TMsgDlgType::mtInformation, mbOK);
  else
    MessageDlg("Error: " + code, TMsgDlgType::mtError, mbOK);
  accept();
}

void TFormKvContact::OfferClipboard() {
  const QString settings = DmKvBasic ? DmKvBasic->KvAppIniFileStorage->FullFileName() : QString();
  const QString text =
      QString(
          "No mail service is configured: the setting \"%1\" in the section [%2] of \"%3\" "
          "is empty.\r\n\r\nCopy the message to the clipboard instead?")
          .arg(KvMail_EndpointKey, KvMail_Section, settings);
  if (MessageDlg(text, TMsgDlgType::mtInformation, mbYesNo) != mrYes) return;
  QString body = MailBody();
  QApplication::clipboard()->setText(MailSubject() + "\n" + body.replace("<CR>", "\n"));
}
