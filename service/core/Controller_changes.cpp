#include "service/core/Controller.h"

#include <spdlog/fmt/fmt.h>

#include <algorithm>

// How settings change: from a client's request to what is in force and stored.
namespace vpnd
{

bool SettingsChange::assign(SettingPlace place, std::string_view text)
{
    which.set(place);
    return settingFields()[place].assign(values, text);
}

Commit Controller::image() const
{
    Commit all;
    for (std::size_t i = 0; i < kSettingCount; ++i) {
        const SettingField& field = settingFields()[i];
        if (!m_neverStored[i]) all.settings.push_back({field.key, field.text(m_stored)});
    }
    for (const HistoryEntry& each : m_parts.history.entries()) {
        if (each.outcome != Outcome::kPending) all.history.push_back(each);
    }
    return all;
}

void Controller::change(const Caller& caller, const SettingsChange& change, const Done& done)
{
    Pending pending;
    pending.caller = caller;
    pending.values = change.values;
    pending.asked = change.which;
    pending.done = done;
    submit(std::move(pending));
}

void Controller::start(const Caller& caller, const char* request, const SettingsChange& server,
                       const Done& done)
{
    if (!m_settings.enabled || !m_settings.online) {
        refused(caller, request, Outcome::kNotNow, m_settings.enabled ? "off line" : "disabled");
        return done(Outcome::kNotNow);
    }
    Pending pending;
    pending.caller = caller;
    pending.values = server.values;
    pending.values.connect = true;
    pending.asked = server.which;
    pending.asked.set(kConnect);
    pending.start = request;
    pending.done = done;
    submit(std::move(pending));
}

void Controller::stop(const Caller& caller, const Done& done)
{
    switchTo(caller, kConnect, false, done);
}

void Controller::setEnabled(const Caller& caller, bool enabled, const Done& done)
{
    switchTo(caller, kEnabled, enabled, done);
}

void Controller::setOnline(const Caller& caller, bool online, const Done& done)
{
    switchTo(caller, kOnline, online, done);
}

void Controller::lookAfterConnection() { m_parts.tunnel.poke(); }

void Controller::switchTo(const Caller& caller, SettingPlace place, bool value, const Done& done)
{
    Pending pending;
    pending.caller = caller;
    pending.asked.set(place);
    static_cast<void>(settingFields()[place].assign(pending.values, value ? "true" : "false"));
    pending.isSwitch = true;
    pending.done = done;
    submit(std::move(pending));
}

// What will be in force when all that is under way is stored.
VpnSettings Controller::latest() const
{
    VpnSettings settings = m_settings;
    for (const Pending& each : m_pending) copySettings(settings, each.values, each.asked);
    return settings;
}

// Fills in what is in force and not stored yet, or may not be when what is under way fails.
// What an earlier change asks for is its own matter: it may be refused. Returns what is to be
// stored; nothing when all of it is.
SettingSet Controller::valuesToStore(Pending& pending) const
{
    SettingSet touched;  // by what is under way
    SettingSet asked;
    for (const Pending& each : m_pending) {
        touched |= each.stored;
        if (!each.isSwitch) asked |= each.asked;
    }
    const SettingSet inForce = ~pending.asked & ~asked;
    copySettings(pending.values, m_settings, inForce);
    return (differences(m_stored, pending.values) | m_neverStored | touched) &
           (pending.asked | inForce);
}

// What was asked for before a switch does not turn it back.
void Controller::takeBack(const SettingSet& which)
{
    for (Pending& each : m_pending) each.asked &= ~which;
}

void Controller::submit(Pending pending)
{
    if (pending.asked.none()) return pending.done(Outcome::kDone);
    pending.number = ++m_lastNumber;
    const VpnSettings before = latest();
    VpnSettings after = before;
    copySettings(after, pending.values, pending.asked);
    std::vector<HistoryEntry> entries = entriesOf(pending.caller, before, after);
    pending.stored = valuesToStore(pending);
    if (pending.isSwitch) {
        takeBack(pending.asked);
        takeOver(pending.values, pending.asked);
        bringTunnel(false);
    }
    Commit commit;
    for (std::size_t i = 0; i < kSettingCount; ++i) {
        const SettingField& field = settingFields()[i];
        if (pending.stored[i]) commit.settings.push_back({field.key, field.text(pending.values)});
    }
    if (commit.settings.empty()) {
        // A script may repeat the same command for ever; that must not wear out the memory.
        if (pending.isSwitch) {
            m_counters.settingChanges += entries.size();
            log(entries);
            for (HistoryEntry& each : entries) m_parts.history.add(std::move(each));
        }
        m_pending.push_back(std::move(pending));
        return settle(m_lastNumber, {true, 0});
    }
    pending.batch = m_parts.history.addTo(commit, std::move(entries));
    m_pending.push_back(std::move(pending));
    try {
        m_parts.store.commit(
            std::move(commit),
            [this, number = m_lastNumber](const CommitResult& result) { settle(number, result); });
    } catch (...) {
        // Out of memory. The client is told, and what it asked for is not under way.
        m_parts.history.settle(m_pending.back().batch, {});
        m_pending.pop_back();
        throw;
    }
}

// The end of a change that is under way: the oldest one, or one that was not even tried.
void Controller::settle(std::int64_t number, const CommitResult& result)
{
    const auto found = std::find_if(m_pending.begin(), m_pending.end(),
                                    [&](const Pending& each) { return each.number == number; });
    if (found == m_pending.end()) return;
    const Pending ended = std::move(*found);
    m_pending.erase(found);
    m_parts.history.settle(ended.batch, result);
    if (!result.isStored) {
        ++m_counters.changesNotStored;
        m_parts.log.error("a change could not be stored",
                          ended.isSwitch ? "in force all the same" : "nothing has changed");
        return ended.done(Outcome::kNotStored);
    }
    copySettings(m_stored, ended.values, ended.stored);
    m_neverStored &= ~ended.stored;
    comeIntoForce(ended);
    const bool isRunning = m_isStarted || !isWanted();
    ended.done(ended.start == nullptr || isRunning ? Outcome::kDone : Outcome::kNotNow);
}

// A change that is stored now; a switch is in force already.
void Controller::comeIntoForce(const Pending& ended)
{
    if (ended.isSwitch) {
        const std::vector<HistoryEntry> entries = m_parts.history.entriesOf(ended.batch);
        m_counters.settingChanges += entries.size();
        return log(entries);
    }
    VpnSettings next = m_settings;
    copySettings(next, ended.values, ended.asked);
    // What was under way when it was asked for may have failed: then it has changed other things
    // than it seemed.
    std::vector<HistoryEntry> entries = entriesOf(ended.caller, m_settings, next);
    m_parts.history.correct(ended.batch, entries);
    log(entries);
    m_counters.settingChanges += entries.size();
    takeOver(next, ended.asked);
    const std::int32_t stateBefore = stateNumber();
    if (ended.start != nullptr) m_isHeld = false;
    bringTunnel(ended.start != nullptr);
    if (ended.start == nullptr || !entries.empty() || stateNumber() == stateBefore) return;
    HistoryEntry entry;
    entry.kind = EventKind::kRequest;
    entry.subject = ended.start;
    entry.caller = ended.caller;
    m_parts.log.info(ended.start, "asked by " + textOf(ended.caller));
    m_parts.history.add(std::move(entry));
}

std::vector<HistoryEntry> Controller::entriesOf(const Caller& caller, const VpnSettings& before,
                                                const VpnSettings& after)
{
    std::vector<HistoryEntry> entries;
    const SettingSet changed = differences(before, after);
    for (std::size_t i = 0; i < kSettingCount; ++i) {
        if (!changed[i]) continue;
        const SettingField& field = settingFields()[i];
        HistoryEntry entry;
        entry.kind = EventKind::kSetting;
        entry.subject = field.key;
        entry.before = shownText(field, before);
        entry.after = shownText(field, after);
        if (field.isSecret && entry.after.empty()) entry.after = "cleared";
        entry.caller = caller;
        entries.push_back(std::move(entry));
    }
    return entries;
}

void Controller::log(const std::vector<HistoryEntry>& entries)
{
    for (const HistoryEntry& each : entries) {
        m_parts.log.info(findSetting(each.subject)->key,
                         fmt::format("\"{}\", before \"{}\"; by {}", each.after, each.before,
                                     textOf(each.caller)));
    }
}

}  // namespace vpnd
