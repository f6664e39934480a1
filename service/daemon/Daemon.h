#pragma once

#include "service/base/CountedLog.h"
#include "service/base/EventLoop.h"
#include "service/base/Signals.h"
#include "service/control/ControlListener.h"
#include "service/control/ControlService.h"
#include "service/core/Controller.h"
#include "service/core/History.h"
#include "service/daemon/Configuration.h"
#include "service/daemon/Readiness.h"
#include "service/daemon/Reloader.h"
#include "service/net/RpcListener.h"
#include "service/rpc/RpcService.h"
#include "service/store/NoStore.h"
#include "service/store/SqliteStore.h"
#include "service/tunnel/SimulatedTunnel.h"

#include <initializer_list>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace vpnd
{

// The service as a whole: its parts, and what passes between them.
class Daemon
{
public:
    // What the signals' first line of the program blocks.
    static const std::initializer_list<int> kSignals;

    // Opens the state folder and listens; the tunnel starts. Borrows machine and names. Raises
    // StoreError, InheritedSocketError, ControlError and std::system_error.
    Daemon(Options options, const Machine& machine, const IUserNames& names,
           Configuration configuration);
    Daemon(const Daemon&) = delete;
    Daemon& operator=(const Daemon&) = delete;

    // "orva-vpnd 1.0.0 listening on 127.0.0.1:9009, simulated tunnel, ...", without a line end
    std::string announcement() const;

    // Until a signal ends it; what is under way is stored then.
    void run();

private:
    std::unique_ptr<IStore> openStore();
    Controller::Beginning beginning();
    HistoryIds takeHistoryIds();
    Commit image() const;
    ControlFacts facts() const;
    void openControl();
    void onSignal(int number);
    void take(const ReloadedConfiguration& reloaded);
    void note(const StoreNote& note);
    void tell(EventKind kind, std::string subject, std::string detail,
              Outcome outcome = Outcome::kDone);

    const Options m_options;
    Configuration m_configuration;  // in force
    EventLoop m_loop;
    CountedLog m_log;
    RpcListener m_listener;          // first: whose port is taken must not touch the state folder
    StoreContents m_contents;        // until the controller has them
    std::vector<StoreNote> m_notes;  // until the history can take them
    std::optional<std::string> m_storeProblem;
    SqliteStore* m_file = nullptr;  // the store, where there is a file
    std::unique_ptr<IStore> m_store;
    SimulatedTunnel m_tunnel;
    History m_history;
    Controller m_controller;
    RpcService m_service;
    ControlFacts m_facts;
    ControlService m_control;
    std::optional<ControlListener> m_controlListener;
    Reloader m_reloader;
    Signals m_signals;
    Readiness m_readiness;
};

}  // namespace vpnd
