#include "KvExportWriter.h"

#include <QDir>
#include <QFile>
#include <algorithm>
#include <charconv>
#include <cstring>
#include <memory>

#include "KvLocale.h"
#include "KvMemTable.h"

namespace {
int DataSize(const TKvField& f) {
  switch (f.DataType) {
    case TKvFieldType::ftBoolean:
    case TKvFieldType::ftSmallint:
      return 2;
    case TKvFieldType::ftInteger:
    case TKvFieldType::ftDate:
    case TKvFieldType::ftTime:
      return 4;
    case TKvFieldType::ftFloat:
      return 8;
    case TKvFieldType::ftString:
      return f.Size + 1;
    default:
      return 0;
  }
}

bool Quoted(const TKvField& f) {
  return f.DataType == TKvFieldType::ftString || f.DataType == TKvFieldType::ftDate ||
         f.DataType == TKvFieldType::ftTime;
}

// The text as it grows: appends are plain copies into one buffer, doubled when full.
class TKvTextSink {
 public:
  void Append(const char* p, qsizetype n) {
    if (FUsed + n > FData.size())
      FData.resize(std::max<qsizetype>({FData.size() * 2, FUsed + n, 4096}));
    char* to = FData.data() + FUsed;
    if (n <= 8)  // delimiters, quotes and short numbers: cheaper than a call
      for (qsizetype i = 0; i < n; ++i) to[i] = p[i];
    else
      std::memcpy(to, p, size_t(n));
    FUsed += n;
  }
  void Append(const QByteArray& b) { Append(b.constData(), b.size()); }
  qsizetype Size() const { return FUsed; }
  void Reserve(qsizetype bytes) {
    if (bytes > FData.size()) FData.resize(bytes);
  }
  QByteArray Take() {
    FData.resize(FUsed);
    return std::move(FData);
  }

 private:
  QByteArray FData;
  qsizetype FUsed = 0;
};

// The text of one field as the dataset shows it (TKvField::AsString), written straight into
// the output. The common cases read the row's stored cell once and take a short road: numbers
// of the field's own engine type are written directly, and dates and times, which repeat from
// row to row, keep their last text ready in encoded form. Everything else asks the field.
class TKvCellText {
 public:
  TKvCellText(TKvMemTable& dataSet, TKvField& field, const QByteArray& decimalSeparator)
      : FTable(*dataSet.Table()), FField(field), FDecimal(decimalSeparator) {
    const TKvDataType stored =
        field.Column() >= 0 ? FTable.Columns[field.Column()].DataType() : dtUnknown;
    switch (field.DataType) {
      case TKvFieldType::ftBoolean:
        FRoad = stored == dtBoolean ? rdBoolean : rdField;
        break;
      case TKvFieldType::ftSmallint:
        FRoad = stored == dtInt16 ? rdInteger : rdField;
        break;
      case TKvFieldType::ftInteger:
        FRoad = stored == dtInt32 || stored == dtInt16 ? rdInteger : rdField;
        break;
      case TKvFieldType::ftFloat:
        FRoad = stored == dtDouble ? rdFloat : rdField;
        break;
      case TKvFieldType::ftDate:
        FRoad = stored == dtDate ? rdRepeated : rdField;
        break;
      case TKvFieldType::ftTime:
        FRoad = stored == dtTime ? rdRepeated : rdField;
        break;
      default:
        FRoad = rdField;
    }
    if (field.FieldKind == TKvFieldKind::fkCalculated) FRoad = rdField;
  }

  // buf: the stored values of the row the dataset stands on.
  void AppendTo(TKvTextSink& out, const uint8_t* buf) {
    if (FRoad == rdField) return AppendText(out, FField.AsString());
    bool isNull;
    const double v = KvCell_AsDouble(FTable, buf, FField.Column(), isNull);
    if (isNull) return;
    switch (FRoad) {
      case rdBoolean:
        v != 0 ? out.Append("True", 4) : out.Append("False", 5);
        return;
      case rdInteger: {
        char digits[16];
        out.Append(digits, std::to_chars(digits, digits + sizeof digits, qint64(v)).ptr - digits);
        return;
      }
      case rdFloat:
        return AppendFloat(out, v);
      default:
        if (!FHaveKey || v != FKey) {
          FBytes = FField.AsString().toLocal8Bit();
          FKey = v;
          FHaveKey = true;
        }
        out.Append(FBytes);
    }
  }

 private:
  enum TRoad { rdField, rdBoolean, rdInteger, rdFloat, rdRepeated };

