#pragma once

/// The sending side of the camera's event system.
///
/// A producer declares each kind of event once, with all its keys and their initial values, and then sends
/// events of that kind which carry the changed values. The functions are to be called from one thread.
///
/// Value types are given by number.

#ifdef __cplusplus
extern "C" {
#endif

#pragma GCC visibility push(default)

enum {
  EVENT_VALUE_INTEGER = 1,
  EVENT_VALUE_TEXT = 4,
};

/// A source of events; holds its declarations.
typedef struct EventProducer EventProducer;
/// A declaration that is being put together.
typedef struct EventDeclaration EventDeclaration;
/// One event to be sent.
typedef struct Event Event;

/// Returns a new producer called `name`, to be released with event_producer_free(), or NULL on failure.
EventProducer *event_producer_new(const char *name);

/// Withdraws all declarations of `producer` and releases it. Takes NULL.
void event_producer_free(EventProducer *producer);

/// Returns a new, empty declaration, to be released with event_declaration_free(), or NULL on failure.
/// `kind` 1 is a declaration without an event name.
EventDeclaration *event_declaration_new(int kind);

/// Adds `key` with the initial value `value`, given as text, to `declaration`.
///
/// Returns non-zero on success, and 0 when the type is unknown, the text is no value of the type or the key
/// is there already.
int event_declaration_add_key_value(EventDeclaration *declaration, const char *key, const char *value,
                                    int type);

/// Declares a copy of `declaration` with `producer`; the caller keeps `declaration`.
///
/// Returns the id of the declaration, above 0, or 0 on failure.
int event_producer_declare(EventProducer *producer, EventDeclaration *declaration);

/// Releases `declaration`; what was declared with it stays. Takes NULL.
void event_declaration_free(EventDeclaration *declaration);

/// Declares the event `event_name`, a dotted name whose last part is the event's own.
///
/// After the name come, for each key, the key (const char *), its initial value (const void *: a const char *
/// for a text, a const int * for an integer) and its type (int); (const char *) NULL closes the list. All
/// values are copied.
///
/// Returns the id of the declaration, or 0 on failure.
unsigned int event_producer_register(EventProducer *producer, const char *event_name, ...)
    __attribute__((sentinel));

/// Returns a new event of the declaration `declaration_id`, to be released with event_free(), or NULL when
/// there is no such declaration. Its keys start at their declared values.
Event *event_producer_prepare_event(EventProducer *producer, unsigned int declaration_id);

/// Sets `key` of `event` to the value that the text `value` stands for.
///
/// Returns non-zero on success, and 0 when the event has no such key or the text is no value of the key's
/// type.
int event_set_value(Event *event, const char *key, const char *value);

/// Sends `event`, which the caller keeps and may send again.
///
/// Returns non-zero on success, and 0 when its declaration is not complete or is withdrawn, or it cannot be
/// sent.
int event_producer_send_event(EventProducer *producer, Event *event);

/// Returns non-zero when the declaration `declaration_id` has reached the event system, so that its events
/// can be sent, and 0 while it has not or when there is no such declaration.
int event_producer_declaration_complete(EventProducer *producer, unsigned int declaration_id);

/// Releases `event`. Takes NULL.
void event_free(Event *event);

/// Withdraws the declaration `declaration_id`; does nothing when there is none.
void event_producer_undeclare(EventProducer *producer, unsigned int declaration_id);

#pragma GCC visibility pop

#ifdef __cplusplus
}
#endif
