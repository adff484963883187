// LvxReader: the start and stop order of the program around its message loop.
#include "KvApplication.h"
#include "LvxProgram.h"

int main(int argc, char* argv[]) {
  TKvApplication app(argc, argv);
  TLvxProgram program;
  const int result = program.Run(app);
  // The log was written by the close query; what comes after it is not kept.
  program.Shutdown();
  return result;
}
