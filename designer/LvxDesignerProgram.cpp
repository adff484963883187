#include "LvxDesignerProgram.h"

#include <QFileInfo>
#include <QWidget>

#include "KvDiagram.h"
#include "LiveDiagram.h"
#include "UDmDgrEditorActions.h"
#include "UDmKvDiagramEditor.h"
#include "UFmDiagramEditor.h"

TLvxDesignerProgram::TLvxDesignerProgram(const QStringList& arguments)
    : FOwner(std::make_unique<QWidget>()) {
  if (!arguments.isEmpty()) FFileName = QFileInfo(arguments.first()).absoluteFilePath();
  FDocument = new TKvDiagram(FOwner.get());
  FModule = std::make_unique<TDmKvDiagramEditor>();
  // Live diagrams drawn here really run: Run, Step and Stop drive the designer's own diagram.
  FModule->DiagramEditor1->FDiagramClass = [] { return new TLiveDiagram(); };
}

TLvxDesignerProgram::~TLvxDesignerProgram() {
  FModule.reset();
  FOwner.reset();
}

int TLvxDesignerProgram::Run() {
  // A file that does not exist yet is where the first save goes.
  if (!FFileName.isEmpty() && QFileInfo::exists(FFileName)) FDocument->LoadFromFile(FFileName);
  FModule->DiagramEditor1->OnCreateDesigner = [this](TfmDiagramEditor* form) {
    form->Actions()->SetFileName(FFileName);
  };
  FModule->EditorExecute(FDocument);
  return 0;
}
