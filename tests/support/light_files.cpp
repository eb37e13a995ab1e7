#include "support/light_files.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <system_error>
#include <vector>

namespace {

struct Entry {
  std::string group, key, value;
};

std::vector<Entry> complete_state() {
  return {
      {"common", "intensityHIGH", "100"},
      {"common", "syncdaynight", "true"},
      {"common", "enable", "true"},
      {"common", "automaticintensity", "false"},
      {"common", "manualangleofillumination", "35"},
      {"common", "usepowerrequest", "false"},
      {"common", "rampdown_time", "250000"},
      {"common", "intensityLOW", "10"},
      {"common", "intensity", "80"},
      {"common", "manualintensity", "60"},
      {"common", "max_brightness_level", "255"},
      {"common", "nbrofinterfaces", "3"},
      {"common", "ledtype", "IR"},
      {"common", "usemanualoverride", "true"},
      {"common", "individualintensitysupport", "true"},
      {"common", "intensities", "20;40;"},
      {"common", "powerusagefactor", "0.0025"},
      {"common", "required_total_power", "0.0"},
      {"common", "minimum_poe_class", "0"},
      {"zoom", "automaticangleofillumination", "true"},
      {"zoom", "angleofillumination", "50"},
      {"zoom", "angleofilluminationLOW", "0"},
      {"zoom", "angleofilluminationHIGH", "90"},
  };
}

void set(std::vector<Entry> &entries, const std::string &group, const std::string &key,
         const std::string &value) {
  for (auto &entry : entries) {
    if (entry.group == group && entry.key == key) {
      entry.value = value;
      return;
    }
  }
  auto after_group = entries.end();
  for (auto entry = entries.begin(); entry != entries.end(); ++entry) {
    if (entry->group == group)
      after_group = std::next(entry);
  }
  entries.insert(after_group, Entry{group, key, value});
}

}  // namespace

void write_file(const std::string &path, const std::string &text) {
  ASSERT_TRUE(std::getenv("BEAMD_TEST_WORK")) << "run this test with tests/support/in_sandbox";
  std::error_code ignored;
  std::filesystem::create_directories(std::filesystem::path{path}.parent_path(), ignored);
  std::ofstream file{path, std::ios::binary | std::ios::trunc};
  file << text;
  file.close();
  ASSERT_TRUE(file.good()) << "cannot write " << path;
}

std::string read_file(const std::string &path) {
  std::ifstream file{path, std::ios::binary};
  EXPECT_TRUE(file.good()) << "cannot read " << path;
  return {std::istreambuf_iterator<char>{file}, {}};
}

std::string state_text(const StateOverrides &overrides) {
  auto entries = complete_state();
  for (const auto &override : overrides) {
    const auto &name = override.first;
    if (override.second)
      set(entries, name.first, name.second, *override.second);
    else
      std::erase_if(entries, [&](const Entry &entry) { return std::pair{entry.group, entry.key} == name; });
  }

  std::string text;
  std::string group;
  for (const auto &entry : entries) {
    if (entry.group != group) {
      group = entry.group;
      text += (text.empty() ? "[" : "\n[") + group + "]\n";
    }
    text += entry.key + "=" + entry.value + "\n";
  }
  return text;
}

LightFiles::LightFiles(int light_id)
    : state_path_{"/etc/beamd/led" + std::to_string(light_id) + ".conf"},
      defaults_path_{"/usr/share/beamd/led" + std::to_string(light_id) + ".conf"} {}

LightFiles::~LightFiles() {
  std::error_code ignored;
  std::filesystem::remove(state_path_, ignored);
  std::filesystem::remove(state_path_ + ".tmp", ignored);
  std::filesystem::remove(defaults_path_, ignored);
}
