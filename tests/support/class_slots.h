#pragma once

#include <cstring>
#include <vector>

#include "led/led_base.h"

/// The slots that the class @p type does not have from LedBase, counted from 1.
inline std::vector<int> overridden_slots(GType type) {
  constexpr gsize kSlots = (sizeof(LedBaseClass) - sizeof(GObjectClass)) / sizeof(gpointer);
  const auto slots_of = [](GType type) {
    auto *klass = g_type_class_ref(type);
    std::vector<gpointer> slots(kSlots);
    std::memcpy(slots.data(), static_cast<const char *>(klass) + sizeof(GObjectClass),
                kSlots * sizeof(gpointer));
    g_type_class_unref(klass);
    return slots;
  };

  const auto own = slots_of(type);
  const auto inherited = slots_of(LED_TYPE_BASE);
  std::vector<int> overridden;
  for (gsize slot = 0; slot < kSlots; ++slot)
    if (own[slot] != inherited[slot])
      overridden.push_back(static_cast<int>(slot) + 1);
  return overridden;
}
