#pragma once
// Which COM number each serial device has, kept in a small file in the user's application
// data folder so that an adapter shows up under the same number in every run and after
// re-plugging, and the ports a user registered by hand (pseudo-terminals, bridges).
//
// File "<program>_Ports.ini": section [COMPorts] with "COM<n>=<device id>", section
// [VirtualPorts] with "Devices=<path>;<path>".
#include <QMap>
#include <QString>
#include <QStringList>
#include <memory>

class TKvAppIniFileStorage;

class TKvPortAssignments {
 public:
  static constexpr int MaxPort = 99;

  TKvPortAssignments();
  ~TKvPortAssignments();

  // Numbers for the devices present, by id. A known id keeps its number; a new one takes the
  // lowest number never given out, or, when all are, the lowest whose device is absent. Ids
  // beyond that get none. New numbers are saved at once.
  QMap<QString, int> Number(const QStringList& presentIds);

  QStringList VirtualDevices() const;
  void SetVirtualDevices(const QStringList& paths);
  QString FileName() const;

 private:
  std::unique_ptr<TKvAppIniFileStorage> FStore;
};
