#pragma once

// What nearly every test includes, parsed once for all of them; each still names what it uses.

#include <gio/gio.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>
