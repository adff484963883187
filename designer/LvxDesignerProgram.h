#pragma once
// LvxDiagramDesigner: the diagram designer as a program of its own. It opens the designer on a
// new diagram, or on the ".dgr" file named on the command line, through the same editor module
// a host would use; the designer's own New, Open and Save work on files from there, and its
// Run, Step and Stop run the live diagrams drawn in it.
#include <QStringList>
#include <memory>

class QWidget;
class TKvDiagram;
class TDmKvDiagramEditor;

class TLvxDesignerProgram {
 public:
  // arguments: the command line after the program's name.
  explicit TLvxDesignerProgram(const QStringList& arguments);
  ~TLvxDesignerProgram();
  TLvxDesignerProgram(const TLvxDesignerProgram&) = delete;
  TLvxDesignerProgram& operator=(const TLvxDesignerProgram&) = delete;

  TDmKvDiagramEditor& Module() { return *FModule; }
  // The diagram the designer was opened on; it holds the designer's scene after the close.
  TKvDiagram& Document() { return *FDocument; }
  QString FileName() const { return FFileName; }
  // Shows the designer until the user closes it; the program's exit code.
  int Run();

 private:
  QString FFileName;
  std::unique_ptr<QWidget> FOwner;
  TKvDiagram* FDocument = nullptr;
  std::unique_ptr<TDmKvDiagramEditor> FModule;
};
