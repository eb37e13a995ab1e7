#pragma once

#include <optional>
#include <string>

#include "led/led_base.h"

/// The path of @p name in the light's `basepath`; none when the light has no `basepath`.
std::optional<std::string> board_file_path(const LedBase *light, const char *name);

/// What reading the first byte of a file came to.
enum class FirstByte {
  kNotOpened,  ///< errno tells why
  kNotRead,    ///< errno tells why
  kMissing,    ///< the file is empty
  kRead,
};

/// Reads the first byte of the file at @p path into @p byte, which is left alone unless kRead is returned.
FirstByte read_first_byte(const std::string &path, char *byte);
