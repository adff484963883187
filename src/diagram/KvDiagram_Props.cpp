// The published properties of the diagram and its controls, in stored order, with their
// declared defaults and stored tests, and the defined properties that follow them.
#include <QBuffer>
#include <algorithm>

#include "KvDiagram.h"
#include "KvDiagram_Filer.h"

// ---- enumerations, colours, cursors ----

int KvEnumIndex(const TKvEnumNames& names, const TKvValue& v) {
  const QString& ident = v.AsIdent();
  for (size_t i = 0; i < names.size(); ++i)
    if (ident.compare(QLatin1String(names[i]), Qt::CaseInsensitive) == 0) return int(i);
  throw EKvReadError(SInvalidPropertyValue);
}

std::vector<QByteArray> KvSetMembers(const TKvEnumNames& names, uint64_t bits) {
  std::vector<QByteArray> out;
  for (size_t i = 0; i < names.size(); ++i)
    if ((bits >> i) & 1) out.emplace_back(names[i]);
  return out;
}

uint64_t KvSetBits(const TKvEnumNames& names, const TKvValue& v) {
  if (v.Type != vaSet) throw EKvReadError(SInvalidPropertyValue);
  uint64_t bits = 0;
  for (const QByteArray& m : v.Set) {
    TKvValue ident;
    ident.Type = vaIdent;
    ident.Str = QString::fromUtf8(m);
    bits |= uint64_t(1) << KvEnumIndex(names, ident);
  }
  return bits;
}

namespace {

struct TNamedInt {
  const char* Name;
  int64_t Value;
};

const TNamedInt ColorNames[] = {
    {"clBlack", 0x000000},
    {"clMaroon", 0x000080},
    {"clGreen", 0x008000},
    {"clOlive", 0x008080},
    {"clNavy", 0x800000},
    {"clPurple", 0x800080},
    {"clTeal", 0x808000},
    {"clGray", 0x808080},
    {"clSilver", 0xC0C0C0},
    {"clRed", 0x0000FF},
    {"clLime", 0x00FF00},
    {"clYellow", 0x00FFFF},
    {"clBlue", 0xFF0000},
    {"clFuchsia", 0xFF00FF},
    {"clAqua", 0xFFFF00},
    {"clWhite", 0xFFFFFF},
    {"clMoneyGreen", 0xC0DCC0},
    {"clSkyBlue", 0xF0CAA6},
    {"clCream", 0xF0FBFF},
    {"clMedGray", 0xA4A0A0},
    {"clNone", 0x1FFFFFFF},
    {"clDefault", 0x20000000},
    {"clScrollBar", int32_t(0x80000000)},
    {"clBackground", int32_t(0x80000001)},
    {"clActiveCaption", int32_t(0x80000002)},
    {"clInactiveCaption", int32_t(0x80000003)},
    {"clMenu", int32_t(0x80000004)},
    {"clWindow", int32_t(0x80000005)},
    {"clWindowFrame", int32_t(0x80000006)},
    {"clMenuText", int32_t(0x80000007)},
    {"clWindowText", int32_t(0x80000008)},
    {"clCaptionText", int32_t(0x80000009)},
    {"clActiveBorder", int32_t(0x8000000A)},
    {"clInactiveBorder", int32_t(0x8000000B)},
    {"clAppWorkSpace", int32_t(0x8000000C)},
    {"clHighlight", int32_t(0x8000000D)},
    {"clHighlightText", int32_t(0x8000000E)},
    {"clBtnFace", int32_t(0x8000000F)},
    {"clBtnShadow", int32_t(0x80000010)},
    {"clGrayText", int32_t(0x80000011)},
    {"clBtnText", int32_t(0x80000012)},
    {"clInactiveCaptionText", int32_t(0x80000013)},
    {"clBtnHighlight", int32_t(0x80000014)},
    {"cl3DDkShadow", int32_t(0x80000015)},
    {"cl3DLight", int32_t(0x80000016)},
    {"clInfoText", int32_t(0x80000017)},
    {"clInfoBk", int32_t(0x80000018)},
};

struct TNamedCursor {
  const char* Name;
  int Value;
  Qt::CursorShape Shape;
};

// First row of a shape is the one written for it.
const TNamedCursor CursorNames[] = {
    {"crDefault", 0, Qt::ArrowCursor},
    {"crNone", -1, Qt::BlankCursor},
    {"crArrow", -2, Qt::ArrowCursor},
    {"crCross", -3, Qt::CrossCursor},
    {"crIBeam", -4, Qt::IBeamCursor},
    {"crSizeNESW", -6, Qt::SizeBDiagCursor},
    {"crSizeNS", -7, Qt::SizeVerCursor},
    {"crSizeNWSE", -8, Qt::SizeFDiagCursor},
    {"crSizeWE", -9, Qt::SizeHorCursor},
    {"crUpArrow", -10, Qt::UpArrowCursor},
    {"crHourGlass", -11, Qt::WaitCursor},
    {"crDrag", -12, Qt::DragCopyCursor},
    {"crNoDrop", -13, Qt::ForbiddenCursor},
    {"crHSplit", -14, Qt::SplitHCursor},
    {"crVSplit", -15, Qt::SplitVCursor},
    {"crMultiDrag", -16, Qt::DragLinkCursor},
    {"crSQLWait", -17, Qt::WaitCursor},
    {"crNo", -18, Qt::ForbiddenCursor},
    {"crAppStart", -19, Qt::BusyCursor},
    {"crHelp", -20, Qt::WhatsThisCursor},
    {"crHandPoint", -21, Qt::PointingHandCursor},
    {"crSizeAll", -22, Qt::SizeAllCursor},
    {"crSize", -22, Qt::SizeAllCursor},
};

}  // namespace

void KvWriteColor(TKvBinaryWriter& w, TColor c) {
  for (const TNamedInt& n : ColorNames)
    if (n.Value == c) return w.WriteIdent(n.Name);
  w.WriteInteger(c);
}

TColor KvReadColor(const TKvValue& v) {
  if (v.IsInteger()) return TColor(v.Int);
  const QString& ident = v.AsIdent();
  for (const TNamedInt& n : ColorNames)
    if (ident.compare(QLatin1String(n.Name), Qt::CaseInsensitive) == 0) return TColor(n.Value);
  throw EKvReadError(SInvalidPropertyValue);
}

void KvWriteCursor(TKvBinaryWriter& w, Qt::CursorShape c) {
  for (const TNamedCursor& n : CursorNames)
    if (n.Shape == c) return w.WriteIdent(n.Name);
  w.WriteIdent("crDefault");
}

Qt::CursorShape KvReadCursor(const TKvValue& v) {
  for (const TNamedCursor& n : CursorNames) {
    if (v.IsInteger() ? v.Int == n.Value
                      : v.AsIdent().compare(QLatin1String(n.Name), Qt::CaseInsensitive) == 0)
      return n.Shape;
  }
  if (v.IsInteger()) return Qt::ArrowCursor;  // a user cursor this platform does not have
  throw EKvReadError(SInvalidPropertyValue);
}

// ---- pictures ----
// Bitmap data: a 32-bit count of the bytes that follow, then a BMP file. Metafile data: a
// 32-bit count that includes itself, then the picture; an empty one is just the count 4.
// Picture data: a short string with the graphic's class name, then that graphic's data.

namespace {

QByteArray ImageFile(const QImage& img, const char* format) {
  QByteArray bytes;
  QBuffer buf(&bytes);
  buf.open(QIODevice::WriteOnly);
  img.save(&buf, format);
  return bytes;
}

QByteArray LE32(qsizetype n) {
  QByteArray b(4, 0);
  for (int i = 0; i < 4; ++i) b[i] = char((n >> (8 * i)) & 0xFF);
  return b;
}

qint64 ReadLE32(const QByteArray& b, qsizetype at) {
  if (b.size() < at + 4) throw EKvReadError(SReadError);
  uint32_t v = 0;
  for (int i = 3; i >= 0; --i) v = (v << 8) | uint8_t(b[at + i]);
  return v;
}

QImage DecodeImage(const QByteArray& bytes) {
  QImage img;
  if (!bytes.isEmpty() && !img.loadFromData(bytes)) throw EKvReadError(SInvalidPropertyValue);
  return img;
}

}  // namespace

