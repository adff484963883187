// The diagram under synthesized mouse and keyboard input: each transition of the mouse
// state machine, its edge cases, and undo and redo compared by the scene's binary stream.
#include <gtest/gtest.h>

#include <QClipboard>
#include <QDir>
#include <QGuiApplication>
#include <QPointer>
#include <QScrollBar>
#include <QTest>

#include "DiagramTestSupport.h"
#include "KvDiagram_Memo.h"

namespace {

class InteractionTest : public DiagramTest {
 protected:
  void SetUp() override {
    KvClock_Install(&Clock);
    DiagramTest::SetUp();
    A = AddBlock(50, 50, 80, 60, "A");
    B = AddBlock(250, 50, 80, 60, "B");
    A->SetShape(bsRectangle);
    B->SetShape(bsRectangle);
    Diagram->ClearUndoStack();
  }
  void TearDown() override {
    DiagramTest::TearDown();
    KvClock_Install(nullptr);
  }
  QWidget* Port() const { return Diagram->viewport(); }
  void Send(QEvent::Type type, QPoint p, Qt::MouseButton button, Qt::MouseButtons held,
            Qt::KeyboardModifiers mods = {}) {
    QMouseEvent e(type, QPointF(p), Port()->mapToGlobal(QPointF(p)), button, held, mods);
    QCoreApplication::sendEvent(Port(), &e);
  }
  void Press(QPoint p, Qt::KeyboardModifiers mods = {}, Qt::MouseButton b = Qt::LeftButton) {
    Send(QEvent::MouseButtonPress, p, b, b, mods);
  }
  void Move(QPoint p, Qt::KeyboardModifiers mods = {}) {
    Send(QEvent::MouseMove, p, Qt::NoButton, Qt::LeftButton, mods);
  }
  void Release(QPoint p, Qt::MouseButton b = Qt::LeftButton) {
    Send(QEvent::MouseButtonRelease, p, b, Qt::NoButton);
  }
  void DoubleClick(QPoint p) {
    Press(p);
    Release(p);
    Send(QEvent::MouseButtonDblClick, p, Qt::LeftButton, Qt::LeftButton);
    Release(p);
  }
  void Drag(QPoint from, QPoint to, Qt::KeyboardModifiers mods = {}) {
    Press(from, mods);
    Move((from + to) / 2, mods);
    Move(to, mods);
    Release(to);
  }
  void Key(int key, Qt::KeyboardModifiers mods = {}) {
    QTest::keyClick(Diagram, Qt::Key(key), mods);
  }
  void Wheel(int delta, Qt::KeyboardModifiers mods = {}) {
    QWheelEvent e(QPointF(100, 100), Port()->mapToGlobal(QPointF(100, 100)), QPoint(),
                  QPoint(0, delta), Qt::NoButton, mods, Qt::NoScrollPhase, false);
    QCoreApplication::sendEvent(Port(), &e);
  }
  QByteArray Scene() { return Diagram->SaveToBytes(false); }
  // Saves what the widget shows, for a person to look at, and answers it.
  QImage Shot(const QString& name) {
    QImage img = Diagram->grab().toImage();
    img.save(QDir::current().filePath("interaction_" + name + ".png"));
    return img;
  }
  QPoint Offset() const { return Port()->mapTo(Diagram, QPoint(0, 0)); }

  TKvVirtualClock Clock;
  TDiagramBlock* A = nullptr;
  TDiagramBlock* B = nullptr;
};

}  // namespace

TEST_F(InteractionTest, ClickSelectsAndADragMovesOnceWithOneUndoStep) {
  const QByteArray before = Scene();
  Press({90, 80});
  EXPECT_EQ(Diagram->MouseState(), msMoving);
  Release({90, 80});
  EXPECT_EQ(Diagram->MouseState(), msBrowsing);
  EXPECT_TRUE(A->Selected());
  EXPECT_EQ(A->BoundsRect(), (TSquare{50, 50, 130, 110}));
  EXPECT_EQ(Diagram->UndoStack().FItems.size(), 1u);  // a click is no move

  Press({90, 80});
  Move({105, 90});
  // During the drag only the cursor moves; the model waits for the release.
  EXPECT_EQ(A->Left(), 50);
  Move({120, 100});
  Release({120, 100});
  EXPECT_EQ(A->BoundsRect(), (TSquare{80, 70, 160, 130}));
  EXPECT_EQ(Diagram->NextUndoAction(), "move");
  const QByteArray after = Scene();

  Diagram->Undo();
  EXPECT_EQ(Scene(), before);
  EXPECT_EQ(Diagram->NextRedoAction(), "move");
  Diagram->Redo();
  EXPECT_EQ(Scene(), after);
  Diagram->Redo();  // nothing further to redo
  EXPECT_EQ(Scene(), after);
}

