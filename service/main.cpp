#include "service/LogSink.h"
#include "service/RpcListener.h"
#include "service/Signals.h"
#include "service/SimulatedTunnel.h"
#include "service/Validation.h"
#include "service/VpnService.h"

#include <fcntl.h>
#include <poll.h>
#include <spdlog/spdlog.h>
#include <sys/resource.h>
#include <unistd.h>
#include <CLI/CLI.hpp>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <initializer_list>
#include <memory>
#include <string>
#include <system_error>

namespace
{

constexpr std::initializer_list<int> kSignals = {SIGTERM, SIGINT, SIGHUP};
constexpr int kExitUsage = 2;  // wrong options, or nothing to listen at
// Descriptors; the systemd unit allows the sum.
constexpr rlim_t kClients = vpnd::RpcListener::kMaxClients;
constexpr rlim_t kOtherDescriptors = 64;
// For the last lines of the log, where they are read slowly.
constexpr std::chrono::milliseconds kLogEnd{500};

struct Options {
    std::string listen = "127.0.0.1:9009";
    std::string deviceName;
    std::string serial = vpnd::VpnSettings().factorySerial;
    bool noConnect = false;
    std::string logLevel = "info";
};

// The host's name where it can serve as a device name.
std::string defaultDeviceName()
{
    char name[256] = {};
    const bool known = ::gethostname(name, sizeof name - 1) == 0 && vpnd::isDeviceName(name);
    return known ? name : "panel";
}

std::int64_t steadyNowMs()
{
    const auto now = std::chrono::steady_clock::now().time_since_epoch();
    return std::chrono::duration_cast<std::chrono::milliseconds>(now).count();
}

void describe(CLI::App& app, Options& options)
{
    const auto endpoint = [](const std::string& text) {
        return vpnd::Endpoint::parse(text)
                   ? std::string()
                   : std::string("must be a numeric address with port, such as 127.0.0.1:9009");
    };
    const auto name = [](const std::string& text) {
        return vpnd::isDeviceName(text) ? std::string()
                                        : std::string(
                                              "must be 1 to 64 bytes of UTF-8 without control "
                                              "characters, quotes and backslashes");
    };
    const auto number = [](const std::string& text) {
        return vpnd::isDeviceNumber(text)
                   ? std::string()
                   : std::string("must be 1 to 64 letters, digits and -_.:/");
    };
    app.add_option("--listen", options.listen,
                   "Where clients connect, ADDRESS:PORT; port 0 takes a free one")
        ->check(endpoint)
        ->capture_default_str();
    app.add_option("--device-name", options.deviceName, "Name of this device")
        ->check(name)
        ->capture_default_str();
    app.add_option("--serial", options.serial, "Device number until a client sets another one")
        ->check(number)
        ->capture_default_str();
    app.add_flag("--no-connect", options.noConnect, "Stay idle until a client starts the tunnel");
    app.add_option("--log-level", options.logLevel, "What goes to standard error")
        ->check(CLI::IsMember({"debug", "info", "warn", "error", "off"}))
        ->capture_default_str();
    app.set_version_flag("--version", "orva-vpnd " ORVA_VERSION);
    app.footer(
        "Settings and tunnel live in memory: nothing survives the end of the program, and\n"
        "the tunnel is a simulation that reaches no network. SIGTERM or SIGINT ends it,\n"
        "SIGHUP does not.\n"
        "Exit code 0: ended by a signal; 2: wrong options, or it cannot listen.");
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

// Else a client's connection could get one of their numbers, and the log's lines.
void occupyStandardDescriptors()
{
    int descriptor = 0;
    do {
        descriptor = ::open("/dev/null", O_RDWR);
    } while (descriptor >= 0 && descriptor <= STDERR_FILENO);
    if (descriptor >= 0) ::close(descriptor);
}

// Whoever started this may read it, or never read.
void announce(const std::string& line)
{
    pollfd out = {STDOUT_FILENO, POLLOUT, 0};
    if (::poll(&out, 1, 0) != 1 || (out.revents & POLLOUT) == 0 ||
        ::write(STDOUT_FILENO, line.data(), line.size()) < 0) {
        spdlog::warn("nobody reads standard output");
    }
}

void run(const Options& options)
{
    vpnd::VpnSettings settings;
    settings.deviceName = options.deviceName;
    settings.factorySerial = options.serial;
    settings.connect = !options.noConnect;

    vpnd::EventLoop loop(&steadyNowMs);
    vpnd::CountedLog log(loop);
    const vpnd::Signals signals(loop, kSignals, [&](int number) {
        if (number != SIGHUP) return loop.stop();
        log.info("SIGHUP", "there is nothing to read again");
    });
    vpnd::MemoryStore store;
    vpnd::SimulatedTunnel tunnel(&steadyNowMs);
    vpnd::VpnService service(settings, store, tunnel, &steadyNowMs, log);
    const vpnd::Endpoint where = *vpnd::Endpoint::parse(options.listen);
    const vpnd::RpcListener listener(loop, where, service, log, placesForClients());

    if (!where.isLoopback()) {
        spdlog::warn(
            "{} can be reached from other machines: whoever gets there can read the "
            "password and control the tunnel",
            where.text());
    }
    announce(fmt::format("orva-vpnd {} listening on {}, simulated tunnel\n", ORVA_VERSION,
                         listener.localEndpoint().text()));
    loop.run();
}

}  // namespace

int main(int argc, char** argv)
{
    vpnd::Signals::block(kSignals);
    occupyStandardDescriptors();
    std::signal(SIGPIPE, SIG_IGN);  // whoever reads the log may go away

    Options options;
    options.deviceName = defaultDeviceName();
    CLI::App app("The panel's VPN service");
    describe(app, options);
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        if (error.get_exit_code() == 0) return app.exit(error);
        std::fprintf(stderr, "orva-vpnd: %s; see --help\n", error.what());
        return kExitUsage;
    }

    const auto sink = std::make_shared<vpnd::LogSink>(STDERR_FILENO);
    spdlog::set_default_logger(std::make_shared<spdlog::logger>("orva-vpnd", sink));
    spdlog::set_level(spdlog::level::from_str(options.logLevel));
    // By itself it writes to standard error, and waits for it.
    spdlog::set_error_handler([](const std::string&) {});

    int exitCode = 0;
    try {
        run(options);
        spdlog::info("ended by a signal");
    } catch (const std::system_error& error) {
        const bool taken = error.code() == std::errc::address_in_use;
        sink->print(fmt::format(
            "orva-vpnd: cannot listen on {}: {}\n", options.listen,
            taken ? "the port is taken; is another orva-vpnd running?" : error.code().message()));
        exitCode = kExitUsage;
    }
    sink->finish(kLogEnd);
    return exitCode;
}
