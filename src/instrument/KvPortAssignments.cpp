#include "KvPortAssignments.h"

#include "KvAppIniFileStorage.h"

namespace {
const char* const kSection = "COMPorts";
const char* const kVirtual = "VirtualPorts";

QString Key(int port) {
  return QString("COM%1").arg(port);
}
}  // namespace

TKvPortAssignments::TKvPortAssignments() : FStore(std::make_unique<TKvAppIniFileStorage>()) {
  FStore->setObjectName("KvPortAssignments");
  FStore->FileName = "%FILENAME%_Ports.ini";
}

TKvPortAssignments::~TKvPortAssignments() = default;

QString TKvPortAssignments::FileName() const {
  return FStore->FullFileName();
}

QMap<QString, int> TKvPortAssignments::Number(const QStringList& presentIds) {
  QMap<QString, int> stored;  // id -> number
  QString holder[MaxPort + 1];
  for (int port = 1; port <= MaxPort; ++port) {
    holder[port] = FStore->ReadString(kSection, Key(port), "");
    if (!holder[port].isEmpty()) stored.insert(holder[port], port);
  }

  QMap<QString, int> result;
  QStringList fresh;
  for (const QString& id : presentIds) {
    if (stored.contains(id))
      result.insert(id, stored.value(id));
    else if (!fresh.contains(id))
      fresh << id;
  }
  bool changed = false;
  auto take = [&](auto usable) {
    for (int port = 1; port <= MaxPort && !fresh.isEmpty(); ++port) {
      if (!usable(port)) continue;
      const QString id = fresh.takeFirst();
      holder[port] = id;
      result.insert(id, port);
      FStore->WriteString(kSection, Key(port), id);
      changed = true;
    }
  };
  take([&](int port) { return holder[port].isEmpty(); });
  take([&](int port) { return !presentIds.contains(holder[port]); });
  if (changed) FStore->Flush();
  return result;
}

QStringList TKvPortAssignments::VirtualDevices() const {
  return FStore->ReadString(kVirtual, "Devices", "").split(';', Qt::SkipEmptyParts);
}

void TKvPortAssignments::SetVirtualDevices(const QStringList& paths) {
  FStore->WriteString(kVirtual, "Devices", paths.join(';'));
  FStore->Flush();
}
