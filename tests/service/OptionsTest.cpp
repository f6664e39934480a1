#include "service/daemon/Options.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <initializer_list>
#include <vector>

namespace vpnd
{
namespace
{

using ::testing::HasSubstr;
using ::testing::StartsWith;

CommandLine read(std::initializer_list<const char*> arguments)
{
    std::vector<const char*> all = {"orva-vpnd"};
    all.insert(all.end(), arguments);
    return readCommandLine(static_cast<int>(all.size()), all.data());
}

TEST(OptionsTest, WithoutAnyAllIsLeftToTheConfiguration)
{
    const CommandLine line = read({});
    ASSERT_TRUE(line.options);
    EXPECT_EQ(line.options->config, "");
    EXPECT_FALSE(line.options->checkConfig || line.options->noConnect || line.options->show ||
                 line.options->listen || line.options->state || line.options->deviceName ||
                 line.options->serial || line.options->logLevel);
}

TEST(OptionsTest, EveryOptionIsTaken)
{
    const CommandLine line = read({"--config", "a.toml", "--listen", "127.0.0.1:0", "--state",
                                   "here", "--device-name", "line 3", "--serial", "S-1",
                                   "--log-level", "warn", "--no-connect", "--check-config"});
    ASSERT_TRUE(line.options) << line.text;
    EXPECT_EQ(line.options->config, "a.toml");
    EXPECT_EQ(line.options->listen, "127.0.0.1:0");
    EXPECT_EQ(line.options->state, "here");
    EXPECT_EQ(line.options->deviceName, "line 3");
    EXPECT_EQ(line.options->serial, "S-1");
    EXPECT_EQ(line.options->logLevel, "warn");
    EXPECT_TRUE(line.options->noConnect);
    EXPECT_TRUE(line.options->checkConfig);
}

TEST(OptionsTest, OneOfThreeThingsIsShown)
{
    EXPECT_EQ(read({"--show", "settings"}).options->show, Show::kSettings);
    EXPECT_EQ(read({"--show", "history"}).options->show, Show::kHistory);
    EXPECT_EQ(read({"--show", "history"}).options->show, Show::kHistory);
    EXPECT_TRUE(read({"--show", "all"}).isWrong);
    EXPECT_TRUE(read({"--show", "settings", "--check-config"}).isWrong);
}

TEST(OptionsTest, AWrongValueIsToldWithItselfAndWhatWouldBeRight)
{
    const struct {
        const char* option;
        const char* value;
        const char* right;
    } cases[] = {
        {"--listen", "localhost:9009", "such as \"127.0.0.1:9009\""},
        {"--state", "", "a folder, or none"},
        {"--device-name", "a\"b", "1 to 64 bytes of UTF-8"},
        {"--serial", "a b", "1 to 64 letters"},
        {"--log-level", "loud", "\"debug\", \"info\""},
        {"--show", "all", "settings"},
    };
    for (const auto& wrong : cases) {
        const CommandLine line = read({wrong.option, wrong.value});
        EXPECT_FALSE(line.options) << wrong.option;
        EXPECT_TRUE(line.isWrong);
        EXPECT_THAT(line.text, StartsWith("orva-vpnd: "));
        EXPECT_THAT(line.text, HasSubstr(wrong.option));
        EXPECT_THAT(line.text, HasSubstr(wrong.value));
        EXPECT_THAT(line.text, HasSubstr(wrong.right));
    }
    EXPECT_TRUE(read({"--colour"}).isWrong);
    EXPECT_TRUE(read({"--config"}).isWrong);
    EXPECT_TRUE(read({"file.toml"}).isWrong);
}

TEST(OptionsTest, HelpAndVersionAreTextsForStandardOutput)
{
    for (const char* option : {"--help", "--version"}) {
        const CommandLine line = read({option});
        EXPECT_FALSE(line.options);
        EXPECT_FALSE(line.isWrong);
        EXPECT_FALSE(line.text.empty());
    }
    EXPECT_EQ(read({"--version"}).text, "orva-vpnd " ORVA_VERSION "\n");
    for (const char* option : {"--config", "--check-config", "--show", "--listen", "--state",
                               "--device-name", "--serial", "--no-connect", "--log-level"}) {
        EXPECT_THAT(read({"--help"}).text, HasSubstr(option));
    }
}

}  // namespace
}  // namespace vpnd
