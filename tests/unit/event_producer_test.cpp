#include "platform/event_producer.h"

#include <glib.h>
#include <gtest/gtest.h>

#include <climits>
#include <memory>
#include <string>

namespace {

constexpr int kInteger = 1;
constexpr int kText = 4;

/// A producer in a process that has no system bus.
class EventProducerWithoutBus : public testing::Test {
 protected:
  static void SetUpTestSuite() { g_setenv("DBUS_SYSTEM_BUS_ADDRESS", "unix:path=/nonexistent/bus", TRUE); }

  ~EventProducerWithoutBus() override { event_producer_free(producer_); }

  unsigned int register_status() const {
    const int id = 7;
    return event_producer_register(producer_, "com.velk.Event.LightStatus", "id", &id, kInteger, "state",
                                   "OFF", kText, nullptr);
  }

  EventProducer *producer_ = event_producer_new("light_control");
};

TEST_F(EventProducerWithoutBus, GivesEachDeclarationAnIdOfItsOwn) {
  const unsigned int first = register_status();
  const unsigned int second = register_status();
  EXPECT_NE(first, 0U);
  EXPECT_NE(second, 0U);
  EXPECT_NE(first, second);
}

TEST_F(EventProducerWithoutBus, DoesNotReuseTheIdOfAWithdrawnDeclaration) {
  const unsigned int first = register_status();
  event_producer_undeclare(producer_, first);
  EXPECT_NE(register_status(), first);
}

TEST_F(EventProducerWithoutBus, RegistersAnEventWithoutKeys) {
  EXPECT_NE(event_producer_register(producer_, "com.velk.Event.LightStatus", nullptr), 0U);
}

TEST_F(EventProducerWithoutBus, RegistersANameWithoutDots) {
  EXPECT_NE(event_producer_register(producer_, "LightStatus", nullptr), 0U);
}

TEST_F(EventProducerWithoutBus, DoesNotRegisterANameThatNoSignalCanHave) {
  for (const char *name : {"", "com.velk.Event.", "com.velk.Light Status", "com.velk.1Status"})
    EXPECT_EQ(event_producer_register(producer_, name, nullptr), 0U) << name;
}

TEST_F(EventProducerWithoutBus, DoesNotRegisterAValueOfAnUnknownType) {
  for (const int type : {0, 2, 3, 5, -1})
    EXPECT_EQ(event_producer_register(producer_, "LightStatus", "state", "OFF", type, nullptr), 0U) << type;
}

TEST_F(EventProducerWithoutBus, DoesNotRegisterAMissingValue) {
  EXPECT_EQ(event_producer_register(producer_, "LightStatus", "state", nullptr, kText, nullptr), 0U);
}

TEST_F(EventProducerWithoutBus, DoesNotRegisterTheSameKeyTwice) {
  EXPECT_EQ(
      event_producer_register(producer_, "LightStatus", "state", "ON", kText, "state", "OFF", kText, nullptr),
      0U);
}

TEST_F(EventProducerWithoutBus, DoesNotRegisterTextThatIsNotUtf8) {
  EXPECT_EQ(event_producer_register(producer_, "LightStatus", "state", "\xff", kText, nullptr), 0U);
  EXPECT_EQ(event_producer_register(producer_, "LightStatus", "\xff", "OFF", kText, nullptr), 0U);
}

TEST_F(EventProducerWithoutBus, PreparesNoEventOfAnUnknownDeclaration) {
  const unsigned int id = register_status();
  EXPECT_EQ(event_producer_prepare_event(producer_, 0), nullptr);
  EXPECT_EQ(event_producer_prepare_event(producer_, id + 1), nullptr);
  event_producer_undeclare(producer_, id);
  EXPECT_EQ(event_producer_prepare_event(producer_, id), nullptr);
}

TEST_F(EventProducerWithoutBus, SetsDeclaredTexts) {
  Event *event = event_producer_prepare_event(producer_, register_status());
  ASSERT_NE(event, nullptr);
  EXPECT_NE(event_set_value(event, "state", "ON"), 0);
  EXPECT_NE(event_set_value(event, "state", ""), 0);
  EXPECT_EQ(event_set_value(event, "state", "\xff"), 0);
  event_free(event);
}

TEST_F(EventProducerWithoutBus, SetsDeclaredIntegersFromTheirTextOnly) {
  Event *event = event_producer_prepare_event(producer_, register_status());
  ASSERT_NE(event, nullptr);
  for (const char *number : {"0", "-1", "2147483647", "-2147483648"})
    EXPECT_NE(event_set_value(event, "id", number), 0) << number;
  for (const char *other : {"", " 1", "1 ", "+1", "0x1", "1.0", "one", "2147483648", "-2147483649"})
    EXPECT_EQ(event_set_value(event, "id", other), 0) << other;
  event_free(event);
}

TEST_F(EventProducerWithoutBus, SetsNoKeyThatIsNotDeclared) {
  Event *event = event_producer_prepare_event(producer_, register_status());
  ASSERT_NE(event, nullptr);
  EXPECT_EQ(event_set_value(event, "type", "pwm"), 0);
  EXPECT_EQ(event_set_value(event, "", "pwm"), 0);
  event_free(event);
}

TEST_F(EventProducerWithoutBus, CompletesNoDeclarationAndSendsNothing) {
  const unsigned int id = register_status();
  Event *event = event_producer_prepare_event(producer_, id);
  ASSERT_NE(event, nullptr);
  EXPECT_EQ(event_producer_send_event(producer_, event), 0);
  EXPECT_EQ(event_producer_declaration_complete(producer_, id), 0);
  EXPECT_EQ(event_producer_send_event(producer_, event), 0);
  event_free(event);
}

TEST_F(EventProducerWithoutBus, KeepsAnEventOfAWithdrawnDeclarationUsableButUnsent) {
  const unsigned int id = register_status();
  Event *event = event_producer_prepare_event(producer_, id);
  ASSERT_NE(event, nullptr);
  event_producer_undeclare(producer_, id);
  EXPECT_NE(event_set_value(event, "state", "ON"), 0);
  EXPECT_EQ(event_producer_send_event(producer_, event), 0);
  event_free(event);
}

TEST_F(EventProducerWithoutBus, WithdrawsUnknownDeclarationsWithoutHarm) {
  const unsigned int id = register_status();
  event_producer_undeclare(producer_, 0);
  event_producer_undeclare(producer_, id + 1);
  event_producer_undeclare(producer_, id);
  event_producer_undeclare(producer_, id);
}

TEST_F(EventProducerWithoutBus, DeclaresWithoutAnEventName) {
  EventDeclaration *declaration = event_declaration_new(1);
  ASSERT_NE(declaration, nullptr);
  EXPECT_NE(event_declaration_add_key_value(declaration, "light.app", "beamd", kText), 0);
  const int id = event_producer_declare(producer_, declaration);
  EXPECT_GT(id, 0);
  EXPECT_NE(static_cast<unsigned int>(id), register_status());
  event_declaration_free(declaration);
  EXPECT_EQ(event_producer_declaration_complete(producer_, static_cast<unsigned int>(id)), 0);
}

TEST_F(EventProducerWithoutBus, KeepsADeclarationAfterItsTemplateIsFreed) {
  EventDeclaration *declaration = event_declaration_new(1);
  ASSERT_NE(declaration, nullptr);
  ASSERT_NE(event_declaration_add_key_value(declaration, "light.app", "beamd", kText), 0);
  const int id = event_producer_declare(producer_, declaration);
  event_declaration_free(declaration);
  Event *event = event_producer_prepare_event(producer_, static_cast<unsigned int>(id));
  ASSERT_NE(event, nullptr);
  EXPECT_NE(event_set_value(event, "light.app", "other"), 0);
  EXPECT_EQ(event_producer_send_event(producer_, event), 0);
  event_free(event);
}

TEST(EventDeclarationTest, KnowsNoOtherKindThanOne) {
  for (const int kind : {0, 2, -1})
    EXPECT_EQ(event_declaration_new(kind), nullptr) << kind;
}

TEST(EventDeclarationTest, TakesValuesThatFitTheirType) {
  EventDeclaration *declaration = event_declaration_new(1);
  ASSERT_NE(declaration, nullptr);
  EXPECT_NE(event_declaration_add_key_value(declaration, "text", "beamd", kText), 0);
  EXPECT_NE(event_declaration_add_key_value(declaration, "number", "12", kInteger), 0);
  EXPECT_EQ(event_declaration_add_key_value(declaration, "text", "again", kText), 0);
  EXPECT_EQ(event_declaration_add_key_value(declaration, "other", "12a", kInteger), 0);
  EXPECT_EQ(event_declaration_add_key_value(declaration, "other", "12", 9), 0);
  EXPECT_EQ(event_declaration_add_key_value(declaration, "other", "\xff", kText), 0);
  event_declaration_free(declaration);
}

TEST(FreeFunctions, TakeNull) {
  event_producer_free(nullptr);
  event_declaration_free(nullptr);
  event_free(nullptr);
}

}  // namespace