QByteArray KvBitmapData(const QImage& img) {
  const QByteArray file = ImageFile(img, "BMP");
  return LE32(file.size()) + file;
}

QImage KvBitmapFromData(const QByteArray& data) {
  const qint64 n = ReadLE32(data, 0);
  if (n > data.size() - 4) throw EKvReadError(SReadError);
  return DecodeImage(data.mid(4, n));
}

QByteArray KvMetafileData(const QImage& img) {
  const QByteArray file = img.isNull() ? QByteArray() : ImageFile(img, "PNG");
  return LE32(file.size() + 4) + file;
}

QImage KvMetafileFromData(const QByteArray& data) {
  const qint64 n = ReadLE32(data, 0);
  if (n < 4 || n > data.size()) throw EKvReadError(SReadError);
  return DecodeImage(data.mid(4, n - 4));
}

QByteArray KvPictureData(const QImage& img) {
  static const QByteArray cls("TBitmap");
  return char(cls.size()) + cls + KvBitmapData(img);
}

QImage KvPictureFromData(const QByteArray& data) {
  if (data.isEmpty()) throw EKvReadError(SReadError);
  const int n = uint8_t(data[0]);
  if (data.size() < 1 + n) throw EKvReadError(SReadError);
  const QByteArray cls = data.mid(1, n);
  const QByteArray rest = data.mid(1 + n);
  if (cls == "TMetafile") return KvMetafileFromData(rest);
  if (cls == "TBitmap") return KvBitmapFromData(rest);
  return DecodeImage(rest);  // other graphics keep their own file as their data
}

// ---- tables of the parts ----

const TKvEnumNames& KvNames_TPenStyle() {
  static const TKvEnumNames n{"psSolid", "psDash", "psDot", "psDashDot", "psDashDotDot", "psClear"};
  return n;
}

namespace {

const TKvEnumNames BrushStyles{"bsSolid",     "bsClear",     "bsHorizontal", "bsVertical",
                               "bsFDiagonal", "bsBDiagonal", "bsCross"};
const TKvEnumNames FontStyles{"fsBold", "fsItalic", "fsUnderline", "fsStrikeOut"};
const TKvEnumNames GradientDirections{"grTopBottom", "grBottomTop", "grLeftRight",  "grRightLeft",
                                      "grLeftTop",   "grRightTop",  "grLeftBottom", "grRightBottom",
                                      "grInOut",     "grOutIn",     "grHorzInOut",  "grHorzOutIn",
                                      "grVertInOut", "grVertOutIn"};
const TKvEnumNames Alignments{"taLeftJustify", "taRightJustify", "taCenter"};
const TKvEnumNames VertAligns{"vaTop", "vaBottom", "vaCenter"};
const TKvEnumNames AnchorOrientations{"aoNone", "aoHorz", "aoVert", "aoUp",
                                      "aoDown", "aoLeft", "aoRight"};
const TKvEnumNames LinkConstraints{"lcAll", "lcSourceOnly", "lcTargetOnly", "lcNone"};
const TKvEnumNames HandleStyles{"hsSize", "hsRotate", "hsRotCenter", "hsCustom"};
const TKvEnumNames ArrowShapes{"asNone",      "asSolidArrow", "asLineArrow", "asDiamond",
                               "asRectangle", "asEllipse",    "asHalfLine",  "asAngledDiamond"};
const TKvEnumNames LineStyles{"lsLine", "lsSideLine", "lsParabolicArc", "lsCircularArc",
                              "lsBezier"};
const TKvEnumNames TextCellsModes{"tmSegments", "tmSingle", "tmManual", "tmSpecific"};
const TKvEnumNames BlockShapes{"bsNoShape",   "bsRectangle", "bsEllipse",
                               "bsRoundRect", "bsDiamond",   "bsSquareRound"};
const TKvEnumNames Restrictions{"crNoMove",          "crNoResize",  "crNoRotation",  "crNoEdit",
                                "crNoDelete",        "crKeepRatio", "crNoClipboard", "crNoSelect",
                                "crNoRotCenterMove", "crNoLink"};
const TKvEnumNames BitmapModes{"bmStretch", "bmCenter", "bmTile"};
const TKvEnumNames PictureModes{"pmStretch", "pmCenter", "pmTile"};
const TKvEnumNames GridStyles{"gsDots", "gsLines", "gsRuler"};
const TKvEnumNames BackImageStyles{"biTile", "biFixed"};
const TKvEnumNames RulerUnits{"unMili", "unCenti", "unInch", "unPixel"};
const TKvEnumNames MeasUnits{"duMili", "duCenti", "duInch"};
const TKvEnumNames SmoothModes{"smAntiAlias", "smInactive", "smHighSpeed", "smHighQuality"};
const TKvEnumNames TextRenderingModes{"tmAntiAlias", "tmAntiAliasHint", "tmDefault",
                                      "tmNormal",    "tmNormalHint",    "tmClearType"};
const TKvEnumNames HandlesStyles{"hsClassic", "hsVisio"};
const TKvEnumNames SelectionModes{"slmMultiple", "slmGroup"};
const TKvEnumNames MouseWheelModes{"mwOff", "mwHorizontal", "mwVertical"};
const TKvEnumNames KeyActions{"kaEscape", "kaMove", "kaPage", "kaResize", "kaSelect"};
const TKvEnumNames BorderStyles{"bsNone", "bsSingle"};
const TKvEnumNames Orientations{"poPortrait", "poLandscape"};

template <typename T>
using Table = TKvPropTable<T>;

// Pens and brushes take the defaults of the part that owns them, so a value left out reads
// back as the owner made it.
Table<TKvPen> PenProps(const TKvPen& def) {
  Table<TKvPen> t;
  t.Color("Color", KvGet(&TKvPen::Color), KvSet(&TKvPen::Color), def.Color);
  t.Enum("Style", KvNames_TPenStyle(), KvGet(&TKvPen::Style), KvSet(&TKvPen::Style), def.Style);
  t.Int("Width", KvGet(&TKvPen::Width), KvSet(&TKvPen::Width), def.Width);
  return t;
}

Table<TKvBrush> BrushProps(const TKvBrush& def) {
  Table<TKvBrush> t;
  t.Color("Color", KvGet(&TKvBrush::Color), KvSet(&TKvBrush::Color), def.Color);
  t.Enum("Style", BrushStyles, KvGet(&TKvBrush::Style), KvSet(&TKvBrush::Style), def.Style);
  return t;
}

// A font writes everything but the pitch; the character set is not kept here.
const Table<TKvFont>& FontProps() {
  static const Table<TKvFont> t = [] {
    Table<TKvFont> t;
    t.Add(
        "Charset",
        [](const TKvFont&, TKvBinaryWriter& w, const QByteArray& p) {
          w.WritePropName(p);
          w.WriteIdent("DEFAULT_CHARSET");
        },
        [](TKvFont&, const TKvValue& v, TKvReadContext&) {
          if (!v.IsInteger()) v.AsIdent();
        });
    t.Color("Color", KvGet(&TKvFont::Color), KvSet(&TKvFont::Color));
    t.Int(
        "Height", [](const TKvFont& f) { return f.Height(); },
        [](TKvFont& f, int64_t h) { f.SetHeight(int(h)); });
    t.Str("Name", KvGet(&TKvFont::Name), KvSet(&TKvFont::Name));
    t.Set(
        "Style", FontStyles,
        [](const TKvFont& f) {
          return uint64_t(f.Bold) | uint64_t(f.Italic) << 1 | uint64_t(f.Underline) << 2 |
                 uint64_t(f.StrikeOut) << 3;
        },
        [](TKvFont& f, uint64_t s) {
          f.Bold = s & 1;
          f.Italic = s & 2;
          f.Underline = s & 4;
          f.StrikeOut = s & 8;
        });
    t.Ignored("Pitch");
    return t;
  }();
  return t;
}

const Table<TDiagramGradient>& GradientProps() {
  static const Table<TDiagramGradient> t = [] {
    Table<TDiagramGradient> t;
    t.Enum("Direction", GradientDirections, KvGet(&TDiagramGradient::Direction),
           KvSet(&TDiagramGradient::Direction), grTopBottom);
    t.Color("EndColor", KvGet(&TDiagramGradient::EndColor), KvSet(&TDiagramGradient::EndColor),
            clBlack);
    t.Color("StartColor", KvGet(&TDiagramGradient::StartColor),
            KvSet(&TDiagramGradient::StartColor), clWhite);
    t.Bool("Visible", KvGet(&TDiagramGradient::Visible), KvSet(&TDiagramGradient::Visible), false);
    return t;
  }();
  return t;
}

const Table<TBlockShadow>& ShadowProps() {
  static const Table<TBlockShadow> t = [] {
    Table<TBlockShadow> t;
    t.Color("Color", KvGet(&TBlockShadow::Color), KvSet(&TBlockShadow::Color), clGray);
    t.Int("HOffset", KvGet(&TBlockShadow::HOffset), KvSet(&TBlockShadow::HOffset), 2);
    t.Int("VOffset", KvGet(&TBlockShadow::VOffset), KvSet(&TBlockShadow::VOffset), 2);
    t.Int("Transparency", KvGet(&TBlockShadow::Transparency), KvSet(&TBlockShadow::Transparency),
          0);
    t.Bool("Visible", KvGet(&TBlockShadow::Visible), KvSet(&TBlockShadow::Visible), false);
    return t;
  }();
  return t;
}

const Table<TTextCellFrame>& CellFrameProps() {
  static const Table<TTextCellFrame> t = [] {
    Table<TTextCellFrame> t;
    t.Color("Color", KvGet(&TTextCellFrame::Color), KvSet(&TTextCellFrame::Color), clWhite);
    const TTextCellFrame fresh;
    t.Nested("Brush", BrushProps(fresh.Brush),
             [](TTextCellFrame& f) -> TKvBrush& { return f.Brush; });
    t.Nested("Pen", PenProps(fresh.Pen), [](TTextCellFrame& f) -> TKvPen& { return f.Pen; });
    t.Bool("Transparent", KvGet(&TTextCellFrame::Transparent), KvSet(&TTextCellFrame::Transparent),
           true);
    t.Bool("AutoFrame", KvGet(&TTextCellFrame::AutoFrame), KvSet(&TTextCellFrame::AutoFrame),
           false);
    t.Real("AutoFrameMargin", KvGet(&TTextCellFrame::AutoFrameMargin),
           KvSet(&TTextCellFrame::AutoFrameMargin), std::nullopt);
    t.Bool("Visible", KvGet(&TTextCellFrame::Visible), KvSet(&TTextCellFrame::Visible), false);
    return t;
  }();
  return t;
}

const Table<TLineArrow>& ArrowProps() {
  static const Table<TLineArrow> t = [] {
    Table<TLineArrow> t;
    t.Enum("Shape", ArrowShapes, KvGet(&TLineArrow::Shape), KvSet(&TLineArrow::Shape), asNone);
    t.Real("Width", KvGet(&TLineArrow::Width), KvSet(&TLineArrow::Width), std::nullopt);
    t.Real("Height", KvGet(&TLineArrow::Height), KvSet(&TLineArrow::Height), std::nullopt);
    const TLineArrow fresh(nullptr);
    t.Nested("Brush", BrushProps(fresh.Brush), [](TLineArrow& a) -> TKvBrush& { return a.Brush; });
    t.Nested("Pen", PenProps(fresh.Pen), [](TLineArrow& a) -> TKvPen& { return a.Pen; });
    return t;
  }();
  return t;
}

}  // namespace

