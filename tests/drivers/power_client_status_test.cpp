// Whether the supply gives what a light requires: what the power daemon tells first, and its changes.

#include <limits>

#include "support/power_client_fixture.h"

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using Line = SyslogCapture::Line;

constexpr double kNotANumber = std::numeric_limits<double>::quiet_NaN();

class Supply : public PowerClient {
 protected:
  /// A light with these requirements that thinks @p correct of its supply.
  void require(double watts, int poe_class, bool correct) {
    light_->required_total_power = watts;
    light_->minimum_poe_class = poe_class;
    light_->correct_poe = correct;
  }

  void expect_one_warning_of(const std::string &property) {
    ASSERT_EQ(log_.lines().size(), 1U);
    EXPECT_EQ(log_.lines()[0].priority, LOG_WARNING);
    EXPECT_THAT(log_.lines()[0].text, HasSubstr(property));
    log_.clear();
  }
};

class FirstLookAtTheSupply : public Supply {
 protected:
  void SetUp() override { wattd_.come_up(); }

  /// What the light thinks after it has connected to a daemon with this status.
  bool is_correct_with(const std::string &properties) {
    power_client_disconnect(light_.get());
    wattd_.has_status(properties);
    power_client_connect(light_.get());
    return light_->correct_poe;
  }
};

TEST_F(FirstLookAtTheSupply, TooLittlePowerIsAnError) {
  require(10.0, 0, true);
  EXPECT_FALSE(is_correct_with("{'PowerReceived': <9.5>}"));
  EXPECT_THAT(
      log_.lines(),
      ElementsAre(Line{LOG_ERR,
                       "Too little power for IR leds, received power: 9.500000, required power: 10.000000"}));
}