TEST_F(InteractionTest, ShiftTogglesCtrlSelectsWithoutMovingDoubleClickFiresOnly) {
  Press({90, 80});
  Release({90, 80});
  Press({290, 80}, Qt::ShiftModifier);
  EXPECT_EQ(Diagram->MouseState(), msBrowsing);
  Release({290, 80});
  EXPECT_TRUE(A->Selected() && B->Selected());
  Press({290, 80}, Qt::ShiftModifier);
  Release({290, 80});
  EXPECT_TRUE(A->Selected());
  EXPECT_FALSE(B->Selected());

  Press({290, 80}, Qt::ControlModifier);
  EXPECT_EQ(Diagram->MouseState(), msBrowsing);
  Release({290, 80});
  EXPECT_TRUE(B->Selected());
  EXPECT_FALSE(A->Selected());

  int doubles = 0;
  Diagram->OnDControlDblClick = [&](TKvDiagram*, TDiagramControl* c) { doubles += c == A; };
  DoubleClick({90, 80});
  EXPECT_EQ(doubles, 1);
  EXPECT_EQ(Diagram->MouseState(), msBrowsing);
  EXPECT_EQ(A->Left(), 50);

  // The right button selects for a context menu; on empty space it clears the selection.
  Press({290, 80}, {}, Qt::RightButton);
  Release({290, 80}, Qt::RightButton);
  EXPECT_TRUE(B->Selected());
  EXPECT_EQ(Diagram->MouseState(), msBrowsing);
  Press({200, 250}, {}, Qt::RightButton);
  EXPECT_EQ(Diagram->SelectedCount(), 0);
}

TEST_F(InteractionTest, EscapeCancelsAMoveAndTheRubberBand) {
  const QByteArray before = Scene();
  Press({90, 80});
  Move({150, 150});
  QImage drag = Shot("drag_outline");
  Key(Qt::Key_Escape);
  EXPECT_EQ(Diagram->MouseState(), msBrowsing);
  EXPECT_EQ(A->Left(), 50);
  EXPECT_EQ(Diagram->UndoStack().FItems.size(), 1u);
  EXPECT_EQ(Scene(), before);
  // The outline stood where the block would go, the block itself where it was.
  const QPoint o = Offset();
  EXPECT_NE(drag.pixel(o + QPoint(110, 120)), drag.pixel(o + QPoint(110, 200)));
  EXPECT_NE(drag.pixel(o + QPoint(50, 80)), drag.pixel(o + QPoint(20, 20)));

  Press({10, 10});
  EXPECT_EQ(Diagram->MouseState(), msSelecting);
  Move({200, 150});
  Key(Qt::Key_Escape);
  EXPECT_EQ(Diagram->MouseState(), msBrowsing);
  EXPECT_EQ(Diagram->SelectedCount(), 0);
}

TEST_F(InteractionTest, RubberBandSelectsWhatItEnclosesAndScrollsOnTheTimer) {
  AddBlock(60, 800, 40, 40, "Far");
  ASSERT_GT(Diagram->verticalScrollBar()->maximum(), 0);
  Press({20, 20});
  Move({200, 130});
  QImage band = Shot("rubber_band");
  const QPoint o = Offset();
  EXPECT_NE(band.pixel(o + QPoint(200, 60)), band.pixel(o + QPoint(210, 60)));  // its right edge
  Release({200, 130});
  EXPECT_TRUE(A->Selected());
  EXPECT_FALSE(B->Selected());  // only partly inside

  Press({20, 20});
  Move({200, Port()->height() + 40});
  EXPECT_EQ(Diagram->VertPosition(), 0);
  Clock.Advance(300);
  EXPECT_EQ(Diagram->VertPosition(), 40);
  Clock.Advance(300);
  EXPECT_EQ(Diagram->VertPosition(), 80);
  Release({200, Port()->height() + 40});
  EXPECT_TRUE(A->Selected());
  Clock.Advance(600);  // the timer stopped with the band
  EXPECT_EQ(Diagram->VertPosition(), 80);
}

