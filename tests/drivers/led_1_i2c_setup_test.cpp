// Setup of the single-channel light: its board, the group of its file, and what comes after what.

#include <grp.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstring>
#include <functional>

#include "daemon/unique_fd.h"
#include "drivers/led_1_i2c.h"
#include "led/led_setup.h"
#include "support/mcu_board_fixture.h"
#include "support/private_bus.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using Line = SyslogCapture::Line;

constexpr const char *kUsers = "/etc/passwd";
constexpr uid_t kOwner = 65534;
constexpr gint kUnreadSampleTime = 180;

const Line kNoDriver{LOG_INFO, "Could not find MCU driver"};
const Line kNoIllumination{LOG_ERR, "could not open /etc/beamd/illumination.conf: No such file or directory"};
const Line kNoDimming{LOG_ERR, "could not open /etc/beamd/dimming.conf: No such file or directory"};
const Line kNoUser{LOG_ERR, "Beamd failed getting passwd for user light"};

/// What setup came to: its result, and its error as "domain code: message".
struct Outcome {
  bool result;
  std::string error;

  bool operator==(const Outcome &) const = default;
};

void PrintTo(const Outcome &outcome, std::ostream *stream) {
  *stream << (outcome.result ? "TRUE" : "FALSE") << " with error \"" << outcome.error << '"';
}

const Outcome kReady{true, ""};
const Outcome kFailed{false, ""};
const Outcome kNoBoard{false, "light-control-error-quark 6: No IR light PCB found"};

/// The primary group of user light.
gid_t light_files_group() { return getgrnam("lightfiles")->gr_gid; }

Line no_group_change(const std::string &path) {
  return {LOG_ERR, "Failed to chown " + path + " to gid " + std::to_string(light_files_group())};
}

struct stat status_of(const char *path) {
  struct stat status {};
  EXPECT_EQ(stat(path, &status), 0) << path;
  return status;
}

void make_socket(const char *path) {
  sockaddr_un address{.sun_family = AF_UNIX, .sun_path = {}};
  std::strncpy(address.sun_path, path, sizeof address.sun_path - 1);
  const UniqueFd socket_fd{socket(AF_UNIX, SOCK_STREAM, 0)};
  ASSERT_EQ(bind(socket_fd.get(), reinterpret_cast<const sockaddr *>(&address), sizeof address), 0);
}

class Led1I2cSetup : public McuBoard {
 protected:
  static void SetUpTestSuite() { g_setenv("DBUS_SYSTEM_BUS_ADDRESS", private_bus_address(), TRUE); }

  Led1I2cSetup() : users_{read_file(kUsers)} { EXPECT_EQ(chown(kChannel, kOwner, 0), 0); }
  ~Led1I2cSetup() override { write_file(kUsers, users_); }

  Outcome outcome() {
    g_autoptr(GError) error = nullptr;
    const bool result = set_up(light_, &error);
    if (error == nullptr)
      return {result, ""};
    return {result, std::string{g_quark_to_string(error->domain)} + " " + std::to_string(error->code) + ": " +
                        error->message};
  }

  static void forget_user_light() { write_file(kUsers, "root:x:0:0::/:/bin/sh\n"); }

  bool has_table() const { return light_->illumination_table != nullptr && light_->nbr_of_leds == 1; }
  static bool has_given_file() { return status_of(kChannel).st_gid == light_files_group(); }
  bool has_read_dimming() const { return light_->temp_sample_time != kUnreadSampleTime; }

  std::string users_;
  LightPointer light_ = board_light(LED_TYPE_1_I2C);
};

TEST_F(Led1I2cSetup, SucceedsWithAllInOrder) {
  EXPECT_EQ(outcome(), kReady);
  EXPECT_THAT(log_.lines(), IsEmpty());
  EXPECT_TRUE(has_table());
  EXPECT_TRUE(has_given_file());
  EXPECT_TRUE(has_read_dimming());
}

struct Mark {
  const char *name;
  std::function<void(const char *path)> make;
  Outcome outcome;
  std::vector<Line> lines;
};

void PrintTo(const Mark &mark, std::ostream *stream) { *stream << mark.name; }

