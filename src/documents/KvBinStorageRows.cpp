// Rows in bulk for the binary format. A row of a table with fixed-size columns is the same
// run of tags every time, with the values in between, so it is read and written straight
// from and to the document's bytes; names are looked up once per table rather than once per
// property. Whatever the bulk reader does not recognise it leaves to the walk of properties,
// which reads it, or reports it, as always.
#include <algorithm>
#include <cstring>

#include "KvStorage.h"

namespace {
// A value of one of the sizes a fixed-size column has, as a copy of known length.
void CopyValue(uint8_t* dst, const uint8_t* src, int size) {
  switch (size) {
    case 0:
      break;
    case 1:
      *dst = *src;
      break;
    case 2:
      std::memcpy(dst, src, 2);
      break;
    case 4:
      std::memcpy(dst, src, 4);
      break;
    case 8:
      std::memcpy(dst, src, 8);
      break;
    default:
      std::memcpy(dst, src, size_t(size));
  }
}

template <typename T>
T Load(const uint8_t* p) {
  T v;
  std::memcpy(&v, p, sizeof(T));
  return v;
}

template <typename T>
uint8_t* Store(uint8_t* p, T v) {
  std::memcpy(p, &v, sizeof(T));
  return p + sizeof(T);
}
}  // namespace

int TKvBinStorage::ReadRows(const TKvRowLayout& l, const TRowTaker& take) {
  if (!RowsInBulk || FVersion < 4 || FMode != TKvStorageMode::smRead) return 0;
  const uint8_t* const b = reinterpret_cast<const uint8_t*>(FIn.Data());
  const int64_t end = InSize();
  auto groupOf = [this](unsigned number) {
    return number < FDictGroup.size() ? FDictGroup[number] : -2;
  };
  // Tests as TestObject and ConsumeProperty make them, on a position of our own.
  auto isObject = [&](int64_t p, int group) {
    return p + 2 <= end && b[p] == ObjectBeginMark && groupOf(b[p + 1]) == group;
  };
  auto isProperty = [&](int64_t p, int group) {
    if (p + 2 > end) return false;
    const uint16_t number = Load<uint16_t>(b + p);
    return (number & 0xFF) < 254 && groupOf(number) == group;
  };
  const int rowGroup = GroupOfExpected(l.RowName), otherGroup = GroupOfExpected(l.OtherRowName),
            idGroup = GroupOfExpected(l.RowID), exceptionGroup = GroupOfExpected(l.Exception);
  const int stateGroups[2] = {GroupOfExpected(l.RowState), GroupOfExpected(l.RowPriorState)};
  int versionGroups[3];
  for (int v = 0; v < 3; ++v) versionGroups[v] = GroupOfExpected(l.Versions[v]);
  const int columnCount = int(l.Columns.size());
  FRowScratch.resize(std::max(FRowScratch.size(), size_t(l.RecordSize) * 3));

  // A state as ReadEnum takes it; false where it would raise.
  auto readState = [&](int64_t& p, int group, uint8_t& state) {
    state = rsDetached;
    if (!isProperty(p, group)) return true;
    int value;
    if (FVersion >= 5) {
      if (p + 4 > end) return false;
      value = EnumOfNumber(Load<uint16_t>(b + p + 2), *l.States);
      p += 4;
    } else {
      if (p + 6 > end) return false;
      value = Load<int32_t>(b + p + 2);
      p += 6;
    }
    state = uint8_t(value);
    return value >= 0 && value < l.States->size();
  };
  // Values by index while each stands later in the stored order than the one before.
  auto readValues = [&](int64_t& p, uint8_t* buf) {
    std::memset(buf, 0, size_t(l.RecordSize));
    int last = -1;
    while (p + 2 <= end) {
      const uint16_t i = Load<uint16_t>(b + p);
      if (i >= columnCount) break;
      const TKvRowLayout::TColumn& c = l.Columns[i];
      if (c.Order <= last) break;
      last = c.Order;
      if (p + 2 + c.Size > end) return false;
      CopyValue(buf + c.Offset, b + p + 2, c.Size);
      buf[i >> 3] |= uint8_t(1u << (i & 7));
      p += 2 + c.Size;
    }
    return true;
  };

  int taken = 0;
  TKvRowImage row;
  for (;;) {
    int64_t p = FPos;
    if (!isObject(p, otherGroup) && !isObject(p, rowGroup)) break;
    p += 2;
    row.RowID = 0xFFFFFFFF;
    if (isProperty(p, idGroup)) {
      if (p + 6 > end) break;
      row.RowID = Load<uint32_t>(b + p + 2);
      p += 6;
    }
    if (!readState(p, stateGroups[0], row.RowState) ||
        !readState(p, stateGroups[1], row.RowPriorState) || isObject(p, exceptionGroup))
      break;
    bool plain = true;
    for (int v = 0; v < 3 && plain; ++v) {
      row.Versions[v] = nullptr;
      if (!isObject(p, versionGroups[v])) continue;
      p += 2;
      uint8_t* buf = FRowScratch.data() + size_t(l.RecordSize) * v;
      plain = readValues(p, buf) && p < end && b[p] == ObjectEndMark;
      ++p;
      row.Versions[v] = buf;
    }
    if (!plain || p >= end || b[p] != ObjectEndMark || !take(row)) break;
    FPos = p + 1;
    ++taken;
  }
  return taken;
}

