#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QApplication>

#include "KvLocale.h"
#include "LvxTestSupport.h"

int main(int argc, char** argv) {
  qputenv("QT_QPA_PLATFORM",
          qgetenv("QT_QPA_PLATFORM").isEmpty() ? "offscreen" : qgetenv("QT_QPA_PLATFORM"));
  QApplication app(argc, argv);
  KvLocale_Pin(PinnedTestLocale());
  ::testing::InitGoogleMock(&argc, argv);
  return RUN_ALL_TESTS();
}