Mark with_content(const char *name, const std::string &content, const Outcome &outcome) {
  return {name, [content](const char *path) { write_file(path, content); }, outcome,
          outcome == kNoBoard ? std::vector{kNoDriver} : std::vector<Line>{}};
}

class BoardMark : public Led1I2cSetup, public testing::WithParamInterface<Mark> {
 protected:
  BoardMark() {
    std::filesystem::remove(kMark);
    GetParam().make(kMark);
  }
};

TEST_P(BoardMark, DecidesTheResultWhileTheRestIsLoaded) {
  EXPECT_EQ(outcome(), GetParam().outcome);
  EXPECT_EQ(log_.lines(), GetParam().lines);
  EXPECT_TRUE(has_table());
  EXPECT_TRUE(has_given_file());
  EXPECT_TRUE(has_read_dimming());
}

INSTANTIATE_TEST_SUITE_P(
    QXID, BoardMark,
    testing::Values(
        with_content("Zero", "0", kNoBoard), with_content("ZeroLine", "0\n", kNoBoard),
        with_content("MoreAfterZero", "01", kNoBoard), with_content("One", "1", kReady),
        with_content("Seven", "7", kReady), with_content("Letter", "A1\n", kReady),
        with_content("ZeroAfterABlank", " 0", kReady), with_content("Newline", "\n", kReady),
        with_content("NulByte", std::string(1, '\0'), kReady), with_content("HighByte", "\xff", kReady),
        with_content("Empty", "", kFailed),  //
        Mark{"Missing", [](const char *) {}, kReady, {}},
        Mark{"DanglingLink",
             [](const char *path) { std::filesystem::create_symlink("nowhere", path); },
             kReady,
             {}},
        Mark{"LinkToZero",
             [](const char *path) {
               write_file("/sys/light/real", "0");
               std::filesystem::create_symlink("real", path);
             },
             kNoBoard,
             {kNoDriver}},
        Mark{"Unreadable", [](const char *path) { std::filesystem::create_directory(path); }, kReady, {}},
        Mark{"Unopenable", make_socket, kNoBoard, {kNoDriver}},
        Mark{"FifoWithoutAWriter", [](const char *path) { EXPECT_EQ(mkfifo(path, 0600), 0); }, kFailed, {}}),
    [](const auto &tested) { return tested.param.name; });

TEST_F(Led1I2cSetup, MissingBoardNeedsNobodyToTell) {
  write_file(kMark, "0");
  EXPECT_FALSE(set_up(light_, nullptr));
  EXPECT_THAT(log_.lines(), ElementsAre(kNoDriver));
}

TEST_F(Led1I2cSetup, GivesItsFileToTheGroupOfUserLightAndChangesNothingElse) {
  for (const mode_t mode : {0640U, 0444U, 0U, 0666U}) {
    EXPECT_EQ(chown(kChannel, kOwner, 0), 0);
    EXPECT_EQ(chmod(kChannel, mode), 0);
    light_ = board_light(LED_TYPE_1_I2C);
    EXPECT_EQ(outcome(), kReady);
    const auto status = status_of(kChannel);
    EXPECT_EQ(status.st_gid, light_files_group());
    EXPECT_NE(status.st_gid, getgrnam("light")->gr_gid) << "the user's primary group it is";
    EXPECT_EQ(status.st_uid, kOwner);
    EXPECT_EQ(status.st_mode & 07777U, mode);
  }
  EXPECT_EQ(status_of(kMark).st_gid, 0U);
}

TEST_F(Led1I2cSetup, WritesNothingToTheBoard) {
  write_file(kChannel, "42");
  EXPECT_EQ(outcome(), kReady);
  EXPECT_EQ(read_file(kChannel), "42");
}

TEST_F(Led1I2cSetup, EndsWithoutIlluminationTable) {
  std::filesystem::remove(kIllumination);
  forget_user_light();
  std::filesystem::remove(kDimming);
  EXPECT_EQ(outcome(), kFailed);
  EXPECT_THAT(log_.lines(), ElementsAre(kNoIllumination));
  EXPECT_FALSE(has_given_file());
}

