#include "UDxChart.h"

#include <QComboBox>
#include <QFileInfo>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QRadioButton>
#include <QSpinBox>
#include <QTimeEdit>
#include <QVBoxLayout>
#include <cmath>

#include "KvChartChannels.h"
#include "KvChartLeq.h"
#include "KvCheckComboBox.h"
#include "KvDateTime.h"
#include "KvFormStorage.h"
#include "KvLib.h"
#include "KvLocale.h"
#include "KvMeasurementTable.h"
#include "KvReportPrinting.h"
#include "KvSys_Helper.h"
#include "UDmKvBasic.h"
#include "UDmKv_COM_Commander.h"

TKvReportPrinting* DmDxPrinting = nullptr;

namespace {
constexpr int TagAll = -1, TagNone = -2, TagAverage = -1;
constexpr double MinScrollSeconds = 5;
constexpr int ReplotMs = 500;
const QColor ChartColor(0xF2, 0xF3, 0xF4);    // colour value 16053234
const QColor Series1Color(0x44, 0x66, 0xA3);  // colour value 10708548
const QColor AverageColor(0xC0, 0xC0, 0xC0);  // silver
// The chart's palette for further series.
const QColor Palette[] = {QColor(0x44, 0x66, 0xA3), QColor(0x2E, 0x8B, 0x57),
                          QColor(0xC8, 0x3C, 0x3C), QColor(0xC0, 0xC0, 0xC0),
                          QColor(0x8E, 0x5C, 0xB5), QColor(0xD9, 0x8C, 0x1F)};

QCPScatterStyle Pointer(QCPScatterStyle::ScatterShape shape, const QColor& color) {
  return QCPScatterStyle(shape, color, color, 3);
}

// The stored columns a point is read from, found once per walk.
struct TPointColumns {
  int Date = -1, Time = -1, Y = -1, Chan = -1;
  explicit TPointColumns(TKvMemTable& ds, const QString& chanName) {
    auto col = [&ds](const QString& name) {
      TKvField* f = ds.FindField(name);
      return f ? f->Column() : -1;
    };
    Date = col("Date");
    Time = col("Time");
    Y = col("Y");
    Chan = chanName.isEmpty() ? -1 : col(chanName);
  }
};
}  // namespace

TFrmDxChart::TFrmDxChart(QWidget* parent) : QWidget(parent) {
  setObjectName("FrmDxChart");
  Log("In Create");
  iPos = 1;
  bPos = true;
  BuildTools();
  BuildChart();

  KvFormStorage1 = new TKvFormStorage(this);
  KvFormStorage1->AppStoragePath = "%FORM_NAME%\\";
  KvFormStorage1->StoredProps << "cxSpinEditAverage.Value";
  KvFormStorage1->OnRestorePlacement = [this] { RestorePlacement(); };
  KvFormStorage1->OnSavePlacement = [this] { SavePlacement(); };
  FormCreate();
}

TFrmDxChart::~TFrmDxChart() {
  FormDestroy();
  if (FrmDxChart == this) FrmDxChart = nullptr;
}

void TFrmDxChart::Log(const QString& msg) {
  KvSysHelper().SysLog_Add(this, "", msg);
}

