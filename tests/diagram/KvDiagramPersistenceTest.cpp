// A diagram stored and restored: what it writes into the object stream, round trips of every
// kind of control, references between controls, files, Assign, the clipboard, the errors of
// damaged input, and the model fixes the stream depends on (kept font heights, polygon
// frames, group members, unique names). The stream's own encoding is the object stream suite.
#include <gtest/gtest.h>

#include <QBuffer>
#include <QClipboard>
#include <QGuiApplication>
#include <QMimeData>
#include <QTemporaryDir>

#include "DiagramTestSupport.h"
#include "KvObjectStream.h"

namespace {

class PersistenceTest : public DiagramTest {
 protected:
  // A scene with one of each: text block, polygon, group of two blocks, and a line from the
  // text block to a block of the group.
  void BuildScene() {
    Text = AddBlock<TTextBlock>(10, 15, 120, 40, "TextBlock1");
    Text->SetStrings(QStringLiteral("SENDING\r\n\u00b0C"));
    Text->LinkPoints().Add(100, 50, aoRight);
    Text->FRestrictions = {crNoResize, crKeepRatio};
    Text->SetAngle(30);
    Text->FGradient.Visible = true;
    TKvFont f{QStringLiteral("DejaVu Sans")};
    f.SetHeight(-14);
    f.Bold = true;
    Text->SetFont(f);
    Text->FStringData = QStringLiteral("user data");
    Tick = AddTick({200, 20, 210, 60}, 12.5, "Tick1");
    A = AddBlock(50, 150, 60, 30, "A");
    B = AddBlock(150, 150, 60, 30, "B");
    B->LinkPoints().Add(0, 50, aoLeft);
    B->SetShape(bsEllipse);
    B->SetColor(0x123456);
    A->SetSelected(true);
    B->SetSelected(true);
    Group = Diagram->GroupSelectedBlocks();
    Group->SetName("Group1");
    Diagram->UnselectAll();
    Line = AddLine<TDiagramSideLine>({0, 0}, {10, 10});
    Line->SetName("Line1");
    Line->SourceLinkPoint()->AnchorTo(Text->LinkPoints()[0]);
    Line->TargetLinkPoint()->AnchorTo(B->LinkPoints()[0]);
    Line->TargetArrow().Shape = asSolidArrow;
    Diagram->Layers().Add("Top");
    Diagram->SnapGrid.Visible = true;
    Diagram->SetZoom(150);
  }

  // A second diagram on a form of its own.
  struct TOther {
    QWidget Form;
    TKvDiagram* Diagram = new TKvDiagram(&Form);
  };

  TTextBlock* Text = nullptr;
  TPolygonBlock* Tick = nullptr;
  TDiagramBlock* A = nullptr;
  TDiagramBlock* B = nullptr;
  TGroupBlock* Group = nullptr;
  TDiagramSideLine* Line = nullptr;
};

std::string LoadError(TKvDiagram* d, const QByteArray& text) {
  try {
    d->LoadFromBytes(text, true);
  } catch (const EKvFilerError& e) {
    return e.what();
  }
  return "no error";
}

}  // namespace