TEST_F(InteractionTest, HandlesResizeWithinLimitsAndRotateInSteps) {
  Press({90, 80});
  Release({90, 80});
  A->FMinWidth = 40;
  // Dragging the right-bottom corner past the left edge stops at the minimum width.
  Drag({130, 110}, {20, 150});
  EXPECT_EQ(A->BoundsRect(), (TSquare{50, 50, 90, 150}));
  EXPECT_EQ(Diagram->NextUndoAction(), "resize");

  A->FRestrictions.Include(crKeepRatio);
  Drag({90, 150}, {130, 160});  // 40 by 100 kept: the larger scale wins
  EXPECT_NEAR(A->Width() / A->Height(), 0.4, 1e-9);
  EXPECT_EQ(A->Top(), 50);

  // The rotation handle: the direction from the centre, cut down to the step of 5 degrees.
  A->SetBounds(50, 50, 80, 60);
  A->FRestrictions = {};
  const TDot c = A->BoundsRect().Center();
  const TDot h = A->HandlePoint(A->Handles().RotateHandle());
  Press(QPoint(int(h.X), int(h.Y)));
  EXPECT_EQ(Diagram->MouseState(), msResizing);
  Move(QPoint(int(c.X), int(c.Y) + 50));
  Move(QPoint(int(c.X) + 30, int(c.Y) + 50));
  Shot("rotation");
  EXPECT_EQ(A->Angle(), 0);
  Release(QPoint(int(c.X) + 30, int(c.Y) + 50));
  EXPECT_EQ(A->Angle(), 55);  // atan2(50, 30) = 59.04, truncated to 55
  EXPECT_EQ(Diagram->NextUndoAction(), "resize");
}

TEST_F(InteractionTest, KeysMoveByTheGridSelectTheNextBlockAndPage) {
  Press({90, 80});
  Release({90, 80});
  Diagram->SnapGrid.Active = true;
  Key(Qt::Key_Right, Qt::ControlModifier);
  EXPECT_EQ(A->Left(), 58);
  EXPECT_EQ(Diagram->NextUndoAction(), "move");
  Key(Qt::Key_Down, Qt::ShiftModifier);  // no resizing and no moving by keyboard with Shift
  EXPECT_EQ(A->BoundsRect(), (TSquare{58, 50, 138, 110}));
  Key(Qt::Key_Right);
  EXPECT_TRUE(B->Selected());
  EXPECT_FALSE(A->Selected());
  Key(Qt::Key_Down);  // nothing below within the cone
  EXPECT_TRUE(B->Selected());
  Diagram->KeyActions.Exclude(kaMove);
  Key(Qt::Key_Left, Qt::ControlModifier);
  EXPECT_EQ(B->Left(), 250);

  AddBlock(60, 2000, 40, 40);
  Key(Qt::Key_PageDown);
  EXPECT_EQ(Diagram->VertPosition(), Diagram->ClientSize().height());
  Key(Qt::Key_PageUp);
  EXPECT_EQ(Diagram->VertPosition(), 0);
}

TEST_F(InteractionTest, InsertingBlocksByClickAndDrag) {
  Diagram->StartInsertingControl(QStringLiteral("TDiagramBlock"));
  EXPECT_EQ(Diagram->MouseState(), msToInsert);
  Press({200, 200});
  EXPECT_EQ(Diagram->MouseState(), msInserting);
  Move({205, 204});
  Release({205, 204});  // a click drops the default size
  ASSERT_EQ(Diagram->BlockCount(), 3);
  auto* dropped = Diagram->GetBlocks(2);
  EXPECT_EQ(dropped->BoundsRect(), (TSquare{200, 200, 250, 250}));
  EXPECT_TRUE(dropped->Selected());
  EXPECT_EQ(Diagram->NextUndoAction(), "insert");
  EXPECT_EQ(Diagram->MouseState(), msBrowsing);

  Diagram->KeepInsertingMode = kmAlways;
  Diagram->StartInsertingControl(QStringLiteral("TDiagramBlock"));
  Drag({300, 200}, {250, 260});  // leftwards: one unit wide, not negative
  EXPECT_EQ(Diagram->GetBlocks(3)->BoundsRect(), (TSquare{300, 200, 301, 260}));
  EXPECT_EQ(Diagram->MouseState(), msToInsert);
  QPointer<TDiagramControl> pending = Diagram->FInsertDControl;
  Diagram->Clear();  // frees the control waiting to be inserted
  EXPECT_TRUE(pending.isNull());
  EXPECT_EQ(Diagram->MouseState(), msBrowsing);

  // The form may free a control before it was inserted.
  auto* gone = new TDiagramBlock(Owner.get());
  Diagram->StartInsertingControl(gone);
  delete gone;
  EXPECT_EQ(Diagram->FInsertDControl, nullptr);
  Diagram->CancelInsertingBlock();
  EXPECT_EQ(Diagram->MouseState(), msBrowsing);
}

