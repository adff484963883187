#pragma once
// The library manager: the libraries and the objects in the chosen one; new libraries by name,
// removal of libraries and objects after a confirmation.
#include <QDialog>

class TDgrLibraryManager;
class TDgrLibrary;
class QLabel;
class QListWidget;
class QPushButton;

class TDgrLibraryManagerEditor : public QDialog {
 public:
  explicit TDgrLibraryManagerEditor(QWidget* parent = nullptr);
  void SetManager(TDgrLibraryManager* manager);
  static void Execute(TDgrLibraryManager* manager, QWidget* parent = nullptr);

  // Asks for the name; false when refused or cancelled.
  bool NewLibrary();
  void RemoveLibrary();
  void DeleteObject();

  QLabel* lbNoManager;
  QListWidget* lbLibraries;
  QListWidget* lbObjects;
  QPushButton* btNew;
  QPushButton* btRemove;
  QPushButton* btDelete;

 private:
  TDgrLibrary* CurrentLibrary() const;
  void RefreshLibraries(int current);
  void RefreshObjects();
  TDgrLibraryManager* FManager = nullptr;
};
