#include "KvChartChannels.h"

#include "KvDockedViews.h"

void KvChart_SetupChannels(TKvChartView& chart) {
  chart.Channel_SetupFieldName("Chan");
  chart.Channel_SetupBottomAxis("Date - Time", "dd.mm - hh:mm:ss");
  chart.Channel_SetupLeftAxis("Level [dB]");
  chart.Channel_Add(1, "Level [dB]", "", true, "Level");
  chart.Channel_Add(2, "Range Min", "", true, "Min");
  chart.Channel_Add(3, "Range Max", "", true, "Max");
  chart.Channel_Add(4, "Average", "AverageFunction", false, "Avg");
  chart.Channel_Add(KvLeqChannelId, KvLeqChannelTitle, "", false, "Leq");
  chart.Channel_CreateFromList();
}
