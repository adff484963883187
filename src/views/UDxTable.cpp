#include "UDxTable.h"

#include <QAction>
#include <QComboBox>
#include <QDialog>
#include <QDialogButtonBox>
#include <QFormLayout>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QMenu>
#include <QPushButton>
#include <QToolButton>
#include <QVBoxLayout>
#include <cmath>

#include "KvDialogs.h"
#include "KvFormStorage.h"
#include "KvGridParts.h"
#include "KvGridView.h"
#include "KvLib.h"
#include "KvLocale.h"
#include "KvMemTableModel.h"
#include "KvStatisticsStrip.h"
#include "KvSys_Helper.h"
#include "UDmKvBasic.h"
#include "UDmKv_COM_Commander.h"

namespace {
const char* const ClearQuestion = "Do you really want to clear the complete table data ?";

std::vector<TKvGridColumn> GridColumns() {
  return {{"cxGridTableDBTableView2Date", "Date", "", -1},
          {"cxGridTableDBTableView2Time", "Time", "", -1},
          {"cxGridTableDBTableView2Y", "Y", "Level [dB]", -1},
          {"cxGridTableDBTableView2Underflow", "Underflow", "", 70},
          {"cxGridTableDBTableView2Overflow", "Overflow", "", 65},
          {"cxGridTableDBTableView2Freq", "Freq", "Freq set", 61},
          {"cxGridTableDBTableView2sTime", "sTime", "Time set", 59},
          {"cxGridTableDBTableView2RangeMin", "RangeMin", "", -1},
          {"cxGridTableDBTableView2RangeMax", "RangeMax", "", -1}};
}

// Calculated columns filter on the stored value they are calculated from.
struct TKvCalcChoice {
  const char* Field;
  const char* Source;
  const char* Text;
  int Value;
};
const TKvCalcChoice CalcChoices[] = {{"Freq", "AC", "A", 1},
                                     {"Freq", "AC", "C", 2},
                                     {"sTime", "TI", "SLOW", 1},
                                     {"sTime", "TI", "FAST", 2}};

// Two decimals: a mean of readings with one decimal needs no more.
QString AverageText(double v) {
  return KvFormatFloat("%.2f", v);
}
}  // namespace

TFrmDxTable::TFrmDxTable(QWidget* parent) : QWidget(parent) {
  setObjectName("FrmDxTable");
  Log("In Create");

  ActionTableClear = new QAction("Clear table", this);
  ActionTableClear->setObjectName("ActionTableClear");
  ActionTableClear->setToolTip("Clears the complete table memory");
  ActionTableClear->setStatusTip("Clears the complete table memory");
  connect(ActionTableClear, &QAction::triggered, this, [this] { ActionTableClearExecute(); });

  cxButtonClear = new QPushButton(ActionTableClear->text(), this);
  cxButtonClear->setObjectName("cxButtonClear");
  cxButtonClear->setToolTip(ActionTableClear->toolTip());
  cxButtonClear->setFixedSize(98, 33);
  connect(cxButtonClear, &QPushButton::clicked, ActionTableClear, &QAction::trigger);
  connect(ActionTableClear, &QAction::changed, this,
          [this] { cxButtonClear->setEnabled(ActionTableClear->isEnabled()); });
  cxButton1 = new QPushButton("Refresh", this);
  cxButton1->setObjectName("cxButton1");
  cxButton1->setFixedSize(98, 33);
  connect(cxButton1, &QPushButton::clicked, this, [this] { cxButton1Click(); });

  KvFormStorage1 = new TKvFormStorage(this);
  KvFormStorage1->AppStoragePath = "%FORM_NAME%\\";
  KvFormStorage1->OnRestorePlacement = [this] { Log("In RestorePlacement"); };
  KvFormStorage1->OnSavePlacement = [this] { Log("In FormPlacement"); };

  FormCreate();
}

TFrmDxTable::~TFrmDxTable() {
  FormDestroy();
  if (FrmDxTable == this) FrmDxTable = nullptr;
}

