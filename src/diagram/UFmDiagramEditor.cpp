#include "UFmDiagramEditor.h"

#include <QCloseEvent>
#include <QComboBox>
#include <QDockWidget>
#include <QFileInfo>
#include <QLabel>
#include <QMainWindow>
#include <QMenuBar>
#include <QStatusBar>
#include <QToolBar>
#include <QVBoxLayout>
#include <map>

#include "DiagramLibrary.h"
#include "KvDiagram.h"
#include "UDgrGridProperties.h"
#include "UDgrLayerManager.h"
#include "UDgrLibraryManagerEditor.h"
#include "UDgrLiveRun.h"
#include "UDmDgrEditorActions.h"
#include "UFmLibItemEditor.h"
#include "UFormDgrBlockProperties.h"

// ---- palette ----

void KvRegisterBasicShapes() {
  static const bool registered = [] {
    const QString category = QStringLiteral("Basic shapes");
    for (auto [id, caption, shape] :
         {std::tuple{"Rectangle", "Rectangle", bsRectangle},
          std::tuple{"RoundRect", "Rounded rectangle", bsRoundRect},
          std::tuple{"Ellipse", "Ellipse", bsEllipse}, std::tuple{"Diamond", "Diamond", bsDiamond}})
      RegDControls().Register(
          QStringLiteral("TDiagramBlock"),
          [shape](QObject* owner) -> TDiagramControl* {
            auto* b = new TDiagramBlock(owner);
            b->SetShape(shape);
            return b;
          },
          QString::fromLatin1(id), QString::fromLatin1(caption), category);
    return true;
  }();
  (void)registered;
}

TDiagramButtons::TDiagramButtons(QWidget* parent) : QTreeWidget(parent) {
  setObjectName(QStringLiteral("DiagramButtons"));
  setHeaderHidden(true);
  connect(this, &QTreeWidget::itemClicked, this, [this](QTreeWidgetItem* item) {
    const QString id = item->data(0, Qt::UserRole).toString();
    if (!id.isEmpty() && OnChoose) OnChoose(id);
  });
}

void TDiagramButtons::Fill() {
  clear();
  std::map<QString, QTreeWidgetItem*> categories;
  auto category = [&](const QString& name) {
    QTreeWidgetItem*& node = categories[name];
    if (!node) node = new QTreeWidgetItem(this, {name});
    return node;
  };
  QTreeWidgetItem* all = category(QString::fromLatin1(AllObjects));
  const TRegDControls& reg = RegDControls();
  for (int i = 0; i < reg.Count(); ++i) {
    const TRegDControl& row = reg[i];
    std::vector<QTreeWidgetItem*> homes{all};
    if (!row.FCategory.isEmpty()) homes.push_back(category(row.FCategory));
    for (QTreeWidgetItem* home : homes) {
      auto* item = new QTreeWidgetItem(home, {row.FCaption});
      item->setData(0, Qt::UserRole, row.FDControlID);
      if (row.FUseGlyph && !row.FGlyph.isNull())
        item->setIcon(0, QIcon(QPixmap::fromImage(row.FGlyph)));
    }
  }
  expandAll();
}

QStringList TDiagramButtons::Ids(const QString& category) const {
  QStringList ids;
  for (int i = 0; i < topLevelItemCount(); ++i) {
    const QTreeWidgetItem* node = topLevelItem(i);
    if (node->text(0) != category) continue;
    for (int j = 0; j < node->childCount(); ++j)
      ids << node->child(j)->data(0, Qt::UserRole).toString();
  }
  return ids;
}

// ---- the form ----

TfmDiagramEditor::TfmDiagramEditor(QWidget* parent, TKvDiagram* diagram)
    : QDialog(parent), FDiagram(diagram) {
  setObjectName(QStringLiteral("fmDiagramEditor"));
  KvRegisterBasicShapes();
  FFrame = new QMainWindow(nullptr);
  FFrame->setParent(this, Qt::Widget);
  auto* layout = new QVBoxLayout(this);
  layout->setContentsMargins(0, 0, 0, 0);
  layout->addWidget(FFrame);
  if (!FDiagram) FDiagram = new TKvDiagram(FFrame);
  FDiagram->setParent(FFrame);
  FFrame->setCentralWidget(FDiagram);
  FormCreate();
  resize(1000, 700);
}

TfmDiagramEditor::~TfmDiagramEditor() {
  // The actions hold the diagram; they go first. The diagram goes later with the form's
  // children, and what it tells while it empties reaches no one.
  if (FDiagram) {
    FDiagram->OnModified = nullptr;
    FDiagram->OnSelectionChanged = nullptr;
  }
  delete FActions;
}

