#include <glib-unix.h>

#include <csignal>
#include <string>
#include <utility>
#include <vector>

#include "beamctl/bus.h"
#include "beamctl/commands.h"
#include "beamctl/failure.h"
#include "beamctl/json_output.h"
#include "beamctl/light_properties.h"
#include "beamctl/style.h"
#include "beamctl/text.h"
#include "daemon/bus_names.h"

namespace {

constexpr const char *kProperties = "org.freedesktop.DBus.Properties";

/// In JSON an event's name and time stand beside them.
using Fields = std::vector<std::pair<const char *, Variant>>;

std::string time_words(const char *format) {
  g_autoptr(GDateTime) now = g_date_time_new_now_local();
  g_autofree gchar *text = g_date_time_format(now, format);
  return text;
}

std::string exact_time() {
  g_autoptr(GDateTime) now = g_date_time_new_now_utc();
  g_autofree gchar *text = g_date_time_format_iso8601(now);
  return text;
}

// "id=0 state=ON"
std::string words_of(GVariant *dictionary) {
  std::string words;
  GVariantIter entries;
  g_variant_iter_init(&entries, dictionary);
  const char *key = nullptr;
  GVariant *entry = nullptr;
  while (g_variant_iter_next(&entries, "{&sv}", &key, &entry)) {
    const Variant value{entry};
    words += (words.empty() ? "" : " ") + printable(key) + "=" + value_text(entry);
  }
  return words;
}

/// Prints what comes until it is told to stop.
class Monitor {
 public:
  // The signals are caught before the bus is asked for: from the start, Ctrl-C is a clean end.
  explicit Monitor(bool json) : json_(json), loop_(g_main_loop_new(nullptr, FALSE)) {
    interrupt_ = g_unix_signal_add(SIGINT, on_signal, this);
    terminate_ = g_unix_signal_add(SIGTERM, on_signal, this);
  }
  ~Monitor() {
    g_source_remove(interrupt_);
    g_source_remove(terminate_);
    g_main_loop_unref(loop_);
  }
  Monitor(const Monitor &) = delete;
  Monitor &operator=(const Monitor &) = delete;

  /// Throws a Failure when the bus goes away.
  void run(GDBusConnection *bus);

 private:
  static gboolean on_signal(gpointer self) noexcept;
  static void on_bus_closed(GDBusConnection *bus, gboolean vanished, GError *error, gpointer self) noexcept;
  static void on_running(GDBusConnection *bus, const gchar *name, const gchar *owner, gpointer self) noexcept;
  static void on_not_running(GDBusConnection *bus, const gchar *name, gpointer self) noexcept;
  static void on_event(GDBusConnection *bus, const gchar *sender, const gchar *path, const gchar *interface,
                       const gchar *member, GVariant *arguments, gpointer self) noexcept;
  static void on_properties(GDBusConnection *bus, const gchar *sender, const gchar *path,
                            const gchar *interface, const gchar *member, GVariant *arguments,
                            gpointer self) noexcept;
  void subscribe(GDBusConnection *bus);
  void tell(const std::string &event, Style style, const std::string &words, const Fields &fields);
  void stop();

