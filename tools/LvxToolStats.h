#pragma once
// What the statistics commands share: loading a document for reading its readings.
#include <QTextStream>

class TKvMeasurementTable;

// Loads FILE (any format the reader reads) in ascending date and time order; on failure
// writes the reader's error text to err and returns false.
bool LvxTool_LoadDocument(TKvMeasurementTable& table, const QString& fileName, QTextStream& err);