TEST_F(PersistenceTest, AStoredDiagramIsANamelessRootWithItsControlsInZOrder) {
  BuildScene();
  Diagram->setObjectName("Display");
  const QByteArray text = Diagram->SaveToBytes(true);
  EXPECT_TRUE(
      text.startsWith("object TKvDiagram\n  NettoExportOffset = 3\n  AutomaticNodes = False\n"));
  EXPECT_EQ(Diagram->objectName(), "Display");
  QList<QByteArray> objects;
  for (const QByteArray& line : text.split('\n'))
    if (line.startsWith("  object ")) objects << line.trimmed();
  EXPECT_EQ(objects,
            (QList<QByteArray>{"object TextBlock1: TTextBlock", "object Tick1: TPolygonBlock",
                               "object A: TDiagramBlock", "object B: TDiagramBlock",
                               "object Group1: TGroupBlock", "object Line1: TDiagramSideLine"}));
  EXPECT_TRUE(text.contains("    Angle = 30.0\n"));
  EXPECT_TRUE(text.contains("    Restrictions = [crNoResize,crKeepRatio]\n"));
  EXPECT_TRUE(
      text.contains("    Font.Height = -14\n    Font.Name = 'DejaVu Sans'\n    Font.Style = "
                    "[fsBold]\n    DiagramFont = False\n"));
  EXPECT_TRUE(text.contains("        Text = 'SENDING'#13#10#176'C'\n"));
  EXPECT_TRUE(text.contains("        Anchor = __DSOwner___.TextBlock1\n        AnchorIndex = 0\n"));
  EXPECT_TRUE(
      text.contains("    Members = <\n      item\n        DControl = __DSOwner___.A\n      end\n"));
  EXPECT_TRUE(text.contains("    Metafile.Data = {\n      04000000}\n"));
  EXPECT_TRUE(text.contains("  Zoom = 150\n"));
  EXPECT_TRUE(text.contains("    Collapsed = False\n    Polygon = <\n"));
  // Left out: defaults and stored tests that answer false.
  EXPECT_FALSE(text.contains("Strings"));
  EXPECT_FALSE(text.contains("Orientation1"));
  EXPECT_FALSE(text.contains("CollapsedNodes"));
  EXPECT_FALSE(text.contains("DControlID"));
  EXPECT_FALSE(text.contains("ShowHint ="));
}

TEST_F(PersistenceTest, BinaryBytesOfABlockFollowTheWritersChoices) {
  auto* b = AddBlock<TTextBlock>(0, 15, 50, 50, "T");
  b->SetStrings("Hi");
  const QByteArray bin = Diagram->SaveToBytes(false);
  ASSERT_TRUE(bin.startsWith(QByteArray("TPF0") + char(10) + "TKvDiagram" + char(0)));
  const qsizetype at = bin.indexOf(QByteArray(1, 10) + "TTextBlock" + char(1) + "T");
  ASSERT_GT(at, 0);
  // Left 0 is left out; Top 15.0, Width and Height 50.0 as extended reals.
  EXPECT_EQ(bin.mid(at + 13, 50).toHex(), QByteArray("03546f70") + "0500000000000000f00240" +
                                              "055769647468" + "0500000000000000c80440" +
                                              "06486569676874" + "0500000000000000c80440");
  EXPECT_TRUE(
      bin.contains(QByteArray("\x0dMetafile.Data\x0a\x04\x00\x00\x00\x04\x00\x00\x00", 23)));
  EXPECT_TRUE(bin.contains(QByteArray("\x04Text\x06\x02Hi", 9)));
  EXPECT_TRUE(
      bin.contains(QByteArray("\x09"
                              "Collapsed\x08\x00\x00",
                              13)));
  EXPECT_TRUE(bin.endsWith(QByteArray("\x00\x00\x00", 3)));
}

TEST_F(PersistenceTest, EveryControlSurvivesBothForms) {
  BuildScene();
  for (bool text : {false, true}) {
    const QByteArray saved = Diagram->SaveToBytes(text);
    TOther other;
    other.Diagram->LoadFromBytes(saved, text);
    EXPECT_EQ(other.Diagram->SaveToBytes(text), saved) << text;
    EXPECT_EQ(other.Diagram->DControlCount(), 6);
    auto* text1 = dynamic_cast<TTextBlock*>(other.Diagram->FindDControl(u"TextBlock1"));
    ASSERT_TRUE(text1);
    EXPECT_EQ(text1->Strings(), QStringLiteral("SENDING\r\n\u00b0C"));
    EXPECT_EQ(text1->Font().Height(), -14);
    EXPECT_EQ(text1->Angle(), 30);
    EXPECT_TRUE(text1->FRestrictions.Contains(crKeepRatio));
    auto* group = dynamic_cast<TGroupBlock*>(other.Diagram->FindDControl(u"Group1"));
    ASSERT_TRUE(group);
    ASSERT_EQ(group->Members().Count(), 2);
    EXPECT_EQ(group->Members()[1]->Name(), "B");
    EXPECT_EQ(group->Members()[1]->GroupBlock(), group);
    EXPECT_EQ(group->Members().DControl(), group);
    auto* line = dynamic_cast<TCustomDiagramLine*>(other.Diagram->FindDControl(u"Line1"));
    ASSERT_TRUE(line);
    EXPECT_EQ(line->SourceLinkPoint()->AnchorLink(), text1->LinkPoints()[0]);
    EXPECT_EQ(line->TargetLinkPoint()->AnchorLink(),
              other.Diagram->FindDControl(u"B")->LinkPoints()[0]);
    EXPECT_EQ(line->Points(), Line->Points());
    EXPECT_EQ(other.Diagram->Zoom(), 150);
    EXPECT_TRUE(other.Diagram->Layers().FindByName("Top"));
  }
}

