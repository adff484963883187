#pragma once
// Writes journal records through to disk on a thread of its own, so that the main thread
// only encodes a reading and queues it.
//
// The writer takes what is queued, writes it in one call and syncs the data (fdatasync),
// then lets further readings gather for SyncIntervalMs before the next round: a crash of the
// program loses only what was queued since the last write, a power cut at most about the
// last SyncIntervalMs plus one sync. The queue holds QueueBound records (over an hour of
// readings at the meter's rate), so it only fills when the disk stalls for that long; a
// reading that finds it full is not queued and counted in Dropped() (the table still holds
// it), unless the caller asked to wait for room.
//
// Threads: Append and Close on the owner's thread, the writing on the writer's; the queue and
// the counters are guarded by FLock, which is never held across a write or a sync.
#include <QString>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <thread>
#include <vector>

#include "KvJournalFile.h"

class TKvJournalWriter {
 public:
  static constexpr size_t QueueBound = 65536;
  static constexpr int SyncIntervalMs = 200;

  TKvJournalWriter() = default;
  ~TKvJournalWriter() { Close(); }
  TKvJournalWriter(const TKvJournalWriter&) = delete;
  TKvJournalWriter& operator=(const TKvJournalWriter&) = delete;

  // Continues an existing journal after its last whole record, or starts one with base and
  // started in its header. Takes the file's lock: a journal another writer holds is not
  // opened. False with ErrorText() when the file can't be had.
  bool Open(const QString& fileName, uint64_t base, double started);
  bool IsOpen() const { return FFd >= 0; }
  // Queues one reading; false when it was not queued (full, closed or failed). With wait a
  // full queue is waited on instead.
  bool Append(const TKvReadingValues& r, bool wait = false);
  // Returns once everything queued so far is written and synced.
  void Flush();
  // Writes what is queued, syncs and closes; the file stays.
  void Close();

  uint64_t Dropped() const;
  // Empty while all is well; the first write failure otherwise.
  QString ErrorText() const;

 private:
  void Run();

  int FFd = -1;
  uint32_t FSequence = 0;  // owner's thread
  std::thread FThread;
  mutable std::mutex FLock;
  std::condition_variable FWake;         // the writer: work, stop or flush
  std::condition_variable FDone;         // Flush and waiting appends: a round was written
  std::vector<TKvJournalRecord> FQueue;  // guarded by FLock
  uint64_t FQueued = 0;                  // guarded by FLock
  uint64_t FWritten = 0;                 // guarded by FLock
  uint64_t FDropped = 0;                 // guarded by FLock
  bool FStop = false;                    // guarded by FLock
  bool FFlushWanted = false;             // guarded by FLock
  bool FIdle = false;                    // guarded by FLock: the writer waits for work
  QString FError;                        // guarded by FLock
};