bool TKvBinStorage::WriteRows(const TKvRowLayout& l, int count, const TRowGiver& rowAt) {
  if (!RowsInBulk || FVersion < 4 || FMode != TKvStorageMode::smWrite) return false;
  // Numbers are given on first use, in the order the walk would give them, so that the
  // dictionary comes out the same.
  auto number = [this](int& known, const QString& name) {
    if (known < 0) known = NameNumber(name);
    return uint16_t(known);
  };
  int rowNumber = -1, idNumber = -1, stateNumbers[2] = {-1, -1}, versionNumbers[3] = {-1, -1, -1};
  std::vector<int> stateValueNumbers(256, -1);
  const QString* stateNames[2] = {&l.RowState, &l.RowPriorState};
  auto writeState = [&](uint8_t* o, int which, uint8_t state) {
    if (state == rsDetached) return o;
    if (FVersion < 5) {
      o = Store(o, number(stateNumbers[which], *stateNames[which]));
      return Store(o, int32_t(state));
    }
    const uint16_t value = number(stateValueNumbers[state], l.States->value(state));
    o = Store(o, number(stateNumbers[which], *stateNames[which]));
    return Store(o, value);
  };

  size_t versionBytes = 3;
  for (int i : l.Stored) versionBytes += 2 + size_t(l.Columns[i].Size);
  const size_t rowBytes = 2 + 6 + 2 * 6 + 3 * versionBytes + 1;
  for (int k = 0; k < count; ++k) {
    const TKvRowImage row = rowAt(k);
    const size_t at = FOut.Size();
    FOut.Expect(rowBytes);
    uint8_t* const start = reinterpret_cast<uint8_t*>(FOut.Data()) + at;
    uint8_t* o = start;
    *o++ = ObjectBeginMark;
    *o++ = uint8_t(number(rowNumber, l.RowName) & 0xFF);
    if (row.RowID != 0xFFFFFFFF) {
      o = Store(o, number(idNumber, l.RowID));
      o = Store(o, row.RowID);
    }
    o = writeState(o, 0, row.RowState);
    o = writeState(o, 1, row.RowPriorState);
    for (int v = 0; v < 3; ++v) {
      const uint8_t* buf = row.Versions[v];
      if (!buf) continue;
      *o++ = ObjectBeginMark;
      *o++ = uint8_t(number(versionNumbers[v], l.Versions[v]) & 0xFF);
      for (int i : l.Stored) {
        if (!(buf[i >> 3] & (1u << (i & 7)))) continue;
        const TKvRowLayout::TColumn& c = l.Columns[i];
        o = Store(o, uint16_t(i));
        CopyValue(o, buf + c.Offset, c.Size);
        o += c.Size;
      }
      *o++ = ObjectEndMark;
    }
    *o++ = ObjectEndMark;
    FOut.Resize(at + size_t(o - start));
  }
  return true;
}
