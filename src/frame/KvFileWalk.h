#pragma once
// The neighbours of a document inside its folder, for Next and Previous. Entries come in the
// order the file system delivers them (readdir), not sorted, so the walk follows what the
// folder itself holds; names compare exactly, case included.
#include <QString>

// "/docs/a.dat" -> "/docs/", "a.dat" -> "".
QString KvFile_ExtractPath(const QString& fileName);
// "/docs/a.dat" -> "a.dat".
QString KvFile_ExtractName(const QString& fileName);
// "/docs/a.b.dat" -> ".dat"; "" when the name has no point.
QString KvFile_ExtractExt(const QString& fileName);

// The entry after `fileName` among the entries of its folder that match "*" + ext, with its
// folder; "" when fileName is the last one or is not there. A name without a file part (the
// folder alone) asks for the first entry.
QString KvFile_FindNext(const QString& fileName, const QString& ext);
// The entry before `fileName`; "" when it is the first one or is not there.
QString KvFile_FindPrev(const QString& fileName, const QString& ext);
