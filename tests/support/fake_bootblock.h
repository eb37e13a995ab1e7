#pragma once

#include <cerrno>
#include <optional>
#include <string>
#include <vector>

/// What the executable that has fake_bootblock.cpp finds in the boot-parameter store, whatever it asks for.
struct FakeBootblock {
  std::optional<std::string> value;
  int error = ENOENT;  ///< errno when there is no value
  std::vector<std::string> asked;
};

FakeBootblock &fake_bootblock();
