#include "UDxLvxDisplay.h"

#include <QAction>
#include <QPainter>
#include <QRawFont>
#include <QVBoxLayout>
#include <cmath>
#include <stdexcept>

#include "KvDiagram.h"
#include "KvDisplayTable.h"
#include "KvFormStorage.h"
#include "KvLib.h"
#include "KvSys_Helper.h"
#include "UDmKvBasic.h"

namespace {

constexpr TColor ImageColor = 8638351;  // 0x8F, 0xCF, 0x83
constexpr TColor LcdColor = 10739615;   // 0x9F, 0xDF, 0xA3: the LCD's green
constexpr int DesignWidth = 410;        // the display item at 96 dots per inch
constexpr int DesignHeight = 315;
constexpr int Margin = 10;  // around the item, in the form of 430 by 335

// The labels in z-order, lowest first; the three under the diagram come before it.
using TDesign = TKvLcdLabel::TDesign;
const TDesign UnderDiagram[] = {
    {"cxLabel4", 335, 210, 0, "Arial", true, -21, "A C "},
    {"cxLabel5", 335, 241, 0, "Arial", true, -29, "dB"},
    {"cxLabel7", 180, 177, 329, "LCD", true, -96, "52.8"},
};

}  // namespace

TKvDisplayScale KvDisplay_ScaleFor(int dotsPerInch, int width, int height, int zoom) {
  const double factor = dotsPerInch / 96.0;
  if (factor <= 1.0) return {width, height, zoom};
  // Truncated towards zero, as the item sizes and the zoom are whole numbers.
  return {int(width * factor * 1.05), int(height * factor * 1.05), int(factor * 100 * 1.05)};
}

TKvDgrBargraph& KvDgrBargraph() {
  static TKvDgrBargraph bargraph;
  return bargraph;
}

// ---- Labels ----

TKvLcdLabel::TKvLcdLabel(const TDesign& design, QWidget* parent)
    : QLabel(QString::fromUtf8(design.Caption), parent), FDesign(design) {
  setObjectName(design.Name);
  setAutoFillBackground(false);
  setAlignment(Qt::AlignTop | (design.Right ? Qt::AlignRight : Qt::AlignLeft));
  setContentsMargins(0, 0, 0, 0);
  setMargin(0);
  setIndent(0);
  QPalette pal = palette();
  pal.setColor(QPalette::WindowText, Qt::black);
  setPalette(pal);
  // Labels are only looked at; clicks belong to the diagram below.
  setAttribute(Qt::WA_TransparentForMouseEvents);
}

void TKvLcdLabel::Place(double scale) {
  QFont f(FDesign.Family);
  f.setBold(FDesign.Bold);
  f.setPixelSize(std::max(1, int(std::lround(std::abs(FDesign.Height) * scale))));
  f.setStyleStrategy(QFont::PreferAntialias);
  // The seven-segment face runs wider than the instrument's: a figure is narrowed until its
  // design caption fits between its design edges again.
  if (FDesign.Right) {
    const double room = (FDesign.Right - FDesign.Left) * scale;
    const double natural = QFontMetricsF(f).horizontalAdvance(QString::fromUtf8(FDesign.Caption));
    if (natural > room) f.setStretch(std::max(50, int(100 * room / natural)));
  }
  setFont(f);
  const int top = int(std::lround(FDesign.Top * scale));
  const int height = QFontMetrics(f).height();
  // A figure's box reaches from the panel's left edge to its right anchor, so the text may
  // grow to the left; a legend's box from its left edge to the panel's right edge.
  if (FDesign.Right) {
    setGeometry(0, top, int(std::lround(FDesign.Right * scale)), height);
  } else {
    const int left = int(std::lround(FDesign.Left * scale));
    setGeometry(left, top, std::max(1, int(std::lround(DesignWidth * scale)) - left), height);
  }
}

namespace {
constexpr int LargestOutlinedGlyph = 64;
}

void TKvLcdLabel::changeEvent(QEvent* event) {
  if (event->type() == QEvent::FontChange || event->type() == QEvent::PaletteChange)
    FGlyphs.clear();
  QLabel::changeEvent(event);
}