TEST_F(FirstLookAtTheSupply, AsMuchAsRequiredIsEnough) {
  for (const char *properties : {"{'PowerReceived': <10.0>}", "{'PowerReceived': <1e300>}"}) {
    require(10.0, 0, false);
    EXPECT_TRUE(is_correct_with(properties)) << properties;
  }
  EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(FirstLookAtTheSupply, PowerThatIsNoNumberIsTooLittle) {
  require(10.0, 0, true);
  EXPECT_FALSE(is_correct_with("{'PowerReceived': <nan>}"));
  ASSERT_EQ(log_.lines().size(), 1U);
  EXPECT_EQ(log_.lines()[0].priority, LOG_ERR);
}

TEST_F(FirstLookAtTheSupply, PowerIsOfNoInterestWithoutARequirement) {
  for (const double watts : {0.0, -1.0, kNotANumber}) {
    for (const bool correct : {false, true}) {
      require(watts, 0, correct);
      EXPECT_EQ(is_correct_with("{'PowerReceived': <9.5>}"), correct) << watts;
      EXPECT_EQ(is_correct_with("{'PowerReceived': <-9.5>}"), correct) << watts;
    }
  }
  EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(FirstLookAtTheSupply, WithoutThePropertyNothingChanges) {
  for (const bool correct : {false, true}) {
    require(10.0, 3, correct);
    EXPECT_EQ(is_correct_with("{}"), correct);
    // This is how changes spell it.
    EXPECT_EQ(is_correct_with("{'PowerRecieved': <20.0>}"), correct);
    EXPECT_EQ(is_correct_with("{'PowerRecieved': <9.5>}"), correct);
  }
  EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(FirstLookAtTheSupply, WithoutTheDaemonNothingChanges) {
  wattd_.go_down();
  for (const bool correct : {false, true}) {
    require(10.0, 3, correct);
    EXPECT_EQ(is_correct_with("{'PowerReceived': <9.5>, 'LldpPoeClass': <4>}"), correct);
  }
  EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(FirstLookAtTheSupply, OneOfBothClassesIsEnough) {
  for (const char *properties :
       {"{'PsePoeClass': <3>}", "{'LldpPoeClass': <3>}", "{'PsePoeClass': <4>, 'LldpPoeClass': <0>}",
        "{'PsePoeClass': <0>, 'LldpPoeClass': <4>}", "{'LldpPoeClass': <0>, 'PsePoeClass': <4>}"}) {
    require(0.0, 3, false);
    EXPECT_TRUE(is_correct_with(properties)) << properties;
  }
}

TEST_F(FirstLookAtTheSupply, ClassBelowTheLeastChangesNothing) {
  for (const char *properties :
       {"{'PsePoeClass': <2>}", "{'LldpPoeClass': <2>}", "{'PsePoeClass': <2>, 'LldpPoeClass': <-1>}"}) {
    for (const bool correct : {false, true}) {
      require(0.0, 3, correct);
      EXPECT_EQ(is_correct_with(properties), correct) << properties;
    }
  }
  EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(FirstLookAtTheSupply, ClassesAreOfNoInterestWithoutALeast) {
  for (const int least : {0, -1}) {
    require(0.0, least, false);
    EXPECT_FALSE(is_correct_with("{'PsePoeClass': <4>, 'LldpPoeClass': <4>}")) << least;
  }
  require(0.0, 1, false);
  EXPECT_TRUE(is_correct_with("{'PsePoeClass': <1>}"));
}

TEST_F(FirstLookAtTheSupply, ClassMakesUpForTooLittlePower) {
  require(10.0, 3, false);
  EXPECT_TRUE(is_correct_with("{'PowerReceived': <9.5>, 'LldpPoeClass': <3>}"));
  EXPECT_EQ(log_.lines().size(), 1U);
}

TEST_F(FirstLookAtTheSupply, ClassThatIsTooLowLeavesEnoughPowerAlone) {
  require(10.0, 3, false);
  EXPECT_TRUE(is_correct_with("{'PowerReceived': <10.0>, 'PsePoeClass': <2>, 'LldpPoeClass': <2>}"));
}

TEST_F(FirstLookAtTheSupply, ValuesOfOtherTypesAreToldAndIgnored) {
  require(10.0, 3, true);
  EXPECT_TRUE(is_correct_with("{'PowerReceived': <9>}"));
  expect_one_warning_of("PowerReceived");

  require(10.0, 3, false);
  EXPECT_FALSE(is_correct_with("{'PsePoeClass': <uint32 4>}"));
  expect_one_warning_of("PsePoeClass");
  EXPECT_FALSE(is_correct_with("{'LldpPoeClass': <'4'>}"));
  expect_one_warning_of("LldpPoeClass");
}

class ChangeOfTheSupply : public Supply {
 protected:
  void SetUp() override {
    wattd_.come_up();
    power_client_connect(light_.get());
  }

  bool is_correct_after(const std::string &properties) {
    wattd_.announce(properties);
    wattd_.settle();
    return light_->correct_poe;
  }
};

TEST_F(ChangeOfTheSupply, PowerIsCompared) {
  require(10.0, 0, true);
  EXPECT_FALSE(is_correct_after("{'PowerRecieved': <9.5>}"));
  EXPECT_TRUE(is_correct_after("{'PowerRecieved': <10.0>}"));
  EXPECT_FALSE(is_correct_after("{'PowerRecieved': <nan>}"));
  EXPECT_TRUE(is_correct_after("{'PowerRecieved': <1e300>}"));
  EXPECT_FALSE(is_correct_after("{'PowerRecieved': <-20.0>}"));
  EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(ChangeOfTheSupply, SpellingOfTheFirstLookChangesNothing) {
  for (const bool correct : {false, true}) {
    require(10.0, 0, correct);
    EXPECT_EQ(is_correct_after("{'PowerReceived': <9.5>}"), correct);
    EXPECT_EQ(is_correct_after("{'PowerReceived': <20.0>}"), correct);
  }
  EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(ChangeOfTheSupply, LldpClassIsCompared) {
  require(0.0, 3, true);
  EXPECT_FALSE(is_correct_after("{'LldpPoeClass': <2>}"));
  EXPECT_TRUE(is_correct_after("{'LldpPoeClass': <3>}"));
  EXPECT_FALSE(is_correct_after("{'LldpPoeClass': <-1>}"));
  EXPECT_TRUE(is_correct_after("{'LldpPoeClass': <4>}"));
  EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(ChangeOfTheSupply, PseClassAndUnknownPropertiesChangeNothing) {
  for (const bool correct : {false, true}) {
    require(10.0, 3, correct);
    for (const char *properties :
         {"{'PsePoeClass': <0>}", "{'PsePoeClass': <4>}", "{'Unknown': <0>}", "{'powerrecieved': <20.0>}",
          "{'': <4>}", "{}", "{'PsePoeClass': <'text'>}"})
      EXPECT_EQ(is_correct_after(properties), correct) << properties;
  }
  EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(ChangeOfTheSupply, LightWithoutALeastClassIsWrongAfterAnyClass) {
  for (const int least : {0, -1}) {
    require(10.0, least, true);
    EXPECT_FALSE(is_correct_after("{'LldpPoeClass': <4>}")) << least;
  }
}

TEST_F(ChangeOfTheSupply, LightWithoutAPowerRequirementIsWrongAfterAnyPower) {
  for (const double watts : {0.0, -1.0, kNotANumber}) {
    require(watts, 3, true);
    EXPECT_FALSE(is_correct_after("{'PowerRecieved': <100.0>}")) << watts;
  }
}

TEST_F(ChangeOfTheSupply, LastOfSeveralPropertiesHolds) {
  require(10.0, 3, false);
  EXPECT_TRUE(is_correct_after("{'LldpPoeClass': <2>, 'PowerRecieved': <10.0>}"));
  EXPECT_FALSE(is_correct_after("{'PowerRecieved': <10.0>, 'LldpPoeClass': <2>}"));
  EXPECT_TRUE(is_correct_after("{'PowerRecieved': <9.5>, 'LldpPoeClass': <3>}"));
  EXPECT_FALSE(is_correct_after("{'LldpPoeClass': <3>, 'PowerRecieved': <9.5>}"));
  EXPECT_TRUE(is_correct_after("{'LldpPoeClass': <3>, 'PowerReceived': <9.5>, 'PsePoeClass': <0>}"));
}

TEST_F(ChangeOfTheSupply, ValuesOfOtherTypesAreToldAndIgnored) {
  require(10.0, 3, true);
  for (const char *value : {"<9>", "<'9.5'>", "<(9.5,)>"}) {
    EXPECT_TRUE(is_correct_after("{'PowerRecieved': " + std::string{value} + "}")) << value;
    expect_one_warning_of("PowerRecieved");
  }
  for (const char *value : {"<uint32 2>", "<2.0>", "<byte 0x02>", "<<2>>"}) {
    EXPECT_TRUE(is_correct_after("{'LldpPoeClass': " + std::string{value} + "}")) << value;
    expect_one_warning_of("LldpPoeClass");
  }
  EXPECT_FALSE(is_correct_after("{'LldpPoeClass': <'3'>, 'PowerRecieved': <9.5>}"));
  expect_one_warning_of("LldpPoeClass");
}

TEST_F(ChangeOfTheSupply, EachLightHasItsOwnRequirement) {
  const auto second = make_light(LED_TYPE_BASE);
  power_client_connect(second.get());
  second->required_total_power = 20.0;
  require(10.0, 0, false);
  EXPECT_TRUE(is_correct_after("{'PowerRecieved': <15.0>}"));
  EXPECT_FALSE(second->correct_poe);
}

TEST_F(ChangeOfTheSupply, WholeStatusOfADaemonThatComesUpIsAChange) {
  let_daemon_go_down();
  wattd_.has_status("{'PsePoeClass': <4>, 'PowerReceived': <20.0>}");
  require(10.0, 3, false);
  let_daemon_come_up();
  EXPECT_FALSE(light_->correct_poe);

  let_daemon_go_down();
  wattd_.has_status("{'LldpPoeClass': <3>, 'PowerReceived': <9.5>}");
  let_daemon_come_up();
  EXPECT_TRUE(light_->correct_poe);
}

TEST_F(ChangeOfTheSupply, VanishingDaemonLeavesItAsItWas) {
  wattd_.has_status("{'LldpPoeClass': <3>}");
  let_daemon_go_down();
  let_daemon_come_up();
  for (const bool correct : {false, true}) {
    require(10.0, 3, correct);
    let_daemon_go_down();
    EXPECT_EQ(light_->correct_poe, correct);
    require(10.0, 3, !correct);
    let_daemon_come_up();
    EXPECT_TRUE(light_->correct_poe);
  }
}

}  // namespace
