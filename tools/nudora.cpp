// The nudora command-line program: runs the library's pipeline over files.
#include <CLI/CLI.hpp>

#include <cstdio>

#include "Commands.h"

int main(int argc, char** argv) {
  CLI::App app{"nudora: camera video processing on OpenGL ES"};
  app.require_subcommand(1);
  app.set_version_flag("--version", NUDORA_TOOL_VERSION);

  nudora::tool::addInfoCommand(app);
  nudora::tool::addPassThroughCommand(app);
  nudora::tool::addStillCommand(app);
  nudora::tool::addSynthCommand(app);
  nudora::tool::addProcessCommand(app);
  nudora::tool::addStylesCommand(app);
  nudora::tool::addLensesCommand(app);
  nudora::tool::addSyncCommand(app);
  nudora::tool::addBurstCommand(app);

  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& e) {
    return app.exit(e);
  }
  return nudora::tool::exitCode();
}
