#include "UDxExport.h"

#include <QCheckBox>
#include <QComboBox>
#include <QFileInfo>
#include <QFormLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QProgressBar>
#include <QPushButton>
#include <QStyle>
#include <QTableView>
#include <QToolButton>
#include <QVBoxLayout>

#include "KvClock.h"
#include "KvFormStorage.h"
#include "KvMemTable.h"
#include "KvStdActns.h"
#include "KvStr_Helper.h"
#include "KvXMLStorage.h"
#include "UDmKvBasic.h"

TFrmDxExport* FrmDxExport = nullptr;
bool TFrmDxExport::FCreated = false;

// ---- column definitions -----------------------------------------------------------------

void TKvExportDefModel::SetRows(TKvExportColumns rows) {
  beginResetModel();
  FRows = std::move(rows);
  endResetModel();
}

void TKvExportDefModel::SetChecked(int row, TColumn column, bool on) {
  setData(index(row, column), on ? Qt::Checked : Qt::Unchecked, Qt::CheckStateRole);
}

int TKvExportDefModel::rowCount(const QModelIndex& parent) const {
  return parent.isValid() ? 0 : int(FRows.size());
}

int TKvExportDefModel::columnCount(const QModelIndex& parent) const {
  return parent.isValid() ? 0 : colCount;
}

QVariant TKvExportDefModel::data(const QModelIndex& index, int role) const {
  if (!index.isValid()) return {};
  const TKvExportColumn& r = FRows[size_t(index.row())];
  const bool isFlag = index.column() == colExport || index.column() == colUseQuote;
  const bool flag = index.column() == colExport ? r.Export : r.UseQuote;
  if (role == Qt::CheckStateRole && isFlag) return flag ? Qt::Checked : Qt::Unchecked;
  if (role != Qt::DisplayRole || isFlag) return {};
  switch (index.column()) {
    case colColumn:
      return r.Column;
    case colFieldNo:
      return r.FieldNo;
    default:
      return r.Size;
  }
}

bool TKvExportDefModel::setData(const QModelIndex& index, const QVariant& value, int role) {
  if (!index.isValid() || role != Qt::CheckStateRole) return false;
  TKvExportColumn& r = FRows[size_t(index.row())];
  bool& flag = index.column() == colExport ? r.Export : r.UseQuote;
  if (index.column() != colExport && index.column() != colUseQuote) return false;
  flag = value.toInt() == Qt::Checked;
  Q_EMIT dataChanged(index, index, {role});
  return true;
}

Qt::ItemFlags TKvExportDefModel::flags(const QModelIndex& index) const {
  const Qt::ItemFlags base = Qt::ItemIsEnabled | Qt::ItemIsSelectable;
  return index.column() == colExport || index.column() == colUseQuote
             ? base | Qt::ItemIsUserCheckable
             : base;
}

QVariant TKvExportDefModel::headerData(int section, Qt::Orientation orientation, int role) const {
  static const char* const names[colCount] = {"Column", "FieldNo", "Size", "Export", "UseQuote"};
  if (role != Qt::DisplayRole) return {};
  if (orientation == Qt::Vertical) return section + 1;  // the row indicator
  return QString::fromLatin1(names[section]);
}

// ---- the form ---------------------------------------------------------------------------

namespace {
template <class T>
T* Named(T* widget, const char* name, const char* hint = nullptr) {
  widget->setObjectName(name);
  if (hint) widget->setToolTip(hint);
  return widget;
}

QLabel* Label(const char* text, QWidget* buddy) {
  auto label = new QLabel(text);
  label->setBuddy(buddy);
  return label;
}
}  // namespace

