#pragma once
// UML blocks and lines: shapes drawn after each element's usual notation, classes with their
// attribute and operation compartments, and one line class for every kind of relation.
#include <vector>

#include "KvDiagram.h"

class TUMLBlock : public TCustomDiagramBlock {
 public:
  explicit TUMLBlock(QObject* owner);
  QString ClassName() const override { return QStringLiteral("TUMLBlock"); }
};

class TUMLLine : public TDiagramLine {
 public:
  explicit TUMLLine(QObject* owner);
  QString ClassName() const override { return QStringLiteral("TUMLLine"); }
  std::unique_ptr<TLineArrow> ArrowClass() override;
};

// An arrow that can also be drawn hollow, as generalisations and refinements want it.
class TUMLArrow : public TLineArrow {
 public:
  using TLineArrow::TLineArrow;
  bool Hollow = false;
  void Draw(TDgrCanvas& canvas, double scale) const override;
};

enum TUMLShapeKind {
  usActor,
  usPackage,
  usUseCase,
  usConstraint,
  usNote,
  usActionState,
  usState,
  usInitialState,
  usFinalState,
  usTransitionBar,
  usSignalReceipt,
  usSignalSend,
  usObjectInState,
  usDecision,
  usObjectLifeline,
  usActivation,
  usObject,
  usComponent,
  usNode,
  usSubsystem
};

class TUMLShapeBlock : public TUMLBlock {
 public:
  explicit TUMLShapeBlock(QObject* owner, TUMLShapeKind kind = usState);
  QString ClassName() const override { return QStringLiteral("TUMLShapeBlock"); }
  TUMLShapeKind Kind() const { return FKind; }
  void SetKind(TUMLShapeKind kind);
  void BuildOutlinePath(TDgrGraphicsPath& path, const TBlockDrawer& drawer) const override;
  TDotArray SurroundPoints(const TBlockDrawer& drawer) const override;
  void DrawBody(const TDiagramDrawInfo& info) override;
  void WriteOwnProps(TKvBinaryWriter& w) const override;
  bool ReadOwnProp(const QByteArray& name, const TKvValue& v, TKvReadContext& ctx) override;

 private:
  TUMLShapeKind FKind;
};

enum TUMLVisibility { uvPrivate, uvProtected, uvPublic };
enum TUMLParamKind { pkNone, pkIn, pkOut, pkInOut };

struct TUMLParameter {
  QString Name, DataType, DefaultValue;
  TUMLParamKind Kind = pkNone;
};
using TUMLParameters = std::vector<TUMLParameter>;

struct TUMLAttribute {
  QString Name, DataType, InitialValue;
  TUMLVisibility Visibility = uvPrivate;
  QString Text() const;
};
using TUMLAttributes = std::vector<TUMLAttribute>;

struct TUMLOperation {
  QString Name, ReturnType;
  TUMLVisibility Visibility = uvPublic;
  TUMLParameters Parameters;
  QString Text() const;
};
using TUMLOperations = std::vector<TUMLOperation>;

// A class box: the name with its stereotype, then the attributes, then the operations.
class TUMLBaseClassBlock : public TUMLBlock {
 public:
  explicit TUMLBaseClassBlock(QObject* owner, QString stereotype = {});
  QString ClassName() const override { return QStringLiteral("TUMLBaseClassBlock"); }
  TUMLAttributes& Attributes() { return FAttributes; }
  TUMLOperations& Operations() { return FOperations; }
  QString ClassTitle() const { return FTitle; }
  void SetClassTitle(const QString& title);
  QString Stereotype() const { return FStereotype; }
  void SetStereotype(const QString& s);
  // Writes the compartments' texts after a change of the collections.
  void UpdateCompartments();
  void DrawBody(const TDiagramDrawInfo& info) override;
  void WriteOwnProps(TKvBinaryWriter& w) const override;
  bool ReadOwnProp(const QByteArray& name, const TKvValue& v, TKvReadContext& ctx) override;
  void Loaded() override { UpdateCompartments(); }

 private:
  TUMLAttributes FAttributes;
  TUMLOperations FOperations;
  QString FTitle, FStereotype;
};

enum TUMLLineType {
  ultExtends,
  ultUses,
  ultCommunicates,
  ultControlFlow,
  ultObjectFlow,
  ultMessage,
  ultMessageCall,
  ultMessageReturn,
  ultMessageAsync,
  ultGeneralize,
  ultDependency,
  ultBinding,
  ultTrace,
  ultRefinement,
  ultUsage
};

class TUMLGenericLine : public TUMLLine {
 public:
  explicit TUMLGenericLine(QObject* owner, TUMLLineType type = ultDependency);
  QString ClassName() const override { return QStringLiteral("TUMLGenericLine"); }
  TUMLLineType LineType() const { return FLineType; }
  void SetLineType(TUMLLineType t);
  void WriteOwnProps(TKvBinaryWriter& w) const override;
  bool ReadOwnProp(const QByteArray& name, const TKvValue& v, TKvReadContext& ctx) override;

 private:
  TUMLLineType FLineType;
};

// Associations: plain, with the whole's filled diamond, and an object link.
class TUMLAssociation : public TUMLLine {
 public:
  explicit TUMLAssociation(QObject* owner, bool composition = false);
  QString ClassName() const override { return QStringLiteral("TUMLAssociation"); }
};

// Fills the class registry's UML categories.
void KvRegisterUmlBlocks(TRegDControls& r);
