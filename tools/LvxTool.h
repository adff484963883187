#pragma once
// lvxtool's subcommands register themselves, one file each, so that the tool grows with the
// libraries it drives without a central list.
#include <QStringList>
#include <QTextStream>
#include <functional>

struct TLvxToolCommand {
  const char* Name;
  const char* Usage;
  // Arguments after the command name; returns the exit code.
  std::function<int(const QStringList& args, QTextStream& out, QTextStream& err)> Run;
  // Commands that build widgets (the diagram engine) run under a GUI application, headless
  // when there is no display.
  bool NeedsGui = false;
  // What `lvxtool help NAME` prints below the usage line: every option and argument.
  const char* Help = "";
};

struct TLvxToolRegistration {
  explicit TLvxToolRegistration(TLvxToolCommand command);
};

const std::vector<TLvxToolCommand>& LvxTool_Commands();
