#include "platform/logging_interval.hpp"

#include <gtest/gtest.h>

#include <chrono>
#include <cmath>
#include <limits>
#include <random>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace {

using smartlog::LoggingInterval;
using Intervals = std::vector<std::pair<double, double>>;

constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr double kNan = std::numeric_limits<double>::quiet_NaN();

TEST(LoggingInterval, logsEveryTimeWhenNothingIsSet) {
  const LoggingInterval interval;
  for (const double time : {-kInfinity, -1.0, 0.0, 1e300, kInfinity, kNan}) {
    EXPECT_TRUE(interval.timeInLoggingInterval(time)) << time;
  }
}

TEST(LoggingInterval, logsNothingWithinNoIntervals) {
  const LoggingInterval interval = LoggingInterval::within({});
  for (const double time : {-kInfinity, 0.0, kInfinity, kNan}) {
    EXPECT_FALSE(interval.timeInLoggingInterval(time)) << time;
  }
}

TEST(LoggingInterval, includesBothBounds) {
  const LoggingInterval interval = LoggingInterval::within({{1.0, 2.0}});
  EXPECT_FALSE(interval.timeInLoggingInterval(std::nextafter(1.0, 0.0)));
  EXPECT_TRUE(interval.timeInLoggingInterval(1.0));
  EXPECT_TRUE(interval.timeInLoggingInterval(2.0));
  EXPECT_FALSE(interval.timeInLoggingInterval(std::nextafter(2.0, 3.0)));
  EXPECT_FALSE(interval.timeInLoggingInterval(kNan));
}

TEST(LoggingInterval, disablesBothBounds) {
  LoggingInterval interval;
  interval.disable(1.0, 2.0);
  EXPECT_TRUE(interval.timeInLoggingInterval(std::nextafter(1.0, 0.0)));
  EXPECT_FALSE(interval.timeInLoggingInterval(1.0));
  EXPECT_FALSE(interval.timeInLoggingInterval(2.0));
  EXPECT_TRUE(interval.timeInLoggingInterval(std::nextafter(2.0, 3.0)));
  EXPECT_FALSE(interval.timeInLoggingInterval(kNan));
}

TEST(LoggingInterval, disablesInsideWhatIsLogged) {
  LoggingInterval interval = LoggingInterval::within({{0.0, 10.0}});
  interval.disable(3.0, 4.0);
  interval.disable(5.0, 5.0);
  EXPECT_TRUE(interval.timeInLoggingInterval(2.0));
  EXPECT_FALSE(interval.timeInLoggingInterval(3.5));
  EXPECT_TRUE(interval.timeInLoggingInterval(4.5));
  EXPECT_FALSE(interval.timeInLoggingInterval(5.0));
  EXPECT_FALSE(interval.timeInLoggingInterval(11.0));
}

TEST(LoggingInterval, acceptsInfiniteBoundsPointsAndAnyOrder) {
  const LoggingInterval interval =
      LoggingInterval::within({{7.0, kInfinity}, {3.0, 3.0}, {-kInfinity, 0.0}, {-5.0, 1.0}});
  for (const double time : {-kInfinity, -3.0, 1.0, 3.0, 7.0, kInfinity}) {
    EXPECT_TRUE(interval.timeInLoggingInterval(time)) << time;
  }
  for (const double time : {2.0, 4.0}) {
    EXPECT_FALSE(interval.timeInLoggingInterval(time)) << time;
  }
}

TEST(LoggingInterval, refusesBackwardIntervalsAndNan) {
  EXPECT_THROW(static_cast<void>(LoggingInterval::within({{0.0, 1.0}, {2.0, 1.0}})), std::invalid_argument);
  EXPECT_THROW(static_cast<void>(LoggingInterval::within({{kNan, 1.0}})), std::invalid_argument);
  EXPECT_THROW(static_cast<void>(LoggingInterval::within({{0.0, kNan}})), std::invalid_argument);
  LoggingInterval interval;
  EXPECT_THROW(interval.disable(2.0, 1.0), std::invalid_argument);
  EXPECT_THROW(interval.disable(kNan, 1.0), std::invalid_argument);
  EXPECT_THROW(interval.disable(0.0, kNan), std::invalid_argument);
  EXPECT_TRUE(interval.timeInLoggingInterval(kNan)) << "a refused interval sets nothing";
}

TEST(LoggingInterval, namesARefusedInterval) {
  try {
    LoggingInterval().disable(2.5, 1.5);
    FAIL();
  } catch (const std::invalid_argument& error) {
    EXPECT_NE(std::string(error.what()).find("[2.5"), std::string::npos) << error.what();
    EXPECT_NE(std::string(error.what()).find("1.5"), std::string::npos) << error.what();
  }
}

