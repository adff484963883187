// The instrument display on its own: what it builds and where, its first state, each rule of
// Data2Display and of the bar graph with the edge cases, the screen scaling rule (this suite
// also runs on screens of 120 and 144 dots per inch), skins that must not paint through the
// labels, placement and logging. Readings arriving through the main window are the start-up
// suite's.
#include <QAction>
#include <QApplication>
#include <QFontInfo>
#include <QTest>

#include "DisplayTestSupport.h"
#include "KvAppIniFileStorage.h"
#include "KvDateTime.h"
#include "KvDiagram.h"
#include "KvDisplayTable.h"
#include "KvFormStorage.h"
#include "KvLib.h"
#include "KvSys_Helper.h"
#include "LvxTestSupport.h"
#include "UDmKvDiagramEditor.h"
#include "UDxLvxDisplay.h"

namespace {

const char* const Fonts[] = {"LCD_BaseB", "DS_Digital"};

class DisplayTest : public VirtualTimeTest {
 protected:
  void SetUp() override {
    VirtualTimeTest::SetUp();
    KvSysHelper().SysLog_Clear();
    for (const char* f : Fonts) LoadFontResource(f);
    Editor = std::make_unique<TDmKvDiagramEditor>();
    Form = std::make_unique<TFrmDxLvxDisplay>();
    FrmDxLvxDisplay = Form.get();  // as the main window does once Create has returned
  }
  void TearDown() override {
    Form.reset();
    Editor.reset();
    for (const char* f : Fonts) FreeFontResource(f);
    qApp->setStyleSheet(QString());
    KvSysHelper().SysLog_Clear();
    VirtualTimeTest::TearDown();
  }

  // A valid, connected, live reading in the range 30 to 80.
  static TKvUniqueData Reading(double val) {
    TKvUniqueData d;
    d.dVal = val;
    d.strVal = QString::asprintf("%5.1f", val);
    d.dLo = 30;
    d.strLo = "30";
    d.dHi = 80;
    d.strHi = "80";
    d.strTime = "12:34:56";
    d.bA = true;
    d.bFast = true;
    d.bValid = d.bLive = d.bConnected = true;
    return d;
  }
  TCustomDiagramBlock* Tick(int i) const {
    return Form->kvDiagram1->FindBlock(QString("poly%1").arg(i));
  }
  std::string Ticks() const {
    std::string s;
    for (int i = 0; i < 26; ++i) s += Tick(i)->Visible() ? '#' : '.';
    return s;
  }
  QStringList Lit() const {
    QStringList names;
    for (TKvLcdLabel* l : Form->Image32Display->findChildren<TKvLcdLabel*>())
      if (l->isVisibleTo(Form->Image32Display)) names << l->objectName();
    names.sort();
    return names;
  }
  QStringList ShownBlocks() const {
    QStringList names;
    for (int i = 0; i < Form->kvDiagram1->BlockCount(); ++i)
      if (auto* t = dynamic_cast<TTextBlock*>(Form->kvDiagram1->GetBlocks(i)); t && t->Visible())
        names << t->Name();
    return names;
  }
  QImage Screen() {
    Form->show();
    return Form->grab().toImage();
  }
  // Where the diagram's client origin lies on the form: the item's margin and the frame.
  QPoint DiagramOrigin() const {
    return Form->kvDiagram1->viewport()->mapTo(Form.get(), QPoint(0, 0));
  }

  std::unique_ptr<TDmKvDiagramEditor> Editor;
  std::unique_ptr<TFrmDxLvxDisplay> Form;
};

QStringList Sorted(QStringList l) {
  l.sort();
  return l;
}

}  // namespace

