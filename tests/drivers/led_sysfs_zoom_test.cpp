// A light that follows the lens: what it makes of the fields of view that the data cache tells.

#include <cmath>
#include <limits>

#include "support/led_sysfs_fixture.h"
#include "support/main_loop.h"

namespace {

using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

constexpr std::uint32_t kRead = 0x80202B03;
constexpr gint kMost = std::numeric_limits<gint>::max();
constexpr gint kLeast = std::numeric_limits<gint>::min();

/// A lit light of full intensity at 60 degrees, which follows the lens.
class FollowingLight : public SysfsLight {
 protected:
  FollowingLight() {
    set_up_light();
    light_->has_automatic_aoi = TRUE;
    light_->automatic_aoi = TRUE;
    light_->light_on = 1;
    calculate(100, 60);
  }

  static std::size_t reads() {
    const auto &all = fake_data_cache().requests;
    return static_cast<std::size_t>(
        std::count_if(all.begin(), all.end(), [](const auto &request) { return request.number == kRead; }));
  }

  /// Lets the lens move, and the light see it.
  static void zoom_to(float degrees) {
    const std::size_t before = reads();
    fake_data_cache().tell(degrees);
    run_main_loop_until([&] { return reads() > before; });
  }
};

TEST_F(FollowingLight, FollowsTheFieldOfView) {
  zoom_to(47.9F);
  EXPECT_EQ(light_->angle_of_illumination, 47);
  EXPECT_THAT(texts(), ElementsAre("450", "1000", "2000"));
  zoom_to(30.0F);
  EXPECT_EQ(light_->angle_of_illumination, 30);
  EXPECT_THAT(texts(), ElementsAre("300", "600", "900"));
  zoom_to(29.99F);
  EXPECT_EQ(light_->angle_of_illumination, 29);
  EXPECT_THAT(texts(), ElementsAre("300", "600", "900"));
  EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(FollowingLight, AngleLosesItsFractionTowardZero) {
  const std::pair<float, gint> angles[] = {{0.99F, 0},    {-0.99F, 0},      {-1.5F, -1},
                                           {120.0F, 120}, {59.999996F, 59}, {1.0F, 1}};
  for (const auto &[degrees, angle] : angles) {
    zoom_to(degrees);
    EXPECT_EQ(light_->angle_of_illumination, angle) << degrees;
  }
}

TEST_F(FollowingLight, AngleEndsWhereANumberDoes) {
  constexpr float kInfinity = std::numeric_limits<float>::infinity();
  const std::pair<float, gint> angles[] = {
      {kInfinity, kMost}, {-kInfinity, kLeast}, {1e20F, kMost}, {-1e20F, kLeast}, {NAN, 0}};
  for (const auto &[degrees, angle] : angles) {
    zoom_to(degrees);
    EXPECT_EQ(light_->angle_of_illumination, angle) << degrees;
    EXPECT_THAT(texts(), SizeIs(3)) << degrees;
  }
}

TEST_F(FollowingLight, IsWrittenAnewByEveryEvent) {
  for (int i = 0; i < 5; ++i) {
    zoom_to(60.4F);
    EXPECT_THAT(texts(), ElementsAre("600", "400", "200")) << i;
  }
  EXPECT_EQ(light_->angle_of_illumination, 60);
}

TEST_F(FollowingLight, IsOnlyCalculatedWhenTheWholeDegreesChange) {
  light_->intensity = 50;
  zoom_to(60.9F);
  EXPECT_THAT(texts(), ElementsAre("600", "400", "200"));
  zoom_to(61.0F);
  EXPECT_THAT(texts(), ElementsAre("300", "200", "100"));
}

TEST_F(FollowingLight, StoresTheAngleAndWritesNothingWhileItIsOff) {
  light_->light_on = 0;
  zoom_to(47.9F);
  EXPECT_EQ(light_->angle_of_illumination, 47);
  EXPECT_THAT(written(), IsEmpty());
  EXPECT_THAT(activated(), ElementsAre("450", "1000", "2000")) << "calculated all the same";
}

TEST_F(FollowingLight, StoresTheAngleForLaterWhenItIsNotAutomatic) {
  light_->automatic_aoi = FALSE;
  zoom_to(47.9F);
  EXPECT_EQ(light_->angle_of_illumination, 47);
  EXPECT_THAT(texts(), ElementsAre("600", "400", "200"));
  led_base_set_intensity(light_.get(), 50);
  EXPECT_THAT(texts(), ElementsAre("225", "500", "1000"));
}

TEST_F(FollowingLight, ReadsNothingWhenItDoesNotFollow) {
  light_->has_automatic_aoi = FALSE;
  fake_data_cache().tell(47.9F);
  run_main_loop_until([] { return !attribute_writes().tried.empty(); });
  EXPECT_EQ(reads(), 0U);
  EXPECT_EQ(light_->angle_of_illumination, 60);
  EXPECT_THAT(texts(), ElementsAre("600", "400", "200")) << "what is lit is written anew nevertheless";
  EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(FollowingLight, NewsThatItDoesNotReadDoNotKeepTheLoopBusy) {
  constexpr int kRounds = 10'000;
  light_->has_automatic_aoi = FALSE;
  fake_data_cache().tell(47.9F);
  run_main_loop(kRounds);
  EXPECT_LT(attribute_writes().tried.size(), kRounds / 100U);
  EXPECT_EQ(reads(), 0U);
  light_->has_automatic_aoi = TRUE;
  run_main_loop_until([this] { return light_->angle_of_illumination == 47; });
}

TEST_F(FollowingLight, StopsAtAReadThatFails) {
  fake_data_cache().read_result = -1;
  zoom_to(47.9F);
  EXPECT_EQ(light_->angle_of_illumination, 60);
  EXPECT_THAT(written(), IsEmpty());
  EXPECT_EQ(log_.lines(), prints({kUnreadDataCache}));
}

TEST_F(FollowingLight, FailingReadsDoNotKeepTheLoopBusyAndAreMadeUpForLater) {
  constexpr int kRounds = 10'000;
  fake_data_cache().read_result = -1;
  fake_data_cache().tell(47.9F);
  run_main_loop(kRounds);
  EXPECT_GE(reads(), 1U);
  EXPECT_LT(reads(), kRounds / 100U);
  EXPECT_THAT(log_.lines(), Each(Line{LOG_INFO, kUnreadDataCache}));
  EXPECT_THAT(log_.lines(), SizeIs(reads()));

  fake_data_cache().read_result = 0;
  run_main_loop_until([this] { return light_->angle_of_illumination == 47; });
  EXPECT_THAT(texts(), ElementsAre("450", "1000", "2000"));
}

TEST_F(FollowingLight, GoesOnAfterAnLedThatCannotBeWritten) {
  fail_write(0, EIO);
  zoom_to(47.9F);
  EXPECT_EQ(log_.lines(), errors({"Write failure to led 0 - 450mW"}));
  written();
  zoom_to(47.9F);
  EXPECT_THAT(texts(), ElementsAre("450", "1000", "2000"));
}

TEST_F(FollowingLight, StaysWithinItsGrantAndItsReduction) {
  light_->use_power_request = TRUE;
  light_->power_usage_factor = 0.5F;
  light_->power_intensity = 862.5;
  light_->power_reduce = 172.5;
  zoom_to(47.9F);
  EXPECT_THAT(texts(), ElementsAre("202", "450", "900"));
}

TEST_F(FollowingLight, FollowsASweep) {
  for (int i = 0; i < 1000; ++i) {
    const float degrees = 20.0F + 0.05F * static_cast<float>(i);
    zoom_to(degrees);
    const gint angle = static_cast<gint>(std::floor(degrees));
    ASSERT_EQ(light_->angle_of_illumination, angle);
    if (angle < 45)
      ASSERT_THAT(texts(), ElementsAre("300", "600", "900")) << degrees;
    else if (angle < 60)
      ASSERT_THAT(texts(), ElementsAre("450", "1000", "2000")) << degrees;
    else
      ASSERT_THAT(texts(), ElementsAre("600", "400", "200")) << degrees;
  }
}

TEST_F(FollowingLight, UnsubscribesInTheEnd) {
  BEAMD_DEBUG_FLAG = 1;
  forget();
  light_.reset();
  ASSERT_THAT(fake_data_cache().requests, SizeIs(1));
  EXPECT_EQ(fake_data_cache().requests[0].number, 0x80042B01U);
  EXPECT_EQ(log_.lines(), prints({"Unsubscribed to datacache: zoom"}));
  fake_data_cache().tell(47.9F);
  run_main_loop(100);
  EXPECT_THAT(written(), IsEmpty());
}

TEST_F(FollowingLight, WithoutADataCacheStaysAsItIs) {
  light_ = new_light();
  FakeDataCache::unplug();
  set_up_light();
  light_->has_automatic_aoi = TRUE;
  light_->light_on = 1;
  calculate(100, 60);
  run_main_loop(100);
  EXPECT_THAT(activated(), ElementsAre("600", "400", "200"));
  EXPECT_THAT(fake_data_cache().requests, IsEmpty());
}

}  // namespace