const QPixmap& TKvLcdLabel::Glyph(QChar c) {
  auto found = FGlyphs.constFind(c);
  if (found != FGlyphs.constEnd()) return *found;
  const QFontMetricsF metrics(font());
  // Room for the parts of a slanted segment that reach beyond the advance.
  const qreal pad = metrics.height() / 4;
  const qreal ratio = devicePixelRatioF();
  const QSizeF size(metrics.horizontalAdvance(c) + 2 * pad, metrics.height());
  QPixmap glyph((size * ratio).toSize() + QSize(1, 1));
  glyph.setDevicePixelRatio(ratio);
  glyph.fill(Qt::transparent);
  QPainter p(&glyph);
  p.setFont(font());
  p.setPen(palette().color(QPalette::WindowText));
  // Laid out as the label lays out its text, so that it stands at the same height.
  p.drawText(QRectF(QPointF(pad, 0), size), Qt::AlignLeft | Qt::AlignTop | Qt::TextDontClip,
             QString(c));
  return *FGlyphs.insert(c, glyph);
}

void TKvLcdLabel::paintEvent(QPaintEvent* event) {
  if (font().pixelSize() <= LargestOutlinedGlyph) return QLabel::paintEvent(event);
  QPainter p(this);
  const QFontMetricsF metrics(font());
  const QString shown = text();
  const QRect room = contentsRect();
  const qreal pad = metrics.height() / 4;
  qreal x = alignment() & Qt::AlignRight ? room.right() + 1 - metrics.horizontalAdvance(shown)
                                         : room.left();
  for (QChar c : shown) {
    p.drawPixmap(QPointF(std::round(x - pad), room.top()), Glyph(c));
    x += metrics.horizontalAdvance(c);
  }
}

TKvImage32::TKvImage32(QWidget* parent) : QWidget(parent), Color(ColorToQColor(ImageColor)) {
  setObjectName("Image32Display");
}

void TKvImage32::paintEvent(QPaintEvent*) {
  QPainter(this).fillRect(rect(), Color);
}

// ---- The panel ----

TFrmDxLvxDisplay::TFrmDxLvxDisplay(QWidget* parent) : QWidget(parent) {
  setObjectName("FrmDxLvxDisplay");
  setWindowFlag(Qt::FramelessWindowHint);
  QFont tahoma("Tahoma");
  tahoma.setPixelSize(11);
  setFont(tahoma);
  // Whatever the skin paints on widgets, the LCD's legends stay transparent and black.
  setStyleSheet(
      "#Image32Display QLabel { background: transparent; color: #000000; border: none; }");

  dxLayoutControl1 = new QWidget(this);
  dxLayoutControl1->setObjectName("dxLayoutControl1");
  auto* formLayout = new QVBoxLayout(this);
  formLayout->setContentsMargins(0, 0, 0, 0);
  formLayout->addWidget(dxLayoutControl1);
  dxLayoutControl1Item_Display = new QWidget(dxLayoutControl1);
  dxLayoutControl1Item_Display->setObjectName("dxLayoutControl1Item_Display");
  auto* layout = new QVBoxLayout(dxLayoutControl1);
  layout->setContentsMargins(Margin, Margin, Margin, Margin);
  layout->addWidget(dxLayoutControl1Item_Display, 0, Qt::AlignLeft | Qt::AlignTop);
  layout->addStretch();

  Image32Display = new TKvImage32(dxLayoutControl1Item_Display);
  auto* itemLayout = new QVBoxLayout(dxLayoutControl1Item_Display);
  itemLayout->setContentsMargins(0, 0, 0, 0);
  itemLayout->addWidget(Image32Display);

  for (const TDesign& d : UnderDiagram) new TKvLcdLabel(d, Image32Display);
  cxLabel4 = Image32Display->findChild<TKvLcdLabel*>("cxLabel4");
  cxLabel5 = Image32Display->findChild<TKvLcdLabel*>("cxLabel5");
  cxLabel7 = Image32Display->findChild<TKvLcdLabel*>("cxLabel7");

  kvDiagram1 = new TKvDiagram(Image32Display, this);
  kvDiagram1->setObjectName("kvDiagram1");
  auto* imageLayout = new QVBoxLayout(Image32Display);
  imageLayout->setContentsMargins(0, 0, 0, 0);
  imageLayout->addWidget(kvDiagram1);
  kvDiagram1->Color = LcdColor;
  kvDiagram1->Font = TKvFont{"Tahoma", 8, true};
  kvDiagram1->Font.SetHeight(-11);
  kvDiagram1->BorderColor = clGray;
  kvDiagram1->SetZoom(100);
  kvDiagram1->WheelZoom = true;
  kvDiagram1->WheelZoomIncrement = 10;
  kvDiagram1->WheelZoomMin = 10;
  kvDiagram1->WheelZoomMax = 500;
  kvDiagram1->MouseWheelMode = mwVertical;
  kvDiagram1->LeftRuler.Visible = kvDiagram1->TopRuler.Visible = false;
  kvDiagram1->SnapGrid.Visible = false;
  kvDiagram1->PageLines.Visible = false;
  kvDiagram1->Background.Visible = false;
  kvDiagram1->AutoScroll = false;
  kvDiagram1->AutoPage = false;
  kvDiagram1->AutomaticNodes = false;
  kvDiagram1->CanMoveOutOfBounds = true;
  kvDiagram1->SmoothMode = smAntiAlias;
  kvDiagram1->TextRenderingMode = tmAntiAlias;
  // An instrument's face does not scroll.
  kvDiagram1->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
  kvDiagram1->setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOff);

  BuildLabels();
  BuildTextBlocks();
  BuildScaleDots();

  KvFormStorage1 = new TKvFormStorage(this);
  KvFormStorage1->AppStoragePath = "%FORM_NAME%\\";
  KvFormStorage1->OnRestorePlacement = [this] { KvFormStorage1RestorePlacement(); };
  KvFormStorage1->OnSavePlacement = [this] { KvFormStorage1SavePlacement(); };
  KvLib_FormStorage_FormCreate(DmKvBasic, KvFormStorage1);

  ActionEditorOpen = new QAction("&Open Editor", this);
  ActionEditorOpen->setObjectName("ActionEditorOpen");
  connect(ActionEditorOpen, &QAction::triggered, this, [this] { ActionEditorOpenExecute(); });

  dxMemDataTable = std::make_unique<TKvDisplayTable>();

  FormCreate();
  Log("In Create");
}

