#pragma once

#include "support/mcu_light_fixture.h"
#include "support/private_bus.h"

inline const SyslogCapture::Line kNoDriver{LOG_INFO, "Could not find MCU driver"};
inline const SyslogCapture::Line kNoIllumination{
    LOG_ERR, "could not open /etc/beamd/illumination.conf: No such file or directory"};
inline const SyslogCapture::Line kNoDimming{
    LOG_ERR, "could not open /etc/beamd/dimming.conf: No such file or directory"};
inline const SyslogCapture::Line kNoUser{LOG_ERR, "Beamd failed getting passwd for user light"};

/// Setup of the light of Board, a McuLight with
///   new_light(), kLeds    the light, and how many LEDs it has,
///   has_table(light)      whether it has the illumination table of its file,
///   said_of_the_table()   what is always said when the table's turn comes,
///   kReadFailure          what is said of a table that cannot be read,
///   kDimmingComesFirst    whether dimming.conf is read before all else, or else at the end.
template <typename Board>
class McuSetup : public Board {
 protected:
  using Line = typename Board::Line;
  using Lines = std::vector<Line>;

  static void SetUpTestSuite() { g_setenv("DBUS_SYSTEM_BUS_ADDRESS", private_bus_address(), TRUE); }

  Outcome outcome() { return Board::set_up(light_); }

  /// Setup of a new light, of which is said nothing yet.
  Outcome outcome_anew() {
    light_ = Board::new_light();
    this->log_.clear();
    return outcome();
  }

  /// Setup fails with this error, which is told to other programs by its number.
  void expect_error(int code, const char *text) {
    g_autoptr(GError) error = nullptr;
    EXPECT_FALSE(LED_BASE_GET_CLASS(light_.get())->setup(light_.get(), &error));
    ASSERT_NE(error, nullptr);
    EXPECT_STREQ(g_quark_to_string(error->domain), "light-control-error-quark");
    EXPECT_EQ(error->code, code);
    EXPECT_STREQ(error->message, text);
  }

  void expect_failure_without_error_slot() {
    EXPECT_FALSE(LED_BASE_GET_CLASS(light_.get())->setup(light_.get(), nullptr));
  }

  /// All that is logged when there is this to be said before the table's turn and from then on.
  static Lines lines(Lines before, const Lines &after) {
    const Lines of_the_table = Board::said_of_the_table();
    before.insert(before.end(), of_the_table.begin(), of_the_table.end());
    before.insert(before.end(), after.begin(), after.end());
    return before;
  }

  bool has_read_dimming() const {
    constexpr gint kUnreadSampleTime = 180;
    return light_->temp_sample_time != kUnreadSampleTime;
  }

  void expect_rest_done() const {
    EXPECT_TRUE(has_read_dimming());
    EXPECT_TRUE(this->are_all_given());
    EXPECT_TRUE(Board::has_table(light_));
  }

  /// What setup makes of a configuration file that cannot be loaded.
  void expect_refusal_of(const char *path, const std::string &read_failure, bool is_first) {
    const std::string broken = "[info]\nleds=1\n[regulator]\nsample_time=5\nk_p\n";
    const std::vector<std::pair<FoundFile, std::string>> files = {
        {missing_file(), "could not open " + std::string{path} + ": No such file or directory"},
        {folder(), read_failure},
        {with_content("Nonsense", "this is no key file\n"), "Could not load data to GKeyFile"},
        {with_content("BrokenAtTheEnd", broken), "Could not load data to GKeyFile"}};
    for (const auto &[file, text] : files) {
      SCOPED_TRACE(file.name);
      replace(path, file);
      EXPECT_EQ(outcome_anew(), kFailed);
      const Lines complaint = {{LOG_ERR, text}};
      EXPECT_EQ(this->log_.lines(), is_first ? complaint : lines({}, complaint));
    }
  }

  LightPointer light_ = Board::new_light();
};
