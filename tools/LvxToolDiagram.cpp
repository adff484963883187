// lvxtool diagram: converts diagram files between the text and the binary object stream,
// and renders them to PNG, all through the diagram model.
#include <QFile>
#include <QFileInfo>
#include <QImage>
#include <QWidget>

#include "KvDiagram.h"
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

int Diagram(const QStringList& args, QTextStream&, QTextStream& err) {
  const QString sub = args.value(0);
  try {
    if (sub == QLatin1String("convert")) return Convert(args.mid(1), err);
    if (sub == QLatin1String("render")) return Render(args.mid(1), err);
  } catch (const std::exception& e) {
    err << QString::fromUtf8(e.what()) << "\n";
    return 1;
  }
  err << "usage: lvxtool diagram convert IN OUT | render [--zoom PERCENT] IN OUT.png\n";
  return 2;
}

TLvxToolRegistration reg({"diagram",
                          "diagram convert IN OUT | diagram render [--zoom PERCENT] IN OUT.png",
                          Diagram, true,
                          "convert: loads a diagram (the text form, or the binary object stream\n"
                          "when IN begins with TPF0) and saves it by OUT's extension: .dgr the\n"
                          "text form, anything else the binary stream.\n"
                          "render: draws the diagram IN into the picture OUT.png.\n\n"
                          "  --zoom PERCENT  scale of the picture (default 100)\n"});
}  // namespace
