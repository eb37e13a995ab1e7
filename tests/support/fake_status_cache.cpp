#include "support/fake_status_cache.h"

#include <algorithm>
#include <cstring>

#include "platform/status_cache.h"

FakeStatusCache &fake_status_cache() {
  static FakeStatusCache cache;
  return cache;
}

// Comes before the platform library's.
int sc_get_group(const char *group, ScItem *items, int flags) {
  auto &cache = fake_status_cache();
  FakeStatusCache::Call call{group, {}, flags};
  for (const ScItem *item = items; item->key != nullptr; ++item)
    call.items.push_back({item->key, item->size, item->type});
  cache.calls.push_back(call);

  if (cache.readings.empty())
    return 0;
  for (const ScItem *item = items; item->key != nullptr; ++item)
    std::memcpy(item->destination, &cache.readings.front(), std::min(item->size, sizeof(float)));
  if (cache.readings.size() > 1)
    cache.readings.pop_front();
  return cache.result;
}
