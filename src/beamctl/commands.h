#pragma once

#include <span>

#include "beamctl/command_line.h"
#include "beamctl/exit_codes.h"

int angle_command(const Invocation &invocation);
int check_command(const Invocation &invocation);
int disable_command(const Invocation &invocation);
int enable_command(const Invocation &invocation);
int get_command(const Invocation &invocation);
int intensity_command(const Invocation &invocation);
int list_command(const Invocation &invocation);
int monitor_command(const Invocation &invocation);
int off_command(const Invocation &invocation);
int on_command(const Invocation &invocation);
int set_command(const Invocation &invocation);
int show_command(const Invocation &invocation);

/// All subcommands, in the order of the help.
std::span<const Command> all_commands();
