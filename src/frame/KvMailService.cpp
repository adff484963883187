#include "KvMailService.h"

#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QNetworkRequest>
#include <QUrlQuery>

#include "KvClock.h"
#include "UDmKvBasic.h"

TKvMailService::TKvMailService(QObject* owner) : QObject(owner) {
  FNetwork = new QNetworkAccessManager(this);
  // The program's clock runs the time-out, so that it can be tested without waiting.
  FTimeout = new TKvTimer(this, TimeoutMs, true);
  FTimeout->OnTimer = [this] {
    Finish(QString("Time-out: no answer from the mail service within %1 ms").arg(TimeoutMs));
  };
}

void TKvMailService::ReadSettings() {
  if (!DmKvBasic) return;
  TKvAppIniFileStorage* ini = DmKvBasic->KvAppIniFileStorage;
  Endpoint = QUrl(ini->ReadString(KvMail_Section, KvMail_EndpointKey, QString()).trimmed());
  TimeoutMs = ini->ReadInteger(KvMail_Section, KvMail_TimeoutKey, KvMail_DefaultTimeout);
}

void TKvMailService::Send(const QString& sender, const QString& subject, const QString& body) {
  if (FReply) return;
  QUrlQuery form;
  form.addQueryItem("sender", sender);
  form.addQueryItem("subject", subject);
  form.addQueryItem("body", body);
  QNetworkRequest request(Endpoint);
  request.setHeader(QNetworkRequest::ContentTypeHeader, "application/x-www-form-urlencoded");
  FReply = FNetwork->post(request, form.toString(QUrl::FullyEncoded).toUtf8());
  connect(FReply, &QNetworkReply::finished, this, [this, reply = FReply.data()] {
    if (reply != FReply) return;  // already settled by the time-out
    if (reply->error() != QNetworkReply::NoError)
      Finish(reply->errorString());
    else
      Finish(QString::fromUtf8(reply->readAll()).trimmed());
  });
  FTimeout->SetInterval(TimeoutMs);
  FTimeout->SetEnabled(true);
}

void TKvMailService::Finish(const QString& code) {
  FTimeout->SetEnabled(false);
  QNetworkReply* reply = FReply;
  FReply = nullptr;
  if (reply) {
    reply->abort();
    reply->deleteLater();
  }
  if (OnResult) OnResult(code);
}
