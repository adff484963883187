#pragma once
// Every frame test runs on the virtual clock with all folders redirected into a fresh
// temporary folder, a pinned 1920x1080 screen, the default folder names and an empty log.
#include <QFile>
#include <QTemporaryDir>

#include "KvSys_Helper.h"
#include "LvxTestSupport.h"

class FrameFolderTest : public VirtualTimeTest {
 protected:
  void SetUp() override {
    VirtualTimeTest::SetUp();
    ASSERT_TRUE(Tmp.isValid());
    KvSysFolders().RedirectTo(Tmp.path());
    KvSysFolders().PinScreenSize(QSize(1920, 1080));
    KvSys_AppFolders_Set("", "");
    KvSysHelper().SysLog_Clear();
    KvSysHelper().SysFile_AppStorage_Set("");
  }
  void TearDown() override {
    KvSysHelper().SysLog_Clear();
    KvSysHelper().SysFile_AppStorage_Set("");
    KvSysFolders().RedirectTo("");
    KvSysFolders().PinScreenSize(std::nullopt);
    VirtualTimeTest::TearDown();
  }
  QString Path(const QString& relative) const { return Tmp.path() + '/' + relative; }
  static QByteArray ReadFile(const QString& name) {
    QFile f(name);
    return f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray();
  }
  static void WriteFile(const QString& name, const QByteArray& bytes) {
    QFile f(name);
    ASSERT_TRUE(f.open(QIODevice::WriteOnly)) << name.toStdString();
    f.write(bytes);
  }

  QTemporaryDir Tmp;
};
