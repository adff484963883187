#pragma once
// The support mail service: an HTTP POST of sender, subject and body (form-encoded fields
// "sender", "subject", "body") to a web endpoint, whose reply text is the result code; "50"
// means the message was taken. Anything else that goes wrong on the way (no answer, an HTTP
// error, the time-out) is reported as the code's text.
//
// The endpoint is configuration: key "MailEndpoint" in the section "FormKvContact" of the
// settings file, empty by default (no service); "MailTimeout" there gives the time-out in
// milliseconds, 15000 by default.
#include <QNetworkReply>
#include <QObject>
#include <QPointer>
#include <QUrl>
#include <functional>

class QNetworkAccessManager;
class TKvTimer;

inline constexpr const char* KvMail_Section = "FormKvContact";
inline constexpr const char* KvMail_EndpointKey = "MailEndpoint";
inline constexpr const char* KvMail_TimeoutKey = "MailTimeout";
inline constexpr int KvMail_DefaultTimeout = 15000;
inline constexpr const char* KvMail_Success = "50";

class TKvMailService : public QObject {
  Q_OBJECT
 public:
  explicit TKvMailService(QObject* owner = nullptr);

  QUrl Endpoint;
  int TimeoutMs = KvMail_DefaultTimeout;
  // Reads endpoint and time-out from the settings file of the application module.
  void ReadSettings();
  bool IsConfigured() const { return Endpoint.isValid() && !Endpoint.isEmpty(); }

  // Sends once; OnResult gets the result code's text when the reply or failure is in.
  void Send(const QString& sender, const QString& subject, const QString& body);
  bool IsBusy() const { return FReply != nullptr; }
  std::function<void(const QString& ResultCode)> OnResult;

 private:
  void Finish(const QString& code);

  QNetworkAccessManager* FNetwork;
  QPointer<QNetworkReply> FReply;
  TKvTimer* FTimeout;
};