void TFrmDxChart::BuildTools() {
  cxSpinEditAverage = new QSpinBox(this);
  cxSpinEditAverage->setObjectName("cxSpinEditAverage");
  cxSpinEditAverage->setRange(1, 100);
  cxSpinEditAverage->setValue(1);
  cxSpinEditAverage->setToolTip(
      "Averaging span for the moving average calculation, select 1 to switch off averaging "
      "graph");
  cxComboBoxAvgOf = new QComboBox(this);
  cxComboBoxAvgOf->setObjectName("cxComboBoxAvgOf");
  cxComboBoxAvgOf->setToolTip("Select channel as datasource for the moving average graph");
  cxComboBoxAvgOf->setMinimumContentsLength(12);
  cxButtonShowAxisFull = new QPushButton("Autoscale", this);
  cxButtonShowAxisFull->setObjectName("cxButtonShowAxisFull");
  cxButtonShowAxisFull->setToolTip("Re-Trigger the auto scaling event of the diagram display");
  cxRadioButtonRange = new QRadioButton("Full range", this);
  cxRadioButtonRange->setObjectName("cxRadioButtonRange");
  cxRadioButtonRange->setToolTip("Scale the diagram to full range");
  cxRadioButtonRange->setChecked(true);
  cxGroupValues = new QWidget(this);
  cxGroupValues->setObjectName("cxGroupValues");
  cxRadioButtonValues = new QRadioButton("Value", cxGroupValues);
  cxRadioButtonValues->setObjectName("cxRadioButtonValues");
  cxRadioButtonValues->setToolTip("Scale the diagram to full range with maximum values");
  cxGroupValues->setVisible(false);
  cxRadioButtonInterval = new QRadioButton("Scroll window", this);
  cxRadioButtonInterval->setObjectName("cxRadioButtonInterval");
  cxRadioButtonInterval->setToolTip("Scale the diagram to user defined scroll window ");
  cxTimeEditInterval = new QTimeEdit(QTime(0, 0, 30), this);
  cxTimeEditInterval->setObjectName("cxTimeEditInterval");
  cxTimeEditInterval->setDisplayFormat("HH:mm:ss");
  cxTimeEditInterval->setToolTip("Interval time for user defined scroll window");
  cxCheckComboBoxSelect = new TKvCheckComboBox(this);
  cxCheckComboBoxSelect->setObjectName("cxCheckComboBoxSelect");
  cxCheckComboBoxSelect->setToolTip("Select the combination of displayed measurement channels");
  cxCheckComboBoxSelect->setMaxVisibleItems(22);
  cxCheckComboBoxSelect->setMinimumContentsLength(18);
  cxCheckComboBoxSelect->AddItem("All", "All", TagAll);
  cxCheckComboBoxSelect->AddItem("None", "None", TagNone);
  cxCheckComboBoxSelect->OnClickCheck = [this](int i) {
    return cxCheckComboBoxSelectPropertiesClickCheck(i);
  };

  // The radio buttons share one group; "Value" sits in its own hidden group but belongs to it.
  auto group = new QButtonGroup(this);
  for (QRadioButton* r : {cxRadioButtonRange, cxRadioButtonValues, cxRadioButtonInterval})
    group->addButton(r);
  for (QRadioButton* r : {cxRadioButtonRange, cxRadioButtonValues, cxRadioButtonInterval})
    connect(r, &QRadioButton::toggled, this, [this](bool on) {
      if (on) cxButtonShowAxisFullClick(cxButtonShowAxisFull);
    });
  connect(cxSpinEditAverage, &QSpinBox::valueChanged, this,
          [this] { cxSpinEditAveragePropertiesChange(); });
  connect(cxComboBoxAvgOf, &QComboBox::activated, this,
          [this] { cxSpinEditAveragePropertiesChange(); });
  connect(cxButtonShowAxisFull, &QPushButton::clicked, this,
          [this] { cxButtonShowAxisFullClick(cxButtonShowAxisFull); });
  connect(cxTimeEditInterval, &QTimeEdit::timeChanged, this,
          [this] { cxTimeEditIntervalPropertiesChange(); });
  connect(cxCheckComboBoxSelect, &TKvCheckComboBox::CloseUp, this,
          [this] { Channel_UpdateFromList(); });
}