TEST_F(DisplayTest, LabelsStandAtTheirDesignPlacesInTheirFacesAboveTheDiagram) {
  struct Row {
    TKvLcdLabel* label;
    int left, top, right;  // right 0: aligned on the left
    const char* family;
    int pixels;
  };
  const Row rows[] = {
      {Form->cxLabelSoundVal, 0, 177, 329, "DSEG7", 96},
      {Form->cxLabelLowVal, 0, 79, 39, "DSEG7", 35},
      {Form->cxLabelHiVal, 0, 79, 407, "DSEG7", 35},
      {Form->cxLabelTimeVal, 0, 129, 258, "DSEG7", 35},
      {Form->cxLabelTime, 273, 143, 0, "", 21},
      {Form->cxLabelAC, 335, 210, 0, "", 21},
      {Form->cxLabeldB, 335, 241, 0, "", 29},
      {Form->cxLabelFast, 343, 2, 0, "", 21},
      {Form->cxLabelSlow, 273, 2, 0, "", 21},
      {Form->cxLabelOver, 343, 50, 0, "", 21},
      {Form->cxLabelUnder, 3, 50, 0, "", 21},
      {Form->cxLabelMax, 119, 284, 0, "", 21},
      {Form->cxLabelSending, 3, 3, 0, "", 19},
      {Form->cxLabelMemo, 103, 3, 0, "", 19},
      {Form->cxLabelRecord, 228, 278, 0, "", 21},
  };
  const QObjectList& z = Form->Image32Display->children();
  const qsizetype diagramZ = z.indexOf(Form->kvDiagram1);
  for (const Row& r : rows) {
    const QString name = r.label->objectName();
    EXPECT_EQ(r.label->y(), r.top) << name.toStdString();
    if (r.right)
      EXPECT_EQ(r.label->geometry().right() + 1, r.right) << name.toStdString();
    else
      EXPECT_EQ(r.label->x(), r.left) << name.toStdString();
    EXPECT_EQ(r.label->font().pixelSize(), r.pixels) << name.toStdString();
    EXPECT_TRUE(r.label->font().bold()) << name.toStdString();
    if (*r.family)
      EXPECT_TRUE(QFontInfo(r.label->font()).family().startsWith(r.family))
          << name.toStdString() << " " << QFontInfo(r.label->font()).family().toStdString();
    else
      EXPECT_EQ(r.label->font().family(), "Arial") << name.toStdString();
    EXPECT_GT(z.indexOf(r.label), diagramZ) << name.toStdString();
  }
  for (TKvLcdLabel* under : {Form->cxLabel4, Form->cxLabel5, Form->cxLabel7})
    EXPECT_LT(z.indexOf(under), diagramZ) << under->objectName().toStdString();

  // The big figure ends at x 329 on screen, digits and all.
  const QImage img = Screen();
  const QPoint o = Form->Image32Display->mapTo(Form.get(), QPoint(0, 0));
  int rightmost = -1;
  for (int y = o.y() + 177; y < o.y() + 177 + Form->cxLabelSoundVal->height(); ++y)
    for (int x = o.x() + 150; x < o.x() + 335; ++x)  // short of the "A" and "dB" legends
      if (qGray(img.pixel(x, y)) < 60) rightmost = std::max(rightmost, x - o.x());
  EXPECT_GT(rightmost, 315);
  EXPECT_LT(rightmost, 329);
}

TEST_F(DisplayTest, FirstStateLightsEveryLegendButRecordWithTheDesignFigures) {
  EXPECT_EQ(Form->cxLabelSoundVal->text(), " 00.0");
  EXPECT_EQ(Form->cxLabelLowVal->text(), "30");
  EXPECT_EQ(Form->cxLabelHiVal->text(), "80");
  EXPECT_EQ(Form->cxLabelTimeVal->text(), "00:00:00");
  EXPECT_EQ(Form->cxLabelAC->text(), "A");
  EXPECT_EQ(Form->cxLabelFast->text(), "FAST ");
  EXPECT_EQ(Form->cxLabelRecord->text(), "RECORD ");
  EXPECT_EQ(Lit(), Sorted({"cxLabel4", "cxLabel5", "cxLabel7", "cxLabelAC", "cxLabelFast",
                           "cxLabelHiVal", "cxLabelLowVal", "cxLabelMax", "cxLabelMemo",
                           "cxLabelOver", "cxLabelSending", "cxLabelSlow", "cxLabelSoundVal",
                           "cxLabelTime", "cxLabelTimeVal", "cxLabelUnder", "cxLabeldB"}));
  EXPECT_EQ(ShownBlocks(), QStringList());
  EXPECT_EQ(Form->kvDiagram1->BlockCount(), 13 + 6 + 26);
  EXPECT_EQ(Form->TextBlock_AC->Strings(), "A    ");
  EXPECT_EQ(Form->TextBlock_RangeMin->Strings(), "30");
  EXPECT_EQ(Form->TextBlock_TimeAct->Font().Name, "DS_Digital");
  EXPECT_EQ(Form->TextBlock_dB->Font().Height(), -27);
  EXPECT_EQ(Editor->FDgrTarget, Form->kvDiagram1);
  EXPECT_EQ(KvDgrBargraph().nameBase, "poly");
  EXPECT_EQ(KvDgrBargraph().iCount, 26);

  EXPECT_EQ(Form->ActionEditorOpen->text(), "&Open Editor");
}

