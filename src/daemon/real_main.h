#pragma once

/// The whole life of the process. Returns its exit status: 0 after a normal end, 1 when the options are
/// wrong. Exits with 1 when the daemon cannot be set up.
int real_main(int argc, char **argv);
