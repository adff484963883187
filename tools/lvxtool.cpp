#include "LvxTool.h"

#include <QCoreApplication>
#include <cstdio>

namespace {
std::vector<TLvxToolCommand>& Registry() {
  static std::vector<TLvxToolCommand> commands;
  return commands;
}

void Usage(QTextStream& err) {
  err << "usage:\n";
  for (const TLvxToolCommand& c : Registry()) err << "  lvxtool " << c.Usage << "\n";
}
}  // namespace

TLvxToolRegistration::TLvxToolRegistration(TLvxToolCommand command) {
  Registry().push_back(std::move(command));
}

const std::vector<TLvxToolCommand>& LvxTool_Commands() {
  return Registry();
}

int main(int argc, char** argv) {
  QCoreApplication app(argc, argv);
  QTextStream out(stdout), err(stderr);
  QStringList args = app.arguments().mid(1);
  if (args.isEmpty()) {
    Usage(err);
    return 2;
  }
  const QString name = args.takeFirst();
  for (const TLvxToolCommand& c : Registry())
    if (name == QLatin1String(c.Name)) {
      int rc = c.Run(args, out, err);
      out.flush();
      err.flush();
      return rc;
    }
  err << "lvxtool: unknown command '" << name << "'\n";
  Usage(err);
  return 2;
}