TEST_F(PersistenceTest, ForwardReferencesAndAnotherOwnerKeepTheAnchors) {
  auto* line = AddLine({0, 0}, {5, 5});
  line->SetName("Early");
  auto* block = AddBlock(100, 100, 40, 40, "Late");
  block->LinkPoints().Add(50, 50);
  line->TargetLinkPoint()->AnchorTo(block->LinkPoints()[0]);
  const QByteArray text = Diagram->SaveToBytes(true);
  ASSERT_LT(text.indexOf("object Early"), text.indexOf("object Late"));
  TOther other;
  other.Form.setObjectName("SomeOtherForm");
  other.Diagram->LoadFromBytes(text, true);
  auto* early = dynamic_cast<TCustomDiagramLine*>(other.Diagram->FindDControl(u"Early"));
  ASSERT_TRUE(early);
  EXPECT_EQ(early->TargetLinkPoint()->Anchor(), other.Diagram->FindDControl(u"Late"));
  EXPECT_EQ(early->Points().back(), (TDot{120, 120}));
}

TEST_F(PersistenceTest, FilesHoldTheTextAndLoadingClearsTheUndoStack) {
  BuildScene();
  QTemporaryDir dir;
  const QString file = dir.filePath("scene.dgr");
  Diagram->SaveToFile(file);
  QFile f(file);
  ASSERT_TRUE(f.open(QIODevice::ReadOnly));
  EXPECT_TRUE(f.readAll().startsWith("object TKvDiagram\n"));
  TOther other;
  other.Diagram->FUndoStack.FItems.push_back({"move", "x"});
  other.Diagram->LoadFromFile(file);
  // Only the base state of the loaded scene remains.
  ASSERT_EQ(other.Diagram->FUndoStack.FItems.size(), 1u);
  EXPECT_EQ(other.Diagram->FUndoStack.FItems[0].FName, "");
  EXPECT_EQ(other.Diagram->FUndoStack.FCurrent, 0);
  EXPECT_EQ(other.Diagram->DControlCount(), 6);
  // A missing file fails before anything is cleared.
  EXPECT_THROW(other.Diagram->LoadFromFile(dir.filePath("missing.dgr")), EKvFilerError);
  EXPECT_EQ(other.Diagram->DControlCount(), 6);
}

TEST_F(PersistenceTest, AssignCopiesControlsAndDiagramProperties) {
  BuildScene();
  TOther other;
  other.Diagram->setObjectName("Copy");
  other.Diagram->Assign(Diagram);
  EXPECT_EQ(other.Diagram->objectName(), "Copy");
  EXPECT_EQ(other.Diagram->DControlCount(), 6);
  EXPECT_EQ(other.Diagram->Zoom(), 150);
  EXPECT_TRUE(other.Diagram->SnapGrid.Visible);
}

