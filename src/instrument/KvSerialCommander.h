#pragma once
// Puts the instrument's line on a port and the commander's handlers on its events: 2400 baud,
// 8 data bits, no parity, one stop bit, no handshake, DTR on, RTS off.
class TSerial;
class TDmKv_COM_Commander;

void KvSerial_SetupForCommander(TSerial& serial, TDmKv_COM_Commander& commander);
