#pragma once

#include <sys/socket.h>
#include <sys/un.h>

#include <cstring>
#include <functional>
#include <limits>
#include <string>
#include <utility>
#include <vector>

#include "daemon/unique_fd.h"
#include "support/led_driver_fixture.h"

inline const Outcome kNoBoard = refused_board("No IR light PCB found");

/// A file as a driver may find it.
struct FoundFile {
  std::string name;
  std::function<void(const std::string &path)> make;
};

inline void PrintTo(const FoundFile &found, std::ostream *stream) { *stream << found.name; }

inline FoundFile with_content(const std::string &name, const std::string &text) {
  return {name, [text](const std::string &path) { write_file(path, text); }};
}

inline FoundFile missing_file() {
  return {"Missing", [](const std::string &) {}};
}

/// It opens for reading only, and cannot be read.
inline FoundFile folder() {
  return {"Folder", [](const std::string &path) { std::filesystem::create_directory(path); }};
}

/// It is there, and does not open.
inline FoundFile unopenable_file() {
  return {"Unopenable", [](const std::string &path) {
            sockaddr_un address{.sun_family = AF_UNIX, .sun_path = {}};
            std::strncpy(address.sun_path, path.c_str(), sizeof address.sun_path - 1);
            const UniqueFd socket_fd{socket(AF_UNIX, SOCK_STREAM, 0)};
            ASSERT_EQ(bind(socket_fd.get(), reinterpret_cast<const sockaddr *>(&address), sizeof address), 0);
          }};
}

inline FoundFile fifo_without_a_writer() {
  return {"FifoWithoutAWriter",
          [](const std::string &path) { ASSERT_EQ(mkfifo(path.c_str(), 0600), 0) << path; }};
}

inline FoundFile link_to(const std::string &name, const std::string &target) {
  return {name, [target](const std::string &path) { std::filesystem::create_symlink(target, path); }};
}

/// Puts what is found in the place of what is there.
inline void replace(const std::string &path, const FoundFile &found) {
  std::filesystem::remove_all(path);
  found.make(path);
}

inline size_t open_descriptors() {
  const std::filesystem::directory_iterator all{"/proc/self/fd"};
  return static_cast<size_t>(std::distance(begin(all), end(all)));
}

/// A board behind a micro-controller, whose folder holds its mark and a file for each output, and the light
/// on it.
class McuLight : public LedDriver {
 protected:
  static constexpr const char *kFolder = "/sys/class/light";
  static constexpr const char *kMark = "/sys/class/light/QXID";

  explicit McuLight(int outputs) {
    write_file(kMark, "1");
    for (int output = 0; output < outputs; ++output)
      files_.push_back(output_file(output));
    make_files_anew();
    attribute_writes() = {};
  }

  static std::string output_file(int output) {
    return std::string{kFolder} + "/led" + std::to_string(output);
  }

  /// A light of the board, not set up yet, of full intensity and granted all that it needs.
  static LightPointer board_light(GType type, int leds) {
    auto light = make_light(type, leds);
    light->basepath = g_strdup(kFolder);
    light->intensity = 100;
    light->power_intensity = std::numeric_limits<gdouble>::infinity();
    return light;
  }

  static void expect_no_descriptor_left_open(const LightPointer &light) {
    const auto before = open_descriptors();
    for (const bool on : {true, false})
      EXPECT_EQ(activate(light, on), kDone);
    EXPECT_EQ(open_descriptors(), before);
  }

  static bool has_illumination_table(const LightPointer &light, gint leds) {
    return light->illumination_table != nullptr && light->nbr_of_leds == leds;
  }

  static bool is_given(const std::string &path) { return access_of(path).group == primary_group("light"); }
  bool are_all_given() const { return std::all_of(files_.begin(), files_.end(), is_given); }

  void make_files_anew() const {
    for (const auto &path : files_) {
      std::filesystem::remove_all(path);
      write_fresh_file(path);
    }
  }

  static std::string failed_chown(const std::string &path) {
    return "Failed to chown " + path + " to gid " + std::to_string(primary_group("light"));
  }

  /// Sets up @p light and forgets what was said of that.
  LightPointer set_up_silently(LightPointer light) {
    EXPECT_EQ(set_up(light), kDone);
    log_.clear();
    return light;
  }

  /// The writes to the board since this was asked last, as "led0=TEXT".
  static std::vector<std::string> written() {
    const std::string folder = std::string{kFolder} + "/";
    std::vector<std::string> writes;
    for (const auto &write : std::exchange(attribute_writes().tried, {}))
      if (write.starts_with(folder))
        writes.push_back(write.substr(folder.size()));
    return writes;
  }

  /// Lets the next write to output @p output fail, with this.
  static void fail_write(int output, int error) {
    attribute_writes().failures[output_file(output)] = {error};
  }

  std::vector<std::string> files_;
};
