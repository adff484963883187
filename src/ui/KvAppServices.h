#pragma once
// What lower modules ask of the application module: the status bar line with its log entry,
// and the document's modified and loaded flags. The application module registers itself
// here when it is created, so the instrument link needs no knowledge of the frame's forms.
#include <QString>

class TKvAppServices {
 public:
  virtual ~TKvAppServices() = default;
  virtual void DoStatusBarNotify(const QString& msg, bool bLog) = 0;
  virtual bool IsModified() const = 0;
  virtual void SetIsModified(bool value) = 0;
  virtual bool IsFileLoaded() const = 0;
  virtual void SetIsFileLoaded(bool value) = 0;
};

// nullptr while no application module exists.
TKvAppServices* KvAppServices();
void KvAppServices_Install(TKvAppServices* services);
