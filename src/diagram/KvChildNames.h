#pragma once
// The names of one object's children, kept up to date from its child events and the
// children's name changes, so "is this name taken on the form" needs no walk of the form.
#include <QEvent>
#include <QHash>
#include <QObject>
#include <QPointer>
#include <QSet>
#include <functional>

class TKvChildNames : public QObject {
 public:
  explicit TKvChildNames(QObject* watched, QObject* parent = nullptr);
  ~TKvChildNames() override;
  QObject* Watched() const { return FWatched; }
  // True when a child other than except bears the name (case-insensitive).
  bool Contains(const QString& name, const QObject* except) const;
  // Told each name (lower case) that a child gives up.
  std::function<void(const QString&)> OnNameFreed;

 protected:
  bool eventFilter(QObject* o, QEvent* e) override;

 private:
  // Children announced while being constructed are looked at on the next question.
  void Settle() const;
  void SetName(QObject* child, const QString& name) const;
  void Forget(QObject* child) const;
  QPointer<QObject> FWatched;
  mutable QSet<QObject*> FPending;
  mutable QHash<QObject*, QString> FNames;  // lower case
  mutable QHash<QString, int> FCounts;
};