TEST_F(Led1I2cSetup, EndsWithoutUserLight) {
  forget_user_light();
  std::filesystem::remove(kDimming);
  EXPECT_EQ(outcome(), kFailed);
  EXPECT_THAT(log_.lines(), ElementsAre(kNoUser));
  EXPECT_TRUE(has_table()) << "what has been read stays";
  EXPECT_FALSE(has_given_file());
}

TEST_F(Led1I2cSetup, EndsWithoutItsFile) {
  std::filesystem::remove(kChannel);
  std::filesystem::remove(kDimming);
  EXPECT_EQ(outcome(), kFailed);
  EXPECT_THAT(log_.lines(), ElementsAre(no_group_change(kChannel)));
  EXPECT_TRUE(has_table());
  EXPECT_FALSE(std::filesystem::exists(kChannel));
}

TEST_F(Led1I2cSetup, EndsWithoutRegulatorConfiguration) {
  std::filesystem::remove(kDimming);
  EXPECT_EQ(outcome(), kFailed);
  EXPECT_THAT(log_.lines(), ElementsAre(kNoDimming));
  EXPECT_TRUE(has_table());
  EXPECT_TRUE(has_given_file());
  EXPECT_FALSE(has_read_dimming());
}

TEST_F(Led1I2cSetup, MissingBoardIsToldBeforeWhatElseIsMissing) {
  write_file(kMark, "0");
  std::filesystem::remove(kIllumination);
  EXPECT_EQ(outcome(), kNoBoard);
  EXPECT_THAT(log_.lines(), ElementsAre(kNoDriver, kNoIllumination));
}

TEST_F(Led1I2cSetup, EndsAtItsFileWithoutABasepath) {
  const std::filesystem::path elsewhere = "/run/elsewhere";
  const auto before = std::filesystem::current_path();
  write_file(elsewhere / "led0", "");
  g_clear_pointer(&light_->basepath, g_free);

  std::filesystem::current_path(elsewhere);
  EXPECT_EQ(outcome(), kFailed) << "and nothing is said against the board";
  std::filesystem::current_path(before);

  ASSERT_EQ(log_.lines().size(), 1U);
  EXPECT_EQ(log_.lines()[0].priority, LOG_ERR);
  EXPECT_THAT(log_.lines()[0].text, testing::StartsWith("Failed to chown "));
  EXPECT_TRUE(has_table());
  EXPECT_FALSE(has_read_dimming());
  EXPECT_EQ(status_of((elsewhere / "led0").c_str()).st_gid, 0U) << "a file that is not the board's";
}

class Led1I2cAsALight : public Led1I2cSetup {
 protected:
  Led1I2cAsALight() {
    files_.write_state(state_text());
    files_.write_defaults("[common]\nbasepath=/sys/light\n");
    light_ = LightPointer{LED_BASE(g_object_new(LED_TYPE_1_I2C, nullptr)), &g_object_unref};
  }

  LightFiles files_;
};

TEST_F(Led1I2cAsALight, HasItsBoard) {
  EXPECT_TRUE(led_base_setup(light_.get(), nullptr));
  EXPECT_TRUE(light_->card_detected);
  EXPECT_EQ(light_->nbr_of_leds, 1);
}

TEST_F(Led1I2cAsALight, IsSetUpToTellThatItsBoardIsMissing) {
  write_file(kMark, "0");
  EXPECT_TRUE(led_base_setup(light_.get(), nullptr));
  EXPECT_FALSE(light_->card_detected);
  EXPECT_NE(light_->introspection, nullptr);
  EXPECT_THAT(log_.lines(), ElementsAre(kNoDriver));
}

TEST_F(Led1I2cAsALight, IsNoneWhenAFileFails) {
  std::filesystem::remove(kDimming);
  EXPECT_FALSE(led_base_setup(light_.get(), nullptr));
  EXPECT_THAT(log_.lines(), ElementsAre(kNoDimming));
}

TEST_F(Led1I2cAsALight, IsNoneWhenItsMarkIsEmpty) {
  write_file(kMark, "");
  EXPECT_FALSE(led_base_setup(light_.get(), nullptr));
  EXPECT_THAT(log_.lines(), IsEmpty());
}

}  // namespace
