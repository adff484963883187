#include "KvExportWriter.h"

#include <QDir>
#include <QFile>
#include <algorithm>
#include <charconv>
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

// The text of one field as the dataset shows it (TKvField::AsString), written straight into
// the output. Numbers take a short road; dates, times and strings repeat from row to row, so
// the last one is kept ready in its encoded form.
class TKvCellText {
 public:
  TKvCellText(TKvField& field, const QByteArray& decimalSeparator)
      : FField(field), FDecimal(decimalSeparator) {}

  void AppendTo(QByteArray& out) {
    if (FField.IsNull()) return;
    if (FField.FieldKind == TKvFieldKind::fkCalculated) return AppendText(out);
    switch (FField.DataType) {
      case TKvFieldType::ftBoolean:
        out += FField.AsBoolean() ? QByteArrayView("True") : QByteArrayView("False");
        return;
      case TKvFieldType::ftSmallint:
      case TKvFieldType::ftInteger: {
        char buf[16];
        out.append(buf, std::to_chars(buf, buf + sizeof buf, FField.AsInteger()).ptr - buf);
        return;
      }
      case TKvFieldType::ftFloat:
        return AppendFloat(out);
      case TKvFieldType::ftDate:
      case TKvFieldType::ftTime: {
        const double key = FField.AsDateTime();
        if (!FHaveKey || key != FKey) {
          FBytes = FField.AsString().toLocal8Bit();
          FKey = key;
          FHaveKey = true;
        }
        out += FBytes;
        return;
      }
      default:
        return AppendText(out);
    }
  }

 private:
  // General format with up to 15 significant digits, the regional decimal separator.
  void AppendFloat(QByteArray& out) {
    char buf[40];
    const char* end =
        std::to_chars(buf, buf + sizeof buf, FField.AsFloat(), std::chars_format::general, 15).ptr;
    const char* dot = std::find(static_cast<const char*>(buf), end, '.');
    out.append(buf, dot - buf);
    if (dot == end) return;
    out += FDecimal;
    out.append(dot + 1, end - dot - 1);
  }
  void AppendText(QByteArray& out) {
    const QString text = FField.AsString();
    if (text != FText) {
      FText = text;
      FBytes = text.toLocal8Bit();
    }
    out += FBytes;
  }

  TKvField& FField;
  const QByteArray& FDecimal;
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
  QByteArray text;

  QByteArray header;
  std::vector<std::pair<std::unique_ptr<TKvCellText>, bool>> cells;
  for (const TKvExportColumn& c : columns) {
    if (!c.Export) continue;
    if (!cells.empty()) header += delimiter;
    header += quote + c.Column.toLocal8Bit() + quote;
    cells.emplace_back(std::make_unique<TKvCellText>(dataSet.Fields(c.FieldNo), decimal),
                       c.UseQuote);
  }
  if (!header.isEmpty() && options.WithHeader) text += header + lineEnd;
  report(2);

  // The first rows tell how long a line is; the rest is reserved from that.
  constexpr int Sample = 64;
  for (int row = 0; row < dataSet.RecordCount(); ++row) {
    dataSet.SetRecNo(row);
    const qsizetype start = text.size();
    for (size_t i = 0; i < cells.size(); ++i) {
      if (i > 0) text += delimiter;
      if (cells[i].second) text += quote;
      cells[i].first->AppendTo(text);
      if (cells[i].second) text += quote;
    }
    if (text.size() > start) text += lineEnd;
    if (row + 1 == Sample)
      text.reserve(text.size() / Sample * (dataSet.RecordCount() + 1) + text.size());
    if ((row + 3) % 10 == 0) report(row + 3);
  }
  return text;
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
