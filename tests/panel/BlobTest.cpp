#include "tests/panel/PanelProgram.h"

#include <gtest/gtest.h>
#include <cstdlib>
#include <fstream>
#include <sstream>

namespace
{

std::string fromHex(const std::string& line)
{
    std::string bytes;
    std::istringstream words(line);
    for (std::string word; words >> word;) {
        bytes += static_cast<char>(std::strtoul(word.c_str(), nullptr, 16));
    }
    return bytes;
}

TEST(BlobTest, ThePageShowsTheVeryBytesThatTheProgramWrites)
{
    const TestFolder folder;
    PanelProgram program(folder);
    std::ifstream page(PANEL_DOCS "/config-blob.md");
    const std::string command = "    $ orva-panel blob --max-channel ";
    int examples = 0;
    for (std::string line; std::getline(page, line);) {
        if (line.compare(0, command.size(), command) != 0) continue;
        const std::string number =
            line.substr(command.size(), line.find(" --output") - command.size());
        std::string bytes;
        std::getline(page, bytes);  // the command that dumps the file
        std::getline(page, bytes);
        const Finished result =
            program.run({"blob", "--max-channel", number, "--output", folder.path("blob")});
        EXPECT_EQ(result.exitCode, 0) << result.err;
        EXPECT_EQ(folder.read("blob"), fromHex(bytes)) << line;
        ++examples;
    }
    EXPECT_GE(examples, 3);
}

TEST(BlobTest, WrongUseOfBlobIsExitCode2)
{
    const TestFolder folder;
    PanelProgram program(folder);
    EXPECT_EQ(program.run({"blob", "--max-channel", "10"}).exitCode, 2);
    EXPECT_EQ(program.run({"blob", "--output", folder.path("blob")}).exitCode, 2);
    EXPECT_EQ(program.run({"blob", "--max-channel", "x", "--output", folder.path("blob")}).exitCode,
              2);
    EXPECT_EQ(program.run({"blob", "--max-channel", "10", "--output", "/does/not/exist"}).err,
              "orva-panel: cannot write '/does/not/exist': No such file or directory\n");
    EXPECT_EQ(program.run({}).exitCode, 2);
}

}  // namespace
