#pragma once
// The decoded reading. A value copied whole by every consumer; the commander owns the live
// instance and each listener keeps its own copy.
#include <QString>
#include <array>
#include <cstdint>

#include "KvDateTime.h"

struct TKvUniqueData {
  QString strLo;
  double dLo = 0;
  QString strHi;
  double dHi = 0;
  QString strVal;
  double dVal = 0;
  QString strTime;
  TDateTime dtTime = 0;
  bool bTimeValid = true;
  TDateTime dtDate = 0;
  bool bDateValid = true;
  bool bA = false;
  bool bC = false;
  bool bFast = false;
  bool bSlow = false;
  bool bOver = false;
  bool bUnder = false;
  bool bMax = false;
  bool bValid = true;
  bool bLive = false;
  bool bConnected = true;
};

// Receive and transmit buffers: 257 bytes, indexes 0 to 256.
inline constexpr int KvBufSize = 257;
using TKvBuf = std::array<uint8_t, KvBufSize>;

// One wire record.
inline constexpr int KvRecordSize = 18;
