#include "KvDockedViews.h"

TKvTableView* FrmDxTable = nullptr;
TKvChartView* FrmDxChart = nullptr;
TKvDisplayView* FrmDxLvxDisplay = nullptr;

TKvViewMakers& KvViewMakers() {
  static TKvViewMakers makers;
  return makers;
}
