#pragma once
// Libraries of ready-made controls: an item holds the clipboard text of one control (or
// group); libraries are folders "dlib_<name>" of item files, each a component resource
// wrapping the item's object stream. Registered items appear in the class registry as
// "LIB_<ItemName>" and are inserted like any registered control.
#include <QImage>
#include <QObject>
#include <QStringList>
#include <functional>
#include <memory>
#include <vector>

class TKvDiagram;
class TDiagramControl;
class TDgrLibrary;

class TDgrLibraryItem : public QObject {
 public:
  explicit TDgrLibraryItem(QObject* owner = nullptr) : QObject(owner) {}
  QString ItemName;
  QString Category;
  QString Caption;
  QImage Glyph;
  QString Data;  // the clipboard text of the control
  TDgrLibrary* Library = nullptr;
  void Assign(const TDgrLibraryItem& source);
  // The item as a component resource file, and back.
  QByteArray ToResource() const;
  void FromResource(const QByteArray& bytes);
};

class TDgrLibrary {
 public:
  explicit TDgrLibrary(QString name) : LibraryName(std::move(name)) {}
  QString LibraryName;
  std::vector<std::unique_ptr<TDgrLibraryItem>> Items;
  TDgrLibraryItem* Add();
  void Clear() { Items.clear(); }
};

// Where libraries live; the virtual operations are in slot order.
class TDgrLibraryFiler {
 public:
  virtual ~TDgrLibraryFiler() = default;
  virtual void GetLibraryNames(QStringList& names) = 0;
  virtual bool LoadItem(TDgrLibraryItem& item) = 0;
  virtual bool SaveItem(TDgrLibraryItem& item) = 0;
  virtual void DeleteItem(TDgrLibraryItem& item) = 0;
  virtual void LoadLibrary(TDgrLibrary& library) = 0;
  virtual void SaveLibrary(TDgrLibrary&) {}
  virtual void CreateLibrary(TDgrLibrary& library) = 0;
  virtual void DeleteLibrary(TDgrLibrary& library) = 0;
};

class TDgrLibraryFolderFiler : public TDgrLibraryFiler {
 public:
  static constexpr const char* LibraryPrefix = "dlib_";
  QString BaseFolder() const { return FBaseFolder; }
  void SetBaseFolder(QString folder);
  QString DefaultExt = QStringLiteral(".dgo");

  void GetLibraryNames(QStringList& names) override;
  bool LoadItem(TDgrLibraryItem& item) override;
  bool SaveItem(TDgrLibraryItem& item) override;
  void DeleteItem(TDgrLibraryItem& item) override;
  void LoadLibrary(TDgrLibrary& library) override;
  void CreateLibrary(TDgrLibrary& library) override;
  void DeleteLibrary(TDgrLibrary& library) override;

  QString LibraryFolder(const TDgrLibrary& library) const;
  QString ItemFile(const TDgrLibraryItem& item) const;

 private:
  void CheckBaseFolder() const;
  QString FBaseFolder;
};

class TDgrLibraryManager {
 public:
  TDgrLibraryFiler* Filer = nullptr;
  bool AutoLoad = true;
  std::vector<std::unique_ptr<TDgrLibrary>> FLibs;
  // The item dialog (TfmLibItemEditor); answers true on OK.
  std::function<bool(TDgrLibraryItem&)> ItemDialog;

  void LoadLibraries();
  TDgrLibrary* LibraryByName(const QString& name) const;
  TDgrLibrary* CreateLibrary(const QString& name);
  // Makes an item of a control on a diagram; answers it when the dialog said OK.
  TDgrLibraryItem* CreateItemDlg(TDiagramControl* control);
  static void RegisterItem(const TDgrLibraryItem& item);

 private:
  TDgrLibraryFiler& CheckedFiler() const;
};

// A control made from a registered ID's data: read as a paste into a scratch diagram, then
// taken out of it without a diagram and without a name.
TDiagramControl* KvCreateControlFromData(TKvDiagram* target, const QString& id,
                                         const QString& data);