TEST_F(DisplayTest, TicksFormTheRingWithTheirDriftAndLongerFifths) {
  ASSERT_EQ(Form->kvDiagram1->FindBlock(u"poly26"), nullptr);
  for (int i = 0; i < 26; ++i) {
    auto* t = dynamic_cast<TPolygonBlock*>(Tick(i));
    ASSERT_NE(t, nullptr) << i;
    const double a = (140.0 - 4 * i) * M_PI / 180;
    const double lift = i % 5 == 0 ? 5 : 0;
    EXPECT_NEAR(t->Left(), 185 + 150 * std::cos(a) + i, 1e-9) << i;
    EXPECT_NEAR(t->Top(), 190 - 150 * std::sin(a) - lift, 1e-9) << i;
    EXPECT_NEAR(t->Width(), 2, 1e-9) << i;
    EXPECT_NEAR(t->Height(), 20 + lift, 1e-9) << i;
    EXPECT_EQ(t->Angle(), 130 + 4 * i) << i;
    EXPECT_EQ(t->Color(), 0) << i;
    EXPECT_EQ(t->Polygon().Count(), 5) << i;
  }
  // Scale dots: black, 5 by 5, at their corners.
  auto* dot = dynamic_cast<TPolygonBlock*>(Form->kvDiagram1->FindBlock(u"PolygonBlock3"));
  ASSERT_NE(dot, nullptr);
  EXPECT_NEAR(dot->Left(), 231.5, 1e-9);
  EXPECT_NEAR(dot->Top(), 25.8, 1e-9);
  EXPECT_NEAR(dot->Width(), 5, 1e-9);
  EXPECT_EQ(dot->Polygon().Count(), 12);
  EXPECT_TRUE(dot->Visible());

  // And on screen: every tick shows until the first reading.
  const QImage img = Screen();
  EXPECT_EQ(KvTicksOnScreen(img, DiagramOrigin()), KvTicks(26));
}

TEST_F(DisplayTest, FiguresAndLegendsFollowEachReading) {
  TKvUniqueData d = Reading(55.5);
  d.bSlow = d.bOver = d.bMax = true;
  d.bFast = false;
  Form->Data2Display(d);
  EXPECT_EQ(Form->cxLabelSoundVal->text(), " 55.5");
  EXPECT_EQ(Form->cxLabelTimeVal->text(), "12:34:56");
  EXPECT_EQ(Lit(),
            Sorted({"cxLabel4", "cxLabel5", "cxLabel7", "cxLabelAC", "cxLabelHiVal",
                    "cxLabelLowVal", "cxLabelMax", "cxLabelOver", "cxLabelSending", "cxLabelSlow",
                    "cxLabelSoundVal", "cxLabelTime", "cxLabelTimeVal", "cxLabeldB"}));
  // The blocks follow the block switch, which is off.
  EXPECT_EQ(ShownBlocks(), QStringList());

  d = Reading(40);
  d.bFast = false;
  d.bUnder = true;
  Form->Data2Display(d);
  EXPECT_TRUE(Form->cxLabelUnder->isVisibleTo(Form.get()));
  EXPECT_FALSE(Form->cxLabelFast->isVisibleTo(Form.get()));
  EXPECT_FALSE(Form->cxLabelSlow->isVisibleTo(Form.get()));
}

