// The about form's three faces, its system report and double clicks; the contact form's
// fields, checks and hand-over to the mail service, which talks to a small HTTP server of the
// test's own on 127.0.0.1. The splash's part in the start-up is KvLibTest's.
#include <QCheckBox>
#include <QClipboard>
#include <QGuiApplication>
#include <QHostInfo>
#include <QLabel>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QProgressBar>
#include <QPushButton>
#include <QSignalSpy>
#include <QStackedWidget>
#include <QSysInfo>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTest>
#include <QThread>
#include <QTimer>
#include <QUrlQuery>
#include <memory>

#include "AppModuleFixture.h"
#include "KvMailService.h"
#include "KvSysInfo.h"
#include "KvTimerList.h"
#include "UKvAbout.h"
#include "UKvContact.h"

namespace {

// Network replies and started processes come back through the event loop in real time.
bool WaitFor(const std::function<bool()>& done) {
  return QTest::qWaitFor(done, 10000);
}

// Answers every POST with a fixed body, or never (a slow service). Keeps what it was sent.
class TMailServer : public QTcpServer {
 public:
  QByteArray Reply = "50";
  bool Silent = false;
  QList<QUrlQuery> Received;

  TMailServer() {
    listen(QHostAddress::LocalHost, 0);
    connect(this, &QTcpServer::newConnection, this, [this] {
      while (QTcpSocket* s = nextPendingConnection()) {
        s->setParent(this);
        connect(s, &QTcpSocket::readyRead, this, [this, s] { Read(s); });
      }
    });
  }
  QString Url() const { return QString("http://127.0.0.1:%1/send").arg(serverPort()); }

 private:
  void Read(QTcpSocket* s) {
    QByteArray& buf = FBuffers[s];
    buf += s->readAll();
    const qsizetype end = buf.indexOf("\r\n\r\n");
    if (end < 0) return;
    const QByteArray head = buf.left(end).toLower();
    const qsizetype at = head.indexOf("content-length:");
    const int length =
        at < 0 ? 0 : head.mid(at + 15, head.indexOf('\r', at) - at - 15).trimmed().toInt();
    if (buf.size() < end + 4 + length) return;
    Received.append(QUrlQuery(QString::fromUtf8(buf.mid(end + 4, length))));
    if (Silent) return;
    s->write("HTTP/1.1 200 OK\r\nContent-Type: text/plain\r\nContent-Length: " +
             QByteArray::number(Reply.size()) + "\r\nConnection: close\r\n\r\n" + Reply);
    s->disconnectFromHost();
  }
  QHash<QTcpSocket*, QByteArray> FBuffers;
};

class AboutTest : public AppModuleTest {
 protected:
  void SetUp() override {
    AppModuleTest::SetUp();
    new TDmKvProjectInfo;
    new TDmKvBasic;
    About = std::make_unique<TFrmKvAbout>();
  }
  void TearDown() override {
    About.reset();
    AppModuleTest::TearDown();
  }
  QStringList InfoLines() const { return About->cxMemoInfo->toPlainText().split('\n'); }
  QString Row(const QString& label) const {
    for (const QString& line : InfoLines())
      if (line.startsWith(label)) return line.mid(label.size());
    ADD_FAILURE() << "no row " << label.toStdString();
    return {};
  }
  // Double-clicks the memo's line that starts with label, with keys held.
  void DoubleClickRow(const QString& label, Qt::KeyboardModifiers keys) {
    QTextCursor found = About->cxMemoInfo->document()->find(label);
    ASSERT_FALSE(found.isNull()) << label.toStdString();
    About->cxMemoInfo->setTextCursor(found);
    const QRect r = About->cxMemoInfo->cursorRect(found);
    QTest::mouseDClick(About->cxMemoInfo->viewport(), Qt::LeftButton, keys, r.center());
  }