// ---- collection items ----

const Table<TTextCell>& TKvControlFiler::CellProps() {
  static const Table<TTextCell> t = [] {
    Table<TTextCell> t;
    t.Bool("DControlAngle", KvGet(&TTextCell::DControlAngle), KvSet(&TTextCell::DControlAngle));
    t.Real(
        "Angle", [](const TTextCell& c) { return c.FAngle; },
        [](TTextCell& c, double a) { c.FAngle = a; }, 0.0,
        [](const TTextCell& c) { return !c.DControlAngle; });
    t.Real("Left", KvGet(&TTextCell::Left), KvSet(&TTextCell::Left));
    t.Real("Top", KvGet(&TTextCell::Top), KvSet(&TTextCell::Top));
    t.Real("Width", KvGet(&TTextCell::Width), KvSet(&TTextCell::Width), std::nullopt);
    t.Real("Height", KvGet(&TTextCell::Height), KvSet(&TTextCell::Height), std::nullopt);
    t.Enum("Alignment", Alignments, KvGet(&TTextCell::Alignment), KvSet(&TTextCell::Alignment));
    t.Enum("VertAlign", VertAligns, KvGet(&TTextCell::VertAlign), KvSet(&TTextCell::VertAlign));
    t.Bool("WordWrap", KvGet(&TTextCell::WordWrap), KvSet(&TTextCell::WordWrap));
    t.Bool("Clip", KvGet(&TTextCell::Clip), KvSet(&TTextCell::Clip));
    t.Bool("RotateFont", KvGet(&TTextCell::RotateFont), KvSet(&TTextCell::RotateFont));
    t.Nested("CellFrame", CellFrameProps(),
             [](TTextCell& c) -> TTextCellFrame& { return c.CellFrame; });
    t.Bool("Visible", KvGet(&TTextCell::Visible), KvSet(&TTextCell::Visible));
    t.Bool("ParentTransparency", KvGet(&TTextCell::ParentTransparency),
           KvSet(&TTextCell::ParentTransparency));
    t.Int("Transparency", KvGet(&TTextCell::Transparency), KvSet(&TTextCell::Transparency));
    t.Bool("DControlFont", KvGet(&TTextCell::DControlFont), KvSet(&TTextCell::DControlFont));
    t.Nested(
        "Font", FontProps(), [](TTextCell& c) -> TKvFont& { return c.FFont; },
        [](const TTextCell& c) { return !c.DControlFont; });
    t.Str(
        "Text", [](const TTextCell& c) { return c.FText; },
        [](TTextCell& c, const QString& s) { c.FText = s; });
    return t;
  }();
  return t;
}

const Table<TLinkPoint>& TKvControlFiler::LinkPointProps() {
  static const Table<TLinkPoint> t = [] {
    Table<TLinkPoint> t;
    t.Add(
        "Anchor",
        [](const TLinkPoint& p, TKvBinaryWriter& w, const QByteArray& path) {
          if (!p.FAnchor) return;
          w.WritePropName(path);
          w.WriteIdent(ReferenceName(p.FAnchor));
        },
        [](TLinkPoint& p, const TKvValue& v, TKvReadContext& ctx) {
          ctx.Reference(v, [&p](TDiagramControl* c) { p.SetAnchor(c); });
        });
    t.Int(
        "AnchorIndex", KvGet(&TLinkPoint::FAnchorIndex),
        [](TLinkPoint& p, int64_t i) { p.SetAnchorIndex(int(i)); }, -1);
    t.Real("OrX", KvGet(&TLinkPoint::FOrX), KvSet(&TLinkPoint::FOrX));
    t.Real("OrY", KvGet(&TLinkPoint::FOrY), KvSet(&TLinkPoint::FOrY));
    t.Enum("Orientation", AnchorOrientations, KvGet(&TLinkPoint::FOrientation),
           KvSet(&TLinkPoint::FOrientation), aoNone);
    t.Bool("Collapsable", KvGet(&TLinkPoint::FCollapsable), KvSet(&TLinkPoint::FCollapsable));
    t.Bool("Collapsed", KvGet(&TLinkPoint::FCollapsed), KvSet(&TLinkPoint::FCollapsed));
    t.Enum("LinkConstraint", LinkConstraints, KvGet(&TLinkPoint::FLinkConstraint),
           KvSet(&TLinkPoint::FLinkConstraint));
    t.Bool("Visible", KvGet(&TLinkPoint::FVisible), KvSet(&TLinkPoint::FVisible));
    return t;
  }();
  return t;
}

