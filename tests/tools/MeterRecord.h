#pragma once
// One record as the meter sends it: A-weighted, slow, on 15 June 2011, a level in tenths of
// a decibel and a time of day in seconds.
#include <QByteArray>

inline QByteArray MeterRecord(int tenths, int second) {
  const int h = second / 3600 % 24, n = second / 60 % 60, s = second % 60;
  const char rec[18] = {char(0xA2),
                        0x0C,
                        char(tenths / 1000),
                        char(tenths / 100 % 10),
                        char(tenths / 10 % 10),
                        char(tenths % 10),
                        1,
                        1,
                        0,
                        6,
                        1,
                        5,
                        char(h / 10),
                        char(h % 10),
                        char(n / 10),
                        char(n % 10),
                        char(s / 10),
                        char(s % 10)};
  return QByteArray(rec, 18);
}
