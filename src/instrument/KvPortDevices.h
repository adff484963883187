#pragma once
// Where the port manager learns which serial devices exist and when that changes. The
// program reads the system's device database (udev) and hears its notices on the main
// thread; tests script the list and the notices.
#include <QObject>
#include <QString>
#include <QStringList>
#include <functional>
#include <vector>

struct TKvPortDevice {
  // Names the same device across runs and re-plugging: the adapter's serial number where it
  // has one, else its physical socket, else its device node.
  QString Id;
  QString Path;  // the node to open, "/dev/ttyUSB0"
  QString Name;  // what a user recognises it by, "FT232R USB UART"
};

enum class TKvDeviceNotice { Arrival, RemoveComplete, NodesChanged };

class TKvPortDeviceSource {
 public:
  virtual ~TKvPortDeviceSource() = default;
  virtual std::vector<TKvPortDevice> Devices() = 0;
  // One listener, called on the main thread when serial devices came, went or changed.
  std::function<void(TKvDeviceNotice)> OnNotice;
};

// Whether a tty node is a serial port: USB adapters and modems always, a "ttyS" node only
// with a UART behind it (uartType is the node's "type" attribute, 0 when no UART answers).
bool KvPort_IsSerialNode(const QString& name, int uartType);

struct udev;
struct udev_monitor;
class QSocketNotifier;
class TKvTimer;

class TKvUdevPortDevices : public QObject, public TKvPortDeviceSource {
  Q_OBJECT
 public:
  // virtualPaths: device nodes the user registered (pseudo-terminals, bridges); listed while
  // they exist. No device notice tells of them, so they are looked at every VirtualCheckMs
  // and a change is told as "nodes changed".
  explicit TKvUdevPortDevices(const QStringList& virtualPaths = {}, QObject* owner = nullptr);
  ~TKvUdevPortDevices() override;

  std::vector<TKvPortDevice> Devices() override;
  // Whether the system's device notices are heard; without them the list only changes when
  // the manager is asked to look again.
  bool Monitoring() const { return FNotifier != nullptr; }
  static constexpr int VirtualCheckMs = 1000;

 private:
  void MonitorReadable();
  void CheckVirtualPaths();
  QStringList PresentVirtualPaths() const;

  QStringList FVirtualPaths;
  QStringList FVirtualPresent;  // as last looked at
  TKvTimer* FVirtualCheck = nullptr;
  struct udev* FUdev = nullptr;
  struct udev_monitor* FMonitor = nullptr;
  QSocketNotifier* FNotifier = nullptr;
};
