#include "KvStdActns.h"

#include <QShortcutEvent>

TKvFileAction::TKvFileAction(QObject* owner, const QString& name, TKind kind)
    : QAction(owner), FKind(kind) {
  setObjectName(name);
  connect(this, &QAction::triggered, this, [this] { Execute(); });
}

bool TKvFileAction::Execute() {
  FAborted = false;
  if (BeforeExecute) BeforeExecute(this);
  if (FAborted) return false;
  bool accepted =
      FKind == akOpen ? KvDialogs().OpenFileDialog(Dialog) : KvDialogs().SaveFileDialog(Dialog);
  if (accepted && OnAccept) OnAccept(this);
  if (!accepted && OnCancel) OnCancel(this);
  return accepted;
}

void TKvShortcutResolver::Watch(const QList<QAction*>& actions) {
  FActions = actions;
  for (QAction* a : actions) a->installEventFilter(this);
}

bool TKvShortcutResolver::eventFilter(QObject*, QEvent* event) {
  if (event->type() != QEvent::Shortcut) return false;
  const auto shortcut = static_cast<QShortcutEvent*>(event);
  if (!shortcut->isAmbiguous()) return false;
  for (QAction* a : FActions)
    if (a->shortcut() == shortcut->key()) {
      if (a->isEnabled()) a->trigger();
      return true;
    }
  return false;
}
