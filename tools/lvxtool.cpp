#include "LvxTool.h"

#include <QApplication>
#include <algorithm>
#include <cstdio>
#include <memory>

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

namespace {
std::unique_ptr<QCoreApplication> MakeApplication(int& argc, char** argv) {
  const bool gui =
      argc > 1 && std::any_of(Registry().begin(), Registry().end(), [&](const TLvxToolCommand& c) {
        return c.NeedsGui && qstrcmp(c.Name, argv[1]) == 0;
      });
  if (!gui) return std::make_unique<QCoreApplication>(argc, argv);
  if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM") && qEnvironmentVariableIsEmpty("DISPLAY") &&
      qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY"))
    qputenv("QT_QPA_PLATFORM", "offscreen");
  // The toolkit's own chatter about the session would mix with the command's error texts.
  qInstallMessageHandler([](QtMsgType type, const QMessageLogContext&, const QString& msg) {
    if (type >= QtCriticalMsg) fprintf(stderr, "%s\n", qPrintable(msg));
  });
  return std::make_unique<QApplication>(argc, argv);
}
}  // namespace

int main(int argc, char** argv) {
  auto app = MakeApplication(argc, argv);
  QTextStream out(stdout), err(stderr);
  QStringList args = app->arguments().mid(1);
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
