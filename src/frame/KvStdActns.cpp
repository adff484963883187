#include "KvStdActns.h"

TKvFileAction::TKvFileAction(QObject* owner, const QString& name, TKind kind)
    : QAction(owner), FKind(kind) {
  setObjectName(name);
  connect(this, &QAction::triggered, this, [this] { Execute(); });
}

bool TKvFileAction::Execute() {
  if (BeforeExecute) BeforeExecute(this);
  bool accepted =
      FKind == akOpen ? KvDialogs().OpenFileDialog(Dialog) : KvDialogs().SaveFileDialog(Dialog);
  if (accepted && OnAccept) OnAccept(this);
  if (!accepted && OnCancel) OnCancel(this);
  return accepted;
}