void TFrmDxTable::Log(const QString& msg) {
  KvSysHelper().SysLog_Add(this, "", msg);
}

void TFrmDxTable::FormCreate() {
  KvLib_FormStorage_FormCreate(DmKvBasic, KvFormStorage1);
  if (DmKv_COM_Commander) FDataSet = &DmKv_COM_Commander->KvMemTableData;
  BuildGrid();
  ActionTableClearUpdate();
}

void TFrmDxTable::FormDestroy() {
  Log("in FormDestroy");
  // Unbinding gives the table back without this panel's filter.
  if (FDataSet && !FFilter.IsEmpty()) FDataSet->SetFilter({});
  delete DataSourceTable;
  DataSourceTable = nullptr;
  FDataSet = nullptr;
  KvLib_FormStorage_FormDestroy(KvFormStorage1);
}

void TFrmDxTable::BuildGrid() {
  auto layout = new QVBoxLayout(this);
  layout->setContentsMargins(0, 0, 0, 0);
  layout->setSpacing(2);
  auto buttons = new QHBoxLayout;
  buttons->setContentsMargins(4, 4, 4, 0);
  buttons->addWidget(cxButtonClear);
  buttons->addWidget(cxButton1);
  buttons->addStretch(1);
  layout->addLayout(buttons);

  cxGridTableDBTableView2 = new TKvGridView(this);
  cxGridTableDBTableView2->setObjectName("cxGridTableDBTableView2");
  cxGridTableDBTableView2->setSelectionMode(QAbstractItemView::SingleSelection);
  cxGridTableDBTableView2->setEditTriggers(QAbstractItemView::NoEditTriggers);
  cxGridTableDBTableView2->setAlternatingRowColors(true);
  layout->addWidget(cxGridTableDBTableView2, 1);

  DataSourceTable = nullptr;
  if (FDataSet) {
    DataSourceTable = new TKvMemTableModel(*FDataSet, GridColumns(), this);
    DataSourceTable->setObjectName("DataSourceTable");
    cxGridTableDBTableView2->setModel(DataSourceTable);
    for (int c = 0; c < DataSourceTable->columnCount(); ++c)
      if (DataSourceTable->Column(c).Width > 0)
        cxGridTableDBTableView2->setColumnWidth(c, DataSourceTable->Column(c).Width);
    connect(DataSourceTable, &TKvMemTableModel::RowsChanged, this,
            [this](int event, int position) { RowsChanged(event, position); });
    connect(cxGridTableDBTableView2->selectionModel(), &QItemSelectionModel::currentRowChanged,
            this, [this](const QModelIndex& current) { CurrentRowChanged(current.row()); });
  }
  QHeaderView* header = cxGridTableDBTableView2->horizontalHeader();
  header->setSectionsClickable(true);
  header->setHighlightSections(false);
  header->setToolTip("Click a column header to filter by its values");
  connect(header, &QHeaderView::sectionClicked, this, [this](int s) { HeaderClicked(s); });

  Footer = new TKvGridFooter(header, this);
  Footer->setObjectName("Footer");
  layout->addWidget(Footer);
  if (DataSourceTable) {
    StatisticsStrip = new TKvStatisticsStrip(*FDataSet, *DataSourceTable, this);
    StatisticsStrip->setObjectName("StatisticsStrip");
    layout->addWidget(StatisticsStrip);
  }

  auto filterRow = new QHBoxLayout;
  filterRow->setContentsMargins(4, 0, 4, 0);
  FilterBarClear = new QToolButton(this);
  FilterBarClear->setText("\u2715");
  FilterBarClear->setToolTip("Clear the filter");
  FilterBarClear->setAutoRaise(true);
  connect(FilterBarClear, &QToolButton::clicked, this, [this] { ClearFilter(); });
  FilterBar = new QLabel(this);
  FilterBar->setObjectName("FilterBar");
  filterRow->addWidget(FilterBarClear);
  filterRow->addWidget(FilterBar, 1);
  layout->addLayout(filterRow);
  FilterBar->setVisible(false);
  FilterBarClear->setVisible(false);

  Navigator = new TKvGridNavigator(this);
  Navigator->setObjectName("Navigator");
  connect(Navigator, &TKvGridNavigator::Moved, this, [this](TKvGridNavigator::TMove move) {
    if (!FDataSet || !FDataSet->Active()) return;
    const int page = cxGridTableDBTableView2->PageRows();
    const int at = FDataSet->RecNo(), count = FDataSet->RecordCount();
    const int target[] = {0, at - page, at - 1, at + 1, at + page, count - 1};
    FDataSet->SetRecNo(target[move]);
    FollowCursor();
  });
  layout->addWidget(Navigator);
  RecountAverage();
  FollowCursor();
}

