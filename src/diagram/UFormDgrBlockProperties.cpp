#include "UFormDgrBlockProperties.h"

#include <QCheckBox>
#include <QDialogButtonBox>
#include <QDoubleSpinBox>
#include <QFormLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QPushButton>
#include <QTabWidget>
#include <QTreeWidget>

#include "KvDiagram.h"
#include "KvDialogs.h"

namespace {

QDoubleSpinBox* Spin(QWidget* parent, double low, double high) {
  auto* e = new QDoubleSpinBox(parent);
  e->setRange(low, high);
  e->setDecimals(1);
  return e;
}

QWidget* Pair(QWidget* parent, QWidget* a, QWidget* b) {
  auto* w = new QWidget(parent);
  auto* row = new QHBoxLayout(w);
  row->setContentsMargins(0, 0, 0, 0);
  row->addWidget(a);
  row->addWidget(b);
  return w;
}

}  // namespace

TFormDgrBlockProperties::TFormDgrBlockProperties(QWidget* parent) : QDialog(parent) {
  setObjectName(QStringLiteral("FormDgrBlockProperties"));
  setWindowTitle(QStringLiteral("Diagram block properties"));
  auto* structure = new QGroupBox(QStringLiteral(" Object structure "), this);
  tvStructure = new QTreeWidget(structure);
  tvStructure->setHeaderHidden(true);
  (new QVBoxLayout(structure))->addWidget(tvStructure);
  connect(tvStructure, &QTreeWidget::currentItemChanged, this, [this](QTreeWidgetItem* item) {
    if (item) Show(static_cast<TDiagramControl*>(item->data(0, Qt::UserRole).value<void*>()));
  });

  pcPages = new QTabWidget(this);
  auto* ident = new QWidget(pcPages);
  auto* identForm = new QFormLayout(ident);
  lbObjectId = new QLabel(ident);
  edName = new QLineEdit(ident);
  cbVisible = new QCheckBox(QStringLiteral("Visible"), ident);
  identForm->addRow(QStringLiteral("Object ID:"), lbObjectId);
  identForm->addRow(QStringLiteral("Name:"), edName);
  identForm->addRow(cbVisible);
  pcPages->addTab(ident, QStringLiteral(" Identification "));

  auto* position = new QWidget(pcPages);
  auto* posBox = new QGroupBox(QStringLiteral(" Position: "), position);
  auto* posForm = new QFormLayout(posBox);
  edX = Spin(posBox, -1e6, 1e6);
  edY = Spin(posBox, -1e6, 1e6);
  edW = Spin(posBox, 0, 1e6);
  edH = Spin(posBox, 0, 1e6);
  edMinW = Spin(posBox, 0, 1e6);
  edMinH = Spin(posBox, 0, 1e6);
  cbKeepRatio = new QCheckBox(QStringLiteral("Keep Ratio"), posBox);
  posForm->addRow(QStringLiteral("X / Y Pos.:"), Pair(posBox, edX, edY));
  posForm->addRow(QStringLiteral("W / H:"), Pair(posBox, edW, edH));
  posForm->addRow(QStringLiteral("Min. W/H:"), Pair(posBox, edMinW, edMinH));
  posForm->addRow(cbKeepRatio);
  auto* rotBox = new QGroupBox(QStringLiteral(" Rotation: "), position);
  edAngle = Spin(rotBox, -360, 360);
  (new QFormLayout(rotBox))->addRow(QStringLiteral("Angle:"), edAngle);
  auto* posLayout = new QVBoxLayout(position);
  posLayout->addWidget(posBox);
  posLayout->addWidget(rotBox);
  pcPages->addTab(position, QStringLiteral("Position"));

  auto* picture = new QGroupBox(QStringLiteral(" Picture image "), pcPages);
  auto* picForm = new QFormLayout(picture);
  lbPictureSize = new QLabel(picture);
  picForm->addRow(QStringLiteral("X/Y: "), new QLabel(QStringLiteral("0 / 0"), picture));
  picForm->addRow(QStringLiteral("W/H: "), lbPictureSize);
  btLoad = new QPushButton(QStringLiteral("Load"), picture);
  btClear = new QPushButton(QStringLiteral("Clear"), picture);
  picForm->addRow(Pair(picture, btLoad, btClear));
  connect(btLoad, &QPushButton::clicked, this, [this] {
    TKvFileDialogRequest r;
    r.Title = QStringLiteral("Select picture file");
    r.Filter = QStringLiteral("Pictures (*.png *.jpg *.bmp)|*.png;*.jpg;*.bmp|All files (*.*)|*.*");
    if (!KvDialogs().OpenFileDialog(r)) return;
    FPicture = QImage(r.FileName);
    lbPictureSize->setText(QStringLiteral("%1 / %2").arg(FPicture.width()).arg(FPicture.height()));
  });
  connect(btClear, &QPushButton::clicked, this, [this] {
    FPicture = QImage();
    lbPictureSize->setText(QStringLiteral("0 / 0"));
  });
  pcPages->addTab(picture, QStringLiteral("Picture"));

  lbHandles = new QListWidget(pcPages);
  pcPages->addTab(lbHandles, QStringLiteral("Handles"));

  btApply = new QPushButton(QStringLiteral("&Apply"), this);
  connect(btApply, &QPushButton::clicked, this, [this] { Apply(); });
  auto* buttons = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel, this);
  buttons->addButton(btApply, QDialogButtonBox::ApplyRole);
  connect(buttons, &QDialogButtonBox::accepted, this, [this] {
    Apply();
    accept();
  });
  connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);

  auto* body = new QHBoxLayout;
  body->addWidget(structure, 1);
  body->addWidget(pcPages, 2);
  auto* layout = new QVBoxLayout(this);
  layout->addLayout(body);
  layout->addWidget(buttons);
}

