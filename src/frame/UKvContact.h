#pragma once
// The support message: the user's name, address, product, subject and message, optionally
// with this machine's facts, handed to the mail service.
#include <QDialog>

class QCheckBox;
class QLineEdit;
class QPlainTextEdit;
class QPushButton;
class TKvMailService;

class TFormKvContact : public QDialog {
  Q_OBJECT
 public:
  explicit TFormKvContact(QWidget* owner = nullptr);
  ~TFormKvContact() override;

  static constexpr const char* SubjectTemplate =
      "<PRODUCTNAME> application: Direct support request";
  static constexpr const char* SentText =
      "Your message has been sent successfully\r\n\r\nPlease wait until our service team will be "
      "able to send you an answer.";

  QLineEdit* cxTextEditName;
  QLineEdit* cxTextEditEmail;
  QLineEdit* cxTextEditProduct;
  QLineEdit* cxTextEditSubject;
  QPlainTextEdit* cxMemoMessage;
  QCheckBox* cxCheckBox1;
  QPlainTextEdit* cxMemoSupport;
  QPushButton* cxButtonSend;
  QPushButton* cxButton2;
  TKvMailService* MailService;

  // The mail as it is handed over: "<CR>" stands for a line break in the body.
  QString MailSubject() const;
  QString MailBody() const;

  void FormShow();
  void cxCheckBox1Click();
  void cxButtonSendClick();

 protected:
  void showEvent(QShowEvent* event) override;

 private:
  void MailResult(const QString& code);
  void OfferClipboard();
};

// The program-wide contact form; nullptr while none exists.
extern TFormKvContact* FormKvContact;

// The machine's facts as the support message carries them.
QStringList KvContact_MachineRows();