void TfmDiagramEditor::FormCreate() {
  FActions = new TdmDgrEditorActions(this);
  FActions->SetDiagram(FDiagram);
  FActions->OnDocumentChange = [this] { UpdateCaption(); };
  FActions->OnGridProperties = [this] { TfmDgrGridProperties::Execute(*FDiagram); };
  FActions->OnEditProperties = [this] { TFormDgrBlockProperties::Execute(FDiagram, this); };
  FDiagram->OnModified = [this](TKvDiagram*) { FActions->SetModified(true); };
  FDiagram->OnSelectionChanged = [this](TKvDiagram*) { UpdateControls(); };
  for (QAction* a : FActions->AllActions())
    connect(a, &QAction::triggered, this, [this] { UpdateControls(); });
  // A control kept in a library joins the palette at once.
  connect(FActions->Action("acAddLibrary"), &QAction::triggered, this,
          [this] { DiagramButtons->Fill(); });
  FActions->LiveRun()->OnChange = [this] { UpdateControls(); };

  // The docks: the palette on the left, the right one kept for panels that join later.
  FLeftDockPanel = new QDockWidget(QStringLiteral("Objects"), FFrame);
  FLeftDockPanel->setObjectName(QStringLiteral("FLeftDockPanel"));
  FRightDockPanel = new QDockWidget(QStringLiteral("Panels"), FFrame);
  FRightDockPanel->setObjectName(QStringLiteral("FRightDockPanel"));
  FRightDockPanel->hide();
  fmDiagramObjects = FLeftDockPanel;
  fmDiagramObjects->setWindowTitle(QStringLiteral("Diagram objects"));
  DiagramButtons = new TDiagramButtons(fmDiagramObjects);
  DiagramButtons->OnChoose = [this](const QString& id) {
    FDiagram->StartInsertingControl(id);
    FDiagram->setFocus();
  };
  fmDiagramObjects->setWidget(DiagramButtons);
  fmDiagramObjects->resize(300, 400);
  FLeftDockPanel->setMinimumWidth(25);
  FFrame->addDockWidget(Qt::LeftDockWidgetArea, FLeftDockPanel);
  FFrame->addDockWidget(Qt::RightDockWidgetArea, FRightDockPanel);
  FFrame->resizeDocks({FLeftDockPanel}, {200}, Qt::Horizontal);

  CreateMenus();
  CreateSelectors();
  CreateToolBars();
  lbModified = new QLabel(FFrame);
  lbModified->setObjectName(QStringLiteral("lbModified"));
  FFrame->statusBar()->addWidget(lbModified);
  lbRunState = new QLabel(FFrame);
  lbRunState->setObjectName(QStringLiteral("lbRunState"));
  lbRunState->setIndent(12);
  FFrame->statusBar()->addWidget(lbRunState, 1);
  UpdateControls();
  UpdateCaption();
}

void TfmDiagramEditor::CreateMenus() {
  QMenuBar* bar = FFrame->menuBar();
  auto menu = [&](const QString& title, const QStringList& names) {
    QMenu* m = bar->addMenu(title);
    for (const QString& n : names) {
      if (n.isEmpty())
        m->addSeparator();
      else
        m->addAction(FActions->Action(n));
    }
    return m;
  };
  menu("&File", {"acNewDiagram", "acOpenDiagram", "acSaveDiagram", "acSaveDiagramAs", "",
                 "acPageSetup", "acPreviewDiagram", "acPrintDiagram"});
  menu("&Edit", {"DiagramUndoAction1", "DiagramRedoAction1", "", "DiagramCut1", "DiagramCopy1",
                 "DiagramPaste1", "DiagramDelete1", "DiagramSelectAll1", "", "acCopyAsImage",
                 "DiagramEditText1", "acEditProperties", "acAddLibrary"})
      ->addAction(QStringLiteral("Libraries..."), this, [this] {
        TDgrLibraryManagerEditor::Execute(FActions->LibManager, this);
        DiagramButtons->Fill();
      });
  menu("&View",
       {"DiagramSetZoom1", "DiagramSetZoom2", "DiagramSetZoom3", "DiagramSetZoom4",
        "DiagramSetZoom5", "DiagramSetZoom6", "DiagramSetZoom7", "", "DiagramViewLeftRuler1",
        "DiagramViewTopRuler1", "DiagramGrid1", "acDiagramGridActive", "acDiagramGridProperties",
        "", "acAutomaticNodes", "acBackgroundLoad", "acBackgroundClear"});
  QMenu* format =
      menu("F&ormat", {"DiagramShapeColor1", "DiagramLineColor1", "DiagramBlockPicture1",
                       "DiagramControlFont1", "DiagramGradientSetting1", "DiagramShadow1", "",
                       "acBold", "acItalic", "acUnderline"});
  QMenu* target = format->addMenu(QStringLiteral("Target arrow"));
  QMenu* source = format->addMenu(QStringLiteral("Source arrow"));
  for (int i = 1; i <= 12; ++i)
    (i <= 6 ? target : source)
        ->addAction(FActions->Action(QStringLiteral("DiagramArrowShape%1").arg(i)));
  QStringList arrange{"DiagramBringToFront1", "DiagramSendToBack1", "", "acGroup", "acUngroup", ""};
  for (int i = 1; i <= BlocksAlignmentCount; ++i)
    arrange << QStringLiteral("DiagramAlign%1").arg(i);
  menu("&Arrange", arrange);
  menu("&Run", {"acRunDiagram", "acStepDiagram", "acStopDiagram"});
}