void TFrmDxChart::BuildChart() {
  DBChart = new QCustomPlot(this);
  FReplots = std::make_unique<TKvRepaintThrottle>(
      this, ReplotMs, [this] { DBChart->replot(QCustomPlot::rpQueuedReplot); });
  DBChart->setObjectName("DBChart");
  DBChart->setBackground(ChartColor);
  DBChart->axisRect()->setBackground(ChartColor);
  DBChart->plotLayout()->setMargins(QMargins(0, 0, 0, 0));
  DBChart->setNoAntialiasingOnDrag(true);
  DBChart->setPlottingHint(QCP::phFastPolylines, true);
  DBChart->setPlottingHint(QCP::phCacheLabels, true);
  DBChart->legend->setVisible(true);
  DBChart->legend->setBrush(Qt::NoBrush);
  DBChart->legend->setBorderPen(Qt::NoPen);
  DBChart->axisRect()->insetLayout()->setInsetAlignment(0, Qt::AlignTop | Qt::AlignRight);
  FTicker = new TKvDateTimeTicker;
  FTicker->setDateTimeSpec(Qt::UTC);
  DBChart->xAxis->setTicker(QSharedPointer<QCPAxisTicker>(FTicker));
  DBChart->xAxis->setTickLabelRotation(90);
  DBChart->xAxis->setLabel("Time");
  DBChart->yAxis->setLabel("Level [dB]");
  DBChart->setSelectionRectMode(QCP::srmZoom);
  DBChart->installEventFilter(this);
  connect(DBChart, &QCustomPlot::beforeReplot, this, [this] {
    for (auto& s : FSeries) s->PrepareDraw();
  });
  FMarks = new TKvChartMarks(DBChart, [this] {
    std::vector<TKvLineSeries*> all;
    for (auto& s : FSeries) all.push_back(s.get());
    return all;
  });

  // Series1: the designed level series that channel 1 takes over.
  FSeries.push_back(std::make_unique<TKvLineSeries>(DBChart));
  TKvLineSeries& s1 = *FSeries.back();
  s1.SetTitle("Level");
  s1.Graph()->setPen(QPen(Series1Color, 1));
  s1.SetPointer(Pointer(QCPScatterStyle::ssCircle, Series1Color));
  s1.OnGetMarkText = [this](TKvLineSeries& s, QString& t) { Series1GetMarkText(s, t); };

  // Zooming with a dragged rectangle keeps a history; the right button steps back in it.
  connect(DBChart, &QCustomPlot::mousePress, this, [this](QMouseEvent* e) {
    FRangesAtPress = {DBChart->xAxis->range(), DBChart->yAxis->range()};
    if (e->button() == Qt::RightButton) ZoomBack();
  });
  connect(DBChart->selectionRect(), &QCPSelectionRect::accepted, this,
          [this](const QRect&, QInputEvent* e) {
            FZoomHistory.push_back(FRangesAtPress);
            if (e && (e->modifiers() & Qt::ControlModifier)) {
              // Zooming with Control zooms in time only: values stay automatic.
              double lo = 0, hi = 0;
              bool any = false;
              for (auto& s : FSeries)
                if (s->Active() && s->Count() > 0) {
                  lo = any ? std::min(lo, s->MinY()) : s->MinY();
                  hi = any ? std::max(hi, s->MaxY()) : s->MaxY();
                  any = true;
                }
              if (any) DBChart->yAxis->setRange(lo - 1, hi + 1);
            }
            Replot();
          });
  connect(DBChart, &QCustomPlot::plottableClick, this, [this](QCPAbstractPlottable* p) {
    for (auto& s : FSeries)
      if (s->Graph() == p) DBChartClickSeries(*s);
  });

  auto tools = new QHBoxLayout;
  tools->setContentsMargins(4, 4, 4, 0);
  tools->addWidget(new QLabel("Select channel[s]", this));
  tools->addWidget(cxCheckComboBoxSelect);
  tools->addSpacing(8);
  tools->addWidget(new QLabel("Moving average", this));
  tools->addWidget(cxSpinEditAverage);
  tools->addWidget(new QLabel("of", this));
  tools->addWidget(cxComboBoxAvgOf);
  tools->addSpacing(8);
  tools->addWidget(cxButtonShowAxisFull);
  tools->addWidget(cxRadioButtonRange);
  tools->addWidget(cxGroupValues);
  tools->addWidget(cxRadioButtonInterval);
  tools->addWidget(cxTimeEditInterval);
  tools->addStretch(1);
  auto layout = new QVBoxLayout(this);
  layout->setContentsMargins(0, 0, 0, 0);
  layout->addLayout(tools);
  layout->addWidget(DBChart, 1);
}

void TFrmDxChart::FormCreate() {
  KvLib_FormStorage_FormCreate(DmKvBasic, KvFormStorage1);
  if (DmKv_COM_Commander) {
    TKvMeasurementTable& table = DmKv_COM_Commander->KvMemTableData;
    FDataSet = &table;
    DmKv_COM_Commander->OnUpdateDataSet = [this](QObject* s) { EvUpdateDataSet(s); };
    table.OnChartUpdateFromDataset = [this](TKvMemTable& ds) { DoChart_UpdateFromDataset(ds); };
    table.OnChartAfterPost = [this](TKvMemTable& ds, bool r) { EvDatasetAfterPost(ds, r); };
    table.OnChartClear = [this] { ClearSeries(); };
  }
  if (DmKvBasic) {
    DmKvBasic->FOnPrintSetupEvent = [this](QObject* s) { EvPrintSetup(s); };
    DmKvBasic->FOnPrintPreviewEvent = [this](QObject* s) { EvPrintPreview(s); };
    DmKvBasic->FOnPrintPrintEvent = [this](QObject* s) { EvPrintPrint(s); };
  }
  if (DmDxPrinting) DmDxPrinting->SetDBChart(DBChart);
}

