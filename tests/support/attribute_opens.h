#pragma once

#include <functional>
#include <string>

/// What happens right after the executable that has attribute_opens.cpp has opened a file below /sys: called
/// with its path. Nothing unless a test sets it.
std::function<void(const std::string &path)> &after_attribute_open();
