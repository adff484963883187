#include "KvDisplayTable.h"

#include "KvDateTime.h"
#include "KvMemTable.h"

TKvDisplayTable::TKvDisplayTable() : FTable(std::make_unique<TKvMemTable>("dxMemDataTable")) {
  FTable->AddField("DT", TKvFieldType::ftFloat);
  FTable->AddField("Loc", TKvFieldType::ftInteger);
  FTable->AddField("X", TKvFieldType::ftFloat);
  FTable->AddField("Y", TKvFieldType::ftFloat);
  FTable->CreateDataSet();
  FTable->Open();
}

TKvDisplayTable::~TKvDisplayTable() = default;

void TKvDisplayTable::AddData(int Loc, double X, double Y) {
  FTable->Append();
  FTable->FieldByName("DT").SetAsFloat(Now());
  FTable->FieldByName("Loc").SetAsInteger(Loc);
  FTable->FieldByName("X").SetAsFloat(X);
  FTable->FieldByName("Y").SetAsFloat(Y);
  FTable->Post();
}

int TKvDisplayTable::RecordCount() const {
  return FTable->RecordCount();
}

TKvDisplayTable::TRow TKvDisplayTable::LastRow() const {
  FTable->Last();
  return {FTable->FieldByName("DT").AsFloat(), FTable->FieldByName("Loc").AsInteger(),
          FTable->FieldByName("X").AsFloat(), FTable->FieldByName("Y").AsFloat()};
}
