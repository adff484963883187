#pragma once
// A list of timer events sharing one Tag, as forms and modules group their periodic work
// (search steps, button colours, simulation). Event i is Events[i].
#include <QObject>
#include <vector>

#include "KvClock.h"

class TKvTimerList : public QObject {
  Q_OBJECT
 public:
  explicit TKvTimerList(QObject* owner = nullptr) : QObject(owner) {}
  TKvTimer* AddEvent(int interval, bool oneShot = false) {
    Events.push_back(new TKvTimer(this, interval, oneShot));
    return Events.back();
  }
  TKvTimer* operator[](size_t i) const { return Events.at(i); }

  int Tag = 0;
  std::vector<TKvTimer*> Events;  // owned through the QObject tree
};
