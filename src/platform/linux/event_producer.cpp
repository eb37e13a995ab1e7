#include "platform/event_producer.h"

#include <gio/gio.h>

#include <charconv>
#include <cstdarg>
#include <cstring>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <system_error>
#include <utility>
#include <variant>

#include "daemon/bus_names.h"

namespace {

constexpr int kNamelessKind = 1;

using EventValue = std::variant<int, std::string>;
using EventValues = std::map<std::string, EventValue, std::less<>>;

struct DeclaredEvent {
  std::string member;  ///< name of the signal; empty when there is nothing to be sent
  EventValues values;
};

struct ObjectUnref {
  void operator()(gpointer object) const { g_object_unref(object); }
};

// D-Bus carries UTF-8 only.
bool is_utf8(const char *text) { return g_utf8_validate(text, -1, nullptr); }

std::optional<EventValue> parse_value(const char *text, int type) {
  if (type == EVENT_VALUE_TEXT)
    return is_utf8(text) ? std::optional<EventValue>(text) : std::nullopt;
  if (type != EVENT_VALUE_INTEGER)
    return std::nullopt;
  int number = 0;
  const char *end = text + std::strlen(text);
  const auto [stop, error] = std::from_chars(text, end, number);
  if (error != std::errc{} || stop != end)
    return std::nullopt;
  return number;
}

std::optional<EventValue> copy_value(const void *value, int type) {
  if (value == nullptr)
    return std::nullopt;
  if (type == EVENT_VALUE_INTEGER)
    return *static_cast<const int *>(value);
  if (type == EVENT_VALUE_TEXT)
    return parse_value(static_cast<const char *>(value), type);
  return std::nullopt;
}

bool add_value(EventValues &values, const char *key, std::optional<EventValue> value) {
  return value && is_utf8(key) && values.emplace(key, std::move(*value)).second;
}

std::optional<EventValues> collect_values(va_list arguments) {
  EventValues values;
  while (const char *key = va_arg(arguments, const char *)) {
    const void *value = va_arg(arguments, const void *);
    const int type = va_arg(arguments, int);
    if (!add_value(values, key, copy_value(value, type)))
      return std::nullopt;
  }
  return values;
}

/// Returns a floating "(a{sv})".
GVariant *to_variant(const EventValues &values) {
  GVariantBuilder builder;
  g_variant_builder_init(&builder, G_VARIANT_TYPE_VARDICT);
  for (const auto &[key, value] : values) {
    const int *number = std::get_if<int>(&value);
    g_variant_builder_add(&builder, "{sv}", key.c_str(),
                          number != nullptr ? g_variant_new_int32(*number)
                                            : g_variant_new_string(std::get<std::string>(value).c_str()));
  }
  return g_variant_new("(a{sv})", &builder);
}

}  // namespace

struct EventProducer {
  std::string name;
  std::map<unsigned int, DeclaredEvent> declarations;
  unsigned int last_id = 0;
  std::unique_ptr<GDBusConnection, ObjectUnref> bus;
};

struct EventDeclaration {
  EventValues values;
};

struct Event {
  unsigned int declaration_id;
  EventValues values;
};

namespace {

unsigned int declare(EventProducer &producer, DeclaredEvent event) {
  const unsigned int id = ++producer.last_id;
  producer.declarations.emplace(id, std::move(event));
  return id;
}

const DeclaredEvent *find_declaration(const EventProducer &producer, unsigned int id) {
  const auto declaration = producer.declarations.find(id);
  return declaration == producer.declarations.end() ? nullptr : &declaration->second;
}

/// The process's shared connection to the system bus, or nullptr while there is none. Asked for when it is
/// needed, not when an event is declared, so that a camera without a bus starts all the same and a bus that
/// comes late is found.
GDBusConnection *bus_connection(EventProducer &producer) {
  if (!producer.bus || g_dbus_connection_is_closed(producer.bus.get())) {
    g_autoptr(GError) error = nullptr;
    producer.bus.reset();
    producer.bus.reset(g_bus_get_sync(G_BUS_TYPE_SYSTEM, nullptr, &error));
    if (!producer.bus) {
      g_debug("%s: no system bus: %s", producer.name.c_str(), error->message);
      return nullptr;
    }
  }
  return g_dbus_connection_is_closed(producer.bus.get()) ? nullptr : producer.bus.get();
}

}  // namespace

EventProducer *event_producer_new(const char *name) {
  auto *producer = new EventProducer;
  producer->name = name;
  return producer;
}

void event_producer_free(EventProducer *producer) {
  const std::unique_ptr<EventProducer> owned(producer);
  // The process may end right after this, with the last events still queued.
  if (owned && owned->bus)
    g_dbus_connection_flush_sync(owned->bus.get(), nullptr, nullptr);
}

EventDeclaration *event_declaration_new(int kind) {
  return kind == kNamelessKind ? new EventDeclaration : nullptr;
}

int event_declaration_add_key_value(EventDeclaration *declaration, const char *key, const char *value,
                                    int type) {
  return add_value(declaration->values, key, parse_value(value, type));
}

int event_producer_declare(EventProducer *producer, EventDeclaration *declaration) {
  return static_cast<int>(declare(*producer, {.member = {}, .values = declaration->values}));
}

void event_declaration_free(EventDeclaration *declaration) { delete declaration; }

unsigned int event_producer_register(EventProducer *producer, const char *event_name, ...) {
  const char *last_dot = std::strrchr(event_name, '.');
  const char *member = last_dot != nullptr ? last_dot + 1 : event_name;
  if (!g_dbus_is_member_name(member))
    return 0;

  va_list arguments;
  va_start(arguments, event_name);
  std::optional<EventValues> values = collect_values(arguments);
  va_end(arguments);
  return values ? declare(*producer, {member, std::move(*values)}) : 0;
}

Event *event_producer_prepare_event(EventProducer *producer, unsigned int declaration_id) {
  const DeclaredEvent *declaration = find_declaration(*producer, declaration_id);
  if (declaration == nullptr)
    return nullptr;
  return new Event{declaration_id, declaration->values};
}

int event_set_value(Event *event, const char *key, const char *value) {
  const auto entry = event->values.find(key);
  if (entry == event->values.end())
    return 0;
  const bool is_number = std::holds_alternative<int>(entry->second);
  std::optional<EventValue> parsed = parse_value(value, is_number ? EVENT_VALUE_INTEGER : EVENT_VALUE_TEXT);
  if (!parsed)
    return 0;
  entry->second = std::move(*parsed);
  return 1;
}

int event_producer_send_event(EventProducer *producer, Event *event) {
  const DeclaredEvent *declaration = find_declaration(*producer, event->declaration_id);
  if (declaration == nullptr || declaration->member.empty())
    return 0;
  GDBusConnection *bus = bus_connection(*producer);
  if (bus == nullptr)
    return 0;

  g_autoptr(GError) error = nullptr;
  if (!g_dbus_connection_emit_signal(bus, nullptr, EVENT_PATH, EVENT_INTERFACE, declaration->member.c_str(),
                                     to_variant(event->values), &error)) {
    g_debug("%s: cannot send %s: %s", producer->name.c_str(), declaration->member.c_str(), error->message);
    return 0;
  }
  return 1;
}

int event_producer_declaration_complete(EventProducer *producer, unsigned int declaration_id) {
  return find_declaration(*producer, declaration_id) != nullptr && bus_connection(*producer) != nullptr;
}

void event_free(Event *event) { delete event; }

void event_producer_undeclare(EventProducer *producer, unsigned int declaration_id) {
  producer->declarations.erase(declaration_id);
}
