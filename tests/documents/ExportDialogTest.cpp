// The export dialog's rules and the export action, with the application module and the
// commander as the program makes them, and once through the program's own start-up.
#include <QCheckBox>
#include <QComboBox>
#include <QLabel>
#include <QLineEdit>
#include <QProgressBar>
#include <QPushButton>
#include <QSignalSpy>
#include <QTableView>
#include <QTimer>
#include <QToolButton>
#include <QtTest>

#include "../frame/ProgramFixture.h"
#include "DocumentLifecycleFixture.h"
#include "KvPortDevices.h"
#include "LvxProgram.h"
#include "UDxExport.h"
#include "UDxLvx_Connect.h"
#include "UFrmLvx_Main.h"

namespace {
void Click(QWidget* w) {
  QTest::mouseClick(w, Qt::LeftButton);
}

class ExportDialogTest : public DocumentLifecycleTest {
 protected:
  void SetUp() override {
    DocumentLifecycleTest::SetUp();
    for (int i = 0; i < 3; ++i) Record(60 + i);
    DmKvBasic->SetFile_ActName(Doc("rec.dat"));
    Clock.Advance(300);  // the idle update enables the action
  }
  // Runs the export action; `inDialog` acts while the dialog is up and must close it.
  void Export(const std::function<void(TFrmDxExport&)>& inDialog) {
    QTimer::singleShot(0, [&] {
      ASSERT_NE(FrmDxExport, nullptr);
      ASSERT_TRUE(FrmDxExport->isVisible());
      inDialog(*FrmDxExport);
      if (FrmDxExport->isVisible()) FrmDxExport->reject();
    });
    DmKvBasic->FileExport1->trigger();
  }
};
}  // namespace

TEST_F(ExportDialogTest, AFirstRunOffersCsvWithHeaderAndTheColumnsOfTheTable) {
  Export([this](TFrmDxExport& d) {
    EXPECT_EQ(d.windowTitle(), "Export document:");
    EXPECT_EQ(d.ExportFilterFormats,
              QStringList({"Comma separated file (*.csv;*.txt)", "XML data file (*.xml)"}));
    EXPECT_EQ(d.ExportFilterFormatsOpts, QStringList({"*.csv;*.txt", "*.xml"}));
    EXPECT_EQ(d.cxComboBoxFormat->currentIndex(), 0);
    EXPECT_EQ(d.cxComboBoxExt->currentText(), ".csv");
    EXPECT_TRUE(d.cxCheckBoxExportHeader->isChecked());
    EXPECT_EQ(d.cxTextEditDelimiter->text(), ";");
    EXPECT_EQ(d.cxTextEditQuote->text(), "\"");
    EXPECT_EQ(d.ExportFileName(), Doc("rec.csv"));
    EXPECT_EQ(d.cxComboBoxExt->toolTip(), "Chosse file formats extension options");
    EXPECT_EQ(d.cxTextEditFileName->toolTip(), "Enter the desired filename here");
    EXPECT_EQ(d.cxTextEditFilePath->toolTip(), "Enter the desired file path");
    EXPECT_EQ(d.cxButtonExport->text(), "E&xport");
    EXPECT_EQ(d.cxButtonCancel->text(), "&Cancel");
    EXPECT_EQ(d.cxGridExportDef->model()->rowCount(), 12);
    EXPECT_EQ(d.cxGridExportDefFooter->text(), "Size: Avg 6.50");
    if (qEnvironmentVariableIsSet("LVX_EXPORT_SHOTS"))
      d.grab().save(qEnvironmentVariable("LVX_EXPORT_SHOTS") + "/export_dialog.png");
  });
  EXPECT_TRUE(Dialogs.FileRequests.empty());  // the action's own dialog stays shut
  EXPECT_FALSE(QFile::exists(Doc("rec.csv")));
  // Cancel too counts as exported, and the document as no longer modified.
  EXPECT_EQ(LastStatus(), "File \"rec.csv\" exported");
  EXPECT_FALSE(DmKvBasic->IsModified());
  EXPECT_EQ(Commander->KvMemTableData.IndexName(), TKvMeasurementTable::IndexAscName);
}

