#include "UKvAbout.h"

#include <QFileInfo>
#include <QGuiApplication>
#include <QHBoxLayout>
#include <QLabel>
#include <QMouseEvent>
#include <QPlainTextEdit>
#include <QProcess>
#include <QProgressBar>
#include <QPushButton>
#include <QScreen>
#include <QStackedWidget>
#include <QTextBlock>
#include <QVBoxLayout>

#include "KvGlobalInfo.h"
#include "KvLib.h"
#include "KvSys_Helper.h"
#include "KvTimerList.h"
#include "UDmKvBasic.h"
#include "UDmKvProjectInfo.h"
#include "UKvContact.h"

TFrmKvAbout* FrmKvAbout = nullptr;

QString KvAbout_NameAndVersion() {
  if (!DmKvBasic) return KvGlobalInfo().strFullAppName;
  return KvVersionInfo().strProductName + ": (Version " + KvVersionInfo().strFileVersion + ")";
}

namespace {

QPushButton* Button(QWidget* parent, const char* name, const QString& text) {
  auto b = new QPushButton(text, parent);
  b->setObjectName(name);
  return b;
}

QPlainTextEdit* Memo(QWidget* parent, const char* name) {
  auto m = new QPlainTextEdit(parent);
  m->setObjectName(name);
  m->setReadOnly(true);
  m->setLineWrapMode(QPlainTextEdit::NoWrap);
  m->setFont(QFont("Monospace", 9));
  return m;
}

QWidget* Sheet(QStackedWidget* pages, const char* name) {
  auto w = new QWidget(pages);
  w->setObjectName(name);
  pages->addWidget(w);
  return w;
}

}  // namespace