TFrmDxExport::TFrmDxExport(QWidget* owner) : QDialog(owner) {
  setObjectName("FrmDxExport");
  if (!FrmDxExport) FrmDxExport = this;
  setWindowTitle("Export document:");
  QFont tahoma("Tahoma");
  tahoma.setPixelSize(13);
  setFont(tahoma);

  cxTextEditDelimiter = Named(new QLineEdit(";"), "cxTextEditDelimiter");
  cxTextEditQuote = Named(new QLineEdit("\""), "cxTextEditQuote");
  cxComboBoxFormat = Named(new QComboBox, "cxComboBoxFormat");
  cxCheckBoxExportHeader = Named(new QCheckBox("Export with header"), "cxCheckBoxExportHeader");
  ClientDataSetExportDef = new TKvExportDefModel(this);
  ClientDataSetExportDef->setObjectName("ClientDataSetExportDef");
  cxGridExportDef = Named(new QTableView, "cxGridExportDef");
  cxGridExportDef->setModel(ClientDataSetExportDef);
  cxGridExportDef->verticalHeader()->setDefaultSectionSize(22);
  cxGridExportDef->horizontalHeader()->setSectionResizeMode(QHeaderView::Stretch);
  cxGridExportDef->setSelectionBehavior(QAbstractItemView::SelectRows);
  cxGridExportDef->setSelectionMode(QAbstractItemView::SingleSelection);
  cxGridExportDefInfo = Named(new QLabel, "cxGridExportDefInfo");
  cxGridExportDefFooter = Named(new QLabel, "cxGridExportDefFooter");
  cxTextEditFileName =
      Named(new QLineEdit, "cxTextEditFileName", "Enter the desired filename here");
  cxComboBoxExt = Named(new QComboBox, "cxComboBoxExt", "Chosse file formats extension options");
  cxButtonLoadPath = Named(new QToolButton, "cxButtonLoadPath");
  cxButtonLoadPath->setIcon(style()->standardIcon(QStyle::SP_DirOpenIcon));
  cxTextEditFilePath = Named(new QLineEdit, "cxTextEditFilePath", "Enter the desired file path");
  cxProgressBarExport = Named(new QProgressBar, "cxProgressBarExport");
  cxButtonCancel = Named(new QPushButton("&Cancel"), "cxButtonCancel");
  cxButtonExport = Named(new QPushButton("E&xport"), "cxButtonExport", "Export the document");
  cxButtonExport->setDefault(true);

  auto settings = new QGroupBox("Settings:");
  auto options = new QHBoxLayout;
  options->addWidget(Label("Format:", cxComboBoxFormat));
  options->addWidget(cxComboBoxFormat, 3);
  options->addSpacing(12);
  options->addWidget(Label("Delimiter:", cxTextEditDelimiter));
  options->addWidget(cxTextEditDelimiter, 1);
  options->addWidget(Label("Quote:", cxTextEditQuote));
  options->addWidget(cxTextEditQuote, 1);
  options->addSpacing(12);
  options->addWidget(cxCheckBoxExportHeader);
  auto gridBar = new QHBoxLayout;
  gridBar->addWidget(cxGridExportDefInfo);
  gridBar->addStretch();
  gridBar->addWidget(cxGridExportDefFooter);
  auto settingsLayout = new QVBoxLayout(settings);
  settingsLayout->addLayout(options);
  settingsLayout->addWidget(cxGridExportDef, 1);
  settingsLayout->addLayout(gridBar);

  auto target = new QGroupBox("Target file:");
  auto targetLayout = new QFormLayout(target);
  auto path = new QHBoxLayout;
  path->addWidget(cxTextEditFilePath, 1);
  path->addWidget(cxButtonLoadPath);
  targetLayout->addRow(Label("File path:", cxTextEditFilePath), path);
  auto name = new QHBoxLayout;
  name->addWidget(cxTextEditFileName, 1);
  name->addWidget(Label("Ext.:", cxComboBoxExt));
  name->addWidget(cxComboBoxExt);
  targetLayout->addRow(Label("Filename:", cxTextEditFileName), name);

  auto buttons = new QHBoxLayout;
  buttons->addWidget(cxProgressBarExport, 1);
  buttons->addSpacing(12);
  buttons->addWidget(cxButtonExport);
  buttons->addWidget(cxButtonCancel);

  auto layout = new QVBoxLayout(this);
  layout->addWidget(settings, 1);
  layout->addWidget(target);
  layout->addLayout(buttons);
  // 894 by 677 at 120 pixels an inch.
  resize(715, 542);

  OpenTextFileDialog1.Title = "Export document to file:";
  OpenTextFileDialog1.DefaultExt = ".csv";
  OpenTextFileDialog1.Filter = TDmKvBasic::ExportFilter;

  KvFormStorage1 = new TKvFormStorage(this);
  KvFormStorage1->StoredProps << "cxTextEditDelimiter.Text"
                              << "cxTextEditQuote.Text";
  KvLib_FormStorage_FormCreate(DmKvBasic, KvFormStorage1);
  KvFormStorage1->RestoreFormPlacement();

  connect(cxComboBoxFormat, &QComboBox::currentIndexChanged, this,
          &TFrmDxExport::cxComboBoxFormatPropertiesChange);
  connect(cxComboBoxExt, &QComboBox::activated, this, &TFrmDxExport::cxComboBoxExtPropertiesChange);
  connect(cxCheckBoxExportHeader, &QCheckBox::clicked, this,
          &TFrmDxExport::cxCheckBoxExportHeaderPropertiesChange);
  connect(cxButtonLoadPath, &QToolButton::clicked, this, &TFrmDxExport::cxButtonLoadPathClick);
  connect(cxButtonExport, &QPushButton::clicked, this, &TFrmDxExport::cxButtonExportClick);
  connect(cxButtonCancel, &QPushButton::clicked, this, &QDialog::reject);
  connect(ClientDataSetExportDef, &QAbstractItemModel::dataChanged, this,
          &TFrmDxExport::UpdateGridPanels);
  connect(ClientDataSetExportDef, &QAbstractItemModel::modelReset, this,
          &TFrmDxExport::UpdateGridPanels);
  connect(cxGridExportDef->selectionModel(), &QItemSelectionModel::currentRowChanged, this,
          &TFrmDxExport::UpdateGridPanels);

  if (FCreated)
    MessageDlg(TDmKvBasic::AlreadyLoaded, TMsgDlgType::mtError, mbOK);
  else
    FCreated = true;
  UpdateGridPanels();
}

