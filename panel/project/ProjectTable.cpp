#include "panel/project/ProjectTable.h"

#include "panel/runtime/DisplayText.h"
#include "panel/runtime/FileBytes.h"
#include "panel/runtime/PanelError.h"

#include <algorithm>

namespace panel
{

namespace
{

std::string joined(std::initializer_list<std::string_view> words, const std::string& last)
{
    std::string text;
    std::size_t index = 0;
    for (const std::string_view word : words) {
        if (index > 0) text += index + 1 == words.size() ? last : ", ";
        text += word;
        ++index;
    }
    return text;
}

}  // namespace

std::string filePosition(const std::string& file, const toml::source_region& source)
{
    return file + ":" + std::to_string(source.begin.line) + ": ";
}

ProjectTable::ProjectTable(std::string file, const toml::table& table, std::string title,
                           std::initializer_list<std::string_view> known)
    : m_file(std::move(file)), m_table(table), m_title(std::move(title))
{
    for (const auto& [key, node] : m_table) {
        if (std::find(known.begin(), known.end(), key.str()) != known.end()) continue;
        throw PanelError(filePosition(m_file, key.source()) + "key '" + displayText(key.str()) +
                         "' is not known in " + m_title + "; right would be " +
                         joined(known, " or "));
    }
}

void ProjectTable::fail(std::string_view key, const std::string& whatIsRight) const
{
    const toml::node* node = m_table.get(key);
    if (node == nullptr) {
        throw PanelError(filePosition(m_file, m_table.source()) + m_title + ": key '" +
                         std::string(key) + "' is missing; right would be " + whatIsRight);
    }
    throw PanelError(where(key) + ": right would be " + whatIsRight);
}

std::string ProjectTable::where(std::string_view key) const
{
    return filePosition(m_file, m_table.get(key)->source()) + "key '" + std::string(key) + "' in " +
           m_title;
}

std::string ProjectTable::text(std::string_view key) const
{
    const std::optional<std::string> found = m_table[key].value_exact<std::string>();
    if (!found || found->empty()) fail(key, "a text: " + std::string(key) + " = \"...\"");
    return *found;
}

int ProjectTable::number(std::string_view key, int least, int most) const
{
    const std::optional<std::int64_t> found = m_table[key].value_exact<std::int64_t>();
    if (!found || *found < least || *found > most) {
        fail(key, "a whole number from " + std::to_string(least) + " to " + std::to_string(most));
    }
    return static_cast<int>(*found);
}

int ProjectTable::number(std::string_view key, int least, int most, int otherwise) const
{
    return has(key) ? number(key, least, most) : otherwise;
}

bool ProjectTable::flag(std::string_view key) const
{
    if (!has(key)) return false;
    const std::optional<bool> found = m_table[key].value_exact<bool>();
    if (!found) fail(key, "true or false");
    return *found;
}

Value ProjectTable::value(std::string_view key, DATATYPE type) const
{
    if (type == DATATYPE_INT) return number(key, INT32_MIN, INT32_MAX);
    if (type == DATATYPE_DOUBLE) {
        const std::optional<double> found = m_table[key].value<double>();
        if (!found || m_table[key].is_boolean()) fail(key, "a number such as 2.5");
        return *found;
    }
    if (m_table[key].is_table()) {
        const ProjectTable source = inlineTable(key, {"file"});
        const std::string name = source.path("file");
        try {
            const std::vector<unsigned char> bytes = readFile(name);
            return std::string(bytes.begin(), bytes.end());
        } catch (const PanelError& error) {
            source.fail("file", "a file that can be read; " + std::string(error.what()));
        }
    }
    const std::optional<std::string> found = m_table[key].value_exact<std::string>();
    if (!found) fail(key, "a text in quotes, or { file = \"NAME\" }");
    return *found;
}

DATATYPE ProjectTable::type(std::string_view key) const
{
    const std::string word = m_table[key].value_or(std::string());
    if (word == "int") return DATATYPE_INT;
    if (word == "double") return DATATYPE_DOUBLE;
    if (word == "string") return DATATYPE_STRING;
    fail(key, "\"int\", \"double\" or \"string\"");
}

ProjectTable ProjectTable::inlineTable(std::string_view key,
                                       std::initializer_list<std::string_view> known) const
{
    const toml::table* table = m_table[key].as_table();
    if (table == nullptr) fail(key, "{ ... } with " + joined(known, " and "));
    return {m_file, *table, m_title + "." + std::string(key), known};
}

std::string ProjectTable::path(std::string_view key) const
{
    const std::string name = text(key);
    const std::size_t slash = m_file.rfind('/');
    if (name.front() == '/' || slash == m_file.npos) return name;
    return m_file.substr(0, slash + 1) + name;
}

std::string_view ProjectTable::exactlyOne(std::initializer_list<std::string_view> keys) const
{
    const std::string_view* only = nullptr;
    for (const std::string_view& key : keys) {
        if (!has(key)) continue;
        if (only != nullptr) fail(key, "only one of " + joined(keys, " and "));
        only = &key;
    }
    if (only == nullptr) {
        throw PanelError(filePosition(m_file, m_table.source()) + m_title +
                         ": a key is missing; right would be one of " + joined(keys, " and "));
    }
    return *only;
}

}  // namespace panel
