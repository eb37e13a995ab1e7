// The subscription to the camera's field of view: what the device is told, and what it tells.

#include <fcntl.h>

#include <cmath>
#include <limits>

#include "support/data_cache_fixture.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;
using Line = SyslogCapture::Line;
using Record = std::vector<std::uint8_t>;
using Request = FakeDataCache::Request;

constexpr std::uint32_t kRegister = 0x801C2B00;
constexpr std::uint32_t kUnsubscribe = 0x80042B01;
constexpr std::uint32_t kRead = 0x80202B03;
constexpr const char *kDevice = "/dev/datacache0";

/// "zoom" and what else the device is told when it is subscribed to.
const Record kRegistration = {'z', 'o', 'o', 'm', 0, 0, 0, 0, 0, 0, 0, 0, 0, 0,
                              0,   0,   0,   0,   0, 0, 1, 0, 0, 0, 0, 0, 0, 0};

TEST_F(DataCache, IsRegisteredWithForZoom) {
  EXPECT_TRUE(subscribe());
  EXPECT_THAT(fake_data_cache().requests, ElementsAre(Request{kDevice, kRegister, kRegistration}));
  EXPECT_THAT(log_.lines(), IsEmpty());
  end();
}

TEST_F(DataCache, IsOpenedForReadingAndWriting) {
  EXPECT_TRUE(subscribe());
  ASSERT_THAT(open_devices(), SizeIs(1));
  EXPECT_EQ(fcntl(open_devices()[0], F_GETFL) & O_ACCMODE, O_RDWR);
  EXPECT_NE(fcntl(open_devices()[0], F_GETFD) & FD_CLOEXEC, 0);
  end();
}

TEST_F(DataCache, SubscriptionIsToldInDebugMode) {
  BEAMD_DEBUG_FLAG = 1;
  EXPECT_TRUE(subscribe());
  EXPECT_THAT(log_.lines(), ElementsAre(Line{LOG_INFO, "Subscribed to datacache: zoom"}));
  end();
}

TEST_F(DataCache, IsNotAskedUntilItHasNews) {
  EXPECT_TRUE(subscribe());
  run_main_loop(100);
  EXPECT_EQ(calls_, 0);
  EXPECT_THAT(fake_data_cache().requests, SizeIs(1));
}

TEST_F(DataCache, IsReadByTheNumberOfTheSubscription) {
  fake_data_cache().register_result = 0x12345678;
  EXPECT_TRUE(subscribe());
  fake_data_cache().tell(47.9F);
  run_until_called(1);
  EXPECT_THAT(degrees_, ElementsAre(47.9F));

  const Request request = last_request();
  EXPECT_EQ(request.path, kDevice);
  EXPECT_EQ(request.number, kRead);
  ASSERT_THAT(request.record, SizeIs(32));
  const auto part = [&](int start, int size) {
    return Record(request.record.begin() + start, request.record.begin() + start + size);
  };
  EXPECT_EQ(part(0, 4), Record({0x78, 0x56, 0x34, 0x12}));
  EXPECT_EQ(part(4, 4), Record({1, 0, 0, 0}));
  EXPECT_NE(part(8, 8), Record(8, 0));
  EXPECT_EQ(part(16, 16), Record(16, 0));
}

TEST_F(DataCache, IsReadIntoTheSamePlaceEachTime) {
  EXPECT_TRUE(subscribe());
  fake_data_cache().tell(1.0F);
  run_until_called(1);
  const Request first = last_request();
  fake_data_cache().tell(2.0F);
  run_until_called(2);
  EXPECT_EQ(last_request(), first);
  EXPECT_THAT(degrees_, ElementsAre(1.0F, 2.0F));
}

TEST_F(DataCache, MayHaveSubscriptionNumberZero) {
  fake_data_cache().register_result = 0;
  EXPECT_TRUE(subscribe());
  EXPECT_THAT(log_.lines(), IsEmpty());
  end();
  EXPECT_EQ(last_request(), (Request{kDevice, kUnsubscribe, {0, 0, 0, 0}}));
}

TEST_F(DataCache, MayBeToldAnyNumber) {
  constexpr float kInfinity = std::numeric_limits<float>::infinity();
  EXPECT_TRUE(subscribe());
  for (const float degrees : {0.0F, -1.5F, 1e30F, kInfinity, -kInfinity, NAN}) {
    fake_data_cache().tell(degrees);
    run_until_called(calls_ + 1);
  }
  EXPECT_THAT(degrees_, ElementsAre(0.0F, -1.5F, 1e30F, kInfinity, -kInfinity, testing::IsNan()));
}

TEST_F(DataCache, ReadMaySucceedWithAnyResultThatIsNoFailure) {
  fake_data_cache().read_result = 20;
  EXPECT_TRUE(subscribe());
  fake_data_cache().tell(30.0F);
  run_until_called(1);
  EXPECT_THAT(degrees_, ElementsAre(30.0F));
  EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(DataCache, EachNewsIsOneCall) {
  EXPECT_TRUE(subscribe());
  for (int i = 0; i < 100; ++i)
    fake_data_cache().tell(static_cast<float>(i));
  run_main_loop(1000);
  EXPECT_EQ(calls_, 100);
  EXPECT_THAT(degrees_, testing::Each(99.0F));
}

TEST_F(DataCache, FailedReadIsLogged) {
  fake_data_cache().read_result = -1;
  EXPECT_TRUE(subscribe());
  fake_data_cache().tell(30.0F);
  run_until_called(1);
  EXPECT_THAT(degrees_, IsEmpty());
  EXPECT_THAT(log_.lines(), ElementsAre(Line{LOG_INFO, "Failed to read HFOV from datacache"}));
}

TEST_F(DataCache, FailingReadsDoNotKeepTheLoopBusy) {
  constexpr int kRounds = 10'000;
  fake_data_cache().read_result = -1;
  EXPECT_TRUE(subscribe());
  fake_data_cache().tell(30.0F);
  run_main_loop(kRounds);
  EXPECT_GE(calls_, 1);
  EXPECT_LT(calls_, kRounds / 100) << "readable all the time, and read again and again";
}

TEST_F(DataCache, IsWatchedAgainAfterAPause) {
  fake_data_cache().read_result = -1;
  EXPECT_TRUE(subscribe());
  fake_data_cache().tell(30.0F);
  run_until_called(2);
  fake_data_cache().read_result = 0;
  run_until_called(calls_ + 1);
  EXPECT_THAT(degrees_, ElementsAre(30.0F)) << "the news was kept";
  fake_data_cache().tell(31.0F);
  run_main_loop(10);
  EXPECT_THAT(degrees_, ElementsAre(30.0F, 31.0F)) << "without a further pause";
}

TEST_F(DataCache, WithNewsThatNobodyReadsDoesNotKeepTheLoopBusy) {
  constexpr int kRounds = 10'000;
  EXPECT_TRUE(view_->subscribe([this] {
    ++calls_;
    return false;
  }));
  fake_data_cache().tell(30.0F);
  run_main_loop(kRounds);
  EXPECT_GE(calls_, 1);
  EXPECT_LT(calls_, kRounds / 100);
  run_until_called(calls_ + 1);
  EXPECT_THAT(fake_data_cache().requests, SizeIs(1)) << "nothing but the registration";
}

}  // namespace
