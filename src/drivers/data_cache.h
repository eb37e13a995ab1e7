#pragma once

#include <glib.h>

#include <functional>
#include <optional>

/// The records of the kernel's data cache device, which hands out measurements of the camera by name. Numbers
/// are in the machine's order, pointers take 64 bits.
struct DataCacheRegistration {
  char name[16];  ///< padded with zeros
  guint32 zero;
  guint32 one;
  guint32 also_zero;
};
static_assert(sizeof(DataCacheRegistration) == 28);
static_assert(offsetof(DataCacheRegistration, zero) == 16 && offsetof(DataCacheRegistration, one) == 20);

struct DataCacheValue {
  guint32 unused;
  gfloat number;
  guint8 rest[12];
};
static_assert(sizeof(DataCacheValue) == 20 && offsetof(DataCacheValue, number) == 4);

struct DataCacheRead {
  guint32 subscription;
  guint32 one;
  guint64 destination;  ///< address of a DataCacheValue
  guint8 reserved[16];
};
static_assert(sizeof(DataCacheRead) == 32);
static_assert(offsetof(DataCacheRead, destination) == 8 && offsetof(DataCacheRead, reserved) == 16);

/// A subscription to the camera's horizontal field of view.
class FieldOfView {
 public:
  FieldOfView() = default;
  ~FieldOfView();
  FieldOfView(const FieldOfView &) = delete;
  FieldOfView &operator=(const FieldOfView &) = delete;

  /// Calls @p on_change on the main loop each time there is something to read(). It returns whether it read
  /// something: if not, or if the device fails, the next call comes a second later at the earliest, so that
  /// what nobody reads does not keep the loop busy. FALSE, logged at LOG_ERR, when there is nothing to
  /// subscribe to; it may then be tried again.
  bool subscribe(std::function<bool()> on_change);

  /// The field of view in degrees; none when it cannot be read.
  std::optional<gfloat> read();

 private:
  void unsubscribe();
  bool open_device();
  bool register_value();
  bool watch();
  guint add_watch();
  void close_device();
  static gboolean on_event(GIOChannel *channel, GIOCondition condition, gpointer self);
  static gboolean on_pause_over(gpointer self);

  int descriptor_ = -1;
  GIOChannel *channel_ = nullptr;
  guint watch_ = 0;
  guint pause_ = 0;
  DataCacheRead request_ = {};
  DataCacheValue value_ = {};
  std::function<bool()> on_change_;
};
