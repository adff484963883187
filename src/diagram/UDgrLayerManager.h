#pragma once
// The layer manager: the diagram's layers in order, with add, remove and reorder. Removing a
// layer asks first, and asks again before deleting the controls on it.
#include <QDialog>
#include <QPointer>

class TKvDiagram;
class QLabel;
class QListWidget;
class QPushButton;

class TDgrLayerManager : public QDialog {
 public:
  explicit TDgrLayerManager(QWidget* parent = nullptr);
  void SetDiagram(TKvDiagram* diagram);
  // Shows the manager for a diagram through the dialog service.
  static void Execute(TKvDiagram* diagram, QWidget* parent = nullptr);

  void AddLayer();
  void RemoveLayer();
  // delta -1 moves the current layer up, +1 down.
  void MoveLayer(int delta);

  QLabel* lbNoDiagram;
  QListWidget* lbLayers;
  QPushButton* btAdd;
  QPushButton* btRemove;
  QPushButton* btUp;
  QPushButton* btDown;

 private:
  void Refresh(int current);
  QPointer<TKvDiagram> FDiagram;
};
