#pragma once
// Puts the instrument's line on a port and the commander's handlers on its events: 2400 baud,
// 8 data bits, no parity, one stop bit, no handshake, DTR on, RTS off.
#include "KvPortAssignments.h"
#include "KvPortDevices.h"
#include "Serial.h"

class TDmKv_COM_Commander;

void KvSerial_SetupForCommander(TSerial& serial, TDmKv_COM_Commander& commander);

// The program's port engine: the system's serial devices and the registered virtual ports
// under stable COM numbers, and one port on them.
class TKvPortEngine {
 public:
  TKvPortEngine()
      : FDevices(FAssignments.VirtualDevices()),
        FManager(&FDevices, &FAssignments),
        FSerial(&FManager) {}
  TSerial* Serial() { return &FSerial; }
  TCOMManager* Ports() { return &FManager; }
  void Attach(TDmKv_COM_Commander& commander) { KvSerial_SetupForCommander(FSerial, commander); }

 private:
  TKvPortAssignments FAssignments;
  TKvUdevPortDevices FDevices;
  TCOMManager FManager;
  TSerial FSerial;
};