TFrmDxLvxDisplay::~TFrmDxLvxDisplay() {
  FormDestroy();
  if (FrmDxLvxDisplay == this) FrmDxLvxDisplay = nullptr;
}

void TFrmDxLvxDisplay::Log(const QString& msg) {
  KvSysHelper().SysLog_Add(this, "", msg);
}

void TFrmDxLvxDisplay::BuildLabels() {
  const TDesign labels[] = {
      {"cxLabelSoundVal", 180, 177, 329, "LCD", true, -96, " 00.0"},
      {"cxLabelLowVal", 3, 79, 39, "LCD", true, -35, "30"},
      {"cxLabelHiVal", 371, 79, 407, "LCD", true, -35, "80"},
      {"cxLabelTimeVal", 148, 129, 258, "LCD", true, -35, "00:00:00"},
      {"cxLabelTime", 273, 143, 0, "Arial", true, -21, "TIME"},
      {"cxLabelAC", 335, 210, 0, "Arial", true, -21, "A"},
      {"cxLabeldB", 335, 241, 0, "Arial", true, -29, "dB"},
      {"cxLabelFast", 343, 2, 0, "Arial", true, -21, "FAST "},
      {"cxLabelSlow", 273, 2, 0, "Arial", true, -21, "SLOW"},
      {"cxLabelOver", 343, 50, 0, "Arial", true, -21, "OVER"},
      {"cxLabelUnder", 3, 50, 0, "Arial", true, -21, "UNDER"},
      {"cxLabelMax", 119, 284, 0, "Arial", true, -21, "MAX"},
      {"cxLabelSending", 3, 3, 0, "Arial", true, -19, "SENDING"},
      {"cxLabelMemo", 103, 3, 0, "Arial", true, -19, "MEMO"},
      {"cxLabelRecord", 228, 278, 0, "Arial", true, -21, "RECORD "},
  };
  TKvLcdLabel** fields[] = {&cxLabelSoundVal, &cxLabelLowVal, &cxLabelHiVal, &cxLabelTimeVal,
                            &cxLabelTime,     &cxLabelAC,     &cxLabeldB,    &cxLabelFast,
                            &cxLabelSlow,     &cxLabelOver,   &cxLabelUnder, &cxLabelMax,
                            &cxLabelSending,  &cxLabelMemo,   &cxLabelRecord};
  for (size_t i = 0; i < std::size(labels); ++i) {
    *fields[i] = new TKvLcdLabel(labels[i], Image32Display);
    (*fields[i])->raise();  // above the diagram
  }
}

TTextBlock* TFrmDxLvxDisplay::TextBlock(const char* name, const TDesignBounds& bounds,
                                        const QString& text, const char* family, int height) {
  auto* block = new TTextBlock(this);
  block->SetDiagram(kvDiagram1);
  block->SetName(name);
  block->SetBounds(bounds.Left, bounds.Top, bounds.Width, bounds.Height);
  block->FBrush = {clBlack, bsClear};
  block->SetShape(bsNoShape);
  block->SetTransparent(true);
  TKvFont font{family, 8, true};
  font.SetHeight(height);
  block->SetFont(font);
  block->SetStrings(text);
  return block;
}

