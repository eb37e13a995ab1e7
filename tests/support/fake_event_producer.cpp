#include "support/fake_event_producer.h"

#include <gtest/gtest.h>

#include <cstdarg>

#include "support/test_light.h"

struct EventProducer {};

struct EventDeclaration {};

struct Event {
  unsigned int declaration;
};

namespace {

constexpr int kInteger = 1;
constexpr int kText = 4;

void check(const EventProducer *producer) {
  EXPECT_EQ(producer, fake_event_producer()) << "the event library is called with another producer";
}

std::string value_text(const void *value, int type) {
  if (value == nullptr)
    return "NULL";
  switch (type) {
    case kInteger:
      return std::to_string(*static_cast<const int *>(value));
    case kText:
      return static_cast<const char *>(value);
    default:
      return "?";
  }
}

}  // namespace

FakeEvents &fake_events() {
  static FakeEvents events;
  return events;
}

EventProducer *fake_event_producer() {
  static EventProducer producer;
  return &producer;
}

EventProducer *event_producer_new(const char *) { return fake_event_producer(); }

void event_producer_free(EventProducer *) {}

EventDeclaration *event_declaration_new(int) { return new EventDeclaration; }

int event_declaration_add_key_value(EventDeclaration *, const char *, const char *, int) { return 1; }

int event_producer_declare(EventProducer *producer, EventDeclaration *) {
  check(producer);
  return static_cast<int>(++fake_events().declarations);
}

void event_declaration_free(EventDeclaration *declaration) { delete declaration; }

unsigned int event_producer_register(EventProducer *producer, const char *event_name, ...) {
  check(producer);
  std::string call = std::string{"register "} + event_name;
  std::va_list arguments;
  va_start(arguments, event_name);
  while (const char *key = va_arg(arguments, const char *)) {
    const void *value = va_arg(arguments, const void *);
    const int type = va_arg(arguments, int);
    call += std::string{" "} + key + "=" + value_text(value, type) + "/" + std::to_string(type);
  }
  va_end(arguments);
  recorded_calls().push_back(std::move(call));
  return fake_events().failing_registrations.contains(event_name) ? 0 : ++fake_events().declarations;
}

Event *event_producer_prepare_event(EventProducer *producer, unsigned int declaration_id) {
  check(producer);
  recorded_calls().push_back("prepare " + std::to_string(declaration_id));
  if (fake_events().failing_prepares.contains(declaration_id))
    return nullptr;
  ++fake_events().living_events;
  return new Event{declaration_id};
}

int event_set_value(Event *event, const char *key, const char *value) {
  recorded_calls().push_back(std::string{"set "} + key + "=" + value);
  return !fake_events().failing_values.contains(event->declaration);
}

int event_producer_send_event(EventProducer *producer, Event *event) {
  check(producer);
  recorded_calls().push_back("send " + std::to_string(event->declaration));
  return !fake_events().failing_sends.contains(event->declaration);
}

int event_producer_declaration_complete(EventProducer *producer, unsigned int declaration_id) {
  check(producer);
  return !fake_events().incomplete.contains(declaration_id);
}

void event_free(Event *event) {
  if (event == nullptr)
    return;
  recorded_calls().emplace_back("free");
  --fake_events().living_events;
  delete event;
}

void event_producer_undeclare(EventProducer *producer, unsigned int declaration_id) {
  check(producer);
  recorded_calls().push_back("undeclare " + std::to_string(declaration_id));
}
