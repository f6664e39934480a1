#include "tests/panel/PanelProgram.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <fstream>
#include <iterator>

namespace
{

using ::testing::HasSubstr;

struct BadLibrary {
    std::string path;
    std::string says;
};

class LoadErrorTest : public ::testing::Test
{
protected:
    // Every command that drives a device says the same.
    void expectRefused(const std::string& library, const std::string& says)
    {
        const std::vector<std::vector<std::string>> commands = {
            {"poll", "--driver", library, "--cycles", "1"},
            {"send", "--driver", library, "REFRESH()"},
            {"write", "--driver", library, "10", "string", "vpnuser"},
        };
        for (const auto& arguments : commands) {
            const Finished result = m_program.run(arguments);
            EXPECT_EQ(result.exitCode, 2) << result.err;
            EXPECT_THAT(result.err, ::testing::StartsWith("orva-panel: "));
            EXPECT_THAT(result.err, HasSubstr(says));
            EXPECT_EQ(std::count(result.err.begin(), result.err.end(), '\n'), 1) << result.err;
            EXPECT_EQ(result.out, "");
        }
    }
    TestFolder& folder() { return m_folder; }

private:
    TestFolder m_folder;
    PanelProgram m_program{m_folder};
};

TEST_F(LoadErrorTest, AMissingLibraryIsNamed)
{
    expectRefused("/does/not/exist.so",
                  "cannot load driver: cannot read '/does/not/exist.so': No such file");
}

TEST_F(LoadErrorTest, ALibraryWithoutExportsIsNoDriver)
{
    expectRefused(plugin("no_exports"),
                  "is no driver: it does not export CreateDeviceCtrl and DestroyDeviceCtrl");
}

TEST_F(LoadErrorTest, AMissingDestroyDeviceCtrlIsNamedAlone)
{
    expectRefused(plugin("no_destroy"), "is no driver: it does not export DestroyDeviceCtrl\n");
}

TEST_F(LoadErrorTest, AFactoryWithoutObjectIsAnError)
{
    expectRefused(plugin("null_object"), "CreateDeviceCtrl returned no object");
}

TEST_F(LoadErrorTest, AnExceptionThatNobodyCanCatchIsOneLineToo)
{
    expectRefused(plugin("throwing_constructor"),
                  "orva-panel: an exception came out of a library where none can be caught\n");
}

TEST_F(LoadErrorTest, AnUndefinedSymbolIsNamedAtOnce)
{
    expectRefused(plugin("undefined_symbol"), "undefined symbol: functionThatNobodyHas");
}

TEST_F(LoadErrorTest, AFileThatIsNoLibraryIsRefused)
{
    expectRefused(folder().write("text.so", std::string(4096, 'x')), "text.so': no ELF file\n");
    expectRefused(folder().write("empty.so", ""), "empty.so': no ELF file\n");
    ASSERT_EQ(::mkfifo(folder().path("pipe.so").c_str(), 0600), 0);
    expectRefused(folder().path("pipe.so"), "pipe.so': no regular file\n");
}

TEST_F(LoadErrorTest, ATruncatedLibraryIsRefusedBeforeItIsLoaded)
{
    std::ifstream file(plugin("scripted_driver"), std::ios::binary);
    const std::string whole((std::istreambuf_iterator<char>(file)),
                            std::istreambuf_iterator<char>());
    ASSERT_GT(whole.size(), 8192U);
    for (const std::size_t size : {std::size_t{100}, std::size_t{4096}, whole.size() / 2}) {
        expectRefused(folder().write("cut.so", whole.substr(0, size)), "cut.so': truncated: ");
    }
}

TEST_F(LoadErrorTest, ANameWithoutFolderIsNotLookedUpInTheSystem)
{
    expectRefused("libc.so.6", "cannot load driver: cannot read './libc.so.6'");
}

}  // namespace
