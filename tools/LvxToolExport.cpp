// lvxtool export: a document to CSV or XML with the reader's own writers and the regional
// settings of the environment (LC_ALL, LANG), as the reader would export it.
#include <QFileInfo>

#include "KvExportWriter.h"
#include "KvMeasurementTable.h"
#include "KvXMLStorage.h"
#include "LvxTool.h"

namespace {
// The dialog's definition rows, narrowed to the named columns in the order given.
bool PickColumns(TKvExportColumns& columns, const QString& names, QTextStream& err) {
  TKvExportColumns picked;
  for (const QString& name : names.split(',', Qt::SkipEmptyParts)) {
    auto it = std::find_if(columns.begin(), columns.end(), [&](const TKvExportColumn& c) {
      return c.Column.compare(name.trimmed(), Qt::CaseInsensitive) == 0;
    });
    if (it == columns.end()) {
      err << "lvxtool export: no column '" << name.trimmed() << "'\n";
      return false;
    }
    picked.push_back(*it);
    picked.back().Export = true;
  }
  columns = picked;
  return true;
}

int Export(const QStringList& args, QTextStream& out, QTextStream& err) {
  TKvCsvOptions options;
  QString columnNames;
  QStringList files;
  for (int i = 0; i < args.size(); ++i) {
    const QString& a = args[i];
    const bool valued = a == "--delimiter" || a == "--quote" || a == "--columns";
    if (valued && i + 1 == args.size()) {
      err << "lvxtool export: " << a << " needs a value\n";
      return 2;
    }
    if (a == "--delimiter")
      options.Delimiter = args[++i];
    else if (a == "--quote")
      options.Quote = args[++i];
    else if (a == "--columns")
      columnNames = args[++i];
    else if (a == "--no-header")
      options.WithHeader = false;
    else
      files << a;
  }
  if (files.size() != 2) {
    err << "usage: lvxtool export [--delimiter D] [--quote Q] [--no-header] [--columns NAME,...] "
           "IN OUT\n";
    return 2;
  }
  TKvMeasurementTable table;
  try {
    table.CreateDataSet();
    table.LoadFromFile(files[0], 0);
    table.SetIndexName(TKvMeasurementTable::IndexAscName);
    if (QFileInfo(files[1]).suffix().compare("xml", Qt::CaseInsensitive) == 0) {
      table.SaveToFile(files[1], TKvXMLStorage::FormatNumber);
    } else {
      TKvExportColumns columns = KvExport_Columns(table);
      if (!columnNames.isEmpty() && !PickColumns(columns, columnNames, err)) return 2;
      KvExport_WriteFile(files[1], KvExport_CsvText(table, columns, options));
    }
  } catch (const EKvMemError& e) {
    err << e.Message() << "\n";
    return 2;
  }
  out << table.RecordCount() << " rows exported to " << files[1] << "\n";
  return 0;
}

TLvxToolRegistration reg(
    {"export", "export [--delimiter D] [--quote Q] [--no-header] [--columns NAME,...] IN OUT",
     Export, false,
     "Exports the document IN to OUT as the reader's export dialog does: XML when OUT ends in\n"
     ".xml, CSV otherwise. CSV rows stand in ascending date and time order, dates, times and\n"
     "numbers in the regional settings of the environment (LC_ALL, LANG), UTF-8 without a byte\n"
     "order mark, CR LF after every line.\n\n"
     "  --delimiter D       text between the values (default \";\"), used as it stands\n"
     "  --quote Q           text around the headers and the date, time and text values\n"
     "                      (default '\"'); empty for none\n"
     "  --no-header         leaves out the header line\n"
     "  --columns NAME,...  exports these columns in this order (default: all but RecId)\n"});
}  // namespace
