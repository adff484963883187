#pragma once
// The main window on the virtual clock with the application module, a commander on a
// replayed stream and views that note every call, all in a temporary folder.
#include <QWidget>
#include <memory>

#include "../frame/AppModuleFixture.h"
#include "../instrument/InstrumentFixture.h"
#include "KvDockedViews.h"
#include "KvLiveMemo.h"
#include "UFrmLvx_Main.h"

// One stand-in form for whichever view it is registered as; calls go to a shared list.
class TNotingView : public QWidget,
                    public TKvTableView,
                    public TKvChartView,
                    public TKvDisplayView {
 public:
  explicit TNotingView(QStringList& calls) : FCalls(calls) {}
  void AddData(const TKvUniqueData& d) override { Note("AddData", d.dVal); }
  void Data2Display(const TKvUniqueData& d) override { Note("Data2Display", d.dVal); }
  void cxButtonShowAxisFullClick(QObject* Sender) override {
    FCalls << QString("ShowAxisFull %1").arg(Sender ? Sender->objectName() : "nil");
  }
  void Channel_SetupFieldName(const QString& name) override { FCalls << "FieldName " + name; }
  void Channel_SetupBottomAxis(const QString& title, const QString& format) override {
    FCalls << "BottomAxis " + title + " | " + format;
  }
  void Channel_SetupLeftAxis(const QString& title) override { FCalls << "LeftAxis " + title; }
  void Channel_Add(int id, const QString& title, const QString& cls, bool sel,
                   const QString& shortText) override {
    FCalls << QString("Add %1 %2 [%3] %4 %5").arg(id).arg(title, cls).arg(sel).arg(shortText);
  }
  void Channel_CreateFromList() override { FCalls << "CreateFromList"; }
  void DoChart_UpdateFromDataset(TKvMemTable&) override { FCalls << "UpdateFromDataset"; }
  void ClearSeries() override { FCalls << "ClearSeries"; }
  void RefreshData() override { FCalls << "RefreshData"; }

 private:
  void Note(const char* what, double v) { FCalls << QString("%1 %2").arg(what).arg(v); }
  QStringList& FCalls;
};

class MainFormTest : public AppModuleTest {
 protected:
  void SetUp() override {
    AppModuleTest::SetUp();
    WriteFile(SkinFile(), "[Brevik]\nQWidget {}\n[Night]\nQWidget {}\n");
    Commander = std::make_unique<TDmKv_COM_Commander>(&Port, &Ports);
  }
  void TearDown() override {
    Main.reset();
    Commander.reset();
    KvViewMakers() = TKvViewMakers();
    AppModuleTest::TearDown();
  }
  void RegisterNotingViews() {
    KvViewMakers().Table = [this] { return new TNotingView(Calls); };
    KvViewMakers().Chart = [this] { return new TNotingView(Calls); };
    KvViewMakers().Display = [this] { return new TNotingView(Calls); };
  }
  // The module reads the settings file when it is made, so tests write theirs first.
  void CreateMain() {
    if (!DmKvBasic) new TDmKvBasic;
    Main = std::make_unique<TFrmKvMain>();
  }
  // The first showing docks the panels.
  void ShowMain() {
    if (!Main) CreateMain();
    Main->show();
  }
  void Deliver(double level) {
    TKvUniqueData d;
    d.dVal = level;
    Commander->OnDataReceived(Commander.get(), QString("raw %1\r\ndec %1").arg(level), d);
  }
  QStringList MemoLines() const { return Main->cxMemo_ComData->Lines(); }
  bool DisplayEventOn() const { return (*Main->JvTimerList1)[TFrmKvMain::DisplayEvent]->Enabled(); }

  TKvStreamPort Port{1};
  TScriptedPortList Ports;
  std::unique_ptr<TDmKv_COM_Commander> Commander;
  std::unique_ptr<TFrmKvMain> Main;
  QStringList Calls;
};
