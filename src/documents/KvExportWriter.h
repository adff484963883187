#pragma once
// The export of a dataset to a delimited text file, shared by the export dialog and the
// command-line tool: the column definitions, the text, and writing it out. The text is in
// the locale's character set (UTF-8 on this platform), without a byte order mark, with a
// carriage return and line feed after every line.
#include <QByteArray>
#include <QString>
#include <functional>
#include <vector>

class TKvField;
class TKvMemTable;

// One row of the export definition: which field, under which header, quoted or not.
struct TKvExportColumn {
  QString Column;  // header text
  int FieldNo = 0;
  int Size = 0;  // the field's data size in bytes
  bool Export = true;
  bool UseQuote = false;
};
using TKvExportColumns = std::vector<TKvExportColumn>;

// One definition row per field of the dataset, in its field order: all exported but
// "RecId", text, date and time fields quoted.
TKvExportColumns KvExport_Columns(TKvMemTable& dataSet);

struct TKvCsvOptions {
  QString Delimiter = QStringLiteral(";");
  QString Quote = QStringLiteral("\"");
  bool WithHeader = true;
};

// Positions of the walk: 1 before the header, 2 after it, then 2 + rows done, reported at
// every position divisible by 10 and once more at the end.
using TKvExportProgress = std::function<void(int position)>;

// The whole text: a header line when wanted and not empty, then one line per row of the
// dataset in its active order. Values are written as the dataset shows them in the regional
// settings of the moment, delimiter and quote as they stand and never escaped. Rows that
// arrive while the walk runs (the progress listener may process messages) are included.
QByteArray KvExport_CsvText(TKvMemTable& dataSet, const TKvExportColumns& columns,
                            const TKvCsvOptions& options, const TKvExportProgress& progress = {});

// Creates the file anew and writes the text; throws EKvMemError with the system's reason.
void KvExport_WriteFile(const QString& fileName, const QByteArray& text);
