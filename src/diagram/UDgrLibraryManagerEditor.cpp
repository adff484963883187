#include "UDgrLibraryManagerEditor.h"

#include <QHBoxLayout>
#include <QInputDialog>
#include <QLabel>
#include <QListWidget>
#include <QPushButton>
#include <QVBoxLayout>
#include <algorithm>

#include "DiagramLibrary.h"
#include "KvDialogs.h"

namespace {
QString Quoted(const QString& s) {
  return '"' + s + '"';
}
bool Confirmed(const QString& text) {
  return MessageDlg(text, TMsgDlgType::mtConfirmation, mbYesNo) == mrYes;
}
}  // namespace

TDgrLibraryManagerEditor::TDgrLibraryManagerEditor(QWidget* parent) : QDialog(parent) {
  setObjectName(QStringLiteral("DgrLibraryManagerEditor"));
  setWindowTitle(QStringLiteral("Libraries"));
  lbNoManager = new QLabel(QStringLiteral("LibraryManager not specified."), this);
  lbLibraries = new QListWidget(this);
  lbObjects = new QListWidget(this);
  btNew = new QPushButton(QStringLiteral("New library..."), this);
  btRemove = new QPushButton(QStringLiteral("Remove library"), this);
  btDelete = new QPushButton(QStringLiteral("Delete object"), this);
  auto* close = new QPushButton(QStringLiteral("Close"), this);
  auto* buttons = new QVBoxLayout;
  for (QPushButton* b : {btNew, btRemove, btDelete}) buttons->addWidget(b);
  buttons->addStretch();
  buttons->addWidget(close);
  auto* row = new QHBoxLayout;
  row->addWidget(lbLibraries);
  row->addWidget(lbObjects);
  row->addLayout(buttons);
  auto* layout = new QVBoxLayout(this);
  layout->addWidget(lbNoManager);
  layout->addLayout(row);
  connect(btNew, &QPushButton::clicked, this, [this] { NewLibrary(); });
  connect(btRemove, &QPushButton::clicked, this, [this] { RemoveLibrary(); });
  connect(btDelete, &QPushButton::clicked, this, [this] { DeleteObject(); });
  connect(close, &QPushButton::clicked, this, &QDialog::accept);
  connect(lbLibraries, &QListWidget::currentRowChanged, this, [this] { RefreshObjects(); });
  RefreshLibraries(-1);
}

void TDgrLibraryManagerEditor::SetManager(TDgrLibraryManager* manager) {
  FManager = manager;
  RefreshLibraries(0);
}

void TDgrLibraryManagerEditor::Execute(TDgrLibraryManager* manager, QWidget* parent) {
  TDgrLibraryManagerEditor form(parent);
  form.SetManager(manager);
  KvDialogs().ShowModal(form);
}

TDgrLibrary* TDgrLibraryManagerEditor::CurrentLibrary() const {
  const int i = lbLibraries->currentRow();
  if (!FManager || i < 0 || i >= int(FManager->FLibs.size())) return nullptr;
  return FManager->FLibs[i].get();
}

void TDgrLibraryManagerEditor::RefreshLibraries(int current) {
  lbNoManager->setVisible(!FManager);
  for (QWidget* w :
       std::initializer_list<QWidget*>{lbLibraries, lbObjects, btNew, btRemove, btDelete})
    w->setEnabled(FManager != nullptr);
  {
    const QSignalBlocker quiet(lbLibraries);
    lbLibraries->clear();
    if (FManager)
      for (auto& lib : FManager->FLibs) lbLibraries->addItem(lib->LibraryName);
    lbLibraries->setCurrentRow(std::min(current, lbLibraries->count() - 1));
  }
  RefreshObjects();
}

void TDgrLibraryManagerEditor::RefreshObjects() {
  lbObjects->clear();
  if (TDgrLibrary* lib = CurrentLibrary())
    for (auto& item : lib->Items)
      lbObjects->addItem(item->Caption.isEmpty() ? item->ItemName : item->Caption);
  if (lbObjects->count()) lbObjects->setCurrentRow(0);
}

bool TDgrLibraryManagerEditor::NewLibrary() {
  if (!FManager) return false;
  QInputDialog prompt(this);
  prompt.setObjectName(QStringLiteral("CreateLibraryPrompt"));
  prompt.setWindowTitle(QStringLiteral("Create new library"));
  prompt.setLabelText(QStringLiteral("Enter library name:"));
  if (KvDialogs().ShowModal(prompt) != mrOk) return false;
  const QString name = prompt.textValue().trimmed();
  if (name.isEmpty()) {
    MessageDlg(QStringLiteral("Library name cannot be empty."), TMsgDlgType::mtError, mbOK);
    return false;
  }
  if (FManager->LibraryByName(name)) {
    MessageDlg(QStringLiteral("Library ") + Quoted(name) + QStringLiteral(" already exists."),
               TMsgDlgType::mtError, mbOK);
    return false;
  }
  FManager->CreateLibrary(name);
  RefreshLibraries(int(FManager->FLibs.size()) - 1);
  return true;
}

void TDgrLibraryManagerEditor::RemoveLibrary() {
  TDgrLibrary* lib = CurrentLibrary();
  if (!lib || !Confirmed(QStringLiteral("Remove library ") + Quoted(lib->LibraryName) + '?'))
    return;
  FManager->Filer->DeleteLibrary(*lib);
  const int row = lbLibraries->currentRow();
  FManager->FLibs.erase(FManager->FLibs.begin() + row);
  RefreshLibraries(row);
}

void TDgrLibraryManagerEditor::DeleteObject() {
  TDgrLibrary* lib = CurrentLibrary();
  const int row = lbObjects->currentRow();
  if (!lib || row < 0 || row >= int(lib->Items.size())) return;
  TDgrLibraryItem& item = *lib->Items[row];
  if (!Confirmed(QStringLiteral("Delete object ") + Quoted(lbObjects->item(row)->text()) + '?'))
    return;
  FManager->Filer->DeleteItem(item);
  lib->Items.erase(lib->Items.begin() + row);
  RefreshObjects();
}
