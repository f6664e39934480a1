#include "tests/panel/PanelProgram.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

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
                  "cannot load driver '/does/not/exist.so': cannot open shared object file");
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

TEST_F(LoadErrorTest, AnUndefinedSymbolIsNamedAtOnce)
{
    expectRefused(plugin("undefined_symbol"), "undefined symbol: functionThatNobodyHas");
}

TEST_F(LoadErrorTest, AFileThatIsNoLibraryIsRefused)
{
    expectRefused(folder().write("text.so", std::string(4096, 'x')),
                  "text.so': invalid ELF header");
    expectRefused(folder().write("empty.so", ""), "empty.so': file too short");
}

TEST_F(LoadErrorTest, ANameWithoutFolderIsNotLookedUpInTheSystem)
{
    expectRefused("libc.so.6", "cannot load driver 'libc.so.6'");
}

}  // namespace
