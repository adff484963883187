#pragma once
// The recording journal's file: what a recorded reading looks like on disk and how a journal
// is read back after a crash.
//
// Layout, little endian. A 32-byte header:
//   "LVXJ", u16 version, u16 record size, u64 base (rows of the document the journal
//   continues), f64 started (day count), u32 zero, u32 CRC-32 of the 28 bytes before it;
// then 40-byte records, one per reading:
//   u32 sequence, f64 date, f64 time, f64 level, i16 range low, i16 range high, u8 flags
//   (under, over, A, C, slow, fast), three zero bytes, u32 CRC-32 of the 36 bytes before it.
//
// Every record carries its own checksum, so a record the crash tore, a truncated tail or a
// flipped byte costs only the records it touches; everything else is read back.
#include <QString>
#include <array>
#include <cstdint>
#include <vector>

#include "KvMeasurementTable.h"

inline constexpr int KvJournal_HeaderSize = 32;
inline constexpr int KvJournal_RecordSize = 40;
inline constexpr uint16_t KvJournal_Version = 1;

using TKvJournalRecord = std::array<uint8_t, KvJournal_RecordSize>;
using TKvJournalHeader = std::array<uint8_t, KvJournal_HeaderSize>;

uint32_t KvJournal_Crc32(const uint8_t* data, size_t len);
TKvJournalHeader KvJournal_EncodeHeader(uint64_t base, double started);
TKvJournalRecord KvJournal_EncodeRecord(uint32_t sequence, const TKvReadingValues& r);
// False unless the bytes are a whole header of this version; base is then its base.
bool KvJournal_DecodeHeader(const uint8_t* bytes, size_t len, uint64_t& base);
// False when the checksum does not match; r is then untouched.
bool KvJournal_DecodeRecord(const uint8_t* bytes, TKvReadingValues& r);

struct TKvJournalContent {
  bool Exists = false;
  bool HeaderValid = false;
  uint64_t Base = 0;
  std::vector<TKvReadingValues> Readings;  // in the order they were recorded
  int Damaged = 0;                         // whole records whose checksum failed
  bool TornTail = false;                   // a last record cut short
};

// Reads what is intact. A damaged header still lets the records be read at their places.
TKvJournalContent KvJournal_Read(const QString& fileName);