TEST_F(DisplayTest, SendingAndMemoFollowConnectionAndLive) {
  struct Row {
    bool connected, live, sending, memo;
  };
  for (Row r : {Row{true, true, true, false}, Row{true, false, true, true},
                Row{false, false, false, false}, Row{false, true, false, false}}) {
    TKvUniqueData d = Reading(50);
    d.bConnected = r.connected;
    d.bLive = r.live;
    Form->Data2Display(d);
    EXPECT_EQ(Form->cxLabelSending->isVisibleTo(Form.get()), r.sending) << r.connected << r.live;
    EXPECT_EQ(Form->cxLabelMemo->isVisibleTo(Form.get()), r.memo) << r.connected << r.live;
    EXPECT_FALSE(Form->TextBlock_Sending->Visible() || Form->TextBlock_Memo->Visible());
    EXPECT_FALSE(Form->cxLabelRecord->isVisibleTo(Form.get()));
  }
}

TEST_F(DisplayTest, WeightingPrefersCAndKeepsTheLegendWhenNeitherIsSet) {
  struct Row {
    bool a, c;
    const char* label;
    const char* cell;
  };
  // Rows run in order: "both clear" keeps what the row before left.
  const Row rows[] = {{true, true, "   C", "    C"},
                      {true, false, "A", "A    "},
                      {false, false, "A", "A    "},
                      {false, true, "   C", "    C"},
                      {false, false, "   C", "    C"}};
  for (const Row& r : rows) {
    TKvUniqueData d = Reading(50);
    d.bA = r.a;
    d.bC = r.c;
    Form->Data2Display(d);
    EXPECT_EQ(Form->cxLabelAC->text(), r.label) << r.a << r.c;
    EXPECT_EQ(Form->TextBlock_AC->Strings(), r.cell) << r.a << r.c;
  }
}

TEST_F(DisplayTest, AnInvalidReadingMovesOnlyTimeRangeAndLegends) {
  Form->Data2Display(Reading(61.2));
  const std::string ticks = Ticks();
  TKvUniqueData bad = Reading(35);
  bad.bValid = false;
  bad.strTime = "00:00:07";
  bad.strLo = "50";
  bad.dLo = 50;
  bad.strHi = "100";
  bad.dHi = 100;
  bad.bFast = false;
  bad.bConnected = false;
  Form->Data2Display(bad);
  EXPECT_EQ(Form->cxLabelSoundVal->text(), " 61.2");
  EXPECT_EQ(Ticks(), ticks);
  EXPECT_EQ(KvDgrBargraph().dFrom, 30);
  EXPECT_EQ(Form->cxLabelTimeVal->text(), "00:00:07");
  EXPECT_EQ(Form->cxLabelLowVal->text(), "50");
  EXPECT_EQ(Form->cxLabelHiVal->text(), "100");
  EXPECT_FALSE(Form->cxLabelFast->isVisibleTo(Form.get()));
  EXPECT_FALSE(Form->cxLabelSending->isVisibleTo(Form.get()));
}

TEST_F(DisplayTest, BargraphLightsEachTickFromItsLevel) {
  // Range 30 to 80: each tick is worth 50/26 dB; tick i lights at 30 + i * 50/26.
  const double step = 50.0 / 26;
  struct Row {
    double val;
    int lit;
  };
  const Row rows[] = {
      {10, 1},                    // below the range: raised to the bottom, tick 0 only
      {30, 1},                    // the range's bottom
      {30 + step * 5, 6},         // exactly a tick's level lights that tick
      {30 + step * 5 - 1e-9, 5},  // just below it does not
      {80 - step, 26},            // the last tick lights one step below the top
      {80, 26},                   // at the top
      {130, 26},                  // above
  };
  for (const Row& r : rows) {
    Form->Data2Display(Reading(r.val));
    EXPECT_EQ(Ticks(), KvTicks(r.lit)) << r.val;
  }
  // What the ticks say is what the screen shows.
  Form->Data2Display(Reading(30 + step * 12));
  const QImage img = Screen();
  EXPECT_EQ(KvTicksOnScreen(img, DiagramOrigin()), KvTicks(13));
}