void TFrmDxChart::FormDestroy() {
  Log("in FormDestroy");
  if (DmKv_COM_Commander) {
    DmKv_COM_Commander->OnUpdateDataSet = nullptr;
    DmKv_COM_Commander->KvMemTableData.OnChartUpdateFromDataset = nullptr;
    DmKv_COM_Commander->KvMemTableData.OnChartAfterPost = nullptr;
    DmKv_COM_Commander->KvMemTableData.OnChartClear = nullptr;
  }
  if (DmKvBasic) {
    DmKvBasic->FOnPrintSetupEvent = nullptr;
    DmKvBasic->FOnPrintPreviewEvent = nullptr;
    DmKvBasic->FOnPrintPrintEvent = nullptr;
  }
  if (DmDxPrinting) DmDxPrinting->SetDBChart(nullptr);
  FDataSet = nullptr;
  KvLib_FormStorage_FormDestroy(KvFormStorage1);
  delete FMarks;
  FMarks = nullptr;
  FLeq.reset();
  FSeries.clear();
}

void TFrmDxChart::RestorePlacement() {
  Log("In RestorePlacement");
  const QString present =
      FormatDateTime("hh:nn:ss", cxTimeEditInterval->time().msecsSinceStartOfDay() / MSecsPerDay);
  TDateTime interval;
  if (TryStrToTime(KvFormStorage1->ReadString("DtInt", present), interval))
    cxTimeEditInterval->setTime(
        QTime::fromMSecsSinceStartOfDay(int(std::lround(interval * MSecsPerDay))));
}

void TFrmDxChart::SavePlacement() {
  Log("In FormPlacement");
  KvFormStorage1->WriteString(
      "DtInt",
      FormatDateTime("hh:nn:ss", cxTimeEditInterval->time().msecsSinceStartOfDay() / MSecsPerDay));
}

void TFrmDxChart::Replot() {
  // A chart on a hidden tab draws nothing; it replots when it is shown again.
  if (!DBChart->isVisible()) {
    FReplotWhenShown = true;
    return;
  }
  FReplots->Request();
}

bool TFrmDxChart::eventFilter(QObject* watched, QEvent* event) {
  if (watched == DBChart && event->type() == QEvent::Show && FReplotWhenShown) {
    FReplotWhenShown = false;
    DBChart->replot(QCustomPlot::rpQueuedReplot);
  }
  return QWidget::eventFilter(watched, event);
}

// ---- channels ----------------------------------------------------------------------------

void TFrmDxChart::Channel_SetupFieldName(const QString& FieldName) {
  FChanFldName = FieldName;
}

void TFrmDxChart::Channel_SetupBottomAxis(const QString& Title, const QString& Format) {
  FTicker->Format = Format;
  DBChart->xAxis->setLabel(Title);
}

void TFrmDxChart::Channel_SetupLeftAxis(const QString& Title) {
  DBChart->yAxis->setLabel(Title);
}

void TFrmDxChart::Channel_Add(int Id, const QString& FieldTitle, const QString&, bool Selected,
                              const QString& ShortText) {
  if (FChanFldName.isEmpty()) FChanFldName = "Chan";
  int i = cxCheckComboBoxSelect->IndexOfTag(Id);
  if (i < 0) i = cxCheckComboBoxSelect->AddItem(FieldTitle, ShortText, Id);
  cxCheckComboBoxSelect->SetDescription(i, FieldTitle, ShortText);
  cxCheckComboBoxSelect->SetChecked(i, Selected);
}

void TFrmDxChart::Channel_CreateFromList() {
  FLeq.reset();
  if (FSeries.size() > 2) FSeries.erase(FSeries.begin() + 2, FSeries.end());
  Channel_UpdateFromList();
}

