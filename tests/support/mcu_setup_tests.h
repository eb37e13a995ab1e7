#pragma once

#include "led/led_setup.h"
#include "support/mcu_setup_fixture.h"

TYPED_TEST_SUITE_P(McuSetup);

TYPED_TEST_P(McuSetup, SucceedsWithAllInOrder) {
  EXPECT_EQ(this->outcome(), kDone);
  EXPECT_EQ(this->log_.lines(), this->lines({}, {}));
  this->expect_rest_done();
}

TYPED_TEST_P(McuSetup, GivesItsFilesToTheGroupOfUserLightAndChangesNothingElse) {
  ASSERT_NE(primary_group("light"), group_id("light")) << "the user's primary group it is";
  const auto mark = access_of(this->kMark);
  for (const mode_t mode : {0640U, 0444U, 0U, 0666U}) {
    for (const auto &path : this->files_)
      set_access(path, {kFreshAccess.owner, 0, mode});
    EXPECT_EQ(this->outcome_anew(), kDone);
    for (const auto &path : this->files_)
      EXPECT_EQ(access_of(path), (FileAccess{kFreshAccess.owner, primary_group("light"), mode})) << path;
  }
  EXPECT_EQ(access_of(this->kMark), mark);
  EXPECT_THAT(this->written(), testing::IsEmpty());
}

TYPED_TEST_P(McuSetup, EndsAtTheFirstFileThatCannotBeGiven) {
  for (gsize missing = 0; missing < this->files_.size(); ++missing) {
    this->make_files_anew();
    std::filesystem::remove(this->files_[missing]);
    EXPECT_EQ(this->outcome_anew(), kFailed);
    const SyslogCapture::Line complaint = {LOG_ERR, this->failed_chown(this->files_[missing])};
    EXPECT_EQ(this->log_.lines(), this->lines({}, {complaint}));
    EXPECT_FALSE(std::filesystem::exists(this->files_[missing]));
    EXPECT_EQ(this->has_read_dimming(), this->kDimmingComesFirst);
    for (gsize i = 0; i < this->files_.size(); ++i) {
      EXPECT_TRUE(i == missing || this->is_given(this->files_[i]) == (i < missing))
          << "led" << i << " without led" << missing;
    }
  }
}

TYPED_TEST_P(McuSetup, KeepsItsTableWhenAFileCannotBeGiven) {
  std::filesystem::remove(this->files_[0]);
  EXPECT_EQ(this->outcome(), kFailed);
  this->make_files_anew();
  EXPECT_TRUE(this->has_table(this->light_));
}

TYPED_TEST_P(McuSetup, EndsWithoutIlluminationTable) {
  const WithoutEntry nobody{"/etc/passwd", "light"};
  std::filesystem::remove(this->kIllumination);
  EXPECT_EQ(this->outcome(), kFailed);
  EXPECT_EQ(this->log_.lines(), this->lines({}, {kNoIllumination}));
  EXPECT_EQ(this->has_read_dimming(), this->kDimmingComesFirst);
}

TYPED_TEST_P(McuSetup, EndsWithoutUserLight) {
  {
    const WithoutEntry nobody{"/etc/passwd", "light"};
    EXPECT_EQ(this->outcome(), kFailed);
  }
  EXPECT_EQ(this->log_.lines(), this->lines({}, {kNoUser}));
  EXPECT_FALSE(this->is_given(this->files_[0]));
  EXPECT_EQ(this->has_read_dimming(), this->kDimmingComesFirst);
  EXPECT_TRUE(this->has_table(this->light_)) << "what has been read stays";
}

TYPED_TEST_P(McuSetup, EndsWithoutRegulatorConfiguration) {
  std::filesystem::remove(this->kDimming);
  EXPECT_EQ(this->outcome(), kFailed);
  EXPECT_THAT(this->log_.lines(), testing::ElementsAre(kNoDimming));
  EXPECT_FALSE(this->has_read_dimming());
  EXPECT_EQ(this->are_all_given(), !this->kDimmingComesFirst);
  EXPECT_EQ(this->has_table(this->light_), !this->kDimmingComesFirst);
}

TYPED_TEST_P(McuSetup, FailsWithAnIlluminationFileThatCannotBeLoaded) {
  this->expect_refusal_of(this->kIllumination, this->kReadFailure, false);
  EXPECT_FALSE(this->has_table(this->light_));
  EXPECT_FALSE(this->is_given(this->files_[0]));
}

TYPED_TEST_P(McuSetup, FailsWithADimmingFileThatCannotBeLoaded) {
  this->expect_refusal_of(this->kDimming, "Failed reading file", this->kDimmingComesFirst);
}

TYPED_TEST_P(McuSetup, MissingBoardIsToldBeforeWhatElseIsMissing) {
  write_file(this->kMark, "0");
  std::filesystem::remove(this->kIllumination);
  EXPECT_EQ(this->outcome(), kNoBoard);
  EXPECT_EQ(this->log_.lines(), this->lines({kNoDriver}, {kNoIllumination}));
}

TYPED_TEST_P(McuSetup, MissingBoardNeedsNobodyToTell) {
  write_file(this->kMark, "0");
  this->expect_failure_without_error_slot();
  EXPECT_EQ(this->log_.lines(), this->lines({kNoDriver}, {}));
}

TYPED_TEST_P(McuSetup, MissingBoardFailsWithCode6) {
  write_file(this->kMark, "0");
  this->expect_error(6, "No IR light PCB found");
}

