#pragma once
// The grid's column filters: one condition per column, all of which a row must meet. The
// conditions compare stored values in the engine's own units (day numbers, milliseconds), so
// testing a row costs a few loads and no text; the filter becomes the dataset's, and
// everything that walks the dataset (chart, clearing, printing) sees the same rows.
#include <QString>
#include <map>

#include "KvMemTable.h"

enum class TKvFilterOp {
  Equal,
  NotEqual,
  Less,
  LessOrEqual,
  Greater,
  GreaterOrEqual,
  Blank,
  NonBlank
};

struct TKvFilterCondition {
  TKvFilterOp Op = TKvFilterOp::Equal;
  double Value = 0;      // in the engine's units of the column
  QString DisplayValue;  // as the user gave it
};

class TKvColumnFilter {
 public:
  void Set(const QString& field, const TKvFilterCondition& condition);
  void Clear(const QString& field);
  void ClearAll() { FConditions.clear(); }
  bool IsEmpty() const { return FConditions.empty(); }
  bool Has(const QString& field) const { return FConditions.count(field) > 0; }
  // "Y >= 60 and AC = 1", the conditions in field order.
  QString Text() const;
  // The dataset's filter for these conditions, bound to the columns of table's fields; empty
  // when there are no conditions.
  TKvRowFilter Predicate(TKvMemTable& table) const;

  static QString OpText(TKvFilterOp op);
  // Reads a value the user typed for field, in the present regional settings; false when it
  // is no value of the field's kind.
  static bool ParseValue(const TKvField& field, const QString& text, double& value);

 private:
  std::map<QString, TKvFilterCondition> FConditions;
};