TEST_F(PersistenceTest, DamagedInputFailsWithTheReadersErrors) {
  const QByteArray head = "object TKvDiagram\n";
  EXPECT_EQ(LoadError(Diagram, head + "  object X1: TNoSuchBlock\n  end\nend\n"),
            "Class TNoSuchBlock not found");
  EXPECT_EQ(
      LoadError(Diagram, head + "  object B1: TDiagramBlock\n    Colour = clRed\n  end\nend\n"),
      "Error reading B1.Colour: Property Colour does not exist");
  EXPECT_EQ(LoadError(Diagram, head + "  object B1: TDiagramBlock\n    Left = 'ten'\n  end\nend\n"),
            "Error reading B1.Left: Invalid property value");
  EXPECT_EQ(
      LoadError(Diagram, head + "  object B1: TDiagramBlock\n    Shape = bsStar\n  end\nend\n"),
      "Error reading B1.Shape: Invalid property value");
  EXPECT_EQ(LoadError(Diagram, head + "  Zoom = True\nend\n"),
            "Error reading TKvDiagram.Zoom: Invalid property value");
  EXPECT_EQ(LoadError(Diagram, head + "  object B1: TDiagramBlock\n    TextCells = <\n      item\n"
                                      "        Txt = 'a'\n      end>\n  end\nend\n"),
            "Error reading B1.TextCells: Property Txt does not exist");
  EXPECT_EQ(
      LoadError(Diagram,
                head + "  object B1: TDiagramBlock\n  end\n  object B1: TTextBlock\n  end\nend\n"),
      "A component named B1 already exists");
  EXPECT_EQ(
      LoadError(Diagram,
                head + "  object B1: TDiagramBlock\n    Bitmap.Data = {FFFFFF7F}\n  end\nend\n"),
      "Error reading B1.Bitmap.Data: Stream read error");
}

TEST_F(PersistenceTest, AFailedReadLeavesTheDiagramClearedAndNameless) {
  BuildScene();
  Diagram->setObjectName("Display");
  EXPECT_NE(LoadError(Diagram,
                      "object TKvDiagram\n  object B1: TDiagramBlock\n  end\n"
                      "  object Z: TNoSuchBlock\n  end\nend\n"),
            "no error");
  EXPECT_EQ(Diagram->DControlCount(), 0);
  EXPECT_TRUE(Diagram->objectName().isEmpty());
  EXPECT_FALSE(Diagram->IsLoading());
}

TEST_F(PersistenceTest, ViewsOnTheFirstCellAreReadButNeverWritten) {
  Diagram->LoadFromBytes(
      "object TKvDiagram\n  object B1: TTextBlock\n    Strings.Strings = (\n"
      "      'one'\n      'two')\n    Alignment = taLeftJustify\n"
      "    WordWrap = False\n  end\nend\n",
      true);
  auto* b = Diagram->FindBlock(u"B1");
  ASSERT_TRUE(b);
  EXPECT_EQ(b->Strings(), "one\r\ntwo");
  EXPECT_EQ(b->Alignment(), taLeftJustify);
  EXPECT_FALSE(b->WordWrap());
  const QByteArray text = Diagram->SaveToBytes(true);
  EXPECT_FALSE(text.contains("Strings"));
  EXPECT_TRUE(text.contains(
      "        Alignment = taLeftJustify\n        VertAlign = vaTop\n        WordWrap = False\n"));
  EXPECT_TRUE(text.contains("        Text = 'one'#13#10'two'\n"));
}

TEST_F(PersistenceTest, DesignTimeWindowPropertiesAndEventsAreReadNotWritten) {
  Diagram->LoadFromBytes(
      "object TKvDiagram\n  Left = 8\n  Top = 8\n  Width = 320\n"
      "  Height = 240\n  Align = alClient\n  TabOrder = 0\n"
      "  Constraints.MinWidth = 10\n  OnModified = DiagramModified\nend\n",
      true);
  EXPECT_EQ(Diagram->size(), QSize(320, 240));
  const QByteArray text = Diagram->SaveToBytes(true);
  for (const char* absent :
       {"Width", "Align", "TabOrder", "Constraints.MinWidth", "OnModified", "Left"})
    EXPECT_FALSE(text.contains(QByteArray("\n  ") + absent + " =")) << absent;
}