TEST_F(DisplayTest, BargraphEdgeCases) {
  // A range of width 0: every tick lights or darkens together.
  TKvUniqueData d = Reading(50);
  d.dLo = d.dHi = 50;
  Form->Data2Display(d);
  EXPECT_EQ(Ticks(), KvTicks(26));
  d.dLo = d.dHi = 60;
  Form->Data2Display(d);  // the value is raised to dLo: still all lit
  EXPECT_EQ(Ticks(), KvTicks(26));
  TKvDgrBargraph g = KvDgrBargraph();
  g.dFrom = g.dTo = 60;
  Editor->SetBargraph(g, 59);
  EXPECT_EQ(Ticks(), KvTicks(0));

  // A missing tick ends the update; those after it keep what they showed.
  Form->Data2Display(Reading(80));
  delete Tick(10);
  Form->Data2Display(Reading(30));
  std::string after;
  for (int i = 0; i < 26; ++i) after += i == 10 ? '-' : Tick(i)->Visible() ? '#' : '.';
  EXPECT_EQ(after, "#.........-###############");

  // No ticks counted, or no target: nothing moves.
  g.iCount = 0;
  Editor->SetBargraph(g, 0);
  EXPECT_TRUE(Tick(11)->Visible());
}

TEST_F(DisplayTest, NothingChangesBeforeThePanelIsSet) {
  FrmDxLvxDisplay = nullptr;
  Form->Data2Display(Reading(70));
  EXPECT_EQ(Form->cxLabelSoundVal->text(), " 00.0");
  EXPECT_EQ(Form->cxLabelTimeVal->text(), "00:00:00");
  EXPECT_EQ(Ticks(), KvTicks(26));
}

TEST_F(DisplayTest, SkinsDoNotPaintThroughTheLabels) {
  qApp->setStyleSheet("QWidget { background-color: #2b2d30; color: #e6e6e6; }");
  const QImage img = Screen();
  const QPoint o = Form->Image32Display->mapTo(Form.get(), QPoint(0, 0));
  // Inside the "TIME" label's box, right of its text: the LCD's green.
  EXPECT_EQ(img.pixelColor(o + QPoint(400, 150)), QColor(0x9F, 0xDF, 0xA3));
  int darkest = 255;
  for (int y = 143; y < 143 + Form->cxLabelTime->height(); ++y)
    for (int x = 273; x < 330; ++x) darkest = std::min(darkest, qGray(img.pixel(o + QPoint(x, y))));
  EXPECT_LT(darkest, 40);  // black text, not the skin's light grey
}

TEST(DisplayScale, GrowsAboveNinetySixDotsPerInchWithFivePercentMore) {
  struct Row {
    int dpi, width, height, zoom;
  };
  const Row rows[] = {{72, 410, 315, 100},
                      {96, 410, 315, 100},
                      {120, 538, 413, 131},
                      {144, 645, 496, 157},
                      {192, 861, 661, 210}};
  for (const Row& r : rows) {
    const TKvDisplayScale s = KvDisplay_ScaleFor(r.dpi);
    EXPECT_EQ(s.Width, r.width) << r.dpi;
    EXPECT_EQ(s.Height, r.height) << r.dpi;
    EXPECT_EQ(s.Zoom, r.zoom) << r.dpi;
  }
}

