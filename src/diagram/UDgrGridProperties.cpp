#include "UDgrGridProperties.h"

#include <QCheckBox>
#include <QComboBox>
#include <QDialogButtonBox>
#include <QDoubleSpinBox>
#include <QFormLayout>

#include "KvDiagram.h"
#include "KvDialogs.h"

TfmDgrGridProperties::TfmDgrGridProperties(QWidget* parent) : QDialog(parent) {
  setObjectName(QStringLiteral("fmDgrGridProperties"));
  setWindowTitle(QStringLiteral("Grid properties"));
  cbActive = new QCheckBox(QStringLiteral("Snap to grid"), this);
  cbVisible = new QCheckBox(QStringLiteral("Show grid"), this);
  cbForce = new QCheckBox(QStringLiteral("Force grid"), this);
  auto spin = [this] {
    auto* e = new QDoubleSpinBox(this);
    e->setRange(1, 500);
    e->setDecimals(1);
    return e;
  };
  edSizeX = spin();
  edSizeY = spin();
  cbStyle = new QComboBox(this);
  cbStyle->addItems({QStringLiteral("Dots"), QStringLiteral("Lines"), QStringLiteral("Ruler")});
  auto* buttons = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel, this);
  connect(buttons, &QDialogButtonBox::accepted, this, &QDialog::accept);
  connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
  auto* form = new QFormLayout(this);
  form->addRow(cbActive);
  form->addRow(cbVisible);
  form->addRow(cbForce);
  form->addRow(QStringLiteral("Horizontal size:"), edSizeX);
  form->addRow(QStringLiteral("Vertical size:"), edSizeY);
  form->addRow(QStringLiteral("Style:"), cbStyle);
  form->addRow(buttons);
}

void TfmDgrGridProperties::SetGrid(const TSnapGrid& grid) {
  cbActive->setChecked(grid.Active);
  cbVisible->setChecked(grid.Visible);
  cbForce->setChecked(grid.Force);
  edSizeX->setValue(grid.SizeX);
  edSizeY->setValue(grid.SizeY);
  cbStyle->setCurrentIndex(int(grid.Style));
}

void TfmDgrGridProperties::GetGrid(TSnapGrid& grid) const {
  grid.Active = cbActive->isChecked();
  grid.Visible = cbVisible->isChecked();
  grid.Force = cbForce->isChecked();
  grid.SizeX = edSizeX->value();
  grid.SizeY = edSizeY->value();
  grid.Style = TGridStyle(cbStyle->currentIndex());
}

bool TfmDgrGridProperties::Execute(TKvDiagram& diagram) {
  TfmDgrGridProperties form(diagram.window());
  form.SetGrid(diagram.SnapGrid);
  if (KvDialogs().ShowModal(form) != mrOk) return false;
  form.GetGrid(diagram.SnapGrid);
  diagram.Modified();
  diagram.Redraw();
  return true;
}
