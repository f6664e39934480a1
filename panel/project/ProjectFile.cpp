#include "panel/project/ProjectFile.h"

#include "common/TomlLimits.h"
#include "panel/project/ProjectKeys.h"
#include "panel/project/ProjectTable.h"
#include "panel/runtime/ConfigBlob.h"
#include "panel/runtime/DeviceSession.h"
#include "panel/runtime/DisplayText.h"
#include "panel/runtime/FileBytes.h"
#include "panel/runtime/PanelError.h"

#include <algorithm>
#include <functional>

namespace panel
{

namespace
{

constexpr std::size_t kMaxProjectBytes = 1024 * 1024;
constexpr int kMaxTimeMs = 24 * 60 * 60 * 1000;
constexpr int kDefaultPeriodMs = 1000;
// A driver may be silent for two service calls of 10 s each between two reports.
constexpr int kDefaultWatchdogMs = 30000;
constexpr int kMinWatchdogMs = 10;

// Reads the tables in the order in which they refer to each other.
class ProjectReader
{
public:
    ProjectReader(const std::string& file, const toml::table& root) : m_file(file), m_root(root) {}

    Project read()
    {
        const ProjectTable top(m_file, m_root, "the project", kProjectKeys);
        m_project.durationMs = top.number("duration_ms", 1, kMaxTimeMs, 0);
        m_project.watchdogMs =
            top.number("watchdog_ms", kMinWatchdogMs, kMaxTimeMs, kDefaultWatchdogMs);
        eachOf(top, "device", kDeviceKeys, [this](const ProjectTable& table) { addDevice(table); });
        if (m_project.devices.empty()) top.fail("device", "a table [[device]]");
        eachOf(top, "variable", kVariableKeys,
               [this](const ProjectTable& table) { addVariable(table); });
        eachOf(top, "action", kActionKeys, [this](const ProjectTable& table) { addAction(table); });
        return std::move(m_project);
    }

private:
    void eachOf(const ProjectTable& top, std::string_view name, KeyList known,
                const std::function<void(const ProjectTable&)>& add)
    {
        if (!top.has(name)) return;
        const toml::array* tables = m_root[name].as_array();
        if (tables == nullptr) top.fail(name, "tables of the form [[" + std::string(name) + "]]");
        for (const toml::node& node : *tables) {
            const toml::table* table = node.as_table();
            if (table == nullptr)
                top.fail(name, "tables of the form [[" + std::string(name) + "]]");
            add(ProjectTable(m_file, *table, std::string(name), known));
        }
    }

    void addDevice(const ProjectTable& table)
    {
        ProjectDevice device;
        device.name = table.text("name");
        if (displayText(std::string_view(device.name)) != device.name) {
            table.fail("name", "a name without control characters, in UTF-8");
        }
        if (findDevice(device.name)) table.fail("name", "a name that no other device has");
        if (table.has("driver")) {
            device.driver = table.path("driver");
            device.driverKey = table.where("driver");
        }
        device.periodMs = table.number("period_ms", kMinPeriodMs, kMaxTimeMs, kDefaultPeriodMs);
        device.blob = configuration(table);
        device.channels = channels(table);
        m_project.devices.push_back(std::move(device));
    }

    static ChannelFlags channels(const ProjectTable& table)
    {
        if (!table.has("channels")) return allChannels();
        const std::string list = table.text("channels");
        try {
            return parseChannelList(list);
        } catch (const PanelError&) {
            table.fail("channels", "a list such as \"1,2,7-10\"");
        }
    }

    static std::vector<unsigned char> configuration(const ProjectTable& table)
    {
        if (!table.has("blob") && !table.has("no_config")) {
            return makeConfigBlob(
                table.number("max_channel", INT32_MIN, INT32_MAX, kDefaultMaxChannel));
        }
        if (table.exactlyOne({"max_channel", "blob", "no_config"}) == "blob") {
            try {
                return readFile(table.path("blob"), kMaxBlobBytes);
            } catch (const PanelError& error) {
                table.fail("blob", "a file that can be read; " + std::string(error.what()));
            }
        }
        return table.flag("no_config") ? std::vector<unsigned char>()
                                       : makeConfigBlob(kDefaultMaxChannel);
    }

