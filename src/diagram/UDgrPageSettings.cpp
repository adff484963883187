#include "UDgrPageSettings.h"

#include <QComboBox>
#include <QDialogButtonBox>
#include <QDoubleSpinBox>
#include <QFormLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QRadioButton>
#include <QVBoxLayout>

#include "KvDiagram_Print.h"
#include "KvDialogs.h"

namespace {
constexpr int CustomPaperId = 256;

double MMPerUnit(TDiagramMeasUnit unit) {
  switch (unit) {
    case duMili:
      return 1;
    case duCenti:
      return 10;
    case duInch:
      return 25.4;
  }
  return 1;
}

QDoubleSpinBox* Length(QWidget* parent, const char* name) {
  auto* e = new QDoubleSpinBox(parent);
  e->setObjectName(QLatin1String(name));
  e->setRange(0, 10000);
  return e;
}
}  // namespace

TfmDgrPageSettings::TfmDgrPageSettings(QWidget* parent) : QDialog(parent) {
  setObjectName(QStringLiteral("fmDgrPageSettings"));
  setWindowTitle(QStringLiteral("Page Setup"));
  cbPaper = new QComboBox(this);
  cbPaper->setObjectName(QStringLiteral("cbPaper"));
  for (const TDiagramPrinterPaperInfo& p : KvDiagram_Papers()) cbPaper->addItem(p.Name, p.Id);
  cbPaper->addItem(QStringLiteral("Custom"), CustomPaperId);
  edWidth = Length(this, "edWidth");
  edHeight = Length(this, "edHeight");
  rbPortrait = new QRadioButton(QStringLiteral("&Portrait"), this);
  rbPortrait->setObjectName(QStringLiteral("rbPortrait"));
  rbLandscape = new QRadioButton(QStringLiteral("&Landscape"), this);
  rbLandscape->setObjectName(QStringLiteral("rbLandscape"));
  edLeft = Length(this, "edLeft");
  edTop = Length(this, "edTop");
  edRight = Length(this, "edRight");
  edBottom = Length(this, "edBottom");
  cbUnit = new QComboBox(this);
  cbUnit->setObjectName(QStringLiteral("cbUnit"));
  cbUnit->addItems(
      {QStringLiteral("Millimeters"), QStringLiteral("Centimeters"), QStringLiteral("Inches")});

  auto* paper = new QGroupBox(QStringLiteral("Paper"), this);
  auto* paperForm = new QFormLayout(paper);
  paperForm->addRow(QStringLiteral("Si&ze:"), cbPaper);
  paperForm->addRow(QStringLiteral("&Width:"), edWidth);
  paperForm->addRow(QStringLiteral("&Height:"), edHeight);
  auto* orientation = new QGroupBox(QStringLiteral("Orientation"), this);
  auto* orientationRow = new QHBoxLayout(orientation);
  orientationRow->addWidget(rbPortrait);
  orientationRow->addWidget(rbLandscape);
  auto* margins = new QGroupBox(QStringLiteral("Margins"), this);
  auto* marginForm = new QFormLayout(margins);
  marginForm->addRow(QStringLiteral("L&eft:"), edLeft);
  marginForm->addRow(QStringLiteral("&Top:"), edTop);
  marginForm->addRow(QStringLiteral("&Right:"), edRight);
  marginForm->addRow(QStringLiteral("&Bottom:"), edBottom);
  auto* unitRow = new QFormLayout;
  unitRow->addRow(QStringLiteral("&Units:"), cbUnit);
  auto* buttons = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel, this);
  connect(buttons, &QDialogButtonBox::accepted, this, &QDialog::accept);
  connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
  auto* layout = new QVBoxLayout(this);
  for (QWidget* w : {static_cast<QWidget*>(paper), static_cast<QWidget*>(orientation),
                     static_cast<QWidget*>(margins)})
    layout->addWidget(w);
  layout->addLayout(unitRow);
  layout->addWidget(buttons);

  connect(cbPaper, &QComboBox::currentIndexChanged, this, [this] { PaperChanged(); });
  connect(cbUnit, &QComboBox::currentIndexChanged, this,
          [this](int i) { SetUnit(TDiagramMeasUnit(i)); });
  for (QDoubleSpinBox* e : {edWidth, edHeight})
    connect(e, &QDoubleSpinBox::valueChanged, this, [this] { SizeEdited(); });
}