TEST_F(InteractionTest, LinesConnectOnlyToAcceptedLinkPoints) {
  A->LinkPoints().Add(100, 50);  // right middle, original coordinates
  B->FAutoCreateLinkPoints = true;
  RegDControls();
  auto* probe = new TDiagramLine(Owner.get());
  probe->FRequiresConnections = true;
  Diagram->StartInsertingControl(probe);
  Press({200, 200});  // outside any link point: no effect
  EXPECT_EQ(Diagram->MouseState(), msToInsert);
  Release({200, 200});
  EXPECT_EQ(Diagram->LinkCount(), 0);

  Press({128, 80});
  EXPECT_EQ(Diagram->MouseState(), msInserting);
  Move({200, 90});
  Shot("line_insert");
  Move({270, 90});
  Release({270, 90});
  ASSERT_EQ(Diagram->LinkCount(), 1);
  TCustomDiagramLine* line = Diagram->GetLinks(0);
  EXPECT_EQ(line->SourceLinkPoint()->Anchor(), A);
  EXPECT_EQ(line->TargetLinkPoint()->Anchor(), B);  // on a link point made where it landed
  EXPECT_EQ(B->LinkPoints().Count(), 1);
  EXPECT_EQ(line->TargetLinkPoint()->DiagramPoint(), (TDot{270, 90}));

  // A refusing listener leaves the end loose.
  Diagram->OnAcceptAnchor = [](TKvDiagram*, TCustomDiagramLine*, TLinkPoint*, bool& ok) {
    ok = false;
  };
  // Dropping the target end on empty space loosens it.
  Press({200, 90});  // select the line
  Release({200, 90});
  ASSERT_TRUE(line->Selected());
  Drag({270, 90}, {300, 250});
  EXPECT_EQ(line->TargetLinkPoint()->Anchor(), nullptr);
  EXPECT_EQ(line->TargetLinkPoint()->AnchorIndex(), -1);
  EXPECT_EQ(line->TargetLinkPoint()->DiagramPoint(), (TDot{300, 250}));
  EXPECT_EQ(Diagram->NextUndoAction(), "resize");
}

TEST_F(InteractionTest, DrawingPointByPointEndsOnTheDoubleClick) {
  Diagram->KeepInsertingMode = kmAlways;  // drawing never restarts by itself
  Diagram->StartInsertingControl(QStringLiteral("TDiagramPolyLine"));
  EXPECT_EQ(Diagram->MouseState(), msToDraw);
  Press({20, 200});
  Release({20, 200});
  EXPECT_EQ(Diagram->MouseState(), msDrawing);
  Press({100, 200});
  Release({100, 200});
  Move({100, 260});
  DoubleClick({100, 260});
  EXPECT_EQ(Diagram->MouseState(), msBrowsing);
  ASSERT_EQ(Diagram->LinkCount(), 1);
  EXPECT_EQ(Diagram->GetLinks(0)->Points(), (TDotArray{{20, 200}, {100, 200}, {100, 260}}));
  EXPECT_EQ(Diagram->NextUndoAction(), "insert");

  Diagram->StartInsertingControl(QStringLiteral("TPolygonBlock"));
  Press({200, 150});
  Press({260, 150});
  Key(Qt::Key_Escape);
  EXPECT_EQ(Diagram->MouseState(), msBrowsing);
  EXPECT_EQ(Diagram->BlockCount(), 2);
}

