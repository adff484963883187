#pragma once
// Where the diagram libraries are read from and "Add to Library" writes to. A build keeps
// them beside its executable, in "Libraries". An installed program finds the libraries it
// came with in PREFIX/share/lvxreader/Libraries, which belongs to the package and is not the
// user's to change: the user works on a copy in their own data folder, made on first use.
#include <QString>

// programDir: the executable's folder; userDataDir: the user's own data folder of the program.
QString KvDiagram_LibraryFolder(const QString& programDir, const QString& userDataDir);
