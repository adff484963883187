// The display inside the program as shipped: started through the entry's own wiring (the
// diagram editor module first, the display registered and docked on the first showing),
// with no serial devices, the simulated instrument driving it through the commander and the
// main window's 50 ms hand-over.
#include <QAbstractScrollArea>
#include <QComboBox>
#include <QPushButton>
#include <QTabWidget>
#include <QTest>
#include <QWheelEvent>

#include "../frame/AppModuleFixture.h"
#include "../instrument/SerialFixture.h"
#include "DisplayTestSupport.h"
#include "KvDiagram.h"
#include "LvxProgram.h"
#include "UDmKvDiagramEditor.h"
#include "UDxLvxDisplay.h"
#include "UDxLvx_Connect.h"
#include "UFrmLvx_Main.h"

class DisplayStartupTest : public AppModuleTest {};

TEST_F(DisplayStartupTest, SimulatedReadingsReachTheDisplay) {
  WriteFile(SkinFile(), "[Brevik]\nQWidget {}\n");
  TScriptedDevices devices;
  TLvxProgram program(&devices);
  program.Main().show();
  auto* display = dynamic_cast<TFrmDxLvxDisplay*>(FrmDxLvxDisplay);
  ASSERT_NE(display, nullptr);
  ASSERT_NE(DmKvDiagramEditor, nullptr);
  EXPECT_EQ(display->parentWidget(), program.Main().cxGroupBoxDisplay);
  EXPECT_EQ(program.Main().dxLayoutControl1GroupMain->currentWidget(),
            program.Main().cxGroupBoxDisplay);

  QComboBox* ports = FrmLvx_Connect->cxComboBoxCOM;
  ports->setCurrentIndex(ports->findText("Simulation"));
  QTest::mouseClick(FrmLvx_Connect->cxButtonConnect, Qt::LeftButton);
  Clock.Advance(3000 + 50);

  const TKvUniqueData d = program.Main().DataCopy();
  ASSERT_TRUE(d.bValid);
  EXPECT_EQ(display->cxLabelSoundVal->text(), d.strVal);
  EXPECT_EQ(display->cxLabelTimeVal->text(), d.strTime);
  EXPECT_EQ(display->cxLabelLowVal->text(), d.strLo);
  EXPECT_EQ(display->cxLabelHiVal->text(), d.strHi);
  EXPECT_EQ(display->cxLabelSending->isVisibleTo(display), d.bConnected);
  EXPECT_EQ(display->cxLabelMemo->isVisibleTo(display), d.bConnected && !d.bLive);
  EXPECT_EQ(KvDgrBargraph().dFrom, d.dLo);
  EXPECT_EQ(KvDgrBargraph().dTo, d.dHi);

  // The ring on screen shows the level.
  int lit = 0;
  const double level = std::max(d.dVal, d.dLo);
  while (lit < 26 && level >= d.dLo + lit * (d.dHi - d.dLo) / 26) ++lit;
  ASSERT_GT(lit, 0);
  ASSERT_LT(lit, 26);
  const QImage img = display->grab().toImage();
  auto* diagram = qobject_cast<QAbstractScrollArea*>(display->findChild<QWidget*>("kvDiagram1"));
  ASSERT_NE(diagram, nullptr);
  EXPECT_EQ(KvTicksOnScreen(img, diagram->viewport()->mapTo(display, QPoint(0, 0))), KvTicks(lit));

  program.Shutdown();
  EXPECT_EQ(FrmDxLvxDisplay, nullptr);
  EXPECT_EQ(DmKvDiagramEditor, nullptr);
}

// The display's diagram takes the wheel as the program sets it up: Ctrl with the wheel zooms
// in steps of 10 within its limits.
TEST_F(DisplayStartupTest, CtrlWheelZoomsTheDisplay) {
  WriteFile(SkinFile(), "[Brevik]\nQWidget {}\n");
  TScriptedDevices devices;
  TLvxProgram program(&devices);
  program.Main().show();
  auto* display = dynamic_cast<TFrmDxLvxDisplay*>(FrmDxLvxDisplay);
  ASSERT_NE(display, nullptr);
  auto* diagram = dynamic_cast<TKvDiagram*>(display->findChild<QWidget*>("kvDiagram1"));
  ASSERT_NE(diagram, nullptr);
  const int before = diagram->Zoom();
  auto wheel = [&](int delta) {
    const QPointF at(50, 50);
    QWheelEvent e(at, diagram->viewport()->mapToGlobal(at), QPoint(), QPoint(0, delta),
                  Qt::NoButton, Qt::ControlModifier, Qt::NoScrollPhase, false);
    QCoreApplication::sendEvent(diagram->viewport(), &e);
  };
  wheel(120);
  EXPECT_EQ(diagram->Zoom(), before + 10);
  for (int i = 0; i < 60; ++i) wheel(-120);
  EXPECT_EQ(diagram->Zoom(), 10);
  program.Shutdown();
}
