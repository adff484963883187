#pragma once
// Writing and reading the diagram's controls through the object stream. Internal to the
// engine: users go through TKvDiagram's SaveToStream / LoadFromStream.
#include "KvDiagram.h"
#include "KvPropTable.h"

// References to controls are written as "<owner alias>.<name>", so they do not depend on
// the name of the form that owns the diagram.
constexpr const char* KvOwnerAlias = "__DSOwner___";

[[noreturn]] void KvNoSuchProperty(const QByteArray& name);

QByteArray KvBitmapData(const QImage& img);
QImage KvBitmapFromData(const QByteArray& data);
QByteArray KvMetafileData(const QImage& img);
QImage KvMetafileFromData(const QByteArray& data);
QByteArray KvPictureData(const QImage& img);
QImage KvPictureFromData(const QByteArray& data);

const TKvPropTable<TKvDiagram>& KvDiagramProps();

struct TKvControlFiler {
  enum TBlockKind { bkPlain, bkPolygon, bkGroup };

  static void WriteControl(const TDiagramControl& c, TKvBinaryWriter& w);
  static void ReadProperty(TDiagramControl& c, const TKvProperty& p, TKvReadContext& ctx);
  // Repairs what a damaged stream may have left out.
  static void AfterRead(TDiagramControl& c);
  static QByteArray ReferenceName(const TDiagramControl* c);

  static const TKvPropTable<TTextCell>& CellProps();
  static const TKvPropTable<TLinkPoint>& LinkPointProps();
  static const TKvPropTable<TCustomDiagramBlock>& BlockProps(TBlockKind kind);
  static const TKvPropTable<TCustomDiagramLine>& LineProps();

 private:
  static TBlockKind KindOf(const TCustomDiagramBlock& b);
  static TDiagramLineStyle DefaultLineStyle(const TCustomDiagramLine& l);
  template <typename T>
  static void AddRestrictions(TKvPropTable<T>& t);
  template <typename T>
  static void AddCollections(TKvPropTable<T>& t, const QByteArray& cellsPath);
  template <typename T>
  static void AddLinkPoints(TKvPropTable<T>& t, bool always);
  template <typename T>
  static void AddControlProps(TKvPropTable<T>& t);
  template <typename T>
  static void AddCommonTail(TKvPropTable<T>& t);
  template <typename T>
  static void AddLayerProps(TKvPropTable<T>& t);
  template <typename T>
  static void AddDefinedProps(TKvPropTable<T>& t);
};