namespace {

const Table<TStretchHandle>& HandleProps() {
  static const Table<TStretchHandle> t = [] {
    Table<TStretchHandle> t;
    t.Real("OrX", KvGet(&TStretchHandle::OrX), KvSet(&TStretchHandle::OrX));
    t.Real("OrY", KvGet(&TStretchHandle::OrY), KvSet(&TStretchHandle::OrY));
    t.Enum("Style", HandleStyles, KvGet(&TStretchHandle::Style), KvSet(&TStretchHandle::Style));
    return t;
  }();
  return t;
}

Table<TDot> PointProps(double def) {
  Table<TDot> t;
  t.Real("X", KvGet(&TDot::X), KvSet(&TDot::X), def);
  t.Real("Y", KvGet(&TDot::Y), KvSet(&TDot::Y), def);
  return t;
}

const Table<TDot>& PolygonPointProps() {
  static const Table<TDot> t = PointProps(0);
  return t;
}

const Table<TDiagramLayer>& LayerProps() {
  static const Table<TDiagramLayer> t = [] {
    Table<TDiagramLayer> t;
    t.Str(
        "LayerName", [](const TDiagramLayer& l) { return l.LayerName(); },
        [](TDiagramLayer& l, const QString& n) { l.SetLayerName(n); });
    t.Bool(
        "Visible", [](const TDiagramLayer& l) { return l.Visible(); },
        [](TDiagramLayer& l, bool v) { l.SetVisible(v); });
    t.Bool("Editable", KvGet(&TDiagramLayer::Editable), KvSet(&TDiagramLayer::Editable));
    return t;
  }();
  return t;
}

// Reads a collection's items into fresh items made by add().
template <typename I, typename Add>
void ReadItems(const Table<I>& items, const TKvValue& v, TKvReadContext& ctx, Add add) {
  if (v.Type != vaCollection) throw EKvReadError(SInvalidPropertyValue);
  for (const TKvCollectionItem& item : v.Items) {
    I& target = add();
    for (const TKvProperty& p : item.Props)
      if (!items.Read(target, p.Name, p.V(), ctx)) KvNoSuchProperty(p.Name);
  }
}

template <typename I>
void WriteItems(const Table<I>& items, TKvBinaryWriter& w, int count,
                const std::function<const I&(int)>& at) {
  w.BeginCollection();
  for (int i = 0; i < count; ++i) {
    w.BeginItem();
    items.Write(at(i), w);
    w.WriteListEnd();
  }
  w.WriteListEnd();
}

}  // namespace

void KvNoSuchProperty(const QByteArray& name) {
  throw EKvReadError("Property " + name.toStdString() + " does not exist");
}

// ---- controls ----

QByteArray TKvControlFiler::ReferenceName(const TDiagramControl* c) {
  const QByteArray name = c->Name().toUtf8();
  return c->parent() ? QByteArray(KvOwnerAlias) + '.' + name : name;
}

template <typename T>
void TKvControlFiler::AddCollections(Table<T>& t, const QByteArray& cellsPath) {
  t.Add(
      cellsPath,
      [](const T& c, TKvBinaryWriter& w, const QByteArray& p) {
        if (c.FTextCells.Count() == 0) return;
        w.WritePropName(p);
        WriteItems<TTextCell>(CellProps(), w, c.FTextCells.Count(),
                              [&](int i) -> const TTextCell& { return *c.FTextCells[i]; });
      },
      [](T& c, const TKvValue& v, TKvReadContext& ctx) {
        c.FTextCells.Clear();
        ReadItems(CellProps(), v, ctx, [&]() -> TTextCell& { return *c.FTextCells.Add(); });
      });
}

namespace {

void WriteLinkPoints(const TLinkPoints& points, TKvBinaryWriter& w, const QByteArray& p) {
  w.WritePropName(p);
  WriteItems<TLinkPoint>(TKvControlFiler::LinkPointProps(), w, points.Count(),
                         [&](int i) -> const TLinkPoint& { return *points[i]; });
}

}  // namespace

template <typename T>
void TKvControlFiler::AddLinkPoints(Table<T>& t, bool always) {
  t.Add(
      "LinkPoints",
      [always](const T& c, TKvBinaryWriter& w, const QByteArray& p) {
        if (always || c.FLinkPoints.Count() > 0) WriteLinkPoints(c.FLinkPoints, w, p);
      },
      [](T& c, const TKvValue& v, TKvReadContext& ctx) {
        auto& points = const_cast<TLinkPoints&>(c.FLinkPoints);
        points.Clear();
        ReadItems(LinkPointProps(), v, ctx, [&]() -> TLinkPoint& { return *points.Add(); });
      });
}

// What every control publishes after its own properties, in order.
template <typename T>
void TKvControlFiler::AddRestrictions(Table<T>& t) {
  t.Set(
      "Restrictions", Restrictions, [](const T& c) { return c.FRestrictions.Bits(); },
      [](T& c, uint64_t b) {
        c.FRestrictions = TControlRestrictions();
        for (int i = 0; i < int(Restrictions.size()); ++i)
          if ((b >> i) & 1) c.FRestrictions.Include(TControlRestriction(i));
      },
      0);
}

template <typename T>
void TKvControlFiler::AddControlProps(Table<T>& t) {
  AddRestrictions(t);
  t.Nested(
      "Font", FontProps(), [](T& c) -> TKvFont& { return c.FFont; },
      [](const T& c) { return !c.FDiagramFont; });
  t.Bool("DiagramFont", KvGet<T, bool>(&T::FDiagramFont), KvSet<T, bool>(&T::FDiagramFont), true);
  if constexpr (std::is_base_of_v<TCustomDiagramBlock, T>) {
    t.Int("MinWidth", KvGet<T, int>(&T::FMinWidth), KvSet<T, int>(&T::FMinWidth), 40);
    t.Int("MinHeight", KvGet<T, int>(&T::FMinHeight), KvSet<T, int>(&T::FMinHeight), 40);
  }
}

template <typename T>
void TKvControlFiler::AddCommonTail(Table<T>& t) {
  t.Bool("ShowHint", KvGet<T, bool>(&T::FShowHint), KvSet<T, bool>(&T::FShowHint), {},
         [](const T& c) { return !c.FParentShowHint; });
  t.Bool("ParentShowHint", KvGet<T, bool>(&T::FParentShowHint), KvSet<T, bool>(&T::FParentShowHint),
         true);
  t.Str("Hint", KvGet<T, QString>(&T::FHint), KvSet<T, QString>(&T::FHint));
}

