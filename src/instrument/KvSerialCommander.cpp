#include "KvSerialCommander.h"

#include "Serial.h"
#include "UDmKv_COM_Commander.h"

void KvSerial_SetupForCommander(TSerial& serial, TDmKv_COM_Commander& commander) {
  serial.SetFrequency(9216000);
  serial.SetBaudrate(2400);
  serial.DataBits = db_8;
  serial.SetParityBit(none);
  serial.StopBits = sb_1;
  serial.HandshakeRtsCts = serial.HandshakeDtrDsr = serial.HandshakeXOnXOff = false;
  serial.RTSActive = false;
  serial.DTRActive = true;
  serial.EventChar = 0x0A;
  serial.SetRecTimeOut(0);
  serial.SetTrmTimeOut(1000);
  serial.SyncWait = true;
  serial.EnableEvents = true;
  serial.OnRxChar = [&commander] { commander.SerialRxChar(); };
  serial.OnCOMRemoved = [&commander] { commander.SerialCOMRemoved(); };
}