TFrmKvAbout::TFrmKvAbout(QWidget* owner) : QDialog(owner) {
  setObjectName("FrmKvAbout");
  if (!FrmKvAbout) FrmKvAbout = this;

  cxImageLogo = new QLabel(this);
  cxImageLogo->setObjectName("cxImageLogo");
  // The stacked pages have no tab bar: the faces switch them by code.
  cxPageControl = new QStackedWidget(this);
  cxPageControl->setObjectName("cxPageControl");

  cxTabSheetAbout = Sheet(cxPageControl, "cxTabSheetAbout");
  cxMemoInfo = Memo(cxTabSheetAbout, "cxMemoInfo");
  cxHyperLinkEdit = new QLabel(cxTabSheetAbout);
  cxHyperLinkEdit->setObjectName("cxHyperLinkEdit");
  cxHyperLinkEdit->setOpenExternalLinks(true);
  cxButton2 = Button(cxTabSheetAbout, "cxButton2", "Contact");
  cxButton1 = Button(cxTabSheetAbout, "cxButton1", "OK");
  auto aboutButtons = new QHBoxLayout;
  aboutButtons->addWidget(cxHyperLinkEdit, 1, Qt::AlignBottom);
  aboutButtons->addWidget(cxButton2);
  aboutButtons->addWidget(cxButton1);
  auto aboutLayout = new QVBoxLayout(cxTabSheetAbout);
  aboutLayout->addWidget(cxMemoInfo, 1);
  aboutLayout->addLayout(aboutButtons);

  cxTabSheetSplash = Sheet(cxPageControl, "cxTabSheetSplash");
  cxImageSplash = new QLabel(cxTabSheetSplash);
  cxImageSplash->setObjectName("cxImageSplash");
  cxProgressBar1 = new QProgressBar(cxTabSheetSplash);
  cxProgressBar1->setObjectName("cxProgressBar1");
  cxProgressBar1->setTextVisible(false);
  cxProgressBar1->setRange(0, 100);
  cxProgressBar1->setFixedHeight(8);
  auto splashLayout = new QVBoxLayout(cxTabSheetSplash);
  splashLayout->setContentsMargins(0, 0, 0, 0);
  splashLayout->setSpacing(0);
  splashLayout->addWidget(cxImageSplash, 1);
  splashLayout->addWidget(cxProgressBar1);

  cxTabSheetLog = Sheet(cxPageControl, "cxTabSheetLog");
  cxMemoLog = Memo(cxTabSheetLog, "cxMemoLog");
  cxButton3 = Button(cxTabSheetLog, "cxButton3", "OK");
  cxButton4 = Button(cxTabSheetLog, "cxButton4", "About");
  auto logButtons = new QHBoxLayout;
  logButtons->addStretch(1);
  logButtons->addWidget(cxButton4);
  logButtons->addWidget(cxButton3);
  auto logLayout = new QVBoxLayout(cxTabSheetLog);
  logLayout->addWidget(cxMemoLog, 1);
  logLayout->addLayout(logButtons);

  auto layout = new QVBoxLayout(this);
  layout->setContentsMargins(0, 0, 0, 0);
  layout->setSpacing(0);
  layout->addWidget(cxImageLogo);
  layout->addWidget(cxPageControl, 1);

  JvTimerList1 = new TKvTimerList(this);
  JvTimerList1->setObjectName("JvTimerList1");
  JvTimerList1->AddEvent(400)->OnTimer = [this] { JvTimerList1Events0Timer(); };
  JvTimerList1->AddEvent(500)->OnTimer = [this] { JvTimerList1Events1Timer(); };

  OpenTextFileDialog1.Title = "Open test file";
  OpenTextFileDialog1.Filter =
      "Text files (*.txt;*.log;*.ini)|*.txt;*.log;*.ini|All files (*.*)|*.*";
  JvCreateProcess1.ApplicationName = KvAbout_Opener;
  cxImageSplash->installEventFilter(this);
  cxMemoInfo->viewport()->installEventFilter(this);

  connect(cxButton2, &QPushButton::clicked, this, &TFrmKvAbout::cxButton2Click);
  connect(cxButton1, &QPushButton::clicked, this, &QDialog::accept);
  connect(cxButton3, &QPushButton::clicked, this, &QDialog::accept);
  connect(cxButton4, &QPushButton::clicked, this, &TFrmKvAbout::AsAbout);

  KvSysHelper().SysLog_Add(this, "", "In Create");
  setWindowTitle("About " + KvAbout_NameAndVersion());
  if (DmKvBasic) {
    QString web;
    DmKvBasic->GetProductWeb(web);
    cxHyperLinkEdit->setText(QString("<a href=\"%1\">%1</a>").arg(web));
  }
  if (DmKvProjectInfo) {
    cxImageLogo->setPixmap(DmKvProjectInfo->GetImageLogo());
    cxImageSplash->setPixmap(DmKvProjectInfo->GetImageSplash());
  }
  // The skin is the application's style sheet, which this form takes like every other.
  if (QFileInfo::exists(KvSkins_FileName()))
    KvSkinController().Refresh();
  else
    KvSysHelper().SysLog_Add(this, "",
                             "Error: Skin file \"" + KvSkins_FileName() + "\" is missing");
}

TFrmKvAbout::~TFrmKvAbout() {
  if (FrmKvAbout == this) FrmKvAbout = nullptr;
}

int TFrmKvAbout::ActivePageIndex() const {
  return cxPageControl->currentIndex();
}

void TFrmKvAbout::ApplyFace(int tab, bool progress, bool log, bool captioned,
                            const QString& caption) {
  (*JvTimerList1)[1]->SetEnabled(false);
  (*JvTimerList1)[0]->SetEnabled(progress);
  cxProgressBar1->setValue(5);
  bool wasVisible = isVisible();
  // A tool window with or without its caption bar; changing the flags hides the window.
  // The splash stays above the main form, which shows while the splash waits.
  Qt::WindowFlags flags = captioned ? Qt::Tool | Qt::WindowTitleHint | Qt::WindowCloseButtonHint
                                    : Qt::Tool | Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint;
  if (windowFlags() != flags) {
    setWindowFlags(flags);
    if (wasVisible) show();
  }
  setWindowTitle(caption);
  cxPageControl->setCurrentIndex(tab);
  cxHyperLinkEdit->setVisible(tab == TabAbout);
  // The splash is as large as its picture; the about and log faces leave room for the text.
  resize(sizeHint().expandedTo(tab == TabSplash ? QSize(560, 300) : QSize(560, 560)));
  if (log) (*JvTimerList1)[1]->SetEnabled(true);
}

