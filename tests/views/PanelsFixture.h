#pragma once
// The main window with the program's own table and chart panels, a commander on a replayed
// stream and recording switched on, under the virtual clock.
#include <QHeaderView>
#include <cmath>

#include "KvGridView.h"
#include "LvxProgram.h"
#include "MainFormFixture.h"
#include "UDxChart.h"
#include "UDxTable.h"

class PanelsTest : public MainFormTest {
 protected:
  void SetUp() override {
    MainFormTest::SetUp();
    LvxReader_RegisterViews();
    ShowMain();
    Table = dynamic_cast<TFrmDxTable*>(FrmDxTable);
    Chart = dynamic_cast<TFrmDxChart*>(FrmDxChart);
    ASSERT_TRUE(Table && Chart);
    Commander->SetIsRecording(true);
  }
  // One valid reading at 23 Nov 2026 10:00:<second>, through the main form's 50 ms event.
  void Record(double level, int second, double lo = 50, double hi = 100) {
    TKvUniqueData d;
    d.dVal = level;
    d.dLo = lo;
    d.dHi = hi;
    d.bValid = d.bConnected = true;
    d.dtDate = EncodeDate(2026, 11, 23);
    d.dtTime = EncodeTime(10, second / 60, second % 60, 0);
    Commander->OnDataReceived(Commander.get(), QString("raw\r\ndec %1").arg(level), d);
    Clock.Advance(50);
  }
  QString Cell(int row, int column) const {
    auto* model = Table->cxGridTableDBTableView2->model();
    return model->data(model->index(row, column), Qt::DisplayRole).toString();
  }
  int Rows() const { return Table->cxGridTableDBTableView2->model()->rowCount(); }
  TKvMeasurementTable& Data() { return Commander->KvMemTableData; }
  // The level series' values, oldest first; NaN for gaps.
  std::vector<double> LevelPoints() const {
    std::vector<double> v;
    const TKvSeriesPoints& points = Chart->Series(0).Points();
    for (int i = 0; i < points.Count(); ++i) v.push_back(points.Value(i));
    return v;
  }

  TFrmDxTable* Table = nullptr;
  TFrmDxChart* Chart = nullptr;
};
