#pragma once

/// The status cache: the latest measurements of the camera, in named groups of items.

#include <stddef.h>

#ifdef __cplusplus
extern "C" {
#endif

#pragma GCC visibility push(default)

/// One item to be read from a group.
typedef struct {
  const char *key;    ///< name of the item in its group
  size_t size;        ///< bytes at `destination`
  void *destination;  ///< where the value is stored, owned by the caller
  int type;           ///< type of the value: 2 is a float
} ScItem;

/// Reads items of the group `group`. `items` ends with an item that is all zero; `flags` is 0.
///
/// The group "TEMPERATURE_<id>" holds the item "CELSIUS", a float: the temperature of sensor `id` in °C.
///
/// Returns 1 when every item was stored and 0 otherwise; destinations are left alone on failure.
int sc_get_group(const char *group, ScItem *items, int flags);

#pragma GCC visibility pop

#ifdef __cplusplus
}
#endif
