#include "service/daemon/ConfigurationReader.h"

#include "common/DisplayText.h"
#include "common/NearestWord.h"
#include "common/Toml.h"
#include "common/TomlLimits.h"

#include <algorithm>
#include <charconv>
#include <set>
#include <utility>

namespace vpnd
{
namespace
{

constexpr std::size_t kMostListed = 100;
constexpr const char* kRightToml = "KEY = VALUE, with texts in \"quotes\", or [SECTION]";

// A name in a message.
std::string shown(std::string_view name)
{
    const std::string inQuotes = shownValue(name);
    return inQuotes.substr(1, inQuotes.size() - 2);
}

const char* nameOf(toml::node_type type)
{
    switch (type) {
        case toml::node_type::string:
            return "a text in quotes";
        case toml::node_type::integer:
            return "a whole number";
        case toml::node_type::floating_point:
            return "a number with a point or exponent";
        case toml::node_type::boolean:
            return "true or false";
        case toml::node_type::array:
            return "a list";
        case toml::node_type::table:
            return "a section";
        default:
            return "a date or time";
    }
}

bool fits(toml::node_type type, ValueKind kind)
{
    switch (kind) {
        case ValueKind::kText:
            return type == toml::node_type::string;
        case ValueKind::kNumber:
            return type == toml::node_type::integer;
        case ValueKind::kSwitch:
            return type == toml::node_type::boolean;
        case ValueKind::kTextOrNumber:
            return type == toml::node_type::string || type == toml::node_type::integer;
        case ValueKind::kUsers:
            break;
    }
    return type == toml::node_type::array;
}

// Of a text, a whole number or a switch.
std::string textOf(const toml::node& value)
{
    if (const auto* text = value.as_string()) return text->get();
    if (const auto* number = value.as_integer()) return std::to_string(number->get());
    return value.value_or(false) ? "true" : "false";
}

// The parser's own words may quote a password: these are ours.
std::string whatIsWrong(const toml::parse_error& error)
{
    const std::string_view words = error.description();
    const auto says = [words](std::string_view part) { return words.find(part) != words.npos; };
    if (says("redefine") || says("cannot insert")) {
        return "this stands here a second time; right would be each key and each [SECTION] once";
    }
    if (says("end-of-file")) {
        return "the file ends in the middle; right would be a quote or a bracket that closes";
    }
    return "no TOML from column " + std::to_string(error.source().begin.column) +
           " on; right would be " + kRightToml;
}

std::size_t lineOf(const toml::node& node) { return node.source().begin.line; }

}  // namespace

// The file's tables.
class ConfigurationReader::Table
{
public:
    Table(ConfigurationReader& reader, const toml::table& root) : m_reader(reader), m_root(root)
    {
        for (const ConfigurationRule& rule : configurationRules()) m_sections.insert(rule.section);
    }

    void read()
    {
        readSection("", m_root);
        for (const auto& [key, node] : m_root) {
            if (key.str().empty() || m_sections.count(std::string(key.str())) == 0) continue;
            const std::string name(key.str());
            if (const toml::table* table = node.as_table()) {
                readSection(name, *table);
            } else {
                complain(key.source().begin.line, "[" + name + "]", nameOf(node.type()),
                         "a section [" + name + "]");
            }
        }
        if (const toml::table* device = m_root["device"].as_table()) readSerial(*device);
    }

private:
    void readSection(const std::string& section, const toml::table& table)
    {
        for (const auto& [key, node] : table) {
            const std::string name(key.str());
            if (section.empty() && !name.empty() && m_sections.count(name) != 0) continue;
            if (const ConfigurationRule* rule = findRule(section, name)) {
                readValue(*rule, node);
            } else {
                complain(key.source().begin.line, place(section, name, node.is_table()),
                         "is not known", nearest(section, name));
            }
        }
    }

    void readValue(const ConfigurationRule& rule, const toml::node& node)
    {
        const std::string where = place(rule.section, rule.key, false);
        if (!fits(node.type(), rule.kind)) {
            complain(lineOf(node), where, nameOf(node.type()), rule.right);
        } else if (rule.kind == ValueKind::kUsers) {
            m_reader.m_configuration.access.*rule.users = users(*node.as_array(), rule);
            m_reader.m_configuration.lists.push_back(rule.key);
        } else {
            const std::string text = textOf(node);
            const std::optional<std::string> problem =
                rule.take(m_reader.m_configuration, text, m_reader.m_sources);
            if (!problem) return;
            const std::string value = rule.isSecret      ? "this value, which is not shown,"
                                      : node.is_string() ? shownValue(text)
                                                         : text;
            complain(lineOf(node), where,
                     value + " " + (problem->empty() ? "is not possible" : *problem), rule.right);
        }
    }