template <typename T>
void TKvControlFiler::AddLayerProps(Table<T>& t) {
  t.Cursor("Cursor", KvGet<T, Qt::CursorShape>(&T::FCursor), KvSet<T, Qt::CursorShape>(&T::FCursor),
           Qt::ArrowCursor);
  t.Str("StringData", KvGet<T, QString>(&T::FStringData), KvSet<T, QString>(&T::FStringData));
  t.Bool("Visible", KvGet<T, bool>(&T::FVisible), KvSet<T, bool>(&T::FVisible), true);
  t.Int("Layer", KvGet<T, int>(&T::FLayerInteger), KvSet<T, int>(&T::FLayerInteger), 0);
  t.Str(
      "LayerName", [](const T& c) { return c.LayerName(); },
      [](T& c, const QString& n) { c.SetLayerName(n); });
  t.Int(
      "Transparency", KvGet<T, int>(&T::FTransparency),
      [](T& c, int64_t v) { c.SetTransparency(int(v)); }, 0);
}

// The defined properties every control writes after its published ones.
template <typename T>
void TKvControlFiler::AddDefinedProps(Table<T>& t) {
  t.Add(
      "DControlID",
      [](const T& c, TKvBinaryWriter& w, const QByteArray& p) {
        if (c.FDControlID.isEmpty() || c.FDControlID == c.ClassName()) return;
        w.WritePropName(p);
        w.WriteString(c.FDControlID);
      },
      [](T& c, const TKvValue& v, TKvReadContext&) { c.FDControlID = v.AsString(); });
  t.Add(
      "Collapsed",
      [](const T& c, TKvBinaryWriter& w, const QByteArray& p) {
        w.WritePropName(p);
        w.WriteBoolean(c.FCollapsed);
      },
      [](T& c, const TKvValue& v, TKvReadContext&) { c.FCollapsed = v.AsBoolean(); });
  t.Add(
      "CollapsedNodes",
      [](const T& c, TKvBinaryWriter& w, const QByteArray& p) {
        uint32_t mask = 0;
        bool any = false;
        for (int i = 0; i < c.FLinkPoints.Count(); ++i)
          if (c.FLinkPoints[i]->FCollapsed) {
            any = true;
            mask |= uint32_t(1) << (i % 32);
          }
        if (!any) return;
        w.WritePropName(p);
        w.WriteInteger(int32_t(mask));
      },
      [](T& c, const TKvValue& v, TKvReadContext&) {
        const uint32_t mask = uint32_t(v.AsInteger());
        for (int i = 0; i < c.FLinkPoints.Count(); ++i)
          c.FLinkPoints[i]->FCollapsed = (mask >> (i % 32)) & 1;
      });
}

const Table<TCustomDiagramBlock>& TKvControlFiler::BlockProps(TBlockKind kind) {
  auto build = [](TBlockKind kind) {
    using B = TCustomDiagramBlock;
    Table<B> t;
    t.Real("Left", KvGet(&B::FLeft), [](B& b, double v) { b.SetLeft(v); });
    t.Real("Top", KvGet(&B::FTop), [](B& b, double v) { b.SetTop(v); });
    t.Real(
        "Width", KvGet(&B::FWidth), [](B& b, double v) { b.SetWidth(v); }, std::nullopt);
    t.Real(
        "Height", KvGet(&B::FHeight), [](B& b, double v) { b.SetHeight(v); }, std::nullopt);
    t.Real("Angle", KvGet(&B::FAngle), [](B& b, double v) { b.SetAngle(v); });
    if (kind == bkGroup) {
      AddRestrictions(t);
      t.Int("MinWidth", KvGet(&B::FMinWidth), KvSet(&B::FMinWidth), 40);
      t.Int("MinHeight", KvGet(&B::FMinHeight), KvSet(&B::FMinHeight), 40);
      t.Bool("Visible", KvGet(&B::FVisible), KvSet(&B::FVisible), true);
      t.Add(
          "Members",
          [](const B& b, TKvBinaryWriter& w, const QByteArray& p) {
            const auto& g = static_cast<const TBaseGroupBlock&>(b);
            w.WritePropName(p);
            w.BeginCollection();
            for (TDiagramControl* m : const_cast<TBaseGroupBlock&>(g).Members().FItems) {
              w.BeginItem();
              w.WritePropName("DControl");
              w.WriteIdent(ReferenceName(m));
              w.WriteListEnd();
            }
            w.WriteListEnd();
          },
          [](B& b, const TKvValue& v, TKvReadContext& ctx) {
            if (v.Type != vaCollection) throw EKvReadError(SInvalidPropertyValue);
            auto* g = static_cast<TBaseGroupBlock*>(&b);
            for (const TKvCollectionItem& item : v.Items)
              for (const TKvProperty& p : item.Props) {
                if (p.Name != "DControl") KvNoSuchProperty(p.Name);
                ctx.Reference(p.V(), [g](TDiagramControl* m) {
                  if (m && m != g) g->AddMember(m);
                });
              }
          });
    } else {
      const TDiagramBlock fresh(nullptr);
      t.Nested("Brush", BrushProps(fresh.FBrush), [](B& b) -> TKvBrush& { return b.FBrush; });
      t.Nested("SelBrush", BrushProps(fresh.FSelBrush),
               [](B& b) -> TKvBrush& { return b.FSelBrush; });
      t.Color("Color", KvGet(&B::FColor), KvSet(&B::FColor), clWhite);
      t.Color("SelColor", KvGet(&B::FSelColor), KvSet(&B::FSelColor), clWhite);
      t.Nested("Pen", PenProps(fresh.FPen), [](B& b) -> TKvPen& { return b.FPen; });
      if (kind != bkPolygon)
        t.Enum("Shape", BlockShapes, KvGet(&B::FShape), KvSet(&B::FShape), bsNoShape);
      AddLinkPoints(t, false);
      // Views on the first text cell: published, so a stream may set them, but never stored.
      const auto never = [](const B&) { return false; };
      t.Add(
          "Strings.Strings", [](const B&, TKvBinaryWriter&, const QByteArray&) {},
          [](B& b, const TKvValue& v, TKvReadContext&) {
            if (v.Type != vaList) throw EKvReadError(SInvalidPropertyValue);
            QStringList lines;
            for (const TKvValue& line : v.List) lines << line.AsString();
            b.SetStrings(lines.join(QStringLiteral("\r\n")));
          });
      t.Enum(
          "Alignment", Alignments, [](const B& b) { return b.Alignment(); },
          [](B& b, int a) { b.SetAlignment(TAlignment(a)); }, {}, never);
      t.Enum(
          "VertAlign", VertAligns, [](const B& b) { return b.VertAlign(); },
          [](B& b, int a) { b.SetVertAlign(TVertAlign(a)); }, {}, never);
      t.Bool("ClipText", KvGet(&B::FClipText), KvSet(&B::FClipText), false);
      t.Bool(
          "WordWrap", [](const B& b) { return b.WordWrap(); },
          [](B& b, bool w) { b.SetWordWrap(w); }, {}, never);
      AddCollections(t, "TextCells");
      AddControlProps(t);
      t.Nested("Shadow", ShadowProps(), [](B& b) -> TBlockShadow& { return b.FShadow; });
      AddCommonTail(t);
      t.Nested("Gradient", GradientProps(), [](B& b) -> TDiagramGradient& { return b.FGradient; });
      t.Binary(
          "Bitmap.Data",
          [](const B& b, QByteArray& out) {
            if (b.FBitmap.isNull()) return false;
            out = KvBitmapData(b.FBitmap);
            return true;
          },
          [](B& b, const QByteArray& d) { b.FBitmap = KvBitmapFromData(d); });
      t.Enum("BitmapMode", BitmapModes, KvGet(&B::FBitmapMode), KvSet(&B::FBitmapMode), bmStretch);
      t.Bool("BitmapTransparent", KvGet(&B::FBitmapTransparent), KvSet(&B::FBitmapTransparent),
             false);
      t.Binary(
          "Metafile.Data",
          [](const B& b, QByteArray& out) {
            out = KvMetafileData(b.FMetafile);
            return true;
          },
          [](B& b, const QByteArray& d) { b.FMetafile = KvMetafileFromData(d); });
      t.Binary(
          "Picture.Data",
          [](const B& b, QByteArray& out) {
            if (b.FPicture.isNull()) return false;
            out = KvPictureData(b.FPicture);
            return true;
          },
          [](B& b, const QByteArray& d) { b.FPicture = KvPictureFromData(d); });
      t.Enum("PictureMode", PictureModes, KvGet(&B::FPictureMode), KvSet(&B::FPictureMode),
             pmStretch);
      t.Bool("Transparent", KvGet(&B::FTransparent), KvSet(&B::FTransparent), false);
      AddLayerProps(t);
      // The rotation centre is kept only where it left the middle.
      t.Nested(
          "RotationCenter", PointProps(50), [](B& b) -> TDot& { return b.FRotCenter; },
          [](const B& b) {
            return !(b.FRotCenter == TDot{50, 50});
          });
    }
    AddDefinedProps(t);
    if (kind == bkPolygon) {
      t.Add(
          "Polygon",
          [](const B& b, TKvBinaryWriter& w, const QByteArray& p) {
            const auto& poly = static_cast<const TCustomPolygonBlock&>(b).Polygon();
            w.WritePropName(p);
            WriteItems<TDot>(PolygonPointProps(), w, poly.Count(),
                             [&](int i) -> const TDot& { return poly[i].P; });
          },
          [](B& b, const TKvValue& v, TKvReadContext& ctx) {
            TDotArray pts;
            ReadItems(PolygonPointProps(), v, ctx, [&]() -> TDot& { return pts.emplace_back(); });
            static_cast<TCustomPolygonBlock&>(b).SetPoints(pts);
          });
    }
    return t;
  };
  static const Table<TCustomDiagramBlock> plain = build(bkPlain);
  static const Table<TCustomDiagramBlock> polygon = build(bkPolygon);
  static const Table<TCustomDiagramBlock> group = build(bkGroup);
  return kind == bkPolygon ? polygon : kind == bkGroup ? group : plain;
}