TEST_F(InteractionTest, WheelZoomsWithinLimitsAndScrollsByTheIncrement) {
  Wheel(-120, Qt::ControlModifier);  // no WheelZoom: nothing
  EXPECT_EQ(Diagram->Zoom(), 100);
  Diagram->WheelZoom = true;
  Wheel(120, Qt::ControlModifier);
  EXPECT_EQ(Diagram->Zoom(), 110);
  Diagram->SetZoom(15);
  Wheel(-120, Qt::ControlModifier);
  EXPECT_EQ(Diagram->Zoom(), 10);
  Diagram->WheelZoomMax = 120;
  Diagram->SetZoom(115);
  Wheel(120, Qt::ControlModifier);
  EXPECT_EQ(Diagram->Zoom(), 120);

  Diagram->SetZoom(100);
  AddBlock(60, 2000, 40, 40);
  Wheel(-120);
  EXPECT_EQ(Diagram->VertPosition(), 8);
  Diagram->MouseWheelMode = mwOff;
  Wheel(-120);
  EXPECT_EQ(Diagram->VertPosition(), 8);
}

TEST_F(InteractionTest, ZoomByClickStepsThroughTheTableAndByRectangleFits) {
  Diagram->SetZoom(1000);
  Diagram->ZoomIn({10, 10, 12, 12});
  EXPECT_EQ(Diagram->ZoomRatio(), 10.0);
  Diagram->SetZoom(5);
  Diagram->ZoomOut({10, 10, 12, 12});
  EXPECT_DOUBLE_EQ(Diagram->ZoomRatio(), 0.05);
  Diagram->SetZoom(100);
  Diagram->ZoomIn({10, 10, 12, 12});
  EXPECT_DOUBLE_EQ(Diagram->ZoomRatio(), 1.25);
  Diagram->ZoomOut({10, 10, 12, 12});
  EXPECT_DOUBLE_EQ(Diagram->ZoomRatio(), 1.0);
  Diagram->ZoomOut({10, 10, 12, 12});
  EXPECT_DOUBLE_EQ(Diagram->ZoomRatio(), 0.75);

  Diagram->SetZoom(100);
  Diagram->StartZooming(zsZoomIn);
  EXPECT_EQ(Diagram->MouseState(), msToZoom);
  const QSize view = Port()->size();
  Drag({0, 0}, {view.width() / 2, view.height() / 2});
  EXPECT_EQ(Diagram->MouseState(), msBrowsing);
  EXPECT_NEAR(Diagram->ZoomRatio(), 2.0, 0.05);
}

TEST_F(InteractionTest, PanningGoesOnUntilCancelled) {
  AddBlock(1500, 1500, 40, 40);
  Diagram->StartPanning();
  Press({200, 200});
  EXPECT_EQ(Diagram->MouseState(), msPanning);
  Move({150, 170});
  EXPECT_EQ(Diagram->HorzPosition(), 50);
  EXPECT_EQ(Diagram->VertPosition(), 30);
  Release({150, 170});
  EXPECT_EQ(Diagram->MouseState(), msToPan);
  Diagram->CancelPanning();
  EXPECT_EQ(Diagram->MouseState(), msBrowsing);
}

TEST_F(InteractionTest, InPlaceEditingTakesTheTextIntoTheCell) {
  A->SetStrings("old\r\n");
  Press({90, 80});
  Release({90, 80});
  Diagram->EditBlockText();
  TDiagramMemo* memo = Diagram->InplaceEditor();
  ASSERT_NE(memo, nullptr);
  ASSERT_TRUE(memo->isVisible());
  EXPECT_EQ(memo->toPlainText(), "old");
  QTest::keyClicks(memo, "Level");
  QTest::keyClick(memo, Qt::Key_Tab);  // one cell only: the same editor stays
  EXPECT_EQ(Diagram->FInplaceMemo, A->TextCells()[0]);
  QTest::keyClick(memo, Qt::Key_Return);
  QTest::keyClicks(memo, "dB");
  Shot("text_edit");
  QTest::keyClick(memo, Qt::Key_Return, Qt::ControlModifier);
  EXPECT_FALSE(memo->isVisible());
  EXPECT_EQ(A->Strings(), "Level\r\ndB\r\n");
  EXPECT_EQ(Diagram->NextUndoAction(), "text edit");

  Diagram->EditControlText(A);
  QTest::keyClicks(memo, "x");
  QTest::keyClick(memo, Qt::Key_Escape);
  EXPECT_EQ(A->Strings(), "Level\r\ndB\r\n");

  // Tab walks to the next visible cell of the control.
  TTextCell* second = A->TextCells().Add();
  second->SetText("two");
  Diagram->EditTextCell(A->TextCells()[0]);
  QTest::keyClick(memo, Qt::Key_Tab);
  EXPECT_EQ(Diagram->FInplaceMemo, second);
  A->FRestrictions.Include(crNoEdit);
  Diagram->CloseEditor(false);
  EXPECT_FALSE(Diagram->EditControlText(A));
}