void TFrmDxChart::ApplySeriesAttributes(TKvLineSeries& s, int index) {
  const int tag = cxCheckComboBoxSelect->Tag(index);
  s.Tag = tag;
  s.SetTitle(cxCheckComboBoxSelect->Description(index));
  const QColor color = s.Graph()->pen().color();
  s.SetPointer(Pointer(QCPScatterStyle::ssCircle, color));
  s.OnGetMarkText = [this](TKvLineSeries& series, QString& t) {
    EvLineSeriesGetMarkText(series, t);
  };
}

void TFrmDxChart::ApplyAverageAttributes(TKvLineSeries& s) {
  s.Tag = TagAverage;
  s.Graph()->setPen(QPen(AverageColor, 3));
  s.SetPointer(Pointer(QCPScatterStyle::ssCircle, AverageColor));
}

void TFrmDxChart::Channel_UpdateFromList() {
  int skipped = 0;
  for (int i = 2; i < cxCheckComboBoxSelect->ItemCount(); ++i) {
    const int target = i + skipped - 2;
    if (target >= SeriesCount()) {
      FSeries.push_back(std::make_unique<TKvLineSeries>(DBChart));
      const QColor c = Palette[size_t(target) % std::size(Palette)];
      FSeries.back()->Graph()->setPen(QPen(c, 1));
    }
    const int at = std::min(target, SeriesCount() - 1);
    TKvLineSeries& s = Series(at);
    const int tag = cxCheckComboBoxSelect->Tag(i);
    if (tag >= 1) {
      if (int(FChannelIds.size()) < tag) FChannelIds.resize(size_t(tag), 0);
      FChannelIds[size_t(tag - 1)] = at;
    }
    const QString description = cxCheckComboBoxSelect->Description(i);
    if (description == "Average") {
      if (!s.Function()) s.SetFunction(std::make_unique<TKvAverageFunction>(s));
      ApplySeriesAttributes(s, i);
      ApplyAverageAttributes(s);
      s.Function()->SetPeriod(cxSpinEditAverage->value());
    } else if (description == KvLeqChannelTitle) {
      if (!FLeq || &FLeq->Target() != &s)
        FLeq = std::make_unique<TKvRunningLeq>(s, SeriesOfChannel(1));
      ApplySeriesAttributes(s, i);
    } else {
      ApplySeriesAttributes(s, i);
    }
    s.SetActive(cxCheckComboBoxSelect->Checked(i));
  }
  cxComboBoxAvgOf->clear();
  for (int i = 2; i < cxCheckComboBoxSelect->ItemCount(); ++i)
    if (cxCheckComboBoxSelect->Checked(i))
      cxComboBoxAvgOf->addItem(cxCheckComboBoxSelect->Description(i),
                               cxCheckComboBoxSelect->Tag(i));
  if (cxComboBoxAvgOf->count() > 0) cxComboBoxAvgOf->setCurrentIndex(0);
  Replot();
}

bool TFrmDxChart::cxCheckComboBoxSelectPropertiesClickCheck(int index) {
  const int tag = cxCheckComboBoxSelect->Tag(index);
  if (tag != TagAll && tag != TagNone) return true;
  for (int i = 2; i < cxCheckComboBoxSelect->ItemCount(); ++i)
    cxCheckComboBoxSelect->SetChecked(i, tag == TagAll);
  cxCheckComboBoxSelect->update();
  return false;  // "All" and "None" never stay checked themselves
}

TKvLineSeries* TFrmDxChart::SeriesOfChannel(int id) const {
  if (id < 1 || id > int(FChannelIds.size())) return nullptr;
  const int at = FChannelIds[size_t(id - 1)];
  return at >= 0 && at < SeriesCount() ? &Series(at) : nullptr;
}

TKvLineSeries* TFrmDxChart::AverageSeries() const {
  for (auto& s : FSeries)
    if (s->Function()) return s.get();
  return nullptr;
}

// ---- average -----------------------------------------------------------------------------

