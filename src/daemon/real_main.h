#pragma once

/// The whole life of the process. Returns its exit status: 0 after a normal end, 1 when the options are
/// wrong. Exits with 1 when detaching, the setup or the privilege drop fails.
int real_main(int argc, char **argv);
