#include "KvJournalFile.h"

#include <QFile>
#include <QtEndian>
#include <cstring>

namespace {
constexpr char kMagic[4] = {'L', 'V', 'X', 'J'};

constexpr std::array<uint32_t, 256> MakeCrcTable() {
  std::array<uint32_t, 256> table{};
  for (uint32_t i = 0; i < 256; ++i) {
    uint32_t c = i;
    for (int k = 0; k < 8; ++k) c = (c & 1) ? 0xEDB88320u ^ (c >> 1) : c >> 1;
    table[i] = c;
  }
  return table;
}
constexpr std::array<uint32_t, 256> kCrcTable = MakeCrcTable();

template <typename T>
void Put(uint8_t* at, T value) {
  qToLittleEndian(value, at);
}
template <typename T>
T Get(const uint8_t* at) {
  return qFromLittleEndian<T>(at);
}

enum : uint8_t { fUnder = 1, fOver = 2, fA = 4, fC = 8, fSlow = 16, fFast = 32 };
}  // namespace

uint32_t KvJournal_Crc32(const uint8_t* data, size_t len) {
  uint32_t c = 0xFFFFFFFFu;
  for (size_t i = 0; i < len; ++i) c = kCrcTable[(c ^ data[i]) & 0xFF] ^ (c >> 8);
  return c ^ 0xFFFFFFFFu;
}

TKvJournalHeader KvJournal_EncodeHeader(uint64_t base, double started) {
  TKvJournalHeader h{};
  std::memcpy(h.data(), kMagic, 4);
  Put<uint16_t>(h.data() + 4, KvJournal_Version);
  Put<uint16_t>(h.data() + 6, KvJournal_RecordSize);
  Put<uint64_t>(h.data() + 8, base);
  Put<double>(h.data() + 16, started);
  Put<uint32_t>(h.data() + 28, KvJournal_Crc32(h.data(), 28));
  return h;
}

TKvJournalRecord KvJournal_EncodeRecord(uint32_t sequence, const TKvReadingValues& r) {
  TKvJournalRecord rec{};
  uint8_t* p = rec.data();
  Put<uint32_t>(p, sequence);
  Put<double>(p + 4, r.dtDate);
  Put<double>(p + 12, r.dtTime);
  Put<double>(p + 20, r.dVal);
  Put<int16_t>(p + 28, int16_t(r.dLo));
  Put<int16_t>(p + 30, int16_t(r.dHi));
  p[32] = uint8_t((r.bUnder ? fUnder : 0) | (r.bOver ? fOver : 0) | (r.bA ? fA : 0) |
                  (r.bC ? fC : 0) | (r.bSlow ? fSlow : 0) | (r.bFast ? fFast : 0));
  Put<uint32_t>(p + 36, KvJournal_Crc32(p, 36));
  return rec;
}

bool KvJournal_DecodeHeader(const uint8_t* h, size_t len, uint64_t& base) {
  if (len < KvJournal_HeaderSize || std::memcmp(h, kMagic, 4) != 0 ||
      Get<uint32_t>(h + 28) != KvJournal_Crc32(h, 28) ||
      Get<uint16_t>(h + 4) != KvJournal_Version || Get<uint16_t>(h + 6) != KvJournal_RecordSize)
    return false;
  base = Get<uint64_t>(h + 8);
  return true;
}

bool KvJournal_DecodeRecord(const uint8_t* p, TKvReadingValues& r) {
  if (Get<uint32_t>(p + 36) != KvJournal_Crc32(p, 36)) return false;
  const uint8_t flags = p[32];
  r = {.dtDate = Get<double>(p + 4),
       .dtTime = Get<double>(p + 12),
       .dVal = Get<double>(p + 20),
       .dLo = double(Get<int16_t>(p + 28)),
       .dHi = double(Get<int16_t>(p + 30)),
       .bUnder = (flags & fUnder) != 0,
       .bOver = (flags & fOver) != 0,
       .bA = (flags & fA) != 0,
       .bC = (flags & fC) != 0,
       .bSlow = (flags & fSlow) != 0,
       .bFast = (flags & fFast) != 0};
  return true;
}

TKvJournalContent KvJournal_Read(const QString& fileName) {
  TKvJournalContent content;
  QFile file(fileName);
  if (!file.open(QIODevice::ReadOnly)) return content;
  content.Exists = true;
  const QByteArray bytes = file.readAll();
  const auto* data = reinterpret_cast<const uint8_t*>(bytes.constData());
  const qsizetype size = bytes.size();
  content.HeaderValid = KvJournal_DecodeHeader(data, size_t(size), content.Base);
  if (size <= KvJournal_HeaderSize) return content;
  const qsizetype records = (size - KvJournal_HeaderSize) / KvJournal_RecordSize;
  content.TornTail = (size - KvJournal_HeaderSize) % KvJournal_RecordSize != 0;
  content.Readings.reserve(size_t(records));
  for (qsizetype i = 0; i < records; ++i) {
    TKvReadingValues r;
    if (KvJournal_DecodeRecord(data + KvJournal_HeaderSize + i * KvJournal_RecordSize, r))
      content.Readings.push_back(r);
    else
      ++content.Damaged;
  }
  return content;
}
