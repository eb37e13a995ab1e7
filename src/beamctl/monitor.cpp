#include <glib-unix.h>

#include <csignal>
#include <string>
#include <utility>
#include <vector>

#include "beamctl/bus.h"
#include "beamctl/commands.h"
#include "beamctl/failure.h"
#include "beamctl/json_output.h"
#include "beamctl/light_values.h"
#include "beamctl/style.h"
#include "beamctl/text.h"
#include "daemon/bus_names.h"

namespace {

// The bus itself.
constexpr const char *kBusName = "org.freedesktop.DBus";
constexpr const char *kBusPath = "/org/freedesktop/DBus";

/// In JSON an event's name and time stand beside them. Without a value: null.
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

// In quotation marks where one could not tell otherwise where it ends.
std::string word_of(const std::string &text) {
  if (!text.empty() && text.find_first_of(" =\"\\") == std::string::npos)
    return text;
  std::string quoted = "\"";
  for (const char letter : text) {
    if (letter == '"' || letter == '\\')
      quoted += '\\';
    quoted += letter;
  }
  return quoted + "\"";
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
    words += (words.empty() ? "" : " ") + word_of(printable(key)) + "=" + word_of(value_text(entry));
  }
  return words;
}

Variant text_or_null(const char *text) {
  return *text == '\0' ? nullptr : Variant{g_variant_ref_sink(g_variant_new_string(text))};
}

