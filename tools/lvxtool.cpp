#include "LvxTool.h"

#include <QApplication>
#include <QRegularExpression>
#include <algorithm>
#include <cstdio>
#include <memory>

namespace {
std::vector<TLvxToolCommand>& Registry() {
  static std::vector<TLvxToolCommand> commands;
  return commands;
}

const TLvxToolCommand* Find(const QString& name) {
  for (const TLvxToolCommand& c : Registry())
    if (name == QLatin1String(c.Name)) return &c;
  return nullptr;
}

void Usage(QTextStream& s) {
  s << "usage: lvxtool COMMAND [OPTION]... [ARG]...\n"
       "       lvxtool help [COMMAND]\n\n"
       "Reads captured meter streams and the reader's documents and diagrams offline.\n\n"
       "Commands:\n";
  for (const TLvxToolCommand& c : Registry()) s << "  lvxtool " << c.Usage << "\n";
  s << "\nOptions:\n"
       "  -h, --help  show this help, or a command's help after its name\n";
}

void CommandHelp(const TLvxToolCommand& c, QTextStream& s) {
  s << "usage: lvxtool " << c.Usage << "\n";
  if (*c.Help) s << "\n" << c.Help;
}

bool IsHelp(const QString& arg) {
  return arg == QLatin1String("--help") || arg == QLatin1String("-h");
}

// An argument that looks like an option but is not among the options the command's usage line
// names; "-" alone is standard input, and negative numbers are values.
QString UnknownOption(const TLvxToolCommand& c, const QStringList& args) {
  static const QRegularExpression option("^--?[A-Za-z]");
  static const QRegularExpression named("--?[A-Za-z][A-Za-z0-9-]*");
  QStringList known;
  for (auto it = named.globalMatch(QString::fromUtf8(c.Usage)); it.hasNext();)
    known << it.next().captured();
  for (const QString& arg : args)
    if (option.match(arg).hasMatch() && !known.contains(arg)) return arg;
  return {};
}

int Help(const QStringList& args, QTextStream& out, QTextStream& err) {
  if (args.isEmpty()) {
    Usage(out);
    return 0;
  }
  const TLvxToolCommand* c = Find(args.first());
  if (!c || args.size() > 1) {
    err << "lvxtool: no such command '" << args.first() << "'; see 'lvxtool --help'\n";
    return 2;
  }
  CommandHelp(*c, out);
  return 0;
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

int Dispatch(QStringList args, QTextStream& out, QTextStream& err) {
  if (args.isEmpty()) {
    Usage(err);
    return 2;
  }
  const QString name = args.takeFirst();
  if (IsHelp(name)) return Help({}, out, err);
  if (name == QLatin1String("help")) return Help(args, out, err);
  if (name.startsWith('-')) {
    err << "lvxtool: unknown option '" << name << "'; see 'lvxtool --help'\n";
    return 2;
  }
  const TLvxToolCommand* c = Find(name);
  if (!c) {
    err << "lvxtool: unknown command '" << name << "'; see 'lvxtool --help'\n";
    return 2;
  }
  if (std::any_of(args.begin(), args.end(), IsHelp)) {
    CommandHelp(*c, out);
    return 0;
  }
  const QString unknown = UnknownOption(*c, args);
  if (!unknown.isEmpty()) {
    err << "lvxtool " << name << ": unknown option '" << unknown << "'; see 'lvxtool help " << name
        << "'\n";
    return 2;
  }
  return c->Run(args, out, err);
}
}  // namespace

int main(int argc, char** argv) {
  auto app = MakeApplication(argc, argv);
  QTextStream out(stdout), err(stderr);
  const int rc = Dispatch(app->arguments().mid(1), out, err);
  out.flush();
  err.flush();
  return rc;
}