    void addVariable(const ProjectTable& table)
    {
        NamedValue variable;
        variable.name = table.text("name");
        if (!isVariableName(variable.name)) {
            table.fail("name", "a name without blanks and without any of ,()=");
        }
        if (findVariable(variable.name) != nullptr) {
            table.fail("name", "a name that no other variable has");
        }
        variable.value = table.value("value", table.type("type"));
        m_project.variables.push_back(std::move(variable));
    }

    void addAction(const ProjectTable& table)
    {
        ProjectAction action;
        if (table.has("device") || m_project.devices.size() > 1) {
            const std::optional<std::size_t> index = findDevice(table.text("device"));
            if (!index) table.fail("device", "the name of a [[device]]");
            action.device = *index;
        }
        if (table.has("when")) {
            for (const char* key : {"at_ms", "every_ms", "times"}) {
                if (table.has(key)) table.fail(key, "either when or times, not both");
            }
            action.when =
                variableAndValue(table.inlineTable("when", {"variable", "equals"}), "equals");
        }
        action.atMs = table.number("at_ms", 0, kMaxTimeMs, 0);
        action.everyMs = table.number("every_ms", kMinPeriodMs, kMaxTimeMs, 0);
        action.times = table.number("times", 1, INT32_MAX, 0);
        if (action.times > 0 && action.everyMs == 0) table.fail("times", "every_ms besides it");

        const std::string_view what = table.exactlyOne({"command", "write", "set"});
        action.where = table.where(what);
        if (what == "command") action.what = CommandAction{table.text("command")};
        if (what == "write") action.what = channelWrite(table);
        if (what == "set") {
            action.what = SetAction{
                variableAndValue(table.inlineTable("set", {"variable", "value"}), "value")};
        }
        m_project.actions.push_back(std::move(action));
    }

    static WriteAction channelWrite(const ProjectTable& table)
    {
        const ProjectTable write = table.inlineTable("write", {"channel", "type", "value"});
        return {channelNumber(write), write.value("value", write.type("type"))};
    }

    static int channelNumber(const ProjectTable& table)
    {
        if (!table.isText("channel")) return table.number("channel", 1, kChannelCount);
        const ChannelInfo* channel = findChannel(table.text("channel"));
        if (channel == nullptr) {
            table.fail("channel", "a whole number from 1 to 10 or the name of a channel");
        }
        return channel->number;
    }

    NamedValue variableAndValue(const ProjectTable& table, std::string_view valueKey) const
    {
        const std::string name = table.text("variable");
        const NamedValue* variable = findVariable(name);
        if (variable == nullptr) table.fail("variable", "the name of a [[variable]]");
        return {name, table.value(valueKey, typeOf(variable->value))};
    }

    std::optional<std::size_t> findDevice(const std::string& name) const
    {
        for (std::size_t i = 0; i < m_project.devices.size(); ++i) {
            if (m_project.devices[i].name == name) return i;
        }
        return std::nullopt;
    }

    const NamedValue* findVariable(const std::string& name) const
    {
        const auto found =
            std::find_if(m_project.variables.begin(), m_project.variables.end(),
                         [&name](const NamedValue& variable) { return variable.name == name; });
        return found == m_project.variables.end() ? nullptr : &*found;
    }

    const std::string& m_file;
    const toml::table& m_root;
    Project m_project;
};

}  // namespace

Project loadProject(const std::string& path)
{
    const std::vector<unsigned char> bytes = readFile(path, kMaxProjectBytes);
    const std::string text(bytes.begin(), bytes.end());
    const std::size_t deep = common::lineThatIsTooDeep(text);
    if (deep != 0) {
        const std::string most = std::to_string(common::kMaxTomlDepth);
        throw PanelError(path + ":" + std::to_string(deep) + ": too deep; right would be at most " +
                         most + " names in a key and " + most + " brackets in each other");
    }
    try {
        const toml::table root = toml::parse(text);
        return ProjectReader(path, root).read();
    } catch (const toml::parse_error& error) {
        throw PanelError(filePosition(path, error.source()) +
                         "no TOML: " + displayText(error.description()));
    }
}

}  // namespace panel
