#pragma once

#include "common/Toml.h"
#include "panel/runtime/Value.h"

#include <initializer_list>
#include <optional>
#include <string>
#include <string_view>

namespace panel
{

// One table of a project file. Every access names a key; what is wrong with it
// leaves as PanelError with file, line, key and what would be right. Borrows the
// parsed file.
class ProjectTable
{
public:
    // Refuses keys other than the known ones. title is how messages call the
    // table, for example "device".
    ProjectTable(std::string file, const toml::table& table, std::string title,
                 std::initializer_list<std::string_view> known);

    bool has(std::string_view key) const { return m_table.contains(key); }
    bool isText(std::string_view key) const { return m_table[key].is_string(); }

    // A text that is not empty.
    std::string text(std::string_view key) const;
    // A whole number within the bounds.
    int number(std::string_view key, int least, int most) const;
    int number(std::string_view key, int least, int most, int otherwise) const;
    bool flag(std::string_view key) const;  // false when it is not there
    // A value of that type; a whole number will do for a double. A string may
    // stand in a file instead: { file = "NAME" }.
    Value value(std::string_view key, DATATYPE type) const;
    // One of "int", "double" and "string".
    DATATYPE type(std::string_view key) const;
    // { a = 1, ... } with these keys.
    ProjectTable inlineTable(std::string_view key,
                             std::initializer_list<std::string_view> known) const;

    // The path of a file that the text of the key names, seen from the project's folder.
    std::string path(std::string_view key) const;

    // "FILE:LINE: key 'KEY' in TABLE", of a key that is there.
    std::string where(std::string_view key) const;
    // Raises the error about the key, or about the table where the key is not in it.
    [[noreturn]] void fail(std::string_view key, const std::string& whatIsRight) const;
    // Exactly one of the keys must be there; which one.
    std::string_view exactlyOne(std::initializer_list<std::string_view> keys) const;

private:
    std::string m_file;
    const toml::table& m_table;
    std::string m_title;
};

// "FILE:LINE: " in front of messages.
std::string filePosition(const std::string& file, const toml::source_region& source);

}  // namespace panel
