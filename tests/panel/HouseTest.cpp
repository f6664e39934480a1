#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <filesystem>
#include <fstream>
#include <map>
#include <regex>
#include <set>
#include <sstream>

namespace
{

// From the bottom to the top.
const std::vector<std::string> kRooms = {"runtime", "project", "view", "check", "commands"};

std::string contentOf(const std::filesystem::path& path)
{
    std::ifstream file(path, std::ios::binary);
    std::ostringstream content;
    content << file.rdbuf();
    return content.str();
}

// Where the quoted includes of a folder's sources lead: "panel/view" or another
// folder's name, and for the driver's folders the file.
std::set<std::string> includesOf(const std::filesystem::path& folder)
{
    static const std::regex include("#include \"((panel/[^/\"]+|[^/\"]+)/[^\"]+)\"");
    std::set<std::string> found;
    for (const auto& entry : std::filesystem::directory_iterator(folder)) {
        const std::string extension = entry.path().extension().string();
        if (extension != ".h" && extension != ".cpp") continue;
        const std::string text = contentOf(entry.path());
        for (std::sregex_iterator at(text.begin(), text.end(), include), end; at != end; ++at) {
            found.insert((*at)[1].str().rfind("host/", 0) == 0 ? (*at)[1].str() : (*at)[2].str());
        }
    }
    return found;
}

// The rooms that a room looks into, itself left out.
std::set<std::string> roomsBelow(const std::string& room)
{
    std::set<std::string> rooms;
    for (const std::string& one : includesOf(PANEL_FOLDER "/" + room)) {
        if (one.rfind("panel/", 0) == 0 && one != "panel/" + room) rooms.insert(one.substr(6));
    }
    return rooms;
}

TEST(HouseTest, NoRoomLooksUpwards)
{
    for (std::size_t i = 0; i < kRooms.size(); ++i) {
        const std::set<std::string> below(kRooms.begin(),
                                          kRooms.begin() + static_cast<std::ptrdiff_t>(i));
        for (const std::string& room : roomsBelow(kRooms[i])) {
            EXPECT_EQ(below.count(room), 1U) << kRooms[i] << " includes " << room;
        }
    }
}

TEST(HouseTest, EverySourceStandsInARoomThatThePageDraws)
{
    std::set<std::string> folders;
    for (const auto& entry : std::filesystem::directory_iterator(PANEL_FOLDER)) {
        EXPECT_NE(entry.path().extension(), ".cpp") << entry.path();
        EXPECT_NE(entry.path().extension(), ".h") << entry.path();
        if (entry.is_directory()) folders.insert(entry.path().filename().string());
    }
    EXPECT_EQ(folders, std::set<std::string>(kRooms.begin(), kRooms.end()));

    std::string drawing;
    for (auto room = kRooms.rbegin(); room != kRooms.rend(); ++room) {
        const std::set<std::string> below = roomsBelow(*room);
        drawing +=
            "    " + *room + std::string(9 - room->size(), ' ') + (below.empty() ? "" : "->");
        for (const std::string& one : kRooms) {
            if (below.count(one) != 0) drawing += " " + one;
        }
        drawing.erase(drawing.find_last_not_of(' ') + 1);
        drawing += "\n";
    }
    EXPECT_THAT(contentOf(PANEL_FOLDER "/README.md"),
                ::testing::HasSubstr("\n\n" + drawing + "\n"));
}

TEST(HouseTest, OfTheDriverOnlyTheHostInterfaceAndTheCodesAreKnown)
{
    const std::set<std::string> allowed = {"common", "host/HostInterface.h", "host/StatusCodes.h"};
    for (const std::string& room : kRooms) {
        for (const std::string& one : includesOf(PANEL_FOLDER "/" + room)) {
            EXPECT_TRUE(allowed.count(one) == 1 || one.rfind("panel/", 0) == 0)
                << room << " includes " << one;
        }
    }
    EXPECT_EQ(includesOf(PANEL_FOLDER "/../common"), std::set<std::string>{"common"});
}

TEST(HouseTest, OnlyTheCommandsKnowTheCommandLine)
{
    for (const std::string& room : kRooms) {
        for (const auto& entry : std::filesystem::directory_iterator(PANEL_FOLDER "/" + room)) {
            const bool knows = contentOf(entry.path()).find("CLI/CLI.hpp") != std::string::npos;
            EXPECT_TRUE(!knows || room == "commands") << entry.path();
        }
    }
}

}  // namespace