TEST_F(InteractionTest, UndoKeepsTenEntriesAndNeedsAStateBeforeIt) {
  Diagram->Undo();  // only the base state: nothing to undo
  EXPECT_EQ(Diagram->UndoStack().FCurrent, 0);
  for (int i = 1; i <= 11; ++i) {
    A->SetLeft(i);
    Diagram->PushUndoStack(QString("step %1").arg(i));
  }
  EXPECT_EQ(Diagram->UndoStack().FItems.size(), 10u);
  EXPECT_EQ(Diagram->UndoStack().FItems.front().FName, "step 2");
  EXPECT_EQ(Diagram->NextUndoAction(), "step 11");
  for (int i = 0; i < 12; ++i) Diagram->Undo();
  EXPECT_EQ(Diagram->FindBlock(u"A")->Left(), 2);
  EXPECT_EQ(Diagram->NextRedoAction(), "step 3");
  // A push after an undo drops what could have been redone.
  Diagram->PushUndoStack("branch");
  EXPECT_EQ(Diagram->NextRedoAction(), "");
  EXPECT_EQ(Diagram->UndoStack().FItems.size(), 2u);
}

TEST_F(InteractionTest, DeleteHonoursRestrictionsLayersAndDesignMode) {
  TDiagramLayer* locked = Diagram->Layers().Add("Locked");
  locked->Editable = false;
  B->SetLayerObj(locked);
  auto* fixed = AddBlock(400, 200, 20, 20, "Fixed");
  fixed->FRestrictions.Include(crNoDelete);
  Diagram->ClearUndoStack();
  Diagram->SelectAll();
  Diagram->DesignMode = ddmNonEditable;
  Diagram->DeleteSelecteds();
  EXPECT_EQ(Diagram->BlockCount(), 3);
  Diagram->DesignMode = ddmEditable;
  Diagram->DeleteSelecteds();
  EXPECT_EQ(Diagram->BlockCount(), 2);  // only A goes
  EXPECT_EQ(Diagram->NextUndoAction(), "delete");
  Diagram->Undo();
  EXPECT_EQ(Diagram->BlockCount(), 3);

  ASSERT_EQ(Diagram->FindBlock(u"B")->LayerObj(), Diagram->Layers().FindByName("locked"));
  Diagram->DeleteLayerControls(QStringLiteral("LOCKED"));
  EXPECT_EQ(Diagram->FindBlock(u"B"), nullptr);
  EXPECT_NE(Diagram->FindBlock(u"A"), nullptr);
}

TEST_F(InteractionTest, GroupUngroupAndPasteAreUndoSteps) {
  Diagram->SelectAll();
  TGroupBlock* g = Diagram->GroupSelectedBlocks();
  ASSERT_NE(g, nullptr);
  EXPECT_EQ(Diagram->NextUndoAction(), "group");
  // A click on a member moves the whole group.
  Drag({90, 80}, {100, 90});
  EXPECT_EQ(A->Left(), 60);
  EXPECT_EQ(B->Left(), 260);
  Diagram->UngroupSelectedBlocks();
  EXPECT_EQ(Diagram->NextUndoAction(), "ungroup");

  Diagram->SelectAll();
  Diagram->CopyToClipboard();
  Diagram->PasteFromClipboard();
  EXPECT_EQ(Diagram->BlockCount(), 4);
  EXPECT_EQ(Diagram->NextUndoAction(), "paste");
  Diagram->Undo();
  EXPECT_EQ(Diagram->BlockCount(), 2);
}

TEST_F(InteractionTest, LinkPointsStartConnectionsAndNodesCollapseOnClick) {
  TLinkPoint* out = A->LinkPoints().Add(100, 50);
  TLinkPoint* in = B->LinkPoints().Add(0, 50);
  Press({128, 80});  // no connection line set: the press selects and moves the block
  EXPECT_EQ(Diagram->MouseState(), msMoving);
  Release({128, 80});
  Diagram->UnselectAll();

  Diagram->ConnectionLineId = QStringLiteral("TDiagramSideLine");
  Press({128, 80});
  EXPECT_EQ(Diagram->MouseState(), msInserting);
  Move({200, 80});
  Move({250, 80});
  Release({250, 80});
  ASSERT_EQ(Diagram->LinkCount(), 1);
  EXPECT_EQ(Diagram->GetLinks(0)->SourceLinkPoint()->AnchorLink(), out);
  EXPECT_EQ(Diagram->GetLinks(0)->TargetLinkPoint()->AnchorLink(), in);
  EXPECT_EQ(Diagram->GetLinks(0)->ClassName(), "TDiagramSideLine");

  // The source point is now a node: a click on it collapses what hangs on it.
  out->FCollapsable = true;
  Diagram->UnselectAll();
  Press({130, 80});
  EXPECT_EQ(Diagram->MouseState(), msClickingNode);
  Release({130, 80});
  EXPECT_TRUE(out->Collapsed());
  EXPECT_EQ(Diagram->MouseState(), msBrowsing);
}

