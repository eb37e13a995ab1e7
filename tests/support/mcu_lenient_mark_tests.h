#pragma once

#include "support/mcu_setup_fixture.h"

/// The marks of a board that is there unless its mark is "0", and what setup makes of them.
template <typename Board>
class McuLenientMarks : public McuSetup<Board> {
 protected:
  struct Mark {
    FoundFile file;
    Outcome outcome;
    typename McuSetup<Board>::Lines lines = {};
  };

  static std::vector<Mark> marks() {
    return {{with_content("Zero", "0"), kNoBoard, {kNoDriver}},
            {with_content("ZeroLine", "0\n"), kNoBoard, {kNoDriver}},
            {with_content("MoreAfterZero", "01"), kNoBoard, {kNoDriver}},
            {with_content("One", "1"), kDone},
            {with_content("Two", "2"), kDone},
            {with_content("Seven", "7"), kDone},
            {with_content("Letter", "A1\n"), kDone},
            {with_content("ZeroAfterABlank", " 0"), kDone},
            {with_content("Newline", "\n"), kDone},
            {with_content("NulByte", std::string(1, '\0')), kDone},
            {with_content("HighByte", "\xff"), kDone},
            {with_content("Empty", ""), kFailed},
            {missing_file(), kDone},
            {link_to("DanglingLink", "nowhere"), kDone},
            {link_to("LinkToZero", "zero"), kNoBoard, {kNoDriver}},
            {folder(), kDone},
            {unopenable_file(), kNoBoard, {kNoDriver}},
            {fifo_without_a_writer(), kFailed}};
  }
};

TYPED_TEST_SUITE_P(McuLenientMarks);

TYPED_TEST_P(McuLenientMarks, DecideTheResultWhileTheRestIsLoaded) {
  write_file(std::string{this->kFolder} + "/zero", "0");
  for (const auto &[file, outcome, lines] : this->marks()) {
    SCOPED_TRACE(file.name);
    this->make_files_anew();
    replace(this->kMark, file);
    EXPECT_EQ(this->outcome_anew(), outcome);
    EXPECT_EQ(this->log_.lines(), lines);
    this->expect_rest_done();
  }
}

TYPED_TEST_P(McuLenientMarks, MissingBoardIsToldBeforeAMissingRegulatorConfiguration) {
  write_file(this->kMark, "0");
  std::filesystem::remove(this->kDimming);
  EXPECT_EQ(this->outcome(), kNoBoard);
  EXPECT_THAT(this->log_.lines(), testing::ElementsAre(kNoDriver, kNoDimming));
}

REGISTER_TYPED_TEST_SUITE_P(McuLenientMarks, DecideTheResultWhileTheRestIsLoaded,
                            MissingBoardIsToldBeforeAMissingRegulatorConfiguration);
