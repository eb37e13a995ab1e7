// Runs wherever there is a dbus-daemon.

#include <gio/gio.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "platform/event_producer.h"

namespace {

constexpr int kInteger = 1;
constexpr int kText = 4;
constexpr const char *kSendAndExit = "send-and-exit";
constexpr unsigned int kDeadlineSeconds = 20;

struct ObjectUnref {
  void operator()(gpointer object) const { g_object_unref(object); }
};
template <typename T>
using Owned = std::unique_ptr<T, ObjectUnref>;

/// A bus that stands in for the system bus, and a second connection to it that hears every signal.
class Events : public testing::Test {
 protected:
  void SetUp() override {
    g_test_dbus_up(daemon_.get());
    const char *address = g_test_dbus_get_bus_address(daemon_.get());
    g_setenv("DBUS_SYSTEM_BUS_ADDRESS", address, TRUE);
    g_autoptr(GError) error = nullptr;
    listener_.reset(g_dbus_connection_new_for_address_sync(
        address,
        static_cast<GDBusConnectionFlags>(G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT |
                                          G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION),
        nullptr, nullptr, &error));
    ASSERT_TRUE(listener_) << error->message;
    subscription_ = g_dbus_connection_signal_subscribe(listener_.get(), nullptr, nullptr, nullptr,
                                                       "/com/velk/Event", nullptr, G_DBUS_SIGNAL_FLAGS_NONE,
                                                       &Events::on_signal, this, nullptr);
    // The bus knows of the subscription once it has answered a later call.
    call_bus("GetId");

    // The end of the bus must not end the test.
    shared_.reset(g_bus_get_sync(G_BUS_TYPE_SYSTEM, nullptr, &error));
    ASSERT_TRUE(shared_) << error->message;
    g_dbus_connection_set_exit_on_close(shared_.get(), FALSE);
    producer_ = event_producer_new("light_control");
  }

  void TearDown() override {
    event_producer_free(producer_);
    shared_.reset();
    g_dbus_connection_signal_unsubscribe(listener_.get(), subscription_);
    listener_.reset();
    // What is still to be dispatched holds on to the shared connection, which would serve the next test as
    // well.
    while (g_main_context_iteration(nullptr, FALSE)) {
    }
    g_test_dbus_down(daemon_.get());
  }

  void call_bus(const char *method) const {
    g_autoptr(GError) error = nullptr;
    g_autoptr(GVariant) reply = g_dbus_connection_call_sync(
        listener_.get(), "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus", method,
        nullptr, nullptr, G_DBUS_CALL_FLAGS_NONE, -1, nullptr, &error);
    ASSERT_NE(reply, nullptr) << error->message;
  }

  /// The signals sent so far on the shared connection, each as "interface.Member arguments".
  const std::vector<std::string> &heard() {
    // When a signal sent now is heard, those sent before it have been.
    g_dbus_connection_emit_signal(shared_.get(), nullptr, "/com/velk/Event", "test.Marker", "Marker", nullptr,
                                  nullptr);
    return wait_for_signals([this] { return marker_heard_; });
  }

  template <typename Condition>
  const std::vector<std::string> &wait_for_signals(Condition is_met) {
    bool expired = false;
    const unsigned int deadline = g_timeout_add_seconds(kDeadlineSeconds, &Events::on_deadline, &expired);
    while (!is_met() && !expired)
      g_main_context_iteration(nullptr, TRUE);
    EXPECT_FALSE(expired) << "a signal is lost";
    if (!expired)
      g_source_remove(deadline);
    return heard_;
  }

  unsigned int register_status() const {
    const int id = 7;
    return event_producer_register(producer_, "com.velk.Event.LightStatus", "id", &id, kInteger, "type",
                                   "pwm", kText, "state", "OFF", kText, nullptr);
  }

  EventProducer *producer_ = nullptr;
  Owned<GDBusConnection> shared_;
  std::vector<std::string> heard_;
  std::string last_sender_;

 private:
  static gboolean on_deadline(gpointer expired) {
    *static_cast<bool *>(expired) = true;
    return G_SOURCE_REMOVE;
  }

  static void on_signal(GDBusConnection *, const char *sender, const char *, const char *interface,
                        const char *member, GVariant *arguments, gpointer self) {
    auto *test = static_cast<Events *>(self);
    if (g_str_equal(interface, "test.Marker")) {
      test->marker_heard_ = true;
      return;
    }
    test->last_sender_ = sender;
    g_autofree char *text = g_variant_print(arguments, TRUE);
    test->heard_.push_back(std::string(interface) + "." + member + " " + text);
  }

