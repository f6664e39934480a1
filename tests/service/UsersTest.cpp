#include "service/daemon/Users.h"

#include "service/daemon/Serial.h"
#include "tests/service/ConfigurationFixture.h"

#include <gmock/gmock.h>
#include <grp.h>
#include <pwd.h>

#include <cstring>
#include <numeric>
#include <set>

namespace vpnd
{
namespace
{

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

TEST(UsersTest, UsersOfThisMachineAreFoundByName)
{
    const SystemUserNames names;
    EXPECT_THAT(names.user("root").uids, ElementsAre(0));
    EXPECT_EQ(names.user("root").problem, "");
    std::size_t checked = 0;
    ::setpwent();
    std::vector<std::pair<std::string, uid_t>> users;
    for (const passwd* user = ::getpwent(); user != nullptr && users.size() < 100;
         user = ::getpwent()) {
        users.emplace_back(user->pw_name, user->pw_uid);
    }
    ::endpwent();
    for (const auto& [name, uid] : users) {
        EXPECT_THAT(names.user(name).uids, ElementsAre(uid)) << name;
        ++checked;
    }
    EXPECT_GT(checked, 0U);
}

TEST(UsersTest, MembersOfAGroupAreThoseOfBothKinds)
{
    const SystemUserNames names;
    // From the files' own lines, in another way than the code's.
    std::vector<std::string> groups;
    ::setgrent();
    std::map<std::string, std::set<uid_t>> expected;
    std::map<std::string, gid_t> numbers;
    for (const group* one = ::getgrent(); one != nullptr && numbers.size() < 100;
         one = ::getgrent()) {
        numbers[one->gr_name] = one->gr_gid;
        std::vector<std::string> members;
        for (char** member = one->gr_mem; *member != nullptr; ++member) members.push_back(*member);
        for (const std::string& member : members) {
            if (const passwd* user = ::getpwnam(member.c_str()))
                expected[one->gr_name].insert(user->pw_uid);
        }
    }
    ::endgrent();
    ::setpwent();
    while (const passwd* user = ::getpwent()) {
        for (const auto& [name, number] : numbers) {
            if (number == user->pw_gid) expected[name].insert(user->pw_uid);
        }
    }
    ::endpwent();
    ASSERT_FALSE(numbers.empty());
    for (const auto& [name, number] : numbers) {
        const FoundUsers found = names.members(name);
        EXPECT_EQ(std::set<uid_t>(found.uids.begin(), found.uids.end()), expected[name]) << name;
        EXPECT_EQ(found.uids.size(), expected[name].size()) << name;
        EXPECT_EQ(found.problem, "") << name;
    }
    EXPECT_THAT(names.members("root").uids, Contains(0));
}

TEST(UsersTest, ANameThatNobodyHasIsAProblem)
{
    const SystemUserNames names;
    EXPECT_EQ(names.user("no-such-user").problem, "there is no user 'no-such-user'");
    EXPECT_THAT(names.user("no-such-user").uids, IsEmpty());
    EXPECT_EQ(names.members("no-such-group").problem, "there is no group 'no-such-group'");
    EXPECT_EQ(names.user("a\nb").problem, "there is no user 'a\\x0Ab'");
}

// A group that is as large as asked for.
class LargeGroup final : public IUserNames
{
public:
    explicit LargeGroup(std::size_t size) : m_size(size) {}
    FoundUsers user(const std::string&) const override { return {}; }
    FoundUsers members(const std::string&) const override
    {
        FoundUsers found;
        found.uids.resize(m_size);
        std::iota(found.uids.begin(), found.uids.end(), 1U);
        return found;
    }

private:
    std::size_t m_size;
};

TEST(UsersTest, AListHasABound)
{
    Users users;
    EXPECT_EQ(addUsers(users, "@all", LargeGroup(kMaxUsers)), "");
    EXPECT_EQ(users.uids.size(), kMaxUsers);
    EXPECT_EQ(addUser(users, 1), "");
    EXPECT_EQ(addUsers(users, "@all", LargeGroup(kMaxUsers + 1)),
              "\"@all\" makes it more than 1000 users");
}

class SerialTest : public ConfigurationFixture
{
};

TEST_F(SerialTest, ItDependsOnTheMachineIdAndDoesNotTellIt)
{
    const std::string id = "0123456789abcdef0123456789abcdef";
    const std::string first = serialFromMachineId(machine.idFile).text;
    EXPECT_EQ(first, "ORVA-0F78DECBD524");
    EXPECT_EQ(serialFromMachineId(write("same", id)).text, first);
    EXPECT_NE(serialFromMachineId(write("other", "1" + id.substr(1) + "\n")).text, first);
}

TEST_F(SerialTest, WhatIsNoMachineIdGivesNone)
{
    for (const char* content :
         {"", "\n", "uninitialized\n", "0123456789abcdef0123456789abcde\n",
          "0123456789ABCDEF0123456789ABCDEF\n", "0123456789abcdef0123456789abcdef0\n"}) {
        const SerialNumber serial = serialFromMachineId(write("id", content));
        EXPECT_EQ(serial.text, "");
        EXPECT_EQ(serial.problem, path("id") + " holds no machine id");
    }
    EXPECT_EQ(serialFromMachineId(path("none")).problem,
              path("none") + " cannot be read: No such file or directory");
}

TEST_F(SerialTest, AFileOfTheDeviceTreeEndsInAZeroByte)
{
    EXPECT_EQ(serialFromFile(write("sn", std::string("ABC-7\0", 6))).text, "ABC-7");
    EXPECT_EQ(serialFromFile(write("sn", "ABC-7 \r\n")).text, "ABC-7");
    EXPECT_EQ(serialFromFile(write("sn", "A B")).problem, "holds no serial number");
    EXPECT_EQ(serialFromFile(write("sn", "")).problem, "holds no serial number");
    EXPECT_EQ(serialFromFile(write("sn", std::string(300, 'A'))).problem,
              "cannot be read: larger than 256 bytes");
}

}  // namespace
}  // namespace vpnd