void TfmDiagramEditor::CreateSelectors() {
  cbLayer = new QComboBox(FFrame);
  cbLayer->setObjectName(QStringLiteral("cbLayer"));
  cbLayer->setMinimumContentsLength(12);
  connect(cbLayer, &QComboBox::activated, this, [this](int i) { LayerChosen(i); });
  cbZoom = new QComboBox(FFrame);
  cbZoom->setObjectName(QStringLiteral("cbZoom"));
  cbZoom->setEditable(true);
  for (const char* z : {"500%", "200%", "150%", "100%", "75%", "50%", "25%", "10%"})
    cbZoom->addItem(QString::fromLatin1(z));
  connect(cbZoom, &QComboBox::textActivated, this, [this](const QString& t) { ZoomChosen(t); });
  cbFontSize = new QComboBox(FFrame);
  cbFontSize->setObjectName(QStringLiteral("cbFontSize"));
  cbFontSize->setEditable(true);
  for (int size : {8, 9, 10, 11, 12, 14, 16, 18, 20, 22, 24, 26, 28, 36, 48, 72})
    cbFontSize->addItem(QString::number(size));
  connect(cbFontSize, &QComboBox::textActivated, this,
          [this](const QString& t) { FontSizeChosen(t); });
}

void TfmDiagramEditor::CreateToolBars() {
  auto bar = [&](const QString& name, const QStringList& actions) {
    QToolBar* tb = FFrame->addToolBar(name);
    tb->setObjectName(name);
    for (const QString& n : actions) {
      if (n.isEmpty())
        tb->addSeparator();
      else
        tb->addAction(FActions->Action(n));
    }
    return tb;
  };
  tbStandard =
      bar("tbStandard", {"acNewDiagram", "acOpenDiagram", "acSaveDiagram", "", "acPrintDiagram",
                         "acPreviewDiagram", "", "DiagramCut1", "DiagramCopy1", "DiagramPaste1",
                         "DiagramDelete1", "", "DiagramUndoAction1", "DiagramRedoAction1", "",
                         "acRunDiagram", "acStepDiagram", "acStopDiagram", ""});
  tbStandard->addWidget(cbZoom);
  FFrame->addToolBarBreak();
  tbFormat = bar("tbFormat", {});
  tbFormat->addWidget(new QLabel(QStringLiteral(" Layer: "), tbFormat));
  tbFormat->addWidget(cbLayer);
  acLayers = tbFormat->addAction(QStringLiteral("Layers..."), this, [this] {
    TDgrLayerManager::Execute(FDiagram, this);
    UpdateControls();
  });
  tbFormat->addSeparator();
  tbFormat->addWidget(cbFontSize);
  for (const char* n : {"acBold", "acItalic", "acUnderline", "", "acAlignLeft", "acAlignCenter",
                        "acAlignRight", "", "acVertAlignTop", "acVertAlignMiddle",
                        "acVertAlignBottom", "", "acHasSourceArrow", "acHasTargetArrow"}) {
    if (*n)
      tbFormat->addAction(FActions->Action(QString::fromLatin1(n)));
    else
      tbFormat->addSeparator();
  }
  tbAlign = bar("tbAlign", {"DiagramAlign1", "DiagramAlign2", "DiagramAlign3", "DiagramAlign4",
                            "DiagramBringToFront1", "DiagramSendToBack1"});
}

void TfmDiagramEditor::SetTitle(const QString& title) {
  FTitle = title;
  UpdateCaption();
}

void TfmDiagramEditor::UpdateCaption() {
  const QString file = FActions->FileName();
  setWindowTitle(file.isEmpty() ? FTitle
                                : QString::asprintf("%s - %s", qUtf8Printable(FTitle),
                                                    qUtf8Printable(QFileInfo(file).fileName())));
  if (lbModified)
    lbModified->setText(FActions->Modified() ? QStringLiteral("Modified") : QString());
}

void TfmDiagramEditor::SetLibManager(TDgrLibraryManager* manager) {
  FActions->LibManager = manager;
}

void TfmDiagramEditor::FormShow() {
  DiagramButtons->Fill();
  if (OnShowDesigner) OnShowDesigner(this);
  // What the show handler loaded is the starting point, not a change.
  FActions->SetModified(false);
  UpdateControls();
  FDiagram->setFocus();
}

