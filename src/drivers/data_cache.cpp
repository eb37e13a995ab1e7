#include "drivers/data_cache.h"

#include <fcntl.h>
#include <sys/ioctl.h>
#include <syslog.h>
#include <unistd.h>

#include <cstdint>
#include <cstring>
#include <utility>

#include "daemon/debug.h"

namespace {

constexpr const char *kDevice = "/dev/datacache0";
constexpr const char *kValueName = "zoom";
constexpr guint kPauseSeconds = 1;

constexpr unsigned long kRegister = _IOR('+', 0, DataCacheRegistration);
constexpr unsigned long kUnsubscribe = _IOR('+', 1, guint32);
constexpr unsigned long kRead = _IOR('+', 3, DataCacheRead);
static_assert(kRegister == 0x801C2B00 && kUnsubscribe == 0x80042B01 && kRead == 0x80202B03);

// 0 counts as closed.
bool is_open(int descriptor) { return descriptor > 0; }

}  // namespace

FieldOfView::~FieldOfView() { unsubscribe(); }

void FieldOfView::unsubscribe() {
  g_clear_handle_id(&watch_, g_source_remove);
  g_clear_handle_id(&pause_, g_source_remove);
  if (!is_open(descriptor_)) {
    g_clear_pointer(&channel_, g_io_channel_unref);
    return;
  }
  if (ioctl(descriptor_, kUnsubscribe, &request_.subscription) < 0)
    syslog(LOG_ERR, "Unable to do ioctl DC_IOC_DATA_CACHE_UNSUBSCRIBE");
  close_device();
  debug_log("Unsubscribed to datacache: %s", kValueName);
}

bool FieldOfView::subscribe(std::function<bool()> on_change) {
  unsubscribe();
  on_change_ = std::move(on_change);
  if (!open_device() || !register_value() || !watch()) {
    syslog(LOG_ERR, "Failed to initialize data cache");
    return false;
  }
  debug_log("Subscribed to datacache: %s", kValueName);
  return true;
}

std::optional<gfloat> FieldOfView::read() {
  if (ioctl(descriptor_, kRead, &request_) < 0) {
    syslog(LOG_INFO, "Failed to read HFOV from datacache");
    return std::nullopt;
  }
  return value_.number;
}

bool FieldOfView::open_device() {
  descriptor_ = open(kDevice, O_RDWR | O_NONBLOCK | O_CLOEXEC);
  if (descriptor_ < 0)
    syslog(LOG_ERR, "Couldn't open datacache device: %s, error code %d", kDevice, descriptor_);
  return descriptor_ >= 0;
}

bool FieldOfView::register_value() {
  DataCacheRegistration registration = {};
  std::strncpy(registration.name, kValueName, sizeof registration.name);
  registration.one = 1;
  const int subscription = ioctl(descriptor_, kRegister, &registration);
  if (subscription < 0) {
    syslog(LOG_ERR, "Unable to do ioctl DC_IOC_DATA_CACHE_REGISTER");
    close_device();
    return false;
  }
  request_ = {.subscription = static_cast<guint32>(subscription),
              .one = 1,
              .destination = reinterpret_cast<std::uintptr_t>(&value_),
              .reserved = {}};
  return true;
}

bool FieldOfView::watch() {
  channel_ = g_io_channel_unix_new(descriptor_);
  if (channel_ == nullptr) {
    syslog(LOG_ERR, "Can't create new GIOChannel");
    return false;
  }
  watch_ = add_watch();
  if (watch_ == 0)
    syslog(LOG_ERR, "Failed to add watch on GIOChannel");
  return watch_ != 0;
}

// poll() reports errors unasked: were they not among the conditions, nobody would be called and the loop
// would spin.
guint FieldOfView::add_watch() {
  constexpr auto conditions = static_cast<GIOCondition>(G_IO_IN | G_IO_ERR | G_IO_HUP | G_IO_NVAL);
  return g_io_add_watch(channel_, conditions, on_event, this);
}

void FieldOfView::close_device() {
  if (channel_ != nullptr) {
    g_autoptr(GError) error = nullptr;
    if (g_io_channel_shutdown(channel_, FALSE, &error) != G_IO_STATUS_NORMAL)
      syslog(LOG_ERR, "Couldn't shutdown GIO channel: %s",
             error != nullptr ? error->message : "unknown reason");
    g_clear_pointer(&channel_, g_io_channel_unref);
  } else {
    close(descriptor_);
  }
  descriptor_ = -1;
}

gboolean FieldOfView::on_event(GIOChannel *, GIOCondition condition, gpointer user_data) {
  auto *self = static_cast<FieldOfView *>(user_data);
  if ((condition & G_IO_IN) != 0 && self->on_change_())
    return G_SOURCE_CONTINUE;
  self->watch_ = 0;
  self->pause_ = g_timeout_add_seconds(kPauseSeconds, on_pause_over, self);
  return G_SOURCE_REMOVE;
}

gboolean FieldOfView::on_pause_over(gpointer user_data) {
  auto *self = static_cast<FieldOfView *>(user_data);
  self->pause_ = 0;
  self->watch_ = self->add_watch();
  return G_SOURCE_REMOVE;
}
