// LvxDiagramDesigner: the designer window for one diagram file, and nothing around it.
#include "KvApplication.h"
#include "LvxDesignerProgram.h"

int main(int argc, char* argv[]) {
  TKvApplication app(argc, argv);
  app.setApplicationName(QStringLiteral("LvxDiagramDesigner"));
  QStringList arguments = app.arguments();
  arguments.removeFirst();
  try {
    TLvxDesignerProgram program(arguments);
    return program.Run();
  } catch (const std::exception& e) {
    KvApplication_HandleException(QString::fromUtf8(e.what()));
    return 1;
  }
}