const Table<TCustomDiagramLine>& TKvControlFiler::LineProps() {
  static const Table<TCustomDiagramLine> t = [] {
    using L = TCustomDiagramLine;
    Table<L> t;
    const TDiagramLine fresh(nullptr);
    t.Nested("Pen", PenProps(fresh.FPen), [](L& l) -> TKvPen& { return l.FPen; });
    t.Nested("SelPen", PenProps(fresh.FSelPen), [](L& l) -> TKvPen& { return l.FSelPen; });
    t.Nested("SourceArrow", ArrowProps(), [](L& l) -> TLineArrow& { return l.SourceArrow(); });
    t.Nested("TargetArrow", ArrowProps(), [](L& l) -> TLineArrow& { return l.TargetArrow(); });
    t.Enum("LineStyle", LineStyles, KvGet(&L::FLineStyle), KvSet(&L::FLineStyle), {},
           [](const L& l) { return l.FLineStyle != DefaultLineStyle(l); });
    t.Enum("TextCellsMode", TextCellsModes, KvGet(&L::FTextCellsMode), KvSet(&L::FTextCellsMode),
           tmSingle);
    t.Bool("RequiresConnections", KvGet(&L::FRequiresConnections), KvSet(&L::FRequiresConnections),
           false);
    // An end's own orientation only counts while it hangs free.
    t.Enum("Orientation1", AnchorOrientations, KvGet(&L::FOrientation1), KvSet(&L::FOrientation1),
           aoNone, [](const L& l) { return !l.FLinkPoints[0]->FAnchor; });
    t.Enum("Orientation2", AnchorOrientations, KvGet(&L::FOrientation2), KvSet(&L::FOrientation2),
           aoNone, [](const L& l) { return !l.FLinkPoints[1]->FAnchor; });
    AddCollections(t, "TextCells");
    AddControlProps(t);
    AddCommonTail(t);
    AddLayerProps(t);
    AddDefinedProps(t);
    t.Add(
        "Handles",
        [](const L& l, TKvBinaryWriter& w, const QByteArray& p) {
          w.WritePropName(p);
          WriteItems<TStretchHandle>(
              HandleProps(), w, l.FHandles.Count(),
              [&](int i) -> const TStretchHandle& { return *l.FHandles[i]; });
        },
        [](L& l, const TKvValue& v, TKvReadContext& ctx) {
          l.FHandles.Clear();
          ReadItems(HandleProps(), v, ctx, [&]() -> TStretchHandle& {
            return *l.FHandles.Add(0, 0, Qt::SizeAllCursor, 0, hsSize);
          });
        });
    AddLinkPoints(t, true);
    return t;
  }();
  return t;
}

TDiagramLineStyle TKvControlFiler::DefaultLineStyle(const TCustomDiagramLine& l) {
  static QHash<QString, TDiagramLineStyle> styles;
  const QString cls = l.ClassName();
  auto it = styles.constFind(cls);
  if (it != styles.constEnd()) return *it;
  TDiagramLineStyle s = lsLine;
  if (TDControlFactory f = KvFindClass(cls)) {
    std::unique_ptr<TDiagramControl> fresh(f(nullptr));
    if (auto* line = dynamic_cast<TCustomDiagramLine*>(fresh.get())) s = line->FLineStyle;
  }
  styles.insert(cls, s);
  return s;
}

TKvControlFiler::TBlockKind TKvControlFiler::KindOf(const TCustomDiagramBlock& b) {
  if (dynamic_cast<const TBaseGroupBlock*>(&b)) return bkGroup;
  if (dynamic_cast<const TCustomPolygonBlock*>(&b)) return bkPolygon;
  return bkPlain;
}

void TKvControlFiler::WriteControl(const TDiagramControl& c, TKvBinaryWriter& w) {
  w.WriteObjectHeader(c.ClassName().toUtf8(), c.Name().toUtf8());
  if (auto* b = dynamic_cast<const TCustomDiagramBlock*>(&c))
    BlockProps(KindOf(*b)).Write(*b, w);
  else if (auto* l = dynamic_cast<const TCustomDiagramLine*>(&c))
    LineProps().Write(*l, w);
  c.WriteOwnProps(w);
  w.WriteListEnd();
  w.WriteListEnd();  // controls have no children
}

void TKvControlFiler::ReadProperty(TDiagramControl& c, const TKvProperty& p, TKvReadContext& ctx) {
  bool known = false;
  if (auto* b = dynamic_cast<TCustomDiagramBlock*>(&c))
    known = BlockProps(KindOf(*b)).Read(*b, p.Name, p.V(), ctx);
  else if (auto* l = dynamic_cast<TCustomDiagramLine*>(&c))
    known = LineProps().Read(*l, p.Name, p.V(), ctx);
  if (!known) known = c.ReadOwnProp(p.Name, p.V(), ctx);
  if (!known) KvNoSuchProperty(p.Name);
}

void TKvControlFiler::AfterRead(TDiagramControl& c) {
  if (auto* l = dynamic_cast<TCustomDiagramLine*>(&c)) {
    // A damaged stream must not leave a line without its two ends.
    while (l->FLinkPoints.Count() < 2) l->FLinkPoints.Add();
    while (l->FHandles.Count() < 2) l->FHandles.Add(0, 0, Qt::SizeAllCursor, 0, hsSize);
  }
}

// ---- the diagram ----

