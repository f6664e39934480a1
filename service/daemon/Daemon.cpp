#include "service/daemon/Daemon.h"

#include "service/core/SettingFields.h"
#include "service/net/ListeningSocket.h"

#include <spdlog/spdlog.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <utility>

namespace vpnd
{
namespace
{

// Descriptors; the systemd unit allows the sum.
constexpr rlim_t kClients = RpcListener::kMaxClients;
constexpr rlim_t kOtherDescriptors = 160;  // of them 80 for the control interface
// For the last entries, where the disk is slow.
constexpr std::chrono::milliseconds kStoreEnd{3000};

std::int64_t steadyNowMs()
{
    const auto now = std::chrono::steady_clock::now().time_since_epoch();
    return std::chrono::duration_cast<std::chrono::milliseconds>(now).count();
}

std::int64_t wallNowMs()
{
    const auto now = std::chrono::system_clock::now().time_since_epoch();
    return std::chrono::duration_cast<std::chrono::milliseconds>(now).count();
}

// For how many clients there are descriptors, and enough of them for all else. The soft
// limit is often 1024, the hard one far above.
std::size_t placesForClients()
{
    rlimit limit{};
    ::getrlimit(RLIMIT_NOFILE, &limit);
    if (limit.rlim_cur < kClients + kOtherDescriptors) {
        limit.rlim_cur = std::min(limit.rlim_max, kClients + kOtherDescriptors);
        ::setrlimit(RLIMIT_NOFILE, &limit);
        ::getrlimit(RLIMIT_NOFILE, &limit);
    }
    const rlim_t half = limit.rlim_cur / 2;
    const rlim_t places =
        std::max(half, limit.rlim_cur - std::min(limit.rlim_cur, kOtherDescriptors));
    if (places < kClients) {
        spdlog::warn("room for {} clients instead of {}: only {} open files are allowed", places,
                     kClients, limit.rlim_cur);
    }
    return std::min(places, kClients);
}

// Which key decides, and whether somebody has set it.
std::string ruleOf(const Configuration& configuration, const char* section, const char* key,
                   const char* unlessSet)
{
    const auto& lists = configuration.lists;
    const bool isSet = std::find(lists.begin(), lists.end(), key) != lists.end();
    return fmt::format("{}[{}] {} in {}", isSet ? "" : fmt::format("default: {}; ", unlessSet),
                       section, key,
                       configuration.file.empty() ? kConfigurationFile : configuration.file);
}

ControlFacts::Rules rulesOf(const Configuration& configuration)
{
    constexpr const char* kTrusted = "root and the service's own user";
    return {ruleOf(configuration, "callers", "read", "everybody"),
            ruleOf(configuration, "callers", "change", kTrusted),
            ruleOf(configuration, "secrets", "show-to", kTrusted)};
}

Identity identityOf(const Configuration& configuration)
{
    return {configuration.deviceName, configuration.serial};
}

}  // namespace

const std::initializer_list<int> Daemon::kSignals = {SIGTERM, SIGINT, SIGHUP};

Daemon::Daemon(Options options, const Machine& machine, const IUserNames& names,
               Configuration configuration)
    : m_options(std::move(options)),
      m_configuration(std::move(configuration)),
      m_loop(&steadyNowMs),
      m_log(m_loop),
      m_listener(m_loop, listeningSocket(*Endpoint::parse(m_configuration.listen)), m_service,
                 m_log, placesForClients()),
      m_store(openStore()),
      m_tunnel(m_loop),
      m_history(m_loop, *m_store, &wallNowMs, m_configuration.history,
                std::exchange(m_contents.history, {}), takeHistoryIds()),
      m_controller({*m_store, m_tunnel, m_history, m_log, &steadyNowMs}, beginning(),
                   identityOf(m_configuration), m_configuration.access),
      m_service(m_controller, m_log),
      m_facts(facts()),
      m_control(m_loop, m_controller, m_history, m_log, m_facts),
      m_reloader(m_loop, m_options, machine, names,
                 [this](const ReloadedConfiguration& reloaded) { take(reloaded); }),
      m_signals(m_loop, kSignals, [this](int number) { onSignal(number); }),
      m_readiness(m_loop)
{
    for (const std::string& warning : m_configuration.warnings) spdlog::warn("{}", warning);
    if (!Endpoint::parse(m_configuration.listen)->isLoopback()) {
        spdlog::warn(
            "{} can be reached from other machines: whoever gets there reads everything but the "
            "password",
            m_configuration.listen);
    }
    if (m_file == nullptr) spdlog::warn("nothing is kept beyond the end of the service");
    if (m_file != nullptr) {
        m_file->onImage([this] { return image(); });
        m_file->onNote([this](const StoreNote& each) {
            note(each);
            m_facts.storeProblem = m_storeProblem;
            m_control.tellStatus();
        });
    }
    openControl();
}

std::string Daemon::announcement() const
{
    return fmt::format("orva-vpnd {} listening on {}, {} tunnel, {}", ORVA_VERSION,
                       m_listener.localEndpoint().text(), m_configuration.tunnel,
                       m_file == nullptr ? "nothing is kept" : "state in " + m_configuration.state);
}

void Daemon::run()
{
    m_history.flush();
    m_readiness.ready(announcement());
    m_loop.run();
    m_readiness.stopping();
    m_listener.stop();
    if (m_controlListener) m_controlListener->stop();
    m_controller.end();
    tell(EventKind::kService, "end", {});
    m_history.finish();
    if (m_file != nullptr) m_file->finish(kStoreEnd);
}

std::unique_ptr<IStore> Daemon::openStore()
{
    if (m_configuration.state == kNoState) return std::make_unique<NoStore>(m_loop);
    StoreSetup setup;
    setup.folder = m_configuration.state;
    setup.historyRows = m_configuration.history.rows;
    auto file = std::make_unique<SqliteStore>(m_loop, std::move(setup));
    m_contents = file->takeContents();
    m_notes = file->takeNotes();
    m_file = file.get();
    return file;
}

// They stand among the settings and are none.
HistoryIds Daemon::takeHistoryIds()
{
    HistoryIds ids = HistoryIds::begun();
    std::vector<StoredSetting>& stored = m_contents.settings;
    const auto found = std::find_if(stored.begin(), stored.end(), [](const StoredSetting& each) {
        return each.key == HistoryIds::kKey;
    });
    if (found == stored.end()) return ids;
    ids = HistoryIds::parse(found->value).value_or(ids);
    stored.erase(found);
    return ids;
}

Commit Daemon::image() const
{
    Commit all = m_controller.image();
    if (const std::optional<StoredSetting> ids = m_history.idsStored()) {
        all.settings.push_back(*ids);
    }
    return all;
}

ControlFacts Daemon::facts() const
{
    ControlFacts facts;
    facts.version = ORVA_VERSION;
    facts.startedMs = m_loop.nowMs();
    facts.startedWallMs = wallNowMs();
    facts.tunnel = m_configuration.tunnel;
    facts.listen = m_listener.localEndpoint().text();
    if (m_file != nullptr) facts.stateFolder = m_configuration.state;
    facts.storeProblem = m_storeProblem;
    if (!m_configuration.file.empty()) facts.configurationFile = m_configuration.file;
    facts.rules = rulesOf(m_configuration);
    facts.rpcCalls = &m_service.calls();
    facts.rpcClients = [this] { return m_listener.clientCount(); };
    facts.rpcRefused = [this] { return m_service.refusedCalls(); };
    facts.controlClients = [this] {
        return m_controlListener ? m_controlListener->clientCount() : 0;
    };
    facts.controlTurnedAway = [this] {
        return m_controlListener ? m_controlListener->turnedAway() : 0;
    };
    return facts;
}

// Nobody has to do without the VPN because people cannot ask for its state, unless somebody
// has named the socket.
void Daemon::openControl()
{
    const std::string& path = m_configuration.control;
    if (path == kNoControl) return;
    // Where no system manager has made it.
    if (!m_configuration.isControlNamed) ::mkdir(kRuntimeFolder, 0755);
    try {
        m_controlListener.emplace(m_loop, path, m_control, m_log);
        m_control.onNews([this] { m_controlListener->goOn(); });
    } catch (const ControlError& error) {
        if (m_configuration.isControlNamed) throw;
        spdlog::warn("{}; \"control\" in the configuration names another one, or \"none\"",
                     error.what());
    }
}

// What is stored or, while nothing is, what the configuration has for that.
Controller::Beginning Daemon::beginning()
{
    tell(EventKind::kService, "start", ORVA_VERSION);
    Controller::Beginning beginning;
    beginning.isHeld = m_options.noConnect;
    const std::vector<StoredSetting> stored = std::exchange(m_contents.settings, {});
    beginning.areStored = !stored.empty();
    const bool hasInitial = differences(m_configuration.initial, VpnSettings()).any();
    if (!beginning.areStored) {
        beginning.settings = m_configuration.initial;
        if (hasInitial) tell(EventKind::kConfiguration, m_configuration.file, "first settings");
    } else if (hasInitial) {
        spdlog::info("{}: [settings] counts no more: others are stored", m_configuration.file);
    }
    for (const StoredSetting& each : stored) {
        const SettingField* const field = findSetting(each.key);
        if (field != nullptr && !field->assign(beginning.settings, each.value)) {
            m_notes.push_back(
                {StoreNote::Kind::kLeftOut,
                 "the stored " + each.key + " is left out: right would be " + field->rule});
        }
    }
    for (const StoreNote& each : std::exchange(m_notes, {})) note(each);
    return beginning;
}

void Daemon::onSignal(int number)
{
    if (number != SIGHUP) return m_loop.stop();
    m_readiness.reloading();
    m_reloader.start(m_configuration);
}

void Daemon::take(const ReloadedConfiguration& reloaded)
{
    m_readiness.ready(announcement());
    const std::string file = m_configuration.file.empty() ? "configuration" : m_configuration.file;
    if (!reloaded.configuration) {
        // Each of them, however many: whoever has sent the signal may do more than fill a log.
        for (const std::string& fault : reloaded.faults) spdlog::error("{}", fault);
        spdlog::error("SIGHUP: nothing has changed");
        return tell(EventKind::kConfiguration, file,
                    reloaded.faults.empty() ? "" : reloaded.faults.front(), Outcome::kInvalid);
    }
    m_configuration = *reloaded.configuration;
    spdlog::set_level(spdlog::level::from_str(m_configuration.logLevel));
    m_history.setBounds(m_configuration.history);
    m_controller.setAccess(m_configuration.access);
    m_controller.setIdentity(identityOf(m_configuration));
    m_facts.rules = rulesOf(m_configuration);
    m_control.tellStatus();
    for (const std::string& warning : m_configuration.warnings) spdlog::warn("{}", warning);
    for (const std::string& each : reloaded.needRestart) spdlog::warn("{}", each);
    m_log.info("SIGHUP: read again", file);
    tell(EventKind::kConfiguration, file, "read again");
}

void Daemon::note(const StoreNote& note)
{
    const bool isBad = note.kind != StoreNote::Kind::kFresh &&
                       note.kind != StoreNote::Kind::kMigrated &&
                       note.kind != StoreNote::Kind::kWritesAgain;
    if (isBad) {
        m_log.error("state", note.text);
    } else {
        m_log.info("state", note.text);
    }
    if (note.kind == StoreNote::Kind::kCannotWrite) m_storeProblem = note.text;
    if (note.kind == StoreNote::Kind::kWritesAgain) m_storeProblem.reset();
    tell(EventKind::kStore, isBad ? "trouble" : "news", note.text,
         isBad ? Outcome::kNotStored : Outcome::kDone);
}

void Daemon::tell(EventKind kind, std::string subject, std::string detail, Outcome outcome)
{
    HistoryEntry entry;
    entry.kind = kind;
    entry.subject = std::move(subject);
    entry.detail = std::move(detail);
    entry.outcome = outcome;
    m_history.add(std::move(entry));
}

}  // namespace vpnd
