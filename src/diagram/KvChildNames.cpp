#include "KvChildNames.h"

#include <QChildEvent>

TKvChildNames::TKvChildNames(QObject* watched, QObject* parent)
    : QObject(parent), FWatched(watched) {
  for (QObject* c : watched->children()) FPending.insert(c);
  watched->installEventFilter(this);
}

TKvChildNames::~TKvChildNames() {
  if (FWatched) FWatched->removeEventFilter(this);
}

bool TKvChildNames::eventFilter(QObject* o, QEvent* e) {
  if (o == FWatched && (e->type() == QEvent::ChildAdded || e->type() == QEvent::ChildRemoved)) {
    QObject* child = static_cast<QChildEvent*>(e)->child();
    if (e->type() == QEvent::ChildAdded)
      FPending.insert(child);
    else
      Forget(child);
  }
  return false;
}

void TKvChildNames::Settle() const {
  for (QObject* child : FPending) {
    if (child->parent() != FWatched) continue;
    SetName(child, child->objectName());
    connect(child, &QObject::objectNameChanged, this, [this, child](const QString& n) {
      if (FNames.contains(child)) SetName(child, n);
    });
  }
  FPending.clear();
}

void TKvChildNames::SetName(QObject* child, const QString& name) const {
  Forget(child);
  const QString key = name.toLower();
  FNames.insert(child, key);
  if (!key.isEmpty()) ++FCounts[key];
}

void TKvChildNames::Forget(QObject* child) const {
  FPending.remove(child);
  auto it = FNames.find(child);
  if (it == FNames.end()) return;
  const QString name = *it;
  auto count = FCounts.find(name);
  if (count != FCounts.end() && --*count <= 0) FCounts.erase(count);
  FNames.erase(it);
  if (OnNameFreed && !name.isEmpty()) OnNameFreed(name);
}

bool TKvChildNames::Contains(const QString& name, const QObject* except) const {
  Settle();
  const QString key = name.toLower();
  const int n = FCounts.value(key);
  if (n == 0) return false;
  const bool own = except && FNames.value(const_cast<QObject*>(except)) == key;
  return n - (own ? 1 : 0) > 0;
}