void TFrmKvAbout::AsSplash() {
  ApplyFace(TabSplash, true, false, false, KvAbout_NameAndVersion());
}

void TFrmKvAbout::AsAbout() {
  ApplyFace(TabAbout, false, false, true, "About " + KvAbout_NameAndVersion());
}

void TFrmKvAbout::AsLog() {
  ApplyFace(TabLog, false, true, true, "Message Log " + KvAbout_NameAndVersion());
}

void TFrmKvAbout::JvTimerList1Events0Timer() {
  int pos = cxProgressBar1->value() + 11;
  if (pos > cxProgressBar1->maximum()) pos = cxProgressBar1->minimum() + 5;
  cxProgressBar1->setValue(pos);
}

void TFrmKvAbout::JvTimerList1Events1Timer() {
  // A selection being made with the mouse would be lost by the refresh.
  if (!(QGuiApplication::mouseButtons() & Qt::LeftButton)) CopySysLog();
}

void TFrmKvAbout::CopySysLog() {
  cxMemoLog->setPlainText(KvSysHelper().SysLog_Display().join('\n'));
}

void TFrmKvAbout::showEvent(QShowEvent* event) {
  QDialog::showEvent(event);
  QWidget* main = DmKvBasic ? DmKvBasic->MainForm() : nullptr;
  QRect over = main && main->isVisible() ? main->frameGeometry()
               : screen()                ? screen()->availableGeometry()
                                         : QRect();
  if (over.isValid())
    move(over.left() + (over.width() - width()) / 2, over.top() + (over.height() - height()) / 2);
}

bool TKvCreateProcess::Run() const {
  return QProcess::startDetached(ApplicationName, Arguments, CurrentDirectory);
}

bool TFrmKvAbout::eventFilter(QObject* watched, QEvent* event) {
  if (event->type() == QEvent::MouseButtonDblClick) {
    const auto keys = static_cast<QMouseEvent*>(event)->modifiers();
    if (watched == cxImageSplash) cxImageSplashDblClick(keys);
    if (watched == cxMemoInfo->viewport()) {
      // The caret goes to the clicked line first.
      cxMemoInfo->setTextCursor(
          cxMemoInfo->cursorForPosition(static_cast<QMouseEvent*>(event)->position().toPoint()));
      cxMemoInfoDblClick(keys);
      return true;
    }
  }
  return QDialog::eventFilter(watched, event);
}

void TFrmKvAbout::ShowLogView() {
  AsLog();
}

void TFrmKvAbout::cxImageSplashDblClick(Qt::KeyboardModifiers keys) {
  if ((keys & Qt::ShiftModifier) && (keys & Qt::ControlModifier)) ShowLogView();
}

void TFrmKvAbout::cxMemoInfoDblClick(Qt::KeyboardModifiers keys) {
  const QString line = cxMemoInfo->textCursor().block().text().toLower();
  if ((keys & Qt::ShiftModifier) && (keys & Qt::ControlModifier)) {
    ShowLogView();
    return;
  }
  if (!(keys & Qt::ControlModifier)) return;
  for (const char* macro : {"PGM", "COMMONDOCS", "COMMONAPPDATA", "USERAPPDATA"})
    if (line.contains(QString("-%1").arg(macro).toLower() + ' ') ||
        line.contains(QString("-%1:").arg(macro).toLower())) {
      OpenInPath(macro);
      return;
    }
}

void TFrmKvAbout::OpenInPath(const QString& macro) {
  hide();
  OpenTextFileDialog1.Title = "Open path " + macro;
  OpenTextFileDialog1.InitialDir = KvSys_GetPath(macro, false);
  OpenTextFileDialog1.FileName.clear();
  if (KvDialogs().OpenFileDialog(OpenTextFileDialog1)) {
    const QFileInfo chosen(OpenTextFileDialog1.FileName);
    JvCreateProcess1.Arguments = {chosen.absoluteFilePath()};
    JvCreateProcess1.CurrentDirectory = chosen.absolutePath();
    if (!JvCreateProcess1.Run())
      KvSysHelper().SysLog_Add(
          this, "", "Error: \"" + JvCreateProcess1.ApplicationName + "\" could not be started");
  }
  show();
  raise();
  activateWindow();
}

