#pragma once

/// What beamctl tells the shell; beamctl(1) lists them.
enum ExitCode : int {
  kExitDone = 0,
  kExitRefused = 1,      ///< by the daemon; `check` found errors; the output could not be written
  kExitUsage = 2,        ///< wrong usage
  kExitUnreachable = 3,  ///< the bus or the daemon is not there, or does not answer in time
  kExitNotAllowed = 4,   ///< by the bus policy
  kExitNotFound = 5,     ///< no such light or property
};
