#include "KvSysInfo.h"

#include <pwd.h>
#include <sys/utsname.h>
#include <unistd.h>

#include <QFile>
#include <QGuiApplication>
#include <QHostAddress>
#include <QHostInfo>
#include <QNetworkInterface>
#include <QScreen>
#include <QSysInfo>
#include <QThread>
#include <QUrl>
#include <QtEndian>

namespace {

QByteArray ReadAll(const char* fileName) {
  QFile f(fileName);
  return f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray();
}

// The value of key in a "KEY=value" file such as os-release, without quotes.
QString KeyValue(const QByteArray& text, const QByteArray& key) {
  for (const QByteArray& line : text.split('\n'))
    if (line.startsWith(key + '=')) {
      QByteArray value = line.mid(key.size() + 1).trimmed();
      if (value.size() >= 2 && (value.startsWith('"') || value.startsWith('\'')))
        value = value.mid(1, value.size() - 2);
      return QString::fromUtf8(value);
    }
  return {};
}

QString CpuName() {
  const QByteArray cpu = ReadAll("/proc/cpuinfo");
  for (const QByteArray& line : cpu.split('\n'))
    if (line.startsWith("model name"))
      return QString::fromUtf8(line.mid(line.indexOf(':') + 1).trimmed());
  return QSysInfo::currentCpuArchitecture();
}

TKvBootMode BootMode() {
  const QByteArray cmdline = ReadAll("/proc/cmdline");
  if (cmdline.isEmpty()) return TKvBootMode::bmUnknown;
  const QList<QByteArray> words = cmdline.simplified().split(' ');
  const bool rescue = words.contains("single") || words.contains("rescue") ||
                      words.contains("systemd.unit=rescue.target") || words.contains("S");
  if (!rescue) return TKvBootMode::bmNormal;
  return words.contains("systemd.unit=emergency.target") ? TKvBootMode::bmSafeMode
                                                         : TKvBootMode::bmSafeModeNetwork;
}

QString UserName() {
  const passwd* pw = getpwuid(getuid());
  return pw ? QString::fromLocal8Bit(pw->pw_name) : qEnvironmentVariable("USER");
}

void ReadNetwork(TKvSysInfo& info) {
  for (const QNetworkInterface& nic : QNetworkInterface::allInterfaces()) {
    if (nic.flags() & QNetworkInterface::IsLoopBack) continue;
    info.NetworkInstalled = true;
    const bool up =
        (nic.flags() & QNetworkInterface::IsUp) && (nic.flags() & QNetworkInterface::IsRunning);
    if (!up) continue;
    for (const QNetworkAddressEntry& entry : nic.addressEntries())
      if (entry.ip().protocol() == QAbstractSocket::IPv4Protocol) {
        info.NetworkConnected = true;
        if (info.LocalIp.isEmpty()) info.LocalIp = entry.ip().toString();
      }
  }
  info.Gateway = KvSysInfo_GatewayFromRoutes(ReadAll("/proc/net/route"));
}

void ReadProxy(TKvSysInfo& info) {
  for (const char* name :
       {"https_proxy", "HTTPS_PROXY", "http_proxy", "HTTP_PROXY", "all_proxy", "ALL_PROXY"}) {
    const QString value = qEnvironmentVariable(name);
    if (value.isEmpty()) continue;
    info.ProxyVariable = name;
    const QUrl url = QUrl::fromUserInput(value);
    info.ProxyHost = url.port() > 0 ? QString("%1:%2").arg(url.host()).arg(url.port()) : url.host();
    info.ProxyOverride = qEnvironmentVariable("no_proxy", qEnvironmentVariable("NO_PROXY"));
    return;
  }
}

}  // namespace

QString KvBootMode_Name(TKvBootMode mode) {
  switch (mode) {
    case TKvBootMode::bmNormal:
      return "bmNormal";
    case TKvBootMode::bmSafeMode:
      return "bmSafeMode";
    case TKvBootMode::bmSafeModeNetwork:
      return "bmSafeModeNetwork";
    default:
      return "bmUnknown";
  }
}

QString KvSysInfo_Line(const QString& label, const QString& value) {
  return label.isEmpty() ? value : label + ": " + value;
}

QString KvSysInfo_Line(const QString& label, bool value) {
  return KvSysInfo_Line(label, QString(value ? "True" : "False"));
}

QString KvSysInfo_Line(const QString& label, int value) {
  return KvSysInfo_Line(label, QString::number(value));
}

QString KvSysInfo_Line(const QString& label, TKvBootMode value) {
  return KvSysInfo_Line(label, KvBootMode_Name(value));
}

QString KvSysInfo_GatewayFromRoutes(const QByteArray& routes) {
  // Columns: interface, destination, gateway, flags, ...; an address is its network-order
  // bytes read as a number of this machine. The default route has destination 0 and the gateway
  // flag (2).
  for (const QByteArray& line : routes.split('\n').mid(1)) {
    const QList<QByteArray> cols = line.simplified().split(' ');
    if (cols.size() < 4 || cols[1] != "00000000") continue;
    bool ok = false;
    const uint flags = cols[3].toUInt(&ok, 16);
    const quint32 gateway = cols[2].toUInt(&ok, 16);
    if (!ok || !(flags & 2) || gateway == 0) continue;
    return QHostAddress(qFromBigEndian(gateway)).toString();
  }
  return {};
}

QString KvSysInfo_TextSizeName(int dpi) {
  switch (dpi) {
    case 96:
      return " (standard)";
    case 120:
      return " (large)";
    case 144:
      return " (larger e.g. Win-7)";
    default:
      return QString(" (unknown: %1)").arg(dpi);
  }
}

TKvSysInfo KvSysInfo_Read() {
  TKvSysInfo info;
  const QByteArray osRelease = ReadAll("/etc/os-release");
  info.OsProduct = QSysInfo::prettyProductName();
  info.OsProductId = QSysInfo::productType();
  info.OsEdition = KeyValue(osRelease, "VARIANT");
  info.OsVersion = QSysInfo::productVersion();
  utsname uts{};
  if (uname(&uts) == 0) {
    info.OsPlatform = QString("%1 %2 %3").arg(uts.sysname, uts.release, uts.machine);
    info.OsKernel = QString::fromLocal8Bit(uts.release);
    info.OsServicePack = QString::fromLocal8Bit(uts.version);
  }
  info.Server = qEnvironmentVariable("XDG_CURRENT_DESKTOP").isEmpty() &&
                qEnvironmentVariable("XDG_SESSION_TYPE").isEmpty();
  info.Wow64 = QSysInfo::buildCpuArchitecture() != QSysInfo::currentCpuArchitecture();
  info.Remote = qEnvironmentVariableIsSet("SSH_CONNECTION") ||
                qEnvironmentVariable("DISPLAY").section(':', 0, 0).size() > 0;
  info.ComputerName = QSysInfo::machineHostName();
  info.UserName = UserName();
  info.CpuName = CpuName();
  info.CpuCount = QThread::idealThreadCount();
  info.Is64Bit = QSysInfo::currentCpuArchitecture().contains("64");
  info.BootMode = BootMode();
  ReadNetwork(info);
  ReadProxy(info);
  info.HostFound = QHostInfo::fromName(info.ComputerName).error() == QHostInfo::NoError;
  QScreen* screen = qobject_cast<QGuiApplication*>(QCoreApplication::instance())
                        ? QGuiApplication::primaryScreen()
                        : nullptr;
  info.TextDpi = screen ? qRound(screen->logicalDotsPerInch()) : 96;
  return info;
}
