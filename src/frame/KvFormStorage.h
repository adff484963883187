#pragma once
// A form's companion in the settings file: every form or module that keeps something holds a
// TKvFormStorage named "KvFormStorage1", bound to the one TKvAppIniFileStorage, and gets the
// section named after the form (AppStoragePath "%FORM_NAME%\").
//
// On the form's first showing the storage restores, in this order: a window's position, size
// and state; StoredProps; StoredValues; the focused control; then OnRestorePlacement. When the
// form's window closes it saves the same, then OnSavePlacement, then flushes the file; a panel
// docked into another window saves when that window closes. Both may be run at any time by
// hand (data modules, which are never shown, do so in their create and destroy).
#include <QObject>
#include <QPointer>
#include <QStringList>
#include <QVariant>
#include <functional>
#include <vector>

class TKvAppIniFileStorage;
class QWidget;

enum TKvPlacementOption { fpLocation = 1, fpSize = 2, fpState = 4 };
inline constexpr int KvPlacement_Default = fpLocation | fpSize | fpState;

// Named values a form keeps, each with the default it starts from.
class TKvStoredValues {
 public:
  struct TItem {
    QString Name;
    QVariant Value;
  };
  void Add(const QString& name, const QVariant& defaultValue);
  QVariant Value(const QString& name) const;
  void SetValue(const QString& name, const QVariant& value);
  std::vector<TItem>& Items() { return FItems; }

 private:
  std::vector<TItem> FItems;
};

class TKvFormStorage : public QObject {
  Q_OBJECT
 public:
  // owner is the form or module; the storage watches a widget owner's show and close.
  explicit TKvFormStorage(QObject* owner, const QString& name = "KvFormStorage1");

  TKvAppIniFileStorage* AppStorage() const { return FAppStorage; }
  void SetAppStorage(TKvAppIniFileStorage* storage) { FAppStorage = storage; }

  QString AppStoragePath = "%FORM_NAME%\\";
  QStringList StoredProps;  // "component.property", the component found by object name
  TKvStoredValues StoredValues;
  int Options = KvPlacement_Default;
  int Version = 0;  // a file written for another version of the form is not applied
  std::function<void()> OnSavePlacement;
  std::function<void()> OnRestorePlacement;

  // The section of the form: AppStoragePath expanded, less its trailing backslash.
  QString SectionName() const;
  void Save() { SaveFormPlacement(); }
  void SaveFormPlacement();
  void RestoreFormPlacement();
  bool IsRestored() const { return FRestored; }

  // Values in the form's own section; unbound storages read defaults and write nothing.
  int ReadInteger(const QString& name, int def) const;
  bool ReadBoolean(const QString& name, bool def) const;
  QString ReadString(const QString& name, const QString& def) const;
  void WriteInteger(const QString& name, int value);
  void WriteBoolean(const QString& name, bool value);
  void WriteString(const QString& name, const QString& value);

 protected:
  bool eventFilter(QObject* watched, QEvent* event) override;

 private:
  QWidget* Form() const;
  void SavePlacementKeys(QWidget* form);
  void RestorePlacementKeys(QWidget* form);
  // The Qt property behind "component.property"; empty when either isn't there.
  QByteArray StoredProp(const QString& entry, QObject*& component) const;
  void SaveStoredProps();
  void RestoreStoredProps();

  QPointer<TKvAppIniFileStorage> FAppStorage;
  bool FRestored = false;
};

// Binds storage to the settings file owned by owner ("KvAppIniFileStorage", else
// "KvAppIniFileStorage1"); without an owner nothing changes.
void KvLib_FormStorage_FormCreate(QObject* owner, TKvFormStorage* storage);
// Releases the storage's hold on the settings file.
void KvLib_FormStorage_FormDestroy(TKvFormStorage* storage);