  // General format with up to 15 significant digits, the regional decimal separator.
  void AppendFloat(TKvTextSink& out, double v) {
    char buf[40];
    const char* end = std::to_chars(buf, buf + sizeof buf, v, std::chars_format::general, 15).ptr;
    const char* dot = std::find(static_cast<const char*>(buf), end, '.');
    out.Append(buf, dot - buf);
    if (dot == end) return;
    out.Append(FDecimal);
    out.Append(dot + 1, end - dot - 1);
  }
  void AppendText(TKvTextSink& out, const QString& text) {
    if (text != FText) {
      FText = text;
      FBytes = text.toLocal8Bit();
    }
    out.Append(FBytes);
  }

  const TKvDatSTable& FTable;
  TKvField& FField;
  const QByteArray& FDecimal;
  TRoad FRoad = rdField;
  QString FText;
  QByteArray FBytes;
  double FKey = 0;
  bool FHaveKey = false;
};

// Data-aware controls stay still while the walk moves the cursor, also when it throws.
class TKvControlsOff {
 public:
  explicit TKvControlsOff(TKvMemTable& t) : FTable(t) { t.DisableControls(); }
  ~TKvControlsOff() { FTable.EnableControls(); }
  TKvControlsOff(const TKvControlsOff&) = delete;
  TKvControlsOff& operator=(const TKvControlsOff&) = delete;

 private:
  TKvMemTable& FTable;
};
}  // namespace

TKvExportColumns KvExport_Columns(TKvMemTable& dataSet) {
  TKvExportColumns columns;
  for (int i = 0; i < dataSet.FieldCount(); ++i) {
    const TKvField& f = dataSet.Fields(i);
    columns.push_back(
        {f.DisplayLabel(), i, DataSize(f), f.FieldName != QLatin1String("RecId"), Quoted(f)});
  }
  return columns;
}

QByteArray KvExport_CsvText(TKvMemTable& dataSet, const TKvExportColumns& columns,
                            const TKvCsvOptions& options, const TKvExportProgress& progress) {
  auto report = [&progress](int position) {
    if (progress) progress(position);
  };
  const QByteArray delimiter = options.Delimiter.toLocal8Bit();
  const QByteArray quote = options.Quote.toLocal8Bit();
  const QByteArray decimal = QString(KvLocale().DecimalSeparator).toLocal8Bit();
  const QByteArray lineEnd("\r\n");
  report(1);
  TKvControlsOff off(dataSet);
  TKvTextSink text;

  QByteArray header;
  std::vector<std::pair<std::unique_ptr<TKvCellText>, bool>> cells;
  for (const TKvExportColumn& c : columns) {
    if (!c.Export) continue;
    if (!cells.empty()) header += delimiter;
    header += quote + c.Column.toLocal8Bit() + quote;
    cells.emplace_back(std::make_unique<TKvCellText>(dataSet, dataSet.Fields(c.FieldNo), decimal),
                       c.UseQuote);
  }
  if (!header.isEmpty() && options.WithHeader) text.Append(header + lineEnd);
  report(2);

  // The first rows tell how long a line is; the rest is reserved from that.
  constexpr int Sample = 64;
  for (int row = 0; row < dataSet.RecordCount(); ++row) {
    dataSet.SetRecNo(row);
    const uint8_t* buf = dataSet.Table()->RowData(dataSet.RowHandle(row));
    const qsizetype start = text.Size();
    for (size_t i = 0; i < cells.size(); ++i) {
      if (i > 0) text.Append(delimiter);
      if (cells[i].second) text.Append(quote);
      cells[i].first->AppendTo(text, buf);
      if (cells[i].second) text.Append(quote);
    }
    if (text.Size() > start) text.Append(lineEnd);
    if (row + 1 == Sample)
      text.Reserve(text.Size() / Sample * (dataSet.RecordCount() + 1) + text.Size());
    if ((row + 3) % 10 == 0) report(row + 3);
  }
  return text.Take();
}

void KvExport_WriteFile(const QString& fileName, const QByteArray& text) {
  QFile file(fileName);
  if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate))
    throw EKvMemError(QStringLiteral("Cannot create file \"%1\". %2")
                          .arg(QDir::toNativeSeparators(fileName), file.errorString()));
  if (file.write(text) != text.size() || !file.flush())
    throw EKvMemError(QStringLiteral("Cannot write file \"%1\". %2")
                          .arg(QDir::toNativeSeparators(fileName), file.errorString()));
}