TEST_F(PersistenceTest, PicturesOfOtherGraphicClassesKeepTheirOwnFile) {
  QImage img(4, 3, QImage::Format_RGB32);
  img.fill(Qt::red);
  QByteArray png;
  QBuffer buf(&png);
  buf.open(QIODevice::WriteOnly);
  img.save(&buf, "PNG");
  const QByteArray data = char(9) + QByteArray("TPngImage") + png;
  Diagram->LoadFromBytes("object TKvDiagram\n  object P: TDiagramBlock\n    Picture.Data = {" +
                             data.toHex() + "}\n  end\nend\n",
                         true);
  auto* b = Diagram->FindBlock(u"P");
  ASSERT_TRUE(b);
  EXPECT_EQ(b->FPicture.size(), QSize(4, 3));
  EXPECT_EQ(b->FPicture.pixelColor(1, 1), QColor(Qt::red));
  // Written back as the engine's own bitmap, which reads again.
  TOther other;
  other.Diagram->LoadFromBytes(Diagram->SaveToBytes(false), false);
  EXPECT_EQ(other.Diagram->FindBlock(u"P")->FPicture.pixelColor(1, 1), QColor(Qt::red));
}

TEST_F(PersistenceTest, ReferencesToMissingControlsLeaveTheEndsFree) {
  Diagram->LoadFromBytes(
      "object TKvDiagram\n  object L1: TDiagramLine\n    LinkPoints = <\n      item\n"
      "        Anchor = __DSOwner___.Gone\n        AnchorIndex = 0\n      end\n      item\n"
      "        Anchor = Elsewhere.B1\n        AnchorIndex = 0\n      end>\n  end\n"
      "  object B1: TDiagramBlock\n    LinkPoints = <\n      item\n      end>\n  end\nend\n",
      true);
  auto* line = dynamic_cast<TCustomDiagramLine*>(Diagram->FindDControl(u"L1"));
  ASSERT_TRUE(line);
  EXPECT_EQ(line->SourceLinkPoint()->Anchor(), nullptr);
  EXPECT_EQ(line->TargetLinkPoint()->Anchor(), nullptr);
  EXPECT_EQ(line->SourceLinkPoint()->AnchorIndex(), -1);
}

TEST_F(PersistenceTest, CollapsedNodesShareBitsBeyondThirtyOne) {
  QByteArray points;
  for (int i = 0; i < 34; ++i) points += "      item\n      end\n";
  Diagram->LoadFromBytes("object TKvDiagram\n  object N: TDiagramBlock\n    LinkPoints = <\n" +
                             points.chopped(1) + ">\n    CollapsedNodes = 2\n  end\nend\n",
                         true);
  TDiagramControl* n = Diagram->FindDControl(u"N");
  ASSERT_TRUE(n);
  ASSERT_EQ(n->LinkPoints().Count(), 34);
  EXPECT_FALSE(n->LinkPoints()[0]->Collapsed());
  EXPECT_TRUE(n->LinkPoints()[1]->Collapsed());
  EXPECT_TRUE(n->LinkPoints()[33]->Collapsed());
  EXPECT_FALSE(n->LinkPoints()[32]->Collapsed());
  EXPECT_TRUE(
      Diagram->SaveToBytes(true).contains("    Collapsed = False\n    CollapsedNodes = 2\n"));
}

TEST_F(PersistenceTest, UndoSnapshotsAreBinaryAndRestoreTheScene) {
  BuildScene();
  QBuffer buf;
  buf.open(QIODevice::ReadWrite);
  Diagram->SaveToStream(buf, false);
  EXPECT_TRUE(buf.data().startsWith("TPF0"));
  Text->SetLeft(300);
  delete Tick;
  buf.seek(0);
  ++Diagram->FInternalUpdating;
  Diagram->FUndoStack.FItems.push_back({"move", "x"});
  const size_t entries = Diagram->FUndoStack.FItems.size();
  Diagram->LoadFromStream(buf, false);
  --Diagram->FInternalUpdating;
  EXPECT_EQ(Diagram->FUndoStack.FItems.size(), entries);  // an undo read keeps the stack
  EXPECT_EQ(Diagram->FindBlock(u"TextBlock1")->Left(), 10);
  EXPECT_TRUE(Diagram->FindDControl(u"Tick1"));
}

