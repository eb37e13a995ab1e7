#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

/// The kernel's data cache in the executable that has fake_data_cache.cpp: /dev/datacache0 is a FIFO, which
/// is readable while there is news, and its requests are served from here.
class FakeDataCache {
 public:
  struct Request {
    std::string path;  ///< of the file that it was made on
    std::uint32_t number;
    std::vector<std::uint8_t> record;  ///< what it pointed to

    bool operator==(const Request &) const = default;
  };

  /// Makes the device, and without news if there was one already.
  static void plug_in();
  static void unplug();

  /// There is news: the field of view.
  void tell(float degrees);

  int serve(int descriptor, std::uint32_t number, void *record);

  std::vector<Request> requests;
  /// Called before each of them is served, if there is any.
  std::function<void()> on_request;
  int register_result = 1;  ///< the subscription, or a failure
  int unsubscribe_result = 0;
  int read_result = 0;
  /// The news is never taken. It is not either by a read that fails.
  bool stays_readable = false;

 private:
  int read_value(int descriptor, const std::vector<std::uint8_t> &record) const;

  float field_of_view_ = 0.0F;
};

FakeDataCache &fake_data_cache();