  bool json_;
  bool stopped_ = false;
  bool bus_closed_ = false;
  GMainLoop *loop_;
  guint interrupt_ = 0;
  guint terminate_ = 0;
  std::vector<guint> subscriptions_;
};

void Monitor::stop() {
  stopped_ = true;
  g_main_loop_quit(loop_);
}

void Monitor::tell(const std::string &event, Style style, const std::string &words, const Fields &fields) {
  if (json_) {
    JsonDocument document;
    document.begin_object();
    document.add("time", exact_time());
    document.add("event", event);
    for (const auto &[name, value] : fields)
      document.add(name, value.get());
    document.end_object();
    print(document.line());
  } else {
    print(time_words("%H:%M:%S") + "  " + styled(style, event) + (words.empty() ? "" : "  " + words) + "\n");
  }
  if (flush_output() != 0)
    stop();
}

gboolean Monitor::on_signal(gpointer self) noexcept {
  static_cast<Monitor *>(self)->stop();
  return G_SOURCE_CONTINUE;
}

void Monitor::on_bus_closed(GDBusConnection *, gboolean, GError *, gpointer self) noexcept {
  auto *monitor = static_cast<Monitor *>(self);
  monitor->bus_closed_ = true;
  monitor->stop();
}

void Monitor::on_running(GDBusConnection *, const gchar *, const gchar *owner, gpointer self) noexcept {
  Fields fields;
  fields.emplace_back("owner", g_variant_ref_sink(g_variant_new_string(owner)));
  static_cast<Monitor *>(self)->tell("running", Style::kGood, std::string{"beamd is "} + owner, fields);
}

// Also called, without a connection, when the bus has gone.
void Monitor::on_not_running(GDBusConnection *bus, const gchar *, gpointer self) noexcept {
  if (bus != nullptr)
    static_cast<Monitor *>(self)->tell("not-running", Style::kBad, "beamd is not on the bus", {});
}

void Monitor::on_event(GDBusConnection *, const gchar *, const gchar *, const gchar *, const gchar *member,
                       GVariant *arguments, gpointer self) noexcept {
  if (!g_variant_is_of_type(arguments, G_VARIANT_TYPE("(a{sv})")))
    return;
  Fields fields;
  fields.emplace_back("values", g_variant_get_child_value(arguments, 0));
  const std::string words = words_of(fields.front().second.get());
  static_cast<Monitor *>(self)->tell(member, Style::kHeading, words, fields);
}

void Monitor::on_properties(GDBusConnection *, const gchar *, const gchar *path, const gchar *,
                            const gchar *member, GVariant *arguments, gpointer self) noexcept {
  if (!g_variant_is_of_type(arguments, G_VARIANT_TYPE("(sa{sv}as)")))
    return;
  Fields fields;
  fields.emplace_back("path", g_variant_ref_sink(g_variant_new_string(path)));
  fields.emplace_back("interface", g_variant_get_child_value(arguments, 0));
  fields.emplace_back("changed", g_variant_get_child_value(arguments, 1));
  fields.emplace_back("invalidated", g_variant_get_child_value(arguments, 2));
  const std::string words = std::string{path} + " " + words_of(fields[2].second.get());
  static_cast<Monitor *>(self)->tell(member, Style::kHeading, words, fields);
}

// From whomever: a camera's SDK may send the events from another process than the daemon's.
void Monitor::subscribe(GDBusConnection *bus) {
  for (const char *member : {EVENT_LIGHT_STATUS_CHANGED, EVENT_LIGHT_STATUS})
    subscriptions_.push_back(g_dbus_connection_signal_subscribe(bus, nullptr, EVENT_INTERFACE, member,
                                                                EVENT_PATH, nullptr, G_DBUS_SIGNAL_FLAGS_NONE,
                                                                on_event, this, nullptr));
  subscriptions_.push_back(g_dbus_connection_signal_subscribe(
      bus, nullptr, kProperties, "PropertiesChanged", nullptr, BEAMD_BUS_NAME,
      G_DBUS_SIGNAL_FLAGS_MATCH_ARG0_NAMESPACE, on_properties, this, nullptr));
  subscriptions_.push_back(g_dbus_connection_signal_subscribe(
      bus, nullptr, kProperties, "PropertiesChanged", nullptr, LEGACY_INTERFACE, G_DBUS_SIGNAL_FLAGS_NONE,
      on_properties, this, nullptr));
}

// Whoever sees the first line, which tells whether the daemon runs, sees all that comes after it: the bus has
// handled the subscriptions by then.
void Monitor::run(GDBusConnection *bus) {
  subscribe(bus);
  const guint watch = g_bus_watch_name_on_connection(bus, BEAMD_BUS_NAME, G_BUS_NAME_WATCHER_FLAGS_NONE,
                                                     on_running, on_not_running, this, nullptr);
  const gulong closed = g_signal_connect(bus, "closed", G_CALLBACK(on_bus_closed), this);
  if (!stopped_ && !g_dbus_connection_is_closed(bus))
    g_main_loop_run(loop_);

  g_signal_handler_disconnect(bus, closed);
  g_bus_unwatch_name(watch);
  for (const guint subscription : subscriptions_)
    g_dbus_connection_signal_unsubscribe(bus, subscription);
  if (bus_closed_ || g_dbus_connection_is_closed(bus))
    throw Failure(kExitUnreachable, "bus-unreachable", "the bus has gone",
                  "is the bus running? systemctl status dbus");
}

}  // namespace

int monitor_command(const Invocation &invocation) {
  Monitor monitor(invocation.json());
  const Bus bus(invocation);
  monitor.run(bus.connection());
  return kExitDone;
}
