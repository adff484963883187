#include <algorithm>

#include "KvPortAssignments.h"
#include "KvSys_Helper.h"
#include "Serial.h"

namespace {
TCOMManager* GInstance = nullptr;
}

TCOMManager::TCOMManager(TKvPortDeviceSource* source, TKvPortAssignments* assignments,
                         QObject* owner)
    : QObject(owner), FSource(source), FAssignments(assignments) {
  setObjectName("COMManager");
  if (!GInstance) GInstance = this;
  FSource->OnNotice = [this](TKvDeviceNotice notice) { DeviceNotice(notice); };
  CheckPorts(16);
}

TCOMManager::~TCOMManager() {
  FSource->OnNotice = nullptr;
  if (GInstance == this) GInstance = nullptr;
}

TCOMManager* TCOMManager::Instance() {
  return GInstance;
}

const TCOMManager::TPortEntry* TCOMManager::Find(int port) const {
  for (const TPortEntry& e : FPorts)
    if (e.Port == port) return &e;
  return nullptr;
}

QStringList TCOMManager::Ports() const {
  QStringList names;
  for (const TPortEntry& e : FPorts) names << QString("COM%1").arg(e.Port);
  return names;
}

bool TCOMManager::PortExists(int port) const {
  return Find(port) != nullptr;
}

int TCOMManager::Port2Index(int port) const {
  const TPortEntry* e = Find(port);
  return e ? int(e - FPorts.data()) : -1;
}

QString TCOMManager::FriendlyName(int port) const {
  const TPortEntry* e = Find(port);
  return e ? e->Device.Name + " (" + e->Device.Path + ")" : QString();
}

QString TCOMManager::DevicePath(int port) const {
  const TPortEntry* e = Find(port);
  return e ? e->Device.Path : QString();
}

QString TCOMManager::DeviceName(int port) const {
  const TPortEntry* e = Find(port);
  return e ? e->Device.Name : QString();
}

TCustomSerial* TCOMManager::Holder(int port) const {
  const TPortEntry* e = Find(port);
  return e ? e->Holder : nullptr;
}

void TCOMManager::CheckPorts(int toPort) {
  toPort = std::min(toPort, MaxPort);
  if (FCheckedPorts + 1 > toPort) return;
  const std::vector<TKvPortDevice> devices = FSource->Devices();
  QStringList ids;
  for (const TKvPortDevice& d : devices) ids << d.Id;
  const QMap<QString, int> numbers = FAssignments->Number(ids);
  for (const TKvPortDevice& d : devices) {
    const int port = numbers.value(d.Id, 0);
    if (port > FCheckedPorts && port <= toPort && !Find(port)) FPorts.push_back({port, d, nullptr});
  }
  std::sort(FPorts.begin(), FPorts.end(),
            [](const TPortEntry& a, const TPortEntry& b) { return a.Port < b.Port; });
  FCheckedPorts = toPort;
  RunFeedback();
}

int TCOMManager::RecheckPorts() {
  std::vector<TPortEntry> old;
  old.swap(FPorts);
  const int checked = FCheckedPorts;
  FCheckedPorts = 0;
  CheckPorts(checked);
  const int change = int(FPorts.size()) - int(old.size());

  for (const TPortEntry& e : FPorts) {
    const bool known = std::any_of(old.begin(), old.end(), [&](const TPortEntry& o) {
      return o.Port == e.Port && o.Device.Id == e.Device.Id;
    });
    if (!known)
      KvSysHelper().SysLog_Add(this, "",
                               QString("COM%1 arrived: ").arg(e.Port) + FriendlyName(e.Port));
  }
  for (const TPortEntry& o : old) {
    auto now = std::find_if(FPorts.begin(), FPorts.end(), [&](const TPortEntry& e) {
      return e.Port == o.Port && e.Device.Id == o.Device.Id;
    });
    if (now != FPorts.end()) {
      now->Holder = o.Holder;
      continue;
    }
    KvSysHelper().SysLog_Add(this, "",
                             QString("COM%1 (%2) removed").arg(o.Port).arg(o.Device.Path));
    if (o.Holder) o.Holder->COMRemovedNotice();
  }
  return change;
}

void TCOMManager::DeviceNotice(TKvDeviceNotice notice) {
  const int change = RecheckPorts();
  if (change == 0) return;
  bool added = change > 0;
  if (notice == TKvDeviceNotice::Arrival) added = true;
  if (notice == TKvDeviceNotice::RemoveComplete) added = false;
  const std::function<void()> event = added ? OnPortAdded : OnPortRemoved;
  if (event) event();
  RunFeedback();
}

void TCOMManager::RegisterFeedback(const void* owner, std::function<void()> proc) {
  const bool present = std::any_of(Feedback.begin(), Feedback.end(),
                                   [&](const TFeedback& f) { return f.Owner == owner; });
  if (!present) Feedback.push_back({owner, std::move(proc)});
}

void TCOMManager::UnregisterFeedback(const void* owner) {
  std::erase_if(Feedback, [&](const TFeedback& f) { return f.Owner == owner; });
}

void TCOMManager::RunFeedback() {
  const std::vector<TFeedback> procs = Feedback;  // a procedure may unregister itself
  for (const TFeedback& f : procs) f.Proc();
}

void TCOMManager::AssignCOM(TCustomSerial* Instance) {
  for (TPortEntry& e : FPorts)
    if (e.Port == Instance->COMPort()) e.Holder = Instance->Active() ? Instance : nullptr;
}
