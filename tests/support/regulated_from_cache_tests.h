#pragma once

#include "support/fake_status_cache.h"
#include "support/regulated_light_tests.h"

/// Board with a sensor of which the executable's own status cache tells.
template <typename Board>
class CachedTemperature : public Board {
 protected:
  static constexpr gint kSensor = 3;

  CachedTemperature() { fake_status_cache() = {}; }

  static void heat(double celsius) { fake_status_cache().readings = {static_cast<float>(celsius)}; }
  static void lose_sensor() { fake_status_cache().result = 0; }
};

/// What a RegulatedLight with such a Board asks the status cache for.
template <typename Board>
class CacheReader : public RegulatedLight<Board> {};

TYPED_TEST_SUITE_P(CacheReader);

TYPED_TEST_P(CacheReader, FirstTickReadsTwice) {
  in_child([&] {
    const auto light = this->lit_light(kProportional);
    fake_status_cache().readings = {54.0F, 59.0F, 55.0F};
    BEAMD_DEBUG_FLAG = 1;
    for (const gsize reads : {2U, 3U}) {
      this->log_.clear();
      tick(light);
      EXPECT_EQ(this->log_.lines(), this->told({}, "55.00", 50));
      EXPECT_THAT(fake_status_cache().calls, testing::SizeIs(reads)) << "later ticks read once";
    }
    EXPECT_THAT(fake_status_cache().calls,
                testing::Each(FakeStatusCache::Call{"TEMPERATURE_3", {{"CELSIUS", 4, 2}}, 0}));
  });
}

REGISTER_TYPED_TEST_SUITE_P(CacheReader, FirstTickReadsTwice);
