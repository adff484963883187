#pragma once
// A port manager over a scripted device list, its numbering file in a temporary folder, and
// pseudo-terminals standing in for serial devices.
#include <linux/capability.h>
#include <pty.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <QTemporaryDir>
#include <initializer_list>
#include <memory>

#include "KvPortAssignments.h"
#include "KvSys_Helper.h"
#include "LvxTestSupport.h"
#include "Serial.h"

class TScriptedDevices : public TKvPortDeviceSource {
 public:
  std::vector<TKvPortDevice> List;
  std::vector<TKvPortDevice> Devices() override { return List; }
  void Notify(TKvDeviceNotice notice) { OnNotice(notice); }
};

inline TKvPortDevice Device(const QString& id) {
  return {id, "/dev/" + id, "Adapter " + id};
}

// Both ends of a pseudo-terminal; the test writes to Master, a port opens Path.
struct TPty {
  int Master = -1;
  QString Path;
  TPty() {
    int slave = -1;
    char name[256];
    if (openpty(&Master, &slave, name, nullptr, nullptr) == 0) {
      Path = QString::fromLocal8Bit(name);
      close(slave);  // the port under test is the only one holding the line
    }
  }
  ~TPty() { CloseMaster(); }
  void CloseMaster() {
    if (Master >= 0) close(Master);
    Master = -1;
  }
  void Write(const QByteArray& bytes) const {
    ASSERT_EQ(write(Master, bytes.constData(), size_t(bytes.size())), bytes.size());
  }
  TKvPortDevice AsDevice() const { return {Path, Path, "Virtual port"}; }
};

// Takes capabilities away from this thread (and the threads it starts meanwhile), so that
// what a user may not do can be tried in a container that runs as root. Restores them on
// destruction.
class TWithoutCapabilities {
 public:
  explicit TWithoutCapabilities(std::initializer_list<int> caps) {
    FOk = syscall(SYS_capget, &FHeader, FSaved) == 0;
    if (!FOk) return;
    __user_cap_data_struct reduced[2] = {FSaved[0], FSaved[1]};
    for (int cap : caps) reduced[cap / 32].effective &= ~(1u << (cap % 32));
    FOk = syscall(SYS_capset, &FHeader, reduced) == 0;
  }
  ~TWithoutCapabilities() {
    if (FOk) syscall(SYS_capset, &FHeader, FSaved);
  }

 private:
  __user_cap_header_struct FHeader{_LINUX_CAPABILITY_VERSION_3, 0};
  __user_cap_data_struct FSaved[2]{};
  bool FOk = false;
};

class PortManagerTest : public VirtualTimeTest {
 protected:
  void SetUp() override {
    VirtualTimeTest::SetUp();
    ASSERT_TRUE(Dir.isValid());
    KvSysFolders().RedirectTo(Dir.path());
    KvSysHelper().SysLog_Clear();
  }
  void TearDown() override {
    Manager.reset();
    Assignments.reset();
    KvSysFolders().RedirectTo(QString());
    VirtualTimeTest::TearDown();
  }
  // A fresh manager, as in a new run of the program: the numbering comes from the file.
  TCOMManager& Restart() {
    Manager.reset();
    Assignments = std::make_unique<TKvPortAssignments>();
    Manager = std::make_unique<TCOMManager>(&Devices, Assignments.get());
    return *Manager;
  }
  // A component on a manager that knows only this pseudo-terminal.
  std::unique_ptr<TSerial> SerialOn(TPty& pty) {
    Devices.List = {pty.AsDevice()};
    Restart();
    return std::make_unique<TSerial>(Manager.get());
  }
  bool Logged(const QString& fragment) const {
    return !KvSysHelper().SysLog_Get().filter(fragment).isEmpty();
  }

  QTemporaryDir Dir;
  TScriptedDevices Devices;
  std::unique_ptr<TKvPortAssignments> Assignments;
  std::unique_ptr<TCOMManager> Manager;
};
