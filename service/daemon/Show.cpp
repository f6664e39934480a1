#include "service/daemon/Show.h"

#include "service/core/History.h"
#include "service/core/SettingFields.h"
#include "service/store/StoreReader.h"

#include <spdlog/fmt/fmt.h>

#include <chrono>
#include <ctime>

namespace vpnd
{
namespace
{

// "2026-01-31 23:59:59Z": not the zone of whoever looks, so that two who look see the same.
std::string timeOf(std::int64_t ms)
{
    constexpr std::int64_t kYear2200Ms = 7'258'118'400'000;
    if (ms < 0 || ms > kYear2200Ms) return "unknown time";
    const std::chrono::system_clock::time_point time{std::chrono::milliseconds(ms)};
    const std::time_t seconds = std::chrono::system_clock::to_time_t(time);
    std::tm parts{};
    char text[64];
    if (::gmtime_r(&seconds, &parts) == nullptr ||
        std::strftime(text, sizeof text, "%Y-%m-%d %H:%M:%SZ", &parts) == 0) {
        return "unknown time";
    }
    return text;
}

std::string settingsText(const StoreContents& contents)
{
    if (contents.settings.empty()) return "no settings are stored yet\n";
    VpnSettings settings;
    for (const StoredSetting& each : contents.settings) {
        const SettingField* const field = findSetting(each.key);
        if (field != nullptr) static_cast<void>(field->assign(settings, each.value));
    }
    std::string text;
    for (const SettingField& field : settingFields()) {
        std::string value = shownText(field, settings);
        if (value.empty()) value = "not set";
        text += fmt::format("{:<14} {}\n", field.key, value);
    }
    return text;
}

std::string lineOf(const HistoryEntry& entry)
{
    std::string line = fmt::format("{}  #{} {} {}", timeOf(entry.firstMs), entry.id,
                                   nameOf(entry.kind), entry.subject);
    if (entry.kind == EventKind::kState) {
        line += entry.before.empty() ? fmt::format(" ({})", entry.after)
                                     : fmt::format(" ({} -> {})", entry.before, entry.after);
    } else if (!entry.before.empty() || !entry.after.empty()) {
        line += fmt::format(": \"{}\" -> \"{}\"", entry.before, entry.after);
    }
    if (const ReasonText* const reason = findReason(static_cast<std::int32_t>(entry.reason))) {
        line += fmt::format(", {}: {} {}", reason->name, reason->english, reason->remedyEnglish);
    }
    if (!entry.detail.empty()) line += ", " + entry.detail;
    if (entry.outcome != Outcome::kDone) line += fmt::format(", {}", nameOf(entry.outcome));
    if (entry.caller.interface != Interface::kService) line += ", by " + textOf(entry.caller);
    if (entry.count > 1) {
        line += fmt::format(" ({} x, the last one {})", entry.count, timeOf(entry.lastMs));
    }
    return line + "\n";
}

}  // namespace

std::string shownState(Show what, const std::string& folder, std::size_t rows)
{
    const StoreContents contents = readStore(folder, rows);
    if (what == Show::kSettings) return settingsText(contents);
    std::string text;
    for (const HistoryEntry& each : contents.history) text += lineOf(each);
    return text.empty() ? "the history is empty\n" : text;
}

}  // namespace vpnd