void TFrmDxLvxDisplay::BuildTextBlocks() {
  TextBlock_Sending = TextBlock("TextBlock_Sending", {0, 15, 110, 35}, "SENDING", "Arial", -19);
  TextBlock_Memo = TextBlock("TextBlock_Memo", {90, 5, 100, 44}, "MEMO", "Arial", -19);
  TextBlock_Max = TextBlock("TextBlock_Max", {90, 285, 100, 44}, "MAX");
  TextBlock_Slow = TextBlock("TextBlock_Slow", {250, 5, 100, 44}, "SLOW");
  TextBlock_Fast = TextBlock("TextBlock_Fast", {320, 5, 100, 44}, "FAST");
  TextBlock_Under = TextBlock("TextBlock_Under", {0, 42, 94, 55}, "UNDER");
  TextBlock_Over = TextBlock("TextBlock_Over", {330, 42, 94, 55}, "OVER");
  TextBlock_Time = TextBlock("TextBlock_Time", {250, 145, 100, 44}, "TIME");
  TextBlock_AC = TextBlock("TextBlock_AC", {285, 195, 150, 44}, "A  C");
  TextBlock_dB = TextBlock("TextBlock_dB", {305, 260, 100, 44}, "dB", "Arial", -27);
  TextBlock_RangeMin = TextBlock("TextBlock_RangeMin", {0, 62, 65, 55}, "30", "DS_Digital", -35);
  TextBlock_RangeMax = TextBlock("TextBlock_RangeMax", {330, 60, 100, 55}, "80", "DS_Digital", -35);
  TextBlock_TimeAct =
      TextBlock("TextBlock_TimeAct", {55, 115, 300, 55}, "00:00:00", "DS_Digital", -35);
}

void TFrmDxLvxDisplay::BuildScaleDots() {
  static const TDot corners[] = {{54.2, 85.2},  {106.4, 47.0}, {231.5, 25.8},
                                 {292.9, 45.1}, {166.4, 26.5}, {343.7, 84.7}};
  static const TDot outline[] = {{2.6496, 0}, {2.6496, 0}, {1.3675, 0}, {0, 2},
                                 {0.0855, 2}, {0.5983, 5}, {1.7949, 5}, {3.1197, 5},
                                 {4.5726, 5}, {5, 2},      {4.6154, 0}, {2.6923, 0}};
  for (int i = 0; i < 6; ++i) {
    auto* dot = new TPolygonBlock(this);
    dot->SetDiagram(kvDiagram1);
    dot->SetName(QString("PolygonBlock%1").arg(i + 1));
    dot->FPen.Color = clBlack;
    dot->FBrush = {clBlack, bsSolid};
    dot->SetColor(clBlack);
    TDotArray pts;
    for (const TDot& p : outline) pts.push_back(corners[i] + p);
    dot->SetPoints(pts);
  }
}

// ---- Handlers ----

void TFrmDxLvxDisplay::FormCreate() {
  Log("in FoCre");
  if (DmKvDiagramEditor) DmKvDiagramEditor->FDgrTarget = kvDiagram1;

  FScale = KvDisplay_ScaleFor(GetScreenDPI(), DesignWidth, DesignHeight, kvDiagram1->Zoom());
  dxLayoutControl1Item_Display->setFixedSize(FScale.Width, FScale.Height);
  kvDiagram1->SetZoom(FScale.Zoom);
  const double scale = FScale.Zoom / 100.0;
  for (TKvLcdLabel* label : Image32Display->findChildren<TKvLcdLabel*>()) label->Place(scale);
  resize(FScale.Width + 2 * Margin, FScale.Height + 2 * Margin);

  TKvDgrBargraph& bargraph = KvDgrBargraph();
  bargraph.nameBase = "poly";
  bargraph.iBase = 0;
  bargraph.iCount = 26;
  if (DmKvDiagramEditor)
    DmKvDiagramEditor->ShapeCreate_RectN(
        bargraph.nameBase, bargraph.iBase,
        {185.0 + 10 * bargraph.iBase, 190, 187.0 + 10 * bargraph.iBase, 210}, 140.0, -4.0, 150.0,
        1.0, 0.0, 26, 0);

  for (TTextBlock* b : {TextBlock_RangeMin, TextBlock_RangeMax, TextBlock_TimeAct}) {
    TKvFont f = b->Font();
    f.Name = "DS_Digital";
    b->SetFont(f);
  }
  // The figures' faces were set with the labels; the first state follows.
  for (TKvLcdLabel* label : Image32Display->findChildren<TKvLcdLabel*>()) {
    label->setText(QString::fromUtf8(label->Design().Caption));
    label->setVisible(label != cxLabelRecord);
  }
  for (TTextBlock* b :
       {TextBlock_Sending, TextBlock_Memo, TextBlock_Max, TextBlock_Slow, TextBlock_Fast,
        TextBlock_Under, TextBlock_Over, TextBlock_Time, TextBlock_AC, TextBlock_dB,
        TextBlock_RangeMin, TextBlock_RangeMax, TextBlock_TimeAct})
    b->SetVisible(false);
  TextBlock_RangeMin->SetStrings("30");
  TextBlock_RangeMax->SetStrings("80");
  TextBlock_TimeAct->SetStrings("00:00:00");
  TextBlock_AC->SetStrings("A    ");
}

