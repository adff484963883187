#pragma once
// The export dialog: format, target file, delimiter, quote and the columns of an export, and
// the two writers behind its Export button. Made on the first export and kept for the life
// of the program, so that what the user typed and ticked stays until the program ends.
#include <QAbstractTableModel>
#include <QDialog>
#include <QStringList>

#include "KvDialogs.h"
#include "KvExportWriter.h"

class QCheckBox;
class QComboBox;
class QLabel;
class QLineEdit;
class QProgressBar;
class QPushButton;
class QTableView;
class QToolButton;
class TKvFormStorage;
class TKvMemTable;

// ClientDataSetExportDef: the column definitions in memory, shown and edited in the grid.
// Only Export and UseQuote are for the user to change.
class TKvExportDefModel : public QAbstractTableModel {
  Q_OBJECT
 public:
  enum TColumn { colColumn, colFieldNo, colSize, colExport, colUseQuote, colCount };
  using QAbstractTableModel::QAbstractTableModel;

  const TKvExportColumns& Rows() const { return FRows; }
  void SetRows(TKvExportColumns rows);
  void SetChecked(int row, TColumn column, bool on);

  int rowCount(const QModelIndex& parent = {}) const override;
  int columnCount(const QModelIndex& parent = {}) const override;
  QVariant data(const QModelIndex& index, int role) const override;
  bool setData(const QModelIndex& index, const QVariant& value, int role) override;
  Qt::ItemFlags flags(const QModelIndex& index) const override;
  QVariant headerData(int section, Qt::Orientation orientation, int role) const override;

 private:
  TKvExportColumns FRows;
};

class TFrmDxExport : public QDialog {
  Q_OBJECT
 public:
  explicit TFrmDxExport(QWidget* owner = nullptr);
  ~TFrmDxExport() override;

  static constexpr const char* OverwriteText =
      "The file \r\n\r\n%1\r\n\r\nalready exists:\r\n\r\nDo you want to overwrite this file with "
      "the exported document ?";
  static constexpr const char* UnsupportedText = "Unsupported export format.";

  QLineEdit* cxTextEditDelimiter;
  QLineEdit* cxTextEditQuote;
  QComboBox* cxComboBoxFormat;
  QCheckBox* cxCheckBoxExportHeader;
  QTableView* cxGridExportDef;
  QLabel* cxGridExportDefInfo;    // the navigator's info panel
  QLabel* cxGridExportDefFooter;  // the average in the footer
  QLineEdit* cxTextEditFileName;
  QComboBox* cxComboBoxExt;
  QToolButton* cxButtonLoadPath;
  QLineEdit* cxTextEditFilePath;
  QProgressBar* cxProgressBarExport;
  QPushButton* cxButtonCancel;
  QPushButton* cxButtonExport;
  TKvExportDefModel* ClientDataSetExportDef;
  TKvFormStorage* KvFormStorage1;
  TKvFileDialogRequest OpenTextFileDialog1;
  QStringList ExportFilterFormats;
  QStringList ExportFilterFormatsOpts;

  TKvMemTable* ExportDataSet() const { return FExportDataSet; }
  void SetExportDataSet(TKvMemTable* dataSet);
  TKvMemTable* ExportDataSet_XML = nullptr;
  // The path text with a trailing separator, and the name text.
  QString ExportFileName() const;
  void SetExportFileName(const QString& value);
  QString ExportFileFilter() const { return OpenTextFileDialog1.Filter; }
  void SetExportFileFilter(const QString& filter);

  void cxComboBoxFormatPropertiesChange();
  void cxComboBoxExtPropertiesChange();
  void cxCheckBoxExportHeaderPropertiesChange();
  void cxButtonLoadPathClick();
  void cxButtonExportClick();
  void DoExport_CSV();
  void DoExport_XML();

 protected:
  void showEvent(QShowEvent* event) override;
  void hideEvent(QHideEvent* event) override;

 private:
  // False when the target exists and the user would not have it overwritten.
  bool ConfirmTarget();
  // The bar follows the walk and the window keeps painting, without spending the export's
  // time on either: messages run about 200 times in a whole walk.
  void ShowProgress(int position);
  void Progress_Finish();
  void UpdateGridPanels();
  int FormatIndex() const;
  QString Key(const char* name) const;

  static bool FCreated;
  TKvMemTable* FExportDataSet = nullptr;
  int FMessageStep = 10;
  int FNextMessages = 0;
};

// The program-wide export dialog; nullptr until the first export.
extern TFrmDxExport* FrmDxExport;