std::vector<QDoubleSpinBox*> TfmDgrPageSettings::Lengths() const {
  return {edWidth, edHeight, edLeft, edTop, edRight, edBottom};
}

void TfmDgrPageSettings::SetPageSettings(const TDiagramPageSettings& s, TDiagramMeasUnit unit) {
  FUpdating = true;
  FUnit = unit;
  cbUnit->setCurrentIndex(int(unit));
  const int index = cbPaper->findData(s.PaperId);
  cbPaper->setCurrentIndex(index >= 0 ? index : cbPaper->count() - 1);
  const double mm[] = {s.PaperWidth,
                       s.PaperHeight,
                       KvMarginMM(s.LeftMarginStr),
                       KvMarginMM(s.TopMarginStr),
                       KvMarginMM(s.RightMarginStr),
                       KvMarginMM(s.BottomMarginStr)};
  const auto edits = Lengths();
  for (size_t i = 0; i < edits.size(); ++i) {
    edits[i]->setDecimals(unit == duMili ? 1 : unit == duCenti ? 2 : 3);
    edits[i]->setValue(mm[i] / MMPerUnit(unit));
  }
  (s.Orientation == poLandscape ? rbLandscape : rbPortrait)->setChecked(true);
  FUpdating = false;
}

void TfmDgrPageSettings::GetPageSettings(TDiagramPageSettings& s) const {
  const double k = MMPerUnit(FUnit);
  const int id = cbPaper->currentData().toInt();
  s.PaperId = id;
  s.PaperName = cbPaper->currentText();
  s.PaperWidth = edWidth->value() * k;
  s.PaperHeight = edHeight->value() * k;
  if (id != CustomPaperId) ChangePaperID(s, id);  // exact sizes, not the rounded ones shown
  s.Orientation = rbLandscape->isChecked() ? poLandscape : poPortrait;
  s.LeftMarginStr = KvMarginStr(edLeft->value() * k);
  s.TopMarginStr = KvMarginStr(edTop->value() * k);
  s.RightMarginStr = KvMarginStr(edRight->value() * k);
  s.BottomMarginStr = KvMarginStr(edBottom->value() * k);
}

void TfmDgrPageSettings::SetUnit(TDiagramMeasUnit unit) {
  if (FUpdating || unit == FUnit) return;
  TDiagramPageSettings s;
  GetPageSettings(s);
  SetPageSettings(s, unit);
}

void TfmDgrPageSettings::PaperChanged() {
  if (FUpdating) return;
  TDiagramPrinterPaperInfo paper;
  if (!TDiagramGenericPrinter().GetPaper(cbPaper->currentData().toInt(), paper)) return;
  FUpdating = true;
  edWidth->setValue(paper.Width / MMPerUnit(FUnit));
  edHeight->setValue(paper.Height / MMPerUnit(FUnit));
  FUpdating = false;
}

// A size typed by hand makes the paper a custom one.
void TfmDgrPageSettings::SizeEdited() {
  if (FUpdating) return;
  FUpdating = true;
  cbPaper->setCurrentIndex(cbPaper->count() - 1);
  FUpdating = false;
}

bool TfmDgrPageSettings::Execute(TKvDiagram& diagram) {
  TfmDgrPageSettings form(&diagram);
  form.SetPageSettings(diagram.PageSettings, diagram.MeasUnit);
  if (KvDialogs().ShowModal(form) != mrOk) return false;
  form.GetPageSettings(diagram.PageSettings);
  diagram.MeasUnit = form.Unit();
  diagram.RecalcScrollRanges();
  diagram.Redraw();
  return true;
}