const Table<TKvDiagram>& KvDiagramProps() {
  using D = TKvDiagram;
  static const Table<D> t = [] {
    Table<D> t;
    t.Bool("PaintLinesFirst", KvGet(&D::PaintLinesFirst), KvSet(&D::PaintLinesFirst), false);
    t.Int("NettoExportOffset", KvGet(&D::NettoExportOffset), KvSet(&D::NettoExportOffset));
    t.Bool("AutomaticNodes", KvGet(&D::AutomaticNodes), KvSet(&D::AutomaticNodes));
    t.Bool("AutoScroll", KvGet(&D::AutoScroll), KvSet(&D::AutoScroll), true);
    t.Bool("AutoPage", KvGet(&D::AutoPage), KvSet(&D::AutoPage), false);
    {
      Table<TDiagramBackground> bg;
      bg.Binary(
          "Bitmap.Data",
          [](const TDiagramBackground& b, QByteArray& out) {
            if (b.Bitmap.isNull()) return false;
            out = KvBitmapData(b.Bitmap);
            return true;
          },
          [](TDiagramBackground& b, const QByteArray& d) { b.Bitmap = KvBitmapFromData(d); });
      bg.Binary(
          "Picture.Data",
          [](const TDiagramBackground& b, QByteArray& out) {
            if (b.Picture.isNull()) return false;
            out = KvPictureData(b.Picture);
            return true;
          },
          [](TDiagramBackground& b, const QByteArray& d) { b.Picture = KvPictureFromData(d); });
      bg.Bool("Scroll", KvGet(&TDiagramBackground::Scroll), KvSet(&TDiagramBackground::Scroll),
              false);
      bg.Enum("Style", BackImageStyles, KvGet(&TDiagramBackground::Style),
              KvSet(&TDiagramBackground::Style), biTile);
      bg.Bool("Visible", KvGet(&TDiagramBackground::Visible), KvSet(&TDiagramBackground::Visible),
              false);
      bg.Nested("Gradient", GradientProps(),
                [](TDiagramBackground& b) -> TDiagramGradient& { return b.Gradient; });
      bg.Bool("PrintGradient", KvGet(&TDiagramBackground::PrintGradient),
              KvSet(&TDiagramBackground::PrintGradient), false);
      t.Nested("Background", bg, [](D& d) -> TDiagramBackground& { return d.Background; });
    }
    {
      Table<TSnapGrid> g;
      g.Bool("Active", KvGet(&TSnapGrid::Active), KvSet(&TSnapGrid::Active), false);
      g.Bool("Force", KvGet(&TSnapGrid::Force), KvSet(&TSnapGrid::Force), false);
      g.Bool("Visible", KvGet(&TSnapGrid::Visible), KvSet(&TSnapGrid::Visible), false);
      g.Real("SizeX", KvGet(&TSnapGrid::SizeX), KvSet(&TSnapGrid::SizeX), std::nullopt);
      g.Real("SizeY", KvGet(&TSnapGrid::SizeY), KvSet(&TSnapGrid::SizeY), std::nullopt);
      g.Enum("Style", GridStyles, KvGet(&TSnapGrid::Style), KvSet(&TSnapGrid::Style), gsDots);
      g.Nested("Pen", PenProps(TSnapGrid().Pen), [](TSnapGrid& s) -> TKvPen& { return s.Pen; });
      g.Bool("SnapToRuler", KvGet(&TSnapGrid::SnapToRuler), KvSet(&TSnapGrid::SnapToRuler), false);
      t.Nested("SnapGrid", g, [](D& d) -> TSnapGrid& { return d.SnapGrid; });
    }
    t.Bool("ShowLinkPoints", KvGet(&D::ShowLinkPoints), KvSet(&D::ShowLinkPoints), true);
    Table<TDiagramRuler> r;
    {
      using R = TDiagramRuler;
      r.Bool("Visible", KvGet<R, bool>(&R::Visible), KvSet<R, bool>(&R::Visible), false);
      r.Int("Divisions", KvGet<R, int>(&R::Divisions), KvSet<R, int>(&R::Divisions), 5);
      r.Nested("Font", FontProps(), [](R& x) -> TKvFont& { return x.Font; });
      r.Enum("Units", RulerUnits, KvGet<R, TRulerUnits>(&R::Units),
             KvSet<R, TRulerUnits>(&R::Units), unCenti);
      r.Int("MinorTickLength", KvGet<R, int>(&R::MinorTickLength),
            KvSet<R, int>(&R::MinorTickLength), 4);
      r.Int("MajorTickLength", KvGet<R, int>(&R::MajorTickLength),
            KvSet<R, int>(&R::MajorTickLength), 6);
      r.Color("Color", KvGet<R, TColor>(&R::Color), KvSet<R, TColor>(&R::Color), clWhite);
      r.Color("TickColor", KvGet<R, TColor>(&R::TickColor), KvSet<R, TColor>(&R::TickColor),
              clBlack);
      r.Int("Size", KvGet<R, int>(&R::Size), KvSet<R, int>(&R::Size), 16);
      r.Real("Offset", KvGet<R, double>(&R::Offset), KvSet<R, double>(&R::Offset));
      r.Bool("Inverse", KvGet<R, bool>(&R::Inverse), KvSet<R, bool>(&R::Inverse), false);
      r.Bool("AutoFactor", KvGet<R, bool>(&R::AutoFactor), KvSet<R, bool>(&R::AutoFactor), true);
      r.Color("GridColor", KvGet<R, TColor>(&R::GridColor), KvSet<R, TColor>(&R::GridColor),
              clSilver);
    }
    t.Nested("LeftRuler", r, [](D& d) -> TDiagramRuler& { return d.LeftRuler; });
    t.Nested("TopRuler", r, [](D& d) -> TDiagramRuler& { return d.TopRuler; });
    t.Int(
        "Zoom", [](const D& d) { return d.Zoom(); }, [](D& d, int64_t z) { d.SetZoom(int(z)); },
        100);
    t.Color("BorderColor", KvGet(&D::BorderColor), KvSet(&D::BorderColor), clGray);
    Table<TDiagramScrollBar> sb;
    {
      using S = TDiagramScrollBar;
      sb.Color("Color", KvGet(&S::Color), KvSet(&S::Color), clSilver);
      sb.Int("Increment", KvGet(&S::Increment), KvSet(&S::Increment), 8);
      sb.Int("Margin", KvGet(&S::Margin), KvSet(&S::Margin), 0);
      sb.Bool("ParentColor", KvGet(&S::ParentColor), KvSet(&S::ParentColor), true);
      sb.Ignored("Position");
      sb.Ignored("Range");
      sb.Bool("Smooth", KvGet(&S::Smooth), KvSet(&S::Smooth), false);
      sb.Int("Size", KvGet(&S::Size), KvSet(&S::Size), 0);
      sb.Ignored("Style");
      sb.Int("ThumbSize", KvGet(&S::ThumbSize), KvSet(&S::ThumbSize), 0);
      sb.Bool("Tracking", KvGet(&S::Tracking), KvSet(&S::Tracking), false);
      sb.Bool("Visible", KvGet(&S::Visible), KvSet(&S::Visible), true);
    }
    t.Nested("VertScrollBar", sb, [](D& d) -> TDiagramScrollBar& { return d.VertScrollBar; });
    t.Nested("HorzScrollBar", sb, [](D& d) -> TDiagramScrollBar& { return d.HorzScrollBar; });
    t.Enum("MouseWheelMode", MouseWheelModes, KvGet(&D::MouseWheelMode), KvSet(&D::MouseWheelMode),
           mwVertical);
    t.Int(
        "ActiveLayers", [](const D& d) { return int64_t(d.ActiveLayers()); },
        [](D& d, int64_t m) { d.SetActiveLayers(uint64_t(m)); });
    t.Add(
        "Layers",
        [](const D& d, TKvBinaryWriter& w, const QByteArray& p) {
          auto& layers = const_cast<D&>(d).Layers();
          if (layers.Count() == 0) return;
          w.WritePropName(p);
          WriteItems<TDiagramLayer>(LayerProps(), w, layers.Count(),
                                    [&](int i) -> const TDiagramLayer& { return *layers[i]; });
        },
        [](D& d, const TKvValue& v, TKvReadContext& ctx) {
          d.Layers().Clear();
          ReadItems(LayerProps(), v, ctx, [&]() -> TDiagramLayer& { return *d.Layers().Add(); });
        });
    t.Cursor("LinkCursor", KvGet(&D::LinkCursor), KvSet(&D::LinkCursor), Qt::PointingHandCursor);
    t.Cursor("PanCursor", KvGet(&D::PanCursor), KvSet(&D::PanCursor), Qt::PointingHandCursor);
    t.Cursor("ZoomCursor", KvGet(&D::ZoomCursor), KvSet(&D::ZoomCursor), Qt::ArrowCursor);
    t.Bool("IgnoreScreenDPI", KvGet(&D::IgnoreScreenDPI), KvSet(&D::IgnoreScreenDPI), false);
    t.Bool("ShowCrossIndicators", KvGet(&D::ShowCrossIndicators), KvSet(&D::ShowCrossIndicators),
           false);
    {
      Table<TPageLines> pl;
      pl.Bool("Visible", KvGet(&TPageLines::Visible), KvSet(&TPageLines::Visible), false);
      pl.Nested("Pen", PenProps(TPageLines().Pen), [](TPageLines& l) -> TKvPen& { return l.Pen; });
      t.Nested("PageLines", pl, [](D& d) -> TPageLines& { return d.PageLines; });
    }
    t.Set(
        "KeyActions", KeyActions, [](const D& d) { return d.KeyActions.Bits(); },
        [](D& d, uint64_t b) {
          d.KeyActions = TDiagramKeyActions();
          for (int i = 0; i < 5; ++i)
            if ((b >> i) & 1) d.KeyActions.Include(TDiagramKeyAction(i));
        },
        TDiagramKeyActions{kaEscape, kaMove, kaPage, kaResize, kaSelect}.Bits());
    t.Enum("HandlesStyle", HandlesStyles, KvGet(&D::HandlesStyle), KvSet(&D::HandlesStyle),
           hsClassic);
    t.Enum("SmoothMode", SmoothModes, KvGet(&D::SmoothMode), KvSet(&D::SmoothMode), smAntiAlias);
    t.Enum("TextRenderingMode", TextRenderingModes, KvGet(&D::TextRenderingMode),
           KvSet(&D::TextRenderingMode), tmAntiAlias);
    t.Enum("SelectionMode", SelectionModes, KvGet(&D::SelectionMode), KvSet(&D::SelectionMode),
           slmMultiple);
    t.Bool("CanMoveOutOfBounds", KvGet(&D::CanMoveOutOfBounds), KvSet(&D::CanMoveOutOfBounds),
           true);
    {
      using P = TDiagramPageSettings;
      Table<P> ps;
      ps.Str("PaperName", KvGet(&P::PaperName), KvSet(&P::PaperName));
      ps.Int("PaperId", KvGet(&P::PaperId), KvSet(&P::PaperId));
      ps.Real("PaperWidth", KvGet(&P::PaperWidth), KvSet(&P::PaperWidth), std::nullopt);
      ps.Real("PaperHeight", KvGet(&P::PaperHeight), KvSet(&P::PaperHeight), std::nullopt);
      ps.Enum("Orientation", Orientations, KvGet(&P::Orientation), KvSet(&P::Orientation),
              poPortrait);
      ps.Str("LeftMarginStr", KvGet(&P::LeftMarginStr), KvSet(&P::LeftMarginStr));
      ps.Str("TopMarginStr", KvGet(&P::TopMarginStr), KvSet(&P::TopMarginStr));
      ps.Str("RightMarginStr", KvGet(&P::RightMarginStr), KvSet(&P::RightMarginStr));
      ps.Str("BottomMarginStr", KvGet(&P::BottomMarginStr), KvSet(&P::BottomMarginStr));
      t.Nested("PageSettings", ps, [](D& d) -> P& { return d.PageSettings; });
    }
    t.Bool("RulerAutoUnit", KvGet(&D::RulerAutoUnit), KvSet(&D::RulerAutoUnit), false);
    t.Enum("MeasUnit", MeasUnits, KvGet(&D::MeasUnit), KvSet(&D::MeasUnit), duCenti);
    t.Bool("WheelZoom", KvGet(&D::WheelZoom), KvSet(&D::WheelZoom), false);
    t.Int("WheelZoomIncrement", KvGet(&D::WheelZoomIncrement), KvSet(&D::WheelZoomIncrement), 10);
    t.Int("WheelZoomMin", KvGet(&D::WheelZoomMin), KvSet(&D::WheelZoomMin), 10);
    t.Int("WheelZoomMax", KvGet(&D::WheelZoomMax), KvSet(&D::WheelZoomMax), 500);
    t.Color("Color", KvGet(&D::Color), KvSet(&D::Color));
    t.Nested("Font", FontProps(), [](D& d) -> TKvFont& { return d.Font; });
    t.Enum("BorderStyle", BorderStyles, KvGet(&D::BorderStyle), KvSet(&D::BorderStyle), bsSingle);
    // The window never follows its parent's colour or font: both are the diagram's own.
    t.Bool(
        "ParentColor", [](const D&) { return false; }, [](D&, bool) {});
    t.Ignored("ParentCtl3D");
    t.Bool(
        "ParentFont", [](const D&) { return false; }, [](D&, bool) {});
    t.Ignored("BevelInner");
    t.Ignored("BevelOuter");
    // Written only while a form is designed: read, since the class has them, but the
    // window's place belongs to the program that shows it. The size is taken.
    t.Int(
        "Width", [](const D& d) { return d.width(); },
        [](D& d, int64_t w) { d.resize(int(std::clamp<int64_t>(w, 0, 1 << 16)), d.height()); },
        std::nullopt, [](const D&) { return false; });
    t.Int(
        "Height", [](const D& d) { return d.height(); },
        [](D& d, int64_t h) { d.resize(d.width(), int(std::clamp<int64_t>(h, 0, 1 << 16))); },
        std::nullopt, [](const D&) { return false; });
    for (const char* name : {"Align",
                             "Left",
                             "Top",
                             "Anchors",
                             "BevelEdges",
                             "BevelKind",
                             "BevelWidth",
                             "BiDiMode",
                             "Constraints.MaxHeight",
                             "Constraints.MaxWidth",
                             "Constraints.MinHeight",
                             "Constraints.MinWidth",
                             "DockSite",
                             "DragCursor",
                             "DragKind",
                             "DragMode",
                             "Enabled",
                             "Ctl3D",
                             "ParentBiDiMode",
                             "ParentBackground",
                             "ParentShowHint",
                             "PopupMenu",
                             "ShowHint",
                             "TabOrder",
                             "TabStop",
                             "Visible"})
      t.Ignored(name);
    // Event properties name methods of a form this program does not have.
    for (const char* name : {"OnInsertBlock",
                             "OnInsertDControl",
                             "OnRemoveDControl",
                             "OnSelectDControl",
                             "OnUnselectDControl",
                             "OnInsertLink",
                             "OnSelectionChanging",
                             "OnSelectionChanged",
                             "OnModified",
                             "OnDrawBlock",
                             "OnDrawShape",
                             "OnGetSurroundPts",
                             "OnDControlMouseDown",
                             "OnDControlMouseUp",
                             "OnDControlMouseMove",
                             "OnBlockMouseEnter",
                             "OnBlockMouseLeave",
                             "OnDControlClick",
                             "OnDControlDblClick",
                             "OnLinkAdded",
                             "OnLinkRemoved",
                             "OnAcceptAnchor",
                             "OnAcceptLink",
                             "OnBeforeMove",
                             "OnMoving",
                             "OnAfterMove",
                             "OnBeforeResize",
                             "OnDControlResizing",
                             "OnAfterResize",
                             "OnBeforePaint",
                             "OnAfterPaint",
                             "OnDrawLinkPoint",
                             "OnCloseEditor",
                             "OnAfterDrawBlock",
                             "OnBeforeCreateControl"})
      t.Ignored(name);
    return t;
  }();
  return t;
}