  Owned<GTestDBus> daemon_{g_test_dbus_new(G_TEST_DBUS_NONE)};
  Owned<GDBusConnection> listener_;
  unsigned int subscription_ = 0;
  bool marker_heard_ = false;
};

using Heard = std::vector<std::string>;

TEST_F(Events, CarryTheDeclaredValuesOverlaidWithThoseSet) {
  Event *event = event_producer_prepare_event(producer_, register_status());
  ASSERT_NE(event, nullptr);
  EXPECT_NE(event_set_value(event, "state", "ON"), 0);
  EXPECT_NE(event_producer_send_event(producer_, event), 0);
  event_free(event);
  EXPECT_EQ(heard(), Heard{"com.velk.Event.LightStatus ({'id': <7>, 'state': <'ON'>, 'type': <'pwm'>},)"});
}

TEST_F(Events, CarryTheDeclaredValuesWhenNoneIsSet) {
  Event *event = event_producer_prepare_event(producer_, register_status());
  ASSERT_NE(event, nullptr);
  EXPECT_NE(event_producer_send_event(producer_, event), 0);
  event_free(event);
  EXPECT_EQ(heard(), Heard{"com.velk.Event.LightStatus ({'id': <7>, 'state': <'OFF'>, 'type': <'pwm'>},)"});
}

TEST_F(Events, CarryIntegersSetAsText) {
  Event *event = event_producer_prepare_event(producer_, register_status());
  ASSERT_NE(event, nullptr);
  EXPECT_NE(event_set_value(event, "id", "-12"), 0);
  EXPECT_EQ(event_set_value(event, "id", "twelve"), 0);
  EXPECT_NE(event_producer_send_event(producer_, event), 0);
  event_free(event);
  EXPECT_EQ(heard(), Heard{"com.velk.Event.LightStatus ({'id': <-12>, 'state': <'OFF'>, 'type': <'pwm'>},)"});
}

TEST_F(Events, CarryAnEmptyDictionaryWhenNothingIsDeclared) {
  Event *event =
      event_producer_prepare_event(producer_, event_producer_register(producer_, "com.velk.Ping", nullptr));
  ASSERT_NE(event, nullptr);
  EXPECT_NE(event_producer_send_event(producer_, event), 0);
  event_free(event);
  EXPECT_EQ(heard(), Heard{"com.velk.Event.Ping (@a{sv} {},)"});
}

TEST_F(Events, AreSentInOrderAndAsOftenAsAsked) {
  const unsigned int changed =
      event_producer_register(producer_, "com.velk.Event.LightStatusChanged", "state", "OFF", kText, nullptr);
  const unsigned int status =
      event_producer_register(producer_, "LightStatus", "state", "OFF", kText, nullptr);
  Event *first = event_producer_prepare_event(producer_, changed);
  Event *second = event_producer_prepare_event(producer_, status);
  ASSERT_NE(first, nullptr);
  ASSERT_NE(second, nullptr);
  EXPECT_NE(event_set_value(first, "state", "ON"), 0);
  EXPECT_NE(event_producer_send_event(producer_, first), 0);
  EXPECT_NE(event_producer_send_event(producer_, second), 0);
  EXPECT_NE(event_producer_send_event(producer_, first), 0);
  event_free(first);
  event_free(second);
  EXPECT_EQ(heard(), (Heard{"com.velk.Event.LightStatusChanged ({'state': <'ON'>},)",
                            "com.velk.Event.LightStatus ({'state': <'OFF'>},)",
                            "com.velk.Event.LightStatusChanged ({'state': <'ON'>},)"}));
}

TEST_F(Events, DoNotChangeTheirDeclaration) {
  const unsigned int id = register_status();
  Event *first = event_producer_prepare_event(producer_, id);
  ASSERT_NE(first, nullptr);
  EXPECT_NE(event_set_value(first, "state", "ON"), 0);
  event_free(first);
  Event *second = event_producer_prepare_event(producer_, id);
  ASSERT_NE(second, nullptr);
  EXPECT_NE(event_producer_send_event(producer_, second), 0);
  event_free(second);
  EXPECT_EQ(heard(), Heard{"com.velk.Event.LightStatus ({'id': <7>, 'state': <'OFF'>, 'type': <'pwm'>},)"});
}

TEST_F(Events, AreNotSentOnceTheirDeclarationIsWithdrawn) {
  const unsigned int id = register_status();
  Event *event = event_producer_prepare_event(producer_, id);
  ASSERT_NE(event, nullptr);
  event_producer_undeclare(producer_, id);
  EXPECT_EQ(event_producer_send_event(producer_, event), 0);
  event_free(event);
  EXPECT_EQ(heard(), Heard{});
}

TEST_F(Events, AreNotSentForADeclarationWithoutAName) {
  EventDeclaration *declaration = event_declaration_new(1);
  ASSERT_NE(declaration, nullptr);
  EXPECT_NE(event_declaration_add_key_value(declaration, "light.app", "beamd", kText), 0);
  const int id = event_producer_declare(producer_, declaration);
  event_declaration_free(declaration);
  EXPECT_NE(event_producer_declaration_complete(producer_, static_cast<unsigned int>(id)), 0);
  Event *event = event_producer_prepare_event(producer_, static_cast<unsigned int>(id));
  ASSERT_NE(event, nullptr);
  EXPECT_EQ(event_producer_send_event(producer_, event), 0);
  event_free(event);
  EXPECT_EQ(heard(), Heard{});
}

TEST_F(Events, AreCompleteWithABusAndWhileDeclared) {
  const unsigned int id = register_status();
  EXPECT_NE(event_producer_declaration_complete(producer_, id), 0);
  EXPECT_EQ(event_producer_declaration_complete(producer_, 0), 0);
  EXPECT_EQ(event_producer_declaration_complete(producer_, id + 1), 0);
  event_producer_undeclare(producer_, id);
  EXPECT_EQ(event_producer_declaration_complete(producer_, id), 0);
}

TEST_F(Events, FailOnceTheConnectionIsClosed) {
  const unsigned int id = register_status();
  Event *event = event_producer_prepare_event(producer_, id);
  ASSERT_NE(event, nullptr);
  EXPECT_NE(event_producer_send_event(producer_, event), 0);
  g_autoptr(GError) error = nullptr;
  ASSERT_TRUE(g_dbus_connection_close_sync(shared_.get(), nullptr, &error)) << error->message;
  EXPECT_EQ(event_producer_send_event(producer_, event), 0);
  EXPECT_EQ(event_producer_declaration_complete(producer_, id), 0);
  event_free(event);
}

TEST_F(Events, LeaveThroughTheSharedConnection) {
  Event *event = event_producer_prepare_event(producer_, register_status());
  ASSERT_NE(event, nullptr);
  EXPECT_NE(event_producer_send_event(producer_, event), 0);
  event_free(event);
  ASSERT_EQ(heard().size(), 1U);
  EXPECT_EQ(last_sender_, g_dbus_connection_get_unique_name(shared_.get()));
}

TEST_F(Events, HaveLeftTheProcessWhenTheirProducerIsFreed) {
  constexpr std::size_t kProcesses = 20;
  for (std::size_t i = 0; i < kProcesses; i++) {
    const std::string program = std::filesystem::read_symlink("/proc/self/exe");
    const char *command[] = {program.c_str(), kSendAndExit, nullptr};
    int status = -1;
    g_autoptr(GError) error = nullptr;
    ASSERT_TRUE(g_spawn_sync(nullptr, const_cast<char **>(command), nullptr, G_SPAWN_DEFAULT, nullptr,
                             nullptr, nullptr, nullptr, &status, &error))
        << error->message;
    ASSERT_EQ(status, 0);
  }
  wait_for_signals([this] { return heard_.size() == kProcesses; });
  EXPECT_EQ(heard_, Heard(kProcesses, "com.velk.Event.LightStatus ({'state': <'ON'>},)"));
}

/// Sends an event and ends the process as soon as the producer is freed.
[[noreturn]] void send_and_exit() {
  EventProducer *producer = event_producer_new("light_control");
  const unsigned int id = event_producer_register(producer, "LightStatus", "state", "ON", kText, nullptr);
  Event *event = event_producer_prepare_event(producer, id);
  const bool sent = event != nullptr && event_producer_send_event(producer, event) != 0;
  event_free(event);
  event_producer_free(producer);
  _exit(sent ? 0 : 1);
}

}  // namespace

int main(int argc, char **argv) {
  if (argc > 1 && std::string_view(argv[1]) == kSendAndExit)
    send_and_exit();
  testing::InitGoogleTest(&argc, argv);
  return RUN_ALL_TESTS();
}
