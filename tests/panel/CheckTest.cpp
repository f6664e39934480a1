#include "panel/check/DryCycle.h"
#include "panel/check/Processor.h"
#include "tests/panel/PanelProgram.h"
#include "tests/panel/TinyElf.h"

#include <elf.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <fstream>
#include <iterator>

namespace
{

using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::StartsWith;

// A processor that is not the one the tests run on.
TinyElf foreignDriver()
{
    TinyElf elf = armDriver();
    if (panel::ownProcessor() == panel::targetOf("armv7")) {
        elf.is64 = true;
        elf.machine = EM_X86_64;
        elf.flags = 0;
    }
    return elf;
}

class CheckTest : public ::testing::Test
{
protected:
    Finished check(std::vector<std::string> arguments)
    {
        arguments.insert(arguments.begin(), "check");
        return m_program.run(arguments);
    }
    std::string file(const TinyElf& elf, const std::string& name = "driver.so") const
    {
        const std::vector<unsigned char> bytes = elf.bytes();
        return m_folder.write(name, std::string(bytes.begin(), bytes.end()));
    }
    // A driver that asks the runtime for both of its functions, as far as it has them.
    std::string askingDriver(bool weak = true) const
    {
        TinyElf elf = foreignDriver();
        elf.symbols.push_back({"Orva_GetTickCount", false, weak});
        elf.symbols.push_back({"watch_dog_report", false, weak});
        return file(elf);
    }
    static TinyElf runtimeWith(const std::vector<TinyElf::Symbol>& symbols)
    {
        TinyElf elf = foreignDriver();
        elf.type = ET_EXEC;
        elf.symbols = symbols;
        return elf;
    }
    void expectWrong(const Finished& result, const std::string& line)
    {
        EXPECT_EQ(result.exitCode, 2);
        EXPECT_THAT(result.out, HasSubstr("  WRONG    " + line));
        EXPECT_THAT(result.err, HasSubstr("cannot be used as a driver: "));
        EXPECT_EQ(std::count(result.err.begin(), result.err.end(), '\n'), 1) << result.err;
    }
    template <class Condition>
    static bool waitFor(Condition condition, std::chrono::seconds atMost = std::chrono::seconds(30))
    {
        const auto deadline = std::chrono::steady_clock::now() + atMost;
        while (!condition()) {
            if (std::chrono::steady_clock::now() > deadline) return false;
            ::poll(nullptr, 0, 5);
        }
        return true;
    }
    // Not one that has ended and waits for its parent.
    static bool runs(int process)
    {
        std::ifstream file("/proc/" + std::to_string(process) + "/stat");
        std::string stat;
        std::getline(file, stat);
        const std::size_t name = stat.rfind(") ");
        return name != stat.npos && stat[name + 2] != 'Z' && stat[name + 2] != 'X';
    }
    PanelProgram& program() { return m_program; }
    TestFolder& folder() { return m_folder; }

private:
    TestFolder m_folder;
    PanelProgram m_program{m_folder};
};

TEST_F(CheckTest, AGoodDriverPassesWithADryCycle)
{
    program().script("cycle 7 1=a 2=3\n");
    const Finished result = check({plugin("scripted_driver")});
    EXPECT_EQ(result.exitCode, 0) << result.out << result.err;
    EXPECT_THAT(result.out,
                HasSubstr("  ok       exports     CreateDeviceCtrl, DestroyDeviceCtrl\n"));
    EXPECT_THAT(result.out, HasSubstr("new std::string (_GLIBCXX_USE_CXX11_ABI=1)"));
    EXPECT_THAT(result.out, HasSubstr("libstdc++.so.6"));
    EXPECT_THAT(result.out, HasSubstr("  ok       symbols     none is missing\n"));
    EXPECT_THAT(result.out,
                HasSubstr("dry cycle   code 7 (VPN enabled, not connected), 2 channels, "));
    EXPECT_EQ(program().calls(),
              "create check with tools\ncommunication\ninit 23 4E 00 00 00 00 0A 00 00 00\n"
              "collect 1111111111\ncleanup\ndestroy\n");
}

TEST_F(CheckTest, ALibraryWithoutExportsIsSaidToExportNothing)
{
    expectWrong(
        check({plugin("no_exports")}),
        "exports     exports nothing; CreateDeviceCtrl and DestroyDeviceCtrl are missing\n");
}

TEST_F(CheckTest, AMissingExportAndAForeignOneAreNamed)
{
    const Finished result = check({plugin("no_destroy")});
    expectWrong(result, "exports     does not export DestroyDeviceCtrl\n");
    EXPECT_THAT(result.out, HasSubstr("  warning  exports     also exports somethingElse"));
    EXPECT_THAT(result.out, HasSubstr("dry cycle   not possible without the exports"));
}

TEST_F(CheckTest, ALibraryForAnotherProcessorIsSaidToBeOne)
{
    const TinyElf elf = foreignDriver();
    const Finished result = check({file(elf)});
    expectWrong(result, "processor   built for ");
    EXPECT_THAT(result.out, HasSubstr("dry cycle   not possible: another processor"));
    if (elf.machine == EM_ARM) {
        EXPECT_THAT(result.out, HasSubstr("ARM, 32 bit, hard float, not for"));
        EXPECT_EQ(check({"--target", "armv7", file(elf)}).exitCode, 0);
        expectWrong(
            check({"--target", "armv7-softfloat", file(elf)}),
            "processor   built for ARM, 32 bit, hard float, not for ARM, 32 bit, soft float");
    }
}

TEST_F(CheckTest, AnUndefinedSymbolIsNamedBeforeAnythingIsLoaded)
{
    expectWrong(check({"--no-dry-cycle", plugin("undefined_symbol")}),
                "symbols     undefined symbol functionThatNobodyHas\n");
    expectWrong(check({plugin("undefined_symbol")}), "dry cycle   cannot load driver");
}

TEST_F(CheckTest, SymbolsAreLookedUpInTheNeededLibrariesOfTheRightProcessor)
{
    TinyElf runtime = foreignDriver();
    runtime.symbols = {{"runtimeFunction"}};
    file(runtime, "libruntime.so");
    TinyElf elf = foreignDriver();
    elf.needed = {"libruntime.so"};
    elf.symbols.push_back({"runtimeFunction", false});
    elf.symbols.push_back({"watch_dog_report", false});
    elf.symbols.push_back({"optionalFunction", false, true});
    const Finished without = check({file(elf)});
    EXPECT_THAT(without.out, HasSubstr("  warning  needs       not found here: libruntime.so"));
    EXPECT_THAT(without.out, HasSubstr("in none of the libraries found here: runtimeFunction\n"));
    const Finished with = check({"--library-path", folder().path("."), file(elf)});
    EXPECT_THAT(with.out, HasSubstr("  ok       symbols     none is missing\n"));
    EXPECT_THAT(with.out, Not(HasSubstr("not found")));
}

TEST_F(CheckTest, ARuntimeThatExportsWhatTheDriverAsksForIsFine)
{
    const std::string runtime =
        file(runtimeWith({{"watch_dog_report"}, {"Orva_GetTickCount"}}), "runtime");
    const Finished result = check({"--runtime", runtime, askingDriver()});
    EXPECT_THAT(result.out,
                HasSubstr("  ok       runtime     exports Orva_GetTickCount, watch_dog_report\n"));
    EXPECT_THAT(result.out, Not(HasSubstr("does not export")));
    EXPECT_THAT(check({"--runtime", runtime, file(foreignDriver())}).out,
                HasSubstr("  note     runtime     the library asks it for no function\n"));
}

TEST_F(CheckTest, AFunctionThatTheRuntimeDoesNotExportIsNamedWithWhatComesOfIt)
{
    const std::string runtime =
        file(runtimeWith({{"_Z16watch_dog_reportm"}, {"Orva_GetTickCount", false}}), "runtime");
    const Finished result = check({"--runtime", runtime, askingDriver()});
    EXPECT_THAT(result.out,
                HasSubstr("  warning  runtime     does not export Orva_GetTickCount: the driver "
                          "takes the system's clock instead\n"));
    EXPECT_THAT(result.out,
                HasSubstr("  warning  runtime     does not export watch_dog_report: a cycle that "
                          "takes long does not feed the watchdog; _Z16watch_dog_reportm is not "
                          "declared extern \"C\"\n"));
    EXPECT_THAT(result.out, Not(HasSubstr("ok       runtime")));
    // Without a weak reference it does not load.
    EXPECT_THAT(
        check({"--runtime", runtime, askingDriver(false)}).out,
        HasSubstr("  WRONG    symbols     undefined symbol Orva_GetTickCount, watch_dog_report\n"));
}

TEST_F(CheckTest, ARuntimesFunctionsMayStandInALibraryOfIts)
{
    TinyElf library = foreignDriver();
    library.symbols = {{"Orva_GetTickCount"}, {"watch_dog_report"}, {"runtimeText"}};
    file(library, "libruntime.so");
    TinyElf program = runtimeWith({});
    program.needed = {"libruntime.so"};
    const std::string runtime = file(program, "runtime");
    TinyElf driver = foreignDriver();
    driver.symbols.push_back({"watch_dog_report", false, true});
    driver.symbols.push_back({"runtimeText", false});
    const std::vector<std::string> with = {"--library-path", folder().path("."), "--runtime",
                                           runtime, file(driver)};
    EXPECT_THAT(check(with).out, HasSubstr("  ok       runtime     exports watch_dog_report\n"));
    EXPECT_THAT(check(with).out, HasSubstr("  ok       symbols     none is missing\n"));
    EXPECT_THAT(check({"--runtime", runtime, file(driver)}).out,
                HasSubstr("  WRONG    symbols     undefined symbol runtimeText\n"));
}

TEST_F(CheckTest, ARuntimeThatCannotLoadTheLibraryIsWrong)
{
    TinyElf other = runtimeWith({});
    other.machine = EM_AARCH64;
    other.is64 = true;
    expectWrong(check({"--runtime", file(other, "runtime"), askingDriver()}),
                "runtime     is for ARM64, 64 bit, the library for ");
    expectWrong(check({"--runtime", folder().write("text", "text"), askingDriver()}),
                "runtime     no ELF file\n");
    EXPECT_EQ(check({"--runtime", "/does/not/exist", askingDriver()}).err,
              "orva-panel: cannot read '/does/not/exist': No such file or directory\n");
}

TEST_F(CheckTest, FilesThatAreNoLibraryAreSaidToBeSo)
{
    expectWrong(check({folder().write("text", "text")}), "file        no ELF file\n");
    expectWrong(check({folder().write("empty", "")}), "file        no ELF file\n");
    std::ifstream good(plugin("no_exports"), std::ios::binary);
    std::string content(1000, '\0');
    good.read(content.data(), 1000);
    expectWrong(check({folder().write("cut", content)}), "file        truncated: ");
    EXPECT_EQ(check({"/does/not/exist"}).err,
              "orva-panel: cannot read '/does/not/exist': No such file or directory\n");
}

TEST_F(CheckTest, TheStringAbiIsComparedWhereOneIsExpected)
{
    EXPECT_EQ(check({"--string-abi", "new", plugin("scripted_driver")}).exitCode, 0);
    expectWrong(
        check({"--string-abi", "old", plugin("scripted_driver")}),
        "string ABI  new std::string (_GLIBCXX_USE_CXX11_ABI=1), the runtime has the other");
    TinyElf old = foreignDriver();
    old.symbols.push_back({"_ZNSs6assignEPKcm", false, true});
    EXPECT_THAT(check({file(old)}).out, HasSubstr("old std::string (_GLIBCXX_USE_CXX11_ABI=0)"));
    EXPECT_THAT(check({file(foreignDriver())}).out, HasSubstr("string ABI  not visible"));
}

TEST_F(CheckTest, VersionsShowTheirHighestNumber)
{
    TinyElf elf = foreignDriver();
    elf.needed = {"libc.so.6"};
    elf.versions = {"GLIBC_2.4", "GLIBC_2.34", "GLIBC_2.9", "GCC_3.5"};
    EXPECT_THAT(check({file(elf)}).out, HasSubstr("versions    GCC_3.5, GLIBC_2.34\n"));
}

TEST_F(CheckTest, TooManyVersionsAreDamage)
{
    TinyElf elf = foreignDriver();
    elf.needed = {"libc.so.6"};
    elf.versions.assign(4097, "V_1");
    expectWrong(check({file(elf)}), "file        damaged: too many versions\n");
    elf.versions.resize(4096);
    EXPECT_THAT(check({file(elf)}).out, HasSubstr("  ok       file        ELF shared library\n"));
}

TEST_F(CheckTest, AVersionThatTheFoundLibraryDoesNotDefineIsWrong)
{
    std::ifstream good(plugin("scripted_driver"), std::ios::binary);
    std::string content((std::istreambuf_iterator<char>(good)), std::istreambuf_iterator<char>());
    const std::string known("GLIBCXX_3.4\0", 12);
    const std::size_t at = content.find(known);
    ASSERT_NE(at, content.npos);
    content.replace(at, known.size(), std::string("GLIBCXX_9.9\0", 12));
    expectWrong(
        check({"--no-dry-cycle", folder().write("newer.so", content)}),
        "versions    the library found here does not define GLIBCXX_9.9 in libstdc++.so.6\n");
}

TEST_F(CheckTest, AProgramIsSaidToBeOne)
{
    expectWrong(check({programWords(PANEL_PROGRAM).back()}),
                "file        a program, not a library\n");
}

TEST_F(CheckTest, AFolderThatIsNotThereIsWrongUse)
{
    const Finished result = check({"--library-path", "/does/not/exist", plugin("scripted_driver")});
    EXPECT_EQ(result.exitCode, 2);
    EXPECT_THAT(result.err, HasSubstr("/does/not/exist"));
    EXPECT_EQ(result.out, "");
}

TEST_F(CheckTest, ASoftLibraryIsWarnedAbout)
{
    TinyElf elf = foreignDriver();
    elf.relro = elf.bindNow = false;
    elf.textRelocations = elf.executableStack = true;
    EXPECT_THAT(check({file(elf)}).out,
                HasSubstr("  warning  hardening   no RELRO, no BIND_NOW, text relocations, "
                          "executable stack\n"));
}

TEST_F(CheckTest, ALibraryThatCrashesOrRefusesIsReportedAndHarmsNobody)
{
    program().script("crash\n");
    const Finished crash = check({plugin("scripted_driver")});
    EXPECT_EQ(crash.exitCode, 2);
    EXPECT_THAT(crash.out, HasSubstr("dry cycle   crashes in CollectDevData: "));
    program().script("init -2147483647\n");
    expectWrong(check({plugin("scripted_driver")}),
                "dry cycle   InitDevice: code 0x80000001 (configuration refused)\n");
    expectWrong(check({plugin("null_object")}), "dry cycle   driver '");
    EXPECT_THAT(check({plugin("throwing_constructor")}).out,
                HasSubstr("dry cycle   crashes in loading: "));
}

TEST_F(CheckTest, ALibraryThatClosesThePipeAndHangsIsEndedByTheDeadline)
{
    program().script("vanish\nhold check " + folder().path("never") + "\n");
    ::setenv("ORVA_TEST_SCRIPT", folder().path("script").c_str(), 1);
    const panel::DryCycleResult result =
        panel::runDryCycle(plugin("scripted_driver"), std::chrono::milliseconds(200));
    EXPECT_FALSE(result.completed);
    EXPECT_EQ(result.text, "hangs in CollectDevData");
}

TEST_F(CheckTest, AHungLibraryGoesWithTheCheckThatIsEndedByASignal)
{
    program().script("pid\nhold check " + folder().path("never") + "\n");
    for (const int number : {SIGTERM, SIGKILL}) {
        program().start({"check", plugin("scripted_driver")});
        ASSERT_TRUE(
            waitFor([this] { return program().calls().find("collect") != std::string::npos; }));
        const std::string calls = program().calls();
        const int child = std::stoi(calls.substr(calls.find("pid ") + 4));
        ASSERT_TRUE(runs(child));
        program().signal(number);
        // The library itself would come back after 20 s.
        EXPECT_TRUE(waitFor([child] { return !runs(child); }, std::chrono::seconds(10)));
        EXPECT_EQ(program().finish().exitCode, -1);
        folder().write("log", "");
    }
}

TEST_F(CheckTest, WhatTheDriverPrintsIsANoteWithoutControlCharacters)
{
    program().script("say look\x1b[2J\xC2\x9B\ncycle 0\n");
    const Finished result = check({plugin("scripted_driver")});
    EXPECT_THAT(result.out,
                HasSubstr("  note     dry cycle   the library printed: look\\x1B[2J\\xC2\\x9B\n"));
    EXPECT_EQ(result.err, "");
}

TEST_F(CheckTest, ALibraryThatPrintsWithoutEndIsReadButNotKept)
{
    program().script("flood 300000\ncycle 0\n");
    const Finished result = check({plugin("scripted_driver")});
    EXPECT_EQ(result.exitCode, 0) << result.out;
    EXPECT_LT(result.out.size(), 4096U);
    EXPECT_THAT(result.out, HasSubstr("the library printed: x"));
}

TEST_F(CheckTest, ALibraryThatHangsIsEndedByTheDeadline)
{
    program().script("hold check " + folder().path("never") + "\n");
    ::setenv("ORVA_TEST_SCRIPT", folder().path("script").c_str(), 1);
    const panel::DryCycleResult result =
        panel::runDryCycle(plugin("scripted_driver"), std::chrono::milliseconds(200));
    EXPECT_FALSE(result.completed);
    EXPECT_EQ(result.text, "hangs in CollectDevData");
}

}  // namespace
