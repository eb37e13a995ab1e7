#include "beamctl/failure.h"

#include <gtest/gtest.h>

#include <tuple>

#include "beamctl/bus_failure.h"
#include "beamctl/command_line.h"
#include "daemon/bus_names.h"
#include "led/light_error.h"

namespace {

constexpr const char *kLight = BEAMD_LIGHT_PATH_PREFIX "3";

using Told = std::tuple<ExitCode, std::string, std::string>;

Told told(const Failure &failure) { return {failure.exit(), failure.code(), failure.what()}; }

/// What a reply with that error means.
Failure reply(const char *name, const char *message = "its words", const char *path = kLight) {
  g_autoptr(GError) error = g_dbus_error_new_for_dbus_error(name, message);
  return call_failure(error, path);
}

Failure refusal(int code) {
  const std::string name =
      "org.gtk.GDBus.UnmappedGError.Quark._light_2dcontrol_2derror_2dquark.Code" + std::to_string(code);
  return reply(name.c_str());
}

Failure local(GQuark domain, int code) {
  g_autoptr(GError) error = g_error_new_literal(domain, code, "its words");
  return call_failure(error, kLight);
}

TEST(CallFailure, HasTheDaemonsWordsAndAnAdviceForEachOfItsCodes) {
  const std::pair<int, const char *> codes[] = {
      {LIGHT_CONTROL_ERROR_VARIANT, "no-reply-made"},
      {LIGHT_CONTROL_ERROR_INVALID_INTENSITY, "invalid-intensity"},
      {LIGHT_CONTROL_ERROR_INVALID_ANGLE, "invalid-angle"},
      {LIGHT_CONTROL_ERROR_NOT_SUPPORTED, "not-supported"},
      {LIGHT_CONTROL_ERROR_NO_BOARD, "no-board"},
      {LIGHT_CONTROL_ERROR_WRONG_POE, "wrong-poe"},
      {99, "refused"},
  };
  for (const auto &[code, name] : codes) {
    EXPECT_EQ(told(refusal(code)), Told(kExitRefused, name, "its words"));
    EXPECT_NE(refusal(code).advice(), "") << name;
    EXPECT_EQ(refusal(code).advice().find('%'), std::string::npos) << name;
  }
}

TEST(CallFailure, NamesTheLightInItsAdvice) {
  EXPECT_EQ(refusal(LIGHT_CONTROL_ERROR_INVALID_ANGLE).advice(),
            "\"beamctl show led3\" tells the valid angles");
  EXPECT_EQ(reply("org.freedesktop.DBus.Error.UnknownMethod", "", BEAMD_CONTROLLER_PATH).advice(),
            "\"beamctl show LIGHT\" tells what is supported");
}

TEST(CallFailure, TellsErrorsOfTheBusApart) {
  const std::tuple<const char *, ExitCode, const char *> errors[] = {
      {"ServiceUnknown", kExitUnreachable, "not-running"},
      {"NameHasNoOwner", kExitUnreachable, "not-running"},
      {"AccessDenied", kExitNotAllowed, "access-denied"},
      {"NoReply", kExitUnreachable, "no-answer"},
      {"Timeout", kExitUnreachable, "no-answer"},
      {"TimedOut", kExitUnreachable, "no-answer"},
      {"UnknownMethod", kExitRefused, "not-offered"},
      {"UnknownInterface", kExitRefused, "not-offered"},
      {"UnknownProperty", kExitRefused, "not-offered"},
      {"UnknownObject", kExitNotFound, "no-such-light"},
      {"Disconnected", kExitUnreachable, "bus-unreachable"},
      {"InvalidArgs", kExitRefused, "not-offered"},
      {"Failed", kExitRefused, "refused"},
  };
  for (const auto &[name, exit, code] : errors) {
    const Failure failure = reply((std::string{"org.freedesktop.DBus.Error."} + name).c_str());
    EXPECT_EQ(failure.exit(), exit) << name;
    EXPECT_EQ(failure.code(), code) << name;
    EXPECT_NE(failure.advice(), "") << name;
  }
  EXPECT_EQ(told(reply("com.example.Odd")), Told(kExitRefused, "refused", "its words"));
}

TEST(CallFailure, KnowsALightThatHasGone) {
  const char *unknown_method = "org.freedesktop.DBus.Error.UnknownMethod";
  const char *words = "Object does not exist at path “" BEAMD_LIGHT_PATH_PREFIX "3”";
  EXPECT_EQ(told(reply(unknown_method, words)),
            Told(kExitNotFound, "no-such-light", "there is no light \"led3\" any more"));
  EXPECT_EQ(reply(unknown_method, words, BEAMD_CONTROLLER_PATH).code(), "not-offered");
}

TEST(CallFailure, TakesNoErrorOfTheBusForOneOfThisSide) {
  for (const int code : {G_IO_ERROR_TIMED_OUT, G_IO_ERROR_CLOSED, G_IO_ERROR_CANCELLED}) {
    const std::string name =
        "org.gtk.GDBus.UnmappedGError.Quark._g_2dio_2derror_2dquark.Code" + std::to_string(code);
    EXPECT_EQ(told(reply(name.c_str())), Told(kExitRefused, "refused", "its words")) << name;
  }
}

TEST(CallFailure, TellsWhatHappenedOnThisSide) {
  EXPECT_EQ(told(local(G_IO_ERROR, G_IO_ERROR_TIMED_OUT)),
            Told(kExitUnreachable, "no-answer", "beamd does not answer"));
  EXPECT_EQ(told(local(G_IO_ERROR, G_IO_ERROR_CLOSED)),
            Told(kExitUnreachable, "bus-unreachable", "the bus cannot be reached: its words"));
  EXPECT_EQ(told(local(G_IO_ERROR, G_IO_ERROR_INVALID_ARGUMENT)), Told(kExitRefused, "refused", "its words"));
}

int fail_inside(const Invocation &) { throw std::runtime_error("broken"); }

constexpr Command kBroken[] = {{"broken", "", "", "", 0, 0, {}, fail_inside}};

std::string printed_by(const std::vector<std::string> &words, int status) {
  testing::internal::CaptureStdout();
  testing::internal::CaptureStderr();
  EXPECT_EQ(run_and_report(words, kBroken), status);
  const std::string complaint = testing::internal::GetCapturedStderr();
  return testing::internal::GetCapturedStdout() + complaint;
}

TEST(RunAndReport, TellsOfAFaultOfItsOwn) {
  const std::string advice = "please report it, with the command line and what \"beamctl --version\" prints";
  EXPECT_EQ(printed_by({"broken"}, kExitRefused), "beamctl: beamctl has a fault: broken\n" + advice + "\n");
  const std::string document = printed_by({"broken", "--json"}, kExitRefused);
  EXPECT_TRUE(document.starts_with(R"({"error":{"code":"internal","message":"beamctl has a fault: broken",)"))
      << document;
}

TEST(AsksForJson, UnderstandsTheCommandLineAsItIsUnderstood) {
  EXPECT_TRUE(asks_for_json({"list", "--json"}, kBroken));
  EXPECT_TRUE(asks_for_json({"--bus", "here", "--json"}, kBroken));
  EXPECT_FALSE(asks_for_json({"--bus", "--json"}, kBroken));
  EXPECT_FALSE(asks_for_json({"--", "--json"}, kBroken));
  EXPECT_FALSE(asks_for_json({"--json=yes"}, kBroken));
}

TEST(Report, IsOneDocumentOrTwoLines) {
  const Failure failure(kExitUsage, "usage", "no \"light\"\n", "advice");
  testing::internal::CaptureStdout();
  report(failure, true);
  EXPECT_EQ(testing::internal::GetCapturedStdout(),
            "{\"error\":{\"code\":\"usage\",\"message\":\"no \\\"light\\\"\\n\",\"advice\":\"advice\"}}\n");
  testing::internal::CaptureStderr();
  report(failure, false);
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "beamctl: no \"light\"\uFFFD\nadvice\n");
}

}  // namespace
