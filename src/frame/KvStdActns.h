#pragma once
// The standard file actions: each owns its file dialog and, when triggered, runs
// BeforeExecute, the dialog through the dialog service, then OnAccept or OnCancel.
#include <QAction>
#include <functional>

#include "KvDialogs.h"

class TKvFileAction : public QAction {
  Q_OBJECT
 public:
  enum TKind { akOpen, akSave };
  TKvFileAction(QObject* owner, const QString& name, TKind kind);

  TKvFileDialogRequest Dialog;
  int Tag = 0;
  std::function<void(QObject* Sender)> BeforeExecute;
  std::function<void(QObject* Sender)> OnAccept;
  std::function<void(QObject* Sender)> OnCancel;

  // True when the dialog was confirmed.
  bool Execute();
  // Called from BeforeExecute: the action ends there, silently, without its dialog.
  void Abort() { FAborted = true; }

 private:
  TKind FKind;
  bool FAborted = false;
};

// An action list in which two actions share a shortcut. The toolkit finds both for the key
// and runs neither; here the first of the list with that shortcut, if enabled, runs instead.
class TKvShortcutResolver : public QObject {
  Q_OBJECT
 public:
  using QObject::QObject;
  // Takes the actions in the order of the list.
  void Watch(const QList<QAction*>& actions);

 protected:
  bool eventFilter(QObject* watched, QEvent* event) override;

 private:
  QList<QAction*> FActions;
};
