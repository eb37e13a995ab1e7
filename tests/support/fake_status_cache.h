#pragma once

#include <cstddef>
#include <deque>
#include <string>
#include <vector>

/// What the executable that has fake_status_cache.cpp is told by the status cache, whatever it asks for.
struct FakeStatusCache {
  /// An item as it was asked for.
  struct Item {
    std::string key;
    std::size_t size;
    int type;

    bool operator==(const Item &) const = default;
  };
  struct Call {
    std::string group;
    std::vector<Item> items;
    int flags;

    bool operator==(const Call &) const = default;
  };

  /// One temperature (°C) a call, the last one again and again; calls return 0 when there is none at all.
  std::deque<float> readings{0.0F};
  int result = 1;  ///< what a call returns; the temperature is stored whatever that is
  std::vector<Call> calls;
};

FakeStatusCache &fake_status_cache();
