#pragma once
// The line chart's channels as the program sets them up: axes, the level, the two range
// limits, the block average and the running Leq (off until the user picks it).
class TKvChartView;

inline constexpr int KvLeqChannelId = 5;
inline constexpr const char* KvLeqChannelTitle = "Leq";

void KvChart_SetupChannels(TKvChartView& chart);