    Users users(const toml::array& list, const ConfigurationRule& rule)
    {
        const std::string where = place(rule.section, rule.key, false);
        Users users;
        if (list.size() > kMostListed) {
            complain(lineOf(list), where, std::to_string(list.size()) + " entries",
                     "at most " + std::to_string(kMostListed));
            return users;
        }
        for (const toml::node& node : list) {
            const std::string problem = addUser(users, node);
            if (!problem.empty()) complain(lineOf(node), where, problem, rule.right);
        }
        return users;
    }

    // What is wrong with it; empty when it was added.
    std::string addUser(Users& users, const toml::node& node) const
    {
        if (const auto* number = node.as_integer()) return vpnd::addUser(users, number->get());
        if (const auto* name = node.as_string()) {
            return addUsers(users, name->get(), m_reader.m_names);
        }
        return nameOf(node.type());
    }

    // One number cannot have two sources.
    void readSerial(const toml::table& device)
    {
        std::vector<std::pair<std::size_t, std::string>> sources;
        for (const char* key : {"serial", "serial-file", "serial-from"}) {
            if (const toml::node* node = device.get(key)) sources.emplace_back(lineOf(*node), key);
        }
        std::sort(sources.begin(), sources.end());
        for (std::size_t i = 1; i < sources.size(); ++i) {
            complain(sources[i].first, place("device", sources[i].second, false),
                     "stands beside " + sources[0].second,
                     "one of serial, serial-file and serial-from");
        }
    }

    static std::string place(const std::string& section, const std::string& key, bool isSection)
    {
        if (isSection) return "[" + (section.empty() ? "" : section + ".") + shown(key) + "]";
        return (section.empty() ? "" : "[" + section + "] ") + shown(key);
    }

    // What may have been meant by a key that is not known there.
    std::string nearest(const std::string& section, const std::string& key) const
    {
        std::vector<std::string> here;
        std::string elsewhere;
        for (const ConfigurationRule& rule : configurationRules()) {
            if (rule.section == section) here.push_back(rule.key);
            if (rule.key != key) continue;
            elsewhere =
                rule.section.empty() ? "above the first section" : "in [" + rule.section + "]";
        }
        if (!elsewhere.empty()) return key + " " + elsewhere;
        if (section.empty()) {
            for (const std::string& one : m_sections) {
                if (!one.empty()) here.push_back("[" + one + "]");
            }
        }
        std::string near = common::nearestWord(key, here);
        if (section.empty() && near.empty()) near = common::nearestWord("[" + key + "]", here);
        if (!near.empty()) return near;
        std::string all;
        for (const std::string& one : here) all += (all.empty() ? "one of " : ", ") + one;
        return all;
    }

    void complain(std::size_t line, const std::string& where, const std::string& wrong,
                  const std::string& right)
    {
        m_reader.m_faults.push_back({line, where + ": " + wrong + "; right would be " + right});
    }

    ConfigurationReader& m_reader;
    const toml::table& m_root;
    std::set<std::string> m_sections;
};

ConfigurationReader::ConfigurationReader(std::string file, const Machine& machine,
                                         const IUserNames& names, Configuration& configuration)
    : m_file(std::move(file)), m_names(names), m_configuration(configuration)
{
    m_sources.folder = m_file.substr(0, m_file.rfind('/') + 1);
    m_sources.machineIdFile = machine.idFile;
}

void ConfigurationReader::read(std::string_view text)
{
    if (const std::size_t line = common::lineThatIsTooDeep(text)) {
        const std::string most = std::to_string(common::kMaxTomlDepth);
        m_faults.push_back({line, "too deep; right would be at most " + most +
                                      " names in a key and " + most + " brackets in each other"});
        return;
    }
    try {
        const toml::table root = toml::parse(text);
        Table(*this, root).read();
    } catch (const toml::parse_error& error) {
        m_faults.push_back({error.source().begin.line, whatIsWrong(error)});
    }
    std::stable_sort(m_faults.begin(), m_faults.end(),
                     [](const Fault& a, const Fault& b) { return a.line < b.line; });
}

std::vector<std::string> ConfigurationReader::faults() const
{
    std::vector<std::string> told;
    for (const Fault& fault : m_faults) {
        if (told.size() == kMaxFaults) {
            told.push_back(m_file + ": and " + std::to_string(m_faults.size() - kMaxFaults) +
                           " more");
            break;
        }
        told.push_back(m_file + ":" + std::to_string(fault.line) + ": " + fault.text);
    }
    return told;
}

}  // namespace vpnd
