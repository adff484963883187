#pragma once
// A build keeps the files the reader reads at run time (skin file, manual) beside its
// executable; an installed reader keeps its executable in PREFIX/bin and those files in
// PREFIX/share/lvxreader, where a package may put them.
#include <QString>

// The folder that holds the run-time files: the program's own folder when the skin file is
// there, else the installed data folder when that has it, else the program's own folder.
QString LvxReader_DataDir();

// Points the skin file and the manual at LvxReader_DataDir(), unless they are set already;
// runs before the frame reads either.
void LvxReader_LocateDataFiles();
