#pragma once

#include "led/led_base.h"

/// An illumination board whose micro-controller the kernel offers as a folder of attribute files, the light's
/// `basepath`.

/// Whether the board is there: it is unless its mark, the file QXID, says otherwise. One whose file begins
/// with "0" or cannot be opened is not, with error #LIGHT_CONTROL_ERROR_NO_BOARD; nor is one with an empty
/// file, without an error.
bool is_mcu_board_present(const LedBase *light, GError **error);

/// Lets user light's group have the attribute file @p name. FALSE when that failed, logged at LOG_ERR.
bool give_mcu_file_to_light(const LedBase *light, const char *name);