TKvDiagram* TfmDiagramEditor::ReleaseDiagram() {
  TKvDiagram* d = FDiagram;
  FActions->SetDiagram(nullptr);
  d->OnModified = nullptr;
  d->OnSelectionChanged = nullptr;
  FFrame->takeCentralWidget();
  d->setParent(nullptr);
  FDiagram = nullptr;
  return d;
}

void TfmDiagramEditor::UpdateControls() {
  if (!FDiagram || FUpdating) return;
  FUpdating = true;
  FActions->UpdateActions();
  // Layers: the entry of the first selected control.
  cbLayer->clear();
  cbLayer->addItem(QStringLiteral("(no layer)"));
  TDiagramLayers& layers = FDiagram->Layers();
  for (int i = 0; i < layers.Count(); ++i) cbLayer->addItem(layers[i]->LayerName());
  TDiagramControl* first = FDiagram->SelectedCount() ? FDiagram->GetSelecteds(0) : nullptr;
  int index = 0;
  if (first && first->LayerObj())
    for (int i = 0; i < layers.Count(); ++i)
      if (layers[i] == first->LayerObj()) index = i + 1;
  cbLayer->setCurrentIndex(index);
  cbLayer->setEnabled(first != nullptr);
  cbZoom->setEditText(QStringLiteral("%1%").arg(FDiagram->Zoom()));
  if (first) cbFontSize->setEditText(QString::number(first->Font().Size));
  cbFontSize->setEnabled(first != nullptr);
  // Nothing joins or leaves a scene whose blocks the run is on.
  const bool running = FActions->LiveRun()->Running();
  DiagramButtons->setEnabled(!running);
  acLayers->setEnabled(!running);
  lbRunState->setText(FActions->LiveRun()->StatusText());
  UpdateCaption();
  FUpdating = false;
}

void TfmDiagramEditor::LayerChosen(int index) {
  if (FUpdating || FDiagram->SelectedCount() == 0) return;
  TDiagramLayer* layer = index > 0 ? FDiagram->Layers()[index - 1] : nullptr;
  for (int i = 0; i < FDiagram->SelectedCount(); ++i) FDiagram->GetSelecteds(i)->SetLayerObj(layer);
  FDiagram->PushUndoStack(QStringLiteral("layer"));
  FDiagram->Modified();
  UpdateControls();
}

void TfmDiagramEditor::ZoomChosen(const QString& text) {
  QString digits = text;
  digits.remove('%');
  bool ok = false;
  const int zoom = digits.trimmed().toInt(&ok);
  if (ok && zoom > 0) FDiagram->SetZoom(zoom);
  UpdateControls();
}

void TfmDiagramEditor::FontSizeChosen(const QString& text) {
  bool ok = false;
  const int size = text.trimmed().toInt(&ok);
  if (FUpdating || !ok || size <= 0 || FDiagram->SelectedCount() == 0) return;
  for (int i = 0; i < FDiagram->SelectedCount(); ++i) {
    TDiagramControl* c = FDiagram->GetSelecteds(i);
    TKvFont f = c->Font();
    f.Size = size;
    f.FHeight = 0;
    c->SetFont(f);
  }
  FDiagram->PushUndoStack(QStringLiteral("text font"));
  FDiagram->Modified();
  FDiagram->Redraw();
}

void TfmDiagramEditor::done(int result) {
  // No path thread outlives the window, and a save does not catch the run colours.
  FActions->LiveRun()->Stop();
  if (!FActions->CloseQuery()) return;
  if (OnCloseDesigner) OnCloseDesigner(this);
  QDialog::done(result);
}

void TfmDiagramEditor::closeEvent(QCloseEvent* e) {
  // The close path runs through done(), which asks and may keep the window.
  e->ignore();
  reject();
}

// ---- the component ----

void TDiagramEditor::Execute(QWidget* parent) {
  TKvDiagram* diagram = FDiagramInstance ? FDiagramInstance.data()
                        : FDiagramClass  ? FDiagramClass()
                                         : nullptr;
  auto form = std::make_unique<TfmDiagramEditor>(parent, diagram);
  FForm = form.get();
  if (OnCreateDesigner) OnCreateDesigner(FForm);
  FForm->Actions()->OnSaveDiagram = OnSaveDiagram;
  FForm->OnShowDesigner = OnShowDesigner;
  FForm->OnCloseDesigner = OnCloseDesigner;
  FForm->SetLibManager(LibManager);
  FForm->SetTitle(Title);
  FForm->FormShow();
  KvDialogs().ShowModal(*FForm);
  if (FDiagramInstance) FForm->ReleaseDiagram();
  FForm = nullptr;
}
