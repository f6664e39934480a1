#pragma once

#include "service/base/Clock.h"
#include "service/base/CountedLog.h"
#include "service/core/AccessRules.h"
#include "service/core/Caller.h"
#include "service/core/Counters.h"
#include "service/core/History.h"
#include "service/core/IStore.h"
#include "service/core/ITunnel.h"
#include "service/core/Outcome.h"
#include "service/core/SettingFields.h"
#include "service/core/VpnSettings.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace vpnd
{

// What this device is called where no client has said otherwise.
struct Identity {
    std::string name;
    std::string serialNumber;
};

// Some settings and the values that they are to have.
struct SettingsChange {
    VpnSettings values;
    SettingSet which;

    // The same by key; false when the value breaks the setting's rule.
    bool assign(SettingPlace place, std::string_view text);
};

// The right that a request needs.
enum class Right { kNone, kRead, kChange };

// Switches, settings and tunnel: what the service is, without a word of how it is asked.
//
// What is read comes from memory, at once. A change is answered when it is stored: settings
// are in force from then on, whole or, when they could not be stored, not at all; reads
// meanwhile tell what was in force before. The switches (stop, enabled, online) are in force
// at once and also when they cannot be stored: whoever turns the tunnel off must find it off.
// The next change that is stored stores them too. What is stored already is not written again.
//
// Switches take effect when they are asked for; other changes when they are stored, in the
// order in which they were asked for, and no switch is turned back by what was asked for
// before it. No log line and no entry of
// the history holds a password or a certificate; the subjects and last days of certificates
// do appear. One thread.
class Controller final : private ITunnelEvents
{
public:
    // May be called before the operation returns. kDone, kNotNow, kNotStored.
    using Done = std::function<void(Outcome)>;

    // Tries of checkPassword that are looked at within one minute; others are answered false.
    static constexpr std::size_t kPasswordTries = 5;
    static constexpr std::int64_t kPasswordTriesWithinMs = 60 * 1000;

    // What it works with; all of it is borrowed and must outlive it.
    struct Parts {
        IStore& store;
        ITunnel& tunnel;
        History& history;
        CountedLog& log;
        Clock clock;
    };

    struct Beginning {
        VpnSettings settings;
        bool areStored = true;  // otherwise they are in force all the same, and are stored now
        bool isHeld = false;    // idle, whatever they say, until a client starts the tunnel
    };

    // Starts the tunnel when the settings say so.
    Controller(Parts parts, Beginning beginning, Identity identity, AccessRules access);

    // Everything that counts as stored: for a store that has to begin anew.
    [[nodiscard]] Commit image() const;

    void setIdentity(Identity identity);
    void setAccess(AccessRules access) { m_access = std::move(access); }

    // Whether the caller has this right; one who has not stands in log and history.
    bool admits(const Caller& caller, Right right, const char* request);
    // A request that could not be carried out, for log and history.
    void refused(const Caller& caller, const char* request, Outcome outcome,
                 std::string_view detail = {});

    const AccessRules& access() const { return m_access; }
    const VpnSettings& settings() const { return m_settings; }  // in force
    // Of them: rises with each change that comes into force.
    std::uint64_t version() const { return m_version; }
    // Whether changes are on their way to the store.
    bool isChanging() const { return !m_pending.empty(); }
    // Idle, whatever the settings say, until a client starts the tunnel.
    bool isHeld() const { return m_isHeld; }
    // Their text for those who may see secrets, else what stands in its place.
    std::string passwordFor(const Caller& caller) const;
    std::string deviceName() const;
    std::string serialNumber() const;

    // Enabled or not, the tunnel's own state; kSettingsMissing where it cannot begin.
    const TunnelState& tunnel() const { return m_tunnelState; }
    // As getVpnState answers: 0 disabled, a TunnelStage, or 100 and the number of a reason.
    std::int32_t stateNumber() const;
    // Since when, by the clock that only grows and by the other one.
    std::int64_t stateSinceMs() const { return m_stateSinceMs; }
    std::int64_t stateSinceWallMs() const { return m_stateSinceWallMs; }
    const Traffic& traffic() const { return m_traffic; }
    const Counters& counters() const { return m_counters; }

    // Which settings a change would make other than they are, when all that is under way is
    // stored, and whether a tunnel that is up or on its way would go down for it.
    struct Effect {
        SettingSet changed;
        bool dropsTunnel = false;
    };
    Effect effectOf(const SettingsChange& change) const;

    // Called when something of the above is otherwise, traffic and counters apart; must not
    // call the controller.
    void onNews(std::function<void()> news) { m_news = std::move(news); }

    // What these do, docs/rpc-protocol.md tells. The values are right by their rules.
    void change(const Caller& caller, const SettingsChange& change, const Done& done);
    // request: what the caller knows it as, for log and history.
    void start(const Caller& caller, const char* request, const SettingsChange& server,
               const Done& done);
    void stop(const Caller& caller, const Done& done);
    void setEnabled(const Caller& caller, bool enabled, const Done& done);
    void setOnline(const Caller& caller, bool online, const Done& done);
    void lookAfterConnection();
    bool checkPassword(const Caller& caller, const char* request, std::string_view password);

    // Stops the tunnel for good: what is still stored afterwards starts nothing.
    void end();
    // Null for a real tunnel. What it is told counts from beginAgain() on.
    ISimulation* simulation() const { return m_parts.tunnel.simulation(); }
    // Ends the tunnel and, where it is wanted, starts it anew.
    void beginAgain(const Caller& caller, std::string_view why);

private:
    // A change on its way to the store.
    struct Pending {
        std::int64_t number = 0;
        Caller caller;
        VpnSettings values;  // of what is asked or stored; the others mean nothing
        SettingSet asked;    // comes into force when it is stored
        SettingSet stored;   // asked, or in force already and not stored yet
        bool isSwitch = false;
        const char* start = nullptr;  // the request, where it starts the tunnel
        Done done;
        History::Batch batch;
    };

    void onTunnelState(const TunnelState& state) override;
    void onTraffic(const Traffic& traffic) override;

    void submit(Pending pending);
    void settle(std::int64_t number, const CommitResult& result);
    void bringTunnel(bool isStart);
    void report();
    void takeOver(const VpnSettings& values, const SettingSet& which);
    void tell();
    void switchTo(const Caller& caller, SettingPlace place, bool value, const Done& done);
    VpnSettings latest() const;
    SettingSet valuesToStore(Pending& pending) const;
    void takeBack(const SettingSet& which);
    void comeIntoForce(const Pending& ended);
    static std::vector<HistoryEntry> entriesOf(const Caller& caller, const VpnSettings& before,
                                               const VpnSettings& after);
    void log(const std::vector<HistoryEntry>& entries);
    TunnelConfig configOf(const VpnSettings& settings) const;
    TunnelConfig config() const { return configOf(m_settings); }
    bool isWanted() const { return m_settings.enabled && m_settings.connect && !m_isHeld; }
    bool mayTryPassword();

    Parts m_parts;
    AccessRules m_access;
    Identity m_identity;
    VpnSettings m_settings;         // in force
    VpnSettings m_stored;           // as the store last took them
    SettingSet m_neverStored;       // of them, what was not
    std::deque<Pending> m_pending;  // as they were asked for
    std::int64_t m_lastNumber = 0;
    bool m_isHeld;
    TunnelState m_tunnelState;
    HistoryEntry m_reported;  // the latest state
    std::int64_t m_stateSinceMs;
    std::int64_t m_stateSinceWallMs;
    Traffic m_traffic;
    std::uint64_t m_version = 1;
    Counters m_counters;
    std::function<void()> m_news;
    bool m_isStarted = false;  // the tunnel has taken start()
    bool m_isEnding = false;
    // A ring of the last tries, oldest at m_nextTry.
    std::array<std::optional<std::int64_t>, kPasswordTries> m_triesMs;
    std::size_t m_nextTry = 0;
};

}  // namespace vpnd
