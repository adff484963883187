#pragma once
// The application module and the commander as the program makes them, with documents in a
// temporary folder: the commander's file events are the real ones, dialogs are scripted and
// every status text is recorded.
#include <QDir>
#include <memory>

#include "../frame/AppModuleFixture.h"
#include "../instrument/InstrumentFixture.h"
#include "KvStdActns.h"
#include "UDmKvBasic.h"
#include "UDmKv_COM_Commander.h"

class DocumentLifecycleTest : public AppModuleTest {
 protected:
  void SetUp() override {
    AppModuleTest::SetUp();
    new TDmKvBasic;
    DmKvBasic->FOnStatusBarNotify = [this](QObject*, const QString& msg) { Status << msg; };
    DmKvBasic->FOnFileNameChangedEvent = [this](QObject*) { ++NameChanges; };
    Commander = std::make_unique<TDmKv_COM_Commander>(&Port, &Ports);
    Docs = Path("docs/");
    QDir().mkpath(Docs);
  }
  void TearDown() override {
    Commander.reset();
    AppModuleTest::TearDown();
  }

  // A document written by a table of its own, one row per level.
  static void WriteDocument(const QString& fileName, const QList<double>& levels) {
    TKvMeasurementTable t;
    t.CreateDataSet();
    for (int i = 0; i < levels.size(); ++i) t.PostReading(ReadingAt(i, levels[i]));
    t.SaveToFile(fileName, 2);
  }
  static TKvReadingValues ReadingAt(int second, double level) {
    TKvReadingValues r;
    r.dtDate = EncodeDate(2026, 11, 23);
    r.dtTime = EncodeTime(10, 0, second % 60, 0);
    r.dVal = level;
    r.dLo = 30;
    r.dHi = 130;
    r.bA = true;
    return r;
  }
  // A reading as the instrument delivers it: it sets the document's flags.
  void Record(double level) {
    TKvUniqueData d;
    d.bValid = d.bConnected = true;
    d.dtDate = EncodeDate(2026, 11, 23);
    d.dtTime = EncodeTime(11, 0, 0, 0);
    d.dVal = level;
    Commander->AddData(d);
  }
  // The levels of the table in ascending order of time and arrival.
  QList<double> Levels() {
    TKvMemTable& t = Commander->KvMemTableData;
    QList<double> levels;
    if (!t.Active()) return levels;
    const QString keep = t.IndexName();
    t.SetIndexName(TKvMeasurementTable::IndexAscName);
    for (t.First(); !t.Eof(); t.Next()) levels << t.FieldByName("Y").AsFloat();
    t.SetIndexName(keep);
    return levels;
  }
  QString Doc(const QString& name) const { return Docs + name; }
  QString LastStatus() const { return Status.isEmpty() ? QString() : Status.last(); }
  QString LastMessage() const {
    return Dialogs.Messages.empty() ? QString() : Dialogs.Messages.back().Text;
  }
  // Opens a document as the menu does, the dialog answering with its name.
  void OpenThroughDialog(const QString& fileName) {
    Dialogs.FileAnswers.push_back(fileName);
    DmKvBasic->FileOpen1->trigger();
  }

  TKvStreamPort Port{1};
  TScriptedPortList Ports;
  std::unique_ptr<TDmKv_COM_Commander> Commander;
  QString Docs;
  QStringList Status;
  int NameChanges = 0;
};
