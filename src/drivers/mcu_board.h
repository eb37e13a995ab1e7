#pragma once

#include <optional>
#include <span>
#include <string>

#include "daemon/unique_fd.h"
#include "drivers/regulator.h"
#include "led/light_illumination.h"

/// An illumination board whose micro-controller the kernel offers as a folder of attribute files, the light's
/// `basepath`: one file a channel, `led0`, `led1` and so on, which takes its level as decimal text.

/// What setup of one kind of board says and does differently.
struct McuBoard {
  std::span<const char *const> channels;
  IlluminationTexts illumination;
  SensorLimit sensors;
};

/// Looks for the board, loads the illumination table, lets user light's group have the channels and
/// configures the regulator. The board is there unless its mark, the file QXID, says otherwise: one whose
/// file begins with "0" or cannot be opened is not, with error #LIGHT_CONTROL_ERROR_NO_BOARD; nor is one with
/// an empty file, without an error. A missing board does not keep the rest from being done. FALSE, logged,
/// when any of it failed.
bool set_up_mcu_board(LedBase *light, const McuBoard &board, RegulatorConfig *regulator, GError **error);

/// The path of the board's mark, the file QXID; none when it has none: such a board is always there.
std::optional<std::string> mcu_board_mark(const LedBase *light);

/// Says that the board is not there, with error #LIGHT_CONTROL_ERROR_NO_BOARD. Returns FALSE.
bool refuse_mcu_board(GError **error);

/// Lets user light's group have the attribute files @p names, in this order. FALSE, logged, at the first
/// failure.
bool give_mcu_files_to_light(const LedBase *light, std::span<const char *const> names);

/// Opens channel @p number for writing. Not valid, which is logged, when that failed.
UniqueFd open_mcu_channel(const LedBase *light, int number);

/// Writes @p value to channel @p number; FALSE, logged, when that failed.
bool write_mcu_channel(const UniqueFd &channel, int number, gint value);