// Runs once per screen the suite is started on (96, 120 and 144 dots per inch).
TEST_F(DisplayTest, ScalesWithTheScreenAndKeepsLabelsOnTheTicks) {
  const int dpi = GetScreenDPI();
  const TKvDisplayScale want = dpi == 144   ? TKvDisplayScale{645, 496, 157}
                               : dpi == 120 ? TKvDisplayScale{538, 413, 131}
                                            : TKvDisplayScale{410, 315, 100};
  ASSERT_TRUE(dpi == 96 || dpi == 120 || dpi == 144) << dpi;
  EXPECT_EQ(Form->dxLayoutControl1Item_Display->size(), QSize(want.Width, want.Height));
  EXPECT_EQ(Form->kvDiagram1->Zoom(), want.Zoom);
  const double zoom = want.Zoom / 100.0;
  EXPECT_EQ(Form->cxLabelTime->pos(),
            QPoint(int(std::lround(273 * zoom)), int(std::lround(143 * zoom))));
  EXPECT_EQ(Form->cxLabelSoundVal->geometry().right() + 1, int(std::lround(329 * zoom)));
  EXPECT_EQ(Form->cxLabelSoundVal->font().pixelSize(), int(std::lround(96 * zoom)));

  Form->Data2Display(Reading(30 + 50.0 / 26 * 7));
  const QImage img = Screen();
  EXPECT_EQ(KvTicksOnScreen(img, DiagramOrigin(), zoom), KvTicks(8));
  // Kept for a look at the display: LVX_VIEWS_SHOTS=<folder>.
  if (qEnvironmentVariableIsSet("LVX_VIEWS_SHOTS"))
    img.save(qEnvironmentVariable("LVX_VIEWS_SHOTS") + QString("/display_%1dpi.png").arg(dpi));
}

TEST_F(DisplayTest, PlacementLogsAndMeasuresTheRangeFace) {
  Form->KvFormStorage1->RestoreFormPlacement();
  Form->KvFormStorage1->SaveFormPlacement();
  QStringList lines;
  for (const QString& l : KvSysHelper().SysLog_Get()) lines << l.mid(15);
  EXPECT_EQ(lines, (QStringList{"FrmDxLvxDisplay in FoCre", "FrmDxLvxDisplay In Create",
                                "FrmDxLvxDisplay In RestorePlacement",
                                "FrmDxLvxDisplay In FormPlacement"}));
  EXPECT_EQ(Form->KvFormStorage1->SectionName(), "FrmDxLvxDisplay");
}

TEST_F(DisplayTest, AddDataAppendsAStampedRow) {
  Form->AddData(4, 0, 0);
  Clock.Advance(1500);
  Form->AddData(3, 1.5, -2.25);
  ASSERT_EQ(Form->dxMemDataTable->RecordCount(), 2);
  const TKvDisplayTable::TRow row = Form->dxMemDataTable->LastRow();
  EXPECT_EQ(row.Loc, 3);
  EXPECT_EQ(row.X, 1.5);
  EXPECT_EQ(row.Y, -2.25);
  EXPECT_DOUBLE_EQ(row.DT, Now());
}

// The big figure draws kept glyphs instead of the toolkit's text: it must look as the
// toolkit's own drawing of the same text does, reading after reading.
TEST_F(DisplayTest, TheBigFigureLooksAsTheToolkitDrawsIt) {
  TKvLcdLabel* figure = Form->cxLabelSoundVal;
  Form->show();
  ASSERT_GT(figure->font().pixelSize(), 64);
  QLabel plain;
  plain.setFont(figure->font());
  plain.setAlignment(figure->alignment());
  plain.setPalette(figure->palette());
  plain.setContentsMargins(0, 0, 0, 0);
  plain.resize(figure->size());
  auto draw = [](QWidget* w) {
    QImage image(w->size(), QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::white);
    w->render(&image, QPoint(), QRegion(), QWidget::DrawChildren);
    return image;
  };
  for (double level : {55.5, 97.8, 41.3, 55.5}) {
    Form->Data2Display(Reading(level));
    plain.setText(figure->text());
    const QImage ours = draw(figure), toolkit = draw(&plain);
    int ink = 0, apart = 0;
    for (int y = 0; y < ours.height(); ++y)
      for (int x = 0; x < ours.width(); ++x) {
        const int a = qGray(ours.pixel(x, y)), b = qGray(toolkit.pixel(x, y));
        ink += b < 128;
        apart += std::abs(a - b) > 128;
      }
    EXPECT_GT(ink, 1000) << level;
    // Edges may differ by a fraction of a pixel; a wrong or misplaced glyph differs by far more.
    EXPECT_LT(apart, ink / 20) << level;
  }
}
