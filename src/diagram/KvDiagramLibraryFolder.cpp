#include "KvDiagramLibraryFolder.h"

#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QFileInfo>

namespace {
const QString LibrariesName = QStringLiteral("Libraries");

void CopyTree(const QString& from, const QString& to) {
  QDir().mkpath(to);
  QDirIterator it(from, QDir::Files | QDir::Dirs | QDir::NoDotAndDotDot,
                  QDirIterator::Subdirectories);
  const QDir source(from);
  while (it.hasNext()) {
    const QString path = it.next();
    const QString target = to + '/' + source.relativeFilePath(path);
    if (it.fileInfo().isDir())
      QDir().mkpath(target);
    else
      QFile::copy(path, target);
  }
}
}  // namespace

QString KvDiagram_LibraryFolder(const QString& programDir, const QString& userDataDir) {
  const QString beside = programDir + '/' + LibrariesName;
  const QString installed = QDir::cleanPath(programDir + "/../share/lvxreader");
  // A build, or a copy placed beside the executable on purpose; made on the first addition.
  if (QFileInfo::exists(beside) || !QFileInfo(installed).isDir()) return beside;
  const QString own = userDataDir + '/' + LibrariesName;
  const QString shipped = installed + '/' + LibrariesName;
  if (!QFileInfo::exists(own) && QFileInfo(shipped).isDir()) CopyTree(shipped, own);
  return own;
}
