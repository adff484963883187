#include "KvMeasurementTable.h"

const QString TKvMeasurementTable::IndexAscName = QStringLiteral("KvMemTableDataIndex_DT_ASC");
const QString TKvMeasurementTable::IndexDescName = QStringLiteral("KvMemTableDataIndex_DT_DESC");

TKvMeasurementTable::TKvMeasurementTable() : TKvMemTable(QStringLiteral("KvMemTableData")) {
  using FT = TKvFieldType;
  const auto calc = TKvFieldKind::fkCalculated;
  FRecId = &AddField(QStringLiteral("RecId"), FT::ftInteger);
  FDate = &AddField(QStringLiteral("Date"), FT::ftDate);
  FTime = &AddField(QStringLiteral("Time"), FT::ftTime);
  FY = &AddField(QStringLiteral("Y"), FT::ftFloat);
  FUnderflow = &AddField(QStringLiteral("Underflow"), FT::ftBoolean);
  FOverflow = &AddField(QStringLiteral("Overflow"), FT::ftBoolean);
  FAC = &AddField(QStringLiteral("AC"), FT::ftInteger);
  FTI = &AddField(QStringLiteral("TI"), FT::ftInteger);
  FFreq = &AddField(QStringLiteral("Freq"), FT::ftString, calc, 20);
  FsTime = &AddField(QStringLiteral("sTime"), FT::ftString, calc, 20);
  FRangeMin = &AddField(QStringLiteral("RangeMin"), FT::ftSmallint);
  FRangeMax = &AddField(QStringLiteral("RangeMax"), FT::ftSmallint);
  for (TKvField* f : {FDate, FTime, FFreq, FsTime, FRangeMin, FRangeMax})
    f->Alignment = TAlignment::taCenter;

  IndexDefs = {{IndexAscName, QStringLiteral("Date;Time"), false},
               {IndexDescName, QStringLiteral("Date;Time"), true}};
  SetIndexName(IndexDescName);
  ResourceOptions.SilentMode = true;
  UpdateOptions.CheckRequired = false;
  StoreDefs = true;
  CachedUpdates = false;

  AfterOpen = [this](TKvMemTable& d) { KvMemTableDataAfterOpen(d); };
  AfterRefresh = [this](TKvMemTable& d) { KvMemTableDataAfterRefresh(d); };
  AfterPost = [this](TKvMemTable& d) { KvMemTableDataAfterPost(d); };
  BeforeClose = [this](TKvMemTable& d) { KvMemTableDataBeforeClose(d); };
  AfterDelete = [this](TKvMemTable& d) { KvMemTableDataAfterDelete(d); };
  OnCalcFields = [this](TKvMemTable& d) { KvMemTableDataCalcFields(d); };
}

void TKvMeasurementTable::PostReading(const TKvReadingValues& r) {
  if (!Active()) Open();
  Append();
  FDate->SetAsDateTime(r.dtDate);
  FTime->SetAsDateTime(r.dtTime);
  FY->SetAsFloat(r.dVal);
  FUnderflow->SetAsBoolean(r.bUnder);
  FOverflow->SetAsBoolean(r.bOver);
  FRangeMin->SetAsFloat(r.dLo);
  FRangeMax->SetAsFloat(r.dHi);
  FAC->SetAsInteger(r.bA ? 1 : (r.bC ? 2 : 0));
  FTI->SetAsInteger(r.bSlow ? 1 : (r.bFast ? 2 : 0));
  Post();
  First();
}

void TKvMeasurementTable::KvMemTableDataAfterOpen(TKvMemTable& dataSet) {
  if (OnUpdateDataSet) OnUpdateDataSet();
  if (OnChartUpdateFromDataset) OnChartUpdateFromDataset(dataSet);
}

void TKvMeasurementTable::KvMemTableDataAfterRefresh(TKvMemTable& dataSet) {
  if (OnChartUpdateFromDataset) OnChartUpdateFromDataset(dataSet);
}

void TKvMeasurementTable::KvMemTableDataAfterPost(TKvMemTable& dataSet) {
  // Asks the earlier design's table, whose count stays zero: the chart call runs alone.
  if (ClientDataSetTable_ChangeCount() > 0 && OnSetModified) OnSetModified();
  if (OnChartAfterPost) OnChartAfterPost(dataSet, true);
}

void TKvMeasurementTable::KvMemTableDataBeforeClose(TKvMemTable&) {
  if (ClientDataSetTable_ChangeCount() > 0 && OnSetModified) OnSetModified();
}

void TKvMeasurementTable::KvMemTableDataAfterDelete(TKvMemTable& dataSet) {
  // Deletes are accepted at once, so this holds only for posts with cached updates.
  if (dataSet.ChangeCount() > 0) {
    dataSet.MergeChangeLog();
    if (OnSetModified) OnSetModified();
  }
}

void TKvMeasurementTable::KvMemTableDataCalcFields(TKvMemTable&) {
  const int ac = FAC->IsNull() ? -1 : FAC->AsInteger();
  const int ti = FTI->IsNull() ? -1 : FTI->AsInteger();
  FFreq->SetAsString(ac == 1 ? QStringLiteral("A") : (ac == 2 ? QStringLiteral("C") : QString()));
  FsTime->SetAsString(ti == 1 ? QStringLiteral("SLOW")
                              : (ti == 2 ? QStringLiteral("FAST") : QString()));
}
