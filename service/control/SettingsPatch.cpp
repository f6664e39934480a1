#include "service/control/SettingsPatch.h"

#include "service/control/HttpReply.h"

#include <algorithm>

namespace vpnd
{
namespace
{

constexpr const char* kDryRun = "dry_run";

// Of what kind the fields are, the values of a fresh service tell.
const Json& freshValueOf(std::size_t place)
{
    static const Json all = [] {
        Json values = Json::array();
        for (const SettingField& field : settingFields()) {
            values.push_back(valueOf(field, VpnSettings()));
        }
        return values;
    }();
    return all[place];
}

// As the setting's rule judges it; nothing when it is of another kind.
std::optional<std::string> textOf(const Json& value, const Json& fresh)
{
    if (fresh.is_string()) {
        if (value.is_null()) return "";
        if (value.is_string()) return value.get<std::string>();
    } else if (fresh.is_boolean() && value.is_boolean()) {
        return value.get<bool>() ? "true" : "false";
    } else if (fresh.is_number() && value.is_number_integer()) {
        return value.dump();
    }
    return std::nullopt;
}

}  // namespace

std::string fieldNameOf(const SettingField& field)
{
    std::string name = field.key;
    std::replace(name.begin(), name.end(), '-', '_');
    return name;
}

Json valueOf(const SettingField& field, const VpnSettings& settings)
{
    std::string text = field.text(settings);
    const std::string fresh = field.text(VpnSettings());
    if (fresh == "true" || fresh == "false") return text == "true";
    if (!fresh.empty()) return std::stoi(text);
    return text;
}

SettingsPatch SettingsPatch::read(std::string_view body)
{
    SettingsPatch patch;
    const auto refuse = [&](Refusal refusal, std::string field, std::string detail) {
        patch.refusal = refusal;
        patch.field = std::move(field);
        patch.detail = std::move(detail);
        return patch;
    };
    const std::optional<Json> json = readObject(body);
    if (!json) return refuse(Refusal::kNotJson, {}, {});
    for (const auto& [name, value] : json->items()) {
        if (name == kDryRun) {
            if (!value.is_boolean()) return refuse(Refusal::kInvalidValue, name, "true or false");
            patch.isDryRun = value.get<bool>();
            continue;
        }
        std::size_t place = 0;
        while (place < kSettingCount && fieldNameOf(settingFields()[place]) != name) ++place;
        if (place == kSettingCount)
            return refuse(Refusal::kUnknownField, name.substr(0, kMaxEchoBytes), {});
        const std::optional<std::string> text = textOf(value, freshValueOf(place));
        if (!text || !patch.change.assign(static_cast<SettingPlace>(place), *text)) {
            return refuse(Refusal::kInvalidValue, name, settingFields()[place].rule);
        }
    }
    return patch;
}

}  // namespace vpnd
