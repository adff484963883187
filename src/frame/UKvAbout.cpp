#include "UKvAbout.h"

#include <QFileInfo>
#include <QGuiApplication>
#include <QHBoxLayout>
#include <QLabel>
#include <QPlainTextEdit>
#include <QProgressBar>
#include <QPushButton>
#include <QScreen>
#include <QStackedWidget>
#include <QVBoxLayout>

#include "KvGlobalInfo.h"
#include "KvLib.h"
#include "KvSys_Helper.h"
#include "KvTimerList.h"
#include "UDmKvBasic.h"
#include "UDmKvProjectInfo.h"

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
  if (!QFileInfo::exists(KvSkins_FileName()))
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
  resize(sizeHint().expandedTo(QSize(420, 300)));
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
