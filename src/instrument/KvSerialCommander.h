#pragma once
// Puts the instrument's line on a port and the commander's handlers on its events: 2400 baud,
// 8 data bits, no parity, one stop bit, no handshake, DTR on, RTS off.
#include <memory>

#include "KvPortAssignments.h"
#include "KvPortDevices.h"
#include "SerDlgs.h"
#include "Serial.h"

class TDmKv_COM_Commander;

void KvSerial_SetupForCommander(TSerial& serial, TDmKv_COM_Commander& commander);

// The program's port engine: the system's serial devices and the registered virtual ports
// under stable COM numbers, one port on them, and its dialogs.
class TKvPortEngine {
 public:
  // devices: where serial devices come from; nullptr for the system's own (udev).
  explicit TKvPortEngine(TKvPortDeviceSource* devices = nullptr)
      : FUdev(devices ? nullptr
                      : std::make_unique<TKvUdevPortDevices>(FAssignments.VirtualDevices())),
        FManager(devices ? devices : FUdev.get(), &FAssignments),
        FSerial(&FManager),
        FDialogs(&FSerial) {}
  TSerial* Serial() { return &FSerial; }
  TCOMManager* Ports() { return &FManager; }
  TKvSerialPortDialogs* Dialogs() { return &FDialogs; }
  void Attach(TDmKv_COM_Commander& commander) { KvSerial_SetupForCommander(FSerial, commander); }

 private:
  TKvPortAssignments FAssignments;
  std::unique_ptr<TKvUdevPortDevices> FUdev;
  TCOMManager FManager;
  TSerial FSerial;
  TKvSerialPortDialogs FDialogs;
};