// ---- readings and the update lock --------------------------------------------------------

void TFrmDxTable::BeginUpdate() {
  ++FUpdateCount;
}

void TFrmDxTable::EndUpdate() {
  if (FUpdateCount == 0 || --FUpdateCount > 0) return;
  if (FAverageStale) RecountAverage();
  FollowCursor();
}

void TFrmDxTable::AddData(const TKvUniqueData& Data) {
  if (!DmKv_COM_Commander) return;
  BeginUpdate();
  try {
    DmKv_COM_Commander->AddData(Data);
  } catch (...) {
    EndUpdate();
    throw;
  }
  EndUpdate();
}

void TFrmDxTable::RowsChanged(int event, int position) {
  switch (TKvDataEvent(event)) {
    case TKvDataEvent::deRecordInserted:
      AddToAverage(position);
      break;
    default:
      // A removed row's level is gone with it: count again, once per update.
      FAverageStale = true;
      if (FUpdateCount == 0) RecountAverage();
  }
  ActionTableClearUpdate();
  if (FUpdateCount == 0) FollowCursor();
}

// ---- footer average ----------------------------------------------------------------------

void TFrmDxTable::AddToAverage(int position) {
  TKvField* y = FDataSet ? FDataSet->FindField("Y") : nullptr;
  if (!y) return;
  FDataSet->PeekRecord(position, [&] {
    if (y->IsNull()) return;
    const double v = y->AsFloat();
    if (!std::isfinite(v)) return;
    FLevelSum += v;
    ++FLevelCount;
  });
  Footer->SetText(DataSourceTable->ColumnOfField("Y"), FooterText());
}

void TFrmDxTable::RecountAverage() {
  FAverageStale = false;
  FLevelSum = 0;
  FLevelCount = 0;
  TKvField* y = FDataSet ? FDataSet->FindField("Y") : nullptr;
  if (y && FDataSet->Active()) {
    const int column = y->Column();
    const TKvDatSTable& table = *FDataSet->Table();
    // Straight over the stored cells: a million rows in a few milliseconds.
    const int count = FDataSet->RecordCount();
    for (int i = 0; i < count; ++i) {
      bool isNull;
      const double v =
          KvCell_AsDouble(table, table.RowData(FDataSet->RowHandle(i)), column, isNull);
      if (isNull || !std::isfinite(v)) continue;
      FLevelSum += v;
      ++FLevelCount;
    }
  }
  if (DataSourceTable) Footer->SetText(DataSourceTable->ColumnOfField("Y"), FooterText());
}

bool TFrmDxTable::LevelAverage(double& average) const {
  if (FLevelCount == 0) return false;
  average = FLevelSum / double(FLevelCount);
  return true;
}

QString TFrmDxTable::FooterText() const {
  double average;
  return LevelAverage(average) ? AverageText(average) : QString();
}

QString TFrmDxTable::NavigatorText() const {
  return Navigator->InfoText();
}

// ---- cursor ------------------------------------------------------------------------------