// ---- model fixes the stream relies on ----

TEST_F(PersistenceTest, FontHeightsComeBackAsStored) {
  for (int h : {-9, -11, -13, -14, -15, -17, -27, 12}) {
    TKvFont f;
    f.SetHeight(h);
    EXPECT_EQ(f.Height(), h);
    EXPECT_EQ(f.ToQFont().pixelSize(), std::abs(h));
  }
  TKvFont byPoints;
  byPoints.SetSize(10);
  EXPECT_EQ(byPoints.Height(), -13);
  byPoints.SetHeight(-14);
  byPoints.Size = 12;  // a size set afterwards wins over the kept height
  EXPECT_EQ(byPoints.Height(), -16);
}

TEST_F(PersistenceTest, PolygonFrameIsTheBoundingBoxOfItsPoints) {
  auto* p = new TPolygonBlock(Owner.get());
  p->SetDiagram(Diagram);
  p->SetPoints({{30, 40}, {90, 50}, {60, 100}});
  EXPECT_EQ(p->Drawer().FOrRect, (TSquare{30, 40, 90, 100}));
  EXPECT_EQ(p->BoundsRect(), (TSquare{30, 40, 90, 100}));
  p->SetBounds(0, 0, 120, 120);
  EXPECT_EQ(p->Drawer().FOrRect, (TSquare{0, 0, 120, 120}));
  EXPECT_EQ(p->Polygon()[2].P, (TDot{60, 120}));
  TOther other;
  other.Diagram->LoadFromBytes(Diagram->SaveToBytes(false), false);
  auto* q = dynamic_cast<TPolygonBlock*>(other.Diagram->GetDControls(0));
  ASSERT_TRUE(q);
  EXPECT_EQ(q->Drawer().FOrRect, (TSquare{0, 0, 120, 120}));
  EXPECT_EQ(q->Polygon().Count(), 3);
  // Points reach their block through the collection.
  EXPECT_EQ(q->Polygon()[1].DControl(), q);
  EXPECT_EQ(q->Polygon()[1].Collection(), &q->Polygon());
}

TEST_F(PersistenceTest, UnnamedControlsTakeTheFirstFreeNumber) {
  for (int i = 0; i < 3; ++i) AddBlock(0, 0, 10, 10);
  EXPECT_EQ(Diagram->GetDControls(2)->Name(), "DiagramBlock3");
  delete Diagram->GetDControls(1);
  EXPECT_EQ(AddBlock(0, 0, 10, 10)->Name(), "DiagramBlock2");
  EXPECT_EQ(AddBlock(0, 0, 10, 10)->Name(), "DiagramBlock4");
  // A rename through the object name is seen, and a name on the owner stands in the way.
  Diagram->GetDControls(0)->setObjectName("Free");
  EXPECT_EQ(AddBlock(0, 0, 10, 10)->Name(), "DiagramBlock1");
  QObject taken(Owner.get());
  taken.setObjectName("TextBlock1");
  EXPECT_EQ(AddBlock<TTextBlock>(0, 0, 10, 10)->Name(), "TextBlock2");
  taken.setObjectName("Other");  // the form's component gives the name up again
  EXPECT_EQ(AddBlock<TTextBlock>(0, 0, 10, 10)->Name(), "TextBlock1");
  // Many unnamed controls stay unique.
  for (int i = 0; i < 2000; ++i) AddBlock(0, 0, 10, 10);
  QSet<QString> names;
  for (TDiagramControl* c : Diagram->DControls()) names.insert(c->Name().toLower());
  EXPECT_EQ(names.size(), Diagram->DControlCount());
}

// ---- clipboard ----

