#include "KvFormStorage.h"

#include <QEvent>
#include <QMetaProperty>
#include <QWidget>

#include "KvAppIniFileStorage.h"
#include "KvSys_Helper.h"

namespace {

// Stored property lists name properties as the forms' designers know them; Qt spells some
// differently ("Checked" is "checked", "ItemIndex" is "currentIndex").
QByteArray QtPropertyName(const QObject* component, const QString& name) {
  const QMetaObject* meta = component->metaObject();
  QString lowerFirst = name.left(1).toLower() + name.mid(1);
  for (const QString& candidate :
       {name, lowerFirst, name == "ItemIndex" ? QString("currentIndex") : QString()}) {
    if (!candidate.isEmpty() && meta->indexOfProperty(candidate.toLatin1()) >= 0)
      return candidate.toLatin1();
  }
  return QByteArray();
}

const char* StateWord(Qt::WindowStates state) {
  if (state & Qt::WindowMaximized) return "Maximized";
  if (state & Qt::WindowMinimized) return "Minimized";
  return "Normal";
}

}  // namespace

void TKvStoredValues::Add(const QString& name, const QVariant& defaultValue) {
  FItems.push_back({name, defaultValue});
}

QVariant TKvStoredValues::Value(const QString& name) const {
  for (const TItem& item : FItems)
    if (item.Name == name) return item.Value;
  return QVariant();
}

void TKvStoredValues::SetValue(const QString& name, const QVariant& value) {
  for (TItem& item : FItems)
    if (item.Name == name) item.Value = value;
}

TKvFormStorage::TKvFormStorage(QObject* owner, const QString& name) : QObject(owner) {
  setObjectName(name);
  if (auto form = qobject_cast<QWidget*>(owner)) form->installEventFilter(this);
}

QWidget* TKvFormStorage::Form() const {
  return qobject_cast<QWidget*>(parent());
}

QString TKvFormStorage::SectionName() const {
  QString path = KvAppStorage_ExpandMacros(AppStoragePath, parent());
  while (path.endsWith('\\')) path.chop(1);
  return path;
}

bool TKvFormStorage::eventFilter(QObject* watched, QEvent* event) {
  QWidget* form = Form();
  if (!form) return false;
  if (watched == form && event->type() == QEvent::Show && !FRestored) {
    // A docked panel is never closed itself: it saves when its window closes.
    if (!form->isWindow()) form->window()->installEventFilter(this);
    RestoreFormPlacement();
  }
  if (watched == form->window() && event->type() == QEvent::Close) SaveFormPlacement();
  return QObject::eventFilter(watched, event);
}

void TKvFormStorage::SaveFormPlacement() {
  if (FAppStorage) {
    QWidget* form = Form();
    if (form && form->isWindow()) SavePlacementKeys(form);
    SaveStoredProps();
    for (const TKvStoredValues::TItem& item : StoredValues.Items())
      FAppStorage->WriteVariant(SectionName(), item.Name, item.Value);
    FAppStorage->WriteInteger(SectionName(), "FormVersion", Version);
    if (form) {
      QWidget* focused = form->focusWidget();
      FAppStorage->WriteString(
          SectionName(), "ActiveControl",
          focused && form->isAncestorOf(focused) ? focused->objectName() : QString());
    }
  }
  if (OnSavePlacement) OnSavePlacement();
  if (FAppStorage) FAppStorage->Flush();
}

void TKvFormStorage::RestoreFormPlacement() {
  FRestored = true;
  if (FAppStorage && ReadInteger("FormVersion", Version) == Version) {
    QWidget* form = Form();
    if (form && form->isWindow()) RestorePlacementKeys(form);
    RestoreStoredProps();
    for (TKvStoredValues::TItem& item : StoredValues.Items())
      item.Value = FAppStorage->ReadVariant(SectionName(), item.Name, item.Value);
    QString active = ReadString("ActiveControl", QString());
    if (form && !active.isEmpty())
      if (auto control = form->findChild<QWidget*>(active)) control->setFocus();
  }
  if (OnRestorePlacement) OnRestorePlacement();
}

