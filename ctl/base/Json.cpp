#include "ctl/base/Json.h"

#include "common/DisplayText.h"
#include "common/Utf8.h"

#include <charconv>
#include <cstdio>
#include <limits>
#include <stdexcept>

namespace ctl
{

Json parseJson(std::string_view text)
{
    bool isTooDeep = false;
    const Json value = Json::parse(
        text,
        [&](int depth, Json::parse_event_t event, Json&) {
            using Event = Json::parse_event_t;
            const bool begins = event == Event::object_start || event == Event::array_start;
            isTooDeep = isTooDeep || (begins && depth >= kMaxJsonDepth);
            return !isTooDeep;
        },
        false);
    if (isTooDeep) throw std::invalid_argument("JSON that goes too deep");
    if (value.is_discarded()) throw std::invalid_argument("no JSON text");
    return value;
}

std::string printed(const Json& value, Layout layout)
{
    const std::string plain =
        value.dump(layout == Layout::kLines ? 2 : -1, ' ', false, Json::error_handler_t::replace);
    std::string text;
    for (std::string_view rest = plain; !rest.empty();) {
        const common::Utf8Character first = common::firstCharacter(rest);
        if (rest.front() != '\n' && common::isControl(first.value)) {
            char escaped[8];
            std::snprintf(escaped, sizeof escaped, "\\u%04x", first.value & 0xFFFFU);
            text += escaped;
        } else {
            text += rest.substr(0, first.bytes);
        }
        rest.remove_prefix(first.bytes);
    }
    return text;
}

const Json* find(const Json& value, std::string_view path)
{
    if (path.empty()) return &value;
    const Json* found = &value;
    while (true) {
        const std::size_t dot = path.find('.');
        const std::string_view name = path.substr(0, dot);
        if (found->is_object()) {
            const auto at = found->find(std::string(name));
            if (at == found->end()) return nullptr;
            found = &*at;
        } else if (found->is_array()) {
            std::size_t index = 0;
            const char* const end = name.data() + name.size();
            const auto [stopped, error] = std::from_chars(name.data(), end, index);
            if (error != std::errc() || stopped != end || index >= found->size()) return nullptr;
            found = &(*found)[index];
        } else {
            return nullptr;
        }
        if (dot == path.npos) return found;
        path.remove_prefix(dot + 1);
    }
}

std::string textAt(const Json& value, std::string_view path)
{
    const Json* const found = find(value, path);
    if (found == nullptr || found->is_null()) return {};
    if (found->is_string()) return common::displayText(found->get_ref<const std::string&>());
    return printed(*found, Layout::kOneLine);
}

std::optional<std::int64_t> numberAt(const Json& value, std::string_view path)
{
    const Json* const found = find(value, path);
    if (found == nullptr || !found->is_number_integer()) return std::nullopt;
    if (found->is_number_unsigned() &&
        found->get<std::uint64_t>() > std::numeric_limits<std::int64_t>::max()) {
        return std::nullopt;
    }
    return found->get<std::int64_t>();
}

std::optional<bool> flagAt(const Json& value, std::string_view path)
{
    const Json* const found = find(value, path);
    if (found == nullptr || !found->is_boolean()) return std::nullopt;
    return found->get<bool>();
}

}  // namespace ctl
