// Takes the places of the command source and the event library. Each call is a line in the file that
// $REPLACEMENT_CALLS names; $REPLACEMENT_FAIL names one function that fails, $REPLACEMENT_BLOCK one that
// never returns, and with $REPLACEMENT_INCOMPLETE the declarations are never complete.

#include <unistd.h>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "platform/command_source.h"
#include "platform/event_producer.h"

struct EventProducer {
  std::string name;
};
struct EventDeclaration {
  int kind;
};
struct Event {
  unsigned int declaration;
};

namespace {

unsigned int declarations = 0;

/// Records the call of @p function, and whether it is to succeed.
bool called(const std::string &function, const std::string &arguments = "") {
  if (const char *path = std::getenv("REPLACEMENT_CALLS")) {
    if (FILE *calls = std::fopen(path, "a")) {
      std::fprintf(calls, "%s(%s)\n", function.c_str(), arguments.c_str());
      std::fclose(calls);
    }
  }
  const char *block = std::getenv("REPLACEMENT_BLOCK");
  while (block && function == block)
    pause();
  const char *fail = std::getenv("REPLACEMENT_FAIL");
  return !fail || function != fail;
}

std::string triples(va_list list) {
  std::string text;
  while (const char *key = va_arg(list, const char *)) {
    const void *value = va_arg(list, const void *);
    const int type = va_arg(list, int);
    text += std::string(", ") + key + "=";
    text += type == 1 ? std::to_string(*static_cast<const int *>(value)) : static_cast<const char *>(value);
    text += ":" + std::to_string(type);
  }
  return text;
}

}  // namespace

extern "C" {

#pragma GCC visibility push(default)

void command_source_register_mainloop_thread(void) { called("command_source_register_mainloop_thread"); }

EventProducer *event_producer_new(const char *name) {
  called("event_producer_new", name);
  return new EventProducer{name};
}

void event_producer_free(EventProducer *producer) {
  called("event_producer_free", producer ? producer->name : "");
  delete producer;
}

EventDeclaration *event_declaration_new(int kind) {
  return called("event_declaration_new", std::to_string(kind)) ? new EventDeclaration{kind} : nullptr;
}

int event_declaration_add_key_value(EventDeclaration *, const char *key, const char *value, int type) {
  return called("event_declaration_add_key_value",
                std::string(key) + "=" + value + ":" + std::to_string(type));
}

int event_producer_declare(EventProducer *producer, EventDeclaration *) {
  called("event_producer_declare", producer->name);
  return static_cast<int>(++declarations);
}

void event_declaration_free(EventDeclaration *declaration) {
  called("event_declaration_free");
  delete declaration;
}

unsigned int event_producer_register(EventProducer *producer, const char *event_name, ...) {
  va_list list;
  va_start(list, event_name);
  const std::string keys = triples(list);
  va_end(list);
  return called("event_producer_register", producer->name + ", " + event_name + keys) ? ++declarations : 0;
}

Event *event_producer_prepare_event(EventProducer *, unsigned int declaration_id) {
  called("event_producer_prepare_event", std::to_string(declaration_id));
  return new Event{declaration_id};
}

int event_set_value(Event *, const char *key, const char *value) {
  return called("event_set_value", std::string(key) + "=" + value);
}

int event_producer_send_event(EventProducer *, Event *event) {
  return called("event_producer_send_event", std::to_string(event->declaration));
}

int event_producer_declaration_complete(EventProducer *, unsigned int declaration_id) {
  called("event_producer_declaration_complete", std::to_string(declaration_id));
  return !std::getenv("REPLACEMENT_INCOMPLETE");
}

void event_free(Event *event) {
  called("event_free", event ? std::to_string(event->declaration) : "");
  delete event;
}

void event_producer_undeclare(EventProducer *, unsigned int declaration_id) {
  called("event_producer_undeclare", std::to_string(declaration_id));
}

#pragma GCC visibility pop
}