void TFrmDxChart::cxSpinEditAveragePropertiesChange() {
  if (FSeries.empty()) return;
  const int n = cxSpinEditAverage->value();
  // The Leq line is no average: the series before it stands in the average's place.
  auto slot = FSeries.rbegin();
  if (FLeq && slot->get() == &FLeq->Target() && FSeries.size() > 1) ++slot;
  TKvLineSeries& last = **slot;
  if (n <= 1) {
    last.SetActive(false);
    Replot();
    return;
  }
  last.SetActive(true);
  TKvLineSeries* average = AverageSeries();
  if (!average) return Replot();
  TKvAverageFunction& function = *average->Function();
  function.SetPeriod(n);
  int position = 0;
  const int chosen = cxComboBoxAvgOf->currentIndex();
  if (chosen >= 0 && chosen < cxComboBoxAvgOf->count()) {
    const int id = cxComboBoxAvgOf->itemData(chosen).toInt();
    // The list is looked up at the id itself, which names the series one before; the
    // average chosen as its own source lies beyond the list and gets no source.
    if (id >= 0 && id < int(FChannelIds.size())) position = FChannelIds[size_t(id)];
  }
  TKvLineSeries* source =
      position - 1 >= 0 && position - 1 < SeriesCount() ? &Series(position - 1) : nullptr;
  if (source == average) source = nullptr;
  // Every autoscale passes here: only a real change of source counts the average again.
  if (function.Source() != source) function.SetSource(source);
  average->Graph()->setPen(QPen(average->Graph()->pen().color(), 5));
  average->SetTitle(QString("Average %1 of %2").arg(n).arg(source ? source->Title() : QString()));
  average->SetPointer(Pointer(QCPScatterStyle::ssTriangle, average->Graph()->pen().color()));
  average->OnGetMarkText = [this](TKvLineSeries& s, QString& t) { EvLineSeriesGetMarkText(s, t); };
  Replot();
}

// ---- points ------------------------------------------------------------------------------

void TFrmDxChart::EvDatasetAfterPost(TKvMemTable& DataSet, bool bRange) {
  const TKvField* date = DataSet.FindField("Date");
  const TKvField* time = DataSet.FindField("Time");
  const TKvField* y = DataSet.FindField("Y");
  if (!date || !time || !y) return;
  const double x =
      std::trunc(date->AsDateTime()) + (time->AsDateTime() - std::trunc(time->AsDateTime()));
  int channel = 1;
  if (const TKvField* chan = DataSet.FindField(FChanFldName))
    channel = std::max(1, chan->AsInteger());
  TKvLineSeries* series = SeriesOfChannel(channel);
  if (!series) return;
  const double level = y->IsNull() ? qQNaN() : y->AsFloat();
  if (!std::isfinite(level)) {
    series->AddNull(x);
    bPos = true;
  } else {
    QString label = " ";
    if (bPos && channel + 1 < cxCheckComboBoxSelect->ItemCount()) {
      label = cxCheckComboBoxSelect->Description(channel + 1);
      ++iPos;
    }
    bPos = false;
    series->AddXY(x, level, label);
    if (FLeq && channel == 1) FLeq->PointAdded(x, level);
    if (bRange) {
      const TKvField* lo = DataSet.FindField("RangeMin");
      const TKvField* hi = DataSet.FindField("RangeMax");
      if (cxCheckComboBoxSelect->ItemCount() > 3 && cxCheckComboBoxSelect->Checked(3) && lo)
        if (TKvLineSeries* s = SeriesOfChannel(channel + 1)) s->AddXY(x, lo->AsFloat(), " ");
      if (cxCheckComboBoxSelect->ItemCount() > 4 && cxCheckComboBoxSelect->Checked(4) && hi)
        if (TKvLineSeries* s = SeriesOfChannel(channel + 2)) s->AddXY(x, hi->AsFloat(), " ");
    }
  }
  if (!DataSet.ControlsDisabled()) DoChart_Autoscale();
}

