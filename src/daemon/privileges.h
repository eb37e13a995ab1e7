#pragma once

/// Makes the process run as user and group "light" with that user's supplementary groups, for good.
/// False when a step failed (logged at LOG_ERR); the steps before it are not taken back.
bool drop_privileges();
