#pragma once
// Rows are read and written in bulk where a table's columns allow it, and by the walk of
// properties otherwise. The walk is the reference: what a document makes of the engine, read
// either way, is told by the engine's error text or by the document the walk writes back.
#include <QBuffer>
#include <QByteArray>

#include "KvDatS.h"
#include "KvStorage.h"

inline QByteArray KvSaveManager(const TKvDatSManager& manager, bool inBulk, int version = -1) {
  TKvBinStorage s;
  s.RowsInBulk = inBulk;
  s.SetStoreVersion(version);
  QBuffer buffer;
  buffer.open(QIODevice::WriteOnly);
  s.Open(TKvStorageMode::smWrite, &buffer);
  manager.Save(s);
  s.Close();
  return buffer.data();
}

inline QByteArray KvLoadOutcome(const QByteArray& document, bool inBulk) {
  TKvDatSManager manager;
  try {
    TKvBinStorage s;
    s.RowsInBulk = inBulk;
    QBuffer buffer;
    buffer.setData(document);
    buffer.open(QIODevice::ReadOnly);
    s.Open(TKvStorageMode::smRead, &buffer);
    manager.Load(s);
    s.Close();
  } catch (const EKvMemError& e) {
    return "error: " + e.Message().toUtf8();
  }
  // A document that loaded may still name more than a version can write.
  try {
    return KvSaveManager(manager, false);
  } catch (const EKvMemError& e) {
    return "save error: " + e.Message().toUtf8();
  }
}
