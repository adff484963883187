#pragma once
// The library item editor: caption, category and icon of a control kept in a library. OK is
// refused while the caption or the category is empty.
#include <QDialog>
#include <QImage>

class TDgrLibraryItem;
class QLabel;
class QLineEdit;

class TfmLibItemEditor : public QDialog {
 public:
  explicit TfmLibItemEditor(QWidget* parent = nullptr);
  void SetItem(const TDgrLibraryItem& item);
  void GetItem(TDgrLibraryItem& item) const;
  // Shows the editor through the dialog service; true when confirmed.
  static bool Execute(TDgrLibraryItem& item, QWidget* parent = nullptr);
  void btLoadIconClick();
  void accept() override;

  QLineEdit* edCaption;
  QLineEdit* edCategory;
  QLabel* imIcon;

 private:
  QImage FGlyph;
};