void TFrmDxChart::DoChart_UpdateFromDataset(TKvMemTable& DataSet) {
  if (FSeries.empty()) return;
  KvSysHelper().Cursor_AddWait();
  DataSet.DisableControls();
  for (auto& s : FSeries) s->Clear();
  const TPointColumns cols(DataSet, FChanFldName);
  const TKvDatSTable* table = DataSet.Table();
  const int count = DataSet.Active() && table ? DataSet.RecordCount() : 0;
  // Points per channel, read straight from the stored cells.
  const size_t seriesCount = FSeries.size();
  std::vector<std::vector<double>> keys(seriesCount), values(seriesCount);
  std::vector<std::vector<TKvLineSeries::TMark>> marks(seriesCount);
  std::vector<int> direction(seriesCount, 0);  // 1 rising, -1 falling, 2 mixed
  bool run = true;
  int runCount = 1;
  for (int i = 0; i < count; ++i) {
    const uint8_t* row = table->RowData(DataSet.RowHandle(i));
    bool nd, nt, ny, nc;
    const double day = KvCell_AsDouble(*table, row, cols.Date, nd);
    const double ms = KvCell_AsDouble(*table, row, cols.Time, nt);
    const double level = KvCell_AsDouble(*table, row, cols.Y, ny);
    const double x = (nd ? 0 : day - KvDateDelta) + (nt ? 0 : ms / MSecsPerDay);
    int channel = 1;
    if (cols.Chan >= 0) channel = std::max(1, int(KvCell_AsDouble(*table, row, cols.Chan, nc)));
    if (channel > int(FChannelIds.size())) continue;
    const size_t at = size_t(FChannelIds[size_t(channel - 1)]);
    const double key = KvChart_Key(x);
    if (at >= keys.size()) continue;
    auto& list = keys[at];
    if (!list.empty() && direction[at] != 2) {
      const int step = key > list.back() ? 1 : (key < list.back() ? -1 : 0);
      if (step != 0) direction[at] = direction[at] == 0 || direction[at] == step ? step : 2;
    }
    list.push_back(key);
    if (ny || !std::isfinite(level)) {
      values[at].push_back(qQNaN());
      run = true;
      continue;
    }
    if (run && channel + 1 < cxCheckComboBoxSelect->ItemCount()) {
      marks[at].push_back({key, level, cxCheckComboBoxSelect->Description(channel + 1)});
      ++runCount;
    }
    run = false;
    values[at].push_back(level);
  }
  for (size_t i = 0; i < keys.size(); ++i) {
    if (keys[i].empty()) continue;
    if (direction[i] == -1) {
      // The table's newest-first order: the same points, turned round.
      std::reverse(keys[i].begin(), keys[i].end());
      std::reverse(values[i].begin(), values[i].end());
    }
    Series(int(i)).SetPoints(std::move(keys[i]), std::move(values[i]), std::move(marks[i]));
  }
  if (FLeq) FLeq->Recalculate(SeriesOfChannel(1));
  DataSet.EnableControls();
  DoChart_Autoscale();
  KvSysHelper().Cursor_ReleaseOne();
}

void TFrmDxChart::ClearSeries() {
  for (auto& s : FSeries) s->Clear();
  if (FLeq) FLeq->Recalculate(nullptr);
  Replot();
}

void TFrmDxChart::RefreshData() {
  for (auto& s : FSeries)
    if (s->Function()) s->Function()->Recalculate();
  Replot();
}

// ---- marks -------------------------------------------------------------------------------

void TFrmDxChart::EvLineSeriesGetMarkText(TKvLineSeries& Sender, QString& MarkText) {
  if (Sender.Tag == TagAverage || MarkText == " ") MarkText.clear();
}

void TFrmDxChart::Series1GetMarkText(TKvLineSeries&, QString& MarkText) {
  if (MarkText == " ") MarkText.clear();
}

void TFrmDxChart::DBChartClickSeries(TKvLineSeries& series) {
  QPen pen = series.Graph()->pen();
  pen.setWidth(3);
  series.Graph()->setPen(pen);
  Replot();
}

// ---- scaling and zoom --------------------------------------------------------------------

void TFrmDxChart::OverallXRange(double& minX, double& maxX) const {
  minX = FSeries.empty() ? 0 : Series(0).MinX();
  maxX = FSeries.empty() ? 0 : Series(0).MaxX();
  for (int i = 1; i < SeriesCount(); ++i) {
    const TKvLineSeries& s = Series(i);
    if (s.MinX() != 0 && s.MaxX() != 0) {
      minX = std::min(minX, s.MinX());
      maxX = std::max(maxX, s.MaxX());
    }
  }
}

void TFrmDxChart::DoChart_Autoscale() {
  cxButtonShowAxisFullClick(nullptr);
}