TEST_F(ExportDialogTest, EachFormatKeepsItsHeaderAndExtensionAcrossRuns) {
  Export([](TFrmDxExport& d) {
    d.cxComboBoxExt->setCurrentIndex(1);
    Q_EMIT d.cxComboBoxExt->activated(1);
    EXPECT_EQ(d.cxTextEditFileName->text(), "rec.txt");
    d.cxComboBoxFormat->setCurrentIndex(1);
    EXPECT_EQ(d.cxComboBoxExt->currentText(), ".xml");
    Click(d.cxCheckBoxExportHeader);
    EXPECT_FALSE(d.cxCheckBoxExportHeader->isChecked());
    d.cxComboBoxFormat->setCurrentIndex(0);
    EXPECT_TRUE(d.cxCheckBoxExportHeader->isChecked());
    EXPECT_EQ(d.cxComboBoxExt->currentText(), ".txt");
    d.cxComboBoxFormat->setCurrentIndex(1);
    d.ClientDataSetExportDef->SetChecked(7, TKvExportDefModel::colExport, false);  // TI
  });
  Export([](TFrmDxExport& d) {
    EXPECT_EQ(d.cxComboBoxFormat->currentIndex(), 1);  // the last format used
    EXPECT_FALSE(d.cxCheckBoxExportHeader->isChecked());
    EXPECT_FALSE(d.ClientDataSetExportDef->Rows()[7].Export);  // ticks stay while it runs
  });
  // Delimiter and quote are kept in the settings from one life of the program to the next.
  Export([](TFrmDxExport& d) {
    d.cxTextEditDelimiter->setText("|");
    d.cxTextEditQuote->setText("");
  });
  delete FrmDxExport;
  Export([](TFrmDxExport& d) {
    EXPECT_EQ(d.cxTextEditDelimiter->text(), "|");
    EXPECT_EQ(d.cxTextEditQuote->text(), "");
    EXPECT_EQ(d.cxComboBoxFormat->currentIndex(), 1);
  });
  // A second form while the first lives is refused with the modules' text.
  TFrmDxExport second;
  EXPECT_EQ(LastMessage(), "DmKvBasic: Module already loaded");
  EXPECT_NE(FrmDxExport, &second);
}

TEST_F(ExportDialogTest, ExportWritesTheChosenFormatAndAsksBeforeOverwriting) {
  Export([](TFrmDxExport& d) {
    QSignalSpy moves(d.cxProgressBarExport, &QProgressBar::valueChanged);
    d.ClientDataSetExportDef->SetChecked(1, TKvExportDefModel::colUseQuote, false);
    for (int row : {2, 4, 5, 6, 7, 8, 9, 10, 11})
      d.ClientDataSetExportDef->SetChecked(row, TKvExportDefModel::colExport, false);
    Click(d.cxButtonExport);
    EXPECT_FALSE(d.isVisible());
    EXPECT_EQ(d.result(), QDialog::Accepted);
    ASSERT_EQ(moves.count(), 2);  // the start, then the end: three rows make one step
    EXPECT_EQ(moves[0][0].toInt(), 1);
    EXPECT_EQ(d.cxProgressBarExport->value(), d.cxProgressBarExport->maximum());
  });
  EXPECT_EQ(ReadFile(Doc("rec.csv")),
            "\"Date\";\"Y\"\r\n23.11.2026;60\r\n23.11.2026;61\r\n23.11.2026;62\r\n");
  EXPECT_EQ(DmKvBasic->FileExport1->Dialog.FileName, Doc("rec.csv"));

  Dialogs.Answers = {mrNo};
  Export([](TFrmDxExport& d) { Click(d.cxButtonExport); });
  EXPECT_EQ(LastMessage(), "The file \r\n\r\n" + Doc("rec.csv") +
                               "\r\n\r\nalready exists:\r\n\r\nDo you want to overwrite this file "
                               "with the exported document ?");
  EXPECT_EQ(Dialogs.Messages.back().Buttons, mbYesNoCancel);
  EXPECT_EQ(
      Status.mid(Status.size() - 2),
      QStringList({"File \"rec.csv\" not saved, aborted by user", "File \"rec.csv\" exported"}));

  Export([](TFrmDxExport& d) {
    d.cxComboBoxFormat->setCurrentIndex(1);
    d.cxTextEditFileName->setText("rec.txt");  // the format decides, not the name
    Click(d.cxButtonExport);
  });
  TKvMeasurementTable back;
  back.LoadFromFile(Doc("rec.txt"), 1);
  EXPECT_EQ(back.RecordCount(), 3);
}