TYPED_TEST_P(McuSetup, EndsAtItsFilesWithoutABasepath) {
  const std::filesystem::path elsewhere = "/run/elsewhere";
  const auto before = std::filesystem::current_path();
  for (const char *name : {"led0", "led1", "led2"})
    write_fresh_file(elsewhere / name);
  g_clear_pointer(&this->light_->basepath, g_free);

  std::filesystem::current_path(elsewhere);
  EXPECT_EQ(this->outcome(), kFailed) << "and nothing is said against the board";
  std::filesystem::current_path(before);

  ASSERT_EQ(this->log_.lines().size(), this->lines({}, {}).size() + 1);
  EXPECT_EQ(this->log_.lines().back().priority, LOG_ERR);
  EXPECT_THAT(this->log_.lines().back().text, testing::StartsWith("Failed to chown "));
  EXPECT_EQ(this->has_read_dimming(), this->kDimmingComesFirst);
  EXPECT_EQ(access_of(elsewhere / "led0"), kFreshAccess) << "a file that is not the board's";
  this->light_->basepath = g_strdup(this->kFolder);
  EXPECT_TRUE(this->has_table(this->light_));
}

TYPED_TEST_P(McuSetup, LeavesNoDescriptorOpen) {
  this->outcome();
  const auto before = open_descriptors();
  EXPECT_EQ(this->outcome_anew(), kDone);
  write_file(this->kMark, "0");
  EXPECT_EQ(this->outcome_anew(), kNoBoard);
  EXPECT_EQ(open_descriptors(), before);
}

TYPED_TEST_P(McuSetup, SampleTimeComesFromTheRegulator) {
  write_file(this->kDimming, "[regulator]\nsample_time=7\n");
  EXPECT_EQ(this->outcome(), kDone);
  EXPECT_EQ(this->light_->temp_sample_time, 7);
}

TYPED_TEST_P(McuSetup, SampleTimeThatCannotBeReadIsZero) {
  for (const std::string text :
       {"", "[regulator]\n", "[regulator]\nsample_time=soon\n", "[other]\nsample_time=7\n"}) {
    write_file(this->kDimming, text);
    EXPECT_EQ(this->outcome_anew(), kDone) << text;
    EXPECT_EQ(this->light_->temp_sample_time, 0) << text;
    EXPECT_EQ(this->log_.lines(), this->lines({}, {})) << text;
  }
}

REGISTER_TYPED_TEST_SUITE_P(
    McuSetup, SucceedsWithAllInOrder, GivesItsFilesToTheGroupOfUserLightAndChangesNothingElse,
    EndsAtTheFirstFileThatCannotBeGiven, KeepsItsTableWhenAFileCannotBeGiven, EndsWithoutIlluminationTable,
    EndsWithoutUserLight, EndsWithoutRegulatorConfiguration, FailsWithAnIlluminationFileThatCannotBeLoaded,
    FailsWithADimmingFileThatCannotBeLoaded, MissingBoardIsToldBeforeWhatElseIsMissing,
    MissingBoardNeedsNobodyToTell, MissingBoardFailsWithCode6, EndsAtItsFilesWithoutABasepath,
    LeavesNoDescriptorOpen, SampleTimeComesFromTheRegulator, SampleTimeThatCannotBeReadIsZero);

/// The same light set up by the base, from the files of a light.
template <typename Board>
class McuAsALight : public McuSetup<Board> {
 protected:
  McuAsALight() {
    files_of_light_.write_state(state_text());
    files_of_light_.write_defaults("[common]\nbasepath=" + std::string{Board::kFolder} + "\n");
    const GType type = G_OBJECT_TYPE(this->light_.get());
    this->light_ = LightPointer{LED_BASE(g_object_new(type, nullptr)), &g_object_unref};
  }

  bool is_set_up() { return led_base_setup(this->light_.get(), nullptr); }

  LightFiles files_of_light_;
};

TYPED_TEST_SUITE_P(McuAsALight);

TYPED_TEST_P(McuAsALight, HasItsBoardAndItsLeds) {
  EXPECT_TRUE(this->is_set_up());
  EXPECT_TRUE(this->light_->card_detected);
  EXPECT_EQ(this->light_->nbr_of_leds, this->kLeds);
  EXPECT_EQ(this->log_.lines(), this->lines({}, {}));
}

TYPED_TEST_P(McuAsALight, IsSetUpToTellThatItsBoardIsMissing) {
  write_file(this->kMark, "0");
  EXPECT_TRUE(this->is_set_up());
  EXPECT_FALSE(this->light_->card_detected);
  EXPECT_NE(this->light_->introspection, nullptr);
  EXPECT_EQ(this->log_.lines(), this->lines({kNoDriver}, {}));
}

TYPED_TEST_P(McuAsALight, IsNoneWithoutIlluminationTable) {
  std::filesystem::remove(this->kIllumination);
  EXPECT_FALSE(this->is_set_up());
  EXPECT_EQ(this->log_.lines(), this->lines({}, {kNoIllumination}));
}

TYPED_TEST_P(McuAsALight, IsNoneWithoutRegulatorConfiguration) {
  std::filesystem::remove(this->kDimming);
  EXPECT_FALSE(this->is_set_up());
  EXPECT_THAT(this->log_.lines(), testing::ElementsAre(kNoDimming));
}

REGISTER_TYPED_TEST_SUITE_P(McuAsALight, HasItsBoardAndItsLeds, IsSetUpToTellThatItsBoardIsMissing,
                            IsNoneWithoutIlluminationTable, IsNoneWithoutRegulatorConfiguration);
