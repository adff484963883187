#pragma once
// The engine's enumerations. Their order is their stored value, and their full names are
// what a document spells, so both are fixed.
#include <QString>
#include <cstdint>

enum TKvDataType : uint8_t {
  dtUnknown,
  dtBoolean,
  dtSByte,
  dtInt16,
  dtInt32,
  dtInt64,
  dtByte,
  dtUInt16,
  dtUInt32,
  dtUInt64,
  dtSingle,
  dtDouble,
  dtExtended,
  dtCurrency,
  dtBCD,
  dtFmtBCD,
  dtDateTime,
  dtTime,
  dtDate,
  dtDateTimeStamp,
  dtTimeIntervalFull,
  dtTimeIntervalYM,
  dtTimeIntervalDS,
  dtAnsiString,
  dtWideString,
  dtByteString,
  dtBlob,
  dtMemo,
  dtWideMemo,
  dtXML,
  dtHBlob,
  dtHMemo,
  dtWideHMemo,
  dtHBFile,
  dtRowSetRef,
  dtCursorRef,
  dtRowRef,
  dtArrayRef,
  dtParentRowRef,
  dtGUID,
  dtObject
};
inline constexpr int KvDataTypeCount = dtObject + 1;

enum TKvDataAttribute : uint8_t {
  caSearchable,
  caAllowNull,
  caFixedLen,
  caBlobData,
  caReadOnly,
  caAutoInc,
  caROWID,
  caDefault,
  caRowVersion,
  caInternal,
  caCalculated,
  caVolatile,
  caUnnamed,
  caVirtualBase
};
inline constexpr int KvDataAttributeCount = caVirtualBase + 1;

enum TKvDataOption : uint8_t {
  coAllowNull,
  coUnique,
  coReadOnly,
  coInUpdate,
  coInWhere,
  coInKey,
  coAfterInsChanged,
  coAfterUpdChanged
};
inline constexpr int KvDataOptionCount = coAfterUpdChanged + 1;

enum TKvDatSRowState : uint8_t {
  rsInitializing,
  rsDetached,
  rsInserted,
  rsDeleted,
  rsModified,
  rsUnchanged,
  rsEditing,
  rsCalculating,
  rsChecking,
  rsDestroying,
  rsForceWrite,
  rsImportingCurent,
  rsImportingOriginal,
  rsImportingProposed
};
inline constexpr int KvRowStateCount = rsImportingProposed + 1;

enum TKvSortOption : uint8_t {
  soNoCase,
  soNullFirst,
  soDescNullLast,
  soDescending,
  soUnique,
  soPrimary,
  soNoSymbols
};
enum TKvLocateOption : uint8_t {
  loPartial,
  loNearest,
  loNoCase,
  loLast,
  loExcludeKeyRow,
  loUseRowID,
  loFromCurrent,
  loBackward
};

template <typename E>
constexpr uint32_t KvBit(E e) {
  return 1u << static_cast<unsigned>(e);
}

// Full enumeration names as stored ("dtInt32", "rsUnchanged").
QString KvDataTypeName(TKvDataType t);
QString KvRowStateName(TKvDatSRowState s);
// Attribute and option names as property names ("Searchable", "OAllowNull").
QString KvDataAttributeProperty(TKvDataAttribute a);
QString KvDataOptionProperty(TKvDataOption o);

// Bytes a value of the type takes inline in a row buffer; variable-length types hold a
// 4-byte reference into the table's blob store, reference types nothing.
int KvDataTypeInlineSize(TKvDataType t);
bool KvDataTypeIsVariable(TKvDataType t);  // dtAnsiString .. dtHBFile
bool KvDataTypeIsLarge(TKvDataType t);     // dtByteString .. dtHBFile: second run of a version
bool KvDataTypeIsWide(TKvDataType t);      // length stored as characters times two
bool KvDataTypeHasNoPayload(TKvDataType t);
