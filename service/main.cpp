#include "service/RpcListener.h"
#include "service/SimulatedTunnel.h"
#include "service/Validation.h"
#include "service/VpnService.h"

#include <spdlog/sinks/stdout_color_sinks.h>
#include <spdlog/spdlog.h>
#include <unistd.h>
#include <CLI/CLI.hpp>
#include <asio/error.hpp>
#include <asio/io_context.hpp>
#include <asio/signal_set.hpp>

#include <chrono>
#include <csignal>
#include <cstdio>
#include <string>
#include <system_error>

namespace
{

constexpr int kExitUsage = 2;  // wrong options, or nothing to listen at

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
        return vpnd::parseEndpoint(text)
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
        "the tunnel is a simulation that reaches no network. SIGTERM or SIGINT ends it.\n"
        "Exit code 0: ended by a signal; 2: wrong options, or it cannot listen.");
}

int run(const Options& options, const asio::ip::tcp::endpoint& where)
{
    vpnd::VpnSettings settings;
    settings.deviceName = options.deviceName;
    settings.factorySerial = options.serial;
    settings.connect = !options.noConnect;

    asio::io_context io(1);
    vpnd::MemoryStore store;
    vpnd::SimulatedTunnel tunnel(&steadyNowMs);
    vpnd::VpnService service(settings, store, tunnel, &steadyNowMs);
    vpnd::RpcListener listener(io, where, service);

    asio::signal_set signals(io, SIGTERM, SIGINT);
    signals.async_wait([&](const asio::error_code&, int) { listener.stop(); });

    if (!where.address().is_loopback()) {
        spdlog::warn(
            "{} can be reached from other machines: whoever gets there can read the "
            "password and control the tunnel",
            vpnd::toText(where));
    }
    std::printf("orva-vpnd %s listening on %s, simulated tunnel\n", ORVA_VERSION,
                vpnd::toText(listener.localEndpoint()).c_str());
    std::fflush(stdout);
    io.run();
    spdlog::info("ended by a signal");
    return 0;
}

}  // namespace

int main(int argc, char** argv)
{
    std::signal(SIGPIPE, SIG_IGN);  // whoever reads the log may go away
    spdlog::set_default_logger(spdlog::stderr_color_st("orva-vpnd"));

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
    spdlog::set_level(spdlog::level::from_str(options.logLevel));

    try {
        return run(options, *vpnd::parseEndpoint(options.listen));
    } catch (const std::system_error& error) {
        const bool taken = error.code() == asio::error::address_in_use;
        std::fprintf(stderr, "orva-vpnd: cannot listen on %s: %s\n", options.listen.c_str(),
                     taken ? "the port is taken; is another orva-vpnd running?"
                           : error.code().message().c_str());
        return kExitUsage;
    }
}
