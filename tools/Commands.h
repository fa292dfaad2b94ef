#pragma once
// Sub-commands of the nudora program. Each add* function registers one
// sub-command whose callback stores the exit status it ends with.

namespace CLI {
class App;
}

namespace nudora::tool {

void addInfoCommand(CLI::App& app);
void addPassThroughCommand(CLI::App& app);
void addStillCommand(CLI::App& app);
void addSynthCommand(CLI::App& app);
void addProcessCommand(CLI::App& app);
void addStylesCommand(CLI::App& app);
void addLensesCommand(CLI::App& app);
void addSyncCommand(CLI::App& app);
void addBurstCommand(CLI::App& app);

void setExitCode(int code);
int exitCode();

}  // namespace nudora::tool
