#pragma once
// The block properties form: the selected controls as a tree (groups with their members) and
// the identification, position, picture and handles of the one chosen in it. "&Apply" writes
// the edited values to that control.
#include <QDialog>
#include <QImage>
#include <QPointer>

class TKvDiagram;
class TDiagramControl;
class QCheckBox;
class QDoubleSpinBox;
class QLabel;
class QLineEdit;
class QListWidget;
class QPushButton;
class QTabWidget;
class QTreeWidget;

class TFormDgrBlockProperties : public QDialog {
 public:
  explicit TFormDgrBlockProperties(QWidget* parent = nullptr);
  // Lists the diagram's selection and shows its first control.
  void SetDiagram(TKvDiagram* diagram);
  TDiagramControl* Current() const { return FCurrent; }
  void Apply();
  // Shows the form for a diagram's selection through the dialog service.
  static void Execute(TKvDiagram* diagram, QWidget* parent = nullptr);

  QTreeWidget* tvStructure;
  QTabWidget* pcPages;
  QLabel* lbObjectId;
  QLineEdit* edName;
  QCheckBox* cbVisible;
  QDoubleSpinBox *edX, *edY, *edW, *edH, *edMinW, *edMinH, *edAngle;
  QCheckBox* cbKeepRatio;
  QLabel* lbPictureSize;
  QPushButton* btLoad;
  QPushButton* btClear;
  QListWidget* lbHandles;
  QPushButton* btApply;

 private:
  void Show(TDiagramControl* control);
  QPointer<TKvDiagram> FDiagram;
  TDiagramControl* FCurrent = nullptr;
  QImage FPicture;
};