TEST_F(ExportDialogTest, AFolderThatIsntThereLeavesTheDialogOpenWithTheSystemsReason) {
  Export([this](TFrmDxExport& d) {
    d.cxTextEditFilePath->setText(Doc("gone"));
    for (int format : {0, 1}) {
      d.cxComboBoxFormat->setCurrentIndex(format);
      try {
        d.cxButtonExportClick();
        ADD_FAILURE() << "no failure";
      } catch (const EKvMemError& e) {
        EXPECT_EQ(e.Message(),
                  "Cannot create file \"" + Doc("gone/rec.csv") + "\". No such file or directory");
      }
      EXPECT_TRUE(d.isVisible());
    }
  });
  EXPECT_EQ(Levels(), QList<double>({60, 61, 62}));
}

TEST_F(ExportDialogTest, TheActionNeedsADocumentName) {
  DmKvBasic->SetFile_ActName("");
  Clock.Advance(300);
  EXPECT_FALSE(DmKvBasic->FileExport1->isEnabled());
  DmKvBasic->SetFile_ActName(Doc("rec.dat"));
  Clock.Advance(300);
  EXPECT_TRUE(DmKvBasic->FileExport1->isEnabled());
}

// ---- through the program ----------------------------------------------------------------

class ProgramExportTest : public ProgramTestBase {};

TEST_F(ProgramExportTest, CtrlEExportsTheRecordingAsTheDialogSays) {
  TLvxProgram program(&Devices);
  program.Main().show();
  ConnectSimulation();
  PressRecord();
  Clock.Advance(3000);
  Click(FrmLvx_Connect->cxButtonRecordData);  // pause
  const int rows = program.Commander().KvMemTableData.RecordCount();
  ASSERT_GE(rows, 2);
  Dialogs.FileAnswers = {Path("rec.dat")};
  DmKvBasic->FileSaveAs1->trigger();
  ASSERT_TRUE(QFile::exists(Path("rec.dat")));

  Clock.Advance(300);  // the idle update enables the action
  program.Main().activateWindow();
  ASSERT_TRUE(QTest::qWaitForWindowActive(&program.Main()));
  QTimer::singleShot(0, [] {
    ASSERT_NE(FrmDxExport, nullptr);
    FrmDxExport->cxComboBoxFormat->setCurrentIndex(1);
    QTest::mouseClick(FrmDxExport->cxButtonExport, Qt::LeftButton);
  });
  QTest::keyClick(&program.Main(), Qt::Key_E, Qt::ControlModifier);
  EXPECT_EQ(program.Main()
                .findChild<QStatusBar*>("dxStatusBar")
                ->findChildren<QLabel*>(Qt::FindDirectChildrenOnly)
                .first()
                ->text(),
            "File \"rec.csv\" exported");
  // The XML format, whatever the name: the document loads back with every reading.
  TKvMeasurementTable back;
  back.LoadFromFile(Path("rec.csv"), 1);
  EXPECT_EQ(back.RecordCount(), rows);
}
