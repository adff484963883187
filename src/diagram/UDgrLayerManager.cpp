#include "UDgrLayerManager.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QListWidget>
#include <QPushButton>
#include <QVBoxLayout>
#include <algorithm>

#include "KvDiagram.h"
#include "KvDialogs.h"

TDgrLayerManager::TDgrLayerManager(QWidget* parent) : QDialog(parent) {
  setObjectName(QStringLiteral("DgrLayerManager"));
  setWindowTitle(QStringLiteral("Layers"));
  lbNoDiagram = new QLabel(QStringLiteral("Diagram not specified."), this);
  lbLayers = new QListWidget(this);
  btAdd = new QPushButton(QStringLiteral("Add"), this);
  btRemove = new QPushButton(QStringLiteral("Remove"), this);
  btUp = new QPushButton(QStringLiteral("Up"), this);
  btDown = new QPushButton(QStringLiteral("Down"), this);
  auto* close = new QPushButton(QStringLiteral("Close"), this);
  auto* buttons = new QVBoxLayout;
  for (QPushButton* b : {btAdd, btRemove, btUp, btDown}) buttons->addWidget(b);
  buttons->addStretch();
  buttons->addWidget(close);
  auto* row = new QHBoxLayout;
  row->addWidget(lbLayers);
  row->addLayout(buttons);
  auto* layout = new QVBoxLayout(this);
  layout->addWidget(lbNoDiagram);
  layout->addLayout(row);
  connect(btAdd, &QPushButton::clicked, this, [this] { AddLayer(); });
  connect(btRemove, &QPushButton::clicked, this, [this] { RemoveLayer(); });
  connect(btUp, &QPushButton::clicked, this, [this] { MoveLayer(-1); });
  connect(btDown, &QPushButton::clicked, this, [this] { MoveLayer(1); });
  connect(close, &QPushButton::clicked, this, &QDialog::accept);
  // Visible is a check box on each row.
  connect(lbLayers, &QListWidget::itemChanged, this, [this](QListWidgetItem* item) {
    if (!FDiagram) return;
    const int i = lbLayers->row(item);
    if (i >= 0 && i < FDiagram->Layers().Count())
      FDiagram->Layers()[i]->SetVisible(item->checkState() == Qt::Checked);
  });
  Refresh(-1);
}

void TDgrLayerManager::SetDiagram(TKvDiagram* diagram) {
  FDiagram = diagram;
  Refresh(0);
}

void TDgrLayerManager::Execute(TKvDiagram* diagram, QWidget* parent) {
  TDgrLayerManager form(parent);
  form.SetDiagram(diagram);
  KvDialogs().ShowModal(form);
}

void TDgrLayerManager::Refresh(int current) {
  lbNoDiagram->setVisible(!FDiagram);
  for (QWidget* w : std::initializer_list<QWidget*>{lbLayers, btAdd, btRemove, btUp, btDown})
    w->setEnabled(FDiagram != nullptr);
  const QSignalBlocker quiet(lbLayers);
  lbLayers->clear();
  if (!FDiagram) return;
  TDiagramLayers& layers = FDiagram->Layers();
  for (int i = 0; i < layers.Count(); ++i) {
    auto* item = new QListWidgetItem(layers[i]->LayerName(), lbLayers);
    item->setFlags(item->flags() | Qt::ItemIsUserCheckable);
    item->setCheckState(layers[i]->Visible() ? Qt::Checked : Qt::Unchecked);
  }
  lbLayers->setCurrentRow(std::min(current, layers.Count() - 1));
}

void TDgrLayerManager::AddLayer() {
  if (!FDiagram) return;
  FDiagram->Layers().Add();
  FDiagram->Modified();
  Refresh(FDiagram->Layers().Count() - 1);
}

void TDgrLayerManager::RemoveLayer() {
  const int i = lbLayers->currentRow();
  if (!FDiagram || i < 0 || i >= FDiagram->Layers().Count()) return;
  TDiagramLayer* layer = FDiagram->Layers()[i];
  const QString quoted = '"' + layer->LayerName() + '"';
  if (MessageDlg(QStringLiteral("Remove layer ") + quoted + '?', TMsgDlgType::mtConfirmation,
                 mbYesNo) != mrYes)
    return;
  const bool used = std::ranges::any_of(
      FDiagram->DControls(), [layer](TDiagramControl* c) { return c->LayerObj() == layer; });
  if (used) {
    if (MessageDlg(QStringLiteral("Delete layer ") + quoted +
                       QStringLiteral(" and all its controls from diagram?"),
                   TMsgDlgType::mtConfirmation, mbYesNo) != mrYes)
      return;
    FDiagram->DeleteLayerControls(layer->LayerName());
  }
  FDiagram->Layers().Delete(i);
  FDiagram->PushUndoStack(QStringLiteral("delete"));
  FDiagram->Modified();
  FDiagram->Redraw();
  Refresh(i);
}

void TDgrLayerManager::MoveLayer(int delta) {
  const int i = lbLayers->currentRow();
  if (!FDiagram) return;
  FDiagram->Layers().Move(i, i + delta);
  FDiagram->Modified();
  Refresh(std::clamp(i + delta, 0, FDiagram->Layers().Count() - 1));
}
