#include "KvDatSTypes.h"

namespace {
const char* const DataTypeNames[KvDataTypeCount] = {
    "dtUnknown",        "dtBoolean",        "dtSByte",
    "dtInt16",          "dtInt32",          "dtInt64",
    "dtByte",           "dtUInt16",         "dtUInt32",
    "dtUInt64",         "dtSingle",         "dtDouble",
    "dtExtended",       "dtCurrency",       "dtBCD",
    "dtFmtBCD",         "dtDateTime",       "dtTime",
    "dtDate",           "dtDateTimeStamp",  "dtTimeIntervalFull",
    "dtTimeIntervalYM", "dtTimeIntervalDS", "dtAnsiString",
    "dtWideString",     "dtByteString",     "dtBlob",
    "dtMemo",           "dtWideMemo",       "dtXML",
    "dtHBlob",          "dtHMemo",          "dtWideHMemo",
    "dtHBFile",         "dtRowSetRef",      "dtCursorRef",
    "dtRowRef",         "dtArrayRef",       "dtParentRowRef",
    "dtGUID",           "dtObject"};
const char* const RowStateNames[KvRowStateCount] = {
    "rsInitializing",      "rsDetached",         "rsInserted",   "rsDeleted",
    "rsModified",          "rsUnchanged",        "rsEditing",    "rsCalculating",
    "rsChecking",          "rsDestroying",       "rsForceWrite", "rsImportingCurent",
    "rsImportingOriginal", "rsImportingProposed"};
const char* const AttributeProps[KvDataAttributeCount] = {
    "Searchable", "AllowNull",  "FixedLen", "BlobData",   "ReadOnly", "AutoInc", "ROWID",
    "Default",    "RowVersion", "Internal", "Calculated", "Volatile", "Unnamed", "VirtualBase"};
const char* const OptionProps[KvDataOptionCount] = {
    "OAllowNull", "OUnique", "OReadOnly",        "OInUpdate",
    "OInWhere",   "OInKey",  "OAfterInsChanged", "OAfterUpdChanged"};
}  // namespace

QString KvDataTypeName(TKvDataType t) {
  return QString::fromLatin1(DataTypeNames[t]);
}
QString KvRowStateName(TKvDatSRowState s) {
  return QString::fromLatin1(RowStateNames[s]);
}
QString KvDataAttributeProperty(TKvDataAttribute a) {
  return QString::fromLatin1(AttributeProps[a]);
}
QString KvDataOptionProperty(TKvDataOption o) {
  return QString::fromLatin1(OptionProps[o]);
}

bool KvDataTypeIsVariable(TKvDataType t) {
  return t >= dtAnsiString && t <= dtHBFile;
}
bool KvDataTypeIsLarge(TKvDataType t) {
  return t >= dtByteString && t <= dtHBFile;
}
bool KvDataTypeIsWide(TKvDataType t) {
  return t == dtWideString || t == dtWideMemo || t == dtXML || t == dtWideHMemo;
}
bool KvDataTypeHasNoPayload(TKvDataType t) {
  return (t >= dtRowSetRef && t <= dtParentRowRef) || t == dtObject || t == dtUnknown;
}

int KvDataTypeInlineSize(TKvDataType t) {
  switch (t) {
    case dtSByte:
    case dtByte:
      return 1;
    case dtBoolean:
    case dtInt16:
    case dtUInt16:
      return 2;
    case dtInt32:
    case dtUInt32:
    case dtSingle:
    case dtTime:
    case dtDate:
      return 4;
    case dtInt64:
    case dtUInt64:
    case dtDouble:
    case dtCurrency:
    case dtDateTime:
      return 8;
    case dtExtended:
      return 10;
    case dtBCD:
    case dtFmtBCD:
      return 34;
    case dtDateTimeStamp:
    case dtGUID:
      return 16;
    case dtTimeIntervalFull:
    case dtTimeIntervalYM:
    case dtTimeIntervalDS:
      return 25;
    default:
      return KvDataTypeIsVariable(t) ? 4 : 0;
  }
}
