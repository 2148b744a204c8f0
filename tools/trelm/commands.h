#pragma once
// The subcommands of the trelm tool. Each add...Command function adds one subcommand with its
// options to the program and, when that subcommand is chosen, sets the session's action to
// run it. The action returns the exit status or throws ToolError.

#include "cliCommon.h"

namespace CLI
{
class App;
}

namespace trelm::cli
{
void addInfoCommand(CLI::App& app, Session& session);
void addWeldCommand(CLI::App& app, Session& session);
void addCleanCommand(CLI::App& app, Session& session);
void addNormalsCommand(CLI::App& app, Session& session);
void addCurvatureCommand(CLI::App& app, Session& session);
void addClosestCommand(CLI::App& app, Session& session);
void addRaycastCommand(CLI::App& app, Session& session);
void addRenderCommand(CLI::App& app, Session& session);
void addFlattenCommand(CLI::App& app, Session& session);
void addPackCommand(CLI::App& app, Session& session);
void addMergeCommand(CLI::App& app, Session& session);
void addConvertCommand(CLI::App& app, Session& session);
}  // namespace trelm::cli