void TFrmDxLvxDisplay::FormDestroy() {
  Log("in FormDestroy");
  KvLib_FormStorage_FormDestroy(KvFormStorage1);
  if (DmKvDiagramEditor && DmKvDiagramEditor->FDgrTarget == kvDiagram1)
    DmKvDiagramEditor->FDgrTarget = nullptr;
}

void TFrmDxLvxDisplay::Data2Display(const TKvUniqueData& Reading) {
  if (!FrmDxLvxDisplay) return;
  // Which set of elements follows the reading: the labels, not the blocks.
  const bool bLabels = true;
  const bool bBlocks = false;

  cxLabelTimeVal->setText(Reading.strTime);
  cxLabelLowVal->setText(Reading.strLo);
  cxLabelHiVal->setText(Reading.strHi);

  if (Reading.bC) {
    cxLabelAC->setText("   C");
    TextBlock_AC->SetStrings("    C");
  } else if (Reading.bA) {
    cxLabelAC->setText("A");
    TextBlock_AC->SetStrings("A    ");
  }

  cxLabelSending->setVisible(bLabels && Reading.bConnected);
  TextBlock_Sending->SetVisible(bBlocks && Reading.bConnected);
  cxLabelMemo->setVisible(bLabels && Reading.bConnected && !Reading.bLive);
  TextBlock_Memo->SetVisible(bBlocks && Reading.bConnected && !Reading.bLive);

  cxLabelRecord->setVisible(false);

  const std::pair<TKvLcdLabel*, TTextBlock*> legends[] = {{cxLabelFast, TextBlock_Fast},
                                                          {cxLabelSlow, TextBlock_Slow},
                                                          {cxLabelUnder, TextBlock_Under},
                                                          {cxLabelOver, TextBlock_Over},
                                                          {cxLabelMax, TextBlock_Max}};
  const bool flags[] = {Reading.bFast, Reading.bSlow, Reading.bUnder, Reading.bOver, Reading.bMax};
  for (size_t i = 0; i < std::size(legends); ++i) legends[i].first->setVisible(bLabels && flags[i]);
  for (size_t i = 0; i < std::size(legends); ++i)
    legends[i].second->SetVisible(bBlocks && flags[i]);

  if (!Reading.bValid) return;
  cxLabelSoundVal->setText(Reading.strVal);
  TKvDgrBargraph& bargraph = KvDgrBargraph();
  bargraph.dFrom = Reading.dLo;
  bargraph.dTo = Reading.dHi;
  // A level below the range still lights the first tick.
  const double level = Reading.dVal < Reading.dLo ? Reading.dLo : Reading.dVal;
  if (DmKvDiagramEditor) DmKvDiagramEditor->SetBargraph(bargraph, level);
}

void TFrmDxLvxDisplay::AddData(int Loc, double X, double Y) {
  dxMemDataTable->AddData(Loc, X, Y);
}

void TFrmDxLvxDisplay::KvFormStorage1RestorePlacement() {
  Log("In RestorePlacement");
  // The face behind the range figure must be one the system can measure.
  const QRawFont raw = QRawFont::fromFont(cxLabelLowVal->font());
  if (!raw.isValid() || raw.unitsPerEm() <= 0)
    throw std::runtime_error(QString("No outline metrics for the font %1")
                                 .arg(cxLabelLowVal->font().family())
                                 .toStdString());
}

void TFrmDxLvxDisplay::KvFormStorage1SavePlacement() {
  Log("In FormPlacement");
}