  std::unique_ptr<TFrmKvAbout> About;
  const QString Version = QString("Phonara Reader: (Version %1)").arg(LVX_TEST_VERSION);
};

TEST_F(AboutTest, ThreeFacesWithTheirCaptionsTabsTimersAndFrames) {
  struct Face {
    void (TFrmKvAbout::*turn)();
    int tab;
    QString caption;
    bool progress, log, link, frameless;
  } faces[] = {
      {&TFrmKvAbout::AsSplash, TFrmKvAbout::TabSplash, Version, true, false, false, true},
      {&TFrmKvAbout::AsAbout, TFrmKvAbout::TabAbout, "About " + Version, false, false, true, false},
      {&TFrmKvAbout::AsLog, TFrmKvAbout::TabLog, "Message Log " + Version, false, true, false,
       false},
  };
  About->show();
  for (const Face& f : faces) {
    SCOPED_TRACE(f.caption.toStdString());
    About->cxProgressBar1->setValue(70);
    (About.get()->*f.turn)();
    EXPECT_EQ(About->windowTitle(), f.caption);
    EXPECT_EQ(About->ActivePageIndex(), f.tab);
    EXPECT_EQ((*About->JvTimerList1)[0]->Enabled(), f.progress);
    EXPECT_EQ((*About->JvTimerList1)[1]->Enabled(), f.log);
    EXPECT_EQ(About->cxHyperLinkEdit->isVisible(), f.link);
    EXPECT_EQ(About->windowFlags().testFlag(Qt::FramelessWindowHint), f.frameless);
    EXPECT_TRUE(About->windowFlags().testFlag(Qt::Tool));
    EXPECT_EQ(About->cxProgressBar1->value(), 5);
    EXPECT_TRUE(About->isVisible());
  }
  EXPECT_TRUE(About->cxHyperLinkEdit->text().contains("https://www.brevik-acoustics.example"));
  EXPECT_FALSE(About->cxImageLogo->pixmap().isNull());
  EXPECT_FALSE(About->cxImageSplash->pixmap().isNull());

  // Without the application module the faces fall back to the program's full name.
  delete DmKvBasic;
  About->AsSplash();
  EXPECT_EQ(About->windowTitle(), "Phonara Reader");
  About->AsAbout();
  EXPECT_EQ(About->windowTitle(), "About Phonara Reader");
}

TEST_F(AboutTest, ProgressStepsAndWrapsAndTheLogViewFollowsTheLogUnlessTheMouseIsDown) {
  About->AsSplash();
  Clock.Advance(400 * 8);
  EXPECT_EQ(About->cxProgressBar1->value(), 5 + 8 * 11);  // 93
  Clock.Advance(400);
  EXPECT_EQ(About->cxProgressBar1->value(), 5);  // past 100: back to the minimum plus 5

  About->AsLog();
  KvSysHelper().SysLog_Add(nullptr, "Probe", "first");
  Clock.Advance(500);
  EXPECT_TRUE(About->cxMemoLog->toPlainText().startsWith(KvSysHelper().SysLog_Display().first()));
  EXPECT_TRUE(About->cxMemoLog->toPlainText().contains("Probe first"));
}

TEST_F(AboutTest, TheReportHasEveryRowInOrderWithThisMachinesFacts) {
  About->AsAbout();
  About->UpdateAboutScreen();
  const QStringList lines = InfoLines();
  const char* labels[] = {"System information: ", "",
                          "App. name    : ",      "App. version : ",
                          "App. company : ",      "App. info    : ",
                          "Firmware ver.: V",     "Firmware date: ",
                          "OS Product   : ",      "OS Edition   : ",
                          "OS Version   : V",     "OS Platform  : ",
                          "  MediaCenter: ",      "       Tablet: ",
                          "       Server: ",      "        Wow64: ",
                          "       Remote: ",      "OS SvcPack   : ",
                          "Computername : ",      "Username     : ",
                          "CPU Info     : ",      "       64-Bit: ",
                          "Boot-Mode    : ",      "Network inst.: ",
                          "   -connected: ",      "   -Local IP : ",
                          "   -Gateway  : "};
  ASSERT_GT(lines.size(), int(std::size(labels)));
  for (size_t i = 0; i < std::size(labels); ++i)
    EXPECT_TRUE(lines[int(i)].startsWith(labels[i])) << i << ": " << lines[int(i)].toStdString();
  const QStringList tail = lines.mid(lines.indexOf(QRegularExpression("^Host found   : .*")));
  ASSERT_EQ(tail.size(), 7) << lines.join('\n').toStdString();
  for (const char* label : {"Text size    : ", "System paths : ", "  -PGM       : ",
                            "  -COMMONDOCS: ", "  -COMMONAPPDATA: ", "  -USERAPPDATA: "})
    EXPECT_EQ(tail.filter(QRegularExpression("^" + QRegularExpression::escape(label))).size(), 1)
        << label;

  EXPECT_EQ(Row("App. name    : "), "Phonara Reader");
  EXPECT_EQ(Row("App. version : "), LVX_TEST_VERSION);
  EXPECT_EQ(Row("App. company : "), "Brevik");
  EXPECT_TRUE(
      Row("OS Product   : ")
          .startsWith(QSysInfo::prettyProductName() + " ( " + QSysInfo::productType() + " )"));
  EXPECT_EQ(Row("OS Version   : V"), QSysInfo::productVersion());
  EXPECT_TRUE(Row("OS Platform  : ").contains(QSysInfo::kernelVersion()));
  EXPECT_EQ(Row("Computername : "), QSysInfo::machineHostName());
  EXPECT_TRUE(Row("CPU Info     : ")
                  .endsWith(QString(", Processor Count: %1").arg(QThread::idealThreadCount())));
  EXPECT_EQ(Row("       64-Bit: "),
            QSysInfo::currentCpuArchitecture().contains("64") ? "True" : "False");
  EXPECT_TRUE(QStringList({"bmUnknown", "bmNormal", "bmSafeMode", "bmSafeModeNetwork"})
                  .contains(Row("Boot-Mode    : ")));
  EXPECT_EQ(Row("  -PGM       : "), KvSys_GetPath("PGM", false));
  EXPECT_EQ(Row("  -COMMONDOCS: "), KvSys_GetPath("COMMONDOCS", false));
  EXPECT_EQ(Row("  -COMMONAPPDATA: "), KvSys_GetPath("COMMONAPPDATA", false));
  EXPECT_EQ(Row("  -USERAPPDATA: "), KvSys_GetPath("USERAPPDATA", false));
  // The offscreen screen reports 96 dots per inch.
  EXPECT_EQ(Row("Text size    : "), "96 (standard)");

  DmKvBasic->FFirmwareVersion = "2.07";
  About->UpdateAboutScreen();  // filled anew, not appended
  EXPECT_EQ(InfoLines().size(), lines.size());
  EXPECT_EQ(Row("Firmware ver.: V"), "2.07");
}

TEST_F(AboutTest, ProxyRowsComeFromTheEnvironment) {
  qputenv("http_proxy", "http://proxy.lan:3128");
  qputenv("no_proxy", "localhost,.lan");
  About->UpdateAboutScreen();
  qunsetenv("http_proxy");
  qunsetenv("no_proxy");
  EXPECT_EQ(Row("Proxy - conn.: "), "http_proxy");
  EXPECT_EQ(Row("      -  host: "), "proxy.lan:3128");
  EXPECT_EQ(Row("      - enab.: "), "True");
  EXPECT_EQ(Row("      -overr.: "), "localhost,.lan");
  if (qEnvironmentVariableIsEmpty("https_proxy") && qEnvironmentVariableIsEmpty("HTTPS_PROXY") &&
      qEnvironmentVariableIsEmpty("HTTP_PROXY") && qEnvironmentVariableIsEmpty("all_proxy") &&
      qEnvironmentVariableIsEmpty("ALL_PROXY")) {
    About->UpdateAboutScreen();
    EXPECT_TRUE(InfoLines().contains("Proxy        : None"));
  }
}

TEST(KvSysInfoText, TheDefaultGatewayComesFromTheKernelsRoutingTable) {
  const QByteArray routes =
      "Iface\tDestination\tGateway \tFlags\tRefCnt\tUse\tMetric\tMask\n"
      "eth0\t000200C0\t00000000\t0001\t0\t0\t0\t00FFFFFF\n"
      "eth0\t00000000\t010200C0\t0003\t0\t0\t0\t00000000\n";
  EXPECT_EQ(KvSysInfo_GatewayFromRoutes(routes), "192.0.2.1");
  EXPECT_EQ(KvSysInfo_GatewayFromRoutes(routes.left(routes.indexOf("eth0\t00000000"))), "");
}

TEST_F(AboutTest, DoubleClicksOpenTheLogViewOrAFileInAPathAndNothingWithoutControl) {
  About->AsSplash();
  About->show();
  QTest::mouseDClick(About->cxImageSplash, Qt::LeftButton, Qt::ControlModifier);
  EXPECT_EQ(About->ActivePageIndex(), TFrmKvAbout::TabSplash);
  QTest::mouseDClick(About->cxImageSplash, Qt::LeftButton, Qt::ShiftModifier | Qt::ControlModifier);
  EXPECT_EQ(About->ActivePageIndex(), TFrmKvAbout::TabLog);
  EXPECT_EQ(About->windowTitle(), "Message Log " + Version);
  EXPECT_TRUE((*About->JvTimerList1)[1]->Enabled());

  About->AsAbout();
  About->UpdateAboutScreen();
  DoubleClickRow("  -USERAPPDATA", Qt::NoModifier);
  DoubleClickRow("  -PGM", Qt::ShiftModifier);
  EXPECT_TRUE(Dialogs.FileRequests.empty());
  EXPECT_EQ(About->ActivePageIndex(), TFrmKvAbout::TabAbout);

  // The desktop's opener is a script of the test's own that notes where and what it opened.
  const QString bin = Path("bin"), noted = Path("opened.txt");
  QDir().mkpath(bin);
  WriteFile(bin + "/" + KvAbout_Opener, "#!/bin/sh\necho \"$PWD|$1\" > " + noted.toUtf8() + "\n");
  QFile::setPermissions(bin + "/" + KvAbout_Opener,
                        QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
  const QByteArray path = qgetenv("PATH");
  qputenv("PATH", bin.toUtf8() + ":" + path);
  const QString file = KvSys_GetPath("USERAPPDATA", true) + "/notes.txt";
  WriteFile(file, "x");
  Dialogs.FileAnswers = {file, QString()};
  DoubleClickRow("  -USERAPPDATA", Qt::ControlModifier);
  ASSERT_EQ(Dialogs.FileRequests.size(), 1u);
  EXPECT_EQ(Dialogs.FileRequests[0].Title, "Open path USERAPPDATA");
  EXPECT_EQ(Dialogs.FileRequests[0].InitialDir, KvSys_GetPath("USERAPPDATA", false));
  EXPECT_TRUE(About->isVisible());  // back after the dialog
  ASSERT_TRUE(WaitFor([&] { return !ReadFile(noted).isEmpty(); }));
  EXPECT_EQ(QString::fromUtf8(ReadFile(noted)).trimmed(),
            KvSys_GetPath("USERAPPDATA", false) + "|" + file);

  DoubleClickRow("  -COMMONDOCS", Qt::ControlModifier);  // cancelled: nothing is opened
  ASSERT_EQ(Dialogs.FileRequests.size(), 2u);
  EXPECT_EQ(Dialogs.FileRequests[1].Title, "Open path COMMONDOCS");
  DoubleClickRow("Computername", Qt::ShiftModifier | Qt::ControlModifier);
  EXPECT_EQ(About->ActivePageIndex(), TFrmKvAbout::TabLog);
  qputenv("PATH", path);
}

class ContactTest : public AboutTest {
 protected:
  void SetUp() override {
    AboutTest::SetUp();
    Contact = std::make_unique<TFormKvContact>();
  }
  void TearDown() override {
    Contact.reset();
    AboutTest::TearDown();
  }
  void Configure(const QString& url, int timeout = 3000) {
    DmKvBasic->KvAppIniFileStorage->WriteString(KvMail_Section, KvMail_EndpointKey, url);
    DmKvBasic->KvAppIniFileStorage->WriteInteger(KvMail_Section, KvMail_TimeoutKey, timeout);
  }
  void Fill() {
    Contact->show();
    Contact->cxTextEditEmail->setText(" ada@example.org ");
    Contact->cxTextEditSubject->setText("Range");
    Contact->cxMemoMessage->setPlainText("Line one\nLine two");
  }
  std::unique_ptr<TFormKvContact> Contact;
};

TEST_F(ContactTest, FieldsCaptionAndPrefillFromTheStoredUser) {
  DmKvBasic->KvAppIniFileStorage->WriteString(KvMail_Section, "UserFirstName", "Ada");
  DmKvBasic->KvAppIniFileStorage->WriteString(KvMail_Section, "UserLastName", "Lind");
  DmKvBasic->KvAppIniFileStorage->WriteString(KvMail_Section, "UserEmail", "ada@example.org");
  Contact->show();
  EXPECT_EQ(Contact->windowTitle(), "Contact Brevik");
  EXPECT_EQ(Contact->cxTextEditName->text(), "Ada Lind");
  EXPECT_EQ(Contact->cxTextEditEmail->text(), "ada@example.org");
  EXPECT_EQ(Contact->cxTextEditProduct->text(), QString("Phonara Reader V") + LVX_TEST_VERSION);
  EXPECT_EQ(Contact->result(), QDialog::Rejected);

  EXPECT_FALSE(Contact->cxMemoSupport->isVisible());
  Contact->cxCheckBox1->click();
  EXPECT_TRUE(Contact->cxMemoSupport->isVisible());
  const QStringList rows = Contact->cxMemoSupport->toPlainText().split('\n');
  ASSERT_EQ(rows.size(), 21);
  EXPECT_TRUE(rows[0].startsWith("OS Product  : "));
  EXPECT_TRUE(rows[4].startsWith(" MediaCenter: "));
  EXPECT_EQ(rows[10], "Computername: " + QSysInfo::machineHostName());
  EXPECT_EQ(rows[16], "System paths: ");
  EXPECT_EQ(rows[20], "  USERAPPDATA: " + KvSys_GetPath("USERAPPDATA", false));
  Contact->cxCheckBox1->click();
  EXPECT_FALSE(Contact->cxMemoSupport->isVisible());
}

TEST_F(ContactTest, WarningsKeepTheFormOpenForACorrection) {
  Configure("http://127.0.0.1:1/unused");
  Fill();
  for (const char* bad : {"   ", "ada.example.org", "ada@"}) {
    Contact->cxTextEditEmail->setText(bad);
    Contact->cxButtonSend->click();
  }
  Contact->cxTextEditEmail->setText("ada@example.org");
  Contact->cxTextEditSubject->clear();
  Contact->cxButtonSend->click();
  ASSERT_EQ(Dialogs.Messages.size(), 4u);
  for (int i = 0; i < 3; ++i) {
    EXPECT_EQ(Dialogs.Messages[i].Text, "Please enter a valid Email adress.");
    EXPECT_EQ(Dialogs.Messages[i].Type, TMsgDlgType::mtWarning);
  }
  EXPECT_EQ(Dialogs.Messages[3].Text, "Please enter your subject and message.");
  EXPECT_TRUE(Contact->isVisible());
  EXPECT_FALSE(Contact->MailService->IsBusy());
}

TEST_F(ContactTest, SuccessSendsTheFieldsAndClosesWithOk) {
  TMailServer server;
  Configure(server.Url());
  Fill();
  Contact->cxMemoMessage->setPlainText("");  // one empty line is still a message
  Contact->cxButtonSend->click();
  EXPECT_FALSE(Contact->cxButtonSend->isEnabled());
  ASSERT_TRUE(WaitFor([&] { return !Contact->isVisible(); }));
  EXPECT_EQ(Contact->result(), QDialog::Accepted);
  ASSERT_EQ(Dialogs.Messages.size(), 1u);
  EXPECT_EQ(Dialogs.Messages[0].Text,
            "Your message has been sent successfully\r\n\r\nPlease wait until our service team "
            "will be able to send you an answer.");
  EXPECT_EQ(Dialogs.Messages[0].Type, TMsgDlgType::mtInformation);
  ASSERT_EQ(server.Received.size(), 1);
  const QUrlQuery& q = server.Received[0];
  EXPECT_EQ(q.queryItemValue("sender", QUrl::FullyDecoded), "ada@example.org");
  EXPECT_EQ(q.queryItemValue("subject", QUrl::FullyDecoded),
            "Phonara Reader application: Direct support request");
  EXPECT_EQ(q.queryItemValue("body", QUrl::FullyDecoded),
            "<CR>User Name: <CR>User Email: ada@example.org<CR>User product: Phonara Reader V" +
                QString(LVX_TEST_VERSION) +
                "<CR>User subject: Range<CR>User message: <CR><CR>User machine: <CR>");
}

TEST_F(ContactTest, AnotherCodeOrAFailureIsAnErrorAndStillClosesWithOk) {
  TMailServer server;
  server.Reply = "17 mailbox full";
  Configure(server.Url());
  Fill();
  Contact->cxButtonSend->click();
  ASSERT_TRUE(WaitFor([&] { return !Contact->isVisible(); }));
  EXPECT_EQ(Contact->result(), QDialog::Accepted);
  ASSERT_EQ(Dialogs.Messages.size(), 1u);
  EXPECT_EQ(Dialogs.Messages[0].Text, "Error: 17 mailbox full");
  EXPECT_EQ(Dialogs.Messages[0].Type, TMsgDlgType::mtError);
  EXPECT_TRUE(server.Received[0]
                  .queryItemValue("body", QUrl::FullyDecoded)
                  .contains("<CR>User message: <CR>Line one<CR>Line two<CR>"));

  // No server on that port any more: the connection is refused.
  const QString gone = server.Url();
  server.close();
  Configure(gone);
  Dialogs.Messages.clear();
  Fill();
  Contact->cxButtonSend->click();
  ASSERT_TRUE(WaitFor([&] { return !Contact->isVisible(); }));
  ASSERT_EQ(Dialogs.Messages.size(), 1u);
  EXPECT_TRUE(Dialogs.Messages[0].Text.startsWith("Error: "))
      << Dialogs.Messages[0].Text.toStdString();
  EXPECT_TRUE(Dialogs.Messages[0].Text.contains("refused", Qt::CaseInsensitive))
      << Dialogs.Messages[0].Text.toStdString();
}

TEST_F(ContactTest, ASlowServiceTimesOutOnTheClock) {
  TMailServer server;
  server.Silent = true;
  Configure(server.Url(), 4000);
  Fill();
  Contact->cxButtonSend->click();
  ASSERT_TRUE(WaitFor(
      [&] { return server.Received.size() == 1; }));  // the request went out; no answer comes
  Clock.Advance(3999);
  EXPECT_TRUE(Contact->isVisible());
  EXPECT_TRUE(Dialogs.Messages.empty());
  Clock.Advance(1);
  EXPECT_FALSE(Contact->isVisible());
  ASSERT_EQ(Dialogs.Messages.size(), 1u);
  EXPECT_EQ(Dialogs.Messages[0].Text,
            "Error: Time-out: no answer from the mail service within 4000 ms");
  EXPECT_FALSE(Contact->MailService->IsBusy());
}

TEST_F(ContactTest, WithoutAnEndpointTheMessageCanGoToTheClipboard) {
  Fill();
  QGuiApplication::clipboard()->clear();
  Dialogs.Answers = {mrNo, mrYes};
  Contact->cxButtonSend->click();
  EXPECT_TRUE(Contact->isVisible());
  EXPECT_TRUE(QGuiApplication::clipboard()->text().isEmpty());
  Contact->cxButtonSend->click();
  ASSERT_EQ(Dialogs.Messages.size(), 2u);
  EXPECT_TRUE(Dialogs.Messages[0].Text.startsWith(
      "No mail service is configured: the setting \"MailEndpoint\" in the section "
      "[FormKvContact] of \"" +
      IniFile() + "\" is empty."))
      << Dialogs.Messages[0].Text.toStdString();
  EXPECT_EQ(Dialogs.Messages[0].Buttons, mbYesNo);
  const QString copied = QGuiApplication::clipboard()->text();
  EXPECT_TRUE(
      copied.startsWith("Phonara Reader application: Direct support request\n\nUser Name: "))
      << copied.toStdString();
  EXPECT_TRUE(copied.contains("User message: \nLine one\nLine two\n"));
  EXPECT_TRUE(Contact->isVisible());  // nothing was sent; the user decides what's next
}

TEST_F(AboutTest, ContactButtonSwapsTheFormsAndASentMessageClosesTheAbout) {
  TMailServer server;
  DmKvBasic->KvAppIniFileStorage->WriteString(KvMail_Section, KvMail_EndpointKey, server.Url());
  About->AsAbout();
  About->show();
  bool sawContact = false;
  QTimer::singleShot(0, [&] {
    ASSERT_NE(FormKvContact, nullptr);
    sawContact = FormKvContact->isVisible() && !About->isVisible();
    FormKvContact->cxTextEditEmail->setText("ada@example.org");
    FormKvContact->cxTextEditSubject->setText("Hello");
    FormKvContact->cxButtonSend->click();
  });
  About->cxButton2->click();
  EXPECT_TRUE(sawContact);
  EXPECT_EQ(FormKvContact, nullptr);  // made here, freed here
  EXPECT_EQ(server.Received.size(), 1);
  EXPECT_FALSE(About->isVisible());  // closed after the sent message

  About->show();
  QTimer::singleShot(0, [] { FormKvContact->cxButton2->click(); });
  About->cxButton2->click();
  EXPECT_TRUE(About->isVisible());  // cancelled: the about box stays
}

// Kept for a look at the faces: LVX_FRAME_SHOTS=<folder>.
TEST_F(AboutTest, ScreenshotsOfTheFacesAndTheContactForm) {
  const QString shots = qEnvironmentVariable("LVX_FRAME_SHOTS");
  if (shots.isEmpty()) GTEST_SKIP() << "LVX_FRAME_SHOTS not set";
  About->show();
  About->AsSplash();
  About->grab().save(shots + "/about_splash.png");
  About->AsAbout();
  About->UpdateAboutScreen();
  About->grab().save(shots + "/about_about.png");
  KvSysHelper().SysLog_Add(About.get(), "", "A line for the log view");
  About->AsLog();
  Clock.Advance(500);
  About->grab().save(shots + "/about_log.png");
  TFormKvContact contact;
  contact.show();
  contact.cxTextEditEmail->setText("ada@example.org");
  contact.cxCheckBox1->click();
  contact.grab().save(shots + "/contact.png");
  EXPECT_TRUE(QFile::exists(shots + "/contact.png"));
}

}  // namespace
