// lvxtool record --port as a service runs it: a meter on a pseudo-terminal reached through a
// symbolic link, killed without warning and started again, unplugged and plugged in again
// under the same path. These run in real time, a few seconds each.
#include <gtest/gtest.h>
#include <pty.h>
#include <signal.h>
#include <termios.h>
#include <unistd.h>

#include <QFile>
#include <QProcess>
#include <QTemporaryDir>
#include <algorithm>
#include <atomic>
#include <chrono>
#include <thread>

#include "MeterRecord.h"

namespace {
using namespace std::chrono_literals;

// A meter on a pseudo-terminal that the link points at, sending at the line's rate.
class TPtyMeter {
 public:
  explicit TPtyMeter(const QString& link) {
    EXPECT_EQ(openpty(&FMaster, &FSlave, nullptr, nullptr, nullptr), 0);
    termios t{};
    tcgetattr(FSlave, &t);
    cfmakeraw(&t);
    tcsetattr(FSlave, TCSANOW, &t);
    // Re-pointed in one step, as a device manager does.
    const QString temp = link + ".new";
    QFile::remove(temp);
    EXPECT_EQ(symlink(ttyname(FSlave), temp.toLocal8Bit().constData()), 0);
    EXPECT_EQ(rename(temp.toLocal8Bit().constData(), link.toLocal8Bit().constData()), 0);
  }
  ~TPtyMeter() { Unplug(); }
  // Sends readings first.. for the given time, 13 a second; returns the next index.
  int Send(int first, std::chrono::milliseconds duration, std::atomic<int>* sent = nullptr) {
    const auto end = std::chrono::steady_clock::now() + duration;
    int i = first;
    for (; std::chrono::steady_clock::now() < end; ++i) {
      const QByteArray r = MeterRecord(300 + i % 600, i);
      EXPECT_EQ(write(FMaster, r.constData(), r.size()), r.size());
      if (sent) *sent = i + 1;
      std::this_thread::sleep_for(77ms);
    }
    return i;
  }
  void Unplug() {
    if (FMaster >= 0) close(FMaster);
    if (FSlave >= 0) close(FSlave);
    FMaster = FSlave = -1;
  }

 private:
  int FMaster = -1, FSlave = -1;
};

class LvxToolRecordPortTest : public ::testing::Test {
 protected:
  void Start(QProcess& p, const QStringList& extra = {}) {
    QProcessEnvironment e = QProcessEnvironment::systemEnvironment();
    e.insert("XDG_CONFIG_HOME", Dir.filePath("config"));
    p.setProcessEnvironment(e);
    p.start(LVXTOOL_PATH, QStringList{"record", "--port", Link} + extra + QStringList{Out});
    ASSERT_TRUE(p.waitForStarted());
  }
  // Waits until the tool has said text on its error output.
  static bool Said(QProcess& p, QByteArray& said, const char* text) {
    for (int i = 0; i < 300 && !said.contains(text); ++i) {
      p.waitForReadyRead(100);
      said += p.readAllStandardError();
    }
    return said.contains(text);
  }
  // The readings' indexes in the document, in the order recorded.
  std::vector<int> Recorded() {
    QProcess dump;
    dump.start(LVXTOOL_PATH, {"dump", Out});
    EXPECT_TRUE(dump.waitForFinished(30000));
    std::vector<int> found;
    for (const QByteArray& line : dump.readAllStandardOutput().split('\n')) {
      const QList<QByteArray> cells = line.split(',');
      if (cells.size() < 4) continue;
      const QList<QByteArray> t = cells[3].split(':');
      found.push_back(t[0].toInt() * 3600 + t[1].toInt() * 60 + int(t[2].toDouble()));
    }
    return found;
  }
  static std::vector<int> Range(int from, int to) {
    std::vector<int> r;
    for (int i = from; i < to; ++i) r.push_back(i);
    return r;
  }

  QTemporaryDir Dir;
  QString Link = Dir.filePath("meter"), Out = Dir.filePath("out.dat");
};
}  // namespace

TEST_F(LvxToolRecordPortTest, KilledWhileRecordingItLosesAtMostTheLastSecondAndRecoversTheRest) {
  TPtyMeter meter(Link);
  QProcess first;
  Start(first);
  QByteArray said;
  ASSERT_TRUE(Said(first, said, "recording from")) << said.toStdString();
  std::atomic<int> sent{0};
  std::thread feeder([&] { meter.Send(0, 3s, &sent); });
  std::this_thread::sleep_for(2s);
  const int sentAtKill = sent;
  kill(pid_t(first.processId()), SIGKILL);
  feeder.join();
  first.waitForFinished();

  QProcess second;
  Start(second, {"--duration", "1"});
  ASSERT_TRUE(second.waitForFinished(30000));
  EXPECT_EQ(second.exitCode(), 0);
  EXPECT_TRUE(second.readAllStandardError().contains("recovered")) << sentAtKill;
  // The meter went on sending: what the second run found waiting comes after the recovered
  // ones. Nothing twice, nothing out of order, no more missing than a second's worth.
  const std::vector<int> rows = Recorded();
  EXPECT_TRUE(std::is_sorted(rows.begin(), rows.end()));
  EXPECT_EQ(std::adjacent_find(rows.begin(), rows.end()), rows.end());
  const auto beforeKill =
      std::count_if(rows.begin(), rows.end(), [&](int i) { return i < sentAtKill; });
  EXPECT_GE(beforeKill, sentAtKill - 13) << sentAtKill;
  EXPECT_LE(rows.back(), sent - 1);
}

TEST_F(LvxToolRecordPortTest, ALinkPointedAtANewDeviceIsFollowedAndSigtermSavesEverything) {
  QProcess tool;
  Start(tool);
  QByteArray said;
  int next;
  {
    TPtyMeter before(Link);
    ASSERT_TRUE(Said(tool, said, "recording from")) << said.toStdString();
    next = before.Send(0, 1s);
  }
  ASSERT_TRUE(Said(tool, said, "was unplugged")) << said.toStdString();
  TPtyMeter after(Link);
  ASSERT_TRUE(Said(tool, said, "recording again from")) << said.toStdString();
  const int end = after.Send(next, 1s);
  std::this_thread::sleep_for(300ms);
  kill(pid_t(tool.processId()), SIGTERM);
  ASSERT_TRUE(tool.waitForFinished(30000));
  EXPECT_EQ(tool.exitStatus(), QProcess::NormalExit);
  EXPECT_EQ(tool.exitCode(), 0);
  EXPECT_EQ(Recorded(), Range(0, end));
}
