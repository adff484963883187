#pragma once
// The grid properties form: the snap grid of a diagram, shown, snapped to and drawn as dots,
// lines or ruler marks.
#include <QDialog>

struct TSnapGrid;
class TKvDiagram;
class QCheckBox;
class QComboBox;
class QDoubleSpinBox;

class TfmDgrGridProperties : public QDialog {
 public:
  explicit TfmDgrGridProperties(QWidget* parent = nullptr);
  void SetGrid(const TSnapGrid& grid);
  void GetGrid(TSnapGrid& grid) const;
  // Shows the form for a diagram through the dialog service; OK writes the grid back.
  static bool Execute(TKvDiagram& diagram);

  QCheckBox* cbActive;
  QCheckBox* cbVisible;
  QCheckBox* cbForce;
  QDoubleSpinBox* edSizeX;
  QDoubleSpinBox* edSizeY;
  QComboBox* cbStyle;
};
