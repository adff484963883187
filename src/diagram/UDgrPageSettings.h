#pragma once
// The page settings form: paper, orientation and margins of a diagram's printed pages, shown
// in the unit the user picks (millimetres, centimetres, inches) and always stored in millimetres.
#include <QDialog>

#include "KvDiagram.h"

class QComboBox;
class QDoubleSpinBox;
class QRadioButton;

class TfmDgrPageSettings : public QDialog {
 public:
  explicit TfmDgrPageSettings(QWidget* parent = nullptr);
  void SetPageSettings(const TDiagramPageSettings& settings, TDiagramMeasUnit unit);
  void GetPageSettings(TDiagramPageSettings& settings) const;
  TDiagramMeasUnit Unit() const { return FUnit; }
  // Shows the form for a diagram through the dialog service; OK writes the settings back.
  static bool Execute(TKvDiagram& diagram);

  QComboBox* cbPaper;
  QDoubleSpinBox* edWidth;
  QDoubleSpinBox* edHeight;
  QRadioButton* rbPortrait;
  QRadioButton* rbLandscape;
  QDoubleSpinBox* edLeft;
  QDoubleSpinBox* edTop;
  QDoubleSpinBox* edRight;
  QDoubleSpinBox* edBottom;
  QComboBox* cbUnit;

 private:
  void SetUnit(TDiagramMeasUnit unit);
  void PaperChanged();
  void SizeEdited();
  std::vector<QDoubleSpinBox*> Lengths() const;
  TDiagramMeasUnit FUnit = duMili;
  bool FUpdating = false;
};