void TFrmDxChart::cxButtonShowAxisFullClick(QObject* Sender) {
  if (FSeries.empty()) return;
  if (Sender) FZoomHistory.clear();
  double minX, maxX;
  OverallXRange(minX, maxX);
  // Automatic axes span the points of the series shown.
  bool any = false;
  double lo = 0, hi = 0, left = 0, right = 0;
  for (auto& s : FSeries) {
    if (!s->Active() || s->Count() == 0 || (s->MinX() == 0 && s->MaxX() == 0)) continue;
    lo = any ? std::min(lo, s->MinY()) : s->MinY();
    hi = any ? std::max(hi, s->MaxY()) : s->MaxY();
    left = any ? std::min(left, s->MinX()) : s->MinX();
    right = any ? std::max(right, s->MaxX()) : s->MaxX();
    any = true;
  }
  auto setY = [this](double a, double b) {
    if (a == b) a -= 1, b += 1;
    const double pad = (b - a) * 0.05;
    DBChart->yAxis->setRange(a - pad, b + pad);
  };
  auto setX = [this](double a, double b) {
    if (a == b) a -= 1.0 / 86400, b += 1.0 / 86400;
    DBChart->xAxis->setRange(KvChart_Key(a), KvChart_Key(b));
  };
  if (cxRadioButtonValues->isChecked()) {
    setX(minX, maxX);
    setY(Series(0).MinY(), Series(0).MaxY());
  } else {
    if (any) {
      setY(lo, hi);
      setX(left, right);
    }
    if (cxRadioButtonInterval->isChecked()) ScrollWindow(maxX);
  }
  cxSpinEditAveragePropertiesChange();
  Replot();
}

void TFrmDxChart::ScrollWindow(double maxX) {
  const QTime t = cxTimeEditInterval->time();
  double seconds = QTime(0, 0).secsTo(QTime(t.hour(), t.minute(), t.second()));
  if (seconds < MinScrollSeconds) seconds = MinScrollSeconds;
  DBChart->xAxis->setRange(KvChart_Key(maxX - seconds / 86400.0), KvChart_Key(maxX));
}

void TFrmDxChart::cxTimeEditIntervalPropertiesChange() {
  cxButtonShowAxisFull->click();
}

void TFrmDxChart::ZoomTo(double fromX, double toX, double fromY, double toY, bool withControl) {
  FZoomHistory.push_back({DBChart->xAxis->range(), DBChart->yAxis->range()});
  DBChart->xAxis->setRange(KvChart_Key(fromX), KvChart_Key(toX));
  if (!withControl) DBChart->yAxis->setRange(fromY, toY);
  Replot();
}

void TFrmDxChart::ZoomBack() {
  if (FZoomHistory.empty()) return;
  DBChart->xAxis->setRange(FZoomHistory.back().first);
  DBChart->yAxis->setRange(FZoomHistory.back().second);
  FZoomHistory.pop_back();
  Replot();
}

// ---- commander and printing --------------------------------------------------------------

void TFrmDxChart::EvUpdateDataSet(QObject*) {
  FZoomHistory.clear();
  if (!DmKv_COM_Commander || !DmKv_COM_Commander->AllowUpdateDS() ||
      !DmKv_COM_Commander->KvMemTableData.Active())
    return;
  RefreshData();
  cxButtonShowAxisFull->click();
  if (DmKvBasic) DmKvBasic->UpdateMainForm_Caption();
}

void TFrmDxChart::PrintWith(void (TKvReportPrinting::*operation)(int)) {
  if (!DmDxPrinting) return;
  const QString name = DmKvBasic ? DmKvBasic->File_ActName() : QString();
  const QFileInfo file(name);
  DmDxPrinting->SetPdfFileName(file.path() + "/" + file.completeBaseName() + ".pdf");
  const int link = DmDxPrinting->CurrentLinkIndex();
  if (link == 1 || link == 2) DmDxPrinting->SetPrintTitle(file.fileName());
  (DmDxPrinting->*operation)(0);
  DBChart->replot();
}

void TFrmDxChart::EvPrintSetup(QObject*) {
  if (DmDxPrinting) DmDxPrinting->PrinterSetup(0);
}

void TFrmDxChart::EvPrintPreview(QObject*) {
  PrintWith(&TKvReportPrinting::PrintPreview);
}

void TFrmDxChart::EvPrintPrint(QObject*) {
  PrintWith(&TKvReportPrinting::PrintPrint);
}
