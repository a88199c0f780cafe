// Command line of the spacecraft program.
#include "options.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

struct Parsed {
  bool valid;
  Options options;
  std::string message;
};

Parsed parse(std::vector<std::string> arguments) {
  arguments.insert(arguments.begin(), "spacecraft");
  static std::vector<std::string> kept;  // options point into the arguments
  kept = std::move(arguments);
  std::vector<char*> argv;
  for (std::string& argument : kept) {
    argv.push_back(argument.data());
  }
  Parsed parsed{};
  char message[200] = "";
  parsed.valid = optionsParse(static_cast<int>(argv.size()), argv.data(), &parsed.options, message, sizeof message);
  parsed.message = message;
  return parsed;
}

TEST(SpacecraftOptions, DefaultsAreTwoHundredThousandSteps) {
  const Parsed parsed = parse({});
  ASSERT_TRUE(parsed.valid) << parsed.message;
  EXPECT_EQ(parsed.options.steps, 200000u);
  EXPECT_STREQ(parsed.options.configuration, "config.qat");
  EXPECT_STREQ(parsed.options.output, "results.qat");
  EXPECT_TRUE(parsed.options.stepBack);
  EXPECT_FALSE(parsed.options.help);
}

TEST(SpacecraftOptions, EveryOptionIsTaken) {
  const Parsed parsed =
      parse({"--step", "0.1", "--duration", "12.3", "--config", "a.qat", "--out", "b.qat", "--no-step-back", "--help"});
  ASSERT_TRUE(parsed.valid) << parsed.message;
  EXPECT_EQ(parsed.options.step, 0.1);
  EXPECT_EQ(parsed.options.steps, 123u);  // although 12.3 / 0.1 is a little less than 123
  EXPECT_STREQ(parsed.options.configuration, "a.qat");
  EXPECT_STREQ(parsed.options.output, "b.qat");
  EXPECT_FALSE(parsed.options.stepBack);
  EXPECT_TRUE(parsed.options.help);
}

struct BadArguments {
  std::vector<std::string> arguments;
  std::string named;  ///< the option that the message names
  std::string value;  ///< and the value
};

class SpacecraftBadOptions : public testing::TestWithParam<BadArguments> {};

TEST_P(SpacecraftBadOptions, MessageNamesOptionAndValue) {
  const Parsed parsed = parse(GetParam().arguments);
  EXPECT_FALSE(parsed.valid);
  EXPECT_THAT(parsed.message, testing::HasSubstr(GetParam().named));
  EXPECT_THAT(parsed.message, testing::HasSubstr("'" + GetParam().value + "'"));
}

INSTANTIATE_TEST_SUITE_P(
    All, SpacecraftBadOptions,
    testing::Values(BadArguments{{"--step", "fast"}, "--step", "fast"}, BadArguments{{"--step", ""}, "--step", ""},
                    BadArguments{{"--step", "0.1s"}, "--step", "0.1s"}, BadArguments{{"--step", "0"}, "--step", "0"},
                    BadArguments{{"--step", "-1"}, "--step", "-1"}, BadArguments{{"--step", "nan"}, "--step", "nan"},
                    BadArguments{{"--duration", "inf"}, "--duration", "inf"},
                    BadArguments{{"--duration", "1e999"}, "--duration", "1e999"},
                    BadArguments{{"--duration", "0.001"}, "--duration", "0.001"},
                    BadArguments{{"--duration", "1e300"}, "--duration", "1.0000000000000001e+300"},
                    BadArguments{{"--config", ""}, "--config", ""}, BadArguments{{"--out", ""}, "--out", ""},
                    BadArguments{{"--config", "a.qat", "--out", "a.qat"}, "--out", "a.qat"},
                    BadArguments{{"--out"}, "command line", "--out"},
                    BadArguments{{"--verbose"}, "command line", "--verbose"},
                    BadArguments{{"extra"}, "command line", "extra"}));

TEST(SpacecraftOptions, HelpNamesEveryOption) {
  for (const char* option : {"--step", "--duration", "--config", "--out", "--no-step-back", "--help"}) {
    EXPECT_THAT(optionsHelp(), testing::HasSubstr(option));
  }
}

}  // namespace
