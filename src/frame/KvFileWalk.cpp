#include "KvFileWalk.h"

#include <dirent.h>
#include <fnmatch.h>
#include <sys/stat.h>
#include <unistd.h>

#include <QFile>
#include <functional>

namespace {

// One pass over the folder's matching entries; the visitor returns false to stop.
void ForEachEntry(const QString& folder, const QString& ext,
                  const std::function<bool(const QString& name)>& visit) {
  const QByteArray dirName = QFile::encodeName(folder.isEmpty() ? QStringLiteral(".") : folder);
  DIR* dir = opendir(dirName.constData());
  if (!dir) return;
  const QByteArray mask = QFile::encodeName(QStringLiteral("*") + ext);
  while (const dirent* entry = readdir(dir)) {
    if (fnmatch(mask.constData(), entry->d_name, 0) != 0) continue;
    if (!visit(QFile::decodeName(entry->d_name))) break;
  }
  closedir(dir);
}

// The attributes that let the first entry count: a regular file carries the archive mark,
// a hidden or unwritable entry its own; a plain folder carries none.
bool HasFileAttributes(const QString& path, const QString& name) {
  struct stat st;
  if (stat(QFile::encodeName(path).constData(), &st) != 0) return false;
  const bool hidden = name.startsWith(QLatin1Char('.'));
  const bool readOnly = access(QFile::encodeName(path).constData(), W_OK) != 0;
  return S_ISREG(st.st_mode) || hidden || readOnly;
}

bool IsTheFile(const QString& folder, const QString& entry, const QString& fileName,
               const QString& ext) {
  if (folder + entry != fileName) return false;
  return ext.isEmpty() || KvFile_ExtractExt(fileName) == ext || ext == QLatin1String(".*");
}

}  // namespace

QString KvFile_ExtractPath(const QString& fileName) {
  return fileName.left(fileName.lastIndexOf(QLatin1Char('/')) + 1);
}

QString KvFile_ExtractName(const QString& fileName) {
  return fileName.mid(fileName.lastIndexOf(QLatin1Char('/')) + 1);
}

QString KvFile_ExtractExt(const QString& fileName) {
  const QString name = KvFile_ExtractName(fileName);
  const int dot = name.lastIndexOf(QLatin1Char('.'));
  return dot < 0 ? QString() : name.mid(dot);
}

QString KvFile_FindNext(const QString& fileName, const QString& ext) {
  const QString folder = KvFile_ExtractPath(fileName);
  const bool first = KvFile_ExtractName(fileName).isEmpty();
  QString result;
  bool found = false, atFirst = true;
  ForEachEntry(folder, ext, [&](const QString& entry) {
    if (found) {
      result = folder + entry;
      return false;
    }
    if (atFirst && first) {
      atFirst = false;
      if (HasFileAttributes(folder + entry, entry)) {
        result = folder + entry;
        return false;
      }
      found = true;  // the next entry is delivered instead
      return true;
    }
    atFirst = false;
    found = IsTheFile(folder, entry, fileName, ext);
    return true;
  });
  return result;
}

QString KvFile_FindPrev(const QString& fileName, const QString& ext) {
  const QString folder = KvFile_ExtractPath(fileName);
  QString kept, result;
  ForEachEntry(folder, ext, [&](const QString& entry) {
    if (IsTheFile(folder, entry, fileName, ext)) {
      result = kept;
      return false;
    }
    kept = folder + entry;
    return true;
  });
  return result;
}
