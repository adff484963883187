#include "KvJournalWriter.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <QFileInfo>
#include <cerrno>
#include <cstring>

namespace {
bool WriteAll(int fd, const uint8_t* data, size_t len) {
  while (len > 0) {
    const ssize_t n = ::write(fd, data, len);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) return false;
    data += n;
    len -= size_t(n);
  }
  return true;
}

// A new file's name must survive a power cut too.
void SyncFolder(const QString& fileName) {
  const int dir = ::open(QFileInfo(fileName).absolutePath().toLocal8Bit().constData(),
                         O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (dir < 0) return;
  ::fsync(dir);
  ::close(dir);
}

QString ErrnoText(const QString& fileName, int err) {
  return fileName + ": " + QString::fromLocal8Bit(std::strerror(err));
}
}  // namespace

bool TKvJournalWriter::Open(const QString& fileName, uint64_t base, double started) {
  Close();
  const QByteArray path = fileName.toLocal8Bit();
  const int fd = ::open(path.constData(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
  if (fd < 0) {
    FError = ErrnoText(fileName, errno);
    return false;
  }
  if (::flock(fd, LOCK_EX | LOCK_NB) != 0) {
    FError = fileName + ": in use by another recording";
    ::close(fd);
    return false;
  }
  struct stat st {};
  ::fstat(fd, &st);
  TKvJournalHeader head{};
  uint64_t existingBase = 0;
  const bool continued = ::pread(fd, head.data(), head.size(), 0) == ssize_t(head.size()) &&
                         KvJournal_DecodeHeader(head.data(), head.size(), existingBase);
  bool ok;
  if (continued) {
    // A torn last record is cut off, so that new records start at a record's place.
    const off_t records = (st.st_size - KvJournal_HeaderSize) / KvJournal_RecordSize;
    ok = ::ftruncate(fd, KvJournal_HeaderSize + records * KvJournal_RecordSize) == 0 &&
         ::lseek(fd, 0, SEEK_END) >= 0;
    FSequence = uint32_t(records);
  } else {
    const TKvJournalHeader header = KvJournal_EncodeHeader(base, started);
    ok = ::ftruncate(fd, 0) == 0 && WriteAll(fd, header.data(), header.size()) &&
         ::fdatasync(fd) == 0;
    FSequence = 0;
    SyncFolder(fileName);
  }
  if (!ok) {
    FError = ErrnoText(fileName, errno);
    ::close(fd);
    return false;
  }
  FFd = fd;
  {
    std::lock_guard<std::mutex> lock(FLock);
    FQueue.clear();
    FQueued = FWritten = FDropped = 0;
    FStop = FFlushWanted = FIdle = false;
    FError.clear();
  }
  FThread = std::thread([this] { Run(); });
  return true;
}

bool TKvJournalWriter::Append(const TKvReadingValues& r, bool wait) {
  if (FFd < 0) return false;
  const TKvJournalRecord record = KvJournal_EncodeRecord(FSequence, r);
  bool wake;
  {
    std::unique_lock<std::mutex> lock(FLock);
    if (!FError.isEmpty()) return false;
    if (FQueue.size() >= QueueBound) {
      if (!wait) {
        ++FDropped;
        return false;
      }
      FDone.wait(lock, [this] { return FQueue.size() < QueueBound || !FError.isEmpty(); });
      if (!FError.isEmpty()) return false;
    }
    FQueue.push_back(record);
    ++FQueued;
    wake = FIdle;
    FIdle = false;
  }
  ++FSequence;
  if (wake) FWake.notify_one();
  return true;
}

void TKvJournalWriter::Flush() {
  if (FFd < 0) return;
  std::unique_lock<std::mutex> lock(FLock);
  const uint64_t target = FQueued;
  FFlushWanted = true;
  FWake.notify_one();
  FDone.wait(lock, [&] { return FWritten >= target || !FError.isEmpty(); });
}

void TKvJournalWriter::Close() {
  if (FFd < 0) return;
  {
    std::lock_guard<std::mutex> lock(FLock);
    FStop = true;
  }
  FWake.notify_one();
  FThread.join();
  ::close(FFd);  // drops the lock too
  FFd = -1;
}

uint64_t TKvJournalWriter::Dropped() const {
  std::lock_guard<std::mutex> lock(FLock);
  return FDropped;
}

QString TKvJournalWriter::ErrorText() const {
  std::lock_guard<std::mutex> lock(FLock);
  return FError;
}

void TKvJournalWriter::Run() {
  std::vector<TKvJournalRecord> batch;
  batch.reserve(1024);
  std::unique_lock<std::mutex> lock(FLock);
  for (;;) {
    FIdle = true;
    FWake.wait(lock, [this] { return FStop || !FQueue.empty() || FFlushWanted; });
    FIdle = false;
    FFlushWanted = false;
    batch.swap(FQueue);
    const bool stop = FStop;
    lock.unlock();
    FDone.notify_all();  // room again for appends that wait

    bool ok = true;
    if (!batch.empty()) {
      ok = WriteAll(FFd, batch.front().data(), batch.size() * KvJournal_RecordSize) &&
           ::fdatasync(FFd) == 0;
    }
    const int err = errno;
    lock.lock();
    if (!ok && FError.isEmpty()) FError = QString::fromLocal8Bit(std::strerror(err));
    FWritten += batch.size();
    batch.clear();
    FDone.notify_all();
    if (stop && FQueue.empty()) return;
    // Readings gather for a while, so that one sync serves many of them.
    if (!FStop && !FFlushWanted)
      FWake.wait_for(lock, std::chrono::milliseconds(SyncIntervalMs),
                     [this] { return FStop || FFlushWanted; });
  }
}