TEST_F(InteractionTest, ShapeDragPaintsTheControlsAtTheCursorAndMovesOnRelease) {
  Diagram->FDragStyle = dsShape;
  A->SetColor(clBlack);
  A->SetSelColor(clBlack);
  Press({90, 80});
  Move({90, 180});
  EXPECT_EQ(A->FIntPaintMode, pmNormalCursor);
  const QImage img = Shot("drag_shape");
  EXPECT_TRUE(Dark(img, Offset().x() + 90, Offset().y() + 180));  // the drag image
  EXPECT_TRUE(Dark(img, Offset().x() + 90, Offset().y() + 80));   // and the block at rest
  Release({90, 180});
  EXPECT_EQ(A->Top(), 150);
  EXPECT_EQ(A->FIntPaintMode, pmNormal);

  // Lines are kept inserting with kmLinesOnly, blocks are not.
  Diagram->KeepInsertingMode = kmLinesOnly;
  Diagram->StartInsertingControl(QStringLiteral("TDiagramLine"));
  Drag({20, 250}, {120, 280});
  EXPECT_EQ(Diagram->MouseState(), msToInsert);
  Diagram->CancelInsertingBlock();
  Diagram->StartInsertingControl(QStringLiteral("TDiagramBlock"));
  Drag({300, 200}, {340, 240});
  EXPECT_EQ(Diagram->MouseState(), msBrowsing);
}

TEST_F(InteractionTest, APolygonPointFollowsItsHandle) {
  auto* poly = new TPolygonBlock(Owner.get());
  poly->SetDiagram(Diagram);
  poly->SetPoints({{300, 200}, {330, 210}, {340, 240}, {300, 240}});
  Press({310, 230});
  Release({310, 230});
  ASSERT_TRUE(poly->Selected());
  Press({330, 210});
  EXPECT_EQ(Diagram->MouseState(), msResizing);
  Move({325, 220});
  Move({320, 230});
  EXPECT_EQ(poly->Polygon()[1].P, (TDot{330, 210}));
  Release({320, 230});
  EXPECT_EQ(poly->Polygon()[1].P, (TDot{320, 230}));
  EXPECT_EQ(poly->Polygon()[0].P, (TDot{300, 200}));
  EXPECT_EQ(Diagram->NextUndoAction(), "resize");
}

TEST_F(InteractionTest, HoverEventsAndALineEndDroppedOnAnAutoLinkingBlock) {
  std::vector<QString> seen;
  Diagram->OnBlockMouseEnter = [&](TKvDiagram*, TDiagramControl* c) {
    seen.push_back("+" + c->Name());
  };
  Diagram->OnBlockMouseLeave = [&](TKvDiagram*, TDiagramControl* c) {
    seen.push_back("-" + c->Name());
  };
  Send(QEvent::MouseMove, {90, 80}, Qt::NoButton, Qt::NoButton);
  Send(QEvent::MouseMove, {290, 80}, Qt::NoButton, Qt::NoButton);
  Send(QEvent::MouseMove, {200, 250}, Qt::NoButton, Qt::NoButton);
  EXPECT_EQ(seen, (std::vector<QString>{"+A", "-A", "+B", "-B"}));

  B->FAutoCreateLinkPoints = true;
  TDiagramLine* line = AddLine<TDiagramLine>({20, 200}, {150, 200});
  line->SetSelected(true);
  Drag({150, 200}, {270, 70});
  ASSERT_EQ(B->LinkPoints().Count(), 1);
  EXPECT_EQ(line->TargetLinkPoint()->AnchorLink(), B->LinkPoints()[0]);
  EXPECT_EQ(line->TargetLinkPoint()->DiagramPoint(), (TDot{270, 70}));
}