void TFrmDxTable::FollowCursor() {
  if (!FDataSet || !DataSourceTable) return;
  const int recNo = FDataSet->Active() ? FDataSet->RecNo() : -1;
  const int count = FDataSet->RecordCount();
  Navigator->SetInfo(recNo, count);
  if (recNo < 0 || recNo >= DataSourceTable->rowCount()) return;
  FFollowing = true;
  const QModelIndex index = DataSourceTable->index(recNo, 0);
  cxGridTableDBTableView2->selectionModel()->setCurrentIndex(
      index, QItemSelectionModel::ClearAndSelect | QItemSelectionModel::Rows);
  cxGridTableDBTableView2->scrollTo(index);
  FFollowing = false;
}

void TFrmDxTable::CurrentRowChanged(int row) {
  if (FFollowing || !FDataSet || row < 0) return;
  FDataSet->SetRecNo(row);
  Navigator->SetInfo(FDataSet->RecNo(), FDataSet->RecordCount());
}

// ---- clearing and refreshing -------------------------------------------------------------

void TFrmDxTable::ActionTableClearUpdate() {
  ActionTableClear->setEnabled(FDataSet && FDataSet->Active() && FDataSet->RecordCount() > 0);
}

void TFrmDxTable::ActionTableClearExecute() {
  const int answer = MessageDlg(ClearQuestion, TMsgDlgType::mtWarning, mbYes | mbNo);
  if (answer != mrYes || !FDataSet) return;
  KvSysHelper().Cursor_AddWait();
  BeginUpdate();
  FDataSet->DisableControls();
  while (FDataSet->RecordCount() > 0) {
    FDataSet->First();
    FDataSet->Delete();
  }
  FDataSet->EnableControls();
  EndUpdate();
  // Closing empties the whole table; rows that the filter hides are not the user's to lose
  // here, so with a filter the cursor is only read again.
  if (FFilter.IsEmpty()) {
    FDataSet->Close();
    FDataSet->Open();
  } else {
    FDataSet->Refresh();
  }
  if (DmKv_COM_Commander) DmKv_COM_Commander->UpdateDataSet();
  if (DmKvBasic) DmKvBasic->SetIsFileLoaded(false);
  if (FrmDxChart) FrmDxChart->ClearSeries();
  KvSysHelper().Cursor_ReleaseOne();
  ActionTableClearUpdate();
}

void TFrmDxTable::cxButton1Click() {
  if (!DmKv_COM_Commander) return;
  TKvMemTable& table = DmKv_COM_Commander->KvMemTableData;
  table.Refresh();
  if (FrmDxChart) {
    FrmDxChart->RefreshData();
    FrmDxChart->DoChart_UpdateFromDataset(table);
  }
}

// ---- filter ------------------------------------------------------------------------------

void TFrmDxTable::ApplyFilter() {
  if (!FDataSet) return;
  KvSysHelper().Cursor_AddWait();
  FDataSet->SetFilter(FFilter.Predicate(*FDataSet));
  for (int c = 0; c < DataSourceTable->columnCount(); ++c) {
    const QString& field = DataSourceTable->Column(c).Field;
    bool filtered = FFilter.Has(field);
    for (const TKvCalcChoice& choice : CalcChoices)
      if (field == choice.Field && FFilter.Has(choice.Source)) filtered = true;
    DataSourceTable->SetColumnFiltered(c, filtered);
  }
  FilterBar->setText(FFilter.Text());
  FilterBar->setVisible(!FFilter.IsEmpty());
  FilterBarClear->setVisible(!FFilter.IsEmpty());
  cxGridTableDBTableView2DataControllerFilterChanged();
  KvSysHelper().Cursor_ReleaseOne();
}

void TFrmDxTable::SetColumnFilter(const QString& field, const TKvFilterCondition& condition) {
  FFilter.Set(field, condition);
  ApplyFilter();
}

void TFrmDxTable::ClearColumnFilter(const QString& field) {
  FFilter.Clear(field);
  ApplyFilter();
}

