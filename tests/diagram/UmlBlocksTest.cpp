// The palette's live and UML categories, a UML class diagram made from palette rows, drawn,
// and kept through the text form.
#include <gtest/gtest.h>

#include "DiagramTestSupport.h"
#include "UmlBlocks.h"

namespace {

QStringList Captions(const QString& category) {
  QStringList out;
  const TRegDControls& r = RegDControls();
  for (int i = 0; i < r.Count(); ++i)
    if (r[i].FCategory == category) out << r[i].FCaption;
  return out;
}

}  // namespace

TEST(UmlPaletteTest, EveryCategoryListsItsItemsInOrder) {
  EXPECT_EQ(Captions("Live Diagram").join('|'),
            "Source connector|Target connector|Line Jointer|Live Wire|Live Side Wire|Live Arc|"
            "Live Bezier|Live Fork|Live Join|State|Start State|End State|Error State handler");
  EXPECT_EQ(Captions("UML Use Case").join('|'),
            "Actor|Package|Use Case|Uses|Communicates|Constraint|Note");
  EXPECT_EQ(Captions("UML Activity").join('|'),
            "Action State|State|Initial State|Final State|Transition Fork|Transition Join|"
            "Signal Receipt|Signal Send|Object Flow|Control Flow|Object In State|Decision|"
            "Constraint|Note");
  EXPECT_EQ(Captions("UML Sequence").join('|'),
            "Object Lifeline|Activation|Message|Message (call)|Message (return)|"
            "Message (async.)|Constraint|Note");
  EXPECT_EQ(Captions("UML Static").join('|'),
            "Package|Class|Data Type|Interface|Metaclass|Signal|Exception|Utility|"
            "Parameterized Class|Association Class|Object|Bound Element|Generalization|"
            "Binary Association|Composition|Link|Dependency|Binding|Trace|Refinement|Usage|"
            "Subsystem|Constraint|Note");
  EXPECT_EQ(Captions("UML Component").join('|'),
            "Package|Component|Node|Dependency|Constraint|Note");
  // The ID chooses the line type of the one generic line class.
  const TRegDControl* uses = RegDControls().FindByID("TUMLGenericLine_uses");
  ASSERT_NE(uses, nullptr);
  std::unique_ptr<TDiagramControl> line(uses->FDControlClass(nullptr));
  auto* generic = dynamic_cast<TUMLGenericLine*>(line.get());
  ASSERT_NE(generic, nullptr);
  EXPECT_EQ(generic->LineType(), ultUses);
  EXPECT_EQ(generic->ClassName(), "TUMLGenericLine");
}

class UmlDiagramTest : public DiagramTest {
 protected:
  template <typename T>
  T* FromPalette(const QString& id, double x, double y, const QString& name) {
    const TRegDControl* row = RegDControls().FindByID(id);
    EXPECT_NE(row, nullptr) << id.toStdString();
    auto* c = dynamic_cast<T*>(row->FDControlClass(Owner.get()));
    EXPECT_NE(c, nullptr) << id.toStdString();
    c->SetName(name);
    if constexpr (std::is_base_of_v<TCustomDiagramBlock, T>) {
      c->SetLeft(x);
      c->SetTop(y);
    }
    c->SetDiagram(Diagram);
    return c;
  }
  // Link points of UML blocks: top, right, bottom, left.
  void Connect(TCustomDiagramLine* l, TCustomDiagramBlock* from, int a, TCustomDiagramBlock* to,
               int b) {
    l->SourceLinkPoint()->AnchorTo(from->LinkPoints()[a]);
    l->TargetLinkPoint()->AnchorTo(to->LinkPoints()[b]);
  }
};