void TFrmKvAbout::cxButton2Click() {
  const bool made = !FormKvContact;
  if (made) new TFormKvContact(this);
  TFormKvContact* contact = FormKvContact;
  hide();
  const int result = contact->exec();
  show();
  raise();
  if (result == QDialog::Accepted) close();
  if (made) delete contact;
}

void TFrmKvAbout::DisplayItem(const QString& label, const QString& value) {
  FInfo.append(KvSysInfo_Line(label, value));
}
void TFrmKvAbout::DisplayItem(const QString& label, bool value) {
  FInfo.append(KvSysInfo_Line(label, value));
}
void TFrmKvAbout::DisplayItem(const QString& label, int value) {
  FInfo.append(KvSysInfo_Line(label, value));
}
void TFrmKvAbout::DisplayItem(const QString& label, TKvBootMode value) {
  FInfo.append(KvSysInfo_Line(label, value));
}

void TFrmKvAbout::UpdateAboutScreen() {
  FInfo.clear();
  const TKvVersionInfo& v = KvVersionInfo();
  const TKvSysInfo s = KvSysInfo_Read();
  DisplayItem("", QString("System information: "));
  DisplayItem("", QString());
  DisplayItem("App. name    ", v.strProductName);
  DisplayItem("App. version ", v.strFileVersion);
  DisplayItem("App. company ", v.strCompanyName);
  DisplayItem("App. info    ", v.strFileDescription);
  DisplayItem("Firmware ver.", "V" + (DmKvBasic ? DmKvBasic->FFirmwareVersion : QString()));
  DisplayItem("Firmware date", DmKvBasic ? DmKvBasic->FFirmwareDate : QString());

  DisplayItem("OS Product   ", s.OsProduct + " ( " + s.OsProductId + " )");
  DisplayItem("OS Edition   ", s.OsEdition);
  DisplayItem("OS Version   ", "V" + s.OsVersion);
  DisplayItem("OS Platform  ", s.OsPlatform);
  DisplayItem("  MediaCenter", s.MediaCenter);
  DisplayItem("       Tablet", s.Tablet);
  DisplayItem("       Server", s.Server);
  DisplayItem("        Wow64", s.Wow64);
  DisplayItem("       Remote", s.Remote);
  DisplayItem("OS SvcPack   ", s.OsServicePack + " V" + s.OsKernel);
  DisplayItem("Computername ", s.ComputerName);
  DisplayItem("Username     ", s.UserName);

  DisplayItem("CPU Info     ", QString("%1, Processor Count: %2").arg(s.CpuName).arg(s.CpuCount));
  DisplayItem("       64-Bit", s.Is64Bit);
  DisplayItem("Boot-Mode    ", s.BootMode);

  DisplayItem("Network inst.", s.NetworkInstalled);
  DisplayItem("   -connected", s.NetworkConnected);
  DisplayItem("   -Local IP ", s.LocalIp);
  DisplayItem("   -Gateway  ", s.Gateway);
  if (!s.ProxyVariable.isEmpty()) {
    DisplayItem("Proxy - conn.", s.ProxyVariable);
    DisplayItem("      -  host", s.ProxyHost);
    DisplayItem("      - enab.", true);
    DisplayItem("      -overr.", s.ProxyOverride);
  } else {
    DisplayItem("Proxy        ", QString("None"));
  }
  DisplayItem("Host found   ", s.HostFound);
  DisplayItem("Text size    ", QString::number(s.TextDpi) + KvSysInfo_TextSizeName(s.TextDpi));

  DisplayItem("System paths ", QString());
  DisplayItem("  -PGM       ", KvSys_GetPath("PGM", false));
  DisplayItem("  -COMMONDOCS", KvSys_GetPath("COMMONDOCS", false));
  DisplayItem("  -COMMONAPPDATA", KvSys_GetPath("COMMONAPPDATA", false));
  DisplayItem("  -USERAPPDATA", KvSys_GetPath("USERAPPDATA", false));
  cxMemoInfo->setPlainText(FInfo.join('\n'));
}
