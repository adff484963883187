#pragma once
// The facts about this machine that the about box and the support message report: operating
// system and kernel, machine and user, processor, network and proxy, text size and folders.
// Read from the system when asked; nothing is cached.
#include <QString>

enum class TKvBootMode { bmUnknown, bmNormal, bmSafeMode, bmSafeModeNetwork };
QString KvBootMode_Name(TKvBootMode mode);

struct TKvSysInfo {
  QString OsProduct;      // "Debian GNU/Linux 12 (bookworm)"
  QString OsProductId;    // "debian"
  QString OsEdition;      // the distribution's variant, often empty
  QString OsVersion;      // "12" or "22.04"
  QString OsPlatform;     // kernel name, release and machine: "Linux 6.1.0 x86_64"
  QString OsKernel;       // the kernel release: "6.1.0-18-amd64"
  QString OsServicePack;  // the kernel build: "#1 SMP PREEMPT_DYNAMIC Debian 6.1.x"
  bool MediaCenter = false;
  bool Tablet = false;
  bool Server = false;  // no desktop session
  bool Wow64 = false;   // a 32-bit program on a 64-bit system
  bool Remote = false;  // a session over the network
  QString ComputerName;
  QString UserName;
  QString CpuName;
  int CpuCount = 0;
  bool Is64Bit = false;
  TKvBootMode BootMode = TKvBootMode::bmUnknown;
  bool NetworkInstalled = false;
  bool NetworkConnected = false;
  QString LocalIp;
  QString Gateway;
  QString ProxyVariable;  // the environment variable the proxy came from; empty for none
  QString ProxyHost;
  QString ProxyOverride;   // the hosts reached without the proxy
  bool HostFound = false;  // the machine's own name resolves
  int TextDpi = 96;
};

TKvSysInfo KvSysInfo_Read();

// One line of a facts list: "label: value", or the value alone when the label is empty.
QString KvSysInfo_Line(const QString& label, const QString& value);
QString KvSysInfo_Line(const QString& label, bool value);
QString KvSysInfo_Line(const QString& label, int value);
QString KvSysInfo_Line(const QString& label, TKvBootMode value);

// The default gateway of a kernel routing table as /proc/net/route lists it; empty for none.
QString KvSysInfo_GatewayFromRoutes(const QByteArray& routes);
// " (standard)", " (large)", " (larger e.g. Win-7)" or " (unknown: <dpi>)".
QString KvSysInfo_TextSizeName(int dpi);