TFrmDxExport::~TFrmDxExport() {
  KvFormStorage1->Save();
  KvLib_FormStorage_FormDestroy(KvFormStorage1);
  if (FrmDxExport == this) {
    FrmDxExport = nullptr;
    FCreated = false;
  }
}

QString TFrmDxExport::Key(const char* name) const {
  return QLatin1String(name) + QString::number(FormatIndex());
}

int TFrmDxExport::FormatIndex() const {
  return cxComboBoxFormat->currentIndex();
}

void TFrmDxExport::SetExportDataSet(TKvMemTable* dataSet) {
  if (dataSet == FExportDataSet) return;
  FExportDataSet = dataSet;
  ClientDataSetExportDef->SetRows(dataSet ? KvExport_Columns(*dataSet) : TKvExportColumns());
  cxGridExportDef->setCurrentIndex(ClientDataSetExportDef->index(0, 0));
}

QString TFrmDxExport::ExportFileName() const {
  const QString path = cxTextEditFilePath->text();
  return (path.isEmpty() ? path : KvStr_IncludeTrailing(path, '/')) + cxTextEditFileName->text();
}

void TFrmDxExport::SetExportFileName(const QString& value) {
  if (value == ExportFileName()) return;
  const QFileInfo info(value);
  cxTextEditFilePath->setText(value.contains('/') ? info.path() : QString());
  cxTextEditFileName->setText(info.fileName());
}

void TFrmDxExport::SetExportFileFilter(const QString& filter) {
  OpenTextFileDialog1.Filter = filter;
  ExportFilterFormats.clear();
  ExportFilterFormatsOpts.clear();
  const QSignalBlocker quiet(cxComboBoxFormat);
  cxComboBoxFormat->clear();
  cxComboBoxExt->clear();
  const QStringList parts = filter.split('|');
  for (int i = 0; i + 1 < parts.size(); i += 2) {
    if (parts[i + 1] == QLatin1String("*.*")) continue;
    ExportFilterFormats << parts[i];
    ExportFilterFormatsOpts << parts[i + 1];
  }
  cxComboBoxFormat->addItems(ExportFilterFormats);
  if (!ExportFilterFormats.isEmpty()) cxComboBoxFormat->setCurrentIndex(0);
  cxComboBoxFormatPropertiesChange();
}

void TFrmDxExport::cxComboBoxFormatPropertiesChange() {
  const int n = FormatIndex();
  if (n < 0 || n >= ExportFilterFormatsOpts.size()) return;
  cxCheckBoxExportHeader->setChecked(KvFormStorage1->ReadBoolean(Key("LastHX"), true));
  cxComboBoxExt->clear();
  for (QString mask : ExportFilterFormatsOpts[n].split(';', Qt::SkipEmptyParts))
    cxComboBoxExt->addItem(mask.startsWith('*') ? mask.mid(1) : mask);
  if (cxComboBoxExt->count() == 0) return;
  cxComboBoxExt->setCurrentIndex(KvFormStorage1->ReadInteger(Key("LastFO"), 0));
  KvFormStorage1->WriteInteger(Key("LastFO"), cxComboBoxExt->currentIndex());
}

void TFrmDxExport::cxComboBoxExtPropertiesChange() {
  const QString name = cxTextEditFileName->text();
  const QString suffix = QFileInfo(name).suffix();
  const QString stem = suffix.isEmpty() ? name : name.left(name.size() - suffix.size() - 1);
  cxTextEditFileName->setText(stem + cxComboBoxExt->currentText());
  if (FormatIndex() >= 0 && cxComboBoxExt->currentIndex() >= 0)
    KvFormStorage1->WriteInteger(Key("LastFO"), cxComboBoxExt->currentIndex());
}

