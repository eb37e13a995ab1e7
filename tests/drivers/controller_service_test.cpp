// One run of the controller's loop with two lights on a private bus, looked at from several sides. GDBus
// cannot publish an object twice in a process, so there is no second run.

#include "daemon/controller_service.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <syslog.h>

#include <string>
#include <vector>

#include "led/led_setup.h"
#include "support/light_files.h"
#include "support/private_bus.h"
#include "support/syslog_capture.h"
#include "support/test_light.h"

namespace {

using testing::AllOf;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;
using Line = SyslogCapture::Line;

constexpr const char *kName = "com.velk.LightController";
constexpr const char *kPath = "/com/velk/LightController";
constexpr const char *kCommon = "com.velk.LightController.Common";

/// Calls the controller from within its own loop. A reply is GVariant text, an error its message.
class Client {
 public:
  std::string call(const char *interface, const char *method, const char *arguments = "()") const {
    GVariant *values = g_variant_new_parsed(arguments);
    GAsyncResult *result = nullptr;
    g_dbus_connection_call(connection_.get(), kName, kPath, interface, method, values, nullptr,
                           G_DBUS_CALL_FLAGS_NONE, -1, nullptr, keep, &result);
    while (result == nullptr)
      g_main_context_iteration(nullptr, TRUE);

    g_autoptr(GError) error = nullptr;
    g_autoptr(GVariant) reply = g_dbus_connection_call_finish(connection_.get(), result, &error);
    g_object_unref(result);
    g_autofree gchar *text = reply != nullptr ? g_variant_print(reply, FALSE) : g_strdup(error->message);
    return text;
  }

  std::string is_available() const {
    return call("org.freedesktop.DBus.Properties", "Get",
                "('com.velk.Configuration.Legacy', 'LightControlAvailable')");
  }

 private:
  static void keep(GObject *, GAsyncResult *result, gpointer kept) {
    *static_cast<GAsyncResult **>(kept) = G_ASYNC_RESULT(g_object_ref(result));
  }

  BusConnection connection_ = connect_to_private_bus();
};

struct Observed {
  std::string count;
  std::string all_without_board, available_without_board;
  std::string all_without_power;
  std::string all, available;
  std::string none_available;
  std::vector<std::string> calls_of_a_tick;
  std::vector<std::string> calls_of_dispose;
  std::vector<Line> lines_of_dispose;
};

class RunLoop : public testing::Test {
 protected:
  static void SetUpTestSuite() {
    g_setenv("DBUS_SYSTEM_BUS_ADDRESS", private_bus_address(), TRUE);
    observed_ = new Observed;
    const LightFiles files[] = {LightFiles{0}, LightFiles{1}};
    auto *controller = LIGHT_CONTROLLER(g_object_new(TYPE_LIGHT_CONTROLLER, nullptr));
    for (int id = 0; id < 2; ++id) {
      files[id].write_state(state_text());
      add_light(controller, id);
    }
    watch_a_temperature(controller->leds[0]);

    g_idle_add(look_around, controller);
    light_controller_run_loop(controller);
    release(controller);
  }

  static void TearDownTestSuite() { delete observed_; }

  static const Observed &observed() { return *observed_; }

 private:
  static void add_light(LightController *controller, int id) {
    auto *light = LED_BASE(g_object_new(TEST_TYPE_LIGHT, nullptr));
    led_base_set_light_id(light, id);
    ASSERT_TRUE(led_base_setup(light, nullptr));
    controller->leds[id] = light;
    controller->nbr_of_leds = id + 1;
  }

  static void watch_a_temperature(LedBase *light) {
    light->nbr_of_temp_sensors = 1;
    light->temp_sensor_ids = g_new0(gint, 1);
    light->temp_sensor_temps = g_new0(gdouble, 1);
    light->temp_sample_time = 1;
  }