TEST(LoggingInterval, tellsNeighbouringNumbersFromABound) {
  const double before = std::nextafter(1.0, 0.0);
  const double after = std::nextafter(2.0, 3.0);
  LoggingInterval interval;
  interval.disable(1.0, 2.0);
  for (int round = 0; round < 2; ++round) {
    EXPECT_TRUE(interval.timeInLoggingInterval(before));
    EXPECT_FALSE(interval.timeInLoggingInterval(1.0));
    EXPECT_FALSE(interval.timeInLoggingInterval(2.0));
    EXPECT_TRUE(interval.timeInLoggingInterval(after));
  }
  const LoggingInterval limited = LoggingInterval::within({{1.0, 2.0}});
  for (int round = 0; round < 2; ++round) {
    EXPECT_FALSE(limited.timeInLoggingInterval(before));
    EXPECT_TRUE(limited.timeInLoggingInterval(1.0));
    EXPECT_TRUE(limited.timeInLoggingInterval(2.0));
    EXPECT_FALSE(limited.timeInLoggingInterval(after));
  }
}

TEST(LoggingInterval, remembersNothingOfTheTimeBeforeAChange) {
  LoggingInterval interval;
  EXPECT_TRUE(interval.isLoggedAsLastTime(5.0));
  interval.disable(4.0, 6.0);
  EXPECT_FALSE(interval.isLoggedAsLastTime(5.0));
  EXPECT_FALSE(interval.timeInLoggingInterval(5.0));
  EXPECT_FALSE(interval.isLoggedAsLastTime(kNan));
  interval.disable(-kInfinity, kInfinity);
  EXPECT_FALSE(interval.timeInLoggingInterval(0.0));
  EXPECT_FALSE(interval.timeInLoggingInterval(kInfinity));
  EXPECT_FALSE(interval.timeInLoggingInterval(-kInfinity));
}

TEST(LoggingInterval, keepsAnsweringAfterItIsCopied) {
  LoggingInterval interval = LoggingInterval::within({{0.0, 1.0}, {2.0, 3.0}});
  EXPECT_TRUE(interval.timeInLoggingInterval(2.5));
  LoggingInterval copy = interval;
  copy.disable(2.0, 3.0);
  EXPECT_FALSE(copy.timeInLoggingInterval(2.5));
  EXPECT_TRUE(interval.timeInLoggingInterval(2.5));
}

bool inAny(const Intervals& intervals, double time) {
  for (const auto& [start, stop] : intervals) {
    if (time >= start && time <= stop) return true;
  }
  return false;
}

TEST(LoggingInterval, agreesWithASearchThroughAllIntervals) {
  std::mt19937 random(6);
  const auto number = [&] { return static_cast<double>(random() % 41) / 2.0; };
  for (int round = 0; round < 400; ++round) {
    const bool limited = random() % 2 == 0;
    Intervals enabled;
    Intervals disabled;
    for (auto n = random() % 6; limited && n > 0; --n) {
      const double start = number();
      enabled.emplace_back(start, start + number() / 4);
    }
    LoggingInterval interval = limited ? LoggingInterval::within(enabled) : LoggingInterval();
    double time = 0;
    for (int question = 0; question < 200; ++question) {
      if (random() % 50 == 0) {
        const double start = number();
        disabled.emplace_back(start, start + number() / 8);
        interval.disable(disabled.back().first, disabled.back().second);
      }
      time = random() % 4 == 0 ? number() : time + static_cast<double>(random() % 3) / 4;  // mostly forward
      if (random() % 37 == 0) {
        ASSERT_EQ(interval.timeInLoggingInterval(kNan), !limited && disabled.empty());
      }
      const bool expected = (!limited || inAny(enabled, time)) && !inAny(disabled, time);
      if (interval.isLoggedAsLastTime(time)) {
        ASSERT_TRUE(expected) << "round " << round << ", time " << time;
      }
      ASSERT_EQ(interval.timeInLoggingInterval(time), expected) << "round " << round << ", time " << time;
      ASSERT_EQ(interval.isLoggedAsLastTime(time), expected) << "round " << round << ", time " << time;
    }
  }
}

/// Seconds per question of times that grow past `count` intervals, or jump between them.
double secondsPerQuestion(std::size_t count, bool growing) {
  Intervals closed;
  for (std::size_t i = 0; i < count; ++i) closed.emplace_back(static_cast<double>(i), static_cast<double>(i) + 0.5);
  const LoggingInterval interval = LoggingInterval::within(closed);
  constexpr std::size_t kQuestions = 200000;
  std::size_t inside = 0;
  std::mt19937 random(7);
  const auto start = std::chrono::steady_clock::now();
  for (std::size_t i = 0; i < kQuestions; ++i) {
    const auto fraction = growing ? static_cast<double>(i) / kQuestions : static_cast<double>(random()) / 0x1p32;
    inside += interval.timeInLoggingInterval(fraction * static_cast<double>(count)) ? 1 : 0;
  }
  const std::chrono::duration<double> taken = std::chrono::steady_clock::now() - start;
  EXPECT_GT(inside, kQuestions / 4);
  return taken.count() / kQuestions;
}

TEST(LoggingInterval, doesNotSlowDownWithTheNumberOfIntervals) {
  // A linear search through 100 000 intervals would cost tens of microseconds per question.
  EXPECT_LT(secondsPerQuestion(100000, true), 5e-6);
  EXPECT_LT(secondsPerQuestion(100000, false), 5e-6);
}

}  // namespace
