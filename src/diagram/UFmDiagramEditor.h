#pragma once
// The designer window around a diagram of its own: menus and tool bars over the action module,
// the palette of insertable objects in a dock, the layer, zoom and font size selectors, the
// "Modified" status and the state of a live diagram's run. TDiagramEditor is the component a host
// calls to show it modally.
#include <QDialog>
#include <QPointer>
#include <QTreeWidget>
#include <functional>

class TKvDiagram;
class TdmDgrEditorActions;
class TDgrLibraryManager;
class QAction;
class QComboBox;
class QDockWidget;
class QLabel;
class QMainWindow;
class QToolBar;

// Plain blocks with a shape of their own, so that the palette offers something to draw with
// besides the engine's shapeless block; registered once, under "Basic shapes".
void KvRegisterBasicShapes();

// The palette: every registered class and library item under its category, and all of them
// under "All objects". Choosing one starts inserting it on the diagram.
class TDiagramButtons : public QTreeWidget {
 public:
  static constexpr const char* AllObjects = "All objects";
  explicit TDiagramButtons(QWidget* parent = nullptr);
  void Fill();
  // The ids listed under a category, in registry order.
  QStringList Ids(const QString& category) const;
  std::function<void(const QString& id)> OnChoose;
};

class TfmDiagramEditor : public QDialog {
 public:
  using TFormEvent = std::function<void(TfmDiagramEditor*)>;
  // Without a diagram the form makes a plain one.
  explicit TfmDiagramEditor(QWidget* parent = nullptr, TKvDiagram* diagram = nullptr);
  ~TfmDiagramEditor() override;

  TKvDiagram* Diagram() const { return FDiagram; }
  TdmDgrEditorActions* Actions() const { return FActions; }
  void SetTitle(const QString& title);
  QString Title() const { return FTitle; }
  void SetLibManager(TDgrLibraryManager* manager);
  // Fills the palette, runs the show handler and focuses the diagram.
  void FormShow();
  // Gives the diagram back before the form goes (a host's own diagram instance).
  TKvDiagram* ReleaseDiagram();

  TFormEvent OnShowDesigner, OnCloseDesigner;

  QMainWindow* FFrame;
  QToolBar* tbStandard;
  QToolBar* tbFormat;
  QToolBar* tbAlign;
  QDockWidget* FLeftDockPanel;
  QDockWidget* FRightDockPanel;
  QDockWidget* fmDiagramObjects;
  TDiagramButtons* DiagramButtons;
  QComboBox* cbLayer;
  QComboBox* cbZoom;
  QComboBox* cbFontSize;
  QLabel* lbModified;
  // The layer manager, which may delete a layer's controls.
  QAction* acLayers;
  // Where a live diagram's run is, or how it ended.
  QLabel* lbRunState;

  // Refreshes the selectors and the status from the diagram.
  void UpdateControls();

 protected:
  void done(int result) override;
  void closeEvent(QCloseEvent* e) override;

 private:
  void FormCreate();
  void CreateMenus();
  void CreateToolBars();
  void CreateSelectors();
  void LayerChosen(int index);
  void ZoomChosen(const QString& text);
  void FontSizeChosen(const QString& text);
  void UpdateCaption();
  QPointer<TKvDiagram> FDiagram;
  TdmDgrEditorActions* FActions = nullptr;
  QString FTitle;
  bool FUpdating = false;
};

class TDiagramEditor : public QObject {
 public:
  explicit TDiagramEditor(QObject* owner = nullptr) : QObject(owner) {}
  TfmDiagramEditor::TFormEvent OnCloseDesigner, OnCreateDesigner, OnShowDesigner;
  std::function<void(TKvDiagram*)> OnSaveDiagram;
  QString Title = QStringLiteral("Diagram Designer");
  // Makes the designer's diagram when no instance is given.
  std::function<TKvDiagram*()> FDiagramClass;
  QPointer<TKvDiagram> FDiagramInstance;
  TDgrLibraryManager* LibManager = nullptr;
  // The form while Execute runs.
  TfmDiagramEditor* Form() const { return FForm; }
  void Execute(QWidget* parent = nullptr);

 private:
  TfmDiagramEditor* FForm = nullptr;
};