  static gboolean look_around(gpointer user_data) {
    auto *controller = static_cast<LightController *>(user_data);
    const Client client;
    wait_for_the_name(client);
    LedBase *second = controller->leds[1];

    second->card_detected = FALSE;
    observed_->count = client.call(kCommon, "GetNbrOfLEDs");
    observed_->all_without_board = client.call(kCommon, "GetAllLED");
    observed_->available_without_board = client.is_available();
    second->card_detected = TRUE;
    second->correct_poe = FALSE;
    observed_->all_without_power = client.call(kCommon, "GetAllLED");
    controller->leds[0]->card_detected = FALSE;
    observed_->none_available = client.is_available();
    controller->leds[0]->card_detected = TRUE;
    second->correct_poe = TRUE;
    second->light_on = 1;
    second->nbr_of_leds = 3;
    second->sync_day_night = FALSE;
    second->has_automatic_intensity = FALSE;
    second->automatic_intensity = TRUE;
    observed_->all = client.call(kCommon, "GetAllLED");
    observed_->available = client.is_available();

    recorded_calls().clear();
    while (recorded_calls().size() < 2)
      g_main_context_iteration(nullptr, TRUE);
    observed_->calls_of_a_tick = recorded_calls();
    light_controller_shutdown = 1;
    return G_SOURCE_REMOVE;
  }

  static void wait_for_the_name(const Client &client) {
    while (client.call(kCommon, "GetNbrOfLEDs").find("not provided") != std::string::npos)
      g_usleep(1000);
  }

  static void release(LightController *controller) {
    const SyslogCapture log;
    recorded_calls().clear();
    test_light_behaviour().activate_result = false;
    g_object_unref(controller);
    test_light_behaviour() = {};
    observed_->calls_of_dispose = recorded_calls();
    observed_->lines_of_dispose = log.lines();
  }

  static inline Observed *observed_ = nullptr;
};

TEST_F(RunLoop, CountsAlsoAGroupThatWasNotDetected) { EXPECT_EQ(observed().count, "(2,)"); }

TEST_F(RunLoop, OneUndetectedGroupFailsTheWholeListWhileAnotherKeepsLightControlAvailable) {
  EXPECT_THAT(observed().all_without_board, AllOf(HasSubstr("Code6"), HasSubstr("No IR light PCB found")));
  EXPECT_EQ(observed().available_without_board, "(<true>,)");
}

TEST_F(RunLoop, OneGroupWithoutPowerFailsTheWholeList) {
  EXPECT_THAT(observed().all_without_power, AllOf(HasSubstr("Code7"), HasSubstr("Wrong poe")));
}

TEST_F(RunLoop, LightControlNeedsOneGroupWithBoardAndPower) {
  EXPECT_EQ(observed().none_available, "(<false>,)");
  EXPECT_EQ(observed().available, "(<true>,)");
}

TEST_F(RunLoop, ListsTheFieldsOfEachGroupInSlotOrder) {
  EXPECT_THAT(observed().all, StartsWith("([('led0', 'IR', "));
  EXPECT_THAT(observed().all, EndsWith("('led1', 'IR', 3, true, false, true, false, true)],)"));
}

TEST_F(RunLoop, TheFirstLightsTimerTicksAllLights) {
  EXPECT_THAT(observed().calls_of_a_tick, ElementsAre("update_temperature", "update_temperature"));
}

TEST_F(RunLoop, DisposeSwitchesOffWhatIsLitAndSaysWhatItCouldNot) {
  EXPECT_THAT(observed().calls_of_dispose, ElementsAre("activate 0"));
  EXPECT_THAT(observed().lines_of_dispose, ElementsAre(Line{LOG_ERR, "Unable to deactivate light"}));
}

TEST(RunLoopDeathTest, WithoutAControllerItReturnsAtOnce) {
  EXPECT_DEATH(light_controller_run_loop(nullptr), R"(assertion 'IS_LIGHT_CONTROLLER\(self\)' failed)");
}

}  // namespace
