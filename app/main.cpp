// LvxReader: the start and stop order of the program around its message loop.
#include <QApplication>
#include <QCloseEvent>
#include <QLabel>
#include <QMainWindow>
#include <QMenuBar>
#include <QStatusBar>
#include <exception>

#include "KvDialogs.h"
#include "KvFormStorage.h"
#include "KvGlobalInfo.h"
#include "KvLib.h"
#include "KvStdActns.h"
#include "KvSys_Helper.h"
#include "KvTimerList.h"
#include "UDmKvBasic.h"
#include "UDmKvProjectInfo.h"
#include "UKvAbout.h"

namespace {

// Exceptions meant for "the application's default handler" end here: shown, logged, and
// never allowed into the toolkit's event loop.
class TKvApplication : public QApplication {
 public:
  using QApplication::QApplication;

  bool notify(QObject* receiver, QEvent* event) override {
    try {
      return QApplication::notify(receiver, event);
    } catch (const std::exception& e) {
      ShowException(QString::fromUtf8(e.what()));
    } catch (...) {
      ShowException("Unknown exception");
    }
    return false;
  }

 private:
  static void ShowException(const QString& text) {
    KvSysHelper().SysLog_Add(nullptr, "Exception", text);
    MessageDlg(text, TMsgDlgType::mtError, mbOK);
  }
};

const char* const FontResources[] = {"Digital_7", "LCD_BaseB", "DS_Digital", "Dinova"};

// The main form's frame until the real one arrives: it registers with the application
// module, loads the private fonts, asks the close query and keeps its placement.
class TFrmKvMain : public QMainWindow {
 public:
  TFrmKvMain() {
    setObjectName("FrmKvMain");
    KvSysHelper().SysLog_Add(this, "", "In Create");
    KvFormStorage1 = new TKvFormStorage(this);
    KvLib_FormStorage_FormCreate(DmKvBasic, KvFormStorage1);
    auto timers = new TKvTimerList(this);
    timers->setObjectName("JvTimerList1");
    for (const char* font : FontResources) LoadFontResource(font);

    QMenu* file = menuBar()->addMenu("&File");
    QAction* fileActions[] = {DmKvBasic->ActionFileNew,  DmKvBasic->FileOpen1,
                              DmKvBasic->FileSaveAs1,    DmKvBasic->ActionFilePrev,
                              DmKvBasic->ActionFileNext, DmKvBasic->FileExport1};
    for (QAction* a : fileActions) file->addAction(a);
    file->addSeparator();
    file->addAction(DmKvBasic->ActionFileExit);
    QMenu* options = menuBar()->addMenu("&Options");
    options->addAction(DmKvBasic->ActionOptionHelp);
    options->addAction(DmKvBasic->ActionOptionAbout);

    auto bar = new QStatusBar(this);
    bar->setObjectName("dxStatusBar");
    bar->addWidget(new QLabel(bar), 1);
    setStatusBar(bar);
    auto display = new QLabel("88.8 dB", this);
    display->setAlignment(Qt::AlignCenter);
    display->setFont(QFont("LCD", 48));
    setCentralWidget(display);
    resize(900, 600);
    DmKvBasic->SetMainForm(this);
    DmKvBasic->FModifiedChangedEvent = [](QObject*, bool) { DmKvBasic->UpdateMainForm_Caption(); };
    DmKvBasic->DoStatusBarNotify("Ready", true);
  }

  ~TFrmKvMain() override {
    KvSysHelper().SysLog_Add(this, "", "in FormDestroy");
    KvLib_FormStorage_FormDestroy(KvFormStorage1);
    if (DmKvBasic) DmKvBasic->FModifiedChangedEvent = nullptr;
    for (const char* font : FontResources) FreeFontResource(font);
  }

 protected:
  void closeEvent(QCloseEvent* event) override {
    bool canClose = true;
    DmKvBasic->EvFormCloseQuery(this, canClose);
    if (canClose)
      event->accept();
    else
      event->ignore();
  }

 private:
  TKvFormStorage* KvFormStorage1;
};

}  // namespace

int main(int argc, char* argv[]) {
  TKvApplication app(argc, argv);
  KvSysHelper();
  KvGlobal_Initialize();

  int result = 0;
  {
    TFrmKvMain main;
    main.show();
    KvBase_Flash(false);
    result = app.exec();
  }
  KvBase_CreateSplash(false);
  delete DmKvBasic;
  delete DmKvProjectInfo;
  // The log was written by the close query; what came after it is not kept.
  return result;
}