void TFrmDxExport::cxCheckBoxExportHeaderPropertiesChange() {
  if (FormatIndex() >= 0 && cxComboBoxExt->currentIndex() >= 0)
    KvFormStorage1->WriteBoolean(Key("LastHX"), cxCheckBoxExportHeader->isChecked());
}

void TFrmDxExport::showEvent(QShowEvent* event) {
  setResult(QDialog::Rejected);
  cxComboBoxFormat->setCurrentIndex(KvFormStorage1->ReadInteger("LastF", FormatIndex()));
  cxComboBoxFormatPropertiesChange();
  cxProgressBarExport->setValue(0);
  QDialog::showEvent(event);
}

void TFrmDxExport::hideEvent(QHideEvent* event) {
  KvFormStorage1->WriteInteger("LastF", FormatIndex());
  QDialog::hideEvent(event);
}

void TFrmDxExport::UpdateGridPanels() {
  const TKvExportColumns& rows = ClientDataSetExportDef->Rows();
  const int current = cxGridExportDef->currentIndex().row();
  cxGridExportDefInfo->setText(
      QStringLiteral("Record %1 of %2").arg(current < 0 ? 0 : current + 1).arg(rows.size()));
  double sum = 0;
  for (const TKvExportColumn& r : rows) sum += r.Size;
  cxGridExportDefFooter->setText(
      QStringLiteral("Size: Avg %1")
          .arg(rows.empty() ? 0.0 : sum / double(rows.size()), 0, 'f', 2));
}

void TFrmDxExport::cxButtonLoadPathClick() {
  OpenTextFileDialog1.FileName = ExportFileName();
  OpenTextFileDialog1.InitialDir = cxTextEditFilePath->text();
  if (KvDialogs().OpenFileDialog(OpenTextFileDialog1))
    SetExportFileName(OpenTextFileDialog1.FileName);
}

void TFrmDxExport::cxButtonExportClick() {
  if (DmKvBasic) DmKvBasic->FileExport1->Dialog.FileName = DmKvBasic->FFile_ExportName;
  const QString format = cxComboBoxFormat->currentText().toLower();
  if (format.contains("csv"))
    DoExport_CSV();
  else if (format.contains("xml"))
    DoExport_XML();
  else
    MessageDlg(UnsupportedText, TMsgDlgType::mtInformation, mbYesNoCancel);
  accept();
}

bool TFrmDxExport::ConfirmTarget() {
  const QString target = ExportFileName();
  if (!QFileInfo::exists(target)) return true;
  if (MessageDlg(QString::fromLatin1(OverwriteText).arg(target), TMsgDlgType::mtConfirmation,
                 mbYesNoCancel) == mrYes)
    return true;
  if (DmKvBasic)
    DmKvBasic->DoStatusBarNotify(QStringLiteral("File \"") + cxTextEditFileName->text() +
                                     QStringLiteral("\" not saved, aborted by user"),
                                 true);
  return false;
}

void TFrmDxExport::ShowProgress(int position) {
  if (position < FNextMessages) return;
  FNextMessages = position + FMessageStep;
  cxProgressBarExport->setValue(position);
  ProcessMessages();
}

void TFrmDxExport::Progress_Finish() {
  cxProgressBarExport->setValue(cxProgressBarExport->maximum());
  ProcessMessages();
}

void TFrmDxExport::DoExport_CSV() {
  if (!ConfirmTarget() || !FExportDataSet) return;
  TKvCsvOptions options;
  options.Delimiter = cxTextEditDelimiter->text();
  options.Quote = cxTextEditQuote->text();
  options.WithHeader = cxCheckBoxExportHeader->isChecked();
  const int rows = FExportDataSet->RecordCount();
  cxProgressBarExport->setRange(0, rows);
  FMessageStep = std::max(10, rows / 200 / 10 * 10);
  FNextMessages = 0;
  const QByteArray text = KvExport_CsvText(*FExportDataSet, ClientDataSetExportDef->Rows(), options,
                                           [this](int position) { ShowProgress(position); });
  Progress_Finish();
  KvExport_WriteFile(ExportFileName(), text);
  ProcessMessagesFor(500);
}

void TFrmDxExport::DoExport_XML() {
  if (!ConfirmTarget() || !ExportDataSet_XML) return;
  cxProgressBarExport->setValue(1);
  ProcessMessages();
  ExportDataSet_XML->SaveToFile(ExportFileName(), TKvXMLStorage::FormatNumber);
  Progress_Finish();
  ProcessMessagesFor(500);
}
