#include "service/base/Journal.h"
#include "service/base/LogSink.h"
#include "service/daemon/Daemon.h"
#include "service/daemon/Show.h"
#include "service/net/ListeningSocket.h"

#include <fcntl.h>
#include <poll.h>
#include <spdlog/spdlog.h>
#include <sys/prctl.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <cstdio>
#include <exception>
#include <memory>
#include <string>
#include <system_error>

namespace
{

constexpr int kExitUsage =
    2;  // wrong options or configuration, no state folder, nothing to listen at
constexpr int kExitFailure = 1;  // the system gave out
// For the last lines of the log, where they are read slowly.
constexpr std::chrono::milliseconds kLogEnd{500};

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

int printed(const std::string& text, std::FILE* to, int exitCode)
{
    std::fwrite(text.data(), 1, text.size(), to);
    return std::fflush(to) == 0 ? exitCode : 1;
}

// Before there is a service; each line names what is wrong.
int refused(const std::string& lines)
{
    vpnd::Readiness::tellFailure(lines);
    return printed(vpnd::errorLines(lines, STDERR_FILENO), stderr, kExitUsage);
}

int show(vpnd::Show what, const vpnd::Configuration& configuration)
{
    if (configuration.state == vpnd::kNoState) {
        return printed("orva-vpnd: nothing is kept: the state folder is \"none\"\n", stderr,
                       kExitUsage);
    }
    try {
        return printed(vpnd::shownState(what, configuration.state, configuration.history.rows),
                       stdout, 0);
    } catch (const vpnd::StoreError& error) {
        return printed("orva-vpnd: " + std::string(error.what()) + "\n", stderr, kExitUsage);
    }
}

int serve(const vpnd::Options& options, const vpnd::Machine& machine, const vpnd::IUserNames& names,
          const vpnd::Configuration& configuration)
{
    // A core file, or whoever attaches to the process, would have the password.
    ::prctl(PR_SET_DUMPABLE, 0, 0, 0, 0);
    const auto sink = std::make_shared<vpnd::LogSink>(STDERR_FILENO);
    spdlog::set_default_logger(std::make_shared<spdlog::logger>("orva-vpnd", sink));
    spdlog::set_level(spdlog::level::from_str(configuration.logLevel));
    // By itself it writes to standard error, and waits for it.
    spdlog::set_error_handler([](const std::string&) {});

    std::string problem;
    int exitCode = kExitUsage;
    try {
        vpnd::Daemon daemon(options, machine, names, configuration);
        announce(daemon.announcement() + "\n");
        daemon.run();
        spdlog::info("ended by a signal");
    } catch (const vpnd::ControlError& error) {
        problem = error.what();
    } catch (const vpnd::ListenError& error) {
        const bool taken = error.code() == std::errc::address_in_use;
        problem = fmt::format(
            "cannot listen on {}: {}", configuration.listen,
            taken ? "the port is taken; is another orva-vpnd running?" : error.code().message());
    } catch (const vpnd::StoreError& error) {
        problem = error.what();
    } catch (const vpnd::InheritedSocketError& error) {
        problem = error.what();
    } catch (const std::exception& error) {
        problem = error.what();
        exitCode = kExitFailure;
    }
    if (!problem.empty()) {
        problem = "orva-vpnd: " + problem + "\n";
        vpnd::Readiness::tellFailure(problem);
        sink->print(vpnd::errorLines(problem, STDERR_FILENO));
    }
    sink->finish(kLogEnd);
    return problem.empty() ? 0 : exitCode;
}

}  // namespace

int main(int argc, char** argv)
{
    vpnd::Signals::block(vpnd::Daemon::kSignals);
    occupyStandardDescriptors();
    std::signal(SIGPIPE, SIG_IGN);  // whoever reads the log may go away

    const vpnd::CommandLine line = vpnd::readCommandLine(argc, argv);
    if (!line.options) {
        return line.isWrong ? refused(line.text) : printed(line.text, stdout, 0);
    }
    // As long as the process: a thread that reads the configuration may be held up.
    // Never destroyed: that thread may outlast main.
    static const vpnd::Machine& machine = *new vpnd::Machine(vpnd::Machine::present());
    static const vpnd::SystemUserNames& names = *new vpnd::SystemUserNames;
    if (line.options->checkConfig) {
        const vpnd::ConfigurationCheck check =
            vpnd::checkConfiguration(*line.options, machine, names);
        printed(check.errors, stderr, 0);
        return printed(check.output, stdout, check.exitCode);
    }
    const vpnd::LoadedConfiguration loaded = vpnd::loadConfiguration(*line.options, machine, names);
    if (!loaded.configuration) {
        std::string text;
        for (const std::string& fault : loaded.faults) text += "orva-vpnd: " + fault + "\n";
        return refused(text);
    }
    if (line.options->show) return show(*line.options->show, *loaded.configuration);
    return serve(*line.options, machine, names, *loaded.configuration);
}
