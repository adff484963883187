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
};

struct TLvxToolRegistration {
  explicit TLvxToolRegistration(TLvxToolCommand command);
};

const std::vector<TLvxToolCommand>& LvxTool_Commands();
