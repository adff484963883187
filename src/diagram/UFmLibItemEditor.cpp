#include "UFmLibItemEditor.h"

#include <QDialogButtonBox>
#include <QFormLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPixmap>
#include <QPushButton>

#include "DiagramLibrary.h"
#include "KvDialogs.h"

TfmLibItemEditor::TfmLibItemEditor(QWidget* parent) : QDialog(parent) {
  setObjectName(QStringLiteral("fmLibItemEditor"));
  setWindowTitle(QStringLiteral("Library item"));
  edCaption = new QLineEdit(this);
  edCategory = new QLineEdit(this);
  imIcon = new QLabel(this);
  imIcon->setFixedSize(32, 32);
  auto* load = new QPushButton(QStringLiteral("Load icon..."), this);
  connect(load, &QPushButton::clicked, this, [this] { btLoadIconClick(); });
  auto* buttons = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel, this);
  connect(buttons, &QDialogButtonBox::accepted, this, &TfmLibItemEditor::accept);
  connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
  auto* form = new QFormLayout(this);
  form->addRow(QStringLiteral("Caption:"), edCaption);
  form->addRow(QStringLiteral("Category:"), edCategory);
  form->addRow(imIcon, load);
  form->addRow(buttons);
}

void TfmLibItemEditor::SetItem(const TDgrLibraryItem& item) {
  edCaption->setText(item.Caption);
  edCategory->setText(item.Category);
  FGlyph = item.Glyph;
  imIcon->setPixmap(QPixmap::fromImage(FGlyph));
}

void TfmLibItemEditor::GetItem(TDgrLibraryItem& item) const {
  item.Caption = edCaption->text();
  item.Category = edCategory->text();
  item.Glyph = FGlyph;
}

bool TfmLibItemEditor::Execute(TDgrLibraryItem& item, QWidget* parent) {
  TfmLibItemEditor form(parent);
  form.SetItem(item);
  if (KvDialogs().ShowModal(form) != mrOk) return false;
  form.GetItem(item);
  return true;
}

void TfmLibItemEditor::btLoadIconClick() {
  TKvFileDialogRequest r;
  r.Title = QStringLiteral("Select picture file");
  r.Filter = QStringLiteral("Pictures (*.png *.bmp *.ico)|*.png;*.bmp;*.ico|All files (*.*)|*.*");
  if (!KvDialogs().OpenFileDialog(r)) return;
  FGlyph = QImage(r.FileName);
  imIcon->setPixmap(QPixmap::fromImage(FGlyph));
}

void TfmLibItemEditor::accept() {
  if (edCaption->text().trimmed().isEmpty()) {
    MessageDlg(QStringLiteral("Caption field cannot not be empty."), TMsgDlgType::mtError, mbOK);
    return;
  }
  if (edCategory->text().trimmed().isEmpty()) {
    MessageDlg(QStringLiteral("Category field cannot be empty."), TMsgDlgType::mtError, mbOK);
    return;
  }
  QDialog::accept();
}
