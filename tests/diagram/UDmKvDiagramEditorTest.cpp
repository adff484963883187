// The diagram editor module as the display uses it: one instance program-wide, the target
// diagram it works on, tick blocks in a row and in a ring, and the bar graph when its target
// or ticks are missing. The display's own ring and lighting rules are the views suite's.
#include <gtest/gtest.h>

#include "DiagramTestSupport.h"
#include "LvxTestSupport.h"
#include "UDmKvDiagramEditor.h"

namespace {

class EditorModuleTest : public VirtualTimeTest {
 protected:
  void SetUp() override {
    VirtualTimeTest::SetUp();
    Owner = std::make_unique<QWidget>();
    Diagram = new TKvDiagram(Owner.get());
    Editor.FDgrTarget = Diagram;
  }
  void TearDown() override {
    Owner.reset();
    VirtualTimeTest::TearDown();
  }
  TPolygonBlock* Block(const QString& name) const {
    return dynamic_cast<TPolygonBlock*>(Diagram->FindBlock(name));
  }

  TDmKvDiagramEditor Editor;
  std::unique_ptr<QWidget> Owner;
  TKvDiagram* Diagram = nullptr;
};

}  // namespace

TEST_F(EditorModuleTest, OneBlockIsAFilledRectanglePolygonOwnedByTheTargetsOwner) {
  TPolygonBlock* b = Editor.ShapeCreate_Rect("tick", {10, 20, 14, 50}, clRed, 30);
  ASSERT_EQ(Block("tick"), b);
  EXPECT_EQ(b->parent(), Owner.get());
  EXPECT_EQ(b->BoundsRect(), (TSquare{10, 20, 14, 50}));
  EXPECT_EQ(b->Polygon().Dots(), (TDotArray{{10, 20}, {14, 20}, {14, 50}, {10, 50}, {10, 20}}));
  EXPECT_EQ(b->Angle(), 30);
  EXPECT_EQ(b->RotationCenter(), (TDot{0, 50}));
  EXPECT_EQ(b->FMinWidth, 2);
  EXPECT_EQ(b->FMinHeight, 2);
  for (TColor c : {b->FPen.Color, b->FBrush.Color, b->FSelBrush.Color, b->Color(), b->SelColor()})
    EXPECT_EQ(c, clRed);
  EXPECT_TRUE(b->Visible());
  // Filled with its colour.
  b->SetAngle(0);
  QImage img = Diagram->ExportAsBMP(esStandard);
  EXPECT_EQ(img.pixelColor(12, 35), QColor(Qt::red));
}

TEST_F(EditorModuleTest, ARadiusOfZeroLaysTheBlocksInARowTurnedByThePositionAngle) {
  Editor.ShapeCreate_RectN("bar", 7, {0, 0, 2, 10}, 15, 5, 0.0, 10, 3, 3, clBlue);
  ASSERT_EQ(Diagram->BlockCount(), 3);
  for (int i = 0; i < 3; ++i) {
    TPolygonBlock* b = Block(QString("bar%1").arg(7 + i));
    ASSERT_NE(b, nullptr) << i;
    EXPECT_EQ(b->BoundsRect(), (TSquare{10.0 * i, 3.0 * i, 10.0 * i + 2, 3.0 * i + 10})) << i;
    EXPECT_EQ(b->Angle(), 15 + 5 * i) << i;
    EXPECT_EQ(b->Color(), clBlue) << i;
  }
}

TEST_F(EditorModuleTest, ARingIgnoresTheColourTurnsEachBlockAndLiftsEveryFifth) {
  Editor.ShapeCreate_RectN("r", 4, {100, 100, 102, 120}, 90, -10, 50, 0.5, 2, 2, clBlue);
  TPolygonBlock* four = Block("r4");
  TPolygonBlock* five = Block("r5");
  ASSERT_TRUE(four && five);
  // r4 at 90 degrees: straight above, drifted 4 * (0.5, 2); r5 at 80 degrees, lifted 5.
  EXPECT_NEAR(four->Left(), 102, 1e-9);
  EXPECT_NEAR(four->Top(), 58, 1e-9);
  EXPECT_NEAR(four->Height(), 20, 1e-9);
  EXPECT_NEAR(five->Left(), 100 + 50 * std::cos(80 * M_PI / 180) + 2.5, 1e-9);
  EXPECT_NEAR(five->Top(), 100 - 50 * std::sin(80 * M_PI / 180) + 10 - 5, 1e-9);
  EXPECT_NEAR(five->Height(), 25, 1e-9);
  // Block angles start 10 below the position angle and turn against its step.
  EXPECT_EQ(four->Angle(), 80);
  EXPECT_EQ(five->Angle(), 90);
  EXPECT_EQ(four->Color(), 0);
  EXPECT_EQ(five->FPen.Color, 0);
}

TEST_F(EditorModuleTest, TheTargetGoesWithItsWindowAndTheModuleThenDoesNothing) {
  Editor.ShapeCreate_RectN("t", 0, {0, 0, 2, 20}, 140, -4, 150, 1, 0, 4, 0);
  TKvDgrBargraph g{"t", 0, 0, 10, 4};
  Editor.SetBargraph(g, 5);  // levels 0, 2.5, 5 and 7.5
  std::string lit;
  for (int i = 0; i < 4; ++i) lit += Block(QString("t%1").arg(i))->Visible() ? '#' : '.';
  EXPECT_EQ(lit, "###.");

  Owner.reset();
  EXPECT_EQ(Editor.FDgrTarget, nullptr);
  EXPECT_EQ(Editor.ShapeCreate_Rect("x", {0, 0, 1, 1}, 0, 0), nullptr);
  Editor.ShapeCreate_RectN("t", 0, {0, 0, 2, 20}, 140, -4, 150, 1, 0, 4, 0);
  Editor.SetBargraph(g, 0);
}

TEST_F(EditorModuleTest, ASecondModuleShowsTheMessageOnceAndTheFirstGoesOn) {
  ASSERT_EQ(DmKvDiagramEditor, &Editor);
  {
    TDmKvDiagramEditor second;
    ASSERT_EQ(Dialogs.Messages.size(), 1u);
    EXPECT_EQ(Dialogs.Messages[0].Text, "DmKvBasic: Module already loaded");
    EXPECT_EQ(DmKvDiagramEditor, &Editor);
  }
  EXPECT_EQ(DmKvDiagramEditor, &Editor);
  DmKvDiagramEditor->ShapeCreate_Rect("still", {0, 0, 2, 2}, 0, 0);
  EXPECT_NE(Block("still"), nullptr);
  EXPECT_EQ(Dialogs.Messages.size(), 1u);
}