/// Prints what comes until it is told to stop.
class Monitor {
 public:
  Monitor(const Bus &bus, bool json)
      : bus_(bus.connection()), json_(json), loop_(g_main_loop_new(nullptr, FALSE)) {
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
  void run();

 private:
  static gboolean on_signal(gpointer self) noexcept;
  static void on_bus_closed(GDBusConnection *bus, gboolean vanished, GError *error, gpointer self) noexcept;
  static void on_first_owner(GObject *bus, GAsyncResult *result, gpointer self) noexcept;
  static void on_owner_changed(GDBusConnection *bus, const gchar *sender, const gchar *path,
                               const gchar *interface, const gchar *member, GVariant *arguments,
                               gpointer self) noexcept;
  static void on_event(GDBusConnection *bus, const gchar *sender, const gchar *path, const gchar *interface,
                       const gchar *member, GVariant *arguments, gpointer self) noexcept;
  void subscribe();
  void ask_for_owner();
  void tell(const std::string &event, Style style, const std::string &words, const Fields &fields);
  void tell_running(const char *owner);
  void tell_not_running(const char *owner);
  void stop();

  GDBusConnection *bus_;
  bool json_;
  bool started_ = false;  ///< has told whether the daemon runs
  bool bus_closed_ = false;
  GMainLoop *loop_;
  guint interrupt_ = 0;
  guint terminate_ = 0;
  std::vector<guint> subscriptions_;
};

void Monitor::stop() { g_main_loop_quit(loop_); }

void Monitor::tell(const std::string &event, Style style, const std::string &words, const Fields &fields) {
  if (json_) {
    JsonDocument document;
    document.begin_object();
    document.add("time", exact_time());
    document.add("event", event);
    for (const auto &[name, value] : fields)
      if (value)
        document.add(name, value.get());
      else
        document.add_null(name);
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

void Monitor::tell_running(const char *owner) {
  Fields fields;
  fields.emplace_back("owner", text_or_null(owner));
  tell("running", Style::kGood, std::string{"beamd is "} + owner, fields);
}

void Monitor::tell_not_running(const char *owner) {
  Fields fields;
  fields.emplace_back("owner", text_or_null(owner));
  tell("not-running", Style::kBad, "beamd is not on the bus", fields);
}

void Monitor::on_first_owner(GObject *bus, GAsyncResult *result, gpointer self) noexcept {
  const Variant reply{g_dbus_connection_call_finish(G_DBUS_CONNECTION(bus), result, nullptr)};
  if (g_dbus_connection_is_closed(G_DBUS_CONNECTION(bus)))
    return;
  auto *monitor = static_cast<Monitor *>(self);
  const char *owner = "";
  if (reply)
    g_variant_get(reply.get(), "(&s)", &owner);
  monitor->started_ = true;
  if (*owner != '\0')
    monitor->tell_running(owner);
  else
    monitor->tell_not_running("");
}

// What comes before the first owner is told is part of that.
void Monitor::on_owner_changed(GDBusConnection *, const gchar *, const gchar *, const gchar *, const gchar *,
                               GVariant *arguments, gpointer self) noexcept {
  auto *monitor = static_cast<Monitor *>(self);
  if (!monitor->started_ || !g_variant_is_of_type(arguments, G_VARIANT_TYPE("(sss)")))
    return;
  const char *before = nullptr;
  const char *now = nullptr;
  g_variant_get(arguments, "(s&s&s)", nullptr, &before, &now);
  if (*before != '\0')
    monitor->tell_not_running(before);
  if (*now != '\0')
    monitor->tell_running(now);
}

void Monitor::on_event(GDBusConnection *, const gchar *sender, const gchar *, const gchar *,
                       const gchar *member, GVariant *arguments, gpointer self) noexcept {
  auto *monitor = static_cast<Monitor *>(self);
  if (!monitor->started_ || !g_variant_is_of_type(arguments, G_VARIANT_TYPE("(a{sv})")))
    return;
  Fields fields;
  fields.emplace_back("sender", text_or_null(sender));
  fields.emplace_back("values", g_variant_get_child_value(arguments, 0));
  monitor->tell(member, Style::kHeading, words_of(fields.back().second.get()), fields);
}

// Events from whomever: a camera's SDK may send them from another process than the daemon's.
void Monitor::subscribe() {
  for (const char *member : {EVENT_LIGHT_STATUS_CHANGED, EVENT_LIGHT_STATUS})
    subscriptions_.push_back(g_dbus_connection_signal_subscribe(bus_, nullptr, EVENT_INTERFACE, member,
                                                                EVENT_PATH, nullptr, G_DBUS_SIGNAL_FLAGS_NONE,
                                                                on_event, this, nullptr));
  subscriptions_.push_back(g_dbus_connection_signal_subscribe(
      bus_, kBusName, kBusName, "NameOwnerChanged", kBusPath, BEAMD_BUS_NAME, G_DBUS_SIGNAL_FLAGS_NONE,
      on_owner_changed, this, nullptr));
}

void Monitor::ask_for_owner() {
  g_dbus_connection_call(bus_, kBusName, kBusPath, kBusName, "GetNameOwner",
                         g_variant_new("(s)", BEAMD_BUS_NAME), G_VARIANT_TYPE("(s)"), G_DBUS_CALL_FLAGS_NONE,
                         kAnswerMs, nullptr, on_first_owner, this);
}

// Whoever sees the first line, which tells whether the daemon runs, sees all that comes after it: the bus has
// handled the subscriptions by then.
void Monitor::run() {
  subscribe();
  ask_for_owner();
  const gulong closed = g_signal_connect(bus_, "closed", G_CALLBACK(on_bus_closed), this);
  if (!g_dbus_connection_is_closed(bus_))
    g_main_loop_run(loop_);

  g_signal_handler_disconnect(bus_, closed);
  for (const guint subscription : subscriptions_)
    g_dbus_connection_signal_unsubscribe(bus_, subscription);
  if (bus_closed_ || g_dbus_connection_is_closed(bus_))
    throw Failure(kExitUnreachable, "bus-unreachable", "the bus has gone",
                  "is the bus running? systemctl status dbus");
}

}  // namespace

// Until the bus is there, Ctrl-C ends it as it ends any program.
int monitor_command(const Invocation &invocation) {
  const Bus bus(invocation);
  Monitor(bus, invocation.json()).run();
  return kExitDone;
}
