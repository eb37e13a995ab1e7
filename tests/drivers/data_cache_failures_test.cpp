// The subscription to the camera's field of view: what becomes of failures, and of the subscription in the
// end.

#include <fcntl.h>

#include <cstdlib>

#include "daemon/unique_fd.h"
#include "support/data_cache_fixture.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;
using Line = SyslogCapture::Line;
using Request = FakeDataCache::Request;

constexpr std::uint32_t kUnsubscribe = 0x80042B01;
constexpr const char *kDevice = "/dev/datacache0";

const Line kNotInitialized = {LOG_ERR, "Failed to initialize data cache"};
const Line kUnsubscribed = {LOG_INFO, "Unsubscribed to datacache: zoom"};

// Failures to subscribe.

TEST_F(DataCache, MayBeMissing) {
  BEAMD_DEBUG_FLAG = 1;
  FakeDataCache::unplug();
  EXPECT_FALSE(subscribe());
  EXPECT_THAT(log_.lines(),
              ElementsAre(Line{LOG_ERR, "Couldn't open datacache device: /dev/datacache0, error code -1"},
                          kNotInitialized));
  log_.clear();
  end();
  EXPECT_THAT(log_.lines(), IsEmpty());
  EXPECT_THAT(fake_data_cache().requests, IsEmpty());
}

TEST_F(DataCache, IsClosedWhenItRefusesTheRegistration) {
  BEAMD_DEBUG_FLAG = 1;
  fake_data_cache().register_result = -1;
  EXPECT_FALSE(subscribe());
  EXPECT_THAT(log_.lines(),
              ElementsAre(Line{LOG_ERR, "Unable to do ioctl DC_IOC_DATA_CACHE_REGISTER"}, kNotInitialized));
  EXPECT_THAT(open_devices(), IsEmpty());
  log_.clear();
  end();
  EXPECT_THAT(log_.lines(), IsEmpty());
  EXPECT_THAT(fake_data_cache().requests, SizeIs(1));
}

TEST_F(DataCache, StaysOpenWithoutAChannel) {
  BEAMD_DEBUG_FLAG = 1;
  refusing_glib().refuses_channels = true;
  EXPECT_FALSE(subscribe());
  EXPECT_THAT(log_.lines(), ElementsAre(Line{LOG_ERR, "Can't create new GIOChannel"}, kNotInitialized));
  EXPECT_THAT(open_devices(), SizeIs(1));
  log_.clear();
  end();
  EXPECT_THAT(log_.lines(), ElementsAre(kUnsubscribed));
  EXPECT_EQ(last_request(), (Request{kDevice, kUnsubscribe, {1, 0, 0, 0}}));
}

TEST_F(DataCache, StaysOpenWithoutAWatch) {
  BEAMD_DEBUG_FLAG = 1;
  refusing_glib().refuses_watches = true;
  EXPECT_FALSE(subscribe());
  EXPECT_THAT(log_.lines(), ElementsAre(Line{LOG_ERR, "Failed to add watch on GIOChannel"}, kNotInitialized));
  EXPECT_THAT(open_devices(), SizeIs(1));
  log_.clear();
  end();
  EXPECT_THAT(log_.lines(), ElementsAre(kUnsubscribed));
  EXPECT_EQ(last_request(), (Request{kDevice, kUnsubscribe, {1, 0, 0, 0}}));
}

TEST_F(DataCache, MayBeSubscribedToAfterAFailure) {
  fake_data_cache().register_result = -1;
  EXPECT_FALSE(subscribe());
  fake_data_cache().register_result = 5;
  EXPECT_TRUE(subscribe());
  fake_data_cache().tell(30.0F);
  run_until_called(1);
  EXPECT_THAT(degrees_, ElementsAre(30.0F));
}

TEST_F(DataCache, MayBeSubscribedToAgainWithoutTheFirstWatch) {
  refusing_glib().refuses_watches = true;
  EXPECT_FALSE(subscribe());
  refusing_glib().refuses_watches = false;
  EXPECT_TRUE(subscribe());
  EXPECT_THAT(open_devices(), SizeIs(1));
}

// A device that fails is always ready, without having anything to be read.

/// In the place of the device while it lives: the end of a pipe that has hung up.
class HangUp {
 public:
  explicit HangUp(int device) : device_{device}, kept_{fcntl(device, F_DUPFD_CLOEXEC, 3)} {
    int ends[2] = {-1, -1};
    if (pipe(ends) != 0)
      std::abort();
    const UniqueFd read_end{ends[0]};
    close(ends[1]);
    dup2(read_end.get(), device_);
  }
  ~HangUp() { dup2(kept_.get(), device_); }
  HangUp(const HangUp &) = delete;
  HangUp &operator=(const HangUp &) = delete;

 private:
  int device_;
  UniqueFd kept_;
};

TEST_F(DataCache, HangUpPausesTheWatch) {
  EXPECT_TRUE(subscribe());
  const HangUp hang_up{open_devices().at(0)};
  run_main_loop_until([] { return refusing_glib().last_timeout != 0; });
  EXPECT_FALSE(is_source(refusing_glib().last_watch));
  EXPECT_TRUE(is_source(refusing_glib().last_timeout));
  EXPECT_EQ(calls_, 0);
}

