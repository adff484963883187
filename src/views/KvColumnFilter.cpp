#include "KvColumnFilter.h"

#include <cmath>
#include <vector>

#include "KvDateEdit.h"
#include "KvDateTime.h"
#include "KvLocale.h"

namespace {
bool Meets(const TKvFilterCondition& c, double v, bool isNull) {
  switch (c.Op) {
    case TKvFilterOp::Blank:
      return isNull;
    case TKvFilterOp::NonBlank:
      return !isNull;
    default:
      break;
  }
  // NULL and NaN meet no comparison, as in a query.
  if (isNull || std::isnan(v)) return false;
  switch (c.Op) {
    case TKvFilterOp::Equal:
      return v == c.Value;
    case TKvFilterOp::NotEqual:
      return v != c.Value;
    case TKvFilterOp::Less:
      return v < c.Value;
    case TKvFilterOp::LessOrEqual:
      return v <= c.Value;
    case TKvFilterOp::Greater:
      return v > c.Value;
    case TKvFilterOp::GreaterOrEqual:
      return v >= c.Value;
    default:
      return false;
  }
}
}  // namespace

void TKvColumnFilter::Set(const QString& field, const TKvFilterCondition& condition) {
  FConditions[field] = condition;
}

void TKvColumnFilter::Clear(const QString& field) {
  FConditions.erase(field);
}

QString TKvColumnFilter::OpText(TKvFilterOp op) {
  switch (op) {
    case TKvFilterOp::Equal:
      return "=";
    case TKvFilterOp::NotEqual:
      return "<>";
    case TKvFilterOp::Less:
      return "<";
    case TKvFilterOp::LessOrEqual:
      return "<=";
    case TKvFilterOp::Greater:
      return ">";
    case TKvFilterOp::GreaterOrEqual:
      return ">=";
    case TKvFilterOp::Blank:
      return "is blank";
    case TKvFilterOp::NonBlank:
      return "is not blank";
  }
  return {};
}

QString TKvColumnFilter::Text() const {
  QStringList parts;
  for (const auto& [field, c] : FConditions) {
    const bool unary = c.Op == TKvFilterOp::Blank || c.Op == TKvFilterOp::NonBlank;
    parts << (unary ? QString("%1 %2").arg(field, OpText(c.Op))
                    : QString("%1 %2 %3").arg(field, OpText(c.Op), c.DisplayValue));
  }
  return parts.join(" and ");
}

TKvRowFilter TKvColumnFilter::Predicate(TKvMemTable& table) const {
  if (FConditions.empty()) return {};
  struct TBound {
    int Column;
    TKvFilterCondition Condition;
  };
  std::vector<TBound> bound;
  for (const auto& [field, c] : FConditions)
    bound.push_back({table.FieldByName(field).Column(), c});
  return [bound](const TKvDatSTable& t, uint32_t row) {
    const uint8_t* buf = t.RowData(row);
    for (const TBound& b : bound) {
      bool isNull;
      const double v = KvCell_AsDouble(t, buf, b.Column, isNull);
      if (!Meets(b.Condition, v, isNull)) return false;
    }
    return true;
  };
}

bool TKvColumnFilter::ParseValue(const TKvField& field, const QString& text, double& value) {
  const QString t = text.trimmed();
  if (t.isEmpty()) return false;
  const TKvLocale& locale = KvLocale();
  switch (field.DataType) {
    case TKvFieldType::ftDate: {
      TDateTime d;
      if (!KvTryStrToDate(t, d)) return false;
      value = std::floor(d) + KvDateDelta;
      return true;
    }
    case TKvFieldType::ftTime: {
      TDateTime d;
      if (!TryStrToTime(t, d)) return false;
      value = std::round(d * 86400000.0);
      return true;
    }
    case TKvFieldType::ftBoolean:
      if (t.compare("True", Qt::CaseInsensitive) == 0 || t == "1") return value = 1, true;
      if (t.compare("False", Qt::CaseInsensitive) == 0 || t == "0") return value = 0, true;
      return false;
    default: {
      QString n = t;
      n.replace(locale.DecimalSeparator, QLatin1Char('.'));
      bool ok = false;
      value = n.toDouble(&ok);
      return ok && std::isfinite(value);
    }
  }
}