void TFrmDxTable::ClearFilter() {
  FFilter.ClearAll();
  ApplyFilter();
}

void TFrmDxTable::cxGridTableDBTableView2DataControllerFilterChanged() {
  if (FrmDxChart && FDataSet) FrmDxChart->DoChart_UpdateFromDataset(*FDataSet);
}

void TFrmDxTable::HeaderClicked(int section) {
  if (!DataSourceTable || section < 0) return;
  const QString field = DataSourceTable->Column(section).Field;
  TKvField* f = DataSourceTable->ColumnField(section);
  if (!f) return;
  QMenu menu(this);
  menu.addAction("(All)", this, [this, field] {
    FFilter.Clear(field);
    for (const TKvCalcChoice& choice : CalcChoices)
      if (field == choice.Field) FFilter.Clear(choice.Source);
    ApplyFilter();
  });
  if (f->FieldKind == TKvFieldKind::fkCalculated) {
    for (const TKvCalcChoice& choice : CalcChoices) {
      if (field != choice.Field) continue;
      menu.addAction(choice.Text, this, [this, choice] {
        SetColumnFilter(choice.Source,
                        {TKvFilterOp::Equal, double(choice.Value), QString::number(choice.Value)});
      });
    }
  } else {
    menu.addAction("(Custom...)", this, [this, section] { AskCustomFilter(section); });
    menu.addAction("(Blanks)", this, [this, field] {
      SetColumnFilter(field, {TKvFilterOp::Blank, 0, {}});
    });
    menu.addAction("(NonBlanks)", this, [this, field] {
      SetColumnFilter(field, {TKvFilterOp::NonBlank, 0, {}});
    });
    if (f->DataType == TKvFieldType::ftBoolean) {
      menu.addAction("Checked", this, [this, field] {
        SetColumnFilter(field, {TKvFilterOp::Equal, 1, "True"});
      });
      menu.addAction("Unchecked", this, [this, field] {
        SetColumnFilter(field, {TKvFilterOp::Equal, 0, "False"});
      });
    }
  }
  QHeaderView* header = cxGridTableDBTableView2->horizontalHeader();
  menu.exec(
      header->mapToGlobal(QPoint(header->sectionViewportPosition(section), header->height())));
}

void TFrmDxTable::AskCustomFilter(int column) {
  TKvField* f = DataSourceTable->ColumnField(column);
  const QString caption =
      DataSourceTable->headerData(column, Qt::Horizontal, Qt::DisplayRole).toString();
  QDialog dialog(this);
  dialog.setWindowTitle("Custom Filter");
  auto form = new QFormLayout(&dialog);
  auto op = new QComboBox(&dialog);
  const TKvFilterOp ops[] = {TKvFilterOp::Equal,   TKvFilterOp::NotEqual,
                             TKvFilterOp::Less,    TKvFilterOp::LessOrEqual,
                             TKvFilterOp::Greater, TKvFilterOp::GreaterOrEqual};
  for (TKvFilterOp o : ops) op->addItem(TKvColumnFilter::OpText(o), int(o));
  auto value = new QLineEdit(&dialog);
  auto error = new QLabel(&dialog);
  form->addRow(QString("Show rows where %1").arg(caption), op);
  form->addRow("Value:", value);
  form->addRow(error);
  auto box = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel, &dialog);
  form->addRow(box);
  double parsed = 0;
  connect(box, &QDialogButtonBox::accepted, &dialog, [&] {
    if (TKvColumnFilter::ParseValue(*f, value->text(), parsed))
      dialog.accept();
    else
      error->setText(QString("'%1' is not a valid value").arg(value->text()));
  });
  connect(box, &QDialogButtonBox::rejected, &dialog, &QDialog::reject);
  if (dialog.exec() != QDialog::Accepted) return;
  SetColumnFilter(f->FieldName,
                  {TKvFilterOp(op->currentData().toInt()), parsed, value->text().trimmed()});
}