TEST_F(PersistenceTest, TwoPastesLandTwentyAndFortyFurtherWithFreshNames) {
  BuildScene();
  Diagram->SetZoom(100);
  Text->SetSelected(true);
  ASSERT_TRUE(Diagram->CanCopy());
  Diagram->CopyToClipboard();
  EXPECT_EQ(Text->Name(), "TextBlock1");
  const QMimeData* data = QGuiApplication::clipboard()->mimeData();
  ASSERT_TRUE(data->hasFormat(TKvDiagram::ClipboardFormat));
  EXPECT_TRUE(data->text().startsWith("object TKvDiagram\n"));
  EXPECT_TRUE(data->text().contains("object ___clip___TextBlock1: TTextBlock"));
  EXPECT_FALSE(data->text().contains("object B:"));
  ASSERT_TRUE(Diagram->CanPaste());
  Diagram->SetZoom(80);
  Diagram->PasteFromClipboard();
  Diagram->PasteFromClipboard();
  EXPECT_EQ(Diagram->Zoom(), 80);  // the target keeps its own diagram-level properties
  auto* first = Diagram->FindBlock(u"TextBlock2");
  auto* second = Diagram->FindBlock(u"TextBlock3");
  ASSERT_TRUE(first && second);
  EXPECT_EQ(first->Left(), 30);
  EXPECT_EQ(first->Top(), 35);
  EXPECT_EQ(second->Left(), 50);
  EXPECT_EQ(second->Top(), 55);
  EXPECT_TRUE(second->Selected());
  EXPECT_FALSE(first->Selected());
}

TEST_F(PersistenceTest, PastedLinesFollowThePastedBlocks) {
  BuildScene();
  int inserted = 0;
  Diagram->OnInsertDControl = [&](TKvDiagram*, TDiagramControl*) { ++inserted; };
  Group->SetSelected(true);
  Line->SetSelected(true);
  Text->SetSelected(true);
  Diagram->CopyToClipboard();
  Diagram->PasteFromClipboard();
  EXPECT_EQ(Diagram->DControlCount(), 11);
  auto* line2 = dynamic_cast<TCustomDiagramLine*>(Diagram->FindDControl(u"DiagramSideLine1"));
  ASSERT_TRUE(line2);
  EXPECT_EQ(line2->SourceLinkPoint()->Anchor(), Diagram->FindDControl(u"TextBlock2"));
  EXPECT_EQ(line2->TargetLinkPoint()->Anchor(), Diagram->FindDControl(u"DiagramBlock2"));
  auto* group2 = dynamic_cast<TGroupBlock*>(Diagram->FindDControl(u"GroupBlock1"));
  ASSERT_TRUE(group2);
  EXPECT_EQ(group2->Members().Count(), 2);
  EXPECT_EQ(inserted, 5);  // the group selects its members with it
}

TEST_F(PersistenceTest, ControlsThatRefuseTheClipboardAreSkipped) {
  auto* b = AddBlock(0, 0, 20, 20, "Locked");
  b->FRestrictions.Include(crNoClipboard);
  b->SetSelected(true);
  Diagram->CopyToClipboard();
  const QString text = QGuiApplication::clipboard()->mimeData()->text();
  EXPECT_TRUE(text.startsWith("object TKvDiagram"));
  EXPECT_FALSE(text.contains("Locked"));
  Diagram->PasteFromClipboard();
  EXPECT_EQ(Diagram->DControlCount(), 1);
}

TEST_F(PersistenceTest, CutRemovesAndPasteNeedsTheMarker) {
  auto* b = AddBlock(0, 0, 20, 20, "Gone");
  EXPECT_FALSE(Diagram->CanCopy());
  b->SetSelected(true);
  Diagram->FMouseState = msMoving;
  EXPECT_FALSE(Diagram->CanCopy());
  Diagram->FMouseState = msBrowsing;
  Diagram->CutToClipboard();
  EXPECT_EQ(Diagram->DControlCount(), 0);
  Diagram->PasteFromClipboard();
  EXPECT_TRUE(Diagram->FindDControl(u"Gone"));  // the name is free again
  QGuiApplication::clipboard()->setText("object TKvDiagram\nend\n");
  EXPECT_FALSE(Diagram->CanPaste());
  Diagram->PasteFromClipboard();
  EXPECT_EQ(Diagram->DControlCount(), 1);
}
