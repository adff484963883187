#include "KvPortDevices.h"

#include <libudev.h>

#include <QFileInfo>
#include <QRegularExpression>
#include <QSocketNotifier>

#include "KvClock.h"

bool KvPort_IsSerialNode(const QString& name, int uartType) {
  static const QRegularExpression adapter("^tty(USB|ACM)\\d+$");
  static const QRegularExpression builtIn("^ttyS\\d+$");
  if (adapter.match(name).hasMatch()) return true;
  return builtIn.match(name).hasMatch() && uartType != 0;
}

namespace {
QString Property(udev_device* dev, const char* key) {
  return QString::fromUtf8(udev_device_get_property_value(dev, key));
}

QString ProductOf(udev_device* dev) {
  udev_device* usb = udev_device_get_parent_with_subsystem_devtype(dev, "usb", "usb_device");
  return usb ? QString::fromUtf8(udev_device_get_sysattr_value(usb, "product")) : QString();
}

QString NameOf(udev_device* dev) {
  for (const char* key : {"ID_MODEL_FROM_DATABASE", "ID_MODEL"}) {
    const QString v = Property(dev, key);
    if (!v.isEmpty()) return QString(v).replace('_', ' ');
  }
  const QString product = ProductOf(dev);
  return product.isEmpty() ? QStringLiteral("Serial port") : product;
}

QString IdOf(udev_device* dev, const QString& path) {
  // A serial number follows the adapter to any socket; without one the socket is the next
  // best thing, since node numbers are handed out in plug-in order.
  if (!Property(dev, "ID_SERIAL_SHORT").isEmpty())
    return "serial:" + Property(dev, "ID_SERIAL") + ':' + Property(dev, "ID_USB_INTERFACE_NUM");
  const QString socket = Property(dev, "ID_PATH");
  return socket.isEmpty() ? path : "socket:" + socket;
}

bool IsSerialDevice(udev_device* dev) {
  const char* sysname = udev_device_get_sysname(dev);
  const char* type = udev_device_get_sysattr_value(dev, "type");
  return sysname && KvPort_IsSerialNode(QString::fromUtf8(sysname), type ? atoi(type) : 0);
}
}  // namespace

TKvUdevPortDevices::TKvUdevPortDevices(const QStringList& virtualPaths, QObject* owner)
    : QObject(owner), FVirtualPaths(virtualPaths), FUdev(udev_new()) {
  if (!FVirtualPaths.isEmpty()) {
    FVirtualPresent = PresentVirtualPaths();
    FVirtualCheck = new TKvTimer(this, VirtualCheckMs);
    FVirtualCheck->OnTimer = [this] { CheckVirtualPaths(); };
    FVirtualCheck->SetEnabled(true);
  }
  if (!FUdev) return;
  FMonitor = udev_monitor_new_from_netlink(FUdev, "udev");
  if (!FMonitor) return;
  udev_monitor_filter_add_match_subsystem_devtype(FMonitor, "tty", nullptr);
  if (udev_monitor_enable_receiving(FMonitor) < 0) return;
  FNotifier = new QSocketNotifier(udev_monitor_get_fd(FMonitor), QSocketNotifier::Read, this);
  connect(FNotifier, &QSocketNotifier::activated, this, &TKvUdevPortDevices::MonitorReadable);
}

TKvUdevPortDevices::~TKvUdevPortDevices() {
  delete FNotifier;
  if (FMonitor) udev_monitor_unref(FMonitor);
  if (FUdev) udev_unref(FUdev);
}

std::vector<TKvPortDevice> TKvUdevPortDevices::Devices() {
  std::vector<TKvPortDevice> result;
  if (FUdev) {
    udev_enumerate* en = udev_enumerate_new(FUdev);
    udev_enumerate_add_match_subsystem(en, "tty");
    udev_enumerate_scan_devices(en);
    udev_list_entry* entry;
    udev_list_entry_foreach(entry, udev_enumerate_get_list_entry(en)) {
      udev_device* dev = udev_device_new_from_syspath(FUdev, udev_list_entry_get_name(entry));
      if (!dev) continue;
      const QString path = QString::fromUtf8(udev_device_get_devnode(dev));
      if (!path.isEmpty() && IsSerialDevice(dev))
        result.push_back({IdOf(dev, path), path, NameOf(dev)});
      udev_device_unref(dev);
    }
    udev_enumerate_unref(en);
  }
  for (const QString& path : PresentVirtualPaths())
    result.push_back({path, path, QStringLiteral("Virtual port")});
  return result;
}

QStringList TKvUdevPortDevices::PresentVirtualPaths() const {
  QStringList present;
  for (const QString& path : FVirtualPaths)
    if (QFileInfo::exists(path)) present << path;
  return present;
}

void TKvUdevPortDevices::CheckVirtualPaths() {
  const QStringList present = PresentVirtualPaths();
  if (present == FVirtualPresent) return;
  FVirtualPresent = present;
  if (OnNotice) OnNotice(TKvDeviceNotice::NodesChanged);
}

void TKvUdevPortDevices::MonitorReadable() {
  udev_device* dev = udev_monitor_receive_device(FMonitor);
  if (!dev) return;
  const QString action = QString::fromUtf8(udev_device_get_action(dev));
  // A removed node's attributes are gone already, so only its name can tell what it was.
  const char* sysname = udev_device_get_sysname(dev);
  const bool serial = action == "remove"
                          ? sysname && KvPort_IsSerialNode(QString::fromUtf8(sysname), 1)
                          : IsSerialDevice(dev);
  udev_device_unref(dev);
  if (!serial || !OnNotice) return;
  if (action == "add")
    OnNotice(TKvDeviceNotice::Arrival);
  else if (action == "remove")
    OnNotice(TKvDeviceNotice::RemoveComplete);
  else
    OnNotice(TKvDeviceNotice::NodesChanged);
}