void TKvFormStorage::SavePlacementKeys(QWidget* form) {
  if (!Options) return;
  QRect normal = form->normalGeometry().isValid() ? form->normalGeometry() : form->geometry();
  WriteInteger("Left", normal.x());
  WriteInteger("Top", normal.y());
  WriteInteger("Width", normal.width());
  WriteInteger("Height", normal.height());
  WriteString("State", StateWord(form->windowState()));
}

void TKvFormStorage::RestorePlacementKeys(QWidget* form) {
  QRect r = form->geometry();
  if (Options & fpLocation) r.moveTo(ReadInteger("Left", r.x()), ReadInteger("Top", r.y()));
  if (Options & fpSize) {
    int w = ReadInteger("Width", r.width()), h = ReadInteger("Height", r.height());
    if (w > 0 && h > 0) r.setSize(QSize(w, h));
  }
  if (Options & (fpLocation | fpSize)) form->setGeometry(r);
  // A window that was left minimised comes back in its normal state.
  if ((Options & fpState) && ReadString("State", "Normal") == "Maximized")
    form->setWindowState(form->windowState() | Qt::WindowMaximized);
}

QByteArray TKvFormStorage::StoredProp(const QString& entry, QObject*& component) const {
  component = nullptr;
  if (!parent()) return QByteArray();
  QString componentName = entry.section('.', 0, 0);
  component = parent()->objectName() == componentName
                  ? parent()
                  : parent()->findChild<QObject*>(componentName);
  return component ? QtPropertyName(component, entry.section('.', 1)) : QByteArray();
}

void TKvFormStorage::SaveStoredProps() {
  for (const QString& entry : StoredProps) {
    QObject* component = nullptr;
    QByteArray property = StoredProp(entry, component);
    if (property.isEmpty()) {
      KvSysHelper().SysLog_Add(this, "", "Error: stored property \"" + entry + "\" not found");
      continue;
    }
    FAppStorage->WriteVariant(SectionName(), entry, component->property(property));
  }
}

void TKvFormStorage::RestoreStoredProps() {
  for (const QString& entry : StoredProps) {
    QObject* component = nullptr;
    QByteArray property = StoredProp(entry, component);
    if (property.isEmpty() || !FAppStorage->ValueExists(SectionName(), entry)) continue;
    QVariant current = component->property(property);
    component->setProperty(property, FAppStorage->ReadVariant(SectionName(), entry, current));
  }
}

int TKvFormStorage::ReadInteger(const QString& name, int def) const {
  return FAppStorage ? FAppStorage->ReadInteger(SectionName(), name, def) : def;
}

bool TKvFormStorage::ReadBoolean(const QString& name, bool def) const {
  return FAppStorage ? FAppStorage->ReadBoolean(SectionName(), name, def) : def;
}

QString TKvFormStorage::ReadString(const QString& name, const QString& def) const {
  return FAppStorage ? FAppStorage->ReadString(SectionName(), name, def) : def;
}

void TKvFormStorage::WriteInteger(const QString& name, int value) {
  if (FAppStorage) FAppStorage->WriteInteger(SectionName(), name, value);
}

void TKvFormStorage::WriteBoolean(const QString& name, bool value) {
  if (FAppStorage) FAppStorage->WriteBoolean(SectionName(), name, value);
}

void TKvFormStorage::WriteString(const QString& name, const QString& value) {
  if (FAppStorage) FAppStorage->WriteString(SectionName(), name, value);
}

void KvLib_FormStorage_FormCreate(QObject* owner, TKvFormStorage* storage) {
  if (!owner || !storage) return;
  auto store =
      owner->findChild<TKvAppIniFileStorage*>("KvAppIniFileStorage", Qt::FindDirectChildrenOnly);
  if (!store)
    store =
        owner->findChild<TKvAppIniFileStorage*>("KvAppIniFileStorage1", Qt::FindDirectChildrenOnly);
  if (store) storage->SetAppStorage(store);
}

void KvLib_FormStorage_FormDestroy(TKvFormStorage* storage) {
  if (storage) storage->SetAppStorage(nullptr);
}
