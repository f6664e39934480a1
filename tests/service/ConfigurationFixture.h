#pragma once

#include "service/daemon/Configuration.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <sstream>
#include <string>
#include <vector>

namespace vpnd
{

// The same users and groups on every machine.
class ScriptedNames final : public IUserNames
{
public:
    FoundUsers user(const std::string& name) const override { return in(m_users, "user", name); }
    FoundUsers members(const std::string& name) const override
    {
        return in(m_groups, "group", name);
    }

private:
    using Names = std::map<std::string, std::vector<uid_t>>;
    static FoundUsers in(const Names& names, const std::string& kind, const std::string& name)
    {
        const auto found = names.find(name);
        if (found != names.end()) return {found->second, ""};
        return {{}, "there is no " + kind + " '" + name + "'"};
    }

    Names m_users = {{"root", {0}}, {"hmi", {1000}}, {"unknown", {65534}}};
    Names m_groups = {{"operators", {1001, 1002}}, {"mixed", {1002, 65534}}, {"empty", {}}};
};

inline std::string contentOf(const std::filesystem::path& path)
{
    std::ifstream file(path, std::ios::binary);
    std::ostringstream content;
    content << file.rdbuf();
    return content.str();
}

// A machine of the test's own, with a folder for its files.
class ConfigurationFixture : public ::testing::Test
{
protected:
    ConfigurationFixture()
    {
        std::string name = (std::filesystem::temp_directory_path() / "vpnd-XXXXXX").string();
        m_folder = ::mkdtemp(name.data());
        machine.user = 990;
        machine.group = 990;
        machine.hostName = "line-3";
        machine.configurationFile = path("vpnd.toml");
        machine.idFile = write("machine-id", "0123456789abcdef0123456789abcdef\n");
    }
    ~ConfigurationFixture() override { std::filesystem::remove_all(m_folder); }

    std::string path(const std::string& name) const { return m_folder + "/" + name; }
    std::string write(const std::string& name, const std::string& content, mode_t mode = 0600) const
    {
        std::ofstream(path(name), std::ios::binary) << content;
        ::chmod(path(name).c_str(), mode);
        return path(name);
    }

    // Of the usual file, with this text.
    LoadedConfiguration loadText(const std::string& text, mode_t mode = 0600) const
    {
        write("vpnd.toml", text, mode);
        return loadConfiguration(options, machine, names);
    }
    // What is wrong with it, from the line's number on.
    std::vector<std::string> faultsOf(const std::string& text) const
    {
        const LoadedConfiguration loaded = loadText(text);
        EXPECT_NE(loaded.faults.empty(), !loaded.configuration) << text;
        std::vector<std::string> faults;
        for (const std::string& fault : loaded.faults) {
            const std::string file = path("vpnd.toml") + ":";
            EXPECT_EQ(fault.compare(0, file.size(), file), 0) << fault;
            faults.push_back(fault.substr(file.size()));
        }
        return faults;
    }
    // Of a text without faults.
    Configuration good(const std::string& text) const
    {
        LoadedConfiguration loaded = loadText(text);
        for (const std::string& fault : loaded.faults) ADD_FAILURE() << text << fault;
        return loaded.configuration.value_or(Configuration());
    }

    Machine machine;
    Options options;
    ScriptedNames names;

private:
    std::string m_folder;
};

}  // namespace vpnd