TEST_F(UmlDiagramTest, AClassDiagramIsDrawnAndKeptThroughTheTextForm) {
  Diagram->resize(760, 520);
  auto* shape = FromPalette<TUMLBaseClassBlock>("TUMLBaseClassBlock_class", 40, 20, "Shape");
  shape->SetClassTitle("Shape");
  shape->Attributes().push_back({"origin", "TDot", "", uvProtected});
  shape->Operations().push_back({"Area", "double", uvPublic, {}});
  shape->Operations().push_back(
      {"MoveBy", "", uvPublic, {{"dx", "double", "0", pkIn}, {"dy", "double", "", pkIn}}});
  shape->UpdateCompartments();
  shape->SetWidth(200);
  auto* circle = FromPalette<TUMLBaseClassBlock>("TUMLBaseClassBlock_class", 20, 260, "Circle");
  circle->SetClassTitle("Circle");
  circle->Attributes().push_back({"radius", "double", "1", uvPrivate});
  circle->UpdateCompartments();
  auto* drawable =
      FromPalette<TUMLBaseClassBlock>("TUMLBaseClassBlock_interface", 330, 20, "Drawable");
  drawable->SetClassTitle("Drawable");
  drawable->Operations().push_back({"Paint", "", uvPublic, {{"canvas", "TCanvas", "", pkInOut}}});
  drawable->UpdateCompartments();
  auto* note = FromPalette<TUMLShapeBlock>("TUMLShapeBlock_note", 560, 200, "Note1");
  note->SetStrings("Shapes paint themselves");
  note->SetWordWrap(true);
  auto* pkg = FromPalette<TUMLShapeBlock>("TUMLShapeBlock_package", 560, 330, "Pkg");
  pkg->SetStrings("geometry");
  auto* actor = FromPalette<TUMLShapeBlock>("TUMLShapeBlock_actor", 330, 330, "User");
  actor->SetStrings("User");
  auto* gen = FromPalette<TUMLGenericLine>("TUMLGenericLine_generalization", 0, 0, "Gen");
  Connect(gen, circle, 0, shape, 2);
  auto* dep = FromPalette<TUMLGenericLine>("TUMLGenericLine_dependency", 0, 0, "Dep");
  Connect(dep, shape, 1, drawable, 3);
  auto* comp = FromPalette<TUMLAssociation>("TUMLAssociation_composition", 0, 0, "Comp");
  Connect(comp, drawable, 2, pkg, 0);

  QImage img = Diagram->ExportAsBMP(esStandard);
  if (const QString dir = qEnvironmentVariable("LVX_DIAGRAM_DEMO_DIR"); !dir.isEmpty())
    img.save(dir + "/uml_class_diagram.png");
  // The class boxes are drawn with their compartment rules: dark rows across the box.
  int ruled = 0;
  for (int y = 0; y < img.height(); ++y) {
    int dark = 0;
    for (int x = 0; x < img.width(); ++x) dark += qGray(img.pixel(x, y)) < 100;
    ruled += dark > 150;
  }
  EXPECT_GE(ruled, 4);

  const QByteArray text = Diagram->SaveToBytes(true);
  TKvDiagram copy(Owner.get());
  copy.LoadFromBytes(text, true);
  auto* shape2 = dynamic_cast<TUMLBaseClassBlock*>(copy.FindBlock(u"Shape"));
  auto* drawable2 = dynamic_cast<TUMLBaseClassBlock*>(copy.FindBlock(u"Drawable"));
  ASSERT_TRUE(shape2 && drawable2);
  EXPECT_EQ(shape2->TextCells()[2]->Text(),
            "+Area(): double\n+MoveBy(in dx: double = 0, in dy: double)");
  EXPECT_EQ(shape2->TextCells()[1]->Text(), "#origin: TDot");
  EXPECT_EQ(drawable2->Stereotype(), "interface");
  EXPECT_EQ(drawable2->Operations().at(0).Parameters.at(0).Kind, pkInOut);
  auto* note2 = dynamic_cast<TUMLShapeBlock*>(copy.FindBlock(u"Note1"));
  ASSERT_NE(note2, nullptr);
  EXPECT_EQ(note2->Kind(), usNote);
  auto* gen2 = dynamic_cast<TUMLGenericLine*>(copy.FindDControl(u"Gen"));
  ASSERT_NE(gen2, nullptr);
  EXPECT_EQ(gen2->LineType(), ultGeneralize);
  EXPECT_EQ(gen2->TargetLinkPoint()->Anchor(), shape2);
  EXPECT_EQ(copy.SaveToBytes(true), text);
}
