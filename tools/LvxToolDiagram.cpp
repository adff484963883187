// lvxtool diagram: converts diagram files between the text and the binary object stream,
// and renders them to PNG, all through the diagram model.
#include <QFile>
#include <QFileInfo>
#include <QImage>
#include <QWidget>

#include "KvDiagram.h"
#include "KvDiagram_Print.h"
#include "KvObjectStream.h"
#include "LvxTool.h"

namespace {

// A diagram on a form of its own, as the program holds one.
struct TToolDiagram {
  QWidget Form;
  TKvDiagram* Diagram = new TKvDiagram(&Form);
};

void Load(TKvDiagram& d, const QString& fileName) {
  QFile f(fileName);
  if (!f.open(QIODevice::ReadOnly))
    throw EKvFilerError(
        QStringLiteral("Cannot open file \"%1\". %2").arg(fileName, f.errorString()).toStdString());
  const QByteArray bytes = f.readAll();
  d.LoadFromBytes(bytes, !bytes.startsWith("TPF0"));
}

void Save(TKvDiagram& d, const QString& fileName) {
  if (QFileInfo(fileName).suffix().compare(QLatin1String("dgr"), Qt::CaseInsensitive) == 0) {
    d.SaveToFile(fileName);
    return;
  }
  QFile f(fileName);
  if (!f.open(QIODevice::WriteOnly | QIODevice::Truncate))
    throw EKvFilerError(QStringLiteral("Cannot create file \"%1\". %2")
                            .arg(fileName, f.errorString())
                            .toStdString());
  d.SaveToStream(f, false);
}

int Convert(const QStringList& args, QTextStream& err) {
  if (args.size() != 2) {
    err << "usage: lvxtool diagram convert IN OUT\n";
    return 2;
  }
  TToolDiagram t;
  Load(*t.Diagram, args[0]);
  Save(*t.Diagram, args[1]);
  return 0;
}

int Render(QStringList args, QTextStream& err) {
  int zoom = 100;
  if (args.size() == 4 && args[0] == QLatin1String("--zoom")) {
    bool ok = false;
    zoom = args[1].toInt(&ok);
    if (!ok || zoom <= 0) {
      err << "lvxtool: bad zoom '" << args[1] << "'\n";
      return 2;
    }
    args = args.mid(2);
  }
  if (args.size() != 2) {
    err << "usage: lvxtool diagram render [--zoom PERCENT] IN OUT.png\n";
    return 2;
  }
  TToolDiagram t;
  Load(*t.Diagram, args[0]);
  t.Diagram->SetZoom(zoom);
  const QImage img = t.Diagram->ExportAsBMP(esStandard);
  if (!img.save(args[1], "PNG")) {
    err << "lvxtool: cannot write '" << args[1] << "'\n";
    return 2;
  }
  return 0;
}

// Prints through the diagram's own print path into a PDF file at 600 dots per inch.
int PrintPdf(QStringList args, QTextStream& out, QTextStream& err) {
  static const char* usage =
      "usage: lvxtool diagram print IN.dgr OUT.pdf [--pages LIST] [--copies N]\n";
  QString pages;
  int copies = 1;
  QStringList files;
  while (!args.isEmpty()) {
    const QString arg = args.takeFirst();
    if ((arg == QLatin1String("--pages") || arg == QLatin1String("--copies")) && args.isEmpty()) {
      err << usage;
      return 2;
    }
    if (arg == QLatin1String("--pages")) {
      pages = args.takeFirst();
    } else if (arg == QLatin1String("--copies")) {
      bool ok = false;
      copies = args.first().toInt(&ok);
      if (!ok || copies < 1) {
        err << "lvxtool: bad copies '" << args.first() << "'\n";
        return 2;
      }
      args.removeFirst();
    } else {
      files << arg;
    }
  }
  if (files.size() != 2) {
    err << usage;
    return 2;
  }
  TToolDiagram t;
  Load(*t.Diagram, files[0]);
  auto printer = TDiagramRealPrinter::PdfFile(files[1]);
  t.Diagram->Printer = printer.get();
  t.Diagram->PrintSettings.FPageNumbers = pages;
  t.Diagram->PrintSettings.FCopies = copies;
  if (!t.Diagram->Print(false) || printer->PagesPrinted() == 0) {
    err << "lvxtool: nothing printed into '" << files[1] << "'\n";
    return 1;
  }
  out << printer->PagesPrinted() << " of " << t.Diagram->PageCount() << " pages x " << copies
      << " printed into " << files[1] << "\n";
  return 0;
}

int Diagram(const QStringList& args, QTextStream& out, QTextStream& err) {
  const QString sub = args.value(0);
  try {
    if (sub == QLatin1String("convert")) return Convert(args.mid(1), err);
    if (sub == QLatin1String("render")) return Render(args.mid(1), err);
    if (sub == QLatin1String("print")) return PrintPdf(args.mid(1), out, err);
  } catch (const std::exception& e) {
    err << QString::fromUtf8(e.what()) << "\n";
    return 1;
  }
  err << "usage: lvxtool diagram convert IN OUT | render [--zoom PERCENT] IN OUT.png | print "
         "IN.dgr OUT.pdf [--pages LIST] [--copies N]\n";
  return 2;
}

TLvxToolRegistration reg({"diagram",
                          "diagram convert IN OUT | diagram render [--zoom PERCENT] IN OUT.png | "
                          "diagram print IN.dgr OUT.pdf [--pages LIST] [--copies N]",
                          Diagram, true,
                          "convert: loads a diagram (the text form, or the binary object stream\n"
                          "when IN begins with TPF0) and saves it by OUT's extension: .dgr the\n"
                          "text form, anything else the binary stream.\n"
                          "render: draws the diagram IN into the picture OUT.png.\n\n"
                          "print: prints the diagram IN.dgr as the designer prints it, page by\n"
                          "page over the diagram's page settings, into the PDF file OUT.pdf at\n"
                          "600 dots per inch.\n\n"
                          "  --zoom PERCENT  scale of the picture (default 100)\n"
                          "  --pages LIST    pages to print, e.g. 1,3-5; -2 means 1-2, 4- means\n"
                          "                  from 4 to the last page (default all pages)\n"
                          "  --copies N      copies of the whole page list, one after the other\n"
                          "                  (default 1)\n"});
}  // namespace
