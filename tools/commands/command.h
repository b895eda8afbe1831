// What the commands of sorn-tool share. Each command is a file of its own: it adds itself to the
// program's command line, and leaves its exit status when it has run.
#ifndef TOOLS_COMMANDS_COMMAND_H
#define TOOLS_COMMANDS_COMMAND_H

#include <fmt/format.h>

#include <CLI/App.hpp>
#include <string>

#include "terminal/failure.h"

void add_play(CLI::App &app, Exit &status);
void add_info(CLI::App &app, Exit &status);
void add_check(CLI::App &app, Exit &status);
void add_tree(CLI::App &app, Exit &status);
void add_map(CLI::App &app, Exit &status);
void add_dump(CLI::App &app, Exit &status);
void add_extract(CLI::App &app, Exit &status);
void add_diff(CLI::App &app, Exit &status);
void add_repair(CLI::App &app, Exit &status);

#endif