void TFormDgrBlockProperties::SetDiagram(TKvDiagram* diagram) {
  FDiagram = diagram;
  tvStructure->clear();
  FCurrent = nullptr;
  if (!diagram) return;
  auto add = [&](auto&& self, QTreeWidgetItem* parent, TDiagramControl* c) -> void {
    auto* item = parent ? new QTreeWidgetItem(parent) : new QTreeWidgetItem(tvStructure);
    item->setText(0, c->Name() + QStringLiteral(" (") + c->DControlID() + ')');
    item->setData(0, Qt::UserRole, QVariant::fromValue<void*>(c));
    if (auto* g = dynamic_cast<TBaseGroupBlock*>(c))
      for (TDiagramControl* m : g->Members().FItems) self(self, item, m);
  };
  for (int i = 0; i < diagram->SelectedCount(); ++i) {
    TDiagramControl* c = diagram->GetSelecteds(i);
    if (!c->GroupBlock() || !c->GroupBlock()->Selected()) add(add, nullptr, c);
  }
  tvStructure->expandAll();
  if (tvStructure->topLevelItemCount()) tvStructure->setCurrentItem(tvStructure->topLevelItem(0));
}

void TFormDgrBlockProperties::Show(TDiagramControl* control) {
  FCurrent = control;
  lbObjectId->setText(control->DControlID());
  edName->setText(control->Name());
  cbVisible->setChecked(control->Visible());
  edAngle->setValue(control->Angle());
  cbKeepRatio->setChecked(control->FRestrictions.Contains(crKeepRatio));
  auto* block = dynamic_cast<TCustomDiagramBlock*>(control);
  for (QDoubleSpinBox* e : {edX, edY, edW, edH, edMinW, edMinH}) e->setEnabled(block != nullptr);
  btLoad->setEnabled(block != nullptr);
  btClear->setEnabled(block != nullptr);
  if (block) {
    edX->setValue(block->Left());
    edY->setValue(block->Top());
    edW->setValue(block->Width());
    edH->setValue(block->Height());
    edMinW->setValue(block->FMinWidth);
    edMinH->setValue(block->FMinHeight);
    FPicture = block->FPicture;
  }
  lbPictureSize->setText(QStringLiteral("%1 / %2").arg(FPicture.width()).arg(FPicture.height()));
  lbHandles->clear();
  TStretchHandles& handles = control->Handles();
  for (int i = 0; i < handles.Count(); ++i) {
    const TDot p = control->HandlePoint(handles[i]);
    lbHandles->addItem(QStringLiteral("%1: %2 / %3").arg(i).arg(p.X).arg(p.Y));
  }
}

void TFormDgrBlockProperties::Apply() {
  if (!FCurrent || !FDiagram) return;
  if (edName->text() != FCurrent->Name() && !edName->text().isEmpty())
    FCurrent->SetName(edName->text());
  FCurrent->SetVisible(cbVisible->isChecked());
  if (cbKeepRatio->isChecked())
    FCurrent->FRestrictions.Include(crKeepRatio);
  else
    FCurrent->FRestrictions.Exclude(crKeepRatio);
  if (auto* block = dynamic_cast<TCustomDiagramBlock*>(FCurrent)) {
    block->FMinWidth = int(edMinW->value());
    block->FMinHeight = int(edMinH->value());
    block->SetBounds(edX->value(), edY->value(), edW->value(), edH->value());
    block->FPicture = FPicture;
    block->CreateGraphics();
  }
  FCurrent->SetAngle(edAngle->value());
  FDiagram->PushUndoStack(QStringLiteral("properties"));
  FDiagram->Modified();
  FDiagram->Redraw();
}

void TFormDgrBlockProperties::Execute(TKvDiagram* diagram, QWidget* parent) {
  TFormDgrBlockProperties form(parent);
  form.SetDiagram(diagram);
  KvDialogs().ShowModal(form);
}
