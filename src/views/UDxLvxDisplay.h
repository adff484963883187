#pragma once
// The instrument's LCD mimic, docked into the "Device display" tab: the level in big
// seven-segment digits, range and time figures, the legends, and the ring of 26 ticks that
// fills as the level rises. It keeps no reading of its own; each reading handed to
// Data2Display shows through label texts and visibilities, and the ticks on the diagram.
//
// Every legend exists twice: as a label, which the user sees, and as a hidden text block on
// the diagram. Data2Display's two switches decide which set follows the reading; the labels
// carry the display and the blocks stay dark, ready to be turned on by the switch.
#include <QHash>
#include <QLabel>
#include <QPixmap>
#include <QWidget>
#include <memory>

#include "KvDockedViews.h"
#include "KvUniqueData.h"
#include "UDmKvDiagramEditor.h"

class QAction;
class TKvDiagram;
class TKvFormStorage;
class TKvDisplayTable;
class TTextBlock;

// The screen rule: above 96 dots per inch the display item and the diagram's zoom grow by
// the screen's factor and 5 % more; at 96 or less nothing changes.
struct TKvDisplayScale {
  int Width;
  int Height;
  int Zoom;
};
TKvDisplayScale KvDisplay_ScaleFor(int dotsPerInch, int width = 410, int height = 315,
                                   int zoom = 100);

// The panel's one bar graph descriptor; its range follows the valid readings.
TKvDgrBargraph& KvDgrBargraph();

// A figure or legend of the LCD: transparent, black, placed at its design position scaled
// with the diagram. A figure anchored on the right keeps its right edge whatever its text.
class TKvLcdLabel : public QLabel {
 public:
  struct TDesign {
    const char* Name;
    int Left, Top;
    int Right;  // right edge the text is aligned on, 0: left-aligned at Left
    const char* Family;
    bool Bold;
    int Height;  // pixels at 96 dots per inch
    const char* Caption;
  };
  TKvLcdLabel(const TDesign& design, QWidget* parent);
  const TDesign& Design() const { return FDesign; }
  // Places and sizes the label for a scale (zoom / 100).
  void Place(double scale);

 protected:
  void paintEvent(QPaintEvent* event) override;
  void changeEvent(QEvent* event) override;

 private:
  const QPixmap& Glyph(QChar c);
  TDesign FDesign;
  // The toolkit fills glyphs above 64 pixels as outlines on every paint, and the level's big
  // figure is painted with every reading: its glyphs are drawn once and kept.
  QHash<QChar, QPixmap> FGlyphs;
};

// The image under the diagram and the labels: a plain colour surface.
class TKvImage32 : public QWidget {
 public:
  explicit TKvImage32(QWidget* parent);
  QColor Color;

 protected:
  void paintEvent(QPaintEvent*) override;
};

class TFrmDxLvxDisplay : public QWidget, public TKvDisplayView {
 public:
  explicit TFrmDxLvxDisplay(QWidget* parent = nullptr);
  ~TFrmDxLvxDisplay() override;

  // Components.
  QWidget* dxLayoutControl1;
  QWidget* dxLayoutControl1Item_Display;
  TKvImage32* Image32Display;
  TKvDiagram* kvDiagram1;
  TKvFormStorage* KvFormStorage1;
  QAction* ActionEditorOpen;
  std::unique_ptr<TKvDisplayTable> dxMemDataTable;

  TKvLcdLabel* cxLabelSoundVal;
  TKvLcdLabel* cxLabelLowVal;
  TKvLcdLabel* cxLabelHiVal;
  TKvLcdLabel* cxLabelTimeVal;
  TKvLcdLabel* cxLabelTime;
  TKvLcdLabel* cxLabelAC;
  TKvLcdLabel* cxLabeldB;
  TKvLcdLabel* cxLabelFast;
  TKvLcdLabel* cxLabelSlow;
  TKvLcdLabel* cxLabelOver;
  TKvLcdLabel* cxLabelUnder;
  TKvLcdLabel* cxLabelMax;
  TKvLcdLabel* cxLabelSending;
  TKvLcdLabel* cxLabelMemo;
  TKvLcdLabel* cxLabelRecord;
  TKvLcdLabel* cxLabel4;
  TKvLcdLabel* cxLabel5;
  TKvLcdLabel* cxLabel7;

  TTextBlock* TextBlock_Sending;
  TTextBlock* TextBlock_Memo;
  TTextBlock* TextBlock_Max;
  TTextBlock* TextBlock_Slow;
  TTextBlock* TextBlock_Fast;
  TTextBlock* TextBlock_Under;
  TTextBlock* TextBlock_Over;
  TTextBlock* TextBlock_Time;
  TTextBlock* TextBlock_AC;
  TTextBlock* TextBlock_dB;
  TTextBlock* TextBlock_RangeMin;
  TTextBlock* TextBlock_RangeMax;
  TTextBlock* TextBlock_TimeAct;

  // The scale the panel was built for, at the screen's dots per inch.
  const TKvDisplayScale& Scale() const { return FScale; }

  // Handlers, named after their component and event.
  void FormCreate();
  void FormDestroy();
  void Data2Display(const TKvUniqueData& Reading) override;
  void AddData(int Loc, double X, double Y);
  void ActionEditorOpenExecute() {}
  void atDiagram1Click() {}
  void dxSkinController1SkinControl() {}
  void KvFormStorage1RestorePlacement();
  void KvFormStorage1SavePlacement();

 private:
  void BuildLabels();
  void BuildTextBlocks();
  void BuildScaleDots();
  struct TDesignBounds {
    double Left, Top, Width, Height;
  };
  TTextBlock* TextBlock(const char* name, const TDesignBounds& bounds, const QString& text,
                        const char* family = "Arial", int height = -21);
  void Log(const QString& msg);

  TKvDisplayScale FScale{410, 315, 100};
};
