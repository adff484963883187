// The about box and the contact form as the shipped program reaches them: started through the
// program's own start-up wiring, opened from the main window's About action.
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QTimer>

#include "AppModuleFixture.h"
#include "LvxProgram.h"
#include "UDmKv_COM_Commander.h"
#include "UFrmLvx_Main.h"
#include "UKvAbout.h"
#include "UKvContact.h"

namespace {

class ProgramAboutTest : public AppModuleTest {
 protected:
  void TearDown() override {
    Program.reset();
    AppModuleTest::TearDown();
  }
  std::unique_ptr<TLvxProgram> Program;
};

TEST_F(ProgramAboutTest, AboutFromTheMainWindowReportsAndLeadsToTheContactForm) {
  Program = std::make_unique<TLvxProgram>();
  Program->Main().show();
  QCoreApplication::processEvents();  // the splash's wait
  QString report, contactCaption;
  bool aboutFace = false, aboutBack = false;
  QTimer::singleShot(0, [&] {
    aboutFace = FrmKvAbout->isVisible() && FrmKvAbout->ActivePageIndex() == TFrmKvAbout::TabAbout;
    report = FrmKvAbout->cxMemoInfo->toPlainText();
    QTimer::singleShot(0, [&] {
      contactCaption = FormKvContact->windowTitle();
      FormKvContact->cxButton2->click();
    });
    FrmKvAbout->cxButton2->click();  // returns once the contact form is closed
    aboutBack = FrmKvAbout->isVisible();
    FrmKvAbout->cxButton1->click();
  });
  DmKvBasic->ActionOptionAbout->trigger();
  EXPECT_TRUE(aboutFace);
  EXPECT_TRUE(report.startsWith("System information: \n\nApp. name    : Phonara Reader\n"));
  EXPECT_TRUE(report.contains("  -USERAPPDATA: " + KvSys_GetPath("USERAPPDATA", false)));
  EXPECT_EQ(contactCaption, "Contact Brevik");
  EXPECT_TRUE(aboutBack);  // a cancelled contact form gives the about box back
  EXPECT_FALSE(FrmKvAbout->isVisible());
  EXPECT_EQ(FormKvContact, nullptr);
}

}  // namespace