TEST_F(DataCache, IsFollowedAgainAfterAHangUp) {
  EXPECT_TRUE(subscribe());
  {
    const HangUp hang_up{open_devices().at(0)};
    run_main_loop_until([] { return refusing_glib().last_timeout != 0; });
  }
  fake_data_cache().tell(30.0F);
  run_until_called(1);
  EXPECT_THAT(degrees_, ElementsAre(30.0F));
}

// The end of a subscription.

TEST_F(DataCache, IsUnsubscribedFromAndClosed) {
  BEAMD_DEBUG_FLAG = 1;
  fake_data_cache().register_result = 0x0102;
  EXPECT_TRUE(subscribe());
  log_.clear();
  end();
  EXPECT_EQ(last_request(), (Request{kDevice, kUnsubscribe, {0x02, 0x01, 0, 0}}));
  EXPECT_THAT(fake_data_cache().requests, SizeIs(2));
  EXPECT_THAT(open_devices(), IsEmpty());
  EXPECT_FALSE(is_source(refusing_glib().last_watch));
  EXPECT_THAT(log_.lines(), ElementsAre(kUnsubscribed));
}

TEST_F(DataCache, IsWatchedUntilThen) {
  EXPECT_TRUE(subscribe());
  EXPECT_TRUE(is_source(refusing_glib().last_watch));
  fake_data_cache().tell(30.0F);
  end();
  run_main_loop(100);
  EXPECT_EQ(calls_, 0);
}

TEST_F(DataCache, MayBeLeftDuringAPause) {
  fake_data_cache().read_result = -1;
  EXPECT_TRUE(subscribe());
  fake_data_cache().tell(30.0F);
  run_until_called(1);
  ASSERT_NE(refusing_glib().last_timeout, 0U);
  EXPECT_TRUE(is_source(refusing_glib().last_timeout));
  end();
  EXPECT_FALSE(is_source(refusing_glib().last_timeout));
  EXPECT_FALSE(is_source(refusing_glib().last_watch));
}

TEST_F(DataCache, MayBeLeftAfterAPause) {
  fake_data_cache().read_result = -1;
  EXPECT_TRUE(subscribe());
  fake_data_cache().tell(30.0F);
  const guint first_watch = refusing_glib().last_watch;
  run_until_called(2);
  fake_data_cache().read_result = 0;
  run_until_called(calls_ + 1);
  EXPECT_NE(refusing_glib().last_watch, first_watch);
  end();
  EXPECT_FALSE(is_source(refusing_glib().last_watch));
}

TEST_F(DataCache, IsClosedEvenWhenItCannotBeUnsubscribedFrom) {
  BEAMD_DEBUG_FLAG = 1;
  EXPECT_TRUE(subscribe());
  log_.clear();
  fake_data_cache().unsubscribe_result = -1;
  end();
  EXPECT_THAT(open_devices(), IsEmpty());
  EXPECT_THAT(log_.lines(),
              ElementsAre(Line{LOG_ERR, "Unable to do ioctl DC_IOC_DATA_CACHE_UNSUBSCRIBE"}, kUnsubscribed));
}

TEST_F(DataCache, ChannelIsShutDownWithoutFlushing) {
  EXPECT_TRUE(subscribe());
  end();
  EXPECT_THAT(refusing_glib().flushes, ElementsAre(FALSE));
}

TEST_F(DataCache, FailedShutdownIsLogged) {
  BEAMD_DEBUG_FLAG = 1;
  EXPECT_TRUE(subscribe());
  log_.clear();
  refusing_glib().fails_shutdowns = true;
  end();
  EXPECT_THAT(log_.lines(),
              ElementsAre(Line{LOG_ERR, "Couldn't shutdown GIO channel: the test says so"}, kUnsubscribed));
}

TEST_F(DataCache, ThatWasNeverSubscribedToIsLeftInPeace) {
  BEAMD_DEBUG_FLAG = 1;
  end();
  EXPECT_THAT(log_.lines(), IsEmpty());
  EXPECT_THAT(fake_data_cache().requests, IsEmpty());
}

// With its standard input closed, the daemon may get that number for the device.
class DataCacheOfDescriptorZero : public DataCache {
 protected:
  DataCacheOfDescriptorZero() { close(STDIN_FILENO); }
  ~DataCacheOfDescriptorZero() override {
    end();
    if (is_source(refusing_glib().last_watch))
      g_source_remove(refusing_glib().last_watch);
    dup2(standard_input_.get(), STDIN_FILENO);
  }

 private:
  UniqueFd standard_input_{fcntl(STDIN_FILENO, F_DUPFD_CLOEXEC, 3)};
};

TEST_F(DataCacheOfDescriptorZero, IsTakenForClosedInTheEnd) {
  BEAMD_DEBUG_FLAG = 1;
  EXPECT_TRUE(subscribe());
  EXPECT_THAT(open_devices(), ElementsAre(0));
  log_.clear();
  end();
  EXPECT_THAT(fake_data_cache().requests, SizeIs(1)) << "it is not unsubscribed from";
  EXPECT_THAT(open_devices(), ElementsAre(0));
  EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(DataCacheOfDescriptorZero, IsReadLikeAnyOther) {
  EXPECT_TRUE(subscribe());
  fake_data_cache().tell(30.0F);
  run_until_called(1);
  EXPECT_THAT(degrees_, ElementsAre(30.0F));
}

TEST_F(DataCacheOfDescriptorZero, CallsNobodyAfterItsEnd) {
  EXPECT_TRUE(subscribe());
  end();
  EXPECT_FALSE(is_source(refusing_glib().last_watch));
}

}  // namespace
